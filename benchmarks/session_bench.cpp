/// The session against bare loops over OpenSSL that move the same bytes, and lists and printing
/// against a plain copy and a bare fprintf, policies against libpcap. One process serves both sides
/// of every pair.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <pcap/pcap.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <vector>

#include "agent/server.h"
#include "benchmarks/bare.h"
#include "benchmarks/table_reporter.h"
#include "output/render.h"
#include "zwmgmt/policy.h"
#include "zwmgmt/zwmgmt_interface.h"

namespace {

using namespace zwmgmt;
using benchmark::State;

constexpr uint16_t kReplyOpcode = 1000;  // answers 100 kB
constexpr uint32_t kReplyLength = 100'000;
constexpr uint32_t kRecords = 100'000;
constexpr uint64_t kFileSize = 256u << 20;

struct BenchHost : agent::HostModel {
    uint8_t OsType() const override { return kLinux; }
    uint8_t WordSize() const override { return 8; }
    agent::Reply Answer(uint8_t, uint16_t opcode, std::span<const uint8_t>) override {
        if (opcode != kReplyOpcode) return {};
        return {.status = 0, .data = std::vector<uint8_t>(kReplyLength, 7)};
    }
};

/// The agent that both sides talk to.
uint16_t AgentPort() {
    static BenchHost host;
    static agent::Server agent(host, {});
    static const bool started = [] {
        std::string error;
        return agent.Start(&error);
    }();
    if (!started) Die("the agent");
    return agent.Port();
}

/// A file to push, made once and removed at the end.
class BenchFile {
  public:
    explicit BenchFile(uint64_t size)
        : path(std::filesystem::temp_directory_path() /
               ("zwmgmt-bench-" + std::to_string(getpid()) + "-" + std::to_string(size))) {
        std::ofstream stream(path, std::ios::binary);
        const std::vector<char> block(1 << 16, 'x');
        for (uint64_t left = size; left > 0;) {
            const uint64_t length = std::min<uint64_t>(left, block.size());
            stream.write(block.data(), static_cast<std::streamsize>(length));
            left -= length;
        }
    }
    ~BenchFile() { std::filesystem::remove(path); }
    const char* Path() const { return path.c_str(); }

  private:
    std::string path;
};

const char* FileOfSize(uint64_t size) {
    static std::map<uint64_t, BenchFile> files;
    return files.try_emplace(size, size).first->second.Path();
}

/// A session as a program has it.
struct Ours {
    Ours() : result(kResultBufferSize) {
        session.SetOutputStream(nowhere);
        if (session.CLConnectToServer("127.0.0.1", "bench", AgentPort(), result.data()) != 0) {
            Die("connecting");
        }
    }
    ~Ours() {
        session.CLDisconnectFromServer();
        std::fclose(nowhere);
    }
    uint32_t Exchange(uint16_t opcode, uint32_t length) {
        _Message message = {};
        message.service = kSystem;
        message.opcode = opcode;
        message.data_length = length;
        if (length != 0) message.data = std::calloc(1, length);
        return session.Client_TalkToServer(&message, result.data(), 0, 0, 0, 8, nullptr);
    }

