// Regions of pixels and their rectangle lists.
#pragma once

#include "orv/device/OrvObject.h"
#include "orv/device/OrvTypes.h"

/// A list of rectangles that is walked once, from its first to its last. Rectangles are disjoint and come in canonical
/// order: the region cut into the fewest horizontal bands whose set of column intervals does not change, bands from top
/// to bottom, the intervals of a band from left to right. Owned by whoever asked for it; release it with destroy().
class ORV_API OrvRoiList : public OrvObject {
public:
    /// Delivers the next rectangle (in pixels, never empty) and answers 1, or answers 0 at the end.
    virtual int nextRect(long* x, long* y, unsigned* width, unsigned* height) noexcept = 0;

protected:
    OrvRoiList() noexcept = default;
    ~OrvRoiList() override;
};

/// A set of pixels. Every OrvRoi* that a call returns belongs to the caller, unless told otherwise there; an empty
/// result is an empty object, null means failure alone.
class ORV_API OrvRoi : public OrvRoiList {
public:
    /// Adds a rectangle. 2 on failure.
    virtual OrvStatus addRect(long x, long y, unsigned width, unsigned height) noexcept = 0;
    virtual OrvRoi* clone() noexcept = 0;
    virtual OrvRoi* intersect(OrvRoi* other) noexcept = 0;
    /// The region scaled about a point: a rectangle's edges go to x0 + (x - x0) * xscale, the low ones rounded down,
    /// the high ones up; rows alike; the union of the results.
    virtual OrvRoi* scale(float xscale, float yscale, float xorigin, float yorigin) noexcept = 0;
    virtual OrvRoi* translate(long dx, long dy) noexcept = 0;
    /// The region flipped about the centre (x, y) by the rule of the transpose ops; `fliptype` is 0 to 6.
    virtual OrvRoi* transpose(int fliptype, float x, float y) noexcept = 0;
    virtual unsigned getRectCount() noexcept = 0;
    /// The smallest box around the region; 0, 0, 0, 0 for an empty one.
    virtual void getBoundingBox(long* x, long* y, unsigned* width, unsigned* height) noexcept = 0;
    /// A fresh list over this region's rectangles, owned by the caller, or null.
    virtual OrvRoiList* getRectList() noexcept = 0;
    /// Adds the pixels between two corners, both inclusive: columns x1 to x2 of rows y1 to y2.
    virtual void addSpan(long x1, long x2, long y1, long y2) noexcept = 0;

protected:
    OrvRoi() noexcept = default;
    ~OrvRoi() override;
};

/// The rectangles that an op works on: the intersection of the image-space regions of the images given (null where an
/// op has fewer sources), in the space where every image's origin falls on (0, 0). Writes the intersection itself to
/// `touched`, for setPixelsTouchedRoi; both results belong to the caller. Null on failure; `touched` is then left
/// alone.
ORV_API OrvRoiList* OrviGetRoiList(OrvRoi** touched, OrvImage* dst, OrvImage* src1, OrvImage* src2,
                                   OrvImage* src3) noexcept;
