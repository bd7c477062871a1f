// An image copied to another, also where both are children of one parent and their samples overlap.

#include <cstdint>
#include <cstring>
#include <functional>

#include "memory/frame/Extent.h"
#include "memory/frame/Frame.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/bit_blocks.h"
#include "memory/frame/gaps.h"
#include "memory/frame/walk.h"

namespace {

using namespace orvi;

/// Asks the host for the op that copies an image; null after a report.
OrvOp* OrviCopyImage(OrvImage* destination, OrvImage* source, const char* file) noexcept {
    static int values[4] = {-1, -1, -1, -1};
    OrvOp* copy = OrvCreateCachedOp("copy", values, destination, source);
    if (copy == nullptr) fail(static_cast<OrvSystemState*>(nullptr), {"di-120", 1, 1}, file);
    return copy;
}

/// Where a child lies in its parent.
struct ChildPlace {
    unsigned x = 0;
    unsigned y = 0;
    unsigned band = 0;

    explicit ChildPlace(OrvImage* child) noexcept { child->getChildOffsets(&x, &y, &band); }
};

/// How to copy between two images, by what they share.
class CopyPlan {
public:
    CopyPlan(OrvOp* op, OrvDataType type) noexcept : source_(op->getSrc1()), destination_(op->getDst()), type_(type) {}

    /// Looks at the images and makes the temporary where one is needed. A failure releases nothing, here as in all of
    /// the op.
    OrvStatus prepare(const char* file) noexcept {
        OrvImage* const parent = source_->getParent();
        if (parent == nullptr || parent != destination_->getParent()) return ORV_SUCCESS;
        sourceRoi_ = source_->getRoi();
        destinationRoi_ = destination_->getRoi();
        const ChildPlace from(source_);
        const ChildPlace to(destination_);
        const bool besides = from.y == to.y && from.x < to.x;
        if (sourceRoi_ != nullptr || destinationRoi_ != nullptr || (besides && type_ == ORV_BIT)) {
            return makeTemporary(file);
        }
        bottomUp_ = from.y < to.y;
        rightToLeft_ = besides;
        return ORV_SUCCESS;
    }

    /// Whether the temporary can be left empty: the rows of one rectangle are moved where they stand, in an order that
    /// reads each sample before it is written. The temporary is asked for all the same, since its failures are told.
    bool movesInPlace(Frame& frame) const noexcept {
        if (temporary_ == nullptr || frame.touched()->getRectCount() != 1) return false;
        return source_->getBands() == destination_->getBands() &&
               ChildPlace(source_).band == ChildPlace(destination_).band;
    }
    /// The source's samples, found from those of the destination in the parent that they share, in the temporary's
    /// space.
    Raster sourceBeside(const Raster& to, const Raster& temporary) const noexcept {
        const ChildPlace s(source_);
        const ChildPlace d(destination_);
        const auto columns = static_cast<std::ptrdiff_t>(s.x) - static_cast<std::ptrdiff_t>(d.x);
        const auto rows = static_cast<std::ptrdiff_t>(s.y) - static_cast<std::ptrdiff_t>(d.y);
        Raster from = to;
        from.data += rows * to.stride + columns * to.pixel;
        if (type_ == ORV_BIT) {
            const std::ptrdiff_t bit = static_cast<std::ptrdiff_t>(to.offset) + columns;
            from.data += bit >> 3;
            from.offset = static_cast<unsigned>(bit & 7);
        }
        from.ox = temporary.ox;
        from.oy = temporary.oy;
        return from;
    }

    /// Fills the temporary where there is one.
    void fillTemporary() noexcept {
        if (copy_ != nullptr) copy_->flush();
    }

    void release() noexcept {
        delete copy_;
        orv_destroy(temporary_);
        orv_destroy(sourceRoi_);
        orv_destroy(destinationRoi_);
    }

    OrvImage* source() const noexcept { return temporary_ != nullptr ? temporary_ : source_; }
    OrvImage* destination() const noexcept { return destination_; }
    bool bottomUp() const noexcept { return bottomUp_; }
    bool rightToLeft() const noexcept { return rightToLeft_; }

private:
    OrvStatus makeTemporary(const char* file) noexcept {
        OrvSystemState* state = source_->getSystemState();
        if (state != nullptr) {
            temporary_ = state->createImage(source_->getWidth(), source_->getHeight(), destination_->getBands(), type_);
        }
        if (temporary_ != nullptr) copy_ = OrviCopyImage(temporary_, source_, file);
        if (copy_ == nullptr) return fail(state, {"di-TBD", 6, 0}, file);
        temporary_->setRoi(sourceRoi_);
        long x = 0;
        long y = 0;
        source_->getOrigin(&x, &y);
        temporary_->setOrigin(static_cast<float>(x), static_cast<float>(y));
        return ORV_SUCCESS;
    }

