// The operations as typed functions. Written by scripts/generate_api.py; changes belong into the catalogue.
//
// Each comes in four forms: one that returns what it makes, one that writes a given image (then no image is made), and
// the same two with try_ before the name, which return how it went instead of throwing. What is left out of the options
// has the catalogue's default.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "orv/OperationsBase.h"

namespace orv {

enum class Space {
    rgblinear = 1, ///< linear light
    rgb709 = 2,    ///< Rec. 709 transfer
    photoycc = 3,  ///< photographic luma and chroma
    ycc601 = 4,    ///< Y, Cb, Cr with Rec. 601 weights
    ycc709 = 5,    ///< Y, Cb, Cr with Rec. 709 weights
    ylinear = 6,   ///< linear luminance
    y601 = 7,      ///< luma, Rec. 601 weights, 16 to 235
    y709 = 8,      ///< luma, Rec. 709 weights, 16 to 235
    cmy = 9,       ///< complement of linear RGB
    cmyk = 10,     ///< CMY with black
    srgb = 11,     ///< the curve of screens, by a table of its own
};

enum class Edge {
    leave = 0,  ///< the border keeps what the result held before
    zero = 1,   ///< the border becomes 0
    extend = 2, ///< the picture goes on with its outermost pixels
};

enum class Of {
    white = 0, ///< set bits, high samples
    black = 1, ///< clear bits, low samples
};

enum class Interpolation {
    nearest = 0,  ///< the pixel that lies there
    bilinear = 1, ///< between four pixels
    bicubic = 2,  ///< between sixteen pixels, sharper
    general = 3,  ///< by the weights of a filter, lanczos3 where none is named
};

enum class Filter {
    catmullRom = 0, ///< sharp, four pixels wide
    mitchell = 1,   ///< soft, four pixels wide
    lanczos2 = 2,   ///< windowed sinc, four pixels wide
    lanczos3 = 3,   ///< windowed sinc, six pixels wide
    triangle = 4,   ///< two pixels wide
};

enum class Canvas {
    same = 0, ///< the result is as large as the picture
    fit = 1,  ///< the result is as large as is needed
};

enum class Margin {
    fill = 1,  ///< what an interpolation leaves unwritten is filled by simpler ones
    leave = 0, ///< it keeps what the result held before, as the device does
};

enum class Flip {
    x = 0,            ///< upside down: top and bottom change places
    y = 1,            ///< as in a mirror: left and right change places
    diagonal = 2,     ///< rows become columns
    antidiagonal = 3, ///< rows become columns, from the other corner
    flip90 = 4,       ///< a quarter turn counterclockwise
    flip180 = 5,      ///< a half turn
    flip270 = 6,      ///< a quarter turn clockwise
};

enum class SubsampleLevels {
    full = 1,   ///< counts stretched to 0 to 255
    counts = 0, ///< counts of set bits, as the device gives them
};

enum class AlphaWay {
    drop = 0, ///< colours are taken as they are, alpha is left out
};

enum class GrayWeights {
    weights601 = 601, ///< as television weighed them: 0.299, 0.587, 0.114
    weights709 = 709, ///< as screens do today: 0.2126, 0.7152, 0.0722
    equal = 0,        ///< the mean
};

enum class Dither {
    diffusion = 1, ///< errors spread over their neighbours
    none = 0,      ///< the nearest colour
};

/// Of add_const().
struct AddConstOptions {
    /// a number a band, or one for all (must be given)
    Numbers value = {};
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const { return GivenOptions().add("value", value).take(); }
};

/// Of subtract_from_const().
struct SubtractFromConstOptions {
    /// a number a band, or one for all (must be given)
    Numbers value = {};
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const { return GivenOptions().add("value", value).take(); }
};

/// Of multiply_const().
struct MultiplyConstOptions {
    /// a number a band, or one for all (must be given)
    Numbers value = {};
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const { return GivenOptions().add("value", value).take(); }
};

/// Of divide_into_const().
struct DivideIntoConstOptions {
    /// a number a band, or one for all (must be given)
    Numbers value = {};
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const { return GivenOptions().add("value", value).take(); }
};

/// Of and_const().
struct AndConstOptions {
    /// bits a band, or the same for all (0xf0, 15) (must be given)
    Numbers value = {};
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const { return GivenOptions().add("value", value).take(); }
};

/// Of or_const().
struct OrConstOptions {
    /// bits a band, or the same for all (0xf0, 15) (must be given)
    Numbers value = {};
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const { return GivenOptions().add("value", value).take(); }
};

/// Of xor_const().
struct XorConstOptions {
    /// bits a band, or the same for all (0xf0, 15) (must be given)
    Numbers value = {};
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const { return GivenOptions().add("value", value).take(); }
};

/// Of convert().
struct ConvertOptions {
    /// the type of the result (must be given)
    std::optional<Type> to = {};
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const { return GivenOptions().add("to", to).take(); }
};

/// Of band_combine().
struct BandCombineOptions {
    /// a row for each band of the result: weights of the bands and a constant (must be given)
    Numbers matrix = {};
    /// bands of the result; told by the matrix otherwise
    std::optional<long> bands = {};
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const { return GivenOptions().add("matrix", matrix).add("bands", bands).take(); }
};

/// Of black_generation().
struct BlackGenerationOptions {
    /// how much of the common ink becomes black
    double black = 1;
    /// how much of it is taken from the colours
    double undercolor = 1;
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const { return GivenOptions().add("black", black).add("undercolor", undercolor).take(); }
};

/// Of color_convert().
struct ColorConvertOptions {
    /// the space of the source; told by its encoding where it can be
    std::optional<Space> from = {};
    /// the space of the result (must be given)
    std::optional<Space> to = {};
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const { return GivenOptions().add("from", from).add("to", to).take(); }
};

/// Of copy_pattern().
struct CopyPatternOptions {
    /// size of the result in pixels (must be given)
    Size size = {};
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const { return GivenOptions().add("size", size).take(); }
};

/// Of copy_with_planemask().
struct CopyWithPlanemaskOptions {
    /// bits a band, or the same for all (0xf0, 15) (must be given)
    Numbers value = {};
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const { return GivenOptions().add("value", value).take(); }
};

/// Of set_value().
struct SetValueOptions {
    /// a level a band, or one for all; a colour (must be given)
    Levels value = {};
    /// size of the result in pixels
    Size size = {};
    /// bands of the result
    long bands = 3;
    /// type of the result
    Type type = Type::byte;
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const {
        return GivenOptions().add("value", value).add("size", size).add("bands", bands).add("type", type).take();
    }
};

/// Of lookup().
struct LookupOptions {
    /// a file of output values, one line for each input value from 0 up (must be given)
    Table table = {};
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const { return GivenOptions().add("table", table).take(); }
};

/// Of rescale().
struct RescaleOptions {
    /// factors, one a band or one for all (default 1)
    Numbers scale = {};
    /// what is added after, one a band or one for all (default 0)
    Numbers offset = {};
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const { return GivenOptions().add("scale", scale).add("offset", offset).take(); }
};

/// Of threshold().
struct ThresholdOptions {
    /// lowest level of the range, included (default 0)
    Levels low = {};
    /// highest level of the range, included (default 127)
    Levels high = {};
    /// what takes their place (default 0)
    Levels map = {};
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const { return GivenOptions().add("low", low).add("high", high).add("map", map).take(); }
};

/// Of convolve().
struct ConvolveOptions {
    /// gaussian:SIZE:SIGMA, box:SIZE, sharpen, laplace, sobel-x, sobel-y, or a file (must be given)
    Kernel kernel = {};
    /// what the border becomes
    Edge edge = Edge::extend;
    /// round the sums of 3x3 and 5x5 kernels on bytes, which are truncated otherwise
    bool round = false;
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const {
        return GivenOptions().add("kernel", kernel).add("edge", edge).add("round", round).take();
    }
};

/// Of edge_detect_sobel().
struct EdgeDetectSobelOptions {
    /// what the border becomes
    Edge edge = Edge::extend;
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const { return GivenOptions().add("edge", edge).take(); }
};

/// Of dilate().
struct DilateOptions {
    /// rect:WxH, disk:RADIUS, cross:RADIUS, or a file (must be given)
    Element element = {};
    /// what grows or shrinks
    Of of = Of::white;
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const { return GivenOptions().add("element", element).add("of", of).take(); }
};

/// Of erode().
struct ErodeOptions {
    /// rect:WxH, disk:RADIUS, cross:RADIUS, or a file (must be given)
    Element element = {};
    /// what grows or shrinks
    Of of = Of::white;
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const { return GivenOptions().add("element", element).add("of", of).take(); }
};

/// Of affine().
struct AffineOptions {
    /// A,B,C,D,E,F: a point goes to x' = A x + C y + E, y' = B x + D y + F (must be given)
    Numbers matrix = {};
    /// how samples between pixels are made
    Interpolation interpolation = Interpolation::bilinear;
    /// weights of the general interpolation
    Filter filter = Filter::lanczos3;
    /// size of the result
    Canvas canvas = Canvas::same;
    /// X,Y: the point about which A to D turn and stretch; 0,0 otherwise
    std::vector<Point> center = {};
    /// what the picture does not cover: a colour, or levels; 0 is transparent where there is alpha (default 0)
    Levels background = {};
    /// the margin of half a pixel and more
    Margin edge = Margin::fill;
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const {
        return GivenOptions()
            .add("matrix", matrix)
            .add("interpolation", interpolation)
            .add("filter", filter)
            .add("canvas", canvas)
            .add("center", center)
            .add("background", background)
            .add("edge", edge)
            .take();
    }
};

/// Of rotate().
struct RotateOptions {
    /// counterclockwise; radians with 'rad' after them (must be given)
    std::optional<double> degrees = {};
    /// how samples between pixels are made
    Interpolation interpolation = Interpolation::bilinear;
    /// weights of the general interpolation
    Filter filter = Filter::lanczos3;
    /// size of the result
    Canvas canvas = Canvas::same;
    /// X,Y: the point that stays where it is; the middle otherwise
    std::vector<Point> center = {};
    /// what the picture does not cover: a colour, or levels; 0 is transparent where there is alpha (default 0)
    Levels background = {};
    /// the margin of half a pixel and more
    Margin edge = Margin::fill;
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const {
        return GivenOptions()
            .add("degrees", degrees)
            .add("interpolation", interpolation)
            .add("filter", filter)
            .add("canvas", canvas)
            .add("center", center)
            .add("background", background)
            .add("edge", edge)
            .take();
    }
};

/// Of scale().
struct ScaleOptions {
    /// factor (0.5, 1/4, 50%), or one across and one down
    Numbers by = {};
    /// WIDTHxHEIGHT of the result
    Size size = {};
    /// how samples between pixels are made
    Interpolation interpolation = Interpolation::bilinear;
    /// weights of the general interpolation
    Filter filter = Filter::lanczos3;
    /// what the picture does not cover: a colour, or levels; 0 is transparent where there is alpha (default 0)
    Levels background = {};
    /// the margin of half a pixel and more
    Margin edge = Margin::fill;
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const {
        return GivenOptions()
            .add("by", by)
            .add("size", size)
            .add("interpolation", interpolation)
            .add("filter", filter)
            .add("background", background)
            .add("edge", edge)
            .take();
    }
};

/// Of translate().
struct TranslateOptions {
    /// DX,DY: pixels to the right and down (must be given)
    Numbers by = {};
    /// how samples between pixels are made
    Interpolation interpolation = Interpolation::bilinear;
    /// weights of the general interpolation
    Filter filter = Filter::lanczos3;
    /// what the picture does not cover: a colour, or levels; 0 is transparent where there is alpha (default 0)
    Levels background = {};
    /// the margin of half a pixel and more
    Margin edge = Margin::fill;
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const {
        return GivenOptions()
            .add("by", by)
            .add("interpolation", interpolation)
            .add("filter", filter)
            .add("background", background)
            .add("edge", edge)
            .take();
    }
};

/// Of transpose().
struct TransposeOptions {
    /// which flip or turn (must be given)
    std::optional<Flip> flip = {};
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const { return GivenOptions().add("flip", flip).take(); }
};

/// Of subsample().
struct SubsampleOptions {
    /// factor (0.5, 1/4, 50%), or one across and one down
    Numbers by = {};
    /// WIDTHxHEIGHT of the result
    Size size = {};
    /// what the samples of the result mean
    SubsampleLevels levels = SubsampleLevels::full;
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const { return GivenOptions().add("by", by).add("size", size).add("levels", levels).take(); }
};

/// Of subsample_adaptive().
struct SubsampleAdaptiveOptions {
    /// factor (0.5, 1/4, 50%), or one across and one down
    Numbers by = {};
    /// WIDTHxHEIGHT of the result
    Size size = {};
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const { return GivenOptions().add("by", by).add("size", size).take(); }
};

/// Of table_warp().
struct TableWarpOptions {
    /// swirl:DEGREES, barrel:STRENGTH, wave:PIXELS:PERIOD, or an image of 16-bit displacements in sixteenths of a pixel
    /// (must be given)
    Warp table = {};
    /// how samples between pixels are made
    Interpolation interpolation = Interpolation::bilinear;
    /// weights of the general interpolation
    Filter filter = Filter::lanczos3;
    /// what the picture does not cover: a colour, or levels; 0 is transparent where there is alpha (default 0)
    Levels background = {};
    /// the margin of half a pixel and more
    Margin edge = Margin::fill;
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const {
        return GivenOptions()
            .add("table", table)
            .add("interpolation", interpolation)
            .add("filter", filter)
            .add("background", background)
            .add("edge", edge)
            .take();
    }
};

/// Of table_warp_h().
struct TableWarpHOptions {
    /// swirl:DEGREES, barrel:STRENGTH, wave:PIXELS:PERIOD, or an image of 16-bit displacements in sixteenths of a pixel
    /// (must be given)
    Warp table = {};
    /// how samples between pixels are made
    Interpolation interpolation = Interpolation::bilinear;
    /// weights of the general interpolation
    Filter filter = Filter::lanczos3;
    /// what the picture does not cover: a colour, or levels; 0 is transparent where there is alpha (default 0)
    Levels background = {};
    /// the margin of half a pixel and more
    Margin edge = Margin::fill;
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const {
        return GivenOptions()
            .add("table", table)
            .add("interpolation", interpolation)
            .add("filter", filter)
            .add("background", background)
            .add("edge", edge)
            .take();
    }
};

/// Of table_warp_v().
struct TableWarpVOptions {
    /// swirl:DEGREES, barrel:STRENGTH, wave:PIXELS:PERIOD, or an image of 16-bit displacements in sixteenths of a pixel
    /// (must be given)
    Warp table = {};
    /// how samples between pixels are made
    Interpolation interpolation = Interpolation::bilinear;
    /// weights of the general interpolation
    Filter filter = Filter::lanczos3;
    /// what the picture does not cover: a colour, or levels; 0 is transparent where there is alpha (default 0)
    Levels background = {};
    /// the margin of half a pixel and more
    Margin edge = Margin::fill;
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const {
        return GivenOptions()
            .add("table", table)
            .add("interpolation", interpolation)
            .add("filter", filter)
            .add("background", background)
            .add("edge", edge)
            .take();
    }
};

/// Of ordered_dither().
struct OrderedDitherOptions {
    /// cube:RxGxB, gray:N, bw, choose:N, or a file: a picture, a .gpl palette, or lines of R G B (must be given)
    Palette palette = {};
    /// bayer:N (2, 4, 8, 16), dot:150lpi:45deg, dot:PIXELS:ANGLE, a picture, or a file of numbers (default bayer:8)
    Mask mask = {};
    /// type of the result; what the palette needs otherwise
    std::optional<Type> to = {};
    /// what shows through where the picture has alpha
    Levels background = {};
    /// what to do with alpha where there is no background
    std::optional<AlphaWay> alpha = {};
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const {
        return GivenOptions()
            .add("palette", palette)
            .add("mask", mask)
            .add("to", to)
            .add("background", background)
            .add("alpha", alpha)
            .take();
    }
};

/// Of nearest_color().
struct NearestColorOptions {
    /// cube:RxGxB, gray:N, bw, choose:N, or a file: a picture, a .gpl palette, or lines of R G B (must be given)
    Palette palette = {};
    /// type of the result; what the palette needs otherwise
    std::optional<Type> to = {};
    /// what shows through where the picture has alpha
    Levels background = {};
    /// what to do with alpha where there is no background
    std::optional<AlphaWay> alpha = {};
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const {
        return GivenOptions()
            .add("palette", palette)
            .add("to", to)
            .add("background", background)
            .add("alpha", alpha)
            .take();
    }
};

/// Of error_diffusion().
struct ErrorDiffusionOptions {
    /// cube:RxGxB, gray:N, bw, choose:N, or a file: a picture, a .gpl palette, or lines of R G B (must be given)
    Palette palette = {};
    /// floyd-steinberg, jarvis-judice-ninke, stucki, burkes, sierra, or a file (default floyd-steinberg)
    Kernel kernel = {};
    /// type of the result; what the palette needs otherwise
    std::optional<Type> to = {};
    /// what shows through where the picture has alpha
    Levels background = {};
    /// what to do with alpha where there is no background
    std::optional<AlphaWay> alpha = {};
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const {
        return GivenOptions()
            .add("palette", palette)
            .add("kernel", kernel)
            .add("to", to)
            .add("background", background)
            .add("alpha", alpha)
            .take();
    }
};

/// Of choose_colormap().
struct ChooseColormapOptions {
    /// how many colours at most
    long colors = 256;
    /// what shows through where the picture has alpha
    Levels background = {};
    /// what to do with alpha where there is no background
    std::optional<AlphaWay> alpha = {};
    /// Pixels that are looked at; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const {
        return GivenOptions().add("colors", colors).add("background", background).add("alpha", alpha).take();
    }
};

