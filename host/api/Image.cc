#include "orv/Image.h"

#include <cstring>

#include <fmt/format.h>

#include "orv/Session.h"
#include "orv/host/Image.h"
#include "orv/host/Session.h"

namespace orv {

struct Image::State {
    host::Owned<host::Image> object;
    Tags tags;
};

namespace {

Pixels pixelsOf(OrvDataType type, const OrvMemoryStorage& storage) noexcept {
    switch (type) {
    case ORV_BIT:
        return {reinterpret_cast<std::byte*>(storage.bit.data), storage.bit.scanline_stride, 0, storage.bit.band_stride,
                storage.bit.offset};
    case ORV_SHORT:
        return {reinterpret_cast<std::byte*>(storage.shorts.data), std::ptrdiff_t{storage.shorts.scanline_stride} * 2,
                storage.shorts.pixel_stride * 2, 0, 0};
    default:
        return {reinterpret_cast<std::byte*>(storage.byte.data), storage.byte.scanline_stride,
                storage.byte.pixel_stride, 0, 0};
    }
}

template <class Field>
Field narrowed(std::ptrdiff_t value, std::ptrdiff_t unit, const char* what) {
    const std::ptrdiff_t count = value / unit;
    if (count < 0 || value % unit != 0 || static_cast<std::uint64_t>(count) > std::numeric_limits<Field>::max()) {
        throw Error("image", fmt::format("a {} of {} bytes does not fit the device", what, value));
    }
    return static_cast<Field>(count);
}

OrvMemoryStorage storageOf(Type type, const Pixels& pixels) {
    OrvMemoryStorage storage{};
    if (type == Type::bit) {
        storage.bit.data = reinterpret_cast<std::uint8_t*>(pixels.data);
        storage.bit.scanline_stride = narrowed<std::uint16_t>(pixels.stride, 1, "row stride");
        storage.bit.band_stride = narrowed<std::uint32_t>(pixels.bandStride, 1, "band stride");
        storage.bit.offset = static_cast<std::uint8_t>(pixels.offset & 7U);
    } else if (type == Type::int16) {
        storage.shorts.data = reinterpret_cast<std::int16_t*>(pixels.data);
        storage.shorts.scanline_stride = narrowed<std::uint32_t>(pixels.stride, 2, "row stride");
        storage.shorts.pixel_stride = narrowed<std::uint16_t>(pixels.pixel, 2, "pixel stride");
    } else {
        storage.byte.data = reinterpret_cast<std::uint8_t*>(pixels.data);
        storage.byte.scanline_stride = narrowed<std::uint32_t>(pixels.stride, 1, "row stride");
        storage.byte.pixel_stride = narrowed<std::uint16_t>(pixels.pixel, 1, "pixel stride");
    }
    return storage;
}

host::Shape shapeOf(unsigned width, unsigned height, unsigned bands, Type type) {
    if (width == 0 || height == 0 || bands == 0) {
        throw Error("image",
                    fmt::format("an image of {} x {} pixels and {} bands has no samples", width, height, bands));
    }
    return {static_cast<OrvDataType>(type), width, height, bands};
}

} // namespace

Encoding usualEncoding(unsigned bands) noexcept {
    switch (bands) {
    case 1:
        return Encoding::gray;
    case 2:
        return Encoding::grayAlpha;
    case 3:
        return Encoding::rgb;
    case 4:
        return Encoding::rgba;
    default:
        return Encoding::other;
    }
}

std::string_view nameOf(Type type) noexcept {
    switch (type) {
    case Type::bit:
        return "bit";
    case Type::byte:
        return "byte";
    default:
        return "int16";
    }
}

Image::Image() noexcept = default;
Image::Image(const Image&) noexcept = default;
Image::Image(Image&&) noexcept = default;
Image& Image::operator=(const Image&) noexcept = default;
Image& Image::operator=(Image&&) noexcept = default;
Image::~Image() = default;
Image::Image(std::shared_ptr<State> state) noexcept : state_(std::move(state)) {}

Image::Image(Session& session, unsigned width, unsigned height, unsigned bands, Type type)
    : state_(std::make_shared<State>()) {
    state_->object = host::Image::make(session.object(), shapeOf(width, height, bands, type));
    if (!state_->object) {
        throw Error("image",
                    fmt::format("no memory for an image of {} x {} pixels and {} bands", width, height, bands));
    }
    state_->tags.encoding = usualEncoding(bands);
}

Image Image::view(Session& session, unsigned width, unsigned height, unsigned bands, Type type, const Pixels& pixels) {
    auto state = std::make_shared<State>();
    state->object = host::Image::wrap(session.object(), shapeOf(width, height, bands, type), storageOf(type, pixels));
    if (!state->object) throw Error("image", "no memory for a view of an image");
    state->tags.encoding = usualEncoding(bands);
    return Image(std::move(state));
}

Image Image::withoutSamples(Session& session, const Image& like) {
    auto state = std::make_shared<State>();
    state->object = host::Image::makeWithoutStorage(session.object(), like.object().shape());
    if (!state->object) throw Error("image", "no memory for an image");
    state->tags = like.tags();
    return Image(std::move(state));
}

unsigned Image::width() const noexcept { return object().shape().width; }
unsigned Image::height() const noexcept { return object().shape().height; }
unsigned Image::bands() const noexcept { return object().shape().bands; }
Type Image::type() const noexcept { return static_cast<Type>(object().shape().type); }
Pixels Image::pixels() const noexcept { return pixelsOf(object().shape().type, *object().storage()); }
const Tags& Image::tags() const noexcept { return state_->tags; }
Tags& Image::tags() noexcept { return state_->tags; }
host::Image& Image::object() const noexcept { return *state_->object; }
void Image::samplesChanged() noexcept { object().samplesChanged(); }

Image Image::child(const Rectangle& window, unsigned band, unsigned bands) const {
    const unsigned count = bands == 0 ? this->bands() - band : bands;
    auto state = std::make_shared<State>();
    if (window.x >= 0 && window.y >= 0) {
        state->object = host::Image::child(object(), static_cast<unsigned>(window.x), static_cast<unsigned>(window.y),
                                           band, window.width, window.height, count);
    }
    if (!state->object) {
        throw Error("image",
                    fmt::format("the window {},{},{},{} with bands {} to {} does not lie inside the image of {}",
                                window.x, window.y, window.width, window.height, band, band + count - 1, describe()));
    }
    state->tags = tags();
    if (count != this->bands()) state->tags.encoding = usualEncoding(count);
    return Image(std::move(state));
}

Image Image::copy(Session& session) const {
    Image made(session, width(), height(), bands(), type());
    made.tags() = tags();
    const Pixels from = pixels();
    const Pixels to = made.pixels();
    const unsigned planes = type() == Type::bit ? bands() : 1;
    const std::size_t size = std::size_t{bands()} * (type() == Type::int16 ? 2 : 1);
    for (unsigned plane = 0; plane < planes; ++plane) {
        for (unsigned y = 0; y < height(); ++y) {
            const std::byte* source = from.data + plane * from.bandStride + y * from.stride;
            std::byte* target = to.data + plane * to.bandStride + y * to.stride;
            if (type() == Type::bit) {
                for (unsigned x = 0; x < width(); ++x) {
                    const unsigned at = from.offset + x;
                    const unsigned bit = (std::to_integer<unsigned>(source[at >> 3]) >> (7 - (at & 7))) & 1U;
                    if (bit != 0) target[x >> 3] |= static_cast<std::byte>(0x80U >> (x & 7));
                }
            } else {
                for (unsigned x = 0; x < width(); ++x, source += from.pixel, target += to.pixel)
                    std::memcpy(target, source, size);
            }
        }
    }
    return made;
}

int Image::sample(unsigned x, unsigned y, unsigned band) const {
    const Pixels p = pixels();
    const std::byte* row = p.data + y * p.stride;
    if (type() == Type::bit) {
        const unsigned at = p.offset + x;
        return static_cast<int>(std::to_integer<unsigned>(row[band * p.bandStride + (at >> 3)]) >> (7 - (at & 7))) & 1;
    }
    if (type() == Type::byte) return std::to_integer<int>(row[x * p.pixel + band]);
    std::int16_t value = 0;
    std::memcpy(&value, row + x * p.pixel + 2 * std::ptrdiff_t{band}, sizeof value);
    return value;
}

void Image::setSample(unsigned x, unsigned y, unsigned band, int value) {
    const Pixels p = pixels();
    std::byte* row = p.data + y * p.stride;
    if (type() == Type::bit) {
        const unsigned at = p.offset + x;
        std::byte& place = row[band * p.bandStride + (at >> 3)];
        const auto mask = static_cast<std::byte>(0x80U >> (at & 7));
        place = value != 0 ? place | mask : place & ~mask;
    } else if (type() == Type::byte) {
        row[x * p.pixel + band] = static_cast<std::byte>(value);
    } else {
        const auto sample = static_cast<std::int16_t>(value);
        std::memcpy(row + x * p.pixel + 2 * std::ptrdiff_t{band}, &sample, sizeof sample);
    }
}

std::string Image::describe() const {
    return fmt::format("{} x {}, {} band{}, {}, {}", width(), height(), bands(), bands() == 1 ? "" : "s",
                       nameOf(type()), nameOf(encoding()));
}

} // namespace orv
