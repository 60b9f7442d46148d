#include "front_end/password.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "front_end/say.h"
#include "platform/file.h"
#include "platform/terminal.h"
#include "platform/wipe.h"
#include "zwmgmt/zwmgmt_interface.h"

namespace zwcli {
namespace {

/// Reads the first line, without its end, as far as a password can reach; false when reading fails.
bool ReadFirstLine(FILE* file, Secret* password) {
    char* const bytes = password->bytes;
    size_t& length = password->length;
    length = 0;
    int c = std::fgetc(file);
    for (; c != EOF && c != '\n' && length < sizeof(password->bytes); c = std::fgetc(file)) {
        bytes[length++] = static_cast<char>(c);
    }
    const bool ended = c == '\n' || c == EOF;
    if (!ended) ++length;  // what follows does not matter: it is too long
    if (ended && length > 0 && bytes[length - 1] == '\r') bytes[--length] = '\0';
    return !std::ferror(file);
}

/// Every source is judged alike; false with what is wrong.
bool Judge(const Secret& password, std::string* error) {
    static constexpr char kByteOrderMark[] = "\xEF\xBB\xBF";
    if (password.length > Secret::kLongest) {
        *error = "the password is longer than " + std::to_string(Secret::kLongest) + " bytes";
    } else if (std::memchr(password.bytes, '\0', password.length) != nullptr) {
        *error = "the password holds a NUL character";
    } else if (std::strncmp(password.bytes, kByteOrderMark, 3) == 0) {
        *error = "the password begins with a byte-order mark";
    }
    return error->empty();
}

}  // namespace

void Secret::Wipe() {
    zwmgmt::platform::Wipe(bytes, sizeof(bytes));
    length = 0;
}

bool ReadPasswordFile(const std::string& file, Secret* password, std::string* error) {
    const bool standard_input = file == "-";
    FILE* stream = standard_input ? stdin : std::fopen(file.c_str(), "rb");
    const std::string name = standard_input ? "standard input" : "password file " + file;
    if (stream == nullptr) {
        *error = "cannot read " + name + ": " + std::strerror(errno);
        return false;
    }
    std::setvbuf(stream, nullptr, _IONBF, 0);
    if (!ReadFirstLine(stream, password)) {
        *error = "cannot read " + name + ": " + std::strerror(errno);
    }
    if (!standard_input) std::fclose(stream);
    if (error->empty() && password->Empty()) {
        *error = standard_input ? "no password on standard input"
                                : "no password in the first line of " + file;
    }
    return error->empty() && Judge(*password, error);
}

bool ReadStoredPassword(const std::string& name, Secret* password, std::string* error) {
    constexpr int kTooLong = -2;
    constexpr int kNoFile = -3;
    const int found = ZwMgmt_interface::CLGetPassword(name.c_str(), password->bytes);
    char path[4096];
    if (found == kNoFile ||
        ZwMgmt_interface::GetZMFileName(zwmgmt::kCredentialsFile, path, sizeof(path)) != 0) {
        return true;
    }
    if (found == kTooLong) {
        *error = "the password of " + name + " in " + path + " is longer than " +
                 std::to_string(Secret::kLongest) + " bytes";
        return false;
    }
    password->length = std::strlen(password->bytes);
    return true;
}

bool AskForPassword(const std::string& prompt, Secret* password, std::string* error) {
    using zwmgmt::platform::Typed;
    switch (zwmgmt::platform::ReadPassword(prompt.c_str(), password->bytes, Secret::kLongest,
                                           &password->length)) {
        case Typed::kNoTerminal:
            *error =
                "the agent asks for a password, and there is no terminal to ask on; use "
                "--password-file";
            return false;
        case Typed::kNothing: *error = "no password given"; return false;
        case Typed::kLine: break;
    }
    if (password->Empty()) *error = "no password given";
    return !password->Empty() && Judge(*password, error);
}

std::string Passwords::ReadFile() {
    std::string error;
    if (options.password_file && ReadPasswordFile(*options.password_file, &password, &error) &&
        !is_silent) {
        WarnIfOthersRead(*options.password_file);
    }
    return error;
}

std::string Passwords::Give(ZwMgmt_interface& session, const std::string& host) {
    const std::lock_guard lock(mutex);
    if (!options.password_file) {
        Secret own;
        std::string error;
        if (!ReadStored(*options.user + "@" + host, &own, &error)) return error;
        if (!own.Empty()) {
            session.SetPassword(own.Text());
            return "";
        }
    }
    if (password.Empty() && refusal.empty()) refusal = Find();
    if (!refusal.empty()) return refusal;
    session.SetPassword(password.Text());
    if (!many && options.watch == 0) password.Wipe();
    return "";
}

bool Passwords::ReadStored(const std::string& name, Secret* stored, std::string* error) {
    char path[4096];
    if (!has_warned &&
        ZwMgmt_interface::GetZMFileName(zwmgmt::kCredentialsFile, path, sizeof(path)) == 0) {
        WarnIfOthersRead(path);
        has_warned = true;
    }
    return ReadStoredPassword(name, stored, error);
}

std::string Passwords::Find() {
    std::string error;
    if (!ReadStored(*options.user, &password, &error)) return error;
    const std::string where = options.hosts ? "all hosts" : options.host;
    if (password.Empty() && is_silent) return "no password is stored";
    if (password.Empty()) {
        is_asking = true;
        AskForPassword("Password of " + *options.user + " for " + where + ": ", &password, &error);
        is_asking = false;
    }
    return error;
}

}  // namespace zwcli
