/// Key numbers by their words, for tables and handlers. An unknown word does not compile.
#pragma once

#include <span>
#include <string_view>

#include "commands/vocabulary_words.h"

namespace zwmgmt {

consteval int KeyNumber(std::span<const words::Word> group, std::string_view word) {
    for (const words::Word& row : group) {
        if (word == row.word) return row.number;
    }
    throw "no such key";
}

consteval int AdapterKey(std::string_view word) { return KeyNumber(words::kAdapterKeys, word); }
consteval int NetworkingKey(std::string_view word) {
    return KeyNumber(words::kNetworkingKeys, word);
}
consteval int FilterKey(std::string_view word) { return KeyNumber(words::kFilterKeys, word); }
consteval int TmKey(std::string_view word) { return KeyNumber(words::kTmKeys, word); }
consteval int SystemKey(std::string_view word) { return KeyNumber(words::kSystemKeys, word); }

}  // namespace zwmgmt
