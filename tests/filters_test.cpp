/// Filter rules: what keys become, what is refused, what is printed, and rules on the simulated
/// agent. The tables of keys were written down apart from those of the code.
#include <cstring>

#include "filters/combinations.h"
#include "tests/support.h"

using namespace testing_support;
using namespace std::string_literals;
using namespace zwmgmt;

namespace {

#define B(bytes) std::string_view(bytes, sizeof(bytes) - 1)

struct X3Row {
    int key;
    const char* value;
    int result;
    size_t offset;
    std::string_view bytes;
    uint32_t present;
};

struct X4Row {
    int key;
    const char* value;
    int result;
    size_t offset;
    std::string_view bytes;
    uint32_t present;
    const char* printed;
};

// clang-format off
const X3Row kX3Rows[] = {
    {194, "eth0", 0, 0, B("eth0"), 0},
    {194, "xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx", 0, 0, B("xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx"), 0},
    {194, "xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx", 1, 0, B(""), 0}, {195, "1", 0, 76, B("\x01\x00\x00\x00"), 0},
    {195, "-1", 0, 76, B("\xff\xff\xff\xff"), 0}, {195, "2147483647", 0, 76, B("\xff\xff\xff\x7f"), 0}, {195, "010", 0, 76, B("\x0a\x00\x00\x00"), 0},
    {195, "0", 1, 0, B(""), 0}, {195, "-0", 1, 0, B(""), 0}, {195, "2147483648", 1, 0, B(""), 0}, {195, "", 1, 0, B(""), 0}, {195, "12a", 1, 0, B(""), 0},
    {195, "0x10", 1, 0, B(""), 0}, {196, "0", 0, 72, B("\x00\x00\x00\x00"), 0}, {196, "496", 0, 72, B("\xf0\x01\x00\x00"), 0},
    {196, "-2147483648", 0, 72, B("\x00\x00\x00\x80"), 0}, {196, "-2147483649", 1, 0, B(""), 0}, {196, "4294967296", 1, 0, B(""), 0}, {196, "", 1, 0, B(""), 0},
    {196, "-", 1, 0, B(""), 0}, {196, "+5", 1, 0, B(""), 0}, {197, "10.0.0.1", 0, 64, B("\x0a\x00\x00\x01"), 0x1},
    {197, "10.0.0.1/24", 0, 64, B("\x0a\x00\x00\x01"), 0x3},
    {197, "192.168.1.0/8", 0, 64, B("\xc0\xa8\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x08\x00\x00\x00"), 0x3},
    {197, "10.0.0.1/0", 0, 64, B("\x0a\x00\x00\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00"), 0x3},
    {197, "10.0.0.1/33", 0, 64, B("\x0a\x00\x00\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x21\x00\x00\x00"), 0x3},
    {197, "10.0.0.1/-1", 0, 64, B("\x0a\x00\x00\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\xff\xff\xff\xff"), 0x3}, {197, "10.0.0.1/", 1, 0, B(""), 0},
    {197, "10.0.0.1/abc", 1, 0, B(""), 0}, {197, "10.0.0.1/4294967296", 1, 0, B(""), 0}, {197, "10.0.0.1\\24", 1, 0, B(""), 0}, {197, "/24", 1, 0, B(""), 0},
    {197, "10.0.0/24", 1, 0, B(""), 0}, {197, "10.0.0.255", 1, 0, B(""), 0}, {197, "0.1.2.3", 1, 0, B(""), 0}, {197, "10.0.0.256", 0, 64, B("\x0a\x00\x00\x00"), 0x1},
    {197, "", 1, 0, B(""), 0}, {198, "0", 0, 84, B("\x00\x00\x00\x00"), 0x4}, {198, "65535", 0, 84, B("\xff\xff\x00\x00"), 0x4},
    {198, "65536", 0, 84, B("\x00\x00\x01\x00"), 0x4}, {198, "2147483647", 0, 84, B("\xff\xff\xff\x7f"), 0x4}, {198, "-1", 1, 0, B(""), 0},
    {198, "http", 1, 0, B(""), 0}, {198, " 80", 1, 0, B(""), 0}, {199, "10.0.0.1", 0, 68, B("\x0a\x00\x00\x01"), 0x8},
    {199, "10.0.0.0", 0, 68, B("\x0a\x00\x00\x00"), 0x8}, {199, "10.0.0.1/24", 1, 0, B(""), 0}, {199, "10.0.0.1/", 1, 0, B(""), 0},
    {199, "10.0.0.1\\24", 1, 0, B(""), 0}, {199, "10.0.0.255", 1, 0, B(""), 0}, {200, "0", 0, 88, B("\x00\x00\x00\x00"), 0x10},
    {200, "80", 0, 88, B("\x50\x00\x00\x00"), 0x10}, {200, "-1", 1, 0, B(""), 0}, {200, "0x10", 1, 0, B(""), 0}, {201, "1", 0, 92, B("\x01\x00\x00\x00"), 0x20},
    {201, "4094", 0, 92, B("\xfe\x0f\x00\x00"), 0x20}, {201, "0", 1, 0, B(""), 0}, {201, "4095", 1, 0, B(""), 0}, {201, "-1", 1, 0, B(""), 0},
    {201, "12a", 1, 0, B(""), 0}, {202, "0", 0, 96, B("\x00\x00\x00\x00"), 0x40}, {202, "99", 0, 96, B("\x63\x00\x00\x00"), 0x40},
    {202, "-1", 0, 96, B("\xff\xff\xff\xff"), 0x40}, {202, "", 1, 0, B(""), 0}, {203, "16", 0, 104, B("\x10\x00\x00\x00"), 0x80},
    {203, "-20", 0, 104, B("\xec\xff\xff\xff"), 0x80}, {203, "12a", 1, 0, B(""), 0}, {204, "tcp", 0, 112, B("\x01\x00\x00\x00"), 0x100},
    {204, "udp", 0, 112, B("\x02\x00\x00\x00"), 0x100}, {204, "frag", 0, 112, B("\x03\x00\x00\x00"), 0x100}, {204, "any", 0, 112, B("\x04\x00\x00\x00"), 0x100},
    {204, "TCP", 1, 0, B(""), 0}, {204, "tcp ", 1, 0, B(""), 0}, {204, "1", 1, 0, B(""), 0}, {204, "", 1, 0, B(""), 0},
    {205, "8", 0, 108, B("\x08\x00\x00\x00"), 0x200}, {205, "-1", 0, 108, B("\xff\xff\xff\xff"), 0x200}, {205, "2 ", 1, 0, B(""), 0},
    {206, "pass", 0, 116, B("\x01\x00\x00\x00"), 0x400}, {206, "drop", 0, 116, B("\x02\x00\x00\x00"), 0x400}, {206, "Pass", 1, 0, B(""), 0},
    {206, "switch", 1, 0, B(""), 0}, {25, "0000:04:00", 1, 0, B(""), 0}, {434, "ethertype, vlan, port", 1, 0, B(""), 0}, {414, "ipv4", 1, 0, B(""), 0},
    {193, "1", 1, 0, B(""), 0}, {207, "1", 1, 0, B(""), 0}, {389, "1", 1, 0, B(""), 0},
};

const X4Row kX4Rows[] = {
    {25, "0000:04:00", 0, 0, B("0000:04:00"), 0, ""}, {195, "1", 0, 160, B("\x01\x00\x00\x00"), 0, ""}, {195, "2147483647", 0, 160, B("\xff\xff\xff\x7f"), 0, ""},
    {195, "08", 0, 160, B("\x08\x00\x00\x00"), 0, ""}, {195, "0", 1, 0, B(""), 0, ""}, {195, "-4", 1, 0, B(""), 0, ""}, {195, "0x8", 1, 0, B(""), 0, ""},
    {195, "12a", 1, 0, B(""), 0, ""}, {195, "", 1, 0, B(""), 0, ""}, {434, "protocol, tos, vnic_id, port", 0, 32, B("protocol, tos, vnic_id, port"), 0, ""},
    {434, "port, protocol", 0, 32, B("port, protocol"), 0, ""}, {383, "1", 0, 172, B("\x01\x00\x00\x00\xff\xff\xff\xff"), 0x1, ""},
    {383, "2", 0, 172, B("\x02\x00\x00\x00\xff\xff\xff\xff"), 0x1, "parameter \"fcoe\" value should be no greater than 1 bits\n"},
    {383, "1:1", 0, 172, B("\x01\x00\x00\x00\x01\x00\x00\x00"), 0x1, ""}, {383, "yes", 1, 0, B(""), 0, "parameter \"fcoe\" has bad \"value[:mask]\" yes\n"},
    {384, "7:7", 0, 180, B("\x07\x00\x00\x00\x07\x00\x00\x00"), 0x2, ""},
    {384, "8", 0, 180, B("\x08\x00\x00\x00\xff\xff\xff\xff"), 0x2, "parameter \"iport\" value should be no greater than 3 bits\n"},
    {384, "1:8", 0, 180, B("\x01\x00\x00\x00\x08\x00\x00\x00"), 0x2, "parameter \"iport\" mask should be no greater than 3 bits\n"},
    {384, "x", 1, 0, B(""), 0, "parameter \"iport\" has bad \"value[:mask]\" x\n"}, {385, "0xffff", 0, 188, B("\xff\xff\x00\x00\xff\xff\xff\xff"), 0x4, ""},
    {385, "65536", 0, 188, B("\x00\x00\x01\x00\xff\xff\xff\xff"), 0x4, "parameter \"ivlan\" value should be no greater than 16 bits\n"},
    {385, "10:0x10000", 0, 188, B("\x0a\x00\x00\x00\x00\x00\x01\x00"), 0x4, "parameter \"ivlan\" mask should be no greater than 16 bits\n"},
    {386, "65535:0xfff", 0, 196, B("\xff\xff\x00\x00\xff\x0f\x00\x00"), 0x8, ""},
    {386, "0x10000:0x1ffff", 0, 196, B("\x00\x00\x01\x00\xff\xff\x01\x00"), 0x8, "parameter \"ovlan\" value should be no greater than 16 bits\nparameter \"ovlan\" mask should be no greater than 16 bits\n"},
    {386, "1:", 1, 0, B(""), 0, "parameter \"ovlan\" has bad \"value[:mask]\" 1:\n"}, {387, "255", 0, 204, B("\xff\x00\x00\x00\xff\xff\xff\xff"), 0x10, ""},
    {387, "256", 0, 204, B("\x00\x01\x00\x00\xff\xff\xff\xff"), 0x10, "parameter \"pf\" value should be no greater than 8 bits\n"},
    {388, "0377:0377", 0, 212, B("\xff\x00\x00\x00\xff\x00\x00\x00"), 0x20, ""},
    {388, "0400", 0, 212, B("\x00\x01\x00\x00\xff\xff\xff\xff"), 0x20, "parameter \"vf\" value should be no greater than 8 bits\n"},
    {389, "0xff", 0, 220, B("\xff\x00\x00\x00\xff\xff\xff\xff"), 0x40, ""},
    {389, "0x1ff", 0, 220, B("\xff\x01\x00\x00\xff\xff\xff\xff"), 0x40, "parameter \"tos\" value should be no greater than 8 bits\n"},
    {389, "0x1ff:0xff", 0, 220, B("\xff\x01\x00\x00\xff\x00\x00\x00"), 0x40, "parameter \"tos\" value should be no greater than 8 bits\n"},
    {389, "0x1ff:0x1ff", 0, 220, B("\xff\x01\x00\x00\xff\x01\x00\x00"), 0x40, "parameter \"tos\" value should be no greater than 8 bits\nparameter \"tos\" mask should be no greater than 8 bits\n"},
    {389, "1:0xffffffff", 0, 220, B("\x01\x00\x00\x00\xff\xff\xff\xff"), 0x40, "parameter \"tos\" mask should be no greater than 8 bits\n"},
    {389, "0:0", 0, 220, B("\x00\x00\x00\x00\x00\x00\x00\x00"), 0x40, ""}, {389, "017:010", 0, 220, B("\x0f\x00\x00\x00\x08\x00\x00\x00"), 0x40, ""},
    {389, "1:", 1, 0, B(""), 0, "parameter \"tos\" has bad \"value[:mask]\" 1:\n"}, {389, ":1", 1, 0, B(""), 0, "parameter \"tos\" has bad \"value[:mask]\" :1\n"},
    {389, "1:2:3", 1, 0, B(""), 0, "parameter \"tos\" has bad \"value[:mask]\" 1:2:3\n"}, {389, "", 1, 0, B(""), 0, "parameter \"tos\" has bad \"value[:mask]\" \n"},
    {389, "-1", 1, 0, B(""), 0, "parameter \"tos\" has bad \"value[:mask]\" -1\n"}, {389, "+1", 1, 0, B(""), 0, "parameter \"tos\" has bad \"value[:mask]\" +1\n"},
    {389, " 1", 1, 0, B(""), 0, "parameter \"tos\" has bad \"value[:mask]\"  1\n"}, {389, "1 ", 1, 0, B(""), 0, "parameter \"tos\" has bad \"value[:mask]\" 1 \n"},
    {389, "0x", 1, 0, B(""), 0, "parameter \"tos\" has bad \"value[:mask]\" 0x\n"}, {389, "08", 1, 0, B(""), 0, "parameter \"tos\" has bad \"value[:mask]\" 08\n"},
    {389, "1:0x", 1, 0, B(""), 0, "parameter \"tos\" has bad \"value[:mask]\" 1:0x\n"},
    {389, "1:-1", 1, 0, B(""), 0, "parameter \"tos\" has bad \"value[:mask]\" 1:-1\n"},
    {389, "4294967296", 1, 0, B(""), 0, "parameter \"tos\" has bad \"value[:mask]\" 4294967296\n"},
    {389, "ff", 1, 0, B(""), 0, "parameter \"tos\" has bad \"value[:mask]\" ff\n"}, {390, "6", 0, 228, B("\x06\x00\x00\x00\xff\xff\xff\xff"), 0x80, ""},
    {390, "0x100", 0, 228, B("\x00\x01\x00\x00\xff\xff\xff\xff"), 0x80, "parameter \"proto\" value should be no greater than 8 bits\n"},
    {390, "tcp", 1, 0, B(""), 0, "parameter \"proto\" has bad \"value[:mask]\" tcp\n"}, {391, "0x0800", 0, 236, B("\x00\x08\x00\x00\xff\xff\xff\xff"), 0x100, ""},
    {391, "0x10000", 0, 236, B("\x00\x00\x01\x00\xff\xff\xff\xff"), 0x100, "parameter \"ethtype\" value should be no greater than 16 bits\n"},
    {392, "0x1ff:0x1ff", 0, 244, B("\xff\x01\x00\x00\xff\x01\x00\x00"), 0x200, ""},
    {392, "512", 0, 244, B("\x00\x02\x00\x00\xff\xff\xff\xff"), 0x200, "parameter \"macidx\" value should be no greater than 9 bits\n"},
    {392, "1:512", 0, 244, B("\x01\x00\x00\x00\x00\x02\x00\x00"), 0x200, "parameter \"macidx\" mask should be no greater than 9 bits\n"},
    {393, "7", 0, 252, B("\x07\x00\x00\x00\xff\xff\xff\xff"), 0x400, ""},
    {393, "8:7", 0, 252, B("\x08\x00\x00\x00\x07\x00\x00\x00"), 0x400, "parameter \"matchtype\" value should be no greater than 3 bits\n"},
    {394, "1", 0, 260, B("\x01\x00\x00\x00\xff\xff\xff\xff"), 0x800, ""},
    {394, "2:3", 0, 260, B("\x02\x00\x00\x00\x03\x00\x00\x00"), 0x800, "parameter \"frag\" value should be no greater than 1 bits\nparameter \"frag\" mask should be no greater than 1 bits\n"},
    {396, "80:0xffff", 0, 268, B("\x50\x00\x00\x00\xff\xff\x00\x00"), 0x1000, ""},
    {396, "4294967295:037777777777", 0, 268, B("\xff\xff\xff\xff\xff\xff\xff\xff"), 0x1000, ""},
    {396, "0x100000000", 1, 0, B(""), 0, "parameter \"lport\" has bad \"value[:mask]\" 0x100000000\n"},
    {395, "65536", 0, 276, B("\x00\x00\x01\x00\xff\xff\xff\xff"), 0x2000, ""}, {395, "1:x", 1, 0, B(""), 0, "parameter \"fport\" has bad \"value[:mask]\" 1:x\n"},
    {397, "10.0.0.1", 0, 284, B("\x0a\x00\x00\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\xff\xff\xff\xff\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00"), 0x4000, ""},
    {397, "10.0.0.0/8", 0, 284, B("\x0a\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\xff\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00"), 0x4000, ""},
    {397, "172.16.0.0/12", 0, 284, B("\xac\x10\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\xff\xf0\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00"), 0x4000, ""},
    {397, "10.0.0.1/0", 0, 284, B("\x0a\x00\x00\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00"), 0x4000, ""},
    {397, "10.0.0.1/32", 0, 284, B("\x0a\x00\x00\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\xff\xff\xff\xff\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00"), 0x4000, ""},
    {397, "10.0.0.1/31", 0, 284, B("\x0a\x00\x00\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\xff\xff\xff\xfe\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00"), 0x4000, ""},
    {397, "fe80::1", 0, 284, B("\xfe\x80\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x01\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff"), 0x4000, ""},
    {397, "fe80::2", 0, 168, B("\x01\x00\x00\x00"), 0x4000, ""},
    {397, "2001:db8::/33", 0, 284, B("\x20\x01\x0d\xb8\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\xff\xff\xff\xff\x80\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00"), 0x4000, ""},
    {397, "10.0.0.1/", 1, 0, B(""), 0, "missing address prefix for lip\n"}, {397, "10.0.0.1/x", 1, 0, B(""), 0, "x is not a valid address prefix\n"},
    {397, "10.0.0.1/24x", 1, 0, B(""), 0, "24x is not a valid address prefix\n"}, {397, "10.0.0.1/-8", 1, 0, B(""), 0, "-8 is not a valid address prefix\n"},
    {397, "10.0.0.1/33", 1, 0, B(""), 0, "prefix 33 is too long for an IPv4 address\n"},
    {397, "10.0.0/8", 1, 0, B(""), 0, "Cannot parse lip IPv4 address 10.0.0/8\n"}, {397, "abc", 1, 0, B(""), 0, "Cannot parse lip IPv4 address abc\n"},
    {397, "fe80::1::2", 1, 0, B(""), 0, "Cannot parse lip IPv6 address fe80::1::2\n"},
    {398, "192.168.1.0/25", 0, 316, B("\xc0\xa8\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\xff\xff\xff\x80\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00"), 0x8000, ""},
    {398, "::1/128", 0, 316, B("\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x01\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff"), 0x8000, ""},
    {398, "::/0", 0, 316, B("\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00"), 0x8000, ""},
    {398, "fe80::/10", 0, 316, B("\xfe\x80\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\xff\xc0\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00"), 0x8000, ""},
    {398, "fe80::1/", 1, 0, B(""), 0, "missing address prefix for fip\n"}, {398, "fe80::1/129", 1, 0, B(""), 0, "prefix 129 is too long for an IPv6 address\n"},
    {398, "g::1/64", 1, 0, B(""), 0, "Cannot parse fip IPv6 address g::1/64\n"}, {398, "10.0.0.256", 1, 0, B(""), 0, "Cannot parse fip IPv4 address 10.0.0.256\n"},
    {399, "pass", 0, 384, B("\x01\x00\x00\x00"), 0x10000, ""}, {399, "drop", 0, 384, B("\x02\x00\x00\x00"), 0x10000, ""},
    {399, "switch", 0, 384, B("\x04\x00\x00\x00"), 0x10000, ""}, {399, "Pass", 1, 0, B(""), 0, ""}, {411, "none", 0, 388, B("\x01\x00\x00\x00"), 0x20000, ""},
    {411, "insert", 0, 388, B("\x02\x00\x00\x00"), 0x20000, ""}, {411, "rewrite", 0, 388, B("\x03\x00\x00\x00"), 0x20000, ""},
    {411, "None", 1, 0, B(""), 0, "failure\n"}, {412, "5", 1, 0, B(""), 0, ""}, {413, "1", 0, 396, B("\x01\x00\x00\x00"), 0x40000, ""},
    {413, "abc", 1, 0, B(""), 0, "parameter \"hitcnts\" has bad \"value\" abc\n"}, {413, "1:1", 1, 0, B(""), 0, "parameter \"hitcnts\" has bad \"value\" 1:1\n"},
    {401, "0x10", 0, 400, B("\x10\x00\x00\x00"), 0x80000, ""}, {401, "-1", 1, 0, B(""), 0, "parameter \"prio\" has bad \"value\" -1\n"},
    {403, "010", 0, 404, B("\x08\x00\x00\x00"), 0x100000, ""}, {403, "09", 1, 0, B(""), 0, "parameter \"queue\" has bad \"value\" 09\n"},
    {404, "4294967295", 0, 408, B("\xff\xff\xff\xff"), 0x200000, ""}, {404, "4294967296", 1, 0, B(""), 0, "parameter \"tcbhash\" has bad \"value\" 4294967296\n"},
    {405, "3", 0, 412, B("\x03\x00\x00\x00"), 0x400000, ""}, {405, "", 1, 0, B(""), 0, "parameter \"eport\" has bad \"value\" \n"},
    {414, "ipv4", 0, 168, B("\x00\x00\x00\x00"), 0x800000, ""}, {414, "IPv4", 1, 0, B(""), 0, "type should be either ipv4 or ipv6\n"},
    {407, "00:07:43:aB:cD:ef", 0, 348, B("00:07:43:aB:cD:ef"), 0x1000000, ""}, {407, "00-07-43-12-34-56", 0, 348, B("00-07-43-12-34-56"), 0x1000000, ""},
    {407, "0:07:43:12:34:56", 1, 0, B(""), 0, "smac invalid mac address\n"}, {407, "00:07:43:12:34:5g", 1, 0, B(""), 0, "smac invalid mac address\n"},
    {407, "0007:4312:3456", 1, 0, B(""), 0, "smac invalid mac address\n"}, {406, "000743123456", 0, 366, B("000743123456"), 0x2000000, ""},
    {406, "00074312345", 1, 0, B(""), 0, "dmac invalid mac address\n"}, {406, "00:07:43:12:34:56:78", 1, 0, B(""), 0, "dmac invalid mac address\n"},
    {406, "00:07:43:12:34:56:", 1, 0, B(""), 0, "dmac invalid mac address\n"}, {406, "", 1, 0, B(""), 0, "dmac invalid mac address\n"},
    {402, "5", 0, 416, B("\x05\x00\x00\x00"), 0x4000000, ""}, {402, "abc", 1, 0, B(""), 0, ""}, {454, "vnic7", 0, 420, B("vnic7"), 0x8000000, ""},
    {194, "eth0", 1, 0, B(""), 0, ""}, {197, "10.0.0.1", 1, 0, B(""), 0, ""}, {400, "1", 1, 0, B(""), 0, ""}, {408, "1", 1, 0, B(""), 0, ""},
    {415, "1", 1, 0, B(""), 0, ""}, {435, "all", 1, 0, B(""), 0, ""},
};

const Table<std::vector<std::pair<int, const char*>>, int, const char*> kX4Sequences = {
    {{{195, "6"}, {414, "ipv6"}}, 1, "type=ipv6 can be specified with \t\t\t\t\t filter id of mod 4 eg 4,8,12,16 ...\n"}, {{{195, "8"}, {414, "ipv6"}}, 0, ""},
    {{{414, "ipv6"}}, 1, "type=ipv6 can be specified with \t\t\t\t\t filter id of mod 4 eg 4,8,12,16 ...\n"}, {{{195, "4"}, {414, "ipv6"}}, 0, ""},
    {{{195, "1"}, {414, "ipv6"}}, 1, "type=ipv6 can be specified with \t\t\t\t\t filter id of mod 4 eg 4,8,12,16 ...\n"}, {{{195, "6"}, {414, "ipv4"}}, 0, ""},
    {{{195, "6"}, {195, "8"}, {414, "ipv6"}}, 0, ""},
    {{{195, "8"}, {195, "6"}, {414, "ipv6"}}, 1, "type=ipv6 can be specified with \t\t\t\t\t filter id of mod 4 eg 4,8,12,16 ...\n"},
    {{{414, "ipv4"}, {195, "6"}}, 0, ""}, {{{397, "10.0.0.1"}, {398, "10.0.0.2/24"}}, 0, ""}, {{{397, "fe80::1/64"}, {398, "fe80::2"}}, 0, ""},
    {{{397, "10.0.0.1"}, {398, "fe80::1"}}, 1, "address fe80::1 is not of expected family IPv4\n"},
    {{{397, "fe80::1"}, {398, "10.0.0.1"}}, 1, "address 10.0.0.1 is not of expected family IPv6\n"},
    {{{398, "10.0.0.1/8"}, {397, "fe80::1"}}, 1, "address fe80::1 is not of expected family IPv4\n"}, {{{397, "10.0.0.1"}, {397, "10.0.0.2"}}, 0, ""},
    {{{414, "ipv4"}, {397, "fe80::1"}}, 1, "address fe80::1 is not of expected family IPv4\n"}, {{{414, "ipv4"}, {397, "10.0.0.1"}}, 0, ""},
    {{{195, "8"}, {414, "ipv6"}, {397, "10.0.0.1"}}, 1, "address 10.0.0.1 is not of expected family IPv6\n"}, {{{195, "8"}, {414, "ipv6"}, {398, "fe80::1"}}, 0, ""},
    {{{412, "5"}}, 1, ""}, {{{411, "none"}, {412, "5"}}, 0, ""}, {{{411, "insert"}, {412, "5"}}, 0, ""}, {{{411, "rewrite"}, {412, "0x10"}}, 0, ""},
    {{{399, "switch"}, {412, "5"}}, 1, ""}, {{{411, "none"}, {411, "insert"}, {412, "5"}}, 0, ""}, {{{411, "insert"}, {411, "none"}, {412, "5"}}, 0, ""},
};
// clang-format on

template <class Rule>
void ExpectMember(const Rule& rule, size_t offset, std::string_view bytes, const char* value) {
    const std::string_view member(reinterpret_cast<const char*>(&rule) + offset, bytes.size());
    EXPECT_EQ(member, bytes) << value;
}

/// What is printed and returned for the words by a session with an agent that must not be asked.
std::pair<int, std::string> Refused(const std::vector<const char*>& words) {
    CannedHost host([](auto...) -> zmsim::Reply {
        ADD_FAILURE() << "sent";
        return {};
    });
    TestAgent agent(host);
    TestSession session;
    EXPECT_EQ(session.Connect(agent.Port()), kSuccess);
    const int result = session.Run(words);
    return {result, session.Printed()};
}

}  // namespace

