#include "linux_agent/kernel_host.h"

#include <algorithm>
#include <cerrno>
#include <functional>
#include <iterator>
#include <memory>
#include <set>

#include "agent/property_requests.h"
#include "agent/replies.h"
#include "agent/requests.h"
#include "linux_agent/filters.h"
#include "linux_agent/modules.h"
#include "linux_agent/own_path.h"
#include "linux_agent/properties.h"
#include "linux_agent/traffic_filters.h"
#include "zwmgmt/fixed_text.h"
#include "zwmgmt/records/capabilities.h"
#include "zwmgmt/records/driver.h"
#include "zwmgmt/records/net.h"
#include "zwmgmt/status.h"

namespace zmagent {
namespace {

using agent::Failed;
using agent::RecordRun;
using agent::Reply;
using zwmgmt::FixedText;
using zwmgmt::SetFixedText;

constexpr const char* kChip = "X4";  // what every adapter is presented as

// Words of the capabilities.
constexpr uint16_t kOffered = 2;
constexpr uint16_t kNotAvailable = 1;  // of those that count the other way round

template <class Records>
Reply Run(const Records& records) {
    RecordRun run;
    for (const auto& record : records) run.Add(record);
    return run.Finish();
}

uint32_t StatusOf(const Outcome& outcome) {
    return outcome.error == ENODEV ? zwmgmt::kNoPorts : zwmgmt::kInvalidValue;
}

/// "4.2.1 fw 1.8"; drivers without firmware say nothing, or that it is not available.
std::string VersionText(const DriverNames& driver) {
    const bool has_firmware = !driver.firmware.empty() && driver.firmware != "N/A";
    return has_firmware ? driver.version + " fw " + driver.firmware : driver.version;
}

Reply NotAllowed() {
    return Failed(zwmgmt::kUnsupportedDriver, "the configuration does not allow this driver");
}

/// Changes of several ports, which are made all or none.
class PortChanges {
  public:
    PortChanges(Kernel& kernel, const std::vector<Interface>& ports, const Properties& properties,
                const PortSettings& wanted) {
        for (const Interface& port : ports) {
            changes.push_back(
                {port.name, std::make_unique<PortChange>(kernel, port, properties, wanted)});
        }
    }

    bool TakeTheLink() const { return changes.front().change->TakesTheLink(); }

    Reply Check() const {
        for (const auto& [port, change] : changes) {
            if (const Outcome checked = change->Check(); !checked.Done()) {
                return Failed(StatusOf(checked), port + ": " + checked.reason);
            }
        }
        return {};
    }

    Reply Make() const {
        for (const auto& [port, change] : changes) {
            const Outcome outcome = change->Apply();
            if (outcome.Done()) continue;
            return Failed(StatusOf(outcome), port + ": " + outcome.reason + PutBack());
        }
        return {};
    }

    std::string PutBack() const {
        std::string failures;
        for (auto row = changes.rbegin(); row != changes.rend(); ++row) {
            failures += row->change->PutBack();
        }
        return failures;
    }

  private:
    struct Row {
        std::string port;
        std::unique_ptr<PortChange> change;
    };

