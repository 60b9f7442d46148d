#include "front_end/password.h"

#include <cstdio>

#include "platform/terminal.h"
#include "platform/wipe.h"

namespace zwcli {
namespace {

// Far more than any password: reserved at once, so that growing leaves no copies behind.
constexpr size_t kLongestLine = 1024;

std::string FirstLine(FILE* file) {
    std::string line;
    line.reserve(kLongestLine);
    for (int c = std::fgetc(file); c != EOF && c != '\n' && line.size() < kLongestLine;
         c = std::fgetc(file)) {
        line.push_back(static_cast<char>(c));
    }
    if (line.ends_with('\r')) line.pop_back();
    return line;
}

}  // namespace

Secret::~Secret() { zwmgmt::platform::Wipe(text.data(), text.capacity()); }

bool ReadPasswordFile(const std::string& file, Secret* password, std::string* error) {
    const bool standard_input = file == "-";
    FILE* stream = standard_input ? stdin : std::fopen(file.c_str(), "rb");
    if (stream == nullptr) {
        *error = "cannot read password file " + file;
        return false;
    }
    std::setvbuf(stream, nullptr, _IONBF, 0);
    *password = Secret(FirstLine(stream));
    if (!standard_input) std::fclose(stream);
    if (password->Text().find('\0') != std::string::npos) {
        *error = "the password holds a NUL character";
        return false;
    }
    if (password->Text().empty()) {
        *error = standard_input ? "no password on standard input"
                                : "no password in the first line of " + file;
        return false;
    }
    return true;
}

bool AskForPassword(const std::string& prompt, Secret* password, std::string* error) {
    if (!zwmgmt::platform::StandardInputIsTerminal()) {
        *error =
            "the agent asks for a password, and there is no terminal to ask on; use "
            "--password-file";
        return false;
    }
    auto line = zwmgmt::platform::ReadPassword(prompt.c_str());
    if (!line || line->empty()) {
        *error = "no password given";
        return false;
    }
    *password = Secret(std::move(*line));
    return true;
}

}  // namespace zwcli