TEST(X3Rules, KeysBecomeMembers) {
    for (const X3Row& row : kX3Rows) {
        _Filter rule = {};
        ASSERT_EQ(ZwMgmt_interface::CLSetFilterArg(row.key, row.value, &rule), row.result)
            << row.key << ' ' << row.value;
        if (row.result != 0) continue;
        EXPECT_EQ(+rule.present, row.present) << row.key;
        ExpectMember(rule, row.offset, row.bytes, row.value);
    }
    _Filter rule = {};
    EXPECT_EQ(ZwMgmt_interface::CLSetFilterArg(197, "10.0.0.1/33", &rule), 0);
    EXPECT_EQ(+rule.source_prefix, 33);
    EXPECT_EQ(ZwMgmt_interface::CLSetFilterArg(197, nullptr, &rule), 1);
}

TEST(X4Rules, KeysBecomeMembers) {
    TestSession session;
    for (const X4Row& row : kX4Rows) {
        _FilterX4 rule = {};
        ASSERT_EQ(session.CLSetFilterX4Arg(row.key, row.value, &rule), row.result)
            << row.key << ' ' << row.value;
        EXPECT_EQ(session.Printed(), row.printed) << row.key << ' ' << row.value;
        if (row.result != 0) continue;
        EXPECT_EQ(+rule.present, row.present) << row.key;
        ExpectMember(rule, row.offset, row.bytes, row.value);
    }
    for (const auto& [keys, result, printed] : kX4Sequences) {
        _FilterX4 rule = {};
        for (size_t i = 0; i < keys.size(); ++i) {
            const auto& [key, value] = keys[i];
            const bool last = i + 1 == keys.size();
            EXPECT_EQ(session.CLSetFilterX4Arg(key, value, &rule), last ? result : 0)
                << key << ' ' << value;
            EXPECT_EQ(session.Printed(), last ? printed : "") << key << ' ' << value;
        }
    }
    _FilterX4 rule = {};
    EXPECT_EQ(session.CLSetFilterX4Arg(389, nullptr, &rule), 1);
    EXPECT_EQ(session.CLSetFilterX4Arg(195, "3", &rule), 0);
    EXPECT_EQ(session.CLSetFilterX4Arg(397, "10.0.0.1/9", &rule), 0);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(rule.lip.mask), 4), "\xff\x80\0\0"s);
    EXPECT_EQ(session.CLSetFilterX4Arg(414, "ipv4", &rule), 0);
    rule.id = 4;
    EXPECT_EQ(session.CLSetFilterX4Arg(414, "ipv6", &rule), 1) << "the address is of IPv4";
}

