#include "policies/numbers.h"

#include <algorithm>
#include <bit>
#include <iterator>
#include <utility>

#include "policies/tree.h"

namespace zwmgmt::policy {

Numbers Union(const Numbers& one, const Numbers& other) {
    Numbers spans;
    spans.reserve(one.size() + other.size());
    std::ranges::merge(one, other, std::back_inserter(spans), {}, &Span::low, &Span::low);
    size_t last = 0;
    for (size_t i = 1; i < spans.size(); ++i) {
        if (uint64_t{spans[last].high} + 1 >= spans[i].low) {
            spans[last].high = std::max(spans[last].high, spans[i].high);
        } else {
            spans[++last] = spans[i];
        }
    }
    if (!spans.empty()) spans.resize(last + 1);
    return spans;
}

Numbers Complement(const Numbers& numbers, int bits) {
    Numbers others;
    uint64_t next = 0;
    for (const Span& span : numbers) {
        if (span.low > next) others.push_back({static_cast<uint32_t>(next), span.low - 1});
        next = uint64_t{span.high} + 1;
    }
    const uint32_t highest = Ones(bits);
    if (next <= highest) others.push_back({static_cast<uint32_t>(next), highest});
    return others;
}

bool AreTernary(const Numbers& numbers, int bits, uint32_t* value, uint32_t* mask) {
    if (numbers.empty()) return false;
    const uint32_t first = numbers[0].low;
    uint32_t differing = 0;
    uint64_t count = 0;
    for (const Span& span : numbers) {
        differing |=
            (span.low ^ first) | Ones(static_cast<int>(std::bit_width(span.low ^ span.high)));
        count += uint64_t{span.high} - span.low + 1;
    }
    *mask = Ones(bits) & ~differing;
    *value = first & *mask;
    return count == uint64_t{1} << std::popcount(differing);
}

bool TernaryNumbers(uint32_t value, uint32_t mask, int bits, Numbers* numbers) {
    const uint32_t tail = Ones(std::countr_zero(mask));
    const uint32_t free = Ones(bits) & ~mask & ~tail;
    numbers->clear();
    if (std::popcount(free) > 4) return false;
    uint32_t others = 0;
    do {
        numbers->push_back({value | others, value | others | tail});
        others = (others - free) & free;
    } while (others != 0);
    return true;
}

namespace {

/// The prefixes that a set's bounds part, as a tree. A prefix is decided by a row of its own or by
/// what is left of it by those of its halves, either way after theirs: so the fewest rows of a
/// prefix follow from those of its halves, for both outcomes of what lies around it.
class Prefixes {
  public:
    Prefixes(const Numbers& numbers, int all_bits) : spans(numbers), bits(all_bits) {
        root = Add(0, bits, 0);
    }

    std::vector<Row> List(bool rest) {
        rows.reserve(static_cast<size_t>(At(root).fewest[rest]));
        Append(root, 0, bits, rest);
        return std::move(rows);
    }

  private:
    struct Prefix {
        int fewest[2];  // rows, where what is around is not in the set, and where it is
        int halves[2];  // of one that is parted
        bool is_parted;
    };

    const Prefix& At(int position) const { return prefixes[static_cast<size_t>(position)]; }

    /// Of the numbers from `low` on with so many free bits; spans before `span` end before it.
    int Add(uint32_t low, int free_bits, size_t span) {
        const uint32_t high = low | Ones(free_bits);
        while (span < spans.size() && spans[span].high < low) ++span;
        const bool misses = span == spans.size() || spans[span].low > high;
        if (misses || (spans[span].low <= low && spans[span].high >= high)) {
            prefixes.push_back({{misses ? 0 : 1, misses ? 1 : 0}, {}, false});
        } else {
            const int lower = Add(low, free_bits - 1, span);
            const int upper = Add(low + Ones(free_bits - 1) + 1, free_bits - 1, span);
            const int out = At(lower).fewest[0] + At(upper).fewest[0];
            const int in = At(lower).fewest[1] + At(upper).fewest[1];
            prefixes.push_back(
                {{std::min(out, in + 1), std::min(in, out + 1)}, {lower, upper}, true});
        }
        return static_cast<int>(prefixes.size() - 1);
    }

    void Append(int position, uint32_t low, int free_bits, bool around) {
        const Prefix& prefix = At(position);
        if (prefix.fewest[around] == 0) return;
        const bool own_row = prefix.fewest[around] > prefix.fewest[!around];
        if (prefix.is_parted) {
            const bool within = around != own_row;
            Append(prefix.halves[0], low, free_bits - 1, within);
            Append(prefix.halves[1], low + Ones(free_bits - 1) + 1, free_bits - 1, within);
        }
        if (own_row) rows.push_back({low, Ones(bits) & ~Ones(free_bits), !around});
    }

    const Numbers& spans;
    int bits;
    int root;
    std::vector<Prefix> prefixes;
    std::vector<Row> rows;
};

}  // namespace

std::vector<Row> ShortestList(const Numbers& numbers, int bits, bool rest) {
    return Prefixes(numbers, bits).List(rest);
}

namespace {

/// Makes one row of two that differ in one bit; false when there are none.
bool MergeTwo(std::vector<Row>* rows) {
    for (Row& row : *rows) {
        for (Row& other : *rows) {
            const uint32_t differing = row.value ^ other.value;
            if (row.mask != other.mask || !std::has_single_bit(differing)) continue;
            row.mask &= ~differing;
            row.value &= row.mask;
            rows->erase(rows->begin() + (&other - rows->data()));
            return true;
        }
    }
    return false;
}

}  // namespace

std::vector<Row> TernaryList(const Numbers& numbers, int bits, bool rest) {
    constexpr size_t kMostRows = 32;
    std::vector<Row> rows;
    for (const Span& span : rest ? Complement(numbers, bits) : numbers) {
        for (uint64_t at = span.low; at <= span.high;) {
            const auto low = static_cast<uint32_t>(at);
            int free_bits = low == 0 ? bits : std::countr_zero(low);
            while (Ones(free_bits) > span.high - low) --free_bits;
            if (rows.size() == kMostRows) return {};
            rows.push_back({low, Ones(bits) & ~Ones(free_bits), !rest});
            at += uint64_t{Ones(free_bits)} + 1;
        }
    }
    while (MergeTwo(&rows)) {
    }
    return rows;
}

}  // namespace zwmgmt::policy
