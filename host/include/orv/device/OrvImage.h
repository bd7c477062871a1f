// An image, as a device sees it.
#pragma once

#include "orv/device/OrvImageType.h"
#include "orv/device/OrvMemoryStorage.h"
#include "orv/device/OrvRoi.h"

/// An image of the host. Storage positions count from the image's own first pixel; image space counts from its origin:
/// the storage pixel (c, r) of an image with the integer origin (ox, oy) is the image-space pixel (c - ox, r - oy).
class ORV_API OrvImage : public OrvImageType {
public:
    /// Forces the image into memory and answers its storage record, owned by the image; null where this is impossible
    /// now.
    OrvMemoryStorage* getMemoryStorage() noexcept;

    /// The origin, truncated toward zero in the integer form.
    void getOrigin(long* x, long* y) noexcept;
    void getOrigin(float* x, float* y) noexcept;
    void setOrigin(float x, float y) noexcept;

    /// Writes those of size (pixels) and bands whose pointer is not null.
    void getDimensions(unsigned* width, unsigned* height, unsigned* nbands) noexcept;

    /// The region set on the image, in storage pixels, for the caller to destroy; null where none is set.
    OrvRoi* getRoi() noexcept;

    /// Sets a copy of the region; null removes it. The caller still owns what it passed.
    void setRoi(OrvRoi* roi) noexcept;

    /// The image's region cut to the image (the whole image where none is set), in image space. The image's own object:
    /// not to be destroyed, and valid until the region or the origin changes. Null on failure.
    OrvRoi* getImageSpaceRoi() noexcept;

    /// Tells the image which region, in image space, an op will write. The image keeps the object.
    void setPixelsTouchedRoi(OrvRoi* roi) noexcept;
    void setPixelsTouchedRoi_flag(int flag) noexcept;

    /// The parent of a child image or null; images with one parent share its storage.
    OrvImage* getParent() noexcept;

    /// A child's place in its parent, in pixels and bands; 0, 0, 0 without a parent.
    void getChildOffsets(unsigned* x, unsigned* y, unsigned* band) noexcept;

    /// Not null where an input/output device stands behind the image.
    void* getDeviceInputOutput() noexcept;

protected:
    OrvImage() noexcept = default;
    ~OrvImage() override;
};
