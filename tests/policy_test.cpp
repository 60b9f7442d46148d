/// Offload policies: compiler, interpreter, renderer, and the commands that use them.
#include "zwmgmt/policy.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <random>
#include <set>
#include <sstream>

#include "policies/parser.h"
#include "policies/reach.h"
#include "policies/search.h"
#include "tests/support.h"

using namespace testing_support;
using namespace zwmgmt;
using namespace std::string_literals;

namespace {

using Program = std::vector<PolicyInstruction>;

/// The one record of a rule, or a zeroed one with the message in *error.
_OfldPolicy Compiled(const std::string& rule, std::string* error) {
    static FILE* const nowhere = OpenScratchFile();
    std::vector<_OfldPolicy> policies;
    const int failed =
        ParsePolicy(nowhere).ParsePolicyString(rule.c_str(), "eth2", &policies, error);
    EXPECT_EQ(failed != 0, !error->empty()) << rule;
    return policies.size() == 1 ? policies[0] : _OfldPolicy{};
}

std::string ErrorOf(const std::string& rule) {
    std::string error;
    Compiled(rule, &error);
    return error;
}

size_t LengthOf(const _OfldPolicy& policy) {
    return static_cast<size_t>(std::ranges::count_if(
        policy.program, [](const PolicyInstruction& step) { return step.used != 0; }));
}

std::string Target(uint8_t target) {
    return target == kPolicyAccept ? "T" : target == kPolicyReject ? "F" : std::to_string(target);
}

/// "0: TEST T 1; 1: TEST T F"
std::string Listing(const _OfldPolicy& policy) {
    std::string listing;
    for (size_t i = 0; i < LengthOf(policy); ++i) {
        const PolicyInstruction& step = policy.program[i];
        listing += (i > 0 ? "; " : "") + Classifier::TestText(step) + " " + Target(step.on_match) +
                   " " + Target(step.on_miss);
    }
    return listing;
}

bool Same(const _OfldPolicy& a, const _OfldPolicy& b) {
    return std::memcmp(&a, &b, sizeof(a)) == 0;
}

bool Matches(const _OfldPolicy& policy, const PolicyFields& connection) {
    return Classifier::Matches(policy.program, LengthOf(policy), connection);
}

}  // namespace

TEST(PolicyCompiler, SpellingsGiveOneProgram) {
    std::string error;
    for (const auto& row : Cases("policy_spellings")) {
        for (const std::string& spelling : Split(row[0], " ~ ")) {
            const _OfldPolicy policy = Compiled(spelling + " => offload", &error);
            EXPECT_EQ(error, "");
            EXPECT_EQ(row[1] == "-" ? "-" : Listing(policy), row[1]) << spelling;
        }
    }
}

TEST(PolicyCompiler, SaysWhatIsWrongAndWhere) {
    std::string many = "any";
    for (int i = 0; i < 1000; ++i) many += " or any";
    std::string hosts;
    for (int i = 0; i < 520; ++i) {
        hosts += (i > 0 ? " or " : "") + "src host 10."s + std::to_string(i / 256) + "." +
                 std::to_string(i % 256 ^ i / 3 % 7) + "." + std::to_string(i * 37 % 251);
    }
    for (const auto& row : Cases("policy_errors")) EXPECT_EQ(ErrorOf(row[0]), "rule 1: " + row[1]);
    EXPECT_EQ(ErrorOf(hosts + " => ddp"),
              "rule 1: the filter needs more than 512 instructions, and the adapter holds 8");
    EXPECT_TRUE(ErrorOf(many + " => x").starts_with("rule 1: the rule is too long (column "));
    EXPECT_EQ(ErrorOf("not " + many.substr(7) + " => ddp"), "");
    for (const std::string& step : {"("s, "not "s}) {
        const auto nested = [&](size_t depth) {
            std::string rule;
            for (size_t i = 0; i < depth; ++i) rule += step;
            return rule + "any" + (step == "(" ? std::string(depth, ')') : "") + " => ddp";
        };
        EXPECT_EQ(ErrorOf(nested(step == "(" ? 99 : 98)), "");
        EXPECT_NE(ErrorOf(nested(100)).find("nested too deeply"), std::string::npos);
    }
    EXPECT_TRUE(ErrorOf("any => ddp\n\n;# no rule\nany => ddp;any => foo").starts_with("rule 3: "));
}

