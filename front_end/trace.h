/// "--trace FILE": every message of a session as a JSON object a line.
#pragma once

#include <cstdio>
#include <string>

#include "front_end/options.h"
#include "output/json.h"
#include "records/messages.h"
#include "zwmgmt/zwmgmt_interface.h"

namespace zwcli {

/// "2026-11-22T07:15:03.250Z", now.
std::string TimeNow();

/// Outlives the session that it follows.
class Trace {
  public:
    explicit Trace(const Options& run_options) : options(run_options) {}
    ~Trace();
    Trace(const Trace&) = delete;
    Trace& operator=(const Trace&) = delete;

    /// Opens the file that the options name, if any; the reason when that fails.
    std::string Follow(ZwMgmt_interface& session);

    /// Why the file lacks something; "" when it is whole.
    const std::string& Failure() const { return failure; }

  private:
    void Write(const zwmgmt::TracedMessage& message);
    void WriteData(zwmgmt::JsonWriter& json, const zwmgmt::TracedMessage& message) const;
    std::string WriteFailure() const;

    const Options& options;
    FILE* file = nullptr;
    std::string failure;
    const zwmgmt::MessageForm* form = nullptr;  // of the last request: replies tell nothing of it
};

}  // namespace zwcli
