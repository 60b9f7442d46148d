/// Record lists: how an agent's run of records becomes nodes, and how every kind is freed.
#include <cstring>

#include "commands/list_kinds.h"
#include "tests/support.h"

using namespace testing_support;
using namespace zwmgmt;

namespace {

void* PointerAt(const void* node, size_t offset) {
    void* pointer;
    std::memcpy(&pointer, static_cast<const char*>(node) + offset, sizeof(pointer));
    return pointer;
}

void SetPointerAt(void* node, size_t offset, void* pointer) {
    std::memcpy(static_cast<char*>(node) + offset, &pointer, sizeof(pointer));
}

/// The first byte of each node of a list.
Bytes FirstBytes(void* head, uint32_t link_offset) {
    Bytes bytes;
    for (void* node = head; node != nullptr; node = PointerAt(node, link_offset)) {
        bytes.push_back(*static_cast<uint8_t*>(node));
    }
    return bytes;
}

/// `count` records of `stride` bytes, each filled with its number from 1.
Bytes Records(size_t count, size_t stride) {
    Bytes data;
    for (size_t i = 1; i <= count; ++i) data.insert(data.end(), stride, static_cast<uint8_t>(i));
    return data;
}

}  // namespace

TEST(BuildList, StridesFollowTheAgentsWordSizeAndCutRecordsAreLeftOut) {
    const Table<uint32_t, uint16_t, size_t, size_t> rows = {
        {8, 1, 100, 100}, {8, 3, 100, 100},  {4, 1, 100, 100},  {4, 2, 96, 96},    {4, 3, 92, 92},
        {4, 0, 104, 100}, {16, 1, 100, 100}, {16, 2, 104, 100}, {16, 3, 108, 100},
    };
    for (const auto& [word_size, pointer_count, stride, copied] : rows) {
        // Every length of no or three records and an end mark.
        for (uint32_t step = 0; step <= 5 * stride; ++step) {
            const size_t count = step < stride ? 0 : 3;
            Bytes records = Records(count, stride);
            records.insert(records.end(), stride, 0xFF);
            const auto length = static_cast<uint32_t>(count == 0 ? step : step - stride);
            const Bytes exact(records.begin(), records.begin() + length);  // for the sanitizer
            void* head = nullptr;
            ASSERT_EQ(ZwMgmt_interface::CLBuildList(&head, exact.data(), 100, 108, pointer_count,
                                                    word_size, length),
                      0);
            Bytes whole;
            for (size_t begin = 0; begin < count * stride && begin + copied <= length;) {
                whole.push_back(records[begin]);
                begin += stride;
            }
            EXPECT_EQ(FirstBytes(head, 100), whole.empty() ? Bytes({0}) : whole)
                << word_size << ' ' << pointer_count << ' ' << length;
            // Copied up to the inner heads or the record's end, zero beyond.
            const auto* first = static_cast<uint8_t*>(head);
            const size_t heads = pointer_count > 1 ? 8u * (pointer_count - 1u) : 0u;
            const size_t kept = whole.empty() ? 0 : std::min(copied, 100 - heads);
            EXPECT_EQ(Bytes(first, first + kept), Bytes(kept, 1));
            EXPECT_EQ(Bytes(first + kept, first + 100), Bytes(100 - kept, 0));
            ZwMgmt_interface::CLFreeList(head, 100);
        }
    }
}

TEST(BuildList, RefusesSizesThatDoNotFit) {
    const Bytes data = Records(3, 10);
    const Table<uint32_t, uint32_t, uint16_t, uint32_t> rows = {
        {10, 17, 1, 8}, {4, 12, 2, 4},          {0, 8, 1, 8},
        {10, 18, 3, 8}, {0xFFFFFFFF, 18, 1, 8}, {10, 18, 0xFFFF, 4},
    };
    for (const auto& [record_size, node_size, pointer_count, word_size] : rows) {
        void* head = &head;
        EXPECT_EQ(ZwMgmt_interface::CLBuildList(&head, data.data(), record_size, node_size,
                                                pointer_count, word_size, 30),
                  2);
        EXPECT_EQ(head, &head) << "unchanged";
    }
}

// Under the address sanitizer this finds a node that is not freed or freed twice.
TEST(FreeMem, FreesEveryKindWithItsInnerLists) {
    for (uint16_t command = 0; command < kFirstUnusedCommand; ++command) {
        ZwMgmt_interface::CLFreeMem(command, nullptr);
        const auto kind = FindListKind(command);
        if (!kind) {
            ZwMgmt_interface::CLFreeMem(command, std::malloc(10));
            continue;
        }
        void* head = nullptr;
        for (int nodes = 0; nodes < 2; ++nodes) {
            void* node = std::calloc(1, kind->node_size);
            SetPointerAt(node, kind->node_size - 8, head);
            for (uint16_t list = 0; list < kind->inner_lists; ++list) {
                void* inner = std::calloc(1, kind->inner_node_size);
                void* last = std::calloc(1, kind->inner_node_size);
                SetPointerAt(inner, kind->inner_node_size - 8, last);
                SetPointerAt(node, kind->node_size - 8 - 8 * (list + 1u), inner);
            }
            head = node;
        }
        ZwMgmt_interface::CLFreeMem(command, head);
    }
}

TEST(ResultLists, BuildListModeHandsTheRecordsOver) {
    for (int word_size : {4, 8, 16}) {
        zmsim::Scenario scenario = BuiltinScenario("linux");
        scenario.word_size = static_cast<uint8_t>(word_size);
        zmsim::ScenarioHost host(scenario);
        Linked session(host);
        session.SetBuildListMode();
        void* out = nullptr;
        ASSERT_EQ(session.Run({"korvane", "listadapterprops"}, &out), 0);
        EXPECT_EQ(session.Printed(), "");
        size_t count = 0;
        for (auto* card = static_cast<_CardInformation*>(out); card != nullptr; card = card->next) {
            const _CardInformation& sent = scenario.adapters.at(count++).card;
            EXPECT_EQ(std::memcmp(card, &sent, offsetof(_CardInformation, next)), 0) << word_size;
        }
        EXPECT_EQ(count, scenario.adapters.size());
        ZwMgmt_interface::CLFreeMem(kListAdapterProps, out);

        session.ResetBuildListMode();
        ASSERT_EQ(session.Run({"korvane", "listadapterprops"}, &out), 0);
        EXPECT_EQ(out, nullptr);
        EXPECT_NE(session.Printed(), "");
    }
}
