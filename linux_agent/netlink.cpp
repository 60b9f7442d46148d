#include "linux_agent/netlink.h"

#include <sys/socket.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <system_error>

namespace zmagent {
namespace {

constexpr size_t kReplySize = 32 * 1024;  // bytes: the most that the kernel sends at once

/// The refusal that a message is; a mere acknowledgement is none.
Outcome OutcomeIn(const nlmsghdr& message) {
    if (mnl_nlmsg_get_payload_len(&message) < sizeof(nlmsgerr)) return Refusal(EBADMSG);
    const auto* error = static_cast<const nlmsgerr*>(mnl_nlmsg_get_payload(&message));
    if (error->error == 0) return {};
    std::string besides;
    if ((message.nlmsg_flags & NLM_F_ACK_TLVS) != 0) {
        const bool capped = (message.nlmsg_flags & NLM_F_CAPPED) != 0;
        const size_t request = capped ? 0 : error->msg.nlmsg_len - sizeof(nlmsghdr);
        if (sizeof(nlmsgerr) + request <= mnl_nlmsg_get_payload_len(&message)) {
            besides = Attributes(message, sizeof(nlmsgerr) + request).Text(NLMSGERR_ATTR_MSG);
        }
    }
    return Refusal(-error->error, besides);
}

}  // namespace

Outcome Refusal(int error, std::string_view besides) {
    std::string reason = std::generic_category().message(error);
    if (!besides.empty()) reason.append(" (").append(besides).append(")");
    return {.error = error, .reason = std::move(reason)};
}

Attributes::Attributes(const nlmsghdr& message, size_t header_size) {
    const size_t offset = MNL_ALIGN(header_size);
    const size_t size = mnl_nlmsg_get_payload_len(&message);
    if (offset >= size) return;
    first = static_cast<const nlattr*>(mnl_nlmsg_get_payload_offset(&message, offset));
    length = static_cast<int>(size - offset);
}

Attributes::Attributes(const nlattr* nest) {
    if (nest == nullptr) return;
    first = static_cast<const nlattr*>(mnl_attr_get_payload(nest));
    length = mnl_attr_get_payload_len(nest);
}

const nlattr* Attributes::Next(const nlattr* attribute, int* rest) {
    *rest -= static_cast<int>(MNL_ALIGN(attribute->nla_len));
    return mnl_attr_next(attribute);
}

const nlattr* Attributes::Find(uint16_t type) const {
    int rest = length;
    for (const nlattr* found = first; mnl_attr_ok(found, rest); found = Next(found, &rest)) {
        if (mnl_attr_get_type(found) == type) return found;
    }
    return nullptr;
}

void Attributes::CopyTo(uint16_t type, void* target, size_t size) const {
    const nlattr* attribute = Find(type);
    if (attribute == nullptr) return;
    const size_t held = mnl_attr_get_payload_len(attribute);
    std::memcpy(target, mnl_attr_get_payload(attribute), std::min(held, size));
}

uint64_t Attributes::Number(uint16_t type) const {
    static_assert(std::endian::native == std::endian::little);
    return Copy<uint64_t>(type);
}

std::string Attributes::Text(uint16_t type) const {
    const nlattr* attribute = Find(type);
    if (attribute == nullptr) return {};
    const auto* text = static_cast<const char*>(mnl_attr_get_payload(attribute));
    return {text, strnlen(text, mnl_attr_get_payload_len(attribute))};
}

Request::Request(uint16_t type, uint16_t flags, const void* header, size_t header_size)
    : message(mnl_nlmsg_put_header(buffer.data())) {
    message->nlmsg_type = type;
    message->nlmsg_flags = static_cast<uint16_t>(NLM_F_REQUEST | flags);
    std::memcpy(mnl_nlmsg_put_extra_header(message, header_size), header, header_size);
}

void Request::Put(uint16_t type, const void* data, size_t size) {
    fits = mnl_attr_put_check(message, buffer.size(), type, size, data) && fits;
}

void Request::Nest(uint16_t type, const std::function<void()>& fill) {
    nlattr* nest = mnl_attr_nest_start_check(message, buffer.size(), type);
    fits = nest != nullptr && fits;
    if (nest == nullptr) return;
    fill();
    mnl_attr_nest_end(message, nest);
}

void Netlink::Close::operator()(mnl_socket* opened) const { mnl_socket_close(opened); }

bool Netlink::Open() {
    if (socket != nullptr) return true;
    socket.reset(mnl_socket_open2(protocol, SOCK_CLOEXEC));
    if (socket == nullptr) return false;
    if (mnl_socket_bind(socket.get(), 0, MNL_SOCKET_AUTOPID) != 0) {
        socket.reset();
        return false;
    }
    // Older kernels do without: their refusals are numbers alone.
    int on = 1;
    mnl_socket_setsockopt(socket.get(), NETLINK_EXT_ACK, &on, sizeof(on));
    mnl_socket_setsockopt(socket.get(), NETLINK_CAP_ACK, &on, sizeof(on));
    replies.resize(kReplySize);
    return true;
}

bool Netlink::IsLast(const nlmsghdr& reply, bool acknowledged, const Take& take, Outcome* outcome) {
    if (reply.nlmsg_seq != sequence) return false;  // of a request that was given up
    if (reply.nlmsg_type == NLMSG_NOOP) return false;
    if (reply.nlmsg_type == NLMSG_DONE) return true;
    if (reply.nlmsg_type == NLMSG_ERROR) {
        *outcome = OutcomeIn(reply);
        return true;
    }
    take(reply);
    return !acknowledged && (reply.nlmsg_flags & NLM_F_MULTI) == 0;
}

Outcome Netlink::Ask(Request& request, const Take& take) {
    if (!request.fits) return Refusal(EMSGSIZE);
    if (!Open()) return Refusal(errno);
    const bool acknowledged = (request.message->nlmsg_flags & NLM_F_ACK) != 0;
    request.message->nlmsg_seq = ++sequence;
    ssize_t received = mnl_socket_sendto(socket.get(), request.message, request.message->nlmsg_len);
    while (received >= 0) {
        received = mnl_socket_recvfrom(socket.get(), replies.data(), replies.size());
        int rest = static_cast<int>(received);
        const auto* reply = reinterpret_cast<const nlmsghdr*>(replies.data());
        for (; mnl_nlmsg_ok(reply, rest); reply = mnl_nlmsg_next(reply, &rest)) {
            Outcome outcome;
            if (IsLast(*reply, acknowledged, take, &outcome)) return outcome;
        }
    }
    const int error = errno;
    socket.reset();  // what is still to come belongs to nothing any more
    return Refusal(error);
}

}  // namespace zmagent
