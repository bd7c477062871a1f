// Bits written one after another.
#pragma once

#include "memory/frame/Raster.h"

namespace orvi {

/// Gathers the bits of a run and stores them a byte at a time; bits outside the run stay.
class BitRun {
public:
    explicit BitRun(BitPosition start) noexcept : byte_(start.byte), offset_(start.offset) { begin(); }
    BitRun(const BitRun&) = delete;
    BitRun& operator=(const BitRun&) = delete;
    ~BitRun() {
        if (mask_ != 0) flush();
    }

    void put(bool bit) noexcept {
        const unsigned place = 0x80U >> offset_;
        mask_ |= place;
        if (bit) bits_ |= place;
        next();
    }
    /// Leaves a bit as it is.
    void skip() noexcept { next(); }

private:
    void begin() noexcept { bits_ = mask_ = 0; }
    void flush() noexcept { *byte_ = static_cast<std::uint8_t>((*byte_ & ~mask_) | bits_); }
    void next() noexcept {
        if (++offset_ != 8) return;
        if (mask_ != 0) flush();
        ++byte_;
        offset_ = 0;
        begin();
    }

    std::uint8_t* byte_;
    unsigned offset_;
    unsigned bits_ = 0;
    unsigned mask_ = 0;
};

} // namespace orvi
