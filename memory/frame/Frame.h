// What every op does before its pixels: fetch the images, get the rectangles, tell the destination what will be
// touched.
#pragma once

#include <source_location>
#include <span>

#include "memory/frame/Raster.h"
#include "memory/frame/RectCursor.h"
#include "memory/frame/report.h"
#include "orv/device/OrvOp.h"

namespace orvi {

/// An image of an op by the part it plays.
enum Role : int { src1, src2, src3, dst };

/// One image to fetch: which, as what type, and what its missing storage is reported as, to whose system state.
struct Fetch {
    Role role;
    OrvDataType type;
    Failure failure;
    Role reporter;
};

/// The frame of an op as facts: its source file, the images in the order in which they are fetched, and the report of a
/// rectangle list that could not be had.
struct FrameFacts {
    const char* file;
    std::span<const Fetch> fetches;
    Failure listFailure;
    Role listReporter;
};

/// The images and rectangles of one call.
class Frame {
public:
    /// Takes the images from the op. Nothing is fetched yet.
    explicit Frame(OrvOp* op) noexcept;
    /// Takes the images as given, null for those that the op does not have.
    Frame(OrvImage* source1, OrvImage* source2, OrvImage* source3, OrvImage* destination) noexcept;

    /// Fetches the images, gets the rectangles and sets the touched region; 2 after a report.
    OrvStatus open(const FrameFacts& facts, std::source_location where = std::source_location::current()) noexcept;

    /// The steps of open, for ops that do something between them.
    OrvStatus fetch(const FrameFacts& facts, std::source_location where = std::source_location::current()) noexcept;
    OrvStatus list(const FrameFacts& facts, std::source_location where = std::source_location::current()) noexcept;

    const Raster& operator[](Role role) const noexcept { return rasters_[role]; }
    RectCursor& rects() noexcept { return rects_; }
    /// The region of those rectangles. The destination keeps it.
    OrvRoi* touched() const noexcept { return touched_; }

    /// The image itself, also before it was fetched.
    OrvImage* image(Role role) noexcept;

private:
    OrvOp* op_ = nullptr;
    OrvImage* images_[4] = {};
    Raster rasters_[4];
    RectCursor rects_;
    OrvRoi* touched_ = nullptr;
};

/// Facts shared by most two-image and three-image ops.
template <class Source, class Destination>
inline constexpr Fetch oneSourceFetches[] = {
    {src1, dataTypeOf<Source>, {"di-9", 1, 0}, src1},
    {dst, dataTypeOf<Destination>, {"di-10", 1, 0}, dst},
};
template <class T>
inline constexpr Fetch twoSourceFetches[] = {
    {src1, dataTypeOf<T>, {"di-9", 1, 0}, src1},
    {src2, dataTypeOf<T>, {"di-15", 1, 0}, src2},
    {dst, dataTypeOf<T>, {"di-10", 1, 0}, dst},
};

template <class Source, class Destination>
constexpr FrameFacts oneSource(const char* file) noexcept {
    return {file, oneSourceFetches<Source, Destination>, {"di-12", 0, 0}, src1};
}
template <class T>
constexpr FrameFacts twoSources(const char* file) noexcept {
    return {file, twoSourceFetches<T>, {"di-12", 0, 0}, src1};
}

} // namespace orvi
