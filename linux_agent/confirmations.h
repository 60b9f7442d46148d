/// Changes of a client's own path that are put back unless he comes again.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <list>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>

#include "linux_agent/host.h"

namespace zmagent {

class Confirmations {
  public:
    using Clock = std::chrono::steady_clock;

    ~Confirmations() { Close(); }

    /// A change has been made; `put_back` is called when the user does not come in time. False when
    /// too many wait, or there is no thread: then nothing will be done.
    bool Expect(const std::string& user, const Ends& ends, std::chrono::seconds limit,
                std::function<void()> put_back);
    /// The user has come, on a connection that began then: his changes from before stay, where they
    /// were made from the same network to the same address. How many there are.
    size_t Confirm(const std::string& user, const Ends& ends, Clock::time_point began);
    /// Puts back what is not confirmed, and waits for no more.
    void Close();

    static constexpr size_t kMost = 64;  // that wait

  private:
    struct Change {
        std::string user;
        Ends ends;
        Clock::time_point made;
        Clock::time_point last;
        std::function<void()> put_back;
    };

    void Watch(const std::stop_token& stop);
    Clock::time_point Next() const;
    std::list<Change> TakeDue(Clock::time_point now);
    static void PutBack(const std::list<Change>& changes);

    std::mutex lock;
    std::condition_variable_any moment;
    std::list<Change> waiting;
    bool closed = false;
    std::jthread watcher;  // begun with the first change
};

}  // namespace zmagent
