#include "front_end/options.h"

#include <CLI/CLI.hpp>

#include "commands/offer.h"
#include "commands/texts.h"
#include "commands/vocabulary.h"
#include "front_end/command_run.h"
#include "front_end/say.h"
#include "front_end/settings.h"
#include "front_end/target.h"
#include "platform/host.h"
#include "platform/terminal.h"
#include "zwmgmt/message.h"
#include "zwmgmt/version.h"
#include "zwmgmt/vocabulary.h"

namespace zwcli {
namespace {

constexpr char kFooter[] = R"(
"help" lists the commands with their keys, "help SERVICE COMMAND" all that one takes.

Exit status:
  0    success
  1    the command failed on the agent
  2    the command line is wrong (told before connecting, unless the agent's OS decides)
  3    no session with the agent
  4    login failed
  5    the agent does not support the command
  6    not finished yet
  7    not begun, as other hosts had failed
  130  interrupted
Of several hosts the worst counts: 130, 3, 4, 1, 2, 5, 6, 7, 0. --watch ends with the worst of
--count rounds, or with the last one's after Ctrl-C, its usual end.

Example: korvane_zwcli --host node7 korvane listadapterprops
)";

const CLI::Validator kNotEmpty(
    [](std::string& value) { return value.empty() ? std::string("the value is empty") : ""; }, "");

/// Milliseconds.
const CLI::Validator kDuration =
    CLI::AsNumberWithUnit(std::map<std::string, uint32_t>{{"ms", 1}, {"s", 1000}, {"m", 60'000}},
                          CLI::AsNumberWithUnit::UNIT_REQUIRED)
        .description("");

const CLI::Validator kInterval(
    [](std::string& milliseconds) {
        return std::stoul(milliseconds) < 100 ? std::string("at least 100ms") : "";
    },
    "");

const CLI::Validator kNumberOrPercent(
    [](std::string& value) {
        const std::string_view text = value;
        const std::string_view number = text.substr(0, text.size() - text.ends_with('%'));
        const bool right = zwmgmt::IsAllDigits(number) && number.size() < 8;
        return right ? std::string() : "\"" + value + "\" is neither a number nor a percentage";
    },
    "");

/// A word of an option, and what it stands for.
template <class Value>
struct WordRow {
    const char* word;
    Value value;
};

constexpr WordRow<Format> kFormats[] = {{"text", Format::kText},
                                        {"json", Format::kJson},
                                        {"jsonl", Format::kJsonLines},
                                        {"csv", Format::kCsv},
                                        {"table", Format::kTable}};

constexpr WordRow<uint8_t> kAgents[] = {
    {"windows", zwmgmt::kWindows}, {"linux", zwmgmt::kLinux}, {"solaris", zwmgmt::kSolaris},
    {"freebsd", zwmgmt::kFreeBsd}, {"esx", zwmgmt::kEsx},     {"mac", zwmgmt::kMac},
    {"xen", zwmgmt::kXen}};

constexpr WordRow<Verify> kVerifications[] = {{"known", Verify::kKnown},
                                              {"strict", Verify::kStrict},
                                              {"ca", Verify::kAuthority},
                                              {"off", Verify::kOff}};

/// What is wrong with the word of an option; "" after filling the value.
template <class Value, size_t Count>
std::string TakeWord(const WordRow<Value> (&rows)[Count], const char* what, const std::string& word,
                     Value* value) {
    std::vector<const char*> known;
    for (const WordRow<Value>& row : rows) {
        known.push_back(row.word);
        if (word != row.word) continue;
        *value = row.value;
        return "";
    }
    return std::string("unknown ") + what + " \"" + word +
           "\"; nearest: " + zwmgmt::Joined(zwmgmt::NearestWords(word, known));
}

/// "text|json|csv"
template <class Value, size_t Count>
std::string Choice(const WordRow<Value> (&rows)[Count]) {
    std::string text = rows[0].word;
    for (size_t i = 1; i < Count; ++i) text += "|" + std::string(rows[i].word);
    return text;
}

/// Checks the word of an option, and fills the value.
template <class Value, size_t Count>
CLI::Validator OneWordOf(const WordRow<Value> (&rows)[Count], const char* what, Value* value) {
    return {[&rows, what, value](std::string& word) { return TakeWord(rows, what, word, value); },
            ""};
}

/// What does not go with a batch.
std::string WrongBatch(const Options& options) {
    if (!options.batch || options.help) return "";
    if (!options.words.empty()) return "--batch takes its commands from the file alone";
    if (options.format == Format::kCsv || options.format == Format::kTable) {
        return "--batch has --format text, json or jsonl";
    }
    const bool others_read =
        options.hosts == "-" || options.hosts == "@-" || options.password_file == "-";
    return *options.batch == "-" && others_read ? "standard input is there once: --batch reads it"
                                                : "";
}

/// What does not go with a shell.
std::string WrongShell(const CLI::App& app, const Options& options) {
    if (!options.shell || options.help) return "";
    if (!options.words.empty()) return "--shell takes its commands at its prompt alone";
    if (options.batch) return "--shell and --batch exclude each other";
    if (options.watch != 0) return "--watch is for one command: --shell has none";
    if (app.count("--hosts") != 0) return "--shell talks to one host: --hosts is not for it";
    if (app.count("--timeout") != 0) return "--timeout is not for --shell: Ctrl-C ends a command";
    if (options.password_file == "-")
        return "--shell reads standard input: no password comes from there";
    const bool at_terminal =
        zwmgmt::platform::InputIsTerminal() && zwmgmt::platform::ErrorsShowOnTerminal();
    return at_terminal ? "" : "--shell needs a terminal; --batch - reads commands from elsewhere";
}

/// What is wrong with options that are each right.
std::string Contradiction(const CLI::App& app, const Options& options) {
    const bool keeps_keys = options.verify == Verify::kKnown || options.verify == Verify::kStrict;
    // What a file or a variable says beside it does no harm.
    if (app.count("--ca") != 0 && options.verify != Verify::kAuthority) {
        return "--ca is for --verify ca";
    }
    if (options.client_certificate.empty() != options.client_key.empty()) {
        return "--client-cert and --client-key go together";
    }
    if (app.count("--agent-os") != 0 && !options.dry_run) return "--agent-os is for --dry-run";
    if (options.dry_run && app.count("--wait") != 0) return "--wait is not for --dry-run";
    if (options.dry_run && (options.format == Format::kCsv || options.format == Format::kTable)) {
        return "--dry-run has --format text, json or jsonl";
    }
    if (app.count("--trace-data") != 0 && options.trace.empty()) {
        return "--trace-data is for --trace";
    }
    if (options.watch != 0 && (options.hosts || options.batch || options.dry_run)) {
        return "--watch is for one command at one host, and not for --dry-run";
    }
    for (const char* option : {"--count", "--rate"}) {
        if (options.watch == 0 && app.count(option) != 0)
            return std::string(option) + " is for --watch";
    }
    for (const char* option : {"--fanout", "--ordered", "--consolidate", "--diff", "--min-success",
                               "--canary", "--max-failures", "--failed-to"}) {
        if (!options.hosts && app.count(option) != 0)
            return std::string(option) + " is for --hosts";
    }
    if (options.hosts && app.count("--host") != 0) return "--host and --hosts exclude each other";
    if ((options.consolidate || options.diff) && options.format != Format::kText) {
        return "--consolidate and --diff are for --format text";
    }
    if (!options.batch && app.count("--keep-going") != 0) return "--keep-going is for --batch";
    for (const std::string& wrong : {WrongBatch(options), WrongShell(app, options)}) {
        if (!wrong.empty()) return wrong;
    }
    for (const char* option : {"--known-agents", "--hash-agents"}) {
        if (!keeps_keys && app.count(option) != 0) {
            return std::string(option) + " is for --verify known or strict";
        }
    }
    return "";
}

class Help : public CLI::Formatter {
  public:
    std::string make_usage(const CLI::App*, std::string) const override {
        return "Usage: korvane_zwcli [options] SERVICE COMMAND [SUBCOMMAND] [key=value ...]\n"
               "       korvane_zwcli [options] --batch FILE\n"
               "       korvane_zwcli [options] --shell\n"
               "       korvane_zwcli --complete LINE\n";
    }
};

/// All that can stand on the command line.
struct Syntax {
    explicit Syntax(Options* filled);

    /// The host, and what goes before what, once all is parsed; what is wrong with it, or "".
    std::string Settle(const Settings& settings);

    Options* const options;
    std::string format = kFormats[0].word;
    std::string verification = kVerifications[0].word;
    std::string host;
    std::string agent_os;
    bool show_settings = false;
    CLI::App app{"Manages the Korvane Ethernet adapters of a host through its agent.",
                 "korvane_zwcli"};
};

Syntax::Syntax(Options* filled) : options(filled), host(filled->host) {
    app.allow_windows_style_options(false);  // a word that begins with a slash is a path
    app.formatter(std::make_shared<Help>());
    app.footer(kFooter);
    app.set_help_flag();  // ours knows the words
    app.add_flag("-h,--help", options->help,
                 "Print this help message, or that of the SERVICE [COMMAND] given, and exit");
    app.set_version_flag("--version", "korvane_zwcli " ZWMGMT_VERSION);
    app.add_option("--host", host,
                   "Host of the agent, name or address, as HOST or HOST:PORT; with a port an IPv6 "
                   "address stands in brackets ([fe80::1%eth0]:35001)")
        ->capture_default_str()
        ->type_name("HOST");
    app.add_option("--port", options->port, "TCP port of the agent")
        ->check(CLI::Range(1, 65535))
        ->capture_default_str();
    app.add_option("--hosts", options->hosts,
                   "A set of hosts to ask, as node[001-120,200]!node007, @FILE or -")
        ->type_name("SET");
    app.add_option("--exclude", options->exclude, "Hosts of the set that are left out")
        ->type_name("SET");
    app.add_option("--fanout", options->fanout, "How many hosts of a set are asked at once")
        ->check(CLI::Range(1, 1000))
        ->capture_default_str();
    app.add_flag("--ordered", options->ordered,
                 "Print the answers of a set in the order of its hosts, not as they come");
    app.add_flag("--consolidate", options->consolidate,
                 "Print equal answers once, under the hosts that gave them");
    app.add_flag("--diff", options->diff,
                 "Print how other answers differ from that of the most hosts");
    app.add_option("--canary", options->canary,
                   "How many hosts are asked first; the others only if all of these succeed");
    app.add_option("--max-failures", options->max_failures,
                   "With more failures, as 3 or 10% of the hosts, no other host is begun")
        ->check(kNumberOrPercent);
    app.add_option("--failed-to", options->failed_to,
                   "File for the hosts that failed or were not begun, for --hosts @FILE")
        ->type_name("FILE");
    app.add_option("--min-success", options->min_success,
                   "Percent of the hosts that have to succeed for exit status 0")
        ->check(CLI::Range(0, 100))
        ->capture_default_str();
    app.add_option("--user", options->user, "User name for the agent (default: the local user)")
        ->type_name("NAME");
    app.add_option("--password-file", options->password_file,
                   "File whose first line is the password; - reads standard input")
        ->type_name("FILE");
    app.add_option("--connect-timeout", options->connect_timeout,
                   "How long connecting may take, as 500ms, 10s or 2m (default: 15s)")
        ->transform(kDuration)
        ->type_name("TIME");
    app.add_option("--timeout", options->timeout,
                   "How long a host may take in all, in the same form (default: no limit)")
        ->transform(kDuration)
        ->type_name("TIME");
    app.add_option("--retries", options->retries,
                   "How often connecting is tried again; what was sent is never sent again")
        ->check(CLI::Range(0, 100));
    app.add_option("--watch", options->watch,
                   "Run the command again and again, so often, and mark what has changed")
        ->transform(kDuration)
        ->check(kInterval)
        ->type_name("TIME");
    app.add_option("--count", options->count, "How often --watch runs it (default: no limit)")
        ->check(CLI::Range(1, 1'000'000'000));
    app.add_flag("--rate", options->rate,
                 "Show counters of --watch as what they grow by in a second");
    app.add_flag("--wait", options->wait, "Wait for the outcome of " + BackgroundCommands("or"));
    app.add_flag("--dry-run", options->dry_run,
                 "Show by field and in bytes what would be sent, and send nothing of it");
    app.add_option("--agent-os", agent_os, "OS of the agent of --dry-run, which then needs none")
        ->check(OneWordOf(kAgents, "agent OS", &options->agent_os))
        ->type_name(Choice(kAgents));
    app.add_option("--format", format, "How answers are printed")
        ->check(OneWordOf(kFormats, "format", &options->format))
        ->capture_default_str()
        ->type_name(Choice(kFormats));
    app.add_option("--fields", options->fields,
                   "Fields to print, in order, separated by commas (not of text)");
    app.add_option("--verify", verification,
                   "Whom to send anything: known (an agent with the key that it had before; a new "
                   "one's is kept), strict (no new ones), ca (whom an authority vouches for), off")
        ->check(OneWordOf(kVerifications, "verification", &options->verify))
        ->capture_default_str()
        ->type_name(Choice(kVerifications));
    app.add_option("--ca", options->authorities,
                   "PEM file of the authorities of --verify ca (default: agents.pem of the user, "
                   "else of the machine, else the system's)")
        ->type_name("FILE");
    app.add_option("--known-agents", options->known_agents,
                   "File of the known agents' keys (default: the user's own)")
        ->type_name("FILE");
    app.add_flag("--hash-agents", options->hash_agents,
                 "Keep the names of new agents so that they cannot be read in that file");
    app.add_option("--client-cert", options->client_certificate,
                   "PEM file with this client's certificate, for agents that ask for one")
        ->type_name("FILE");
    app.add_option("--client-key", options->client_key, "PEM file with its key")->type_name("FILE");
    app.add_option("--tls-min", options->least_tls, "Least version of TLS to speak")
        ->check(CLI::IsMember({"1.2", "1.3"}).description(""))
        ->capture_default_str()
        ->type_name("1.2|1.3");
    app.add_option("--batch", options->batch,
                   "File of commands, one a line, that one session a host serves; - reads standard "
                   "input")
        ->type_name("FILE");
    app.add_flag("--shell", options->shell,
                 "Take commands at a prompt, on one session; needs a terminal");
    app.add_flag("--keep-going", options->keep_going,
                 "Go on with the batch behind a command that failed");
    app.add_option("--connections", options->connections,
                   "File of connections for policy check, one a line, with what is expected")
        ->type_name("FILE");
    app.add_option("--trace", options->trace,
                   "File to which every message of the session is appended, a JSON object a line")
        ->type_name("FILE");
    app.add_flag("--trace-data", options->trace_data, "With the messages' data, logins apart");
    app.add_option("--keylog", options->key_log,
                   "File to which the session's TLS secrets are appended, for packet analysers; or "
                   "the variable SSLKEYLOGFILE")
        ->type_name("FILE");
    for (CLI::Option* option : app.get_options(
             [](const CLI::Option* each) { return each->get_items_expected_max() == 1; })) {
        option->multi_option_policy(CLI::MultiOptionPolicy::TakeLast)->check(kNotEmpty);
    }
    app.add_option("--complete-live", options->complete_live,
                   "Where a shell completes words, ask the agent for what it has, but no longer "
                   "than, as 500ms (default: not at all)")
        ->transform(kDuration)
        ->type_name("TIME");
    app.add_option("--config",
                   "File with defaults of these options (default: the user's own zwcli.toml)")
        ->type_name("FILE");
    app.add_flag("--show-config", show_settings, "Say what holds of these options, and why");
    app.add_option("command", options->words)->group("");
}

std::string Syntax::Settle(const Settings& settings) {
    // One host on the command line goes before many of the settings.
    const bool is_for_one = app.count("--host") != 0 || options->shell;
    if (is_for_one && app.count("--hosts") == 0) options->hosts.reset();
    if (!options->hosts && app.count("--exclude") == 0) options->exclude.reset();
    options->groups = settings.Groups();
    options->asked_for_hosts = app.count("--hosts") != 0;
    options->asked_to_wait = app.count("--wait") != 0;
    options->given_host = host;
    Target target;
    const std::string wrong = ParseTarget(host, options->port, &target);
    options->host = target.host;
    options->port = target.port;
    return wrong;
}

}  // namespace

std::vector<const char*> PointersTo(const std::vector<std::string>& words) {
    std::vector<const char*> pointers;
    for (const std::string& word : words) pointers.push_back(word.c_str());
    return pointers;
}

std::optional<int> ParseOptions(int argc, const char* const* argv, Options* options) {
    Syntax syntax(options);
    if (const char* empty = zwmgmt::FindEmptyOption(argc, argv)) {
        return Fail(kUsage, std::string(empty) + " lacks its value");
    }
    Settings settings(syntax.app);
    try {
        settings.Parse(argc, argv);
    } catch (const WrongSetting& wrong) {
        return Fail(kUsage, wrong.text);
    } catch (const CLI::Success& stop) {
        syntax.app.exit(stop);
        return kOk;
    } catch (const CLI::ParseError& stop) {
        return Fail(kUsage, std::string(stop.what()) + "\nRun with --help for more information.");
    }
    for (const std::string& wrong :
         {syntax.Settle(settings), Contradiction(syntax.app, *options)}) {
        if (!wrong.empty()) return Fail(kUsage, wrong);
    }
    if (!options->dry_run) options->agent_os = 0;
    if (options->rate && options->format == Format::kText) options->format = Format::kTable;
    if (syntax.show_settings) {
        std::fputs(settings.Text().c_str(), stdout);
        return kOk;
    }
    if (!options->help || !options->words.empty()) return std::nullopt;
    std::fputs(syntax.app.help().c_str(), stdout);
    return kOk;
}

bool ParseQuietly(const std::vector<std::string>& words, Options* options) {
    std::vector<const char*> arguments = PointersTo(words);
    Syntax syntax(options);
    Settings settings(syntax.app);
    try {
        settings.Parse(static_cast<int>(arguments.size()), arguments.data());
        return syntax.Settle(settings).empty();
    } catch (const WrongSetting&) {
        return false;
    } catch (const CLI::Error&) {
        return false;
    }
}

std::string NameUser(Options* options) {
    if (!options->user) {
        char local_user[256] = {};
        if (!zwmgmt::platform::CurrentUserName(local_user, sizeof(local_user))) {
            return "this machine does not know the current user; use --user";
        }
        options->user = local_user;
    }
    return options->user->size() <= sizeof(LoginRecord::user_name)
               ? ""
               : "the user name is longer than 256 bytes";
}

std::vector<ShownOption> ShownOptions() {
    Options options;
    std::vector<ShownOption> shown;
    const Syntax syntax(&options);
    for (const CLI::Option* option : syntax.app.get_options()) {
        if (option->get_lnames().empty()) continue;
        const std::string about = option->get_description();
        size_t end = about.size();
        for (const char* mark : {" (", "; ", ": ", ", as "}) end = std::min(end, about.find(mark));
        shown.push_back({"--" + option->get_lnames()[0],
                         option->get_items_expected_max() != 0 ? option->get_type_name() : "",
                         about.substr(0, end)});
    }
    return shown;
}

}  // namespace zwcli
