#include "memory/geometry/bit_interp.h"

#include "memory/frame/orvi_new.h"
#include "memory/geometry/interpolate.h"

namespace {

/// A bit of a pattern as a sample of 0 or 16.
constexpr int sampleOf(unsigned pattern, unsigned bit) noexcept { return ((pattern >> bit) & 1U) != 0 ? 16 : 0; }

/// Fifteenths, so that the last fraction is 1.
constexpr float fifteenths(unsigned u) noexcept { return static_cast<float>(u) / 15.0F; }

} // namespace

int* mk_BLtable() noexcept {
    int* table = orvi::newArray<int>(orvi::BLtableEntries);
    if (table == nullptr) return nullptr;
    for (unsigned index = 0; index < orvi::BLtableEntries; ++index) {
        const float fu = fifteenths(index >> 8);
        const float fv = fifteenths((index >> 4) & 15U);
        const int above = orvi::between(sampleOf(index, 3), sampleOf(index, 2), fu);
        const int below = orvi::between(sampleOf(index, 1), sampleOf(index, 0), fu);
        table[index] = orvi::between(above, below, fv);
    }
    return table;
}

int* mk_BCtable() noexcept {
    int* table = orvi::newArray<int>(orvi::BCtableEntries);
    if (table == nullptr) return nullptr;
    for (unsigned index = 0; index < orvi::BCtableEntries; ++index) {
        const float f = fifteenths(index >> 4);
        // Each operation is rounded here, as it is not for samples: one entry is 12 for that, not 13.
        const float t = (1.0F - f) * f;
        table[index] =
            orvi::cubic(sampleOf(index, 3), sampleOf(index, 2), sampleOf(index, 1), sampleOf(index, 0), f, t);
    }
    return table;
}

namespace orvi {

bool bicubicBit(const int* BLtable, const int* BCtable, unsigned fx, unsigned fy, const BitPatterns& rows) noexcept {
    const unsigned sample = (rows[1] >> 2) & 1U;
    const int line = BLtable[BLindex(fx, fy, sample, (rows[1] >> 1) & 1U, (rows[2] >> 2) & 1U)];
    const auto row = [&](int i) { return BCtable[(fx << 4) | rows[i]]; };
    const int f = static_cast<int>(fy);
    const int near = row(2) + row(0);
    const int far = row(3) + row(1);
    const int outer = near + static_cast<int>((far - near) * f / 15.0);
    const int correction = line - (outer >> 1);
    return line + static_cast<int>(correction * ((15 - f) * f) / 225.0) > bitThreshold;
}

namespace {

/// By pattern of the corners.
constexpr bool loneCorner[16] = {false, true,  true,  false, true,  false, false, true,
                                 true,  false, false, true,  false, true,  true,  false};
/// By pattern, the quadrant opposite the lone corner; 4 where there is none.
constexpr unsigned oppositeQuadrant[16] = {4, 0, 1, 4, 2, 4, 4, 3, 3, 4, 4, 2, 4, 1, 0, 4};

/// Fractions and areas are held exactly, in 65536ths and their squares.
constexpr std::uint64_t whole = 0x10000;
constexpr std::uint64_t halfArea = whole * whole / 2;

} // namespace

bool quadrantBit(unsigned corners, unsigned fx, unsigned fy) noexcept {
    const unsigned quadrant = (fx > whole / 2 ? 1U : 0U) + (fy > whole / 2 ? 2U : 0U);
    const auto bit = [corners](unsigned i) { return ((corners >> i) & 1U) != 0; };
    if (!loneCorner[corners] || oppositeQuadrant[corners] != quadrant) return bit(3 - quadrant);
    switch (quadrant) {
    case 0:
        return bit((whole - fx) * (whole - fy) <= halfArea ? 0 : 3);
    case 1:
        return bit(halfArea < (whole - fy) * fx ? 2 : 0);
    case 2:
        return bit(halfArea < (whole - fx) * fy ? 1 : 0);
    default:
        return bit(std::uint64_t{fx} * fy <= halfArea ? 1 : 0);
    }
}

} // namespace orvi
