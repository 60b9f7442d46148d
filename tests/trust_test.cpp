/// Whom a session trusts: nothing leaves before the agent has shown who it is.
#include <openssl/evp.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/support.h"

using namespace testing_support;
using namespace zwmgmt;

namespace {

using Key = std::shared_ptr<EVP_PKEY>;
using Certificate = std::shared_ptr<X509>;

Key NewKey() { return {EVP_RSA_gen(2048), EVP_PKEY_free}; }

struct Kind {
    const char* name = "IP:127.0.0.1";
    long days = 1;  // from yesterday on
};

/// Signed by the issuer, or by itself where there is none.
Certificate Sign(const Key& key, const Kind& kind, X509* issuer, const Key& issuer_key) {
    const Certificate made(X509_new(), X509_free);
    static long serial = 0;
    X509_set_version(made.get(), X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(made.get()), ++serial);
    X509_gmtime_adj(X509_getm_notBefore(made.get()), -2L * 86400);
    X509_gmtime_adj(X509_getm_notAfter(made.get()), kind.days * 86400);
    X509_NAME* name = X509_get_subject_name(made.get());
    const auto* text = reinterpret_cast<const unsigned char*>(kind.name);
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, text, -1, -1, 0);
    X509_set_issuer_name(made.get(),
                         X509_get_subject_name(issuer != nullptr ? issuer : made.get()));
    X509_set_pubkey(made.get(), key.get());
    const bool authority = std::string(kind.name) == "authority";
    X509_EXTENSION* extension =
        authority ? X509V3_EXT_conf_nid(nullptr, nullptr, NID_basic_constraints, "critical,CA:TRUE")
                  : X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name, kind.name);
    X509_add_ext(made.get(), extension, -1);
    X509_EXTENSION_free(extension);
    X509_sign(made.get(), issuer_key.get(), EVP_sha256());
    return made;
}

std::string FingerprintOf(EVP_PKEY* key) {
    unsigned char* der = nullptr;
    const int length = i2d_PUBKEY(key, &der);
    unsigned char digest[32], text[45];
    EVP_Digest(der, static_cast<size_t>(length), digest, nullptr, EVP_sha256(), nullptr);
    OPENSSL_free(der);
    EVP_EncodeBlock(text, digest, sizeof(digest));
    return "SHA256:" + std::string(reinterpret_cast<char*>(text), 43);
}

ProcessResult Front(const std::string& words) { return RunProcess(Words(ZWCLI_PATH " " + words)); }

/// A file of known agents of the test's own.
struct KnownFile : TemporaryFile {
    explicit KnownFile(const std::string& text = "") : TemporaryFile(text, ".known") {}
    ~KnownFile() { std::filesystem::remove(Path() + ".lock"); }
    ProcessResult Agents(const std::string& words) const {
        return Front("--known-agents " + Path() + " agents " + words);
    }
};

/// Listens, shakes hands and keeps all that it gets.
struct Impostor {
    std::string got;
    RawAgent agent{[this](SSL* ssl) {
        for (Bytes byte; !(byte = ReadFrom(ssl, 1)).empty();) got += static_cast<char>(byte[0]);
    }};
};

const std::string kSomeKey = "SHA256:" + std::string(43, 'A');

}  // namespace

