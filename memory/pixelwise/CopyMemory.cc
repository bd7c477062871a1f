// An image copied to another, also where both are children of one parent and their samples overlap.

#include <cstdint>
#include <cstring>

#include "memory/frame/Extent.h"
#include "memory/frame/Frame.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/gaps.h"
#include "memory/frame/orv_bit_utils.h"
#include "memory/frame/walk.h"

namespace {

using namespace orvi;

/// Copies an image with the host's help.
OrvStatus OrviCopyImage(OrvImage* destination, OrvImage* source, const char* file) noexcept {
    static int values[4] = {-1, -1, -1, -1};
    OrvOp* copy = OrvCreateCachedOp("copy", values, destination, source);
    if (copy == nullptr) return fail(static_cast<OrvSystemState*>(nullptr), {"di-120", 1, 1}, file);
    copy->flush();
    delete copy;
    return ORV_SUCCESS;
}

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
        unsigned x[2];
        unsigned y[2];
        unsigned band;
        source_->getChildOffsets(&x[0], &y[0], &band);
        destination_->getChildOffsets(&x[1], &y[1], &band);
        const bool besides = y[0] == y[1] && x[0] < x[1];
        if (sourceRoi_ != nullptr || destinationRoi_ != nullptr || (besides && type_ == ORV_BIT)) {
            return makeTemporary(file);
        }
        bottomUp_ = y[0] < y[1];
        rightToLeft_ = besides;
        return ORV_SUCCESS;
    }

    void release() noexcept {
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
        if (temporary_ == nullptr || OrviCopyImage(temporary_, source_, file) != ORV_SUCCESS) {
            return fail(state, {"di-TBD", 6, 0}, file);
        }
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

template <class T>
OrvStatus copySamples(OrvOp* op, const FrameFacts& facts) noexcept {
    CopyPlan plan(op, dataTypeOf<T>);
    if (plan.prepare(facts.file) != ORV_SUCCESS) return ORV_FAILURE;
    Frame frame(plan.source(), nullptr, nullptr, plan.destination());
    if (frame.open(facts) != ORV_SUCCESS) return ORV_FAILURE;
    const unsigned bands = commonBands(frame[dst], frame[src1]);
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
    for (std::ptrdiff_t i = 0; i < height; ++i) {
        const std::ptrdiff_t row = bottomUp ? height - 1 - i : i;
        orv_bit_memcpy(s.byte + row * from.stride, d.byte + row * to.stride, rect.width, s.offset, d.offset);
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
