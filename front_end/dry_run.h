/// What a command would send, field by field and byte by byte, without sending it.
#pragma once

#include <memory>
#include <string>

#include "output/json.h"
#include "zwmgmt/argument_notes.h"

namespace zwcli {

class DryRun {
  public:
    /// Of a request that is not refused, with its arguments as they were written.
    DryRun(std::unique_ptr<const zwmgmt::ArgumentNotes> request_notes, std::string arguments,
           uint16_t request_command)
        : notes(std::move(request_notes)),
          written(std::move(arguments)),
          command(request_command) {}

    /// For people.
    std::string Text() const;
    /// The value of "dry_run".
    void Write(zwmgmt::JsonWriter& json) const;

  private:
    std::unique_ptr<const zwmgmt::ArgumentNotes> notes;
    std::string written;
    uint16_t command;
};

}  // namespace zwcli
