/// How korvane_zwcli ends, for everything that a request can come back with.
#include "front_end/exit_status.h"

#include "tests/support.h"

using namespace testing_support;

TEST(ExitStatus, IsThatOfTheDocuments) {
    // Results of the library, then statuses of agents.
    const Table<std::vector<uint32_t>, int> results = {
        {{3, 16, 412}, 5}, {{7, 8, 9, 279, 283, 284}, 3}, {{1, 2, 5, 6, 55, 61, 273}, 1}};
    const Table<std::vector<uint32_t>, int> agents = {
        {{0}, 0}, {{55}, 6}, {{1, 6, 7, 9, 57, 97, 225, 266, 413}, 1}};
    for (const auto& [statuses, exit_status] : results) {
        for (const uint32_t status : statuses) {
            EXPECT_EQ(zwcli::ExitStatusOf(status, 0), exit_status) << status;
        }
    }
    for (const auto& [statuses, exit_status] : agents) {
        for (const uint32_t status : statuses) {
            EXPECT_EQ(zwcli::ExitStatusOf(0, status), exit_status) << status;
        }
    }
}
