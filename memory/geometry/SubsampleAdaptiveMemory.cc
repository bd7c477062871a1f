// Shrinks an image by averaging the box of source pixels that falls on each destination pixel.

#include <algorithm>
#include <cstdint>

#include "memory/frame/Extent.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/gaps.h"
#include "memory/geometry/SubsampleBoxes.h"

namespace {

using namespace orvi;

/// Truncated; negative means give 0 for shorts too.
template <class T>
T mean(double sum, long area) noexcept {
    return static_cast<T>(toInt(static_cast<float>(sum / static_cast<double>(area)), 0, highest<T>));
}

/// The mean of a box in one band, from a sum in single precision after each addition.
template <class T>
T meanOf(const Raster& src, const Box& box, unsigned band) noexcept {
    const std::ptrdiff_t pixel = src.pixelOf<T>();
    float sum = 0;
    for (long y = 0; y < box.rows.count; ++y) {
        const T* sample = src.at<T>(box.columns.first, box.rows.first + y) + band;
        for (long x = 0; x < box.columns.count; ++x, sample += pixel) sum += static_cast<float>(*sample);
    }
    return mean<T>(double{sum}, box.area());
}

template <class T>
void average(const SubsampleCall& call, const Box& box) noexcept {
    T* to = call.dst.at<T>(box.columns.to, box.rows.to);
    for (unsigned band = 0; band < call.bands; ++band) to[band] = meanOf<T>(call.src, box, band);
}

/// The boxes of a rectangle from sums of columns: the rows of a row of boxes are added up once, and differences of
/// running totals give the boxes. While sums stay below 2^24, whole numbers and single precision agree. All samples of
/// a row are added before one is written, so this is for images that share no samples.
template <class T>
class ColumnSums {
public:
    explicit ColumnSums(const SubsampleCall& call) noexcept
        : call_(call),
          bands_(static_cast<long>(call.bands)),
          fits_(!Extent(call.src, sizeof(T)).overlaps(Extent(call.dst, sizeof(T)))) {}

    /// False, with nothing written, where the boxes are too large for it.
    bool run(const Rect& rect) noexcept {
        if (!fits_) return false;
        const long wide = widest(across(rect));
        if (wide * bands_ > mostSamples || wide * widest(down(rect)) > mostArea) return false;
        SpanWalk columns = across(rect);
        Span span{};
        for (bool more = columns.next(span); more;) {
            count_ = 0;
            first_ = span.first;
            long end = first_;
            for (; more && count_ < mostSpans && (span.first + span.count - first_) * bands_ <= mostSamples;
                 more = columns.next(span)) {
                spans_[count_++] = span;
                end = span.first + span.count;
            }
            SpanWalk rows = down(rect);
            for (Span row{}; rows.next(row);) {
                add(row, (end - first_) * bands_);
                write(row);
            }
        }
        return true;
    }

private:
    static constexpr long mostSpans = 512;
    static constexpr long mostSamples = 2048;
    static constexpr long mostArea = sizeof(T) == 1 ? 0x10000 : 0x200;

    SpanWalk across(const Rect& rect) const noexcept {
        return {rect.x, rect.x + static_cast<long>(rect.width), call_.scaleX};
    }
    SpanWalk down(const Rect& rect) const noexcept {
        return {rect.y, rect.y + static_cast<long>(rect.height), call_.scaleY};
    }
    static long widest(SpanWalk walk) noexcept {
        long most = 0;
        for (Span span{}; walk.next(span);) most = std::max(most, span.count);
        return most;
    }

