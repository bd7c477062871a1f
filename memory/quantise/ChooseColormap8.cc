// The choice of a colormap for a picture of three bands: colours are counted in a histogram of 32 by 32 by 32 cells,
// and the box around all of them is cut again and again where that lowers the variance most.
//
// X. Wu, "Efficient statistical computations for optimal color quantization", Graphics Gems II, 1991.

#include <algorithm>
#include <cstdint>

#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/RectCursor.h"
#include "memory/frame/report.h"
#include "orv/device/OrvImage.h"
#include "orv/device/OrvLookup.h"
#include "orv/device/OrvSystemState.h"

namespace {

using namespace orvi;

constexpr const char* file = "ChooseColormap8.cc";

constexpr int side = 33;
constexpr int plane = side * side;
constexpr int cellCount = plane * side;

/// Sums of the samples of a large picture do not fit 32 bits.
using Moment = std::int64_t;

// The arrays live on from call to call; of their contents the cells at an index of 0 do, which are 0. After M3d a cell
// holds the sum over the box from the origin to it.
Moment* wtp = nullptr; // pixels
Moment* mrp = nullptr; // sums of band 0
Moment* mgp = nullptr; // of band 1
Moment* mbp = nullptr; // of band 2
float* m2p = nullptr;  // sums of the squares of all bands

/// Lower bounds are exclusive, upper ones inclusive; r, g, b are bands 0, 1, 2.
struct box {
    std::int32_t r0, r1, g0, g1, b0, b1, vol;
};

enum Direction { blue, green, red };

constexpr int lineAt(int r, int g) noexcept { return r * side + g; }
constexpr int cellAt(int r, int g, int b) noexcept { return lineAt(r, g) * side + b; }

/// A cell of the histogram while it is filled: all sums in one place. The squares are summed in single precision, pixel
/// by pixel.
struct alignas(32) Bin {
    std::uint32_t weight;
    float squares;
    Moment r, g, b;
};
Bin bins[cellCount]; // 0 between calls
bool counted[plane]; // lines with pixels

void Hist3d(const std::uint8_t* data, unsigned height, unsigned width, std::ptrdiff_t scanline_stride,
            std::ptrdiff_t pixel_stride) noexcept {
    int squares[256];
    for (int i = 0; i < 256; ++i) squares[i] = i * i;
    for (unsigned row = 0; row < height; ++row, data += scanline_stride) {
        const std::uint8_t* pixel = data;
        for (unsigned column = 0; column < width; ++column, pixel += pixel_stride) {
            const int r = pixel[0];
            const int g = pixel[1];
            const int b = pixel[2];
            const int line = lineAt((r >> 3) + 1, (g >> 3) + 1);
            counted[line] = true;
            Bin& bin = bins[line * side + (b >> 3) + 1];
            ++bin.weight;
            bin.squares += static_cast<float>(squares[r] + squares[g] + squares[b]);
            bin.r += r;
            bin.g += g;
            bin.b += b;
        }
    }
}

/// The sums of a plane's lines up to one of them, from the line's beginning to each cell.
struct Area {
    Moment w[side] = {};
    Moment r[side] = {};
    Moment g[side] = {};
    Moment b[side] = {};
    float squares[side] = {};

