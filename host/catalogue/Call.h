// One call of an operation, while it is being made: what it was given, what the device is to get, what comes of it.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "catalogue/Step.h"
#include "orv/Catalogue.h"
#include "orv/Session.h"

namespace orv {

class Call {
public:
    Call(Session& session, const Operation& operation, std::span<const Image> sources, const Arguments& arguments,
         const CallOptions& options);

    /// Checks, prepares, runs; the result.
    Result run();

    /// Runs this call and the one whose result it takes as its first source as one op of the device. False where the
    /// device declines or either is more than one plain op: nothing was written then.
    static bool runFused(Call& earlier, Call& later, Result& result);

    // What the call was given. ------------------------------------------------------------------------------------

    Session& session() noexcept { return session_; }
    const Operation& operation() const noexcept { return operation_; }
    /// The sources as the device will see them: palette pictures are colours, alpha is taken off or multiplied in.
    std::span<const Image> sources() const noexcept { return sources_; }
    const Image& source(std::size_t i = 0) const noexcept { return sources_[i]; }
    const CallOptions& options() const noexcept { return options_; }

    /// Whether a parameter was given or has a value by itself.
    bool has(std::string_view name) const noexcept;
    double number(std::string_view name) const;
    long integer(std::string_view name) const;
    bool flag(std::string_view name) const { return has(name) && number(name) != 0; }
    /// The value of a choice, and its word.
    long choice(std::string_view name) const { return integer(name); }
    std::string_view word(std::string_view name) const;
    /// Numbers as given.
    const std::vector<double>& numbers(std::string_view name) const;
    /// Numbers for `bands` bands: one serves all. Levels come in the order of memory and in its units.
    std::vector<float> perBand(std::string_view name, unsigned bands) const;
    /// The parameter "background" as samples of what a moved picture does not cover: nothing at all where it is 0 and
    /// there is alpha, and multiplied by its alpha where the picture is.
    std::vector<float> background() const;
    /// The same for each colour of a list.
    std::vector<std::vector<float>> colours(std::string_view name, unsigned bands) const;
    const Kernel& kernel(std::string_view name) const;
    const Element& element(std::string_view name) const;
    const Mask& mask(std::string_view name) const;
    const Table& table(std::string_view name) const;
    const std::vector<Point>& points(std::string_view name) const;
    const std::string& text(std::string_view name) const;
    const Palette& palette(std::string_view name) const;
    /// The image that was given, or null where a text was.
    const Image* image(std::string_view name) const;
    /// A size in pixels, checked.
    std::pair<unsigned, unsigned> size(std::string_view name) const;
    /// A parameter as it was given.
    const Value& value(std::string_view name) const { return given(name).value; }

    /// Refuses the call: "OP: PARAMETER: MESSAGE".
    [[noreturn]] void refuse(std::string_view parameter, const std::string& message) const;

    // What the device is to get. ----------------------------------------------------------------------------------

    /// Begins an op of the device; "{}" stands for the first source's data type as ops count it (1, 8, 16). Ops run in
    /// their order, on the call's sources and destination unless the step is told others.
    Step& op(std::string_view pattern);
    /// The op begun last.
    Step& step() noexcept { return *steps_.back(); }
    const Step& step() const noexcept { return *steps_.back(); }
    /// The destination; that of the first source where nothing is said.
    void shape(unsigned width, unsigned height);
    void bands(unsigned bands) { bands_ = bands; }
    void type(Type type) { type_ = type; }
    void encoding(Encoding encoding) { encoding_ = encoding; }
    /// The colours are those of another space: a profile does not describe them any more.
    void changeSpace() noexcept { spaceChanged_ = true; }
    void palette(std::vector<PaletteEntry> colours);
    void sixteen(Sixteen way) { sixteen_ = way; }
    unsigned width() const noexcept { return width_; }
    unsigned height() const noexcept { return height_; }
    unsigned bands() const noexcept { return bands_; }
    Type type() const noexcept { return type_; }
    Encoding encoding() const noexcept { return encoding_; }
    /// The destination starts as a copy of the first source.
    void startWithSource() noexcept { startsWithSource_ = true; }
    /// The picture was scaled by these factors, or its axes were exchanged: its resolution follows.
    void scaled(double x, double y) noexcept { dpiX_ = x, dpiY_ = y; }
    void turned() noexcept { dpiTurned_ = true; }
    /// Takes alpha as it is instead of multiplied in, for filters that would make it vanish.
    void carryAlpha();
    /// Called after the device has done its work.
    void afterwards(std::function<void(Result&)> step) { afterwards_.push_back(std::move(step)); }
    void note(std::string text) { notes_.push_back(std::move(text)); }
    /// Operations that this call ran to learn its parameters.
    void ranBefore(const Result& result);

