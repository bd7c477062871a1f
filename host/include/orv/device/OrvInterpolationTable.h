// Weights of a general interpolation.
#pragma once

#include "orv/device/OrvObject.h"

/// getSubsamples() rows of getKernelSize() weights, one row for each fraction of a pixel.
class ORV_API OrvInterpolationTable : public OrvObject {
public:
    unsigned getKernelSize() noexcept;
    unsigned getSubsamples() noexcept;
    /// A copy of the weights, made with new[]: the caller deletes it with delete[]. Null where no memory could be had.
    float* getData() noexcept;

protected:
    OrvInterpolationTable() noexcept = default;
    ~OrvInterpolationTable() override;
};
