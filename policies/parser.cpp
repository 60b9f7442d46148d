#include "policies/parser.h"

#include <algorithm>
#include <iterator>

#include "records/policy.h"

namespace zwmgmt::policy {
namespace {

/// Parentheses, negations and choices within each other.
constexpr int kDeepest = 100;

/// Tests and operators of one rule.
constexpr size_t kMostNodes = 2000;

constexpr const char* kNoMaskWithNet = "can't use '&' masks with 'net'";

std::string Quoted(std::string_view before, std::string_view word, std::string_view after) {
    std::string text(before);
    text.append(word).append(after);
    return text;
}

const Directive* FindDirective(std::string_view word) {
    const auto* row = std::ranges::find(kDirectives, word, &Directive::word);
    return row != std::end(kDirectives) ? row : nullptr;
}

class Parser {
  public:
    Parser(Words* rule_words, size_t number, Tree* parsed_tree, Complaint* rule_complaint)
        : words(*rule_words), rule_number(number), tree(*parsed_tree), complaint(*rule_complaint) {}

    bool Rule() {
        if (words.Is(Mark::kArrow) || words.Is(Mark::kEnd)) {
            return Wrong("empty pattern " + std::to_string(rule_number));
        }
        int root = 0;
        if (!Expression(&root)) return false;
        if (words.Is(Mark::kArrow)) return true;
        return words.Is(Mark::kEnd) ? Wrong("missing '=>' after rule filter") : Unexpected();
    }

  private:
    bool Wrong(std::string text) {
        complaint = {std::move(text), words.Current()};
        return false;
    }

    bool Unexpected() { return Wrong(Quoted("unexpected '", words.Current().text, "'")); }

    bool Add(Node node, int* position) {
        if (tree.size() == kMostNodes) return Wrong("the rule is too long");
        *position = static_cast<int>(tree.size());
        tree.push_back(node);
        return true;
    }

    bool Expression(int* root) {
        if (++depth > kDeepest) return Wrong("nested too deeply");
        if (!Either(root)) return false;
        if (words.Is(Mark::kQuestion)) {
            int yes = 0;
            int no = 0;
            words.Advance();
            if (!Expression(&yes)) return false;
            if (!words.Is(Mark::kColon)) return Wrong("':' missing in ternary expression");
            words.Advance();
            if (!Expression(&no)) return false;
            const Node choice = {
                .kind = Node::kChoice, .first = *root, .second = yes, .third = no, .test = {}};
            if (!Add(choice, root)) return false;
        }
        --depth;
        return true;
    }

    bool Either(int* root) {
        if (!Both(root)) return false;
        while (words.Is(Mark::kOr)) {
            int other = 0;
            words.Advance();
            if (!Both(&other)) return false;
            const Node either = {.kind = Node::kOr, .first = *root, .second = other, .test = {}};
            if (!Add(either, root)) return false;
        }
        return true;
    }

    bool Both(int* root) {
        if (!Unary(root)) return false;
        while (words.Is(Mark::kAnd)) {
            int other = 0;
            words.Advance();
            if (!Unary(&other)) return false;
            const Node both = {.kind = Node::kAnd, .first = *root, .second = other, .test = {}};
            if (!Add(both, root)) return false;
        }
        return true;
    }

    bool Unary(int* root) {
        if (words.Is(Mark::kNot)) {
            if (++depth > kDeepest) return Wrong("nested too deeply");
            words.Advance();
            if (!Unary(root)) return false;
            --depth;
            return Add({.kind = Node::kNot, .first = *root, .test = {}}, root);
        }
        if (words.Is(Mark::kOpen)) {
            words.Advance();
            if (!Expression(root)) return false;
            if (!words.Is(Mark::kClose)) return Wrong("')' missing");
            words.Advance();
            return true;
        }
        if (words.IsName("any") || words.IsName("none")) {
            const Node::Kind kind = words.IsName("any") ? Node::kAny : Node::kNone;
            words.Advance();
            return Add({.kind = kind, .test = {}}, root);
        }
        Node node = {.kind = Node::kTest, .test = {}};
        return ReadTest(&node.test) && Add(node, root);
    }

