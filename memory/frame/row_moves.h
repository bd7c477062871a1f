// Rows whose samples are only moved: repeated, taken apart and put together, or put past the caches.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orvi {

/// Bytes of a line of the caches.
inline constexpr std::size_t cacheLine = 64;
/// Those before the next line.
inline std::size_t beforeLine(const void* to) noexcept { return -reinterpret_cast<std::uintptr_t>(to) % cacheLine; }

/// The least bytes of a result that goes past the caches. The tests have a module of their own for which it is one.
extern const std::size_t leastPast;

/// Whether a result of so many bytes that is made of sources goes past the caches: lines need not be fetched to
/// be overwritten, and the caches would not hold them for whoever reads them next.
inline bool goesPast(std::size_t bytes) noexcept { return bytes >= leastPast; }

/// Writes each sample three times.
void repeatThrice(std::uint8_t* to, const std::uint8_t* from, std::size_t samples) noexcept;
void repeatThrice(std::int16_t* to, const std::int16_t* from, std::size_t samples) noexcept;

/// Copies bytes past the caches where the instruction set can write whole lines.
void copyPast(void* to, const void* from, std::size_t bytes) noexcept;
/// The same for rows that are whole lines, and follow one another in the source.
void copyLinesPast(std::byte* to, std::ptrdiff_t stride, const std::byte* from, std::size_t bytes,
                   std::size_t rows) noexcept;
/// To be called behind the last of what goes past the caches.
void endPast() noexcept;

/// The first three bands of pixels of four bytes, and four bands as pixels.
void splitThreeOfFour(const std::uint8_t* from, std::uint8_t* band0, std::uint8_t* band1, std::uint8_t* band2,
                      std::size_t pixels) noexcept;
void joinFour(const std::uint8_t* band0, const std::uint8_t* band1, const std::uint8_t* band2,
              const std::uint8_t* band3, std::uint8_t* to, std::size_t pixels) noexcept;

namespace plain {
void splitThreeOfFour(const std::uint8_t* from, std::uint8_t* band0, std::uint8_t* band1, std::uint8_t* band2,
                      std::size_t pixels) noexcept;
void joinFour(const std::uint8_t* band0, const std::uint8_t* band1, const std::uint8_t* band2,
              const std::uint8_t* band3, std::uint8_t* to, std::size_t pixels) noexcept;
void repeatThrice(std::uint8_t* to, const std::uint8_t* from, std::size_t samples) noexcept;
void repeatThrice(std::int16_t* to, const std::int16_t* from, std::size_t samples) noexcept;
} // namespace plain

} // namespace orvi