TEST(PolicySettingsText, EverySettingBecomesItsBytes) {
    std::string error;
    const PolicySettings unset = Compiled("any => ", &error).settings;
    EXPECT_EQ(std::memcmp(&unset, &kUnsetPolicySettings, sizeof(unset)), 0);
    for (const auto& row : Cases("policy_settings")) {
        const _OfldPolicy policy = Compiled("any => " + row[0], &error);
        EXPECT_EQ(error, "");
        const auto* bytes = reinterpret_cast<const char*>(&policy.settings);
        EXPECT_EQ(std::string(bytes, sizeof(policy.settings)), Unhex(row[1])) << row[0];
        const std::string again = "any => " + ParsePolicy::SettingsText(policy.settings);
        EXPECT_TRUE(Same(Compiled(again, &error), policy)) << again;
    }
}

// ---- Against a direct evaluation --------------------------------------------------------------

namespace {

using policy::FieldId;
using policy::Node;
using policy::Relation;
using policy::Side;
using policy::Test;
using policy::Tree;

uint32_t Quad(const uint8_t* o) {
    return uint32_t{o[0]} << 24 | uint32_t{o[1]} << 16 | uint32_t{o[2]} << 8 | o[3];
}

uint32_t ValueOf(const PolicyFields& c, FieldId field) {
    switch (field) {
        case FieldId::kSourceAddress: return Quad(c.source_address);
        case FieldId::kDestinationAddress: return Quad(c.destination_address);
        case FieldId::kSourcePort: return c.source_port;
        case FieldId::kDestinationPort: return c.destination_port;
        case FieldId::kVlan: return c.vlan;
        case FieldId::kTos: return c.tos;
        case FieldId::kVersion: return c.version;
        case FieldId::kOpen: return c.open;
        case FieldId::kMark: return c.mark;
    }
    return 0;
}

bool Holds(const Test& test, uint32_t field) {
    const uint32_t value = field >> test.directive->shift;
    switch (test.relation) {
        case Relation::kEqual: return (value & test.mask) == (test.value & test.mask);
        case Relation::kNotEqual: return (value & test.mask) != (test.value & test.mask);
        case Relation::kLess: return value < test.value;
        case Relation::kLessOrEqual: return value <= test.value;
        case Relation::kGreater: return value > test.value;
        case Relation::kGreaterOrEqual: return value >= test.value;
    }
    return false;
}

bool Evaluate(const Tree& tree, int position, const PolicyFields& c) {
    const Node& node = tree[static_cast<size_t>(position)];
    const auto side = [&](int offset) {
        return Holds(node.test,
                     ValueOf(c, static_cast<FieldId>(static_cast<int>(node.test.directive->field) +
                                                     offset)));
    };
    switch (node.kind) {
        case Node::kAny: return true;
        case Node::kNone: return false;
        case Node::kNot: return !Evaluate(tree, node.first, c);
        case Node::kAnd: return Evaluate(tree, node.first, c) && Evaluate(tree, node.second, c);
        case Node::kOr: return Evaluate(tree, node.first, c) || Evaluate(tree, node.second, c);
        case Node::kChoice:
            return Evaluate(tree, Evaluate(tree, node.first, c) ? node.second : node.third, c);
        case Node::kTest: break;
    }
    switch (node.test.side) {
        case Side::kNone:
        case Side::kSource: return side(0);
        case Side::kDestination: return side(1);
        case Side::kEither: return side(0) || side(1);
        case Side::kBoth: return side(0) && side(1);
    }
    return false;
}

/// The numbers of a field around those that its tests name.
std::set<uint32_t> NumbersAround(const Tree& tree, FieldId field) {
    std::set<uint32_t> numbers = {0};
    for (const Node& node : tree) {
        if (node.kind != Node::kTest) continue;
        const policy::Directive& directive = *node.test.directive;
        const int side = static_cast<int>(field) - static_cast<int>(directive.field);
        const Side other = side == 0 ? Side::kDestination : Side::kSource;
        if (side != 0 && (side != 1 || !directive.has_sides)) continue;
        if (node.test.side == other) continue;
        for (const uint32_t value : {node.test.value - 1, node.test.value, node.test.value + 1}) {
            numbers.insert((value & policy::Ones(directive.bits)) << directive.shift);
        }
    }
    return numbers;
}

policy::Cube NumberIn(FieldId field, uint32_t number) {
    return policy::FieldCube(field, number, policy::Ones(policy::BitsOf(field)));
}

PolicyFields ConnectionOf(const policy::Cube& cube) {
    PolicyFields connection;
    std::memcpy(&connection, cube.value, sizeof(connection));
    return connection;
}

bool Interpret(const std::vector<policy::Step>& steps, const PolicyFields& c) {
    policy::Cube fields;
    std::memcpy(fields.value, &c, sizeof(c));
    int at = steps.empty() ? policy::kReject : 0;
    while (at >= 0) {
        const policy::Step& step = steps[static_cast<size_t>(at)];
        bool equal = true;
        for (int i = 0; i < 3; ++i) {
            equal &= (fields.value[i] & step.cube.mask[i]) == step.cube.value[i];
        }
        at = equal ? step.on_match : step.on_miss;
    }
    return at == policy::kAccept;
}

class Random {
  public:
    explicit Random(uint32_t seed) : engine(seed) {}
    int Below(int end) { return static_cast<int>(engine() % static_cast<unsigned>(end)); }
    template <class T, size_t N>
    T One(const T (&of)[N]) {
        return of[Below(static_cast<int>(N))];
    }

