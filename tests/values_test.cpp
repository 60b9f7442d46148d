/// The parsers of argument values.
#include <cstring>
#include <fstream>
#include <random>
#include <sstream>

#include "tests/support.h"

using namespace testing_support;
using namespace std::string_literals;
using Zw = ZwMgmt_interface;

namespace {

struct QuadRow {
    char function;  // 'a' CLstr2ipoctets and its x4 form, 'v' CLValidateAddress
    int mode;
    const char* text;
    uint32_t ip;
    uint32_t mask;
    int result;
    std::string_view octets;
};

#define B(bytes) std::string_view(bytes, sizeof(bytes) - 1)

// Written down apart from the code.
// clang-format off
const QuadRow kQuads[] = {
    {'a', 1, "10.0.0.1", 0, 0, 0, B("\x0a\x00\x00\x01")}, {'a', 1, "10.0.0.0", 0, 0, 0, B("\x0a\x00\x00\x00")},
    {'a', 1, "254.254.254.254", 0, 0, 0, B("\xfe\xfe\xfe\xfe")}, {'a', 1, "0.1.2.3", 0, 0, 1, B("")}, {'a', 1, "255.0.0.1", 0, 0, 1, B("")},
    {'a', 1, "10.255.0.1", 0, 0, 1, B("")}, {'a', 1, "10.0.255.1", 0, 0, 1, B("")}, {'a', 1, "10.0.0.255", 0, 0, 1, B("")},
    {'a', 1, "1.2.3.256", 0, 0, 0, B("\x01\x02\x03\x00")}, {'a', 1, "300.0.0.1", 0, 0, 0, B("\x2c\x00\x00\x01")}, {'a', 1, "256.0.0.1", 0, 0, 1, B("")},
    {'a', 1, "10.256.300.1", 0, 0, 0, B("\x0a\x00\x2c\x01")}, {'a', 1, "511.0.0.1", 0, 0, 1, B("")}, {'a', 1, "10.0.0.511", 0, 0, 1, B("")},
    {'a', 1, "010.001.000.009", 0, 0, 0, B("\x0a\x01\x00\x09")}, {'a', 1, "", 0, 0, 1, B("")}, {'a', 1, "...", 0, 0, 1, B("")}, {'a', 1, "1..2.3", 0, 0, 1, B("")},
    {'a', 1, ".0.0.1", 0, 0, 1, B("")}, {'a', 1, "10.0.0.", 0, 0, 1, B("")}, {'a', 1, "1000.0.0.1", 0, 0, 1, B("")}, {'a', 1, "10.0000.0.1", 0, 0, 1, B("")},
    {'a', 1, "10.0.0.0001", 0, 0, 1, B("")}, {'a', 1, "10.0.0.a", 0, 0, 1, B("")}, {'a', 1, " 10.0.0.1", 0, 0, 1, B("")}, {'a', 1, "10.0.0.1 ", 0, 0, 1, B("")},
    {'a', 1, "10.-1.0.1", 0, 0, 1, B("")}, {'a', 1, "+10.0.0.1", 0, 0, 1, B("")}, {'a', 1, "10.0.1", 0, 0, 1, B("")}, {'a', 1, "1.2.3.4.5", 0, 0, 1, B("")},
    {'a', 1, "1.2.3.4.", 0, 0, 1, B("")}, {'a', 1, "10.1.0.1", 0x0500000a, 0x0000ffff, 0, B("\x0a\x01\x00\x01")},
    {'a', 2, "255.255.254.0", 0, 0, 0, B("\xff\xff\xfe\x00")}, {'a', 2, "255.0.0.0", 0, 0, 0, B("\xff\x00\x00\x00")},
    {'a', 2, "255.255.255.255", 0, 0, 0, B("\xff\xff\xff\xff")}, {'a', 2, "0.0.0.0", 0, 0, 0, B("\x00\x00\x00\x00")},
    {'a', 2, "252.250.100.2", 0, 0, 0, B("\xfc\xfa\x64\x02")}, {'a', 2, "255.0.255.0", 0, 0, 2, B("")}, {'a', 2, "0.255.0.0", 0, 0, 2, B("")},
    {'a', 2, "0.0.255.0", 0, 0, 2, B("")}, {'a', 2, "0.0.0.255", 0, 0, 2, B("")}, {'a', 2, "255.255.254.255", 0, 0, 2, B("")},
    {'a', 2, "255.255.255.1", 0, 0, 2, B("")}, {'a', 2, "253.0.0.0", 0, 0, 2, B("")}, {'a', 2, "255.255.253.0", 0, 0, 2, B("")},
    {'a', 2, "255.255.0.2", 0, 0, 2, B("")}, {'a', 2, "255.256.0.0", 0, 0, 0, B("\xff\x00\x00\x00")}, {'a', 2, "255.300.0.0", 0, 0, 0, B("\xff\x2c\x00\x00")},
    {'a', 2, "255.255.255.301", 0, 0, 2, B("")}, {'a', 2, "255.255.0", 0, 0, 2, B("")}, {'a', 3, "10.0.0.1", 0, 0, 0, B("\x0a\x00\x00\x01")},
    {'a', 3, "10.0.9.1", 0x0500000a, 0x0000ffff, 0, B("\x0a\x00\x09\x01")}, {'a', 3, "10.1.0.1", 0x0500000a, 0x0000ffff, 3, B("")},
    {'a', 3, "10.1.0.1", 0, 0x0000ffff, 0, B("\x0a\x01\x00\x01")}, {'a', 3, "10.1.0.1", 0x0500000a, 0, 0, B("\x0a\x01\x00\x01")},
    {'a', 3, "10.0.0.5", 0x0400000a, 0xfeffffff, 0, B("\x0a\x00\x00\x05")}, {'a', 3, "10.0.0.6", 0x0400000a, 0xfeffffff, 3, B("")},
    {'a', 3, "10.256.0.1", 0x0500000a, 0x0000ffff, 0, B("\x0a\x00\x00\x01")}, {'a', 3, "255.0.0.1", 0, 0, 3, B("")}, {'a', 3, "10.255.0.1", 0, 0, 3, B("")},
    {'a', 3, "10.0.255.1", 0, 0, 3, B("")}, {'a', 3, "10.0.0.255", 0, 0, 0, B("\x0a\x00\x00\xff")}, {'a', 3, "0.1.2.3", 0, 0, 3, B("")},
    {'a', 3, "10.0.0.x", 0, 0, 3, B("")}, {'a', 0, "10.0.0.1", 0, 0, 1, B("")}, {'a', 4, "10.0.0.1", 0, 0, 1, B("")}, {'a', 0, "10.0.0", 0, 0, 1, B("")},
    {'a', 4, "10.0.0", 0, 0, 1, B("")}, {'v', 1, "10.0.0.1", 0, 0, 0, B("")}, {'v', 1, "10.0.0.0", 0, 0, 0, B("")}, {'v', 1, "0.1.2.3", 0, 0, 1, B("")},
    {'v', 1, "010.001.000.009", 0, 0, 0, B("")}, {'v', 1, "255.0.0.1", 0, 0, 0, B("")}, {'v', 1, "10.255.0.1", 0, 0, 0, B("")},
    {'v', 1, "10.0.255.1", 0, 0, 0, B("")}, {'v', 1, "10.0.0.255", 0, 0, 1, B("")}, {'v', 1, "1.2.3.256", 0, 0, 1, B("")}, {'v', 1, "300.0.0.1", 0, 0, 1, B("")},
    {'v', 1, "10.256.0.1", 0, 0, 1, B("")}, {'v', 1, "10.0.300.1", 0, 0, 1, B("")}, {'v', 1, "", 0, 0, 1, B("")}, {'v', 1, "1..2.3", 0, 0, 1, B("")},
    {'v', 1, "10.0.0.", 0, 0, 1, B("")}, {'v', 1, "10.0000.0.1", 0, 0, 1, B("")}, {'v', 1, "10.0.0.0001", 0, 0, 1, B("")}, {'v', 1, "10.0.0.a", 0, 0, 1, B("")},
    {'v', 1, "10.0. 0.1", 0, 0, 1, B("")}, {'v', 1, "10.0.-1.1", 0, 0, 1, B("")}, {'v', 1, "10.0.1", 0, 0, 1, B("")}, {'v', 1, "1.2.3.4.5", 0, 0, 1, B("")},
    {'v', 2, "255.255.254.0", 0, 0, 0, B("")}, {'v', 2, "255.0.0.0", 0, 0, 0, B("")}, {'v', 2, "255.255.255.255", 0, 0, 0, B("")},
    {'v', 2, "0.0.0.0", 0, 0, 0, B("")}, {'v', 2, "255.0.255.0", 0, 0, 2, B("")}, {'v', 2, "0.255.0.0", 0, 0, 2, B("")}, {'v', 2, "0.0.255.0", 0, 0, 2, B("")},
    {'v', 2, "0.0.0.255", 0, 0, 2, B("")}, {'v', 2, "255.255.255.1", 0, 0, 2, B("")}, {'v', 2, "255.253.0.0", 0, 0, 2, B("")},
    {'v', 2, "255.300.0.0", 0, 0, 2, B("")}, {'v', 2, "255.255.255.256", 0, 0, 2, B("")}, {'v', 2, "256.0.0.0", 0, 0, 2, B("")},
    {'v', 3, "10.0.0.1", 0, 0, 0, B("")}, {'v', 3, "0.1.2.3", 0, 0, 0, B("")}, {'v', 3, "255.0.0.1", 0, 0, 0, B("")}, {'v', 3, "10.255.0.1", 0, 0, 0, B("")},
    {'v', 3, "10.0.255.1", 0, 0, 0, B("")}, {'v', 3, "10.0.0.255", 0, 0, 3, B("")}, {'v', 3, "10.0.0.256", 0, 0, 3, B("")}, {'v', 3, "10.300.0.1", 0, 0, 3, B("")},
    {'v', 3, "10.0.0", 0, 0, 3, B("")}, {'v', 0, "10.0.0.1", 0, 0, 1, B("")}, {'v', 4, "10.0.0.1", 0, 0, 1, B("")}, {'v', 0, "10.0.0", 0, 0, 1, B("")},
    {'v', 4, "10.0.0.x", 0, 0, 1, B("")},
};
// clang-format on

}  // namespace

