// A histogram of one or several bands.
#pragma once

#include <cstdint>

#include "orv/device/OrvObject.h"

/// Counters over a grid of bins, one dimension a band. Each out array holds one value a band.
class ORV_API OrvHistogram : public OrvObject {
public:
    unsigned getNBands() noexcept;
    void getNBins(unsigned* out) noexcept;
    void getLowValue(float* out) noexcept;
    void getHighValue(float* out) noexcept;
    /// The counters, the last band's index moving fastest, owned by the histogram.
    std::uint32_t* getDataPtr() noexcept;

protected:
    OrvHistogram() noexcept = default;
    ~OrvHistogram() override;
};
