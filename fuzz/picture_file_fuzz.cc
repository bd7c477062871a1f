// Any bytes as a picture file: read or refused with an error, never a crash, never more memory than the limit allows.

#include <cstdint>
#include <cstdio>
#include <string>
#include <unistd.h>

#include "orv/orv.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static orv::Session session;
    static const std::string path = "/dev/shm/orv-picture-fuzz-" + std::to_string(getpid());
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) return 0;
    std::fwrite(data, 1, size, file);
    std::fclose(file);
    try {
        orv::ReadOptions options;
        options.maxPixels = 1U << 20;
        session.read(path, options);
    } catch (const orv::Error&) {
        // A refusal is an answer.
    }
    std::remove(path.c_str());
    return 0;
}
