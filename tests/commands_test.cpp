/// Commands by their words: what is refused, what is sent, and what an agent's status prints. The
/// cases were written down from the protocol's description.
#include <cstring>

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

TEST(Statuses, HaveTheirTexts) {
    for (const auto& row : Cases("statuses")) {
        EXPECT_EQ(zwmgmt::StatusText(static_cast<uint32_t>(Number(row[0]))), row[1]) << row[0];
    }
}
