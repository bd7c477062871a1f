// Reading picture files.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "files/PictureInfo.h"

namespace orv::files {

/// The floating-point samples that become black and white.
struct FloatRange {
    double low;
    double high;
};

struct ReadOptions {
    /// A picture of more pixels is refused before any memory is taken for it.
    std::uint64_t maxPixels = std::uint64_t{1} << 31;
    /// What a file is taken for whose first bytes tell no format.
    std::optional<Format> format = {};
    /// Takes the bits of a 1-bit file as they are stored, whatever they mean there.
    bool rawPolarity = false;
    /// How unsigned 16-bit samples become SHORT samples; `number` refuses values above 32767.
    Sixteen sixteen = Sixteen::shifted;
    /// How floating-point samples become an unsigned 16-bit picture; refused where it is not told.
    std::optional<FloatRange> floats = {};
    /// Turns the picture as its orientation says: info() is that of the upright picture.
    bool upright = false;
};

/// One picture of a file. The samples are decoded straight into the memory that the caller gives.
class ORV_API Reader {
public:
    /// Opens a file, "-" for standard input, and reads what stands before the samples. Throws orv::Error naming the
    /// file.
    static std::unique_ptr<Reader> open(const std::string& path, const ReadOptions& options = {});

    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;
    virtual ~Reader() = default;

    const PictureInfo& info() const noexcept { return turned_ ? *turned_ : info_; }

    /// Decodes the samples; once. Throws orv::Error naming the file where it is damaged or cut short.
    void read(const Pixels& pixels);

protected:
    Reader() = default;
    /// Decodes the picture as it lies in the file.
    virtual void decode(const Pixels& pixels) = 0;
    PictureInfo info_;

private:
    void turnUpright();
    void readTurnedBits(const Pixels& pixels);

    std::optional<PictureInfo> turned_;
};

} // namespace orv::files
