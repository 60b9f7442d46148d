/// Offload policies as they travel: the record of one rule, its compiled filter and its settings.
#pragma once

#include <cstddef>
#include <cstdint>

#pragma pack(push, 1)

/// What a filter can look at. Integers are little-endian, addresses in text order.
struct PolicyFields {
    uint8_t source_address[4];       ///< IPv4
    uint8_t destination_address[4];  ///< IPv4
    uint16_t source_port;            ///< 0 to 65535
    uint16_t destination_port;       ///< 0 to 65535
    uint16_t vlan;                   ///< 12 bits
    uint8_t tos;                     ///< the DSCP are its upper 6 bits
    uint8_t version;                 ///< of IP; 4 bits
    uint8_t open;                    ///< 2 bits: 1 listen, 2 active open, 3 passive open
    uint32_t mark;                   ///< the connection's
};

/// One test of a compiled filter: the fields under the mask equal the value, or not. Where to go
/// then is an instruction's position or one of the two ends.
struct PolicyInstruction {
    PolicyFields value;  ///< compared under the mask
    PolicyFields mask;   ///< bits that count
    uint8_t used;        ///< 1; 0 behind the program's end
    uint8_t on_match;    ///< a later position, or kPolicyAccept or kPolicyReject
    uint8_t on_miss;     ///< the same
    uint8_t reserved45[8];
};

/// What a rule wants done. The values of what a rule does not set are kUnsetPolicySettings.
struct PolicySettings {
    uint8_t offload;         ///< flag
    uint8_t ddp;             ///< flag: direct data placement
    uint8_t coalesce;        ///< flag
    uint8_t congestion;      ///< 0 reno, 1 tahoe, 2 newreno, 3 highspeed
    int32_t bind;            ///< a CPU number, -2 random, -3 cpu
    uint16_t traffic_class;  ///< 1 to 7
    uint8_t timestamp;       ///< flag
    uint8_t sack;            ///< flag
};

/// One rule of an interface: the request that adds, changes or deletes it, and a record of the
/// reply to "tm list".
struct _OfldPolicy {
    uint8_t index;            ///< position among the interface's policies, from 1; 0: at the end
    char interface_name[64];  ///< terminated
    uint8_t operation;        ///< 2 add, 3 modify, 4 delete
    PolicyInstruction program[8];  ///< begins at position 0; unused ones are zero
    PolicySettings settings;       ///< of the connections that it accepts
};

#pragma pack(pop)

static_assert(sizeof(PolicyFields) == 21 && offsetof(PolicyFields, mark) == 17);
static_assert(sizeof(PolicyInstruction) == 53 && offsetof(PolicyInstruction, mask) == 21 &&
              offsetof(PolicyInstruction, on_match) == 43);
static_assert(sizeof(PolicySettings) == 12 && offsetof(PolicySettings, bind) == 4 &&
              offsetof(PolicySettings, timestamp) == 10);
static_assert(sizeof(_OfldPolicy) == 502 && offsetof(_OfldPolicy, operation) == 65 &&
              offsetof(_OfldPolicy, program) == 66 && offsetof(_OfldPolicy, settings) == 490);

namespace zwmgmt {

/// What a rule sets that sets nothing.
inline constexpr PolicySettings kUnsetPolicySettings = {0,  0xFF,   0xFF, 0xFF,
                                                        -1, 0xFFFF, 0xFF, 0xFF};

inline constexpr uint8_t kPolicyAccept = 0xFF;    ///< the connection matches
inline constexpr uint8_t kPolicyReject = 0xFE;    ///< it does not
inline constexpr size_t kPolicyInstructions = 8;  ///< of a program, at most

}  // namespace zwmgmt
