#include "commands/vocabulary.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <numeric>
#include <span>

#include "commands/vocabulary_words.h"
#include "zwmgmt/zwmgmt_interface.h"

namespace zwmgmt {
namespace {

using namespace words;
using Words = std::span<const Word>;

constexpr int kUnknown = -1;

enum class Case { kIgnore, kExact };

char Lower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }

/// Whether the whole word is the table's, which is all lower case.
bool Same(const char* word, const char* table_word, Case mode) {
    if (mode == Case::kExact) return std::strcmp(word, table_word) == 0;
    for (; *table_word != '\0'; ++word, ++table_word) {
        if (Lower(*word) != *table_word) return false;
    }
    return *word == '\0';
}

int Find(const char* word, Words table, Case mode = Case::kIgnore) {
    if (word == nullptr) return kUnknown;
    for (const Word& row : table) {
        if (Same(word, row.word, mode)) return row.number;
    }
    return kUnknown;
}

const char* WordFor(int number, Words table) {
    for (const Word& row : table) {
        if (row.number == number) return row.word;
    }
    return nullptr;
}

/// The services whose command words are not rows of the command table.
struct OwnCommandsRow {
    uint8_t service;
    Words commands;
};

const OwnCommandsRow kOwnCommands[] = {
    {kFoiscsiini, kFoiscsiCommands},
    {kBypass, kBypassCommands},
    {kMsteam, kMsteamCommands},
    {kBonding, kBondingCommands},
};

/// The key groups of a service, in the order in which they are tried.
struct KeysRow {
    uint8_t service;
    Words groups[3];
    Case mode = Case::kIgnore;
};

const KeysRow kKeys[] = {
    {kIscsi, {kIscsiKeys, kCredentialKeys}},
    {kNet, {kNetworkingKeys}},
    {kTeam, {kNetworkingKeys}},
    {kKorvane, {kCredentialKeys, kNetworkingKeys, kAdapterKeys}},
    {kSystem, {kSystemKeys}},
    {kFilter, {kFilterKeys}},
    {kTm, {kTmKeys}},
    {kLog, {kLogKeys}},
    {kFcoe, {kNetworkingKeys, kFcoeKeys}},
    {kIwarp, {kIwarpKeys}},
    {kDiags, {kDiagsKeys}},
    {kHyperv, {kHypervKeys}},
    {kTmsched, {kTmschedKeys}},
    {kMsteam, {kMsteamKeys}},
    {kFoiscsiini, {kFoiscsiKeys}, Case::kExact},
    {kBypass, {kBypassKeys}, Case::kExact},
    {kBonding, {kBondingKeys}, Case::kExact},
};

/// Sub-commands; command 0 stands for every command not named before. Handlers of commands with
/// open words know further ones ("set").
struct SubCommandsRow {
    uint8_t service;
    uint16_t command;
    Words words;
    bool open = false;
};

const SubCommandsRow kSubCommands[] = {
    {kIscsi, 0, kIscsiSubCommands},      {kSystem, 0, kSystemSubCommands},
    {kNet, kBridge, kBridgeSubCommands}, {kNet, kVif, kVifSubCommands},
    {kNet, kPif, kPifSubCommands},       {kNet, 0, kNetSubCommands, true},
};

template <class Row, size_t Count>
const Row* RowOf(const Row (&table)[Count], uint8_t service) {
    for (const Row& row : table) {
        if (row.service == service) return &row;
    }
    return nullptr;
}

const SubCommandsRow* FindSubCommands(uint8_t service, uint16_t command) {
    for (const SubCommandsRow& row : kSubCommands) {
        if (row.service == service && (row.command == command || row.command == 0)) return &row;
    }
    return nullptr;
}

size_t EditDistance(const std::string& a, const std::string& b) {
    std::vector<size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t replaced = diagonal + (a[i - 1] != b[j - 1]);
            diagonal = row[j];
            row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row.back();
}

/// An abbreviation is as near as one wrong letter.
size_t Distance(const std::string& typed, const std::string& known) {
    if (!typed.empty() && known.starts_with(typed)) return 1;
    return EditDistance(typed, known);
}

}  // namespace

std::vector<const char*> ServiceWords() {
    std::vector<const char*> result;
    for (const Word& row : kServiceWords) result.push_back(row.word);
    return result;
}

std::vector<const char*> CommandWordsOf(uint8_t service) {
    std::vector<const char*> result;
    if (const OwnCommandsRow* own = RowOf(kOwnCommands, service)) {
        for (const Word& row : own->commands) result.push_back(row.word);
    }
    for (const words::CommandWord& row : kCommandWords) {
        if (row.service == service) result.push_back(row.word);
    }
    return result;
}

std::vector<const char*> SubCommandWordsOf(uint8_t service, uint16_t command) {
    std::vector<const char*> result;
    const SubCommandsRow* row = FindSubCommands(service, command);
    if (row == nullptr || row->open) return result;
    for (const Word& word : row->words) result.push_back(word.word);
    return result;
}

