// Sessions: where images are read, worked on and written.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "orv/Image.h"
#include "orv/Operations.h"
#include "orv/Result.h"
#include "orv/Values.h"

namespace orv {

namespace host {
class CallWatcher;
}

struct SessionOptions {
    /// The build of the device: "baseline", "v3", "v4", or the path of a module; empty: the best that the processor can
    /// run.
    std::string build = {};
    /// A division by zero is an error and not a warning.
    bool strict = false;
    /// Takes what a typed function has to say beside its result, a line each: warnings of the device (a division by
    /// zero) and what was done to a picture so that it fits. Where there is none, warnings go to standard error.
    std::function<void(std::string_view line)> notices = {};
};

struct ReadOptions {
    /// A picture of more pixels is refused before memory is taken for it.
    std::uint64_t maxPixels = std::uint64_t{1} << 31;
    /// What a file is taken for whose first bytes tell no format: "png", "tiff", "jpeg", "pnm", "npy".
    std::string format = {};
    /// What becomes of unsigned 16-bit samples; signed ones are taken as they are.
    Sixteen sixteen = Sixteen::shifted;
    /// Takes the bits of a 1-bit picture as they are stored; otherwise a set bit is white, as the file means it.
    bool rawPolarity = false;
    /// The floating-point samples that become black and white, low and high; such pictures are refused otherwise.
    std::optional<std::pair<double, double>> floats = {};
    /// Leaves the picture as it lies in the file; otherwise it is turned as its EXIF or TIFF orientation says.
    bool keepOrientation = false;
};

struct WriteOptions {
    /// "png", "tiff", "jpeg", "pnm", "npy"; empty: what the ending of the file's name says.
    std::string format = {};
    /// Of JPEG, 1 to 100.
    int quality = 92;
    /// TIFF: "none", "lzw", "deflate", "packbits", "g4" (empty: deflate, g4 for bits of one band). PNG: "0" to "9".
    std::string compression = {};
    /// Writes the bits of a 1-bit picture as they lie in memory, whatever they mean.
    bool rawPolarity = false;
};

/// A session over the device of this process. One call runs at a time, over all sessions and threads. Every operation
/// of the catalogue is a member function (Operations.h), and can be called by its name.
class ORV_API Session : public Operations {
public:
    /// Loads the device where no session of this process has. Throws Error where that build of it cannot be loaded.
    explicit Session(const SessionOptions& options = {});
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session();

    /// A picture from a PNG, TIFF, JPEG, PNM, PAM or .npy file; "-" is standard input. Throws Error that names the
    /// file.
    Image read(const std::string& path, const ReadOptions& options = {});
    /// Writes to a temporary name beside the target, which is renamed at the end; "-" is standard output. Throws Error
    /// that names the file, and what its format cannot hold.
    void write(const Image& image, const std::string& path, const WriteOptions& options = {});

    /// Runs an operation of the catalogue by its name. Throws Error, naming the operation and the parameter, before the
    /// device is called where anything does not fit.
    Result apply(std::string_view operation, std::span<const Image> sources, const Arguments& arguments = {},
                 const CallOptions& options = {});

    /// "baseline", "v3", "v4", and the module's path.
    const std::string& build() const noexcept;
    const std::string& modulePath() const noexcept;
    /// Every addFunction call of the device in order: "add8", "add8/multiply8".
    std::vector<std::string> registrations() const;

    host::Session& object() const noexcept;
    /// Lets somebody look on at the calls of the device, until it is called with null. A watcher outlives its watching.
    void watch(host::CallWatcher* watcher) noexcept;
    host::CallWatcher* watcher() const noexcept;

private:
    friend class OperationsBase;
    void tell(std::string_view operation, const Result& result) const;

    struct State;
    std::unique_ptr<State> state_;
};

/// The version of the library, "0.1.0".
ORV_API std::string_view version() noexcept;

} // namespace orv
