// PNG files.
#include "picture.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return orvfuzz::readPicture(data, size, {"\x89PNG\r\n\x1a\n"});
}
