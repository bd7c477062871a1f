// Memory for samples that tells when something else is written, or touched.
#pragma once

#include <cstddef>
#include <cstdint>

#include "Runner.h"

namespace orvcase {

// A sanitizer watches the bytes around an exact block itself, reads included.
#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool underSanitizer = true;
#elif defined(__has_feature)
inline constexpr bool underSanitizer = __has_feature(address_sanitizer);
#else
inline constexpr bool underSanitizer = false;
#endif

/// A block of exactly `size` bytes, all 0xA5. With Storage::heap it begins at a multiple of 16 and lies between margins
/// that tell a write beyond it; with the others an unreadable page is its neighbour.
class SampleMemory {
public:
    static constexpr unsigned char filling = 0xA5;

    SampleMemory(Storage storage, std::size_t size);
    SampleMemory(SampleMemory&& other) noexcept;
    SampleMemory& operator=(SampleMemory&&) = delete;
    ~SampleMemory();

    unsigned char* data() { return data_; }
    const unsigned char* data() const { return data_; }
    std::size_t size() const { return size_; }

    /// Whether the bytes around the block are still as they were made.
    bool marginsIntact() const;

private:
    Storage storage_;
    std::size_t size_;
    std::size_t room_ = 0;           ///< bytes between the walls
    unsigned char* block_ = nullptr; ///< what was allocated
    unsigned char* data_ = nullptr;
};

} // namespace orvcase
