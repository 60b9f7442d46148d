/// The client side of one session with one management agent.
///
/// A program makes one ZwMgmt_interface per managed host, connects it, sends requests and tears it
/// down:
///
///     std::vector<char> result(zwmgmt::kResultBufferSize);
///     ZwMgmt_interface session(zwmgmt::kNoTrustStore);
///     uint32_t status = session.VerifyByAuthority("/etc/myprogram/agents.pem");
///     if (status == zwmgmt::kSuccess)
///         status = session.CLConnectToServer("node7", "operator", 0, result.data());
///     if (status == zwmgmt::kSuccess && session.LoginRequired()) {
///         session.SetPassword(password);
///         status = session.CLAuthenticateUser(result.data());
///     }
///     if (status == zwmgmt::kSuccess) {
///         const char* words[] = {"korvane", "listadapterprops"};
///         zwmgmt::CommandWords command(words, 2);
///         session.Client_ProcessRequest(command.Request(), result.data(), nullptr);
///     }
///     session.CLDisconnectFromServer();
///
/// Every operation is synchronous. A session is one thread's at a time; sessions share nothing but
/// their TLS context, so a program may run one per thread. No operation throws, ends the process or
/// raises a signal; results are the codes of zwmgmt/status.h unless stated otherwise. Texts of the
/// library go to the session's output stream. Pointers are not null unless an operation says that
/// they may be.
#pragma once

#include <cstdint>
#include <cstdio>

#include "zwmgmt/export.h"
#include "zwmgmt/fixed_text.h"
#include "zwmgmt/message.h"
#include "zwmgmt/records/adapter.h"
#include "zwmgmt/records/capabilities.h"
#include "zwmgmt/records/driver.h"
#include "zwmgmt/records/file_transfer.h"
#include "zwmgmt/records/filter.h"
#include "zwmgmt/records/net.h"
#include "zwmgmt/records/port.h"
#include "zwmgmt/records/statistics.h"
#include "zwmgmt/request.h"
#include "zwmgmt/status.h"
#include "zwmgmt/stop.h"
#include "zwmgmt/trace.h"
#include "zwmgmt/trust.h"
#include "zwmgmt/version.h"
#include "zwmgmt/vocabulary.h"

namespace zwmgmt {
struct SessionState;
}

/// One session with one agent: connects, logs in, sends requests, prints replies or hands their
/// records out. Most programs need the operations of connections and requests alone; those from
/// adapters on are what Client_ProcessRequest calls for its commands.
///
/// result_buffer is, wherever it is asked for, room of the caller's for kResultBufferSize bytes,
/// which are overwritten. context goes to the program's function as it is.
class ZWMGMT_API ZwMgmt_interface {
  public:
    // ---- Construction -------------------------------------------------------------------------

    /// Takes its share in the process's TLS context with a trust store: certs/cert.pem beside the
    /// running executable, else agents.pem of the user (~/.config/korvane) or of the machine
    /// (/etc/korvane). When there is none, or it cannot be loaded, that is said on standard output,
    /// and connecting gives kNoTlsSession. Being in the trust store does not make an agent trusted,
    /// nor the reverse: see VerifyByAuthority and VerifyByCaller.
    ZwMgmt_interface();

    /// The same with a PEM file of the program's choice as trust store; kNoTrustStore: with none.
    explicit ZwMgmt_interface(const char* certificate_file);

    /// Copies the whole session state; both objects then speak over the same connection, and just
    /// one of them is to be torn down. The other is not used after that, nor after one of them has
    /// connected again.
    ZwMgmt_interface(const ZwMgmt_interface&) = default;
    ZwMgmt_interface& operator=(const ZwMgmt_interface&) = default;

    /// Wipes the login record and releases nothing else: call CLDisconnectFromServer first.
    virtual ~ZwMgmt_interface();

    // ---- Connection: open, log in, close ------------------------------------------------------

