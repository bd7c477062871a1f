// The walk of every affine engine: source rectangles are mapped forward, the destination pixels that they cover are
// found, and each run of them is mapped back to where its samples lie.
#pragma once

#include <algorithm>
#include <type_traits>

#include "memory/frame/Raster.h"
#include "memory/frame/RectCursor.h"
#include "memory/frame/report.h"
#include "memory/geometry/GeomConfig.h"
#include "memory/geometry/GeomUtils.h"

namespace orvi {

/// x' = p[0]*x + p[2]*y + p[4], y' = p[1]*x + p[3]*y + p[5].
struct Matrix {
    float p[6];
};

/// An image of a geometry op. Image coordinates: column c has x = c - ox, with a float origin; addresses take the
/// origin truncated, so that a fraction of an origin moves the bounds alone.
struct Picture {
    Raster raster;
    long width = 0;
    long height = 0;
    float ox = 0;
    float oy = 0;
    OrvRoi* roi = nullptr;

    /// Reads all but the region; false where there is no storage now.
    bool read(OrvImage* image, OrvDataType type) noexcept;

    /// The pixel at a position in image coordinates; for one beside the image, the image's nearest pixel.
    template <class T>
    const T* nearest(long x, long y) const noexcept {
        const long column = std::clamp(x + raster.ox, 0L, width - 1);
        const long row = std::clamp(y + raster.oy, 0L, height - 1);
        return reinterpret_cast<const T*>(raster.data + row * raster.stride + column * raster.pixel);
    }
};

/// Fetches two images, their storage first and then their regions; 2 after a report.
struct PictureFailures {
    Failure source;
    Failure destination;
    Failure region;
};
OrvStatus readPictures(Picture& src, Picture& dst, OrvImage* from, OrvImage* to, OrvDataType type,
                       const PictureFailures& failures, const char* file) noexcept;

/// A run of destination pixels, where its first sample lies, and the way from one sample to the next. All are finite
/// and far inside the range of integers.
struct Run {
    long y;
    long x1;
    long x2;
    float x;
    float y0;
    float dx;
    float dy;
};

class GeomCall {
public:
    Picture src;
    Picture dst;
    /// The bands that both images have.
    unsigned bands = 0;

    /// True for a matrix that maps an area to none: the op then succeeds and writes nothing.
    static bool singular(const Matrix& m) noexcept;

    /// Fetches the images; 2 after a report.
    OrvStatus open(OrvImage* from, OrvImage* to, const Matrix& m, Interpolation interpolation,
                   OrvDataType type) noexcept;

    /// Hands the runs of each pair of rectangles to `sink(const geom::scan* first, const Rect& sourceRect)`. Where
    /// `tracks` is set and an input/output device stands behind the destination, the touched region is kept.
    template <class Sink>
    OrvStatus walk(bool tracks, Sink& sink) noexcept {
        const auto function = [](void* erased, const geom::scan* first, const Rect& rect) {
            (*static_cast<Sink*>(erased))(first, rect);
        };
        return walkRuns(tracks, function, &sink);
    }

    Run start(const geom::scan& pixels) const noexcept;

    /// Reports in the name of this engine.
    OrvStatus report(const Picture& picture, const Failure& failure,
                     std::source_location where = std::source_location::current()) const noexcept {
        return fail(picture.raster.image, failure, file_, where);
    }

private:
    using SinkFunction = void (*)(void* sink, const geom::scan* first, const Rect& rect);
    enum class Outcome { done, listFailed, memoryFailed };

    OrvStatus walkRuns(bool tracks, SinkFunction function, void* sink) noexcept;
    Outcome walkSource(const Rect& rect, OrvRoi* touched, SinkFunction function, void* sink) noexcept;
    geom::rect sampled(const Rect& rect) const noexcept;

    const GeomConfig* config_ = nullptr;
    const char* file_ = nullptr;
    geom::affine forward_;
    geom::affine inverse_;
    geom::rect bounds_{};
};

} // namespace orvi
