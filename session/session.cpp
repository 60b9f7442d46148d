/// The public class: what it holds inside, and its members that connect, exchange and tell of the
/// agent. What there is to print of them is printed here.
#include <algorithm>
#include <cstring>
#include <new>
#include <string_view>

#include "platform/file.h"
#include "platform/socket.h"
#include "session/state.h"
#include "session/trust_store.h"
#include "zwmgmt/zwmgmt_interface.h"

using namespace zwmgmt;

namespace {

constexpr uint16_t kDefaultPort = 35001;

/// Makes or shares the TLS context; says why there is none. trust_store: null for none.
SSL_CTX* ContextOf(ZwMgmt_interface& session, const char* trust_store) {
    char reason[200] = "";
    SSL_CTX* context = tls::ShareContext(trust_store, reason, sizeof(reason));
    if (context != nullptr) return context;
    FailureDetail& detail = SessionState::Of(session).exchange.detail;
    if (trust_store == nullptr) {
        detail.Set("cannot set up TLS: %s", reason);
    } else {
        detail.Set("cannot load %s: %s", trust_store, reason);
        session.PrintOutput("Error: cannot load certificate file!\n");
    }
    return nullptr;
}

SSL_CTX* DefaultContext(ZwMgmt_interface& session) {
    char path[4096];
    if (DefaultTrustStore(path, sizeof(path))) return ContextOf(session, path);
    SessionState::Of(session).exchange.detail.Set("this program's own path is not known");
    session.PrintOutput("Cannot get path to ssl certificates\n");
    return nullptr;
}

/// Replaces the share in a context by one in another; where there is none, it could not do `what`.
template <class Change>
uint32_t ChangeContext(SessionState& own, const char* what, const Change& change) {
    char reason[200] = "there is no TLS context";
    SSL_CTX* context = tls::ShareContext(own.tls_context, change, reason, sizeof(reason));
    if (context == nullptr) {
        own.exchange.detail.Set("cannot %s: %s", what, reason);
        return kNoTlsSession;
    }
    tls::ReleaseContext(own.tls_context);
    own.tls_context = context;
    own.exchange.detail = {};
    return kSuccess;
}

uint32_t Refuse(SessionState& own, const char* why) {
    own.exchange.detail.Set("%s", why);
    return kInvalidValue;
}

SessionResult Open(SessionState& own, const char* host, const char* user_name,
                   char* result_buffer) {
    const SessionResult user = own.login.SetUser(user_name);
    if (!user.Succeeded()) return user;
    const uint32_t failure =
        own.exchange.Connect(own.tls_context, host, own.port, own.peer_check, own.server_address);
    if (failure != kSuccess) return {failure};

    _Message introduction;
    const SessionResult opened = own.login.Open(own.exchange, result_buffer, &introduction);
    if (!opened.Succeeded()) return opened;
    own.exchange.SetAgentOs(introduction.os_type);
    own.exchange.SetConnected(introduction.rw_token != 0);
    own.agent_word_size = introduction.word_size;
    own.login_required = introduction.opcode != 0;
    return {own.exchange.Connected() ? kSuccess : kNoReadWriteToken};
}

/// Prints what there is to print, and keeps the status.
uint32_t Settle(ZwMgmt_interface& session, const SessionResult& result) {
    if (result.said[0] != '\0') session.PrintOutput("%s", result.said);
    return SessionState::Of(session).status = result.status;
}

}  // namespace

SessionState& SessionState::Of(ZwMgmt_interface& session) {
    return *std::launder(reinterpret_cast<SessionState*>(session.state));
}
const SessionState& SessionState::Of(const ZwMgmt_interface& session) {
    return *std::launder(reinterpret_cast<const SessionState*>(session.state));
}

ZwMgmt_interface::ZwMgmt_interface() {
    static_assert(sizeof(SessionState) <= sizeof(state));
    auto* own = new (state) SessionState;
    own->tls_context = DefaultContext(*this);
    own->sockets_started = platform::StartSockets();
}