    /// Few values, so that tests meet.
    uint32_t Number(uint32_t highest) {
        const uint32_t values[] = {0,  1,   2,    3,           5,           64,     80,
                                   81, 443, 1024, highest / 2, highest - 1, highest};
        const uint32_t value = Below(5) == 0 ? static_cast<uint32_t>(engine()) : One(values);
        return value & highest;
    }

    std::string Expression(int depth) {
        switch (depth > 0 ? Below(10) : 9) {
            case 0:
            case 1: return "(" + Expression(depth - 1) + " and " + Expression(depth - 1) + ")";
            case 2:
            case 3: return "(" + Expression(depth - 1) + " or " + Expression(depth - 1) + ")";
            case 4: return "not " + Expression(depth - 1);
            case 5:
                return "(" + Expression(depth - 1) + " ? " + Expression(depth - 1) + " : " +
                       Expression(depth - 1) + ")";
            case 6: return Range();
            case 7: return Group();
            default: return TestText();
        }
    }

    const char* NumberWord() {
        return One({"port", "port", "src port", "dst port", "dst port", "vlan", "tos", "mark"});
    }

    std::string Range() {
        const std::string word = NumberWord();
        const uint32_t highest = word == "vlan" ? 4095 : word == "tos" ? 255 : 65535;
        const uint32_t one = Number(highest);
        const uint32_t other = Number(highest);
        return "(" + word + " >= " + std::to_string(std::min(one, other)) + " and " + word +
               " <= " + std::to_string(std::max(one, other)) + ")";
    }

    /// A test, and alternatives of one word.
    std::string Group() {
        const std::string word = NumberWord();
        std::string text = "(" + TestText() + " and (";
        for (int i = 0, count = 2 + Below(5); i < count; ++i) {
            text += (i > 0 ? " or " : "") + word + " " + std::to_string(Number(255));
        }
        return text + "))";
    }

    std::string TestText() {
        const char* const sides[] = {"", "src ", "dst ", "dst ", "src or dst ", "src and dst "};
        const auto* directives = policy::kDirectives;
        const auto& directive = directives[Below(static_cast<int>(std::size(policy::kDirectives)))];
        const std::string word =
            (directive.has_sides ? One(sides) : "") + std::string(directive.word);
        const uint32_t highest = policy::Ones(directive.bits);
        const char* const relations[] = {" ", " ", " != ", " < ", " <= ", " > ", " >= "};
        switch (directive.operand) {
            case policy::Operand::kNothing: return Below(20) == 0 ? "any" : word;
            case policy::Operand::kHost: return word + " " + Address();
            case policy::Operand::kNet:
                return word + " " + Address() + "/" + std::to_string(Below(33));
            case policy::Operand::kNumber: break;
        }
        const std::string relation = One(relations);
        std::string text = word + relation + std::to_string(Number(highest));
        if (relation.size() < 3 && Below(4) == 0) text += " & " + std::to_string(Number(highest));
        return text;
    }

    std::string Address() {
        const char* const some[] = {"10.0.0.1",      "10.0.0.2", "10.1.0.0",
                                    "192.168.7.255", "0.0.0.0",  "255.255.255.255"};
        return One(some);
    }

    /// Of numbers around those of the tests.
    PolicyFields Connection(const std::vector<uint32_t> (&numbers)[policy::kFieldCount]) {
        policy::Cube chosen;
        for (int i = 0; i < policy::kFieldCount; ++i) {
            const int which = Below(static_cast<int>(numbers[i].size()));
            const uint32_t number = numbers[i][static_cast<size_t>(which)];
            chosen = chosen.And(NumberIn(static_cast<FieldId>(i), number));
        }
        return ConnectionOf(chosen);
    }

