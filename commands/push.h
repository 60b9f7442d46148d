/// Files that a session pushes, and what people are told of it.
#pragma once

#include <cstdint>

#include "session/file_push.h"

class ZwMgmt_interface;

namespace zwmgmt {

/// Whether a file can be sent: it is there, regular, readable and not too large. Says why not.
bool CanBeSent(ZwMgmt_interface& session, const char* path);

/// Adds what would announce the file to the remarks of a session that sends nothing.
void NoteAnnouncement(ZwMgmt_interface& session, const FileTransfer& transfer);

/// SendFile, which also tells whether the agent has agreed to the file.
PushOutcome PushFile(ZwMgmt_interface& session, const FileTransfer& transfer, char* result_buffer,
                     bool* announced);

/// Null for a status without a text of its own.
const char* FileRefusalText(uint32_t status);

}  // namespace zwmgmt