ZwMgmt_interface::ZwMgmt_interface(const char* certificate_file) {
    auto* own = new (state) SessionState;
    own->tls_context = ContextOf(*this, certificate_file);
    own->sockets_started = platform::StartSockets();
}

ZwMgmt_interface::~ZwMgmt_interface() { SessionState::Of(*this).login.Wipe(); }

uint32_t ZwMgmt_interface::CLConnectToServer(const char* host, const char* user_name,
                                             uint16_t agent_port, char* result_buffer) {
    if (host == nullptr || user_name == nullptr || result_buffer == nullptr) {
        return kMissingArgument;
    }
    SessionState& own = SessionState::Of(*this);
    own.exchange.Release();
    own.exchange.SetAgentOs(0);
    // Without a context the detail tells why there is none.
    if (own.tls_context != nullptr) own.exchange.detail = {};
    own.login.Wipe();
    own.login_required = false;
    own.port = agent_port != 0 ? agent_port : kDefaultPort;
    return Settle(*this, Open(own, host, user_name, result_buffer));
}

uint32_t ZwMgmt_interface::VerifyByAuthority(const char* authorities) {
    const std::string_view file = authorities != nullptr ? authorities : "";
    char what[400];
    std::snprintf(what, sizeof(what), "load %s",
                  file.empty() ? "the system's authorities" : authorities);
    return ChangeContext(SessionState::Of(*this), what,
                         [=](tls::ContextSettings& settings) { settings.authorities = file; });
}

uint32_t ZwMgmt_interface::UseClientCertificate(const char* certificate_file,
                                                const char* key_file) {
    SessionState& own = SessionState::Of(*this);
    if (certificate_file == nullptr || key_file == nullptr) {
        return Refuse(own, "a client's certificate and its key are two files");
    }
    if (platform::ReadableByOthers(key_file)) {
        own.exchange.detail.Set("other users can read the key %s", key_file);
        return kInvalidValue;
    }
    char what[400];
    std::snprintf(what, sizeof(what), "load %s with the key %s", certificate_file, key_file);
    return ChangeContext(own, what, [=](tls::ContextSettings& settings) {
        settings.certificate = certificate_file;
        settings.key = key_file;
    });
}

uint32_t ZwMgmt_interface::SetLeastTlsVersion(uint8_t minor) {
    SessionState& own = SessionState::Of(*this);
    if (minor != 2 && minor != 3) return Refuse(own, "TLS has the versions 1.2 and 1.3");
    const int version = minor == 2 ? TLS1_2_VERSION : TLS1_3_VERSION;
    return ChangeContext(own, "use this version of TLS",
                         [=](tls::ContextSettings& settings) { settings.least_version = version; });
}

void ZwMgmt_interface::VerifyByCaller(PeerJudge* judge, void* context) {
    SessionState::Of(*this).peer_check = {judge, context};
}

uint32_t ZwMgmt_interface::LogTlsKeys(const char* file) {
    SessionState& own = SessionState::Of(*this);
    if (file == nullptr || file[0] == '\0') return Refuse(own, "there is no file to write to");
    char what[400];
    std::snprintf(what, sizeof(what), "write %s", file);
    return ChangeContext(own, what,
                         [=](tls::ContextSettings& settings) { settings.key_log = file; });
}

void ZwMgmt_interface::SetTrace(TraceFunction* function, void* context) {
    SessionState::Of(*this).exchange.tracer = {function, context};
}

bool ZwMgmt_interface::GetPeer(Peer* peer) const {
    SSL* session = SessionState::Of(*this).exchange.Tls();
    if (session == nullptr) return false;
    *peer = PeerOf(session);
    return true;
}

uint32_t ZwMgmt_interface::GetPeerChain(char* pem, uint32_t capacity) const {
    SSL* session = SessionState::Of(*this).exchange.Tls();
    if (session != nullptr) return WritePeerChain(session, pem, capacity);
    if (capacity > 0) pem[0] = '\0';
    return 0;
}

uint32_t ZwMgmt_interface::SetPassword(const char* password) {
    return SessionState::Of(*this).login.SetPassword(password);
}

