/// The search for a shorter program that means the same.
///
/// The tests of a program, field by field, and what several of them have in common are the cubes
/// that a step may test. They part all connections into classes: those that are in a cube and in
/// none that is smaller. With at most 64 classes, what arrives at a step is a word. A program is
/// built from its entry: a step parts what arrives, and either part goes to its end where all of it
/// is decided alike, or else to a later step, a new one or one that waits already.
///
/// Classes that are decided differently must be parted by some step. Pairs of which no cube parts
/// two need a step each: that many steps are the least, and where more pairs are left than steps
/// nothing is tried.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "policies/generate.h"
#include "zwmgmt/records/policy.h"

namespace zwmgmt::policy {

class Search {
  public:
    explicit Search(const std::vector<Step>& program)
        : Search(program, TestsOf(program), kAllFields) {}

    /// The shortest program of at most so many steps, or what the budget finds; false when nothing.
    bool Find(int most, std::vector<Step>* program);

    /// How many steps every program has that means the same and tests the same.
    static int LeastSteps(const std::vector<Step>& program);

  private:
    static constexpr int kAllFields = -1;

    struct Test {
        int field;
        Cube cube;
    };

    /// The tests of a program, field by field.
    static std::vector<Test> TestsOf(const std::vector<Step>& program);

    /// Parts connections by the tests of one field, or of all.
    Search(const std::vector<Step>& program, const std::vector<Test>& all_tests, int only_field);

    using Classes = uint64_t;
    static constexpr size_t kMostClasses = 64;

    struct Draft {
        Classes arriving;
        int cube;
        int on_match;
        int on_miss;
    };

    bool AddTest(const Cube& test);
    void FindClasses(const std::vector<Step>& program);
    void FindPairs();
    bool IsInhabited(size_t position) const;
    bool IsDecided(Classes some) const { return (some & accepted) == 0 || (some & ~accepted) == 0; }
    int PairsLeft(int step) const;
    bool Continue(int step);
    template <class Then>
    bool Send(Classes some, int step, int* target, Then then);

    std::vector<Cube> tests;      // of one field each
    std::vector<Cube> left_out;   // tests that no connection in a class passes
    std::vector<Cube> cubes;      // the class of a position: what is in that cube and none smaller
    std::vector<int> sizes;       // how many bits a cube asks for
    std::vector<Classes> within;  // of a cube: the classes in it
    std::vector<Classes> around;  // of a class: the cubes that it is in
    Classes inhabited = 0;
    Classes accepted = 0;
    std::vector<Classes> pairs;
    int least = 1;

    std::array<Draft, kPolicyInstructions> drafts;
    int count = 0;  // of drafts
    int limit = 0;
    int budget = 0;
};

/// The program of a formula: the generator's, or a shorter one. False when it would have more than
/// Generator::kMostSteps steps; empty when nothing matches.
bool Compose(const Formula& formula, Generator* generator, std::vector<Step>* steps);

}  // namespace zwmgmt::policy