std::vector<const char*> NearestWords(const std::string& word, std::vector<const char*> known) {
    constexpr size_t kMost = 5;
    std::string typed;
    for (char c : word.substr(0, 64)) typed.push_back(Lower(c));
    std::vector<std::pair<size_t, const char*>> rated;
    for (const char* candidate : known) {
        rated.emplace_back(Distance(typed, candidate), candidate);
    }
    std::stable_sort(rated.begin(), rated.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<const char*> result;
    for (const auto& [distance, candidate] : rated) {
        // Anything much farther away than the best is no likely meaning.
        if (result.size() == kMost || distance > rated.front().first + 1) break;
        result.push_back(candidate);
    }
    return result;
}

const char* ServiceWord(uint8_t service) { return WordFor(service, kServiceWords); }

const char* CommandWord(uint8_t service, uint16_t command) {
    if (const OwnCommandsRow* own = RowOf(kOwnCommands, service)) {
        return WordFor(command, own->commands);
    }
    for (const words::CommandWord& row : kCommandWords) {
        if (row.service == service && row.command == command) return row.word;
    }
    return nullptr;
}

const char* KeyWord(uint8_t service, int key) {
    if (const KeysRow* row = RowOf(kKeys, service)) {
        for (const Words& group : row->groups) {
            if (const char* word = WordFor(key, group)) return word;
        }
    }
    return nullptr;
}

const char* FoiscsiAddressTypeWord(int number) { return WordFor(number, kFoiscsiAddressTypes); }
const char* FoiscsiOperationWord(int number) { return WordFor(number, kFoiscsiOperations); }

}  // namespace zwmgmt

using namespace zwmgmt;

int ZwMgmt_interface::CLGetService(const char* word) { return Find(word, kServiceWords); }

int ZwMgmt_interface::CLGetCommand(const char* word, uint8_t service) {
    if (word == nullptr) return kUnknown;
    if (const OwnCommandsRow* own = RowOf(kOwnCommands, service)) return Find(word, own->commands);
    for (const words::CommandWord& row : kCommandWords) {
        if (row.service == service && Same(word, row.word, Case::kIgnore)) return row.command;
    }
    return kUnknown;
}

int ZwMgmt_interface::CLGetSubCommand(const char* word, uint8_t service, uint16_t command) {
    if (service == kFoiscsiini) {
        const int number = Find(word, kFoiscsiSubCommands);
        return number == command ? number : kUnknown;
    }
    const SubCommandsRow* row = FindSubCommands(service, command);
    return row != nullptr ? Find(word, row->words) : kUnknown;
}

int ZwMgmt_interface::CLGetKeyNo(const char* word, uint8_t service) {
    const KeysRow* row = RowOf(kKeys, service);
    if (row == nullptr) return kUnknown;
    for (const Words& group : row->groups) {
        const int number = Find(word, group, row->mode);
        if (number != kUnknown) return number;
    }
    return kUnknown;
}

int ZwMgmt_interface::CLGetKey(const char* word, char* key) {
    const char* equals = word != nullptr ? std::strchr(word, '=') : nullptr;
    if (equals == nullptr || key == nullptr) return 1;
    std::memcpy(key, word, static_cast<size_t>(equals - word));
    return 0;
}

int ZwMgmt_interface::CLGetValue(const char* word, char* value) {
    const char* equals = word != nullptr ? std::strchr(word, '=') : nullptr;
    if (equals == nullptr || equals[1] == '\0' || value == nullptr) return 1;
    std::strcpy(value, equals + 1);
    return 0;
}

namespace {

/// The number of the request's first word, all bits set for an unknown one; "list" is known under
/// every command.
uint64_t FirstWordNumber(const Client_Request_Message* request, Words table) {
    const bool any = request->argument_count > 0 && request->arguments != nullptr;
    const char* word = any ? request->arguments[0].value : nullptr;
    const int number = Find(word, table);
    constexpr Word kList[] = {{"list", kInvalidCommand}};
    if (number == kUnknown && Find(word, kList) != kUnknown) return kInvalidCommand;
    return static_cast<uint64_t>(int64_t{number});
}

}  // namespace

uint64_t ZwMgmt_interface::CLGetXENNETCmnd(const Client_Request_Message* request) {
    switch (request->command) {
        case kBridge: return FirstWordNumber(request, kBridgeSubCommands);
        case kVif: return FirstWordNumber(request, kVifSubCommands);
        case kPif: return FirstWordNumber(request, kPifSubCommands);
        default: return FirstWordNumber(request, {});
    }
}

uint64_t ZwMgmt_interface::CLGetESXNETCmnd(const Client_Request_Message* request) {
    switch (request->command) {
        case kVswitch: return FirstWordNumber(request, kVswitchSubCommands);
        case kVswif: return FirstWordNumber(request, kNetSubCommands);
        case kPortGroup: return FirstWordNumber(request, kPortGroupSubCommands);
        default: return FirstWordNumber(request, {});
    }
}
