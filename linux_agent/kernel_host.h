/// The host model that answers from the Linux kernel, and sets what it is asked to set there.
#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "linux_agent/host.h"
#include "linux_agent/interfaces.h"
#include "linux_agent/ports.h"
#include "zwmgmt/records/adapter.h"
#include "zwmgmt/records/port.h"
#include "zwmgmt/vocabulary.h"

namespace zmagent {

namespace agent = zwmgmt::agent;

struct KernelOptions {
    bool virtual_interfaces = false;        // those without PCI, too, under their own name
    std::vector<std::string> drivers = {};  // that may be loaded, unloaded and reloaded
};

/// Keeps no state of the kernel's.
class KernelHost : public Host {
  public:
    explicit KernelHost(KernelOptions host_options);

    uint8_t OsType() const override { return zwmgmt::kLinux; }
    uint8_t WordSize() const override { return 8; }
    agent::Reply Answer(uint8_t service, uint16_t opcode, std::span<const uint8_t> data) override;
    agent::Reply AnswerTo(Client& client, uint8_t service, uint16_t opcode,
                          std::span<const uint8_t> data) override;
    bool Changes(uint8_t service, uint16_t opcode) const override;

  private:
    using Data = std::span<const uint8_t>;
    struct Operation;
    static const Operation kOperations[];

    // The operations; each is called with its lock held.
    agent::Reply GetCapabilities(Data data);
    agent::Reply ListAdapters(Data data);
    agent::Reply ListPorts(Data data);
    agent::Reply GetCardStatistics(Data data);
    agent::Reply GetPortStatistics(Data data);
    agent::Reply SetCardProperties(Data data);
    agent::Reply SetPortProperties(Data data, Client& client);
    agent::Reply SetMtu(Data data, Client& client);
    agent::Reply ListDrivers(Data data);
    agent::Reply LoadDriver(Data data);
    agent::Reply ReloadDriver(Data data, Client& client);
    agent::Reply UnloadDriver(Data data, Client& client);

    agent::Reply AnswerFilterRequest(uint16_t opcode, Data data, Client& client);
    agent::Reply ChangePorts(const std::vector<Interface>& ports, const Properties& properties,
                             const PortSettings& wanted, Client& client);
    agent::Reply ChangeDriver(const std::string& name, agent::Reply (*change)(const std::string&),
                              Client& client);
    bool ComesBy(const Client& client, const std::vector<Interface>& interfaces);

    bool CanFilter();
    std::vector<Adapter> AllAdapters();
    std::optional<Adapter> FindAdapter(std::string_view location);
    std::optional<Interface> FindPort(const PortRequest& request);
    _CardInformation CardOf(const Adapter& adapter);
    std::string NameOf(const PciFunction& function);
    std::optional<std::string> AllowedDriver(Data data) const;

    const KernelOptions options;
    // Of all hosts of the process: after a reload old sessions still have the one before.
    static inline std::mutex network;  // what one change reads and sets, no other comes between
    static inline std::mutex modules;  // beside the network's, as loading takes its time
    Kernel kernel;
    std::optional<bool> has_traffic_filters;                         // once it has been tried
    std::map<std::pair<uint32_t, uint32_t>, std::string> pci_names;  // reading the list takes long
};

}  // namespace zmagent