    OrvImage* source_;
    OrvImage* destination_;
    OrvDataType type_;
    OrvImage* temporary_ = nullptr;
    OrvOp* copy_ = nullptr; ///< what fills it
    OrvRoi* sourceRoi_ = nullptr;
    OrvRoi* destinationRoi_ = nullptr;
    bool bottomUp_ = false;
    bool rightToLeft_ = false;
};

/// The rows of one image in a rectangle. Bottom up they begin at the image's last row but for the rectangle's height,
/// whatever origin and position: images that share a parent and have no region of their own meet in one rectangle.
struct Rows {
    std::byte* first;
    std::ptrdiff_t stride;

    Rows(const Raster& raster, const Rect& rect, bool bottomUp) noexcept
        : first(bottomUp ? raster.data + static_cast<std::ptrdiff_t>(rect.height - 1) * raster.stride
                         : raster.at<std::byte>(rect.x, rect.y)),
          stride(bottomUp ? -raster.stride : raster.stride) {}
};

/// Copies sample by sample in the order told, since the samples may overlap: `step` is the way from pixel to pixel.
template <class T>
void copyPixels(std::byte* to, std::ptrdiff_t toStep, const std::byte* from, std::ptrdiff_t fromStep, unsigned bands,
                unsigned width) noexcept {
    for (unsigned i = 0; i < width; ++i, to += toStep, from += fromStep) {
        for (std::size_t at = 0; at < bands * sizeof(T); at += sizeof(T)) std::memmove(to + at, from + at, sizeof(T));
    }
}

template <class T>
void copyOverlapping(Frame& frame, const CopyPlan& plan, unsigned bands) noexcept {
    const Raster& to = frame[dst];
    const Raster& from = frame[src1];
    const std::ptrdiff_t pixelBytes = bands * static_cast<std::ptrdiff_t>(sizeof(T));
    const bool dense = to.pixel == pixelBytes && from.pixel == pixelBytes;
    for (Rect rect{}; frame.rects().next(rect);) {
        const Rows toRows(to, rect, plan.bottomUp());
        const Rows fromRows(from, rect, plan.bottomUp());
        for (std::ptrdiff_t row = 0; row < static_cast<std::ptrdiff_t>(rect.height); ++row) {
            std::byte* d = toRows.first + row * toRows.stride;
            const std::byte* s = fromRows.first + row * fromRows.stride;
            const std::ptrdiff_t last = static_cast<std::ptrdiff_t>(rect.width) - 1;
            if (dense) {
                std::memmove(d, s, rect.width * static_cast<std::size_t>(pixelBytes));
            } else if (plan.rightToLeft()) {
                copyPixels<T>(d + last * to.pixel, -to.pixel, s + last * from.pixel, -from.pixel, bands, rect.width);
            } else {
                copyPixels<T>(d, to.pixel, s, from.pixel, bands, rect.width);
            }
        }
    }
}

/// Rows of pixels that do not overlap, of which one image's or both lie apart.
void copyApart(Frame& frame, std::size_t size) noexcept {
    const Raster& to = frame[dst];
    const Raster& from = frame[src1];
    for (Rect rect{}; frame.rects().next(rect);) {
        const auto width = static_cast<std::ptrdiff_t>(rect.width);
        const bool touch = to.stride == to.pixel * width && from.stride == from.pixel * width;
        const long rows = touch ? 1 : static_cast<long>(rect.height);
        const std::size_t pixels = std::size_t{rect.width} * (touch ? rect.height : 1);
        for (long y = rect.y; y < rect.y + rows; ++y) {
            copyAcrossGaps(to.at<std::byte>(rect.x, y), to.pixel, from.at<std::byte>(rect.x, y), from.pixel, size,
                           pixels);
        }
    }
}

template <class T>
void copySeparate(Frame& frame, unsigned bands) noexcept {
    const std::size_t size = bands * sizeof(T);
    const auto dense = static_cast<std::ptrdiff_t>(size);
    if (frame[dst].pixel != dense || frame[src1].pixel != dense) return copyApart(frame, size);
    const auto kernel = [bands](T* d, const T* s, std::size_t pixels) {
        std::memcpy(d, s, pixels * bands * sizeof(T));
    };
    walkRuns<T, T>(frame.rects(), kernel, Operand{&frame[dst], bands}, Operand{&frame[src1], bands});
}

/// Copies the rows of one rectangle, in the order of addresses that reads each sample before it is written.
void moveRows(Frame& frame, const Raster& from, std::size_t pixelBytes) noexcept {
    const Raster& to = frame[dst];
    Rect rect{};
    if (!frame.rects().next(rect)) return;
    std::byte* const d = to.at<std::byte>(rect.x, rect.y);
    const std::byte* const s = from.at<std::byte>(rect.x, rect.y);
    const auto rows = static_cast<std::ptrdiff_t>(rect.height);
    const bool bottomUp = std::less<>()(s, static_cast<const std::byte*>(d));
    for (std::ptrdiff_t i = 0; i < rows; ++i) {
        const std::ptrdiff_t at = (bottomUp ? rows - 1 - i : i) * to.stride;
        std::memmove(d + at, s + at, rect.width * pixelBytes);
    }
}

template <class T>
OrvStatus copySamples(OrvOp* op, const FrameFacts& facts) noexcept {
    CopyPlan plan(op, dataTypeOf<T>);
    if (plan.prepare(facts.file) != ORV_SUCCESS) return ORV_FAILURE;
    Frame frame(plan.source(), nullptr, nullptr, plan.destination());
    if (frame.open(facts) != ORV_SUCCESS) return ORV_FAILURE;
    const unsigned bands = commonBands(frame[dst], frame[src1]);
    const std::size_t pixelBytes = bands * sizeof(T);
    if (plan.movesInPlace(frame) && frame[dst].pixel == static_cast<std::ptrdiff_t>(pixelBytes)) {
        moveRows(frame, plan.sourceBeside(frame[dst], frame[src1]), pixelBytes);
        plan.release();
        return ORV_SUCCESS;
    }
    plan.fillTemporary();
    if (plan.bottomUp() || Extent(frame[dst], sizeof(T)).overlaps(Extent(frame[src1], sizeof(T)))) {
        copyOverlapping<T>(frame, plan, bands);
    } else {
        copySeparate<T>(frame, bands);
    }
    plan.release();
    return ORV_SUCCESS;
}

/// Whether a move of all bytes gives what moves of rows in their order give: only rows that overlap could tell.
bool movesAsOne(const std::uint8_t* to, const std::uint8_t* from, std::size_t size, bool bottomUp) noexcept {
    const auto d = reinterpret_cast<std::uintptr_t>(to);
    const auto s = reinterpret_cast<std::uintptr_t>(from);
    return bottomUp ? d >= s || s - d >= size : d <= s || d - s >= size;
}

void copyPlane(Frame& frame, const CopyPlan& plan, const Rect& rect, unsigned band) noexcept {
    const Raster& to = frame[dst];
    const Raster& from = frame[src1];
    const bool bottomUp = plan.bottomUp();
    // Bottom up the rows are the storage's own, whatever origin and position.
    const BitPosition d = bottomUp ? to.bit(-to.ox, -to.oy, band) : to.bit(rect.x, rect.y, band);
    const BitPosition s = bottomUp ? from.bit(-from.ox, -from.oy, band) : from.bit(rect.x, rect.y, band);
    const auto width = static_cast<std::ptrdiff_t>(rect.width);
    const auto height = static_cast<std::ptrdiff_t>(rect.height);
    const bool touch = d.offset == 0 && s.offset == 0 && to.stride * 8 == width && from.stride * 8 == width;
    const auto size = static_cast<std::size_t>(height * to.stride);
    if (touch && movesAsOne(d.byte, s.byte, size, bottomUp)) {
        std::memmove(d.byte, s.byte, size);
        return;
    }
    BitRows toRows{d, to.stride};
    BitRows fromRows{s, from.stride};
    if (bottomUp) {
        toRows = toRows.upwards(rect.height);
        fromRows = fromRows.upwards(rect.height);
    }
    copyBitRows(toRows, fromRows, rect.height, rect.width);
}

/// Moves the bits of one rectangle where they stand.
void movePlanes(Frame& frame, const Raster& from, unsigned bands) noexcept {
    const Raster& to = frame[dst];
    Rect rect{};
    if (!frame.rects().next(rect)) return;
    for (unsigned band = 0; band < bands; ++band) {
        moveBitRows({to.bit(rect.x, rect.y, band), to.stride}, {from.bit(rect.x, rect.y, band), to.stride}, rect.height,
                    rect.width);
    }
}

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::Copy1(OrvOp* op, int) noexcept {
    static constexpr FrameFacts facts = oneSource<Bit, Bit>("Copy1Memory.cc");
    CopyPlan plan(op, ORV_BIT);
    if (plan.prepare(facts.file) != ORV_SUCCESS) return ORV_FAILURE;
    Frame frame(plan.source(), nullptr, nullptr, plan.destination());
    if (frame.open(facts) != ORV_SUCCESS) return ORV_FAILURE;
    const unsigned bands = commonBands(frame[dst], frame[src1]);
    if (hasBitBlocks && plan.movesInPlace(frame)) {
        movePlanes(frame, plan.sourceBeside(frame[dst], frame[src1]), bands);
        plan.release();
        return ORV_SUCCESS;
    }
    plan.fillTemporary();
    for (Rect rect{}; frame.rects().next(rect);) {
        for (unsigned band = 0; band < bands; ++band) copyPlane(frame, plan, rect, band);
    }
    plan.release();
    return ORV_SUCCESS;
}

OrvStatus OrvDeviceComputeTypeMemory::Copy8(OrvOp* op, int) noexcept {
    static constexpr FrameFacts facts = oneSource<std::uint8_t, std::uint8_t>("Copy8Memory.cc");
    return copySamples<std::uint8_t>(op, facts);
}

OrvStatus OrvDeviceComputeTypeMemory::Copy16(OrvOp* op, int) noexcept {
    static constexpr FrameFacts facts = oneSource<std::int16_t, std::int16_t>("Copy16Memory.cc");
    return copySamples<std::int16_t>(op, facts);
}
