/// The command line of korvane_zwcli: options first-class, the command as words.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace zwcli {

/// How answers are printed.
enum class Format { kText, kJson, kJsonLines, kCsv, kTable };

/// What an agent has to show before it is sent anything.
enum class Verify {
    kKnown,      // the key that it had before; a new agent's is kept
    kStrict,     // the same, and no new agents
    kAuthority,  // a certificate that an authority vouches for
    kOff,
};

struct Options {
    std::string host = "127.0.0.1";
    std::string given_host;  // as it was written, with its port
    uint16_t port = 35001;
    std::optional<std::string> hosts;           // a set of them, instead of the one
    std::optional<std::string> exclude;         // those of the set that are left out
    std::map<std::string, std::string> groups;  // of hosts, by their names in the settings
    Verify verify = Verify::kKnown;
    std::string authorities;         // file; "": those that are installed
    std::string known_agents;        // file; "": the user's
    std::string client_certificate;  // file; "": none
    std::string client_key;          // file
    std::string least_tls = "1.2";
    std::string key_log;                       // file that TLS secrets go to; "": nowhere
    std::string trace;                         // file that messages are told in; "": nowhere
    bool trace_data = false;                   // with their data
    bool hash_agents = false;                  // names of new agents are not to be read there
    std::optional<std::string> user;           // default: the local user
    std::optional<std::string> password_file;  // "-": standard input
    bool help = false;                         // of the words
    bool asked_for_hosts = false;              // by the command line itself
    bool asked_to_wait = false;                // by the command line itself
    bool dry_run = false;                      // show what would be sent
    uint8_t agent_os = 0;                      // of a dry run that asks no agent; 0: it asks
    uint32_t fanout = 64;                      // hosts at once
    bool ordered = false;                      // hosts in the order given
    bool consolidate = false;                  // equal answers once
    bool diff = false;                         // how other answers differ from the most frequent
    uint32_t min_success = 100;                // percent of the hosts, for success
    uint32_t canary = 0;                       // hosts that have to succeed first
    std::string max_failures;                  // "3" or "10%"; "": no limit
    std::string failed_to;                     // file for hosts that were not served; "": none
    uint32_t connect_timeout = 0;              // milliseconds; 0: the usual
    uint32_t timeout = 0;                      // milliseconds for all there is to do; 0: no limit
    uint32_t retries = 0;                      // of connecting
    uint32_t watch = 0;                        // milliseconds between rounds; 0: there is one
    uint32_t count = 0;                        // of rounds; 0: no limit
    bool rate = false;                         // counters as what they grow by in a second
    bool wait = false;                         // until what runs in the background has an outcome
    Format format = Format::kText;
    std::string fields;  // names, separated by commas; "": those the agent fills
    std::optional<std::string> connections;  // file for policy check; "-": standard input
    std::optional<std::string> batch;        // file of commands; "-": standard input
    bool shell = false;                      // commands of a person, as they are typed
    uint32_t complete_live = 0;              // milliseconds to ask an agent at a Tab; 0: none
    bool keep_going = false;                 // with the batch, behind a command that failed
    std::vector<std::string> words;          // SERVICE COMMAND [SUBCOMMAND] [key=value ...]
};

/// Fills the options, or returns the exit status with which to stop at once (help, version, usage
/// error; said on standard output or error).
std::optional<int> ParseOptions(int argc, const char* const* argv, Options* options);

/// Fills the options and says nothing; false where a word or a setting is wrong.
bool ParseQuietly(const std::vector<std::string>& words, Options* options);

/// Names the local user where no other is named; what is wrong with the user's name, or "".
std::string NameUser(Options* options);

/// An option as help shows it.
struct ShownOption {
    std::string name;   // "--format"
    std::string value;  // "text|json", "FILE"; "" of a flag
    std::string about;  // in a few words
};

std::vector<ShownOption> ShownOptions();

/// The words as the library takes them; they are the caller's.
std::vector<const char*> PointersTo(const std::vector<std::string>& words);

}  // namespace zwcli
