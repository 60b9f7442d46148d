/// Status codes: one integer space for the agent's answers and the library's own outcomes.
#pragma once

#include <cstdint>

#include "zwmgmt/export.h"

namespace zwmgmt {

/// What operations return and agents answer.
enum Status : uint32_t {
    kSuccess = 0,              ///< success
    kListNotBuilt = 1,         ///< the reply's records could not be turned into a list
    kHostNotReached = 1,       ///< the agent: a ping or trace route did not reach its host
    kRequestRefused = 1,       ///< a handler refused its arguments and has said why
    kNotForThisAgent = 3,      ///< agents of this OS do not have the command
    kInvalidCommand = 5,       ///< no such command for the service
    kInvalidValue = 6,         ///< a value is not acceptable
    kReadError = 7,            ///< short read, or no memory or no permission for the reply's data
    kWriteError = 8,           ///< short write
    kNoReadWriteToken = 9,     ///< the agent granted no read-write token
    kIncompatible = 16,        ///< the agent's version or OS does not support the command
    kStillRunning = 55,        ///< the agent: the operation has not finished yet
    kNotStarted = 57,          ///< the agent: there is no operation whose outcome to tell
    kMissingArgument = 61,     ///< connecting without host, user name or result buffer
    kDriverNotLoaded = 67,     ///< the agent: the driver is not loaded
    kNoStatistics = 69,        ///< the agent: no counters for this card or port
    kNoPlumbedPorts = 72,      ///< a Solaris agent: no port of the card is plumbed
    kPrerequisites = 75,       ///< the agent: prerequisites of a package are missing
    kNoPorts = 97,             ///< the agent: no such card or port
    kLoginRejected = 225,      ///< the agent's answer to a wrong user name or password
    kNoPolicies = 243,         ///< the agent: there are no offload policies
    kInvalidFilterId = 259,    ///< the agent: the id exists already, or does not
    kNoFilters = 264,          ///< the agent: there are no filter rules
    kOffloadNotLoaded = 265,   ///< the agent: the offload module is not loaded
    kOffloadLoaded = 266,      ///< the agent: the offload module owns the filter table
    kHostNotResolved = 267,    ///< no address is known of the host name
    kConnectFailed = 268,      ///< the TCP connection could not be made
    kNoTlsSession = 269,       ///< no TLS session object (no context, or no memory)
    kCiphersRefused = 270,     ///< the TLS library accepts none of the ciphers
    kHandshakeFailed = 271,    ///< the TLS handshake failed
    kHandshakeTimeout = 272,   ///< the TLS handshake did not complete in time
    kOutOfMemory = 273,        ///< no memory for a session-control message
    kLoginFailed = 274,        ///< login answered with another status, or no local user name
    kNoSocket = 276,           ///< no socket could be created
    kNotConnected = 279,       ///< a request without a connection to a managed system
    kReceiveTimeout = 283,     ///< the agent sent nothing in time
    kSendTimeout = 284,        ///< the agent took nothing in time
    kUnsupportedDriver = 301,  ///< the agent: no driver of this name
    kUnloadFailed = 302,       ///< the agent: unloading failed
    kDriverLoaded = 304,       ///< the agent: the driver is loaded already
    kDriverMaybeLoaded = 305,  ///< the agent: unloading failed, the driver may not be loaded
    kLoadFailed = 310,         ///< the agent: loading failed
    kOtherArchitecture = 314,  ///< the agent: the package is for another architecture
    kNotNewer = 315,           ///< the agent: the same or a higher version is installed
    kNotSupported = 412,       ///< the agent does not know the command
    kDriverInUse = 413,        ///< the agent: other modules use the driver
    kAgentNotTrusted = 1000,   ///< the agent's key or certificate was refused; nothing was sent
};

/// A short English text for a status, without line end, for messages to people; a number that the
/// library does not know gives "a status of the agent's own". Static storage.
ZWMGMT_API const char* StatusText(uint32_t status);

}  // namespace zwmgmt
