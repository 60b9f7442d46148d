/// The arguments of requests: one row a key, and the one interpreter that brings what was written
/// into the request's record. Help, suggestions, notes and the simulated agent read the same rows.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

#include "commands/chips.h"
#include "commands/numbers.h"
#include "session/os_set.h"
#include "zwmgmt/zwmgmt_interface.h"

namespace zwmgmt {

/// How a value becomes bytes of its member.
enum class Form {
    kText,        // at most the member; the rest of it is zero
    kName,        // the same, and not empty
    kFlag,        // one digit, and a terminator
    kNumber,      // must fit into the member
    kLowByte,     // the number's low byte, which is also what the rule judges
    kLow16,       // the number's low 16 bits
    kNumberText,  // the number as decimal text
    kNothing,     // the bit of the mask says it all
    kWord,        // the number of a word
    kMasked,      // value[:mask]; the rule's highest has all the bits that agents take
    kAddress,     // an IP address, or with the length of its prefix
    kMac,
    kSpeedDuplex,  // "auto" or SPEED-half, SPEED-full
    kAdvertise,    // link modes, separated by "|"
    kFile,         // of no member: it is pushed
    kOther,
};

/// What the number must be. Without a message the agent judges: the range is what help says and
/// what is warned of, and 0 to 0 stands for what the form alone tells.
struct Rule {
    int64_t least = 0;
    int64_t most = 0;
    const char* message = nullptr;

    constexpr bool HasRange() const { return message != nullptr || least != most; }
    constexpr bool Allows(int64_t number) const {
        return !HasRange() || (least <= number && number <= most);
    }
};

struct Word {
    std::string_view word;
    uint32_t number;
};

/// The words of a list that numbers them by their places; an empty one is none.
template <const auto& Names>
consteval auto NumberedWords() {
    constexpr auto is_word = [](const char* name) { return name[0] != '\0'; };
    std::array<Word, std::ranges::count_if(Names, is_word)> words = {};
    size_t count = 0;
    for (uint32_t number = 0; number < std::size(Names); ++number) {
        if (is_word(Names[number])) words[count++] = {Names[number], number};
    }
    return words;
}

/// What became of a value: result 0, or that of the refused request and what is to be said of it;
/// null: what the request says of every value.
struct Verdict {
    int result = kSuccess;
    const char* text = nullptr;
};

constexpr Verdict Wrong(const char* text = nullptr) { return {kRequestRefused, text}; }

struct Argument {
    /// Of values that no form tells. Without a session nothing can be said.
    using Setter = Verdict (*)(ZwMgmt_interface* session, const Argument& row,
                               const Client_Request_Argument& key, void* record);

    const char* word;
    int key;
    size_t offset;  // of the member, in bytes
    size_t width;
    bool is_signed;
    Form form;
    uint32_t bit = 0;  // of the record's mask
    Rule rule = {};
    NumberReader read = nullptr;  // of forms of numbers
    std::span<const Word> words = {};
    Setter set = nullptr;          // instead of the form's own
    const char* name = nullptr;    // in messages; not always the word
    const char* wrong = nullptr;   // what is said of a value that the form does not take
    const char* takes = nullptr;   // in help: what a text is, or all that the form does not tell
    OsSet systems = OsSet::Any();  // it is sent to these
    OsSet heeded = OsSet::Any();   // help shows it for these: of one bit of the mask they read it
    Chips chips = Chips::kAny;     // bits are used twice: agents read them by the chip
};

/// A row without its optional columns, which follow with their names.
#define ZWMGMT_ARGUMENT(Record, key_word, Group, member, form_name, ...)                          \
    {                                                                                             \
        .word = key_word, .key = Group##Key(key_word), .offset = offsetof(Record, member),        \
        .width = sizeof(Record::member), .is_signed = std::is_signed_v<decltype(Record::member)>, \
        .form = Form::form_name __VA_OPT__(, ) __VA_ARGS__                                        \
    }

/// A key without which a command says what it lacks.
struct Required {
    enum Need {
        kGiven,
        kFilled,  // and neither empty nor 0
    };
    int key;
    Need need;
    const char* missing;
    OsSet systems = OsSet::Any();
};

/// A command's request. Required keys are asked for in the order of their rows.
struct RequestForm {
    static constexpr size_t kNoMask = SIZE_MAX;

    Service service;
    Command command;
    size_t record_size;
    std::span<const Argument> arguments;
    std::span<const Required> required = {};
    const char* wrong = "";    // of a value; may have the key's word as %s
    const char* unknown = "";  // of a key that it lacks; null: passed over
    size_t mask_offset = kNoMask;
    std::span<const Argument> settings = {};  // rows of a part of the record
    size_t settings_offset = 0;
    std::span<const Argument> ignored = {};  // read and judged, but of no effect
    /// Instead of `unknown`, where that depends on the agent.
    const char* (*unknown_by_os)(uint8_t os_type) = nullptr;
    /// What a key takes, where that depends on the agent: in words, empty where it is not taken.
    std::string (*taken_by_agents)(const Argument& row, uint8_t os_type) = nullptr;
    /// Judges a value before its row is looked for.
    bool (*is_value)(const Client_Request_Argument& key, uint8_t os_type) = nullptr;
};

/// Brings one value into its member.
Verdict SetArgument(ZwMgmt_interface* session, const Argument& row,
                    const Client_Request_Argument& key, void* record);

/// Brings all keys into the record, up to one that is refused: the handler's result.
int ReadArguments(ZwMgmt_interface& session, std::span<const Client_Request_Argument> keys,
                  const RequestForm& form, void* record);

/// Whether what the command cannot do without is there: the handler's result.
int CheckRequired(ZwMgmt_interface& session, std::span<const Client_Request_Argument> keys,
                  const RequestForm& form, const void* record);

/// Both, then the message with the record.
int BuildRequest(ZwMgmt_interface& session, const Client_Request_Message* request,
                 _Message* message, const RequestForm& form, void* record);

/// The row of a key for agents of an OS; null when they do not know it.
const Argument* FindArgument(std::span<const Argument> rows, uint8_t os_type, int key);

/// What the value may be, in words.
std::string TakenBy(const Argument& row);

/// How many bits a masked value has.
constexpr int BitsOf(const Argument& row) {
    int bits = 0;
    while (row.rule.most >> bits != 0) ++bits;
    return bits;
}

/// "pass, drop"
std::string WordList(std::span<const Word> words);

}  // namespace zwmgmt
