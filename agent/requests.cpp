#include "agent/requests.h"

#include <algorithm>
#include <iterator>

#include "zwmgmt/records/driver.h"
#include "zwmgmt/vocabulary.h"

namespace zwmgmt::agent {
namespace {

struct Question {
    uint8_t service;
    uint16_t opcode;
    bool operator==(const Question&) const = default;
};

constexpr Question kQuestions[] = {
    {kSystem, kGetCapabilities},
    {kSystem, kListDrivers},
    {kSystem, kGetInstallResult},
    {kKorvane, kListPorts},
    {kKorvane, kGetCardStats},
    {kKorvane, kGetPortStats},
    {kKorvane, kListAdapterProps},
    {kFilter, kListFiltersX3},
    {kFilter, kListFiltersX4},
    {kFilter, kGetMaxFilters},
    {kFilter, kShowActiveCombination},
    {kFilter, kListX3Adapters},
    {kFilter, kListX4Adapters},
    {kTm, kListPolicies},
    {kNet, kPingResult},
    {kNet, kTraceRouteResult},
};

}  // namespace

bool IsQuestion(uint8_t service, uint16_t opcode) {
    return std::ranges::find(kQuestions, Question{service, opcode}) != std::end(kQuestions);
}

bool DriverNameIn(std::span<const uint8_t> data, uint8_t os_type, std::string_view* name) {
    *name = TextIn(data);
    DriverLoadRequest request = {};
    if (os_type != kXen || !Unpack(data, &request)) return true;
    *name = TextIn(data.first(sizeof(request.name)));
    const std::string_view count = FixedText(request.virtual_functions);
    const bool number =
        !count.empty() && count.find_first_not_of("0123456789") == std::string_view::npos;
    return number || count == "NONE";
}

std::string_view DriverNameOf(std::string_view package) {
    return package.substr(0, package.find_first_of("-."));
}

bool IsPackageName(std::string_view name) {
    const std::string_view driver = DriverNameOf(name);
    const bool plain = std::ranges::all_of(name, [](char c) {
        return static_cast<unsigned char>(c) >= ' ' && c != 0x7F && c != '/' && c != '\\';
    });
    return plain && !driver.empty() && driver.size() <= sizeof(DriverInfo::name);
}

}  // namespace zwmgmt::agent
