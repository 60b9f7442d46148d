/// Defaults of options: what the user's file and variables of the environment say, under what the
/// command line says.
#pragma once

#include <CLI/CLI.hpp>
#include <map>
#include <string>
#include <vector>

namespace zwcli {

/// What is wrong with a file or a variable.
struct WrongSetting {
    std::string text;
};

class Settings {
  public:
    explicit Settings(CLI::App& front_end) : app(front_end) {}

    /// Parses all three, the command line last. Throws WrongSetting, and of the command line what
    /// CLI11 throws.
    void Parse(int argc, const char* const* argv);

    /// The file's groups of hosts, by their names.
    const std::map<std::string, std::string>& Groups() const { return groups; }

    /// A line an option: its value, and who says so.
    std::string Text() const;

  private:
    using Arguments = std::vector<std::string>;

    void ReadFile();
    void ReadVariables();
    void Take(const CLI::Option& option, const std::string& value, const std::string& source);
    void Note(const std::string& source);

    struct Held {
        std::string value;
        std::string source;
    };

    CLI::App& app;
    std::map<std::string, Held> held;  // by the option's name
    std::map<std::string, std::string> groups;
};

}  // namespace zwcli
