#include "commands/offer.h"

#include <algorithm>

#include "commands/routes.h"
#include "commands/vocabulary.h"

namespace zwmgmt {

Offer OfferedServices() {
    Offer offer;
    for (const char* word : ServiceWords()) {
        const int service = ZwMgmt_interface::CLGetService(word);
        const bool sent =
            std::ranges::any_of(Routes(), [&](const Route& row) { return row.service == service; });
        (sent ? offer.sent : offer.not_sent).push_back(word);
    }
    return offer;
}

Offer OfferedCommands(uint8_t service) {
    Offer offer;
    for (const char* word : CommandWordsOf(service)) {
        const int command = ZwMgmt_interface::CLGetCommand(word, service);
        const bool sent = FindRoute(service, static_cast<uint16_t>(command)) != nullptr;
        (sent ? offer.sent : offer.not_sent).push_back(word);
    }
    return offer;
}

std::string Joined(const std::vector<const char*>& words) {
    std::string result;
    for (const char* word : words) {
        if (!result.empty()) result += ", ";
        result += word;
    }
    return result;
}

}  // namespace zwmgmt