    /// Connects, runs the TLS handshake (at most 15.5 seconds; TLS 1.2 is the least) and the
    /// opening exchange. host: a name, a dotted quad, or an IPv6 address, which may have a zone by
    /// name or number ("fe80::1%eth0") and has to where it is link-local. The addresses of a name
    /// (at most 16) are tried in the system's order, the families in turn, the next one beside
    /// those before when they have not ended after 250 ms, all within 15 seconds; the first that
    /// connects is spoken to. user_name: at most 256 bytes. port: 0 means 35001. result_buffer:
    /// kResultBufferSize bytes of the caller's, overwritten. Returns kSuccess, kNoReadWriteToken,
    /// or what failed. LoginRequired() tells whether a login must follow. A password set earlier is
    /// forgotten, and an earlier connection of this object released. After a failure try again or
    /// tear the session down.
    [[nodiscard]] uint32_t CLConnectToServer(const char* host, const char* user_name, uint16_t port,
                                             char* result_buffer);

    /// Keeps the password (1 to 64 bytes) for the next CLAuthenticateUser; kInvalidValue, with
    /// nothing kept, when it is empty or longer.
    uint32_t SetPassword(const char* password);

    /// Sends the login with the password kept, once: sent or not, the password is wiped from the
    /// session. Returns kSuccess, kLoginRejected, kLoginFailed or what failed on the way;
    /// kInvalidValue, with nothing sent, without a password.
    [[nodiscard]] uint32_t CLAuthenticateUser(char* result_buffer);

    /// Says goodbye to the agent, which is not waited for. Does nothing without a connection, and
    /// says nothing.
    void CLLogOut();

    /// Logs out where needed and releases the connection and the share in the TLS context. The
    /// object cannot connect again.
    void CLDisconnectFromServer();

    // ---- Connection: settings -----------------------------------------------------------------

    /// Where the library's texts go; not owned. Null means standard output, the default.
    void SetOutputStream(FILE* stream);

    /// How long TCP and TLS may take together when the session connects, in milliseconds; 0
    /// restores the default, 15 seconds and 15.5. The opening exchange has the receive timeout.
    void SetConnectTimeout(uint32_t milliseconds);

    /// Once the stop is reached, the session gives up within a tenth of a second what it waits for,
    /// as after a timeout. Looking up a name is not given up. Not owned; it outlives the session,
    /// or its place is taken by another one, or by null: none.
    void SetStop(const zwmgmt::Stop* stop);

    /// Overrides the receive timeouts (120 to 900 seconds by command and agent OS); 0 restores
    /// them.
    void SetReceiveTimeout(uint32_t seconds);

    /// The longest reply data accepted, in bytes; default 64 MiB. A longer one gives kReadError,
    /// and ends the session.
    void SetReplyLimit(uint32_t bytes);

    // ---- Connection: whom to trust ------------------------------------------------------------
    // Settings for the connections to come. Without any of them everybody is talked to, as before.
    // An agent that is refused gets nothing: connecting ends with kAgentNotTrusted, and the reason
    // is in FailureDetail().

    /// Asks that one of the authorities in a PEM file vouch for the agent (null: the system's own;
    /// on Windows there are none): its chain of signatures, its dates, and that it is for the host
    /// name or address that is connected to. Returns kSuccess, or kNoTlsSession with the reason in
    /// FailureDetail() when the file cannot be loaded: then the settings are as before.
    [[nodiscard]] uint32_t VerifyByAuthority(const char* authorities);

    /// Has each agent judged by a function of the program's, after the handshake and before
    /// anything is sent; beside authorities, where both are set. Null: no longer.
    void VerifyByCaller(zwmgmt::PeerJudge* judge, void* context);

    /// Shows this client's certificate to agents that ask for one. PEM files, the certificate with
    /// those that vouch for it; a key that is locked, or that other users can read, is refused.
    /// Returns kSuccess, or kInvalidValue or kNoTlsSession with the reason in FailureDetail().
    [[nodiscard]] uint32_t UseClientCertificate(const char* certificate_file, const char* key_file);

    /// The least version of TLS 1 to speak: 2 (the default) or 3. Returns kSuccess, kInvalidValue
    /// for another, or kNoTlsSession with the reason in FailureDetail(); then it is as before.
    [[nodiscard]] uint32_t SetLeastTlsVersion(uint8_t minor);

    /// What the agent of this connection has shown of itself; false, with *peer as it was, without
    /// a connection.
    bool GetPeer(zwmgmt::Peer* peer) const;

