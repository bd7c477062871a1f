#include "arrays.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <string>

#include <fmt/format.h>

namespace orv::python {

namespace {

struct Shape {
    unsigned width = 0;
    unsigned height = 0;
    unsigned bands = 1;
    bool threeAxes = false;
};

Shape shapeOf(const py::array& array) {
    if (array.ndim() != 2 && array.ndim() != 3) {
        throw Error("array", fmt::format("an array of {} axes came, (height, width) or (height, width, bands) wanted",
                                         array.ndim()));
    }
    const auto axis = [&](py::ssize_t i) {
        if (array.shape(i) > std::numeric_limits<std::int32_t>::max())
            throw Error("array", fmt::format("an axis of {} is too long", array.shape(i)));
        return static_cast<unsigned>(array.shape(i));
    };
    return {axis(1), axis(0), array.ndim() == 3 ? axis(2) : 1, array.ndim() == 3};
}

/// Whether the device can address these samples where they lie.
bool addressable(const py::array& array, const Shape& shape) {
    const py::ssize_t size = array.itemsize();
    const py::ssize_t pixel = array.strides(1);
    const py::ssize_t row = array.strides(0);
    const bool bandsTouch = !shape.threeAxes || shape.bands == 1 || array.strides(2) == size;
    return bandsTouch && pixel >= size * static_cast<py::ssize_t>(shape.bands) && pixel % size == 0 &&
           pixel / size <= std::numeric_limits<std::uint16_t>::max() && row >= 0 && row % size == 0 &&
           row / size <= std::numeric_limits<std::uint32_t>::max() &&
           reinterpret_cast<std::uintptr_t>(array.data()) % static_cast<std::uintptr_t>(size) == 0;
}

Encoding encodingOf(std::string_view name, unsigned bands) {
    return name.empty() ? usualEncoding(bands) : encodingNamed(name);
}

Image viewOf(Session& session, const py::array& array, const Shape& shape, Type type) {
    const Pixels pixels{.data = static_cast<std::byte*>(const_cast<void*>(array.data())),
                        .stride = array.strides(0),
                        .pixel = array.strides(1)};
    return Image::view(session, shape.width, shape.height, shape.bands, type, pixels);
}

/// Unsigned 16-bit samples less 32768, and back: the same exchange of the topmost bit.
void exchangeTopBit(std::int16_t* to, const std::int16_t* from, std::size_t count) noexcept {
    for (std::size_t i = 0; i < count; ++i) to[i] = static_cast<std::int16_t>(from[i] ^ -32768);
}

std::size_t rowSamples(const Image& image) noexcept { return std::size_t{image.width()} * image.bands(); }

py::array dense(const py::array& array) {
    return py::array::ensure(array, static_cast<int>(py::array::c_style) |
                                        static_cast<int>(py::detail::npy_api::NPY_ARRAY_ALIGNED_));
}

Image bitsOf(Session& session, const py::array& flags, const Shape& shape) {
    Image image(session, shape.width, shape.height, shape.bands, Type::bit);
    const py::array plain = dense(flags);
    const auto* from = static_cast<const std::uint8_t*>(plain.data());
    const Pixels to = image.pixels();
    for (unsigned y = 0; y < shape.height; ++y) {
        for (unsigned band = 0; band < shape.bands; ++band) {
            std::byte* row = to.data + y * to.stride + band * to.bandStride;
            const std::uint8_t* flag = from + std::size_t{y} * shape.width * shape.bands + band;
            for (unsigned x = 0; x < shape.width; x += 8) {
                unsigned byte = 0;
                const unsigned count = std::min(8U, shape.width - x);
                for (unsigned i = 0; i < count; ++i, flag += shape.bands) byte |= (*flag != 0 ? 0x80U : 0U) >> i;
                row[x >> 3] = static_cast<std::byte>(byte);
            }
        }
    }
    return image;
}

Picture packedPicture(Session& session, py::handle object, std::string_view encoding, ColourOrder order) {
    const Bits& bits = object.cast<const Bits&>();
    const py::array_t<std::uint8_t>& a = bits.packed;
    const bool planes = a.ndim() == 3;
    const auto bands = static_cast<unsigned>(planes ? a.shape(0) : 1);
    const auto height = static_cast<unsigned>(a.shape(planes ? 1 : 0));
    const Pixels pixels{.data = reinterpret_cast<std::byte*>(const_cast<std::uint8_t*>(a.data())),
                        .stride = a.strides(planes ? 1 : 0),
                        .bandStride = planes ? a.strides(0) : 0};
    Picture picture{.image = Image::view(session, bits.width, height, bands, Type::bit, pixels),
                    .threeAxes = planes,
                    .packed = true,
                    .held = py::reinterpret_borrow<py::object>(object)};
    picture.image.tags().encoding = encodingOf(encoding, bands);
    picture.image.tags().order = order;
    return picture;
}

bool isNative(const py::dtype& type) {
    const char order = type.byteorder();
    return order == '=' || order == '|';
}

[[noreturn]] void refuseType(const py::dtype& type) {
    const std::string name = py::str(static_cast<py::handle>(type));
    if (type.kind() == 'f') {
        throw Error("array", fmt::format("a {} array came; the device has no floats: scale it to uint8, int16 or "
                                         "uint16 first",
                                         name));
    }
    throw Error("array", fmt::format("a {} array came, bool, uint8, int16 or uint16 wanted", name));
}

bool isPacked(py::handle object) { return py::isinstance<Bits>(object); }

py::array asArray(py::handle object) {
    if (!py::isinstance<py::array>(object)) {
        throw Error("array", fmt::format("a {} came, a numpy array wanted",
                                         std::string(py::str(py::type::handle_of(object).attr("__name__")))));
    }
    return py::reinterpret_borrow<py::array>(object);
}

py::array newArray(const char* type, const Image& image, bool threeAxes) {
    std::vector<py::ssize_t> shape{image.height(), image.width()};
    if (threeAxes) shape.push_back(image.bands());
    return py::array(py::dtype(type), shape);
}

py::array flagsOf(const Image& image, bool threeAxes) {
    py::array made = newArray("?", image, threeAxes);
    auto* to = static_cast<std::uint8_t*>(made.mutable_data());
    const Pixels from = image.pixels();
    for (unsigned y = 0; y < image.height(); ++y) {
        for (unsigned band = 0; band < image.bands(); ++band) {
            const auto* row =
                reinterpret_cast<const std::uint8_t*>(from.data + y * from.stride + band * from.bandStride);
            std::uint8_t* flag = to + std::size_t{y} * image.width() * image.bands() + band;
            for (unsigned x = 0; x < image.width(); ++x, flag += image.bands()) {
                const unsigned at = from.offset + x;
                *flag = static_cast<std::uint8_t>((row[at >> 3] >> (7 - (at & 7))) & 1U);
            }
        }
    }
    return made;
}

Bits packedOf(const Image& image, bool threeAxes) {
    const std::size_t bytes = (std::size_t{image.width()} + 7) / 8;
    std::vector<py::ssize_t> shape;
    if (threeAxes) shape.push_back(image.bands());
    shape.push_back(image.height());
    shape.push_back(static_cast<py::ssize_t>(bytes));
    Bits bits{py::array_t<std::uint8_t>(shape), image.width()};
    std::uint8_t* to = bits.packed.mutable_data();
    const Pixels from = image.pixels();
    for (unsigned band = 0; band < image.bands(); ++band) {
        for (unsigned y = 0; y < image.height(); ++y, to += bytes)
            std::memcpy(to, from.data + y * from.stride + band * from.bandStride, bytes);
    }
    return bits;
}

/// The samples of an image as they lie; the array keeps the image.
py::array sharedArray(const Image& image, const char* type, bool threeAxes) {
    const Pixels p = image.pixels();
    const py::dtype dtype(type);
    std::vector<py::ssize_t> shape{image.height(), image.width()};
    std::vector<py::ssize_t> strides{p.stride, p.pixel};
    if (threeAxes) {
        shape.push_back(image.bands());
        strides.push_back(dtype.itemsize());
    }
    const py::capsule owner(new Image(image), [](void* kept) { delete static_cast<Image*>(kept); });
    return py::array(dtype, shape, strides, p.data, owner);
}

} // namespace

bool isEmpty(py::handle object) {
    return !isPacked(object) && py::isinstance<py::array>(object) &&
           py::reinterpret_borrow<py::array>(object).size() == 0;
}

Picture pictureOf(Session& session, py::handle object, std::string_view encoding, ColourOrder order) {
    if (isPacked(object)) return packedPicture(session, object, encoding, order);
    py::array array = asArray(object);
    const py::dtype type = array.dtype();
    const Shape shape = shapeOf(array);
    Picture picture{.threeAxes = shape.threeAxes};
    const char kind = type.kind();
    if (kind == 'b') {
        picture.image = bitsOf(session, array, shape);
        picture.copied = true;
    } else if ((kind == 'u' && type.itemsize() <= 2) || (kind == 'i' && type.itemsize() == 2)) {
        picture.unsigned16 = kind == 'u' && type.itemsize() == 2;
        if (!isNative(type)) array = array.attr("astype")(type.attr("newbyteorder")("=")).cast<py::array>();
        if (!addressable(array, shape) || !isNative(type)) {
            array = dense(array);
            picture.copied = true;
        }
        const Type samples = type.itemsize() == 1 ? Type::byte : Type::int16;
        picture.image = viewOf(session, array, shape, samples);
        picture.held = array;
        if (picture.unsigned16) {
            const Image view = picture.image;
            const py::array plain = dense(array);
            picture.image = Image(session, shape.width, shape.height, shape.bands, Type::int16);
            const Pixels to = picture.image.pixels();
            const auto* from = static_cast<const std::int16_t*>(plain.data());
            for (unsigned y = 0; y < shape.height; ++y, from += rowSamples(view))
                exchangeTopBit(reinterpret_cast<std::int16_t*>(to.data + y * to.stride), from, rowSamples(view));
            picture.copied = true;
        }
    } else {
        refuseType(type);
    }
    Tags& tags = picture.image.tags();
    tags.encoding = encodingOf(encoding, shape.bands);
    tags.order = order;
    tags.sixteen = picture.unsigned16 ? Sixteen::shifted : Sixteen::number;
    return picture;
}

Picture destinationOf(Session& session, py::handle object, std::string_view encoding, ColourOrder order) {
    if (!isPacked(object) && !asArray(object).writeable()) throw Error("out", "the array given as out is read-only");
    return pictureOf(session, object, encoding, order);
}

void copyBack(const Picture& picture, py::handle object) {
    if (!picture.copied) return;
    Image image = picture.image;
    py::array target = asArray(object);
    if (image.type() == Type::bit) {
        target[py::ellipsis()] = flagsOf(image, picture.threeAxes);
    } else if (picture.unsigned16) {
        const Pixels p = image.pixels();
        py::array made = newArray("H", image, picture.threeAxes);
        auto* to = static_cast<std::int16_t*>(made.mutable_data());
        for (unsigned y = 0; y < image.height(); ++y, to += rowSamples(image))
            exchangeTopBit(to, reinterpret_cast<const std::int16_t*>(p.data + y * p.stride), rowSamples(image));
        target[py::ellipsis()] = made;
    } else {
        target[py::ellipsis()] = sharedArray(image, image.type() == Type::byte ? "B" : "h", picture.threeAxes);
    }
}

py::object arrayOf(Session& session, const Image& image, bool threeAxes, bool packed, ColourOrder order) {
    const bool axis = threeAxes || image.bands() > 1;
    const Image picture = image.tags().order == order ? image : image.inOrder(session, order);
    if (picture.type() == Type::bit) {
        if (packed) return py::cast(packedOf(picture, axis));
        return flagsOf(picture, axis);
    }
    if (picture.type() == Type::byte) return sharedArray(picture, "B", axis);
    py::array array = sharedArray(picture, picture.tags().sixteen == Sixteen::shifted ? "H" : "h", axis);
    if (picture.tags().sixteen == Sixteen::shifted) {
        const Pixels p = picture.pixels();
        for (unsigned y = 0; y < picture.height(); ++y) {
            auto* row = reinterpret_cast<std::int16_t*>(p.data + y * p.stride);
            exchangeTopBit(row, row, rowSamples(picture));
        }
    }
    return array;
}

} // namespace orv::python
