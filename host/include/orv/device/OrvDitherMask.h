// A mask of thresholds for ordered dither.
#pragma once

#include "orv/device/OrvObject.h"

/// getNBands() planes of getHeight() rows of getWidth() floats, owned by the mask.
class ORV_API OrvDitherMask : public OrvObject {
public:
    unsigned getWidth() noexcept;
    unsigned getHeight() noexcept;
    unsigned getNBands() noexcept;
    float* getValue() noexcept;

protected:
    OrvDitherMask() noexcept = default;
    ~OrvDitherMask() override;
};
