// Regions, as the host's own code makes and reads them.
#pragma once

#include <span>
#include <vector>

#include "orv/device/OrvRoi.h"
#include "orv/host/Object.h"

namespace orv::host {

class Session;

struct Rect {
    long x = 0;
    long y = 0;
    unsigned width = 0;
    unsigned height = 0;
    bool operator==(const Rect&) const = default;
};

/// The union of the rectangles, which may overlap and may be empty. Null where no memory could be had.
ORV_API Owned<OrvRoi> makeRoi(Session& session, std::span<const Rect> rects = {}) noexcept;

/// The region's rectangles in canonical order (see OrvRoiList); none for null.
ORV_API std::vector<Rect> rectsOf(const OrvRoi* roi);

} // namespace orv::host
