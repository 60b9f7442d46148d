/// What became of one command at one agent, and printing it for programs.
#pragma once

#include <cstdint>
#include <cstdio>
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
    uint8_t service = 0;
    uint16_t command = 0;
    size_t line = 0;           // of a batch; 0: there is none
    std::string time;          // of a watch: when it came; "": there is none
    uint32_t interval_ms = 0;  // that its counters are rates over; 0: they are totals
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

/// How a table looks on standard output.
zwmgmt::TableStyle StyleOfOutput();

/// The table of the answer's records; "" without any.
std::string TableOf(const Options& options, const Answer& answer);

/// Prints the answer in the format of the options, which is not text.
void PrintAnswer(const Options& options, const Answer& answer);

inline bool IsJson(Format format) {
    return format == Format::kJson || format == Format::kJsonLines;
}

/// Prints several answers as one array of JSON, or as an object a line, each as it comes.
class JsonAnswers {
  public:
    explicit JsonAnswers(Format format);

    /// options: of the answer's host.
    void Add(const Options& options, const Answer& answer);
    /// After the last.
    void End();

  private:
    const bool is_array;
    std::string piece;
    zwmgmt::TextSink sink{&piece, stdout};
    zwmgmt::JsonWriter json;
};

}  // namespace zwcli
