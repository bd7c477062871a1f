// The facts in which the members of the affine family differ.
#pragma once

#include "orv/device/OrvTypes.h"

namespace orvi {

enum class Interpolation { nearest, bilinear, bicubic, general };

struct GeomConfig {
    /// How far from the image's edges, and from a source rectangle's low edges, sampling points stay.
    double inset;
    /// By how much a source rectangle is narrower and lower in sampling points than in pixels.
    double cut;
    /// Taken off a sampling position, so that whole numbers are centres of pixels.
    float shift;
    /// The source that reports name, by data type.
    const char* files[3];
};

inline constexpr GeomConfig geomConfigs[] = {
    {0.0, 0.0, 0.0F, {"GeomNN1General.cc", "GeomNN8General.cc", "GeomNN16General.cc"}},
    {0.5, 1.0, 0.5F, {"GeomBL1General.cc", "GeomBL8General.cc", "GeomBL16General.cc"}},
    {1.5, 3.0, 0.5F, {"GeomBC1General.cc", "GeomBC8General.cc", "GeomBC16General.cc"}},
    {0.0, 0.0, 0.0F, {"GeomGL1General.cc", "GeomGL8General.cc", "GeomGL16General.cc"}},
};

constexpr const GeomConfig& geomConfig(Interpolation interpolation) noexcept {
    return geomConfigs[static_cast<int>(interpolation)];
}

} // namespace orvi
