#include "front_end/command_run.h"

#include <chrono>
#include <cstdio>
#include <iterator>
#include <memory>
#include <sstream>

#include "commands/routes.h"
#include "commands/vocabulary.h"
#include "front_end/exit_status.h"
#include "zwmgmt/argument_notes.h"

namespace zwcli {
namespace {

/// The words that ask for the outcome of what runs in the background; empty for other commands.
std::vector<std::string> QuestionFor(const Client_Request_Message& request) {
    const zwmgmt::Route* route = zwmgmt::FindRoute(request.service, request.command);
    std::istringstream text(route != nullptr && route->question != nullptr ? route->question : "");
    return {std::istream_iterator<std::string>(text), {}};
}

zwmgmt::CommandWords CommandOf(const std::vector<std::string>& words) {
    const std::vector<const char*> pointers = PointersTo(words);
    return zwmgmt::CommandWords(pointers.data(), pointers.size());
}

/// What stands behind service and command.
std::string WrittenArguments(const std::vector<std::string>& words) {
    std::string written;
    for (size_t i = 2; i < words.size(); ++i) written += (i > 2 ? " " : "") + words[i];
    return written;
}

/// Whether the request itself only asks for an outcome.
bool IsQuestion(const Client_Request_Message& request) {
    const std::vector<std::string> words = QuestionFor(request);
    if (words.empty()) return false;
    zwmgmt::CommandWords command = CommandOf(words);
    const Client_Request_Message* question = command.Request();
    return question != nullptr && request.command == question->command &&
           request.argument_count == question->argument_count &&
           (request.argument_count == 0 || request.arguments[0].key == question->arguments[0].key);
}

class CommandRun {
  public:
    CommandRun(const Options& run_options, AgentSession& run_session, Teller& run_teller,
               const std::vector<std::string>& command_words,
               Client_Request_Message* command_request)
        : options(run_options),
          session(run_session),
          library(run_session.Library()),
          teller(run_teller),
          answer(run_teller.Current()),
          words(command_words),
          request(command_request) {}

    ExitStatus Execute() {
        // What no agent would get is told without asking one.
        if (const zwmgmt::ArgumentNotes notes(library, request); notes.Refused()) {
            return Refused(notes);
        }
        if (options.agent_os != 0) return Show(options.agent_os);
        ExitStatus done = session.Open();
        if (done == kOk) done = session.CheckCompatibility(*request);
        if (done != kOk) return done;
        if (options.dry_run) return Show(library.OsType());
        return options.wait && RunsInBackground(*request) ? SendAndWait() : Send();
    }

  private:
    /// Says what is sent otherwise than written, or what a refused entry may be.
    void SayNotes(const zwmgmt::ArgumentNotes& notes) {
        for (size_t i = 0; i < notes.Count(); ++i) {
            const bool warning = notes[i].severity == zwmgmt::ArgumentNote::kWarning;
            teller.Note(std::string(warning ? "warning: " : "") + notes[i].text);
        }
    }

    ExitStatus Send() {
        const zwmgmt::ArgumentNotes notes(library, request);
        if (notes.Refused()) return Refused(notes);
        SayNotes(notes);
        return Explain(*request, Ask(request));
    }

    /// Tells what would be sent.
    ExitStatus Show(uint8_t os_type) {
        auto notes = std::make_unique<zwmgmt::ArgumentNotes>(library, request, os_type);
        if (notes->Refused()) return Refused(*notes);
        SayNotes(*notes);
        if (notes->MessageCount() == 0) {
            answer.status = zwmgmt::kNotForThisAgent;
            return teller.Fail(kUnsupported, zwmgmt::StatusText(answer.status));
        }
        answer.dry_run.emplace(std::move(notes), WrittenArguments(words),
                               uint16_t{request->command});
        answer.message = "the request was not sent";
        if (options.format == Format::kText) {
            library.PrintOutput("%s", answer.dry_run->Text().c_str());
        }
        return kOk;
    }

    ExitStatus Refused(const zwmgmt::ArgumentNotes& notes) {
        answer.status = zwmgmt::kRequestRefused;
        if (options.format == Format::kText) {
            library.PrintOutput("%s", notes.RefusalText());
        } else {
            teller.Fail(kUsage, WithoutEnd(notes.RefusalText()));
        }
        SayNotes(notes);
        return kUsage;
    }

