#include "memory/measure/ClosedRows.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "memory/frame/lanes.h"
#include "memory/frame/orv_bit_utils.h"
#include "orv/device/OrvSystemState.h"

namespace orvi {

bool Scratch::make(OrvImage* like, OrvDataType type) noexcept {
    OrvSystemState* const state = like->getSystemState();
    if (state == nullptr) return false;
    image_ = state->createImage(like->getWidth(), like->getHeight(), 1, type);
    if (image_ == nullptr) return false;
    float x = 0;
    float y = 0;
    like->getOrigin(&x, &y);
    image_->setOrigin(x, y);
    return raster_.read(image_, type);
}

namespace {

/// Up to eight bytes, the first at the top.
std::uint64_t word(const std::uint8_t* from, std::size_t bytes) noexcept {
    if (bytes >= sizeof(std::uint64_t)) return firstByteHighest(lanes::load<std::uint64_t>(from));
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < bytes; ++i) value |= std::uint64_t{from[i]} << (56 - 8 * i);
    return value;
}

} // namespace

ClosedRows::ClosedRows(const Raster& scratch, Barrier& barrier, long width, long height) noexcept
    : data_(reinterpret_cast<std::uint8_t*>(scratch.data)),
      stride_(scratch.stride),
      barrier_(barrier),
      width_(width),
      height_(height),
      rowBytes_((static_cast<std::size_t>(width) + 7) >> 3) {}

void ClosedRows::make(long row) noexcept {
    std::uint8_t* to = at(row);
    for (long column = 0; column < width_; column += Barrier::chunkPixels, to += Barrier::chunkBytes) {
        barrier_.bits(column, row, static_cast<unsigned>(std::min<long>(width_ - column, Barrier::chunkPixels)), to);
    }
    std::uint8_t& last = at(row)[rowBytes_ - 1]; // what fills it up is no pixel
    last = static_cast<std::uint8_t>(last | (0xffU >> ((width_ - 1) & 7) >> 1));
    if (first_ == end_) {
        first_ = row;
        end_ = row + 1;
    } else {
        first_ = std::min(first_, row);
        end_ = std::max(end_, row + 1);
    }
}

void ClosedRows::keepFlooded() noexcept {
    std::uint8_t bits[Barrier::chunkBytes];
    for (long row = first_; row < end_; ++row) {
        std::uint8_t* to = at(row);
        for (long column = 0; column < width_; column += Barrier::chunkPixels, to += Barrier::chunkBytes) {
            const auto pixels = static_cast<unsigned>(std::min<long>(width_ - column, Barrier::chunkPixels));
            barrier_.bits(column, row, pixels, bits);
            for (unsigned i = 0; i < (pixels + 7) >> 3; ++i) to[i] = static_cast<std::uint8_t>(to[i] ^ bits[i]);
        }
    }
}

void ClosedRows::takeClosed(long row, std::uint64_t* closed) const noexcept {
    const std::size_t whole = rowBytes_ / sizeof *closed;
    const std::uint8_t* const from = at(row);
    for (std::size_t i = 0; i < whole; ++i) {
        closed[i] = firstByteHighest(lanes::load<std::uint64_t>(from + i * sizeof *closed));
    }
    std::fill(closed + whole, closed + words(), std::uint64_t{0});
    const std::size_t done = whole * sizeof *closed;
    if (done < rowBytes_) closed[whole] = word(from + done, rowBytes_ - done);
}

void ClosedRows::take(long row, std::uint64_t* open, std::uint64_t* flooded) noexcept {
    const std::uint8_t* from = use(row);
    for (std::size_t done = 0; done < rowBytes_; done += Barrier::chunkBytes, from += Barrier::chunkBytes) {
        const std::size_t bytes = std::min<std::size_t>(rowBytes_ - done, Barrier::chunkBytes);
        const auto column = static_cast<long>(done) * 8;
        const auto pixels = static_cast<unsigned>(std::min<long>(width_ - column, Barrier::chunkPixels));
        std::uint8_t barrier[Barrier::chunkBytes] = {};
        barrier_.bits(column, row, pixels, barrier);
        std::uint64_t closed[blockWords];
        std::uint64_t been[blockWords];
        std::memcpy(been, barrier, sizeof been);
        if (bytes == sizeof closed) {
            std::memcpy(closed, from, sizeof closed);
        } else {
            std::fill_n(closed, blockWords, ~std::uint64_t{0});
            std::memcpy(closed, from, bytes);
        }
        for (std::size_t i = 0; i < blockWords; ++i) {
            been[i] = firstByteHighest(closed[i] ^ been[i]);
            closed[i] = ~firstByteHighest(closed[i]);
        }
        std::memcpy(open, closed, sizeof closed);
        std::memcpy(flooded, been, sizeof been);
        open += blockWords;
        flooded += blockWords;
    }
}

void ClosedRows::close(long row, const std::uint64_t* pixels) noexcept {
    std::uint8_t* const to = use(row);
    const std::size_t whole = rowBytes_ / sizeof *pixels;
    for (std::size_t i = 0; i < whole; ++i) {
        std::uint8_t* const place = to + i * sizeof *pixels;
        lanes::store(place, lanes::load<std::uint64_t>(place) | firstByteHighest(pixels[i]));
    }
    for (std::size_t byte = whole * sizeof *pixels; byte < rowBytes_; ++byte) {
        to[byte] = static_cast<std::uint8_t>(to[byte] | pixels[whole] >> (56 - byte % sizeof *pixels * 8));
    }
}

long ClosedRows::firstBit(const std::uint8_t* row, long from, long end, std::uint64_t flip) const noexcept {
    if (from >= end) return from;
    auto byte = static_cast<std::size_t>(from >> 3);
    const std::uint64_t head = (word(row + byte, rowBytes_ - byte) ^ flip) << (from & 7);
    if (head != 0) return std::min(end, from + std::countl_zero(head));
    for (byte += sizeof head; static_cast<long>(byte * 8) < end; byte += sizeof head) {
        const std::uint64_t bits = word(row + byte, rowBytes_ - byte) ^ flip;
        if (bits != 0) return std::min(end, static_cast<long>(byte * 8) + std::countl_zero(bits));
    }
    return end;
}

long ClosedRows::lastClosed(long row, long from) noexcept {
    const std::uint8_t* const bytes = use(row);
    long end = from + 1; // bits from here on do not count
    while (end > 0) {
        const long first = std::max(0L, ((end + 7) >> 3) - static_cast<long>(sizeof(std::uint64_t))); // byte
        const auto count = static_cast<std::size_t>(((end + 7) >> 3) - first);
        const std::uint64_t bits = word(bytes + first, count) >> (wordBits - (end - first * 8));
        if (bits != 0) return end - 1 - std::countr_zero(bits);
        end = first * 8;
    }
    return -1;
}

void ClosedRows::close(long row, long from, long end) noexcept {
    if (from >= end) return;
    if ((from >> 3) == ((end - 1) >> 3)) {
        std::uint8_t& byte = use(row)[from >> 3];
        byte = static_cast<std::uint8_t>(byte | (clr_msb_mask[from & 7] & clr_lsb_mask[7 - ((end - 1) & 7)]));
        return;
    }
    orv_bit_setvalue(use(row) + (from >> 3), 1, static_cast<unsigned>(end - from), static_cast<unsigned>(from & 7));
}

Run ClosedRows::closeRun(long row, long column) noexcept {
    const Run run{lastClosed(row, column) + 1, firstClosed(row, column + 1, width_)};
    close(row, run.from, run.end);
    return run;
}

} // namespace orvi