/// Of histogram().
struct HistogramOptions {
    /// bins of a band
    long bins = 256;
    /// LOW,HIGH: the levels in the middle of the first and the last bin; full range otherwise
    Numbers range = {};
    /// X,Y: steps from one counted pixel to the next (default 1,1)
    Numbers skip = {};
    /// count the bands of a pixel together
    bool joint = false;
    /// Pixels that are looked at; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const {
        return GivenOptions().add("bins", bins).add("range", range).add("skip", skip).add("joint", joint).take();
    }
};

/// Of fill().
struct FillOptions {
    /// X,Y: where the flood begins (must be given)
    std::vector<Point> seed = {};
    /// the colour that stops the flood (must be given)
    Levels boundary = {};
    /// the colour to fill with (must be given)
    Levels value = {};
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const {
        return GivenOptions().add("seed", seed).add("boundary", boundary).add("value", value).take();
    }
};

/// Of soft_fill().
struct SoftFillOptions {
    /// X,Y: where the flood begins (must be given)
    std::vector<Point> seed = {};
    /// the colour that is taken out (must be given)
    Levels foreground = {};
    /// the colours that it is mixed with at its edges, separated by semicolons (must be given)
    std::vector<Levels> backgrounds = {};
    /// the colour that takes its place (must be given)
    Levels value = {};
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const {
        return GivenOptions()
            .add("seed", seed)
            .add("foreground", foreground)
            .add("backgrounds", backgrounds)
            .add("value", value)
            .take();
    }
};

