/// Folding the names of hosts back into a set.
#include <algorithm>
#include <map>

#include "front_end/host_set.h"

namespace zwcli {
namespace {

bool IsDigit(char c) { return '0' <= c && c <= '9'; }

/// Names that differ in nothing but numbers: the texts around these, and a row a name.
struct Family {
    std::vector<std::string> texts;
    std::vector<std::vector<std::string>> rows;
};

/// Takes a name apart: texts.size() is numbers.size() + 1. Addresses with colons are one text.
void Split(const std::string& name, std::vector<std::string>* texts,
           std::vector<std::string>* numbers) {
    const bool has_numbers = std::ranges::count(name, ':') < 2 && !name.starts_with('[');
    texts->emplace_back();
    for (size_t at = 0; at < name.size();) {
        size_t end = at;
        while (has_numbers && end < name.size() && IsDigit(name[end])) ++end;
        if (end == at || end - at > kMostDigits) {
            end = std::max(end, at + 1);
            texts->back() += name.substr(at, end - at);
        } else {
            numbers->push_back(name.substr(at, end - at));
            texts->emplace_back();
        }
        at = end;
    }
}

/// What follows a number, of the same length where it begins with zeroes; "" where nothing does.
std::string Next(const std::string& number) {
    std::string digits = std::to_string(std::stoull(number) + 1);
    if (digits.size() < number.size()) digits.insert(0, number.size() - digits.size(), '0');
    const bool grown = digits.size() > number.size();
    return grown && number.size() > 1 && number[0] == '0' ? "" : digits;
}

/// "7" or "[1-3,7]".
std::string FoldNumbers(std::vector<std::string> numbers) {
    if (numbers.size() == 1) return numbers[0];
    std::ranges::sort(numbers, [](const std::string& a, const std::string& b) {
        return a.size() != b.size() ? a.size() < b.size() : a < b;
    });
    std::string folded;
    for (size_t begin = 0, end = 0; begin < numbers.size(); begin = end) {
        // The zeroes of a range are those that it begins with.
        const bool padded = numbers[begin][0] == '0' && numbers[begin].size() > 1;
        for (end = begin + 1; end < numbers.size(); ++end) {
            if (numbers[end] != Next(numbers[end - 1])) break;
            if (padded && numbers[end].size() != numbers[begin].size()) break;
        }
        folded += (folded.empty() ? "[" : ",") + numbers[begin];
        if (end - begin > 1) folded += "-" + numbers[end - 1];
    }
    return folded + "]";
}

/// Joins the rows that differ in one column alone.
void FoldColumn(std::vector<std::vector<std::string>>* rows, size_t column) {
    std::map<std::vector<std::string>, size_t> places;
    std::vector<std::vector<std::string>> folded;
    std::vector<std::vector<std::string>> numbers;
    for (std::vector<std::string>& row : *rows) {
        std::string number = std::move(row[column]);
        row[column].clear();
        const auto [place, is_new] = places.try_emplace(row, folded.size());
        if (is_new) {
            folded.push_back(std::move(row));
            numbers.emplace_back();
        }
        numbers[place->second].push_back(std::move(number));
    }
    for (size_t i = 0; i < folded.size(); ++i) {
        folded[i][column] = FoldNumbers(std::move(numbers[i]));
    }
    *rows = std::move(folded);
}

}  // namespace

std::string FoldHosts(const std::vector<std::string>& names) {
    std::map<std::vector<std::string>, size_t> places;
    std::vector<Family> families;
    for (const std::string& name : names) {
        std::vector<std::string> texts, numbers;
        Split(name, &texts, &numbers);
        const auto [place, is_new] = places.try_emplace(texts, families.size());
        if (is_new) families.push_back({std::move(texts), {}});
        families[place->second].rows.push_back(std::move(numbers));
    }
    std::string folded;
    for (Family& family : families) {
        for (size_t column = family.texts.size() - 1; column-- > 0;) {
            FoldColumn(&family.rows, column);
        }
        for (const std::vector<std::string>& row : family.rows) {
            if (!folded.empty()) folded += ',';
            for (size_t i = 0; i < row.size(); ++i) folded += family.texts[i] + row[i];
            folded += family.texts.back();
        }
    }
    return folded;
}

}  // namespace zwcli