TEST(Quads, AreJudgedByMode) {
    for (const QuadRow& row : kQuads) {
        const auto mode = static_cast<uint8_t>(row.mode);
        if (row.function == 'v') {
            EXPECT_EQ(CLValidateAddress(row.text, mode), row.result) << row.text << ' ' << row.mode;
            continue;
        }
        int32_t address = 0;
        uint32_t address_x4 = 0;
        uint8_t octets[4] = {};
        EXPECT_EQ(Zw::CLstr2ipoctets(row.text, &address, octets, mode, &row.ip, &row.mask),
                  row.result)
            << row.text << ' ' << row.mode;
        EXPECT_EQ(Zw::CLstr2ipoctetsx4(row.text, &address_x4, nullptr, mode, &row.ip, &row.mask),
                  row.result);
        if (row.result != 0) continue;
        EXPECT_EQ(std::memcmp(octets, row.octets.data(), 4), 0) << row.text;
        EXPECT_EQ(std::memcmp(&address, octets, 4), 0);
        EXPECT_EQ(std::memcmp(&address_x4, octets, 4), 0);
    }
    for (const uint8_t mode : {uint8_t{1}, uint8_t{2}, uint8_t{3}}) {
        EXPECT_EQ(Zw::CLstr2ipoctets(nullptr, nullptr, nullptr, mode, nullptr, nullptr), mode);
        EXPECT_EQ(CLValidateAddress(nullptr, mode), mode);
    }
}