TEST(Combinations, AreComparedWhole) {
    const auto combinations = FilterCombinations();
    EXPECT_EQ(combinations.size(), 38u);
    EXPECT_EQ(combinations.front(), "fragmentation, mpshittype, macmatch, ethertype, port, fcoe");
    EXPECT_EQ(combinations.back(), "protocol, tos, vnic_id, port");
    for (const std::string_view combination : combinations) {
        std::string near(combination);
        EXPECT_TRUE(IsFilterCombination(near));
        EXPECT_FALSE(IsFilterCombination(near + " "));
        EXPECT_FALSE(IsFilterCombination(near.substr(1)));
        const size_t comma = near.find(", ");
        EXPECT_FALSE(IsFilterCombination(near.substr(comma + 2) + ", " + near.substr(0, comma)));
        near[0] = static_cast<char>(near[0] - 'a' + 'A');
        EXPECT_FALSE(IsFilterCombination(near));
    }
    const ProcessResult run = Zwcli(1, {"filter", "showcomb"});  // nobody is asked
    EXPECT_EQ(run.exit_status, 0);
    EXPECT_EQ(run.err, "");
    EXPECT_TRUE(run.out.starts_with("\nPermissible combination of x4 filter tuple :\n" +
                                    std::string(48, '-') + "\n\"fragmentation, mpshittype, "))
        << run.out;
    EXPECT_EQ(std::count(run.out.begin(), run.out.end(), '"'), 76);
}

