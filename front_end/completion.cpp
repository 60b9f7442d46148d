#include "front_end/completion.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <sstream>

#include "commands/command_keys.h"
#include "commands/offer.h"
#include "commands/routes.h"
#include "commands/texts.h"
#include "commands/vocabulary.h"
#include "front_end/shell_words.h"
#include "zwmgmt/result.h"

namespace zwcli {
namespace {

using Words = std::vector<std::string>;

constexpr size_t kMostRows = 1000;
constexpr size_t kLongestValue = 128;
constexpr int kMostNumbers = 10;  // of a range that is offered number by number

/// What a key names at the agent, and how to learn what is there. The first row that fits counts.
struct LiveRow {
    const char* key;
    uint8_t service;      // 0: any
    uint16_t command;     // 0: any
    const char* listing;  // a key without a value is filled from the line, or with all there are
    const char* field;
    const char* interface = nullptr;  // field that tells whose it is, where the line has ifname
};

constexpr LiveRow kLiveRows[] = {
    {"pci", zwmgmt::kFilter, 0, "filter listadapters", "pci_bus_location"},
    {"pci", 0, 0, "korvane listadapterprops", "pci_bus_location"},
    {"port", zwmgmt::kKorvane, 0, "korvane listports pci=", "port_instance"},
    {"ifname", zwmgmt::kFilter, 0, "filter listx3adapters", "interface_name"},
    {"ifname", 0, 0, "korvane listports pci=", "name"},
    {"drvname", 0, 0, "system listdrivers", "name"},
    {"comb", 0, 0, "filter showcomb", "combination"},
    {"id", 0, zwmgmt::kModifyFilterX3, "filter listx3", "id", "interface_name"},
    {"id", 0, zwmgmt::kDeleteFilterX3, "filter listx3", "id", "interface_name"},
    {"id", 0, zwmgmt::kModifyFilterX4, "filter list show=all pci=", "id"},
    {"id", 0, zwmgmt::kDeleteFilterX4, "filter list show=all pci=", "id"},
    {"id", 0, zwmgmt::kModifyPolicy, "tm list", "index", "interface_name"},
    {"id", 0, zwmgmt::kDeletePolicy, "tm list", "index", "interface_name"},
};

Words SplitAtBlanks(const char* text) {
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

bool BeginsIgnoringCase(std::string_view text, std::string_view beginning) {
    return zwmgmt::SameIgnoringCase(text.substr(0, beginning.size()), beginning);
}

/// Agents' texts are not trusted: they are shown on a terminal.
bool IsPrintable(const std::string& text) {
    return !text.empty() && text.size() <= kLongestValue &&
           std::ranges::all_of(text, [](char c) { return ' ' <= c && c <= '~'; });
}

/// The numbers of "0 to 5", where they are few.
void AddNumbers(std::string_view range, Words* values) {
    int least = 0, most = 0;
    const char* const end = range.data() + range.size();
    const auto first = std::from_chars(range.data(), end, least);
    if (first.ec != std::errc() || !std::string_view(first.ptr, end).starts_with(" to ")) return;
    const auto last = std::from_chars(first.ptr + 4, end, most);
    if (last.ec != std::errc() || last.ptr != end || most - least >= kMostNumbers) return;
    for (int number = least; number <= most; ++number) values->push_back(std::to_string(number));
}

/// The values that help tells, as in "one digit, 0 or 1", "pass, drop" and "all; or zm".
Words ValuesTold(std::string_view takes) {
    Words values;
    while (!takes.empty()) {
        const size_t end =
            std::min({takes.find(", "), takes.find("; "), takes.find(" or "), takes.size()});
        std::string_view piece = takes.substr(0, end);
        takes.remove_prefix(
            std::min(end + (takes.substr(end).starts_with(' ') ? 4 : 2), takes.size()));
        if (piece.starts_with("or ")) piece.remove_prefix(3);
        const bool is_word = std::ranges::all_of(piece, [](char c) {
            return ('a' <= c && c <= 'z') || ('0' <= c && c <= '9') || c == '_';
        });
        if (is_word && !piece.empty()) values.emplace_back(piece);
        AddNumbers(piece, &values);
    }
    return values;
}

/// The words that can stand behind service and command.
Words SubCommandsOf(const zwmgmt::Route& route) {
    Words words;
    for (const char* word : zwmgmt::SubCommandWordsOf(route.service, route.command)) {
        words.emplace_back(word);
    }
    // "get|set ifname=NAME [max=N]"
    const Words keys = SplitAtBlanks(route.keys);
    if (!keys.empty() && keys[0].find_first_of("=[") == std::string::npos) {
        std::istringstream choice(keys[0]);
        for (std::string word; std::getline(choice, word, '|');) words.push_back(word);
    }
    // "net ping getresult"
    const Words question = SplitAtBlanks(route.question != nullptr ? route.question : "");
    if (question.size() == 3) words.push_back(question[2]);
    return words;
}

class Completer {
  public:
    Completer(std::string_view line, const CompletionSources& completion_sources)
        : sources(completion_sources) {
        std::vector<WordPlace> places;
        SplitWords(line, &words, &places);
        completion.begin = line.size();
        const size_t end = places.empty() ? 0 : places.back().end;
        if (end == line.size() && !words.empty()) {
            completion.begin = places.back().begin;
            typed = std::move(words.back());
            words.pop_back();
        }
        is_comment = line.find_first_not_of(" \t", end) != line.npos;
    }

    Completion Execute() {
        if (is_comment) return completion;
        const bool is_help =
            !words.empty() && (zwmgmt::SameIgnoringCase(words[0], "help") || words[0] == "?");
        if (words.empty()) Offer(sources.first_words);
        if (is_help) words.erase(words.begin());
        if (words.empty()) {
            Offer(zwmgmt::OfferedServices().sent);
        } else if (words.size() == 1) {
            const int number = ZwMgmt_interface::CLGetService(words[0].c_str());
            if (number != -1) Offer(zwmgmt::OfferedCommands(static_cast<uint8_t>(number)).sent);
        } else if (!is_help) {
            OfferArguments();
        }
        return completion;
    }

  private:
    /// Those that go on as the word begins, each once.
    template <class Text>
    void Offer(const std::vector<Text>& texts, const std::string& before = "") {
        for (const Text& text : texts) {
            const std::string plain = text;
            if (!BeginsIgnoringCase(before + plain, typed)) continue;
            std::string quoted = before + Quoted(plain);
            if (plain.ends_with('/') && quoted.ends_with('\'')) quoted.pop_back();
            if (std::ranges::find(completion.candidates, quoted) == completion.candidates.end()) {
                completion.candidates.push_back(std::move(quoted));
            }
        }
    }

    void OfferArguments() {
        const int number = ZwMgmt_interface::CLGetService(words[0].c_str());
        if (number == -1) return;
        const auto service = static_cast<uint8_t>(number);
        const int command = ZwMgmt_interface::CLGetCommand(words[1].c_str(), service);
        route =
            command != -1 ? zwmgmt::FindRoute(service, static_cast<uint16_t>(command)) : nullptr;
        if (route == nullptr) return;
        if (words.size() == 2) Offer(SubCommandsOf(*route));
        const size_t sign = typed.find('=');
        for (const zwmgmt::CommandKey& key : zwmgmt::KeysOfCommand(route->command)) {
            if (sources.agent_os != 0 && !key.agents.Has(sources.agent_os)) continue;
            if (sign == std::string::npos) {
                if (!IsGiven(key.key)) Offer(Words{std::string(key.word) + "="});
            } else if (KeyNumber(typed.substr(0, sign)) == key.key) {
                OfferValues(key, typed.substr(0, sign + 1), typed.substr(sign + 1));
            }
        }
    }

    void OfferValues(const zwmgmt::CommandKey& key, const std::string& before,
                     const std::string& begun) {
        Offer(ValuesTold(key.takes), before);
        if (const LiveRow* row = FindLiveRow(route->service, route->command, key.word)) {
            Offer(LiveValues(*row), before);
        }
        if (key.takes.starts_with("a file")) OfferFiles(before, begun, 0);
        if (begun.starts_with('@')) OfferFiles(before, begun, 1);
    }

    /// at: where the file's path begins in the value.
    void OfferFiles(const std::string& before, const std::string& begun, size_t at) {
        const std::string head = begun.substr(0, std::max(at, begun.find_last_of('/') + 1));
        const std::string folder = head.substr(at);
        Words names;
        std::error_code failure;
        for (std::filesystem::directory_iterator entry(folder.empty() ? "." : folder, failure), end;
             !failure && entry != end && names.size() < kMostRows; entry.increment(failure)) {
            const bool is_folder = entry->is_directory(failure);
            const std::string name = entry->path().filename().string();
            if (IsPrintable(name)) names.push_back(head + name + (is_folder ? "/" : ""));
            failure.clear();
        }
        std::ranges::sort(names);
        Offer(names, before);
    }

    int KeyNumber(const std::string& word) const {
        return ZwMgmt_interface::CLGetKeyNo(word.c_str(), route->service);
    }

    bool IsGiven(int key) const {
        return std::ranges::any_of(words, [&](const std::string& word) {
            const size_t sign = word.find('=');
            return sign != std::string::npos && KeyNumber(word.substr(0, sign)) == key;
        });
    }

    /// The value of a key on the line, or "".
    std::string Given(const std::string& key) const {
        for (const std::string& word : words) {
            if (BeginsIgnoringCase(word, key + "=")) return word.substr(key.size() + 1);
        }
        return "";
    }

    static const LiveRow* FindLiveRow(uint8_t service, uint16_t command, std::string_view key) {
        const auto* row = std::ranges::find_if(kLiveRows, [&](const LiveRow& each) {
            return key == each.key && (each.service == 0 || each.service == service) &&
                   (each.command == 0 || each.command == command);
        });
        return row != std::end(kLiveRows) ? row : nullptr;
    }

    Words LiveValues(const LiveRow& row) const {
        if (!sources.ask) return {};
        Words listing = SplitAtBlanks(row.listing);
        if (!listing.back().ends_with('=')) return AskFor(row, listing);
        const std::string key = listing.back().substr(0, listing.back().size() - 1);
        const int service = ZwMgmt_interface::CLGetService(listing[0].c_str());
        const LiveRow* others = FindLiveRow(static_cast<uint8_t>(service), 0, key);
        Words fillings = {Given(key)};
        if (fillings[0].empty()) fillings = others != nullptr ? LiveValues(*others) : Words();
        Words values;
        for (const std::string& filling : fillings) {
            listing.back() = key + "=" + filling;
            for (std::string& value : AskFor(row, listing)) values.push_back(std::move(value));
        }
        return values;
    }

    Words AskFor(const LiveRow& row, const Words& listing) const {
        const std::string wanted = row.interface != nullptr ? Given("ifname") : "";
        Words fields = {row.field};
        if (!wanted.empty()) fields.emplace_back(row.interface);
        Words values;
        for (const Words& texts : sources.ask(listing, fields)) {
            if (!wanted.empty() && texts[1] != wanted) continue;
            if (IsPrintable(texts[0])) values.push_back(texts[0]);
        }
        return values;
    }

    const CompletionSources& sources;
    Words words;  // before the one that is typed
    std::string typed;
    bool is_comment = false;
    const zwmgmt::Route* route = nullptr;
    Completion completion;
};

std::string TextOf(const zwmgmt::ResultValue& value) {
    switch (value.type) {
        case zwmgmt::ValueType::kText:
        case zwmgmt::ValueType::kList: return std::string(value.text);
        case zwmgmt::ValueType::kInteger: return std::to_string(value.integer);
        case zwmgmt::ValueType::kUnsigned: return std::to_string(value.number);
        default: return "";
    }
}

}  // namespace

Completion Complete(std::string_view line, const CompletionSources& sources) {
    return Completer(line, sources).Execute();
}

Rows AskForRows(ZwMgmt_interface& session, char* result_buffer, const Words& words,
                const Words& fields) {
    std::vector<const char*> pointers;
    for (const std::string& word : words) pointers.push_back(word.c_str());
    zwmgmt::CommandWords request(pointers.data(), pointers.size());
    if (request.Request() == nullptr) return {};
    const zwmgmt::Result result(session, request.Request(), result_buffer);
    Rows rows(std::min(result.RecordCount(), kMostRows));
    for (size_t i = 0; i < rows.size(); ++i) {
        for (const std::string& field : fields) rows[i].push_back(TextOf(result.ValueOf(i, field)));
    }
    return rows;
}

}  // namespace zwcli
