#include "front_end/run.h"

#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include "front_end/help.h"
#include "front_end/say.h"

namespace zwcli {
namespace {

using Voice = Teller::Voice;

/// Whether the session is of no use any more where a command has ended so.
bool IsEndOfSession(ExitStatus status) {
    return status == kNoSession || status == kNotLoggedIn || status == kInterrupted;
}

/// One run against one agent.
class Run {
  public:
    /// Takes each answer as soon as it is there.
    using Finish = std::function<void(Answer answer)>;

    Run(const Options& run_options, Passwords& run_passwords, Voice voice, const zwmgmt::Stop* stop,
        Finish run_finish)
        : options(run_options),
          finish(std::move(run_finish)),
          teller(voice),
          session(run_options, run_passwords, teller, stop) {}

    Outcome Execute(const std::vector<Command>& commands) {
        for (size_t i = 0; i < commands.size(); ++i) {
            if (!Execute(commands[i], commands.size() - i - 1)) break;
        }
        return std::move(outcome);
    }

    ExitStatus Open() {
        Answer answer;
        teller.Begin(&answer, "");
        return session.Open();
    }

    /// Runs a command that others may follow.
    Outcome ExecuteOne(const Command& command) {
        Execute(command, 1);
        return std::exchange(outcome, {});
    }

    AgentSession& Session() { return session; }

  private:
    /// Runs a command behind which so many are left; false where none of them is to follow.
    bool Execute(const Command& command, size_t left) {
        Answer answer = AnswerTo(command);
        teller.Begin(&answer, command.place);
        ExitStatus done = Converse(command);
        const bool is_lost = session.IsLost() || IsEndOfSession(done);
        if (left == 0 || Ends(is_lost, done)) session.LogOut();
        if (const std::string failure = session.NewTraceFailure(); !failure.empty()) {
            teller.Note(failure);
            if (done == kOk) done = kFailed;
        }
        answer.exit_status = done;
        Report(answer);
        const bool goes_on = left != 0 && !Ends(is_lost, done);
        if (command.line != 0) SayHowItEnds(done, left, is_lost, goes_on);
        outcome.exit_status = Worse(outcome.exit_status, done);
        // Of those that are not run it is the session that failed them.
        if (left != 0 && is_lost && session.WasOpened() && !IsEndOfSession(done) &&
            (done == kOk || options.keep_going)) {
            outcome.exit_status = Worse(outcome.exit_status, kNoSession);
        }
        for (std::string& line : teller.Take()) outcome.said.push_back(std::move(line));
        finish(std::move(answer));
        return goes_on;
    }

    bool Ends(bool is_lost, ExitStatus done) const {
        return is_lost || (done != kOk && !options.keep_going);
    }

    ExitStatus Converse(const Command& command) {
        const std::vector<const char*> words = PointersTo(command.words);
        zwmgmt::CommandWords request(words.data(), words.size());
        return RunCommand(options, session, teller, command.words, request.Request());
    }

    void SayHowItEnds(ExitStatus done, size_t left, bool is_lost, bool goes_on) {
        if (done != kOk && !teller.HasSpoken()) {
            teller.Say("the command failed: exit status " + std::to_string(done));
        }
        if (left == 0 || goes_on) return;
        if (is_lost && done == kOk) teller.Say("the session has ended");
        teller.Say("commands behind it that are not run: " + std::to_string(left));
    }

    void Report(Answer& answer) {
        if (options.format == Format::kText) {
            if (session.Talk() != nullptr) KeepText(answer.exit_status);
            return;
        }
        answer.agent_os = options.agent_os != 0 ? options.agent_os : session.Library().OsType();
        if (answer.result) answer.status = answer.result->status;
        for (std::string& line : session.Talk()->Lines()) {
            if (!IsJson(options.format)) teller.Say(line);
            answer.messages.push_back(std::move(line));
        }
        if (IsJson(options.format)) return;
        for (const std::string& remark : RemarksOf(answer)) teller.Say(remark);
    }

    /// What was printed of a host that gave no answer is said of it.
    void KeepText(ExitStatus status) {
        if (!IsEndOfSession(status)) {
            outcome.text += session.Talk()->Text();
            return;
        }
        for (std::string& line : session.Talk()->Lines()) outcome.said.push_back(std::move(line));
    }

