#include "memory/quantise/nearest_color_grid.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <limits>

#include "memory/frame/numbers.h"
#include "memory/frame/orvi_new.h"
#include "memory/frame/report.h"

namespace orvi {

namespace nc_grid {
FineCell fineCells[1 << 3 * fineShift];
Block fineBlocks[mostFineBlocks];
} // namespace nc_grid

namespace {

using namespace nc_grid;

constexpr int axisCells = 8;
constexpr int gridCells = axisCells * axisCells * axisCells;
constexpr float cellWidth = 32.0F;

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

// The small cells.

constexpr unsigned fineCellCount = fineAxis * fineAxis * fineAxis;
constexpr unsigned mostEntries = 256;

unsigned fineBlocksUsed = 0;
std::uint32_t fineCellsMade[fineCellCount];
unsigned fineCellsUsed = 0;
FineCell allEntries; ///< every entry, for what no small cell answers

void forgetFineCells() noexcept {
    for (unsigned i = 0; i < fineCellsUsed; ++i) fineCells[fineCellsMade[i]] = {};
    fineCellsUsed = 0;
    fineBlocksUsed = 0;
    allEntries = {};
}

/// Where a small cell begins on each axis; false for those at the ends, which have no bounds.
bool fineCellAt(unsigned place, int* low) noexcept {
    for (int axis = 2; axis >= 0; --axis, place >>= fineShift) {
        const int cell = static_cast<int>(place & ((1U << fineShift) - 1));
        if (cell == 0 || cell == fineAxis - 1) return false;
        low[axis] = (cell - 1) * fineWidth - fineReach;
    }
    return true;
}

/// Fills in the indices of the entries that can be nearest to something in a small cell, ascending; answers their
/// number. The large cell's list ends the search early: nothing in the small cell is nearer to an entry than its key.
unsigned findCandidates(const int* low, const Item* items, const Palette<std::uint8_t>& palette,
                        std::uint8_t* candidates) noexcept {
    // Room for the rounding of distances, and of values to cells.
    const auto widened = [](float limit) { return limit * 1.00001F + 0.1F; };
    float nearest[mostEntries];
    float limit = std::numeric_limits<float>::infinity();
    unsigned met = 0;
    for (; met < palette.entries && items[met].key <= widened(limit); ++met) {
        const std::uint8_t* color = palette[static_cast<unsigned>(items[met].index)];
        float least = 0;
        float greatest = 0;
        for (int axis = 0; axis < 3; ++axis) {
            const float toLow = static_cast<float>(color[axis] - low[axis]);
            const float toHigh = toLow - static_cast<float>(fineWidth);
            const float out = std::max({-toLow, toHigh, 0.0F});
            const float across = std::max(toLow, -toHigh);
            least += out * out;
            greatest += across * across;
        }
        nearest[met] = least;
        limit = std::min(limit, greatest);
    }
    unsigned count = 0;
    for (unsigned i = 0; i < met; ++i) {
        if (nearest[i] <= widened(limit)) candidates[count++] = static_cast<std::uint8_t>(items[i].index);
    }
    std::sort(candidates, candidates + count);
    return count;
}

/// Appends candidates as blocks.
FineCell addBlocks(const std::uint8_t* candidates, unsigned count, const Palette<std::uint8_t>& palette) noexcept {
    const FineCell cell = {fineBlocksUsed, (count + laneCount - 1) / laneCount};
    for (unsigned i = 0; i < cell.blocks * laneCount; ++i) {
        // The last candidate fills a block up: as near as itself, it changes nothing.
        const unsigned entry = candidates[std::min(i, count - 1)];
        Block& block = fineBlocks[cell.firstBlock + i / laneCount];
        for (int axis = 0; axis < 3; ++axis) block.color[axis][i % laneCount] = palette[entry][axis];
        block.index[i % laneCount] = static_cast<std::int32_t>(entry);
    }
    fineBlocksUsed += cell.blocks;
    return cell;
}

/// Makes a small cell where there is room for it.
void makeFineCell(unsigned place, const int* low, const Item* items, const Palette<std::uint8_t>& palette) noexcept {
    if (fineBlocksUsed + 2 * mostEntries / laneCount > mostFineBlocks) return;
    std::uint8_t candidates[mostEntries];
    const unsigned count = findCandidates(low, items, palette, candidates);
    fineCells[place] = addBlocks(candidates, count, palette);
    fineCellsMade[fineCellsUsed++] = place;
}

} // namespace

void destroy_nc_grid() noexcept {
    forgetFineCells();
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

std::int32_t nc_grid::searchAnew(unsigned place, quads::Floats pixel, OrvLookup* lookup,
                                 const Palette<std::uint8_t>& palette) noexcept {
    // The cell at the grid's edge takes the values outside.
    const int at[3] = {cellOn(pixel[0]), cellOn(pixel[1]), cellOn(pixel[2])};
    const Item* items = makeGrid(lookup) ? itemsOf(at, palette) : nullptr;
    // Without memory for the list all entries are searched, as for what lies beyond the small cells.
    int low[3];
    if (items != nullptr && fineCellAt(place, low)) makeFineCell(place, low, items, palette);
    if (allEntries.blocks == 0) {
        std::uint8_t every[mostEntries];
        for (unsigned entry = 0; entry < palette.entries; ++entry) every[entry] = static_cast<std::uint8_t>(entry);
        allEntries = addBlocks(every, palette.entries, palette);
    }
    return searchBlocks(fineCells[place].blocks != 0 ? fineCells[place] : allEntries, pixel);
}

} // namespace orvi
