/// Kernel modules: what is known of one, loading and unloading.
#pragma once

#include <string>
#include <string_view>

#include "agent/host_model.h"
#include "zwmgmt/records/driver.h"

namespace zmagent {

/// Modules are called alike with "-" and "_": the name as the kernel writes it.
std::string ModuleName(std::string_view name);

DriverInfo DriverRecord(const std::string& module);

// The answers to the requests of these names.
zwmgmt::agent::Reply LoadModule(const std::string& module);
zwmgmt::agent::Reply UnloadModule(const std::string& module);
zwmgmt::agent::Reply ReloadModule(const std::string& module);
/// What unloading would be refused with.
zwmgmt::agent::Reply CheckUnloading(const std::string& module);

}  // namespace zmagent
