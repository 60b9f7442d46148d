#include "policies/search.h"

#include <algorithm>
#include <bit>
#include <tuple>

#include "policies/reach.h"

namespace zwmgmt::policy {
namespace {

constexpr int kBudget = 100;          // cubes tried for each step of the program
constexpr size_t kMostLeftOut = 128;  // tests
constexpr size_t kMostSearched = 16;  // steps

constexpr uint64_t Bit(size_t position) { return uint64_t{1} << position; }

int BitCount(const Cube& cube) {
    int bits = 0;
    for (const uint64_t mask : cube.mask) bits += std::popcount(mask);
    return bits;
}

/// What asks for so many bits more has this share.
double Share(int bits) {
    return 1 / static_cast<double>(Bit(static_cast<size_t>(std::min(bits, 62))));
}

/// Whether something passes a cube and misses all others, as far as a bounded search tells; true
/// where it does not.
bool SomeMissAll(const Cube& passed, const std::vector<Cube>& missed) {
    std::vector<Step> program = {{passed, 1, kReject}};
    for (const Cube& miss : missed) {
        program.push_back({miss, kReject, static_cast<int>(program.size()) + 1});
    }
    (missed.empty() ? program.back().on_match : program.back().on_miss) = kAccept;
    const Demand accepted[] = {{program, kAccept}};
    int64_t budget = 100'000;
    return FindConnection(accepted, &budget) != Answer::kNo;
}

template <class Take>
void ForEach(uint64_t positions, Take take) {
    for (; positions != 0; positions &= positions - 1) {
        take(static_cast<size_t>(std::countr_zero(positions)));
    }
}

}  // namespace

std::vector<Search::Test> Search::TestsOf(const std::vector<Step>& program) {
    std::vector<Test> found;
    for (const Step& step : program) {
        for (int field = 0; field < kFieldCount; ++field) {
            const Cube part = PartOf(step.cube, static_cast<FieldId>(field));
            if (part.IsAny() || std::ranges::find(found, part, &Test::cube) != found.end())
                continue;
            found.push_back({field, part});
        }
    }
    return found;
}

Search::Search(const std::vector<Step>& program, const std::vector<Test>& all_tests,
               int only_field) {
    cubes.reserve(kMostClasses);
    cubes.emplace_back();
    for (const Test& test : all_tests) {
        const bool wanted = only_field == kAllFields || only_field == test.field;
        if (!wanted || !AddTest(test.cube)) left_out.push_back(test.cube);
    }
    if (tests.empty() || left_out.size() > kMostLeftOut) return;
    for (const Cube& test : left_out) {
        // It could part these classes, too.
        if (std::ranges::any_of(cubes, [&](const Cube& c) { return c.IsWithin(test); })) return;
    }
    FindClasses(program);
    FindPairs();
}

int Search::LeastSteps(const std::vector<Step>& program) {
    const std::vector<Test> all_tests = TestsOf(program);
    int least = 1;
    if (program.size() <= kMostSearched) {
        const Search search(program, all_tests, kAllFields);
        least = search.least;
        if (search.left_out.empty()) return least;
    }
    for (int field = 0; field < kFieldCount; ++field) {
        least = std::max(least, Search(program, all_tests, field).least);
    }
    return least;
}

/// Adds the test and what it has in common with the others; false when that would be too much.
bool Search::AddTest(const Cube& test) {
    const size_t before = cubes.size();
    for (size_t i = 0; i < before; ++i) {
        if (cubes[i].Conflicts(test) || cubes[i].IsWithin(test)) continue;
        const Cube both = cubes[i].And(test);
        if (std::ranges::find(cubes, both) != cubes.end()) continue;
        if (cubes.size() == kMostClasses) {
            cubes.resize(before);
            return false;
        }
        cubes.push_back(both);
    }
    tests.push_back(test);
    return true;
}

void Search::FindClasses(const std::vector<Step>& program) {
    std::vector<Classes> asked;  // the tests that make up a cube
    for (const Cube& cube : cubes) {
        Classes around_it = 0;
        for (size_t i = 0; i < tests.size(); ++i) {
            if (cube.IsWithin(tests[i])) around_it |= Bit(i);
        }
        asked.push_back(around_it);
        sizes.push_back(BitCount(cube));
    }
    const size_t size = cubes.size();
    within.assign(size, 0);
    around.assign(size, 0);
    for (size_t i = 0; i < size; ++i) {
        for (size_t j = 0; j < size; ++j) {
            if ((asked[i] & ~asked[j]) != 0) continue;
            within[i] |= Bit(j);
            around[j] |= Bit(i);
        }
        int at = 0;
        while (at >= 0) {
            const Step& step = program[static_cast<size_t>(at)];
            at = cubes[i].IsWithin(step.cube) ? step.on_match : step.on_miss;
        }
        if (at == kAccept) accepted |= Bit(i);
    }
    for (size_t i = 0; i < size; ++i) {
        if (IsInhabited(i)) inhabited |= Bit(i);
    }
}

/// Whether the smaller cubes and the tests left out leave something of one. What asks for so many
/// bits more is that part of it; only where the parts may be all of it a closer look is needed.
bool Search::IsInhabited(size_t position) const {
    const Cube& cube = cubes[position];
    std::vector<Cube> missed;
    double parts = 0;
    ForEach(within[position] & ~Bit(position), [&](size_t smaller) {
        missed.push_back(cubes[smaller]);
        parts += Share(sizes[smaller] - sizes[position]);
    });
    for (const Cube& test : left_out) {
        if (cube.Conflicts(test)) continue;
        missed.push_back(test);
        parts += Share(BitCount(cube.And(test)) - sizes[position]);
    }
    return parts < 1 || SomeMissAll(cube, missed);
}

/// Takes pairs that few cubes part first, and of those the pairs whose cubes part few others.
void Search::FindPairs() {
    constexpr int kMostParting = 8;
    struct Pair {
        Classes both;
        Classes parting;
        int size;
        int rivals;
    };
    std::vector<Pair> candidates;
    std::array<int, kMostClasses> uses = {};
    ForEach(inhabited, [&](size_t i) {
        const Classes unlike = (Bit(i) & accepted) != 0 ? ~accepted : accepted;
        ForEach(within[i] & unlike & inhabited, [&](size_t j) {
            const Classes parting = around[i] ^ around[j];
            const int size = std::popcount(parting);
            if (size > kMostParting) return;
            candidates.push_back({Bit(i) | Bit(j), parting, size, 0});
            ForEach(parting, [&](size_t cube) { ++uses[cube]; });
        });
    });
    for (Pair& pair : candidates) {
        ForEach(pair.parting, [&](size_t cube) { pair.rivals += uses[cube]; });
    }
    std::ranges::sort(candidates, [](const Pair& a, const Pair& b) {
        return std::tie(a.size, a.rivals, a.both) < std::tie(b.size, b.rivals, b.both);
    });
    Classes parted = 0;
    for (const Pair& pair : candidates) {
        if ((pair.parting & parted) != 0) continue;
        parted |= pair.parting;
        pairs.push_back(pair.both);
    }
    least = std::max(1, static_cast<int>(pairs.size()));
}

bool Search::Find(int most, std::vector<Step>* program) {
    budget = kBudget * (most + 1);
    most = std::min(most, static_cast<int>(kPolicyInstructions));
    for (limit = least; left_out.empty() && limit <= most && budget > 0; ++limit) {
        drafts[0].arriving = inhabited;
        count = 1;
        if (Continue(0)) {
            program->clear();
            for (int i = 0; i < count; ++i) {
                const Draft& draft = drafts[static_cast<size_t>(i)];
                program->push_back(
                    {cubes[static_cast<size_t>(draft.cube)], draft.on_match, draft.on_miss});
            }
            return true;
        }
        if (budget > 0) least = limit + 1;
    }
    return false;
}

/// How many of the pairs no step before this one has parted.
int Search::PairsLeft(int step) const {
    int left = 0;
    for (const Classes pair : pairs) {
        for (int i = step; i < count; ++i) {
            left += (drafts[static_cast<size_t>(i)].arriving & pair) == pair;
        }
    }
    return left;
}

/// Drafts this step and those behind it. The cubes that decide the most are tried first.
bool Search::Continue(int step) {
    if (step == count) return true;
    if (PairsLeft(step) > limit - step) return false;
    struct Choice {
        Classes in;
        int cube;
        int decided;
    };
    Draft& draft = drafts[static_cast<size_t>(step)];
    const Classes arriving = draft.arriving;
    std::array<Choice, kMostClasses> choices;
    size_t size = 0;
    for (size_t i = 0; i < cubes.size(); ++i) {
        const Classes in = arriving & within[i];
        const Classes out = arriving & ~within[i];
        if (in == 0 || out == 0) continue;
        const int decided =
            (IsDecided(in) ? std::popcount(in) : 0) + (IsDecided(out) ? std::popcount(out) : 0);
        choices[size++] = {in, static_cast<int>(i), decided};
    }
    std::sort(choices.begin(), choices.begin() + size, [](const Choice& a, const Choice& b) {
        return a.decided != b.decided ? a.decided > b.decided : a.cube < b.cube;
    });
    for (size_t i = 0; i < size; ++i) {
        if (--budget <= 0) return false;
        const Classes in = choices[i].in;
        draft.cube = choices[i].cube;
        const bool found = Send(in, step, &draft.on_match, [&] {
            return Send(arriving & ~in, step, &draft.on_miss,
                        [&] { return draft.on_match != draft.on_miss && Continue(step + 1); });
        });
        if (found) return true;
    }
    return false;
}

/// Sends some classes to their end, or to one later step after the other until what then has to be
/// done succeeds.
template <class Then>
bool Search::Send(Classes some, int step, int* target, Then then) {
    if (IsDecided(some)) {
        *target = (some & accepted) != 0 ? kAccept : kReject;
        return then();
    }
    const int waiting = count;
    for (*target = step + 1; *target <= waiting && *target < limit; ++*target) {
        Draft& later = drafts[static_cast<size_t>(*target)];
        const int to = *target;
        const Classes before = to == waiting ? 0 : later.arriving;
        later.arriving = before | some;
        count = std::max(waiting, to + 1);
        if (then()) return true;
        later.arriving = before;
        count = waiting;
    }
    return false;
}

bool Compose(const Formula& formula, Generator* generator, std::vector<Step>* steps) {
    if (!generator->Run(formula, steps)) return false;
    // Choices that fit are as they were written.
    const bool fits = steps->size() <= kPolicyInstructions;
    if (fits && formula.At(formula.Root()).kind == Term::kChoice) return true;
    // One test would have been merged into one before.
    if (steps->size() <= 2 || steps->size() > kMostSearched || !formula.RepeatsFields())
        return true;
    Search search(*steps);
    std::vector<Step> shorter;
    if (search.Find(static_cast<int>(steps->size()) - 1, &shorter)) {
        generator->Tidy(&shorter);
        *steps = shorter;
    }
    return true;
}

}  // namespace zwmgmt::policy
