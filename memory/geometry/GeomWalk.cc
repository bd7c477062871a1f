#include "memory/geometry/GeomWalk.h"

#include <algorithm>
#include <cmath>

namespace orvi {

bool Picture::read(OrvImage* image, OrvDataType type) noexcept {
    if (!raster.read(image, type)) return false;
    unsigned w = 0;
    unsigned h = 0;
    image->getDimensions(&w, &h, nullptr);
    image->getOrigin(&ox, &oy);
    width = static_cast<long>(w);
    height = static_cast<long>(h);
    return true;
}

OrvStatus readPictures(Picture& src, Picture& dst, OrvImage* from, OrvImage* to, OrvDataType type,
                       const PictureFailures& failures, const char* file) noexcept {
    if (!src.read(from, type)) return fail(from, failures.source, file);
    if (!dst.read(to, type)) return fail(to, failures.destination, file);
    for (Picture* picture : {&src, &dst}) {
        picture->roi = picture->raster.image->getImageSpaceRoi();
        if (picture->roi == nullptr) return fail(picture->raster.image, failures.region, file);
    }
    return ORV_SUCCESS;
}

bool GeomCall::singular(const Matrix& m) noexcept {
    const double det = double{m.p[3]} * m.p[0] - double{m.p[2]} * m.p[1];
    return std::fabs(det) < 0.0001;
}

namespace {

constexpr PictureFailures failures{{"di-9", 1, 1}, {"di-10", 1, 1}, {"di-6", 1, 1}};
constexpr Failure noList{"di-8", 1, 1};
constexpr Failure noTouchedRoi{"di-1", 1, 0};

void closeGap(float& low, float& high) noexcept {
    if (low > high) low = high = (low + high) * 0.5F;
}

geom::rect boundsOf(const Picture& src, double inset) noexcept {
    geom::rect r{static_cast<float>(inset - src.ox), static_cast<float>(inset - src.oy),
                 static_cast<float>(static_cast<double>(src.width) - inset - src.ox),
                 static_cast<float>(static_cast<double>(src.height) - inset - src.oy)};
    closeGap(r.x1, r.x2);
    closeGap(r.y1, r.y2);
    return r;
}

geom::rect edgesOf(const Rect& r) noexcept {
    return {static_cast<float>(r.x), static_cast<float>(r.y), static_cast<float>(r.x + static_cast<long>(r.width)),
            static_cast<float>(r.y + static_cast<long>(r.height))};
}

/// Positions so far out that no image reaches them come nearer, and what is no number becomes 0, so that integers hold
/// them all.
float confined(float v) noexcept {
    constexpr float limit = 1073741824.0F;
    return v == v ? std::clamp(v, -limit, limit) : 0.0F;
}

/// Rounding can carry a run beyond the rectangle that its polygon was clipped to: such pixels are dropped.
void confineRuns(geom::scan* head, const Rect& rect) noexcept {
    const long right = rect.x + static_cast<long>(rect.width) - 1;
    const long bottom = rect.y + static_cast<long>(rect.height) - 1;
    for (geom::scan* before = head; before->next != nullptr;) {
        geom::scan* run = before->next;
        run->x1 = std::max(run->x1, rect.x);
        run->x2 = std::min(run->x2, right);
        if (run->x1 <= run->x2 && run->y >= rect.y && run->y <= bottom) {
            before = run;
            continue;
        }
        before->next = run->next;
        run->next = nullptr;
        geom::destroyScanList(run);
    }
}

/// The runs of a ring inside a rectangle, with a dummy head; null where there are none or `failed` is set.
geom::scan* coveredRuns(const geom::vertex* ring, const Rect& rect, bool& failed) noexcept {
    geom::vertex* copy = geom::copy_vlist(ring, &failed);
    geom::rectclip(&copy, edgesOf(rect), &failed);
    geom::trap* traps = geom::getTrapList(copy, &failed);
    geom::scan* runs = geom::getScanList(traps, &failed);
    geom::destroyTrapList(traps);
    if (runs != nullptr) confineRuns(runs, rect);
    return runs;
}

} // namespace

OrvStatus GeomCall::open(OrvImage* from, OrvImage* to, const Matrix& m, Interpolation interpolation,
                         OrvDataType type) noexcept {
    config_ = &geomConfig(interpolation);
    file_ = config_->files[type];
    if (readPictures(src, dst, from, to, type, failures, file_) != ORV_SUCCESS) return ORV_FAILURE;
    bands = std::min(src.raster.bands, dst.raster.bands);
    forward_ = geom::affine(m.p[0], m.p[2], m.p[1], m.p[3], m.p[4], m.p[5]);
    inverse_ = geom::invert(forward_);
    bounds_ = boundsOf(src, config_->inset);
    return ORV_SUCCESS;
}

geom::rect GeomCall::sampled(const Rect& rect) const noexcept {
    const double x = static_cast<double>(rect.x) + config_->inset;
    const double y = static_cast<double>(rect.y) + config_->inset;
    return {std::max(static_cast<float>(x), bounds_.x1), std::max(static_cast<float>(y), bounds_.y1),
            std::min(static_cast<float>(x + rect.width - config_->cut), bounds_.x2),
            std::min(static_cast<float>(y + rect.height - config_->cut), bounds_.y2)};
}

OrvStatus GeomCall::walkRuns(bool tracks, SinkFunction function, void* sink) noexcept {
    OrvRoiList* list = src.roi->getRectList();
    if (list == nullptr) return report(src, noList);
    RectCursor sources(list);
    OrvRoi* touched = nullptr;
    if (tracks && dst.raster.image->getDeviceInputOutput() != nullptr) {
        OrvSystemState* state = src.raster.image->getSystemState();
        if (state != nullptr) touched = state->createRoi();
        if (touched == nullptr) {
            sources.leak();
            return report(src, noTouchedRoi);
        }
    }
    for (Rect rect{}; sources.next(rect);) {
        switch (walkSource(rect, touched, function, sink)) {
        case Outcome::done:
            break;
        case Outcome::listFailed: // keeps the source list and the touched region, as intended
            sources.leak();
            return report(dst, noList);
        case Outcome::memoryFailed:
            orv_destroy(touched);
            return report(dst, noMemory);
        }
    }
    if (touched != nullptr) {
        dst.raster.image->setPixelsTouchedRoi(touched);
        dst.raster.image->setPixelsTouchedRoi_flag(1);
    }
    return ORV_SUCCESS;
}

GeomCall::Outcome GeomCall::walkSource(const Rect& rect, OrvRoi* touched, SinkFunction function, void* sink) noexcept {
    geom::vertex* ring = geom::getRect(sampled(rect));
    if (ring == nullptr) return Outcome::memoryFailed;
    geom::map_vlist(ring, forward_);
    OrvRoiList* list = dst.roi->getRectList();
    bool failed = false;
    if (list != nullptr) {
        RectCursor targets(list);
        for (Rect target{}; !failed && targets.next(target);) {
            geom::scan* runs = coveredRuns(ring, target, failed);
            if (runs == nullptr) continue;
            if (touched != nullptr) {
                for (const geom::scan* run = runs->next; run != nullptr; run = run->next) {
                    touched->addSpan(run->x1, run->x2, run->y, run->y);
                }
            }
            function(sink, runs->next, rect);
            geom::destroyScanList(runs);
        }
    }
    geom::destroy_vlist(ring);
    if (list == nullptr) return Outcome::listFailed;
    return failed ? Outcome::memoryFailed : Outcome::done;
}

Run GeomCall::start(const geom::scan& pixels) const noexcept {
    const auto centre = [](long i) { return static_cast<float>(static_cast<double>(i) + 0.5); };
    const float len = centre(pixels.x2) - centre(pixels.x1);
    geom::vertex a{centre(pixels.x1), centre(pixels.y), 0, nullptr};
    geom::vertex b{centre(pixels.x2), centre(pixels.y), 0, nullptr};
    for (geom::vertex* v : {&a, &b}) {
        geom::affmap(v, inverse_);
        v->x -= config_->shift;
        v->y -= config_->shift;
    }
    // A run of one pixel takes no step.
    const bool steps = pixels.x1 != pixels.x2;
    return {pixels.y,
            pixels.x1,
            pixels.x2,
            confined(a.x),
            confined(a.y),
            steps ? confined((b.x - a.x) / len) : 0.0F,
            steps ? confined((b.y - a.y) / len) : 0.0F};
}

} // namespace orvi
