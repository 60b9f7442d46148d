#include "front_end/settings.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <memory>
#include <sstream>

#include "commands/offer.h"
#include "commands/vocabulary.h"
#include "platform/file.h"
#include "platform/host.h"

namespace zwcli {
namespace {

constexpr size_t kLargestFile = 1u << 20;
constexpr char kGroups[] = "groups";
constexpr char kKeyLogVariable[] = "SSLKEYLOGFILE";  // as other programs name it
constexpr const char* kNoSettings[] = {"help",  "version", "config", "show-config", "batch",
                                       "shell", "watch",   "count",  "rate",        "command"};

bool IsSetting(const CLI::Option& option) {
    return std::ranges::find(kNoSettings, option.get_single_name()) == std::end(kNoSettings);
}

/// "KORVANE_PASSWORD_FILE"
std::string VariableOf(const CLI::Option& option) {
    std::string name = "KORVANE_" + option.get_single_name();
    for (char& c : name) c = c == '-' ? '_' : static_cast<char>(std::toupper(c));
    return name;
}

[[noreturn]] void Wrong(const std::string& source, const std::string& what) {
    throw WrongSetting{source + ": " + what};
}

/// The file's text; false where there is no file.
bool ReadText(const std::string& path, std::string* text) {
    FILE* opened = nullptr;
    uint64_t size = 0;
    const auto result = zwmgmt::platform::OpenRegularFile(path.c_str(), &opened, &size);
    if (result == zwmgmt::platform::OpenResult::kNotThere) return false;
    if (result != zwmgmt::platform::OpenResult::kOpened) {
        Wrong(path, zwmgmt::platform::WhyNot(result));
    }
    const std::unique_ptr<FILE, int (*)(FILE*)> file(opened, std::fclose);
    text->resize(kLargestFile + 1);
    text->resize(std::fread(text->data(), 1, text->size(), opened));
    if (text->size() > kLargestFile) Wrong(path, "larger than 1 MiB");
    return true;
}

/// What the reader of the file would take otherwise than it is written.
void RefuseOddLines(const std::string& path, const std::string& text) {
    std::istringstream stream(text);
    std::string line;
    for (int number = 1; std::getline(stream, line); ++number) {
        const std::string value =
            CLI::detail::trim_copy(line.substr(std::min(line.find('=') + 1, line.size())));
        if (value.empty() || (value[0] != '"' && value[0] != '\'')) continue;
        const size_t end = value.find(value[0], 1);
        const std::string inner = value.substr(1, end == value.npos ? end : end - 1);
        const size_t behind = value.find_first_not_of(" \t", end == value.npos ? end : end + 1);
        const char* wrong =
            end == value.npos                              ? "the quote is not closed"
            : inner.find_first_of("#\\") != inner.npos     ? "'#' and '\\' cannot stand in a value"
            : behind != value.npos && value[behind] != '#' ? "there is more behind the quote"
                                                           : nullptr;
        if (wrong != nullptr) Wrong(path + " line " + std::to_string(number), wrong);
    }
}

std::string UsersFile() {
    char path[4096];
    return zwmgmt::platform::UserFilePath("zwcli.toml", path, sizeof(path)) ? path : "";
}

}  // namespace

void Settings::Parse(int argc, const char* const* argv) {
    app.parse(argc, argv);  // says which file, and ends the program for help
    ReadFile();
    ReadVariables();
    if (!held.empty()) app.parse(argc, argv);
    Note("command line");
}

void Settings::ReadFile() {
    const CLI::Option& chosen = *app.get_option("--config");
    const char* variable = std::getenv(VariableOf(chosen).c_str());
    const bool named = chosen.count() != 0 || variable != nullptr;
    const std::string path = chosen.count() != 0   ? chosen.as<std::string>()
                             : variable != nullptr ? variable
                                                   : UsersFile();
    std::string text;
    if (path.empty() || !ReadText(path, &text)) {
        if (named) Wrong(path.empty() ? VariableOf(chosen) : path, "there is no such file");
        return;
    }
    RefuseOddLines(path, text);
    std::istringstream stream(text);
    for (const CLI::ConfigItem& item : CLI::ConfigTOML().from_config(stream)) {
        if (item.name == "++" || item.name == "--") continue;  // where sections begin and end
        const std::string value = CLI::detail::join(item.inputs, ",");
        if (item.parents == std::vector<std::string>{kGroups}) {
            groups[item.name] = value;
            continue;
        }
        const CLI::Option* option =
            item.parents.empty() ? app.get_option_no_throw("--" + item.name) : nullptr;
        if (option == nullptr || !IsSetting(*option)) {
            std::vector<const char*> known;
            for (const CLI::Option* each : app.get_options()) {
                if (IsSetting(*each)) known.push_back(each->get_lnames()[0].c_str());
            }
            Wrong(path, "unknown setting \"" + item.fullname() + "\"; nearest: " +
                            zwmgmt::Joined(zwmgmt::NearestWords(item.name, known)));
        }
        if (item.inputs.size() != 1) Wrong(path, "\"" + item.name + "\" has more than one value");
        Take(*option, value, path);
    }
}

void Settings::ReadVariables() {
    for (const CLI::Option* option : app.get_options()) {
        if (!IsSetting(*option)) continue;
        std::string variable = VariableOf(*option);
        const char* value = std::getenv(variable.c_str());
        if (value == nullptr && option->get_single_name() == "keylog") {
            variable = kKeyLogVariable;
            value = std::getenv(kKeyLogVariable);
            if (value != nullptr && *value == '\0') value = nullptr;
        }
        if (value != nullptr) Take(*option, value, variable);
    }
}

/// As if the command line were this option alone: errors are of it, and know where it stands.
void Settings::Take(const CLI::Option& option, const std::string& value,
                    const std::string& source) {
    try {
        app.parse(Arguments{"--" + option.get_single_name() + "=" + value});
    } catch (const CLI::ParseError& wrong) {
        Wrong(source, wrong.what());
    }
    Note(source);
}

void Settings::Note(const std::string& source) {
    for (const CLI::Option* option : app.get_options()) {
        if (option->count() == 0 || !IsSetting(*option)) continue;
        held[option->get_single_name()] = {option->results().back(), source};
    }
}

std::string Settings::Text() const {
    std::string text;
    for (const CLI::Option* option : app.get_options()) {
        if (!IsSetting(*option)) continue;
        const std::string name = option->get_single_name();
        const auto found = held.find(name);
        std::string value = found != held.end() ? found->second.value : option->get_default_str();
        if (value.empty()) value = "-";
        char line[64];
        std::snprintf(line, sizeof(line), "%-16s %-24s ", name.c_str(),
                      value.size() < 25 ? value.c_str() : "");
        text += value.size() < 25 ? line : std::string(line, 17) + value + " ";
        text += found != held.end() ? found->second.source : "default";
        text += '\n';
    }
    for (const auto& [name, hosts] : groups) text += "@" + name + " = " + hosts + "\n";
    return text;
}

}  // namespace zwcli
