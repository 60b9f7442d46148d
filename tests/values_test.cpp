/// The parsers of argument values.
#include <cstring>
#include <fstream>

#include "tests/support.h"

using namespace testing_support;
using namespace std::string_literals;
using Zw = ZwMgmt_interface;

#define B(bytes) std::string_view(bytes, sizeof(bytes) - 1)

TEST(Quads, AreJudgedByMode) {
    for (const auto& row : Cases("quads")) {
        const auto head = Words(row[0]);
        const auto mode = static_cast<uint8_t>(Number(head[1]));
        const int result = Number(head[2]);
        const auto hex = [&](size_t i) {
            return head.size() > i ? static_cast<uint32_t>(std::stoul(head[i], nullptr, 16)) : 0;
        };
        const uint32_t ip = hex(3), mask = hex(4);
        for (const std::string& word : Words(row[1])) {
            const std::string text = word.substr(0, word.find('='));
            if (head[0] == "v") {
                EXPECT_EQ(CLValidateAddress(text.c_str(), mode), result) << row[0] << ' ' << text;
                continue;
            }
            int32_t address = 0;
            uint32_t address_x4 = 0;
            uint8_t octets[4] = {};
            EXPECT_EQ(Zw::CLstr2ipoctets(text.c_str(), &address, octets, mode, &ip, &mask), result)
                << row[0] << ' ' << text;
            EXPECT_EQ(Zw::CLstr2ipoctetsx4(text.c_str(), &address_x4, nullptr, mode, &ip, &mask),
                      result);
            if (result != 0) continue;
            EXPECT_EQ(std::string(octets, octets + 4), Unhex(word.substr(text.size() + 1))) << text;
            EXPECT_EQ(std::memcmp(&address, octets, 4), 0);
            EXPECT_EQ(std::memcmp(&address_x4, octets, 4), 0);
        }
    }
    for (const uint8_t mode : {uint8_t{1}, uint8_t{2}, uint8_t{3}}) {
        EXPECT_EQ(Zw::CLstr2ipoctets(nullptr, nullptr, nullptr, mode, nullptr, nullptr), mode);
        EXPECT_EQ(CLValidateAddress(nullptr, mode), mode);
    }
}

TEST(Addresses, OfBothFamilies) {
    const Table<uint8_t, const char*, uint32_t, bool, std::string_view> rows = {
        {2, "10.0.0.1", 4, true, B("\x0a\0\0\x01")},
        {2, "10.0.0.1", 3, false, ""},
        {2, "10.0.0", 4, false, ""},
        {2, "fe80::1", 16, false, ""},
        {10, "10.0.0.1", 16, false, ""},
        {10, "::1", 8, false, ""},
        {10, "fe80::1", 16, true, B("\xfe\x80\0\0\0\0\0\0\0\0\0\0\0\0\0\x01")},
        {10, "", 16, false, ""},
        {2, "10.0.1", 4, false, ""},
        {2, "010.0.0.1", 4, false, ""},
        {2, "10.0.0.1:80", 4, false, ""},
        {10, "fe80::1%1", 16, false, ""},
        {10, "[::1]:80", 16, false, ""},
        {10, "::ffff:01.2.3.4", 16, false, ""},
        {7, "nonsense", 0, true, ""},
        {0, nullptr, 0, true, ""},
        {2, nullptr, 4, false, ""},
    };
    for (const auto& [family, text, capacity, result, bytes] : rows) {
        uint8_t out[16] = {};
        EXPECT_EQ(Zw::CLInet_Pton(family, text, out, capacity), result);
        if (bytes.empty()) continue;
        EXPECT_EQ(std::memcmp(out, bytes.data(), bytes.size()), 0);
        char back[46] = "untouched";
        const uint32_t needed = family == 2 ? 16 : 46;
        EXPECT_FALSE(Zw::CLInet_Ntop(family, out, back, needed - 1));
        EXPECT_STREQ(back, "untouched");
        EXPECT_TRUE(Zw::CLInet_Ntop(family, out, back, needed));
        EXPECT_STREQ(back, text);
    }
    char text[46] = "untouched";
    const uint8_t bytes[16] = {};
    EXPECT_TRUE(Zw::CLInet_Ntop(23, bytes, text, 46));
    EXPECT_STREQ(text, "untouched");
    uint8_t data[6] = {9, 9, 9, 9, 9, 9};
    Zw::CLConvertStringToData(data, "1..300.x.7");
    EXPECT_EQ(std::memcmp(data, "\x01\x2c\0\x07\x09", 5), 0);
}

