/// Words of a command line, and the requests that they become.
#include "tests/support.h"

using namespace testing_support;
using namespace zwmgmt;
using Zw = ZwMgmt_interface;

TEST(Vocabulary, KeyValueWordsSplitAtTheFirstEqualsSign) {
    const Table<const char*, int, const char*, int, const char*> rows = {
        {"pci=0:1", 0, "pci", 0, "0:1"}, {"a=b=c", 0, "a", 0, "b=c"},
        {"a=", 0, "a", 1, ""},           {"a", 1, "", 1, ""},
        {"=b", 0, "", 0, "b"},           {" a = b", 0, " a ", 0, " b"},
    };
    for (const auto& [word, key_result, key, value_result, value] : rows) {
        char got_key[32] = {};
        char got_value[32] = {};
        EXPECT_EQ(Zw::CLGetKey(word, got_key), key_result) << word;
        EXPECT_STREQ(got_key, key);
        EXPECT_EQ(Zw::CLGetValue(word, got_value), value_result) << word;
        EXPECT_STREQ(got_value, value);
    }
}

TEST(CommandWords, ComplainAboutTheWordAndNameTheNearest) {
    const Table<std::vector<const char*>, const char*> rows = {
        {{"korvan"}, "unknown service \"korvan\"; nearest: korvane"},
        {{"korvane", "listport"}, "unknown korvane command \"listport\"; nearest: listports"},
        {{"korvane", "get"},
         "unknown korvane command \"get\"; nearest: getcardstats, getportstats"},
        {{"korvane", "listports", "pc=1"}, "unknown key \"pc\"; nearest: pci"},
        {{"korvane", "listports", "pci="}, "key \"pci\" has no value"},
        {{"korvane", "listports", "pci=1", "x"}, "expected key=value instead of \"x\""},
        {{"korvane", "listadapterprops", "all"}, "the command takes no arguments: \"all\""},
        {{"korvane", "setportproperty", "mtuu=1"}, "unknown key \"mtuu\"; nearest: mtu"},
        {{"net", "bridge", "lst"}, "unknown sub-command \"lst\""},
        {{"net", "mtu", "set", "mtu=1", "MTU=2"}, "key \"MTU\" is given twice"},
        {{"net", nullptr}, "a word is missing (null)"},
        {{"net", "ping", "set"}, "expected key=value instead of \"set\""},
        {{"net", "ping", "getresult", "host=a"}, "expected key=value instead of \"getresult\""},
        {{"generic", "x"}, "unknown generic command \"x\""},
        {{"team"}, "missing command of service team; not in this version: create, remove, list"},
        {{"tm"}, "missing command of service tm; known: add, modify, delete, list"},
    };
    for (const auto& [words, error] : rows) {
        CommandWords command(words.data(), words.size());
        EXPECT_EQ(command.Request(), nullptr);
        EXPECT_STREQ(command.Error(), error);
    }
    CommandWords nothing(nullptr, 0);
    EXPECT_TRUE(std::string(nothing.Error()).starts_with("missing service; known: net, korvane, "));
    const std::string endless(100'000, 'x');
    const char* long_word[] = {endless.c_str()};
    EXPECT_EQ(CommandWords(long_word, 1).Request(), nullptr);
}
