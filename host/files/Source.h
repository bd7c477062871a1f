// The bytes of a file to read: seekable, whatever they come from.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

namespace orv::files {

struct CloseFile {
    void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};
using FileHandle = std::unique_ptr<std::FILE, CloseFile>;

/// Opens a file for reading; standard input ("-") and pipes are copied to a temporary file first. Throws orv::Error.
FileHandle openSource(const std::string& path);

/// A file's size in bytes; the position is kept.
std::uint64_t sizeOf(std::FILE* file);

/// Throws orv::Error for a file that cannot be read: "cannot read NAME: REASON".
[[noreturn]] void refuseToRead(const std::string& path, const std::string& reason);
/// Throws orv::Error for a file that cannot be written: "cannot write NAME: REASON".
[[noreturn]] void refuseToWrite(const std::string& path, const std::string& reason);

/// The same where how to write it was said in words that do not fit: throws orv::ArgumentError.
[[noreturn]] void refuseWish(const std::string& path, const std::string& reason);

/// A path as people should see it in messages.
std::string shown(const std::string& path);

} // namespace orv::files
