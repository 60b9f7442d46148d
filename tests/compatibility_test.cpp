/// The compatibility check, both branches.
#include "session/compatibility.h"

#include <cstring>

#include "tests/support.h"

using namespace testing_support;
using namespace zwmgmt;

namespace {

constexpr uint8_t kKnownSystems[] = {1, 2, 3, 4, 5, 6, 8};

Capabilities Agent(uint8_t api_version, uint8_t os_code, uint16_t network = 1) {
    Capabilities capabilities = {};
    capabilities.api_version = api_version;
    capabilities.os_code = os_code;
    capabilities.network = network;
    return capabilities;
}

int Check(TestSession& session, const Capabilities& agent, uint8_t service, uint16_t command = 1) {
    return session.Validate_Server_APIVersion_Capabilities(&agent, service, command);
}

}  // namespace

TEST(Compatibility, SameVersionDecidesByOs) {
    const Table<uint8_t, const char*, const char*> rows = {
        {1, "1238", "Error: ISCSI service is not available on Server\n"},
        {2, "1234568", ""},
        {3, "12348", "Error: Teaming/Bonding service is not available on Server\n"},
        {4, "1234568", "Error: Korvane  service is not available on Server\n"},
        {5, "1234568", "Error: System service is not available on Server\n"},
        {6, "2", "Error: Filter service is not available on Server\n"},
        {7, "2", "Error: Traffic management(TM) service is not available on Server\n"},
        {8, "12345678", ""},
        {9, "128", "Error: FCOE service is not available on Server\n"},
        {10, "124", "Error: IWARP service is not available on Server\n"},
        {11, "12345678", ""},
        {12, "1", "Error: Service is not available on Server\n"},
        {13, "2", "Error: WDUDP service is not available on Server\n"},
        {14, "12345678", ""},
        {15, "2", "Error: TM Scheduler service is not available on Server\n"},
        {16, "12345678", ""},
        {17, "2", "Error: WDTOE service is not available on Server\n"},
        {18, "1", "Error: Service is not available on Server\n"},
        {19, "12345678", ""},
        {20, "", "Error: Unsupported Service\n"},
        {0, "", "Error: Unsupported Service\n"},
        {255, "", "Error: Unsupported Service\n"},
    };
    TestSession session;
    for (const auto& [service, systems, refusal] : rows) {
        for (uint8_t os : kKnownSystems) {
            const bool passes =
                std::string(systems).find(static_cast<char>('0' + os)) != std::string::npos;
            EXPECT_EQ(Check(session, Agent(0x20, os), service), passes ? 0 : 16)
                << int{service} << " on " << int{os};
            EXPECT_STREQ(session.ErrorText(), passes ? "" : refusal);
        }
    }
    EXPECT_EQ(Check(session, Agent(0x20, 0), 4), 16);
    EXPECT_EQ(Check(session, Agent(0x20, 200), 6), 16);
    EXPECT_EQ(session.Printed(), "");
}

TEST(Compatibility, NetworkOfTheSameVersion) {
    TestSession session;
    const Table<uint8_t, uint16_t, uint16_t, const char*> rows = {
        {5, 1, 110, ""},
        {5, 1, 111, ""},
        {5, 0, 110, "Error: Network service is not available on Server\n"},
        {2, 0, 101, "Error: Network service is not available on Server\n"},
        {2, 1, 101, ""},
        {2, 1, 110,
         "Error: Vswitch command in Network service is not available in specified Server\n"},
        {2, 1, 111,
         "Error: Vswif command in Network service is not available in specified Server\n"},
    };
    for (const auto& [os, network, command, refusal] : rows) {
        EXPECT_EQ(Check(session, Agent(0x20, os, network), 2, command), *refusal ? 16 : 0);
        EXPECT_STREQ(session.ErrorText(), refusal);
    }
}

TEST(Compatibility, AnotherVersionWarnsAndAsksTheNewestCapabilities) {
    const std::string warning =
        "Warning: Server API version 1.5 doesn't match with Client API version 2.0. Checking for "
        "service availability and backward compatibility ...\n";
    const Table<uint8_t, uint8_t, const char*> rows = {
        {2, 1, ""},
        {4, 1, "Error: ISCSI service is not available in specified server\n"},
        {5, 3, "Error: Team service si not available in specified server\n"},
        {1, 6, "Error: Filter service is not available on the specified server\n"},
        {6, 7, "Error: TM service is not available on the specified server\n"},
        {4, 9, "Error: Fcoe service is not available on specified server\n"},
        {5, 10, "Error: Iwarp service is not available on specified server\n"},
        {6, 2, ""},
        {2, 4, ""},
        {2, 11, ""},
        {2, 14, ""},
        {5, 14, ""},
        {2, 16, ""},
        {2, 19, ""},
        {1, 12, "Error: Unsupported Service 12"},
        {2, 200, "Error: Unsupported Service 200"},
        {7, 4, "Error: Unsupported OS\n"},
        {0, 4, "Error: Unsupported OS\n"},
        {9, 4, "Error: Unsupported OS\n"},
    };
    TestSession session;
    for (const auto& [os, service, refusal] : rows) {
        // The agent's own words do not matter here: they are all zero.
        EXPECT_EQ(Check(session, Agent(0x15, os, 0), service), *refusal ? 16 : 0)
            << int{os} << " " << int{service};
        EXPECT_STREQ(session.ErrorText(), refusal);
        EXPECT_EQ(session.Printed(), warning + (service == 19 ? "nix teaming service\n" : ""));
    }
}

TEST(Compatibility, VersionsAndCapabilitiesOfWhatIsNotKnown) {
    TestSession session;
    Capabilities unknown = {};
    unknown.os_code = 7;
    EXPECT_EQ(ZwMgmt_interface::GetLatestServerCapabilities(&unknown), -1);
    EXPECT_EQ(session.MinimumServerVersion(4), 0x10);
    EXPECT_EQ(session.MinimumServerVersion(20), 0x10);
    EXPECT_EQ(session.MinimumServerVersion(0), 0);
    EXPECT_EQ(session.MinimumServerVersion(21), 0);
}

TEST(Compatibility, ServicesThatChangedIncompatiblyAreRefused) {
    const std::string before = "Error: Backward compatibility is not supported for ";
    const std::string after =
        " Service. Server version is older than the client version. Please update the server\n";
    Capabilities odd = {};
    std::memset(&odd, 1, sizeof(odd));  // every word 0x0101
    const Capabilities nothing = {};
    const auto refusal = [](const Capabilities& newest, uint8_t service) {
        char text[300];
        NewestRefusal(newest, service, text, sizeof(text));
        return std::string(text);
    };
    for (const auto& row : Cases("newest_refusals")) {
        const auto service = static_cast<uint8_t>(Number(row[0]));
        EXPECT_EQ(refusal(nothing, service), row[1]) << row[0];
        EXPECT_EQ(refusal(odd, service), before + row[2] + after) << row[0];
    }
    const Table<uint8_t, std::string> rows = {
        {11, ""},
        {14, "foiscsiini service not available\n"},
        {16, "bypass service not available\n"},
        {19, "bonding service not available\n"},
    };
    for (const auto& [service, expected] : rows) {
        EXPECT_EQ(refusal(odd, service), expected) << int{service};
        EXPECT_EQ(refusal(nothing, service), "") << int{service};
    }
    Capabilities offload = {};
    offload.iscsi = 0x81;  // the initiator with full offload
    EXPECT_EQ(refusal(offload, 14), "");
}
