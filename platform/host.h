/// What the local machine knows: who runs this process, and from where.
#pragma once

#include <cstddef>

namespace zwmgmt::platform {

/// Writes the name of the user running this process, cut to capacity - 1 bytes and terminated;
/// false when the machine does not know the user.
bool CurrentUserName(char* name, size_t capacity);

/// Writes the path of one of the user's own files of this product ("credentials"), terminated: on
/// POSIX below $HOME where that is set, else below the home in the user database; false when there
/// is none or it is longer.
bool UserFilePath(const char* name, char* path, size_t capacity);

/// The same of what programs keep by themselves ("zwcli_history"): on POSIX below $XDG_STATE_HOME,
/// where that is set, or .local/state; on Windows it is the local machine's.
bool UserStatePath(const char* name, char* path, size_t capacity);

/// Writes the path of a file of this product that all users of the machine share ("agents.pem"),
/// terminated; false when it is longer, and on Windows, where everybody may put files into the
/// folder for such ones.
bool SystemFilePath(const char* name, char* path, size_t capacity);

/// Writes the path of "certs/cert.pem" beside the running executable (the program, not the
/// library), with the platform's separator, terminated; false when it cannot be told or is longer.
bool CertificatePath(char* path, size_t capacity);

}  // namespace zwmgmt::platform