    /// Its certificates as PEM, its own first: as much as fits into capacity bytes, terminated.
    /// Returns the length of the whole, 0 without a connection.
    uint32_t GetPeerChain(char* pem, uint32_t capacity) const;

    // ---- Connection: what goes over it --------------------------------------------------------

    /// Shows every message of the session to a function of the program's; null: no longer.
    void SetTrace(zwmgmt::TraceFunction* function, void* context);

    /// Appends the TLS secrets of connections to come to a file, in the form that packet analysers
    /// read: whoever has it can read along. Returns kSuccess, kInvalidValue without a file name, or
    /// kNoTlsSession with the reason in FailureDetail().
    [[nodiscard]] uint32_t LogTlsKeys(const char* file);

    // ---- Connection: state --------------------------------------------------------------------

    [[nodiscard]] uint8_t OsType() const;          ///< zwmgmt::AgentOs, from the opening reply
    [[nodiscard]] uint32_t AgentWordSize() const;  ///< bytes of a pointer on the agent's side
    [[nodiscard]] bool Connected() const;          ///< holds the read-write token
    [[nodiscard]] bool LoginRequired() const;      ///< the agent waits for a login
    [[nodiscard]] uint32_t LastStatus() const;     ///< last status of session or agent
    /// What is known of the session's last failure beyond its status ("Connection refused"); ""
    /// when nothing is. Of a name that could not be connected to: each address with its reason
    /// ("::1: Connection refused; 127.0.0.1: Connection refused"), as many as have room.
    [[nodiscard]] const char* FailureDetail() const;
    /// The address that is connected to: a dotted quad, or an IPv6 address in its shortest form,
    /// with its zone. The first that was tried where none answered; "" before connecting.
    [[nodiscard]] const char* ServerAddress() const;
    [[nodiscard]] uint16_t Port() const;            ///< TCP port of the agent
    [[nodiscard]] int64_t LastSuccessTime() const;  ///< seconds since 1970-01-01 UTC; 0: never
    [[nodiscard]] const _Message& LastReplyHeader() const;  ///< header of the last reply

    // ---- Compatibility ------------------------------------------------------------------------

    /// Asks the agent for its capabilities record and keeps it in the session. Returns kSuccess,
    /// the agent's own status when it refuses, or what failed.
    [[nodiscard]] uint32_t FetchCapabilities(char* result_buffer);

    /// The record that FetchCapabilities kept; all zero before.
    [[nodiscard]] const Capabilities& AgentCapabilities() const;

    /// Whether an agent of these capabilities can serve the command. Returns 0 to go ahead, or
    /// kIncompatible with the reason in ErrorText(). Prints a warning when the agent's interface
    /// version differs from the client's.
    [[nodiscard]] int Validate_Server_APIVersion_Capabilities(const Capabilities* capabilities,
                                                              uint8_t service, uint16_t command);

    /// The text of the last compatibility refusal, as the system words it; "" when there was none.
    [[nodiscard]] const char* ErrorText() const;

    /// Lowest interface version of an agent that this client works with for a service, in the form
    /// of Capabilities::api_version; 0 for a number that is no service.
    [[nodiscard]] uint8_t MinimumServerVersion(uint8_t service) const;

    /// Fills the service words with the newest capabilities known for the os_code in the record.
    /// Returns 0, or -1 for an unknown OS.
    static int GetLatestServerCapabilities(Capabilities* capabilities);

    /// The same for agents of one OS, whatever the record says.
    static void GetLatestWindowsCapabilities(Capabilities* capabilities);
    static void GetLatestLinuxCapabilities(Capabilities* capabilities);
    static void GetLatestXENCapabilities(Capabilities* capabilities);
    static void GetLatestSolarisCapabilities(Capabilities* capabilities);
    static void GetLatestFBSDCapabilities(Capabilities* capabilities);
    static void GetLatestESXCapabilities(Capabilities* capabilities);
    static void GetLatestMacCapabilities(Capabilities* capabilities);

    // ---- Vocabulary: words to numbers ---------------------------------------------------------
    // Whole words only, in any case (keys of foiscsiini, bypass and bonding: as they stand). An
    // unknown word gives -1; 0 is a valid number.

