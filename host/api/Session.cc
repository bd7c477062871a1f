#include "orv/Session.h"

#include <fmt/format.h>

#include "catalogue/Call.h"
#include "files/Reader.h"
#include "files/Writer.h"
#include "orv/Catalogue.h"
#include "orv/Version.h"
#include "orv/host/Image.h"
#include "orv/host/Session.h"

namespace orv {

namespace {

std::optional<files::Format> formatFrom(const std::string& name, const char* op) {
    if (name.empty()) return std::nullopt;
    const auto format = files::formatNamed(name);
    if (!format) throw Error(op, fmt::format("there is no format '{}' (known: png, tiff, jpeg, pnm, npy)", name));
    return format;
}

std::optional<files::FloatRange> rangeFrom(const ReadOptions& options) {
    if (!options.floats) return std::nullopt;
    return files::FloatRange{options.floats->first, options.floats->second};
}

} // namespace

struct Session::State {
    host::Owned<host::Session> session;
    bool strict = false;
    std::function<void(std::string_view)> notices;
    host::CallWatcher* watcher = nullptr;
};

Session::Session(const SessionOptions& options) : state_(std::make_unique<State>()) {
    try {
        state_->session = host::Session::open(host::DeviceChoice{.build = options.build});
    } catch (const host::DeviceError& error) {
        throw Error("session", error.what());
    }
    state_->strict = options.strict;
    state_->notices = options.notices;
}

Session::~Session() = default;

host::Session& Session::object() const noexcept { return *state_->session; }
void Session::watch(host::CallWatcher* watcher) noexcept { state_->watcher = watcher; }
host::CallWatcher* Session::watcher() const noexcept { return state_->watcher; }
const std::string& Session::build() const noexcept { return object().device()->build(); }
const std::string& Session::modulePath() const noexcept { return object().device()->path(); }
std::vector<std::string> Session::registrations() const { return object().device()->registrations(); }

Image Session::read(const std::string& path, const ReadOptions& options) {
    const auto reader = files::Reader::open(path, {.maxPixels = options.maxPixels,
                                                   .format = formatFrom(options.format, "read"),
                                                   .rawPolarity = options.rawPolarity,
                                                   .sixteen = options.sixteen,
                                                   .floats = rangeFrom(options),
                                                   .upright = !options.keepOrientation});
    const files::PictureInfo& info = reader->info();
    Image image(*this, info.width, info.height, info.bands, static_cast<Type>(info.type));
    image.tags() = {.encoding = info.encoding,
                    .sixteen = info.sixteen,
                    .dpi = info.dpi,
                    .icc = info.icc,
                    .palette = info.palette,
                    .orientation = info.orientation};
    reader->read(image.pixels());
    image.samplesChanged();
    return image;
}

void Session::write(const Image& image, const std::string& path, const WriteOptions& options) {
    if (!image) throw Error("write", fmt::format("cannot write {}: there is no image", path));
    files::PictureInfo info;
    info.width = image.width();
    info.height = image.height();
    info.bands = image.bands();
    info.type = static_cast<OrvDataType>(image.type());
    const Tags& tags = image.tags();
    info.encoding = tags.encoding;
    info.order = tags.order;
    info.sixteen = tags.sixteen;
    info.dpi = tags.dpi;
    info.icc = tags.icc;
    info.palette = tags.palette;
    files::write(path, info, image.pixels(),
                 {.format = formatFrom(options.format, "write"),
                  .quality = options.quality,
                  .compression = options.compression,
                  .rawPolarity = options.rawPolarity});
}

Result Session::apply(std::string_view operation, std::span<const Image> sources, const Arguments& arguments,
                      const CallOptions& options) {
    Call call(*this, operationNamed(operation), sources, arguments, options);
    Result result = call.run();
    if (state_->strict && !result.warnings.empty()) {
        throw Error(std::string(operation), fmt::format("{}: {}", operation, result.warnings.front()));
    }
    return result;
}

void Session::tell(std::string_view operation, const Result& result) const {
    const auto& notices = state_->notices;
    for (const std::string& warning : result.warnings) {
        const std::string line = fmt::format("{}: warning: {}", operation, warning);
        if (notices)
            notices(line);
        else
            fmt::print(stderr, "orv: {}\n", line);
    }
    for (std::size_t i = 0; notices && i < result.notes.size(); ++i)
        notices(fmt::format("{}: note: {}", operation, result.notes[i]));
}

std::string_view version() noexcept { return ORV_VERSION; }

} // namespace orv