    FILE* nowhere = std::fopen("/dev/null", "w");
    std::vector<char> result;
    ZwMgmt_interface session;
};

std::vector<uint8_t> RequestBytes(uint16_t opcode, uint32_t length) {
    std::vector<uint8_t> bytes(kHeaderSize + length);
    _Message header = {};
    header.service = kSystem;
    header.opcode = opcode;
    header.data_length = length;
    std::memcpy(bytes.data(), &header, kHeaderSize);
    return bytes;
}

void RoundTripOurs(State& state, uint16_t opcode, uint32_t length) {
    Ours ours;
    for (auto _ : state) {
        if (ours.Exchange(opcode, length) != kSuccess) Die("round trip");
    }
}

void RoundTripFloor(State& state, uint16_t opcode, uint32_t length) {
    SSL_CTX* context = Bare::Context();
    {
        Bare bare(context, INADDR_LOOPBACK, AgentPort());
        const auto request = RequestBytes(opcode, length);
        const size_t reply = kHeaderSize + (opcode == kReplyOpcode ? kReplyLength : 0);
        for (auto _ : state) {
            bare.Write(request);
            bare.Read(bare.reply.data(), reply);
        }
    }
    SSL_CTX_free(context);
}

void ConnectOurs(State& state) {
    for (auto _ : state) Ours();
}

/// While another session is there, whose TLS context it shares.
void ConnectBesideOurs(State& state) {
    const Ours other;
    for (auto _ : state) Ours();
}

/// The same steps with nothing around them: context with trust store, handshake, opening, logout.
void ConnectFloor(State& state) {
    const std::string certificate =
        std::filesystem::read_symlink("/proc/self/exe").parent_path() / "certs/cert.pem";
    for (auto _ : state) {
        SSL_CTX* context = Bare::Context();
        SSL_CTX_load_verify_locations(context, certificate.c_str(), nullptr);
        {
            Bare bare(context, INADDR_LOOPBACK, AgentPort());
            std::vector<uint8_t> logout(kHeaderSize);
            reinterpret_cast<_Message*>(logout.data())->opcode = kLogoutOpcode;
            bare.Write(logout);
        }
        SSL_CTX_free(context);
    }
}

void FileOurs(State& state, size_t size) {
    Ours ours;
    const FileTransfer transfer = {.path = FileOfSize(size), .extra = nullptr};
    for (auto _ : state) {
        if (ours.session.SendFile(transfer, ours.result.data()) != 0) Die("file push");
    }
}

void FileFloor(State& state, size_t size) {
    SSL_CTX* context = Bare::Context();
    {
        Bare bare(context, INADDR_LOOPBACK, AgentPort());
        auto message = RequestBytes(kInstall, sizeof(FileTransferRecord));
        auto* record = reinterpret_cast<FileTransferRecord*>(message.data() + kHeaderSize);
        for (auto _ : state) {
            std::memset(record, 0, sizeof(*record));
            record->chunk_count = static_cast<uint16_t>(size / kChunkSize);
            record->file_size = size;
            record->file_name[0] = 'f';
            bare.Write(message);
            bare.Read(bare.reply.data(), kHeaderSize);
            std::memset(record, 0, sizeof(*record));
            record->chunk_length = kChunkSize;
            FILE* file = std::fopen(FileOfSize(size), "rb");
            std::setvbuf(file, nullptr, _IONBF, 0);
            while (std::fread(record->chunk_data, 1, kChunkSize, file) > 0) {
                ++record->chunk_number;
                bare.Write(message);
                bare.Read(bare.reply.data(), kHeaderSize);
            }
            std::fclose(file);
        }
    }
    SSL_CTX_free(context);
}

_CardInformation SomeCard() {
    _CardInformation card = {};
    SetFixedText(card.pci_bus_location, "0000:05:00.4");
    SetFixedText(card.driver_firmware_version, "4.2.1 fw 1.8");
    SetFixedText(card.chip_type, "X4");
    SetFixedText(card.card_name, "eth4");
    card.vendor_id = 0x4b56;
    return card;
}

std::vector<uint8_t> Records(size_t count) {
    const _CardInformation card = SomeCard();
    std::vector<uint8_t> data(count * offsetof(_CardInformation, next));
    for (size_t i = 0; i < count; ++i) {
        std::memcpy(data.data() + i * offsetof(_CardInformation, next), &card,
                    offsetof(_CardInformation, next));
    }
    return data;
}

void* BuildList(const std::vector<uint8_t>& data) {
    void* head = nullptr;
    if (ZwMgmt_interface::CLBuildList(&head, data.data(), 548, 556, 1, 8,
                                      static_cast<uint32_t>(data.size())) != 0) {
        Die("building a list");
    }
    return head;
}

void ListOurs(State& state, size_t count) {
    const auto data = Records(count);
    for (auto _ : state) {
        void* head = BuildList(data);
        benchmark::DoNotOptimize(head);
        ZwMgmt_interface::CLFreeMem(kListAdapterProps, head);
    }
}

/// A plain copy into fresh memory.
void ListFloor(State& state, size_t count) {
    const auto data = Records(count);
    for (auto _ : state) {
        void* copy = std::malloc(data.size());
        std::memcpy(copy, data.data(), data.size());
        benchmark::DoNotOptimize(copy);
        std::free(copy);
    }
}

void PrintOurs(State& state, size_t count) {
    Ours ours;
    void* head = BuildList(Records(count));
    for (auto _ : state) {
        _Message message = {};
        ours.session.CLPrint(head, kListAdapterProps, &message);
    }
    ZwMgmt_interface::CLFreeMem(kListAdapterProps, head);
}

/// As many ports, as text and as JSON.
std::vector<uint8_t> Ports(size_t count) {
    _PortInformation port = {};
    SetFixedText(port.name, "eth2");
    SetFixedText(port.media_type, "FIBRE");
    SetFixedText(port.supported_link_modes, "10000baseT/Full");
    SetFixedText(port.settings.mtu, "1500");
    for (char* flag : {port.settings.tx_checksum, port.settings.rx_checksum,
                       port.settings.tx_pause_frames, port.settings.rx_pause_frames}) {
        *flag = '1';
    }
    std::vector<uint8_t> run;
    run.reserve(count * offsetof(_PortInformation, next));
    const auto* bytes = reinterpret_cast<const uint8_t*>(&port);
    for (size_t i = 0; i < count; ++i) {
        run.insert(run.end(), bytes, bytes + offsetof(_PortInformation, next));
    }
    return run;
}

void* PortList(size_t count) {
    const std::vector<uint8_t> run = Ports(count);
    const uint32_t size = offsetof(_PortInformation, next);
    void* head = nullptr;
    ZwMgmt_interface::CLBuildList(&head, run.data(), size, sizeof(_PortInformation), 1, 8,
                                  static_cast<uint32_t>(run.size()));
    return head;
}

void JsonOurs(State& state, size_t count) {
    void* head = PortList(count);
    FILE* nowhere = std::fopen("/dev/null", "w");
    const Description& ports = *FindDescriptionOf(kListPorts);
    for (auto _ : state) {
        std::string piece;
        TextSink sink(&piece, nowhere);
        JsonWriter json(sink, true);
        zwmgmt::Records records(ports, kLinux, head, 0);
        WriteJson(json, ports, records, FieldsOf(ports, kLinux));
        sink.Flush();
    }
    std::fclose(nowhere);
    ZwMgmt_interface::CLFreeMem(kListPorts, head);
}

/// The text of agents of the same system.
void JsonFloor(State& state, size_t count) {
    Ours ours;
    void* head = PortList(count);
    for (auto _ : state) {
        _Message message = {};
        ours.session.CLPrint(head, kListPorts, &message);
    }
    ZwMgmt_interface::CLFreeMem(kListPorts, head);
}

/// The same text, each line with an fprintf of its own.
void PrintFloor(State& state, size_t count) {
    FILE* nowhere = std::fopen("/dev/null", "w");
    const _CardInformation card = SomeCard();
    const std::vector<_CardInformation> cards(count, card);
    for (auto _ : state) {
        int number = 0;
        for (const _CardInformation& c : cards) {
            const auto line = [&](const char* format, auto value) {
                std::fprintf(nowhere, format, value);
            };
            line("Adapter #                     : %d\n", number++);
            line("Vendor ID                     : 0x%x\n", +c.vendor_id);
            line("Device ID                     : 0x%x\n", +c.device_id);
            line("Port Count                    : %d\n", int{c.port_count});
            line("Driver Firmware Version       : %s\n", +c.driver_firmware_version);
            line("PCI Bus Location              : %s\n", +c.pci_bus_location);
            line("Card Name                     : %s\n", +c.card_name);
            line("Device Class                  : 0x%x\n", +c.device_class);
            line("Interrupt Request             : 0x%x\n", +c.interrupt_request);
            const CardSettings& s = c.settings;
            line("max_host_sndbuf               : %lld\n", (long long)s.max_host_sndbuf);
            line("tx_hold_thres                 : %lld\n", (long long)s.tx_hold_thres);
            line("max_wrs                       : %d\n", int{s.max_wrs});
            line("rx_credit_thres               : %lld\n", (long long)s.rx_credit_thres);
            line("failover_alg                  : %d\n", int{s.failover_alg});
            line("mss                           : %d\n", +s.mss);
            line("delack                        : %d\n", int{s.delack});
            line("max_conn                      : %lld\n", (long long)s.max_conn);
            line("soft_backlog_limit            : %d\n", int{s.soft_backlog_limit});
            line("ddp                           : %d\n", int{s.ddp});
            line("kseg_ddp                      : %lld\n", (long long)s.kseg_ddp);
            line("ddp_thres                     : %lld\n", (long long)s.ddp_thres);
            line("recvmsg_spin_us               : %d\n", int{s.recvmsg_spin_us});
            line("ddp_push_wait                 : %lld\n", (long long)s.ddp_push_wait);
            line("ddp_rcvcoalesce               : %lld\n", (long long)s.ddp_rcvcoalesce);
            line("zcopy_sendmsg_partial_thres   : %lld\n",
                 (long long)s.zcopy_sendmsg_partial_thres);
            line("zcopy_sendmsg_partial_copy    : %lld\n", (long long)s.zcopy_sendmsg_partial_copy);
            line("zcopy_sendmsg_thres           : %lld\n", (long long)s.zcopy_sendmsg_thres);
            line("zcopy_sendmsg_copy            : %lld\n", (long long)s.zcopy_sendmsg_copy);
            line("zcopy_sendmsg_ret_pending_dma : %lld\n",
                 (long long)s.zcopy_sendmsg_ret_pending_dma);
            line("activated                     : %d\n", int{s.activated});
            line("cop_managed_offloading        : %d\n", int{s.cop_managed_offloading});
            line("tx_coalesce                   : %d\n", int{s.tx_coalesce});
            std::fputs("\n\n", nowhere);
        }
    }
    std::fclose(nowhere);
}

std::vector<std::string> rows;  // of the table, in order

template <class Body, class... Arguments>
void Pair(const std::string& what, Body ours, Body floor, Arguments... arguments) {
    rows.push_back(what);
    for (auto [side, body] : {std::pair{"/ours", ours}, {"/floor", floor}}) {
        benchmark::RegisterBenchmark((what + side).c_str(), [=](State& state) {
            body(state, arguments...);
        })->UseRealTime();
    }
}

/// Growth: ten times the size is the "ours", the size itself the "floor"; at most 11 is wanted.
template <class Body>
void Growth(const std::string& what, Body body, size_t size) {
    rows.push_back(what);
    for (auto [side, count] : {std::pair{"/ours", size * 10}, {"/floor", size}}) {
        benchmark::RegisterBenchmark((what + side).c_str(), [=](State& state) {
            body(state, count);
        })->UseRealTime();
    }
}

void ReplyOfSize(State& state, size_t kilobytes) {
    struct SizedHost : BenchHost {
        agent::Reply Answer(uint8_t, uint16_t, std::span<const uint8_t>) override {
            return {.status = 0, .data = std::vector<uint8_t>(size, 7)};
        }
        size_t size = 0;
    } host;
    host.size = kilobytes * 1000;
    agent::Server agent(host, {});
    std::string error;
    std::vector<char> result(kResultBufferSize);
    ZwMgmt_interface session;
    if (!agent.Start(&error) ||
        session.CLConnectToServer("127.0.0.1", "bench", agent.Port(), result.data()) != 0) {
        Die("connecting");
    }
    for (auto _ : state) {
        _Message message = {};
        message.service = kSystem;
        if (session.Client_TalkToServer(&message, result.data(), 0, 0, 0, 8, nullptr) != 0) {
            Die("round trip");
        }
    }
    session.CLDisconnectFromServer();
}

// ---- Policies against libpcap -----------------------------------------------------------------

/// A rule, and the filter that means the same to libpcap.
struct Filter {
    const char* rule;
    const char* pcap;
};

constexpr Filter kFilters[] = {
    {"dst port 80 => offload", "tcp dst port 80"},
    {"src net 10.0.0.0/8 and dst port 80 and not src host 10.0.0.1 => offload ddp",
     "src net 10.0.0.0/8 and tcp dst port 80 and not src host 10.0.0.1"},
    {"(src net 10.0.0.0/8 or src net 192.168.0.0/16) and (dst port 80 or dst port 443) and not dst "
     "host 10.9.9.9 => offload cong newreno",
     "(src net 10.0.0.0/8 or src net 192.168.0.0/16) and (tcp dst port 80 or tcp dst port 443) and "
     "not dst host 10.9.9.9"},
    {"host 10.0.0.1 and host 10.0.0.2 => offload", "host 10.0.0.1 and host 10.0.0.2"},
    {"src net 10.0.0.0/8 and (dst port 80 or dst port 443) or src net 11.0.0.0/8 and (dst port 22 "
     "or "
     "dst port 25) or src net 12.0.0.0/8 and (dst port 80 or dst port 25) => offload",
     "src net 10.0.0.0/8 and (tcp dst port 80 or tcp dst port 443) or src net 11.0.0.0/8 and (tcp "
     "dst port 22 or tcp dst port 25) or src net 12.0.0.0/8 and (tcp dst port 80 or tcp dst port "
     "25)"},
    {"(host 10.0.0.1 or dst port 443) and (host 10.0.0.2 or dst port 80 or dst port 22) => offload",
     "(host 10.0.0.1 or tcp dst port 443) and (host 10.0.0.2 or tcp dst port 80 or tcp dst port "
     "22)"},
    {"dst port >= 5000 and dst port <= 6000 => offload", "tcp dst portrange 5000-6000"},
};

void PolicyOurs(State& state, const Filter* filter) {
    ParsePolicy parser(stderr);
    std::string error;
    for (auto _ : state) {
        std::vector<_OfldPolicy> policies;
        if (parser.ParsePolicyString(filter->rule, "eth2", &policies, &error) != 0) Die("a policy");
    }
}

void PolicyFloor(State& state, const Filter* filter) {
    pcap_t* handle = pcap_open_dead(DLT_RAW, 65'535);
    for (auto _ : state) {
        bpf_program program = {};
        if (pcap_compile(handle, &program, filter->pcap, 1, PCAP_NETMASK_UNKNOWN) != 0) {
            Die("pcap_compile");
        }
        pcap_freecode(&program);
    }
    pcap_close(handle);
}

void PolicyOfSize(State& state, size_t rules) {
    std::string text;
    for (size_t i = 0; i < rules; ++i) {
        text += "src host 10.0." + std::to_string(i / 256 % 256) + "." + std::to_string(i % 256) +
                " and dst port < 1024 => offload\n";
    }
    ParsePolicy parser(stderr);
    std::string error;
    for (auto _ : state) {
        std::vector<_OfldPolicy> policies;
        if (parser.ParsePolicyString(text.c_str(), "eth2", &policies, &error) != 0) Die("a policy");
    }
}

}  // namespace

int main(int argc, char** argv) {
    // Freed memory stays with the process: otherwise large sizes would measure how fast the kernel
    // clears pages.
    mallopt(M_TRIM_THRESHOLD, INT_MAX);
    mallopt(M_MMAP_THRESHOLD, INT_MAX);
    Pair("round trip, no data", RoundTripOurs, RoundTripFloor, uint16_t{1}, 0u);
    Pair("round trip, 580 bytes", RoundTripOurs, RoundTripFloor, uint16_t{1}, 580u);
    Pair("round trip, reply of 100 kB", RoundTripOurs, RoundTripFloor, kReplyOpcode, 0u);
    Pair("connect to opened session, and close", ConnectOurs, ConnectFloor);
    Pair("the same beside another session", ConnectBesideOurs, ConnectFloor);
    Pair("file push, 256 MB", FileOurs, FileFloor, size_t{kFileSize});
    Pair("list of 100,000 records / copy", ListOurs, ListFloor, size_t{kRecords});
    Pair("printing 100,000 records / fprintf", PrintOurs, PrintFloor, size_t{kRecords});
    Pair("100,000 ports as JSON / as text", JsonOurs, JsonFloor, size_t{kRecords});
    Growth("growth: list, 1,000,000 / 100,000 records", ListOurs, 100'000);
    Growth("growth: printing, 100,000 / 10,000 records", PrintOurs, 10'000);
    Growth("growth: reply, 1 MB / 100 kB", ReplyOfSize, 100);
    Growth("growth: file push, 250 MB / 25 MB", FileOurs, 25'000'000);
    Pair("policy of one test / pcap_compile", PolicyOurs, PolicyFloor, &kFilters[0]);
    Pair("policy of three tests / pcap_compile", PolicyOurs, PolicyFloor, &kFilters[1]);
    Pair("policy of five tests / pcap_compile", PolicyOurs, PolicyFloor, &kFilters[2]);
    Pair("policy of two hosts, searched / pcap_compile", PolicyOurs, PolicyFloor, &kFilters[3]);
    Pair("policy of groups, searched / pcap_compile", PolicyOurs, PolicyFloor, &kFilters[4]);
    Pair("policy of mixed sides, searched / pcap_compile", PolicyOurs, PolicyFloor, &kFilters[5]);
    Pair("policy of a range / pcap_compile", PolicyOurs, PolicyFloor, &kFilters[6]);
    Growth("growth: policy, 10,000 / 1,000 rules", PolicyOfSize, 1'000);
    benchmark::Initialize(&argc, argv);
    zwbench::TableReporter table(rows);
    benchmark::RunSpecifiedBenchmarks(&table);
    return 0;
}
