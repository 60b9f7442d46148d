/// Words to numbers. The rows are written out from the protocol's word lists, not from the tables.
#include "cli/vocabulary.h"

#include <cstring>

#include "tests/support.h"

using namespace testing_support;
using namespace zwmgmt;
using Zw = ZwMgmt_interface;

TEST(Vocabulary, Services) {
    // clang-format off
    const Table<const char*, int> rows = {
        {"iscsi", 1}, {"ISCSI", 1}, {"Iscsi", 1}, {"isc", -1}, {"iscsi ", -1}, {"", -1},
        {"net", 2}, {"team", 3}, {"korvane", 4}, {"system", 5}, {"filter", 6}, {"tm", 7},
        {"log", 8}, {"fcoe", 9}, {"iwarp", 10}, {"diags", 11}, {"hyperv", 12}, {"wdudp", 13},
        {"foiscsiini", 14}, {"tmsched", 15}, {"bypass", 16}, {"wdtoe", 17}, {"msteam", 18},
        {"bonding", 19}, {"generic", 20}, {"session", -1}, {nullptr, -1},
    };
    // clang-format on
    for (const auto& [word, number] : rows) {
        EXPECT_EQ(Zw::CLGetService(word), number) << (word ? word : "null");
    }
    EXPECT_EQ(ServiceWords().size(), 20u);
}

TEST(Vocabulary, Commands) {
    // clang-format off
    const Table<uint8_t, const char*, int> rows = {
        {5, "listadapters", 9}, {2, "listadapters", 94}, {4, "listadapters", 153},
        {9, "listadapters", 183}, {10, "listadapters", 211}, {11, "listadapters", 244},
        {15, "listadapters", 328}, {6, "listadapters", 338}, {1, "listadapters", -1},
        {20, "listadapters", -1}, {4, "ListAdapterProps", 142}, {4, "listports", 136},
        {4, "list", -1}, {4, "flashconfig", 219}, {5, "createinfofile", 4}, {5, "uninstall", 344},
        {5, "delvffromvm", 317}, {1, "vqwinx4iscsi", 27}, {1, "discover", 87}, {2, "mtu", 101},
        {2, "listbridgebleinterfaces", 325}, {3, "create", 128}, {9, "all", 197},
        {6, "maxfilters", 174}, {6, "showactivecomb", 327}, {7, "modify", 178}, {8, "set", 198},
        {10, "listproperties", 216}, {11, "eepromtest", 224}, {12, "getadapters", 316},
        {13, "liststats", 321}, {17, "liststats", 342}, {15, "settxqueuetoclass", 335},
        {14, "discoverydb", 103}, {14, "INIT_INSTANCE", 0}, {16, "help", 17},
        {16, "show_iface", 10}, {18, "create", 1}, {19, "addslave", 4}, {5, nullptr, -1},
    };
    // clang-format on
    for (const auto& [service, word, number] : rows) {
        EXPECT_EQ(Zw::CLGetCommand(word, service), number)
            << int{service} << " " << (word ? word : "null");
    }
    size_t words = 0;
    for (uint8_t service = 1; service <= 20; ++service) {
        const bool own_table = service == 14 || service == 16 || service == 18 || service == 19;
        if (!own_table) words += CommandWordsOf(service).size();
    }
    EXPECT_EQ(words, 179u);
}

TEST(Vocabulary, SubCommands) {
    // clang-format off
    const Table<uint8_t, uint16_t, const char*, int> rows = {
        {1, 21, "list", 81}, {1, 26, "STOP", 86}, {1, 21, "discover", 87}, {5, 228, "vmstart", 229},
        {5, 1, "listvfpci", 305}, {2, 234, "list", 235}, {2, 234, "brdel", 241},
        {2, 234, "add", -1}, {2, 236, "list", 237}, {2, 236, "vifadd", 242}, {2, 238, "list", 239},
        {2, 238, "add", -1}, {2, 95, "list", 112}, {2, 95, "del", 114}, {14, 3, "show", 3},
        {14, 4, "show", -1}, {16, 1, "cmd", -1}, {4, 142, "list", -1}, {2, 101, "set", -1},
        {2, 95, "", -1},
    };
    // clang-format on
    for (const auto& [service, command, word, number] : rows) {
        EXPECT_EQ(Zw::CLGetSubCommand(word, service, command), number)
            << int{service} << " " << command << " " << word;
    }
}

