/// What the agent is told by its configuration file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zmagent {

using Texts = std::vector<std::string>;

struct Config {
    Texts addresses = {"any"};
    uint32_t port = 35001;

    std::string certificate = "/etc/korvane/zmagent.pem";
    std::string client_authorities;
    bool certificates_log_in = false;

    uint32_t clients = 256;
    uint32_t clients_of_address = 32;
    uint32_t handshake_seconds = 15;
    uint32_t opening_seconds = 15;
    uint32_t login_seconds = 300;
    uint32_t idle_seconds = 3600;
    uint32_t request_seconds = 60;
    uint32_t finish_seconds = 20;

    std::string user = "korvane-zmagent";
    std::string folder = "/run/korvane-zmagent";
    std::string pam_service = "korvane-zmagent";
    std::string pam_folder;
    Texts operators = {"korvane-operators"};
    Texts readers = {"korvane-readers"};

    std::string audit = "journal";

    bool virtual_interfaces = false;
    uint32_t confirm_seconds = 0;
    Texts drivers;

    std::string install_hook;
    uint32_t hook_seconds = 600;
    std::string spool = "/var/spool/korvane-zmagent";
    uint32_t package_most_bytes = 512u << 20;
};

/// The file that is read where no other is named.
inline constexpr const char* kConfigFile = "/etc/korvane/zmagent.toml";

/// Reads the file into the configuration. False, with the reason in *error, when it cannot be used:
/// an unknown setting and a value that is none of its are reasons.
bool ReadConfig(const std::string& file, Config* config, std::string* error);

/// All settings as a file has them, each with what it is for.
std::string PrintedConfig(const Config& config);

}  // namespace zmagent