TEST(Names, WwnAndLun) {
    const auto eight = B("\x50\x06\x0e\x80\x10\x20\xab\xCD");
    const Table<const char*, bool, bool> rows = {
        {"50060e801020abCD", true, true},
        {"50:06:0e:80:10:20:ab:CD", true, false},
        {"50-06-0e-80-10-20-ab-CD", true, false},
        {"50:06-0e:80:10:20:ab:CD", false, false},
        {"50.06.0e.80.10.20.ab.CD", false, false},
        {"50060e801020abC", false, false},
        {"50060e801020abCDE", false, false},
        {"50060e801020abCG", false, false},
        {":50:06:0e:80:10:20:ab:C", false, false},
        {"", false, false},
        {nullptr, false, false},
    };
    for (const auto& [text, wwn, lun] : rows) {
        uint8_t bytes[8] = {};
        EXPECT_EQ(Zw::Extract_WWN(text, bytes), wwn ? 0 : 255);
        EXPECT_EQ(std::memcmp(bytes, eight.data(), 8) == 0, wwn);
        uint8_t lun_bytes[8] = {};
        EXPECT_EQ(Zw::Extract_LUN_ID(text, lun_bytes), lun ? 0 : 255);
        EXPECT_EQ(std::memcmp(lun_bytes, eight.data(), 8) == 0, lun);
    }
}

TEST(Words, FlagsAndCharacters) {
    constexpr uint8_t kUntouched = 7;
    const Table<uint8_t, std::vector<const char*>> flags = {
        {1, {"yes", "1", "enable", "on", "true"}},
        {0, {"no", "0", "disable", "off", "false"}},
        {kUntouched, {"Yes", "", "on ", "2", nullptr}}};
    for (const auto& [expected, words] : flags) {
        for (const char* word : words) {
            uint8_t flag = kUntouched;
            EXPECT_EQ(Zw::CLCheckEnableDisable(word, &flag), expected == kUntouched) << word;
            EXPECT_EQ(flag, expected) << word;
        }
    }
    const Table<const char*, bool, bool, int> rows = {
        {"", true, true, 1},       {"abC", true, false, 0},   {"0123", false, true, 0},
        {"a1", false, false, 0},   {"\x7f", false, false, 1}, {"\xe4", false, false, 1},
        {"\x1f", false, false, 1}, {" ", false, false, 0},    {"~", false, false, 0},
        {nullptr, true, true, 1},
    };
    for (const auto& [text, letters, digits, unprintable] : rows) {
        EXPECT_EQ(Zw::CLIsAllAlpahbets(text), letters);
        EXPECT_EQ(Zw::CLIsAllDigits(text), digits);
        EXPECT_EQ(Zw::CLtest_printable_char(text), unprintable);
    }
    int digit_count = 0;
    for (int c = 0; c < 256; ++c) {
        const uint8_t digit = Zw::CLhex_char_to_number(static_cast<char>(c));
        if (digit == 255) continue;
        ++digit_count;
        EXPECT_EQ(digit, std::stoi(std::string(1, static_cast<char>(c)), nullptr, 16));
    }
    EXPECT_EQ(digit_count, 22);
    const uint8_t bytes[] = {200, 100, 1};
    EXPECT_EQ(Zw::CLByteChecksum(bytes, 3), 45);
    EXPECT_EQ(Zw::CLByteChecksum(nullptr, 3), 0);
    char lower[8];
    Zw::CLStrToLower("MiX-9", lower);
    EXPECT_STREQ(lower, "mix-9");
}

TEST(ConfigurationFiles, TypesAndTags) {
    const Table<int, const char*> tags = {{0, "0x1425"}, {1, "0x0400"}, {2, "0x0500"},
                                          {3, "0x0300"}, {4, "0x0600"}, {5, ""},
                                          {-1, ""}};
    for (int kind : {0, 1, 2, 3}) {
        const bool known = kind == 1 || kind == 2;
        for (const auto& [type, tag] : tags) {
            EXPECT_STREQ(Zw::ConvertConfigTypeIntToStr(kind, type), known ? tag : "");
            if (tag[0] != '\0') {
                EXPECT_EQ(Zw::ConvertConfigTypeStrToInt(kind, tag), known ? type : -1);
            }
        }
    }
    EXPECT_EQ(Zw::ConvertConfigTypeStrToInt(1, "a 0x0600 and 0x0200"), 0);
    EXPECT_EQ(Zw::ConvertConfigTypeStrToInt(1, "0x0101"), -1);
    EXPECT_EQ(Zw::ConvertConfigTypeStrToInt(1, nullptr), -1);
    const Table<std::string, int> files = {
        {"# 0x0300\nversion = 0x0400\n0x0500\n", 1},
        {"no line\nat the end 0x0300", 3},
        {"", -1},
        {"version = 9\n0x0300\n", -1},
        {std::string(254, 'x') + "version = 0x0600", 4},
    };
    for (const auto& [text, type] : files) {
        const TemporaryFile file(text);
        const std::string path = file.Path() + ".txt";
        std::ofstream(path, std::ios::binary) << text;
        EXPECT_EQ(Zw::IsValidConfigFile(2, path.c_str()), type) << text;
        EXPECT_EQ(Zw::IsValidConfigFile(2, file.Path().c_str()), -1) << "no .txt";
        std::remove(path.c_str());
    }
    EXPECT_EQ(Zw::IsValidConfigFile(1, "/no/such.txt"), -1);
    EXPECT_EQ(Zw::IsValidConfigFile(1, nullptr), -1);
    char path[8];
    EXPECT_EQ(Zw::GetZMFileName(2, path, sizeof(path)), -1);
}
