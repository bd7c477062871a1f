// A table of weights with a key position.
#pragma once

#include "orv/device/OrvObject.h"

/// Weights in rows, getHeight() of getWidth() floats, owned by the kernel. The key is the element that lies on the
/// pixel being made; it may lie outside the table.
class ORV_API OrvKernel : public OrvObject {
public:
    unsigned getWidth() noexcept;
    unsigned getHeight() noexcept;
    unsigned getKeyX() noexcept;
    unsigned getKeyY() noexcept;
    float* getValue() noexcept;

protected:
    OrvKernel() noexcept = default;
    ~OrvKernel() override;
};