    const Options& options;
    const Finish finish;
    Teller teller;
    AgentSession session;
    Outcome outcome;
};

}  // namespace

std::string TakeCommand(const Options& options, Command* command) {
    const std::vector<const char*> words = PointersTo(command->words);
    zwmgmt::CommandWords request(words.data(), words.size());
    if (request.Request() == nullptr) return ComplaintAbout(words);
    command->service = request.Request()->service;
    command->number = request.Request()->command;
    return WrongFields(options, command->number);
}

Answer AnswerTo(const Command& command) {
    Answer answer;
    answer.service = command.service;
    answer.command = command.number;
    answer.line = command.line;
    return answer;
}

ExitStatus RunRemotely(const Options& options, Passwords& passwords,
                       const std::vector<Command>& commands) {
    using Clock = zwmgmt::Stop::Clock;
    const zwmgmt::Stop stop(Clock::now() + std::chrono::milliseconds(options.timeout));
    std::optional<JsonAnswers> answers;
    if (options.batch && IsJson(options.format)) answers.emplace(options.format);
    const auto print = [&](const Answer& answer) {
        if (answers) {
            answers->Add(options, answer);
        } else if (options.format != Format::kText) {
            PrintAnswer(options, answer);
        } else if (options.batch) {
            std::fflush(stdout);
        }
    };
    Run run(options, passwords, Voice::kAloud, options.timeout != 0 ? &stop : nullptr, print);
    const ExitStatus status = run.Execute(commands).exit_status;
    if (answers) answers->End();
    return status;
}

Outcome RunQuietly(const Options& options, Passwords& passwords,
                   const std::vector<Command>& commands, const zwmgmt::Stop& stop) {
    std::vector<Answer> answers;
    const auto keep = [&](Answer answer) { answers.push_back(std::move(answer)); };
    Outcome outcome = Run(options, passwords, Voice::kQuiet, &stop, keep).Execute(commands);
    outcome.answers = std::move(answers);
    return outcome;
}

struct Conversation::Parts {
    Parts(const Options& options, Passwords& passwords, const zwmgmt::Stop& stop, Voice voice)
        : run(options, passwords, voice, &stop, [this, &options, voice](Answer answer) {
              if (voice == Voice::kAloud) {
                  if (options.format != Format::kText) PrintAnswer(options, answer);
                  std::fflush(stdout);
              }
              answers.push_back(std::move(answer));
          }) {}

    std::vector<Answer> answers;
    Run run;
};

Conversation::Conversation(const Options& options, Passwords& passwords, const zwmgmt::Stop& stop,
                           Voice voice)
    : parts(std::make_unique<Parts>(options, passwords, stop, voice)) {}

Conversation::~Conversation() { Session().LogOut(); }

ExitStatus Conversation::Open() { return parts->run.Open(); }

Outcome Conversation::Execute(const Command& command) {
    Outcome outcome = parts->run.ExecuteOne(command);
    outcome.answers = std::exchange(parts->answers, {});
    return outcome;
}

AgentSession& Conversation::Session() { return parts->run.Session(); }

ExitStatus RunLocally(const Options& options, const Command& command) {
    std::vector<char> buffer(zwmgmt::kResultBufferSize);
    ZwMgmt_interface session(zwmgmt::kNoTrustStore);
    const std::vector<const char*> words = PointersTo(command.words);
    zwmgmt::CommandWords request(words.data(), words.size());
    Answer answer = AnswerTo(command);
    if (options.format == Format::kText) {
        const int failed = session.Client_ProcessRequest(request.Request(), buffer.data(), nullptr);
        answer.exit_status = failed == 0 ? kOk : kFailed;
    } else {
        answer.result =
            std::make_unique<zwmgmt::ResultParts>(session, request.Request(), buffer.data());
        answer.exit_status = answer.result->returned == 0 ? kOk : kFailed;
        for (const std::string& remark : RemarksOf(answer)) {
            if (!IsJson(options.format)) Say(remark);
        }
        PrintAnswer(options, answer);
    }
    session.CLDisconnectFromServer();
    return answer.exit_status;
}

}  // namespace zwcli
