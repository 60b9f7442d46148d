/// Where the password comes from: a file, standard input, the user's stored credentials, or the
/// person at the terminal; never the command line.
#pragma once

#include <atomic>
#include <cstddef>
#include <mutex>
#include <string>

#include "front_end/options.h"
#include "zwmgmt/zwmgmt_interface.h"

namespace zwcli {

/// The one place where the front end holds a password. Wiped when it goes, and before.
class Secret {
  public:
    static constexpr size_t kLongest = 64;

    Secret() = default;
    ~Secret() { Wipe(); }
    Secret(const Secret&) = delete;
    Secret& operator=(const Secret&) = delete;

    void Wipe();
    bool Empty() const { return length == 0; }
    const char* Text() const { return bytes; }  // terminated

    char bytes[kLongest + 1] = {};
    size_t length = 0;  // of the whole password, which may be longer than what fits
};

/// Each fills the password, or returns false with the reason in *error.

/// The first line of the file ("-": standard input).
bool ReadPasswordFile(const std::string& file, Secret* password, std::string* error);

/// That of a name in the credentials file; without one the password stays empty.
bool ReadStoredPassword(const std::string& name, Secret* password, std::string* error);

bool AskForPassword(const std::string& prompt, Secret* password, std::string* error);

/// The user's password for any number of sessions at once: asked for when the first of them needs
/// it.
class Passwords {
  public:
    Passwords(const Options& run_options, bool for_many) : options(run_options), many(for_many) {}

    /// From now on nobody is asked, and nobody warned.
    void BeSilent() { is_silent = has_warned = true; }

    /// Reads the file that the options name, if any; what is wrong with it, or "".
    std::string ReadFile();

    /// Hands the password for a host to its session; why there is none, or "". One that is for one
    /// session alone is wiped.
    std::string Give(ZwMgmt_interface& session, const std::string& host);

    /// Whether a person is being asked, whose terminal nobody else writes to then.
    bool IsAsking() const { return is_asking; }

  private:
    bool ReadStored(const std::string& name, Secret* stored, std::string* error);
    std::string Find();

    const Options& options;
    const bool many;
    std::mutex mutex;
    Secret password;
    std::string refusal;
    bool is_silent = false;
    bool has_warned = false;  // of others who read the credentials
    std::atomic<bool> is_asking = false;
};

}  // namespace zwcli
