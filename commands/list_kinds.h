/// The result lists by command: how big a node is and which lists hang from it.
#pragma once

#include <cstdint>
#include <optional>

namespace zwmgmt {

struct ListKind {
    uint16_t command;
    uint32_t node_size;        // bytes, the link at the end included
    uint16_t inner_lists = 0;  // heads directly before the link, first list first
    uint32_t inner_node_size = 0;

    constexpr uint32_t link_offset() const { return node_size - uint32_t{sizeof(void*)}; }
    constexpr uint32_t record_size() const { return link_offset(); }
    constexpr uint16_t pointer_count() const { return static_cast<uint16_t>(inner_lists + 1); }
};

/// The kind of list that a command's reply becomes; nothing when it is no list.
std::optional<ListKind> FindListKind(uint16_t command);

}  // namespace zwmgmt
