/// Texts of agents on their way to a terminal.
#include "output/layout.h"
#include "tests/support.h"

using namespace testing_support;

TEST(AgentText, CommandsNoTerminalAndKeepsItsCharacters) {
    const Table<std::string, std::string> rows = {
        {"a\x1b[2Jb\x7f\r\x08", "a?[2Jb???"},
        {"\xC2\x9B"
         "31m \x9B"
         "31m \x80\x9F",
         "?31m ?31m ??"},  // the 8-bit form of the same
        {"\xC2\xA0 \xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80",
         "\xC2\xA0 \xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80"},
        {"caf\xE9 \xFF", "caf\xE9 \xFF"},                                  // another character set
        {"\xC0\x9B \xE0\x80\x9B \xED\xA0\x80", "\xC0? \xE0?? \xED\xA0?"},  // no UTF-8
        {"\xF4\x90\x80\x80 \xF5\x80\x80\x80", "\xF4??? \xF5???"},
        {"\xE2\x82", "\xE2?"},
    };
    for (const auto& [bytes, shown] : rows) {
        TestSession session;
        zwmgmt::PrintAgentText(session, "\t" + bytes + "\n");
        EXPECT_EQ(session.Printed(), "\t" + shown + "\n");
        DriverInfo driver = {};
        zwmgmt::SetFixedText(driver.description, bytes);
        _Message reply = {};
        session.GetKorvaneDriverDetailsResponse(&driver, &reply);
        EXPECT_NE(session.Printed().find(": " + shown + "\n"), std::string::npos) << shown;
    }
}