/// Of paint().
struct PaintOptions {
    /// disk:RADIUS, soft:RADIUS, a picture, or a file of numbers (must be given)
    Kernel brush = {};
    /// the colour to paint with (must be given)
    Levels value = {};
    /// X,Y;X,Y: where the brush is stamped, or a file of points (must be given)
    std::vector<Point> at = {};
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const { return GivenOptions().add("brush", brush).add("value", value).add("at", at).take(); }
};

/// Of gray().
struct GrayOptions {
    /// how much of red, green and blue
    GrayWeights weights = GrayWeights::weights601;
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const { return GivenOptions().add("weights", weights).take(); }
};

/// Of depth().
struct DepthOptions {
    /// the type of the result (must be given)
    std::optional<Type> to = {};
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const { return GivenOptions().add("to", to).take(); }
};

/// Of resize().
struct ResizeOptions {
    /// factor (0.5, 1/4, 50%)
    Numbers by = {};
    /// WIDTHxHEIGHT of the result
    Size size = {};
    /// resolution of the result, which keeps its size on paper
    std::optional<double> dpi = {};
    /// how samples between pixels are made where the picture grows
    Interpolation interpolation = Interpolation::bicubic;
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const {
        return GivenOptions()
            .add("by", by)
            .add("size", size)
            .add("dpi", dpi)
            .add("interpolation", interpolation)
            .take();
    }
};

/// Of rotate_fit().
struct RotateFitOptions {
    /// counterclockwise; radians with 'rad' after them (must be given)
    std::optional<double> degrees = {};
    /// how samples between pixels are made where the picture grows
    Interpolation interpolation = Interpolation::bicubic;
    /// what the picture does not cover: a colour, or levels; 0 is transparent where there is alpha (default 0)
    Levels background = {};
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const {
        return GivenOptions()
            .add("degrees", degrees)
            .add("interpolation", interpolation)
            .add("background", background)
            .take();
    }
};

/// Of blur().
struct BlurOptions {
    /// width of the bell in pixels
    double sigma = 2;
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const { return GivenOptions().add("sigma", sigma).take(); }
};

/// Of sharpen().
struct SharpenOptions {
    /// how much of what a blur would take away is added
    double amount = 1;
    /// width of that blur in pixels
    double sigma = 1;
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const { return GivenOptions().add("amount", amount).add("sigma", sigma).take(); }
};

/// Of binarize().
struct BinarizeOptions {
    /// the lowest level that becomes white (default 50%)
    Levels level = {};
    /// find the level that parts dark from light best (Otsu)
    bool auto_ = false;
    /// what shows through where the picture has alpha
    Levels background = {};
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const {
        return GivenOptions().add("level", level).add("auto", auto_).add("background", background).take();
    }
};

/// Of halftone().
struct HalftoneOptions {
    /// dot:150lpi:45deg, dot:PIXELS:ANGLE, bayer:N, or a file (default dot:8:45deg)
    Mask mask = {};
    /// what shows through where the picture has alpha
    Levels background = {};
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const { return GivenOptions().add("mask", mask).add("background", background).take(); }
};

/// Of quantize().
struct QuantizeOptions {
    /// how many colours
    long colors = 256;
    /// how the colours are mixed
    Dither dither = Dither::diffusion;
    /// what shows through where the picture has alpha
    Levels background = {};
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const {
        return GivenOptions().add("colors", colors).add("dither", dither).add("background", background).take();
    }
};

