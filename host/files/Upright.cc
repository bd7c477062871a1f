// Turning pictures upright while they are decoded: an exact transpose.

#include <utility>
#include <vector>

#include "files/Reader.h"

namespace orv::files {

namespace {

/// Where the file's picture goes: its x runs down where `swapped`, and its first column and row lie last where told.
struct Turn {
    bool swapped;
    bool fromRight;
    bool fromBottom;
};

/// By the EXIF orientation less 1.
constexpr Turn turns[] = {{false, false, false}, {false, true, false}, {false, true, true}, {false, false, true},
                          {true, false, false},  {true, true, false},  {true, true, true},  {true, false, true}};

const Turn& turnOf(const PictureInfo& info) noexcept { return turns[info.orientation - 1]; }

} // namespace

void Reader::turnUpright() {
    if (info_.orientation <= 1 || info_.orientation > 8) return;
    turned_ = info_;
    turned_->orientation = 1;
    if (!turnOf(info_).swapped) return;
    std::swap(turned_->width, turned_->height);
    std::swap(turned_->dpi.x, turned_->dpi.y);
}

void Reader::read(const Pixels& pixels) {
    if (!turned_) return decode(pixels);
    if (info_.type == ORV_BIT) return readTurnedBits(pixels);
    const Turn& turn = turnOf(info_);
    Pixels way = pixels;
    if (turn.fromRight) {
        way.data += static_cast<std::ptrdiff_t>(turned_->width - 1) * pixels.pixel;
        way.pixel = -pixels.pixel;
    }
    if (turn.fromBottom) {
        way.data += static_cast<std::ptrdiff_t>(turned_->height - 1) * pixels.stride;
        way.stride = -pixels.stride;
    }
    if (turn.swapped) std::swap(way.pixel, way.stride);
    decode(way);
}

void Reader::readTurnedBits(const Pixels& pixels) {
    const auto stride = static_cast<std::ptrdiff_t>(rowBytes(info_));
    std::vector<std::byte> bits(static_cast<std::size_t>(stride) * info_.height * info_.bands);
    const Pixels plain{bits.data(), stride, 0, stride * static_cast<std::ptrdiff_t>(info_.height), 0};
    decode(plain);
    const Turn& turn = turnOf(info_);
    for (unsigned band = 0; band < info_.bands; ++band) {
        for (unsigned y = 0; y < info_.height; ++y) {
            const std::byte* row = plain.data + band * plain.bandStride + y * plain.stride;
            for (unsigned x = 0; x < info_.width; ++x) {
                unsigned u = turn.swapped ? y : x;
                unsigned v = turn.swapped ? x : y;
                if (turn.fromRight) u = turned_->width - 1 - u;
                if (turn.fromBottom) v = turned_->height - 1 - v;
                const unsigned at = pixels.offset + u;
                std::byte& place = pixels.data[band * pixels.bandStride + v * pixels.stride + (at >> 3)];
                const auto mask = static_cast<std::byte>(0x80U >> (at & 7));
                const bool set = (row[x >> 3] & static_cast<std::byte>(0x80U >> (x & 7))) != std::byte{0};
                place = set ? place | mask : place & ~mask;
            }
        }
    }
}

} // namespace orv::files