    /// The number of a service: zwmgmt::Service.
    static int CLGetService(const char* word);
    /// The number of a service's command: zwmgmt::Command, and others.
    static int CLGetCommand(const char* word, uint8_t service);
    /// The number of a command's sub-command.
    static int CLGetSubCommand(const char* word, uint8_t service, uint16_t command);
    /// The number of a service's key.
    static int CLGetKeyNo(const char* word, uint8_t service);

    /// Copies the part of a key=value word before the first "=" into key, without a terminator: the
    /// caller passes a zeroed buffer as long as the word. Returns 0, or 1 without "=".
    static int CLGetKey(const char* word, char* key);

    /// Copies the part after the first "=", terminated, into value (as long as the word). Returns
    /// 0, or 1 when there is no "=" or nothing after it.
    static int CLGetValue(const char* word, char* value);

    /// Sub-command numbers of the first argument word of a net request, for Xen and ESX networking;
    /// kInvalidCommand for "list" under a command that has none, all bits set for an unknown word.
    static uint64_t CLGetXENNETCmnd(const Client_Request_Message* request);
    static uint64_t CLGetESXNETCmnd(const Client_Request_Message* request);

    // ---- Values of arguments ------------------------------------------------------------------
    // Nothing is printed. On failure outputs may be partly written. A null text is no value.

    /// Dotted quads by mode: 1 address, 2 netmask, 3 gateway; failure is the mode (1 for any
    /// other). Octets beyond 255 are judged by their low 8 bits. octets gets 4 bytes in text order,
    /// address the same 4 bytes. A gateway must lie in the subnet of *ip and *mask, where both are
    /// given and not zero. Outputs, ip and mask may be null.
    static int CLstr2ipoctets(const char* text, int32_t* address, uint8_t* octets, uint8_t mode,
                              const uint32_t* ip, const uint32_t* mask);
    static int CLstr2ipoctetsx4(const char* text, uint32_t* address, uint8_t* octets, uint8_t mode,
                                const uint32_t* ip, const uint32_t* mask);

    /// Writes one byte for each part of a dotted text, however many there are and whatever they
    /// hold: validate first.
    static void CLConvertStringToData(uint8_t* bytes, const char* text);

    /// Addresses as text and bytes; family 2 is IPv4, 10 IPv6. false when the text is none or the
    /// capacity too small (bytes: 4 and 16; characters: 16 and 46); any other family gives true and
    /// writes nothing.
    static bool CLInet_Pton(uint8_t family, const char* text, uint8_t* bytes, uint32_t capacity);
    static bool CLInet_Ntop(uint8_t family, const uint8_t* bytes, char* text, uint32_t capacity);

    /// World wide names (16 hexadecimal digits, or 8 pairs separated throughout by ":" or "-") and
    /// LUN identifiers (16 digits) as 8 bytes. 0, or 255.
    static int Extract_WWN(const char* text, uint8_t* bytes);
    static int Extract_LUN_ID(const char* text, uint8_t* bytes);

    /// yes, 1, enable, on, true set the flag to 1; no, 0, disable, off, false to 0; exact words.
    /// Returns 0, or 1 with the flag unchanged.
    static int CLCheckEnableDisable(const char* text, uint8_t* flag);

    static bool CLIsAllAlpahbets(const char* text);  ///< also an empty text
    static bool CLIsAllDigits(const char* text);     ///< also an empty text

    /// 1 when the first character is a control character or beyond ASCII; 0 otherwise.
    static int CLtest_printable_char(const char* text);

    static uint8_t CLhex_char_to_number(char digit);                       ///< 0 to 15, or 255
    static uint8_t CLByteChecksum(const uint8_t* bytes, uint32_t length);  ///< sum, modulo 256
    static void CLStrToLower(const char* source, char* destination);  ///< as long as the source

    /// Type tags of configuration files of kinds 1 and 2. The text of an unknown type is "", the
    /// type of a text without tag -1.
    static const char* ConvertConfigTypeIntToStr(int kind, int type);
    static int ConvertConfigTypeStrToInt(int kind, const char* text);
    /// The type that a configuration file (.txt) says in its "version = " line, or -1.
    static int IsValidConfigFile(int kind, const char* path);