/// Of bucket().
struct BucketOptions {
    /// X,Y: a pixel of the region (must be given)
    std::vector<Point> at = {};
    /// the colour to fill with (must be given)
    Levels value = {};
    /// by how much samples may differ from those of that pixel
    double tolerance = 0;
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const {
        return GivenOptions().add("at", at).add("value", value).add("tolerance", tolerance).take();
    }
};

/// Of join().
struct JoinOptions {
    /// what the bands mean: rgb, cmyk, ...; told by their number otherwise
    std::string encoding = {};
    /// Pixels of the result that are written; all where there is no rectangle.
    std::vector<Rectangle> roi = {};

    Arguments arguments() const { return GivenOptions().add("encoding", encoding).take(); }
};

/// What a session can do.
class Operations : protected OperationsBase {
public:
    /// Sum of two images, saturating.
    Image add(const Image& a, const Image& b, const PlainOptions& options = {}) {
        return run("add", Sources{a, b}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_add(const Image& a, const Image& b, const PlainOptions& options = {}) noexcept {
        return tried([&] { return add(a, b, options); });
    }
    void add(const Image& a, const Image& b, const Image& destination, const PlainOptions& options = {}) {
        write("add", Sources{a, b}, destination, options.arguments(), options.roi);
    }
    Status try_add(const Image& a, const Image& b, const Image& destination,
                   const PlainOptions& options = {}) noexcept {
        return tried([&] { add(a, b, destination, options); });
    }

    /// Difference of two images, saturating.
    Image subtract(const Image& a, const Image& b, const PlainOptions& options = {}) {
        return run("subtract", Sources{a, b}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_subtract(const Image& a, const Image& b, const PlainOptions& options = {}) noexcept {
        return tried([&] { return subtract(a, b, options); });
    }
    void subtract(const Image& a, const Image& b, const Image& destination, const PlainOptions& options = {}) {
        write("subtract", Sources{a, b}, destination, options.arguments(), options.roi);
    }
    Status try_subtract(const Image& a, const Image& b, const Image& destination,
                        const PlainOptions& options = {}) noexcept {
        return tried([&] { subtract(a, b, destination, options); });
    }

    /// Product of two images, saturating.
    Image multiply(const Image& a, const Image& b, const PlainOptions& options = {}) {
        return run("multiply", Sources{a, b}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_multiply(const Image& a, const Image& b, const PlainOptions& options = {}) noexcept {
        return tried([&] { return multiply(a, b, options); });
    }
    void multiply(const Image& a, const Image& b, const Image& destination, const PlainOptions& options = {}) {
        write("multiply", Sources{a, b}, destination, options.arguments(), options.roi);
    }
    Status try_multiply(const Image& a, const Image& b, const Image& destination,
                        const PlainOptions& options = {}) noexcept {
        return tried([&] { multiply(a, b, destination, options); });
    }

    /// Quotient of two images, rounded; a division by zero is a warning.
    Image divide(const Image& a, const Image& b, const PlainOptions& options = {}) {
        return run("divide", Sources{a, b}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_divide(const Image& a, const Image& b, const PlainOptions& options = {}) noexcept {
        return tried([&] { return divide(a, b, options); });
    }
    void divide(const Image& a, const Image& b, const Image& destination, const PlainOptions& options = {}) {
        write("divide", Sources{a, b}, destination, options.arguments(), options.roi);
    }
    Status try_divide(const Image& a, const Image& b, const Image& destination,
                      const PlainOptions& options = {}) noexcept {
        return tried([&] { divide(a, b, destination, options); });
    }

    /// The larger sample of two images.
    Image max(const Image& a, const Image& b, const PlainOptions& options = {}) {
        return run("max", Sources{a, b}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_max(const Image& a, const Image& b, const PlainOptions& options = {}) noexcept {
        return tried([&] { return max(a, b, options); });
    }
    void max(const Image& a, const Image& b, const Image& destination, const PlainOptions& options = {}) {
        write("max", Sources{a, b}, destination, options.arguments(), options.roi);
    }
    Status try_max(const Image& a, const Image& b, const Image& destination,
                   const PlainOptions& options = {}) noexcept {
        return tried([&] { max(a, b, destination, options); });
    }

    /// The smaller sample of two images.
    Image min(const Image& a, const Image& b, const PlainOptions& options = {}) {
        return run("min", Sources{a, b}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_min(const Image& a, const Image& b, const PlainOptions& options = {}) noexcept {
        return tried([&] { return min(a, b, options); });
    }
    void min(const Image& a, const Image& b, const Image& destination, const PlainOptions& options = {}) {
        write("min", Sources{a, b}, destination, options.arguments(), options.roi);
    }
    Status try_min(const Image& a, const Image& b, const Image& destination,
                   const PlainOptions& options = {}) noexcept {
        return tried([&] { min(a, b, destination, options); });
    }

    /// Samples without their sign.
    Image absolute(const Image& source, const PlainOptions& options = {}) {
        return run("absolute", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_absolute(const Image& source, const PlainOptions& options = {}) noexcept {
        return tried([&] { return absolute(source, options); });
    }
    void absolute(const Image& source, const Image& destination, const PlainOptions& options = {}) {
        write("absolute", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_absolute(const Image& source, const Image& destination, const PlainOptions& options = {}) noexcept {
        return tried([&] { absolute(source, destination, options); });
    }

    /// Samples plus a constant, saturating.
    Image add_const(const Image& source, const AddConstOptions& options) {
        return run("add_const", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_add_const(const Image& source, const AddConstOptions& options) noexcept {
        return tried([&] { return add_const(source, options); });
    }
    void add_const(const Image& source, const Image& destination, const AddConstOptions& options) {
        write("add_const", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_add_const(const Image& source, const Image& destination, const AddConstOptions& options) noexcept {
        return tried([&] { add_const(source, destination, options); });
    }

    /// A constant minus the samples, saturating.
    Image subtract_from_const(const Image& source, const SubtractFromConstOptions& options) {
        return run("subtract_from_const", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_subtract_from_const(const Image& source, const SubtractFromConstOptions& options) noexcept {
        return tried([&] { return subtract_from_const(source, options); });
    }
    void subtract_from_const(const Image& source, const Image& destination, const SubtractFromConstOptions& options) {
        write("subtract_from_const", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_subtract_from_const(const Image& source, const Image& destination,
                                   const SubtractFromConstOptions& options) noexcept {
        return tried([&] { subtract_from_const(source, destination, options); });
    }

    /// Samples times a constant, rounded and saturating.
    Image multiply_const(const Image& source, const MultiplyConstOptions& options) {
        return run("multiply_const", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_multiply_const(const Image& source, const MultiplyConstOptions& options) noexcept {
        return tried([&] { return multiply_const(source, options); });
    }
    void multiply_const(const Image& source, const Image& destination, const MultiplyConstOptions& options) {
        write("multiply_const", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_multiply_const(const Image& source, const Image& destination,
                              const MultiplyConstOptions& options) noexcept {
        return tried([&] { multiply_const(source, destination, options); });
    }

    /// A constant divided by the samples.
    Image divide_into_const(const Image& source, const DivideIntoConstOptions& options) {
        return run("divide_into_const", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_divide_into_const(const Image& source, const DivideIntoConstOptions& options) noexcept {
        return tried([&] { return divide_into_const(source, options); });
    }
    void divide_into_const(const Image& source, const Image& destination, const DivideIntoConstOptions& options) {
        write("divide_into_const", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_divide_into_const(const Image& source, const Image& destination,
                                 const DivideIntoConstOptions& options) noexcept {
        return tried([&] { divide_into_const(source, destination, options); });
    }

    /// Bitwise and of two images.
    Image and_(const Image& a, const Image& b, const PlainOptions& options = {}) {
        return run("and", Sources{a, b}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_and(const Image& a, const Image& b, const PlainOptions& options = {}) noexcept {
        return tried([&] { return and_(a, b, options); });
    }
    void and_(const Image& a, const Image& b, const Image& destination, const PlainOptions& options = {}) {
        write("and", Sources{a, b}, destination, options.arguments(), options.roi);
    }
    Status try_and(const Image& a, const Image& b, const Image& destination,
                   const PlainOptions& options = {}) noexcept {
        return tried([&] { and_(a, b, destination, options); });
    }

    /// Bitwise or of two images.
    Image or_(const Image& a, const Image& b, const PlainOptions& options = {}) {
        return run("or", Sources{a, b}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_or(const Image& a, const Image& b, const PlainOptions& options = {}) noexcept {
        return tried([&] { return or_(a, b, options); });
    }
    void or_(const Image& a, const Image& b, const Image& destination, const PlainOptions& options = {}) {
        write("or", Sources{a, b}, destination, options.arguments(), options.roi);
    }
    Status try_or(const Image& a, const Image& b, const Image& destination, const PlainOptions& options = {}) noexcept {
        return tried([&] { or_(a, b, destination, options); });
    }

    /// Bitwise exclusive or of two images.
    Image xor_(const Image& a, const Image& b, const PlainOptions& options = {}) {
        return run("xor", Sources{a, b}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_xor(const Image& a, const Image& b, const PlainOptions& options = {}) noexcept {
        return tried([&] { return xor_(a, b, options); });
    }
    void xor_(const Image& a, const Image& b, const Image& destination, const PlainOptions& options = {}) {
        write("xor", Sources{a, b}, destination, options.arguments(), options.roi);
    }
    Status try_xor(const Image& a, const Image& b, const Image& destination,
                   const PlainOptions& options = {}) noexcept {
        return tried([&] { xor_(a, b, destination, options); });
    }

    /// Every bit inverted.
    Image not_(const Image& source, const PlainOptions& options = {}) {
        return run("not", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_not(const Image& source, const PlainOptions& options = {}) noexcept {
        return tried([&] { return not_(source, options); });
    }
    void not_(const Image& source, const Image& destination, const PlainOptions& options = {}) {
        write("not", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_not(const Image& source, const Image& destination, const PlainOptions& options = {}) noexcept {
        return tried([&] { not_(source, destination, options); });
    }

    /// Bitwise and with a constant.
    Image and_const(const Image& source, const AndConstOptions& options) {
        return run("and_const", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_and_const(const Image& source, const AndConstOptions& options) noexcept {
        return tried([&] { return and_const(source, options); });
    }
    void and_const(const Image& source, const Image& destination, const AndConstOptions& options) {
        write("and_const", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_and_const(const Image& source, const Image& destination, const AndConstOptions& options) noexcept {
        return tried([&] { and_const(source, destination, options); });
    }

    /// Bitwise or with a constant.
    Image or_const(const Image& source, const OrConstOptions& options) {
        return run("or_const", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_or_const(const Image& source, const OrConstOptions& options) noexcept {
        return tried([&] { return or_const(source, options); });
    }
    void or_const(const Image& source, const Image& destination, const OrConstOptions& options) {
        write("or_const", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_or_const(const Image& source, const Image& destination, const OrConstOptions& options) noexcept {
        return tried([&] { or_const(source, destination, options); });
    }

    /// Bitwise exclusive or with a constant.
    Image xor_const(const Image& source, const XorConstOptions& options) {
        return run("xor_const", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_xor_const(const Image& source, const XorConstOptions& options) noexcept {
        return tried([&] { return xor_const(source, options); });
    }
    void xor_const(const Image& source, const Image& destination, const XorConstOptions& options) {
        write("xor_const", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_xor_const(const Image& source, const Image& destination, const XorConstOptions& options) noexcept {
        return tried([&] { xor_const(source, destination, options); });
    }

    /// Two images mixed under a third, one-band alpha image: white takes the second.
    Image blend(const Image& a, const Image& b, const Image& alpha, const PlainOptions& options = {}) {
        return run("blend", Sources{a, b, alpha}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_blend(const Image& a, const Image& b, const Image& alpha,
                             const PlainOptions& options = {}) noexcept {
        return tried([&] { return blend(a, b, alpha, options); });
    }
    void blend(const Image& a, const Image& b, const Image& alpha, const Image& destination,
               const PlainOptions& options = {}) {
        write("blend", Sources{a, b, alpha}, destination, options.arguments(), options.roi);
    }
    Status try_blend(const Image& a, const Image& b, const Image& alpha, const Image& destination,
                     const PlainOptions& options = {}) noexcept {
        return tried([&] { blend(a, b, alpha, destination, options); });
    }

    /// Another sample type; low bits are kept, nothing is scaled (see depth).
    Image convert(const Image& source, const ConvertOptions& options) {
        return run("convert", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_convert(const Image& source, const ConvertOptions& options) noexcept {
        return tried([&] { return convert(source, options); });
    }
    void convert(const Image& source, const Image& destination, const ConvertOptions& options) {
        write("convert", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_convert(const Image& source, const Image& destination, const ConvertOptions& options) noexcept {
        return tried([&] { convert(source, destination, options); });
    }

    /// Each band of the result a weighted sum of the bands, plus a constant.
    Image band_combine(const Image& source, const BandCombineOptions& options) {
        return run("band_combine", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_band_combine(const Image& source, const BandCombineOptions& options) noexcept {
        return tried([&] { return band_combine(source, options); });
    }
    void band_combine(const Image& source, const Image& destination, const BandCombineOptions& options) {
        write("band_combine", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_band_combine(const Image& source, const Image& destination, const BandCombineOptions& options) noexcept {
        return tried([&] { band_combine(source, destination, options); });
    }

    /// Black from the common part of cyan, magenta and yellow.
    Image black_generation(const Image& source, const BlackGenerationOptions& options = {}) {
        return run("black_generation", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_black_generation(const Image& source, const BlackGenerationOptions& options = {}) noexcept {
        return tried([&] { return black_generation(source, options); });
    }
    void black_generation(const Image& source, const Image& destination, const BlackGenerationOptions& options = {}) {
        write("black_generation", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_black_generation(const Image& source, const Image& destination,
                                const BlackGenerationOptions& options = {}) noexcept {
        return tried([&] { black_generation(source, destination, options); });
    }

    /// From one colour space to another. Colours are taken for rgb709, whose curve is not that of sRGB, unless the
    /// source is said to be srgb. 8 bits of linear light lose dark levels: take 16.
    Image color_convert(const Image& source, const ColorConvertOptions& options) {
        return run("color_convert", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_color_convert(const Image& source, const ColorConvertOptions& options) noexcept {
        return tried([&] { return color_convert(source, options); });
    }
    void color_convert(const Image& source, const Image& destination, const ColorConvertOptions& options) {
        write("color_convert", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_color_convert(const Image& source, const Image& destination,
                             const ColorConvertOptions& options) noexcept {
        return tried([&] { color_convert(source, destination, options); });
    }

    /// The same samples.
    Image copy(const Image& source, const PlainOptions& options = {}) {
        return run("copy", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_copy(const Image& source, const PlainOptions& options = {}) noexcept {
        return tried([&] { return copy(source, options); });
    }
    void copy(const Image& source, const Image& destination, const PlainOptions& options = {}) {
        write("copy", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_copy(const Image& source, const Image& destination, const PlainOptions& options = {}) noexcept {
        return tried([&] { copy(source, destination, options); });
    }

    /// The image as a tile over a larger one.
    Image copy_pattern(const Image& source, const CopyPatternOptions& options) {
        return run("copy_pattern", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_copy_pattern(const Image& source, const CopyPatternOptions& options) noexcept {
        return tried([&] { return copy_pattern(source, options); });
    }
    void copy_pattern(const Image& source, const Image& destination, const CopyPatternOptions& options) {
        write("copy_pattern", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_copy_pattern(const Image& source, const Image& destination, const CopyPatternOptions& options) noexcept {
        return tried([&] { copy_pattern(source, destination, options); });
    }

    /// Some bits of the samples, the others kept.
    Image copy_with_planemask(const Image& source, const CopyWithPlanemaskOptions& options) {
        return run("copy_with_planemask", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_copy_with_planemask(const Image& source, const CopyWithPlanemaskOptions& options) noexcept {
        return tried([&] { return copy_with_planemask(source, options); });
    }
    void copy_with_planemask(const Image& source, const Image& destination, const CopyWithPlanemaskOptions& options) {
        write("copy_with_planemask", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_copy_with_planemask(const Image& source, const Image& destination,
                                   const CopyWithPlanemaskOptions& options) noexcept {
        return tried([&] { copy_with_planemask(source, destination, options); });
    }

    /// An image of one colour.
    Image set_value(const SetValueOptions& options) {
        return run("set_value", Sources{}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_set_value(const SetValueOptions& options) noexcept {
        return tried([&] { return set_value(options); });
    }
    void set_value(const Image& destination, const SetValueOptions& options) {
        write("set_value", Sources{}, destination, options.arguments(), options.roi);
    }
    Status try_set_value(const Image& destination, const SetValueOptions& options) noexcept {
        return tried([&] { set_value(destination, options); });
    }

    /// Samples through a table.
    Image lookup(const Image& source, const LookupOptions& options) {
        return run("lookup", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_lookup(const Image& source, const LookupOptions& options) noexcept {
        return tried([&] { return lookup(source, options); });
    }
    void lookup(const Image& source, const Image& destination, const LookupOptions& options) {
        write("lookup", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_lookup(const Image& source, const Image& destination, const LookupOptions& options) noexcept {
        return tried([&] { lookup(source, destination, options); });
    }

    /// Samples times a factor plus an offset, rounded and saturating.
    Image rescale(const Image& source, const RescaleOptions& options = {}) {
        return run("rescale", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_rescale(const Image& source, const RescaleOptions& options = {}) noexcept {
        return tried([&] { return rescale(source, options); });
    }
    void rescale(const Image& source, const Image& destination, const RescaleOptions& options = {}) {
        write("rescale", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_rescale(const Image& source, const Image& destination, const RescaleOptions& options = {}) noexcept {
        return tried([&] { rescale(source, destination, options); });
    }

    /// Replaces the samples of a range by a value (see binarize for bits).
    Image threshold(const Image& source, const ThresholdOptions& options = {}) {
        return run("threshold", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_threshold(const Image& source, const ThresholdOptions& options = {}) noexcept {
        return tried([&] { return threshold(source, options); });
    }
    void threshold(const Image& source, const Image& destination, const ThresholdOptions& options = {}) {
        write("threshold", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_threshold(const Image& source, const Image& destination, const ThresholdOptions& options = {}) noexcept {
        return tried([&] { threshold(source, destination, options); });
    }

    /// Weighted sum of each pixel's neighbourhood. The kernel is turned round, as a convolution is defined. Interiors
    /// under 3x3 and 5x5 kernels truncate on bytes.
    Image convolve(const Image& source, const ConvolveOptions& options) {
        return run("convolve", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_convolve(const Image& source, const ConvolveOptions& options) noexcept {
        return tried([&] { return convolve(source, options); });
    }
    void convolve(const Image& source, const Image& destination, const ConvolveOptions& options) {
        write("convolve", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_convolve(const Image& source, const Image& destination, const ConvolveOptions& options) noexcept {
        return tried([&] { convolve(source, destination, options); });
    }

    /// Strength of edges, by the Sobel operators.
    Image edge_detect_sobel(const Image& source, const EdgeDetectSobelOptions& options = {}) {
        return run("edge_detect_sobel", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_edge_detect_sobel(const Image& source, const EdgeDetectSobelOptions& options = {}) noexcept {
        return tried([&] { return edge_detect_sobel(source, options); });
    }
    void edge_detect_sobel(const Image& source, const Image& destination, const EdgeDetectSobelOptions& options = {}) {
        write("edge_detect_sobel", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_edge_detect_sobel(const Image& source, const Image& destination,
                                 const EdgeDetectSobelOptions& options = {}) noexcept {
        return tried([&] { edge_detect_sobel(source, destination, options); });
    }

    /// Grows what is white (or --of black). The element is taken as drawn, not turned round.
    Image dilate(const Image& source, const DilateOptions& options) {
        return run("dilate", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_dilate(const Image& source, const DilateOptions& options) noexcept {
        return tried([&] { return dilate(source, options); });
    }
    void dilate(const Image& source, const Image& destination, const DilateOptions& options) {
        write("dilate", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_dilate(const Image& source, const Image& destination, const DilateOptions& options) noexcept {
        return tried([&] { dilate(source, destination, options); });
    }

    /// Shrinks what is white (or --of black). The element is taken as drawn, not turned round.
    Image erode(const Image& source, const ErodeOptions& options) {
        return run("erode", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_erode(const Image& source, const ErodeOptions& options) noexcept {
        return tried([&] { return erode(source, options); });
    }
    void erode(const Image& source, const Image& destination, const ErodeOptions& options) {
        write("erode", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_erode(const Image& source, const Image& destination, const ErodeOptions& options) noexcept {
        return tried([&] { erode(source, destination, options); });
    }

    /// Turned, stretched, slanted and moved by a matrix. Pixel columns cover c to c + 1, and y grows downward. What is
    /// not covered becomes --background.
    Image affine(const Image& source, const AffineOptions& options) {
        return run("affine", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_affine(const Image& source, const AffineOptions& options) noexcept {
        return tried([&] { return affine(source, options); });
    }
    void affine(const Image& source, const Image& destination, const AffineOptions& options) {
        write("affine", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_affine(const Image& source, const Image& destination, const AffineOptions& options) noexcept {
        return tried([&] { affine(source, destination, options); });
    }

    /// Turned counterclockwise.
    Image rotate(const Image& source, const RotateOptions& options) {
        return run("rotate", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_rotate(const Image& source, const RotateOptions& options) noexcept {
        return tried([&] { return rotate(source, options); });
    }
    void rotate(const Image& source, const Image& destination, const RotateOptions& options) {
        write("rotate", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_rotate(const Image& source, const Image& destination, const RotateOptions& options) noexcept {
        return tried([&] { rotate(source, destination, options); });
    }

    /// Larger or smaller. Interpolations look at a few pixels: below one half take subsample_adaptive, or the recipe
    /// resize.
    Image scale(const Image& source, const ScaleOptions& options = {}) {
        return run("scale", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_scale(const Image& source, const ScaleOptions& options = {}) noexcept {
        return tried([&] { return scale(source, options); });
    }
    void scale(const Image& source, const Image& destination, const ScaleOptions& options = {}) {
        write("scale", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_scale(const Image& source, const Image& destination, const ScaleOptions& options = {}) noexcept {
        return tried([&] { scale(source, destination, options); });
    }

    /// Moved to the right and down. With nearest interpolation the distance is rounded to whole pixels.
    Image translate(const Image& source, const TranslateOptions& options) {
        return run("translate", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_translate(const Image& source, const TranslateOptions& options) noexcept {
        return tried([&] { return translate(source, options); });
    }
    void translate(const Image& source, const Image& destination, const TranslateOptions& options) {
        write("translate", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_translate(const Image& source, const Image& destination, const TranslateOptions& options) noexcept {
        return tried([&] { translate(source, destination, options); });
    }

    /// Flipped, or turned by quarters, exactly.
    Image transpose(const Image& source, const TransposeOptions& options) {
        return run("transpose", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_transpose(const Image& source, const TransposeOptions& options) noexcept {
        return tried([&] { return transpose(source, options); });
    }
    void transpose(const Image& source, const Image& destination, const TransposeOptions& options) {
        write("transpose", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_transpose(const Image& source, const Image& destination, const TransposeOptions& options) noexcept {
        return tried([&] { transpose(source, destination, options); });
    }

    /// A smaller gray picture from bits: how many of each box are set.
    Image subsample(const Image& source, const SubsampleOptions& options = {}) {
        return run("subsample", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_subsample(const Image& source, const SubsampleOptions& options = {}) noexcept {
        return tried([&] { return subsample(source, options); });
    }
    void subsample(const Image& source, const Image& destination, const SubsampleOptions& options = {}) {
        write("subsample", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_subsample(const Image& source, const Image& destination, const SubsampleOptions& options = {}) noexcept {
        return tried([&] { subsample(source, destination, options); });
    }

    /// A smaller picture whose pixels are means of boxes.
    Image subsample_adaptive(const Image& source, const SubsampleAdaptiveOptions& options = {}) {
        return run("subsample_adaptive", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_subsample_adaptive(const Image& source, const SubsampleAdaptiveOptions& options = {}) noexcept {
        return tried([&] { return subsample_adaptive(source, options); });
    }
    void subsample_adaptive(const Image& source, const Image& destination,
                            const SubsampleAdaptiveOptions& options = {}) {
        write("subsample_adaptive", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_subsample_adaptive(const Image& source, const Image& destination,
                                  const SubsampleAdaptiveOptions& options = {}) noexcept {
        return tried([&] { subsample_adaptive(source, destination, options); });
    }

    /// Every pixel fetched from a displaced place. Displacements say where a sample comes from: 16 is one pixel to the
    /// right, or down in the second band.
    Image table_warp(const Image& source, const TableWarpOptions& options) {
        return run("table_warp", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_table_warp(const Image& source, const TableWarpOptions& options) noexcept {
        return tried([&] { return table_warp(source, options); });
    }
    void table_warp(const Image& source, const Image& destination, const TableWarpOptions& options) {
        write("table_warp", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_table_warp(const Image& source, const Image& destination, const TableWarpOptions& options) noexcept {
        return tried([&] { table_warp(source, destination, options); });
    }

    /// Every pixel fetched from a place displaced across.
    Image table_warp_h(const Image& source, const TableWarpHOptions& options) {
        return run("table_warp_h", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_table_warp_h(const Image& source, const TableWarpHOptions& options) noexcept {
        return tried([&] { return table_warp_h(source, options); });
    }
    void table_warp_h(const Image& source, const Image& destination, const TableWarpHOptions& options) {
        write("table_warp_h", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_table_warp_h(const Image& source, const Image& destination, const TableWarpHOptions& options) noexcept {
        return tried([&] { table_warp_h(source, destination, options); });
    }

    /// Every pixel fetched from a place displaced up or down.
    Image table_warp_v(const Image& source, const TableWarpVOptions& options) {
        return run("table_warp_v", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_table_warp_v(const Image& source, const TableWarpVOptions& options) noexcept {
        return tried([&] { return table_warp_v(source, options); });
    }
    void table_warp_v(const Image& source, const Image& destination, const TableWarpVOptions& options) {
        write("table_warp_v", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_table_warp_v(const Image& source, const Image& destination, const TableWarpVOptions& options) noexcept {
        return tried([&] { table_warp_v(source, destination, options); });
    }

    /// Few levels, by a repeated mask of thresholds. The mask is scaled so that black stays black and white stays
    /// white.
    Image ordered_dither(const Image& source, const OrderedDitherOptions& options) {
        return run("ordered_dither", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_ordered_dither(const Image& source, const OrderedDitherOptions& options) noexcept {
        return tried([&] { return ordered_dither(source, options); });
    }
    void ordered_dither(const Image& source, const Image& destination, const OrderedDitherOptions& options) {
        write("ordered_dither", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_ordered_dither(const Image& source, const Image& destination,
                              const OrderedDitherOptions& options) noexcept {
        return tried([&] { ordered_dither(source, destination, options); });
    }

    /// Each pixel becomes the nearest colour of a palette.
    Image nearest_color(const Image& source, const NearestColorOptions& options) {
        return run("nearest_color", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_nearest_color(const Image& source, const NearestColorOptions& options) noexcept {
        return tried([&] { return nearest_color(source, options); });
    }
    void nearest_color(const Image& source, const Image& destination, const NearestColorOptions& options) {
        write("nearest_color", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_nearest_color(const Image& source, const Image& destination,
                             const NearestColorOptions& options) noexcept {
        return tried([&] { nearest_color(source, destination, options); });
    }

    /// The colours of a palette, each pixel's error spread over its neighbours. The last weight of a kernel is made up
    /// so that all of the error is spread.
    Image error_diffusion(const Image& source, const ErrorDiffusionOptions& options) {
        return run("error_diffusion", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_error_diffusion(const Image& source, const ErrorDiffusionOptions& options) noexcept {
        return tried([&] { return error_diffusion(source, options); });
    }
    void error_diffusion(const Image& source, const Image& destination, const ErrorDiffusionOptions& options) {
        write("error_diffusion", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_error_diffusion(const Image& source, const Image& destination,
                               const ErrorDiffusionOptions& options) noexcept {
        return tried([&] { error_diffusion(source, destination, options); });
    }

    /// The colours that represent a picture best.
    Palette choose_colormap(const Image& source, const ChooseColormapOptions& options = {}) {
        return taken(run("choose_colormap", Sources{source}, options.arguments(), options.roi).palette);
    }
    Outcome<Palette> try_choose_colormap(const Image& source, const ChooseColormapOptions& options = {}) noexcept {
        return tried([&] { return choose_colormap(source, options); });
    }

    /// The smallest and the largest sample of each band.
    Measurements extrema(const Image& source, const PlainOptions& options = {}) {
        return Measurements(run("extrema", Sources{source}, options.arguments(), options.roi).measurements);
    }
    Outcome<Measurements> try_extrema(const Image& source, const PlainOptions& options = {}) noexcept {
        return tried([&] { return extrema(source, options); });
    }

    /// How often each level occurs, one band at a time. Values up to one and a half bins below the range count for the
    /// first bin.
    Measurements histogram(const Image& source, const HistogramOptions& options = {}) {
        return Measurements(run("histogram", Sources{source}, options.arguments(), options.roi).measurements);
    }
    Outcome<Measurements> try_histogram(const Image& source, const HistogramOptions& options = {}) noexcept {
        return tried([&] { return histogram(source, options); });
    }

    /// A table that packs the levels in use into a run without gaps.
    Table squeeze_range(const Image& source, const PlainOptions& options = {}) {
        return taken(run("squeeze_range", Sources{source}, options.arguments(), options.roi).table);
    }
    Outcome<Table> try_squeeze_range(const Image& source, const PlainOptions& options = {}) noexcept {
        return tried([&] { return squeeze_range(source, options); });
    }

    /// Floods a region up to a boundary colour (see bucket for like-coloured pixels).
    Image fill(const Image& source, const FillOptions& options) {
        return run("fill", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_fill(const Image& source, const FillOptions& options) noexcept {
        return tried([&] { return fill(source, options); });
    }
    void fill(const Image& source, const Image& destination, const FillOptions& options) {
        write("fill", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_fill(const Image& source, const Image& destination, const FillOptions& options) noexcept {
        return tried([&] { fill(source, destination, options); });
    }

    /// Recolours a region whose edges are mixed with known colours.
    Image soft_fill(const Image& source, const SoftFillOptions& options) {
        return run("soft_fill", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_soft_fill(const Image& source, const SoftFillOptions& options) noexcept {
        return tried([&] { return soft_fill(source, options); });
    }
    void soft_fill(const Image& source, const Image& destination, const SoftFillOptions& options) {
        write("soft_fill", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_soft_fill(const Image& source, const Image& destination, const SoftFillOptions& options) noexcept {
        return tried([&] { soft_fill(source, destination, options); });
    }

    /// Stamps a brush.
    Image paint(const Image& source, const PaintOptions& options) {
        return run("paint", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_paint(const Image& source, const PaintOptions& options) noexcept {
        return tried([&] { return paint(source, options); });
    }
    void paint(const Image& source, const Image& destination, const PaintOptions& options) {
        write("paint", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_paint(const Image& source, const Image& destination, const PaintOptions& options) noexcept {
        return tried([&] { paint(source, destination, options); });
    }

    /// A colour picture in shades of gray.
    Image gray(const Image& source, const GrayOptions& options = {}) {
        return run("gray", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_gray(const Image& source, const GrayOptions& options = {}) noexcept {
        return tried([&] { return gray(source, options); });
    }
    void gray(const Image& source, const Image& destination, const GrayOptions& options = {}) {
        write("gray", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_gray(const Image& source, const Image& destination, const GrayOptions& options = {}) noexcept {
        return tried([&] { gray(source, destination, options); });
    }

    /// Another sample type, scaled to its full range (see convert for low bits). 16-bit results are unsigned pictures.
    Image depth(const Image& source, const DepthOptions& options) {
        return run("depth", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_depth(const Image& source, const DepthOptions& options) noexcept {
        return tried([&] { return depth(source, options); });
    }
    void depth(const Image& source, const Image& destination, const DepthOptions& options) {
        write("depth", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_depth(const Image& source, const Image& destination, const DepthOptions& options) noexcept {
        return tried([&] { depth(source, destination, options); });
    }

    /// Larger or smaller, with means of all pixels where it gets much smaller.
    Image resize(const Image& source, const ResizeOptions& options = {}) {
        return run("resize", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_resize(const Image& source, const ResizeOptions& options = {}) noexcept {
        return tried([&] { return resize(source, options); });
    }
    void resize(const Image& source, const Image& destination, const ResizeOptions& options = {}) {
        write("resize", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_resize(const Image& source, const Image& destination, const ResizeOptions& options = {}) noexcept {
        return tried([&] { resize(source, destination, options); });
    }

    /// Turned counterclockwise, the result as large as is needed; quarter turns are exact.
    Image rotate_fit(const Image& source, const RotateFitOptions& options) {
        return run("rotate_fit", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_rotate_fit(const Image& source, const RotateFitOptions& options) noexcept {
        return tried([&] { return rotate_fit(source, options); });
    }
    void rotate_fit(const Image& source, const Image& destination, const RotateFitOptions& options) {
        write("rotate_fit", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_rotate_fit(const Image& source, const Image& destination, const RotateFitOptions& options) noexcept {
        return tried([&] { rotate_fit(source, destination, options); });
    }

    /// Soft, by a bell-shaped mean across and then down.
    Image blur(const Image& source, const BlurOptions& options = {}) {
        return run("blur", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_blur(const Image& source, const BlurOptions& options = {}) noexcept {
        return tried([&] { return blur(source, options); });
    }
    void blur(const Image& source, const Image& destination, const BlurOptions& options = {}) {
        write("blur", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_blur(const Image& source, const Image& destination, const BlurOptions& options = {}) noexcept {
        return tried([&] { blur(source, destination, options); });
    }

    /// Details stronger, by what a blur would take away.
    Image sharpen(const Image& source, const SharpenOptions& options = {}) {
        return run("sharpen", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_sharpen(const Image& source, const SharpenOptions& options = {}) noexcept {
        return tried([&] { return sharpen(source, options); });
    }
    void sharpen(const Image& source, const Image& destination, const SharpenOptions& options = {}) {
        write("sharpen", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_sharpen(const Image& source, const Image& destination, const SharpenOptions& options = {}) noexcept {
        return tried([&] { sharpen(source, destination, options); });
    }

    /// Bits: white from a level up.
    Image binarize(const Image& source, const BinarizeOptions& options = {}) {
        return run("binarize", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_binarize(const Image& source, const BinarizeOptions& options = {}) noexcept {
        return tried([&] { return binarize(source, options); });
    }
    void binarize(const Image& source, const Image& destination, const BinarizeOptions& options = {}) {
        write("binarize", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_binarize(const Image& source, const Image& destination, const BinarizeOptions& options = {}) noexcept {
        return tried([&] { binarize(source, destination, options); });
    }

    /// Bits that look gray, in dots for print.
    Image halftone(const Image& source, const HalftoneOptions& options = {}) {
        return run("halftone", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_halftone(const Image& source, const HalftoneOptions& options = {}) noexcept {
        return tried([&] { return halftone(source, options); });
    }
    void halftone(const Image& source, const Image& destination, const HalftoneOptions& options = {}) {
        write("halftone", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_halftone(const Image& source, const Image& destination, const HalftoneOptions& options = {}) noexcept {
        return tried([&] { halftone(source, destination, options); });
    }

    /// The best few colours for a picture, mixed to look like it.
    Image quantize(const Image& source, const QuantizeOptions& options = {}) {
        return run("quantize", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_quantize(const Image& source, const QuantizeOptions& options = {}) noexcept {
        return tried([&] { return quantize(source, options); });
    }
    void quantize(const Image& source, const Image& destination, const QuantizeOptions& options = {}) {
        write("quantize", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_quantize(const Image& source, const Image& destination, const QuantizeOptions& options = {}) noexcept {
        return tried([&] { quantize(source, destination, options); });
    }

    /// Fills a region of like-coloured pixels.
    Image bucket(const Image& source, const BucketOptions& options) {
        return run("bucket", Sources{source}, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_bucket(const Image& source, const BucketOptions& options) noexcept {
        return tried([&] { return bucket(source, options); });
    }
    void bucket(const Image& source, const Image& destination, const BucketOptions& options) {
        write("bucket", Sources{source}, destination, options.arguments(), options.roi);
    }
    Status try_bucket(const Image& source, const Image& destination, const BucketOptions& options) noexcept {
        return tried([&] { bucket(source, destination, options); });
    }

    /// A picture for each band.
    std::vector<Image> split(const Image& source, const PlainOptions& options = {}) {
        return run("split", Sources{source}, options.arguments(), options.roi).images;
    }
    Outcome<std::vector<Image>> try_split(const Image& source, const PlainOptions& options = {}) noexcept {
        return tried([&] { return split(source, options); });
    }

    /// One picture from a picture for each band.
    Image join(std::span<const Image> sources, const JoinOptions& options = {}) {
        return run("join", sources, options.arguments(), options.roi).image;
    }
    Outcome<Image> try_join(std::span<const Image> sources, const JoinOptions& options = {}) noexcept {
        return tried([&] { return join(sources, options); });
    }
    void join(std::span<const Image> sources, const Image& destination, const JoinOptions& options = {}) {
        write("join", sources, destination, options.arguments(), options.roi);
    }
    Status try_join(std::span<const Image> sources, const Image& destination,
                    const JoinOptions& options = {}) noexcept {
        return tried([&] { join(sources, destination, options); });
    }

protected:
    Operations() = default;
    ~Operations() = default;
};

} // namespace orv
