/// Filter rules: what keys become, what is refused, what is printed. The tables of keys were
/// written down apart from those of the code.
#include <cstring>

#include "filters/combinations.h"
#include "tests/support.h"

using namespace testing_support;
using namespace std::string_literals;
using namespace zwmgmt;

namespace {

/// The values of a row's cell: "value=bytes", or "value" where the first cell says "KEY -".
struct RuleValue {
    std::string text, bytes;
};

RuleValue ValueOf(const std::string& word, bool refused) {
    if (refused) return {word, ""};
    const size_t sign = word.find('=');
    return {word.substr(0, sign), Unhex(word.substr(sign + 1))};
}

/// Gives each value of the case file to `set` with a fresh rule and compares the rule's bytes.
template <class Rule>
void ExpectRules(const std::string& cases,
                 const std::function<int(int key, const char* value, Rule*)>& set,
                 const std::function<void(const std::string&)>& expect_printed) {
    for (const auto& row : Cases(cases)) {
        const auto head = Words(row[0]);
        const bool refused = head[1] == "-";
        for (const std::string& word : Words(row[1])) {
            const RuleValue value = ValueOf(word, refused);
            Rule rule = {};
            const std::string what = head[0] + ' ' + word;
            ASSERT_EQ(set(Number(head[0]), value.text.c_str(), &rule), refused ? 1 : 0) << what;
            std::string printed = row[2];
            if (const size_t sign = printed.find('%'); sign != printed.npos) {
                printed.replace(sign, 1, value.text);
            }
            expect_printed(printed);
            if (refused) continue;
            EXPECT_EQ(+rule.present, std::stoul(head[2], nullptr, 0)) << what;
            const std::string_view bytes(reinterpret_cast<const char*>(&rule), sizeof(rule));
            EXPECT_EQ(bytes.substr(std::stoul(head[1]), value.bytes.size()), value.bytes) << what;
        }
    }
}

}  // namespace

TEST(X3Rules, KeysBecomeMembers) {
    ExpectRules<_Filter>("x3_rules", ZwMgmt_interface::CLSetFilterArg, [](const std::string&) {});
    _Filter rule = {};
    EXPECT_EQ(ZwMgmt_interface::CLSetFilterArg(197, nullptr, &rule), 1);
}

TEST(X4Rules, KeysBecomeMembers) {
    TestSession session;
    const auto set = [&](int key, const char* value, _FilterX4* rule) {
        return session.CLSetFilterX4Arg(key, value, rule);
    };
    ExpectRules<_FilterX4>("x4_rules", set, [&](const std::string& printed) {
        EXPECT_EQ(session.Printed(), printed);
    });
    for (const auto& row : Cases("x4_widths")) {
        const int key = ZwMgmt_interface::CLGetKeyNo(row[0].c_str(), kFilter);
        const auto twice = [](uint32_t n) { return std::to_string(n) + ':' + std::to_string(n); };
        const uint32_t beyond = 1u << Number(row[1]);
        const std::string said = "parameter \"" + row[2] + "\" ",
                          limit = " should be no greater than " + row[1] + " bits\n";
        _FilterX4 rule = {};
        EXPECT_EQ(set(key, twice(beyond - 1).c_str(), &rule), 0);
        EXPECT_EQ(session.Printed(), "");
        EXPECT_EQ(set(key, twice(beyond).c_str(), &rule), 0);
        EXPECT_EQ(session.Printed(), said + "value" + limit + said + "mask" + limit);
    }
    for (const auto& row : Cases("x4_sequences")) {
        const auto keys = Words(row[0]);
        const auto arguments = Arguments(keys);
        _FilterX4 rule = {};
        for (const Client_Request_Argument& argument : arguments) {
            const bool last = &argument == &arguments.back();
            EXPECT_EQ(set(argument.key, argument.value, &rule), last ? Number(row[1]) : 0)
                << row[0];
            EXPECT_EQ(session.Printed(), last ? row[2] : "") << row[0];
        }
    }
    _FilterX4 rule = {};
    EXPECT_EQ(session.CLSetFilterX4Arg(389, nullptr, &rule), 1);
}

TEST(Combinations, AreComparedWhole) {
    std::string listing = "\nPermissible combination of x4 filter tuple :\n";
    listing += std::string(48, '-') + "\n";
    for (const auto& row : Cases("combinations")) {
        const std::string& combination = row[0];
        listing += '"' + combination + "\"\n";
        EXPECT_TRUE(IsFilterCombination(combination)) << combination;
        EXPECT_FALSE(IsFilterCombination(combination + " "));
        EXPECT_FALSE(IsFilterCombination(combination.substr(1)));
        const size_t comma = combination.find(", ");
        EXPECT_FALSE(IsFilterCombination(combination.substr(comma + 2) + ", " +
                                         combination.substr(0, comma)));
    }
    EXPECT_FALSE(IsFilterCombination("Ethertype, vlan, port"));
    const ProcessResult run = Zwcli(1, {"filter", "showcomb"});  // nobody is asked
    EXPECT_EQ(run.exit_status, 0);
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.out, listing);
}

TEST(FilterReplies, ListingsAreBoundedByTheReply) {
    _Filter rules[2] = {};
    std::memset(rules[0].interface_name, 'i', sizeof(rules[0].interface_name));
    rules[0].present = 0x7FF;
    rules[0].source_prefix = -1;
    rules[0].protocol = 3;
    rules[0].action = 2;
    SetFixedText(rules[1].interface_name, "eth\n2");
    rules[1].id = 5;
    rules[1].protocol = 9;
    TestSession session;
    _Message reply = {};
    reply.data_length = sizeof(rules) - 1;  // the second is cut
    session.GetListFiltersResponse(rules, &reply);
    const std::string head =
        "ifname     id   sip                dip             sport dport vlanid prio mac proto "
        "action queue\n" +
        std::string(97, '-') + "\n";
    const std::string first =
        std::string(64, 'i') +
        " 0    0.0.0.0/-1         0.0.0.0         0     0     0      0    0   FRAG  DROP   0\n";
    EXPECT_EQ(session.Printed(), head + first);
    reply.data_length = sizeof(rules);
    session.GetListFiltersResponse(rules, &reply);
    EXPECT_EQ(session.Printed(),
              head + first +
                  "eth?2      5    -                  -               -     -     -      -    -   "
                  "ANY   RSS    -\n");
    const std::string blocks = "one\nline\0\0two\x1b\n\0three"s;
    reply.data_length = static_cast<uint32_t>(blocks.size());
    session.GetListFiltersResponseX4(blocks.data(), &reply);
    EXPECT_EQ(session.Printed(), "one\nline\n\ntwo?\n\n\nthree\n\n");
    const int32_t max = -7;
    reply.opcode = 176;
    reply.data_length = 4;
    session.GetMaxFiltersResponse(&max, &reply);
    EXPECT_EQ(session.Printed(), "Max no of filters : -7\n");
}
