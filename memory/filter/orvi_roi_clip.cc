#include "memory/filter/orvi_roi_clip.h"

#include <algorithm>

#include "memory/frame/report.h"

OrvRoi* orvi_roi_clip(OrvRoi* roi, long x1, long y1, long x2, long y2) noexcept {
    static constexpr char file[] = "orvi_roi_clip.cc";
    // An inverted rectangle is the one between the same two lines, not an empty one.
    if (x1 > x2) std::swap(x1, x2);
    if (y1 > y2) std::swap(y1, y2);
    OrvSystemState* state = roi->getSystemState();
    OrvRoi* box = state != nullptr ? state->createRoi() : nullptr;
    if (box == nullptr) {
        orvi::fail(state, {"di-145", 1, 1}, file);
        return nullptr;
    }
    box->addRect(x1, y1, static_cast<unsigned>(x2 - x1 + 1), static_cast<unsigned>(y2 - y1 + 1));
    OrvRoi* clipped = box->intersect(roi);
    if (clipped == nullptr) orvi::fail(state, {"di-7", 1, 1}, file);
    box->destroy();
    return clipped;
}
