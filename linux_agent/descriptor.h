/// File descriptors that close themselves.
#pragma once

#include <unistd.h>

#include <utility>

namespace zmagent {

class Descriptor {
  public:
    Descriptor() = default;
    explicit Descriptor(int descriptor) : number(descriptor) {}
    ~Descriptor() { Close(); }
    Descriptor(Descriptor&& other) noexcept : number(std::exchange(other.number, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number, other.number);
        return *this;
    }

    int Number() const { return number; }
    explicit operator bool() const { return number >= 0; }
    /// It is the caller's now.
    int Release() { return std::exchange(number, -1); }
    void Close() {
        if (number >= 0) close(std::exchange(number, -1));
    }

  private:
    int number = -1;
};

}  // namespace zmagent
