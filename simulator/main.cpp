/// korvane_zmsim: a simulated agent to try the library and the front end against.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <map>

#include "agent/local_file.h"
#include "agent/server.h"
#include "commands/texts.h"
#include "front_end/options.h"
#include "front_end/target.h"
#include "platform/host.h"
#include "platform/stop_signal.h"
#include "platform/terminal.h"
#include "simulator/faulty_wire.h"
#include "simulator/refusing_host.h"
#include "simulator/relay.h"
#include "simulator/replay.h"
#include "simulator/scenario_host.h"
#include "zwmgmt/version.h"

namespace zmsim {
namespace {

constexpr int kUsage = 2;
constexpr size_t kLargestScenario = 4u << 20;
constexpr size_t kLargestRecording = 64u << 20;

struct Options {
    agent::Options agent;
    FileRefusals refusals;
    WireFaults faults;
    std::string os = "linux";
    std::string scenario_file;
    int word_size = 0;  // 0: the scenario's
    std::string user;
    std::string password_file;
    std::string record_file;
    std::string upstream;  // of the agent to record
    std::string known_agents;
    std::string replay_file;
};

int Fail(const std::string& text, int exit_status) {
    std::fprintf(stderr, "korvane_zmsim: %s\n", text.c_str());
    return exit_status;
}

void Describe(CLI::App* app, Options* options) {
    std::set<std::string> systems;
    for (const BuiltinScenario& builtin : kBuiltinScenarios) systems.insert(builtin.os);
    const std::map<std::string, int> versions = {{"1.2", TLS1_2_VERSION}, {"1.3", TLS1_3_VERSION}};
    const CLI::Validator given(
        [](const std::string& text) { return text.empty() ? "the value is empty" : ""; }, "");

    app->set_version_flag("--version", "korvane_zmsim " ZWMGMT_VERSION);
    app->add_option("--port", options->agent.port,
                    "TCP port (default: 0, any free one); printed as one line on standard output");
    app->add_option("--listen", options->agent.listen,
                    "IPv4 or IPv6 address to listen on, again for each (default: localhost, both "
                    "127.0.0.1 and ::1)")
        ->allow_extra_args(false);
    auto* os = app->add_option("--os", options->os, "Built-in scenario of this agent OS")
                   ->check(CLI::IsMember(systems))
                   ->capture_default_str();
    app->add_option("--scenario", options->scenario_file, "JSON file that describes the host")
        ->check(given)
        ->excludes(os);
    app->add_option("--word-size", options->word_size, "Pointer width that the agent reports")
        ->check(CLI::IsMember({4, 8, 16}));
    auto* user =
        app->add_option("--user", options->user, "Ask for a login, as this user")->check(given);
    auto* password = app->add_option("--password-file", options->password_file,
                                     "File whose first line is the user's password");
    user->needs(password);
    password->needs(user);
    app->add_option(
           "--certificate", options->agent.certificate_file,
           "PEM file with certificate and key (default: the key that is kept for this user)")
        ->check(given);
    app->add_option("--client-ca", options->agent.client_authorities,
                    "PEM file of the authorities that have to vouch for a client's certificate")
        ->check(given);
    app->add_option("--tls", options->agent.tls_version, "Speak this TLS version alone")
        ->transform(CLI::CheckedTransformer(versions));
    app->add_option("--refuse-files", options->refusals.announcement,
                    "Status to refuse every announced file with (75, 314, 315, ...)");
    app->add_option("--refuse-chunk", options->refusals.chunk, "Refuse the chunk of this number");
    app->add_option("--stall-chunk", options->faults.stall_at_chunk,
                    "Never answer the chunk of this number");
    app->add_option_function<int>(
           "--delay",
           [options](int time) { options->faults.delay = std::chrono::milliseconds(time); },
           "Milliseconds to let pass before each reply")
        ->check(CLI::Range(0, 600'000));
    app->add_flag("!--no-token", options->agent.grant_token, "Grant no read-write token");

    auto* record = app->add_option("--record", options->record_file,
                                   "Pass everything on to --agent and keep what it answers in "
                                   "this file, which is made")
                       ->check(given);
    auto* upstream =
        app->add_option("--agent", options->upstream, "HOST[:PORT] of the agent to record")
            ->check(given);
    app->add_option("--known-agents", options->known_agents,
                    "File of the known agents' keys (default: the user's own)")
        ->needs(record)
        ->check(given);
    auto* replay =
        app->add_option("--replay", options->replay_file, "Answer as it was recorded in this file")
            ->check(given);
    record->needs(upstream);
    upstream->needs(record);
    // There is no host of the simulator's own then.
    for (CLI::Option* instead : {record, replay}) {
        for (const char* of_the_host : {"--os", "--scenario", "--word-size", "--user", "--no-token",
                                        "--refuse-files", "--refuse-chunk"}) {
            instead->excludes(app->get_option(of_the_host));
        }
    }
    record->excludes(replay);
}

bool ReadPassword(const std::string& file, std::string* password, std::string* error) {
    if (!agent::ReadFirstLine(file, sizeof(LoginRecord::password), password, error)) return false;
    if (!password->empty() && password->find('\0') == password->npos) return true;
    *error = file + ": its first line is no password: " +
             (password->empty() ? "it is empty" : "it holds a NUL byte");
    return false;
}

/// Reads the files that the options name of the host. False, with the reason in *error.
bool Complete(Options* options, Scenario* scenario, std::string* error) {
    std::string json(BuiltinScenarioJson(options->os));
    if (!options->scenario_file.empty() &&
        !agent::ReadLocalFile(options->scenario_file, kLargestScenario, &json, error)) {
        return false;
    }
    if (!ParseScenario(json, scenario, error)) {
        error->insert(0, "scenario: ");
        return false;
    }
    if (options->word_size != 0) scenario->word_size = static_cast<uint8_t>(options->word_size);
    if (options->user.empty()) return true;
    agent::OneUser login{options->user, ""};
    if (!ReadPassword(options->password_file, &login.password, error)) return false;
    options->agent.login = login;
    return true;
}

/// Serves until the program is told to stop. False, with the reason in *error, when it cannot.
bool Serve(agent::Server& server, std::string* error) {
    zwmgmt::platform::HoldStopSignals();
    if (!server.Start(error)) return false;
    std::printf("%d\n", server.Port());
    std::fflush(stdout);
    zwmgmt::platform::WaitForStop();
    return true;
}

int Simulate(Options& options) {
    Scenario scenario;
    std::string error;
    if (!Complete(&options, &scenario, &error)) return Fail(error, kUsage);
    ScenarioHost host(std::move(scenario));
    RefusingHost refusing(host, options.refusals);
    agent::Server server(refusing, options.agent);
    return Serve(server, &error) ? 0 : Fail(error, 1);
}

int Record(const Options& options) {
    zwcli::Target target;
    std::string error = zwcli::ParseTarget(options.upstream, zwcli::Options().port, &target);
    if (!error.empty()) return Fail("--agent: " + error, kUsage);
    Recorder recorder;
    if (!recorder.Open(options.record_file, &error)) return Fail(error, kUsage);
    agent::Server server(RelayTo({target.host, target.port, options.known_agents}, recorder),
                         options.agent);
    if (!Serve(server, &error)) {
        recorder.Close();
        std::remove(options.record_file.c_str());
        return Fail(error, 1);
    }
    // Nobody waits for a session that waits for the agent: every answer that came is in the file.
    std::_Exit(recorder.Close() ? 0 : Fail("cannot write " + options.record_file, 1));
}

int Replay(const Options& options) {
    std::string text, error;
    if (!agent::ReadLocalFile(options.replay_file, kLargestRecording, &text, &error)) {
        return Fail(error, kUsage);
    }
    Recording recording;
    if (!recording.Parse(text, &error)) return Fail(options.replay_file + ":" + error, kUsage);
    agent::Server server(ReplayOf(recording), options.agent);
    return Serve(server, &error) ? 0 : Fail(error, 1);
}

int Main(int argc, char** argv) {
    Options options;
    CLI::App app("A simulated management agent.", "korvane_zmsim");
    app.allow_windows_style_options(false);  // a word that begins with a slash is a path
    Describe(&app, &options);
    if (const char* empty = zwmgmt::FindEmptyOption(argc, argv)) {
        return Fail(std::string(empty) + " lacks its value", kUsage);
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& stop) {
        return app.exit(stop) == 0 ? 0 : kUsage;
    }
    char key_file[4096];
    if (zwmgmt::platform::UserFilePath("zmsim.key", key_file, sizeof(key_file))) {
        options.agent.key_file = key_file;
    }
    if (options.faults.stall_at_chunk != 0 || options.faults.delay.count() != 0)
        options.agent.wrap = WithFaults(options.faults);
    if (!options.record_file.empty()) return Record(options);
    if (!options.replay_file.empty()) return Replay(options);
    return Simulate(options);
}

}  // namespace
}  // namespace zmsim

int main(int argc, char** argv) {
    zwmgmt::platform::PrepareStandardStreams();
    try {
        return zmsim::Main(argc, argv);
    } catch (const std::exception& failure) {  // no memory, or no thread
        return zmsim::Fail(failure.what(), 1);
    }
}
