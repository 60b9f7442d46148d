/// What the two halves of the agent say to each other. The half that talks to the network opens a
/// channel for each client and hands it over with the client's socket; on it, it asks one question
/// after the other.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "linux_agent/descriptor.h"

namespace zmagent {

/// Fills or writes the whole; false when the other side has gone.
bool ReadWhole(int channel, std::span<uint8_t> bytes);
bool WriteWhole(int channel, std::span<const uint8_t> bytes);
/// A record and what follows it, at once: the other side wakes up once.
bool WriteWhole(int channel, std::span<const uint8_t> record, std::span<const uint8_t> data);

// On a client's channel.

enum class Asked : uint8_t {
    kLogin = 1,         // a LoginRecord
    kRequest = 2,       // what a client asked for
    kCertificates = 3,  // a login: the chain that the client has shown (DER, its own first)
    // A package, which is answered with statuses; another kFile begins another one.
    kFile = 4,       // a FileRecord: it is about to come
    kPiece = 5,      // what comes next, of at most kChunkSize bytes
    kWhole = 6,      // that was the last piece
    kBrokenOff = 7,  // there are no more
};

/// What a client says of a package; texts are padded with NUL.
struct FileRecord {
    uint64_t size;
    uint32_t flags;
    uint8_t args[3];
    uint8_t reserved;
    char name[256];
    char extra[32];
};
static_assert(sizeof(FileRecord) == 304 && offsetof(FileRecord, name) == 16);

struct Question {
    Asked asked;
    uint8_t service;
    uint16_t opcode;
    uint32_t length;  // of what follows
};

struct Answer {
    uint32_t status;
    uint32_t length;  // of what follows
};

inline constexpr uint32_t kLongestChain = 1u << 16;
inline constexpr uint32_t kLongestQuestion = 1u << 20;
inline constexpr uint32_t kLongestAnswer = 16u << 20;

// Between the processes.

enum class Signal : uint8_t {
    kReady = 'r',    // the network half serves
    kSession = 's',  // it has a client: the channel and the client's socket come with it
    kAlive = 'a',    // asked for, and answered by the same
    kLeave = 'l',    // to a network half: another one takes the new clients from now on
};

struct Notice {
    Signal signal;
    Descriptor channel = {};
    Descriptor client = {};
};

/// Both ends of a control line; they are not inherited by what is executed.
bool MakeControl(Descriptor* one, Descriptor* other);
bool MakeChannel(Descriptor* one, Descriptor* other);

bool Send(int control, Signal signal);
bool SendSession(int control, int channel, int client);
/// Nothing when the other side has gone, or said what is no notice. What comes with a session may
/// be missing, where this process has no room for more descriptors.
std::optional<Notice> Receive(int control);

}  // namespace zmagent