    /// Returns what the library returns; the agent's own status is then in last_status.
    uint32_t Ask(Client_Request_Message* asked) {
        if (options.format != Format::kText) {
            answer.result =
                std::make_unique<zwmgmt::ResultParts>(library, asked, session.ResultBuffer());
            last_status = answer.result->status;
            return answer.result->returned;
        }
        const auto returned = static_cast<uint32_t>(
            library.Client_ProcessRequest(asked, session.ResultBuffer(), nullptr));
        last_status = library.LastStatus();
        return returned;
    }

    ExitStatus Explain(const Client_Request_Message& asked, uint32_t result) {
        ExitStatus done = ExitStatusOf(result, last_status);
        // An agent that is busy with another operation has refused to begin this one.
        if (done == kNotFinished && !IsQuestion(asked)) done = kFailed;
        if (done == kNoSession) return session.Lost(result);
        if (result == zwmgmt::kNotForThisAgent) teller.Say(zwmgmt::StatusText(result));
        if (result == zwmgmt::kRequestRefused && library.FailureDetail()[0] != '\0') {
            teller.Note(library.FailureDetail());
        }
        if (result == zwmgmt::kSuccess && done != kOk) {
            teller.Say("the agent answered: " + StatusWords(last_status));
        }
        return done;
    }

    ExitStatus SendAndWait() {
        const ExitStatus started = IsQuestion(*request) ? kOk : Send();
        if (started != kOk) return started;
        zwmgmt::CommandWords question = CommandOf(QuestionFor(*request));
        if (question.Request() == nullptr) return teller.Fail(kFailed, question.Error());
        std::fflush(stdout);
        for (std::chrono::milliseconds pause(100); !HasOutcome(question.Request());) {
            if (!session.Pause(&pause)) return session.GivenUp();
        }
        return Explain(*question.Request(), last_result);
    }

    /// Asks once; only an outcome is printed.
    bool HasOutcome(Client_Request_Message* question) {
        if (options.format != Format::kText) {
            last_result = Ask(question);
            return ExitStatusOf(last_result, last_status) != kNotFinished;
        }
        _Message message = {};
        void* reply = nullptr;
        library.SetBuildListMode();
        last_result = static_cast<uint32_t>(
            library.Client_ProcessRequest(&message, question, session.ResultBuffer(), &reply));
        library.ResetBuildListMode();
        const bool has_outcome = ExitStatusOf(last_result, message.status) != kNotFinished;
        if (has_outcome && last_result == zwmgmt::kSuccess) {
            library.CLPrint(reply, question->command, &message);
        }
        ZwMgmt_interface::CLFreeMem(question->command, reply);
        last_status = library.LastStatus();
        return has_outcome;
    }

    const Options& options;
    AgentSession& session;
    ZwMgmt_interface& library;
    Teller& teller;
    Answer& answer;
    const std::vector<std::string>& words;
    Client_Request_Message* const request;
    uint32_t last_result = zwmgmt::kSuccess;  // of a question for an outcome
    uint32_t last_status = zwmgmt::kSuccess;  // of the last answer
};

}  // namespace

bool RunsInBackground(const Client_Request_Message& request) {
    return !QuestionFor(request).empty();
}

std::string BackgroundCommands(const std::string& conjunction) {
    std::vector<std::string> names;
    for (const zwmgmt::Route& route : zwmgmt::Routes()) {
        const std::string name = std::string(zwmgmt::ServiceWord(route.service)) + " " +
                                 zwmgmt::CommandWord(route.service, route.command);
        if (route.question != nullptr && name != route.question) names.push_back(name);
    }
    std::string text = names[0];
    for (size_t i = 1; i < names.size(); ++i) {
        text += (i + 1 < names.size() ? ", " : " " + conjunction + " ") + names[i];
    }
    return text;
}

ExitStatus RunCommand(const Options& options, AgentSession& session, Teller& teller,
                      const std::vector<std::string>& words, Client_Request_Message* request) {
    return CommandRun(options, session, teller, words, request).Execute();
}

}  // namespace zwcli