uint32_t ZwMgmt_interface::CLAuthenticateUser(char* result_buffer) {
    if (result_buffer == nullptr) return Settle(*this, {kMissingArgument});
    SessionState& own = SessionState::Of(*this);
    const SessionResult result = own.login.Authenticate(own.exchange, result_buffer);
    if (result.Succeeded()) own.login_required = false;
    return Settle(*this, result);
}

void ZwMgmt_interface::CLLogOut() { SessionState::Of(*this).exchange.LogOut(); }

void ZwMgmt_interface::CLDisconnectFromServer() {
    CLLogOut();
    SessionState& own = SessionState::Of(*this);
    own.login.Wipe();
    own.exchange.Release();
    tls::ReleaseContext(own.tls_context);
    own.tls_context = nullptr;
    if (own.sockets_started) platform::StopSockets();
    own.sockets_started = false;
}

uint32_t ZwMgmt_interface::Client_TalkToServer(_Message* message, char* result_buffer,
                                               uint32_t record_size, uint32_t node_size,
                                               uint16_t pointer_count, uint32_t word_size,
                                               void** out) {
    if (out != nullptr) *out = nullptr;
    if (message == nullptr) return Settle(*this, {kMissingArgument});
    Exchange& exchange = SessionState::Of(*this).exchange;
    message->os_type = exchange.AgentOs();
    message->status = 0;
    if (result_buffer == nullptr || (record_size != 0 && out == nullptr) ||
        (message->data_length != 0 && message->data == nullptr)) {
        DropData(message);
        return Settle(*this, {kMissingArgument});
    }
    ReplyData data;
    const uint32_t failed = Settle(*this, exchange.RoundTrip(message, result_buffer, &data));
    if (failed != kSuccess) return failed;
    SessionState::Of(*this).status = message->status;
    if (!data) return kSuccess;
    if (record_size != 0) {
        const int unbuilt = CLBuildList(out, data.get(), record_size, node_size, pointer_count,
                                        word_size, message->data_length);
        return Settle(*this, {unbuilt ? kListNotBuilt : kSuccess});
    }
    std::memcpy(result_buffer, data.get(), std::min(+message->data_length, kResultBufferSize));
    if (out != nullptr) *out = data.release();
    return kSuccess;
}

void ZwMgmt_interface::SetOutputStream(FILE* stream) {
    SessionState::Of(*this).voice.stream = stream;
}
void ZwMgmt_interface::SetConnectTimeout(uint32_t milliseconds) {
    SessionState::Of(*this).exchange.patience.connecting = platform::Milliseconds(milliseconds);
}
void ZwMgmt_interface::SetStop(const Stop* stop) {
    Exchange& exchange = SessionState::Of(*this).exchange;
    exchange.patience.stop = stop;
    if (SSL* tls_session = exchange.Tls()) tls::SetStop(tls_session, stop);
}
void ZwMgmt_interface::SetReceiveTimeout(uint32_t seconds) {
    SessionState::Of(*this).exchange.SetReceiveTimeout(seconds);
}
void ZwMgmt_interface::SetReplyLimit(uint32_t bytes) {
    SessionState::Of(*this).exchange.SetReplyLimit(bytes);
}
void ZwMgmt_interface::SetBuildListMode() { SessionState::Of(*this).voice.build_list_mode = true; }
void ZwMgmt_interface::ResetBuildListMode() {
    SessionState::Of(*this).voice.build_list_mode = false;
}

uint8_t ZwMgmt_interface::OsType() const { return SessionState::Of(*this).exchange.AgentOs(); }
uint32_t ZwMgmt_interface::AgentWordSize() const { return SessionState::Of(*this).agent_word_size; }
bool ZwMgmt_interface::Connected() const { return SessionState::Of(*this).exchange.Connected(); }
bool ZwMgmt_interface::LoginRequired() const { return SessionState::Of(*this).login_required; }
uint32_t ZwMgmt_interface::LastStatus() const { return SessionState::Of(*this).status; }
const char* ZwMgmt_interface::FailureDetail() const {
    return SessionState::Of(*this).exchange.detail.text;
}
const char* ZwMgmt_interface::ServerAddress() const {
    return SessionState::Of(*this).server_address;
}
uint16_t ZwMgmt_interface::Port() const { return SessionState::Of(*this).port; }
int64_t ZwMgmt_interface::LastSuccessTime() const {
    return SessionState::Of(*this).last_success_time;
}
const _Message& ZwMgmt_interface::LastReplyHeader() const {
    return SessionState::Of(*this).exchange.LastReplyHeader();
}

