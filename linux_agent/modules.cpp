#include "linux_agent/modules.h"

#include <libkmod.h>
#include <syslog.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <system_error>

#include "agent/replies.h"
#include "zwmgmt/fixed_text.h"
#include "zwmgmt/status.h"

namespace zmagent {
namespace {

using zwmgmt::agent::Failed;
using zwmgmt::agent::Reply;

struct Release {
    void operator()(kmod_ctx* context) const { kmod_unref(context); }
    void operator()(kmod_module* module) const { kmod_module_unref(module); }
};

/// A module, of the system's own folders and configuration.
class Module {
  public:
    explicit Module(const std::string& name) : context(kmod_new(nullptr, nullptr)) {
        kmod_module* found = nullptr;
        if (context == nullptr) return;
        kmod_set_log_priority(context.get(), LOG_EMERG);  // what fails is in the replies' reasons
        kmod_module_new_from_name(context.get(), name.c_str(), &found);
        module.reset(found);
    }

    kmod_module* Get() const { return module.get(); }

    /// Of the states, a kernel without an index of what it has built in reports COMING of that.
    bool IsLoaded() const {
        const int state = module != nullptr ? kmod_module_get_initstate(module.get()) : -ENOMEM;
        return state >= 0 && state != KMOD_MODULE_GOING;
    }
    bool IsUsed() const {
        kmod_list* holders = kmod_module_get_holders(module.get());
        kmod_module_unref_list(holders);
        return holders != nullptr || kmod_module_get_refcnt(module.get()) > 0;
    }

  private:
    std::unique_ptr<kmod_ctx, Release> context;
    std::unique_ptr<kmod_module, Release> module;
};

std::string ErrorText(int result) {
    // Blacklists are told with a positive number.
    return result > 0 ? "it is on a blacklist" : std::generic_category().message(-result);
}

Reply Load(const Module& module) {
    // No command of the configuration is run instead.
    constexpr unsigned kFlags = KMOD_PROBE_IGNORE_COMMAND | KMOD_PROBE_APPLY_BLACKLIST;
    const int result =
        kmod_module_probe_insert_module(module.Get(), kFlags, nullptr, nullptr, nullptr, nullptr);
    return result == 0 ? Reply{} : Failed(zwmgmt::kLoadFailed, "loading: " + ErrorText(result));
}

Reply Check(const Module& module) {
    if (!module.IsLoaded()) return Failed(zwmgmt::kDriverNotLoaded);
    if (module.IsUsed()) return Failed(zwmgmt::kDriverInUse);
    return {};
}

Reply Unload(const Module& module) {
    Reply checked = Check(module);
    if (checked.status != zwmgmt::kSuccess) return checked;
    const int result = kmod_module_remove_module(module.Get(), 0);
    if (result == 0) return {};
    const bool used = result == -EBUSY || result == -EAGAIN;
    return Failed(used ? zwmgmt::kDriverInUse : zwmgmt::kUnloadFailed,
                  "unloading: " + ErrorText(result));
}

}  // namespace

std::string ModuleName(std::string_view name) {
    std::string result(name);
    std::ranges::replace(result, '-', '_');
    return result;
}

DriverInfo DriverRecord(const std::string& name) {
    DriverInfo record = {};
    zwmgmt::SetFixedText(record.name, name);
    const Module module(name);
    record.loaded = module.IsLoaded();
    kmod_list* facts = nullptr;
    if (module.Get() == nullptr || kmod_module_get_info(module.Get(), &facts) < 0) return record;
    for (kmod_list* fact = facts; fact != nullptr; fact = kmod_list_next(facts, fact)) {
        const std::string_view key = kmod_module_info_get_key(fact);
        const char* value = kmod_module_info_get_value(fact);
        if (key == "version") zwmgmt::SetFixedText(record.version, value);
        if (key == "description") zwmgmt::SetFixedText(record.description, value);
    }
    kmod_module_info_free_list(facts);
    return record;
}

Reply LoadModule(const std::string& name) {
    const Module module(name);
    if (module.IsLoaded()) return Failed(zwmgmt::kDriverLoaded);
    return Load(module);
}

Reply CheckUnloading(const std::string& name) { return Check(Module(name)); }

Reply UnloadModule(const std::string& name) { return Unload(Module(name)); }

Reply ReloadModule(const std::string& name) {
    const Module module(name);
    Reply unloaded = Unload(module);
    return unloaded.status == zwmgmt::kSuccess ? Load(module) : unloaded;
}

}  // namespace zmagent
