#include "linux_agent/installer.h"

#include <algorithm>
#include <iterator>
#include <new>
#include <optional>
#include <system_error>
#include <utility>

#include "agent/replies.h"
#include "agent/requests.h"
#include "records/driver_types.h"
#include "zwmgmt/fixed_text.h"
#include "zwmgmt/records/file_transfer.h"

namespace zmagent {
namespace {

using zwmgmt::FixedText;

constexpr int kMostPackages = 16;  // on their way, waiting and running
constexpr size_t kMostAccounts = 64;
constexpr size_t kLongestReport = 64 * 1024;  // bytes
constexpr size_t kLongestName = 128;
constexpr char kHighestConfType = 5;

/// What a hook says with its exit status.
struct Verdict {
    int exit_status;
    uint32_t status;
};

constexpr Verdict kVerdicts[] = {
    {0, zwmgmt::kSuccess},
    {10, zwmgmt::kPrerequisites},
    {11, zwmgmt::kOtherArchitecture},
    {12, zwmgmt::kNotNewer},
};

uint32_t StatusOf(const HookEnd& end) {
    const auto* row = std::ranges::find(kVerdicts, end.exit_status, &Verdict::exit_status);
    return row != std::end(kVerdicts) ? row->status : uint32_t{zwmgmt::kRequestRefused};
}

/// A name that no shell, path or option takes for anything else.
bool IsPlain(std::string_view name, size_t longest) {
    const auto is_plain = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
    };
    return !name.empty() && name.size() <= longest && is_plain(name.front()) &&
           std::ranges::all_of(name, [&](char c) {
               return is_plain(c) || c == '.' || c == '_' || c == '+' || c == '-' || c == '~';
           });
}

/// "nic,toe"; nothing where a bit is no type's.
std::optional<std::string> TypesIn(uint32_t flags) {
    std::string types;
    for (const char* name : zwmgmt::kDriverTypeNames) {
        if ((flags & 1) != 0) {
            if (*name == '\0') return std::nullopt;
            types += (types.empty() ? "" : ",") + std::string(name);
        }
        flags >>= 1;
    }
    return flags == 0 ? std::optional(types) : std::nullopt;
}

/// What is said of a package, in the log and to the hook.
using Options = std::vector<std::pair<std::string, std::string>>;

/// The options of a request; nothing where one is no such.
std::optional<Options> OptionsIn(const FileRecord& record) {
    const auto types = TypesIn(record.flags);
    if (!types) return std::nullopt;
    const auto& args = record.args;
    Options options = {{"types", *types},
                       {"arguments", std::to_string(args[0]) + " " + std::to_string(args[1]) + " " +
                                         std::to_string(args[2])}};
    const std::string extra(FixedText(record.extra));
    if (extra.empty()) return options;
    if ((record.flags & zwmgmt::kTextExtraFlags) != 0) {
        if (!IsPlain(extra, sizeof(record.extra))) return std::nullopt;
        options.emplace_back("ofed_package", extra);
    } else {
        if (extra.size() != 1 || extra[0] < 0 || extra[0] > kHighestConfType) return std::nullopt;
        options.emplace_back("conf_type", std::to_string(extra[0]));
    }
    return options;
}

/// "KORVANE_CONF_TYPE=3".
std::string Variable(const std::string& name, const std::string& value) {
    std::string upper;
    for (const char c : name) upper += static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
    return "KORVANE_" + upper + "=" + value;
}

/// Completes the run with the package, which is whole.
void Complete(HookRun* run, const Package& package, const std::string& user) {
    run->folder = package.Folder();
    run->words = {package.Path()};
    for (const auto& [name, value] : Options{{"package", package.Name()},
                                             {"size", std::to_string(package.Size())},
                                             {"sha256", package.Sha256()},
                                             {"user", user}}) {
        run->environment.push_back(Variable(name, value));
    }
    for (const std::string& other :
         {std::string("PATH=/usr/sbin:/usr/bin:/sbin:/bin"), std::string("LC_ALL=C"),
          "HOME=" + package.Folder(), "TMPDIR=" + package.Folder()}) {
        run->environment.push_back(other);
    }
}

HookEnd Run(const HookRun& run, const std::atomic<bool>& stop) {
    HookEnd end;
    if (stop) {
        end.reason = "the agent was stopped";
    } else if (IsSafeHook(run.hook, &end.reason)) {
        end = RunHook(run, stop);
    }
    return end;
}

}  // namespace

