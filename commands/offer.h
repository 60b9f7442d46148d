/// Of the vocabulary, the words that lead to something, and those that this version does not serve.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zwmgmt {

struct Offer {
    std::vector<const char*> sent;
    std::vector<const char*> not_sent;
};

Offer OfferedServices();
Offer OfferedCommands(uint8_t service);

/// "list, add"
std::string Joined(const std::vector<const char*>& words);

}  // namespace zwmgmt
