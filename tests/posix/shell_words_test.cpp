/// The words of a line, as the system's shell takes them.
#include "front_end/shell_words.h"

#include <random>

#include "tests/support.h"

using namespace testing_support;

TEST(ShellWords, AreThoseOfAShell) {
    std::mt19937 random(7);
    for (int i = 0; i < 300; ++i) {
        std::string line(random() % 12, ' '), told;
        for (char& c : line) c = "ab '\"\\#\t"[random() % 8];
        std::vector<std::string> words;
        const std::string wrong = zwcli::SplitWords(line, &words);
        if (wrong.starts_with("a backslash")) continue;  // a shell goes on with the next line
        const std::string script =
            "set -- " + line + "\nfor word; do printf '%s\\0' \"$word\"; done";
        const ProcessResult shell = RunProcess({"/bin/sh", "-c", script});
        EXPECT_EQ(shell.exit_status == 0, wrong.empty()) << line;
        for (const std::string& word : words) told += word + '\0';
        if (wrong.empty()) {
            EXPECT_EQ(shell.out, told) << line;
        }
    }
}
