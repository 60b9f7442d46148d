#include "front_end/batch.h"

#include <algorithm>

#include "front_end/agent_session.h"
#include "front_end/own_commands.h"
#include "front_end/shell_words.h"
#include "platform/file.h"
#include "policies/policy_text.h"
#include "zwmgmt/argument_notes.h"

namespace zwcli {
namespace {

constexpr size_t kLargest = 1u << 20;
constexpr size_t kMostLines = 10'000;

std::string RefusalOf(const zwmgmt::ArgumentNotes& notes) {
    std::string refusal = WithoutEnd(notes.RefusalText());
    for (size_t i = 0; i < notes.Count(); ++i) {
        if (notes[i].severity != zwmgmt::ArgumentNote::kRefusal) continue;
        refusal += (refusal.empty() ? "" : ": ") + std::string(notes[i].text);
    }
    return refusal;
}

/// Takes the lines of a batch, and says what is wrong with them.
class Reader {
  public:
    Reader(const Options& run_options, std::string file_name)
        : options(run_options), name(std::move(file_name)) {}
    ~Reader() { session.CLDisconnectFromServer(); }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    void Take(std::string_view text) {
        for (size_t number = 1; !text.empty(); ++number) {
            if (number > kMostLines) {
                return Complain(name + ": more than " + std::to_string(kMostLines) + " lines");
            }
            const size_t end = std::min(text.find('\n'), text.size());
            std::string_view line = text.substr(0, end);
            text.remove_prefix(std::min(end + 1, text.size()));
            if (line.ends_with('\r')) line.remove_suffix(1);
            TakeLine(number, line);
        }
        if (commands.empty() && wrong.empty()) Complain(name + ": there is no command in it");
    }

    std::vector<Command> commands;
    std::string wrong;

  private:
    void Complain(const std::string& what) { wrong += (wrong.empty() ? "" : "\n") + what; }

    void TakeLine(size_t number, std::string_view line) {
        Command command;
        std::string what = SplitWords(line, &command.words);
        if (what.empty() && command.words.empty()) return;
        command.line = number;
        command.place = name + ":" + std::to_string(number);
        if (what.empty()) what = Check(&command);
        if (!what.empty()) return Complain(command.place + ": " + what);
        commands.push_back(std::move(command));
    }

    /// What is wrong with the words, or "".
    std::string Check(Command* command) {
        const auto option = std::ranges::find_if(command->words, IsOption);
        if (option != command->words.end()) {
            return *option + ": options stand on the command line and hold for the whole batch";
        }
        if (FindOwnCommand(command->words[0]) != nullptr) {
            return command->words[0] + " is this program's own command: it is not for a batch";
        }
        if (std::string why = TakeCommand(options, command); !why.empty()) return why;
        if (ZwMgmt_interface::NeedsNoAgent(command->service, command->number)) {
            return "this command needs no agent: it is not for a batch";
        }
        const std::vector<const char*> words = PointersTo(command->words);
        zwmgmt::CommandWords request(words.data(), words.size());
        const zwmgmt::ArgumentNotes notes(session, request.Request());
        return notes.Refused() ? RefusalOf(notes) : "";
    }

    const Options& options;
    const std::string name;
    ZwMgmt_interface session{zwmgmt::kNoTrustStore};  // not connected: agents of every OS count
};

}  // namespace

std::string ReadBatch(const Options& options, std::vector<Command>* commands) {
    const bool is_input = *options.batch == "-";
    Reader reader(options, is_input ? "standard input" : *options.batch);
    std::string text, reason;
    using zwmgmt::policy::Source;
    if (!zwmgmt::policy::ReadText(options.batch->c_str(), Source::kAny, &text, &reason)) {
        return "cannot read " + *options.batch + ": " + reason;
    }
    if (text.size() > kLargest) return *options.batch + ": larger than 1 MiB";
    reader.Take(text);
    *commands = std::move(reader.commands);
    return reader.wrong;
}

}  // namespace zwcli
