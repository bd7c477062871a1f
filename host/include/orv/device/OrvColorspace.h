// A named colour space.
#pragma once

#include <cstdint>

#include "orv/device/OrvObject.h"

/// One of the ten spaces: 1 rgblinear, 2 rgb709, 3 photoycc, 4 ycc601, 5 ycc709, 6 ylinear, 7 y601, 8 y709, 9 cmy, 10
/// cmyk.
class ORV_API OrvColorspace : public OrvObject {
public:
    std::uint32_t getOpcode() noexcept;

protected:
    OrvColorspace() noexcept = default;
    ~OrvColorspace() override;
};
