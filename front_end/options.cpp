#include "front_end/options.h"

#include <CLI/CLI.hpp>

#include "front_end/exit_status.h"

namespace zwcli {
namespace {

constexpr char kFooter[] = R"(
"help" lists the commands with their keys, "help SERVICE COMMAND" all that one takes.

Exit status: 0 success; 1 the command was refused or failed on the agent; 2 usage; 3 no session with
the agent; 4 login failed; 5 the agent does not support the command.

Example: korvane_zwcli --host node7 korvane listadapterprops
)";

class Help : public CLI::Formatter {
  public:
    std::string make_usage(const CLI::App*, std::string) const override {
        return "Usage: korvane_zwcli [options] SERVICE COMMAND [SUBCOMMAND] [key=value ...]\n";
    }
};

}  // namespace

std::optional<int> ParseOptions(int argc, const char* const* argv, Options* options) {
    CLI::App app("Manages the Korvane Ethernet adapters of a host through its agent.",
                 "korvane_zwcli");
    app.allow_windows_style_options(false);  // a word that begins with a slash is a path
    app.formatter(std::make_shared<Help>());
    app.footer(kFooter);
    app.set_version_flag("--version", "korvane_zwcli " ZWMGMT_VERSION);
    app.add_option("--host", options->host, "Host of the agent, name or dotted quad")
        ->capture_default_str();
    app.add_option("--port", options->port, "TCP port of the agent")
        ->check(CLI::Range(1, 65535))
        ->capture_default_str();
    app.add_option("--user", options->user, "User name for the agent (default: the local user)");
    app.add_option("--password-file", options->password_file,
                   "File whose first line is the password; - reads standard input");
    app.add_option("command", options->words)->group("");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& stop) {
        return app.exit(stop) == 0 ? kOk : kUsage;
    }
    return std::nullopt;
}

}  // namespace zwcli
