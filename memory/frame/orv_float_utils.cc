#include "memory/frame/orv_float_utils.h"

#include "memory/frame/LazyTable.h"
#include "memory/frame/report.h"

namespace {

using namespace orvi;

// One entry for each value, the last a guard for readers that meet the largest short.
constexpr std::size_t shortEntries = 65536;
constexpr std::size_t zeroPlace = 32768;

LazyTable<float> byteTable;
LazyTable<float> shortTable;

void countUp(float* table, std::size_t entries, float first) noexcept {
    for (std::size_t i = 0; i < entries; ++i) table[i] = first + static_cast<float>(i);
}

const float* reported(const float* table, int line) noexcept {
    if (table == nullptr) fail(static_cast<OrvSystemState*>(nullptr), {"di-1", 1, 1, line}, "orv_float_utils.cc");
    return table;
}

} // namespace

const float* orv_float_utils_get_b2f() noexcept {
    return reported(byteTable.get(256, [](float* table) { countUp(table, 256, 0.0F); }), 30);
}

const float* orv_float_utils_get_s2f() noexcept {
    const float* table =
        reported(shortTable.get(shortEntries, [](float* floats) { countUp(floats, shortEntries, -32768.0F); }), 49);
    return table == nullptr ? nullptr : table + zeroPlace;
}
