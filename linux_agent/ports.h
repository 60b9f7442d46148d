/// What the kernel tells of a port, and its changes.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "commands/arguments.h"
#include "linux_agent/interfaces.h"
#include "zwmgmt/records/port.h"
#include "zwmgmt/records/statistics.h"

namespace zmagent {

struct PortState {
    _PortInformation record = {};
    Bits link_modes;  // those that are supported; set: advertised
};

/// Of the bits of a link those that are modes, such as "1000baseT/Full"; others are kinds of ports.
bool IsLinkMode(const Bit& bit);

/// The bits that properties have for these modes.
uint32_t ModeBits(const Bits& modes);

/// Everything but the port's instance. What the kernel does not tell stays 0 or empty.
PortState ReadPort(Kernel& kernel, const Interface& port);

/// The features that can be changed; set: those that are wanted.
Bits ChangeableFeatures(Kernel& kernel, const Interface& port);

/// The kernel's own counters of these interfaces, summed up.
std::vector<VqStat> KernelCounters(const std::vector<Interface>& ports);
/// The counters of the port's driver.
std::vector<VqStat> DriverCounters(Kernel& kernel, const Interface& port);

using Properties = std::vector<const zwmgmt::Argument*>;

/// A change of one port's settings, which can be put back.
class PortChange {
  public:
    /// The properties are to have their values in `settings`.
    PortChange(Kernel& of_kernel, Interface interface, Properties wanted_properties,
               const PortSettings& settings);

    /// Whether the port may be without a link meanwhile, or for good.
    bool TakesTheLink() const;
    /// What can be known before anything is set.
    Outcome Check() const;
    /// Sets the properties and reads them back. What is done when one fails stays until it is put
    /// back.
    Outcome Apply();

    /// As it was before: empty, or what could not be put back. What somebody has changed since it
    /// was all done stays.
    std::string PutBack();

  private:
    Outcome Verify();
    std::optional<PortState> Now();
    bool IsAsMade(const zwmgmt::Argument& property, const std::optional<PortState>& now) const;
    Bits FeaturesToPutBack() const;

    Kernel& kernel;
    const Interface port;
    const Properties properties;
    const PortState before;
    const Bits features;  // before
    const PortSettings wanted;
    std::optional<Bits> features_after;  // when all is done
    Properties done;
    Properties refused;  // there are drivers that change something nevertheless
};

}  // namespace zmagent
