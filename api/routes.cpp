/// Every command: its request, its reply, and what help says of it.
#include "commands/routes.h"

#include <type_traits>

#include "adapters/results.h"
#include "filters/results.h"
#include "policies/results.h"
#include "system/results.h"

namespace zwmgmt {
namespace {

using Zw = ZwMgmt_interface;

// Builders and printers come in a few forms; these make each one of the table's.

using Request = Client_Request_Message;

template <auto Builder>
int Build(Zw& session, Request* request, _Message* message, char* result_buffer, void** out) {
    if constexpr (std::is_invocable_v<decltype(Builder), Zw&, Request*, _Message*>) {
        return (session.*Builder)(request, message);
    } else {
        return (session.*Builder)(request, message, result_buffer, out);
    }
}

template <class Output>
void Call(Zw& session, void (Zw::*printer)(const Output*, _Message*), const void* output,
          _Message* message) {
    (session.*printer)(static_cast<const Output*>(output), message);
}

void Call(Zw& session, void (Zw::*printer)(_Message*), const void*, _Message* message) {
    (session.*printer)(message);
}

template <auto Printer>
void Print(Zw& session, const void* output, _Message* message) {
    Call(session, Printer, output, message);
}

// clang-format off
constexpr Route kRoutes[] = {
    {kKorvane, kListAdapterProps, Arguments::kNone,
     Build<&Zw::CLGetKorvaneAdapters>, ReplyShape::kList, Print<&Zw::GetKorvaneAdaptersResponse>,
     "", "lists the adapters of a host with their properties",
     "korvane listadapterprops",
     &kAdapters},
    {kKorvane, kListPorts, Arguments::kKeys,
     Build<&Zw::CLGetKorvaneAdapterPorts>, ReplyShape::kList, Print<&Zw::GetKorvaneAdapterPortsResponse>,
     "pci=LOCATION", "lists the ports of an adapter",
     "korvane listports pci=0000:05:00.4",
     &kPorts},
    {kKorvane, kGetCardStats, Arguments::kKeys,
     Build<&Zw::CLGetKorvaneCardStats>, ReplyShape::kList, Print<&Zw::GetCardStatsResponse>,
     "pci=LOCATION", "shows the counters of an adapter",
     "korvane getcardstats pci=0000:05:00.4",
     &kCounters},
    {kKorvane, kGetPortStats, Arguments::kKeys,
     Build<&Zw::CLGetKorvanePortStats>, ReplyShape::kList, Print<&Zw::GetPortStatsResponse>,
     "pci=LOCATION port=INSTANCE", "shows the counters of a port",
     "korvane getportstats pci=0000:05:00.4 port=0",
     &kCounters},
    {kKorvane, kSetCardProperty, Arguments::kKeys,
     Build<&Zw::CLSetKorvaneCardProp>, ReplyShape::kNothing, Print<&Zw::GetKorvaneCardSetResponse>,
     "pci=LOCATION KEY=VALUE ...", "sets properties of an adapter",
     "korvane setcardproperty pci=0000:05:00.4 mss=1460"},
    {kKorvane, kSetPortProperty, Arguments::kKeys,
     Build<&Zw::CLSetKorvanePortProp>, ReplyShape::kNothing, Print<&Zw::GetKorvanePortSetResponse>,
     "pci=LOCATION port=INSTANCE KEY=VALUE ...", "sets properties of a port",
     "korvane setportproperty pci=0000:05:00.4 port=0 mtu=9000 speedduplex=1000-Full"},
    {kSystem, kGetCapabilities, Arguments::kNone,
     Build<&Zw::CLGetCapabilities>, ReplyShape::kBlock, Print<&Zw::PrintCapabilitiesResponse>,
     "", "shows which services the agent offers",
     "system getcapabilities",
     &kAgentCapabilities},
    {kSystem, kListDrivers, Arguments::kNone,
     Build<&Zw::CLGetKorvaneDriverDetails>, ReplyShape::kList, Print<&Zw::GetKorvaneDriverDetailsResponse>,
     "", "lists the drivers of a host",
     "system listdrivers",
     &kDrivers},
    {kSystem, kLoadDriver, Arguments::kKeys,
     Build<&Zw::CLLoadDriver>, ReplyShape::kNothing, Print<&Zw::GetKorvaneLoadDrvResponse>,
     "drvname=NAME [num_vf=COUNT]", "loads a driver; num_vf on Xen alone",
     "system loaddriver drvname=x3_tom"},
    {kSystem, kReloadDriver, Arguments::kKeys,
     Build<&Zw::CLReLoadDriver>, ReplyShape::kNothing, Print<&Zw::GetKorvaneReLoadDrvResponse>,
     "drvname=NAME [num_vf=COUNT]", "unloads a driver and loads it again",
     "system reloaddriver drvname=x3_tom"},
    {kSystem, kUnloadDriver, Arguments::kKeys,
     Build<&Zw::CLUnLoadDriver>, ReplyShape::kNothing, Print<&Zw::GetKorvaneUnLoadDrvResponse>,
     "drvname=NAME", "unloads a driver",
     "system unloaddriver drvname=x3_tom"},
    {kSystem, kInstall, Arguments::kKeys,
     Build<&Zw::CLInstallKorvaneDrivers>, ReplyShape::kOwn, nullptr,
     "type=TYPE[,TYPE ...] PACKAGE=FILE ... [ofedpkg=SET] [conftype=0-5]",
     "pushes driver packages to the host, which installs them",
     "system install type=nic,toe zwirepath=KorvaneZwire-4.3.0.tar.gz",
     &kInstallOutcomes, kGetInstallResult, nullptr, "system getinstallresult"},
    {kSystem, kGetInstallResult, Arguments::kNone,
     Build<&Zw::CLGetInstallDrvRes>, ReplyShape::kBlock, Print<&Zw::GetInstallDrvResResponse>,
     "", "shows what became of the last installation",
     "system getinstallresult",
     &kInstallOutcomes, 0, nullptr, "system getinstallresult"},
    {kFilter, kAddFilterX3, Arguments::kKeys,
     Build<&Zw::CLAddFilter>, ReplyShape::kNothing, Print<&Zw::GetAddFilterResponse>,
     "ifname=NAME [id=N] [sip=ADDRESS[/LENGTH]] [dip=ADDRESS] [sport=N] [dport=N] [vlanid=1-4094] [prio=N] [mac=N] "
     "[proto=tcp|udp|frag|any] [queue=N] [action=pass|drop]", "adds a filter rule to an X3 adapter",
     "filter addx3 ifname=eth2 id=5 sip=10.1.0.0/16 dport=80 proto=tcp action=drop"},
    {kFilter, kDeleteFilterX3, Arguments::kKeys,
     Build<&Zw::CLDeleteFilter>, ReplyShape::kNothing, Print<&Zw::GetDeleteFilterResponse>,
     "ifname=NAME id=N", "deletes a filter rule of an X3 adapter",
     "filter deletex3 ifname=eth2 id=5"},
    {kFilter, kModifyFilterX3, Arguments::kKeys,
     Build<&Zw::CLModifyFilter>, ReplyShape::kNothing, Print<&Zw::GetModifyFilterResponse>,
     "ifname=NAME id=N KEY=VALUE ...", "changes a filter rule of an X3 adapter; keys as for addx3",
     "filter modifyx3 ifname=eth2 id=5 action=pass"},
    {kFilter, kListFiltersX3, Arguments::kNone,
     Build<&Zw::CLListFilters>, ReplyShape::kBlock, Print<&Zw::GetListFiltersResponse>,
     "", "lists the filter rules of the X3 adapters",
     "filter listx3",
     &kX3Rules},
    {kFilter, kMaxFilters, Arguments::kSome,
     Build<&Zw::CLGetOrSetMaxFiltersValue>, ReplyShape::kBlock, Print<&Zw::GetMaxFiltersResponse>,
     "get|set ifname=NAME [max=N]", "shows or sets the size of an X3 adapter's rule table",
     "filter maxfilters set ifname=eth2 max=512",
     &kMaxFilterRules, kGetMaxFilters},
    {kFilter, kAddFilterX4, Arguments::kKeys,
     Build<&Zw::CLAddFilterX4>, ReplyShape::kNothing, Print<&Zw::GetAddFilterResponse>,
     "pci=LOCATION [id=N] [type=ipv4|ipv6] [lip=ADDRESS[/LENGTH]] [fip=ADDRESS[/LENGTH]] [FIELD=VALUE[:MASK]] ... "
     "[x4action=pass|drop|switch] ...", "adds a filter rule to an X4 or X5 adapter",
     "filter add pci=0000:05:00.4 id=8 type=ipv6 lip=fe80::1/64 tos=0x4:0xf x4action=drop"},
    {kFilter, kDeleteFilterX4, Arguments::kKeys,
     Build<&Zw::CLDeleteFilterX4>, ReplyShape::kNothing, Print<&Zw::GetDeleteFilterResponse>,
     "pci=LOCATION id=N", "deletes a filter rule of an X4 or X5 adapter",
     "filter delete pci=0000:05:00.4 id=8"},
    {kFilter, kModifyFilterX4, Arguments::kKeys,
     Build<&Zw::CLModifyFilterX4>, ReplyShape::kNothing, Print<&Zw::GetModifyFilterResponse>,
     "pci=LOCATION id=N KEY=VALUE ...", "changes a filter rule of an X4 or X5 adapter; keys as for add",
     "filter modify pci=0000:05:00.4 id=8 x4action=pass"},
    {kFilter, kListFiltersX4, Arguments::kKeys,
     Build<&Zw::CLListFiltersX4>, ReplyShape::kBlock, Print<&Zw::GetListFiltersResponseX4>,
     "pci=LOCATION show=all|active", "lists the filter rules of an X4 or X5 adapter",
     "filter list pci=0000:05:00.4 show=all",
     &kX4Rules},
    {kFilter, kSetCombination, Arguments::kKeys,
     Build<&Zw::CLSetCombX4>, ReplyShape::kNothing, Print<&Zw::GetSetCombResponse>,
     "pci=LOCATION comb=COMBINATION", "sets the filter mode of an X4 or X5 adapter",
     "filter setcomb pci=0000:05:00.4 \"comb=ethertype, vlan, port\""},
    {kFilter, kShowCombinations, Arguments::kNone,
     Build<&Zw::CLPrintX4Comb>, ReplyShape::kNone, nullptr,
     "", "shows the permitted filter modes, without an agent",
     "filter showcomb",
     &kCombinationRows},
    {kFilter, kShowActiveCombination, Arguments::kNone,
     Build<&Zw::CLShowActiveComb>, ReplyShape::kBlock, Print<&Zw::ShowActiveResp>,
     "", "shows the filter modes in use",
     "filter showactivecomb",
     &kActiveCombinations},
    {kFilter, kListX3Adapters, Arguments::kNone,
     Build<&Zw::CLListX3Adapters>, ReplyShape::kBlock, Print<&Zw::GetListX3Interfaces>,
     "", "lists the interfaces of X3 adapters",
     "filter listx3adapters",
     &kX3Interfaces},
    {kFilter, kListX4Adapters, Arguments::kNone,
     Build<&Zw::CLListX4Adapters>, ReplyShape::kBlock, Print<&Zw::GetListX4Interfaces>,
     "", "lists the PCI bus locations of X4 and X5 adapters",
     "filter listadapters",
     &kX4Locations},
    {kTm, kAddPolicy, Arguments::kKeys,
     Build<&Zw::CLAddPolicy>, ReplyShape::kNothing, Print<&Zw::GetAddPolicyResponse>,
     "ifname=NAME policy=RULE|@FILE [id=N]", "adds an offload policy",
     "tm add ifname=eth2 \"policy=dst port 80 => offload ddp\""},
    {kTm, kModifyPolicy, Arguments::kKeys,
     Build<&Zw::CLModifyPolicy>, ReplyShape::kNothing, Print<&Zw::GetModifyPolicyResponse>,
     "ifname=NAME id=N policy=RULE|@FILE", "replaces an offload policy",
     "tm modify ifname=eth2 id=1 \"policy=vlan 5 => !offload\""},
    {kTm, kDeletePolicy, Arguments::kKeys,
     Build<&Zw::CLDeletePolicy>, ReplyShape::kNothing, Print<&Zw::GetDeletePolicyResponse>,
     "ifname=NAME id=N", "deletes an offload policy",
     "tm delete ifname=eth2 id=1"},
    {kTm, kListPolicies, Arguments::kNone,
     Build<&Zw::CLListPolicies>, ReplyShape::kBlock, Print<&Zw::GetListPolicyResponse>,
     "", "lists the offload policies",
     "tm list",
     &kPolicies},
    {kNet, kPing, Arguments::kSome,
     Build<&Zw::CLPing>, ReplyShape::kBlock, Print<&Zw::GetPingResponse>,
     "ip=ADDRESS ipversion=ipv4|ipv6 | host=NAME | domain=NAME [numpkts=N] [timeout=SECONDS]; or getresult",
     "makes the host ping another, in the background",
     "net ping ip=10.0.0.7 ipversion=ipv4 numpkts=4",
     &kPingOutcome, kPingResult, nullptr, "net ping getresult"},
    {kNet, kTraceRoute, Arguments::kSome,
     Build<&Zw::CLTraceRoute>, ReplyShape::kBlock, Print<&Zw::TraceRouteResponse>,
     "ip=ADDRESS ipversion=ipv4|ipv6 | host=NAME | domain=NAME; or getresult",
     "makes the host trace a route, in the background; not on Xen",
     "net traceroute host=beta",
     &kHops, kTraceRouteResult, nullptr, "net traceroute getresult"},
    {kNet, kSetMtu, Arguments::kSome,
     Build<&Zw::CLSetMTU>, ReplyShape::kNothing, Print<&Zw::GetSetMTUResponse>,
     "set ifname=NAME mtu=BYTES", "sets the MTU of an interface",
     "net mtu set ifname=eth2 mtu=9000"},
};
// clang-format on

}  // namespace

std::span<const Route> Routes() { return kRoutes; }

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

const Description* FindDescription(uint16_t opcode) {
    for (const Route& route : kRoutes) {
        if (route.records != nullptr && opcode == route.AnswerOpcode()) return route.records;
    }
    return nullptr;
}

const Description* FindDescriptionOf(uint16_t command) {
    const Route* route = FindRoute(command);
    return route != nullptr ? route->records : nullptr;
}

}  // namespace zwmgmt
