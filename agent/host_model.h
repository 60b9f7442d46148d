/// The seam between the two halves of an agent: the wire half carries requests, a host model
/// answers them.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace zwmgmt::agent {

/// A request's outcome. Data goes out only with status 0.
struct Reply {
    uint32_t status = 0;
    std::vector<uint8_t> data;
    std::string reason = {};  // of a failure, for the agent's own log: it is not sent
};

/// What is said of a file before its content comes.
struct FileAnnouncement {
    std::string name;
    uint64_t size;
    uint32_t flags;
    uint8_t args[3];
    std::string extra;
};

/// Where the content of one file goes. Destroyed without Finish, it was broken off: the client has
/// gone or begun another file, or a status was not 0.
class FileSink {
  public:
    virtual ~FileSink() = default;

    /// The status to answer with. The pieces come in order, each of at most kChunkSize bytes, and
    /// never more of them than were announced.
    virtual uint32_t Take(std::span<const uint8_t> piece) = 0;

    /// The file is whole; the status that its last piece is answered with.
    virtual uint32_t Finish() = 0;
};

/// What becomes of an announced file.
struct FileOpening {
    uint32_t status = 0;             // other than 0: it is refused
    std::unique_ptr<FileSink> sink;  // none: nobody wants the content
};

/// Every function is called from many threads at once.
class HostModel {
  public:
    virtual ~HostModel() = default;

    /// What the opening reply says of the host.
    virtual uint8_t OsType() const = 0;
    virtual uint8_t WordSize() const = 0;

    virtual Reply Answer(uint8_t service, uint16_t opcode, std::span<const uint8_t> data) = 0;

    /// Whether the request needs the read-write token.
    virtual bool Changes(uint8_t /*service*/, uint16_t /*opcode*/) const { return true; }

    /// A file is about to come. The sink is used by one thread, and the model outlives it.
    virtual FileOpening OpenFile(const FileAnnouncement& /*file*/) { return {}; }
};

}  // namespace zwmgmt::agent
