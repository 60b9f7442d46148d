/// Commands by their words: what is refused, what is sent, and what an agent's status prints. The
/// cases were written down from the protocol's description.
#include <algorithm>

#include "tests/support.h"

using namespace testing_support;

TEST(Commands, WhatIsRefusedIsNotSent) {
    for (const auto& row : Cases("refusals")) {
        const auto words = Words(row[1]);
        const Told told = Tell(Number(row[0]), 0, Pointers(words));
        EXPECT_EQ(told.result, Number(row[2])) << row[1];
        EXPECT_EQ(told.printed, row[3]) << row[1];
        EXPECT_EQ(told.opcode, 0) << row[1];
    }
}

TEST(Commands, BecomeTheirRequests) {
    for (const auto& row : Cases("requests")) {
        const auto words = Words(row[1]);
        const Told told = Tell(Number(row[0]), 1, Pointers(words));
        EXPECT_EQ(told.result, 0) << row[1];
        EXPECT_EQ(told.opcode, Number(row[2])) << row[1];
        std::string expected(std::stoul(row[3]), '\0');
        for (const std::string& piece : Words(row[4])) {
            const size_t sign = piece.find_first_of(":=");
            const std::string value = piece.substr(sign + 1);
            const std::string bytes = piece[sign] == '=' ? Unhex(value) : value;
            expected.replace(std::stoul(piece), bytes.size(), bytes);
        }
        EXPECT_EQ(told.sent, expected) << row[1];
    }
}

TEST(Commands, StatusesHaveTheirTexts) {
    for (const auto& row : Cases("outcomes")) {
        const auto words = Words(row[0]);
        const auto numbers = Words(row[1]);
        const auto status = static_cast<uint32_t>(Number(numbers[1]));
        const Told told = Tell(Number(numbers[0]), status, Pointers(words));
        EXPECT_EQ(told.printed, row[2]) << row[0] << ' ' << row[1];
        EXPECT_EQ(told.status, status) << row[0];
    }
}

TEST(Commands, AreCarriedOutByTheAgent) {
    std::unique_ptr<zmsim::ScenarioHost> host;
    for (const auto& row : Cases("conversations")) {
        if (row[0] != "+") host = std::make_unique<zmsim::ScenarioHost>(BuiltinScenario(row[0]));
        const auto words = Words(row[1]);
        const Told told = Tell(*host, Pointers(words));
        EXPECT_EQ(told.status, static_cast<uint32_t>(Number(row[2]))) << row[1];
        EXPECT_EQ(told.printed, row[3]) << row[1];
    }
}

TEST(Statuses, HaveTheirTexts) {
    for (const auto& row : Cases("statuses")) {
        EXPECT_EQ(zwmgmt::StatusText(static_cast<uint32_t>(Number(row[0]))), row[1]) << row[0];
    }
}

TEST(Commands, TakeNothingBeyondTheirLimits) {
    for (const auto& row : Cases("limits")) {
        const auto try_with = [&](const std::string& value, bool taken, const std::string& text) {
            auto words = Words(row[1]);
            std::string& word = words[static_cast<size_t>(
                std::ranges::find_if(words, [](const auto& w) { return w.ends_with('%'); }) -
                words.begin())];
            word.replace(word.size() - 1, 1, value);
            const Told told = Tell(Number(row[0]), 1, Pointers(words));
            EXPECT_EQ(told.opcode != 0, taken) << word << told.printed;
            EXPECT_EQ(taken ? text : told.printed, text) << word;
        };
        const auto limits = Words(row[2]);
        if (limits[0] == "length") {
            const std::string longest(std::stoul(limits[1]), 'x');
            try_with(longest, true, "");
            try_with(longest + 'x', false, row[3]);
            continue;
        }
        const int64_t least = std::stoll(limits[0]), most = std::stoll(limits[1]);
        try_with(std::to_string(least), true, "");
        try_with(std::to_string(most), true, "");
        try_with(std::to_string(least - 1), false, row[3]);
        try_with(std::to_string(most + 1), false, row[4].empty() ? row[3] : row[4]);
    }
}
