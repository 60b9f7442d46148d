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

  private:
    int Generate(const Formula& formula, int term, int yes, int no);
    int GenerateRange(const Term& range, uint32_t low, uint32_t high, int yes, int no);
    int GenerateChain(const Formula& formula, int position, bool conjunction, int yes, int no);
    int Make(Step step);
    int Leave(int target, const Cube& cube, bool matched) const;
    const Step& At(int position) const { return made[static_cast<size_t>(position)]; }
    void Order(int position);

    std::vector<Step> made;  // operands before what leads to them
    std::vector<int> order;  // final positions of the steps made, -1 before
    std::vector<int> sequence;
    bool full = false;
};

/// Whether some connection is accepted, as far as a bounded search tells; true where it does not.
bool CanMatch(const std::vector<Step>& steps);

}  // namespace zwmgmt::policy
