// The region and list objects that devices are given.
#pragma once

#include <memory>
#include <vector>

#include "orv/device/OrvRoi.h"
#include "orv/host/Region.h"
#include "regions/Region.h"

namespace orv::host {

class Image;

/// A walk over boxes.
class BoxCursor {
public:
    bool next(std::span<const Box> boxes, long* x, long* y, unsigned* width, unsigned* height) noexcept;

private:
    std::size_t position_ = 0;
};

class Roi final : public OrvRoi {
public:
    /// Null where no memory could be had. Owned by whoever asks.
    static Roi* make(Session& session, Region&& region) noexcept;

    static Roi& of(OrvRoi& roi) noexcept { return static_cast<Roi&>(roi); }
    static const Roi& of(const OrvRoi& roi) noexcept { return static_cast<const Roi&>(roi); }

    int nextRect(long* x, long* y, unsigned* width, unsigned* height) noexcept override;
    OrvStatus addRect(long x, long y, unsigned width, unsigned height) noexcept override;
    OrvRoi* clone() noexcept override;
    OrvRoi* intersect(OrvRoi* other) noexcept override;
    OrvRoi* scale(float xscale, float yscale, float xorigin, float yorigin) noexcept override;
    OrvRoi* translate(long dx, long dy) noexcept override;
    OrvRoi* transpose(int fliptype, float x, float y) noexcept override;
    unsigned getRectCount() noexcept override;
    void getBoundingBox(long* x, long* y, unsigned* width, unsigned* height) noexcept override;
    OrvRoiList* getRectList() noexcept override;
    void addSpan(long x1, long x2, long y1, long y2) noexcept override;

    /// The region with everything that was added; null where no memory could be had.
    const Region* region() const noexcept { return settle() ? &region_ : nullptr; }
    void setRegion(Region&& region) noexcept;
    bool add(const Box& box) noexcept;
    Roi* copy() const noexcept;

    /// The image that keeps this as its touched region, or null.
    Image* keeper = nullptr;

private:
    Roi(Session& session, Region&& region) noexcept;
    ~Roi() override = default;
    bool settle() const noexcept;
    template <class Change>
    OrvRoi* changedCopy(Change change) const noexcept;

    mutable Region region_;
    /// Boxes that were added and are not yet part of the region: an op that adds its rows one by one would otherwise
    /// rebuild the region for each.
    mutable std::vector<Box> added_;
    BoxCursor cursor_;
};

class RoiList final : public OrvRoiList {
public:
    static RoiList* make(Session& session, std::span<const Box> boxes) noexcept;

    int nextRect(long* x, long* y, unsigned* width, unsigned* height) noexcept override;

private:
    explicit RoiList(Session& session) noexcept;
    ~RoiList() override = default;

    std::span<const Box> boxes_;
    Box only_{}; ///< most regions are one rectangle
    std::unique_ptr<Box[]> many_;
    BoxCursor cursor_;
};

} // namespace orv::host
