/// Files pushed to an agent: records, progress, refusals and what happens when it breaks off.
#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "tests/support.h"

using namespace testing_support;
using namespace zwmgmt;

namespace {

std::string Content(size_t size) {
    std::string text(size, '\0');
    for (size_t i = 0; i < size; ++i) text[i] = static_cast<char>(i * 31 + i / 251);
    return text;
}

std::string BaseName(const std::string& path) {
    return std::filesystem::path(path).filename().string();
}

/// What is said of a file that goes through whole, chunk by chunk.
std::string Progress(const TemporaryFile& file, size_t size) {
    std::string text = "Sending File " + BaseName(file.Path()) + " of size " +
                       std::to_string(size) + " to the ZM agent...\n";
    const size_t chunks = (size + 16383) / 16384;
    for (size_t chunk = 1; chunk <= chunks; ++chunk) {
        char line[64];
        std::snprintf(line, sizeof(line), "Completion Progress %% (%02d%%) .... \r",
                      static_cast<int>(100 * chunk / chunks));
        text += line;
    }
    return text + "\n";
}

}  // namespace

TEST(FileTransfer, PushesEveryByteInChunks) {
    for (size_t size : {0u, 1u, 16383u, 16384u, 16385u, 100'000u}) {
        std::vector<Bytes> headers;
        agent::Options options;
        options.tap = [&](auto header, auto) {
            headers.emplace_back(header.begin(), header.end());
        };
        FileHost host;
        const std::string content = Content(size);
        const TemporaryFile file(content);
        Linked session(host, options);
        EXPECT_EQ(session.SendFile({.path = file.Path().c_str()}, session.result.data()), 0);
        EXPECT_EQ(session.Printed(), Progress(file, size));
        EXPECT_TRUE(session.Connected());
        session.CLDisconnectFromServer();
        session.agent.Stop();
        Bytes header(26, 0);  // of every record: service 5, opcode 143, 16,695 bytes
        header[4] = 5;
        header[6] = 143;
        header[9] = 0x37;
        header[10] = 0x41;
        for (size_t i = 1; i + 1 < headers.size(); ++i) EXPECT_EQ(headers[i], header);
        ASSERT_EQ(host.files.size(), 1u);
        EXPECT_EQ(host.files[0].content, content);
        EXPECT_EQ(host.files[0].announced.name, BaseName(file.Path()));
        EXPECT_EQ(host.files[0].announced.size, size);
    }
}

TEST(FileTransfer, AnnouncesWhatTheCallerGives) {
    const Table<uint32_t, const char*, bool, uint32_t, const char*> rows = {
        {0x200, "hpc", false, 0x200, "hpc"},
        {0x1000, "basic", false, 0x1000, "basic"},
        {0x7, "5 and more", false, 0x7, "5"},
        {0x7, nullptr, false, 0x7, ""},
        {0x200, "hpc", true, 0, ""},
        {0x200, "a text of forty characters, eight beyond", false, 0x200,
         "a text of forty characters, eigh"},
    };
    for (const auto& [flags, extra, tool, sent_flags, sent_extra] : rows) {
        FileHost host;
        const TemporaryFile file("x");
        Linked session(host);
        const FileTransfer transfer = {file.Path().c_str(), flags, 1, 2, 3, extra, tool};
        EXPECT_EQ(session.SendFile(transfer, session.result.data()), 0);
        session.agent.Stop();
        ASSERT_EQ(host.files.size(), 1u);
        const auto& announced = host.files[0].announced;
        EXPECT_EQ(announced.flags, sent_flags);
        EXPECT_EQ(announced.extra, sent_extra);
        EXPECT_EQ(Bytes(std::begin(announced.args), std::end(announced.args)),
                  tool ? Bytes(3) : Bytes({1, 2, 3}));
    }
}

TEST(FileTransfer, RefusesWhatCannotBeSentBeforeAnnouncingIt) {
    const TemporaryFile huge("");
    const TemporaryFile largest("");
    std::filesystem::resize_file(huge.Path(), 65535ULL * 16384 + 1);
    std::filesystem::resize_file(largest.Path(), 65535ULL * 16384);
    std::vector<std::string> irregular = FilesThatAreNotRegular(huge.Path() + ".special");
    irregular.push_back(std::filesystem::temp_directory_path().string());
    Table<std::string, std::string> rows = {
        {"/no/such/file", "cannot stat the file /no/such/file\n"},
        {huge.Path(),
         "cannot send " + huge.Path() +
             ": its size of 1073725441 bytes is above the limit of 1073725440 bytes\n"},
    };
    for (const std::string& path : irregular) {
        rows.push_back({path, "cannot send " + path + ": it is not a regular file\n"});
    }
    int announced = 0;
    agent::Options options;
    options.tap = [&](auto, auto data) { announced += data.size() == sizeof(FileTransferRecord); };
    FileHost host;
    zmsim::RefusingHost refusing(host, {.announcement = 99});
    TestAgent agent(refusing, options);
    TestSession session;
    EXPECT_EQ(session.SendFile({.path = "/etc/hostname"}, session.result.data()), 1);
    EXPECT_EQ(session.Printed(), "ERROR: no connection to the managed system!\n");
    ASSERT_EQ(session.Connect(agent.Port()), kSuccess);
    for (const auto& [path, said] : rows) {
        EXPECT_EQ(session.SendFile({.path = path.c_str()}, session.result.data()), 1);
        EXPECT_EQ(session.Printed(), said);
    }
    EXPECT_EQ(session.SendFile({.path = largest.Path().c_str()}, session.result.data()), 1);
    EXPECT_EQ(session.LastStatus(), 99u) << "the largest file is announced";
    agent.Stop();
    EXPECT_EQ(announced, 1);
    std::filesystem::remove(huge.Path() + ".special");
}

TEST(FileTransfer, AStallEndsTheTransferAndTheSession) {
    const TemporaryFile file(Content(50'000));
    FileHost host;
    Linked session(host, {.wrap = zmsim::WithFaults({.stall_at_chunk = 3})});
    session.SetReceiveTimeout(3);
    EXPECT_EQ(session.SendFile({.path = file.Path().c_str()}, session.result.data()), 1);
    EXPECT_EQ(session.LastStatus(), kReceiveTimeout);
    EXPECT_FALSE(session.Connected());
    EXPECT_TRUE(session.Printed().ends_with("(75%) .... \rSocket timed out\n"));
}

TEST(FileTransfer, AnUnansweredAnnouncementCountsAsAgreedButEndsTheSession) {
    std::atomic<size_t> chunk_bytes = 0;
    RawAgent agent([&](SSL* ssl) {
        AcceptOpening(ssl);
        const size_t whole = kHeaderSize + sizeof(FileTransferRecord);
        ReadFrom(ssl, whole);
        chunk_bytes = ReadFrom(ssl, whole).size();
        WriteTo(ssl, Message(_Message{}));
        AwaitEnd(ssl);
    });
    const TemporaryFile file("x");
    TestSession session(agent.Port());
    session.SetReceiveTimeout(3);
    EXPECT_EQ(session.SendFile({.path = file.Path().c_str()}, session.result.data()), 0);
    EXPECT_EQ(chunk_bytes, kHeaderSize + sizeof(FileTransferRecord));
    EXPECT_EQ(session.LastStatus(), kReceiveTimeout);
    EXPECT_FALSE(session.Connected());
}

TEST(FileTransfer, AFileThatChangesMeanwhileIsNoSuccess) {
    // Sizes when announced and after: shrunk to a chunk's end, within the last chunk, and grown.
    const Table<size_t, size_t> rows = {
        {50'000, 32'768}, {50'000, 49'500}, {16'384, 16'385}, {16'380, 16'384}};
    for (const auto& [size, changed] : rows) {
        const TemporaryFile file(Content(size));
        agent::Options options;
        options.tap = [&, to = changed](auto, auto data) {
            if (data.size() == sizeof(FileTransferRecord)) {
                std::filesystem::resize_file(file.Path(), to);
            }
        };
        FileHost host;
        Linked session(host, options);
        EXPECT_EQ(session.SendFile({.path = file.Path().c_str()}, session.result.data()), 1);
        EXPECT_EQ(session.LastStatus(), kRequestRefused) << size;
        EXPECT_TRUE(session.Printed().ends_with("it changed or became unreadable\n"));
        EXPECT_FALSE(session.Connected());
        session.agent.Stop();
        EXPECT_EQ(static_cast<int>(host.files.size()) + host.broken_off, 1) << "its end is told";
    }
}

TEST(FileTransfer, TheReceiverTakesTheLargestFile) {
    CannedHost host;
    agent::FileReceiver receiver(host);
    FileTransferRecord record = {};
    const auto take = [&] { return receiver.Take(BytesOf(record)); };
    record.chunk_count = 65535;
    record.file_size = 65535ULL * 16384;
    record.file_name[0] = 'f';
    EXPECT_EQ(take(), 0u);
    record = {};
    record.chunk_length = 16384;
    record.chunk_number = 1;
    for (uint8_t* stray : {&record.transfer_arg1, reinterpret_cast<uint8_t*>(&record.extra)}) {
        *stray = 1;
        EXPECT_EQ(take(), 6u) << "nothing of an announcement belongs to a chunk";
        *stray = 0;
    }
    for (uint32_t number = 1; number <= 65535; ++number) {
        record.chunk_number = static_cast<uint16_t>(number);
        ASSERT_EQ(take(), 0u) << number;
    }
    EXPECT_EQ(take(), 6u) << "it is whole";
}
