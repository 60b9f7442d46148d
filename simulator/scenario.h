/// What a simulated host consists of, and how a JSON file describes it.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "zwmgmt/records/adapter.h"
#include "zwmgmt/records/capabilities.h"
#include "zwmgmt/records/driver.h"
#include "zwmgmt/records/port.h"
#include "zwmgmt/records/statistics.h"

namespace zmsim {

struct Port {
    _PortInformation record = {};
    std::vector<VqStat> statistics;
};

struct Adapter {
    _CardInformation card = {};
    std::vector<VqStat> statistics;
    std::vector<Port> ports;
};

struct Driver {
    DriverInfo record = {};
    std::vector<std::string> uses;  // drivers that cannot be unloaded while this one is loaded
};

struct Scenario {
    uint8_t os_type = 0;
    uint8_t word_size = 8;
    bool tells_capabilities = true;
    Capabilities capabilities = {};
    std::vector<Adapter> adapters;
    std::vector<Driver> drivers;
};

/// One scenario compiled in.
struct BuiltinScenario {
    const char* os;  // as in --os
    const char* json;
};

/// Whether the host has a driver of this name, loaded; and a port of this name.
bool IsLoaded(const Scenario& scenario, std::string_view driver);
bool HasPort(const Scenario& scenario, std::string_view name);

extern const std::array<BuiltinScenario, 7> kBuiltinScenarios;

/// The JSON of the built-in scenario of an OS; empty for an unknown name.
std::string_view BuiltinScenarioJson(std::string_view os);

/// Reads a scenario from JSON text (docs/simulator.md describes it). False, with the place and the
/// reason in *error, when it is not one.
bool ParseScenario(std::string_view json, Scenario* scenario, std::string* error);

}  // namespace zmsim