TEST(Trust, EveryModeJudgesEveryCertificate) {
    const Key root_key = NewKey(), other_root_key = NewKey(), key = NewKey(), other_key = NewKey();
    const Kind authority = {"authority", 1};
    const Certificate root = Sign(root_key, authority, nullptr, root_key);
    const Certificate other_root = Sign(other_root_key, authority, nullptr, other_root_key);
    const TemporaryFile authorities(Pem(root.get(), nullptr));
    const auto signed_by = [&](const Key& own, const Kind& kind) {
        return Sign(own, kind, root.get(), root_key);
    };
    struct Row {
        const char* what;
        Certificate certificate;
        Key key;
        int known, strict, by_authority;  // exit statuses
    };
    const Row rows[] = {
        {"good", signed_by(key, {}), key, 0, 0, 0},
        {"renewed", signed_by(key, {"IP:127.0.0.1", 30}), key, 0, 0, 0},
        {"expired", signed_by(key, {"IP:127.0.0.1", -1}), key, 0, 0, 3},
        {"other name", signed_by(key, {"DNS:node7", 1}), key, 0, 0, 3},
        {"other issuer", Sign(key, {}, other_root.get(), other_root_key), key, 0, 0, 3},
        {"self-signed", Sign(key, {}, nullptr, key), key, 0, 0, 3},
        {"changed key", signed_by(other_key, {}), other_key, 3, 3, 0},
    };
    CannedHost host;
    for (const Row& row : rows) {
        const TemporaryFile pair(Pem(row.certificate.get(), row.key.get()));
        for (const int version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
            agent::Options options;
            options.certificate_file = pair.Path();
            options.tls_version = version;
            TestAgent agent(host, options);
            const std::string name = "127.0.0.1:" + std::to_string(agent.Port());
            const KnownFile known(name + " " + FingerprintOf(key.get()) + "\n");
            const Table<std::string, int> modes = {
                {"--known-agents " + known.Path(), row.known},
                {"--verify strict --known-agents " + known.Path(), row.strict},
                {"--verify ca --ca " + authorities.Path(), row.by_authority},
                {"--verify off", 0},
            };
            for (const auto& [mode, exit_status] : modes) {
                const ProcessResult run = Front(mode + " --host " + name + " system listdrivers");
                EXPECT_EQ(run.exit_status, exit_status) << row.what << ": " << mode;
            }
        }
    }
}

TEST(Trust, AnAgentMayAskWhoTheClientIs) {
    const Key root_key = NewKey(), key = NewKey();
    const Certificate root = Sign(root_key, {"authority", 1}, nullptr, root_key);
    const Certificate good = Sign(key, {}, root.get(), root_key);
    const Certificate own = Sign(key, {}, nullptr, key);
    const TemporaryFile authorities(Pem(root.get(), nullptr));
    const TemporaryFile good_pair(Pem(good.get(), key.get())), own_pair(Pem(own.get(), key.get()));
    const TemporaryFile no_key("x");
    SetReadableByOthers(good_pair.Path(), false);
    SetReadableByOthers(no_key.Path(), false);
    SetReadableByOthers(own_pair.Path(), true);
    const auto pair = [](const TemporaryFile& certificate, const TemporaryFile& with_key) {
        return "--client-cert " + certificate.Path() + " --client-key " + with_key.Path();
    };
    // The exit statuses of a command, and of a look at the key alone.
    const Table<int, std::string, int, int, std::string> rows = {
        {TLS1_3_VERSION, pair(good_pair, good_pair), 0, 0, ""},
        {TLS1_2_VERSION, pair(good_pair, good_pair), 0, 0, ""},
        {TLS1_3_VERSION, "", 3, 0, ""},  // why is told where it comes before the opening is sent
        {TLS1_2_VERSION, "", 3, 3, "handshake failure"},
        {TLS1_3_VERSION, pair(own_pair, good_pair), 3, 0, ""},
        {TLS1_3_VERSION, pair(good_pair, no_key), 2, 3, " with the key " + no_key.Path()},
        {TLS1_3_VERSION, "--client-key " + no_key.Path(), 2, 2, "go together"},
        {TLS1_2_VERSION, "--tls-min 1.3", 3, 3, "TLS"},
        {TLS1_3_VERSION, "--tls-min 1.1", 2, 2, "1.1"},
        {TLS1_3_VERSION, pair(good_pair, own_pair), 2, 3, "other users can read the key"},
    };
    zmsim::ScenarioHost host(BuiltinScenario("linux"));
    for (const auto& [version, options, asked, scanned, why] : rows) {
        agent::Options serving;
        serving.tls_version = version;
        serving.client_authorities = authorities.Path();
        TestAgent agent(host, serving);
        const Table<const char*, int> commands = {{" system listdrivers", asked},
                                                  {" agents scan 127.0.0.1", scanned}};
        for (const auto& [command, exit_status] : commands) {
            const ProcessResult run = Zwcli(agent.Port(), Words(options + command));
            EXPECT_EQ(run.exit_status, exit_status) << command << why << run.err;
            EXPECT_TRUE(exit_status == 0 || run.err.find(why) != run.err.npos) << run.err;
        }
    }
}

