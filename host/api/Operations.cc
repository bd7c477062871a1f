#include "orv/OperationsBase.h"

#include <algorithm>
#include <new>
#include <utility>

#include <fmt/format.h>

#include "orv/Session.h"

namespace orv {

// Options that were given. --------------------------------------------------------------------------------------------

GivenOptions& GivenOptions::put(const char* name, bool given, Value value) {
    if (given) arguments_.push_back({name, std::move(value)});
    return *this;
}

GivenOptions& GivenOptions::add(const char* name, double value) { return put(name, true, value); }
GivenOptions& GivenOptions::add(const char* name, const Numbers& value) {
    return put(name, !value.values.empty(), value.values);
}
GivenOptions& GivenOptions::add(const char* name, const Levels& value) {
    return put(name, !value.values.empty(), value);
}
GivenOptions& GivenOptions::add(const char* name, const std::vector<Levels>& value) {
    return put(name, !value.empty(), value);
}
GivenOptions& GivenOptions::add(const char* name, const std::vector<Point>& value) {
    return put(name, !value.empty(), value);
}
GivenOptions& GivenOptions::add(const char* name, const std::string& value) { return put(name, !value.empty(), value); }
GivenOptions& GivenOptions::add(const char* name, const Size& value) {
    return put(name, value != Size{}, std::vector<double>{double(value.width), double(value.height)});
}
GivenOptions& GivenOptions::add(const char* name, const Kernel& value) { return put(name, !value.taps.empty(), value); }
GivenOptions& GivenOptions::add(const char* name, const Element& value) {
    return put(name, !value.members.empty(), value);
}
GivenOptions& GivenOptions::add(const char* name, const Palette& value) { return put(name, value != Palette{}, value); }
GivenOptions& GivenOptions::add(const char* name, const Mask& value) { return put(name, value != Mask{}, value); }
GivenOptions& GivenOptions::add(const char* name, const Table& value) {
    return put(name, !value.samples.empty(), value);
}

GivenOptions& GivenOptions::add(const char* name, const Warp& value) {
    const auto* image = std::get_if<Image>(&value);
    return image != nullptr ? put(name, static_cast<bool>(*image), *image) : add(name, std::get<std::string>(value));
}

// Calls. --------------------------------------------------------------------------------------------------------------

Result OperationsBase::run(std::string_view name, std::span<const Image> sources, const Arguments& arguments,
                           const Roi& roi, const Image& destination) {
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
