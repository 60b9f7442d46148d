/// Where trust stores lie that nobody has named.
#pragma once

#include <cstddef>

namespace zwmgmt {

/// Writes the path of the trust store that is installed, terminated: agents.pem of the user, or
/// else of the machine. One that is there and cannot be used is not passed over. False where
/// neither is there.
bool InstalledTrustStore(char* path, size_t capacity);

/// The same of the one of a program that is told nothing: certs/cert.pem beside the program, or
/// else the one that is installed. Where there is none, it is the first of them that is missing;
/// false when not even that is known.
bool DefaultTrustStore(char* path, size_t capacity);

}  // namespace zwmgmt