TEST(Trust, AnImpostorGetsNothing) {
    const TemporaryFile password("secret\n");
    const TemporaryFile authorities(ContentOf(CERTIFICATE));
    const Table<std::string, const char*> rows = {
        {"--verify known --known-agents KNOWN", "has changed; nothing was sent to it"},
        {"--verify strict --known-agents KNOWN", "has changed; nothing was sent to it"},
        {"--verify ca --ca " + authorities.Path(), "self-signed certificate"},
    };
    for (const auto& [mode, why] : rows) {
        Impostor impostor;
        const std::string name = "127.0.0.1:" + std::to_string(impostor.agent.Port());
        const KnownFile known(name + " " + kSomeKey + "\n");
        const ProcessResult run =
            Front(Replaced(mode, "KNOWN", known.Path()) + " --host " + name +
                  " --user operator --password-file " + password.Path() + " system listdrivers");
        EXPECT_EQ(run.exit_status, 3) << mode;
        EXPECT_EQ(run.out, "") << mode;
        EXPECT_NE(run.err.find(why), run.err.npos) << run.err;
        EXPECT_EQ(impostor.got, "") << mode[1];
    }
}

TEST(Trust, ASessionThatRefusedItsAgentSendsNothingLater) {
    Impostor impostor;
    Peer shown;
    TestSession session;
    session.VerifyByCaller(
        [](void* peer, const Peer& offered) {
            *static_cast<Peer*>(peer) = offered;
            return false;
        },
        &shown);
    EXPECT_EQ(session.Connect(impostor.agent.Port()), kAgentNotTrusted);
    EXPECT_STREQ(session.FailureDetail(), "refused by this program");
    EXPECT_STREQ(shown.subject, "CN = management agent");
    EXPECT_STREQ(shown.issuer, shown.subject);
    EXPECT_STREQ(shown.tls_version, "TLSv1.3");
    session.SetPassword("secret");
    EXPECT_EQ(session.CLAuthenticateUser(session.result.data()), kNotConnected);
    EXPECT_EQ(session.Run({"system", "listdrivers"}), int{kNotConnected});
    Peer none;
    EXPECT_FALSE(session.GetPeer(&none));
    char pem[8] = "x";
    EXPECT_EQ(session.GetPeerChain(pem, sizeof(pem)), 0u);
    EXPECT_STREQ(pem, "");
    EXPECT_EQ(session.VerifyByAuthority("/no/such/file"), kNoTlsSession);
    EXPECT_TRUE(std::string(session.FailureDetail()).starts_with("cannot load /no/such/file: "));
    session.CLDisconnectFromServer();
    EXPECT_EQ(impostor.got, "");
}

TEST(Trust, ASessionTellsWhatItsAgentHasShown) {
    const Key key = NewKey();
    const Kind kind = {"DNS:node7.example,IP:127.0.0.1,IP:::1,email:a@b,DNS:evil\x01name", 1};
    const Certificate certificate = Sign(key, kind, nullptr, key);
    const std::string pem = Pem(certificate.get(), nullptr);
    const TemporaryFile pair(Pem(certificate.get(), key.get())), authority(pem);
    agent::Options options;
    options.certificate_file = pair.Path();
    options.listen = {"localhost", "127.0.0.2"};
    CannedHost host;
    TestAgent agent(host, options);
    TestSession session;
    ASSERT_EQ(session.VerifyByAuthority(authority.Path().c_str()), kSuccess);
    ASSERT_EQ(session.Connect(agent.Port()), kSuccess);
    Peer peer;
    ASSERT_TRUE(session.GetPeer(&peer));
    EXPECT_EQ(peer.fingerprint, FingerprintOf(key.get()));
    EXPECT_STREQ(peer.names, "node7.example 127.0.0.1 ::1");
    EXPECT_EQ(std::string(peer.valid_until).size(), 20u);
    std::string chain(pem.size() + 1, 'x');
    EXPECT_EQ(session.GetPeerChain(chain.data(), static_cast<uint32_t>(chain.size())), pem.size());
    EXPECT_STREQ(chain.c_str(), pem.c_str());

    const auto connect = [&](const char* to) {
        return session.CLConnectToServer(to, "u", agent.Port(), session.result.data());
    };
    EXPECT_EQ(connect("127.0.0.2"), kAgentNotTrusted) << "its certificate is for others";
    const uint32_t status = connect("0::1%1");
    if (status == kConnectFailed) GTEST_SKIP() << "this machine has no IPv6";
    EXPECT_EQ(status, kSuccess) << "a zone is nobody's name";
    EXPECT_EQ(std::string(session.ServerAddress()).find("::1%"), 0u);
}

