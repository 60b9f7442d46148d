/// The agent as a whole: the listeners, the privileged half, and the process that talks to the
/// network, which is begun anew when the configuration is read again.
#pragma once

#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "agent/listeners.h"
#include "linux_agent/keeper.h"

namespace zmagent {

using MakeHost = std::function<std::unique_ptr<Host>(const Config& config)>;

class Supervisor {
  public:
    /// config_file is read again on SIGHUP.
    Supervisor(std::string config_file, MakeHost make_host)
        : file(std::move(config_file)), make(std::move(make_host)) {}

    /// Serves until SIGTERM or SIGINT; what goes wrong is said on standard error.
    int Run();

  private:
    using Clock = std::chrono::steady_clock;

    /// A process that talks to the network.
    struct NetworkHalf {
        int process = -1;
        Descriptor control;
        std::shared_ptr<const Service> service;
        bool leaving = false;
    };

    std::shared_ptr<const Service> Load(std::string* error) const;
    bool Listen(std::string* error);
    bool StartHalf(std::string* error);
    static bool IsReady(const NetworkHalf& half);  // waits for it
    void Reload();
    void Hear(NetworkHalf& half);
    void Replace(NetworkHalf& half);
    void Dismiss(NetworkHalf& half);
    void Bury(const NetworkHalf& half, int status);
    void AskWhetherAlive();
    void ForgetEnded();
    bool Serves() const;
    void TakeSignals(int signals);
    void WaitAndHear(int signals, Clock::time_point moment);
    void Loop(int signals);

    const std::string file;
    const MakeHost make;
    std::shared_ptr<const Service> service;
    zwmgmt::agent::Listeners listeners;
    std::vector<int> listening;
    Audit audit;
    Keeper keeper{audit};
    std::list<NetworkHalf> halves;  // without them the keeper's sessions end
    bool stopping = false;
    bool failed = false;
};

/// Serves the network for a supervisor, whose words for it these are.
bool IsNetworkHalf(int argc, const char* const* argv);
int RunNetworkHalf(const char* const* argv);

}  // namespace zmagent
