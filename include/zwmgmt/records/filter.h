/// Hardware filter rules of both adapter generations: what the filter commands send, and the
/// records of their listings.
#pragma once

#include <cstddef>
#include <cstdint>

#pragma pack(push, 1)

/// A rule of an X3 adapter. Numbers are as given; what was not given is 0, and its bit in `present`
/// clear.
struct _Filter {
    char interface_name[64];         ///< NUL-padded
    uint8_t source_address[4];       ///< in text order
    uint8_t destination_address[4];  ///< in text order
    int32_t max;               ///< rules that the table can hold, in "filter maxfilters" alone
    int32_t id;                ///< from 1; 0: the agent chooses
    int32_t source_prefix;     ///< bits: 0 to 32
    int32_t source_port;       ///< 0 to 65535
    int32_t destination_port;  ///< 0 to 65535
    int32_t vlan_id;           ///< 1 to 4094
    int32_t vlan_priority;     ///< 0 to 7
    uint32_t present;          ///< which members were given: bits of docs/protocol.md
    int32_t mac_index;         ///< 0 to 15
    int32_t queue;             ///< 0 to 7
    int32_t protocol;          ///< 1 tcp, 2 udp, 3 frag, 4 any
    int32_t action;            ///< 1 pass, 2 drop
};

/// What a rule demands of one field of a packet.
struct FilterField {
    uint32_t value;  ///< as a number
    uint32_t mask;   ///< bits that must match
};

/// What a rule demands of an address; bytes in text order.
struct FilterAddress {
    uint8_t address[16];  ///< IPv4: the first 4 bytes
    uint8_t mask[16];     ///< bits that must match
};

/// A rule of an X4 or X5 adapter, and the request that sets its filter mode.
struct _FilterX4 {
    char pci_bus_location[32];  ///< texts are NUL-padded
    char combination[128];      ///< the filter mode: a permitted combination
    uint32_t id;                ///< from 1; 0: the agent chooses
    uint32_t present;           ///< which members were given: bits of docs/protocol.md
    uint32_t address_family;    ///< 0 IPv4, 1 IPv6
    FilterField fcoe;           ///< flag: an FCoE frame
    FilterField port;           ///< the adapter's port it came in by: 3 bits
    FilterField vlan;           ///< inner VLAN tag: 16 bits
    FilterField ovlan;          ///< outer VLAN tag: 16 bits
    FilterField pf;             ///< PCI physical function: 8 bits
    FilterField vf;             ///< PCI virtual function: 8 bits
    FilterField tos;            ///< type of service or traffic class: 8 bits
    FilterField protocol;       ///< of IP: 8 bits
    FilterField ethertype;      ///< 16 bits
    FilterField macmatch;       ///< index in the adapter's table of MAC addresses: 9 bits
    FilterField mpshittype;     ///< how that table was hit: 3 bits
    FilterField fragmentation;  ///< flag: an IP fragment
    FilterField lport;          ///< local port: 16 bits
    FilterField fport;          ///< foreign port: 16 bits
    FilterAddress lip;          ///< local address
    FilterAddress fip;          ///< foreign address
    char smac[18];              ///< source MAC address, as text
    char dmac[18];              ///< destination MAC address, as text
    uint32_t action;            ///< 1 pass, 2 drop, 4 switch
    uint32_t vlan_action;       ///< 1 none, 2 insert, 3 rewrite
    uint32_t vlan_value;        ///< the tag to insert, or to rewrite with
    uint32_t hitcnts;           ///< nonzero: hits are counted
    uint32_t prio;              ///< 0 to 7
    uint32_t queue;             ///< 0 to 1023: the receive queue
    uint32_t tcbhash;           ///< a number of the adapter's
    uint32_t eport;             ///< 0 to 7: the port to switch to
    uint32_t rpttid;            ///< a number of the adapter's
    char vnic_id[32];           ///< a text of the adapter's
    uint8_t reserved452[428];
};

/// The request "filter list".
struct FilterListRequest {
    char pci_bus_location[32];  ///< NUL-padded
    uint8_t show;               ///< 1 all, 2 active
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