  private:
    std::mt19937 engine;
};

/// Each connection of numbers around those of the tests; all ports of a side that is alone.
template <class Take>
void ForEachToTry(const Tree& tree, int field, const policy::Cube& chosen, const Take& take) {
    if (field == policy::kFieldCount) return take(ConnectionOf(chosen));
    const auto id = static_cast<FieldId>(field);
    std::set<uint32_t> numbers = NumbersAround(tree, id);
    const bool alone = std::ranges::all_of(tree, [&](const Node& node) {
        return node.kind != Node::kTest || (id == FieldId::kDestinationPort &&
                                            node.test.directive->field == FieldId::kSourcePort &&
                                            node.test.side == Side::kDestination);
    });
    for (uint32_t i = 0; alone && i <= 0xFFFF; ++i) numbers.insert(i);
    for (const uint32_t number : numbers) {
        ForEachToTry(tree, field + 1, chosen.And(NumberIn(id, number)), take);
    }
}

Tree TreeOf(const std::string& rule) {
    Tree tree;
    policy::Complaint complaint;
    policy::Words words(rule);
    EXPECT_TRUE(ParseExpression(&words, 1, &tree, &complaint)) << rule << complaint.text;
    return tree;
}

size_t StepsOf(const std::string& expression) {
    policy::Formula formula;
    policy::Generator generator;
    std::vector<policy::Step> steps;
    formula.Build(TreeOf(expression + " =>"));
    EXPECT_TRUE(Compose(formula, &generator, &steps)) << expression;
    return steps.size();
}

}  // namespace

TEST(PolicyCompiler, FindsShortProgramsThatMeanTheSame) {
    for (const auto& row : Cases("policy_lengths")) {
        std::string error;
        const std::string rule = row[0] + " => offload";
        const _OfldPolicy policy = Compiled(rule, &error);
        ASSERT_EQ(error, "");
        EXPECT_LE(LengthOf(policy), std::stoul(row[1])) << rule;
        const Tree tree = TreeOf(rule);
        int differences = 0;
        ForEachToTry(tree, 0, {}, [&](const PolicyFields& c) {
            differences +=
                Matches(policy, c) != Evaluate(tree, static_cast<int>(tree.size()) - 1, c);
        });
        EXPECT_EQ(differences, 0) << rule;
    }
}

TEST(PolicyCompiler, MostRangesFit) {
    const auto fits = [](uint32_t low, uint32_t high) {
        return StepsOf("dst port >= " + std::to_string(low) +
                       " and dst port <= " + std::to_string(high)) <= kPolicyInstructions;
    };
    int round = 0;
    for (uint32_t m = 1; m <= 65; ++m) {
        for (uint32_t n = m + 1; n <= 65; ++n) {
            round += fits(m * 1000, std::min(n * 1000, 0xFFFFu));
        }
    }
    EXPECT_GE(round, 698);
    std::mt19937 random(10);
    int any = 0;
    for (int i = 0; i < 1500; ++i) {
        const uint32_t one = random() & 0xFFFF;
        const uint32_t other = random() & 0xFFFF;
        any += fits(std::min(one, other), std::max(one, other));
    }
    EXPECT_GE(any, 298);
}

/// ZWMGMT_POLICY_CASES sets the number of expressions.
TEST(PolicyCompiler, AgreesWithADirectEvaluation) {
    const char* wanted = std::getenv("ZWMGMT_POLICY_CASES");
    const int cases = wanted != nullptr ? std::atoi(wanted) : 4000;
    Random random(20261121);
    policy::Formula formula;
    policy::Generator generator;
    int compiled = 0;
    int accepted = 0;
    int beyond = 0;
    for (int i = 0; i < cases; ++i) {
        const std::string expression = random.Expression(1 + i % 4);
        const std::string rule = expression + " => offload";
        const Tree tree = TreeOf(rule);
        formula.Build(tree);
        std::vector<policy::Step> steps;
        if (!Compose(formula, &generator, &steps)) continue;
        beyond += steps.size() > kPolicyInstructions;
        std::vector<uint32_t> numbers[policy::kFieldCount];
        for (int field = 0; field < policy::kFieldCount; ++field) {
            const auto around = NumbersAround(tree, static_cast<FieldId>(field));
            numbers[field].assign(around.begin(), around.end());
        }
        const bool can_match = CanMatch(steps);
        std::string error;
        const _OfldPolicy record = Compiled(rule, &error);
        const bool fits = error.empty();
        EXPECT_EQ(fits, can_match && steps.size() <= kPolicyInstructions) << expression << error;
        for (int j = 0; j < 25; ++j) {
            const PolicyFields connection = random.Connection(numbers);
            const bool expected = Evaluate(tree, static_cast<int>(tree.size()) - 1, connection);
            ASSERT_EQ(Interpret(steps, connection), expected) << expression;
            ASSERT_TRUE(can_match || !expected) << expression;
            ASSERT_TRUE(!fits || Matches(record, connection) == expected) << expression;
            accepted += expected;
        }
        if (!fits) continue;
        ++compiled;
        std::string text;
        ASSERT_EQ(ParsePolicy::ParsePolicyStructure(record, &text), 0);
        ASSERT_TRUE(Same(Compiled(text, &error), record)) << expression << '\n'
                                                          << text << '\n'
                                                          << error;
    }
    EXPECT_GT(compiled, cases / 3);
    EXPECT_GT(beyond, cases / 20);
    EXPECT_GT(accepted, cases);
}