    /// "src", "dst", "src or dst", "src and dst".
    Side ReadSide() {
        const bool source = words.IsName("src");
        if (!source && !words.IsName("dst")) return Side::kNone;
        words.Advance();
        const bool either = words.Is(Mark::kOr);
        if (!source || !(either || words.Is(Mark::kAnd)) || words.Peek().text != "dst") {
            return source ? Side::kSource : Side::kDestination;
        }
        words.Advance();
        words.Advance();
        return either ? Side::kEither : Side::kBoth;
    }

    bool ReadTest(Test* test) {
        test->side = ReadSide();
        const Directive* directive =
            words.Is(Mark::kName) ? FindDirective(words.Current().text) : nullptr;
        if (directive == nullptr) {
            return words.Is(Mark::kEnd) ? Wrong("unexpected end of rule") : Unexpected();
        }
        if (test->side != Side::kNone && !directive->has_sides) {
            return Wrong(Quoted("'src' or 'dst' is meaningless with '", directive->word, "'"));
        }
        if (test->side == Side::kNone && directive->has_sides) test->side = Side::kEither;
        test->directive = directive;
        test->mask = Ones(directive->bits);
        words.Advance();
        switch (directive->operand) {
            case Operand::kNothing: test->value = directive->value; return true;
            case Operand::kHost: return ReadHost(test);
            case Operand::kNet: return ReadNet(test);
            case Operand::kNumber: return ReadNumber(test);
        }
        return false;
    }

    static bool FindRelation(Mark mark, Relation* relation) {
        switch (mark) {
            case Mark::kEqual: *relation = Relation::kEqual; return true;
            case Mark::kNotEqual: *relation = Relation::kNotEqual; return true;
            case Mark::kLess: *relation = Relation::kLess; return true;
            case Mark::kLessOrEqual: *relation = Relation::kLessOrEqual; return true;
            case Mark::kGreater: *relation = Relation::kGreater; return true;
            case Mark::kGreaterOrEqual: *relation = Relation::kGreaterOrEqual; return true;
            default: return false;
        }
    }

    bool ReadAddress(const Directive& directive, uint32_t* address) {
        Relation relation;
        if (FindRelation(words.Current().mark, &relation)) {
            return Wrong(Quoted("relational operators can't be used with '", directive.word, "'"));
        }
        if (!words.Is(Mark::kAddress)) {
            return Wrong(Quoted("'", directive.word, "' needs an IPv4 address"));
        }
        *address = words.Current().number;
        words.Advance();
        return true;
    }

    bool ReadHost(Test* test) {
        if (!ReadAddress(*test->directive, &test->value)) return false;
        if (words.Is(Mark::kMask) || words.Is(Mark::kSlash)) {
            return Wrong("can't use masks with 'host', use 'net' instead");
        }
        return true;
    }

    /// ADDRESS/LENGTH or ADDRESS mask MASK.
    bool ReadNet(Test* test) {
        if (!ReadAddress(*test->directive, &test->value)) return false;
        if (words.Is(Mark::kMask)) return Wrong(kNoMaskWithNet);
        const bool by_mask = words.IsName("mask");
        if (!by_mask && !words.Is(Mark::kSlash)) {
            return Wrong("'net' needs a prefix length, as in 10.0.0.0/8");
        }
        words.Advance();
        const uint32_t number = words.Current().number;
        if (by_mask ? !words.Is(Mark::kAddress) : !words.Is(Mark::kNumber) || number > 32) {
            return Wrong(by_mask ? "'mask' needs a dotted quad"
                                 : "'net' needs a prefix length between 0 and 32");
        }
        test->mask = by_mask ? number : number == 0 ? 0 : ~Ones(32 - static_cast<int>(number));
        test->value &= test->mask;
        words.Advance();
        return words.Is(Mark::kMask) ? Wrong(kNoMaskWithNet) : true;
    }

    bool ReadValue(const Directive& directive, uint32_t* value) {
        const uint32_t number = words.Current().number;
        if (!words.Is(Mark::kNumber) || number > Ones(directive.bits)) {
            return Wrong(Quoted("'", directive.word, "' needs a number between 0 and ") +
                         std::to_string(Ones(directive.bits)));
        }
        *value = number;
        words.Advance();
        return true;
    }

