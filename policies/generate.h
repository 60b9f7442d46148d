/// A formula to a program: a graph of tests in which every test that occurs twice with the same
/// ends is one, and no test's outcome is known from the one before it.
#pragma once

#include <vector>

#include "policies/simplify.h"

namespace zwmgmt::policy {

/// Ends of a program beside its positions.
inline constexpr int kAccept = -1;
inline constexpr int kReject = -2;

struct Step {
    Cube cube;
    int on_match;
    int on_miss;
    bool operator==(const Step&) const = default;
};

class Generator {
  public:
    /// Steps beyond which no program is completed.
    static constexpr size_t kMostSteps = 512;

    /// The program in *steps, the first step first, each before those it leads to. False when it
    /// would have more than kMostSteps; empty when nothing matches.
    bool Run(const Formula& formula, std::vector<Step>* steps);

    /// The same for a program.
    void Tidy(std::vector<Step>* steps);

  private:
    /// What a term is to decide: connections that pass `under` and the term, or its opposite, go
    /// to `yes`, all others to `no`.
    struct Goal {
        bool opposite;
        Cube under;
        int yes;
        int no;
    };

    int Generate(int term, const Goal& goal);
    int GenerateNumbers(const Term& term, const Goal& goal);
    int GenerateConjunction(const Term& chain, const Goal& goal);
    int GenerateRest(int operand, const Goal& goal, const Cube& test, int holder);
    int GenerateAlternatives(int operand, const Goal& goal);
    void Begin();
    bool Finish(int entry, std::vector<Step>* steps);
    int Make(Step step);
    int Leave(int target, const Cube& cube, bool matched) const;
    const Step& At(int position) const { return made[static_cast<size_t>(position)]; }
    int Count(int entry);
    void Order(int position);

    const Formula* formula = nullptr;
    std::vector<Step> made;  // operands before what leads to them
    std::vector<int> order;  // final positions of the steps made, -1 before
    std::vector<int> sequence;
    int trials = 0;  // steps that may yet be made to compare forms
    bool full = false;
};

}  // namespace zwmgmt::policy
