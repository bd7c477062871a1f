// Images, as people hold them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "orv/Error.h"
#include "orv/device/OrvTypes.h"

namespace orv {

class Session;
namespace host {
class Image;
class Session;
} // namespace host

/// Type of the samples.
enum class Type {
    bit = ORV_BIT,    ///< 0 or 1; a set bit is white
    byte = ORV_BYTE,  ///< 0 to 255
    int16 = ORV_SHORT ///< -32768 to 32767
};

/// What the bands of an image mean. Colours of `rgb`, `rgba` and `rgbLinear` lie B, G, R in memory unless the image's
/// tags tell otherwise; every other encoding keeps its order.
enum class Encoding {
    gray,
    grayAlpha,
    rgb,
    rgba,
    palette,
    cmyk,
    cmy,
    rgbLinear,
    photoYcc,
    ycc601,
    ycc709,
    yLinear,
    y601,
    y709,
    other,
};

/// The name of an encoding as people write it: "gray", "rgb", "ycc601".
ORV_API std::string_view nameOf(Encoding encoding) noexcept;
/// Throws Error for a name that is none.
ORV_API Encoding encodingNamed(std::string_view name);
/// "bit", "byte", "int16".
ORV_API std::string_view nameOf(Type type) noexcept;

/// How the 16-bit samples of an unsigned picture lie in memory.
enum class Sixteen {
    number,  ///< the values themselves
    shifted, ///< less 32768
    half,    ///< halved
    raw      ///< the bits of unsigned samples, taken as signed ones
};

/// How the colours of `rgb`, `rgba` and `rgbLinear` lie in memory. The device works on B, G, R; views of memory that
/// holds R, G, B (arrays of other programs) say so, and are reordered for the operations whose results depend on it.
enum class ColourOrder { bgr, rgb };

/// A colour of a palette, with its opacity; 0 to 255.
struct PaletteEntry {
    std::uint8_t r = 0;
    std::uint8_t g = 0;
    std::uint8_t b = 0;
    std::uint8_t a = 255;
    bool operator==(const PaletteEntry&) const = default;
};

/// Dots per inch, across and down; 0 where they are not known.
struct Resolution {
    double x = 0;
    double y = 0;
    bool operator==(const Resolution&) const = default;
};

/// What an image says of itself beside its samples.
struct Tags {
    Encoding encoding = Encoding::other;
    ColourOrder order = ColourOrder::bgr;
    Sixteen sixteen = Sixteen::number;
    Resolution dpi = {};
    std::vector<std::uint8_t> icc = {};
    std::vector<PaletteEntry> palette = {};
    int orientation = 1; ///< as EXIF counts; 1 is upright
};

/// Whether memory holds B, G, R where people speak of R, G, B.
constexpr bool liesBgr(Encoding encoding, ColourOrder order, unsigned bands) noexcept {
    const bool colours = encoding == Encoding::rgb || encoding == Encoding::rgba || encoding == Encoding::rgbLinear;
    return colours && order == ColourOrder::bgr && bands >= 3;
}

/// Where the samples of an image lie. Strides are bytes: between rows, between pixels (not for bits) and, for bits,
/// between the planes of two bands; `offset` is the bit of the first pixel in its byte, counted from the most
/// significant.
struct Pixels {
    std::byte* data = nullptr;
    std::ptrdiff_t stride = 0;
    std::ptrdiff_t pixel = 0;
    std::ptrdiff_t bandStride = 0;
    unsigned offset = 0;
};

/// A rectangle of pixels from the top left of an image.
struct Rectangle {
    long x = 0;
    long y = 0;
    unsigned width = 0;
    unsigned height = 0;
    bool operator==(const Rectangle&) const = default;
};

/// A handle on an image: copies share the samples. Images keep their session alive.
class ORV_API Image {
public:
    /// No image.
    Image() noexcept;
    /// Own samples, all 0. Sizes in pixels. The encoding is told by the bands: gray, gray-alpha, rgb, rgba, other.
    Image(Session& session, unsigned width, unsigned height, unsigned bands, Type type);
    /// The caller's samples, which must outlive the image and every child of it; nothing is copied. Strides must fit
    /// the device: 16 bits of samples between pixels, 32 bits between rows, 16 bits of bytes between rows of bits.
    static Image view(Session& session, unsigned width, unsigned height, unsigned bands, Type type,
                      const Pixels& pixels);
    /// An image shaped and tagged like another one, but without samples: it stands for what a chain never stores.
    static Image withoutSamples(Session& session, const Image& like);
    Image(const Image&) noexcept;
    Image(Image&&) noexcept;
    Image& operator=(const Image&) noexcept;
    Image& operator=(Image&&) noexcept;
    ~Image();

    explicit operator bool() const noexcept { return state_ != nullptr; }

    unsigned width() const noexcept;
    unsigned height() const noexcept;
    unsigned bands() const noexcept;
    Type type() const noexcept;
    Pixels pixels() const noexcept;

    const Tags& tags() const noexcept;
    Tags& tags() noexcept;
    Encoding encoding() const noexcept { return tags().encoding; }

    /// A window on this image: it shares the samples. All bands where `bands` is 0.
    Image child(const Rectangle& window, unsigned band = 0, unsigned bands = 0) const;
    /// An image of its own with the same samples and tags.
    Image copy(Session& session) const;

    /// The image itself where its colours lie in this order or where it has none, a reordered copy otherwise.
    Image inOrder(Session& session, ColourOrder order) const;

    /// To be called after the samples were changed past the library: caches look at the version.
    void samplesChanged() noexcept;

    /// A sample, 0 or 1 for bits. Slow; for looking at a few.
    int sample(unsigned x, unsigned y, unsigned band = 0) const;
    void setSample(unsigned x, unsigned y, unsigned band, int value);

    /// "640 x 480, 3 bands, byte, rgb".
    std::string describe() const;

    /// The object that devices see.
    host::Image& object() const noexcept;

private:
    struct State;
    explicit Image(std::shared_ptr<State> state) noexcept;
    std::shared_ptr<State> state_;
};

/// The encoding that pictures of so many bands have where nothing else is told.
ORV_API Encoding usualEncoding(unsigned bands) noexcept;

} // namespace orv
