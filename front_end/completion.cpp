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

/// Texts of agents and files are not trusted: they are shown on a terminal.
bool IsPrintable(const std::string& text) {
    return std::ranges::all_of(text, [](char c) { return ' ' <= c && c <= '~'; });
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

/// A word of a usage that stands for what is no word itself.
enum class Meaning { kFile, kHost, kSet };
constexpr struct {
    std::string_view shown;
    Meaning meaning;
} kMeanings[] = {
    {"FILE", Meaning::kFile},        {"OTHER", Meaning::kFile}, {"HOST", Meaning::kHost},
    {"HOST[:PORT]", Meaning::kHost}, {"SET", Meaning::kSet},    {"EXPRESSION", Meaning::kSet},
};

Words SplitAt(std::string_view text, std::string_view separator) {
    Words pieces;
    for (;;) {
        const size_t end = std::min(text.find(separator), text.size());
        pieces.emplace_back(text.substr(0, end));
        if (end == text.size()) return pieces;
        text.remove_prefix(end + separator.size());
    }
}

/// "add|remove", which stand for themselves, as "HOST" does not.
bool IsChoice(std::string_view shown) {
    return !shown.empty() && (shown[0] < 'A' || shown[0] > 'Z') && shown[0] != '[';
}

/// "[open=listen|aopen]"
bool IsShownKey(std::string_view shown) {
    return shown.starts_with('[') && shown.find('=') != shown.npos;
}

/// Where the host or group begins that is typed last in a set of them.
size_t BeginOfTerm(std::string_view set) {
    size_t begin = 0;
    bool inside = false;
    for (size_t at = 0; at < set.size(); ++at) {
        if (set[at] == '[' || set[at] == ']') inside = set[at] == '[';
        if (!inside && std::string_view(",! ").find(set[at]) != std::string_view::npos) {
            begin = at + 1;
        }
    }
    return begin;
}

class Completer {
  public:
    Completer(const Words& words_before, const std::string& typed_word,
              const CompletionSources& completion_sources)
        : sources(completion_sources), words(words_before), typed(typed_word) {}

    Candidates Find() {
        const bool is_help =
            !words.empty() && (zwmgmt::SameIgnoringCase(words[0], "help") || words[0] == "?");
        if (is_help) {
            words.erase(words.begin());
        } else {
            for (const std::string& usage : sources.usages) {
                for (const std::string& each : SplitAt(usage, " | ")) OfferUsage(each);
            }
        }
        if (words.empty()) {
            Offer(zwmgmt::OfferedServices().sent);
        } else if (words.size() == 1) {
            const int number = ZwMgmt_interface::CLGetService(words[0].c_str());
            if (number != -1) OfferCommands(static_cast<uint8_t>(number));
        } else if (!is_help) {
            OfferArguments();
        }
        return std::move(found);
    }

    Candidates FindValue(std::string_view shown, const std::string& before) {
        OfferValue(shown, before);
        return std::move(found);
    }

  private:
    /// Those that go on as the word begins, each once.
    template <class Text>
    void Offer(const std::vector<Text>& texts, const std::string& before = "") {
        for (const Text& text : texts) Offer(before + text, "");
    }

    void Offer(const std::vector<Candidate>& candidates, const std::string& before) {
        for (const Candidate& each : candidates) Offer(before + each.word, each.about);
    }

    void Offer(const std::string& word, const std::string& about) {
        if (!BeginsIgnoringCase(word, typed) || !IsPrintable(word)) return;
        if (std::ranges::find(found.words, word, &Candidate::word) == found.words.end()) {
            found.words.push_back({word, IsPrintable(about) ? about : ""});
        }
    }

    /// What stands next in a usage ("agents add|remove HOST ..."), where the words fit it so far.
    void OfferUsage(std::string_view usage) {
        const Words shown = SplitAt(usage, " ");
        const auto key = std::ranges::find_if(shown, IsShownKey);
        const size_t places =
            key != shown.end() ? static_cast<size_t>(key - shown.begin()) : std::string::npos;
        for (size_t i = 0; i < std::min(words.size(), places); ++i) {
            const std::string_view place = PlaceAt(shown, i);
            if (place.empty()) return;
            const Words choice = SplitAt(place, "|");
            const bool fits = std::ranges::any_of(choice, [&](const std::string& word) {
                return zwmgmt::SameIgnoringCase(word, words[i]);
            });
            if (IsChoice(place) && !fits) return;
        }
        if (words.size() < places) return OfferValue(PlaceAt(shown, words.size()), "");
        for (size_t i = places; i < shown.size(); ++i) OfferShownKey(shown[i]);
    }

    /// What a word of a usage stands for; "..." repeats what is before it.
    static std::string_view PlaceAt(const Words& shown, size_t at) {
        if (shown.back() == "...") at = std::min(at, shown.size() - 2);
        return at < shown.size() ? std::string_view(shown[at]) : "";
    }

    void OfferShownKey(std::string_view shown) {
        const Words parts = SplitAt(shown.substr(1, shown.size() - 2), "=");
        const std::string before = parts[0] + "=";
        if (typed.find('=') == std::string::npos) {
            if (Given(parts[0]).empty()) Offer(before, parts[1]);
        } else if (typed.starts_with(before)) {
            OfferValue(parts[1], before);
        }
    }

    void OfferValue(std::string_view shown, const std::string& before) {
        if (IsChoice(shown)) return Offer(SplitAt(shown, "|"), before);
        for (const auto& [text, meaning] : kMeanings) {
            if (text != shown) continue;
            switch (meaning) {
                case Meaning::kFile: found.files_behind = before; break;
                case Meaning::kHost: Offer(sources.hosts, before); break;
                case Meaning::kSet: OfferSet(before); break;
            }
        }
    }

    void OfferSet(const std::string& before) {
        const std::string set = typed.substr(std::min(before.size(), typed.size()));
        const std::string head = before + set.substr(0, BeginOfTerm(set));
        Offer(sources.hosts, head);
        Offer(sources.groups, head);
        if (typed.substr(head.size()).starts_with('@')) found.files_behind = head + "@";
    }

    void OfferCommands(uint8_t service) {
        for (const char* word : zwmgmt::OfferedCommands(service).sent) {
            const int command = ZwMgmt_interface::CLGetCommand(word, service);
            Offer(word, zwmgmt::FindRoute(service, static_cast<uint16_t>(command))->purpose);
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
                if (!IsGiven(key.key)) Offer(std::string(key.word) + "=", key.takes + key.need);
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
        if (key.takes.starts_with("a file")) found.files_behind = before;
        if (begun.starts_with('@')) found.files_behind = before + "@";
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
            if (!texts[0].empty() && texts[0].size() <= kLongestValue) values.push_back(texts[0]);
        }
        return values;
    }

    const CompletionSources& sources;
    Words words;
    const std::string& typed;
    const zwmgmt::Route* route = nullptr;
    Candidates found;
};

/// The files that go on as the word does behind its beginning.
Words FilesBehind(const std::string& beginning, const std::string& typed) {
    const std::string begun = typed.substr(std::min(beginning.size(), typed.size()));
    const std::string folder = begun.substr(0, begun.find_last_of('/') + 1);
    Words names;
    std::error_code failure;
    for (std::filesystem::directory_iterator entry(folder.empty() ? "." : folder, failure), end;
         !failure && entry != end && names.size() < kMostRows; entry.increment(failure)) {
        const bool is_folder = entry->is_directory(failure);
        const std::string name = entry->path().filename().string();
        const std::string word = beginning + folder + name + (is_folder ? "/" : "");
        if (IsPrintable(name) && BeginsIgnoringCase(word, typed)) names.push_back(word);
        failure.clear();
    }
    std::ranges::sort(names);
    return names;
}

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

TypedLine::TypedLine(std::string_view line) {
    std::vector<WordPlace> places;
    SplitWords(line, &words, &places);
    begin = line.size();
    const size_t end = places.empty() ? 0 : places.back().end;
    if (end == line.size() && !words.empty()) {
        begin = places.back().begin;
        typed = std::move(words.back());
        words.pop_back();
    }
    is_comment = line.find_first_not_of(" \t", end) != line.npos;
}

Candidates FindCandidates(const Words& words, const std::string& typed,
                          const CompletionSources& sources) {
    return Completer(words, typed, sources).Find();
}

Candidates FindValues(std::string_view shown, const std::string& before, const std::string& typed,
                      const CompletionSources& sources) {
    return Completer({}, typed, sources).FindValue(shown, before);
}

Completion Complete(std::string_view line, const CompletionSources& sources) {
    const TypedLine place(line);
    Completion completion = {place.begin, {}};
    if (place.is_comment) return completion;
    const Candidates found = FindCandidates(place.words, place.typed, sources);
    Words words;
    for (const Candidate& each : found.words) words.push_back(each.word);
    if (found.files_behind) {
        for (std::string& name : FilesBehind(*found.files_behind, place.typed)) {
            words.push_back(std::move(name));
        }
    }
    for (const std::string& word : words) {
        // Of "policy=@rules of mine" the value alone is quoted.
        const size_t behind = word.find('=') + 1;
        std::string quoted =
            word.substr(0, behind) + (behind < word.size() ? Quoted(word.substr(behind)) : "");
        if (word.ends_with('/') && quoted.ends_with('\'')) quoted.pop_back();
        completion.candidates.push_back(std::move(quoted));
    }
    return completion;
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
