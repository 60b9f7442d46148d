/// What operators have for policies: reading, connections, explaining, comparing, formatting.
#include <algorithm>
#include <filesystem>
#include <map>
#include <random>

#include "policies/compare.h"
#include "policies/connection.h"
#include "policies/format.h"
#include "tests/support.h"
#include "zwmgmt/policy.h"

using namespace testing_support;
using namespace zwmgmt::policy;

/// tests/cases/policy_tool.
TEST(PolicyTool, SaysWhatItMakesOfItsFiles) {
    const TemporaryFile rules("vlan 5 => offload\nany => !offload\n");
    const std::string folder = std::filesystem::temp_directory_path().string();
    for (const auto& row : Cases("policy_tool")) {
        const std::string words =
            Replaced(Replaced(row[1], "%rules", rules.Path()), "%folder", folder);
        const ProcessResult run = Zwcli(1, Words(words), row[0]);
        const std::string in_json = Replaced(rules.Path(), "\\", "\\\\");
        const std::string out =
            Replaced(Replaced(run.out, in_json, "%rules"), rules.Path(), "%rules");
        const std::string where = row[0] + " | " + words + " | " + run.out + run.err;
        EXPECT_EQ(run.exit_status, Number(row[2])) << where;
        EXPECT_EQ(out, row[3]) << where;
        const std::string said = Replaced(run.err, "korvane_zwcli: ", "");
        EXPECT_TRUE(row[4].starts_with("...") ? said.find(row[4].substr(3)) != said.npos
                                              : said == row[4])
            << where;
    }
}

TEST(PolicyTool, FormatsWithoutChangingRecords) {
    const auto records = [](const std::string& text) {
        const TemporaryFile file(text);
        std::vector<_OfldPolicy> policies;
        std::string error;
        ParsePolicy parser;
        parser.PrintNothing();
        EXPECT_EQ(parser.ParsePolicyFile(file.Path().c_str(), "", &policies, &error), 0) << error;
        const auto* bytes = reinterpret_cast<const char*>(policies.data());
        return std::string(bytes, policies.size() * sizeof(_OfldPolicy));
    };
    std::string text;
    for (const auto& row : Cases("policy_spellings")) {
        text +=
            Replaced(Replaced(row[0], "\r", " "), " ~ ", "=>ddp # ~\n") + "\n # in it\n =>sack;";
    }
    for (const auto& row : Cases("policy_settings")) text += "any\n#\n =>" + row[0] + "\r\n\r\n";
    const std::string formatted = Format(text);
    EXPECT_EQ(Format(formatted), formatted);
    EXPECT_TRUE(records(formatted) == records(text));
    EXPECT_EQ(std::ranges::count(formatted, '#'), std::ranges::count(text, '#'));
}

// ---- Against all that can be ------------------------------------------------------------------

namespace {

/// Programs that look at the type of service alone, so that every connection can be tried.
class SmallWorld {
  public:
    explicit SmallWorld(uint32_t seed) : random(seed) {}

    int Below(int end) { return static_cast<int>(random() % static_cast<unsigned>(end)); }

    std::vector<Step> Program() {
        std::vector<Step> program;
        const int count = 1 + Below(4);
        const auto target = [&](int from) {
            return from + 1 < count && Below(2) == 0 ? from + 1 + Below(count - from - 1)
                   : Below(2) == 0                   ? kAccept
                                                     : kReject;
        };
        for (int i = 0; i < count; ++i) {
            const auto mask = static_cast<uint32_t>(random() & random() & 0xFF);
            const Cube cube = FieldCube(FieldId::kTos, random() & 0xFF, mask);
            program.push_back({cube, target(i), target(i)});
        }
        return program;
    }

    LoadedPolicy Policy() {
        LoadedPolicy policy;
        for (int i = Below(5); i >= 0; --i) {
            policy.push_back(LoadRule(Program(), zwmgmt::kUnsetPolicySettings, 1));
            policy.back().settings.offload = static_cast<uint8_t>(Below(2));
        }
        return policy;
    }