    /// The per-user files of this product by kind: 3 is the credentials file. 0, or -1 when there
    /// is no such kind, the user has no home, or the path is longer than capacity - 1 bytes.
    static int GetZMFileName(int kind, char* path, uint32_t capacity);

    /// Looks a user's password up in the credentials file (pairs of user name and password,
    /// separated by white space), of which the user's first counts. password: 65 bytes, overwritten
    /// when there is a file. Returns 0; -1 without a pair for the user; -2 when its password is
    /// longer than 64 bytes; -3 without a readable file.
    static int CLGetPassword(const char* user_name, char* password);

    // ---- Requests -----------------------------------------------------------------------------

    /// Whether a command is answered by the library itself, without a connection.
    static bool NeedsNoAgent(uint8_t service, uint16_t command);

    /// Sends a request and prints the reply or, in build-list mode, hands its records to *out (null
    /// when there are none; release with CLFreeMem under the request's command number). out may be
    /// null outside build-list mode. result_buffer: kResultBufferSize bytes of the caller's.
    /// Returns 0 when the agent has answered, whatever its status (see LastStatus, or the message
    /// of the next form); 1 when the request was refused before sending and the reason printed;
    /// kInvalidCommand for a command without handler; kNotSupported when the agent does not know
    /// it; or the session's failure. Nothing is sent unless the whole request is valid.
    int Client_ProcessRequest(Client_Request_Message* request, char* result_buffer, void** out);

    /// The same with the caller's message, which holds the reply's header afterwards.
    int Client_ProcessRequest(_Message* message, Client_Request_Message* request,
                              char* result_buffer, void** out);

    /// The same with working space for handlers: scratch_bytes may be null, scratch_text has 1,024
    /// characters.
    int Client_ProcessRequest(_Message* message, char* result_buffer, uint8_t* scratch_bytes,
                              Client_Request_Message* request, char* scratch_text, void** out);

    /// The same by numbers and words ([sub-command] key=value ...). Of the statuses it returns only
    /// 1, 6, 7, 8, 9 and 279; any other comes back as 0 on purpose.
    int Client_ProcessRequest(uint8_t service, uint16_t command, uint8_t qualifier,
                              const char* const* words, int count, char* result_buffer, void** out);

    /// The same with the caller's message, which holds the reply's header afterwards.
    int Client_ProcessRequest(_Message* message, uint8_t service, uint16_t command,
                              uint8_t qualifier, const char* const* words, int count,
                              char* result_buffer, void** out);

    /// One round trip: sends the message and receives the reply into it. The message's data area is
    /// freed in any case, sent or not. With record_size nonzero, a successful reply's data becomes
    /// a list at *out (as CLBuildList makes it); otherwise the data is copied into result_buffer,
    /// as far as it fits, and, where out is given, the whole block handed over (malloc, the caller
    /// frees it). Returns kSuccess whatever status the agent replied with (read it from the
    /// message), or the failure; after a transport failure, and when the agent has sent what nobody
    /// asked for, the session counts as disconnected and every further request gives kNotConnected.
    uint32_t Client_TalkToServer(_Message* message, char* result_buffer, uint32_t record_size,
                                 uint32_t node_size, uint16_t pointer_count,
                                 uint32_t agent_word_size, void** out);

    // ---- Files --------------------------------------------------------------------------------

    /// Announces a file to the agent and pushes it in chunks, showing the progress in one line.
    /// Memory does not grow with the file. Returns 0 when the agent has taken the whole file, or
    /// when it stopped taking data in the middle (LastStatus() is then kWriteError or
    /// kSendTimeout); 1 when the file cannot be sent or the agent refused it (said, or
    /// LastStatus()); 2 without memory. Refused before anything is sent: what is no regular file,
    /// and a file of more than kMostChunks chunks.
    int SendFile(const zwmgmt::FileTransfer& transfer, char* result_buffer);

    // ---- Printing and result lists ------------------------------------------------------------

    /// From now on requests hand lists to the caller instead of printing them.
    void SetBuildListMode();
    /// From now on they print them; so it is at first.
    void ResetBuildListMode();

    /// Everything the library prints goes through here; printf-like, returns printf's count.
    int PrintOutput(const char* format, ...) ZWMGMT_PRINTF_LIKE(2, 3);