TEST(FilterRequests, RefusalsHaveTheirTexts) {
    const char* no_interface = "please specify IfName on which filter needs to be applied \n";
    const char* invalid_x4 = "Invalid X4 filter argument/value \n";
    const char* no_combination = "Please specify a valid PCIBusLocation and Filter Combination!\n";
    const char* no_show = "Please specify a valid PCIBusLocation and Show type!\n";
    // clang-format off
    const Table<std::vector<const char*>, std::string> rows = {
        {{"addx3"}, no_interface}, {{"addx3", "id=1"}, no_interface}, {{"addx3", "ifname=e", "sip=1.2.3.4/"}, "Invalid sip\n"},
        {{"addx3", "ifname=e", "pci=1"}, "Invalid pci\n"}, {{"addx3", "ifname=e", "id=0"}, "Invalid id\n"},
        {{"deletex3", "ifname=e"}, "please specify FilterId and IfName\n"}, {{"deletex3", "id=1"}, "please specify FilterId and IfName\n"},
        {{"modifyx3", "ifname=e"}, "please specify FilterId\n"}, {{"modifyx3", "id=1"}, no_interface},
        {{"add"}, "Please specify PCIBusLocation  on which filter needs to be applied \n"}, {{"add", "pci=1", "id=0"}, invalid_x4},
        {{"add", "pci=1", "x4action=nix"}, invalid_x4}, {{"add", "pci=1", "x4vlan=nix"}, std::string("failure\n") + invalid_x4},
        {{"add", "pci=1", "ifname=e"}, invalid_x4}, {{"delete", "pci=1"}, "please specify FilterId and PCIBusLocation\n"},
        {{"delete", "id=1"}, "please specify FilterId and PCIBusLocation\n"}, {{"modify", "pci=1"}, "Please specify FilterId\n"},
        {{"modify", "id=1"}, "Please specify PCI Bus location on which filter needs to be applied \n"},
        {{"list"}, no_show}, {{"list", "pci=1"}, no_show}, {{"list", "show=all"}, no_show},
        {{"list", "show=ALL"}, "Show type should be \"all\" or \"active\".\n"}, {{"list", "pci=1", "show=all", "id=1"}, "Invalid Parameter specified\n"},
        {{"setcomb"}, no_combination}, {{"setcomb", "pci=1"}, no_combination}, {{"setcomb", "comb=ethertype, vlan, port"}, no_combination},
        {{"setcomb", "pci=1", "comb=vlan"}, "Filter combination string is invalid\n"}, {{"setcomb", "id=1"}, "Invalid Parameter Specified\n"},
        {{"maxfilters"}, "Please specify a valid subcommand\n"}, {{"maxfilters", "show", "ifname=e"}, "Please specify a valid subcommand\n"},
        {{"maxfilters", "get", "ifname=e", "max=1"}, "Subcommand GET doesn't take max filters value as an argument\n"},
        {{"maxfilters", "set", "ifname=e"}, "Please specify the max filters value to be set\n"}, {{"maxfilters", "set", "max=5"}, no_interface},
        {{"maxfilters", "get"}, no_interface}, {{"maxfilters", "get", "vlanid=0"}, "Invalid vlanid\n"},
    };
    // clang-format on
    for (auto [words, printed] : rows) {
        words.insert(words.begin(), "filter");
        EXPECT_EQ(Refused(words), std::pair(1, printed)) << words[1];
    }
}