    std::vector<Row> changes;
};

}  // namespace

struct KernelHost::Operation {
    uint8_t service;
    uint16_t opcode;
    std::variant<Reply (KernelHost::*)(Data), Reply (KernelHost::*)(Data, Client&)> answer;
    std::mutex* lock = &KernelHost::network;
};

const KernelHost::Operation KernelHost::kOperations[] = {
    {zwmgmt::kSystem, zwmgmt::kGetCapabilities, &KernelHost::GetCapabilities},
    {zwmgmt::kSystem, zwmgmt::kListDrivers, &KernelHost::ListDrivers},
    {zwmgmt::kSystem, zwmgmt::kLoadDriver, &KernelHost::LoadDriver, &KernelHost::modules},
    {zwmgmt::kSystem, zwmgmt::kReloadDriver, &KernelHost::ReloadDriver, &KernelHost::modules},
    {zwmgmt::kSystem, zwmgmt::kUnloadDriver, &KernelHost::UnloadDriver, &KernelHost::modules},
    {zwmgmt::kKorvane, zwmgmt::kListPorts, &KernelHost::ListPorts},
    {zwmgmt::kKorvane, zwmgmt::kGetCardStats, &KernelHost::GetCardStatistics},
    {zwmgmt::kKorvane, zwmgmt::kGetPortStats, &KernelHost::GetPortStatistics},
    {zwmgmt::kKorvane, zwmgmt::kListAdapterProps, &KernelHost::ListAdapters},
    {zwmgmt::kKorvane, zwmgmt::kSetCardProperty, &KernelHost::SetCardProperties},
    {zwmgmt::kKorvane, zwmgmt::kSetPortProperty, &KernelHost::SetPortProperties},
    {zwmgmt::kNet, zwmgmt::kSetMtu, &KernelHost::SetMtu},
};

KernelHost::KernelHost(KernelOptions host_options) : options(std::move(host_options)) {}

Reply KernelHost::Answer(uint8_t service, uint16_t opcode, Data data) {
    Client nobody;
    return AnswerTo(nobody, service, opcode, data);
}

Reply KernelHost::AnswerTo(Client& client, uint8_t service, uint16_t opcode, Data data) {
    for (const Operation& operation : kOperations) {
        if (operation.service != service || operation.opcode != opcode) continue;
        const std::lock_guard guard(*operation.lock);
        if (const auto* plain = std::get_if<0>(&operation.answer)) return (this->**plain)(data);
        return (this->*std::get<1>(operation.answer))(data, client);
    }
    if (service == zwmgmt::kFilter) return AnswerFilterRequest(opcode, data, client);
    return Failed(zwmgmt::kNotSupported);
}

Reply KernelHost::AnswerFilterRequest(uint16_t opcode, Data data, Client& client) {
    const std::lock_guard guard(network);
    std::optional<RuleChanged> changed;
    auto reply = AnswerFilter(kernel, AllAdapters(), opcode, data, &changed);
    if (changed && ComesBy(client, {changed->port})) {
        client.put_back = [this, changed = *changed] {
            const std::lock_guard while_it_is_put_back(network);
            return PutBack(kernel, changed).reason;
        };
    }
    return reply ? *std::move(reply) : Failed(zwmgmt::kNotSupported);
}

bool KernelHost::Changes(uint8_t service, uint16_t opcode) const {
    return !agent::IsQuestion(service, opcode);
}

Reply KernelHost::GetCapabilities(Data) {
    Capabilities capabilities = {};
    capabilities.api_version = zwmgmt::kClientApiVersion;
    capabilities.os_code = OsType();
    capabilities.network = kOffered;
    capabilities.adapter = kOffered;
    capabilities.system = kOffered;
    if (CanFilter()) capabilities.filter = kOffered;
    capabilities.bypass = kNotAvailable;
    capabilities.bonding = kNotAvailable;
    return agent::RecordReply(capabilities);
}

bool KernelHost::CanFilter() {
    if (!has_traffic_filters) has_traffic_filters = HasTrafficFilters(kernel);
    return *has_traffic_filters || HaveReceiveRules(kernel, AllAdapters());
}

// ---- Finding --------------------------------------------------------------------------------

std::vector<Adapter> KernelHost::AllAdapters() {
    return Adapters(kernel, options.virtual_interfaces);
}

std::optional<Adapter> KernelHost::FindAdapter(std::string_view location) {
    return AdapterAt(kernel, options.virtual_interfaces, location);
}

std::optional<Interface> KernelHost::FindPort(const PortRequest& request) {
    std::optional<Adapter> adapter = FindAdapter(FixedText(request.pci_bus_location));
    if (!adapter || request.port_instance >= adapter->ports.size()) return std::nullopt;
    return std::move(adapter->ports[request.port_instance]);
}

// ---- Listing --------------------------------------------------------------------------------

std::string KernelHost::NameOf(const PciFunction& function) {
    const auto [name, is_new] = pci_names.try_emplace({function.vendor, function.device});
    if (is_new) name->second = PciName(function);
    return name->second;
}

_CardInformation KernelHost::CardOf(const Adapter& adapter) {
    _CardInformation card = {};
    const DriverNames driver = kernel.ethtool.DriverOf(adapter.ports.front().name);
    SetFixedText(card.pci_bus_location, adapter.location);
    card.port_count = static_cast<uint16_t>(adapter.ports.size());
    SetFixedText(card.driver_firmware_version, VersionText(driver));
    SetFixedText(card.chip_type, kChip);
    SetFixedText(card.card_name, adapter.ports.front().name);
    SetFixedText(card.description, driver.driver);
    if (!adapter.on_pci) return card;
    const PciFunction function = PciFunctionAt(adapter.location);
    card.vendor_id = function.vendor;
    card.device_id = function.device;
    card.device_class = function.device_class;
    card.interrupt_request = function.interrupt;
    SetFixedText(card.description, NameOf(function));
    return card;
}

Reply KernelHost::ListAdapters(Data) {
    RecordRun run;
    for (const Adapter& adapter : AllAdapters()) run.Add(CardOf(adapter));
    return run.Finish();
}

Reply KernelHost::ListPorts(Data data) {
    const std::optional<Adapter> adapter = FindAdapter(agent::TextIn(data));
    if (!adapter) return Failed(zwmgmt::kNoPorts);
    RecordRun run;
    for (uint8_t instance = 0; const Interface& port : adapter->ports) {
        _PortInformation record = ReadPort(kernel, port).record;
        record.port_instance = instance++;
        run.Add(record);
    }
    return run.Finish();
}

Reply KernelHost::GetCardStatistics(Data data) {
    const std::optional<Adapter> adapter = FindAdapter(agent::TextIn(data));
    if (!adapter) return Failed(zwmgmt::kNoStatistics);
    return Run(KernelCounters(adapter->ports));
}

Reply KernelHost::GetPortStatistics(Data data) {
    PortRequest request = {};
    if (!agent::Unpack(data, &request)) return Failed(zwmgmt::kInvalidValue);
    const std::optional<Interface> port = FindPort(request);
    if (!port) return Failed(zwmgmt::kNoStatistics);
    std::vector<VqStat> counters = DriverCounters(kernel, *port);
    for (const VqStat& counter : KernelCounters({*port})) counters.push_back(counter);
    return Run(counters);
}

// ---- Setting --------------------------------------------------------------------------------

Reply KernelHost::SetCardProperties(Data) {
    return Failed(zwmgmt::kNotSupported,
                  "properties of cards are of TCP offload, which Linux kernels do not have");
}

/// Whether the client comes by one of these interfaces, as far as the kernel tells.
bool KernelHost::ComesBy(const Client& client, const std::vector<Interface>& interfaces) {
    if (!client.ends) return false;
    const auto path = InterfacesBetween(kernel, *client.ends);
    return !path || std::ranges::any_of(interfaces, [&](const Interface& interface) {
        return path->contains(interface.index);
    });
}

Reply KernelHost::ChangePorts(const std::vector<Interface>& ports, const Properties& properties,
                              const PortSettings& wanted, Client& client) {
    const auto changes = std::make_shared<PortChanges>(kernel, ports, properties, wanted);
    Reply checked = changes->Check();
    if (checked.status != zwmgmt::kSuccess) return checked;
    if (ComesBy(client, ports)) {
        client.put_back = [changes] {
            const std::lock_guard guard(network);
            return changes->PutBack();
        };
        if (changes->TakeTheLink()) {
            client.change = [changes, &client] {
                const std::lock_guard guard(network);
                Reply made = changes->Make();
                if (made.status != zwmgmt::kSuccess) client.put_back = nullptr;  // it has been
                return made;
            };
            return {};
        }
    }
    return changes->Make();
}

Reply KernelHost::SetPortProperties(Data data, Client& client) {
    PortRequest request = {};
    if (!agent::Unpack(data, &request)) return Failed(zwmgmt::kInvalidValue, "not a request");
    Properties properties;
    uint32_t bits = 0;
    const bool sound =
        agent::ForEachProperty(request, OsType(), kChip, [&](const zwmgmt::Argument& property) {
            if ((bits & property.bit) == 0) properties.push_back(&property);
            bits |= property.bit;
        });
    if (!sound) return Failed(zwmgmt::kInvalidValue, "a value that no property can have");
    const std::optional<Interface> port = FindPort(request);
    if (!port) return Failed(zwmgmt::kNoPorts);
    return ChangePorts({*port}, properties, request.settings, client);
}

/// Without a name, of every port.
Reply KernelHost::SetMtu(Data data, Client& client) {
    MtuRequest request = {};
    if (!agent::Unpack(data, &request) || request.mtu < 1 || request.mtu > zwmgmt::kHighestMtu) {
        return Failed(zwmgmt::kInvalidValue);
    }
    const std::string_view name = FixedText(request.interface_name);
    std::vector<Interface> ports;
    for (const Adapter& adapter : AllAdapters()) {
        std::ranges::copy_if(adapter.ports, std::back_inserter(ports), [&](const Interface& port) {
            return name.empty() || port.name == name;
        });
    }
    if (ports.empty()) return Failed(zwmgmt::kNoPorts);
    const zwmgmt::Argument& property = PropertyOf("mtu");
    PortSettings wanted = {};
    Store(property, request.mtu, &wanted);
    return ChangePorts(ports, {&property}, wanted, client);
}

// ---- Drivers --------------------------------------------------------------------------------

/// Those of the adapters, and those that may be loaded.
Reply KernelHost::ListDrivers(Data) {
    std::set<std::string> names;
    for (const std::string& allowed : options.drivers) names.insert(ModuleName(allowed));
    for (const Adapter& adapter : AllAdapters()) {
        for (const Interface& port : adapter.ports) {
            const std::string module = ModuleOf(port);
            const std::string own = kernel.ethtool.DriverOf(port.name).driver;
            if (!module.empty() || !own.empty()) names.insert(module.empty() ? own : module);
        }
    }
    RecordRun run;
    for (const std::string& name : names) run.Add(DriverRecord(name));
    return run.Finish();
}

/// The driver that a request names, where the configuration allows it.
std::optional<std::string> KernelHost::AllowedDriver(Data data) const {
    const std::string name = ModuleName(agent::TextIn(data));
    const bool allowed =
        std::ranges::find(options.drivers, name, ModuleName) != options.drivers.end();
    return allowed ? std::optional(name) : std::nullopt;
}

Reply KernelHost::LoadDriver(Data data) {
    const auto name = AllowedDriver(data);
    return name ? LoadModule(*name) : NotAllowed();
}

/// The driver of the interface that the client comes by goes when the answer has gone out.
Reply KernelHost::ChangeDriver(const std::string& name, Reply (*change)(const std::string&),
                               Client& client) {
    std::unique_lock guard(network);
    std::vector<Interface> driven = Interfaces(kernel);
    std::erase_if(driven, [&](const Interface& port) { return ModuleOf(port) != name; });
    const bool is_own = ComesBy(client, driven);
    guard.unlock();
    if (!is_own) return change(name);
    Reply checked = CheckUnloading(name);
    if (checked.status != zwmgmt::kSuccess) return checked;
    client.change = [name, change] {
        const std::lock_guard one_at_a_time(modules);
        return change(name);
    };
    client.put_back = [name] {
        const std::lock_guard one_at_a_time(modules);
        return LoadModule(name).reason;  // none where it is loaded
    };
    return {};
}

Reply KernelHost::ReloadDriver(Data data, Client& client) {
    const auto name = AllowedDriver(data);
    return name ? ChangeDriver(*name, ReloadModule, client) : NotAllowed();
}

Reply KernelHost::UnloadDriver(Data data, Client& client) {
    const auto name = AllowedDriver(data);
    return name ? ChangeDriver(*name, UnloadModule, client) : NotAllowed();
}

}  // namespace zmagent
