#include "catalogue/order.h"

#include "orv/Session.h"

namespace orv {

namespace {

bool holdsColours(const Image& image) noexcept { return liesBgr(image.encoding(), ColourOrder::bgr, image.bands()); }

template <class Sample, unsigned Bands>
void swapRow(const Sample* from, std::ptrdiff_t fromStep, Sample* to, std::ptrdiff_t toStep, unsigned width) noexcept {
    for (unsigned x = 0; x < width; ++x, from += fromStep, to += toStep) {
        to[0] = from[2];
        to[1] = from[1];
        to[2] = from[0];
        if constexpr (Bands == 4) to[3] = from[3];
    }
}

template <class Sample>
void swapPixels(const Image& source, const Image& target) noexcept {
    const Pixels from = source.pixels();
    const Pixels to = target.pixels();
    const auto step = [](const Pixels& p) { return p.pixel / static_cast<std::ptrdiff_t>(sizeof(Sample)); };
    for (unsigned y = 0; y < source.height(); ++y) {
        const auto* a = reinterpret_cast<const Sample*>(from.data + y * from.stride);
        auto* b = reinterpret_cast<Sample*>(to.data + y * to.stride);
        if (source.bands() == 3)
            swapRow<Sample, 3>(a, step(from), b, step(to), source.width());
        else
            swapRow<Sample, 4>(a, step(from), b, step(to), source.width());
    }
}

void swapBits(const Image& from, Image to) {
    for (unsigned band = 0; band < from.bands(); ++band) {
        for (unsigned y = 0; y < from.height(); ++y) {
            for (unsigned x = 0; x < from.width(); ++x)
                to.setSample(x, y, band < 3 ? 2 - band : band, from.sample(x, y, band));
        }
    }
}

} // namespace

bool orderDiffers(const Image& a, const Image& b) noexcept {
    return holdsColours(a) && holdsColours(b) && a.tags().order != b.tags().order;
}

void copyInOrder(const Image& from, const Image& to) {
    switch (from.type()) {
    case Type::bit:
        return swapBits(from, to);
    case Type::int16:
        return swapPixels<std::int16_t>(from, to);
    default:
        return swapPixels<std::uint8_t>(from, to);
    }
}

Image Image::inOrder(Session& session, ColourOrder order) const {
    if (!holdsColours(*this) || tags().order == order) return *this;
    Image made(session, width(), height(), bands(), type());
    made.tags() = tags();
    made.tags().order = order;
    copyInOrder(*this, made);
    return made;
}

} // namespace orv
