// The rectangles that an op works on.
#pragma once

#include "orv/device/OrvRoi.h"

namespace orvi {

struct Rect {
    long x;
    long y;
    unsigned width;
    unsigned height;
};

/// Owns a rectangle list and walks it.
class RectCursor {
public:
    RectCursor() noexcept = default;
    explicit RectCursor(OrvRoiList* list) noexcept : list_(list) {}
    RectCursor(const RectCursor&) = delete;
    RectCursor& operator=(const RectCursor&) = delete;
    ~RectCursor() { orv_destroy(list_); }

    void reset(OrvRoiList* list) noexcept {
        orv_destroy(list_);
        list_ = list;
    }

    bool next(Rect& rect) noexcept { return list_->nextRect(&rect.x, &rect.y, &rect.width, &rect.height) != 0; }

    /// Lets the list go without releasing it, for the failures that are meant to keep it: the session frees it at its
    /// end.
    void leak() noexcept { list_ = nullptr; }

private:
    OrvRoiList* list_ = nullptr;
};

} // namespace orvi
