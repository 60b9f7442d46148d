/// Programs and settings back to text. The text of a program is found in a readable form first;
/// where that would compile to another program, it is written as choices, which compile to what
/// they say. What no text compiles to, but for its meaning, is written as what it means.
#include <algorithm>
#include <bit>
#include <new>

#include "platform/address.h"
#include "policies/reach.h"
#include "records/policy.h"
#include "zwmgmt/policy.h"

using namespace zwmgmt;
using policy::Ones;

namespace {

std::string Hexadecimal(uint32_t number) {
    char text[16];
    std::snprintf(text, sizeof(text), "0x%x", number);
    return text;
}

std::string Quad(const uint8_t* octets) {
    char text[16] = "";
    platform::FormatAddress(platform::Family::kIpv4, octets, text, sizeof(text));
    return text;
}

uint32_t NumberOf(const uint8_t* octets) {
    return uint32_t{octets[0]} << 24 | uint32_t{octets[1]} << 16 | uint32_t{octets[2]} << 8 |
           octets[3];
}

/// The terms of one test, joined by "and".
class TermList {
  public:
    void Address(const char* side, const uint8_t* value, const uint8_t* mask) {
        const uint32_t bits = NumberOf(mask);
        if (bits == 0) return;
        if (bits == UINT32_MAX) return Add(std::string(side) + " host " + Quad(value));
        const int length = std::popcount(bits);
        const bool prefix = bits == ~Ones(32 - length);
        Add(std::string(side) + " net " + Quad(value) +
            (prefix ? "/" + std::to_string(length) : " mask " + Quad(mask)));
    }

    void Number(const char* word, uint32_t value, uint32_t mask, int bits) {
        if (mask == 0) return;
        const std::string under = mask == Ones(bits) ? "" : " & " + Hexadecimal(mask);
        Add(std::string(word) + " " + std::to_string(value & mask) + under);
    }

    void Open(uint8_t value, uint8_t mask) {
        static constexpr const char* kWords[] = {"listen", "aopen", "popen"};
        mask &= 3;
        value &= mask;
        if (mask == 0) return;
        if (mask == 3 && value != 0) return Add(kWords[value - 1]);
        // One bit alone is what some of the words have in common. A connection that is none of
        // them has neither bit.
        std::string words;
        for (uint8_t open = 1; open <= 3; ++open) {
            if (((open & mask) == value) == (value == 0)) continue;
            words += (words.empty() ? "" : " or ") + std::string(kWords[open - 1]);
        }
        Add((value == 0 ? "not (" : "(") + words + ")");
    }

    std::string text;
    int count = 0;

  private:
    void Add(const std::string& term) {
        text += (count == 0 ? "" : " and ") + term;
        ++count;
    }
};

TermList TermsOf(const PolicyInstruction& instruction) {
    const PolicyFields& value = instruction.value;
    const PolicyFields& mask = instruction.mask;
    TermList terms;
    terms.Address("src", value.source_address, mask.source_address);
    terms.Address("dst", value.destination_address, mask.destination_address);
    terms.Number("src port", value.source_port, mask.source_port, 16);
    terms.Number("dst port", value.destination_port, mask.destination_port, 16);
    terms.Number("vlan", value.vlan, mask.vlan, 12);
    if (mask.tos == 0xFC) {
        terms.Number("dscp", value.tos >> 2, mask.tos >> 2, 6);
    } else {
        terms.Number("tos", value.tos, mask.tos, 8);
    }
    terms.Number("vers", value.version, mask.version, 4);
    terms.Number("mark", value.mark, mask.mark, 32);
    terms.Open(value.open, mask.open);
    return terms;
}

/// What a piece of text binds as tightly as.
enum class Binding { kChoice, kEither, kBoth, kUnary };

struct Piece {
    std::string text;
    Binding binding = Binding::kUnary;
};

std::string Within(const Piece& piece, Binding binding) {
    return piece.binding < binding ? "(" + piece.text + ")" : piece.text;
}

Piece Joined(const Piece& left, const char* word, const Piece& right, Binding binding) {
    return {Within(left, binding) + word + Within(right, binding), binding};
}

enum class Style { kReadable, kChoices };

class Renderer {
  public:
    Renderer(const PolicyInstruction* rendered_program, size_t instruction_count, Style text_style)
        : program(rendered_program), count(instruction_count), style(text_style) {}

