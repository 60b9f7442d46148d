#include "simulator/scenario.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <span>
#include <stdexcept>

#include "records/capabilities.h"
#include "records/card.h"
#include "records/counter.h"
#include "records/driver.h"
#include "records/port.h"
#include "session/os_set.h"
#include "zwmgmt/vocabulary.h"

namespace zmsim {
namespace {

using nlohmann::json;
using zwmgmt::Field;
using zwmgmt::FieldType;

struct OsName {
    const char* name;
    zwmgmt::AgentOs code;
};

constexpr OsName kOsNames[] = {
    {"windows", zwmgmt::kWindows}, {"linux", zwmgmt::kLinux}, {"solaris", zwmgmt::kSolaris},
    {"freebsd", zwmgmt::kFreeBsd}, {"esx", zwmgmt::kEsx},     {"xen", zwmgmt::kXen},
    {"mac", zwmgmt::kMac},
};

[[noreturn]] void Wrong(const std::string& where, const std::string& what) {
    throw std::runtime_error(where + ": " + what);
}

/// A number of JSON, a text in C notation ("0x4b56"), or a truth value.
int64_t IntegerFrom(const json& value, const std::string& where) {
    if (value.is_boolean()) return value.get<bool>();
    if (value.is_number_integer()) return value.get<int64_t>();
    if (!value.is_string()) Wrong(where, "expected a number");
    const auto text = value.get<std::string>();
    char* end = nullptr;
    errno = 0;
    const int64_t number = std::strtoll(text.c_str(), &end, 0);
    if (text.empty() || *end != '\0' || errno != 0) Wrong(where, "not a number: " + text);
    return number;
}

bool Fits(int64_t number, const Field& field) {
    if (field.width == sizeof(number)) return true;
    const int64_t end = int64_t{1} << (8 * field.width);
    return field.type == FieldType::kSigned ? -end / 2 <= number && number < end / 2
                                            : 0 <= number && number < end;
}

void SetField(void* record, const Field& field, const json& value, const std::string& where) {
    char* bytes = static_cast<char*>(record) + field.offset;
    if (field.type == FieldType::kText) {
        if (!value.is_string()) Wrong(where, "expected a text");
        const auto text = value.get<std::string>();
        if (text.size() > field.width) Wrong(where, "longer than " + std::to_string(field.width));
        zwmgmt::SetFixedText(bytes, field.width, text);
        return;
    }
    const int64_t number = IntegerFrom(value, where);
    if (!Fits(number, field)) Wrong(where, "out of range");
    std::memcpy(bytes, &number, field.width);
}

const Field* FindField(std::span<const Field> fields, const std::string& name) {
    for (const Field& field : fields) {
        if (name == field.name) return &field;
    }
    return nullptr;
}

const json& Object(const json& value, const std::string& where) {
    if (!value.is_object()) Wrong(where, "expected an object");
    return value;
}

/// The record that an object describes. A name that is no field goes to `nested`, which throws
/// where it does not know it either.
template <class Record, class Nested>
Record RecordFrom(const json& object, std::span<const Field> fields, const std::string& where,
                  Nested nested, Record record = {}) {
    for (const auto& [name, value] : Object(object, where).items()) {
        const std::string place = where + "." + name;
        if (const Field* field = FindField(fields, name)) {
            SetField(&record, *field, value, place);
        } else {
            nested(name, value, place);
        }
    }
    return record;
}

void NothingNested(const std::string&, const json&, const std::string& where) {
    Wrong(where, "unknown name");
}

/// Calls `add` with each element and its place.
template <class Add>
void ForEach(const json& array, const std::string& where, Add add) {
    if (!array.is_array()) Wrong(where, "expected an array");
    for (size_t i = 0; i < array.size(); ++i) add(array[i], where + "[" + std::to_string(i) + "]");
}

std::vector<VqStat> StatisticsFrom(const json& array, const std::string& where) {
    std::vector<VqStat> result;
    ForEach(array, where, [&](const json& value, const std::string& place) {
        result.push_back(RecordFrom<VqStat>(value, zwmgmt::kCounterFields, place, NothingNested));
    });
    return result;
}

Port PortFrom(const json& value, const std::string& where) {
    Port port;
    const auto nested = [&](const std::string& name, const json& inner, const std::string& place) {
        if (name != "statistics") Wrong(place, "unknown name");
        port.statistics = StatisticsFrom(inner, place);
    };
    port.record = RecordFrom<_PortInformation>(value, zwmgmt::kPortFields, where, nested);
    return port;
}

Adapter AdapterFrom(const json& value, const std::string& where) {
    Adapter adapter;
    const auto nested = [&](const std::string& name, const json& inner, const std::string& place) {
        if (name == "statistics") {
            adapter.statistics = StatisticsFrom(inner, place);
        } else if (name == "ports") {
            ForEach(inner, place, [&](const json& port, const std::string& port_place) {
                adapter.ports.push_back(PortFrom(port, port_place));
            });
        } else {
            Wrong(place, "unknown name");
        }
    };
    adapter.card = RecordFrom<_CardInformation>(value, zwmgmt::kCardFields, where, nested);
    const size_t ports = adapter.ports.size();
    if (!value.contains("port_count")) adapter.card.port_count = static_cast<uint16_t>(ports);
    return adapter;
}

Driver DriverFrom(const json& value, const std::string& where) {
    Driver driver;
    const auto nested = [&](const std::string& name, const json& inner, const std::string& place) {
        if (name != "uses") Wrong(place, "unknown name");
        ForEach(inner, place, [&](const json& used, const std::string& used_place) {
            if (!used.is_string()) Wrong(used_place, "expected a text");
            driver.uses.push_back(used.get<std::string>());
        });
    };
    driver.record = RecordFrom<DriverInfo>(value, zwmgmt::kDriverFields, where, nested);
    return driver;
}

uint8_t OsFrom(const json& value, const std::string& where) {
    for (const OsName& row : kOsNames) {
        if (value == row.name) return row.code;
    }
    Wrong(where, "not an agent OS");
}

/// A service, and on which systems an agent can have it.
struct ServiceRow {
    size_t word;  // offset in Capabilities
    zwmgmt::OsSet systems;
};

constexpr ServiceRow kServices[] = {
    {offsetof(Capabilities, network), zwmgmt::OsSet::Any()},
    {offsetof(Capabilities, teaming),
     {zwmgmt::kWindows, zwmgmt::kLinux, zwmgmt::kSolaris, zwmgmt::kFreeBsd, zwmgmt::kXen}},
    {offsetof(Capabilities, iscsi),
     {zwmgmt::kWindows, zwmgmt::kLinux, zwmgmt::kSolaris, zwmgmt::kXen}},
    {offsetof(Capabilities, adapter), zwmgmt::OsSet::Any()},
    {offsetof(Capabilities, system), zwmgmt::OsSet::Any()},
    {offsetof(Capabilities, filter), {zwmgmt::kLinux}},
    {offsetof(Capabilities, traffic_management), {zwmgmt::kLinux}},
    {offsetof(Capabilities, fcoe), {zwmgmt::kWindows, zwmgmt::kLinux, zwmgmt::kXen}},
    {offsetof(Capabilities, log), zwmgmt::OsSet::Any()},
    {offsetof(Capabilities, iwarp), {zwmgmt::kWindows, zwmgmt::kLinux, zwmgmt::kFreeBsd}},
};

/// An agent of this client's version that offers what its OS can have, unless the scenario says
/// otherwise.
Capabilities FullCapabilities(uint8_t os_type) {
    constexpr uint16_t kOffered = 2;
    Capabilities all = {};
    all.api_version = zwmgmt::kClientApiVersion;
    all.os_code = os_type;
    for (const ServiceRow& row : kServices) {
        if (!row.systems.Has(os_type)) continue;
        std::memcpy(reinterpret_cast<char*>(&all) + row.word, &kOffered, sizeof(kOffered));
    }
    return all;
}

Scenario ScenarioFrom(const json& root) {
    Scenario scenario;
    Object(root, "scenario");
    if (!root.contains("os")) Wrong("scenario", "os is missing");
    scenario.os_type = OsFrom(root["os"], "os");
    scenario.capabilities = FullCapabilities(scenario.os_type);
    for (const auto& [name, value] : root.items()) {
        if (name == "os") {
            continue;
        } else if (name == "word_size") {
            const int64_t width = IntegerFrom(value, name);
            if (width != 4 && width != 8 && width != 16) Wrong(name, "not 4, 8 or 16");
            scenario.word_size = static_cast<uint8_t>(width);
        } else if (name == "capabilities") {
            scenario.tells_capabilities = !value.is_null();
            if (value.is_null()) continue;
            scenario.capabilities = RecordFrom<Capabilities>(
                value, zwmgmt::kCapabilitiesFields, name, NothingNested, scenario.capabilities);
        } else if (name == "adapters") {
            ForEach(value, name, [&](const json& adapter, const std::string& place) {
                scenario.adapters.push_back(AdapterFrom(adapter, place));
            });
        } else if (name == "drivers") {
            ForEach(value, name, [&](const json& driver, const std::string& place) {
                scenario.drivers.push_back(DriverFrom(driver, place));
            });
        } else {
            Wrong(name, "unknown name");
        }
    }
    return scenario;
}

}  // namespace

bool IsLoaded(const Scenario& scenario, std::string_view driver) {
    return std::ranges::any_of(scenario.drivers, [&](const Driver& row) {
        return row.record.loaded && zwmgmt::FixedText(row.record.name) == driver;
    });
}

bool HasPort(const Scenario& scenario, std::string_view name) {
    return std::ranges::any_of(scenario.adapters, [&](const Adapter& adapter) {
        return std::ranges::any_of(adapter.ports, [&](const Port& port) {
            return zwmgmt::FixedText(port.record.name) == name;
        });
    });
}

std::string_view BuiltinScenarioJson(std::string_view os) {
    for (const BuiltinScenario& builtin : kBuiltinScenarios) {
        if (os == builtin.os) return builtin.json;
    }
    return {};
}

bool ParseScenario(std::string_view text, Scenario* scenario, std::string* error) {
    try {
        *scenario = ScenarioFrom(json::parse(text));
        return true;
    } catch (const std::exception& wrong) {
        *error = wrong.what();
        return false;
    }
}

}  // namespace zmsim
