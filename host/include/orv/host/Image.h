// Images over their own or the caller's memory.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>

#include "orv/device/OrvImage.h"
#include "orv/host/Object.h"
#include "orv/host/Region.h"

namespace orv::host {

class Roi;
class Session;

/// Sizes in pixels. No member may be 0.
struct Shape {
    OrvDataType type = ORV_BYTE;
    unsigned width = 1;
    unsigned height = 1;
    unsigned bands = 1;
    bool operator==(const Shape&) const = default;
};

/// An image. A child keeps its parent alive. The functions inherited from OrvImage are the device's way in; host code
/// uses those below.
class ORV_API Image final : public OrvImage {
public:
    /// Own samples, all 0, rows beginning at multiples of 64 bytes. Null where no memory could be had or the strides
    /// of so large an image do not fit the storage record.
    static Owned<Image> make(Session& session, const Shape& shape) noexcept;

    /// Own samples, unset, rows dense, bit offset 0.
    static Owned<Image> makeDense(Session& session, const Shape& shape) noexcept;

    /// An image whose samples can never be had.
    static Owned<Image> makeWithoutStorage(Session& session, const Shape& shape) noexcept;

    /// The caller's samples, which must outlive the image and its children. Any strides that the record can hold.
    static Owned<Image> wrap(Session& session, const Shape& shape, const OrvMemoryStorage& storage) noexcept;

    /// A window on the parent's samples, with its strides; the origin is 0, 0 and no region is set. Null where the
    /// window does not lie inside the parent.
    static Owned<Image> child(Image& parent, unsigned x, unsigned y, unsigned band, unsigned width, unsigned height,
                              unsigned bands) noexcept;

    const Shape& shape() const noexcept { return shape_; }
    /// Null for an image that was made without storage.
    const OrvMemoryStorage* storage() const noexcept { return storage_.byte.data ? &storage_ : nullptr; }
    OrvMemoryStorage* storage() noexcept { return storage_.byte.data ? &storage_ : nullptr; }
    Image* parent() const noexcept { return parent_; }

    float originX() const noexcept { return originX_; }
    float originY() const noexcept { return originY_; }
    void place(float x, float y) noexcept;

    /// The region, in storage pixels; it may stick out. False where no memory could be had.
    bool setRegion(std::span<const Rect> rects) noexcept;
    bool setRegion(const OrvRoi* roi) noexcept;
    void clearRegion() noexcept;
    const OrvRoi* region() const noexcept;
    /// The region cut to the image, in image space; null where no memory could be had.
    const OrvRoi* imageSpaceRegion() const noexcept;

    /// Whether an input/output device stands behind the image.
    void setInputOutput(bool present) noexcept { inputOutput_ = present; }

    /// The region that the last setPixelsTouchedRoi gave, and how often it was called since forgetTouched().
    const OrvRoi* touched() const noexcept;
    unsigned touchedCount() const noexcept { return touchedCount_; }
    int touchedFlag() const noexcept { return touchedFlag_; }
    void forgetTouched() noexcept;

    /// Gives a new version to this image and to all that share its samples as parent or child. The dispatch does so
    /// for every destination.
    void samplesChanged() noexcept;

private:
    friend class ::OrvImage;
    friend struct ObjectAccess;

    Image(Session& session, const Shape& shape) noexcept;
    ~Image() override;
    static Image* allocate(Session& session, const Shape& shape, std::size_t rowAlignment) noexcept;
    void drop() noexcept;
    void joinFamily(Image& parent) noexcept;
    void leaveFamily() noexcept;
    void renewFamily() noexcept;
    /// The region in image space, made anew where it is stale; null where no memory could be had.
    Roi* imageSpace() const noexcept;
    void keepTouched(OrvRoi* roi) noexcept;
    static void stopKeeping(OrvObject& roi) noexcept;

    Shape shape_;
    OrvMemoryStorage storage_{};
    void* ownSamples_ = nullptr;
    Image* parent_ = nullptr;
    Image* firstChild_ = nullptr;
    Image* nextSibling_ = nullptr;
    unsigned atX_ = 0;
    unsigned atY_ = 0;
    unsigned atBand_ = 0;
    std::atomic<unsigned> references_ = 1;
    float originX_ = 0;
    float originY_ = 0;
    Roi* region_ = nullptr;
    mutable Roi* imageSpace_ = nullptr;
    mutable bool imageSpaceIsStale_ = true;
    Roi* touched_ = nullptr;
    unsigned touchedCount_ = 0;
    int touchedFlag_ = 0;
    bool inputOutput_ = false;
};

} // namespace orv::host
