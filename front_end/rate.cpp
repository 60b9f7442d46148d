#include "front_end/rate.h"

#include <algorithm>

namespace zwcli {
namespace {

using std::chrono::microseconds;
using zwmgmt::Description;
using zwmgmt::Field;

bool IsCounter(const Field& field) { return field.sense.meaning == zwmgmt::Meaning::kCounter; }

std::string IdentityOf(const void* record, const Description& what) {
    std::string identity;
    for (const Field& field : what.fields) {
        if (IsCounter(field)) continue;
        identity += field.type == zwmgmt::FieldType::kText
                        ? std::string(TextOf(record, field))
                        : std::to_string(IntegerOf(record, field));
        identity += '\0';
    }
    return identity;
}

}  // namespace

std::optional<uint64_t> PerSecond(uint64_t before, uint64_t after, microseconds between) {
    if (after < before || between.count() <= 0) return std::nullopt;
    constexpr uint64_t kSecond = 1'000'000;
    const auto time = static_cast<uint64_t>(between.count());
    const uint64_t grown = after - before;
    if (grown / time >= UINT64_MAX / kSecond) return std::nullopt;  // no counter is that fast
    return grown / time * kSecond + (grown % time * kSecond + time - 1) / time;
}

bool HasCounters(const Description& what) { return std::ranges::any_of(what.fields, IsCounter); }

uint32_t Rates::Take(zwmgmt::ResultParts& answer, Clock::time_point at) {
    const Description& what = *answer.what;
    const auto between = std::chrono::duration_cast<microseconds>(at - taken);
    decltype(before) now;
    zwmgmt::CounterRates rates;
    std::map<std::string, size_t> seen;
    for (const void* record = answer.records->First(); record != nullptr;
         record = answer.records->Next()) {
        std::string identity = IdentityOf(record, what);
        const size_t place = seen[identity]++;
        const Name name(std::move(identity), place);
        for (const Field& field : what.fields) {
            if (!IsCounter(field)) continue;
            const auto value = static_cast<uint64_t>(IntegerOf(record, field));
            const auto former = before.find({name, &field});
            now[{name, &field}] = value;
            if (former == before.end()) continue;
            const auto rate = PerSecond(former->second, value, between);
            if (rate) rates[{record, &field}] = *rate;
        }
    }
    const bool is_first = taken == Clock::time_point();
    taken = at;
    before = std::move(now);
    if (is_first) return 0;
    answer.records->ShowRates(std::move(rates));
    return static_cast<uint32_t>(between.count() / 1000);
}

}  // namespace zwcli
