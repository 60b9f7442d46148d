#include "linux_agent/config.h"

#include <toml++/toml.h>

#include <algorithm>
#include <iterator>
#include <span>
#include <sstream>
#include <string_view>
#include <variant>

#include "agent/local_file.h"

namespace zmagent {
namespace {

constexpr size_t kLargestFile = 1u << 20;

/// A setting: where it is kept, what it may be, and what it is for.
struct Setting {
    std::string_view table;
    std::string_view name;
    std::variant<std::string Config::*, Texts Config::*, uint32_t Config::*, bool Config::*> member;
    const char* purpose;
    uint32_t least = 0;  // of a number
    uint32_t most = UINT32_MAX;
};

// clang-format off
const Setting kSettings[] = {
    {"listen", "addresses", &Config::addresses, "IPv4 and IPv6 addresses to listen on; \"any\" is 0.0.0.0, and :: where the host has IPv6; systemd's sockets come before them"},
    {"listen", "port", &Config::port, "TCP port; 0: any free one, which is printed", 0, 65535},
    {"tls", "certificate", &Config::certificate, "PEM file with key and certificate, which its owner alone can read"},
    {"tls", "client_authorities", &Config::client_authorities, "PEM file of those who have to vouch for clients' certificates; empty: none is asked for"},
    {"tls", "certificates_log_in", &Config::certificates_log_in, "a client's certificate takes the place of a password: its common name is the user; those without one give a password"},
    {"limits", "clients", &Config::clients, "clients at once", 1, 10'000},
    {"limits", "clients_of_address", &Config::clients_of_address, "of them, from one address", 1, 10'000},
    {"limits", "handshake_seconds", &Config::handshake_seconds, "for the TLS handshake", 1, 3600},
    {"limits", "opening_seconds", &Config::opening_seconds, "then, until the client has said hello", 1, 3600},
    {"limits", "login_seconds", &Config::login_seconds, "then, until it has logged in: a person may type the password", 1, 3600},
    {"limits", "idle_seconds", &Config::idle_seconds, "silence between requests", 1, 1'000'000},
    {"limits", "request_seconds", &Config::request_seconds, "for a request to come in", 1, 3600},
    {"limits", "finish_seconds", &Config::finish_seconds, "for running requests when the agent is stopped", 0, 3600},
    {"login", "pam_service", &Config::pam_service, "PAM service that judges passwords"},
    {"login", "pam_folder", &Config::pam_folder, "folder of PAM's services; empty: the system's"},
    {"login", "operators", &Config::operators, "groups whose members may read and change"},
    {"login", "readers", &Config::readers, "groups whose members may read"},
    {"audit", "to", &Config::audit, "\"journal\", or a file that lines are appended to"},
    {"adapters", "virtual", &Config::virtual_interfaces, "list interfaces without a PCI device, too, under their names"},
    {"adapters", "confirm_seconds", &Config::confirm_seconds, "how soon a client has to log in anew after it changed the interface that it comes by, or the change is put back; 0: never", 0, 86'400},
    {"drivers", "allowed", &Config::drivers, "modules that may be loaded, unloaded and reloaded"},
    {"packages", "install_hook", &Config::install_hook, "program that is run with each package that operators install, by its absolute path; empty: none may be installed"},
    {"packages", "hook_seconds", &Config::hook_seconds, "for the hook, until it is ended", 1, 86'400},
    {"packages", "spool", &Config::spool, "folder in which packages wait for the hook; made when it is not there"},
    {"packages", "package_most_bytes", &Config::package_most_bytes, "of a package", 1, 1'073'725'440},
    {"process", "user", &Config::user, "whom the process that talks to the network runs as, when the agent is started by root"},
    {"process", "folder", &Config::folder, "all that this process sees of the file system; made when it is not there"},
};
// clang-format on

/// Takes the value into its member; false when it is none for it.
struct Taker {
    const toml::node& node;
    const Setting& setting;
    Config* config;

    bool operator()(std::string Config::*member) const {
        const auto text = node.value_exact<std::string>();
        if (text) config->*member = *text;
        return text.has_value();
    }
    bool operator()(bool Config::*member) const {
        const auto flag = node.value_exact<bool>();
        if (flag) config->*member = *flag;
        return flag.has_value();
    }
    bool operator()(uint32_t Config::*member) const {
        const auto number = node.value_exact<int64_t>();
        if (!number || *number < setting.least || *number > setting.most) return false;
        config->*member = static_cast<uint32_t>(*number);
        return true;
    }
    bool operator()(Texts Config::*member) const {
        if (!node.is_array()) return false;
        Texts texts;
        for (const toml::node& each : *node.as_array()) {
            const auto text = each.value_exact<std::string>();
            if (!text) return false;
            texts.push_back(*text);
        }
        config->*member = std::move(texts);
        return true;
    }
};

struct Wanted {
    const Setting& setting;

    std::string operator()(std::string Config::*) const { return "a text"; }
    std::string operator()(bool Config::*) const { return "true or false"; }
    std::string operator()(Texts Config::*) const { return "a list of texts"; }
    std::string operator()(uint32_t Config::*) const {
        return "a number from " + std::to_string(setting.least) + " to " +
               std::to_string(setting.most);
    }
};

struct Shown {
    const Config& config;

    std::string operator()(std::string Config::*member) const { return Text(config.*member); }
    std::string operator()(bool Config::*member) const { return config.*member ? "true" : "false"; }
    std::string operator()(uint32_t Config::*member) const {
        return std::to_string(config.*member);
    }
    std::string operator()(Texts Config::*member) const {
        std::string list;
        for (const std::string& text : config.*member) {
            list += (list.empty() ? "" : ", ") + Text(text);
        }
        return "[" + list + "]";
    }

    static std::string Text(const std::string& text) {
        std::ostringstream written;
        written << toml::value<std::string>(text);
        return written.str();
    }
};

std::string Place(const toml::node& node) {
    return std::to_string(node.source().begin.line) + ": ";
}

bool TakeTable(std::string_view name, const toml::table& table, Config* config,
               std::string* error) {
    for (const auto& [key, node] : table) {
        const std::string word(key.str());
        const auto* setting = std::ranges::find_if(
            kSettings, [&](const Setting& row) { return row.table == name && row.name == word; });
        if (setting == std::end(kSettings)) {
            *error = Place(node) + "there is no setting \"" + std::string(name) + "." + word + "\"";
            return false;
        }
        if (!std::visit(Taker{node, *setting, config}, setting->member)) {
            *error = Place(node) + word + " is " + std::visit(Wanted{*setting}, setting->member);
            return false;
        }
    }
    return true;
}

bool Take(const toml::table& file, Config* config, std::string* error) {
    for (const auto& [key, node] : file) {
        const bool known = std::ranges::count(kSettings, key.str(), &Setting::table) != 0;
        if (!known || !node.is_table()) {
            *error = Place(node) + "there is no table \"" + std::string(key.str()) + "\"";
            return false;
        }
        if (!TakeTable(key.str(), *node.as_table(), config, error)) return false;
    }
    return true;
}

}  // namespace

bool ReadConfig(const std::string& file, Config* config, std::string* error) {
    std::string text;
    if (!zwmgmt::agent::ReadLocalFile(file, kLargestFile, &text, error)) return false;
    Config read;
    try {
        if (Take(toml::parse(text), &read, error)) {
            *config = std::move(read);
            return true;
        }
    } catch (const toml::parse_error& wrong) {
        *error =
            std::to_string(wrong.source().begin.line) + ": " + std::string(wrong.description());
    }
    error->insert(0, file + ":");
    return false;
}

std::string PrintedConfig(const Config& config) {
    std::string text;
    std::string_view table;
    for (const Setting& setting : kSettings) {
        if (setting.table != table) {
            table = setting.table;
            text += (text.empty() ? "[" : "\n[") + std::string(table) + "]\n";
        }
        text += std::string("# ") + setting.purpose + "\n" + std::string(setting.name) + " = " +
                std::visit(Shown{config}, setting.member) + "\n";
    }
    return text;
}

}  // namespace zmagent