// ---- The hook's turn -------------------------------------------------------------------------

void Installer::Stop() {
    std::thread ending;
    {
        const std::lock_guard guard(lock);
        stopping = true;
        ending.swap(worker);
        changed.notify_all();
    }
    if (ending.joinable()) ending.join();
}

bool Installer::HasRoom() const { return installations <= kMostPackages; }

/// Those that are of no use any more make room for another one.
Installer::Account& Installer::AccountOf(const std::string& user) {
    if (accounts.size() >= kMostAccounts && !accounts.contains(user)) {
        // There are fewer packages than accounts.
        accounts.erase(std::ranges::find_if(
            accounts, [](const auto& row) { return row.second.unfinished == 0; }));
    }
    return accounts[user];
}

bool Installer::Enqueue(std::unique_ptr<Installation>* installation) {
    const std::lock_guard guard(lock);
    if (stopping) return false;
    try {
        if (!worker.joinable()) worker = std::thread([this] { Work(); });
    } catch (const std::system_error&) {
        return false;
    }
    Account& account = AccountOf((*installation)->entry.user);
    const bool is_another = account.is_told || account.session != (*installation)->session;
    if (account.unfinished == 0 && is_another) account = {};
    account.session = (*installation)->session;
    ++account.unfinished;
    waiting.push_back(std::move(*installation));
    changed.notify_all();
    return true;
}

void Installer::Work() {
    std::unique_lock guard(lock);
    while (true) {
        changed.wait(guard, [this] { return stopping || !waiting.empty(); });
        if (waiting.empty()) return;
        auto installation = std::move(waiting.front());
        waiting.pop_front();
        guard.unlock();
        Install(*installation);
        installation.reset();
        guard.lock();
    }
}

/// The outcome is there when the log has it and the package has gone.
void Installer::Install(Installation& installation) {
    AuditEntry entry = installation.entry;
    const std::string name = installation.package->Name();
    entry.status = zwmgmt::kRequestRefused;
    entry.reason = "out of memory";
    try {
        const HookEnd end = Run(installation.run, stopping);
        entry.status = StatusOf(end);
        entry.reason = end.reason;
        entry.keys.emplace_back("step", "hook ended");
        if (end.exit_status != HookEnd::kNone) {
            entry.keys.emplace_back("exit_status", std::to_string(end.exit_status));
        }
        if (!end.printed.empty()) entry.keys.emplace_back("printed", end.printed);
    } catch (const std::bad_alloc&) {
    }
    audit.Note(entry);
    installation.package.reset();
    const std::lock_guard guard(lock);
    Account& account = accounts[entry.user];
    --account.unfinished;
    if (account.status == zwmgmt::kSuccess) account.status = entry.status;
    if (account.lines.size() >= kLongestReport) return;
    const bool done = entry.status == zwmgmt::kSuccess;
    account.lines += name + ": " + (done ? "installed" : zwmgmt::StatusText(entry.status)) + "\n";
}

agent::Reply Installer::OutcomeOf(const std::string& user) {
    const std::lock_guard guard(lock);
    const auto row = accounts.find(user);
    if (row == accounts.end()) return agent::Failed(zwmgmt::kNotStarted);
    Account& account = row->second;
    if (account.unfinished != 0) return agent::Failed(zwmgmt::kStillRunning);
    account.is_told = true;
    return account.status == zwmgmt::kSuccess ? agent::TextReply(account.lines)
                                              : agent::Failed(account.status, account.lines);
}

// ---- The way into the spool ------------------------------------------------------------------

