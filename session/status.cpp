#include "zwmgmt/status.h"

#include "session/status_texts.h"

namespace zwmgmt {
namespace {

constexpr StatusRow kStatusTexts[] = {
    {kSuccess, "success"},
    {kRequestRefused, "the request was refused, or a host not reached"},
    {kNotForThisAgent, "agents of this OS do not have the command"},
    {kInvalidCommand, "invalid command for the service"},
    {kInvalidValue, "invalid value"},
    {kReadError, "the connection was lost while reading"},
    {kWriteError, "the connection was lost while writing"},
    {kNoReadWriteToken, "no read-write token available"},
    {kIncompatible, "the agent does not support the command"},
    {kStillRunning, "the operation has not finished yet"},
    {kNotStarted, "there is no operation whose outcome to tell"},
    {kMissingArgument, "host, user name or result buffer missing"},
    {kDriverNotLoaded, "the driver is not loaded"},
    {kNoStatistics, "no counters for this card or port"},
    {kNoPlumbedPorts, "no port of the card is plumbed"},
    {kPrerequisites, "prerequisites of the package are missing"},
    {kNoPorts, "no such card or port"},
    {kLoginRejected, "user name or password rejected"},
    {kNoPolicies, "there are no offload policies"},
    {kInvalidFilterId, "no such filter id, or one that exists already"},
    {kNoFilters, "there are no filter rules"},
    {kOffloadNotLoaded, "the offload module is not loaded"},
    {kOffloadLoaded, "the offload module is loaded"},
    {kHostNotResolved, "the host name could not be resolved"},
    {kConnectFailed, "the TCP connection could not be made"},
    {kNoTlsSession, "no TLS session could be created"},
    {kCiphersRefused, "the TLS cipher list was refused"},
    {kHandshakeFailed, "the TLS handshake failed"},
    {kHandshakeTimeout, "the TLS handshake did not complete in time"},
    {kOutOfMemory, "out of memory"},
    {kLoginFailed, "the login failed, or this machine does not know the current user"},
    {kNoSocket, "no socket could be created"},
    {kNotConnected, "no connection to the managed system"},
    {kReceiveTimeout, "the agent sent nothing in time"},
    {kSendTimeout, "the agent took nothing in time"},
    {kUnsupportedDriver, "no driver of this name"},
    {kUnloadFailed, "unloading failed"},
    {kDriverLoaded, "the driver is loaded already"},
    {kDriverMaybeLoaded, "unloading failed; the driver may not be loaded"},
    {kLoadFailed, "loading failed"},
    {kOtherArchitecture, "the package is for another architecture"},
    {kNotNewer, "the same or a higher version is installed"},
    {kNotSupported, "the agent does not know the command"},
    {kDriverInUse, "other modules use the driver"},
    {kAgentNotTrusted, "the agent is not trusted; nothing was sent to it"},
};

}  // namespace

std::span<const StatusRow> StatusTexts() { return kStatusTexts; }

const char* StatusText(uint32_t status) {
    for (const StatusRow& row : kStatusTexts) {
        if (row.status == status) return row.text;
    }
    return "a status of the agent's own";
}

}  // namespace zwmgmt
