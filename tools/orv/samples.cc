#include "samples.h"

#include <cstring>

namespace orv::tool {

SampleRows::SampleRows(const Image& image)
    : image_(image), pixels_(image.pixels()), samples_(std::size_t{image.width()} * image.bands()) {}

void SampleRows::bits(const std::byte* plane, unsigned band) {
    int* to = samples_.data() + band;
    for (unsigned x = 0; x < image_.width(); ++x, to += image_.bands()) {
        const unsigned at = pixels_.offset + x;
        *to = static_cast<int>(std::to_integer<unsigned>(plane[at >> 3]) >> (7 - (at & 7))) & 1;
    }
}

std::span<const int> SampleRows::row(unsigned y) {
    const std::byte* from = pixels_.data + static_cast<std::ptrdiff_t>(y) * pixels_.stride;
    const unsigned bands = image_.bands();
    if (image_.type() == Type::bit) {
        for (unsigned b = 0; b < bands; ++b) bits(from + static_cast<std::ptrdiff_t>(b) * pixels_.bandStride, b);
        return samples_;
    }
    int* to = samples_.data();
    for (unsigned x = 0; x < image_.width(); ++x, from += pixels_.pixel) {
        for (unsigned b = 0; b < bands; ++b) {
            if (image_.type() == Type::byte) {
                *to++ = std::to_integer<int>(from[b]);
                continue;
            }
            std::int16_t value = 0;
            std::memcpy(&value, from + 2 * std::ptrdiff_t{b}, sizeof value);
            *to++ = value;
        }
    }
    return samples_;
}

} // namespace orv::tool
