#include "cli/routes.h"

#include "cli/list_kinds.h"

namespace zwmgmt {
namespace {

/// Makes the printer of a record type one of the table's uniform kind.
template <class Record, void (ZwMgmt_interface::*Printer)(const Record*, _Message*)>
void Print(ZwMgmt_interface& session, const void* output, _Message* message) {
    (session.*Printer)(static_cast<const Record*>(output), message);
}

using Zw = ZwMgmt_interface;

constexpr Route kRoutes[] = {
    {kKorvane, kListAdapterProps, Arguments::kNone, &Zw::CLGetKorvaneAdapters, ReplyShape::kList,
     &Print<_CardInformation, &Zw::GetKorvaneAdaptersResponse>},
};

}  // namespace

const Route* FindRoute(uint8_t service, uint16_t command) {
    const Route* route = FindRoute(command);
    return route != nullptr && route->service == service ? route : nullptr;
}

const Route* FindRoute(int command) {
    for (const Route& route : kRoutes) {
        if (route.command == command) return &route;
    }
    return nullptr;
}

}  // namespace zwmgmt
