#include "front_end/options.h"

#include <CLI/CLI.hpp>

#include "commands/offer.h"
#include "commands/texts.h"
#include "commands/vocabulary.h"
#include "front_end/say.h"
#include "zwmgmt/version.h"

namespace zwcli {
namespace {

constexpr char kFooter[] = R"(
"help" lists the commands with their keys, "help SERVICE COMMAND" all that one takes.

Exit status: 0 success; 1 the command failed on the agent; 2 the command line is wrong (told before
connecting, unless the agent's OS decides); 3 no session with the agent; 4 login failed; 5 the agent
does not support the command; 6 not finished yet; 130 interrupted.

Example: korvane_zwcli --host node7 korvane listadapterprops
)";

const CLI::Validator kNotEmpty(
    [](std::string& value) { return value.empty() ? std::string("the value is empty") : ""; }, "");

struct FormatRow {
    const char* word;
    Format format;
};

constexpr FormatRow kFormats[] = {{"text", Format::kText},
                                  {"json", Format::kJson},
                                  {"jsonl", Format::kJsonLines},
                                  {"csv", Format::kCsv},
                                  {"table", Format::kTable}};

/// What is wrong with the word; "" after filling the format.
std::string TakeFormat(const std::string& word, Format* format) {
    std::vector<const char*> known;
    for (const FormatRow& row : kFormats) {
        known.push_back(row.word);
        if (word != row.word) continue;
        *format = row.format;
        return "";
    }
    return "unknown format \"" + word +
           "\"; nearest: " + zwmgmt::Joined(zwmgmt::NearestWords(word, known));
}

class Help : public CLI::Formatter {
  public:
    std::string make_usage(const CLI::App*, std::string) const override {
        return "Usage: korvane_zwcli [options] SERVICE COMMAND [SUBCOMMAND] [key=value ...]\n";
    }
};

}  // namespace

std::optional<int> ParseOptions(int argc, const char* const* argv, Options* options) {
    std::string format = kFormats[0].word;
    CLI::App app("Manages the Korvane Ethernet adapters of a host through its agent.",
                 "korvane_zwcli");
    app.allow_windows_style_options(false);  // a word that begins with a slash is a path
    app.formatter(std::make_shared<Help>());
    app.footer(kFooter);
    app.set_help_flag();  // ours knows the words
    app.add_flag("-h,--help", options->help,
                 "Print this help message, or that of the SERVICE [COMMAND] given, and exit");
    app.set_version_flag("--version", "korvane_zwcli " ZWMGMT_VERSION);
    app.add_option("--host", options->host, "Host of the agent, name or dotted quad")
        ->capture_default_str();
    app.add_option("--port", options->port, "TCP port of the agent")
        ->check(CLI::Range(1, 65535))
        ->capture_default_str();
    app.add_option("--user", options->user, "User name for the agent (default: the local user)");
    app.add_option("--password-file", options->password_file,
                   "File whose first line is the password; - reads standard input");
    app.add_flag("--wait", options->wait,
                 "Wait for the outcome of net ping, net traceroute or system install");
    app.add_option("--format", format, "How answers are printed: text, json, jsonl, csv or table")
        ->capture_default_str();
    app.add_option("--fields", options->fields,
                   "Fields to print, in order, separated by commas (not of text)");
    for (CLI::Option* option : app.get_options(
             [](const CLI::Option* each) { return each->get_items_expected_max() == 1; })) {
        option->multi_option_policy(CLI::MultiOptionPolicy::TakeLast)->check(kNotEmpty);
    }
    app.add_option("command", options->words)->group("");
    if (const char* empty = zwmgmt::FindEmptyOption(argc, argv)) {
        return Fail(kUsage, std::string(empty) + " lacks its value");
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& stop) {
        app.exit(stop);
        return kOk;
    } catch (const CLI::ParseError& stop) {
        return Fail(kUsage, std::string(stop.what()) + "\nRun with --help for more information.");
    }
    if (const std::string wrong = TakeFormat(format, &options->format); !wrong.empty()) {
        return Fail(kUsage, wrong);
    }
    if (!options->help || !options->words.empty()) return std::nullopt;
    std::fputs(app.help().c_str(), stdout);
    return kOk;
}

}  // namespace zwcli
