#include "regions/Roi.h"

#include <algorithm>
#include <new>

#include "dispatch/Running.h"
#include "objects/ObjectAccess.h"

namespace orv::host {

bool BoxCursor::next(std::span<const Box> boxes, long* x, long* y, unsigned* width, unsigned* height) noexcept {
    if (position_ >= boxes.size()) return false;
    const Box& box = boxes[position_++];
    *x = box.x1;
    *y = box.y1;
    *width = static_cast<unsigned>(std::int64_t{box.x2} - box.x1);
    *height = static_cast<unsigned>(std::int64_t{box.y2} - box.y1);
    return true;
}

Roi::Roi(Session& session, Region&& region) noexcept : region_(std::move(region)) {
    ObjectAccess::setUp(*this, session, Kind::roi);
}

Roi* Roi::make(Session& session, Region&& region) noexcept {
    return new (std::nothrow) Roi(session, std::move(region));
}

Roi* Roi::copy() const noexcept {
    Region same;
    if (!settle() || !same.assign(region_)) return nullptr;
    return make(*ObjectAccess::session(*this), std::move(same));
}

void Roi::setRegion(Region&& region) noexcept {
    added_.clear();
    region_ = std::move(region);
    renewVersion(*this);
}

bool Roi::settle() const noexcept {
    if (added_.empty()) return true;
    if (!region_.add(added_)) return false;
    added_.clear();
    return true;
}

bool Roi::add(const Box& box) noexcept {
    if (isEmpty(box)) return true;
    renewVersion(*this);
    if (added_.empty() && region_.empty()) {
        region_ = Region(box);
        return true;
    }
    // Settling whenever the additions outnumber the region keeps the whole work near n log n.
    const std::size_t limit = std::max<std::size_t>(1024, region_.boxes().size());
    if (added_.size() >= limit && !settle()) return false;
    try {
        added_.push_back(box);
    } catch (const std::bad_alloc&) {
        return settle() && region_.add({&box, 1});
    }
    return true;
}

template <class Change>
OrvRoi* Roi::changedCopy(Change change) const noexcept {
    Region changed;
    if (!settle() || !changed.assign(region_) || !change(changed)) return nullptr;
    return Running::handOut(make(*ObjectAccess::session(*this), std::move(changed)));
}

int Roi::nextRect(long* x, long* y, unsigned* width, unsigned* height) noexcept {
    return settle() && cursor_.next(region_.boxes(), x, y, width, height);
}

OrvStatus Roi::addRect(long x, long y, unsigned width, unsigned height) noexcept {
    if (Running::faultHits(FaultPoint::addRect)) return ORV_FAILURE;
    return add(boxOf(x, y, width, height)) ? ORV_SUCCESS : ORV_FAILURE;
}

OrvRoi* Roi::clone() noexcept {
    if (Running::faultHits(FaultPoint::clone)) return nullptr;
    return changedCopy([](Region&) { return true; });
}

OrvRoi* Roi::intersect(OrvRoi* other) noexcept {
    if (Running::faultHits(FaultPoint::intersect) || !other) return nullptr;
    const Region* const otherRegion = of(*other).region();
    if (!otherRegion) return nullptr;
    return changedCopy([otherRegion](Region& region) { return region.intersect(*otherRegion); });
}

OrvRoi* Roi::scale(float xscale, float yscale, float xorigin, float yorigin) noexcept {
    if (Running::faultHits(FaultPoint::scale)) return nullptr;
    return changedCopy([=](Region& region) { return region.scale(xscale, yscale, xorigin, yorigin); });
}

OrvRoi* Roi::translate(long dx, long dy) noexcept {
    if (Running::faultHits(FaultPoint::translate)) return nullptr;
    return changedCopy([=](Region& region) { return region.translate(dx, dy); });
}

OrvRoi* Roi::transpose(int fliptype, float x, float y) noexcept {
    if (Running::faultHits(FaultPoint::transpose) || fliptype < 0 || fliptype > 6) return nullptr;
    return changedCopy([=](Region& region) { return region.transpose(fliptype, x, y); });
}

unsigned Roi::getRectCount() noexcept { return settle() ? static_cast<unsigned>(region_.boxes().size()) : 0; }

void Roi::getBoundingBox(long* x, long* y, unsigned* width, unsigned* height) noexcept {
    const Box box = settle() ? region_.bounds() : Box{};
    BoxCursor().next({&box, 1}, x, y, width, height);
}

OrvRoiList* Roi::getRectList() noexcept {
    if (Running::faultHits(FaultPoint::rectList) || !settle()) return nullptr;
    return Running::handOut(RoiList::make(*ObjectAccess::session(*this), region_.boxes()));
}

void Roi::addSpan(long x1, long x2, long y1, long y2) noexcept {
    if (x2 < x1 || y2 < y1) return;
    // The last pixel that a box can hold is one below the end of the range.
    const auto end = [](long last) { return last >= INT32_MAX ? INT32_MAX : saturated(last + 1); };
    add({saturated(x1), saturated(y1), end(x2), end(y2)});
}

RoiList::RoiList(Session& session) noexcept { ObjectAccess::setUp(*this, session, Kind::roiList); }

RoiList* RoiList::make(Session& session, std::span<const Box> boxes) noexcept {
    RoiList* const list = new (std::nothrow) RoiList(session);
    if (!list || boxes.empty()) return list;
    Box* target = &list->only_;
    if (boxes.size() > 1) {
        list->many_.reset(new (std::nothrow) Box[boxes.size()]);
        target = list->many_.get();
    }
    if (!target) {
        list->destroy();
        return nullptr;
    }
    std::ranges::copy(boxes, target);
    list->boxes_ = {target, boxes.size()};
    return list;
}

int RoiList::nextRect(long* x, long* y, unsigned* width, unsigned* height) noexcept {
    return cursor_.next(boxes_, x, y, width, height);
}

Owned<OrvRoi> makeRoi(Session& session, std::span<const Rect> rects) noexcept {
    Owned<OrvRoi> roi(Roi::make(session, Region()));
    for (const Rect& r : rects) {
        if (!roi || !Roi::of(*roi).add(boxOf(r.x, r.y, r.width, r.height))) return nullptr;
    }
    return roi;
}

std::vector<Rect> rectsOf(const OrvRoi* roi) {
    std::vector<Rect> rects;
    const Region* const region = roi ? Roi::of(*roi).region() : nullptr;
    if (!region) return rects;
    BoxCursor cursor;
    Rect rect;
    while (cursor.next(region->boxes(), &rect.x, &rect.y, &rect.width, &rect.height)) rects.push_back(rect);
    return rects;
}

} // namespace orv::host