    /// Takes the counts of a line out of its bins.
    void add(Bin* line) noexcept {
        Moment weight = 0;
        Bin sum{};
        for (int i = 1; i < side; ++i) {
            weight += line[i].weight;
            sum.squares += line[i].squares;
            sum.r += line[i].r;
            sum.g += line[i].g;
            sum.b += line[i].b;
            w[i] += weight;
            squares[i] += sum.squares;
            r[i] += sum.r;
            g[i] += sum.g;
            b[i] += sum.b;
        }
        std::fill_n(line, side, Bin{});
    }
};

/// The cells of a line: what those of the plane before hold, and an area's sums.
template <class T>
void cumulate(T* moment, int line, const T (&area)[side]) noexcept {
    T* const cells = moment + line * side;
    const T* const before = cells - plane;
    for (int i = 1; i < side; ++i) cells[i] = before[i] + area[i];
}

void M3d() noexcept {
    for (int r = 1; r < side; ++r) {
        Area area;
        for (int g = 1; g < side; ++g) {
            const int line = lineAt(r, g);
            if (counted[line]) area.add(bins + line * side);
            counted[line] = false;
            cumulate(wtp, line, area.w);
            cumulate(mrp, line, area.r);
            cumulate(mgp, line, area.g);
            cumulate(mbp, line, area.b);
            cumulate(m2p, line, area.squares);
        }
    }
}

/// The sum over a box by its eight corners.
template <class T>
T Vol(const box* cube, const T* m) noexcept {
    return m[cellAt(cube->r1, cube->g1, cube->b1)] - m[cellAt(cube->r1, cube->g1, cube->b0)] -
           m[cellAt(cube->r1, cube->g0, cube->b1)] + m[cellAt(cube->r1, cube->g0, cube->b0)] -
           m[cellAt(cube->r0, cube->g1, cube->b1)] + m[cellAt(cube->r0, cube->g1, cube->b0)] +
           m[cellAt(cube->r0, cube->g0, cube->b1)] - m[cellAt(cube->r0, cube->g0, cube->b0)];
}

/// The part of that sum which a cut across a direction leaves alone: the lower face.
Moment Bottom(const box* cube, Direction direction, const Moment* m) noexcept {
    switch (direction) {
    case red:
        return -m[cellAt(cube->r0, cube->g1, cube->b1)] + m[cellAt(cube->r0, cube->g1, cube->b0)] +
               m[cellAt(cube->r0, cube->g0, cube->b1)] - m[cellAt(cube->r0, cube->g0, cube->b0)];
    case green:
        return -m[cellAt(cube->r1, cube->g0, cube->b1)] + m[cellAt(cube->r1, cube->g0, cube->b0)] +
               m[cellAt(cube->r0, cube->g0, cube->b1)] - m[cellAt(cube->r0, cube->g0, cube->b0)];
    default:
        return -m[cellAt(cube->r1, cube->g1, cube->b0)] + m[cellAt(cube->r1, cube->g0, cube->b0)] +
               m[cellAt(cube->r0, cube->g1, cube->b0)] - m[cellAt(cube->r0, cube->g0, cube->b0)];
    }
}

/// The rest of it, for a plane at a position.
Moment Top(const box* cube, Direction direction, int position, const Moment* m) noexcept {
    switch (direction) {
    case red:
        return m[cellAt(position, cube->g1, cube->b1)] - m[cellAt(position, cube->g1, cube->b0)] -
               m[cellAt(position, cube->g0, cube->b1)] + m[cellAt(position, cube->g0, cube->b0)];
    case green:
        return m[cellAt(cube->r1, position, cube->b1)] - m[cellAt(cube->r1, position, cube->b0)] -
               m[cellAt(cube->r0, position, cube->b1)] + m[cellAt(cube->r0, position, cube->b0)];
    default:
        return m[cellAt(cube->r1, cube->g1, position)] - m[cellAt(cube->r1, cube->g0, position)] -
               m[cellAt(cube->r0, cube->g1, position)] + m[cellAt(cube->r0, cube->g0, position)];
    }
}

/// The squares of three sums over a weight, in single precision.
float share(Moment r, Moment g, Moment b, Moment weight) noexcept {
    const auto fr = static_cast<float>(r);
    const auto fg = static_cast<float>(g);
    const auto fb = static_cast<float>(b);
    return (fr * fr + fg * fg + fb * fb) / static_cast<float>(weight);
}

/// The weighted variance of a box.
float Var(const box* cube) noexcept {
    return Vol(cube, m2p) - share(Vol(cube, mrp), Vol(cube, mgp), Vol(cube, mbp), Vol(cube, wtp));
}

/// The best value of a cut across a direction, and its place; -1 where no cut leaves pixels on both sides.
float Maximize(const box* cube, Direction direction, int first, int last, int* cut, Moment whole_r, Moment whole_g,
               Moment whole_b, Moment whole_w) noexcept {
    const Moment base_r = Bottom(cube, direction, mrp);
    const Moment base_g = Bottom(cube, direction, mgp);
    const Moment base_b = Bottom(cube, direction, mbp);
    const Moment base_w = Bottom(cube, direction, wtp);
    float best = 0.0F;
    *cut = -1;
    for (int i = first; i < last; ++i) {
        const Moment half_w = base_w + Top(cube, direction, i, wtp);
        if (half_w == 0 || half_w == whole_w) continue;
        const Moment half_r = base_r + Top(cube, direction, i, mrp);
        const Moment half_g = base_g + Top(cube, direction, i, mgp);
        const Moment half_b = base_b + Top(cube, direction, i, mbp);
        const float value = share(half_r, half_g, half_b, half_w) +
                            share(whole_r - half_r, whole_g - half_g, whole_b - half_b, whole_w - half_w);
        if (value > best) {
            best = value;
            *cut = i;
        }
    }
    return best;
}

int volume(const box& cube) noexcept { return (cube.r1 - cube.r0) * (cube.g1 - cube.g0) * (cube.b1 - cube.b0); }

/// Cuts a box in two, the upper part going to set2; 0 where it cannot be cut.
int Cut(box* set1, box* set2) noexcept {
    const Moment whole_r = Vol(set1, mrp);
    const Moment whole_g = Vol(set1, mgp);
    const Moment whole_b = Vol(set1, mbp);
    const Moment whole_w = Vol(set1, wtp);
    int cutr;
    int cutg;
    int cutb;
    const float maxr = Maximize(set1, red, set1->r0 + 1, set1->r1, &cutr, whole_r, whole_g, whole_b, whole_w);
    const float maxg = Maximize(set1, green, set1->g0 + 1, set1->g1, &cutg, whole_r, whole_g, whole_b, whole_w);
    const float maxb = Maximize(set1, blue, set1->b0 + 1, set1->b1, &cutb, whole_r, whole_g, whole_b, whole_w);

    if (maxr >= maxg && maxr >= maxb && cutr < 0) return 0;
    *set2 = *set1;
    if (maxr >= maxg && maxr >= maxb) {
        set1->r1 = set2->r0 = cutr;
    } else if (maxg >= maxr && maxg >= maxb) {
        set1->g1 = set2->g0 = cutg;
    } else {
        set1->b1 = set2->b0 = cutb;
    }
    set1->vol = volume(*set1);
    set2->vol = volume(*set2);
    return 1;
}

void reportNoMemory(int line = 0) noexcept { fail(static_cast<OrvSystemState*>(nullptr), {"di-1", 1, 1, line}, file); }

/// Cuts until there are as many boxes as colours, or none worth a cut; answers the number of boxes.
unsigned cutBoxes(box* cube, float* variance, unsigned colours) noexcept {
    cube[0] = {0, side - 1, 0, side - 1, 0, side - 1, 0};
    variance[0] = 0.0F;
    unsigned next = 0;
    for (unsigned i = 1; i < colours; ++i) {
        if (Cut(&cube[next], &cube[i]) != 0) {
            variance[next] = cube[next].vol > 1 ? Var(&cube[next]) : 0.0F;
            variance[i] = cube[i].vol > 1 ? Var(&cube[i]) : 0.0F;
        } else {
            variance[next] = 0.0F;
            --i;
        }
        next = static_cast<unsigned>(std::max_element(variance, variance + i + 1) - variance);
        if (variance[next] <= 0.0F) return i + 1;
    }
    return colours;
}

/// Writes an entry for each box; where the cutting ends early, or a box is empty, entries stay as they are.
void GenerateColormap8(std::uint8_t* colormap, unsigned colours) noexcept {
    M3d();
    const Array<box> cube(colours);
    const Array<float> variance(colours);
    if (!cube || !variance) return reportNoMemory();
    const unsigned count = cutBoxes(cube.get(), variance.get(), colours);
    const Array<std::uint8_t> tag(cellCount); // for the boxes' numbers, which nothing asks for
    if (!tag) return reportNoMemory(634);
    for (unsigned k = 0; k < count; ++k) {
        const Moment weight = Vol(&cube[k], wtp);
        if (weight == 0) continue;
        std::uint8_t* entry = colormap + std::size_t{k} * 3;
        entry[0] = static_cast<std::uint8_t>(Vol(&cube[k], mrp) / weight);
        entry[1] = static_cast<std::uint8_t>(Vol(&cube[k], mgp) / weight);
        entry[2] = static_cast<std::uint8_t>(Vol(&cube[k], mbp) / weight);
    }
}

template <class T>
void drop(T*& array) noexcept {
    orvi_delete(array);
    array = nullptr;
}

/// Makes the histogram's arrays on first use; false, with none of them, where memory lacks.
bool makeArrays() noexcept {
    if (m2p != nullptr) return true;
    m2p = newArray<float>(cellCount);
    wtp = newArray<Moment>(cellCount);
    mgp = newArray<Moment>(cellCount);
    mbp = newArray<Moment>(cellCount);
    mrp = newArray<Moment>(cellCount);
    if (m2p != nullptr && wtp != nullptr && mgp != nullptr && mbp != nullptr && mrp != nullptr) {
        std::fill_n(m2p, cellCount, 0.0F);
        for (Moment* moments : {wtp, mrp, mgp, mbp}) std::fill_n(moments, cellCount, Moment{0});
        return true;
    }
    drop(m2p);
    drop(wtp);
    drop(mgp);
    drop(mbp);
    drop(mrp);
    return false;
}

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::ChooseColormap8(OrvOp* op, int) noexcept {
    OrvImage* source = op->getSrc1();
    constexpr unsigned bands = 3;
    if (source->getBands() != bands) return fail(source, {"di-167", 1, 1, 110}, file);
    const OrvMemoryStorage* storage = source->getMemoryStorage();
    if (storage == nullptr) return fail(source, {"di-10", 1, 1, 117}, file);

    auto** result = static_cast<OrvLookup**>(op->getPtrParam(1));
    const long wanted = op->getLongParam(2);
    constexpr long most = 0x7fffffff;
    Array<std::uint8_t> colormap;
    if (wanted >= 1 && wanted <= most) colormap = Array<std::uint8_t>(static_cast<std::size_t>(wanted) * bands);
    if (!colormap) return fail(source, {"di-1", 1, 1, 133}, file);
    const auto colours = static_cast<unsigned>(wanted);
    // The lookup counts its entries in 16 bits. Those that no box fills are black.
    const unsigned entries = colours & 0xffff;
    std::fill_n(colormap.get(), std::size_t{std::min(colours, 0xffffU)} * bands, std::uint8_t{0});

    OrvRoi* region = source->getImageSpaceRoi();
    if (region == nullptr) return fail(source, {"di-6", 1, 1, 144}, file);
    OrvRoiList* list = region->getRectList();
    if (list == nullptr) return fail(source, {"di-8", 1, 1, 151}, file);
    RectCursor rects(list);
    if (!makeArrays()) return fail(source, noMemory, file);
    // Every rectangle is counted from the image's first pixel: its size alone matters, as intended.
    for (Rect rect{}; rects.next(rect);) {
        Hist3d(storage->byte.data, rect.height, rect.width, storage->byte.scanline_stride, storage->byte.pixel_stride);
    }
    GenerateColormap8(colormap.get(), colours);

    OrvSystemState* state = source->getSystemState();
    if (result == nullptr) return ORV_SUCCESS;
    *result = nullptr;
    if (state != nullptr) *result = state->createLookup(ORV_BYTE, ORV_BYTE, bands, entries, 0, colormap.get());
    return ORV_SUCCESS;
}