TEST(Vocabulary, Keys) {
    // clang-format off
    const Table<uint8_t, const char*, int> rows = {
        // The same word under different services.
        {1, "port", 1}, {4, "port", 72}, {10, "port", 72}, {6, "port", 384}, {2, "ifname", 148},
        {7, "ifname", 148}, {6, "ifname", 194}, {4, "pci", 25}, {6, "pci", 25}, {10, "pci", 25},
        {1, "ip", 0}, {2, "ip", 0}, {4, "ip", 0}, {5, "hostip", 0},
        // The groups of korvane in order: credentials, networking, adapters.
        {4, "ininame", 12}, {4, "mtu", 150}, {4, "vlan", 151}, {4, "vlanid", 68},
        {4, "jumbopacket", 440}, {4, "holdoff_timer_idx", 332}, {4, "holdoff_tmr_idx", 332},
        {4, "x4mmediatedata", 539}, {4, "txcoalesce", 526}, {4, "adv-1000fdx-cap", 306},
        // The groups of iscsi and fcoe.
        {1, "targetname", 2}, {1, "chapsecret", 2}, {1, "tgtalias", 14}, {1, "ha_mode", 511},
        {9, "host", 221}, {9, "lport", 224}, {6, "lport", 396}, {2, "lport", -1},
        {9, "vgname", 382}, {1, "host", -1},
        // Own groups.
        {3, "teampolicy", 218}, {5, "ofedpkg", 162}, {5, "ostype", 512}, {6, "vnic_id", 454},
        {7, "policy", 213}, {8, "off", 240}, {10, "use_dsgl", 525}, {11, "adapter", 191},
        {12, "vnetmacaddr", 542}, {15, "minmaxen", 453}, {13, "pci", -1}, {20, "pci", -1},
        // Case: lowered, except where the service has key tables of its own.
        {1, "PORT", 1}, {4, "Hw-Csum", 335}, {14, "sip", 23}, {14, "SIP", -1}, {14, "val", 27},
        {16, "iface", 12}, {16, "Iface", -1}, {19, "miimon", 3}, {19, "Miimon", -1},
        {18, "TeamName", 1}, {4, "", -1}, {4, "p", -1}, {4, nullptr, -1},
    };
    // clang-format on
    for (const auto& [service, word, number] : rows) {
        EXPECT_EQ(Zw::CLGetKeyNo(word, service), number)
            << int{service} << " " << (word ? word : "null");
    }
}

TEST(Vocabulary, KeyValueWordsSplitAtTheFirstEqualsSign) {
    // clang-format off
    const Table<const char*, int, const char*, int, const char*> rows = {
        {"pci=0:1", 0, "pci", 0, "0:1"}, {"a=b=c", 0, "a", 0, "b=c"}, {"a=", 0, "a", 1, ""},
        {"a", 1, "", 1, ""}, {"=b", 0, "", 0, "b"}, {" a = b", 0, " a ", 0, " b"},
    };
    // clang-format on
    for (const auto& [word, key_result, key, value_result, value] : rows) {
        char got_key[32] = {};
        char got_value[32] = {};
        EXPECT_EQ(Zw::CLGetKey(word, got_key), key_result) << word;
        EXPECT_STREQ(got_key, key);
        EXPECT_EQ(Zw::CLGetValue(word, got_value), value_result) << word;
        EXPECT_STREQ(got_value, value);
    }
}

TEST(Vocabulary, NetworkingWordsOfXenAndEsx) {
    // clang-format off
    const Table<uint16_t, const char*, uint64_t, uint64_t> rows = {
        {234, "list", 235, 5}, {234, "BRADD", 240, 5}, {234, "brdel", 241, 5},
        {236, "list", 237, 5}, {236, "vifdel", 243, 5}, {238, "list", 239, 5}, {95, "list", 5, 5},
        {236, "bradd", 5, 5}, {110, "list", 5, 116}, {110, "addvmnic", 5, 122},
        {110, "deluplink", 5, 127}, {115, "list", 5, 117}, {111, "add", 5, 113},
        {111, "xyz", 5, 5},
    };
    // clang-format on
    for (const auto& [command, word, xen, esx] : rows) {
        Client_Request_Argument argument = {word, -1};
        const Client_Request_Message request = {2, command, 0, &argument, 1};
        EXPECT_EQ(Zw::CLGetXENNETCmnd(&request), xen) << command << word;
        EXPECT_EQ(Zw::CLGetESXNETCmnd(&request), esx) << command << word;
    }
    const Client_Request_Message empty = {2, 234, 0, nullptr, 0};
    EXPECT_EQ(Zw::CLGetXENNETCmnd(&empty), 5u);
}