    /// Shorthands for the op begun last.
    void add(float value) { step().add(value); }
    void add(long value) { step().add(value); }
    void add(std::vector<float> values) { step().add(std::move(values)); }
    void add(std::vector<std::uint32_t> values) { step().add(std::move(values)); }
    void addKernel(const Kernel& kernel) { step().addKernel(kernel); }
    void addObject(host::Owned<OrvObject> object) { step().addObject(std::move(object)); }

    /// A sample value in the file's units as memory holds it, and back.
    double toMemory(double level) const noexcept;
    double fromMemory(double sample) const noexcept;
    /// Whether the samples are those of an unsigned 16-bit picture, less 32768.
    bool shifted() const noexcept { return meaning().type == Type::int16 && meaning().sixteen == Sixteen::shifted; }
    static constexpr std::string_view shiftAdvice =
        "the picture is unsigned 16-bit, and the result would be wrong on its shifted samples; read it as "
        "numbers (--u16 exact, half or raw; int16 in programs)";
    /// The largest level in the file's units.
    double fullScale() const noexcept;
    /// Where a band of people's order lies in memory.
    unsigned memoryBand(unsigned band) const noexcept;

    /// What is added to a sum of samples times weights, as memory holds it: shifted samples shift the sum too.
    float offsetInMemory(double offset, double weights) const noexcept;

    /// "1", "8", "16".
    static std::string_view digits(Type type) noexcept;

private:
    struct Given {
        const Parameter* parameter;
        Value value;
    };
    /// What the samples mean that people's numbers speak of.
    struct Meaning {
        Type type;
        Sixteen sixteen;
        Encoding encoding;
        ColourOrder order;
    };
    Meaning meaning() const noexcept;

    void takeArguments(const Arguments& arguments);
    void checkRanges() const;
    void checkCount() const;
    void checkSources() const;
    /// Whether the interpolation, where there is one, makes no new values.
    bool onlyMovesPixels() const;
    void meetPalette();
    void meetAlpha();
    /// Colours as the device wants them where the operation's result depends on their order, else all as the first's.
    void meetOrder();
    /// How the device is given colours, and so leaves them; of calls with sources.
    ColourOrder orderOfResult() const noexcept;
    void takeAlphaOff();
    void prepare();
    Result runBody();
    void prepareDestination();
    void checkDestination(const Image& destination) const;
    void checkOverlap() const;
    /// Writes to a reordered copy where the destination holds its colours otherwise than the result will.
    void takeDestinationInOrder();
    void carry(Result& result);
    void describeTags(Image& image) const;
    std::vector<float> perBand(const Levels& levels, std::string_view name, bool areLevels, unsigned bands) const;
    const Given& given(std::string_view name) const;
    Levels levels(std::string_view name) const;
    template <class T>
    const T& as(std::string_view name) const;

    Session& session_;
    const Operation& operation_;
    std::vector<Image> given_sources_;
    std::vector<Image> sources_;
    CallOptions options_;
    std::vector<Given> given_;

    enum class AlphaNow { none, carried, multiplied };
    AlphaNow alpha_ = AlphaNow::none;

    unsigned width_ = 0;
    unsigned height_ = 0;
    unsigned bands_ = 0;
    Type type_ = Type::byte;
    Encoding encoding_ = Encoding::other;
    std::optional<std::vector<PaletteEntry>> palette_;
    std::optional<Sixteen> sixteen_;
    double dpiX_ = 1;
    double dpiY_ = 1;
    bool dpiTurned_ = false;
    bool spaceChanged_ = false;
    bool startsWithSource_ = false;
    bool made_ = false;
    Image asked_;  ///< the caller's destination, where another one is written first
    Image target_; ///< what the device writes: the destination, or its colours
    std::vector<std::unique_ptr<Step>> steps_;
    std::vector<std::function<void(Result&)>> afterwards_;
    std::vector<std::string> notes_;
    std::vector<std::string> ranBefore_;
};

/// Reads the text of a parameter as a value of its kind. Throws Error that says what is wanted.
Value parseValue(const Operation& operation, const Parameter& parameter, const std::string& text);

/// Refuses a value that lies outside the parameter's range or stands for none of its choices. Throws Error.
void checkRange(const Operation& operation, const Parameter& parameter, const Value& value);

/// One full stop of the grammar of lists: "3,3,3".
std::vector<double> parseNumbers(const std::string& text);
double parseNumber(const std::string& text);

} // namespace orv