TEST(FilterRequests, CarryTheirRecords) {
    // Command and keys, opcode, bytes sent, and the first of them.
    // clang-format off
    const Table<std::vector<const char*>, uint16_t, size_t, std::string> rows = {
        {{"addx3", "ifname=e"}, 172, 120, "e\0"s}, {{"deletex3", "ifname=e", "id=1"}, 171, 120, "e\0"s}, {{"modifyx3", "ifname=e", "id=1"}, 170, 120, "e\0"s},
        {{"listx3"}, 173, 0, ""}, {{"maxfilters", "GET", "ifname=e"}, 176, 120, "e\0"s}, {{"maxfilters", "set", "ifname=e", "max=9"}, 175, 120, "e\0"s},
        {{"add", "pci=1"}, 301, 880, "1\0"s}, {{"delete", "pci=1", "id=1"}, 300, 880, "1\0"s}, {{"modify", "pci=1", "id=1"}, 299, 880, "1\0"s},
        {{"list", "pci=1", "show=active"}, 302, 33, "1" + std::string(31, '\0') + "\x02"}, {{"showactivecomb"}, 327, 0, ""},
        {{"setcomb", "pci=1", "comb=ethertype, vlan, port"}, 324, 880, "1" + std::string(31, '\0') + "ethertype, vlan, port\0"s},
        {{"listx3adapters"}, 337, 0, ""}, {{"listadapters"}, 338, 0, ""},
    };
    // clang-format on
    for (auto [words, opcode, length, begin] : rows) {
        words.insert(words.begin(), "filter");
        int asked = 0;
        std::string sent;
        CannedHost host([&](uint8_t service, uint16_t got, auto data) {
            asked = service == kFilter ? got : -1;
            sent.assign(data.begin(), data.end());
            return zmsim::Reply{.status = 1, .data = {}};
        });
        TestAgent agent(host);
        TestSession session;
        ASSERT_EQ(session.Connect(agent.Port()), kSuccess);
        EXPECT_EQ(session.Run(words), 0);
        EXPECT_EQ(asked, opcode) << words[1];
        EXPECT_EQ(sent.size(), length) << words[1];
        EXPECT_TRUE(sent.starts_with(begin)) << words[1];
    }
}

