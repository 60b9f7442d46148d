#include "zwmgmt/status.h"

namespace zwmgmt {
namespace {

struct StatusRow {
    uint32_t status;
    const char* text;
};

constexpr StatusRow kStatusTexts[] = {
    {kSuccess, "success"},
    {kRequestRefused, "the request was refused"},
    {kInvalidCommand, "invalid command for the service"},
    {kInvalidValue, "invalid value"},
    {kReadError, "the connection was lost while reading"},
    {kWriteError, "the connection was lost while writing"},
    {kNoReadWriteToken, "no read-write token available"},
    {kIncompatible, "the agent does not support the command"},
    {kMissingArgument, "host, user name or result buffer missing"},
    {kLoginRejected, "user name or password rejected"},
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
    {kNotSupported, "the agent does not know the command"},
};

}  // namespace

const char* StatusText(uint32_t status) {
    for (const StatusRow& row : kStatusTexts) {
        if (row.status == status) return row.text;
    }
    return "agent status";
}

}  // namespace zwmgmt