    /// Totals may wrap: only their differences count.
    void add(const Span& rows, long samples) noexcept {
        std::fill_n(sums_, samples, 0U);
        for (long y = rows.first; y < rows.first + rows.count; ++y) {
            T closed[mostSamples];
            const T* from = call_.src.at<T>(first_, y);
            if (call_.src.pixelOf<T>() != bands_) {
                closeGaps(reinterpret_cast<std::byte*>(closed), reinterpret_cast<const std::byte*>(from),
                          call_.src.pixel, call_.bands * sizeof(T), static_cast<std::size_t>(samples / bands_));
                from = closed;
            }
            for (long i = 0; i < samples; ++i) sums_[i] += static_cast<std::uint32_t>(std::int32_t{from[i]});
        }
        for (long band = 0; band < bands_; ++band) {
            std::uint32_t total = 0;
            totals_[band] = 0;
            for (long i = band; i < samples; i += bands_) totals_[i + bands_] = total += sums_[i];
        }
    }

    void write(const Span& rows) const noexcept {
        const long first = spans_[0].to;
        if (spans_[count_ - 1].to - first == count_ - 1) {
            call_.eachTarget(first, rows.to, count_, 1, [&](long x, long, long width, long) {
                for (long k = x - first; k < x - first + width; ++k) write(spans_[k], rows);
            });
            return;
        }
        for (long k = 0; k < count_; ++k) {
            if (call_.writes(spans_[k].to, rows.to)) write(spans_[k], rows);
        }
    }

    void write(const Span& columns, const Span& rows) const noexcept {
        const std::uint32_t* begin = totals_ + (columns.first - first_) * bands_;
        const std::uint32_t* end = begin + columns.count * bands_;
        T* to = call_.dst.at<T>(columns.to, rows.to);
        for (long band = 0; band < bands_; ++band) {
            to[band] = mean<T>(static_cast<std::int32_t>(end[band] - begin[band]), columns.count * rows.count);
        }
    }

    const SubsampleCall& call_;
    long bands_;
    bool fits_;
    long count_ = 0;
    long first_ = 0;
    Span spans_[mostSpans];
    std::uint32_t sums_[mostSamples];
    std::uint32_t totals_[2 * mostSamples];
};

/// More than half of the bits set the destination's.
void majority(const SubsampleCall& call, const Box& box) noexcept {
    for (unsigned band = 0; band < call.bands; ++band) {
        const BitPosition to = call.dst.bit(box.columns.to, box.rows.to, band);
        const unsigned mask = 0x80U >> to.offset;
        const bool set = 2 * setBits(call.src, box, band) > box.area();
        *to.byte = static_cast<std::uint8_t>(set ? *to.byte | mask : *to.byte & ~mask);
    }
}

OrvStatus subsampleBits(OrvOp* op, const char* file) noexcept {
    SubsampleCall call;
    if (call.open(op, ORV_BIT, ORV_BIT, file) != ORV_SUCCESS || call.list() != ORV_SUCCESS) return ORV_FAILURE;
    for (Rect rect{}; call.rects.next(rect);) {
        eachBox(call, rect, [&](const Box& box) { majority(call, box); });
    }
    return call.close();
}

template <class T>
OrvStatus subsampleMeans(OrvOp* op, const char* file) noexcept {
    SubsampleCall call;
    if (call.open(op, dataTypeOf<T>, dataTypeOf<T>, file) != ORV_SUCCESS || call.list() != ORV_SUCCESS) {
        return ORV_FAILURE;
    }
    ColumnSums<T> sums(call);
    for (Rect rect{}; call.rects.next(rect);) {
        if (!sums.run(rect)) eachBox(call, rect, [&](const Box& box) { average<T>(call, box); });
    }
    return call.close();
}

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::SubsampleAdaptive1(OrvOp* op, int) noexcept {
    return subsampleBits(op, "SubsampleAdaptive1Memory.cc");
}

OrvStatus OrvDeviceComputeTypeMemory::SubsampleAdaptive8(OrvOp* op, int) noexcept {
    return subsampleMeans<std::uint8_t>(op, "SubsampleAdaptive8Memory.cc");
}

OrvStatus OrvDeviceComputeTypeMemory::SubsampleAdaptive16(OrvOp* op, int) noexcept {
    return subsampleMeans<std::int16_t>(op, "SubsampleAdaptive16Memory.cc");
}
