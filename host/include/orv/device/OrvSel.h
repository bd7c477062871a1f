// A structuring element: the neighbourhood of a morphological op.
#pragma once

#include "orv/device/OrvObject.h"

/// Flags in rows, getHeight() of getWidth() unsigned integers, owned by the element; a value that is not 0 belongs to
/// the neighbourhood. The key is the element that lies on the pixel being made; it may lie outside the table.
class ORV_API OrvSel : public OrvObject {
public:
    unsigned getWidth() noexcept;
    unsigned getHeight() noexcept;
    unsigned getKeyX() noexcept;
    unsigned getKeyY() noexcept;
    unsigned* getValue() noexcept;

protected:
    OrvSel() noexcept = default;
    ~OrvSel() override;
};
