#include "simulator/relay.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sstream>

#include "front_end/trust.h"
#include "session/state.h"
#include "zwmgmt/zwmgmt_interface.h"

namespace zmsim {
namespace {

using zwmgmt::SessionState;

/// More than clients wait for an answer by themselves.
constexpr uint32_t kPatienceSeconds = 1000;

zwcli::Options OptionsFor(const Upstream& upstream) {
    zwcli::Options options;
    options.host = upstream.host;
    options.port = upstream.port;
    options.known_agents = upstream.known_agents;
    return options;
}

void Say(const std::string& text) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        std::fprintf(stderr, "korvane_zmsim: %s\n", line.c_str());
    }
}

/// A client's session with the agent.
class Relay {
  public:
    Relay(const Upstream& upstream, Recorder& session_recorder)
        : options(OptionsFor(upstream)), trust(options), recorder(session_recorder) {}
    ~Relay() { session.CLDisconnectFromServer(); }
    Relay(const Relay&) = delete;
    Relay& operator=(const Relay&) = delete;

    Answer Pass(Kind kind, const agent::Message& request) {
        if (kind == Kind::kOpening && !Connect()) return {};
        const Answer answer = Ask(kind, request);
        if (!answer) Say(Name() + ": the session ended: " + session.FailureDetail());
        if (recorder.Add(number, kind, request, answer)) return answer;
        Say("cannot write the recording");
        return {};
    }

  private:
    std::string Name() const { return options.host + " port " + std::to_string(options.port); }

    bool Connect() {
        const std::string unguarded = trust.Guard(session);
        if (!unguarded.empty()) {
            Say(unguarded);
            return false;
        }
        const uint32_t status =
            own.exchange.Connect(own.tls_context, options.host.c_str(), options.port,
                                 own.peer_check, own.server_address);
        for (const std::string& note : trust.Notes()) Say(note);
        if (status == zwmgmt::kSuccess) {
            own.exchange.SetReceiveTimeout(kPatienceSeconds);
            own.exchange.SetConnected(true);  // so that the agent gets a goodbye
            return true;
        }
        Say(!trust.Refusal().empty()
                ? trust.Refusal()
                : "cannot open a session with " + Name() + ": " + zwmgmt::StatusText(status) +
                      ": " + session.FailureDetail());
        return false;
    }

    Answer Ask(Kind kind, const agent::Message& request) {
        _Message message = request.header;
        message.data = std::malloc(request.data.size() + 1);
        if (message.data == nullptr) return {};
        std::ranges::copy(request.data, static_cast<uint8_t*>(message.data));
        zwmgmt::ReplyData data;
        if (!own.exchange.RoundTrip(&message, result_buffer.data(), &data).Succeeded()) return {};
        Answer answer = {{.header = message}};
        // To openings and logins agents answer without data; what they might tell of them is not
        // kept.
        if (kind != Kind::kRequest) answer->header.data_length = 0;
        if (data) answer->data.assign(data.get(), data.get() + answer->header.data_length);
        return answer;
    }

    const zwcli::Options options;
    zwcli::Trust trust;
    Recorder& recorder;
    ZwMgmt_interface session{zwmgmt::kNoTrustStore};
    SessionState& own = SessionState::Of(session);
    std::vector<char> result_buffer = std::vector<char>(zwmgmt::kResultBufferSize);
    const int number = recorder.NewSession();
};

}  // namespace

agent::ServeClient RelayTo(const Upstream& upstream, Recorder& recorder) {
    return [upstream, &recorder](agent::Wire& wire, agent::Visit&) {
        Relay relay(upstream, recorder);
        Converse(wire, [&](Kind kind, const agent::Message& request) {
            return relay.Pass(kind, request);
        });
    };
}

}  // namespace zmsim
