#include "front_end/host_set.h"

#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <iostream>

#include "commands/texts.h"
#include "front_end/known_agents.h"

namespace zwcli {
namespace {

constexpr char kTooMany[] = "more than a million hosts";

struct Range {
    uint64_t first = 0;
    uint64_t last = 0;
    uint64_t step = 1;
    size_t width = 0;  // of numbers that begin with zeroes

    uint64_t Count() const { return (last - first) / step + 1; }
};

/// A part of a pattern: a text, then one of the numbers of the ranges behind it, if any.
struct Piece {
    std::string text;
    std::vector<Range> ranges;
};

std::string Quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

bool ParseNumber(std::string_view digits, uint64_t* number) {
    if (!zwmgmt::IsAllDigits(digits) || digits.size() > kMostDigits) return false;
    std::from_chars(digits.data(), digits.data() + digits.size(), *number);
    return true;
}

/// "7", "001-999" or "0-30/10"; what is wrong with it, or "".
std::string ParseRange(std::string_view text, Range* range) {
    const size_t slash = std::min(text.find('/'), text.size());
    const std::string_view numbers = text.substr(0, slash);
    const size_t dash = std::min(numbers.find('-'), numbers.size());
    const std::string_view first = numbers.substr(0, dash);
    const std::string_view last = dash < numbers.size() ? numbers.substr(dash + 1) : first;
    if (!ParseNumber(first, &range->first) || !ParseNumber(last, &range->last) ||
        (slash < text.size() && !ParseNumber(text.substr(slash + 1), &range->step))) {
        return Quoted(text) + " is no number and no range of numbers";
    }
    if (range->last < range->first) return Quoted(text) + " goes backwards";
    if (range->step == 0) return Quoted(text) + " makes no steps";
    const bool padded =
        (first[0] == '0' && first.size() > 1) || (last[0] == '0' && last.size() > 1);
    if (padded && first.size() != last.size()) {
        return "the numbers of " + Quoted(text) + " begin with zeroes and differ in length";
    }
    range->width = padded ? first.size() : 0;
    return "";
}

std::string ParseRanges(std::string_view text, std::vector<Range>* ranges) {
    for (;;) {
        const size_t end = std::min(text.find(','), text.size());
        const std::string wrong = ParseRange(text.substr(0, end), &ranges->emplace_back());
        if (!wrong.empty() || end == text.size()) return wrong;
        text.remove_prefix(end + 1);
    }
}

/// Brackets with a colon hold an address, all others ranges.
std::string ParsePattern(std::string_view pattern, std::vector<Piece>* pieces) {
    for (pieces->emplace_back(); !pattern.empty();) {
        const size_t begin = std::min(pattern.find_first_of("[]"), pattern.size());
        pieces->back().text += pattern.substr(0, begin);
        pattern.remove_prefix(begin);
        if (pattern.empty()) break;
        const size_t end = pattern.find(']');
        if (pattern[0] == ']') return "a \"]\" without its \"[\"";
        if (end == pattern.npos) return "a \"[\" without its \"]\"";
        const std::string_view inside = pattern.substr(1, end - 1);
        if (inside.find(':') != inside.npos) {
            pieces->back().text += pattern.substr(0, end + 1);
        } else {
            const std::string wrong = ParseRanges(inside, &pieces->back().ranges);
            if (!wrong.empty()) return wrong;
            pieces->emplace_back();
        }
        pattern.remove_prefix(end + 1);
    }
    return "";
}

/// How many hosts a pattern means; more than are allowed where they are too many.
uint64_t CountOf(const std::vector<Piece>& pieces) {
    uint64_t count = 1;
    for (const Piece& piece : pieces) {
        uint64_t numbers = piece.ranges.empty() ? 1 : 0;
        for (const Range& range : piece.ranges) {
            numbers = std::min<uint64_t>(numbers + range.Count(), HostSet::kMost + 1);
        }
        count = std::min<uint64_t>(count * numbers, HostSet::kMost + 1);
    }
    return count;
}

std::string NumberText(uint64_t number, size_t width) {
    const std::string digits = std::to_string(number);
    return std::string(width > digits.size() ? width - digits.size() : 0, '0') + digits;
}

/// Calls `each` with every text of the pieces from `place` on, until it returns a complaint.
template <class Each>
std::string ForEachText(const std::vector<Piece>& pieces, size_t place, const std::string& head,
                        const Each& each) {
    if (place == pieces.size()) return each(head);
    const Piece& piece = pieces[place];
    if (piece.ranges.empty()) return ForEachText(pieces, place + 1, head + piece.text, each);
    for (const Range& range : piece.ranges) {
        for (uint64_t i = 0; i < range.Count(); ++i) {
            const std::string number = NumberText(range.first + i * range.step, range.width);
            std::string wrong = ForEachText(pieces, place + 1, head + piece.text + number, each);
            if (!wrong.empty()) return wrong;
        }
    }
    return "";
}

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

/// Where the term ends: at a comma, a blank or a "!" outside of brackets.
size_t EndOfTerm(std::string_view text, size_t at) {
    for (bool inside = false; at < text.size(); ++at) {
        if (text[at] == '[' || text[at] == ']') inside = text[at] == '[';
        if (!inside && (text[at] == ',' || text[at] == '!' || IsBlank(text[at]))) break;
    }
    return at;
}

}  // namespace

std::string HostSet::Remove(std::string_view expression) {
    HostSet others(usual_port, groups, most);
    const std::string wrong = others.Add(expression);
    for (const Target& host : others.Hosts()) Change(host, true);
    return wrong;
}

std::vector<Target> HostSet::Hosts() const {
    std::vector<Target> named;
    for (const Target& host : hosts) {
        if (!host.host.empty()) named.push_back(host);
    }
    return named;
}

std::string HostSet::Read(std::string_view text, bool with_names) {
    bool term_is_due = true;
    bool remove = false;
    for (size_t at = 0; at < text.size();) {
        if (IsBlank(text[at]) || (text[at] == ',' && !term_is_due)) {
            term_is_due |= text[at++] == ',';
            continue;
        }
        if (text[at] == '!' && !remove) {
            remove = term_is_due = true;
            ++at;
            continue;
        }
        const size_t end = EndOfTerm(text, at);
        const std::string wrong =
            end == at ? "a host is missing" : Take(text.substr(at, end - at), remove, with_names);
        if (!wrong.empty()) return "column " + std::to_string(at + 1) + ": " + wrong;
        term_is_due = remove = false;
        at = end;
    }
    return term_is_due ? "a host is missing at the end" : "";
}

std::string HostSet::Take(std::string_view term, bool remove, bool with_names) {
    const bool is_named = term[0] == '@' || term == "-";
    if (!is_named) return TakePattern(term, remove);
    if (!with_names) return "a file or a group of hosts names no other";
    const std::string name(term == "-" ? term : term.substr(1));
    return term[0] == '@' && groups.contains(name) ? TakeGroup(name, remove)
                                                   : TakeFile(name, remove);
}

std::string HostSet::TakeGroup(const std::string& name, bool remove) {
    HostSet named(usual_port, groups, most);
    const std::string wrong = named.Read(groups.at(name), false);
    if (!wrong.empty()) return "group " + name + ", " + wrong;
    return TakeAll(named, remove);
}

std::string HostSet::TakeFile(const std::string& file, bool remove) {
    const bool is_input = file == "-";
    const std::string name = is_input ? "standard input" : file;
    std::ifstream opened;
    if (!is_input) opened.open(file, std::ios::binary);
    std::istream& stream = is_input ? std::cin : opened;
    HostSet named(usual_port, groups, most);
    std::string line;
    for (int number = 1; std::getline(stream, line); ++number) {
        const std::string_view text = std::string_view(line).substr(0, line.find('#'));
        if (text.find_first_not_of(" \t\r") == text.npos) continue;
        const std::string wrong = named.Read(text, false);
        if (!wrong.empty()) return name + " line " + std::to_string(number) + ", " + wrong;
    }
    if (!stream.eof()) return "cannot read " + name + ": " + std::strerror(errno);
    return TakeAll(named, remove);
}

std::string HostSet::TakeAll(const HostSet& named, bool remove) {
    for (const Target& host : named.Hosts()) Change(host, remove);
    return places.size() <= most ? "" : kTooMany;
}

std::string HostSet::TakePattern(std::string_view pattern, bool remove) {
    std::vector<Piece> pieces;
    const std::string wrong = ParsePattern(pattern, &pieces);
    if (!wrong.empty()) return Quoted(pattern) + ": " + wrong;
    const uint64_t count = CountOf(pieces);
    if (count > most || (!remove && places.size() + count > most)) {
        return Quoted(pattern) + ": " + kTooMany;
    }
    return ForEachText(pieces, 0, "",
                       [&](const std::string& text) { return TakeHost(text, remove); });
}

std::string HostSet::TakeHost(const std::string& text, bool remove) {
    Target host;
    std::string wrong = ParseTarget(text, usual_port, &host);
    if (wrong.empty()) Change(host, remove);
    return wrong;
}

void HostSet::Change(const Target& host, bool remove) {
    const std::string name = NameOf(host);
    if (!remove) {
        if (places.try_emplace(name, hosts.size()).second) hosts.push_back(host);
        return;
    }
    const auto place = places.find(name);
    if (place == places.end()) return;
    hosts[place->second].host.clear();
    places.erase(place);
}

std::string HostText(const Target& host, uint16_t usual_port) {
    const std::string name = host.Name();
    return host.port != usual_port ? name : name.substr(0, name.rfind(':'));
}

}  // namespace zwcli
