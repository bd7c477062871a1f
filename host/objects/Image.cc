#include "orv/host/Image.h"

#include <sys/mman.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <optional>

#include "dispatch/Running.h"
#include "objects/ObjectAccess.h"
#include "orv/host/Session.h"
#include "regions/Roi.h"

namespace orv::host {
namespace {

constexpr std::size_t cacheLine = 64;

std::mutex& familyMutex() {
    static std::mutex mutex;
    return mutex;
}

/// Product of sizes, or nothing where it is beyond `limit`.
std::optional<std::uint64_t> product(std::uint64_t a, std::uint64_t b, std::uint64_t limit) {
    std::uint64_t result = 0;
    if (__builtin_mul_overflow(a, b, &result) || result > limit) return {};
    return result;
}

std::size_t sampleSize(OrvDataType type) {
    if (type == ORV_FLOAT) return sizeof(float);
    return type == ORV_SHORT ? sizeof(std::int16_t) : 1;
}

constexpr std::uint64_t roundedUp(std::uint64_t value, std::uint64_t step) { return (value + step - 1) / step * step; }

struct Layout {
    std::uint64_t rowStride;  ///< in the units of the storage record
    std::uint64_t bandStride; ///< BIT alone
    std::uint64_t bytes;
};

std::optional<Layout> bitLayout(const Shape& shape, std::size_t rowAlignment) {
    const std::uint64_t dense = (std::uint64_t{shape.width} + 7) / 8;
    const std::uint64_t aligned = roundedUp(dense, rowAlignment);
    const std::uint64_t row = aligned <= UINT16_MAX ? aligned : dense;
    if (row > UINT16_MAX) return {};
    const auto plane = product(row, shape.height, UINT32_MAX);
    const auto bytes = plane ? product(*plane, shape.bands, PTRDIFF_MAX) : plane;
    if (!bytes) return {};
    return Layout{.rowStride = row, .bandStride = *plane, .bytes = *bytes};
}

std::optional<Layout> sampleLayout(const Shape& shape, std::size_t rowAlignment) {
    const std::uint64_t size = sampleSize(shape.type);
    const auto samples = product(shape.width, shape.bands, UINT32_MAX - cacheLine);
    if (!samples || shape.bands > UINT16_MAX) return {};
    const std::uint64_t rowBytes = roundedUp(*samples * size, std::max<std::uint64_t>(rowAlignment, size));
    const auto bytes = product(rowBytes, shape.height, PTRDIFF_MAX);
    if (!bytes) return {};
    return Layout{.rowStride = rowBytes / size, .bandStride = 0, .bytes = *bytes};
}

std::optional<Layout> layoutOf(const Shape& shape, std::size_t rowAlignment) {
    if (shape.width == 0 || shape.height == 0 || shape.bands == 0) return {};
    if (shape.type < ORV_BIT || shape.type > ORV_FLOAT) return {};
    return shape.type == ORV_BIT ? bitLayout(shape, rowAlignment) : sampleLayout(shape, rowAlignment);
}

OrvMemoryStorage recordOf(const Shape& shape, const Layout& layout, void* samples) {
    OrvMemoryStorage record{};
    const auto rowStride = static_cast<std::uint32_t>(layout.rowStride);
    const auto pixelStride = static_cast<std::uint16_t>(shape.bands);
    switch (shape.type) {
    case ORV_BIT:
        record.bit = {static_cast<std::uint8_t*>(samples), static_cast<std::uint16_t>(rowStride),
                      static_cast<std::uint32_t>(layout.bandStride), 0};
        break;
    case ORV_BYTE:
        record.byte = {static_cast<std::uint8_t*>(samples), rowStride, pixelStride};
        break;
    case ORV_SHORT:
        record.shorts = {static_cast<std::int16_t*>(samples), rowStride, pixelStride};
        break;
    case ORV_FLOAT:
        record.floats = {static_cast<float*>(samples), rowStride, pixelStride};
        break;
    }
    return record;
}

template <class Record>
Record movedBy(Record record, unsigned x, unsigned y, unsigned band) {
    record.data += std::size_t{y} * record.scanline_stride + std::size_t{x} * record.pixel_stride + band;
    return record;
}

OrvMemoryStorage windowOf(OrvDataType type, OrvMemoryStorage record, unsigned x, unsigned y, unsigned band) {
    switch (type) {
    case ORV_BIT: {
        const std::size_t column = std::size_t{record.bit.offset} + x;
        record.bit.data +=
            std::size_t{band} * record.bit.band_stride + std::size_t{y} * record.bit.scanline_stride + column / 8;
        record.bit.offset = column % 8;
        break;
    }
    case ORV_BYTE:
        record.byte = movedBy(record.byte, x, y, band);
        break;
    case ORV_SHORT:
        record.shorts = movedBy(record.shorts, x, y, band);
        break;
    case ORV_FLOAT:
        record.floats = movedBy(record.floats, x, y, band);
        break;
    }
    return record;
}

/// A float origin as an integer one: truncated toward zero, NaN as 0, cut to the range of coordinates.
long truncated(float value) {
    if (std::isnan(value)) return 0;
    return static_cast<long>(std::clamp(double{value}, double{INT32_MIN}, double{INT32_MAX}));
}

/// Memory for samples, or null. A large image is asked to lie in large pages: walks across its rows wait for fewer
/// addresses of pages then, and what is written first for fewer pages to be made. The system may do without.
void* roomFor(std::size_t bytes) {
    constexpr std::size_t largePage = std::size_t{2} << 20;
    const bool large = bytes >= 2 * largePage;
    void* samples = nullptr;
    if (posix_memalign(&samples, large ? largePage : cacheLine, bytes) != 0) return nullptr;
#ifdef MADV_HUGEPAGE
    if (large) madvise(samples, bytes, MADV_HUGEPAGE);
#endif
    return samples;
}

bool fits(unsigned start, unsigned length, unsigned whole) {
    return length > 0 && std::uint64_t{start} + length <= whole;
}

} // namespace

Image::Image(Session& session, const Shape& shape) noexcept : shape_(shape) {
    ObjectAccess::setUp(*this, session, Kind::image);
}

Image::~Image() {
    leaveFamily();
    for (Roi* roi : {region_, imageSpace_, touched_}) ObjectAccess::end(roi);
    std::free(ownSamples_);
}

Image* Image::allocate(Session& session, const Shape& shape, std::size_t rowAlignment) noexcept {
    const std::optional<Layout> layout = layoutOf(shape, rowAlignment);
    if (!layout) return nullptr;
    void* const samples = roomFor(layout->bytes);
    if (samples == nullptr) return nullptr;
    Image* const image = new (std::nothrow) Image(session, shape);
    if (!image) {
        std::free(samples);
        return nullptr;
    }
    image->ownSamples_ = samples;
    image->storage_ = recordOf(shape, *layout, samples);
    if (rowAlignment > 1) std::memset(samples, 0, layout->bytes);
    return image;
}

Owned<Image> Image::make(Session& session, const Shape& shape) noexcept {
    return Owned<Image>(allocate(session, shape, cacheLine));
}

Owned<Image> Image::makeDense(Session& session, const Shape& shape) noexcept {
    return Owned<Image>(allocate(session, shape, 1));
}

Owned<Image> Image::makeWithoutStorage(Session& session, const Shape& shape) noexcept {
    return Owned<Image>(new (std::nothrow) Image(session, shape));
}

Owned<Image> Image::wrap(Session& session, const Shape& shape, const OrvMemoryStorage& storage) noexcept {
    Owned<Image> image = makeWithoutStorage(session, shape);
    if (image) image->storage_ = storage;
    return image;
}

Owned<Image> Image::child(Image& parent, unsigned x, unsigned y, unsigned band, unsigned width, unsigned height,
                          unsigned bands) noexcept {
    const Shape& whole = parent.shape_;
    if (!fits(x, width, whole.width) || !fits(y, height, whole.height) || !fits(band, bands, whole.bands)) return {};
    const Shape shape{.type = whole.type, .width = width, .height = height, .bands = bands};
    Owned<Image> image = makeWithoutStorage(*ObjectAccess::session(parent), shape);
    if (!image) return image;
    image->storage_ = parent.storage() ? windowOf(whole.type, parent.storage_, x, y, band) : OrvMemoryStorage{};
    image->atX_ = x;
    image->atY_ = y;
    image->atBand_ = band;
    image->joinFamily(parent);
    return image;
}

void Image::drop() noexcept {
    if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

void Image::joinFamily(Image& parent) noexcept {
    const std::lock_guard lock(familyMutex());
    parent.references_.fetch_add(1, std::memory_order_relaxed);
    parent_ = &parent;
    nextSibling_ = parent.firstChild_;
    parent.firstChild_ = this;
}

void Image::leaveFamily() noexcept {
    if (!parent_) return;
    {
        const std::lock_guard lock(familyMutex());
        Image** link = &parent_->firstChild_;
        while (*link != this) link = &(*link)->nextSibling_;
        *link = nextSibling_;
    }
    parent_->drop();
}

void Image::renewFamily() noexcept {
    renewVersion(*this);
    for (Image* child = firstChild_; child; child = child->nextSibling_) child->renewFamily();
}

void Image::samplesChanged() noexcept {
    const std::lock_guard lock(familyMutex());
    Image* eldest = this;
    while (eldest->parent_) eldest = eldest->parent_;
    eldest->renewFamily();
}

void Image::place(float x, float y) noexcept {
    originX_ = x;
    originY_ = y;
    imageSpaceIsStale_ = true;
}

bool Image::setRegion(std::span<const Rect> rects) noexcept {
    const Owned<OrvRoi> roi = makeRoi(*ObjectAccess::session(*this), rects);
    return roi && setRegion(roi.get());
}

bool Image::setRegion(const OrvRoi* roi) noexcept {
    Roi* const copy = roi ? Roi::of(*roi).copy() : nullptr;
    if (roi && !copy) return false;
    ObjectAccess::end(region_);
    region_ = copy;
    imageSpaceIsStale_ = true;
    return true;
}

void Image::clearRegion() noexcept { setRegion(static_cast<const OrvRoi*>(nullptr)); }

const OrvRoi* Image::region() const noexcept { return region_; }

const OrvRoi* Image::imageSpaceRegion() const noexcept { return imageSpace(); }

Roi* Image::imageSpace() const noexcept {
    if (!imageSpaceIsStale_) return imageSpace_;
    Region region(boxOf(0, 0, shape_.width, shape_.height));
    if (region_) {
        const Region* const set = region_->region();
        if (!set || !region.intersect(*set)) return nullptr;
    }
    if (!region.translate(-truncated(originX_), -truncated(originY_))) return nullptr;
    if (!imageSpace_) {
        imageSpace_ = Roi::make(*ObjectAccess::session(*this), Region());
        if (!imageSpace_) return nullptr;
        ObjectAccess::setOwner(*imageSpace_, Owner::image);
    }
    imageSpace_->setRegion(std::move(region));
    imageSpaceIsStale_ = false;
    return imageSpace_;
}

void Image::keepTouched(OrvRoi* roi) noexcept {
    ++touchedCount_;
    Roi* const given = static_cast<Roi*>(roi);
    if (given == touched_) return;
    ObjectAccess::end(touched_);
    touched_ = given;
    if (!given) return;
    if (ObjectAccess::owner(*given) == Owner::image) {
        // An image's own region stays its own; what is kept is its state now.
        touched_ = given->copy();
        if (!touched_) return;
    } else {
        ObjectAccess::takeOut(*given);
    }
    ObjectAccess::setOwner(*touched_, Owner::keeper);
    touched_->keeper = this;
}

void Image::stopKeeping(OrvObject& roi) noexcept {
    Roi& touched = static_cast<Roi&>(roi);
    touched.keeper->touched_ = nullptr;
    touched.keeper = nullptr;
}

const OrvRoi* Image::touched() const noexcept { return touched_; }

void Image::forgetTouched() noexcept {
    keepTouched(nullptr);
    touchedCount_ = 0;
    touchedFlag_ = 0;
}

} // namespace orv::host

using orv::host::FaultPoint;
using orv::host::Image;
using orv::host::Roi;
using orv::host::Running;

namespace {

Image& inner(OrvImageType& image) { return static_cast<Image&>(image); }

template <class T>
void put(T* out, T value) {
    if (out) *out = value;
}

} // namespace

unsigned OrvImageType::getBands() noexcept { return inner(*this).shape().bands; }
OrvDataType OrvImageType::getDataType() noexcept { return inner(*this).shape().type; }
unsigned OrvImageType::getWidth() noexcept { return inner(*this).shape().width; }
unsigned OrvImageType::getHeight() noexcept { return inner(*this).shape().height; }

OrvMemoryStorage* OrvImage::getMemoryStorage() noexcept {
    if (Running::faultHits(FaultPoint::storage, this)) return nullptr;
    return inner(*this).storage();
}

void OrvImage::getOrigin(long* x, long* y) noexcept {
    put(x, orv::host::truncated(inner(*this).originX()));
    put(y, orv::host::truncated(inner(*this).originY()));
}

void OrvImage::getOrigin(float* x, float* y) noexcept {
    put(x, inner(*this).originX());
    put(y, inner(*this).originY());
}

void OrvImage::setOrigin(float x, float y) noexcept { inner(*this).place(x, y); }

void OrvImage::getDimensions(unsigned* width, unsigned* height, unsigned* nbands) noexcept {
    const orv::host::Shape& shape = inner(*this).shape();
    put(width, shape.width);
    put(height, shape.height);
    put(nbands, shape.bands);
}

OrvRoi* OrvImage::getRoi() noexcept {
    if (Running::faultHits(FaultPoint::roi, this)) return nullptr;
    const OrvRoi* const region = inner(*this).region();
    return region ? Running::handOut(Roi::of(*region).copy()) : nullptr;
}

void OrvImage::setRoi(OrvRoi* roi) noexcept { inner(*this).setRegion(roi); }

OrvRoi* OrvImage::getImageSpaceRoi() noexcept {
    if (Running::faultHits(FaultPoint::imageRoi, this)) return nullptr;
    return inner(*this).imageSpace();
}

void OrvImage::setPixelsTouchedRoi(OrvRoi* roi) noexcept { inner(*this).keepTouched(roi); }

void OrvImage::setPixelsTouchedRoi_flag(int flag) noexcept { inner(*this).touchedFlag_ = flag; }

OrvImage* OrvImage::getParent() noexcept { return inner(*this).parent(); }

void OrvImage::getChildOffsets(unsigned* x, unsigned* y, unsigned* band) noexcept {
    put(x, inner(*this).atX_);
    put(y, inner(*this).atY_);
    put(band, inner(*this).atBand_);
}

void* OrvImage::getDeviceInputOutput() noexcept { return inner(*this).inputOutput_ ? this : nullptr; }
