/// Words of a command line to a request, with every complaint that words alone can give rise to.
#include <algorithm>
#include <new>
#include <string>
#include <vector>

#include "commands/command_keys.h"
#include "commands/offer.h"
#include "commands/routes.h"
#include "commands/texts.h"
#include "commands/vocabulary.h"
#include "zwmgmt/zwmgmt_interface.h"

namespace zwmgmt {

struct CommandWords::Parts {
    std::vector<std::string> values;
    std::vector<Client_Request_Argument> arguments;
    Client_Request_Message request = {};
    std::string error;

    bool each_key_once = false;

    bool AllThere(const char* const* words, size_t count);
    bool Parse(const char* const* words, size_t count);
    bool ParseArguments(const char* const* words, size_t count);
    bool AddSubCommand(const std::string& word);
    bool AddKey(const std::string& word);
    bool Unknown(const char* what, const std::string& word, const std::vector<const char*>& known);
    void Add(const std::string& value, int key);
};

namespace {

/// Commands whose entries are keys from entry 0 on: they have no slot for a sub-command.
bool TakesKeysOnly(uint8_t service, uint16_t command) {
    return service == kNet && (command == kPing || command == kTraceRoute);
}

/// The key words of a command that has a handler, each once.
std::vector<const char*> KeyWordsFor(const Client_Request_Message& request) {
    std::vector<const char*> words;
    if (FindRoute(request.service, request.command) == nullptr) return words;
    for (const CommandKey& key : KeysOfCommand(request.command)) {
        const auto same = [&](const char* word) { return std::string_view(word) == key.word; };
        if (std::ranges::none_of(words, same)) words.push_back(key.word);
    }
    return words;
}

/// "; known: A, B; not in this version: C"
std::string KnownText(const Offer& offer) {
    std::string text;
    if (!offer.sent.empty()) text += "; known: " + Joined(offer.sent);
    if (!offer.not_sent.empty()) text += "; not in this version: " + Joined(offer.not_sent);
    return text;
}

bool IsKeyValue(const std::string& word) { return word.find('=') != std::string::npos; }

}  // namespace

bool CommandWords::Parts::AllThere(const char* const* words, size_t count) {
    if (count > 0 &&
        (words == nullptr || std::find(words, words + count, nullptr) != words + count)) {
        error = "a word is missing (null)";
    }
    return error.empty();
}

bool CommandWords::Parts::Unknown(const char* what, const std::string& word,
                                  const std::vector<const char*>& known) {
    error = std::string("unknown ") + what + " \"" + word + "\"";
    const std::string nearest = Joined(NearestWords(word, known));
    if (!nearest.empty()) error += "; nearest: " + nearest;
    return false;
}

void CommandWords::Parts::Add(const std::string& value, int key) {
    values.push_back(value);
    arguments.push_back({nullptr, key});
}

bool CommandWords::Parts::AddKey(const std::string& word) {
    if (!IsKeyValue(word)) {
        error = "expected key=value instead of \"" + word + "\"";
        return false;
    }
    std::vector<char> key(word.size() + 1);
    std::vector<char> value(word.size() + 1);
    ZwMgmt_interface::CLGetKey(word.c_str(), key.data());
    const int number = ZwMgmt_interface::CLGetKeyNo(key.data(), request.service);
    if (number == -1) return Unknown("key", key.data(), KeyWordsFor(request));
    if (ZwMgmt_interface::CLGetValue(word.c_str(), value.data()) != 0) {
        error = "key \"" + std::string(key.data()) + "\" has no value";
        return false;
    }
    const bool again = std::ranges::any_of(
        arguments, [&](const Client_Request_Argument& given) { return given.key == number; });
    if (again && each_key_once) {
        error = "key \"" + std::string(key.data()) + "\" is given twice";
        return false;
    }
    Add(value.data(), number);
    return true;
}

bool CommandWords::Parts::AddSubCommand(const std::string& word) {
    const int number =
        ZwMgmt_interface::CLGetSubCommand(word.c_str(), request.service, request.command);
    const auto known = SubCommandWordsOf(request.service, request.command);
    if (!word.empty() && number == -1 && !known.empty()) {
        const bool sent = FindRoute(request.service, request.command) != nullptr;
        return Unknown("sub-command", word, sent ? known : std::vector<const char*>());
    }
    Add(word, number);
    return true;
}

bool CommandWords::Parts::ParseArguments(const char* const* words, size_t count) {
    const Route* route = FindRoute(request.service, request.command);
    if (count > 0 && route != nullptr && route->arguments == Arguments::kNone) {
        error = std::string("the command takes no arguments: \"") + words[0] + "\"";
        return false;
    }
    size_t next = 0;
    if (TakesKeysOnly(request.service, request.command)) {
        const bool asks_for_result = count == 1 && SameIgnoringCase(words[0], "getresult");
        if (asks_for_result) Add(words[next++], -1);
    } else {
        const bool given = count > 0 && !IsKeyValue(words[0]);
        if (given && route != nullptr && route->arguments == Arguments::kKeys) {
            error = std::string("expected key=value instead of \"") + words[0] + "\"";
            return false;
        }
        if (!AddSubCommand(given ? words[0] : "")) return false;
        next = given ? 1 : 0;
    }
    for (; next < count; ++next) {
        if (!AddKey(words[next])) return false;
    }
    for (size_t i = 0; i < values.size(); ++i) arguments[i].value = values[i].c_str();
    request.arguments = arguments.data();
    request.argument_count = static_cast<uint32_t>(arguments.size());
    return true;
}

bool CommandWords::Parts::Parse(const char* const* words, size_t count) {
    if (count == 0) {
        error = "missing service" + KnownText(OfferedServices());
        return false;
    }
    const int service = ZwMgmt_interface::CLGetService(words[0]);
    if (service == -1) return Unknown("service", words[0], OfferedServices().sent);
    request.service = static_cast<uint8_t>(service);

    const Offer offer = OfferedCommands(request.service);
    if (count == 1) {
        error = std::string("missing command of service ") + words[0] + KnownText(offer);
        return false;
    }
    const int command = ZwMgmt_interface::CLGetCommand(words[1], request.service);
    if (command == -1) {
        return Unknown((std::string(words[0]) + " command").c_str(), words[1], offer.sent);
    }
    request.command = static_cast<uint16_t>(command);
    return ParseArguments(words + 2, count - 2);
}

CommandWords::CommandWords(const char* const* words, size_t count) noexcept : parts(nullptr) {
    try {
        parts = new Parts;
        parts->each_key_once = true;
        if (parts->AllThere(words, count)) parts->Parse(words, count);
    } catch (const std::bad_alloc&) {
        delete parts;
        parts = nullptr;
    }
}

CommandWords::CommandWords(uint8_t service, uint16_t command, uint8_t qualifier,
                           const char* const* words, size_t count) noexcept
    : parts(nullptr) {
    try {
        parts = new Parts;
        parts->request.service = service;
        parts->request.command = command;
        parts->request.qualifier = qualifier;
        if (parts->AllThere(words, count)) parts->ParseArguments(words, count);
    } catch (const std::bad_alloc&) {
        delete parts;
        parts = nullptr;
    }
}

CommandWords::~CommandWords() { delete parts; }

Client_Request_Message* CommandWords::Request() noexcept {
    return parts != nullptr && parts->error.empty() ? &parts->request : nullptr;
}

const char* CommandWords::Error() const noexcept {
    return parts != nullptr ? parts->error.c_str() : "out of memory";
}

}  // namespace zwmgmt
