/// The command that docs/architecture.md adds: all that follows from its rows.
#include "system/connections.h"
#include "tests/support.h"
#include "zwmgmt/help.h"
#include "zwmgmt/result.h"

using namespace testing_support;
using namespace zwmgmt;

TEST(WorkedExample, IsListedPrintedRenderedAndExplained) {
    const Bytes records = {10, 0, 0, 1, 80, 0, 1, 10, 0, 0, 2, 0xBB, 1, 0, 0xFF};
    CannedHost host(agent::Reply{.status = kSuccess, .data = records});
    Linked session(host);
    EXPECT_EQ(session.Run({"net", "listconnections"}), 0);
    EXPECT_EQ(session.Printed(),
              "Peer Port  : 80\nOpen       : Yes\n\nPeer Port  : 443\nOpen       : No\n\n");

    void* list = nullptr;
    session.SetBuildListMode();
    EXPECT_EQ(session.Run({"net", "listconnections"}, &list), 0);
    session.ResetBuildListMode();
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(static_cast<Connection*>(list)->next->peer_port, 443);
    ZwMgmt_interface::CLFreeMem(102, list);

    const char* words[] = {"net", "listconnections"};
    CommandWords command(words, 2);
    Result result(session, command.Request(), session.result.data());
    std::string text;
    EXPECT_TRUE(result.Render(ResultFormat::kJsonLine, &text));
    EXPECT_TRUE(result.Render(ResultFormat::kCsv, &text));
    EXPECT_EQ(text, R"([{"peer":"10.0.0.1","peer_port":80,"open":true},)"
                    R"({"peer":"10.0.0.2","peer_port":443,"open":false}])"
                    "\npeer,peer_port,open\r\n10.0.0.1,80,true\r\n10.0.0.2,443,false\r\n");

    FILE* help = std::tmpfile();
    EXPECT_TRUE(PrintHelp(help, words, 2));
    EXPECT_GT(std::ftell(help), 0);
    std::fclose(help);
}
