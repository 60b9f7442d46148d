#include "policies/reach.h"

#include <algorithm>

namespace zwmgmt::policy {
namespace {

/// Goes through the programs one after the other. A connection on its way has passed the tests in
/// one cube, and missed each of a list.
class PathSearch {
  public:
    PathSearch(std::span<const Demand> all_demands, int64_t* steps)
        : demands(all_demands), budget(*steps) {}

    Answer Run(Cube* witness) {
        Enter();
        do {
            const bool found = Go() && Exists(at.passed, missed, witness);
            if (found || budget < 0) return found ? Answer::kYes : Answer::kUnknown;
        } while (TakeNext());
        return Answer::kNo;
    }

  private:
    struct Place {
        size_t demand = 0;
        int position = 0;
        Cube passed;
    };

    /// A step that was matched and can be missed instead.
    struct Choice {
        Place missing;
        size_t missed;  // before it
    };

    void Enter() {
        if (at.demand == demands.size()) return;
        at.position = demands[at.demand].program.empty() ? kReject : 0;
    }

    /// To the end of the last program, by matches where they are possible. False where this way
    /// leads to an end that is not wanted.
    bool Go() {
        while (at.demand < demands.size()) {
            const Demand& demand = demands[at.demand];
            if (at.position < 0) {
                if (at.position != demand.end) return false;
                ++at.demand;
                Enter();
                continue;
            }
            if (--budget < 0) return false;
            const Step& step = demand.program[static_cast<size_t>(at.position)];
            const bool can_match = !at.passed.Conflicts(step.cube);
            const bool can_miss = !can_match || !at.passed.IsWithin(step.cube);
            const bool match_is_wanted = step.on_match >= 0 || step.on_match == demand.end;
            if (can_match && match_is_wanted) {
                if (can_miss) {
                    choices.push_back({{at.demand, at.position, at.passed}, missed.size()});
                }
                at.passed = at.passed.And(step.cube);
                at.position = step.on_match;
                if (MissesNothingLeft()) return false;
            } else {
                if (!can_miss) return false;
                if (can_match) missed.push_back(step.cube);
                at.position = step.on_miss;
            }
        }
        return true;
    }

    /// Back to the last step that can be missed instead.
    bool TakeNext() {
        if (choices.empty()) return false;
        const Choice choice = choices.back();
        choices.pop_back();
        missed.resize(choice.missed);
        at = choice.missing;
        const Step& step = demands[at.demand].program[static_cast<size_t>(at.position)];
        missed.push_back(step.cube);
        at.position = step.on_miss;
        return true;
    }

    /// Whether what has been passed leaves no way to miss what was missed.
    bool MissesNothingLeft() {
        budget -= static_cast<int64_t>(missed.size());
        return std::ranges::any_of(missed,
                                   [this](const Cube& miss) { return at.passed.IsWithin(miss); });
    }

    /// Whether something passes and misses all: each miss asks for one differing bit.
    bool Exists(Cube passed, std::vector<Cube> misses, Cube* witness) {
        for (bool settled = true; settled;) {
            budget -= static_cast<int64_t>(misses.size()) + 1;
            if (budget < 0) return false;
            std::erase_if(misses, [&](const Cube& miss) { return passed.Conflicts(miss); });
            if (misses.empty()) {
                if (witness != nullptr) *witness = passed;
                return true;
            }
            settled = false;
            for (const Cube& miss : misses) {
                const Bits left = Differing(passed, miss);
                if (left.count == 0 && !passed.Conflicts(miss)) return false;
                if (left.count == 1 && !passed.Conflicts(miss)) settled = Set(&passed, left.lowest);
            }
            if (!settled) settled = SetWhatNobodyWantsOtherwise(&passed, misses);
        }
        // Every bit that is left is wanted both ways: try them.
        const Cube bit = Differing(passed, misses[0]).lowest;
        Cube other = bit;
        for (int i = 0; i < 3; ++i) other.value[i] ^= other.mask[i];
        return Exists(passed.And(bit), misses, witness) ||
               Exists(passed.And(other), misses, witness);
    }

