// TIFF files.
#include "picture.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return orvfuzz::readPicture(data, size, {std::string_view("II*\0", 4), std::string_view("MM\0*", 4)});
}
