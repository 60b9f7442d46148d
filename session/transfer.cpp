/// The two transfer primitives on which every exchange rests, and how long they wait.
#include <cstring>

#include "session/tls.h"
#include "zwmgmt/zwmgmt_interface.h"

namespace {

namespace tls = zwmgmt::tls;

constexpr tls::Milliseconds kSendLimit{15'000};

/// One row of the receive timeouts: the first that matches wins. Zero matches everything.
struct TimeoutRow {
    uint8_t os_type;
    uint8_t service;
    uint16_t command;
    uint32_t seconds;
};

constexpr TimeoutRow kReceiveTimeouts[] = {
    {zwmgmt::kSolaris, 0, 0, 180},
    {zwmgmt::kLinux, zwmgmt::kSystem, zwmgmt::kLoadDriver, 300},
    {zwmgmt::kXen, zwmgmt::kSystem, zwmgmt::kLoadDriver, 300},
    {zwmgmt::kWindows, zwmgmt::kSystem, zwmgmt::kLoadDriver, 300},
    {0, zwmgmt::kFcoe, 0, 300},
    {0, zwmgmt::kKorvane, zwmgmt::kFlashRom, 900},
    {zwmgmt::kWindows, zwmgmt::kKorvane, zwmgmt::kSetCardProperty, 300},
};

constexpr uint32_t kUsualReceiveTimeout = 120;

bool Matches(uint32_t wanted, uint32_t actual) { return wanted == 0 || wanted == actual; }

}  // namespace

uint32_t ZwMgmt_interface::ReceiveTimeoutSeconds() const {
    if (receive_timeout_seconds != 0) return receive_timeout_seconds;
    for (const TimeoutRow& row : kReceiveTimeouts) {
        if (Matches(row.os_type, os_type) && Matches(row.service, current_service) &&
            Matches(row.command, current_command)) {
            return row.seconds;
        }
    }
    return kUsualReceiveTimeout;
}

uint32_t ZwMgmt_interface::CLSendData(const uint8_t* bytes, uint32_t length, bool more_follows) {
    uint32_t sent = 0;
    auto outcome = tls_session != nullptr ? tls::Outcome::kDone : tls::Outcome::kFailed;
    while (sent < length && outcome == tls::Outcome::kDone) {
        const auto moved =
            tls::WriteSome(tls_session, bytes + sent, length - sent, kSendLimit, more_follows);
        sent += static_cast<uint32_t>(moved.bytes);
        outcome = moved.outcome;
    }
    if (outcome == tls::Outcome::kTimeout) {
        PrintOutput("Socket timed out\n");
        status = zwmgmt::kSendTimeout;
    } else if (outcome == tls::Outcome::kWaitFailed) {
        PrintOutput("Socket error on sClient while writing. Cannot proceed\n");
    }
    return sent;
}

uint32_t ZwMgmt_interface::CLGetData(uint8_t* bytes, uint32_t length) {
    const std::chrono::seconds limit(ReceiveTimeoutSeconds());
    uint32_t received = 0;
    auto outcome = tls_session != nullptr ? tls::Outcome::kDone : tls::Outcome::kFailed;
    while (received < length && outcome == tls::Outcome::kDone) {
        const auto moved = tls::ReadSome(tls_session, bytes + received, length - received, limit);
        received += static_cast<uint32_t>(moved.bytes);
        outcome = moved.outcome;
    }
    // What has not arrived reads as an end mark.
    std::memset(bytes + received, 0xFF, length - received);
    if (outcome == tls::Outcome::kTimeout) {
        PrintOutput("Socket timed out\n");
        status = zwmgmt::kReceiveTimeout;
    } else if (outcome == tls::Outcome::kWaitFailed) {
        PrintOutput("Socket error on sClient while reading. Cannot proceed.\n");
    }
    return received;
}