TEST(FilterReplies, StatusesHaveTheirTexts) {
    using Printer = void (*)(TestSession&, _Message*);
    const Printer add = [](TestSession& s, _Message* m) { s.GetAddFilterResponse(m); };
    const Printer remove = [](TestSession& s, _Message* m) { s.GetDeleteFilterResponse(m); };
    const Printer modify = [](TestSession& s, _Message* m) { s.GetModifyFilterResponse(m); };
    const Printer comb = [](TestSession& s, _Message* m) { s.GetSetCombResponse(m); };
    const Printer max = [](TestSession& s, _Message* m) { s.GetMaxFiltersResponse(nullptr, m); };
    const Printer list = [](TestSession& s, _Message* m) { s.GetListFiltersResponse(nullptr, m); };
    const Printer list4 = [](TestSession& s, _Message* m) {
        s.GetListFiltersResponseX4(nullptr, m);
    };
    const Printer active = [](TestSession& s, _Message* m) { s.ShowActiveResp(nullptr, m); };
    const char* failed = "Command failed\n";
    const char* none = "There are no filters to list...!\n";
    // clang-format off
    const Table<Printer, uint32_t, uint16_t, const char*> rows = {
        {add, 0, 0, "Successful\n"}, {add, 259, 0, "Invalid FilterId\n"}, {add, 266, 0, "Error: x3_tom loaded. Cannot add the filter...!\n"}, {add, 264, 0, failed},
        {remove, 0, 0, "Successful\n"}, {remove, 259, 0, "Invalid FilterId -- Filter rule can deleted for existing id.\n"},
        {remove, 266, 0, "Error: x3_tom loaded. Cannot delete the filter...!\n"}, {remove, 1, 0, failed},
        {modify, 0, 0, "Successful\n"}, {modify, 259, 0, "Invalid FilterId -- Filter rules can be modified for existing filter id. \n"},
        {modify, 266, 0, "Error: x3_tom loaded. Cannot modify filter...!\n"}, {modify, 1, 0, failed},
        {comb, 0, 0, "Successful\n"}, {comb, 1, 0, failed},
        {max, 0, 175, "Max filters value is being set. Please use the maxfilters get command to get the result\n"}, {max, 0, 176, "Max no of filters : 0\n"},
        {max, 266, 175, "Error:x3_tom loaded. Cannot get max filters value..!\n"},
        {max, 55, 176, "There is a background command already running. Please wait till it finishes\n"},
        {max, 57, 176, "The data available is not for this command. Please initiate the setnfilters command and then retry\n"}, {max, 259, 176, failed},
        {list, 264, 0, none}, {list, 266, 0, "Error: x3_tom loaded. Cannot list filter...!\n"}, {list, 259, 0, failed},
        {list4, 0, 0, ""}, {list4, 264, 0, none}, {list4, 266, 0, "Error: x4_tom loaded. Cannot list filter...!\n"}, {list4, 1, 0, failed},
        {active, 0, 0, "\nThe Current Active Combination:\n-----------------------------------\n"},
        {active, 264, 0, none}, {active, 266, 0, "Error: x3_tom/x4_tom loaded. Cannot list filter...!\n"}, {active, 1, 0, failed},
    };
    // clang-format on
    TestSession session;
    for (const auto& [print, status, opcode, text] : rows) {
        _Message reply = {};
        reply.status = status;
        reply.opcode = opcode;
        print(session, &reply);
        EXPECT_EQ(session.Printed(), text);
    }
}