namespace {

/// The rules once more, of a text taken apart by a stream.
bool Accepts(bool truncates, int mode, const std::string& text) {
    std::istringstream stream(text + ".");
    std::vector<int> o;
    for (std::string part; std::getline(stream, part, '.');) {
        const bool digits = part.find_first_not_of("0123456789") == part.npos;
        if (!digits || part.empty() || part.size() > 3) return false;
        o.push_back(std::stoi(part));
        if (truncates) o.back() %= 256;
        if (o.back() > 255) return false;
    }
    if (o.size() != 4) return false;
    if (mode == 2) {
        for (int i = 0; i < 4; ++i) {
            if ((i > 0 && o[i] > o[i - 1]) || (o[i] < 255 && o[i] % 2 == 1)) return false;
        }
        return true;
    }
    if (truncates) {
        const bool high = o[0] == 255 || o[1] == 255 || o[2] == 255;
        return !high && o[0] != 0 && (mode == 3 || o[3] != 255);
    }
    return o[3] != 255 && (mode == 3 || o[0] != 0);
}

}  // namespace

TEST(Quads, AgreeWithTheRulesOnRandomTexts) {
    std::mt19937 random(7);
    const auto below = [&](int end) {
        return static_cast<int>(random() % static_cast<unsigned>(end));
    };
    const char* const pieces[] = {"0", "255",  "254", "256", "128", "1",
                                  "",  "1000", "300", "252", "x"};
    int accepted = 0;
    for (int i = 0; i < 30'000; ++i) {
        std::string text;
        const int parts = below(8) == 0 ? below(6) : 4;
        for (int part = 0; part < parts; ++part) {
            if (part > 0) text += '.';
            text += below(2) == 0 ? pieces[below(i % 2 == 0 ? 6 : 11)] : std::to_string(below(270));
        }
        for (const uint8_t mode : {uint8_t{1}, uint8_t{2}, uint8_t{3}}) {
            const bool family = Accepts(true, mode, text);
            EXPECT_EQ(
                Zw::CLstr2ipoctets(text.c_str(), nullptr, nullptr, mode, nullptr, nullptr) == 0,
                family)
                << text << ' ' << int{mode};
            EXPECT_EQ(CLValidateAddress(text.c_str(), mode) == 0, Accepts(false, mode, text))
                << text << ' ' << int{mode};
            accepted += family;
        }
    }
    EXPECT_GT(accepted, 1000);
}

