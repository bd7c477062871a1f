#include "memory/geometry/SubsampleBoxes.h"

namespace orvi {

namespace {

constexpr Failure noSource{"di-9", 1, 1};
constexpr Failure noDestination{"di-10", 1, 1};
constexpr Failure noRegion{"di-6", 1, 1};
constexpr Failure noIntersection{"di-7", 1, 1};
constexpr Failure noList{"di-8", 1, 1};

float number(float parameter) noexcept { return parameter == parameter ? parameter : 0.0F; }

} // namespace

OrvStatus SubsampleCall::open(OrvOp* op, OrvDataType from, OrvDataType to, const char* file) noexcept {
    file_ = file;
    scaleX = number(op->getFloatParam(1));
    scaleY = number(op->getFloatParam(2));
    if (!src.read(op->getSrc1(), from)) return fail(op->getSrc1(), noSource, file);
    if (!dst.read(op->getDst(), to)) return fail(op->getDst(), noDestination, file);
    bands = std::min(src.bands, dst.bands);
    source_ = src.image->getImageSpaceRoi();
    if (source_ == nullptr) return fail(src.image, noRegion, file);
    destination_ = dst.image->getImageSpaceRoi();
    if (destination_ == nullptr) return fail(dst.image, noRegion, file);
    return ORV_SUCCESS;
}

OrvStatus SubsampleCall::list() noexcept {
    OrvRoiList* sources = source_->getRectList();
    if (sources == nullptr) return fail(src.image, noList, file_);
    rects.reset(sources);
    OrvRoiList* targets = destination_->getRectList();
    if (targets == nullptr) return fail(dst.image, noList, file_);
    return copyTargets(targets) ? ORV_SUCCESS : outOfMemory();
}

bool SubsampleCall::copyTargets(OrvRoiList* list) noexcept {
    RectCursor targets(list);
    const unsigned count = destination_->getRectCount();
    for (Array<long>* array : {&targetX_, &targetY_, &targetWidth_, &targetHeight_}) {
        *array = Array<long>(count);
        if (!*array) return false;
    }
    for (Rect rect{}; targetCount_ < count && targets.next(rect); ++targetCount_) {
        targetX_[targetCount_] = rect.x;
        targetY_[targetCount_] = rect.y;
        targetWidth_[targetCount_] = static_cast<long>(rect.width);
        targetHeight_[targetCount_] = static_cast<long>(rect.height);
    }
    return true;
}

OrvStatus SubsampleCall::close() noexcept {
    if (dst.image->getDeviceInputOutput() == nullptr) return ORV_SUCCESS;
    OrvRoi* scaled = source_->scale(scaleX, scaleY, 0, 0);
    if (scaled == nullptr) return fail(src.image, noRegion, file_);
    OrvRoi* touched = scaled->intersect(destination_);
    scaled->destroy();
    if (touched == nullptr) return fail(dst.image, noIntersection, file_);
    dst.image->setPixelsTouchedRoi(touched);
    dst.image->setPixelsTouchedRoi_flag(1);
    return ORV_SUCCESS;
}

} // namespace orvi
