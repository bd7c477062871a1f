// The values that operations take beside images: kernels, structuring elements, palettes, tables.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "orv/Image.h"

namespace orv {

/// Weights in rows, with the key: the element that lies on the pixel being made. A convolution turns the kernel round.
struct ORV_API Kernel {
    unsigned width = 1;
    unsigned height = 1;
    unsigned keyX = 0;
    unsigned keyY = 0;
    std::vector<float> taps;
    std::string name;

    /// Bell-shaped, `size` x `size`. Taps of all smoothing kernels are multiples of 1/65536 that add up to exactly 1,
    /// so that a flat area stays flat.
    static Kernel gaussian(unsigned size, double sigma);
    static Kernel gaussian(unsigned width, unsigned height, double sigma);
    static Kernel box(unsigned width, unsigned height = 0);
    static Kernel sharpen();
    static Kernel laplace();
    static Kernel sobelX();
    static Kernel sobelY();
    static Kernel identity();
    /// The kernel that a text names ("gaussian:5:1.0", "box:3", "sharpen"), or that a file of numbers holds: width,
    /// height, column and row of the key, then the taps in rows. Throws Error.
    static Kernel parse(const std::string& text);
    bool operator==(const Kernel&) const = default;
};

/// A structuring element in rows, 1 where a position belongs to it, with its key. Not turned round.
struct ORV_API Element {
    unsigned width = 1;
    unsigned height = 1;
    unsigned keyX = 0;
    unsigned keyY = 0;
    std::vector<unsigned> members;

    static Element rect(unsigned width, unsigned height);
    static Element disk(unsigned radius);
    static Element cross(unsigned radius);
    static Element parse(const std::string& text);
    bool operator==(const Element&) const = default;
};

/// Colours in the order R, G, B, or the steps of a colour cube.
struct ORV_API Palette {
    std::vector<PaletteEntry> colours;
    /// Steps of a cube in R, G, B (at least 2 each); empty for a list of colours.
    std::vector<unsigned> cube;
    /// Not 0: so many colours are to be chosen from the picture that the palette is used on.
    unsigned choose = 0;

    static Palette cubeOf(unsigned r, unsigned g, unsigned b);
    static Palette gray(unsigned levels);
    static Palette choosing(unsigned colours);
    /// "cube:6x6x6", "gray:4", "bw", "choose:16", or a file: a picture, a .gpl palette, lines of R G B or of rrggbb.
    static Palette parse(const std::string& text);
    bool operator==(const Palette&) const = default;
};

/// A screen of printing dots: lines per inch, and the angle of its lines in degrees.
struct Screen {
    double lpi = 0;
    double degrees = 45;
    bool operator==(const Screen&) const = default;
};

/// Thresholds of an ordered dither, 0 to 1, in rows.
struct ORV_API Mask {
    unsigned width = 1;
    unsigned height = 1;
    std::vector<float> thresholds;
    /// A screen whose size in pixels follows from the resolution of the picture that the mask is used on; no thresholds
    /// then.
    Screen screen;

    /// The recursive mask of size 2, 4, 8 or 16.
    static Mask bayer(unsigned size);
    /// Dots that grow from their middles, `period` pixels apart, on lines at an angle.
    static Mask dot(double period, double degrees);
    /// "bayer:8", "dot:8:45deg", "dot:150lpi:45deg", or a file: a picture, or numbers.
    static Mask parse(const std::string& text);
    bool operator==(const Mask&) const = default;
};

/// A table from samples to samples: `bands` output samples for each input value from `first` up.
struct ORV_API Table {
    Type output = Type::byte;
    unsigned bands = 1;
    int first = 0;
    std::vector<int> samples;

    static Table parse(const std::string& text);
    bool operator==(const Table&) const = default;
};

/// Brushes are kernels whose weights, 0 to 1, say how much of the colour a stamp lays on. Not turned round.
struct ORV_API Brush {
    static Kernel disk(double radius);
    static Kernel soft(double radius);
    static Kernel parse(const std::string& text);
};

/// The kernels of error diffusion by their names.
struct ORV_API Diffusion {
    static Kernel named(std::string_view name);
    static Kernel parse(const std::string& text);
};

/// Samples of a colour, one a band in the order of people (R, G, B) or one for all; fractions of full range where
/// `relative`.
struct ORV_API Levels {
    std::vector<double> values;
    bool relative = false;

    Levels() = default;
    Levels(double value) : values{value} {}
    Levels(double r, double g, double b) : values{r, g, b} {}
    Levels(double c, double m, double y, double k) : values{c, m, y, k} {}
    Levels(std::vector<double> all, bool fractions = false) : values(std::move(all)), relative(fractions) {}
    /// "255,128,0", "50%", "#ff8000", "red".
    static Levels parse(const std::string& text);
    bool operator==(const Levels&) const = default;
};

struct Point {
    double x = 0;
    double y = 0;
    bool operator==(const Point&) const = default;
};

/// Numbers, one a band or one for all where an operation works on bands.
struct Numbers {
    std::vector<double> values;

    Numbers() = default;
    Numbers(double value) : values{value} {}
    Numbers(std::initializer_list<double> all) : values(all) {}
    Numbers(std::vector<double> all) : values(std::move(all)) {}
    bool operator==(const Numbers&) const = default;
};

/// Width and height in pixels.
struct Size {
    unsigned width = 0;
    unsigned height = 0;
    bool operator==(const Size&) const = default;
};

/// Displacements: a word or a file as on the command line, or an image.
using Warp = std::variant<std::string, Image>;

/// What a parameter of an operation can be given as; a text is read by the rules of the command line.
using Value = std::variant<std::string, double, std::vector<double>, Kernel, Element, Palette, Mask, Table,
                           std::vector<Point>, Image, Levels, std::vector<Levels>>;

/// A parameter by its name in the catalogue.
struct Argument {
    std::string name;
    Value value;
};
using Arguments = std::vector<Argument>;

} // namespace orv