TEST(Addresses, OfBothFamilies) {
    // clang-format off
    const Table<uint8_t, const char*, uint32_t, bool, std::string_view> rows = {
        {2, "10.0.0.1", 4, true, B("\x0a\0\0\x01")}, {2, "10.0.0.1", 3, false, ""}, {2, "10.0.0", 4, false, ""},
        {2, "fe80::1", 16, false, ""}, {10, "10.0.0.1", 16, false, ""}, {10, "::1", 8, false, ""},
        {10, "fe80::1", 16, true, B("\xfe\x80\0\0\0\0\0\0\0\0\0\0\0\0\0\x01")}, {10, "", 16, false, ""},
        {2, "10.0.1", 4, false, ""}, {2, "010.0.0.1", 4, false, ""}, {2, "10.0.0.1:80", 4, false, ""}, {10, "fe80::1%1", 16, false, ""},
        {10, "[::1]:80", 16, false, ""}, {10, "::ffff:01.2.3.4", 16, false, ""},
        {7, "nonsense", 0, true, ""}, {0, nullptr, 0, true, ""}, {2, nullptr, 4, false, ""},
    };
    // clang-format on
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
    // clang-format off
    const Table<const char*, bool, bool> rows = {
        {"50060e801020abCD", true, true}, {"50:06:0e:80:10:20:ab:CD", true, false}, {"50-06-0e-80-10-20-ab-CD", true, false},
        {"50:06-0e:80:10:20:ab:CD", false, false}, {"50.06.0e.80.10.20.ab.CD", false, false}, {"50060e801020abC", false, false},
        {"50060e801020abCDE", false, false}, {"50060e801020abCG", false, false}, {":50:06:0e:80:10:20:ab:C", false, false},
        {"", false, false}, {nullptr, false, false},
    };
    // clang-format on
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
    for (const char* on : {"yes", "1", "enable", "on", "true"}) {
        uint8_t flag = 7;
        EXPECT_EQ(Zw::CLCheckEnableDisable(on, &flag), 0);
        EXPECT_EQ(flag, 1);
    }
    for (const char* off : {"no", "0", "disable", "off", "false"}) {
        uint8_t flag = 7;
        EXPECT_EQ(Zw::CLCheckEnableDisable(off, &flag), 0);
        EXPECT_EQ(flag, 0);
    }
    for (const char* other : {"Yes", "", "on ", "2"}) {
        uint8_t flag = 7;
        EXPECT_EQ(Zw::CLCheckEnableDisable(other, &flag), 1);
        EXPECT_EQ(flag, 7);
    }
    // clang-format off
    const Table<const char*, bool, bool, int> rows = {
        {"", true, true, 1}, {"abC", true, false, 0}, {"0123", false, true, 0}, {"a1", false, false, 0}, {"\x7f", false, false, 1},
        {"\xe4", false, false, 1}, {"\x1f", false, false, 1}, {" ", false, false, 0}, {"~", false, false, 0}, {nullptr, true, true, 1},
    };
    // clang-format on
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
    // clang-format off
    const Table<std::string, int> files = {
        {"# 0x0300\nversion = 0x0400\n0x0500\n", 1}, {"no line\nat the end 0x0300", 3}, {"", -1}, {"version = 9\n0x0300\n", -1},
        {std::string(254, 'x') + "version = 0x0600", 4},
    };
    // clang-format on
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
    EXPECT_EQ(Zw::GetZMFileName(3, path, sizeof(path)), -1);
    EXPECT_EQ(Zw::GetZMFileName(2, path, sizeof(path)), -1);
}