TEST(Trust, AFirstContactIsRecordedAndSaid) {
    zmsim::ScenarioHost host(BuiltinScenario("linux"));
    TestAgent agent(host);
    const std::string name = "127.0.0.1:" + std::to_string(agent.Port());
    for (const bool hashed : {false, true}) {
        const KnownFile known("# mine");
        const std::string words = "--known-agents " + known.Path() + " --host " + name +
                                  (hashed ? " --hash-agents" : "") + " system listdrivers";
        const ProcessResult first = Front(words);
        EXPECT_EQ(first.exit_status, 0);
        EXPECT_NE(first.err.find("first contact with 127.0.0.1 port "), first.err.npos);
        EXPECT_EQ(known.Agents("list").out == known.Agents("scan " + name).out, !hashed);
        EXPECT_EQ(ContentOf(known.Path()).find("# mine\n"), 0u);
        EXPECT_EQ(ContentOf(known.Path()).find(name) == std::string::npos, hashed);
        EXPECT_EQ(Front("--verify strict " + words).err, "");
        EXPECT_EQ(known.Agents("remove " + name).exit_status, 0);
        EXPECT_EQ(ContentOf(known.Path()), "# mine\n");
        EXPECT_EQ(Front("--verify strict " + words).exit_status, 3);
    }
}

TEST(Trust, TheFileIsReadStrictlyAndAgentsAreNamed) {
    const Table<std::string, std::string, int> rows = {
        {"\r\n# x\r\nnode7:1 " + kSomeKey + "\r\n", "list", 0},
        {"node7 SHA256:short\n", "list", 1},
        {"node7:1\n", "list", 1},
        {"NODE7:1 " + kSomeKey + "\n", "remove node7:1", 1},
        {"node7:35001 " + kSomeKey + "\n", "remove NODE7", 0},
        {"[fe80::1]:35001 " + kSomeKey + "\n", "remove fe80::1", 0},
        {"[fe80::1]:7 " + kSomeKey + "\n", "remove [FE80::1]:7", 0},
        {"[::1]:35001 " + kSomeKey + "\n", "remove 0:0::1", 0},
        {"[fe80::1%no-such]:7 " + kSomeKey + "\n", "remove [FE80:0::1%no-such]:7", 0},
        {"[fe80::1%no-such]:7 " + kSomeKey + "\n", "remove [fe80::1%NO-SUCH]:7", 1},
        {"", "remove node7", 1},
        {"", "add", 2},
        {"", "list node7", 2},
        {"", "forget node7", 2},
        {"", "remove :7", 2},
        {"", "remove node7:0", 2},
        {"", "remove node7:65536", 2},
        {"", "remove [::1", 2},
        {"", "remove [::1]7", 2},
        {"", "remove ::1::", 2},
        {"", "remove [fe80::1%]:7", 2},
        {"", "remove [node7]:7", 2},
        {"", "add \"a b\" " + kSomeKey, 2},
        {"", "add #node7 " + kSomeKey, 2},
    };
    for (const auto& [text, words, exit_status] : rows) {
        const KnownFile known(text);
        const ProcessResult run = known.Agents(words);
        EXPECT_EQ(run.exit_status, exit_status) << words << ": " << run.err;
        if (exit_status != 0) {
            EXPECT_EQ(ContentOf(known.Path()), text) << words;
        }
    }
    const KnownFile known("node7:1 " + kSomeKey + "\n");
    EXPECT_EQ(known.Agents("add node7:1 " + kSomeKey).exit_status, 0);
    EXPECT_EQ(known.Agents("add node7:1 SHA256:" + std::string(43, 'B')).exit_status, 1);
}

