#include "linux_agent/channel.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

namespace zmagent {
namespace {

bool MakePair(int type, Descriptor* one, Descriptor* other) {
    int pair[2];
    if (socketpair(AF_UNIX, type | SOCK_CLOEXEC, 0, pair) != 0) return false;
    *one = Descriptor(pair[0]);
    *other = Descriptor(pair[1]);
    return true;
}

/// Calls `move` until all bytes are moved.
template <class Bytes, class Move>
bool MoveWhole(Bytes bytes, Move move) {
    while (!bytes.empty()) {
        const ssize_t moved = move(bytes.data(), bytes.size());
        if (moved < 0 && errno == EINTR) continue;
        if (moved <= 0) return false;
        bytes = bytes.subspan(static_cast<size_t>(moved));
    }
    return true;
}

constexpr size_t kPassed = 2;  // descriptors that come with a session

struct OneByte {
    explicit OneByte(uint8_t* byte) : part{byte, 1} {
        message.msg_iov = &part;
        message.msg_iovlen = 1;
    }

    iovec part;
    alignas(cmsghdr) char room[CMSG_SPACE(kPassed * sizeof(int))] = {};
    msghdr message = {};
};

}  // namespace

bool ReadWhole(int channel, std::span<uint8_t> bytes) {
    return MoveWhole(bytes,
                     [channel](uint8_t* to, size_t most) { return recv(channel, to, most, 0); });
}

bool WriteWhole(int channel, std::span<const uint8_t> bytes) {
    return MoveWhole(bytes, [channel](const uint8_t* from, size_t most) {
        return send(channel, from, most, MSG_NOSIGNAL);
    });
}

bool WriteWhole(int channel, std::span<const uint8_t> record, std::span<const uint8_t> data) {
    iovec parts[] = {{const_cast<uint8_t*>(record.data()), record.size()},
                     {const_cast<uint8_t*>(data.data()), data.size()}};
    msghdr message = {};
    message.msg_iov = parts;
    message.msg_iovlen = std::size(parts);
    ssize_t sent;
    do {
        sent = sendmsg(channel, &message, MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    if (sent < 0) return false;
    const auto done = static_cast<size_t>(sent);
    const size_t of_record = std::min(done, record.size());
    return WriteWhole(channel, record.subspan(of_record)) &&
           WriteWhole(channel, data.subspan(done - of_record));
}

bool MakeControl(Descriptor* one, Descriptor* other) {
    return MakePair(SOCK_SEQPACKET, one, other);
}
bool MakeChannel(Descriptor* one, Descriptor* other) { return MakePair(SOCK_STREAM, one, other); }

bool Send(int control, Signal signal) {
    const auto byte = static_cast<uint8_t>(signal);
    return WriteWhole(control, {&byte, 1});
}

bool SendSession(int control, int channel, int client) {
    auto byte = static_cast<uint8_t>(Signal::kSession);
    OneByte notice(&byte);
    const int passed[kPassed] = {channel, client};
    notice.message.msg_control = notice.room;
    notice.message.msg_controllen = sizeof(notice.room);
    cmsghdr* header = CMSG_FIRSTHDR(&notice.message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof(passed));
    std::memcpy(CMSG_DATA(header), passed, sizeof(passed));
    return sendmsg(control, &notice.message, MSG_NOSIGNAL) == 1;
}

std::optional<Notice> Receive(int control) {
    uint8_t byte = 0;
    OneByte room(&byte);
    room.message.msg_control = room.room;
    room.message.msg_controllen = sizeof(room.room);
    ssize_t moved;
    do {
        moved = recvmsg(control, &room.message, MSG_CMSG_CLOEXEC);
    } while (moved < 0 && errno == EINTR);
    int passed[kPassed] = {-1, -1};
    const cmsghdr* header = moved == 1 ? CMSG_FIRSTHDR(&room.message) : nullptr;
    if (header != nullptr && header->cmsg_level == SOL_SOCKET && header->cmsg_type == SCM_RIGHTS) {
        // Whatever has come is the receiver's to close.
        const size_t bytes = header->cmsg_len - CMSG_LEN(0);
        std::memcpy(passed, CMSG_DATA(header), bytes < sizeof(passed) ? bytes : sizeof(passed));
    }
    Notice notice = {static_cast<Signal>(byte), Descriptor(passed[0]), Descriptor(passed[1])};
    if (moved != 1 || (room.message.msg_flags & MSG_TRUNC) != 0) return {};
    return notice;
}

}  // namespace zmagent
