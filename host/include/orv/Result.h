// What operations make, and how a call that does not throw says how it went.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orv/Error.h"
#include "orv/Image.h"
#include "orv/Values.h"

namespace orv {

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

/// What an operation measured, by its name: session.extrema(photo)["max"].
class ORV_API Measurements {
public:
    Measurements() = default;
    explicit Measurements(std::vector<Measurement> all) noexcept : all_(std::move(all)) {}

    /// Throws Error where nothing of that name was measured. Of a temporary it is a copy, which a loop keeps alive.
    const std::vector<double>& operator[](std::string_view name) const&;
    std::vector<double> operator[](std::string_view name) &&;

    std::size_t size() const noexcept { return all_.size(); }
    auto begin() const noexcept { return all_.begin(); }
    auto end() const noexcept { return all_.end(); }

private:
    std::vector<Measurement> all_;
};

/// How a call went that does not throw.
class ORV_API Status {
public:
    Status() noexcept = default;
    /// Of the exception that is being handled.
    static Status ofCurrentException() noexcept;

    bool ok() const noexcept { return error_ == nullptr; }
    explicit operator bool() const noexcept { return ok(); }

    /// What Error tells; all empty where the call went well.
    std::string_view op() const noexcept;
    std::string_view id() const noexcept;
    const char* what() const noexcept;

private:
    std::shared_ptr<const Error> error_;
};

/// A status, and what was made where it is a good one.
template <class T>
struct Outcome {
    Status status;
    T value = {};

    explicit operator bool() const noexcept { return status.ok(); }
};

} // namespace orv
