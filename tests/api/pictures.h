// Pictures held against each other.
#pragma once

#include "orv/orv.h"

namespace orv {

/// Whether two pictures have one shape and the same samples.
inline bool same(const Image& a, const Image& b) {
    if (a.width() != b.width() || a.height() != b.height() || a.bands() != b.bands() || a.type() != b.type())
        return false;
    for (unsigned y = 0; y < a.height(); ++y) {
        for (unsigned x = 0; x < a.width(); ++x) {
            for (unsigned band = 0; band < a.bands(); ++band) {
                if (a.sample(x, y, band) != b.sample(x, y, band)) return false;
            }
        }
    }
    return true;
}

} // namespace orv
