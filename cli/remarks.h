/// What a session that builds a request, without sending it, notes about the request's entries.
#pragma once

#include <string>
#include <vector>

#include "zwmgmt/zwmgmt_interface.h"

namespace zwmgmt {

struct Remarks {
    struct Warning {
        const Client_Request_Argument* entry;  // null: the request as a whole
        std::string text;
    };

    std::vector<Warning> warnings;
    const Client_Request_Argument* refused = nullptr;

    /// Null for a session that sends.
    static Remarks* Of(ZwMgmt_interface& session) { return session.remarks; }
    static void Attach(ZwMgmt_interface& session, Remarks* remarks) { session.remarks = remarks; }

    static void Refuse(ZwMgmt_interface& session, const Client_Request_Argument& entry) {
        if (session.remarks != nullptr) session.remarks->refused = &entry;
    }

    static void WarnOfRequest(ZwMgmt_interface& session, const char* text) {
        if (session.remarks != nullptr) session.remarks->warnings.push_back({nullptr, text});
    }

    static void Warn(ZwMgmt_interface& session, const Client_Request_Argument& entry,
                     const std::string& text) {
        if (session.remarks != nullptr) session.remarks->warnings.push_back({&entry, text});
    }

    /// Notes that an entry is not sent as it was written.
    static void SentAs(ZwMgmt_interface& session, const Client_Request_Argument& entry,
                       const std::string& sent) {
        Warn(session, entry, " is sent as " + sent);
    }
};

}  // namespace zwmgmt
