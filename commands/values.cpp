/// The parsers of argument values that several commands share.
#include <openssl/crypto.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string_view>

#include "platform/address.h"
#include "platform/file.h"
#include "platform/host.h"
#include "zwmgmt/zwmgmt_interface.h"

namespace platform = zwmgmt::platform;

namespace {

// ---- Dotted quads ---------------------------------------------------------------------------

enum QuadMode : uint8_t { kAddress = 1, kNetmask = 2, kGateway = 3 };

/// Whether an octet may stand at its position (0 to 3) after the octet before it.
using OctetJudge = bool (*)(QuadMode mode, int position, int octet, int before);

/// Four parts of one to three digits. Every part is judged, then kept, in text order; returns how
/// many were.
int WalkQuad(const char* text, QuadMode mode, OctetJudge judge, int octets[4]) {
    const std::string_view quad = text != nullptr ? text : "";
    if (quad.find_first_not_of("0123456789.") != quad.npos) return 0;
    if (std::ranges::count(quad, '.') != 3) return 0;
    size_t begin = 0;
    for (int position = 0; position < 4; ++position) {
        const size_t end = std::min(quad.find('.', begin), quad.size());
        const size_t length = end - begin;
        if (length < 1 || length > 3) return position;
        const int octet = std::atoi(text + begin);
        if (!judge(mode, position, octet, position > 0 ? octets[position - 1] : octet)) {
            return position;
        }
        octets[position] = octet;
        begin = end + 1;
    }
    return 4;
}

/// Netmasks fall from octet to octet, and below 255 an octet is even.
bool FitsNetmask(int octet, int before) {
    return octet <= before && (octet >= 255 || octet % 2 == 0);
}

/// The judge of CLstr2ipoctets: by the low 8 bits, and 255 only at the end of a gateway.
bool JudgeLowBits(QuadMode mode, int position, int octet, int before) {
    const int low = octet & 0xFF;
    if (mode == kNetmask) return FitsNetmask(low, before & 0xFF);
    if (position == 3) return mode == kGateway || low < 255;
    return low < 255 && (position > 0 || low != 0);
}

/// The judge of CLValidateAddress: by the value as written.
bool JudgeWhole(QuadMode mode, int position, int octet, int before) {
    if (octet > 255) return false;
    if (mode == kNetmask) return FitsNetmask(octet, before);
    if (position == 3) return octet < 255;
    return position > 0 || mode != kAddress || octet != 0;
}

bool IsMode(uint8_t mode) { return mode == kAddress || mode == kNetmask || mode == kGateway; }

int ToOctets(const char* text, void* address, uint8_t* octets, uint8_t mode, const uint32_t* ip,
             const uint32_t* mask) {
    if (!IsMode(mode)) return 1;
    int values[4] = {};
    const int kept = WalkQuad(text, QuadMode{mode}, &JudgeLowBits, values);
    uint8_t bytes[4];
    std::transform(values, values + 4, bytes,
                   [](int value) { return static_cast<uint8_t>(value); });
    if (octets != nullptr) std::memcpy(octets, bytes, static_cast<size_t>(kept));
    if (kept < 4) return mode;
    uint32_t number = 0;
    std::memcpy(&number, bytes, sizeof(number));
    if (address != nullptr) std::memcpy(address, bytes, sizeof(bytes));
    const bool in_subnet = ip == nullptr || mask == nullptr || *ip == 0 || *mask == 0 ||
                           (*mask & *ip) == (*mask & number);
    return mode == kGateway && !in_subnet ? int{kGateway} : 0;
}

}  // namespace

int ZwMgmt_interface::CLstr2ipoctets(const char* text, int32_t* address, uint8_t* octets,
                                     uint8_t mode, const uint32_t* ip, const uint32_t* mask) {
    return ToOctets(text, address, octets, mode, ip, mask);
}

int ZwMgmt_interface::CLstr2ipoctetsx4(const char* text, uint32_t* address, uint8_t* octets,
                                       uint8_t mode, const uint32_t* ip, const uint32_t* mask) {
    return ToOctets(text, address, octets, mode, ip, mask);
}

int CLValidateAddress(const char* text, uint8_t mode) {
    if (!IsMode(mode)) return 1;
    int octets[4] = {};
    return WalkQuad(text, QuadMode{mode}, &JudgeWhole, octets) == 4 ? 0 : mode;
}

void ZwMgmt_interface::CLConvertStringToData(uint8_t* bytes, const char* text) {
    if (text == nullptr) return;
    for (text += std::strspn(text, "."); *text != '\0'; text += std::strspn(text, ".")) {
        *bytes++ = static_cast<uint8_t>(std::atoi(text));
        text += std::strcspn(text, ".");
    }
}

