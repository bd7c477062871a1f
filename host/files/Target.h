// The file that a picture is written to.
#pragma once

#include <string>

#include "files/Source.h"
#include "orv/device/OrvTypes.h"

namespace orv::files {

/// A temporary file beside the target, which takes the target's name at commit() and is removed without it. Pipes,
/// devices and standard output ("-") get the bytes at commit().
class ORV_API Target {
public:
    explicit Target(const std::string& path);
    Target(const Target&) = delete;
    Target& operator=(const Target&) = delete;
    ~Target();

    std::FILE* file() noexcept { return file_.get(); }
    const std::string& path() const noexcept { return path_; }
    /// Makes the bytes the target's; throws orv::Error where they could not all be written.
    void commit();

private:
    void copyTo(int descriptor);

    std::string path_;
    std::string temporary_; // empty: an unnamed file whose bytes are copied
    int slot_ = -1;
    FileHandle file_;
};

/// Keeps standard output for pictures: what the process prints from now on goes to standard error.
ORV_API void keepStandardOutput();

} // namespace orv::files