    /// Small formatter: %% %c %d %s; any other conversion prints nothing and takes no argument.
    /// Returns 0.
    int CLPrintMsg(const char* format, ...);

    /// Prints the reply of a command; nothing in build-list mode. output: its record list or data
    /// block, which stays the caller's. Returns 0, kNotSupported (said on standard error), or 1 for
    /// a command that has no printer.
    int CLPrint(void* output, int command, _Message* message);

    /// Splits a run of packed records into a list of zeroed nodes (malloc) of node_size bytes, each
    /// with the link at offset record_size. pointer_count: pointer fields of a record, the link
    /// included. layout: the agent's word size. A 0xFF byte or the end of the data ends the run; an
    /// incomplete last record is dropped; no record at all gives one zeroed node. The inner list
    /// heads before the link are null. Returns 0, or 2 (no memory, or sizes that do not fit) with
    /// *head unchanged.
    static int CLBuildList(void** head, const void* source, uint32_t record_size,
                           uint32_t node_size, uint16_t pointer_count, uint32_t layout,
                           uint32_t length);

    /// Frees the nodes of one list whose link is at the given offset. A null list is fine.
    static void CLFreeList(void* head, uint32_t link_offset);

    /// Frees what a request of this command handed out, inner lists included.
    static void CLFreeMem(uint16_t command, void* head);

    // ---- Adapters -----------------------------------------------------------------------------
    // Builders (CL...) fill a message from a request's keys and return 0, or 1 after printing why
    // not; a message's data area is malloc's and the round trip frees it. Printers (Get...Response)
    // print a reply: the text for its status, or its list, of which null is an empty one.

    /// Adapters of the host; no keys. Reply: list of _CardInformation.
    int CLGetKorvaneAdapters(Client_Request_Message* request, _Message* message);
    void GetKorvaneAdaptersResponse(const _CardInformation* cards, _Message* message);

    /// Ports of the adapter at pci=. Reply: list of _PortInformation. What a port is printed with
    /// may depend on the ports before it.
    int CLGetKorvaneAdapterPorts(Client_Request_Message* request, _Message* message);
    void GetKorvaneAdapterPortsResponse(const _PortInformation* ports, _Message* message);

    /// Counters of the adapter at pci=, or of its port port=. Reply: list of VqStat.
    int CLGetKorvaneCardStats(Client_Request_Message* request, _Message* message);
    void GetCardStatsResponse(const VqStat* counters, _Message* message);
    int CLGetKorvanePortStats(Client_Request_Message* request, _Message* message);
    void GetPortStatsResponse(const VqStat* counters, _Message* message);

    /// Sets properties of the adapter at pci=, or of its port port=: the keys that agents of this
    /// OS know ("korvane_zwcli help korvane setcardproperty" lists them). Data:
    /// CardPropertyRequest, PortRequest. Reply: a status. A value that its field cannot hold is
    /// refused.
    int CLSetKorvaneCardProp(Client_Request_Message* request, _Message* message);
    void GetKorvaneCardSetResponse(_Message* message);
    int CLSetKorvanePortProp(Client_Request_Message* request, _Message* message);
    void GetKorvanePortSetResponse(_Message* message);

    // ---- Drivers ------------------------------------------------------------------------------

    /// Drivers of the host; no keys. Reply: list of DriverInfo.
    int CLGetKorvaneDriverDetails(Client_Request_Message* request, _Message* message);
    void GetKorvaneDriverDetailsResponse(const DriverInfo* drivers, _Message* message);

    /// Loads, reloads or unloads the driver drvname=. Data: the name, or for loading on a Xen agent
    /// a DriverLoadRequest with num_vf=. Reply: a status. Builders return 2 without memory; the
    /// last two arguments are not used.
    int CLLoadDriver(Client_Request_Message* request, _Message* message, char* result_buffer,
                     void** out);
    void GetKorvaneLoadDrvResponse(_Message* message);
    int CLReLoadDriver(Client_Request_Message* request, _Message* message, char* result_buffer,
                       void** out);
    void GetKorvaneReLoadDrvResponse(_Message* message);
    int CLUnLoadDriver(Client_Request_Message* request, _Message* message, char* result_buffer,
                       void** out);
    void GetKorvaneUnLoadDrvResponse(_Message* message);

