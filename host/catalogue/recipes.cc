// Recipes: what people mean, as operations one after another.

#include <algorithm>
#include <cmath>
#include <numeric>

#include <fmt/format.h>

#include "catalogue/Call.h"
#include "catalogue/alpha.h"
#include "catalogue/interpolation.h"
#include "catalogue/parameters.h"
#include "catalogue/rows.h"
#include "orv/Pipeline.h"

namespace orv {

namespace {

Arguments passedOn(const Call& call, std::initializer_list<std::string_view> names) {
    Arguments arguments;
    for (const std::string_view name : names) {
        if (call.has(name)) arguments.push_back({std::string(name), call.value(name)});
    }
    return arguments;
}

Result run(Call& call, Pipeline& pipeline) { return pipeline.run(call.sources(), call.options()); }

std::string word(std::string_view text) { return std::string(text); }

void adopt(Result& all, Result&& one) {
    all.explained.insert(all.explained.end(), one.explained.begin(), one.explained.end());
    all.notes.insert(all.notes.end(), one.notes.begin(), one.notes.end());
    all.image = std::move(one.image);
}

Result apply(Call& call, Result& all, std::string_view operation, std::vector<Image> sources, Arguments arguments,
             const CallOptions& options = {}) {
    Result one = call.session().apply(operation, sources, arguments, options);
    all.explained.insert(all.explained.end(), one.explained.begin(), one.explained.end());
    return one;
}

bool isColour(const Image& image) noexcept {
    return image.encoding() == Encoding::rgb || image.encoding() == Encoding::rgba;
}

// gray ----------------------------------------------------------------------------------------------------------------

constexpr Choice weightChoices[] = {{"601", 601, "as television weighed them: 0.299, 0.587, 0.114"},
                                    {"709", 709, "as screens do today: 0.2126, 0.7152, 0.0722"},
                                    {"equal", 0, "the mean"}};
constexpr auto grayParameters = list(Parameter{.name = "weights",
                                               .kind = Kind::choice,
                                               .help = "how much of red, green and blue",
                                               .fallback = "601",
                                               .choices = weightChoices,
                                               .typeName = "GrayWeights"});

std::vector<double> grayWeights(long which) {
    switch (which) {
    case 601:
        return {0.299, 0.587, 0.114, 0};
    case 709:
        return {0.2126, 0.7152, 0.0722, 0};
    default:
        return {1.0 / 3, 1.0 / 3, 1.0 / 3, 0};
    }
}

void toGray(Pipeline& pipeline, const Call& call, long weights) {
    if (isColour(call.source())) pipeline.then("band_combine", {{"matrix", grayWeights(weights)}});
}

Result gray(Call& call) {
    Pipeline pipeline(call.session());
    toGray(pipeline, call, call.choice("weights"));
    if (pipeline.empty() && call.source().bands() > 2)
        call.refuse("", fmt::format("a {} picture came, rgb wanted", nameOf(call.source().encoding())));
    if (pipeline.empty()) pipeline.then("copy");
    return run(call, pipeline);
}

// depth ---------------------------------------------------------------------------------------------------------------

constexpr auto depthParameters = list(Parameter{
    .name = "to", .kind = Kind::choice, .help = "the type of the result", .choices = typeChoices, .typeName = "Type"});

/// Every level of one type as the level of another that is the same share of full range.
Table depthTable(const Call& call, Type to) {
    const bool wide = call.source().type() == Type::int16;
    const bool numbers = wide && call.source().tags().sixteen != Sixteen::shifted;
    const int entries = call.source().type() == Type::bit ? 2 : wide ? 65536 : 256;
    Table table{.output = to, .bands = 1, .first = numbers ? -32768 : 0, .samples = {}};
    const double full = numbers ? 32767 : entries - 1;
    const double top = to == Type::bit ? 1 : to == Type::byte ? 255 : 65535;
    for (int i = 0; i < entries; ++i) {
        const double share = std::clamp((table.first + i) / full, 0.0, 1.0);
        table.samples.push_back(static_cast<int>(std::floor(share * top + 0.5)));
    }
    if (to == Type::int16) {
        for (int& sample : table.samples) sample -= 32768;
    }
    return table;
}

Result depth(Call& call) {
    const auto to = static_cast<Type>(call.choice("to"));
    CallOptions options = call.options();
    options.alphaAsBand = true;
    if (to == call.source().type()) return call.session().apply("copy", call.sources(), {}, options);
    Result result = call.session().apply("lookup", call.sources(), {{"table", depthTable(call, to)}}, options);
    result.image.tags().sixteen = to == Type::int16 ? Sixteen::shifted : Sixteen::number;
    return result;
}

// resize --------------------------------------------------------------------------------------------------------------

constexpr Parameter smoothInterpolation{.name = "interpolation",
                                        .kind = Kind::choice,
                                        .help = "how samples between pixels are made where the picture grows",
                                        .fallback = "bicubic",
                                        .choices = interpolations,
                                        .typeName = "Interpolation"};
constexpr auto resizeParameters =
    list(Parameter{.name = "by", .kind = Kind::factors, .help = "factor (0.5, 1/4, 50%)", .optional = true, .low = 0},
         Parameter{.name = "size", .kind = Kind::size, .help = "WIDTHxHEIGHT of the result", .optional = true},
         Parameter{.name = "dpi",
                   .kind = Kind::number,
                   .help = "resolution of the result, which keeps its size on paper",
                   .optional = true,
                   .low = 1,
                   .high = 100000},
         smoothInterpolation);

using Size = std::pair<unsigned, unsigned>;

Size sizeWanted(const Call& call) {
    if (int{call.has("by")} + int{call.has("size")} + int{call.has("dpi")} != 1)
        call.refuse("by", "say one of --by FACTOR, --size WIDTHxHEIGHT and --dpi NUMBER");
    if (call.has("size")) return call.size("size");
    double x = 1;
    double y = 1;
    if (call.has("dpi")) {
        const Resolution& dpi = call.source().tags().dpi;
        if (!(dpi.x > 0 && dpi.y > 0))
            call.refuse("dpi", "the picture does not tell its resolution; say --by or --size, or give it one with "
                               "'orv copy IN -o OUT --dpi 300'");
        x = call.number("dpi") / dpi.x;
        y = call.number("dpi") / dpi.y;
    } else {
        x = call.numbers("by").front();
        y = call.numbers("by").back();
    }
    constexpr double most = 1e6;
    const double width = std::max(1.0, std::round(call.source().width() * x));
    const double height = std::max(1.0, std::round(call.source().height() * y));
    if (!(x > 0 && y > 0 && width <= most && height <= most))
        call.refuse("by", fmt::format("the result would be {} x {} pixels", width, height));
    return {static_cast<unsigned>(width), static_cast<unsigned>(height)};
}

std::vector<double> asNumbers(const Size& size) {
    return {static_cast<double>(size.first), static_cast<double>(size.second)};
}

Result resize(Call& call) {
    const Size wanted = sizeWanted(call);
    Size now{call.source().width(), call.source().height()};
    const auto factor = [&] {
        return std::min(static_cast<double>(wanted.first) / now.first, static_cast<double>(wanted.second) / now.second);
    };
    const bool smaller = wanted.first <= now.first && wanted.second <= now.second;
    const long interpolation = call.choice("interpolation");
    Pipeline pipeline(call.session());
    if (interpolation != nearest && smaller && factor() < 0.5 && !call.shifted()) {
        pipeline.then("subsample_adaptive", {{"size", asNumbers(wanted)}});
    } else {
        // Means of boxes, by halves: the device's own means count from 0 alone.
        while (interpolation != nearest && smaller && factor() < 0.5) {
            now = {(now.first + 1) / 2, (now.second + 1) / 2};
            pipeline.then("scale", {{"size", asNumbers(now)}});
        }
        const bool bits = call.source().type() == Type::bit;
        const std::string_view way = interpolation == nearest || bits ? "nearest"
                                     : factor() < 1                   ? "general"
                                                                      : interpolations[interpolation].word;
        pipeline.then("scale", {{"size", asNumbers(wanted)}, {"interpolation", word(way)}});
    }
    Result result = run(call, pipeline);
    if (call.has("dpi")) result.image.tags().dpi = {call.number("dpi"), call.number("dpi")};
    return result;
}

// rotate_fit ----------------------------------------------------------------------------------------------------------

constexpr auto rotateParameters =
    list(Parameter{.name = "degrees", .kind = Kind::angle, .help = "counterclockwise; radians with 'rad' after them"},
         smoothInterpolation, backgroundParameter);

Result rotateFit(Call& call) {
    const double turned = std::fmod(std::fmod(call.number("degrees"), 360.0) + 360.0, 360.0);
    Pipeline pipeline(call.session());
    if (turned == 0) {
        pipeline.then("copy");
    } else if (std::fmod(turned, 90.0) == 0) {
        pipeline.then("transpose", {{"flip", fmt::format("{:g}", turned)}});
    } else {
        Arguments arguments = passedOn(call, {"degrees", "interpolation", "background"});
        arguments.push_back({"canvas", word("fit")});
        pipeline.then("rotate", std::move(arguments));
    }
    return run(call, pipeline);
}

// blur, sharpen -------------------------------------------------------------------------------------------------------

constexpr auto blurParameters = list(Parameter{.name = "sigma",
                                               .kind = Kind::number,
                                               .help = "width of the bell in pixels",
                                               .fallback = "2",
                                               .low = 0.1,
                                               .high = 40});

/// Taps that hold all of the bell that shows, an odd number no larger than the picture.
unsigned bellSize(double sigma, unsigned room) {
    const auto wanted = 2 * static_cast<unsigned>(std::ceil(3 * sigma)) + 1;
    return std::min(wanted, room - (room + 1) % 2);
}

Result blur(Call& call) {
    const double sigma = call.number("sigma");
    Pipeline pipeline(call.session());
    pipeline.then("convolve", {{"kernel", Kernel::gaussian(bellSize(sigma, call.source().width()), 1, sigma)}});
    pipeline.then("convolve", {{"kernel", Kernel::gaussian(1, bellSize(sigma, call.source().height()), sigma)}});
    return run(call, pipeline);
}

constexpr auto sharpenParameters = list(Parameter{.name = "amount",
                                                  .kind = Kind::number,
                                                  .help = "how much of what a blur would take away is added",
                                                  .fallback = "1",
                                                  .low = 0,
                                                  .high = 20},
                                        Parameter{.name = "sigma",
                                                  .kind = Kind::number,
                                                  .help = "width of that blur in pixels",
                                                  .fallback = "1",
                                                  .low = 0.1,
                                                  .high = 5});

Result sharpen(Call& call) {
    const double amount = call.number("amount");
    const double sigma = call.number("sigma");
    const unsigned room = std::min(call.source().width(), call.source().height());
    Kernel kernel = Kernel::gaussian(bellSize(sigma, room), sigma);
    const std::size_t key = std::size_t{kernel.keyY} * kernel.width + kernel.keyX;
    constexpr double unit = 65536;
    double others = 0;
    for (std::size_t i = 0; i < kernel.taps.size(); ++i) {
        const double steps = i == key ? 0 : -std::round(amount * static_cast<double>(kernel.taps[i]) * unit);
        kernel.taps[i] = static_cast<float>(steps / unit);
        others += steps;
    }
    kernel.taps[key] = static_cast<float>((unit - others) / unit);
    Pipeline pipeline(call.session());
    pipeline.then("convolve", {{"kernel", kernel}, {"round", 1.0}});
    return run(call, pipeline);
}

// binarize, halftone --------------------------------------------------------------------------------------------------

constexpr Parameter overParameter{.name = "background",
                                  .kind = Kind::levels,
                                  .help = "what shows through where the picture has alpha",
                                  .optional = true};
constexpr auto binarizeParameters = list(
    Parameter{.name = "level", .kind = Kind::levels, .help = "the lowest level that becomes white", .fallback = "50%"},
    Parameter{.name = "auto",
              .kind = Kind::flag,
              .help = "find the level that parts dark from light best (Otsu)",
              .fallback = "no"},
    overParameter);

/// The level that leaves the least variance on its two sides (Otsu, 1979), in the units of the histogram's centres.
double bestLevel(const std::vector<double>& counts, const std::vector<double>& centres) {
    const double total = std::accumulate(counts.begin(), counts.end(), 0.0);
    const double sum = std::inner_product(counts.begin(), counts.end(), centres.begin(), 0.0);
    double below = 0;
    double sumBelow = 0;
    double best = -1;
    double level = centres.front();
    for (std::size_t i = 0; i + 1 < counts.size(); ++i) {
        below += counts[i];
        sumBelow += counts[i] * centres[i];
        if (below == 0 || below == total) continue;
        const double apart = sumBelow / below - (sum - sumBelow) / (total - below);
        const double between = below * (total - below) * apart * apart;
        if (between > best) {
            best = between;
            level = centres[i + 1];
        }
    }
    return level;
}

/// The picture in one band and without alpha.
Image plainGray(Call& call, Result& all) {
    Image picture = call.source();
    if (picture.encoding() == Encoding::rgba || picture.encoding() == Encoding::grayAlpha) {
        const Levels* background = call.has("background") ? std::get_if<Levels>(&call.value("background")) : nullptr;
        if (background == nullptr) call.refuse("", "the picture has alpha; say --background COLOUR");
        picture = over(call.session(), picture, *background);
    }
    if (picture.bands() == 1) return picture;
    if (!isColour(picture))
        call.refuse("", fmt::format("a {} picture came, gray or rgb wanted", nameOf(picture.encoding())));
    return apply(call, all, "band_combine", {picture}, {{"matrix", grayWeights(601)}}).image;
}

/// Which levels, in the file's units, are set in a table to bits.
template <class Holds>
Table bitTable(const Call& call, const Holds& holds) {
    const bool wide = call.source().type() == Type::int16;
    const int entries = call.source().type() == Type::bit ? 2 : wide ? 65536 : 256;
    Table table{.output = Type::bit, .bands = 1, .first = wide && !call.shifted() ? -32768 : 0, .samples = {}};
    for (int i = 0; i < entries; ++i) table.samples.push_back(holds(static_cast<double>(table.first + i)) ? 1 : 0);
    return table;
}

Result binarize(Call& call) {
    Result all;
    const Image gray = plainGray(call, all);
    const Levels* given = std::get_if<Levels>(&call.value("level"));
    if (given == nullptr || given->values.size() != 1) call.refuse("level", "one level wanted");
    double level = given->values.front() * (given->relative ? call.fullScale() : 1.0);
    if (call.flag("auto")) {
        const Result counted = apply(call, all, "histogram", {gray}, {});
        level = bestLevel(counted.measurements[0].values, counted.measurements[1].values);
    }
    adopt(all, call.session().apply("lookup", std::span(&gray, 1),
                                    {{"table", bitTable(call, [&](double v) { return v >= level; })}}, call.options()));
    return all;
}

constexpr auto halftoneParameters = list(Parameter{.name = "mask",
                                                   .kind = Kind::mask,
                                                   .help = "dot:150lpi:45deg, dot:PIXELS:ANGLE, bayer:N, or a file",
                                                   .fallback = "dot:8:45deg"},
                                         overParameter);

Result halftone(Call& call) {
    Result all;
    const Image gray = plainGray(call, all);
    Arguments arguments = passedOn(call, {"mask"});
    arguments.push_back({"palette", Palette::gray(2)});
    adopt(all, call.session().apply("ordered_dither", std::span(&gray, 1), arguments, call.options()));
    return all;
}

// quantize ------------------------------------------------------------------------------------------------------------

constexpr Choice ditherChoices[] = {{"diffusion", 1, "errors spread over their neighbours"},
                                    {"none", 0, "the nearest colour"}};
constexpr auto quantizeParameters = list(
    Parameter{
        .name = "colors", .kind = Kind::integer, .help = "how many colours", .fallback = "256", .low = 2, .high = 256},
    Parameter{.name = "dither",
              .kind = Kind::choice,
              .help = "how the colours are mixed",
              .fallback = "diffusion",
              .choices = ditherChoices,
              .typeName = "Dither"},
    overParameter);

Result quantize(Call& call) {
    Pipeline pipeline(call.session());
    Arguments arguments = passedOn(call, {"background"});
    arguments.push_back({"palette", Palette::choosing(static_cast<unsigned>(call.integer("colors")))});
    pipeline.then(call.choice("dither") != 0 ? "error_diffusion" : "nearest_color", std::move(arguments));
    return run(call, pipeline);
}

// bucket --------------------------------------------------------------------------------------------------------------

constexpr auto bucketParameters =
    list(Parameter{.name = "at", .kind = Kind::points, .help = "X,Y: a pixel of the region"},
         Parameter{.name = "value", .kind = Kind::levels, .help = "the colour to fill with"},
         Parameter{.name = "tolerance",
                   .kind = Kind::number,
                   .help = "by how much samples may differ from those of that pixel",
                   .fallback = "0",
                   .low = 0,
                   .high = 65535});

/// A bit for each pixel that is like the one pointed at, in all bands.
Image likeMask(Call& call, Result& all, const Image& colours, unsigned x, unsigned y) {
    const double tolerance = call.number("tolerance");
    Image mask;
    for (unsigned b = 0; b < colours.bands(); ++b) {
        Image band = colours.child({0, 0, colours.width(), colours.height()}, b, 1);
        band.tags().encoding = Encoding::gray;
        const double wanted = call.fromMemory(colours.sample(x, y, b));
        const Table table = bitTable(call, [&](double v) { return std::abs(v - wanted) <= tolerance; });
        const Image like = apply(call, all, "lookup", {band}, {{"table", table}}).image;
        mask = mask ? apply(call, all, "and", {mask, like}, {}).image : like;
    }
    return mask;
}

Result bucket(Call& call) {
    const std::vector<Point>& points = call.points("at");
    const Image& source = call.source();
    if (points.size() != 1 ||
        !(points[0].x >= 0 && points[0].y >= 0 && points[0].x < source.width() && points[0].y < source.height())) {
        call.refuse("at", fmt::format("one X,Y inside the picture of {} x {} wanted", source.width(), source.height()));
    }
    const bool alpha = source.encoding() == Encoding::rgba || source.encoding() == Encoding::grayAlpha;
    const Image colours = source.child({0, 0, source.width(), source.height()}, 0, source.bands() - (alpha ? 1 : 0));
    Result all;
    const Image like =
        likeMask(call, all, colours, static_cast<unsigned>(points[0].x), static_cast<unsigned>(points[0].y));
    Image region(call.session(), source.width(), source.height(), 1, Type::bit);
    apply(call, all, "fill", {like}, {{"seed", points}, {"boundary", 0.0}, {"value", 1.0}}, {.destination = region});
    Image colour(call.session(), source.width(), source.height(), colours.bands(), source.type());
    colour.tags() = colours.tags();
    apply(call, all, "set_value", {}, {{"value", call.value("value")}}, {.destination = colour});
    const Sixteen sixteen = source.tags().sixteen;
    const Image images[] = {withoutShift(source), withoutShift(colour), region};
    adopt(all, call.session().apply("blend", images, {}, call.options()));
    all.image.tags().sixteen = sixteen;
    return all;
}

// split, join ---------------------------------------------------------------------------------------------------------

Result split(Call& call) {
    Result all;
    const Image& source = call.source();
    for (unsigned b = 0; b < source.bands(); ++b) {
        Image band = source.child({0, 0, source.width(), source.height()}, call.memoryBand(b), 1);
        band.tags().encoding = Encoding::gray;
        band.tags().icc.clear();
        all.images.push_back(apply(call, all, "copy", {band}, {}).image);
    }
    return all;
}

constexpr auto joinParameters =
    list(Parameter{.name = "encoding",
                   .kind = Kind::text,
                   .help = "what the bands mean: rgb, cmyk, ...; told by their number otherwise",
                   .optional = true});

Result join(Call& call) {
    const auto bands = static_cast<unsigned>(call.sources().size());
    const Image& first = call.source();
    if (first.bands() != 1) call.refuse("", fmt::format("images of {} bands came, 1 wanted", first.bands()));
    Result all;
    all.image = call.options().destination;
    if (!all.image) {
        all.image = Image(call.session(), first.width(), first.height(), bands, first.type());
        all.image.tags().sixteen = first.tags().sixteen;
        all.image.tags().dpi = first.tags().dpi;
        if (call.has("encoding")) all.image.tags().encoding = encodingNamed(call.text("encoding"));
    }
    if (all.image.bands() != bands)
        call.refuse("destination", fmt::format("an image of {} bands came, {} wanted", all.image.bands(), bands));
    const bool swaps = liesBgr(all.image.encoding(), all.image.tags().order, bands);
    for (unsigned b = 0; b < bands; ++b) {
        Image source = call.source(b);
        Image target = all.image.child({0, 0, first.width(), first.height()}, swaps && b < 3 ? 2 - b : b, 1);
        apply(call, all, "copy", {source}, {}, {.destination = target, .roi = call.options().roi});
    }
    return all;
}

constexpr Operation rows[] = {
    {.name = "gray",
     .help = "a colour picture in shades of gray",
     .group = "recipes",
     .parameters = grayParameters,
     .example = "orv gray photo.png -o gray.png",
     .rightUnderShift = true,
     .blocks = eachPixel,
     .body = gray},
    {.name = "depth",
     .help = "another sample type, scaled to its full range (see convert for low bits)",
     .details = "16-bit results are unsigned pictures.",
     .group = "recipes",
     .parameters = depthParameters,
     .example = "orv depth photo.png -o photo16.png --to int16",
     .rightUnderShift = true,
     .blocks = eachPixel,
     .body = depth},
    {.name = "resize",
     .help = "larger or smaller, with means of all pixels where it gets much smaller",
     .group = "recipes",
     .parameters = resizeParameters,
     .example = "orv resize photo.png -o small.png --size 320x240",
     .keepsPalette = true,
     .rightUnderShift = true,
     .blocks = boxesMeet,
     .body = resize},
    {.name = "rotate_fit",
     .help = "turned counterclockwise, the result as large as is needed; quarter turns are exact",
     .group = "recipes",
     .parameters = rotateParameters,
     .example = "orv rotate-fit photo.png -o turned.png --degrees 12 --background white",
     .keepsPalette = true,
     .rightUnderShift = true,
     .blocks = pixelsMove,
     .body = rotateFit},
    {.name = "blur",
     .help = "soft, by a bell-shaped mean across and then down",
     .group = "recipes",
     .parameters = blurParameters,
     .example = "orv blur photo.png -o soft.png --sigma 3",
     .rightUnderShift = true,
     .blocks = {.reach = Reach::window, .margin = 1, .parameter = "sigma", .times = 3},
     .body = blur},
    {.name = "sharpen",
     .help = "details stronger, by what a blur would take away",
     .group = "recipes",
     .parameters = sharpenParameters,
     .example = "orv sharpen photo.png -o crisp.png --amount 0.8",
     .rightUnderShift = true,
     .blocks = {.reach = Reach::window, .margin = roomForRounding, .parameter = "sigma", .times = 3},
     .body = sharpen},
    {.name = "binarize",
     .help = "bits: white from a level up",
     .group = "recipes",
     .parameters = binarizeParameters,
     .example = "orv binarize scan.png -o page.tif --auto",
     .rightUnderShift = true,
     .blocks = {.reach = Reach::pixel,
                .unless = "auto",
                .why = "the level is found from all pixels; find it from a smaller picture first"},
     .body = binarize},
    {.name = "halftone",
     .help = "bits that look gray, in dots for print",
     .group = "recipes",
     .parameters = halftoneParameters,
     .example = "orv halftone photo.png -o plate.tif --mask dot:8:45deg",
     .rightUnderShift = true,
     .blocks = maskFromTheCorner,
     .body = halftone},
    {.name = "quantize",
     .help = "the best few colours for a picture, mixed to look like it",
     .group = "recipes",
     .parameters = quantizeParameters,
     .example = "orv quantize photo.png -o small.png --colors 32",
     .rightUnderShift = true,
     .blocks = errorsRunOn,
     .body = quantize},
    {.name = "bucket",
     .help = "fills a region of like-coloured pixels",
     .group = "recipes",
     .parameters = bucketParameters,
     .example = "orv bucket drawing.png -o filled.png --at 40,30 --value '#ff8000' --tolerance 16",
     .rightUnderShift = true,
     .blocks = floodsRunOn,
     .body = bucket},
    {.name = "split",
     .help = "a picture for each band",
     .group = "recipes",
     .example = "orv split photo.png -o 'band-%n.png'",
     .rightUnderShift = true,
     .givesImage = false,
     .instead = Instead::images,
     .blocks = {.why = "it makes several pictures; take the bands of the blocks one by one"},
     .body = split},
    {.name = "join",
     .help = "one picture from a picture for each band",
     .group = "recipes",
     .sources = 2,
     .mostSources = 5,
     .parameters = joinParameters,
     .example = "orv join red.png green.png blue.png -o photo.png",
     .rightUnderShift = true,
     .blocks = eachPixel,
     .body = join},
};

} // namespace

std::span<const Operation> recipeRows() noexcept { return rows; }

} // namespace orv
