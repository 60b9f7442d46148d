/// Talking with the kernel over netlink: a request with attributes, its replies one by one, and why
/// it was refused.
#pragma once

#include <libmnl/libmnl.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zmagent {

/// What became of something that was asked of the kernel.
struct Outcome {
    int error = 0;            // an errno; 0: it is done
    std::string reason = {};  // of a refusal

    bool Done() const { return error == 0; }
};

/// A refusal: the errno's text, and what the kernel says besides.
Outcome Refusal(int error, std::string_view besides = {});

/// The attributes of a message or a nest, by type; those that are not there are 0 or empty. They
/// lie in the reply that is being taken.
class Attributes {
  public:
    Attributes(const nlmsghdr& message, size_t header_size);
    /// Of a nest; null has none.
    explicit Attributes(const nlattr* nest);

    bool Has(uint16_t type) const { return Find(type) != nullptr; }
    /// Of one to eight bytes.
    uint64_t Number(uint16_t type) const;
    uint8_t Number8(uint16_t type) const { return static_cast<uint8_t>(Number(type)); }
    uint32_t Number32(uint16_t type) const { return static_cast<uint32_t>(Number(type)); }
    std::string Text(uint16_t type) const;
    Attributes Nest(uint16_t type) const { return Attributes(Find(type)); }
    /// As much of a structure as the kernel has; the rest is zero.
    template <class Struct>
    Struct Copy(uint16_t type) const {
        Struct result = {};
        CopyTo(type, &result, sizeof(result));
        return result;
    }
    /// The attributes of each nest within, whatever their types.
    template <class Take>
    void ForEachNest(Take take) const {
        int rest = length;
        for (const nlattr* nest = first; mnl_attr_ok(nest, rest); nest = Next(nest, &rest)) {
            take(Attributes(nest));
        }
    }

  private:
    static const nlattr* Next(const nlattr* attribute, int* rest);
    const nlattr* Find(uint16_t type) const;
    void CopyTo(uint16_t type, void* target, size_t size) const;

    const nlattr* first = nullptr;
    int length = 0;  // bytes
};

/// A request as it is put together. What does not fit makes asking it fail.
class Request {
  public:
    /// Flags: beside NLM_F_REQUEST.
    Request(uint16_t type, uint16_t flags, const void* header, size_t header_size);
    Request(const Request&) = delete;
    Request& operator=(const Request&) = delete;

    void Number8(uint16_t type, uint8_t number) { Put(type, &number, sizeof(number)); }
    void Number16(uint16_t type, uint16_t number) { Put(type, &number, sizeof(number)); }
    void Number32(uint16_t type, uint32_t number) { Put(type, &number, sizeof(number)); }
    void Bytes(uint16_t type, std::span<const uint8_t> bytes) {
        Put(type, bytes.data(), bytes.size());
    }
    template <class Struct>
    void Structure(uint16_t type, const Struct& structure) {
        Put(type, &structure, sizeof(structure));
    }
    /// Terminated.
    void Text(uint16_t type, const std::string& text) { Put(type, text.c_str(), text.size() + 1); }
    void Flag(uint16_t type) { Put(type, nullptr, 0); }
    /// What `fill` puts is in a nest.
    void Nest(uint16_t type, const std::function<void()>& fill);

  private:
    friend class Netlink;
    void Put(uint16_t type, const void* data, size_t size);

    alignas(nlmsghdr) std::array<char, 16 * 1024> buffer;
    nlmsghdr* message;
    bool fits = true;
};

/// A socket of one of the kernel's protocols, opened when it is first needed.
class Netlink {
  public:
    using Take = std::function<void(const nlmsghdr&)>;

    explicit Netlink(int netlink_protocol) : protocol(netlink_protocol) {}

    /// Hands each message of the reply to `take`.
    Outcome Ask(
        Request& request, const Take& take = [](const nlmsghdr&) {});

  private:
    struct Close {
        void operator()(mnl_socket* socket) const;
    };

    bool Open();
    /// Whether the reply ends with this message.
    bool IsLast(const nlmsghdr& reply, bool acknowledged, const Take& take, Outcome* outcome);

    const int protocol;
    std::unique_ptr<mnl_socket, Close> socket;
    uint32_t sequence = 0;
    std::vector<char> replies;
};

}  // namespace zmagent