agent::Reply Delivery::Answer(Asked asked, std::span<const uint8_t> data, const std::string& user,
                              const std::string& address, uint32_t refusal) {
    switch (asked) {
        case Asked::kFile: {
            FileRecord record = {};
            BreakOff();
            if (!agent::Unpack(data, &record)) return agent::Failed(zwmgmt::kInvalidValue);
            AuditEntry entry = {.user = user, .address = address, .command = "system install"};
            return Announce(record, std::move(entry), refusal);
        }
        case Asked::kPiece: return Take(data);
        case Asked::kWhole: return Finish();
        default: BreakOff(); return {};
    }
}

void Delivery::Note(const std::string& step, const agent::Reply& reply) {
    AuditEntry entry = arriving->entry;
    entry.keys.emplace_back("step", step);
    entry.status = reply.status;
    entry.reason = reply.reason;
    installer.audit.Note(entry);
}

agent::Reply Delivery::Announce(const FileRecord& record, AuditEntry entry, uint32_t refusal) {
    entry.keys.emplace_back("file_name", FixedText(record.name));
    entry.keys.emplace_back("file_size", std::to_string(record.size));
    agent::Reply reply = agent::Failed(refusal);
    arriving = std::make_unique<Installation>(installer.installations, session);
    arriving->entry = std::move(entry);
    if (refusal == zwmgmt::kSuccess) reply = Begin(record);
    Note("announced", reply);
    if (reply.status != zwmgmt::kSuccess) arriving.reset();
    return reply;
}

agent::Reply Delivery::Begin(const FileRecord& record) {
    std::string error;
    const std::string& hook = config.install_hook;
    if (hook.empty()) return agent::Failed(zwmgmt::kRequestRefused, "no hook is configured");
    const std::string name(FixedText(record.name));
    if (!IsPlain(name, kLongestName)) return agent::Failed(zwmgmt::kInvalidValue, "such a name");
    if (record.size == 0 || record.size > config.package_most_bytes) {
        return agent::Failed(zwmgmt::kInvalidValue, "such a size");
    }
    const auto options = OptionsIn(record);
    if (!options) return agent::Failed(zwmgmt::kInvalidValue, "no such options");
    if (!IsSafeHook(hook, &error)) return agent::Failed(zwmgmt::kRequestRefused, error);
    if (!installer.HasRoom()) return agent::Failed(zwmgmt::kStillRunning, "too many packages");
    for (const auto& [key, value] : *options) {
        arriving->run.environment.push_back(Variable(key, value));
        arriving->entry.keys.emplace_back(key, value);
    }
    arriving->run.hook = hook;
    arriving->run.limit = std::chrono::seconds(config.hook_seconds);
    arriving->package = Package::Begin(config.spool, name, record.size, &error);
    return arriving->package ? agent::Reply() : agent::Failed(zwmgmt::kRequestRefused, error);
}

agent::Reply Delivery::Take(std::span<const uint8_t> piece) {
    std::string error;
    if (!arriving) return agent::Failed(zwmgmt::kInvalidValue);
    return arriving->package->Add(piece, &error) ? agent::Reply() : Drop(error);
}

agent::Reply Delivery::Finish() {
    std::string error;
    if (!arriving) return agent::Failed(zwmgmt::kInvalidValue);
    Package& package = *arriving->package;
    if (!package.Finish(&error)) return Drop(error);
    Complete(&arriving->run, package, arriving->entry.user);
    arriving->entry.keys.emplace_back("sha256", package.Sha256());
    Note("received", {});
    if (installer.Enqueue(&arriving)) return {};
    return Drop("no thread is to be had");
}

agent::Reply Delivery::Drop(const std::string& reason) {
    agent::Reply reply = agent::Failed(zwmgmt::kRequestRefused, reason);
    Note("broken off", reply);
    arriving.reset();
    return reply;
}

void Delivery::BreakOff() {
    if (!arriving || !arriving->package) return;
    const uint64_t written = arriving->package->Written();
    Drop("after " + std::to_string(written) + " bytes");
}

}  // namespace zmagent
