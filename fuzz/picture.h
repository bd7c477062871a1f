// Any bytes as a picture file of one format: read or refused with an error, never a crash, never more memory than the
// limit allows.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <unistd.h>

#include "orv/orv.h"

namespace orvfuzz {

/// Reads the bytes as a file. Those that begin otherwise than the format does are no input for its target.
inline int readPicture(const std::uint8_t* data, std::size_t size, std::initializer_list<std::string_view> beginnings) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    bool begins = false;
    for (const std::string_view each : beginnings) begins = begins || bytes.starts_with(each);
    if (!begins) return -1;
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

} // namespace orvfuzz