    /// Checks the options of an installation. Returns 0 when they are valid, 1 otherwise, mostly
    /// after printing why not. *type_mask: bits of the driver types asked for; *path_count:
    /// packages given; *generation: 0 for the X3 driver and the iSCSI package, 1 for the X4 driver
    /// and the Zwire package, otherwise what the caller set before; *x3_path_given: 1 when the
    /// types have iscsi or ofed, otherwise as before. A refused key leaves *type_mask as it was;
    /// else what a failed check has found out by then stays in the outputs.
    int CLdoValidationsDrvInstall(const Client_Request_Message* request, int* x3_path_given,
                                  int* path_count, uint32_t* type_mask, int* generation);

    /// Whether agents of this OS refuse these driver types for this driver generation: 1 or 0.
    [[nodiscard]] int CLIsValidOSDrvType(uint32_t type_mask, int generation) const;

    /// Installs packages: checks the options, then pushes each package to the agent (SendFile) in
    /// the order of the keys, up to the first failure, which it prints. The message becomes the
    /// last reply's header.
    int CLInstallKorvaneDrivers(Client_Request_Message* request, _Message* message,
                                char* result_buffer, void** out);

    /// The outcome of the last installation; no keys. Reply: a text of message->data_length bytes.
    int CLGetInstallDrvRes(Client_Request_Message* request, _Message* message);
    void GetInstallDrvResResponse(const void* data, _Message* message);

    // ---- Filter rules -------------------------------------------------------------------------

    /// Names that filter rules address cards by: interfaces of X3 cards, PCI bus locations of X4
    /// and X5 cards; no keys. Reply: one text of message->data_length bytes, a name a line, of
    /// which the first 63 characters are printed.
    int CLListX3Adapters(Client_Request_Message* request, _Message* message);
    void GetListX3Interfaces(const void* data, _Message* message);
    int CLListX4Adapters(Client_Request_Message* request, _Message* message);
    void GetListX4Interfaces(const void* data, _Message* message);

    /// Set one member of a rule from a key and its value. Return 0, or 1 for a key that rules of
    /// the generation do not have and for a value that is not acceptable; the X4 one may then have
    /// said why.
    static uint8_t CLSetFilterArg(int key, const char* value, _Filter* rule);
    uint8_t CLSetFilterX4Arg(int key, const char* value, _FilterX4* rule);

    /// Checks of X4 values, which say what is wrong with the value of `name`; 0, or 1 with the
    /// outputs unchanged. Numbers: decimal, 0x hexadecimal or 0 octal, 32 bits, without sign. A
    /// mask that is not given is all ones; more than `bits` bits are warned of, and taken.
    uint8_t CLFilterCheckProp(const char* name, const char* text, uint32_t* value);
    uint8_t CLFilterCheckPropMask(const char* name, const char* text, uint32_t* value,
                                  uint32_t* mask, int bits);
    /// ADDRESS[/PREFIX]. *family: 0 IPv4, 1 IPv6, -1 either; the address's afterwards. address and
    /// mask: 16 bytes each, of which IPv4 uses the first 4.
    uint8_t CLFilterCheckIPAddress(const char* name, const char* text, int* family,
                                   uint8_t* address, uint8_t* mask);

    /// Rules of X3 adapters (ifname=; data: _Filter) and of X4 and X5 adapters (pci=; data:
    /// _FilterX4). Delete and modify need id=. Replies: a status.
    int CLAddFilter(Client_Request_Message* request, _Message* message);
    int CLAddFilterX4(Client_Request_Message* request, _Message* message);
    void GetAddFilterResponse(_Message* message);
    int CLDeleteFilter(Client_Request_Message* request, _Message* message);
    int CLDeleteFilterX4(Client_Request_Message* request, _Message* message);
    void GetDeleteFilterResponse(_Message* message);
    int CLModifyFilter(Client_Request_Message* request, _Message* message);
    int CLModifyFilterX4(Client_Request_Message* request, _Message* message);
    void GetModifyFilterResponse(_Message* message);

    /// All X3 rules; no keys. Reply: packed _Filter records back to back.
    int CLListFilters(Client_Request_Message* request, _Message* message);
    void GetListFiltersResponse(const void* rules, _Message* message);

