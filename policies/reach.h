/// Whether there is a connection that several programs decide as wanted: exact, over their ternary
/// tests, and bounded by a budget of steps.
#pragma once

#include <span>

#include "policies/generate.h"

namespace zwmgmt::policy {

/// The program of a record's instructions, whose targets are ends or later ones.
std::vector<Step> StepsOf(const PolicyInstruction* instructions, size_t count);

bool Accepts(std::span<const Step> program, const PolicyFields& connection);

/// That a connection comes to this end (kAccept, kReject) of a program.
struct Demand {
    std::span<const Step> program;  // without a step it rejects
    int end;
};

enum class Answer : uint8_t { kYes, kNo, kUnknown };

/// Whether some connection meets all demands; the most telling ones come first. What it takes is
/// taken from the budget, and when that is spent nothing is known. On kYes *witness, where given,
/// is the bits that such a connection must have; the others may be anything.
Answer FindConnection(std::span<const Demand> demands, int64_t* budget, Cube* witness = nullptr);

/// Whether two programs accept the same connections.
Answer AcceptTheSame(std::span<const Step> one, std::span<const Step> other, int64_t* budget);

/// Whether some connection is accepted, as far as a bounded search tells; true where it does not.
bool CanMatch(std::span<const Step> steps);

}  // namespace zwmgmt::policy