// ---- Addresses of both families -------------------------------------------------------------

namespace {

struct FamilyRow {
    uint8_t number;
    platform::Family family;
    uint32_t text_capacity;
};

constexpr FamilyRow kFamilies[] = {
    {2, platform::Family::kIpv4, 16},
    {10, platform::Family::kIpv6, 46},
};

const FamilyRow* FindFamily(uint8_t number) {
    const auto* row = std::ranges::find(kFamilies, number, &FamilyRow::number);
    return row != std::end(kFamilies) ? row : nullptr;
}

}  // namespace

bool ZwMgmt_interface::CLInet_Pton(uint8_t family, const char* text, uint8_t* bytes,
                                   uint32_t capacity) {
    const FamilyRow* row = FindFamily(family);
    if (row == nullptr) return true;
    return capacity >= platform::AddressSize(row->family) && text != nullptr &&
           platform::ParseAddress(row->family, text, bytes);
}

bool ZwMgmt_interface::CLInet_Ntop(uint8_t family, const uint8_t* bytes, char* text,
                                   uint32_t capacity) {
    const FamilyRow* row = FindFamily(family);
    if (row == nullptr) return true;
    return capacity >= row->text_capacity && bytes != nullptr &&
           platform::FormatAddress(row->family, bytes, text, capacity);
}

// ---- Names, words and characters ------------------------------------------------------------

namespace {

constexpr uint8_t kNoDigit = 255;
constexpr int kBadSyntax = 255;

/// Pairs of hexadecimal digits, `stride` characters apart, as bytes.
int ExtractPairs(std::string_view text, size_t stride, uint8_t bytes[8]) {
    for (size_t i = 0; i < 8; ++i) {
        const uint8_t high = ZwMgmt_interface::CLhex_char_to_number(text[i * stride]);
        const uint8_t low = ZwMgmt_interface::CLhex_char_to_number(text[i * stride + 1]);
        if (high == kNoDigit || low == kNoDigit) return kBadSyntax;
        bytes[i] = static_cast<uint8_t>(high << 4 | low);
    }
    return 0;
}

}  // namespace

int ZwMgmt_interface::Extract_WWN(const char* text, uint8_t* bytes) {
    const std::string_view name = text != nullptr ? text : "";
    if (name.size() == 16) return ExtractPairs(name, 2, bytes);
    if (name.size() != 23 || (name[2] != ':' && name[2] != '-')) return kBadSyntax;
    for (size_t i = 2; i < name.size(); i += 3) {
        if (name[i] != name[2]) return kBadSyntax;
    }
    return ExtractPairs(name, 3, bytes);
}

int ZwMgmt_interface::Extract_LUN_ID(const char* text, uint8_t* bytes) {
    const std::string_view identifier = text != nullptr ? text : "";
    return identifier.size() == 16 ? ExtractPairs(identifier, 2, bytes) : kBadSyntax;
}

int ZwMgmt_interface::CLCheckEnableDisable(const char* text, uint8_t* flag) {
    static constexpr std::string_view kOn[] = {"yes", "1", "enable", "on", "true"};
    static constexpr std::string_view kOff[] = {"no", "0", "disable", "off", "false"};
    const std::string_view word = text != nullptr ? text : "";
    const bool on = std::ranges::find(kOn, word) != std::end(kOn);
    if (!on && std::ranges::find(kOff, word) == std::end(kOff)) return 1;
    *flag = on;
    return 0;
}

bool ZwMgmt_interface::CLIsAllAlpahbets(const char* text) {
    const std::string_view all = text != nullptr ? text : "";
    return std::ranges::all_of(all, [](unsigned char c) { return std::isalpha(c) != 0; });
}

bool ZwMgmt_interface::CLIsAllDigits(const char* text) {
    const std::string_view all = text != nullptr ? text : "";
    return std::ranges::all_of(all, [](unsigned char c) { return std::isdigit(c) != 0; });
}

int ZwMgmt_interface::CLtest_printable_char(const char* text) {
    if (text == nullptr) return 1;
    const auto first = static_cast<signed char>(*text);
    return first < 32 || first == 127;
}

uint8_t ZwMgmt_interface::CLhex_char_to_number(char digit) {
    if ('0' <= digit && digit <= '9') return static_cast<uint8_t>(digit - '0');
    if ('A' <= digit && digit <= 'F') return static_cast<uint8_t>(digit - 'A' + 10);
    if ('a' <= digit && digit <= 'f') return static_cast<uint8_t>(digit - 'a' + 10);
    return kNoDigit;
}