// ---- Compatibility -----------------------------------------------------------------------------

int ZwMgmt_interface::CLGetCapabilities(Client_Request_Message* /*request*/, _Message* message) {
    message->service = kSystem;
    message->opcode = kGetCapabilities;
    return 0;
}

bool ZwMgmt_interface::GetCapabilitiesResponse(const void* data, uint32_t length) {
    return SessionState::Of(*this).compatibility.Keep(data, length);
}

uint32_t ZwMgmt_interface::FetchCapabilities(char* result_buffer) {
    if (!Connected()) return Settle(*this, {kNotConnected});
    SessionState::Of(*this).exchange.SetCommand(kSystem, kGetCapabilities);
    _Message message = {};
    CLGetCapabilities(nullptr, &message);
    const uint32_t failed =
        Client_TalkToServer(&message, result_buffer, 0, 0, 0, AgentWordSize(), nullptr);
    if (failed != kSuccess) return failed;
    if (message.status != kSuccess) return message.status;
    return GetCapabilitiesResponse(result_buffer, message.data_length) ? kSuccess : kReadError;
}

const Capabilities& ZwMgmt_interface::AgentCapabilities() const {
    return SessionState::Of(*this).compatibility.Agent();
}
const char* ZwMgmt_interface::ErrorText() const {
    return SessionState::Of(*this).compatibility.ErrorText();
}
uint8_t ZwMgmt_interface::MinimumServerVersion(uint8_t service) const {
    return MinimumVersionOf(service);
}

int ZwMgmt_interface::Validate_Server_APIVersion_Capabilities(const Capabilities* capabilities,
                                                              uint8_t service, uint16_t command) {
    const auto verdict =
        SessionState::Of(*this).compatibility.Judge(*capabilities, service, command);
    const uint8_t agent = capabilities->api_version;
    if (verdict.other_version) {
        PrintOutput(
            "Warning: Server API version %d.%d doesn't match with Client API version %d.%d. "
            "Checking for service availability and backward compatibility ...\n",
            agent >> 4, agent & 0xF, kClientApiVersion >> 4, kClientApiVersion & 0xF);
    }
    if (verdict.no_teaming) PrintOutput("nix teaming service\n");
    return verdict.refused ? int{kIncompatible} : 0;
}

int ZwMgmt_interface::GetLatestServerCapabilities(Capabilities* capabilities) {
    return FillNewest(capabilities) ? 0 : -1;
}
void ZwMgmt_interface::GetLatestWindowsCapabilities(Capabilities* capabilities) {
    FillNewest(capabilities, kWindows);
}
void ZwMgmt_interface::GetLatestLinuxCapabilities(Capabilities* capabilities) {
    FillNewest(capabilities, kLinux);
}
void ZwMgmt_interface::GetLatestXENCapabilities(Capabilities* capabilities) {
    FillNewest(capabilities, kXen);
}
void ZwMgmt_interface::GetLatestSolarisCapabilities(Capabilities* capabilities) {
    FillNewest(capabilities, kSolaris);
}
void ZwMgmt_interface::GetLatestFBSDCapabilities(Capabilities* capabilities) {
    FillNewest(capabilities, kFreeBsd);
}
void ZwMgmt_interface::GetLatestESXCapabilities(Capabilities* capabilities) {
    FillNewest(capabilities, kEsx);
}
void ZwMgmt_interface::GetLatestMacCapabilities(Capabilities* capabilities) {
    FillNewest(capabilities, kMac);
}
