/// Requests through all five entries, what is said about their outcomes, and the small printers.
#include "tests/support.h"

using namespace testing_support;
using namespace zwmgmt;

TEST(Dispatcher, AllFiveEntriesAreOneRoad) {
    int asked = 0;
    CannedHost host([&](uint8_t service, uint16_t opcode, auto data) {
        EXPECT_EQ(service, 4);
        EXPECT_EQ(opcode, 142);
        EXPECT_TRUE(data.empty());
        ++asked;
        return agent::Reply{.status = 50, .data = {}};
    });
    Linked session(host);
    char* result = session.result.data();
    Client_Request_Message request = {4, 142, 0, nullptr, 0};
    _Message message = {};
    char scratch[1024];
    EXPECT_EQ(session.Client_ProcessRequest(&request, result, nullptr), 0);
    EXPECT_EQ(session.Client_ProcessRequest(&message, &request, result, nullptr), 0);
    EXPECT_EQ(session.Client_ProcessRequest(&message, result, nullptr, &request, scratch, nullptr),
              0);
    EXPECT_EQ(session.Client_ProcessRequest(4, 142, 0, nullptr, 0, result, nullptr), 0);
    EXPECT_EQ(session.Client_ProcessRequest(&message, 4, 142, 0, nullptr, 0, result, nullptr), 0);
    EXPECT_EQ(asked, 5);
    EXPECT_EQ(+message.status, 50u);  // by value: packed fields bind to no reference
    EXPECT_EQ(session.LastStatus(), 50u);
    EXPECT_EQ(session.LastSuccessTime(), 0);
    EXPECT_EQ(Replaced(session.Printed(), "Command failed\n", "."), ".....");
}

TEST(Dispatcher, WhatIsRefusedIsNotSent) {
    CannedHost host([](auto...) -> agent::Reply {
        ADD_FAILURE() << "sent";
        return {};
    });
    Linked session(host);
    char* result = session.result.data();

    // Known to the vocabulary, but without a handler; and numbers that mean nothing.
    for (auto [service, command] : {std::pair{4, 156}, {4, 148}, {6, 142}, {0, 0}, {4, 9999}}) {
        Client_Request_Message request = {static_cast<uint8_t>(service),
                                          static_cast<uint16_t>(command), 0, nullptr, 0};
        EXPECT_EQ(session.Client_ProcessRequest(&request, result, nullptr), 5) << command;
        EXPECT_EQ(session.Printed(), "Invalid command for the service\n");
        // By numbers, statuses beyond the reported ones come back as 0 on purpose.
        EXPECT_EQ(session.Client_ProcessRequest(request.service, request.command, 0, nullptr, 0,
                                                result, nullptr),
                  0);
        EXPECT_EQ(session.Printed(), "Invalid command for the service\n");
    }
    // Arguments to a command that takes none, and entries that are not there.
    Client_Request_Argument entries[] = {{"all", -1}, {"", -1}, {"0:1", 25}};
    for (uint32_t count : {1u, 2u}) {
        Client_Request_Message request = {4, 142, 0, entries + count - 1, count};
        EXPECT_EQ(session.Client_ProcessRequest(&request, result, nullptr), 1);
    }
    EXPECT_EQ(session.Client_ProcessRequest(nullptr, result, nullptr), 1);
    const char* unknown_key[] = {"nosuchkey=1"};
    EXPECT_EQ(session.Client_ProcessRequest(4, 142, 0, unknown_key, 1, result, nullptr), 1);
    EXPECT_EQ(Replaced(session.Printed(), "Invalid argument specified\n", "."), "....");
}

TEST(Dispatcher, ReportsALostConnectionOnceAndStaysDisconnected) {
    for (bool by_numbers : {false, true}) {
        RawAgent agent([](SSL* ssl) { AcceptOpening(ssl); });
        TestSession session(agent.Port());
        const auto send = [&] {
            return by_numbers ? session.Client_ProcessRequest(4, 142, 0, nullptr, 0,
                                                              session.result.data(), nullptr)
                              : session.Run({"korvane", "listadapterprops"});
        };
        const int first = send();
        EXPECT_TRUE(first == kReadError || first == kWriteError) << first;
        const std::string said = Replaced(session.Printed(), "writing to", "reading from");
        EXPECT_EQ(said, "\nError reading from socket\n");
        EXPECT_EQ(send(), kNotConnected);
        EXPECT_EQ(session.Printed(), "ERROR: no connection to the managed system!\n");
    }
}

TEST(Dispatcher, ByNumbersATimeoutComesBackAsSuccess) {
    RawAgent agent([](SSL* ssl) {
        AcceptOpening(ssl);
        AwaitEnd(ssl);
    });
    TestSession session(agent.Port());
    session.SetReceiveTimeout(1);
    EXPECT_EQ(session.Client_ProcessRequest(4, 142, 0, nullptr, 0, session.result.data(), nullptr),
              0);
    EXPECT_EQ(session.LastStatus(), kReceiveTimeout);
    EXPECT_EQ(session.Printed(), "Socket timed out\n");
}

TEST(CLPrint, ChoosesThePrinterByCommandNumber) {
    const char* invalid = "Response received for invalid command!\n";
    TestSession session;
    const Table<int, uint8_t, uint32_t, int, const char*> rows = {
        {0, 4, 0, 0, ""},         {142, 4, 0, 0, ""},       {142, 4, 7, 0, "Command failed\n"},
        {349, 4, 0, 1, invalid},  {9999, 4, 0, 1, invalid}, {1, 0, 0, 1, invalid},
        {142, 18, 0, 1, invalid},
    };
    for (const auto& [command, service, status, result, printed] : rows) {
        _Message message = {};
        message.service = service;
        message.status = status;
        EXPECT_EQ(session.CLPrint(nullptr, command, &message), result) << command;
        EXPECT_EQ(session.Printed(), printed) << command;
    }
}

TEST(CLPrintMsg, InterpretsItsFormatItself) {
    TestSession session;
    EXPECT_EQ(session.CLPrintMsg(""), 0);
    EXPECT_EQ(session.CLPrintMsg("100%% of %d %s%c\n", -7, "port", 's'), 0);
    EXPECT_EQ(session.CLPrintMsg("%x%5d|%d%", 1), 0);
    EXPECT_EQ(session.Printed(), "100% of -7 ports\nd|1");
}
