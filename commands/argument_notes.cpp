#include "zwmgmt/argument_notes.h"

#include <algorithm>
#include <memory>
#include <new>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "commands/command_keys.h"
#include "commands/remarks.h"
#include "commands/routes.h"
#include "commands/vocabulary.h"
#include "session/agent_names.h"
#include "session/exchange.h"

namespace zwmgmt {

struct ArgumentNotes::Parts {
    struct Note {
        ArgumentNote::Severity severity;
        int32_t argument;
        std::string text;
    };

    std::vector<Note> notes;
    bool refused = false;
    std::string refusal;  // as the library prints it
    std::vector<Remarks::Message> messages;

    /// Takes what building for agents of the OS gives.
    void Build(const ZwMgmt_interface& session, Client_Request_Message* request, uint8_t os_type);
    void Take(const Client_Request_Message& request, uint8_t os_type, const Remarks& remarks);
    void NoteWarnings(const Client_Request_Message& request, const Remarks& remarks);
    void NoteUnheeded(const Client_Request_Message& request, const CommandKeys& keys,
                      uint8_t os_type);
};

namespace {

/// The word of a key number, which one service may use for several words: that of the command, or
/// of another command that this version sends, comes first.
const char* WordOf(const Client_Request_Message& request, int key) {
    const auto word_in = [&](uint16_t command) -> const char* {
        const CommandKeys keys = KeysOfCommand(command);
        const auto row = std::ranges::find(keys, key, &CommandKey::key);
        return row != keys.end() ? row->word : nullptr;
    };
    if (const char* word = word_in(request.command)) return word;
    for (const Route& route : Routes()) {
        if (route.service != request.service) continue;
        if (const char* word = word_in(route.command)) return word;
    }
    return KeyWord(request.service, key);
}

/// "mtu=9000"
std::string Written(const Client_Request_Message& request, const Client_Request_Argument& entry) {
    const char* word = entry.key == -1 ? nullptr : WordOf(request, entry.key);
    const std::string value = entry.value != nullptr ? entry.value : "";
    return word != nullptr ? word + ("=" + value) : value;
}

std::string NameOf(const Client_Request_Message& request) {
    const char* service = ServiceWord(request.service);
    const char* command = CommandWord(request.service, request.command);
    return std::string(service != nullptr ? service : "?") + " " +
           (command != nullptr ? command : "?");
}

const CommandKey* Find(const CommandKeys& keys, int key, uint8_t os_type) {
    const auto row = std::ranges::find_if(keys, [&](const CommandKey& candidate) {
        return candidate.key == key && candidate.agents.Has(os_type);
    });
    return row != keys.end() ? &*row : nullptr;
}

/// What a refused entry may be.
std::string Expected(const Client_Request_Message& request, const Client_Request_Argument& entry,
                     const CommandKeys& keys, uint8_t os_type) {
    if (const CommandKey* row = Find(keys, entry.key, os_type)) return "expected " + row->takes;
    const bool others_take_it =
        std::ranges::any_of(keys, [&](const CommandKey& key) { return key.key == entry.key; });
    constexpr size_t kFew = 8;
    std::string known;
    size_t count = 0;
    for (const CommandKey& key : keys) {
        if (!key.agents.Has(os_type)) continue;
        known += (count++ == 0 ? "" : ", ") + std::string(key.word);
    }
    if (count > kFew) known = "what \"help " + NameOf(request) + "\" lists";
    return (others_take_it ? "not for agents of this OS, which take "
                           : "not a key of this command, which takes ") +
           known;
}

/// Neither sends nor prints.
int BuildFor(const ZwMgmt_interface& session, Client_Request_Message* request, uint8_t os_type,
             Remarks* remarks) {
    ZwMgmt_interface builder(session);
    Remarks::Attach(builder, os_type, remarks);
    _Message message = {};
    char unused_buffer[1];
    const int result = builder.Client_ProcessRequest(&message, request, unused_buffer, nullptr);
    const std::unique_ptr<uint8_t, FreeBlock> data(static_cast<uint8_t*>(message.data));
    if (result == 0 && message.opcode != 0) {
        remarks->messages.push_back({message, {data.get(), data.get() + message.data_length}});
    }
    return result;
}

bool IsRefusal(int result) {
    return result == kRequestRefused || result == kInvalidCommand || result == kInvalidValue;
}

/// Whether the arguments are refused, whatever the agent's OS. (A command without a handler may be
/// one that the agent does not support either, which it says first.)
bool AllAreRefused(const ZwMgmt_interface& session, Client_Request_Message* request) {
    return std::ranges::all_of(kAgentNames, [&](const AgentName& agent) {
        Remarks remarks;
        const int result = BuildFor(session, request, agent.os, &remarks);
        return result == kNotForThisAgent || (IsRefusal(result) && result != kInvalidCommand);
    });
}

bool TakesAllKeys(const Client_Request_Message& request, uint8_t os_type) {
    if (request.arguments == nullptr) return true;
    const CommandKeys keys = KeysOfCommand(request.command);
    const std::span entries(request.arguments, request.argument_count);
    return std::ranges::all_of(entries, [&](const Client_Request_Argument& entry) {
        return entry.key == -1 || Find(keys, entry.key, os_type) != nullptr;
    });
}

/// The OS whose agents take all the keys of the request; Linux, where it may be.
uint8_t MostConcerned(const Client_Request_Message& request) {
    if (TakesAllKeys(request, kLinux)) return kLinux;
    const auto* agent = std::ranges::find_if(kAgentNames, [&](const AgentName& candidate) {
        return TakesAllKeys(request, candidate.os);
    });
    return agent != std::end(kAgentNames) ? agent->os : kLinux;
}

int32_t IndexOf(const Client_Request_Message& request, const Client_Request_Argument* entry) {
    return entry != nullptr ? static_cast<int32_t>(entry - request.arguments) : -1;
}

}  // namespace

void ArgumentNotes::Parts::NoteWarnings(const Client_Request_Message& request,
                                        const Remarks& remarks) {
    for (const Remarks::Warning& warning : remarks.warnings) {
        const std::string written =
            warning.entry != nullptr ? Written(request, *warning.entry) : "";
        notes.push_back(
            {ArgumentNote::kWarning, IndexOf(request, warning.entry), written + warning.text});
    }
}

/// Keys that the builder has passed over, or sends to agents that do not heed them.
void ArgumentNotes::Parts::NoteUnheeded(const Client_Request_Message& request,
                                        const CommandKeys& keys, uint8_t os_type) {
    if (request.arguments == nullptr || keys.empty()) return;
    const std::span entries(request.arguments, request.argument_count);
    for (size_t i = 0; i < entries.size(); ++i) {
        if (entries[i].key == -1 || Find(keys, entries[i].key, os_type) != nullptr) continue;
        const auto row = std::ranges::find(keys, int{entries[i].key}, &CommandKey::key);
        const bool means_another = row != keys.end() && row->bit != 0 &&
                                   std::ranges::any_of(keys, [&](const CommandKey& other) {
                                       return other.bit == row->bit && other.agents.Has(os_type);
                                   });
        const char* effect = row == keys.end() ? " has no effect on this command"
                             : means_another   ? " means another key to this agent"
                                               : " has no effect on this agent";
        notes.push_back({ArgumentNote::kWarning, static_cast<int32_t>(i),
                         Written(request, entries[i]) + effect});
    }
}

void ArgumentNotes::Parts::Take(const Client_Request_Message& request, uint8_t os_type,
                                const Remarks& remarks) {
    const CommandKeys keys = KeysOfCommand(request.command);
    if (refused) {
        const Client_Request_Argument* entry = remarks.refused;
        const Route* route = FindRoute(request.service, request.command);
        if (route == nullptr) {
            notes.push_back({ArgumentNote::kRefusal, -1,
                             "this version does not have \"" + NameOf(request) + "\""});
        } else if (entry == nullptr) {
            NoteWarnings(request, remarks);
            NoteUnheeded(request, keys, os_type);
            if (remarks.lacks_keys) {
                notes.push_back(
                    {ArgumentNote::kRefusal, -1, NameOf(request) + " takes " + route->keys});
            }
        } else {
            const std::string reason =
                remarks.reason.empty() ? Expected(request, *entry, keys, os_type) : remarks.reason;
            notes.push_back({ArgumentNote::kRefusal, IndexOf(request, entry),
                             Written(request, *entry) + ": " + reason});
        }
        return;
    }
    NoteWarnings(request, remarks);
    NoteUnheeded(request, keys, os_type);
}

void ArgumentNotes::Parts::Build(const ZwMgmt_interface& session, Client_Request_Message* request,
                                 uint8_t os_type) {
    Remarks remarks;
    const int result = BuildFor(session, request, os_type, &remarks);
    refused = IsRefusal(result);
    if (result == 0 || refused) Take(*request, os_type, remarks);
    if (refused) refusal = std::move(remarks.printed);
    if (result == 0) messages = std::move(remarks.messages);
}

ArgumentNotes::ArgumentNotes(const ZwMgmt_interface& session,
                             Client_Request_Message* request) noexcept
    : ArgumentNotes(session, request, session.OsType()) {}

ArgumentNotes::ArgumentNotes(const ZwMgmt_interface& session, Client_Request_Message* request,
                             uint8_t os_type) noexcept
    : parts(nullptr) {
    if (request == nullptr) return;
    try {
        parts = new Parts;
        if (os_type != 0 || session.Connected()) {
            parts->Build(session, request, os_type);
        } else if (AllAreRefused(session, request)) {
            parts->Build(session, request, MostConcerned(*request));
        }
    } catch (const std::bad_alloc&) {
        delete parts;
        parts = nullptr;
    }
}

ArgumentNotes::~ArgumentNotes() { delete parts; }

size_t ArgumentNotes::Count() const noexcept { return parts != nullptr ? parts->notes.size() : 0; }

ArgumentNote ArgumentNotes::operator[](size_t index) const noexcept {
    const Parts::Note& note = parts->notes[index];
    return {note.severity, note.argument, note.text.c_str()};
}

bool ArgumentNotes::Refused() const noexcept { return parts != nullptr && parts->refused; }

size_t ArgumentNotes::MessageCount() const noexcept {
    return parts != nullptr ? parts->messages.size() : 0;
}

_Message ArgumentNotes::MessageAt(size_t index) const noexcept {
    Remarks::Message& built = parts->messages[index];
    _Message message = built.header;
    message.data = built.data.empty() ? nullptr : built.data.data();
    return message;
}

const char* ArgumentNotes::RefusalText() const noexcept {
    return parts != nullptr ? parts->refusal.c_str() : "";
}

}  // namespace zwmgmt
