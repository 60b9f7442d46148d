#include "output/records.h"

#include <algorithm>
#include <cstring>

#include "zwmgmt/zwmgmt_interface.h"

namespace zwmgmt {
namespace {

size_t PlaceOf(const Description& what, const Field& field) {
    return static_cast<size_t>(&field - what.fields.data());
}

/// A list of no records is one zeroed node.
bool IsNoRecord(const void* node, size_t size) {
    const auto* bytes = static_cast<const char*>(node);
    return std::all_of(bytes, bytes + size + sizeof(void*), [](char byte) { return byte == 0; });
}

const void* LinkAt(const void* node, size_t offset) {
    const void* link;
    std::memcpy(&link, static_cast<const char*>(node) + offset, sizeof(link));
    return link;
}

}  // namespace

FieldList FieldsOf(const Description& what, uint8_t os, bool for_people) {
    FieldList list;
    std::vector<bool> told(what.fields.size(), what.blocks.empty());
    for (const Block& block : what.blocks) {
        if (!block.systems.Has(os)) continue;
        for (const Line& line : block.lines) told[PlaceOf(what, *line.field)] = true;
    }
    if (for_people && !what.columns.empty()) {
        for (const Field* column : what.columns) {
            if (told[PlaceOf(what, *column)]) list.push_back(column);
        }
        return list;
    }
    for (const Field& field : what.fields) {
        if (told[PlaceOf(what, field)]) list.push_back(&field);
    }
    return list;
}

Records::Records(const Description& description, uint8_t agent_os, const void* reply_data,
                 uint32_t reply_length)
    : what(description),
      os(agent_os),
      data(reply_data),
      length(reply_data != nullptr ? reply_length : 0) {
    if (what.shape == Description::kDecoded) what.decode(data, length, &rows);
    // The last stands for the variants that no block asks for.
    uint8_t highest = 0;
    for (const Block& block : what.blocks) highest = std::max(highest, block.variant);
    for (size_t variant = 0; variant <= highest + 1u; ++variant) {
        auto& fields = filled.emplace_back(what.fields.size(), false);
        for (const Block& block : what.blocks) {
            if (!block.IsFor(os, static_cast<uint8_t>(variant))) continue;
            for (const Line& line : block.lines) fields[PlaceOf(what, *line.field)] = true;
        }
    }
}

const void* Records::First() {
    judged = nullptr;
    place = 0;
    switch (what.shape) {
        case Description::kList:
            current = data != nullptr && !IsNoRecord(data, what.size) ? data : nullptr;
            return current;
        case Description::kRun:
        case Description::kOne: return Run(0);
        case Description::kDecoded: break;
    }
    return Row();
}

const void* Records::Next() {
    switch (what.shape) {
        case Description::kList: return current = LinkAt(current, what.size);
        case Description::kRun: return Run(place + what.size);
        case Description::kOne: return nullptr;
        case Description::kDecoded: break;
    }
    ++place;
    return Row();
}

const void* Records::Run(size_t begin) {
    place = begin;
    return begin + what.size <= length ? static_cast<const char*>(data) + begin : nullptr;
}

const void* Records::Row() { return place < rows.size() ? rows[place].data() : nullptr; }

ResultValue Records::ValueOf(const void* record, const Field& field) {
    if (!IsFilled(record, field)) return {};
    if (!rates || field.sense.meaning != Meaning::kCounter) return ValueIn(record, field, room);
    const auto rate = rates->find({record, &field});
    if (rate == rates->end()) return {};
    return {.type = ValueType::kUnsigned, .number = rate->second};
}

bool Records::IsFilled(const void* record, const Field& field) {
    if (field.bit != 0) {
        uint32_t present;
        std::memcpy(&present, static_cast<const char*>(record) + what.present, sizeof(present));
        return (present & field.bit) != 0;
    }
    if (what.blocks.empty()) return true;
    if (what.variant_of != nullptr && judged != record) {
        judged = record;
        judged_variant = what.variant_of(record, os);
    }
    return filled[std::min<size_t>(judged_variant, filled.size() - 1)][PlaceOf(what, field)];
}

void PrintRecords(ZwMgmt_interface& session, const Description& what, const void* data,
                  uint32_t length) {
    const uint8_t os = session.OsType();
    Records records(what, os, data, length);
    for (const void* record = records.First(); record != nullptr; record = records.Next()) {
        const uint8_t variant = what.variant_of != nullptr ? what.variant_of(record, os) : 0;
        for (const Block& block : what.blocks) {
            if (!block.IsFor(os, variant)) continue;
            for (const Line& line : block.lines) PrintLine(session, record, line);
        }
    }
}

}  // namespace zwmgmt
