/// One text through every parser of argument values.
#include <cstdlib>
#include <string>
#include <vector>

#include "zwmgmt/zwmgmt_interface.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* input, size_t size) {
    using Zw = ZwMgmt_interface;
    const std::string text(reinterpret_cast<const char*>(input), size);
    const char* value = text.c_str();
    uint8_t bytes[16];
    uint32_t address = 0;
    const uint32_t subnet = 0x00FFFFFF;
    for (uint8_t mode = 0; mode < 5; ++mode) {
        const int family = Zw::CLstr2ipoctetsx4(value, &address, bytes, mode, &subnet, &subnet);
        if (family != 0 && family != mode && family != 1) std::abort();
        (void)CLValidateAddress(value, mode);
    }
    std::vector<uint8_t> parts(size + 1);
    Zw::CLConvertStringToData(parts.data(), value);
    for (const uint8_t family : {uint8_t{2}, uint8_t{10}}) {
        char back[46];
        if (Zw::CLInet_Pton(family, value, bytes, sizeof(bytes)) &&
            !Zw::CLInet_Ntop(family, bytes, back, sizeof(back))) {
            std::abort();
        }
    }
    uint8_t wwn[8];
    (void)Zw::Extract_WWN(value, wwn);
    (void)Zw::Extract_LUN_ID(value, wwn);
    (void)Zw::CLCheckEnableDisable(value, bytes);
    (void)Zw::CLIsAllAlpahbets(value);
    (void)Zw::CLIsAllDigits(value);
    (void)Zw::CLtest_printable_char(value);
    (void)Zw::CLByteChecksum(input, static_cast<uint32_t>(size));
    std::vector<char> lower(size + 1);
    Zw::CLStrToLower(value, lower.data());
    (void)Zw::ConvertConfigTypeStrToInt(1, value);
    return 0;
}
