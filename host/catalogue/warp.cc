// Warps: every pixel is fetched from a displaced place.

#include <array>
#include <cmath>
#include <filesystem>
#include <numbers>
#include <sstream>

#include <fmt/format.h>

#include "catalogue/Call.h"
#include "catalogue/interpolation.h"
#include "catalogue/parameters.h"
#include "catalogue/rows.h"

namespace orv {

namespace {

enum class Axes { both, horizontal, vertical };

constexpr auto parameters =
    list(Parameter{.name = "table",
                   .kind = Kind::warp,
                   .help = "swirl:DEGREES, barrel:STRENGTH, wave:PIXELS:PERIOD, or an image of 16-bit displacements in "
                           "sixteenths of a pixel"},
         interpolationParameter, filterParameter, backgroundParameter, marginParameter);

/// Where the sample of a pixel is fetched, relative to that pixel.
using Displacement = Point (*)(double x, double y, double width, double height, const std::vector<double>& numbers);

Point swirl(double x, double y, double width, double height, const std::vector<double>& numbers) {
    const double dx = x - width / 2;
    const double dy = y - height / 2;
    const double radius = numbers.size() > 1 ? numbers[1] : std::min(width, height) / 2;
    const double share = std::max(0.0, 1 - std::hypot(dx, dy) / radius);
    const double angle = numbers[0] * std::numbers::pi / 180.0 * share * share;
    return {dx * std::cos(angle) - dy * std::sin(angle) - dx, dx * std::sin(angle) + dy * std::cos(angle) - dy};
}

Point barrel(double x, double y, double width, double height, const std::vector<double>& numbers) {
    const double dx = x - width / 2;
    const double dy = y - height / 2;
    const double share = 4 * (dx * dx + dy * dy) / (width * width + height * height);
    return {dx * numbers[0] * share, dy * numbers[0] * share};
}

Point wave(double x, double y, double, double, const std::vector<double>& numbers) {
    const double period = numbers.size() > 1 ? numbers[1] : 64;
    return {numbers[0] * std::sin(2 * std::numbers::pi * y / period),
            numbers[0] * std::sin(2 * std::numbers::pi * x / period)};
}

struct Shape {
    std::string_view word;
    Displacement displacement;
};
constexpr Shape shapes[] = {{"swirl", swirl}, {"barrel", barrel}, {"wave", wave}};

std::int16_t sixteenths(double pixels) noexcept {
    return static_cast<std::int16_t>(std::clamp(std::round(pixels * 16), -32768.0, 32767.0));
}

/// Two bands of displacements, as a word with numbers tells; nothing where the text is no such word.
Image drawn(Call& call, const std::string& text, Axes axes) {
    std::istringstream stream(text);
    std::string word;
    std::getline(stream, word, ':');
    const auto shape = std::ranges::find(shapes, word, &Shape::word);
    if (shape == std::end(shapes)) return {};
    std::vector<double> numbers;
    for (std::string part; std::getline(stream, part, ':');) {
        if (part.ends_with("deg")) part.resize(part.size() - 3);
        numbers.push_back(parseNumber(part));
    }
    if (numbers.empty() || numbers.size() > 2 || (numbers.size() == 2 && !(numbers[1] > 0)))
        call.refuse("table",
                    fmt::format("'{}' came, {}:NUMBER wanted, and a second number above 0 at most", text, word));
    const unsigned width = call.source().width();
    const unsigned height = call.source().height();
    Image table(call.session(), width, height, 2, Type::int16);
    const Pixels p = table.pixels();
    for (unsigned y = 0; y < height; ++y) {
        auto* at = reinterpret_cast<std::int16_t*>(p.data + y * p.stride);
        for (unsigned x = 0; x < width; ++x, at += p.pixel / 2) {
            const Point d = shape->displacement(x + 0.5, y + 0.5, width, height, numbers);
            at[0] = sixteenths(axes == Axes::vertical ? d.y : d.x);
            at[1] = axes == Axes::both ? sixteenths(d.y) : std::int16_t{0};
        }
    }
    table.samplesChanged();
    return table;
}

/// Two bands of displacements. One-band tables get a second one, since the device steps by two samples at times.
Image displacements(Call& call, Axes axes) {
    Image table;
    if (const Image* given = call.image("table")) {
        table = *given;
    } else {
        table = drawn(call, call.text("table"), axes);
        if (table) return table;
        const std::string& file = call.text("table");
        if (!std::filesystem::exists(file))
            call.refuse("table", fmt::format("there is no shape or file '{}' ({})", file, parameters[0].help));
        table = call.session().read(file);
    }
    if (!table) call.refuse("table", "an empty image came");
    const unsigned wanted = axes == Axes::both ? 2 : 1;
    if (table.type() != Type::int16 || table.bands() != wanted) {
        call.refuse("table", fmt::format("an image of {} came, {} band{} of int16 wanted", table.describe(), wanted,
                                         wanted == 1 ? "" : "s"));
    }
    if (wanted == 2) return table;
    Image wide(call.session(), table.width(), table.height(), 2, Type::int16);
    table.tags().encoding = Encoding::gray;
    call.session().apply("copy", std::span(&table, 1), {},
                         {.destination = wide.child({0, 0, table.width(), table.height()}, 0, 1)});
    return wide;
}

/// How near to the low and the high border of the picture positions may lie.
struct Margins {
    long low;
    long high;
};

/// The pixels whose samples lie within the margins.
std::vector<host::Rect> covered(const Call& call, const Image& table, Axes axes, const Margins& margins) {
    std::vector<host::Rect> rects;
    const Pixels p = table.pixels();
    const long right = static_cast<long>(call.source().width()) - margins.high;
    const long bottom = static_cast<long>(call.source().height()) - margins.high;
    for (long y = 0; y < static_cast<long>(table.height()); ++y) {
        const auto* at = reinterpret_cast<const std::int16_t*>(p.data + y * p.stride);
        long start = -1;
        for (long x = 0; x <= static_cast<long>(table.width()); ++x, at += p.pixel / 2) {
            bool inside = false;
            if (x < static_cast<long>(table.width())) {
                const long sx = x + (axes == Axes::vertical ? 0 : at[0] >> 4);
                const long sy = y + (axes == Axes::horizontal ? 0 : at[axes == Axes::both ? 1 : 0] >> 4);
                inside = sx >= margins.low && sx <= right && sy >= margins.low && sy <= bottom;
            }
            if (inside && start < 0) start = x;
            if (!inside && start >= 0) {
                rects.push_back({start, y, static_cast<unsigned>(x - start), 1});
                start = -1;
            }
        }
    }
    return rects;
}

template <Axes A>
void warp(Call& call) {
    constexpr unsigned most = 32767;
    if (call.source().width() > most || call.source().height() > most)
        call.refuse("", fmt::format("a picture of more than {} pixels across or down came", most));
    constexpr std::array<std::string_view, 4> suffixes = {"nearest", "bilinear", "bicubic", "general"};
    constexpr std::string_view form = A == Axes::both ? "" : A == Axes::horizontal ? "h" : "v";
    const Image table = displacements(call, A);
    const Image bands = A == Axes::both ? table : table.child({0, 0, table.width(), table.height()}, 0, 1);
    call.shape(table.width(), table.height());
    call.op("setvalue{}").add(call.background());
    const long wanted = call.choice("interpolation");
    const bool fills = call.choice("edge") != 0;
    const long filter = call.choice("filter");
    const Taps taps = tapsOf(filter, false);
    const Margins margins[] = {
        {0, 1}, {1, 2}, {2, 3}, {static_cast<long>(taps.key), static_cast<long>(taps.size - taps.key)}};
    const auto add = [&](long interpolation) {
        const auto i = static_cast<std::size_t>(interpolation);
        // Outside its margins the device clears the first band alone: it is kept away from there.
        std::vector<host::Rect> within = covered(call, table, A, margins[i]);
        if (within.empty()) return;
        call.op(fmt::format("tablewarp{}{{}}{}", form, suffixes[i]))
            .on({call.source(), bands})
            .within(std::move(within));
        if (interpolation != general) return;
        call.add(0L);
        call.add(0L);
        for (int axis = 0; axis < 2; ++axis) call.addObject(interpolationTable(call.session(), filter, false));
    };
    for (long simpler = nearest; fills && simpler < std::min(wanted, bicubic); ++simpler) add(simpler);
    add(wanted);
}

constexpr Operation rows[] = {
    {.name = "table_warp",
     .help = "every pixel fetched from a displaced place",
     .details =
         "Displacements say where a sample comes from: 16 is one pixel to the right, or down in the second band.",
     .group = "geometry",
     .parameters = parameters,
     .example = "orv table-warp photo.png -o swirl.png --table swirl:120 --interpolation bicubic",
     .alpha = Alpha::premultiplied,
     .keepsPalette = true,
     .rightUnderShift = true,
     .apart = true,
     .blocks = pixelsMove,
     .prepare = warp<Axes::both>},
    {.name = "table_warp_h",
     .help = "every pixel fetched from a place displaced across",
     .group = "geometry",
     .parameters = parameters,
     .example = "orv table-warp-h photo.png -o wave.png --table wave:6:80",
     .alpha = Alpha::premultiplied,
     .keepsPalette = true,
     .rightUnderShift = true,
     .apart = true,
     .blocks = pixelsMove,
     .prepare = warp<Axes::horizontal>},
    {.name = "table_warp_v",
     .help = "every pixel fetched from a place displaced up or down",
     .group = "geometry",
     .parameters = parameters,
     .example = "orv table-warp-v photo.png -o wave.png --table wave:6:80",
     .alpha = Alpha::premultiplied,
     .keepsPalette = true,
     .rightUnderShift = true,
     .apart = true,
     .blocks = pixelsMove,
     .prepare = warp<Axes::vertical>},
};

} // namespace

std::span<const Operation> warpRows() noexcept { return rows; }

} // namespace orv
