// Operations in which each pixel follows from the same pixel of the sources.

#include <algorithm>
#include <cmath>
#include <numeric>

#include <fmt/format.h>

#include "catalogue/Call.h"
#include "catalogue/parameters.h"
#include "catalogue/rows.h"
#include "orv/host/Session.h"
#include "orv/host/Tables.h"

namespace orv {

namespace {

/// An op named by the first source's type, without parameters.
template <Pattern P>
void plain(Call& call) {
    call.op(P.text);
}

template <Pattern P>
void withFactors(Call& call) {
    call.op(P.text);
    call.add(call.perBand("value", call.bands()));
}

template <Pattern P>
void withBits(Call& call) {
    call.op(P.text);
    const std::vector<float> values = call.perBand("value", call.bands());
    const double top = call.type() == Type::bit ? 1 : call.type() == Type::byte ? 255 : 32767;
    for (const double value : call.numbers("value")) {
        if (value > top) call.refuse("value", fmt::format("{} came, 0 to {} wanted", value, top));
    }
    std::vector<std::uint32_t> bits(values.size());
    std::ranges::transform(values, bits.begin(), [](float value) { return static_cast<std::uint32_t>(value); });
    call.add(std::move(bits));
}

constexpr auto factor =
    list(Parameter{.name = "value", .kind = Kind::factors, .help = "a number a band, or one for all"});
constexpr auto bitMask = list(Parameter{.name = "value",
                                        .kind = Kind::bits,
                                        .help = "bits a band, or the same for all (0xf0, 15)",
                                        .low = 0,
                                        .high = 65535});

void blend(Call& call) {
    const Image& alpha = call.source(2);
    const Image& second = call.source(1);
    if (second.width() != call.width() || second.height() != call.height() || second.bands() != call.bands() ||
        second.type() != call.type()) {
        call.refuse("", fmt::format("image 2 is {}, but image 1 is {}; they must be alike", second.describe(),
                                    call.source().describe()));
    }
    if (alpha.bands() != 1) call.refuse("alpha", fmt::format("an image of {} bands came, 1 wanted", alpha.bands()));
    if (alpha.width() != call.width() || alpha.height() != call.height()) {
        call.refuse("alpha", fmt::format("an image of {} x {} came, {} x {} wanted", alpha.width(), alpha.height(),
                                         call.width(), call.height()));
    }
    call.op(fmt::format("blend{}a{}", Call::digits(call.type()), Call::digits(alpha.type())));
}

constexpr auto convertParameters = list(Parameter{
    .name = "to", .kind = Kind::choice, .help = "the type of the result", .choices = typeChoices, .typeName = "Type"});

void convert(Call& call) {
    const auto to = static_cast<Type>(call.choice("to"));
    if (to == call.type()) call.refuse("to", fmt::format("the image is {} already", nameOf(to)));
    call.op(fmt::format("convert{}_{}", Call::digits(call.type()), Call::digits(to)));
    call.type(to);
}

constexpr auto combineParameters =
    list(Parameter{.name = "matrix",
                   .kind = Kind::numbers,
                   .help = "a row for each band of the result: weights of the bands and a constant"},
         Parameter{.name = "bands",
                   .kind = Kind::integer,
                   .help = "bands of the result; told by the matrix otherwise",
                   .optional = true,
                   .low = 1,
                   .high = 64});

void bandCombine(Call& call) {
    const std::vector<double>& matrix = call.numbers("matrix");
    const unsigned width = call.source().bands() + 1;
    if (matrix.size() % width != 0 || matrix.empty()) {
        call.refuse("matrix", fmt::format("{} numbers came, rows of {} wanted ({} weights and a constant)",
                                          matrix.size(), width, width - 1));
    }
    const auto rows = static_cast<unsigned>(matrix.size() / width);
    if (call.has("bands") && call.integer("bands") != static_cast<long>(rows)) {
        call.refuse("bands", fmt::format("{} came, but the matrix has {} rows", call.integer("bands"), rows));
    }
    const ColourOrder order = call.source().tags().order;
    const auto memory = [order](unsigned band, unsigned bands, Encoding encoding) {
        return liesBgr(encoding, order, bands) && (band == 0 || band == 2) ? 2 - band : band;
    };
    const Encoding made = rows == call.bands() ? call.source().encoding() : usualEncoding(rows);
    Kernel kernel{
        .width = width, .height = rows, .keyX = 0, .keyY = 0, .taps = std::vector<float>(matrix.size()), .name = {}};
    for (unsigned r = 0; r < rows; ++r) {
        for (unsigned c = 0; c < width; ++c) {
            const unsigned from = c + 1 == width ? c : memory(c, width - 1, call.source().encoding());
            kernel.taps[memory(r, rows, made) * width + from] = static_cast<float>(matrix[r * width + c]);
        }
        const auto weights = matrix.begin() + r * width;
        kernel.taps[memory(r, rows, made) * width + width - 1] =
            call.offsetInMemory(weights[width - 1], std::accumulate(weights, weights + width - 1, 0.0));
    }
    call.op("bandCombine{}");
    call.bands(rows);
    call.encoding(made);
    call.addKernel(kernel);
}

constexpr auto blackParameters = list(Parameter{.name = "black",
                                                .kind = Kind::number,
                                                .help = "how much of the common ink becomes black",
                                                .fallback = "1",
                                                .low = 0,
                                                .high = 1},
                                      Parameter{.name = "undercolor",
                                                .kind = Kind::number,
                                                .help = "how much of it is taken from the colours",
                                                .fallback = "1",
                                                .low = 0,
                                                .high = 1});

void blackGeneration(Call& call) {
    if (call.bands() != 4)
        call.refuse("", fmt::format("an image of {} bands came, 4 wanted (C, M, Y, K)", call.bands()));
    call.op("blackgeneration{}");
    call.add(static_cast<float>(call.number("black")));
    call.add(static_cast<float>(call.number("undercolor")));
}

constexpr auto tilingParameters =
    list(Parameter{.name = "size", .kind = Kind::size, .help = "size of the result in pixels"});

void copyPattern(Call& call) {
    const auto [width, height] = call.size("size");
    call.op("copypattern{}");
    call.shape(width, height);
}

void planemask(Call& call) {
    withBits<"copy_with_planemask{}">(call);
    call.startWithSource();
}

constexpr auto setParameters = list(
    Parameter{.name = "value", .kind = Kind::levels, .help = "a level a band, or one for all; a colour"},
    Parameter{.name = "size", .kind = Kind::size, .help = "size of the result in pixels", .optional = true},
    Parameter{
        .name = "bands", .kind = Kind::integer, .help = "bands of the result", .fallback = "3", .low = 1, .high = 64},
    Parameter{.name = "type",
              .kind = Kind::choice,
              .help = "type of the result",
              .fallback = "byte",
              .choices = typeChoices,
              .typeName = "Type"});

void setValue(Call& call) {
    if (!call.options().destination) {
        if (!call.has("size")) call.refuse("size", "it is missing (size of the result in pixels)");
        const auto [width, height] = call.size("size");
        call.shape(width, height);
        call.bands(static_cast<unsigned>(call.integer("bands")));
        call.type(static_cast<Type>(call.choice("type")));
        call.encoding(usualEncoding(call.bands()));
    } else {
        const Image& made = call.options().destination;
        call.shape(made.width(), made.height());
    }
    call.op(fmt::format("setvalue{}", Call::digits(call.type())));
    call.add(call.perBand("value", call.bands()));
}

constexpr auto lookupParameters = list(Parameter{
    .name = "table", .kind = Kind::table, .help = "a file of output values, one line for each input value from 0 up"});

void lookup(Call& call) {
    const Table& table = call.table("table");
    call.op(fmt::format("lookup{}_{}", Call::digits(call.type()), Call::digits(table.output)));
    if (call.bands() != 1 && table.bands != 1)
        call.refuse("table", "a table with several bands is for images of one band");
    if (table.samples.size() % table.bands != 0) call.refuse("table", "its entries are not equally long");
    const auto entries = static_cast<unsigned>(table.samples.size() / table.bands);
    std::vector<std::uint8_t> bytes;
    std::vector<std::int16_t> shorts;
    // Tables speak of levels in the file's units, on both sides.
    const int shift = call.shifted() ? 32768 : 0;
    const int first = table.first - shift;
    if (entries == 0 || entries > 65536 || first < -32768 || first > 32767) {
        call.refuse("table", fmt::format("{} entries from {} up came, 1 to 65536 from {} up wanted", entries,
                                         table.first, shift - 32768));
    }
    const int least = table.output == Type::int16 ? shift - 32768 : 0;
    const int most = table.output == Type::int16 ? shift + 32767 : table.output == Type::byte ? 255 : 1;
    for (const int v : table.samples) {
        if (v < least || v > most)
            call.refuse("table", fmt::format("a sample of {} came, {} to {} wanted", v, least, most));
        bytes.push_back(static_cast<std::uint8_t>(v));
        shorts.push_back(static_cast<std::int16_t>(v - shift));
    }
    if (liesBgr(usualEncoding(table.bands), call.source().tags().order, table.bands)) {
        for (std::size_t i = 0; i < bytes.size(); i += table.bands) {
            std::swap(bytes[i], bytes[i + 2]);
            std::swap(shorts[i], shorts[i + 2]);
        }
    }
    const void* data = table.output == Type::int16 ? static_cast<const void*>(shorts.data()) : bytes.data();
    call.addObject(
        host::Owned<OrvObject>(host::Lookup::makeSingle(call.session().object(), static_cast<OrvDataType>(call.type()),
                                                        static_cast<OrvDataType>(table.output), table.bands, entries,
                                                        static_cast<short>(first), data)
                                   .release()));
    call.bands(call.bands() * table.bands);
    call.type(table.output);
}

constexpr auto rescaleParameters = list(
    Parameter{.name = "scale", .kind = Kind::factors, .help = "factors, one a band or one for all", .fallback = "1"},
    Parameter{.name = "offset",
              .kind = Kind::factors,
              .help = "what is added after, one a band or one for all",
              .fallback = "0"});

void rescale(Call& call) {
    call.op("rescale{}");
    const std::vector<float> scales = call.perBand("scale", call.bands());
    std::vector<float> offsets = call.perBand("offset", call.bands());
    for (std::size_t b = 0; b < offsets.size(); ++b)
        offsets[b] = call.offsetInMemory(static_cast<double>(offsets[b]), static_cast<double>(scales[b]));
    call.add(scales);
    call.add(offsets);
}

constexpr auto thresholdParameters = list(
    Parameter{.name = "low", .kind = Kind::levels, .help = "lowest level of the range, included", .fallback = "0"},
    Parameter{.name = "high", .kind = Kind::levels, .help = "highest level of the range, included", .fallback = "127"},
    Parameter{.name = "map", .kind = Kind::levels, .help = "what takes their place", .fallback = "0"});

void threshold(Call& call) {
    call.op("threshold{}");
    for (const char* name : {"low", "high", "map"}) call.add(call.perBand(name, call.bands()));
}

constexpr Choice spaces[] = {{"rgblinear", 1, "linear light"},
                             {"rgb709", 2, "Rec. 709 transfer"},
                             {"photoycc", 3, "photographic luma and chroma"},
                             {"ycc601", 4, "Y, Cb, Cr with Rec. 601 weights"},
                             {"ycc709", 5, "Y, Cb, Cr with Rec. 709 weights"},
                             {"ylinear", 6, "linear luminance"},
                             {"y601", 7, "luma, Rec. 601 weights, 16 to 235"},
                             {"y709", 8, "luma, Rec. 709 weights, 16 to 235"},
                             {"cmy", 9, "complement of linear RGB"},
                             {"cmyk", 10, "CMY with black"},
                             {"srgb", 11, "the curve of screens, by a table of its own"}};
constexpr long linearSpace = 1;
constexpr long srgbSpace = 11;
constexpr Encoding spaceEncodings[] = {Encoding::other,  Encoding::rgbLinear, Encoding::rgb,     Encoding::photoYcc,
                                       Encoding::ycc601, Encoding::ycc709,    Encoding::yLinear, Encoding::y601,
                                       Encoding::y709,   Encoding::cmy,       Encoding::cmyk,    Encoding::rgb};
constexpr auto colourParameters = list(
    Parameter{.name = "from",
              .kind = Kind::choice,
              .help = "the space of the source; told by its encoding where it can be",
              .optional = true,
              .choices = spaces,
              .typeName = "Space"},
    Parameter{
        .name = "to", .kind = Kind::choice, .help = "the space of the result", .choices = spaces, .typeName = "Space"});

constexpr Encoding inks[] = {Encoding::cmyk, Encoding::other};

unsigned bandsOf(long space) noexcept { return space >= 6 && space <= 8 ? 1 : space == 10 ? 4 : 3; }

/// The device's conversion between two of its spaces.
Step& deviceSpaces(Call& call, long from, long to) {
    Step& step = call.op("colorconvert");
    for (const long space : {from, to}) {
        step.addObject(host::Owned<OrvObject>(
            host::Colorspace::make(call.session().object(), static_cast<unsigned>(space)).release()));
    }
    return step;
}

double linearOfSrgb(double v) noexcept { return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4); }
double srgbOfLinear(double v) noexcept { return v <= 0.0031308 ? v * 12.92 : 1.055 * std::pow(v, 1 / 2.4) - 0.055; }

/// Every sample through the curve of sRGB, to linear light or back. Samples are shares of the range of their type, as
/// the device's own conversions take them.
Step& throughSrgb(Call& call, bool toLinear) {
    const bool wide = call.type() == Type::int16;
    const int top = wide ? 65535 : 255;
    const int low = wide ? -32768 : 0;
    std::vector<std::uint8_t> bytes;
    std::vector<std::int16_t> shorts;
    for (int i = 0; i <= top; ++i) {
        const double share = static_cast<double>(i) / top;
        const int sample =
            static_cast<int>(std::lround((toLinear ? linearOfSrgb(share) : srgbOfLinear(share)) * top)) + low;
        if (wide)
            shorts.push_back(static_cast<std::int16_t>(sample));
        else
            bytes.push_back(static_cast<std::uint8_t>(sample));
    }
    const auto type = static_cast<OrvDataType>(call.type());
    const void* data = wide ? static_cast<const void*>(shorts.data()) : bytes.data();
    Step& step = call.op(fmt::format("lookup{}_{}", Call::digits(call.type()), Call::digits(call.type())));
    step.addObject(
        host::Owned<OrvObject>(host::Lookup::makeSingle(call.session().object(), type, type, 1,
                                                        static_cast<unsigned>(top) + 1, static_cast<short>(low), data)
                                   .release()));
    return step;
}

/// Between linear light and sRGB goes the curve alone; any other space is reached by way of linear light.
void convertSpace(Call& call, long from, long to) {
    if (from != srgbSpace && to != srgbSpace) {
        deviceSpaces(call, from, to);
        return;
    }
    const bool fromSrgb = from == srgbSpace;
    if (from == linearSpace || to == linearSpace) {
        throughSrgb(call, fromSrgb);
        return;
    }
    const Image between(call.session(), call.width(), call.height(), 3, call.type());
    Step& first = fromSrgb ? throughSrgb(call, true) : deviceSpaces(call, from, linearSpace);
    first.into(between);
    Step& second = fromSrgb ? deviceSpaces(call, linearSpace, to) : throughSrgb(call, false);
    second.on({between});
}

void colourConvert(Call& call) {
    long from = 0;
    if (call.has("from")) {
        from = call.choice("from");
    } else {
        for (long space = 1; space <= 10; ++space) {
            if (spaceEncodings[space] == call.source().encoding()) from = space;
        }
        if (from == 0) {
            call.refuse("from", fmt::format("the space of a {} picture cannot be told; name it",
                                            nameOf(call.source().encoding())));
        }
    }
    const long to = call.choice("to");
    if (from == to) call.refuse("to", "the picture is in that space already");
    if (call.bands() != bandsOf(from)) {
        call.refuse("from", fmt::format("an image of {} bands came, {} wanted for {}", call.bands(), bandsOf(from),
                                        spaces[from - 1].word));
    }
    convertSpace(call, from, to);
    call.bands(bandsOf(to));
    call.encoding(spaceEncodings[to]);
    call.changeSpace();
    if (to == linearSpace && call.type() == Type::byte)
        call.note("8 bits of linear light lose dark levels; 'depth --to int16' before it keeps them");
}

constexpr Operation rows[] = {
    {.name = "add",
     .help = "sum of two images, saturating",
     .group = "arithmetic",
     .sources = 2,
     .example = "orv add a.png b.png -o sum.png",
     .blocks = eachPixel,
     .prepare = plain<"add{}">},
    {.name = "subtract",
     .help = "difference of two images, saturating",
     .group = "arithmetic",
     .sources = 2,
     .example = "orv subtract a.png b.png -o difference.png",
     .blocks = eachPixel,
     .prepare = plain<"subtract{}">},
    {.name = "multiply",
     .help = "product of two images, saturating",
     .group = "arithmetic",
     .sources = 2,
     .example = "orv multiply a.png b.png -o product.png",
     .blocks = eachPixel,
     .prepare = plain<"multiply{}">},
    {.name = "divide",
     .help = "quotient of two images, rounded; a division by zero is a warning",
     .group = "arithmetic",
     .sources = 2,
     .example = "orv divide a.png b.png -o quotient.png",
     .blocks = eachPixel,
     .prepare = plain<"divide{}">},
    {.name = "max",
     .help = "the larger sample of two images",
     .group = "arithmetic",
     .sources = 2,
     .types = Types::bytesAndShorts,
     .example = "orv max a.png b.png -o max.png",
     .rightUnderShift = true,
     .blocks = eachPixel,
     .prepare = plain<"max{}">},
    {.name = "min",
     .help = "the smaller sample of two images",
     .group = "arithmetic",
     .sources = 2,
     .types = Types::bytesAndShorts,
     .example = "orv min a.png b.png -o min.png",
     .rightUnderShift = true,
     .blocks = eachPixel,
     .prepare = plain<"min{}">},
    {.name = "absolute",
     .help = "samples without their sign",
     .group = "arithmetic",
     .types = Types::shorts,
     .example = "orv absolute signed.tif -o absolute.tif",
     .blocks = eachPixel,
     .prepare = plain<"absolute{}">},
    {.name = "add_const",
     .help = "samples plus a constant, saturating",
     .group = "constants",
     .parameters = factor,
     .example = "orv add-const photo.png -o brighter.png --value 20",
     .rightUnderShift = true,
     .blocks = eachPixel,
     .prepare = withFactors<"addconst{}">},
    {.name = "subtract_from_const",
     .help = "a constant minus the samples, saturating",
     .group = "constants",
     .parameters = factor,
     .example = "orv subtract-from-const photo.png -o negative.png --value 255",
     .blocks = eachPixel,
     .prepare = withFactors<"subtractfromconst{}">},
    {.name = "multiply_const",
     .help = "samples times a constant, rounded and saturating",
     .group = "constants",
     .parameters = factor,
     .example = "orv multiply-const photo.png -o stronger.png --value 1.5",
     .blocks = eachPixel,
     .prepare = withFactors<"multiplyconst{}">},
    {.name = "divide_into_const",
     .help = "a constant divided by the samples",
     .group = "constants",
     .parameters = factor,
     .example = "orv divide-into-const photo.png -o inverse.png --value 2550",
     .blocks = eachPixel,
     .prepare = withFactors<"divideintoconst{}">},
    {.name = "and",
     .help = "bitwise and of two images",
     .group = "logic",
     .sources = 2,
     .example = "orv and a.png b.png -o and.png",
     .blocks = eachPixel,
     .prepare = plain<"and{}">},
    {.name = "or",
     .help = "bitwise or of two images",
     .group = "logic",
     .sources = 2,
     .example = "orv or a.png b.png -o or.png",
     .blocks = eachPixel,
     .prepare = plain<"or{}">},
    {.name = "xor",
     .help = "bitwise exclusive or of two images",
     .group = "logic",
     .sources = 2,
     .example = "orv xor a.png b.png -o xor.png",
     .blocks = eachPixel,
     .prepare = plain<"xor{}">},
    {.name = "not",
     .help = "every bit inverted",
     .group = "logic",
     .example = "orv not photo.png -o negative.png",
     .rightUnderShift = true,
     .blocks = eachPixel,
     .prepare = plain<"not{}">},
    {.name = "and_const",
     .help = "bitwise and with a constant",
     .group = "logic",
     .parameters = bitMask,
     .example = "orv and-const photo.png -o coarse.png --value 0xf0",
     .blocks = eachPixel,
     .prepare = withBits<"andconst{}">},
    {.name = "or_const",
     .help = "bitwise or with a constant",
     .group = "logic",
     .parameters = bitMask,
     .example = "orv or-const photo.png -o raised.png --value 0x0f",
     .blocks = eachPixel,
     .prepare = withBits<"orconst{}">},
    {.name = "xor_const",
     .help = "bitwise exclusive or with a constant",
     .group = "logic",
     .parameters = bitMask,
     .example = "orv xor-const photo.png -o flipped.png --value 0x80",
     .blocks = eachPixel,
     .prepare = withBits<"xorconst{}">},
    {.name = "blend",
     .help = "two images mixed under a third, one-band alpha image: white takes the second",
     .group = "mixing",
     .sources = 3,
     .lastSource = "alpha",
     .example = "orv blend back.png front.png --alpha mask.png -o out.png",
     .alike = false,
     .blocks = eachPixel,
     .prepare = blend},
    {.name = "convert",
     .help = "another sample type; low bits are kept, nothing is scaled (see depth)",
     .group = "conversion",
     .parameters = convertParameters,
     .example = "orv convert photo.png -o wide.tif --to int16",
     .blocks = eachPixel,
     .prepare = convert},
    {.name = "band_combine",
     .help = "each band of the result a weighted sum of the bands, plus a constant",
     .group = "conversion",
     .parameters = combineParameters,
     .example = "orv band-combine photo.png -o sepia.png --matrix 0.39,0.77,0.19,0,0.35,0.69,0.17,0,0.27,0.53,0.13,0",
     .bandsMeet = true,
     .rightUnderShift = true,
     .blocks = eachPixel,
     .prepare = bandCombine},
    {.name = "black_generation",
     .help = "black from the common part of cyan, magenta and yellow",
     .group = "conversion",
     .types = Types::bytesAndShorts,
     .parameters = blackParameters,
     .example = "orv black-generation inks.tif -o inks-k.tif --black 1 --undercolor 0.8",
     .encodings = inks,
     .blocks = eachPixel,
     .prepare = blackGeneration},
    {.name = "color_convert",
     .help = "from one colour space to another",
     .details =
         "Colours are taken for rgb709, whose curve is not that of sRGB, unless the source is said to be srgb. 8 "
         "bits of linear light lose dark levels: take 16.",
     .group = "conversion",
     .types = Types::bytesAndShorts,
     .parameters = colourParameters,
     .example = "orv color-convert photo.png -o photo-ycc.tif --from rgb709 --to ycc601",
     .bandsMeet = true,
     .rightUnderShift = true,
     .blocks = eachPixel,
     .prepare = colourConvert},
    {.name = "copy",
     .help = "the same samples",
     .group = "copying",
     .example = "orv copy photo.png -o photo.tif",
     .keepsPalette = true,
     .rightUnderShift = true,
     .blocks = eachPixel,
     .prepare = plain<"copy{}">},
    {.name = "copy_pattern",
     .help = "the image as a tile over a larger one",
     .group = "copying",
     .parameters = tilingParameters,
     .example = "orv copy-pattern tile.png -o wall.png --size 640x480",
     .alpha = Alpha::moved,
     .keepsPalette = true,
     .rightUnderShift = true,
     .apart = true,
     .blocks = {.why = "the tile is repeated as a whole"},
     .prepare = copyPattern},
    {.name = "copy_with_planemask",
     .help = "some bits of the samples, the others kept",
     .group = "copying",
     .parameters = bitMask,
     .example = "orv copy-with-planemask photo.png -o high.png --value 0xf0",
     .rightUnderShift = true,
     .blocks = eachPixel,
     .prepare = planemask},
    {.name = "set_value",
     .help = "an image of one colour",
     .group = "copying",
     .sources = 0,
     .parameters = setParameters,
     .example = "orv set-value -o orange.png --value '#ff8000' --size 320x240",
     .rightUnderShift = true,
     .alike = false,
     .blocks = {.why = "it has no source that is divided into blocks"},
     .prepare = setValue},
    {.name = "lookup",
     .help = "samples through a table",
     .group = "tables",
     .parameters = lookupParameters,
     .example = "orv lookup photo.png -o toned.png --table curve.txt",
     .rightUnderShift = true,
     .blocks = eachPixel,
     .prepare = lookup},
    {.name = "rescale",
     .help = "samples times a factor plus an offset, rounded and saturating",
     .group = "tables",
     .parameters = rescaleParameters,
     .example = "orv rescale photo.png -o contrast.png --scale 1.4 --offset -40",
     .rightUnderShift = true,
     .blocks = eachPixel,
     .prepare = rescale},
    {.name = "threshold",
     .help = "replaces the samples of a range by a value (see binarize for bits)",
     .group = "tables",
     .parameters = thresholdParameters,
     .example = "orv threshold photo.png -o dark-cut.png --low 0 --high 99 --map 0",
     .rightUnderShift = true,
     .blocks = eachPixel,
     .prepare = threshold},
};

} // namespace

std::span<const Operation> pixelwiseRows() noexcept { return rows; }

} // namespace orv
