/// Usage: zwmgmt_agent_bench PORT USER PASSWORD INTERFACE [BENCHMARK OPTIONS]
/// The agent of Linux hosts on this machine, asked for the port that an interface is, against a
/// bare loop that has the kernel send the same values, and a round trip that asks the kernel for
/// nothing.
#include <benchmark/benchmark.h>
#include <libmnl/libmnl.h>
#include <linux/ethtool_netlink.h>
#include <linux/genetlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "benchmarks/table_reporter.h"
#include "linux_agent/kernel_host.h"
#include "zwmgmt/zwmgmt_interface.h"

namespace {

using namespace zwmgmt;
using benchmark::State;

[[noreturn]] void Die(const char* what) {
    std::fprintf(stderr, "benchmark: %s failed\n", what);
    std::exit(1);
}

struct Target {
    uint16_t port;
    const char* user;
    const char* password;
    std::string interface_name;
};

/// Messages made once, sent one by one, and what comes back not even looked at.
class BareKernel {
  public:
    explicit BareKernel(const std::string& interface_name) {
        const uint32_t index = if_nametoindex(interface_name.c_str());
        ifinfomsg link = {};
        link.ifi_index = static_cast<int>(index);
        Add(NETLINK_ROUTE, RTM_GETLINK, &link, sizeof(link));
        const auto family = FamilyOfEthtool();
        for (const uint8_t message :
             {ETHTOOL_MSG_LINKINFO_GET, ETHTOOL_MSG_LINKMODES_GET, ETHTOOL_MSG_LINKSTATE_GET,
              ETHTOOL_MSG_DEBUG_GET, ETHTOOL_MSG_WOL_GET, ETHTOOL_MSG_FEATURES_GET,
              ETHTOOL_MSG_RINGS_GET, ETHTOOL_MSG_COALESCE_GET, ETHTOOL_MSG_PAUSE_GET}) {
            const genlmsghdr header = {.cmd = message, .version = 1, .reserved = 0};
            Question& added = Add(NETLINK_GENERIC, family, &header, sizeof(header));
            nlattr* nest = mnl_attr_nest_start(added.Message(), 1);  // ETHTOOL_A_..._HEADER
            mnl_attr_put_u32(added.Message(), ETHTOOL_A_HEADER_DEV_INDEX, index);
            mnl_attr_nest_end(added.Message(), nest);
        }
    }
    ~BareKernel() {
        mnl_socket_close(route);
        mnl_socket_close(generic);
    }
    BareKernel(const BareKernel&) = delete;
    BareKernel& operator=(const BareKernel&) = delete;

    void Read() {
        for (Question& question : questions) Ask(question);
    }

  private:
    struct Question {
        mnl_socket* socket;
        std::vector<char> bytes = std::vector<char>(256);
        nlmsghdr* Message() { return reinterpret_cast<nlmsghdr*>(bytes.data()); }
    };

    static mnl_socket* Open(int protocol) {
        mnl_socket* opened = mnl_socket_open(protocol);
        if (opened == nullptr || mnl_socket_bind(opened, 0, MNL_SOCKET_AUTOPID) != 0) {
            Die("netlink");
        }
        return opened;
    }

    Question& Add(int protocol, uint16_t type, const void* header, size_t size) {
        Question& added =
            questions.emplace_back(Question{protocol == NETLINK_ROUTE ? route : generic});
        nlmsghdr* message = mnl_nlmsg_put_header(added.bytes.data());
        message->nlmsg_type = type;
        message->nlmsg_flags = NLM_F_REQUEST;
        std::memcpy(mnl_nlmsg_put_extra_header(message, size), header, size);
        return added;
    }

    void Ask(Question& question) {
        mnl_socket_sendto(question.socket, question.Message(), question.Message()->nlmsg_len);
        if (mnl_socket_recvfrom(question.socket, reply.data(), reply.size()) <= 0) Die("netlink");
    }

