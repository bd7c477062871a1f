// One call of an operation, while it is being made: what it was given, what the device is to get, what comes of it.
#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "orv/Catalogue.h"
#include "orv/Session.h"
#include "orv/host/Op.h"

namespace orv {

class Call {
public:
    Call(Session& session, const Operation& operation, std::span<const Image> sources, const Arguments& arguments,
         const CallOptions& options);

    /// Checks, prepares, runs; the result.
    Result run();

    // What the call was given. ------------------------------------------------------------------------------------

    Session& session() noexcept { return session_; }
    const Operation& operation() const noexcept { return operation_; }
    std::span<const Image> sources() const noexcept { return sources_; }
    const Image& source(std::size_t i = 0) const noexcept { return sources_[i]; }
    const CallOptions& options() const noexcept { return options_; }

    /// Whether a parameter was given or has a value by itself.
    bool has(std::string_view name) const noexcept;
    double number(std::string_view name) const;
    long integer(std::string_view name) const;
    /// The value of a choice, and its word.
    long choice(std::string_view name) const { return integer(name); }
    std::string_view word(std::string_view name) const;
    /// Numbers as given.
    const std::vector<double>& numbers(std::string_view name) const;
    /// Numbers for `bands` bands: one serves all. Levels come in the order of memory and in its units.
    std::vector<float> perBand(std::string_view name, unsigned bands) const;
    const Kernel& kernel(std::string_view name) const;
    const Element& element(std::string_view name) const;
    const Palette& palette(std::string_view name) const;
    const Mask& mask(std::string_view name) const;
    const Table& table(std::string_view name) const;
    const std::vector<Point>& points(std::string_view name) const;
    const std::string& text(std::string_view name) const;

    /// Refuses the call: "OP: PARAMETER: MESSAGE".
    [[noreturn]] void refuse(std::string_view parameter, const std::string& message) const;

    // What the device is to get. ----------------------------------------------------------------------------------

    /// The op's name; "{}" stands for the first source's data type as ops count it (1, 8, 16).
    void op(std::string_view pattern);
    /// The destination; that of the first source where nothing is said.
    void shape(unsigned width, unsigned height);
    void bands(unsigned bands) { bands_ = bands; }
    void type(Type type) { type_ = type; }
    void encoding(Encoding encoding) { encoding_ = encoding; }
    unsigned width() const noexcept { return width_; }
    unsigned height() const noexcept { return height_; }
    unsigned bands() const noexcept { return bands_; }
    Type type() const noexcept { return type_; }
    Encoding encoding() const noexcept { return encoding_; }
    void noDestination() noexcept { destinationWanted_ = false; }
    /// The destination starts as a copy of the first source.
    void startWithSource() noexcept { startsWithSource_ = true; }
    /// Further images that the op takes as its second and third source.
    void further(const Image& image) { further_.push_back(image); }
    /// Called on the destination before the device is.
    void beforehand(std::function<void(Call&, Image&)> step) { beforehand_.push_back(std::move(step)); }
    /// Called after the device has done its work.
    void afterwards(std::function<void(Result&)> step) { afterwards_.push_back(std::move(step)); }

    void add(float value);
    void add(long value);
    void add(std::vector<float> values);
    void add(std::vector<std::uint32_t> values);
    void addKernel(const Kernel& kernel);
    void addElement(const Element& element);
    void addObject(host::Owned<OrvObject> object);
    void addPointer(void* pointer);
    /// Arrays that the call keeps until its end, for results.
    std::vector<float>& keptFloats(std::size_t count);

    /// "1", "8", "16".
    static std::string_view digits(Type type) noexcept;

private:
    struct Given {
        const Parameter* parameter;
        Value value;
    };

    void takeArguments(const Arguments& arguments);
    void checkSources() const;
    void prepareDestination();
    void device(Result& result);
    void describeTags(Image& image) const;
    const Given& given(std::string_view name) const;
    template <class T>
    const T& as(std::string_view name) const;

    Session& session_;
    const Operation& operation_;
    std::vector<Image> sources_;
    CallOptions options_;
    std::vector<Given> given_;

    std::string opName_;
    unsigned width_ = 0;
    unsigned height_ = 0;
    unsigned bands_ = 0;
    Type type_ = Type::byte;
    Encoding encoding_ = Encoding::other;
    bool destinationWanted_ = true;
    bool startsWithSource_ = false;
    std::vector<Image> further_;
    std::vector<std::function<void(Call&, Image&)>> beforehand_;
    std::vector<std::function<void(Result&)>> afterwards_;

    host::Owned<host::Op> op_;
    std::vector<std::unique_ptr<std::vector<float>>> floats_;
    std::vector<std::unique_ptr<std::vector<std::uint32_t>>> words_;
    std::vector<host::Owned<OrvObject>> objects_;
    std::vector<std::string> explained_;
};

/// Reads the text of a parameter as a value of its kind. Throws Error that says what is wanted.
Value parseValue(const Operation& operation, const Parameter& parameter, const std::string& text);

/// One full stop of the grammar of lists: "3,3,3".
std::vector<double> parseNumbers(const std::string& text);
double parseNumber(const std::string& text);

} // namespace orv
