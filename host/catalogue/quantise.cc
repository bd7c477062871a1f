// Operations that reduce pictures to few colours.

#include <algorithm>
#include <cmath>

#include <fmt/format.h>

#include "catalogue/Call.h"
#include "catalogue/parameters.h"
#include "catalogue/quantise.h"
#include "catalogue/rows.h"
#include "orv/host/Tables.h"

namespace orv {

namespace {

constexpr Choice alphaWays[] = {{"drop", 0, "colours are taken as they are, alpha is left out"}};
constexpr Parameter paletteParameter{.name = "palette",
                                     .kind = Kind::palette,
                                     .help =
                                         "cube:RxGxB, gray:N, bw, choose:N, or a file: a picture, a .gpl palette, or "
                                         "lines of R G B"};
constexpr Parameter toParameter{.name = "to",
                                .kind = Kind::choice,
                                .help = "type of the result; what the palette needs otherwise",
                                .optional = true,
                                .choices = typeChoices,
                                .typeName = "Type"};
constexpr Parameter overParameter{.name = "background",
                                  .kind = Kind::levels,
                                  .help = "what shows through where the picture has alpha",
                                  .optional = true};
constexpr Parameter alphaParameter{.name = "alpha",
                                   .kind = Kind::choice,
                                   .help = "what to do with alpha where there is no background",
                                   .optional = true,
                                   .choices = alphaWays,
                                   .typeName = "AlphaWay"};

bool isGray(const PaletteEntry& e) noexcept { return e.r == e.g && e.g == e.b; }

bool isBlackAndWhite(const std::vector<PaletteEntry>& colours) noexcept {
    return colours.size() == 2 && colours[0] == PaletteEntry{0, 0, 0, 255} &&
           colours[1] == PaletteEntry{255, 255, 255, 255};
}

/// An 8-bit level as a sample of the source.
int sampleOf(const Call& call, std::uint8_t level) {
    switch (call.source().type()) {
    case Type::bit:
        return level >= 128 ? 1 : 0;
    case Type::byte:
        return level;
    default:
        return static_cast<int>(std::lround(call.toMemory(level * call.fullScale() / 255.0)));
    }
}

/// The steps of a cube in the order of memory's bands; empty where the palette is none for so many bands.
std::vector<unsigned> stepsInMemory(const Call& call, const Palette& palette) {
    std::vector<unsigned> steps = palette.cube;
    if (steps.size() != call.source().bands()) return {};
    if (steps.size() == 3 && call.memoryBand(0) == 2) std::swap(steps[0], steps[2]);
    return steps;
}

/// The palette as the device wants it: colours as samples of the source, and a cube where it is one and `cube` is set.
host::Owned<OrvObject> lookupOf(Call& call, const Palette& palette, Type to, bool cube) {
    const unsigned bands = call.source().bands();
    std::vector<std::uint8_t> bytes;
    std::vector<std::int16_t> shorts;
    for (const PaletteEntry& e : palette.colours) {
        const std::uint8_t people[] = {e.r, e.g, e.b};
        for (unsigned b = 0; b < bands; ++b) {
            const int sample = sampleOf(call, people[bands == 1 ? 0 : call.memoryBand(b)]);
            bytes.push_back(static_cast<std::uint8_t>(sample));
            shorts.push_back(static_cast<std::int16_t>(sample));
        }
    }
    const bool wide = call.source().type() == Type::int16;
    auto lookup = host::Lookup::makeSingle(
        call.session().object(), static_cast<OrvDataType>(to), static_cast<OrvDataType>(call.source().type()), bands,
        static_cast<unsigned>(palette.colours.size()), 0,
        wide ? static_cast<const void*>(shorts.data()) : static_cast<const void*>(bytes.data()));
    if (!lookup) call.refuse("", "no memory for the palette");
    if (cube) {
        const std::vector<unsigned> steps = stepsInMemory(call, palette);
        // Entries are counted with the last of people's bands moving fastest.
        std::vector<int> multipliers(bands, 1);
        int product = 1;
        for (unsigned person = bands; person-- > 0;) {
            multipliers[call.memoryBand(person)] = product;
            product *= static_cast<int>(steps[call.memoryBand(person)]);
        }
        if (!lookup->setCube(multipliers, steps, 0)) call.refuse("", "no memory for the palette");
    }
    return host::Owned<OrvObject>(lookup.release());
}

/// Says what the result is: its type, and its colours where it has palette indices.
Type describeResult(Call& call, const Palette& palette) {
    const std::size_t entries = palette.colours.size();
    const bool bw = isBlackAndWhite(palette.colours);
    Type to = bw ? Type::bit : entries <= 256 ? Type::byte : Type::int16;
    if (call.has("to")) to = static_cast<Type>(call.choice("to"));
    const std::size_t most = to == Type::bit ? 2 : to == Type::byte ? 256 : 32768;
    if (entries > most) {
        call.refuse("palette",
                    fmt::format("{} colours came, at most {} wanted for a {} result", entries, most, nameOf(to)));
    }
    call.bands(1);
    call.type(to);
    call.encoding(to == Type::bit && bw ? Encoding::gray : Encoding::other);
    call.sixteen(Sixteen::number);
    if (to == Type::byte) call.palette(palette.colours);
    if (to == Type::bit && !bw) call.note("bits have no colours: 0 and 1 are the first and the second of the palette");
    return to;
}

void checkBands(const Call& call, const Palette& palette) {
    const unsigned bands = call.source().bands();
    if (bands != 1 && bands != 3) call.refuse("", fmt::format("a picture of {} bands came, 1 or 3 wanted", bands));
    if (bands == 3 || std::ranges::all_of(palette.colours, isGray)) return;
    call.refuse("palette",
                "it has colours, and the picture has one band; take gray:N, or join the picture with itself");
}

// ordered_dither ------------------------------------------------------------------------------------------------------

constexpr auto ditherParameters =
    list(paletteParameter,
         Parameter{.name = "mask",
                   .kind = Kind::mask,
                   .help = "bayer:N (2, 4, 8, 16), dot:150lpi:45deg, dot:PIXELS:ANGLE, a picture, or a file of numbers",
                   .fallback = "bayer:8"},
         toParameter, overParameter, alphaParameter);

/// A screen as pixels, at the picture's resolution.
Mask resolved(const Call& call) {
    const Mask& mask = call.mask("mask");
    if (mask.screen.lpi <= 0) return mask;
    const double dpi = call.source().tags().dpi.x;
    if (!(dpi > 0)) {
        call.refuse("mask", "the picture does not tell its resolution; say dot:PIXELS:ANGLE, or give it one with "
                            "'orv copy IN -o OUT --dpi 300'");
    }
    return Mask::dot(dpi / mask.screen.lpi, mask.screen.degrees);
}

/// The device counts full scale as 256, and white reaches the top level only where the thresholds leave room for as
/// many steps as the cube has above black. So they are scaled, band by band.
std::vector<float> scaledThresholds(const Mask& mask, const std::vector<unsigned>& steps) {
    std::vector<float> planes;
    for (const unsigned count : steps) {
        const float room = (255.5F - static_cast<float>(count - 1)) / 255.0F;
        for (const float threshold : mask.thresholds) planes.push_back(std::clamp(threshold, 0.0F, 1.0F) * room);
    }
    return planes;
}

void orderedDither(Call& call) {
    const Palette palette = resolvedPalette(call);
    checkBands(call, palette);
    const std::vector<unsigned> steps = stepsInMemory(call, palette);
    if (steps.empty()) {
        call.refuse("palette", call.source().bands() == 1
                                   ? "an ordered dither takes steps of gray; say gray:N or bw"
                                   : "an ordered dither takes a cube of colours; say cube:RxGxB");
    }
    const Mask mask = resolved(call);
    if (mask.thresholds.empty() || mask.thresholds.size() != std::size_t{mask.width} * mask.height)
        call.refuse("mask", "it holds no thresholds");
    const Type to = describeResult(call, palette);
    call.op(fmt::format("ordereddither{}_{}", Call::digits(call.source().type()), Call::digits(to)));
    call.addObject(lookupOf(call, palette, to, true));
    call.addObject(host::Owned<OrvObject>(host::DitherMask::make(call.session().object(), mask.width, mask.height,
                                                                 static_cast<unsigned>(steps.size()),
                                                                 scaledThresholds(mask, steps).data())
                                              .release()));
}

// nearest_color -------------------------------------------------------------------------------------------------------

constexpr auto nearestParameters = list(paletteParameter, toParameter, overParameter, alphaParameter);

void nearestColor(Call& call) {
    const Palette palette = resolvedPalette(call);
    checkBands(call, palette);
    const Type to = describeResult(call, palette);
    // A cube is reached by arithmetic, which keeps white white up to 128 steps.
    constexpr unsigned mostSteps = 128;
    const std::vector<unsigned> steps = stepsInMemory(call, palette);
    const bool cube = !steps.empty() && std::ranges::max(steps) <= mostSteps;
    call.op(fmt::format("nearestcolor{}_{}", Call::digits(call.source().type()), Call::digits(to)));
    call.addObject(lookupOf(call, palette, to, cube));
}

// error_diffusion -----------------------------------------------------------------------------------------------------

constexpr auto diffusionParameters =
    list(paletteParameter,
         Parameter{.name = "kernel",
                   .kind = Kind::diffusion,
                   .help = "floyd-steinberg, jarvis-judice-ninke, stucki, burkes, sierra, or a file",
                   .fallback = "floyd-steinberg",
                   .positional = true},
         toParameter, overParameter, alphaParameter);

void checkDiffusion(const Call& call, const Kernel& kernel) {
    if (kernel.taps.size() != std::size_t{kernel.width} * kernel.height || kernel.keyX >= kernel.width ||
        kernel.keyY >= kernel.height) {
        call.refuse("kernel", "its key lies outside it");
    }
    const auto key = kernel.taps.begin() + static_cast<std::ptrdiff_t>(kernel.keyY * kernel.width + kernel.keyX);
    if (std::any_of(kernel.taps.begin(), key + 1, [](float w) { return w != 0; }))
        call.refuse("kernel",
                    "it has weights at or before its key; errors can only go to pixels that are still to come");
    if (std::all_of(key + 1, kernel.taps.end(), [](float w) { return w == 0; }))
        call.refuse("kernel", "it has no weights");
}

void errorDiffusion(Call& call) {
    const Palette palette = resolvedPalette(call);
    checkBands(call, palette);
    const Kernel& kernel = call.kernel("kernel");
    checkDiffusion(call, kernel);
    const Type to = describeResult(call, palette);
    call.op(fmt::format("errordiffusion{}_{}", Call::digits(call.source().type()), Call::digits(to)));
    call.addObject(lookupOf(call, palette, to, false));
    call.addKernel(kernel);
}

// choose_colormap -----------------------------------------------------------------------------------------------------

constexpr auto chooseParameters = list(Parameter{.name = "colors",
                                                 .kind = Kind::integer,
                                                 .help = "how many colours at most",
                                                 .fallback = "256",
                                                 .low = 1,
                                                 .high = 256,
                                                 .positional = true},
                                       overParameter, alphaParameter);

void chooseColormap(Call& call) {
    if (call.source().bands() != 3)
        call.refuse("", fmt::format("a picture of {} bands came, 3 wanted", call.source().bands()));
    auto place = std::make_shared<OrvLookup*>(nullptr);
    call.op("chooseColormap8").measuring().addResult(place.get());
    call.add(call.integer("colors"));
    const bool swaps = call.memoryBand(0) == 2;
    call.afterwards([place, swaps](Result& result) {
        const host::Owned<OrvLookup> lookup(*place);
        if (!lookup) throw Error("choose_colormap", "choose_colormap: no memory for the colours");
        const auto* samples = static_cast<const std::uint8_t*>(lookup->getData());
        Palette palette;
        for (unsigned i = 0; i < lookup->getNumEntries(); ++i, samples += 3) {
            palette.colours.push_back(swaps ? PaletteEntry{samples[2], samples[1], samples[0], 255}
                                            : PaletteEntry{samples[0], samples[1], samples[2], 255});
        }
        // Entries beyond the colours that the picture has are black; one black is enough.
        const PaletteEntry black{};
        while (palette.colours.size() > 1 && palette.colours.back() == black &&
               palette.colours[palette.colours.size() - 2] == black) {
            palette.colours.pop_back();
        }
        result.palette = std::move(palette);
    });
}

constexpr Operation rows[] = {
    {.name = "ordered_dither",
     .help = "few levels, by a repeated mask of thresholds",
     .details = "The mask is scaled so that black stays black and white stays white.",
     .group = "colours",
     .parameters = ditherParameters,
     .example = "orv ordered-dither photo.png -o dithered.png --palette cube:6x6x6 --mask bayer:8",
     .alpha = Alpha::refused,
     .rightUnderShift = true,
     .apart = true,
     .blocks = maskFromTheCorner,
     .prepare = orderedDither},
    {.name = "nearest_color",
     .help = "each pixel becomes the nearest colour of a palette",
     .group = "colours",
     .parameters = nearestParameters,
     .example = "orv nearest-color art.png -o art8.png --palette pico8.gpl",
     .alpha = Alpha::refused,
     .bandsMeet = true,
     .rightUnderShift = true,
     .apart = true,
     .blocks = eachPixel,
     .prepare = nearestColor},
    {.name = "error_diffusion",
     .help = "the colours of a palette, each pixel's error spread over its neighbours",
     .details = "The last weight of a kernel is made up so that all of the error is spread.",
     .group = "colours",
     .parameters = diffusionParameters,
     .example = "orv error-diffusion photo.png -o p.png --palette choose:16 --kernel floyd-steinberg",
     .alpha = Alpha::refused,
     .bandsMeet = true,
     .rightUnderShift = true,
     .apart = true,
     .blocks = errorsRunOn,
     .prepare = errorDiffusion},
    {.name = "choose_colormap",
     .help = "the colours that represent a picture best",
     .group = "colours",
     .types = Types::bytes,
     .parameters = chooseParameters,
     .example = "orv choose-colormap photo.png --colors 16",
     .alpha = Alpha::refused,
     .bandsMeet = true,
     .givesImage = false,
     .instead = Instead::palette,
     .blocks = {.why = "colours are chosen from all pixels; choose them from a smaller picture first"},
     .prepare = chooseColormap},
};

} // namespace

Palette resolvedPalette(Call& call) {
    const Palette& palette = call.palette("palette");
    if (palette.choose == 0) {
        if (palette.colours.empty()) call.refuse("palette", "it holds no colours");
        return palette;
    }
    if (call.source().bands() == 1) return Palette::gray(std::max(2U, palette.choose));
    if (call.source().type() != Type::byte)
        call.refuse("palette", "colours can only be chosen from pictures of bytes; convert it first (depth --to byte)");
    const Image picture = call.source();
    const Result chosen = call.session().apply("choose_colormap", std::span(&picture, 1),
                                               {{"colors", static_cast<double>(palette.choose)}});
    call.ranBefore(chosen);
    return *chosen.palette;
}

std::span<const Operation> quantiseRows() noexcept { return rows; }

} // namespace orv
