#include "catalogue/Call.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "orv/Error.h"
#include "orv/host/Image.h"
#include "orv/host/Session.h"
#include "orv/host/Tables.h"

namespace orv {

namespace {

/// Band orders of people and of memory differ for colours alone: R, G, B there, B, G, R here.
bool swapsColours(const Image& image) noexcept {
    return image.encoding() == Encoding::rgb || image.encoding() == Encoding::rgba;
}

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

std::string shapeText(const Image& image) {
    return fmt::format("{} x {} with {} band{} ({})", image.width(), image.height(), image.bands(),
                       image.bands() == 1 ? "" : "s", nameOf(image.type()));
}

} // namespace

Call::Call(Session& session, const Operation& operation, std::span<const Image> sources, const Arguments& arguments,
           const CallOptions& options)
    : session_(session), operation_(operation), sources_(sources.begin(), sources.end()), options_(options) {
    checkSources();
    takeArguments(arguments);
    if (!sources_.empty()) {
        width_ = source().width();
        height_ = source().height();
        bands_ = source().bands();
        type_ = source().type();
        encoding_ = source().encoding();
    } else if (options_.destination) {
        type_ = options_.destination.type();
        bands_ = options_.destination.bands();
        encoding_ = options_.destination.encoding();
    }
}

void Call::refuse(std::string_view parameter, const std::string& message) const {
    throw Error(std::string(operation_.name), parameter.empty()
                                                  ? fmt::format("{}: {}", operation_.name, message)
                                                  : fmt::format("{}: {}: {}", operation_.name, parameter, message));
}

void Call::checkSources() const {
    if (sources_.size() != operation_.sources) {
        refuse("", fmt::format("{} image{} came, {} wanted", sources_.size(), sources_.size() == 1 ? "" : "s",
                               operation_.sources));
    }
    for (const Image& image : sources_) {
        if (!image) refuse("", "an empty image came");
    }
    if (sources_.empty()) return;
    if (!holds(operation_.types, source().type())) {
        refuse("", fmt::format("a {} image came, {} wanted", nameOf(source().type()), namesOf(operation_.types)));
    }
    if (source().tags().sixteen == Sixteen::shifted && source().type() == Type::int16 && !operation_.rightUnderShift) {
        refuse("", "the picture is unsigned 16-bit, and the result would be wrong on its shifted samples; read it with "
                   "--u16 exact, half or raw");
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
        return std::ranges::equal(
            a, b, {}, [](char c) { return c == '-' ? '_' : c; }, [](char c) { return c == '-' ? '_' : c; });
    };
    for (const Argument& argument : arguments) {
        const auto parameter = std::ranges::find_if(
            operation_.parameters, [&](const Parameter& p) { return sameName(p.name, argument.name); });
        if (parameter == operation_.parameters.end()) {
            std::vector<std::string_view> names;
            for (const Parameter& p : operation_.parameters) names.push_back(p.name);
            const std::string near = nearestName(argument.name, names);
            refuse("", fmt::format("there is no parameter '{}'{}", argument.name,
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
    for (const Given& given : given_) {
        const auto check = [&](double v) {
            if (v < given.parameter->low || v > given.parameter->high) {
                refuse(given.parameter->name,
                       fmt::format("{} came, {} to {} wanted", v, given.parameter->low, given.parameter->high));
            }
        };
        if (const auto* one = std::get_if<double>(&given.value)) check(*one);
        if (const auto* many = std::get_if<std::vector<double>>(&given.value)) std::ranges::for_each(*many, check);
    }
}

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

std::vector<float> Call::perBand(std::string_view name, unsigned bands) const {
    const Given& g = given(name);
    const std::vector<double>& values = numbers(name);
    if (values.size() != 1 && values.size() != bands) {
        refuse(name, fmt::format("{} values came, 1 or {} wanted (one a band)", values.size(), bands));
    }
    std::vector<float> result(bands);
    for (unsigned b = 0; b < bands; ++b) result[b] = static_cast<float>(values.size() == 1 ? values[0] : values[b]);
    if (sources_.empty() && !options_.destination) return result;
    const Image& like = sources_.empty() ? options_.destination : source();
    if (bands >= 3 && bands == like.bands() && swapsColours(like)) std::swap(result[0], result[2]);
    if (g.parameter->kind == Kind::levels && like.type() == Type::int16 && like.tags().sixteen == Sixteen::shifted) {
        for (float& v : result) v -= 32768.0F;
    }
    return result;
}

const Kernel& Call::kernel(std::string_view name) const { return as<Kernel>(name); }
const Element& Call::element(std::string_view name) const { return as<Element>(name); }
const Palette& Call::palette(std::string_view name) const { return as<Palette>(name); }
const Mask& Call::mask(std::string_view name) const { return as<Mask>(name); }
const Table& Call::table(std::string_view name) const { return as<Table>(name); }
const std::vector<Point>& Call::points(std::string_view name) const { return as<std::vector<Point>>(name); }
const std::string& Call::text(std::string_view name) const { return as<std::string>(name); }

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

void Call::op(std::string_view pattern) {
    opName_ = pattern;
    if (const std::size_t at = opName_.find("{}"); at != std::string::npos)
        opName_.replace(at, 2, digits(source().type()));
    op_ = host::Op::make(session_.object(), opName_.c_str());
}

void Call::shape(unsigned width, unsigned height) {
    width_ = width;
    height_ = height;
}

void Call::add(float value) {
    op_->addFloat(value);
    explained_.push_back(fmt::format("f={}", value));
}

void Call::add(long value) {
    op_->addLong(value);
    explained_.push_back(fmt::format("l={}", value));
}

void Call::add(std::vector<float> values) {
    explained_.push_back(fmt::format("[{}]", fmt::join(values, " ")));
    floats_.push_back(std::make_unique<std::vector<float>>(std::move(values)));
    op_->addPointer(floats_.back()->data());
}

void Call::add(std::vector<std::uint32_t> values) {
    explained_.push_back(fmt::format("[{}]", fmt::join(values, " ")));
    words_.push_back(std::make_unique<std::vector<std::uint32_t>>(std::move(values)));
    op_->addPointer(words_.back()->data());
}

void Call::addKernel(const Kernel& kernel) {
    explained_.push_back(fmt::format("kernel {}x{}", kernel.width, kernel.height));
    addObject(host::Owned<OrvObject>(host::Kernel::make(session_.object(), kernel.width, kernel.height, kernel.keyX,
                                                        kernel.keyY, kernel.taps.data(),
                                                        kernel.name.empty() ? nullptr : kernel.name.c_str())
                                         .release()));
    // addObject explained it once more as an object.
    explained_.pop_back();
}

void Call::addElement(const Element& element) {
    explained_.push_back(fmt::format("element {}x{}", element.width, element.height));
    addObject(host::Owned<OrvObject>(host::Sel::make(session_.object(), element.width, element.height, element.keyX,
                                                     element.keyY, element.members.data())
                                         .release()));
    explained_.pop_back();
}

void Call::addObject(host::Owned<OrvObject> object) {
    if (!object) refuse("", "no memory for a parameter");
    op_->addObject(object.get());
    objects_.push_back(std::move(object));
    explained_.emplace_back("object");
}

void Call::addPointer(void* pointer) {
    op_->addPointer(pointer);
    explained_.emplace_back(pointer == nullptr ? "null" : "result");
}

std::vector<float>& Call::keptFloats(std::size_t count) {
    floats_.push_back(std::make_unique<std::vector<float>>(count));
    return *floats_.back();
}

void Call::describeTags(Image& image) const {
    if (sources_.empty()) return;
    Tags tags = source().tags();
    if (tags.encoding != encoding_) tags.icc.clear();
    if (tags.encoding == Encoding::palette && (!operation_.keepsPalette || type_ != Type::byte)) tags.palette.clear();
    tags.encoding = encoding_;
    if (image.bands() != source().bands() && encoding_ == source().encoding())
        tags.encoding = usualEncoding(image.bands());
    if (type_ != Type::int16) tags.sixteen = Sixteen::number;
    if (tags.dpi.x > 0 && width_ > 0) {
        // A picture made smaller or larger keeps its size on paper.
        if (width_ != source().width() && height_ != source().height()) {
            tags.dpi.x *= static_cast<double>(width_) / source().width();
            tags.dpi.y *= static_cast<double>(height_) / source().height();
        }
    }
    image.tags() = std::move(tags);
}

void Call::prepareDestination() {
    if (!destinationWanted_) return;
    Image& destination = options_.destination;
    if (!destination) {
        destination = startsWithSource_ ? source().copy(session_) : Image(session_, width_, height_, bands_, type_);
        describeTags(destination);
    } else if (destination.width() != width_ || destination.height() != height_ || destination.bands() != bands_ ||
               destination.type() != type_) {
        refuse("destination",
               fmt::format("an image of {} came, {} x {} with {} band{} ({}) wanted", shapeText(destination), width_,
                           height_, bands_, bands_ == 1 ? "" : "s", nameOf(type_)));
    }
    for (const auto& step : beforehand_) step(*this, destination);
}

Result Call::run() {
    if (operation_.body != nullptr) return operation_.body(*this);
    operation_.prepare(*this);
    prepareDestination();
    Result result;
    device(result);
    if (destinationWanted_) result.image = options_.destination;
    for (const auto& step : afterwards_) step(result);
    return result;
}

void Call::device(Result& result) {
    host::Session& session = session_.object();
    for (std::size_t i = 0; i < sources_.size(); ++i) op_->setSource(static_cast<int>(i) + 1, &sources_[i].object());
    for (std::size_t i = 0; i < further_.size(); ++i) {
        op_->setSource(static_cast<int>(sources_.size() + i) + 1, &further_[i].object());
    }
    host::Image* target = destinationWanted_ ? &options_.destination.object() : nullptr;
    op_->setDestination(target);
    if (target != nullptr && !options_.roi.empty()) {
        std::vector<host::Rect> rects;
        for (const Rectangle& r : options_.roi) rects.push_back({r.x, r.y, r.width, r.height});
        if (!target->setRegion(rects)) refuse("roi", "no memory for a region");
    }
    result.explained.push_back(explained_.empty() ? opName_
                                                  : fmt::format("{} : {}", opName_, fmt::join(explained_, " ")));
    host::CallResult called;
    std::optional<host::Report> failure;
    session.clearLastError();
    session.setErrorHandler([&](const host::Report& report) {
        if (report.severity == host::Severity::warning) result.warnings.emplace_back(host::messageText(report.id));
    });
    try {
        called = session.run(*op_);
    } catch (const host::DispatchError& error) {
        session.setErrorHandler({});
        if (target != nullptr) target->clearRegion();
        refuse("", error.what());
    }
    session.setErrorHandler({});
    if (target != nullptr) target->clearRegion();
    if (called.status == ORV_SUCCESS) return;
    failure = session.lastError();
    if (!failure) refuse("", "the device declined the call");
    throw Error(std::string(operation_.name),
                fmt::format("{}: {} ({})", operation_.name, host::messageText(failure->id), failure->id), failure->id);
}

} // namespace orv
