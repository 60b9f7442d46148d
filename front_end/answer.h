/// What became of one command at one agent, and printing it for programs.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "api/result_parts.h"
#include "front_end/dry_run.h"
#include "front_end/exit_status.h"
#include "front_end/options.h"
#include "output/json.h"
#include "output/render.h"

namespace zwcli {

struct Answer {
    ExitStatus exit_status = kOk;
    uint8_t agent_os = 0;  // 0: not known
    uint32_t status = 0;
    std::string message;                          // why there is no result
    std::vector<std::string> messages;            // what was said on the way
    std::unique_ptr<zwmgmt::ResultParts> result;  // null: the agent was not asked
    std::optional<DryRun> dry_run;                // instead of it
};

/// What is wrong with the fields that the options choose of this command's records; "" otherwise.
std::string WrongFields(const Options& options, uint16_t command);

/// What is said of the answer where standard output has its data alone.
std::vector<std::string> RemarksOf(const Answer& answer);

/// The answer as a JSON object.
void WriteAnswer(zwmgmt::JsonWriter& json, const Options& options,
                 const Client_Request_Message& request, const Answer& answer);

/// How a table looks on standard output.
zwmgmt::TableStyle StyleOfOutput();

/// Prints the answer in the format of the options, which is not text.
void PrintAnswer(const Options& options, const Client_Request_Message& request,
                 const Answer& answer);

}  // namespace zwcli
