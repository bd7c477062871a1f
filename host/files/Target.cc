#include "files/Target.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "files/Writer.h"

namespace orv::files {

namespace {

// Names of temporary files under way, where a handler of interrupts finds them: plain memory, no locks.
constexpr int slots = 16;
constexpr std::size_t nameBytes = 4096;
std::array<std::array<char, nameBytes>, slots> names;
std::array<std::atomic<bool>, slots> taken;

int takeSlot(const std::string& name) noexcept {
    if (name.size() >= nameBytes) return -1;
    for (int i = 0; i < slots; ++i) {
        if (taken[static_cast<std::size_t>(i)].exchange(true)) continue;
        std::memcpy(names[static_cast<std::size_t>(i)].data(), name.c_str(), name.size() + 1);
        return i;
    }
    return -1;
}

void giveSlot(int slot) noexcept {
    if (slot < 0) return;
    names[static_cast<std::size_t>(slot)][0] = '\0';
    taken[static_cast<std::size_t>(slot)] = false;
}

int keptOutput = -1;

bool isPlace(const std::string& path) noexcept {
    struct stat status {};
    if (path == "-") return true;
    return stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
}

mode_t modeFor(const std::string& path) noexcept {
    struct stat status {};
    if (stat(path.c_str(), &status) == 0) return status.st_mode & 07777;
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

} // namespace

void removeTemporaries() noexcept {
    for (const auto& name : names) {
        if (name[0] != '\0') unlink(name.data());
    }
}

void keepStandardOutput() {
    if (keptOutput >= 0) return;
    std::fflush(stdout);
    keptOutput = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    if (keptOutput >= 0) dup2(STDERR_FILENO, STDOUT_FILENO);
}

Target::Target(const std::string& path) : path_(path) {
    if (isPlace(path)) {
        struct stat status {};
        if (path != "-" && stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode))
            refuseToWrite(path, "it is a folder");
        file_.reset(std::tmpfile());
        if (!file_) refuseToWrite(path, "no room for a temporary file");
        return;
    }
    temporary_ = path + ".XXXXXX";
    const int descriptor = mkostemp(temporary_.data(), O_CLOEXEC);
    if (descriptor < 0) {
        temporary_.clear();
        refuseToWrite(path, std::strerror(errno));
    }
    slot_ = takeSlot(temporary_);
    fchmod(descriptor, modeFor(path));
    file_.reset(fdopen(descriptor, "w+b"));
}

Target::~Target() {
    file_.reset();
    if (!temporary_.empty()) unlink(temporary_.c_str());
    giveSlot(slot_);
}

void Target::copyTo(int descriptor) {
    std::rewind(file_.get());
    char block[1 << 16];
    for (std::size_t n = 0; (n = std::fread(block, 1, sizeof block, file_.get())) > 0;) {
        for (std::size_t done = 0; done < n;) {
            const ssize_t written = ::write(descriptor, block + done, n - done);
            if (written < 0) refuseToWrite(path_, std::strerror(errno));
            done += static_cast<std::size_t>(written);
        }
    }
}

void Target::commit() {
    if (std::fflush(file_.get()) != 0 || std::ferror(file_.get()) != 0) refuseToWrite(path_, std::strerror(errno));
    if (path_ == "-") {
        copyTo(keptOutput >= 0 ? keptOutput : STDOUT_FILENO);
        return;
    }
    if (temporary_.empty()) {
        const int descriptor = ::open(path_.c_str(), O_WRONLY | O_CLOEXEC);
        if (descriptor < 0) refuseToWrite(path_, std::strerror(errno));
        const FileHandle place(fdopen(descriptor, "wb"));
        copyTo(descriptor);
        return;
    }
    if (std::rename(temporary_.c_str(), path_.c_str()) != 0) refuseToWrite(path_, std::strerror(errno));
    temporary_.clear();
}

} // namespace orv::files