uint8_t ZwMgmt_interface::CLByteChecksum(const uint8_t* bytes, uint32_t length) {
    unsigned sum = 0;
    for (uint32_t i = 0; bytes != nullptr && i < length; ++i) sum += bytes[i];
    return static_cast<uint8_t>(sum);
}

void ZwMgmt_interface::CLStrToLower(const char* source, char* destination) {
    for (; source != nullptr && *source != '\0'; ++source) {
        *destination++ = static_cast<char>(std::tolower(static_cast<unsigned char>(*source)));
    }
    *destination = '\0';
}

// ---- Configuration files --------------------------------------------------------------------

namespace {

/// A type and one of its tags; the first row of a type has the tag that is written.
struct ConfigTag {
    int type;
    const char* tag;
};

constexpr ConfigTag kConfigTags[] = {
    {0, "0x1425"}, {0, "0x0100"}, {0, "0x0200"}, {1, "0x0400"},
    {2, "0x0500"}, {3, "0x0300"}, {4, "0x0600"},
};

bool HasTypes(int kind) { return kind == 1 || kind == 2; }

}  // namespace

const char* ZwMgmt_interface::ConvertConfigTypeIntToStr(int kind, int type) {
    const auto* row = std::ranges::find(kConfigTags, type, &ConfigTag::type);
    return HasTypes(kind) && row != std::end(kConfigTags) ? row->tag : "";
}

int ZwMgmt_interface::ConvertConfigTypeStrToInt(int kind, const char* text) {
    if (!HasTypes(kind) || text == nullptr) return -1;
    const auto* row = std::ranges::find_if(
        kConfigTags, [&](const ConfigTag& tag) { return std::strstr(text, tag.tag) != nullptr; });
    return row != std::end(kConfigTags) ? row->type : -1;
}

int ZwMgmt_interface::IsValidConfigFile(int kind, const char* path) {
    if (path == nullptr || std::strstr(path, ".txt") == nullptr) return -1;
    FILE* file = nullptr;
    uint64_t size = 0;
    if (platform::OpenRegularFile(path, &file, &size) != platform::OpenResult::kOpened) return -1;
    std::setvbuf(file, nullptr, _IOFBF, BUFSIZ);
    char line[255] = "";
    while (std::fgets(line, sizeof(line), file) != nullptr) {
        if (std::strstr(line, "version = ") != nullptr) break;
    }
    std::fclose(file);
    return ConvertConfigTypeStrToInt(kind, line);
}

// ---- Stored credentials ---------------------------------------------------------------------

namespace {

constexpr size_t kLongestPassword = sizeof(LoginRecord::password);

/// Reads the next word between white space. 1: it is in `word`, terminated; -1: it is longer than
/// that; 0: there is none.
int ReadWord(FILE* file, char* word, size_t capacity) {
    int c = std::fgetc(file);
    while (c != EOF && std::isspace(c)) c = std::fgetc(file);
    if (c == EOF) return 0;
    size_t length = 0;
    for (; c != EOF && !std::isspace(c); c = std::fgetc(file)) {
        if (length + 1 < capacity) word[length] = static_cast<char>(c);
        ++length;
    }
    word[std::min(length, capacity - 1)] = '\0';
    return length < capacity ? 1 : -1;
}

}  // namespace

int ZwMgmt_interface::GetZMFileName(int kind, char* path, uint32_t capacity) {
    return kind == zwmgmt::kCredentialsFile && platform::UserFilePath("credentials", path, capacity)
               ? 0
               : -1;
}

int ZwMgmt_interface::CLGetPassword(const char* user_name, char* password) {
    constexpr int kNoPair = -1;
    constexpr int kTooLong = -2;
    constexpr int kNoFile = -3;
    char path[4096];
    FILE* file = nullptr;
    uint64_t size = 0;
    if (user_name == nullptr || GetZMFileName(zwmgmt::kCredentialsFile, path, sizeof(path)) != 0 ||
        platform::OpenRegularFile(path, &file, &size) != platform::OpenResult::kOpened) {
        return kNoFile;
    }
    int result = kNoPair;
    char user[sizeof(LoginRecord::user_name) + 1];
    for (;;) {
        const int user_read = ReadWord(file, user, sizeof(user));
        // Into its place at once: no copy stays behind.
        const int password_read = ReadWord(file, password, kLongestPassword + 1);
        if (user_read == 0 || password_read == 0) break;
        if (user_read != 1 || std::strcmp(user, user_name) != 0) continue;
        result = password_read == 1 ? 0 : kTooLong;
        break;  // the first pair of the user counts
    }
    if (result != 0) OPENSSL_cleanse(password, kLongestPassword + 1);
    std::fclose(file);
    return result;
}
