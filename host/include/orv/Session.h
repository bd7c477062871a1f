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
#include "orv/Values.h"

namespace orv {

struct SessionOptions {
    /// The build of the device: "baseline", "v3", "v4", or the path of a module; empty: the best that the processor can
    /// run.
    std::string build = {};
    /// A division by zero is an error and not a warning.
    bool strict = false;
};

struct ReadOptions {
    /// A picture of more pixels is refused before memory is taken for it.
    std::uint64_t maxPixels = std::uint64_t{1} << 31;
    std::string format = {};
    Sixteen sixteen = Sixteen::shifted;
    bool rawPolarity = false;
    /// Leaves the picture as it lies in the file; otherwise it is turned as its EXIF or TIFF orientation says.
    bool keepOrientation = false;
};

struct WriteOptions {
    std::string format = {};
    int quality = 92;
    std::string compression = {};
    bool rawPolarity = false;
};

/// A named list of numbers that an operation measured.
struct Measurement {
    std::string name;
    std::vector<double> values;
};

/// What an operation made.
struct Result {
    Image image;
    /// Of operations that make several images.
    std::vector<Image> images;
    std::vector<Measurement> measurements;
    std::optional<Palette> palette;
    std::optional<Table> table;
    /// The calls of the device that the operation became, a line each.
    std::vector<std::string> explained;
    /// What the device warned of (a division by zero).
    std::vector<std::string> warnings;
    /// What was done to the picture so that it fits, a line each: "the palette picture became rgb".
    std::vector<std::string> notes;
};

/// What a call may be told beside its sources and arguments.
struct CallOptions {
    /// Written in place; made where it is not given.
    Image destination = {};
    /// The pixels of the destination to write; all where it is empty.
    std::vector<Rectangle> roi = {};
    /// Alpha is taken for one more band.
    bool alphaAsBand = false;
};

/// A session over the device of this process. One call runs at a time, over all sessions and threads.
class ORV_API Session {
public:
    explicit Session(const SessionOptions& options = {});
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session();

    Image read(const std::string& path, const ReadOptions& options = {});
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

private:
    struct State;
    std::unique_ptr<State> state_;
};

/// The version of the library, "0.1.0".
ORV_API std::string_view version() noexcept;

} // namespace orv
