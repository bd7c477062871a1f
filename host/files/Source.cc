#include "files/Source.h"

#include <cerrno>
#include <cstring>
#include <sys/stat.h>

#include <fmt/format.h>

#include "orv/Error.h"

namespace orv::files {

namespace {

FileHandle copyToTemporary(std::FILE* from, const std::string& path) {
    FileHandle copy(std::tmpfile());
    if (!copy) refuseToRead(path, "no room for a temporary file");
    char block[1 << 16];
    for (std::size_t n = 0; (n = std::fread(block, 1, sizeof block, from)) > 0;) {
        if (std::fwrite(block, 1, n, copy.get()) != n) refuseToRead(path, "no room for a temporary file");
    }
    if (std::ferror(from) != 0) refuseToRead(path, std::strerror(errno));
    std::rewind(copy.get());
    return copy;
}

} // namespace

FileHandle openSource(const std::string& path) {
    if (path == "-") return copyToTemporary(stdin, path);
    FileHandle file(std::fopen(path.c_str(), "rbe"));
    if (!file) refuseToRead(path, std::strerror(errno));
    struct stat status {};
    if (fstat(fileno(file.get()), &status) != 0) refuseToRead(path, std::strerror(errno));
    if (S_ISDIR(status.st_mode)) refuseToRead(path, "it is a folder");
    if (S_ISREG(status.st_mode)) return file;
    return copyToTemporary(file.get(), path);
}

std::uint64_t sizeOf(std::FILE* file) {
    struct stat status {};
    return fstat(fileno(file), &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

void refuseToRead(const std::string& path, const std::string& reason) {
    throw Error("read", fmt::format("cannot read {}: {}", shown(path), reason));
}

void refuseToWrite(const std::string& path, const std::string& reason) {
    throw Error("write", fmt::format("cannot write {}: {}", shown(path), reason));
}

void refuseWish(const std::string& path, const std::string& reason) {
    throw ArgumentError("write", fmt::format("cannot write {}: {}", shown(path), reason));
}

std::string shown(const std::string& path) { return path == "-" ? "the standard stream" : path; }

} // namespace orv::files
