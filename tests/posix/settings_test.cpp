/// Defaults of options: the user's file, variables over it, the command line over both.
#include <cstdlib>
#include <filesystem>

#include "tests/support.h"

using namespace testing_support;

namespace {

constexpr char kFile[] =
    "# mine\nport = 7\nverify = \"off\"\nwait = true\nhost = node7\n"
    "[groups]\nweb = \"node[1-20],rack[1-3]\"\n";

/// With the variables, and the text as the file that --config names.
ProcessResult RunWith(const std::string& variables, const std::string& text,
                      const std::string& words) {
    const TemporaryFile file(text, ".toml");
    ProcessResult run = RunProcess(Words("/usr/bin/env " + variables + " " ZWCLI_PATH " --config " +
                                         file.Path() + " " + words));
    for (std::string* said : {&run.out, &run.err}) *said = Replaced(*said, file.Path(), "FILE");
    return run;
}

std::string Line(const std::string& name, const std::string& value, const std::string& source) {
    return name + std::string(17 - name.size(), ' ') + value + std::string(25 - value.size(), ' ') +
           source + "\n";
}

}  // namespace

TEST(Settings, HoldInTheirOrder) {
    const Table<std::string, std::string, std::string> rows = {
        {"", "", Line("port", "7", "FILE")},
        {"", "", Line("host", "node7", "FILE")},
        {"", "", Line("wait", "true", "FILE")},
        {"", "", Line("tls-min", "1.2", "default")},
        {"", "", "@web = node[1-20],rack[1-3]\n"},
        {"KORVANE_PORT=8", "", Line("port", "8", "KORVANE_PORT")},
        {"SSLKEYLOGFILE=keys", "", Line("keylog", "keys", "SSLKEYLOGFILE")},
        {"SSLKEYLOGFILE=keys KORVANE_KEYLOG=own", "", Line("keylog", "own", "KORVANE_KEYLOG")},
        {"KORVANE_PORT=8", " --port 9", Line("port", "9", "command line")},
        {"KORVANE_WAIT=false", "", Line("wait", "false", "KORVANE_WAIT")},
        {"KORVANE_PASSWORD_FILE=p", "", Line("password-file", "p", "KORVANE_PASSWORD_FILE")},
    };
    for (const auto& [variables, words, line] : rows) {
        const ProcessResult run = RunWith(variables, kFile, "--show-config" + words);
        EXPECT_EQ(run.exit_status, 0) << run.err;
        EXPECT_NE(run.out.find(line), std::string::npos) << line << run.out;
    }
}

TEST(Settings, AreUsedAndTheUsersOwnFileIsFound) {
    const std::string home = std::filesystem::temp_directory_path() / "zwmgmt_settings_home";
    std::filesystem::create_directories(home + "/.config/korvane");
    SimulatedAgent agent("linux");
    const std::string file = home + "/.config/korvane/zwcli.toml";
    FILE* out = std::fopen(file.c_str(), "w");
    ASSERT_NE(out, nullptr);
    std::fprintf(out, "port = %d\nverify = \"off\"\nformat = csv\nwait = true\n", agent.Port());
    std::fclose(out);
    const ProcessResult run =
        RunProcess({"/usr/bin/env", "HOME=" + home, ZWCLI_PATH, "filter", "listx3adapters"});
    EXPECT_EQ(run.out, "interface_name\r\neth2\r\neth3\r\n") << run.err;
    std::filesystem::remove_all(home);
}

TEST(Settings, ErrorsNameTheirSource) {
    const Table<std::string, std::string, std::string> rows = {
        {"", "prt = 3\n", "FILE: unknown setting \"prt\"; nearest: port"},
        {"", "port = 70000\n", "FILE: --port: Value 70000 not in range 1 to 65535"},
        {"", "[site]\nport = 7\n", "FILE: unknown setting \"site.port\""},
        {"", "help = true\n", "FILE: unknown setting \"help\""},
        {"KORVANE_PORT=x", "", "KORVANE_PORT: --port: Value x not in range 1 to 65535"},
        {"KORVANE_USER=", "", "KORVANE_USER: --user"},
        {"KORVANE_VERIFY=nix", "", "KORVANE_VERIFY: --verify: unknown verification \"nix\""},
        {"", "user = \"a#b\"\n", "FILE line 1: '#' and '\\' cannot stand in a value"},
        {"", "\nuser = \"a\n", "FILE line 2: the quote is not closed"},
        {"", "port = 1\nport = 2\n", "FILE: \"port\" has more than one value"},
        {"", std::string((1u << 20) + 1, '#'), "FILE: larger than 1 MiB"},
    };
    for (const auto& [variables, text, error] : rows) {
        const ProcessResult run = RunWith(variables, text, "tm list");
        EXPECT_EQ(run.exit_status, 2) << error;
        EXPECT_EQ(run.err.find("korvane_zwcli: " + error), 0u) << run.err;
    }
    EXPECT_EQ(RunWith("", kFile, "hosts fold @web node30").out, "node[1-20,30],rack[1-3]\n");
    const ProcessResult missing = RunProcess({ZWCLI_PATH, "--config", "/none", "tm", "list"});
    EXPECT_EQ(missing.err, "korvane_zwcli: /none: there is no such file\n");
}
