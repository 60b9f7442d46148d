/// What a session that builds a request, without sending it, notes about the request's entries.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

#include "zwmgmt/zwmgmt_interface.h"

namespace zwmgmt {

struct Remarks {
    struct Warning {
        const Client_Request_Argument* entry;  // null: the request as a whole
        std::string text;
    };

    /// A message that would be sent; its data pointer means nothing.
    struct Message {
        _Message header;
        std::vector<uint8_t> data;
    };

    std::vector<Warning> warnings;
    std::vector<Message> messages;
    const Client_Request_Argument* refused = nullptr;
    std::string reason;       // why, where the entry's form does not tell
    bool lacks_keys = false;  // and what was printed names none
    std::string printed;      // what a session that sends would have printed

    /// Null for a session that sends.
    static Remarks* Of(ZwMgmt_interface& session);
    /// From now on the session builds requests as for agents of this OS.
    static void Attach(ZwMgmt_interface& session, uint8_t os_type, Remarks* remarks);

    // What is noted is put into words only where somebody asks: a session that sends allocates
    // nothing here.

    static void Refuse(ZwMgmt_interface& session, const Client_Request_Argument& entry,
                       const char* reason = "") {
        // Who knows most says it first.
        Remarks* remarks = Of(session);
        if (remarks == nullptr || remarks->refused != nullptr) return;
        remarks->refused = &entry;
        remarks->reason = reason;
    }

    static void RefuseForLackOfKeys(ZwMgmt_interface& session) {
        if (Remarks* remarks = Of(session)) remarks->lacks_keys = true;
    }

    static void WarnOfRequest(ZwMgmt_interface& session, const char* text) {
        if (Remarks* remarks = Of(session)) remarks->warnings.push_back({nullptr, text});
    }

    static void Warn(ZwMgmt_interface& session, const Client_Request_Argument& entry,
                     const char* format, ...) ZWMGMT_PRINTF_LIKE(3, 4) {
        Remarks* remarks = Of(session);
        if (remarks == nullptr) return;
        char text[512];
        va_list arguments;
        va_start(arguments, format);
        std::vsnprintf(text, sizeof(text), format, arguments);
        va_end(arguments);
        remarks->warnings.push_back({&entry, text});
    }
};

}  // namespace zwmgmt