    /// The rules of the adapter at pci=, show=all or show=active. Data: FilterListRequest. Reply:
    /// zero-terminated texts back to back.
    int CLListFiltersX4(Client_Request_Message* request, _Message* message);
    void GetListFiltersResponseX4(const void* blocks, _Message* message);

    /// Sets the filter mode comb= of the adapter at pci=. Data: _FilterX4 with these two alone.
    int CLSetCombX4(Client_Request_Message* request, _Message* message);
    void GetSetCombResponse(_Message* message);

    /// Prints the permitted filter modes; needs no connection.
    int CLPrintX4Comb(Client_Request_Message* request, _Message* message);

    /// The filter modes in use; no keys. Reply: a text.
    int CLShowActiveComb(Client_Request_Message* request, _Message* message);
    void ShowActiveResp(const void* text, _Message* message);

    /// Size of the rule table of ifname=: the first word is "get", or "set" with max=; no other
    /// keys. Data: _Filter. Reply to get: a signed 32-bit number.
    int CLGetOrSetMaxFiltersValue(Client_Request_Message* request, _Message* message);
    void GetMaxFiltersResponse(const void* value, _Message* message);

    // ---- Offload policies ---------------------------------------------------------------------

    /// Policies of the interface ifname=: `policy=TEXT` or `policy=@FILE`, of which the first rule
    /// counts (zwmgmt/policy.h compiles it, and says what is wrong); id= is its position, from 1.
    /// Data: _OfldPolicy. Replies: a status.
    int CLAddPolicy(Client_Request_Message* request, _Message* message);
    void GetAddPolicyResponse(_Message* message);
    int CLModifyPolicy(Client_Request_Message* request, _Message* message);
    void GetModifyPolicyResponse(_Message* message);
    int CLDeletePolicy(Client_Request_Message* request, _Message* message);
    void GetDeletePolicyResponse(_Message* message);

    /// All policies; no keys. Reply: _OfldPolicy records back to back, printed as text.
    int CLListPolicies(Client_Request_Message* request, _Message* message);
    void GetListPolicyResponse(const void* policies, _Message* message);

    // ---- Host networking ----------------------------------------------------------------------

    /// Starts a ping or a trace route on the agent's host, which goes on in the background, to ip=
    /// with ipversion= after it, host= or domain=; a lone "getresult" asks for the outcome. The
    /// keys begin at entry 0. Data: PingRequest. CLTraceRoute returns kNotForThisAgent, with
    /// nothing said, where message->os_type is Xen.
    int CLPing(Client_Request_Message* request, _Message* message);
    int CLTraceRoute(Client_Request_Message* request, _Message* message);

    /// Replies to the result questions: a _PingResponse; _NextHopRouter records back to back. One
    /// that tells of a host that was not reached makes LastStatus() kHostNotReached.
    void GetPingResponse(const _PingResponse* result, _Message* message);
    void TraceRouteResponse(const _NextHopRouter* hops, _Message* message);

    /// Sets the MTU mtu= (1 to 655355 bytes) of the interface ifname=, which only Windows agents
    /// insist on; the first word is "set". Data: MtuRequest. Reply: a status.
    int CLSetMTU(Client_Request_Message* request, _Message* message);
    void GetSetMTUResponse(_Message* message);

    // ---- System -------------------------------------------------------------------------------

    /// What the agent can do; no keys. Reply: Capabilities.
    int CLGetCapabilities(Client_Request_Message* request, _Message* message);

    /// Unpacks a capabilities record of `length` bytes into the session; false when it is cut.
    bool GetCapabilitiesResponse(const void* data, uint32_t length);

    /// Prints a reply's capabilities record, a line a service, and keeps it in the session.
    void PrintCapabilitiesResponse(const void* data, _Message* message);

  private:
    friend struct zwmgmt::SessionState;

    // What a session knows and holds, for those parts of the library alone that work on it.
    alignas(8) unsigned char state[3072];
};

/// Judges a dotted quad by mode as CLstr2ipoctets does, but by the whole value of each octet: 255
/// is the highest. 0, or the mode (1 for a mode that is none).
ZWMGMT_API int CLValidateAddress(const char* text, uint8_t mode);