TEST(Vocabulary, WordsOfFoiscsiReplies) {
    EXPECT_STREQ(FoiscsiAddressTypeWord(0), "none");
    EXPECT_STREQ(FoiscsiAddressTypeWord(6), "dhcpvlan");
    EXPECT_EQ(FoiscsiAddressTypeWord(7), nullptr);
    EXPECT_STREQ(FoiscsiOperationWord(4), "login");
    EXPECT_STREQ(FoiscsiOperationWord(11), "del");
    EXPECT_EQ(FoiscsiOperationWord(12), nullptr);
}

TEST(CommandWords, BecomeARequest) {
    const char* words[] = {"net", "MTU", "set", "ifname=eth0", "mtu=9000"};
    CommandWords command(words, 5);
    const Client_Request_Message* request = command.Request();
    ASSERT_NE(request, nullptr);
    EXPECT_EQ(request->service, 2);
    EXPECT_EQ(+request->command, 101);
    EXPECT_EQ(request->qualifier, 0);
    ASSERT_EQ(request->argument_count, 3u);
    EXPECT_EQ(std::string(request->arguments[0].value), "set");
    EXPECT_EQ(std::string(request->arguments[1].value), "eth0");
    const int keys[] = {request->arguments[0].key, request->arguments[1].key,
                        request->arguments[2].key};
    EXPECT_EQ(keys[0], -1);
    EXPECT_EQ(keys[1], 148);
    EXPECT_EQ(keys[2], 150);
}

TEST(CommandWords, EntryZeroIsTheSubCommandsWhereThereIsOne) {
    // clang-format off
    const Table<std::vector<const char*>, uint32_t, const char*, int> rows = {
        {{"korvane", "listports", "pci=1"}, 2, "", -1},
        {{"korvane", "listadapterprops"}, 1, "", -1}, {{"net", "bridge", "list"}, 1, "list", 235},
        {{"net", "ping", "host=1.2.3.4"}, 1, "1.2.3.4", 221},
        {{"net", "traceroute"}, 0, nullptr, 0},
    };
    // clang-format on
    for (const auto& [words, count, first, first_key] : rows) {
        CommandWords command(words.data(), words.size());
        ASSERT_NE(command.Request(), nullptr) << command.Error();
        const Client_Request_Message request = *command.Request();
        ASSERT_EQ(request.argument_count, count) << words[1];
        if (count == 0) continue;
        EXPECT_EQ(std::string(request.arguments[0].value), first);
        EXPECT_EQ(int{request.arguments[0].key}, first_key);
    }
}

TEST(CommandWords, ComplainAboutTheWordAndNameTheNearest) {
    // clang-format off
    const Table<std::vector<const char*>, const char*> rows = {
        {{"korvan"}, "unknown service \"korvan\"; nearest: korvane"},
        {{"korvane", "listport"}, "unknown korvane command \"listport\"; nearest: listports"},
        {{"korvane", "get"}, "unknown korvane command \"get\"; nearest: getcardstats, getportstats, getproperty"},
        {{"korvane", "listports", "pc=1"}, "unknown key \"pc\"; nearest: pci"},
        {{"korvane", "listports", "pci="}, "key \"pci\" has no value"},
        {{"korvane", "listports", "pci=1", "x"}, "expected key=value instead of \"x\""},
        {{"korvane", "listadapterprops", "all"}, "the command takes no arguments: \"all\""},
        {{"korvane", "listports", "mtuu=1"}, "unknown key \"mtuu\"; nearest: mtu"},
        {{"net", "bridge", "lst"}, "unknown sub-command \"lst\"; nearest: list"},
        {{"net", nullptr}, "a word is missing (null)"},
        {{"net", "ping", "set"}, "expected key=value instead of \"set\""},
        {{"generic", "x"}, "unknown generic command \"x\""},
        {{"team"}, "missing command of service team; known: create, remove, list"},
    };
    // clang-format on
    for (const auto& [words, error] : rows) {
        CommandWords command(words.data(), words.size());
        EXPECT_EQ(command.Request(), nullptr);
        EXPECT_TRUE(std::string(command.Error()).starts_with(error)) << command.Error();
    }
    CommandWords nothing(nullptr, 0);
    EXPECT_NE(std::string(nothing.Error()).find("iscsi, net"), std::string::npos);
    const std::string endless(100'000, 'x');
    const char* long_word[] = {endless.c_str()};
    EXPECT_EQ(CommandWords(long_word, 1).Request(), nullptr);
}