    struct Bits {
        int count = 0;
        Cube lowest;  // as it has to be to miss
    };

    /// The bits by which a test can still be missed.
    static Bits Differing(const Cube& passed, const Cube& miss) {
        Bits bits;
        for (int i = 0; i < 3; ++i) {
            const uint64_t left = miss.mask[i] & ~passed.mask[i];
            if (bits.count == 0) {
                bits.lowest.mask[i] = left & (~left + 1);
                bits.lowest.value[i] = ~miss.value[i] & bits.lowest.mask[i];
            }
            bits.count += std::popcount(left);
        }
        return bits;
    }

    static bool Set(Cube* passed, const Cube& bit) {
        *passed = passed->And(bit);
        return true;
    }

    /// Sets the bits that all tests with them want the same way; false where there are none.
    static bool SetWhatNobodyWantsOtherwise(Cube* passed, const std::vector<Cube>& misses) {
        bool any = false;
        for (int i = 0; i < 3; ++i) {
            uint64_t ones = 0;
            uint64_t zeros = 0;
            for (const Cube& miss : misses) {
                zeros |= miss.value[i] & ~passed->mask[i];
                ones |= miss.mask[i] & ~miss.value[i] & ~passed->mask[i];
            }
            const uint64_t agreed = ones ^ zeros;
            passed->mask[i] |= agreed;
            passed->value[i] |= ones & agreed;
            any |= agreed != 0;
        }
        return any;
    }

    const std::span<const Demand> demands;
    int64_t& budget;
    Place at;
    std::vector<Cube> missed;
    std::vector<Choice> choices;
};

int TargetOf(uint8_t target) {
    return target == kPolicyAccept ? kAccept : target == kPolicyReject ? kReject : target;
}

}  // namespace

std::vector<Step> StepsOf(const PolicyInstruction* instructions, size_t count) {
    std::vector<Step> steps;
    for (const PolicyInstruction& each : std::span(instructions, count)) {
        steps.push_back(
            {CubeOf(each.value, each.mask), TargetOf(each.on_match), TargetOf(each.on_miss)});
    }
    return steps;
}

bool Accepts(std::span<const Step> program, const PolicyFields& connection) {
    Cube fields;
    std::memcpy(fields.value, &connection, sizeof(connection));
    fields.mask[0] = fields.mask[1] = fields.mask[2] = UINT64_MAX;
    int position = program.empty() ? kReject : 0;
    while (position >= 0) {
        const Step& step = program[static_cast<size_t>(position)];
        position = fields.Conflicts(step.cube) ? step.on_miss : step.on_match;
    }
    return position == kAccept;
}

Answer FindConnection(std::span<const Demand> demands, int64_t* budget, Cube* witness) {
    return PathSearch(demands, budget).Run(witness);
}

Answer AcceptTheSame(std::span<const Step> one, std::span<const Step> other, int64_t* budget) {
    const Demand differing[][2] = {{{one, kAccept}, {other, kReject}},
                                   {{other, kAccept}, {one, kReject}}};
    bool known = true;
    for (const auto& demands : differing) {
        const Answer found = FindConnection(demands, budget);
        if (found == Answer::kYes) return Answer::kNo;
        known &= found == Answer::kNo;
    }
    return known ? Answer::kYes : Answer::kUnknown;
}

bool CanMatch(std::span<const Step> steps) {
    // Most programs accept what passes one test after the other.
    Cube passed;
    int position = steps.empty() ? kReject : 0;
    while (position >= 0) {
        const Step& step = steps[static_cast<size_t>(position)];
        if (passed.Conflicts(step.cube)) break;
        passed = passed.And(step.cube);
        position = step.on_match;
    }
    if (position == kAccept) return true;

    const Demand accepted[] = {{steps, kAccept}};
    int64_t budget = 1'000'000;
    return FindConnection(accepted, &budget) != Answer::kNo;
}

}  // namespace zwmgmt::policy
