/// Set-up and tear-down of a session: TLS context, connection, opening, login, logout.
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/ssl.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "platform/host.h"
#include "platform/socket.h"
#include "session/tls.h"
#include "zwmgmt/zwmgmt_interface.h"

namespace {

namespace platform = zwmgmt::platform;
namespace tls = zwmgmt::tls;

constexpr uint16_t kDefaultPort = 35001;
constexpr char kCipherList[] = "AES256-SHA:DES-CBC3-MD5:DES-CBC-MD5";
constexpr platform::Milliseconds kConnectLimit{15'000};
constexpr platform::Milliseconds kHandshakeLimit{31 * 500};
constexpr platform::Milliseconds kLogoutLimit{250};

/// A message with a heap copy of the login record as data; data is null when there is no memory.
_Message LoginMessage(const LoginRecord& record) {
    _Message message = {};
    message.data = std::malloc(sizeof(record));
    if (message.data != nullptr) {
        message.data_length = sizeof(record);
        std::memcpy(message.data, &record, sizeof(record));
    }
    return message;
}

}  // namespace

ZwMgmt_interface::ZwMgmt_interface() : ZwMgmt_interface(nullptr) {}

ZwMgmt_interface::ZwMgmt_interface(const char* certificate_file) {
    tls_context = CLInitializeContext(certificate_file);
    if (!platform::StartSockets()) return;
    winsock_ready = 1;
    CLGetMinServerVer();
}

ZwMgmt_interface::~ZwMgmt_interface() { OPENSSL_cleanse(&login_record, sizeof(login_record)); }

ssl_ctx_st* ZwMgmt_interface::CLInitializeContext(const char* certificate_file) {
    char beside_executable[4096];
    if (certificate_file == nullptr) {
        if (!platform::CertificatePath(beside_executable, sizeof(beside_executable))) {
            Explain("this program's own path is not known");
            PrintOutput("Cannot get path to ssl certificates\n");
            return nullptr;
        }
        certificate_file = beside_executable;
    }
    ERR_clear_error();
    SSL_CTX* context = SSL_CTX_new(TLS_client_method());
    if (context == nullptr || SSL_CTX_set_min_proto_version(context, TLS1_2_VERSION) != 1 ||
        SSL_CTX_load_verify_locations(context, certificate_file, nullptr) != 1) {
        char reason[200];
        tls::DescribeFailure(reason, sizeof(reason));
        Explain("cannot load %s: %s", certificate_file, reason);
        SSL_CTX_free(context);
        PrintOutput("Error: cannot load certificate file!\n");
        return nullptr;
    }
    // The agent's certificate is not checked; the file is loaded as trust store all the same.
    SSL_CTX_set_verify(context, SSL_VERIFY_NONE, nullptr);
    SSL_CTX_set_read_ahead(context, 1);
    return context;
}

uint32_t ZwMgmt_interface::CLConnectToServer(const char* host, const char* user_name,
                                             uint16_t agent_port, char* result_buffer) {
    if (host == nullptr || user_name == nullptr || result_buffer == nullptr) {
        return zwmgmt::kMissingArgument;
    }
    ReleaseConnection();
    OPENSSL_cleanse(&login_record, sizeof(login_record));
    // Without a context the detail tells why there is none.
    if (tls_context != nullptr) Explain("%s", "");
    os_type = 0;
    login_required = 0;
    port = agent_port != 0 ? agent_port : kDefaultPort;
    status = Open(host, user_name, result_buffer);
    return status;
}

uint32_t ZwMgmt_interface::Open(const char* host, const char* user_name, char* result_buffer) {
    if (std::strlen(user_name) > sizeof(login_record.user_name)) return zwmgmt::kInvalidValue;
    char local_user[sizeof(login_record.local_user)];
    if (!platform::CurrentUserName(local_user, sizeof(local_user))) {
        PrintOutput("ERROR: Cannot get current user name\n");
        return zwmgmt::kLoginFailed;
    }
    const uint32_t failure = ConnectTls(host);
    if (failure != zwmgmt::kSuccess) return failure;

    zwmgmt::SetFixedText(login_record.local_user, local_user);
    zwmgmt::SetFixedText(login_record.user_name, user_name);
    _Message message = LoginMessage(login_record);
    if (message.data == nullptr) {
        PrintOutput("Out of memory\n");
        return zwmgmt::kOutOfMemory;
    }
    const uint32_t exchanged =
        Client_TalkToServer(&message, result_buffer, 0, 0, 0, agent_word_size, nullptr);
    if (exchanged != zwmgmt::kSuccess) return exchanged;
    if (message.status != zwmgmt::kSuccess) return message.status;

    os_type = message.os_type;
    agent_word_size = message.word_size;
    rw_token = message.rw_token != 0;
    connected = rw_token;
    login_required = message.opcode != 0;
    return connected ? zwmgmt::kSuccess : zwmgmt::kNoReadWriteToken;
}

uint32_t ZwMgmt_interface::ConnectTls(const char* host) {
    if (tls_context != nullptr) {
        SSL_CTX_set_mode(tls_context, SSL_MODE_AUTO_RETRY);
    }
    socket = platform::CreateSocket();
    if (socket == platform::kNoSocket) return zwmgmt::kNoSocket;

    platform::Reason reason;
    auto address = platform::ParseIpv4(host);
    if (!address) address = platform::ResolveIpv4(host, &reason);
    if (!address) {
        Explain("%s", reason.text);
        return zwmgmt::kHostNotResolved;
    }
    platform::FormatIpv4(*address, server_address, sizeof(server_address));

    if (!platform::Connect(socket, *address, port, kConnectLimit, &reason)) {
        Explain("%s", reason.text);
        return zwmgmt::kConnectFailed;
    }

    if (tls_context == nullptr) return zwmgmt::kNoTlsSession;
    ERR_clear_error();
    tls_session = SSL_new(tls_context);
    if (tls_session == nullptr) return zwmgmt::kNoTlsSession;
    if (SSL_set_cipher_list(tls_session, kCipherList) != 1) return zwmgmt::kCiphersRefused;
    if (!tls::Attach(tls_session, socket)) return zwmgmt::kHandshakeFailed;
    SSL_set_connect_state(tls_session);
    switch (tls::Handshake(tls_session, kHandshakeLimit)) {
        case tls::Outcome::kDone: return zwmgmt::kSuccess;
        case tls::Outcome::kTimeout: return zwmgmt::kHandshakeTimeout;
        default:
            tls::DescribeFailure(failure_detail, sizeof(failure_detail));
            return zwmgmt::kHandshakeFailed;
    }
}

uint32_t ZwMgmt_interface::SetPassword(const char* password) {
    const std::string_view text = password != nullptr ? password : "";
    if (text.empty() || text.size() > sizeof(login_record.password)) return zwmgmt::kInvalidValue;
    zwmgmt::SetFixedText(login_record.password, text);
    return zwmgmt::kSuccess;
}

uint32_t ZwMgmt_interface::CLAuthenticateUser(char* result_buffer) {
    if (result_buffer == nullptr) return status = zwmgmt::kMissingArgument;
    if (login_record.password[0] == '\0') return status = zwmgmt::kInvalidValue;
    status = zwmgmt::kSuccess;
    const bool can_ask = CanAsk();
    _Message message = can_ask ? LoginMessage(login_record) : _Message{};
    OPENSSL_cleanse(login_record.password, sizeof(login_record.password));
    if (!can_ask) return status = zwmgmt::kNotConnected;
    if (message.data == nullptr) return status = zwmgmt::kOutOfMemory;
    const uint32_t sent = SendMessage(message);
    OPENSSL_cleanse(message.data, message.data_length);
    std::free(message.data);
    if (sent != zwmgmt::kSuccess) return LoseConnection(sent);

    const uint32_t received = ReceiveHeader(result_buffer, &message);
    if (received != zwmgmt::kSuccess) return LoseConnection(zwmgmt::kReadError);
    switch (message.status) {
        case zwmgmt::kSuccess: login_required = 0; return status = zwmgmt::kSuccess;
        case zwmgmt::kLoginRejected: return status = zwmgmt::kLoginRejected;
        default: return status = zwmgmt::kLoginFailed;
    }
}

void ZwMgmt_interface::CLLogOut() {
    if (connected && tls_session != nullptr) {
        // Not worth a word when it cannot be sent, nor waiting for an agent that has other things
        // to settle first.
        _Message message = {};
        message.opcode = zwmgmt::kLogoutOpcode;
        tls::WriteSome(tls_session, &message, header_size, kLogoutLimit);
    }
    connected = 0;
}

void ZwMgmt_interface::CLDisconnectFromServer() {
    CLLogOut();
    OPENSSL_cleanse(&login_record, sizeof(login_record));
    ReleaseConnection();
    SSL_CTX_free(tls_context);
    tls_context = nullptr;
    if (winsock_ready) platform::StopSockets();
    winsock_ready = 0;
}

void ZwMgmt_interface::ReleaseConnection() {
    connected = 0;
    out_of_step = false;
    if (tls_session != nullptr) {
        tls::Shutdown(tls_session);
        SSL_free(tls_session);
        tls_session = nullptr;
    }
    if (socket != platform::kNoSocket) {
        platform::HalfCloseForSending(socket);
        platform::CloseSocket(socket);
        socket = platform::kNoSocket;
    }
}

bool ZwMgmt_interface::CanAsk() {
    return tls_session != nullptr && !out_of_step && !HeardUnasked();
}

bool ZwMgmt_interface::HeardUnasked() {
    // It would be taken for the answer to what is sent next.
    if (tls_session == nullptr || !tls::HasUnreadData(tls_session)) return false;
    Explain("the agent sent data that it was not asked for");
    LoseConnection(zwmgmt::kNotConnected);
    return true;
}

void ZwMgmt_interface::Explain(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(failure_detail, sizeof(failure_detail), format, arguments);
    va_end(arguments);
}

uint32_t ZwMgmt_interface::LoseConnection(uint32_t reason) {
    // What is left of a broken exchange on the wire would be taken for the next reply.
    out_of_step = true;
    connected = 0;
    status = reason;
    return reason;
}

void ZwMgmt_interface::SetOutputStream(FILE* stream) { output_stream = stream; }
void ZwMgmt_interface::SetReceiveTimeout(uint32_t seconds) { receive_timeout_seconds = seconds; }
void ZwMgmt_interface::SetReplyLimit(uint32_t bytes) { reply_limit = bytes; }

uint8_t ZwMgmt_interface::OsType() const { return os_type; }
uint32_t ZwMgmt_interface::AgentWordSize() const { return agent_word_size; }
bool ZwMgmt_interface::Connected() const { return connected != 0; }
bool ZwMgmt_interface::LoginRequired() const { return login_required != 0; }
uint32_t ZwMgmt_interface::LastStatus() const { return status; }
const char* ZwMgmt_interface::FailureDetail() const { return failure_detail; }
const char* ZwMgmt_interface::ServerAddress() const { return server_address; }
uint16_t ZwMgmt_interface::Port() const { return port; }
int64_t ZwMgmt_interface::LastSuccessTime() const { return last_success_time; }
const _Message& ZwMgmt_interface::LastReplyHeader() const { return last_reply_header; }
