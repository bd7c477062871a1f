// Writing picture files.
#pragma once

#include <optional>
#include <string>

#include "files/PictureInfo.h"

namespace orv::files {

struct WriteOptions {
    /// The format; told by the file name's ending where it is not given.
    std::optional<Format> format = {};
    /// JPEG, 1 to 100.
    int quality = 92;
    /// TIFF: none, lzw, deflate, packbits, g4; empty: deflate, and g4 for one-band 1-bit pictures. PNG: a zlib level 0
    /// to 9.
    std::string compression = {};
    /// Writes the bits of a 1-bit picture as they are, whatever they mean.
    bool rawPolarity = false;
};

/// Writes a picture to a file, "-" for standard output: to a temporary name beside the target first, which is renamed
/// at the end, so that nothing is left of a failed run. Throws orv::Error naming the file, and what the format cannot
/// hold.
ORV_API void write(const std::string& path, const PictureInfo& info, const Pixels& pixels,
                   const WriteOptions& options = {});

/// Removes the temporary files of writes that are under way: for a handler of interrupts, and safe to call from one.
ORV_API void removeTemporaries() noexcept;

} // namespace orv::files
