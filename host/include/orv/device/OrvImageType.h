// The shape of an image.
#pragma once

#include "orv/device/OrvObject.h"
#include "orv/device/OrvTypes.h"

/// What an image is made of: size in pixels, bands, sample type.
class ORV_API OrvImageType : public OrvObject {
public:
    unsigned getBands() noexcept;
    OrvDataType getDataType() noexcept;
    unsigned getWidth() noexcept;
    unsigned getHeight() noexcept;

protected:
    OrvImageType() noexcept = default;
    ~OrvImageType() override;
};
