// Operations that measure pictures, fill regions of them and paint on them.

#include <algorithm>
#include <cmath>

#include <fmt/format.h>

#include "catalogue/Call.h"
#include "catalogue/parameters.h"
#include "catalogue/rows.h"
#include "orv/host/Tables.h"

namespace orv {

namespace {

Image band(const Image& image, unsigned memoryBand) {
    return image.child({0, 0, image.width(), image.height()}, memoryBand, 1);
}

/// "red", "green", "blue" of colours, "gray", "band 3" of others.
std::string bandName(const Call& call, unsigned band) {
    constexpr std::string_view colours[] = {"red", "green", "blue"};
    if (call.source().encoding() == Encoding::rgb) return std::string(colours[band]);
    return call.source().bands() == 1 ? "gray" : fmt::format("band {}", band + 1);
}

// extrema -------------------------------------------------------------------------------------------------------------

void extrema(Call& call) {
    const unsigned bands = call.source().bands();
    Step& step = call.op("extrema{}").measuring();
    std::vector<float>& high = step.addResults(bands);
    std::vector<float>& low = step.addResults(bands);
    call.afterwards([&call, &high, &low, bands](Result& result) {
        Measurement least{"min", {}};
        Measurement most{"max", {}};
        for (unsigned b = 0; b < bands; ++b) {
            least.values.push_back(call.fromMemory(low[call.memoryBand(b)]));
            most.values.push_back(call.fromMemory(high[call.memoryBand(b)]));
        }
        result.measurements = {least, most};
    });
}

// histogram -----------------------------------------------------------------------------------------------------------

constexpr auto histogramParameters = list(
    Parameter{.name = "bins",
              .kind = Kind::integer,
              .help = "bins of a band",
              .fallback = "256",
              .low = 1,
              .high = 65536,
              .positional = true},
    Parameter{.name = "range",
              .kind = Kind::numbers,
              .help = "LOW,HIGH: the levels in the middle of the first and the last bin; full range otherwise",
              .optional = true,
              .positional = true},
    Parameter{.name = "skip",
              .kind = Kind::numbers,
              .help = "X,Y: steps from one counted pixel to the next",
              .fallback = "1,1",
              .low = 1,
              .high = 1e6},
    Parameter{.name = "joint", .kind = Kind::flag, .help = "count the bands of a pixel together", .fallback = "no"});

struct Range {
    double low;
    double high;
};

/// In the file's units.
Range rangeOf(const Call& call) {
    if (call.has("range")) {
        const std::vector<double>& range = call.numbers("range");
        if (range.size() != 2 || !(range[0] <= range[1])) call.refuse("range", "LOW,HIGH wanted, the low one first");
        return {range[0], range[1]};
    }
    const bool numbers = call.source().type() == Type::int16 && call.source().tags().sixteen == Sixteen::number;
    return {numbers ? -32768.0 : 0.0, call.fullScale()};
}

void addHistogram(Call& call, Step& step, unsigned bands, unsigned bins, const Range& range) {
    const std::vector<unsigned> counts(bands, bins);
    const std::vector<float> low(bands, static_cast<float>(call.toMemory(range.low)));
    const std::vector<float> high(bands, static_cast<float>(call.toMemory(range.high)));
    step.addObject(host::Owned<OrvObject>(host::Histogram::make(call.session().object(), counts, low, high).release()));
    for (const double skip : call.numbers("skip")) {
        if (skip != std::floor(skip)) call.refuse("skip", "whole numbers wanted");
        step.add(static_cast<long>(skip));
    }
}

std::vector<double> countersOf(const Step& step) {
    const auto counters = static_cast<host::Histogram*>(step.lastObject())->counters();
    return {counters.begin(), counters.end()};
}

void histogram(Call& call) {
    if (call.numbers("skip").size() != 2) call.refuse("skip", "two numbers X,Y wanted");
    const unsigned bands = call.source().bands();
    const bool joint = call.flag("joint");
    const auto bins = static_cast<unsigned>(call.source().type() == Type::bit ? 2 : call.integer("bins"));
    constexpr double mostCounters = 1 << 26;
    if (joint && std::pow(bins, bands) > mostCounters)
        call.refuse("bins", fmt::format("{} bins in each of {} bands are too many counters", bins, bands));
    const Range range = rangeOf(call);
    std::vector<const Step*> steps;
    for (unsigned b = 0; b < (joint ? 1 : bands); ++b) {
        Step& step = call.op("histogram{}").measuring();
        if (!joint) step.on({band(call.source(), call.memoryBand(b))});
        addHistogram(call, step, joint ? bands : 1, bins, range);
        steps.push_back(&step);
    }
    call.afterwards([&call, steps, joint, bins, range](Result& result) {
        Measurement centres{"centers", {}};
        const double width = bins == 1 ? 0 : (range.high - range.low) / (bins - 1);
        for (unsigned i = 0; i < bins; ++i) centres.values.push_back(range.low + i * width);
        for (unsigned b = 0; b < steps.size(); ++b)
            result.measurements.push_back({joint ? "joint" : bandName(call, b), countersOf(*steps[b])});
        result.measurements.push_back(std::move(centres));
    });
}

// squeeze_range -------------------------------------------------------------------------------------------------------

void squeezeRange(Call& call) {
    if (call.source().bands() != 1)
        call.refuse("", fmt::format("an image of {} bands came, 1 wanted", call.source().bands()));
    auto place = std::make_shared<OrvLookup*>(nullptr);
    call.op("squeezerange{}").measuring().addResult(place.get());
    const Type type = call.source().type();
    call.afterwards([place, type](Result& result) {
        const host::Owned<OrvLookup> lookup(*place);
        if (!lookup) throw Error("squeeze_range", "squeeze_range: no pixel was looked at");
        Table table{.output = type, .bands = 1, .first = lookup->getOffset(), .samples = {}};
        for (unsigned i = 0; i < lookup->getNumEntries(); ++i) {
            table.samples.push_back(type == Type::int16 ? static_cast<const std::int16_t*>(lookup->getData())[i]
                                                        : static_cast<const std::uint8_t*>(lookup->getData())[i]);
        }
        result.table = std::move(table);
    });
}

// fill, soft_fill -----------------------------------------------------------------------------------------------------

constexpr Parameter seedParameter{.name = "seed", .kind = Kind::points, .help = "X,Y: where the flood begins"};

Point seedOf(const Call& call) {
    const std::vector<Point>& points = call.points("seed");
    if (points.size() != 1) call.refuse("seed", fmt::format("{} points came, one X,Y wanted", points.size()));
    const Point p{std::round(points[0].x), std::round(points[0].y)};
    if (!(p.x >= 0 && p.y >= 0 && p.x < call.source().width() && p.y < call.source().height())) {
        call.refuse("seed", fmt::format("{},{} lies outside the picture of {} x {}", points[0].x, points[0].y,
                                        call.source().width(), call.source().height()));
    }
    return p;
}

void addSeed(Call& call, Point seed) {
    call.add(static_cast<float>(seed.x));
    call.add(static_cast<float>(seed.y));
}

constexpr auto fillParameters =
    list(seedParameter, Parameter{.name = "boundary", .kind = Kind::levels, .help = "the colour that stops the flood"},
         Parameter{.name = "value", .kind = Kind::levels, .help = "the colour to fill with"});

void fill(Call& call) {
    const Point seed = seedOf(call);
    call.op("fill{}");
    addSeed(call, seed);
    call.add(call.perBand("boundary", call.bands()));
    call.add(call.perBand("value", call.bands()));
    call.startWithSource();
}

constexpr auto softFillParameters =
    list(seedParameter, Parameter{.name = "foreground", .kind = Kind::levels, .help = "the colour that is taken out"},
         Parameter{.name = "backgrounds",
                   .kind = Kind::colours,
                   .help = "the colours that it is mixed with at its edges, separated by semicolons"},
         Parameter{.name = "value", .kind = Kind::levels, .help = "the colour that takes its place"});

void softFill(Call& call) {
    constexpr unsigned most = 25;
    if (call.bands() > most)
        call.refuse("", fmt::format("an image of {} bands came, at most {} wanted", call.bands(), most));
    const Point seed = seedOf(call);
    const std::vector<std::vector<float>> backgrounds = call.colours("backgrounds", call.bands());
    if (backgrounds.empty() || backgrounds.size() > most)
        call.refuse("backgrounds", fmt::format("{} colours came, 1 to {} wanted", backgrounds.size(), most));
    std::vector<float> rowsOfColours;
    for (const std::vector<float>& colour : backgrounds)
        rowsOfColours.insert(rowsOfColours.end(), colour.begin(), colour.end());
    call.op("softfill{}");
    addSeed(call, seed);
    call.add(call.perBand("foreground", call.bands()));
    call.add(static_cast<long>(backgrounds.size()));
    call.add(std::move(rowsOfColours));
    call.add(call.perBand("value", call.bands()));
    call.startWithSource();
}

// paint ---------------------------------------------------------------------------------------------------------------

constexpr auto paintParameters = list(
    Parameter{
        .name = "brush", .kind = Kind::brush, .help = "disk:RADIUS, soft:RADIUS, a picture, or a file of numbers"},
    Parameter{.name = "value", .kind = Kind::levels, .help = "the colour to paint with"},
    Parameter{.name = "at", .kind = Kind::points, .help = "X,Y;X,Y: where the brush is stamped, or a file of points"});

void paint(Call& call) {
    const Kernel& brush = call.kernel("brush");
    if (brush.taps.empty() || brush.taps.size() != std::size_t{brush.width} * brush.height)
        call.refuse("brush", "it holds no weights");
    if (std::ranges::any_of(brush.taps, [](float w) { return !(w >= 0 && w <= 1); }))
        call.refuse("brush", "weights from 0 to 1 wanted");
    const std::vector<float> colour = call.perBand("value", call.bands());
    const double least = call.type() == Type::int16 ? -32768 : 0;
    const double most = call.type() == Type::int16 ? 32767 : call.type() == Type::byte ? 255 : 1;
    for (const float v : colour) {
        if (!(v >= least && v <= most)) call.refuse("value", fmt::format("a sample of {} does not fit the image", v));
    }
    const std::vector<Point>& points = call.points("at");
    if (points.empty()) call.refuse("at", "no points came");
    std::vector<float> positions;
    for (const Point& p : points) {
        positions.push_back(static_cast<float>(p.x));
        positions.push_back(static_cast<float>(p.y));
    }
    call.op("paint{}");
    call.add(colour);
    call.addKernel(brush);
    call.add(static_cast<long>(points.size()));
    call.add(std::move(positions));
    call.startWithSource();
}

constexpr Operation rows[] = {
    {.name = "extrema",
     .help = "the smallest and the largest sample of each band",
     .group = "measuring",
     .example = "orv extrema photo.png --json",
     .rightUnderShift = true,
     .givesImage = false,
     .blocks = measuresAll,
     .prepare = extrema},
    {.name = "histogram",
     .help = "how often each level occurs, one band at a time",
     .details = "Values up to one and a half bins below the range count for the first bin.",
     .group = "measuring",
     .parameters = histogramParameters,
     .example = "orv histogram photo.png --bins 16 --json",
     .rightUnderShift = true,
     .givesImage = false,
     .blocks = measuresAll,
     .prepare = histogram},
    {.name = "squeeze_range",
     .help = "a table that packs the levels in use into a run without gaps",
     .group = "measuring",
     .example = "orv squeeze-range labels.png",
     .rightUnderShift = true,
     .givesImage = false,
     .instead = Instead::table,
     .blocks = measuresAll,
     .prepare = squeezeRange},
    {.name = "fill",
     .help = "floods a region up to a boundary colour (see bucket for like-coloured pixels)",
     .group = "painting",
     .parameters = fillParameters,
     .example = "orv fill drawing.png -o filled.png --seed 100,80 --boundary black --value '#ff8000'",
     .rightUnderShift = true,
     .blocks = floodsRunOn,
     .prepare = fill},
    {.name = "soft_fill",
     .help = "recolours a region whose edges are mixed with known colours",
     .group = "painting",
     .parameters = softFillParameters,
     .example =
         "orv soft-fill logo.png -o recoloured.png --seed 40,40 --foreground red --backgrounds white --value green",
     .bandsMeet = true,
     .rightUnderShift = true,
     .blocks = floodsRunOn,
     .prepare = softFill},
    {.name = "paint",
     .help = "stamps a brush",
     .group = "painting",
     .parameters = paintParameters,
     .example = "orv paint photo.png -o dots.png --brush soft:12 --value red --at '40,40;80,60'",
     .rightUnderShift = true,
     .blocks = {.why = "a stamp may lie across the borders of blocks"},
     .prepare = paint},
};

} // namespace

std::span<const Operation> measureRows() noexcept { return rows; }

} // namespace orv
