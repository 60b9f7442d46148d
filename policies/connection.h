/// Connections as people write them, "src=10.1.2.3 dport=80 open=aopen", alone or in a file with
/// what is expected of each.
#pragma once

#include <string>
#include <string_view>

#include "policies/cube.h"
#include "policies/policy_text.h"

namespace zwmgmt::policy {

struct Connection {
    PolicyFields fields = {};
    uint32_t given = 0;  // a bit for each key
};

/// Takes one KEY=VALUE, numbers and addresses as in rules; returns "" or what is wrong with it.
std::string TakeWord(std::string_view word, Connection* connection);

/// What follows from the addresses, and what the rest counts as: "vers=4; 0 for dport, mark"; fills
/// the version. Call it once all words are taken.
std::string Assume(Connection* connection);

/// A connection that has these bits, in words that TakeWord takes.
std::string ConnectionText(const Cube& bits);

/// A line of a connections file: the words of a connection, and after "=>" what is expected:
/// "none", "rule N", or the settings of the rule that decides.
struct Expectation {
    enum Kind : uint8_t { kAnything, kNone, kRule, kSettings };
    Kind kind = kAnything;
    size_t rule = 0;
    PolicySettings settings = kUnsetPolicySettings;
};

class ConnectionLines {
  public:
    explicit ConnectionLines(std::string_view whole_text) : text(whole_text) {}

    /// Reads the next line that has a word; false behind the last.
    bool Next();

    size_t Line() const { return line; }
    const Connection& Read() const { return connection; }
    const Expectation& Expected() const { return expectation; }
    std::string_view ExpectedText() const { return expected_text; }

    /// What is wrong with the line, "" when nothing is, and the bytes of the text that are meant.
    const std::string& Wrong() const { return wrong; }
    size_t Column() const { return wrong_begin - line_begin + 1; }
    MarkedLine Marked() const { return MarkIn(text, wrong_begin, wrong_length); }

  private:
    void ReadLine(std::string_view content);
    void ReadExpectation(std::string_view content);
    void Blame(std::string reason, std::string_view part);

    const std::string_view text;
    size_t next = 0;
    size_t line = 0;
    size_t line_begin = 0;
    Connection connection;
    Expectation expectation;
    std::string_view expected_text;
    std::string wrong;
    size_t wrong_begin = 0;
    size_t wrong_length = 0;
};

}  // namespace zwmgmt::policy
