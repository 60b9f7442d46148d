/// Who an agent is: what it has shown of itself in the TLS handshake.
///
/// A session that is told to (ZwMgmt_interface::VerifyByAuthority, VerifyByCaller) looks at it
/// before it sends anything: an agent that is refused gets neither a name nor a password nor a
/// request, and connecting ends with kAgentNotTrusted.
#pragma once

#include <cstddef>

namespace zwmgmt {

/// In place of a trust store's file: there is none, as the program judges agents in another way.
inline constexpr const char* kNoTrustStore = nullptr;

/// How a fingerprint begins; behind it is the digest in base 64 without padding.
inline constexpr char kFingerprintHead[] = "SHA256:";
/// Characters of a fingerprint.
inline constexpr size_t kFingerprintLength = sizeof(kFingerprintHead) - 1 + 43;

/// Texts are terminated; what would not fit is left out.
struct Peer {
    char fingerprint[64] = "";  ///< of its public key: "SHA256:" and 43 characters, as OpenSSH
                                ///< shows keys; a renewed certificate of the same key keeps it
    char tls_version[16] = "";  ///< "TLSv1.3"
    char subject[256] = "";     ///< of its certificate: "CN=node7.example"
    char issuer[256] = "";      ///< who has signed it
    char names[1024] = "";      ///< host names and addresses that it is for, separated by blanks
    char valid_until[32] = "";  ///< "2027-01-31T12:00:00Z"
};

/// A program's own judge of agents. It sees what the agent has shown, and returns whether to go on.
/// It must not throw, nor use the session.
using PeerJudge = bool(void* context, const Peer& peer);

}  // namespace zwmgmt