TEST(FilterReplies, ListingsAreBoundedByTheReply) {
    _Filter rules[2] = {};
    std::memset(rules[0].interface_name, 'i', sizeof(rules[0].interface_name));
    rules[0].present = 0x7FF;
    rules[0].source_prefix = -1;
    rules[0].protocol = 3;
    rules[0].action = 2;
    SetFixedText(rules[1].interface_name, "eth\n2");
    rules[1].id = 5;
    rules[1].protocol = 9;
    TestSession session;
    _Message reply = {};
    reply.data_length = sizeof(rules) - 1;  // the second is cut
    session.GetListFiltersResponse(rules, &reply);
    const std::string head =
        "ifname     id   sip                dip             sport dport vlanid prio mac proto "
        "action queue\n" +
        std::string(97, '-') + "\n";
    const std::string first =
        std::string(64, 'i') +
        " 0    0.0.0.0/-1         0.0.0.0         0     0     0      0    0   FRAG  DROP   0\n";
    EXPECT_EQ(session.Printed(), head + first);
    reply.data_length = sizeof(rules);
    session.GetListFiltersResponse(rules, &reply);
    EXPECT_EQ(session.Printed(),
              head + first +
                  "eth?2      5    -                  -               -     -     -      -    -   "
                  "ANY   RSS    -\n");
    const std::string blocks = "one\nline\0\0two\x1b\n\0three"s;
    reply.data_length = static_cast<uint32_t>(blocks.size());
    session.GetListFiltersResponseX4(blocks.data(), &reply);
    EXPECT_EQ(session.Printed(), "one\nline\n\ntwo?\n\n\nthree\n\n");
    const int32_t max = -7;
    reply.opcode = 176;
    reply.data_length = 4;
    session.GetMaxFiltersResponse(&max, &reply);
    EXPECT_EQ(session.Printed(), "Max no of filters : -7\n");
}