    bool ReadNumber(Test* test) {
        if (FindRelation(words.Current().mark, &test->relation)) words.Advance();
        if (!ReadValue(*test->directive, &test->value)) return false;
        if (!words.Is(Mark::kMask)) return true;
        if (test->relation != Relation::kEqual && test->relation != Relation::kNotEqual) {
            return Wrong("can't use masks with relational operators");
        }
        words.Advance();
        if (!ReadValue(*test->directive, &test->mask)) return false;
        test->value &= test->mask;
        return true;
    }

    Words& words;
    const size_t rule_number;
    Tree& tree;
    Complaint& complaint;
    int depth = 0;
};

// ---- Settings -------------------------------------------------------------------------------

/// A setting that is there or, negated, not.
struct FlagRow {
    std::string_view word;
    size_t offset;
};

constexpr FlagRow kFlags[] = {
    {"offload", offsetof(PolicySettings, offload)},
    {"ddp", offsetof(PolicySettings, ddp)},
    {"coalesce", offsetof(PolicySettings, coalesce)},
    {"sack", offsetof(PolicySettings, sack)},
    {"timestamp", offsetof(PolicySettings, timestamp)},
    {"tstamp", offsetof(PolicySettings, timestamp)},
};

class SettingsParser {
  public:
    SettingsParser(Words* rule_words, PolicySettings* parsed_settings, Complaint* rule_complaint)
        : words(*rule_words), settings(*parsed_settings), complaint(*rule_complaint) {}

    bool All() {
        while (!words.Is(Mark::kEnd)) {
            if (!One()) return false;
        }
        return true;
    }

  private:
    bool Wrong(std::string text) {
        complaint = {std::move(text), words.Current()};
        return false;
    }

    bool One() {
        const bool negated = words.Is(Mark::kNot);
        if (negated) words.Advance();
        if (negated && words.Is(Mark::kEnd)) {
            return Wrong("incomplete negation at end of rule");
        }
        const std::string_view word = words.Current().text;
        const auto* flag = std::ranges::find(kFlags, word, &FlagRow::word);
        if (flag != std::end(kFlags)) {
            reinterpret_cast<uint8_t*>(&settings)[flag->offset] = !negated;
            words.Advance();
            return true;
        }
        if (negated) return Wrong(Quoted("negation can't be used with '", word, "'"));
        if (words.IsName("bind")) return Bind();
        if (words.IsName("cong")) return Congestion();
        if (words.IsName("class")) return Class();
        return Wrong(Quoted("unexpected '", word, "'"));
    }

    bool Bind() {
        words.Advance();
        if (words.Is(Mark::kEnd)) return Wrong("missing value for 'bind'");
        if (words.IsName("random")) {
            settings.bind = -2;
        } else if (words.IsName("cpu")) {
            settings.bind = -3;
        } else if (words.Is(Mark::kNumber) && words.Current().number <= INT32_MAX) {
            settings.bind = static_cast<int32_t>(words.Current().number);
        } else {
            return Wrong("'bind' needs an integer value >= 0 or 'random' or 'cpu'");
        }
        words.Advance();
        return true;
    }

    bool Congestion() {
        words.Advance();
        const std::string_view word = words.Current().text;
        const auto* row = std::ranges::find(kCongestionWords, word);
        if (row == std::end(kCongestionWords)) {
            return Wrong(Quoted("unknown congestion algorithm ", word, ""));
        }
        settings.congestion = static_cast<uint8_t>(row - kCongestionWords);
        words.Advance();
        return true;
    }

    bool Class() {
        words.Advance();
        const uint32_t number = words.Current().number;
        if (!words.Is(Mark::kNumber) || number < 1 || number > 7) {
            return Wrong("'class' needs an integer value between 1 and 7");
        }
        settings.traffic_class = static_cast<uint16_t>(number);
        words.Advance();
        return true;
    }

    Words& words;
    PolicySettings& settings;
    Complaint& complaint;
};

}  // namespace

bool ParseExpression(Words* words, size_t rule_number, Tree* tree, Complaint* complaint) {
    tree->clear();
    return Parser(words, rule_number, tree, complaint).Rule();
}

bool ParseSettings(Words* words, PolicySettings* settings, Complaint* complaint) {
    *settings = kUnsetPolicySettings;
    return SettingsParser(words, settings, complaint).All();
}

}  // namespace zwmgmt::policy