/// Beside those that the compiler makes: policy_record_fuzz renders any.
TEST(PolicyRenderer, TakesRecordsOfOthers) {
    const Table<uint8_t, uint8_t, std::string> opens = {
        {1, 0, "not (listen or popen)"},          {1, 1, "(listen or popen)"},
        {2, 0, "not (aopen or popen)"},           {2, 2, "(aopen or popen)"},
        {3, 0, "not (listen or aopen or popen)"}, {3, 3, "popen"}};
    std::string text;
    for (const auto& [mask, value, said] : opens) {
        _OfldPolicy policy = {};
        PolicyInstruction& step = policy.program[0];
        step.value.open = value;
        step.mask.open = mask;
        step.used = 1;
        step.on_match = kPolicyAccept;
        step.on_miss = kPolicyReject;
        policy.settings = kUnsetPolicySettings;
        ASSERT_EQ(ParsePolicy::ParsePolicyStructure(policy, &text), 0);
        EXPECT_EQ(text, said + " => !offload");
    }
    const _OfldPolicy empty = {};
    EXPECT_EQ(ParsePolicy::ParsePolicyStructure(empty, &text), 0);
    EXPECT_EQ(text,
              "(no program) => !offload !ddp bind 0 class 0 cong reno !coalesce !sack !tstamp");
}

// ---- The document and the commands ------------------------------------------------------------

TEST(PolicyDocument, ExamplesAreTrue) {
    std::ifstream document(DOCS "/policy.md");
    int examples = 0;
    for (std::string line; std::getline(document, line);) {
        if (!line.starts_with("| `") || line.find(" => ") == std::string::npos) continue;
        const auto cells = Split(Replaced(line, "`", ""), " |");
        ASSERT_EQ(cells.size(), 5u) << line;
        const TemporaryFile file(cells[0].substr(2));
        for (const bool matches : {true, false}) {
            auto words = Words("policy check " + file.Path() + ' ' + cells[matches ? 2 : 3]);
            if (words.size() == 3) continue;
            const std::string out = Zwcli(1, words).out;
            EXPECT_EQ(std::ranges::count(out, '\n'), std::stol(cells[1]) + 3) << out;
            EXPECT_TRUE(out.find(matches ? "\nrule 1 decides: " : "\nno rule matches\n") !=
                        out.npos)
                << out << cells[2] << cells[3];
        }
        ++examples;
    }
    EXPECT_EQ(examples, 20);
}

TEST(PolicyFiles, RulesOverSeveralLines) {
    const TemporaryFile file(
        "# a comment; any => x\n\nsrc port 1\n  and dst port 2 # why\n\t=> offload\r\n"
        "vlan 3 => ddp; vlan 4 =>\n# in between\n sack\n");
    std::vector<_OfldPolicy> policies;
    std::string error;
    ParsePolicy parser;
    EXPECT_EQ(parser.ParsePolicyFile(file.Path().c_str(), "eth2", &policies, &error), 0) << error;
    ASSERT_EQ(policies.size(), 3u);
    EXPECT_EQ(Listing(policies[0]), "src port 1 and dst port 2 T F");
    EXPECT_EQ(policies[2].settings.sack, 1);
    EXPECT_STREQ(policies[2].interface_name, "eth2");
    EXPECT_EQ(parser.ParsePolicyFile("/no/such/file", "eth2", &policies, &error), 1);
    EXPECT_EQ(error, "");
    EXPECT_EQ(parser.build_policy_vector({}, "eth2", &policies, &error), 0);
    EXPECT_EQ(policies.size(), 3u);
    parser.PrintNothing();
    EXPECT_EQ(parser.build_policy_vector({"any =>", "any => x"}, "eth2", &policies, &error), 1);
    EXPECT_EQ(error, "rule 2: unexpected 'x' (column 8: 'x')");
}
