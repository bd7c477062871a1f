// What the typed functions of Operations.h stand on: they gather their options and hand them to Session::apply().
#pragma once

#include <initializer_list>
#include <optional>
#include <span>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "orv/Result.h"
#include "orv/Values.h"

namespace orv {

/// The options that were given, by their names. What is empty was not given, and has the catalogue's default.
class ORV_API GivenOptions {
public:
    GivenOptions& add(const char* name, double value);
    GivenOptions& add(const char* name, long value) { return add(name, static_cast<double>(value)); }
    GivenOptions& add(const char* name, bool value) { return add(name, value ? 1.0 : 0.0); }
    GivenOptions& add(const char* name, const Numbers& value);
    GivenOptions& add(const char* name, const Levels& value);
    GivenOptions& add(const char* name, const std::vector<Levels>& value);
    GivenOptions& add(const char* name, const std::vector<Point>& value);
    GivenOptions& add(const char* name, const std::string& value);
    GivenOptions& add(const char* name, const Size& value);
    GivenOptions& add(const char* name, const Kernel& value);
    GivenOptions& add(const char* name, const Element& value);
    GivenOptions& add(const char* name, const Palette& value);
    GivenOptions& add(const char* name, const Mask& value);
    GivenOptions& add(const char* name, const Table& value);
    GivenOptions& add(const char* name, const Warp& value);
    template <class Word>
    requires std::is_enum_v<Word> GivenOptions& add(const char* name, Word value) {
        return add(name, static_cast<double>(value));
    }
    template <class T>
    GivenOptions& add(const char* name, const std::optional<T>& value) {
        return value ? add(name, *value) : *this;
    }

    Arguments take() { return std::move(arguments_); }

private:
    GivenOptions& put(const char* name, bool given, Value value);

    Arguments arguments_;
};

/// Of operations without parameters.
struct PlainOptions {
    /// Pixels of the result that are written, or that are looked at where there is none; all where there is no
    /// rectangle.
    std::vector<Rectangle> roi = {};

    static Arguments arguments() { return {}; }
};

class ORV_API OperationsBase {
protected:
    using Sources = std::initializer_list<Image>;
    using Roi = std::vector<Rectangle>;

    OperationsBase() = default;
    ~OperationsBase() = default;

    /// Runs an operation; what it says beside its result goes where the session's notices go. Throws Error.
    Result run(std::string_view name, std::span<const Image> sources, const Arguments& arguments, const Roi& roi,
               const Image& destination = {});
    Result run(std::string_view name, Sources sources, const Arguments& arguments, const Roi& roi,
               const Image& destination = {}) {
        return run(name, std::span(sources.begin(), sources.size()), arguments, roi, destination);
    }
    /// The same on a destination that must be an image.
    template <class S>
    void write(std::string_view name, const S& sources, const Image& destination, const Arguments& arguments,
               const Roi& roi) {
        checkDestination(name, destination);
        run(name, sources, arguments, roi, destination);
    }

    /// What an operation that succeeded has made.
    template <class T>
    static T taken(std::optional<T>&& made) {
        if (!made) throw Error("call", "nothing was made");
        return std::move(*made);
    }

    /// Calls a function that may throw.
    template <class Function>
    static auto tried(const Function& function) noexcept {
        using Made = decltype(function());
        if constexpr (std::is_void_v<Made>) {
            try {
                function();
                return Status();
            } catch (...) {
                return Status::ofCurrentException();
            }
        } else {
            try {
                return Outcome<Made>{{}, function()};
            } catch (...) {
                return Outcome<Made>{Status::ofCurrentException()};
            }
        }
    }

private:
    static void checkDestination(std::string_view name, const Image& destination);
};

} // namespace orv
