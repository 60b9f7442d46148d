/// Hardware filter rules of both adapter generations: what the filter commands send, and the
/// records of their listings.
#pragma once

#include <cstddef>
#include <cstdint>

#pragma pack(push, 1)

/// A rule of an X3 adapter. Numbers are as given; what was not given is 0, and its bit in `present`
/// clear.
struct _Filter {
    char interface_name[64];  ///< NUL-padded
    uint8_t source_address[4];
    uint8_t destination_address[4];
    int32_t max;  ///< rules that the table can hold, in "filter maxfilters" alone
    int32_t id;   ///< from 1; 0: the agent chooses
    int32_t source_prefix;
    int32_t source_port;
    int32_t destination_port;
    int32_t vlan_id;
    int32_t vlan_priority;
    uint32_t present;  ///< which members were given: bits of docs/protocol.md
    int32_t mac_index;
    int32_t queue;
    int32_t protocol;  ///< 1 tcp, 2 udp, 3 frag, 4 any
    int32_t action;    ///< 1 pass, 2 drop
};

struct FilterField {
    uint32_t value;
    uint32_t mask;  ///< bits that must match
};

struct FilterAddress {
    uint8_t address[16];  ///< IPv4: the first 4 bytes
    uint8_t mask[16];
};

/// A rule of an X4 or X5 adapter, and the request that sets its filter mode.
struct _FilterX4 {
    char pci_bus_location[32];  ///< texts are NUL-padded
    char combination[128];      ///< the filter mode: a permitted combination
    uint32_t id;                ///< from 1; 0: the agent chooses
    uint32_t present;           ///< which members were given: bits of docs/protocol.md
    uint32_t address_family;    ///< 0 IPv4, 1 IPv6
    FilterField fcoe;
    FilterField port;
    FilterField vlan;
    FilterField ovlan;
    FilterField pf;
    FilterField vf;
    FilterField tos;
    FilterField protocol;
    FilterField ethertype;
    FilterField macmatch;
    FilterField mpshittype;
    FilterField fragmentation;
    FilterField lport;
    FilterField fport;
    FilterAddress lip;
    FilterAddress fip;
    char smac[18];
    char dmac[18];
    uint32_t action;       ///< 1 pass, 2 drop, 4 switch
    uint32_t vlan_action;  ///< 1 none, 2 insert, 3 rewrite
    uint32_t vlan_value;
    uint32_t hitcnts;
    uint32_t prio;
    uint32_t queue;
    uint32_t tcbhash;
    uint32_t eport;
    uint32_t rpttid;
    char vnic_id[32];
    uint8_t reserved452[428];
};

/// The request "filter list".
struct FilterListRequest {
    char pci_bus_location[32];
    uint8_t show;  ///< 1 all, 2 active
};

#pragma pack(pop)

static_assert(sizeof(_Filter) == 120 && offsetof(_Filter, source_address) == 64 &&
              offsetof(_Filter, max) == 72 && offsetof(_Filter, present) == 100 &&
              offsetof(_Filter, action) == 116);
static_assert(sizeof(_FilterX4) == 880 && offsetof(_FilterX4, combination) == 32 &&
              offsetof(_FilterX4, id) == 160 && offsetof(_FilterX4, fcoe) == 172 &&
              offsetof(_FilterX4, lip) == 284 && offsetof(_FilterX4, smac) == 348 &&
              offsetof(_FilterX4, action) == 384 && offsetof(_FilterX4, vnic_id) == 420 &&
              offsetof(_FilterX4, reserved452) == 452);
static_assert(sizeof(FilterListRequest) == 33);
