#include "memory/quantise/nearest_color_grid.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "memory/frame/numbers.h"
#include "memory/frame/orvi_new.h"
#include "memory/frame/report.h"

namespace orvi {

namespace {

constexpr int axisCells = 8;
constexpr int gridCells = axisCells * axisCells * axisCells;
constexpr float cellWidth = 32.0F;

// Distances are rounded: an entry whose least distance exceeds the best by less than this may still be as near.
constexpr float roundingMargin = 1.000001F;

struct Item {
    std::int32_t index;
    float key; ///< the least squared distance from the cell to the entry
};

struct Cell {
    Item* items; ///< all entries, by their keys; null where the cell was not met yet
};

Cell* grid = nullptr;
OrvVersionNumber gridVersion;

int cellOn(float value) noexcept { return toInt(value / cellWidth, 0, axisCells - 1); }

/// How far a value lies beyond the two faces of a cell.
float beyond(float value, int cell) noexcept {
    const float low = static_cast<float>(cell) * cellWidth;
    return std::max({low - value, value - (low + cellWidth), 0.0F});
}

float squaredDistance(const float* pixel, const std::uint8_t* color) noexcept {
    const float d0 = pixel[0] - static_cast<float>(color[0]);
    const float d1 = pixel[1] - static_cast<float>(color[1]);
    const float d2 = pixel[2] - static_cast<float>(color[2]);
    return d0 * d0 + d1 * d1 + d2 * d2;
}

bool makeGrid(OrvLookup* lookup) noexcept {
    if (grid != nullptr) return true;
    grid = newArray<Cell>(gridCells);
    if (grid == nullptr) {
        fail(lookup, {"di-1", 1, 1, 113}, "nearest_color_grid.cc");
        return false;
    }
    std::fill_n(grid, gridCells, Cell{});
    return true;
}

/// The list of a cell, made where the cell is met first; null without memory.
const Item* itemsOf(const int* at, const Palette<std::uint8_t>& palette) noexcept {
    Cell& cell = grid[(at[0] * axisCells + at[1]) * axisCells + at[2]];
    if (cell.items != nullptr) return cell.items;
    cell.items = newArray<Item>(palette.entries);
    if (cell.items == nullptr) return nullptr;
    for (unsigned entry = 0; entry < palette.entries; ++entry) {
        float key = 0;
        for (int axis = 0; axis < 3; ++axis) {
            const float distance = beyond(palette[entry][axis], at[axis]);
            key += distance * distance;
        }
        cell.items[entry] = {static_cast<std::int32_t>(entry), key};
    }
    std::qsort(cell.items, palette.entries, sizeof(Item), float_cmp_fx);
    return cell.items;
}

} // namespace

void destroy_nc_grid() noexcept {
    if (grid == nullptr) return;
    for (int cell = 0; cell < gridCells; ++cell) orvi_delete(grid[cell].items);
    orvi_delete(grid);
    grid = nullptr;
}

void renew_nc_grid(OrvLookup* lookup) noexcept {
    OrvVersionNumber now;
    lookup->getVersion(&now);
    if (!(gridVersion != now)) return;
    destroy_nc_grid();
    gridVersion = now;
}

Match<std::uint8_t> nc_grid_32to8_3(const float* pixel, OrvLookup* lookup,
                                    const Palette<std::uint8_t>& palette) noexcept {
    if (palette.entries == 0) return {0, nullptr};
    // A value outside the grid falls into the cell at its edge, and all distances to it are as much longer at least.
    float outside = 0;
    int at[3];
    for (int axis = 0; axis < 3; ++axis) {
        at[axis] = cellOn(pixel[axis]);
        const float distance = beyond(pixel[axis], at[axis]);
        outside += distance * distance;
    }
    // Without memory the entries are searched as they come.
    const Item* items = makeGrid(lookup) ? itemsOf(at, palette) : nullptr;

    float best = std::numeric_limits<float>::infinity();
    std::int32_t index = 0;
    for (unsigned i = 0; i < palette.entries; ++i) {
        const std::int32_t entry = items != nullptr ? items[i].index : static_cast<std::int32_t>(i);
        if (items != nullptr && items[i].key + outside > best * roundingMargin) break;
        const float distance = squaredDistance(pixel, palette[static_cast<unsigned>(entry)]);
        if (distance < best || (distance == best && entry < index)) {
            best = distance;
            index = entry;
        }
    }
    return {index, palette[static_cast<unsigned>(index)]};
}

} // namespace orvi