TEST(Trace, TellsEveryMessageAndNoSecret) {
    const std::string secret = "a-secret-of-its-own";
    const TemporaryFile password(secret + "\n"), plain(""), whole(""), keys("");
    agent::Options options;
    options.login = agent::OneUser{"operator", secret};
    SimulatedAgent agent("linux", options);
    const auto run = [&](const std::string& words) {
        return Zwcli(agent.Port(), Words(words + " --user operator --password-file " +
                                         password.Path() + " system listdrivers"));
    };
    const std::string answer = run("--trace " + plain.Path()).out;
    const ProcessResult seen =
        run("--trace " + whole.Path() + " --trace-data --keylog " + keys.Path());
    EXPECT_EQ(seen.out, answer);
    EXPECT_TRUE(seen.err.ends_with("whoever has " + keys.Path() + " can read this session\n"));
    EXPECT_EQ(ContentOf(keys.Path()).find("CLIENT_HANDSHAKE_TRAFFIC_SECRET"),
              ContentOf(keys.Path()).find("CLIENT_"));
    const Table<const char*, const char*, bool, bool> expected = {
        {"sent", "opening or login", true, false}, {"received", "opening or login", false, false},
        {"sent", "opening or login", true, false}, {"received", "opening or login", false, false},
        {"sent", "getcapabilities", false, false}, {"received", "getcapabilities", true, true},
        {"sent", "listdrivers", false, false},     {"received", "listdrivers", true, true},
    };
    for (const bool with_data : {false, true}) {
        std::istringstream lines(ContentOf(with_data ? whole.Path() : plain.Path()));
        std::string line;
        for (const auto& [direction, command, has_length, has_data] : expected) {
            ASSERT_TRUE(std::getline(lines, line));
            const auto message = nlohmann::json::parse(line);
            EXPECT_EQ(message["direction"], direction) << line;
            EXPECT_EQ(message.value("command", ""), command) << line;
            EXPECT_EQ(message["length"] != 0, has_length) << line;
            EXPECT_EQ(message["port"], agent.Port());
            ASSERT_EQ(message.contains("data"), with_data && has_data) << line;
            if (with_data && has_data) {
                EXPECT_EQ(message["data"].get<std::string>().size(),
                          2 * message["length"].get<size_t>());
            }
            EXPECT_EQ(message.contains("records"), with_data && has_data) << line;
        }
        if (with_data) {
            const auto drivers = nlohmann::json::parse(line)["records"];
            ASSERT_EQ(drivers.size(), 4u) << line;
            EXPECT_EQ(drivers[0]["name"], "kxgb3");
            EXPECT_EQ(drivers[0]["loaded"], 1);
        }
        EXPECT_FALSE(std::getline(lines, line)) << line;
    }
    for (const std::string option : {"--trace", "--keylog"}) {
        const ProcessResult refused = run(option + " /no/such/folder/file");
        EXPECT_EQ(refused.exit_status, 2);
        EXPECT_NE(refused.err.find("/no/such/folder/file: "), std::string::npos) << refused.err;
    }
}

TEST(Trace, TellsThePiecesOfAFile) {
    SimulatedAgent agent("linux");
    const TemporaryFile package(std::string(16'385, 'x'), "-KorvaneZwire-4.3.0.tar.gz"), trace("");
    const ProcessResult run =
        Zwcli(agent.Port(), {"--trace", trace.Path(), "--trace-data", "system", "install",
                             "type=nic,toe", "zwirepath=" + package.Path()});
    EXPECT_EQ(run.exit_status, 0) << run.err;
    std::istringstream lines(ContentOf(trace.Path()));
    std::vector<std::string> pieces;
    for (std::string line; std::getline(lines, line);) {
        const auto message = nlohmann::json::parse(line);
        if (message["length"] == sizeof(FileTransferRecord)) pieces.push_back(message["data"]);
    }
    ASSERT_EQ(pieces.size(), 3u) << "the announcement and two pieces";
    for (const size_t piece : {1, 2}) {
        EXPECT_EQ(pieces[piece].size(), 2 * sizeof(FileTransferRecord));
        EXPECT_EQ(pieces[piece].substr(0, 4), piece == 1 ? "0100" : "0200");
        EXPECT_EQ(pieces[piece].find("78"), 2 * offsetof(FileTransferRecord, chunk_data));
    }
}

TEST(Trust, ManyProcessesRecordAtOnceAndLoseNone) {
    constexpr int kProcesses = 100;
    const KnownFile known;
    std::vector<std::thread> threads;
    for (int i = 0; i < kProcesses; ++i) {
        threads.emplace_back([&, i] {
            const std::string name = "node" + std::to_string(i / 2) + ":1 ";
            EXPECT_EQ(known.Agents("add " + name + kSomeKey).exit_status, 0);
        });
    }
    for (std::thread& thread : threads) thread.join();
    const std::string text = ContentOf(known.Path());
    EXPECT_EQ(std::ranges::count(text, '\n'), kProcesses / 2);
    EXPECT_EQ(known.Agents("list").out, text);
}
