#include "catalogue/Call.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "catalogue/alpha.h"
#include "catalogue/order.h"
#include "orv/Error.h"
#include "orv/host/Image.h"

namespace orv {

namespace {

bool hasAlpha(Encoding encoding) noexcept { return encoding == Encoding::grayAlpha || encoding == Encoding::rgba; }

bool holds(Types types, Type type) noexcept {
    switch (types) {
    case Types::all:
        return true;
    case Types::bytesAndShorts:
        return type != Type::bit;
    case Types::bytes:
        return type == Type::byte;
    case Types::shorts:
        return type == Type::int16;
    case Types::bits:
        return type == Type::bit;
    }
    return false;
}

std::string_view namesOf(Types types) noexcept {
    switch (types) {
    case Types::bytesAndShorts:
        return "byte and int16";
    case Types::bytes:
        return "byte";
    case Types::shorts:
        return "int16";
    case Types::bits:
        return "bit";
    default:
        return "any";
    }
}

std::string shapeText(unsigned width, unsigned height, unsigned bands, Type type) {
    return fmt::format("{} x {} with {} band{} ({})", width, height, bands, bands == 1 ? "" : "s", nameOf(type));
}

std::string shapeText(const Image& image) {
    return shapeText(image.width(), image.height(), image.bands(), image.type());
}

Rectangle all(const Image& image) noexcept { return {0, 0, image.width(), image.height()}; }

Image colourBands(const Image& image) { return image.child(all(image), 0, image.bands() - 1); }
Image alphaBand(const Image& image) { return image.child(all(image), image.bands() - 1, 1); }

double fullScaleOf(Type type, Sixteen sixteen) noexcept {
    if (type == Type::bit) return 1;
    if (type == Type::byte) return 255;
    return sixteen == Sixteen::number ? 32767 : 65535;
}

/// The palette entry that is nearest to a colour of people's order.
double nearestEntry(const std::vector<PaletteEntry>& palette, double r, double g, double b) {
    const auto far = [&](const PaletteEntry& e) {
        return (e.r - r) * (e.r - r) + (e.g - g) * (e.g - g) + (e.b - b) * (e.b - b);
    };
    const auto best = std::ranges::min_element(palette, {}, far);
    return static_cast<double>(best - palette.begin());
}

/// First and last byte of the samples, for images that may share them.
std::pair<const std::byte*, const std::byte*> extent(const Image& image) noexcept {
    const Pixels p = image.pixels();
    std::ptrdiff_t last = (image.height() - 1) * p.stride;
    if (image.type() == Type::bit) {
        last += (image.bands() - 1) * p.bandStride + (p.offset + image.width() - 1) / 8;
    } else {
        last += (image.width() - 1) * p.pixel + image.bands() * (image.type() == Type::int16 ? 2 : 1) - 1;
    }
    return {p.data, p.data + last};
}

bool sharesSamples(const Image& a, const Image& b) noexcept {
    const auto [firstA, lastA] = extent(a);
    const auto [firstB, lastB] = extent(b);
    return firstA <= lastB && firstB <= lastA;
}

} // namespace

Call::Call(Session& session, const Operation& operation, std::span<const Image> sources, const Arguments& arguments,
           const CallOptions& options)
    : session_(session),
      operation_(operation),
      given_sources_(sources.begin(), sources.end()),
      sources_(sources.begin(), sources.end()),
      options_(options) {
    checkCount();
    takeArguments(arguments);
    checkRanges();
    meetPalette();
    meetAlpha();
    meetOrder();
    checkSources();
    const Image& like = !sources_.empty() ? source() : options_.destination;
    if (!like) return;
    width_ = like.width();
    height_ = like.height();
    bands_ = like.bands();
    type_ = like.type();
    encoding_ = like.encoding();
}

void Call::refuse(std::string_view parameter, const std::string& message) const {
    const std::string name(operation_.name);
    if (parameter.empty()) throw Error(name, fmt::format("{}: {}", name, message));
    throw ArgumentError(name, fmt::format("{}: {}: {}", name, parameter, message));
}

// Checks of what came. ------------------------------------------------------------------------------------------------

void Call::checkCount() const {
    const unsigned most = std::max(operation_.sources, operation_.mostSources);
    if (sources_.size() < operation_.sources || sources_.size() > most) {
        refuse("", fmt::format("{} image{} came, {}{} wanted", sources_.size(), sources_.size() == 1 ? "" : "s",
                               operation_.sources,
                               most > operation_.sources ? fmt::format(" to {}", most) : std::string()));
    }
    for (const Image& image : sources_) {
        if (!image) refuse("", "an empty image came");
    }
}

void Call::checkSources() const {
    if (sources_.empty()) return;
    if (!holds(operation_.types, source().type()))
        refuse("", fmt::format("a {} image came, {} wanted", nameOf(source().type()), namesOf(operation_.types)));
    if (shifted() && !operation_.rightUnderShift) refuse("", std::string(shiftAdvice));
    if (!operation_.encodings.empty() &&
        std::ranges::find(operation_.encodings, source().encoding()) == operation_.encodings.end()) {
        std::vector<std::string_view> names;
        for (const Encoding encoding : operation_.encodings) names.push_back(nameOf(encoding));
        refuse("", fmt::format("a {} picture came, {} wanted", nameOf(source().encoding()), fmt::join(names, " or ")));
    }
    for (std::size_t i = 1; operation_.alike && i < sources_.size(); ++i) {
        const Image& other = sources_[i];
        if (other.width() != source().width() || other.height() != source().height() ||
            other.bands() != source().bands() || other.type() != source().type()) {
            refuse("", fmt::format("image {} is {}, but image 1 is {}; they must be alike", i + 1, shapeText(other),
                                   shapeText(source())));
        }
    }
}

void Call::takeArguments(const Arguments& arguments) {
    const auto sameName = [](std::string_view a, std::string_view b) {
        const auto dash = [](char c) { return c == '-' ? '_' : c; };
        return std::ranges::equal(a, b, {}, dash, dash);
    };
    for (const Argument& argument : arguments) {
        const auto parameter = std::ranges::find_if(
            operation_.parameters, [&](const Parameter& p) { return sameName(p.name, argument.name); });
        if (parameter == operation_.parameters.end()) {
            std::vector<std::string_view> names;
            for (const Parameter& p : operation_.parameters) names.push_back(p.name);
            const std::string near = nearestName(argument.name, names);
            throw ArgumentError(std::string(operation_.name),
                                fmt::format("{}: there is no parameter '{}'{}", operation_.name, argument.name,
                                            !near.empty()   ? fmt::format("; did you mean '{}'?", near)
                                            : names.empty() ? "; it takes none"
                                                            : fmt::format(" (known: {})", fmt::join(names, ", "))));
        }
        const auto* text = std::get_if<std::string>(&argument.value);
        given_.push_back({&*parameter, text != nullptr ? parseValue(operation_, *parameter, *text) : argument.value});
    }
    for (const Parameter& parameter : operation_.parameters) {
        if (has(parameter.name)) continue;
        if (!parameter.fallback.empty()) {
            given_.push_back({&parameter, parseValue(operation_, parameter, std::string(parameter.fallback))});
        } else if (!parameter.optional) {
            refuse(parameter.name, fmt::format("it is missing ({})", parameter.help));
        }
    }
}

void Call::checkRanges() const {
    for (const Given& given : given_) checkRange(operation_, *given.parameter, given.value);
}

// Palettes and alpha. -------------------------------------------------------------------------------------------------

bool Call::onlyMovesPixels() const {
    constexpr long nearest = 0;
    return !has("interpolation") || choice("interpolation") == nearest;
}

void Call::meetPalette() {
    if (operation_.keepsPalette && onlyMovesPixels()) return;
    for (Image& image : sources_) {
        if (image.encoding() != Encoding::palette) continue;
        image = coloursOf(session_, image);
        note(fmt::format("the palette picture became {}", nameOf(image.encoding())));
    }
}

void Call::meetAlpha() {
    if (options_.alphaAsBand || operation_.body != nullptr || sources_.empty()) return;
    for (std::size_t i = 1; i < sources_.size(); ++i) {
        if (!hasAlpha(sources_[i].encoding())) continue;
        sources_[i] = colourBands(sources_[i]);
        note(fmt::format("the alpha of image {} was left out", i + 1));
    }
    if (!hasAlpha(source().encoding())) return;
    switch (operation_.alpha) {
    case Alpha::carried:
        return takeAlphaOff();
    case Alpha::moved:
        return;
    case Alpha::premultiplied:
        if ((has("interpolation") && onlyMovesPixels()) || source().type() == Type::bit || isOpaque(source())) return;
        sources_[0] = withAlphaMultiplied(session_, source());
        alpha_ = AlphaNow::multiplied;
        return;
    case Alpha::refused:
        if (has("alpha")) {
            sources_[0] = colourBands(source());
        } else if (has("background")) {
            const auto* levels = std::get_if<Levels>(&given("background").value);
            if (levels == nullptr) refuse("background", "a colour is wanted");
            sources_[0] = over(session_, source(), *levels);
        } else {
            refuse("", "the picture has alpha; say --background COLOUR, or --alpha drop");
        }
    }
}

ColourOrder Call::orderOfResult() const noexcept {
    return operation_.bandsMeet ? ColourOrder::bgr : source().tags().order;
}

void Call::meetOrder() {
    if (operation_.body != nullptr || sources_.empty()) return;
    const ColourOrder order = orderOfResult();
    for (Image& image : sources_) image = image.inOrder(session_, order);
}

void Call::takeAlphaOff() {
    sources_[0] = colourBands(source());
    alpha_ = AlphaNow::carried;
}

void Call::carryAlpha() {
    if (!hasAlpha(given_sources_.front().encoding()) || options_.alphaAsBand || alpha_ == AlphaNow::carried) return;
    sources_[0] = given_sources_.front();
    takeAlphaOff();
    bands_ = source().bands();
    encoding_ = source().encoding();
}

// Parameters. ---------------------------------------------------------------------------------------------------------

bool Call::has(std::string_view name) const noexcept {
    return std::ranges::any_of(given_, [&](const Given& g) { return g.parameter->name == name; });
}

const Call::Given& Call::given(std::string_view name) const {
    // The last one counts, as on a command line.
    for (auto g = given_.rbegin(); g != given_.rend(); ++g) {
        if (g->parameter->name == name) return *g;
    }
    refuse(name, "it is missing");
}

template <class T>
const T& Call::as(std::string_view name) const {
    const Given& g = given(name);
    const T* value = std::get_if<T>(&g.value);
    if (value == nullptr) refuse(name, fmt::format("a value of another kind came ({})", g.parameter->help));
    return *value;
}

double Call::number(std::string_view name) const { return as<double>(name); }

long Call::integer(std::string_view name) const { return std::lround(as<double>(name)); }

std::string_view Call::word(std::string_view name) const {
    const Given& g = given(name);
    const long value = integer(name);
    const auto choice = std::ranges::find(g.parameter->choices, value, &Choice::value);
    return choice == g.parameter->choices.end() ? std::string_view{} : choice->word;
}

const std::vector<double>& Call::numbers(std::string_view name) const { return as<std::vector<double>>(name); }
const Kernel& Call::kernel(std::string_view name) const { return as<Kernel>(name); }
const Element& Call::element(std::string_view name) const { return as<Element>(name); }
const Mask& Call::mask(std::string_view name) const { return as<Mask>(name); }
const Table& Call::table(std::string_view name) const { return as<Table>(name); }
const std::vector<Point>& Call::points(std::string_view name) const { return as<std::vector<Point>>(name); }
const std::string& Call::text(std::string_view name) const { return as<std::string>(name); }
const Palette& Call::palette(std::string_view name) const { return as<Palette>(name); }
const Image* Call::image(std::string_view name) const { return std::get_if<Image>(&given(name).value); }

std::pair<unsigned, unsigned> Call::size(std::string_view name) const {
    constexpr double most = 1e6;
    const std::vector<double>& size = numbers(name);
    if (size.size() != 2 || !(size[0] >= 1 && size[1] >= 1 && size[0] <= most && size[1] <= most))
        refuse(name, fmt::format("{} came, WIDTHxHEIGHT from 1x1 to {}x{} wanted", fmt::join(size, "x"), most, most));
    return {static_cast<unsigned>(size[0]), static_cast<unsigned>(size[1])};
}

Call::Meaning Call::meaning() const noexcept {
    const Image& from = sources_.empty() ? options_.destination : source();
    if (!from) return {type_, sixteen_.value_or(Sixteen::number), encoding_, ColourOrder::bgr};
    return {from.type(), from.tags().sixteen, from.encoding(), from.tags().order};
}

double Call::fullScale() const noexcept { return fullScaleOf(meaning().type, meaning().sixteen); }

double Call::toMemory(double level) const noexcept {
    if (meaning().type != Type::int16) return level;
    switch (meaning().sixteen) {
    case Sixteen::shifted:
        return level - 32768;
    case Sixteen::half:
        return level / 2;
    case Sixteen::raw:
        return level > 32767 ? level - 65536 : level;
    default:
        return level;
    }
}

double Call::fromMemory(double sample) const noexcept {
    if (meaning().type != Type::int16) return sample;
    switch (meaning().sixteen) {
    case Sixteen::shifted:
        return sample + 32768;
    case Sixteen::half:
        return sample * 2;
    default:
        return sample;
    }
}

float Call::offsetInMemory(double offset, double weights) const noexcept {
    if (shifted()) return static_cast<float>(offset + 32768 * (weights - 1));
    const bool half = meaning().type == Type::int16 && meaning().sixteen == Sixteen::half;
    return static_cast<float>(half ? offset / 2 : offset);
}

unsigned Call::memoryBand(unsigned band) const noexcept {
    return !sources_.empty() && band < 3 && liesBgr(source().encoding(), source().tags().order, source().bands())
               ? 2 - band
               : band;
}

std::vector<float> Call::perBand(const Levels& levels, std::string_view name, bool areLevels, unsigned bands) const {
    const Encoding encoding = meaning().encoding;
    std::vector<double> values = levels.values;
    if (levels.relative) {
        for (double& v : values) v *= fullScale();
    }
    if (areLevels && encoding == Encoding::palette && bands == 1 && !source().tags().palette.empty() &&
        (levels.relative || values.size() == 3)) {
        const auto at = [&](std::size_t i) { return values[values.size() == 1 ? 0 : i]; };
        return {static_cast<float>(nearestEntry(source().tags().palette, at(0), at(1), at(2)))};
    }
    if (areLevels && hasAlpha(encoding) && !values.empty() && (values.size() == 1 || values.size() + 1 == bands)) {
        // Colours that do not tell their opacity are opaque.
        values.resize(bands - 1, values.front());
        values.push_back(fullScale());
    }
    if (values.size() != 1 && values.size() != bands) {
        refuse(name, fmt::format("{} values came, 1{} wanted (one a band)", values.size(),
                                 bands == 1 ? "" : fmt::format(" or {}", bands)));
    }
    std::vector<float> result(bands);
    for (unsigned b = 0; b < bands; ++b) {
        const double v = values[values.size() == 1 ? 0 : b];
        result[b] = static_cast<float>(areLevels ? toMemory(v) : v);
    }
    if (liesBgr(encoding, meaning().order, bands) && (sources_.empty() || bands == source().bands()))
        std::swap(result[0], result[2]);
    return result;
}

Levels Call::levels(std::string_view name) const {
    const Value& value = given(name).value;
    if (const auto* levels = std::get_if<Levels>(&value)) return *levels;
    if (const auto* one = std::get_if<double>(&value)) return Levels(*one);
    return Levels(numbers(name));
}

std::vector<float> Call::perBand(std::string_view name, unsigned bands) const {
    return perBand(levels(name), name, given(name).parameter->kind == Kind::levels, bands);
}

std::vector<float> Call::background() const {
    Levels colour = levels("background");
    if (hasAlpha(meaning().encoding) && colour == Levels(0)) colour.values.assign(bands_, 0);
    if (alpha_ == AlphaNow::multiplied && colour.values.size() == bands_) {
        const double opacity = colour.values.back() / (colour.relative ? 1 : fullScale());
        for (double& v : std::span(colour.values).first(bands_ - 1)) v *= opacity;
    }
    return perBand(colour, "background", true, bands_);
}

std::vector<std::vector<float>> Call::colours(std::string_view name, unsigned bands) const {
    std::vector<std::vector<float>> result;
    for (const Levels& levels : as<std::vector<Levels>>(name)) result.push_back(perBand(levels, name, true, bands));
    return result;
}

std::string_view Call::digits(Type type) noexcept {
    switch (type) {
    case Type::bit:
        return "1";
    case Type::byte:
        return "8";
    default:
        return "16";
    }
}

// What the device is to get. ------------------------------------------------------------------------------------------

Step& Call::op(std::string_view pattern) {
    std::string name(pattern);
    if (const std::size_t at = name.find("{}"); at != std::string::npos) name.replace(at, 2, digits(source().type()));
    steps_.push_back(std::make_unique<Step>(session_, std::move(name)));
    return *steps_.back();
}

void Call::shape(unsigned width, unsigned height) {
    width_ = width;
    height_ = height;
}

void Call::ranBefore(const Result& result) {
    ranBefore_.insert(ranBefore_.end(), result.explained.begin(), result.explained.end());
}

void Call::palette(std::vector<PaletteEntry> colours) {
    palette_ = std::move(colours);
    encoding_ = Encoding::palette;
}

void Call::describeTags(Image& image) const {
    if (sources_.empty()) {
        image.tags().encoding = encoding_;
        return;
    }
    const Tags& from = given_sources_.front().tags();
    Tags tags = from;
    tags.order = orderOfResult();
    const Encoding seen = sources_.front().encoding();
    if (encoding_ != seen || spaceChanged_) tags.icc.clear();
    tags.palette.clear();
    if (encoding_ == Encoding::palette) tags.palette = palette_ ? *palette_ : from.palette;
    tags.encoding = encoding_ == seen && bands_ != source().bands() ? usualEncoding(bands_) : encoding_;
    if (alpha_ == AlphaNow::carried) {
        tags.encoding = tags.encoding == Encoding::gray  ? Encoding::grayAlpha
                        : tags.encoding == Encoding::rgb ? Encoding::rgba
                                                         : Encoding::other;
    }
    tags.sixteen = type_ == Type::int16 ? sixteen_.value_or(from.sixteen) : Sixteen::number;
    tags.dpi.x *= dpiX_;
    tags.dpi.y *= dpiY_;
    if (dpiTurned_) std::swap(tags.dpi.x, tags.dpi.y);
    image.tags() = std::move(tags);
}

void Call::checkDestination(const Image& destination) const {
    const unsigned bands = bands_ + (alpha_ == AlphaNow::carried ? 1 : 0);
    if (destination.width() != width_ || destination.height() != height_ || destination.bands() != bands ||
        destination.type() != type_) {
        refuse("destination", fmt::format("an image of {} came, {} wanted", shapeText(destination),
                                          shapeText(width_, height_, bands, type_)));
    }
}

void Call::checkOverlap() const {
    for (std::size_t i = 0; operation_.apart && i < given_sources_.size(); ++i) {
        if (sharesSamples(options_.destination, given_sources_[i]))
            refuse("destination",
                   fmt::format("it shares samples with image {}, which this operation cannot do", i + 1));
    }
}

void Call::prepareDestination() {
    Image& destination = options_.destination;
    if (destination) {
        checkDestination(destination);
        checkOverlap();
        takeDestinationInOrder();
    } else {
        const bool carried = alpha_ == AlphaNow::carried;
        const bool copies = startsWithSource_ && !sources_.empty();
        destination = copies ? (carried ? given_sources_.front() : source()).copy(session_)
                             : Image(session_, width_, height_, bands_ + (carried ? 1 : 0), type_);
        describeTags(destination);
        made_ = true;
    }
    target_ = alpha_ == AlphaNow::carried ? colourBands(destination) : destination;
}

void Call::takeDestinationInOrder() {
    if (sources_.empty() || !liesBgr(encoding_, ColourOrder::bgr, bands_)) return;
    const Image reordered = options_.destination.inOrder(session_, orderOfResult());
    if (!orderDiffers(reordered, options_.destination)) return;
    asked_ = options_.destination;
    options_.destination = reordered;
}

void Call::carry(Result& result) {
    Image to = alphaBand(options_.destination);
    const Image from = alphaBand(given_sources_.front());
    if (to.pixels().data == from.pixels().data) return;
    if (to.width() != from.width() || to.height() != from.height()) refuse("", "it cannot carry alpha");
    CallOptions options{.destination = to, .roi = options_.roi};
    Image gray = from;
    gray.tags().encoding = Encoding::gray;
    const bool sameType = to.type() == from.type();
    const Result carried =
        session_.apply(sameType ? "copy" : "depth", std::span(&gray, 1),
                       sameType ? Arguments{} : Arguments{{"to", std::string(nameOf(to.type()))}}, options);
    result.explained.insert(result.explained.end(), carried.explained.begin(), carried.explained.end());
}

void Call::prepare() {
    if (steps_.empty()) operation_.prepare(*this);
}

/// Of a recipe. What one of its operations refuses is told under the name that was called.
Result Call::runBody() {
    try {
        return operation_.body(*this);
    } catch (const Error& error) {
        if (error.op() == operation_.name) throw;
        throw Error(std::string(operation_.name), fmt::format("{}: {}", operation_.name, error.what()), error.id());
    }
}

Result Call::run() {
    if (operation_.body != nullptr) {
        Result result = runBody();
        result.notes.insert(result.notes.begin(), notes_.begin(), notes_.end());
        return result;
    }
    prepare();
    const bool makesImage = operation_.givesImage;
    if (makesImage) prepareDestination();
    Result result;
    result.explained = ranBefore_;
    for (const auto& step : steps_) step->run({sources_, target_, options_.roi}, operation_.name, result);
    if (makesImage) {
        if (alpha_ == AlphaNow::carried) carry(result);
        if (alpha_ == AlphaNow::multiplied)
            divideAlphaOut(session_, options_.destination, made_ ? std::span<const Rectangle>{} : options_.roi);
        if (asked_) copyInOrder(options_.destination, asked_);
        result.image = asked_ ? asked_ : options_.destination;
        result.image.samplesChanged();
    }
    if (!given_sources_.empty() && makesImage && !given_sources_.front().tags().icc.empty() &&
        result.image.tags().icc.empty()) {
        note("the colour profile was dropped: it does not describe the result");
    }
    for (const auto& step : afterwards_) step(result);
    result.notes = notes_;
    return result;
}

bool Call::runFused(Call& earlier, Call& later, Result& result) {
    earlier.prepare();
    later.prepare();
    for (const Call* call : {&earlier, &later}) {
        if (call->steps_.size() != 1 || !call->step().plain() || call->alpha_ != AlphaNow::none) return false;
    }
    later.prepareDestination();
    if (later.asked_) return false;
    if (!Step::runFused(*earlier.steps_.front(), {earlier.sources_, later.source(), {}}, *later.steps_.front(),
                        {later.sources_, later.target_, {}}, later.operation_.name, result)) {
        return false;
    }
    result.image = later.options_.destination;
    result.image.samplesChanged();
    return true;
}

} // namespace orv
