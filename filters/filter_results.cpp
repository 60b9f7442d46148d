/// What the replies about filter rules hold.
#include <algorithm>
#include <array>
#include <charconv>

#include "filters/combinations.h"
#include "filters/results.h"
#include "output/lines.h"
#include "records/x3_rule.h"
#include "records/x4_rule.h"

namespace zwmgmt {
namespace {

constexpr const Field* kX3Columns[] = {FieldNamed(kX3RuleFields, "interface_name"),
                                       FieldNamed(kX3RuleFields, "id"),
                                       FieldNamed(kX3RuleFields, "source_address"),
                                       FieldNamed(kX3RuleFields, "source_prefix"),
                                       FieldNamed(kX3RuleFields, "destination_address"),
                                       FieldNamed(kX3RuleFields, "source_port"),
                                       FieldNamed(kX3RuleFields, "destination_port"),
                                       FieldNamed(kX3RuleFields, "protocol"),
                                       FieldNamed(kX3RuleFields, "action"),
                                       FieldNamed(kX3RuleFields, "queue")};

/// A rule of an X4 listing: its id, the fields that have a label of their own, everything else.
constexpr size_t kX4Other = std::size(kX4Fields) + 1;

consteval auto X4Cells() {
    std::array<Field, kX4Other + 1> cells = {};
    cells[0] = CellField("id", 0, Decimal());
    for (size_t i = 0; i < std::size(kX4Fields); ++i) {
        const X4Field& field = kX4Fields[i];
        const bool number = field.form == X4Field::kNumber;
        cells[i + 1] = CellField(field.name, i + 1,
                                 !field.words.empty() ? OneOf(field.words)
                                 : number             ? Decimal()
                                                      : Sense{});
    }
    cells[kX4Other] = CellField("other", kX4Other, kListSense);
    return cells;
}

constexpr auto kX4Cells = X4Cells();
constexpr std::string_view kX4Title = "Filter id ";

void TakeX4Line(std::string_view line, std::vector<std::string>* row) {
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
    if (line.starts_with(kX4Title) && (*row)[0].empty()) {
        (*row)[0] = line.substr(kX4Title.size());
        return;
    }
    const auto [label, value] = Halves(line);
    const auto field = std::ranges::find(kX4Fields, label, &X4Field::label);
    if (field != std::end(kX4Fields)) {
        (*row)[static_cast<size_t>(field - kX4Fields) + 1] = value;
    } else if (!line.empty()) {
        std::string& other = (*row)[kX4Other];
        other.append(other.empty() ? "" : ", ").append(line);
    }
}

void DecodeX4Rules(const void* data, uint32_t length, Cells* rows) {
    ForEachPiece({static_cast<const char*>(data), length}, '\0', [&](std::string_view text) {
        auto& row = rows->emplace_back(kX4Cells.size());
        ForEachPiece(text, '\n', [&](std::string_view line) { TakeX4Line(line, &row); });
    });
}

constexpr Field kCombinationCells[] = {CellField("combination", 0, kListSense)};

void ListCombinations(const void*, uint32_t, Cells* rows) {
    for (const std::string_view combination : FilterCombinations()) {
        rows->push_back({std::string(combination)});
    }
}

constexpr Field kActiveCells[] = {CellField("pci_bus_location", 0),
                                  CellField("combination", 1, kListSense)};

/// Lines "LOCATION: COMBINATION".
void DecodeActive(const void* data, uint32_t length, Cells* rows) {
    ForEachLine(data, length, [&](std::string_view line) {
        const auto [location, combination] = Halves(line);
        if (combination.empty()) {
            rows->push_back({"", std::string(line)});
        } else {
            rows->push_back({std::string(location), std::string(combination)});
        }
    });
}

constexpr Field kInterfaceCells[] = {CellField("interface_name", 0)};
constexpr Field kLocationCells[] = {CellField("pci_bus_location", 0)};

void DecodeNames(const void* data, uint32_t length, Cells* rows) {
    ForEachLine(data, length, [&](std::string_view line) { rows->push_back({std::string(line)}); });
}

}  // namespace

const Description kX3Rules = {.name = "x3_rule",
                              .shape = Description::kRun,
                              .size = sizeof(_Filter),
                              .fields = kX3RuleFields,
                              .present = offsetof(_Filter, present),
                              .columns = kX3Columns};
const Description kX4Rules = {
    .name = "x4_rule", .shape = Description::kDecoded, .fields = kX4Cells, .decode = DecodeX4Rules};
const Description kMaxFilterRules = {.name = "rule_table",
                                     .shape = Description::kOne,
                                     .single = true,
                                     .size = sizeof(int32_t),
                                     .fields = kRuleTableFields};
const Description kCombinationRows = {.name = "combination",
                                      .shape = Description::kDecoded,
                                      .fields = kCombinationCells,
                                      .decode = ListCombinations};
const Description kActiveCombinations = {.name = "active_combination",
                                         .shape = Description::kDecoded,
                                         .fields = kActiveCells,
                                         .decode = DecodeActive};
const Description kX3Interfaces = {.name = "x3_interface",
                                   .shape = Description::kDecoded,
                                   .fields = kInterfaceCells,
                                   .decode = DecodeNames};
const Description kX4Locations = {.name = "x4_adapter",
                                  .shape = Description::kDecoded,
                                  .fields = kLocationCells,
                                  .decode = DecodeNames};

}  // namespace zwmgmt