    uint16_t FamilyOfEthtool() {
        const genlmsghdr header = {.cmd = CTRL_CMD_GETFAMILY, .version = 1, .reserved = 0};
        Question& asked = Add(NETLINK_GENERIC, GENL_ID_CTRL, &header, sizeof(header));
        mnl_attr_put_strz(asked.Message(), CTRL_ATTR_FAMILY_NAME, ETHTOOL_GENL_NAME);
        Ask(asked);
        questions.pop_back();
        uint16_t family = 0;
        const auto take = [](const nlattr* attribute, void* into) {
            if (mnl_attr_get_type(attribute) == CTRL_ATTR_FAMILY_ID) {
                *static_cast<uint16_t*>(into) = mnl_attr_get_u16(attribute);
            }
            return int{MNL_CB_OK};
        };
        mnl_attr_parse(reinterpret_cast<nlmsghdr*>(reply.data()), sizeof(genlmsghdr), take,
                       &family);
        if (family == 0) Die("the kernel's ethtool");
        return family;
    }

    mnl_socket* route = Open(NETLINK_ROUTE);
    mnl_socket* generic = Open(NETLINK_GENERIC);
    std::vector<Question> questions;
    std::vector<char> reply = std::vector<char>(1 << 16);
};

/// A session as the front end has it.
class Ours {
  public:
    explicit Ours(const Target& target) : words("pci=" + target.interface_name) {
        session.SetOutputStream(nowhere);
        if (session.CLConnectToServer("127.0.0.1", target.user, target.port, result.data()) != 0 ||
            session.SetPassword(target.password) != 0 ||
            session.CLAuthenticateUser(result.data()) != 0 ||
            session.FetchCapabilities(result.data()) != 0) {
            Die("logging in");
        }
    }
    ~Ours() {
        session.CLDisconnectFromServer();
        std::fclose(nowhere);
    }
    Ours(const Ours&) = delete;
    Ours& operator=(const Ours&) = delete;

    void ListPorts() {
        const char* const pointer = words.c_str();
        if (session.Client_ProcessRequest(kKorvane, kListPorts, 0, &pointer, 1, result.data(),
                                          nullptr) != 0 ||
            session.LastStatus() != kSuccess) {
            Die("listing ports");
        }
    }
    void RoundTrip() {
        if (session.FetchCapabilities(result.data()) != 0) Die("the round trip");
    }

  private:
    const std::string words;
    FILE* nowhere = std::fopen("/dev/null", "w");
    std::vector<char> result = std::vector<char>(kResultBufferSize);
    ZwMgmt_interface session;
};

template <class Body>
void Row(const std::string& name, Body body) {
    benchmark::RegisterBenchmark(name.c_str(), body)->UseRealTime();
}

void RegisterRows(const Target& target, const std::vector<std::string>& names) {
    Row(names[0] + "/ours", [=](State& state) {
        Ours ours(target);
        for (auto _ : state) ours.ListPorts();
    });
    Row(names[0] + "/floor", [=](State& state) {
        Ours ours(target);
        BareKernel kernel(target.interface_name);
        for (auto _ : state) {
            ours.RoundTrip();
            kernel.Read();
        }
    });
    Row(names[1] + "/ours", [=](State& state) {
        zmagent::KernelHost host({.virtual_interfaces = true});
        const std::vector<uint8_t> data(target.interface_name.begin(), target.interface_name.end());
        for (auto _ : state) {
            if (host.Answer(kKorvane, kListPorts, data).status != kSuccess) Die("the host");
        }
    });
    Row(names[1] + "/floor", [=](State& state) {
        BareKernel kernel(target.interface_name);
        for (auto _ : state) kernel.Read();
    });
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 5) Die("usage: PORT USER PASSWORD INTERFACE");
    const Target target = {static_cast<uint16_t>(std::atoi(argv[1])), argv[2], argv[3], argv[4]};
    const std::vector<std::string> names = {"listports / bare netlink + round trip",
                                            "the kernel host alone / bare netlink"};
    RegisterRows(target, names);
    int rest = argc - 4;
    benchmark::Initialize(&rest, argv + 4);
    zwbench::TableReporter table(names);
    benchmark::RunSpecifiedBenchmarks(&table);
    return 0;
}