    template <class Holds>
    static bool Exists(Holds holds) {
        PolicyFields fields = {};
        for (int tos = 0; tos < 256; ++tos) {
            fields.tos = static_cast<uint8_t>(tos);
            if (holds(fields)) return true;
        }
        return false;
    }

    /// A connection that has the bits, read from its text.
    static PolicyFields FieldsOf(const Cube& bits) {
        Connection connection;
        for (const std::string& word : Words(ConnectionText(bits))) {
            EXPECT_EQ(TakeWord(word, &connection), "");
        }
        return connection.fields;
    }

  private:
    std::mt19937 random;
};

int SettingsOf(const LoadedPolicy& policy, const PolicyFields& fields) {
    const size_t rule = DecidingRule(policy, fields);
    return rule == kNoRule ? -1 : policy[rule].settings.offload;
}

}  // namespace

TEST(PolicyReach, FindsAConnectionWhereThereIsOne) {
    SmallWorld world(1);
    std::map<Answer, int> answers;
    for (int i = 0; i < 3000; ++i) {
        std::vector<std::vector<Step>> programs;
        std::vector<Demand> demands;
        for (int j = world.Below(12); j >= 0; --j) programs.push_back(world.Program());
        for (const auto& program : programs) {
            demands.push_back({program, world.Below(4) == 0 ? kAccept : kReject});
        }
        const auto meets = [&](const PolicyFields& fields) {
            return std::ranges::all_of(demands, [&](const Demand& demand) {
                return Accepts(demand.program, fields) == (demand.end == kAccept);
            });
        };
        int64_t budget = world.Below(8) == 0 ? world.Below(30) : 1'000'000;
        Cube witness;
        const Answer answer = FindConnection(demands, &budget, &witness);
        ++answers[answer];
        if (answer == Answer::kUnknown) continue;
        ASSERT_EQ(answer == Answer::kYes, SmallWorld::Exists(meets)) << i;
        ASSERT_TRUE(answer == Answer::kNo || meets(SmallWorld::FieldsOf(witness))) << i;
    }
    for (const Answer answer : {Answer::kYes, Answer::kNo, Answer::kUnknown}) {
        EXPECT_GT(answers[answer], 50);
    }
}

TEST(PolicyReach, ComparesAndExplainsExactly) {
    SmallWorld world(2);
    int alike = 0;
    for (int i = 0; i < 2000; ++i) {
        const LoadedPolicy one = world.Policy();
        LoadedPolicy other = world.Below(2) == 0 ? world.Policy() : one;
        if (world.Below(2) == 0) other.insert(other.begin(), one.begin(), one.end());
        int64_t budget = 10'000'000;
        const Difference difference = Compare(one, other, &budget);
        const auto differ = [&](const PolicyFields& fields) {
            return SettingsOf(one, fields) != SettingsOf(other, fields);
        };
        ASSERT_EQ(difference.alike == Answer::kNo, SmallWorld::Exists(differ)) << i;
        alike += difference.alike == Answer::kYes;
        if (difference.alike == Answer::kNo) {
            const PolicyFields fields = SmallWorld::FieldsOf(difference.connection);
            ASSERT_EQ(DecidingRule(one, fields), difference.first);
            ASSERT_EQ(DecidingRule(other, fields), difference.second);
        }
        for (size_t rule = 0; rule < one.size(); ++rule) {
            const RuleFate fate = FateOf(one, rule, &budget);
            const auto decides = [&](const PolicyFields& fields) {
                return DecidingRule(one, fields) == rule;
            };
            ASSERT_EQ(fate.decides == Answer::kYes, SmallWorld::Exists(decides)) << i;
            for (size_t earlier = 0; earlier < rule; ++earlier) {
                const bool overlaps = SmallWorld::Exists([&](const PolicyFields& fields) {
                    return Accepts(one[rule].program, fields) &&
                           Accepts(one[earlier].program, fields);
                });
                ASSERT_EQ(overlaps, std::ranges::count(fate.overlapped, earlier) == 1) << i;
            }
        }
    }
    EXPECT_GT(alike, 300);
}
