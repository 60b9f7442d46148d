/// Result lists: building, and freeing with everything that hangs from them.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "commands/list_kinds.h"
#include "commands/routes.h"
#include "zwmgmt/zwmgmt_interface.h"

namespace zwmgmt {
namespace {

/// Of commands that this version does not send, but programs may. Those of the others follow from
/// the descriptions of their records.
constexpr ListKind kListKinds[] = {
    {2, 32},           {4, 9268},        {6, 1032},   {9, 7502},          {17, 1810},
    {31, 9684, 1, 37}, {34, 562, 1, 82}, {35, 717},   {47, 10173, 1, 62}, {48, 9684, 1, 37},
    {66, 9684},        {69, 562, 1, 82}, {72, 9684},  {94, 729, 3, 62},   {116, 3256, 1, 3280},
    {130, 996},        {153, 7502},      {154, 7502}, {156, 7502},        {157, 7502},
    {158, 7502},       {159, 7502},      {162, 1810}, {163, 1810},        {199, 729},
    {200, 62},         {201, 62},        {202, 62},   {213, 3256},        {214, 3280},
    {244, 7502},       {328, 729},       {330, 90},   {334, 75},
};

static_assert(std::ranges::is_sorted(kListKinds, {}, &ListKind::command));

/// Link of a node, at any alignment: nodes are packed records.
void* LinkOf(const void* node, size_t offset) {
    void* link;
    std::memcpy(&link, static_cast<const char*>(node) + offset, sizeof(link));
    return link;
}

void SetLink(void* node, size_t offset, void* link) {
    std::memcpy(static_cast<char*>(node) + offset, &link, sizeof(link));
}

/// How one record lies in the reply of an agent with the given word size. The one pointer that the
/// formulas do not count is the agents' own record layout.
struct WireRecord {
    int64_t copied;
    int64_t stride;
};

WireRecord Layout(int64_t record_size, int64_t pointer_count, uint32_t word_size) {
    if (word_size < 8) {
        const int64_t narrow = record_size + 4 - 4 * pointer_count;
        return {std::min(narrow, record_size), narrow};
    }
    if (word_size > 8) return {record_size, record_size + 4 * pointer_count - 4};
    return {record_size, record_size};
}

}  // namespace

std::optional<ListKind> FindListKind(uint16_t command) {
    const Route* route = FindRoute(command);
    if (route != nullptr && route->records != nullptr && route->reply == ReplyShape::kList) {
        return ListKind{command, static_cast<uint32_t>(route->records->size + sizeof(void*))};
    }
    const auto* row = std::ranges::lower_bound(kListKinds, command, {}, &ListKind::command);
    if (row == std::end(kListKinds) || row->command != command) return {};
    return *row;
}

}  // namespace zwmgmt

using namespace zwmgmt;

int ZwMgmt_interface::CLBuildList(void** head, const void* source, uint32_t record_size,
                                  uint32_t node_size, uint16_t pointer_count, uint32_t layout,
                                  uint32_t length) {
    constexpr int kNotBuilt = 2;
    const WireRecord record = Layout(record_size, pointer_count, layout);
    const uint64_t inner_heads = pointer_count > 1 ? (pointer_count - 1) * sizeof(void*) : 0;
    if (record.copied <= 0 || record.stride <= 0 || inner_heads > record_size ||
        uint64_t{record_size} + sizeof(void*) > node_size) {
        return kNotBuilt;
    }
    const auto* next = static_cast<const uint8_t*>(source);
    int64_t left = length;
    const auto complete_record = [&] { return left >= record.copied && *next != 0xFF; };

    void* first = std::calloc(1, node_size);
    if (first == nullptr) return kNotBuilt;
    void* node = complete_record() ? first : nullptr;
    while (node != nullptr) {
        std::memcpy(node, next, static_cast<size_t>(record.copied));
        // What the agent sent in place of inner list heads is no pointer of this process.
        std::memset(static_cast<char*>(node) + record_size - inner_heads, 0, inner_heads);
        next += record.stride;
        left -= record.stride;
        if (!complete_record()) break;
        void* following = std::calloc(1, node_size);
        if (following == nullptr) {
            CLFreeList(first, record_size);
            return kNotBuilt;
        }
        SetLink(node, record_size, following);
        node = following;
    }
    *head = first;
    return 0;
}

void ZwMgmt_interface::CLFreeList(void* head, uint32_t link_offset) {
    while (head != nullptr) {
        void* next = LinkOf(head, link_offset);
        std::free(head);
        head = next;
    }
}

void ZwMgmt_interface::CLFreeMem(uint16_t command, void* head) {
    const auto kind = FindListKind(command);
    if (!kind) {
        std::free(head);
        return;
    }
    void* outer = kind->inner_lists > 0 ? head : nullptr;
    for (void* node = outer; node != nullptr; node = LinkOf(node, kind->link_offset())) {
        for (uint16_t i = kind->inner_lists; i > 0; --i) {
            void* inner = LinkOf(node, kind->link_offset() - i * sizeof(void*));
            CLFreeList(inner, kind->inner_node_size - uint32_t{sizeof(void*)});
        }
    }
    CLFreeList(head, kind->link_offset());
}