TEST(Filters, RulesAreKeptByTheAgent) {
    zmsim::ScenarioHost host(BuiltinScenario("linux"));
    TestAgent agent(host);
    TestSession session;
    ASSERT_EQ(session.Connect(agent.Port()), kSuccess);
    const auto say = [&](std::vector<const char*> words) {
        words.insert(words.begin(), "filter");
        EXPECT_EQ(session.Run(words), 0) << words[1];
        return session.Printed();
    };
    const auto lists = [&](const std::string& listing, const char* line) {
        EXPECT_NE(listing.find(line), std::string::npos) << listing;
    };
    const char* done = "Successful\n";
    EXPECT_EQ(say({"addx3", "ifname=eth2", "id=2", "sip=10.1.0.0/16", "proto=udp"}), done);
    EXPECT_EQ(say({"addx3", "ifname=eth2", "id=2"}), "Invalid FilterId\n");
    EXPECT_EQ(say({"addx3", "ifname=eth3", "queue=1"}), done);
    EXPECT_EQ(say({"modifyx3", "ifname=eth2", "id=2", "action=drop"}), done);
    lists(say({"listx3"}),
          "eth2       2    10.1.0.0/16        -               -     -     -      -    -   UDP   "
          "DROP   -\n");
    lists(say({"listx3"}), "eth3       1    ");
    EXPECT_EQ(say({"deletex3", "ifname=eth3", "id=1"}), done);
    EXPECT_EQ(say({"deletex3", "ifname=eth2", "id=2"}), done);
    EXPECT_EQ(say({"listx3"}), "There are no filters to list...!\n");
    EXPECT_EQ(say({"addx3", "ifname=eth4"}), "Command failed\n") << "of an X4 adapter";

    const char* pci = "pci=0000:05:00.4";
    EXPECT_EQ(say({"add", pci, "id=8", "type=ipv6", "lip=fe80::1/64", "tos=4:0xf"}), done);
    EXPECT_EQ(say({"add", pci, "fip=10.0.0.0/9", "smac=001122334455"}), done);
    EXPECT_EQ(say({"add", pci, "id=1"}), "Invalid FilterId\n");
    EXPECT_EQ(say({"modify", pci, "id=1", "x4queue=3"}), done);
    EXPECT_EQ(say({"list", pci, "show=all"}),
              "Filter id 1\n    fip: 10.0.0.0/9\n    queue: 3\n    smac: 001122334455\n\n"
              "Filter id 8\n    ipv6: 1\n    tos: 0x4:0xf\n    lip: fe80::1/64\n\n");
    EXPECT_EQ(say({"delete", pci, "id=8"}), done);
    EXPECT_EQ(say({"delete", pci, "id=8"}),
              "Invalid FilterId -- Filter rule can deleted for existing id.\n");
    EXPECT_EQ(say({"setcomb", pci, "comb=ethertype, vlan, port"}), done);
    lists(say({"showactivecomb"}), "0000:05:00.4: ethertype, vlan, port\n");
    EXPECT_EQ(session.Run({"system", "loaddriver", "drvname=x4_tom"}), 0);
    EXPECT_EQ(session.Printed(), done);
    EXPECT_EQ(say({"list", pci, "show=all"}), "Error: x4_tom loaded. Cannot list filter...!\n");
}
