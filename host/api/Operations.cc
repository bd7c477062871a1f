#include "orv/OperationsBase.h"

#include <algorithm>
#include <new>
#include <utility>

#include <fmt/format.h>

#include "orv/Session.h"

namespace orv {

// Options that were given. --------------------------------------------------------------------------------------------

void GivenOptions::put(const char* name, Value value) { arguments_.push_back({name, std::move(value)}); }

GivenOptions& GivenOptions::add(const char* name, double value) {
    put(name, value);
    return *this;
}

GivenOptions& GivenOptions::add(const char* name, const Numbers& value) {
    if (!value.values.empty()) put(name, value.values);
    return *this;
}

GivenOptions& GivenOptions::add(const char* name, const Levels& value) {
    if (!value.values.empty()) put(name, value);
    return *this;
}

GivenOptions& GivenOptions::add(const char* name, const std::vector<Levels>& value) {
    if (!value.empty()) put(name, value);
    return *this;
}

GivenOptions& GivenOptions::add(const char* name, const std::vector<Point>& value) {
    if (!value.empty()) put(name, value);
    return *this;
}

GivenOptions& GivenOptions::add(const char* name, const std::string& value) {
    if (!value.empty()) put(name, value);
    return *this;
}

GivenOptions& GivenOptions::add(const char* name, const Size& value) {
    if (value != Size{}) put(name, std::vector<double>{double(value.width), double(value.height)});
    return *this;
}

GivenOptions& GivenOptions::add(const char* name, const Kernel& value) {
    if (!value.taps.empty()) put(name, value);
    return *this;
}

GivenOptions& GivenOptions::add(const char* name, const Element& value) {
    if (!value.members.empty()) put(name, value);
    return *this;
}

GivenOptions& GivenOptions::add(const char* name, const Palette& value) {
    if (value != Palette{}) put(name, value);
    return *this;
}

GivenOptions& GivenOptions::add(const char* name, const Mask& value) {
    if (value != Mask{}) put(name, value);
    return *this;
}

GivenOptions& GivenOptions::add(const char* name, const Table& value) {
    if (!value.samples.empty()) put(name, value);
    return *this;
}

GivenOptions& GivenOptions::add(const char* name, const Warp& value) {
    if (const auto* image = std::get_if<Image>(&value)) {
        if (*image) put(name, *image);
        return *this;
    }
    return add(name, std::get<std::string>(value));
}

// Calls. --------------------------------------------------------------------------------------------------------------

Result OperationsBase::run(std::string_view name, std::span<const Image> sources, Arguments arguments, const Roi& roi,
                           const Image& destination) {
    // Every object of operations is the first part of a session.
    auto& session = static_cast<Session&>(*this);
    Result result = session.apply(name, sources, arguments, {.destination = destination, .roi = roi});
    session.tell(name, result);
    return result;
}

void OperationsBase::checkDestination(std::string_view name, const Image& destination) {
    if (!destination) throw Error(std::string(name), fmt::format("{}: destination: an empty image came", name));
}

// Results. ------------------------------------------------------------------------------------------------------------

std::vector<double> Measurements::operator[](std::string_view name) && { return std::as_const(*this)[name]; }

const std::vector<double>& Measurements::operator[](std::string_view name) const& {
    const auto found = std::ranges::find(all_, name, &Measurement::name);
    if (found != all_.end()) return found->values;
    std::string known;
    for (const Measurement& each : all_) known += (known.empty() ? "" : ", ") + each.name;
    throw Error("measurements", fmt::format("nothing called '{}' was measured (known: {})", name, known));
}

namespace {

/// Made while there is memory, so that the want of it can be told.
const Error& noMemory() {
    static const Error error("memory", "no memory");
    return error;
}
[[maybe_unused]] const Error& madeAtLoad = noMemory();

} // namespace

Status Status::ofCurrentException() noexcept {
    Status status;
    try {
        try {
            throw;
        } catch (const Error& error) {
            status.error_ = std::make_shared<const Error>(error);
        } catch (const std::bad_alloc&) {
            throw;
        } catch (const std::exception& error) {
            status.error_ = std::make_shared<const Error>("call", error.what());
        }
    } catch (...) {
        // Without an owner: nothing is allocated, nothing is freed.
        status.error_ = std::shared_ptr<const Error>(std::shared_ptr<const Error>(), &noMemory());
    }
    return status;
}

std::string_view Status::op() const noexcept { return error_ ? std::string_view(error_->op()) : std::string_view(); }
std::string_view Status::id() const noexcept { return error_ ? std::string_view(error_->id()) : std::string_view(); }
const char* Status::what() const noexcept { return error_ ? error_->what() : ""; }

} // namespace orv
