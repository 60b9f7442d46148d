/// korvane_zmagent: manages the Ethernet adapters of this host for its operators.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>

#include "agent/certificate.h"
#include "linux_agent/config.h"
#include "linux_agent/kernel_host.h"
#include "linux_agent/supervisor.h"
#include "zwmgmt/version.h"

namespace zmagent {
namespace {

constexpr int kUsage = 2;

int Fail(const std::string& text, int exit_status) {
    std::fprintf(stderr, "korvane_zmagent: %s\n", text.c_str());
    return exit_status;
}

std::unique_ptr<Host> KernelOf(const Config& config) {
    return std::make_unique<KernelHost>(
        KernelOptions{.virtual_interfaces = config.virtual_interfaces, .drivers = config.drivers});
}

int Main(int argc, char** argv) {
    if (IsNetworkHalf(argc, argv)) return RunNetworkHalf(argv);
    std::string file = kConfigFile;
    std::string new_certificate;
    bool checks = false;
    bool prints = false;
    CLI::App app("The management agent of a Linux host.", "korvane_zmagent");
    app.set_version_flag("--version", "korvane_zmagent " ZWMGMT_VERSION);
    app.add_option("--config", file, "Configuration")->capture_default_str();
    auto* check = app.add_flag("--check-config", checks, "Say what is wrong with it, and end");
    auto* print = app.add_flag("--print-config", prints,
                               "Print all settings with their defaults, as a configuration");
    auto* make = app.add_option("--make-certificate", new_certificate,
                                "Make this file, with a new key and a certificate of its own");
    check->excludes(print)->excludes(make);
    print->excludes(make);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& stop) {
        return app.exit(stop) == 0 ? 0 : kUsage;
    }
    std::string error;
    if (prints) return std::fputs(PrintedConfig({}).c_str(), stdout) < 0 ? 1 : 0;
    if (!new_certificate.empty()) {
        char host[256] = "";
        gethostname(host, sizeof(host) - 1);
        const bool is_made = zwmgmt::agent::MakeCertificateFile(new_certificate, host, &error);
        return is_made ? 0 : Fail(error, 1);
    }
    if (checks) {
        Config config;
        return ReadConfig(file, &config, &error) ? 0 : Fail(error, kUsage);
    }
    return Supervisor(file, KernelOf).Run();
}

}  // namespace
}  // namespace zmagent

int main(int argc, char** argv) {
    try {
        return zmagent::Main(argc, argv);
    } catch (const std::exception& failure) {  // no memory, or no thread
        return zmagent::Fail(failure.what(), 1);
    }
}