    Piece From(uint8_t position) const {
        if (position == kPolicyAccept) return {"any"};
        if (position == kPolicyReject) return {"none"};
        const PolicyInstruction& step = program[position];
        const TermList terms = TermsOf(step);
        const Piece test = {terms.count == 0 ? "any" : terms.text,
                            terms.count > 1 ? Binding::kBoth : Binding::kUnary};
        const uint8_t yes = step.on_match;
        const uint8_t no = step.on_miss;
        if (style == Style::kReadable) {
            const Piece negated = {"not " + Within(test, Binding::kUnary), Binding::kUnary};
            if (yes == kPolicyAccept && no == kPolicyReject) return test;
            if (yes == kPolicyReject && no == kPolicyAccept) return negated;
            if (no == kPolicyReject) return Joined(test, " and ", From(yes), Binding::kBoth);
            if (yes == kPolicyReject) return Joined(negated, " and ", From(no), Binding::kBoth);
            if (yes == kPolicyAccept) return Joined(test, " or ", From(no), Binding::kEither);
            if (no == kPolicyAccept) return Joined(negated, " or ", From(yes), Binding::kEither);
        }
        return {Within(test, Binding::kEither) + " ? " + Within(From(yes), Binding::kEither) +
                    " : " + Within(From(no), Binding::kEither),
                Binding::kChoice};
    }

    /// Whether every step leads to an end or to a later one.
    bool IsSound() const {
        for (size_t i = 0; i < count; ++i) {
            for (const uint8_t target : {program[i].on_match, program[i].on_miss}) {
                const bool end = target == kPolicyAccept || target == kPolicyReject;
                if (!end && (target <= i || target >= count)) return false;
            }
        }
        return count > 0;
    }

  private:
    const PolicyInstruction* program;
    size_t count;
    Style style;
};

size_t LengthOf(const PolicyInstruction (&program)[kPolicyInstructions]) {
    size_t count = 0;
    while (count < kPolicyInstructions && program[count].used != 0) ++count;
    return count;
}

enum class Likeness { kNone, kMeaning, kBytes };

/// What a rule that was rendered has in common with the record.
Likeness LikenessOf(const std::string& rule, const _OfldPolicy& policy, size_t count) {
    Classifier classifier;
    std::vector<PolicyInstruction> program;
    PolicySettings settings = {};
    if (!classifier.Compile(rule, 1, &program, &settings) ||
        std::memcmp(&settings, &policy.settings, sizeof(settings)) != 0) {
        return Likeness::kNone;
    }
    if (program.size() == count &&
        std::memcmp(program.data(), policy.program, count * sizeof(program[0])) == 0) {
        return Likeness::kBytes;
    }
    for (size_t i = 0; i < count; ++i) {
        // What the adapter may read there, no text says.
        const PolicyInstruction& step = policy.program[i];
        const auto is_zero = [](uint8_t byte) { return byte == 0; };
        if (step.used != 1 || !std::ranges::all_of(step.reserved45, is_zero)) {
            return Likeness::kNone;
        }
    }
    int64_t budget = 1'000'000;
    const bool same = policy::AcceptTheSame(policy::StepsOf(program.data(), program.size()),
                                            policy::StepsOf(policy.program, count),
                                            &budget) == policy::Answer::kYes;
    return same ? Likeness::kMeaning : Likeness::kNone;
}

void AddFlag(std::string* text, const char* word, uint8_t flag) {
    if (flag == 0xFF) return;
    *text += flag != 0 ? " " : " !";
    *text += word;
}

void Render(const _OfldPolicy& policy, std::string* text) {
    const size_t count = LengthOf(policy.program);
    const std::string settings = " => " + ParsePolicy::SettingsText(policy.settings);
    if (!Renderer(policy.program, count, Style::kReadable).IsSound()) {
        *text = "(no program)" + settings;
        return;
    }
    *text = Renderer(policy.program, count, Style::kReadable).From(0).text + settings;
    const Likeness readable = LikenessOf(*text, policy, count);
    if (readable == Likeness::kBytes) return;
    const std::string choices =
        Renderer(policy.program, count, Style::kChoices).From(0).text + settings;
    const Likeness exact = LikenessOf(choices, policy, count);
    if (readable == Likeness::kMeaning && exact != Likeness::kBytes) return;
    *text = choices;
    if (exact == Likeness::kNone) *text += " # not all of the record";
}

}  // namespace

std::string Classifier::TestText(const PolicyInstruction& instruction) {
    const TermList terms = TermsOf(instruction);
    return terms.count == 0 ? "any" : terms.text;
}

std::string ParsePolicy::SettingsText(const PolicySettings& settings) {
    std::string text = settings.offload != 0 ? "offload" : "!offload";
    AddFlag(&text, "ddp", settings.ddp);
    if (settings.bind == -2) text += " bind random";
    if (settings.bind == -3) text += " bind cpu";
    if (settings.bind >= 0) text += " bind " + std::to_string(settings.bind);
    if (settings.traffic_class != 0xFFFF) {
        text += " class " + std::to_string(settings.traffic_class);
    }
    if (settings.congestion < std::size(kCongestionWords)) {
        text += std::string(" cong ") + kCongestionWords[settings.congestion];
    }
    AddFlag(&text, "coalesce", settings.coalesce);
    AddFlag(&text, "sack", settings.sack);
    AddFlag(&text, "tstamp", settings.timestamp);
    return text;
}

int ParsePolicy::ParsePolicyStructure(const _OfldPolicy& policy, std::string* text) noexcept {
    try {
        Render(policy, text);
        return 0;
    } catch (const std::bad_alloc&) {
        return 1;
    }
}
