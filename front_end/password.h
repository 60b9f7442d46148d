/// Where the password comes from: a file, standard input, or the person at the terminal; never the
/// command line.
#pragma once

#include <string>

namespace zwcli {

/// A text that is wiped when it goes.
class Secret {
  public:
    Secret() = default;
    explicit Secret(std::string value) : text(std::move(value)) {}
    Secret(Secret&& other) noexcept { text.swap(other.text); }
    Secret& operator=(Secret&& other) noexcept {
        text.swap(other.text);
        return *this;
    }
    ~Secret();

    const std::string& Text() const { return text; }

  private:
    std::string text;
};

/// Reads the first line of the file ("-": standard input). False, with the reason in *error, when
/// it cannot be read or is empty.
bool ReadPasswordFile(const std::string& file, Secret* password, std::string* error);

/// Asks on the terminal. False, with the reason in *error, when there is none or nothing is typed.
bool AskForPassword(const std::string& prompt, Secret* password, std::string* error);

}  // namespace zwcli
