/// Recordings: what an agent answered, a JSON object a line (docs/simulator.md describes them).
/// Neither passwords nor anything else of openings and logins is in them, nor the content of files.
#pragma once

#include <cstdio>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "agent/messages.h"

namespace zmsim {

namespace agent = zwmgmt::agent;

/// What a message is, to a session that has been opened or not.
enum class Kind { kOpening, kLogin, kRequest, kEnd };
Kind KindOf(const agent::Message& message, bool opened);

/// The agent's answer; none: it ended the session instead.
using Answer = std::optional<agent::Message>;

/// Serves one client: whatever it sends but its goodbye is answered by `answer`.
void Converse(agent::Wire& wire, const std::function<Answer(Kind, const agent::Message&)>& answer);

/// "korvane listports", as far as the numbers have words.
std::string CommandOf(Kind kind, const _Message& header);

/// Writes a recording; safe for many threads at once.
class Recorder {
  public:
    Recorder() = default;
    ~Recorder() { Close(); }
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    /// Makes the file, which only its owner can read; false with why in *error, also where there is
    /// one already.
    bool Open(const std::string& path, std::string* error);

    /// A number for the next session.
    int NewSession();
    /// Appends a line; false when it, or one before it, could not be written.
    bool Add(int session, Kind kind, const agent::Message& request, const Answer& answer);
    /// Takes no more; false when something could not be written.
    bool Close();

  private:
    bool Write(const std::string& line);

    std::mutex mutex;
    FILE* file = nullptr;
    bool sound = true;
    int sessions = 0;
};

/// A recording that is answered from; safe for many threads at once.
class Recording {
  public:
    /// Reads the text of a recording. False, with line and reason in *error, when it is none.
    bool Parse(std::string_view text, std::string* error);

    /// What the agent answered to such a request, the first time, the second time and so on; the
    /// last answer is given again. Null for a request that is not in it.
    const Answer* Next(Kind kind, const agent::Message& request);

  private:
    struct Answers {
        std::vector<Answer> answers;
        size_t next = 0;
    };

    void Take(int number, std::string_view line);

    std::mutex mutex;
    std::map<std::string, Answers> requests;
};

}  // namespace zmsim
