// What the file formats share: the table of formats and the conversion of rows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "files/PictureInfo.h"
#include "files/Reader.h"
#include "files/Source.h"
#include "files/Target.h"
#include "files/Writer.h"

namespace orv::files {

std::unique_ptr<Reader> openPng(FileHandle file, const std::string& path, const ReadOptions& options);
std::unique_ptr<Reader> openTiff(FileHandle file, const std::string& path, const ReadOptions& options);
std::unique_ptr<Reader> openJpeg(FileHandle file, const std::string& path, const ReadOptions& options);
std::unique_ptr<Reader> openPnm(FileHandle file, const std::string& path, const ReadOptions& options);
std::unique_ptr<Reader> openNpy(FileHandle file, const std::string& path, const ReadOptions& options);

void writePng(Target& target, const PictureInfo& info, const Pixels& pixels, const WriteOptions& options);
void writeTiff(Target& target, const PictureInfo& info, const Pixels& pixels, const WriteOptions& options);
void writeJpeg(Target& target, const PictureInfo& info, const Pixels& pixels, const WriteOptions& options);
void writePnm(Target& target, const PictureInfo& info, const Pixels& pixels, const WriteOptions& options);
void writeNpy(Target& target, const PictureInfo& info, const Pixels& pixels, const WriteOptions& options);

/// Refuses a picture without pixels or with more than the options allow.
void checkSize(const std::string& path, std::uint64_t width, std::uint64_t height, const ReadOptions& options);

/// Rows of a file go through these between the file's samples and memory: R,G,B order, native byte order, dense. A row
/// of a BIT picture is one plane of packed bits.
class RowStore {
public:
    /// `unsignedSixteen`: the file's 16-bit samples are unsigned. Throws through `path` where a value does not fit.
    RowStore(const PictureInfo& info, const Pixels& pixels, std::string path, bool unsignedSixteen);

    /// Stores a row of the file's samples; `samples` is changed on the way. `band` counts for BIT alone.
    void put(unsigned row, std::byte* samples, unsigned band = 0);

private:
    void convertSixteen(std::int16_t* samples) const;

    const PictureInfo& info_;
    Pixels pixels_;
    std::string path_;
    bool unsignedSixteen_;
};

class RowLoad {
public:
    RowLoad(const PictureInfo& info, const Pixels& pixels, std::string path, bool unsignedSixteen);

    /// Fetches a row as the file's samples.
    void get(unsigned row, std::byte* samples, unsigned band = 0) const;

private:
    void convertSixteen(std::int16_t* samples) const;

    const PictureInfo& info_;
    Pixels pixels_;
    std::string path_;
    bool unsignedSixteen_;
};

/// Swaps the bytes of 16-bit samples where the machine keeps the low byte first: files keep the high byte first.
void toBigEndian(std::byte* samples, std::size_t count) noexcept;

/// Turns the bytes of samples of `size` bytes round.
void swapBytes(std::byte* samples, std::size_t count, std::size_t size) noexcept;

/// Floats or doubles (`size` bytes each) as unsigned 16-bit samples, in their own place: the low end of the range
/// becomes 0, the high end 65535, NaN 0.
void mapFloats(std::byte* samples, std::size_t count, std::size_t size, const FloatRange& range) noexcept;

/// Inverts packed bits.
void invertBits(std::byte* bits, std::size_t bytes) noexcept;

/// The orientation told by an EXIF block (from its byte-order mark on), 1 where it tells none.
int orientationOf(const std::uint8_t* exif, std::size_t bytes) noexcept;

} // namespace orv::files
