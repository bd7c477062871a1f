// Operations that move pixels: affine transforms, transposes, smaller pictures.

#include <array>
#include <cmath>
#include <numbers>

#include <fmt/format.h>

#include "catalogue/Call.h"
#include "catalogue/interpolation.h"
#include "catalogue/parameters.h"
#include "catalogue/rows.h"

namespace orv {

namespace {

constexpr long sameCanvas = 0;
constexpr long fitCanvas = 1;
constexpr Choice canvases[] = {{"same", sameCanvas, "the result is as large as the picture"},
                               {"fit", fitCanvas, "the result is as large as is needed"}};
constexpr Parameter canvasParameter{.name = "canvas",
                                    .kind = Kind::choice,
                                    .help = "size of the result",
                                    .fallback = "same",
                                    .choices = canvases,
                                    .typeName = "Canvas"};
constexpr Parameter centreParameter{.name = "center",
                                    .kind = Kind::points,
                                    .help = "X,Y: the point that stays where it is; the middle otherwise",
                                    .optional = true};

/// Where a point of the source goes: x' = a x + c y + e, y' = b x + d y + f.
struct Matrix {
    double a, b, c, d, e, f;

    Point operator()(Point p) const noexcept { return {a * p.x + c * p.y + e, b * p.x + d * p.y + f}; }
    double determinant() const noexcept { return a * d - b * c; }
    /// The same turned about another point than 0, 0.
    Matrix about(Point p) const noexcept {
        const Point moved = (*this)(p);
        return {a, b, c, d, e + p.x - (moved.x - e), f + p.y - (moved.y - f)};
    }
};

constexpr double leastDeterminant = 0.0001;

Point middle(const Call& call) noexcept { return {call.source().width() / 2.0, call.source().height() / 2.0}; }

Point centreOf(const Call& call) {
    if (!call.has("center")) return middle(call);
    const std::vector<Point>& points = call.points("center");
    if (points.size() != 1) call.refuse("center", fmt::format("{} points came, one X,Y wanted", points.size()));
    return points.front();
}

/// Makes the destination as large as the transformed picture, and moves the picture into it.
void fitCanvasTo(Call& call, Matrix& m) {
    const double w = call.source().width();
    const double h = call.source().height();
    double left = 1e30;
    double right = -1e30;
    double top = 1e30;
    double bottom = -1e30;
    for (const Point corner : {Point{0, 0}, Point{w, 0}, Point{0, h}, Point{w, h}}) {
        const Point p = m(corner);
        left = std::min(left, p.x);
        right = std::max(right, p.x);
        top = std::min(top, p.y);
        bottom = std::max(bottom, p.y);
    }
    constexpr double slack = 1e-6;
    constexpr double most = 1e6;
    const double width = std::max(1.0, std::ceil(right - left - slack));
    const double height = std::max(1.0, std::ceil(bottom - top - slack));
    if (!(width <= most && height <= most))
        call.refuse("canvas", fmt::format("the result would be {} x {} pixels", width, height));
    m.e += width / 2 - (left + right) / 2;
    m.f += height / 2 - (top + bottom) / 2;
    call.shape(static_cast<unsigned>(width), static_cast<unsigned>(height));
}

void setBackground(Call& call) { call.op("setvalue{}").add(call.background()); }

struct Stretch {
    double x = 1;
    double y = 1;
};

void addTables(Call& call, long filter, const Stretch& stretch) {
    call.addObject(interpolationTable(call.session(), filter, true, stretch.x));
    call.addObject(interpolationTable(call.session(), filter, true, stretch.y));
}

/// The op in the interpolation wanted, after simpler ones for the margin that it leaves unwritten.
template <class BeginStep>
void interpolate(Call& call, const BeginStep& begin, const Stretch& stretch = {}) {
    constexpr std::array<std::string_view, 4> suffixes = {"nearest", "bilinear", "bicubic", "general"};
    const long wanted = call.choice("interpolation");
    const bool fills = call.choice("edge") != 0;
    setBackground(call);
    for (long simpler = nearest; fills && simpler < std::min(wanted, bicubic); ++simpler)
        begin(suffixes[static_cast<std::size_t>(simpler)]);
    if (wanted != general) return begin(suffixes[static_cast<std::size_t>(wanted)]);
    const long filter = call.choice("filter");
    const long marginX = tapsOf(filter, true, stretch.x).key;
    const long marginY = tapsOf(filter, true, stretch.y).key;
    const long width = call.source().width() - 2 * marginX;
    const long height = call.source().height() - 2 * marginY;
    if (fills && (width <= 0 || height <= 0)) return call.note("the picture is smaller than the filter: bilinear");
    begin(suffixes[general]);
    addTables(call, filter, stretch);
    // At the border the device shifts the weights against the samples: with the margin filled, it is kept away from
    // there.
    if (fills)
        call.step().sourceWithin({marginX, marginY, static_cast<unsigned>(width), static_cast<unsigned>(height)});
}

std::vector<float> asFloats(const Matrix& m) {
    return {static_cast<float>(m.a), static_cast<float>(m.b), static_cast<float>(m.c),
            static_cast<float>(m.d), static_cast<float>(m.e), static_cast<float>(m.f)};
}

void transform(Call& call, const Matrix& m) {
    if (!(std::abs(m.determinant()) >= leastDeterminant)) {
        call.refuse("", fmt::format("the determinant of the transform is {}; below {} nothing would be written",
                                    m.determinant(), leastDeterminant));
    }
    interpolate(call, [&](std::string_view suffix) {
        call.op(fmt::format("affine{{}}{}", suffix));
        call.add(asFloats(m));
        if (suffix == "general") call.add(0L);
    });
}

// affine --------------------------------------------------------------------------------------------------------------

constexpr auto affineParameters =
    list(Parameter{.name = "matrix",
                   .kind = Kind::numbers,
                   .help = "A,B,C,D,E,F: a point goes to x' = A x + C y + E, y' = B x + D y + F"},
         interpolationParameter, filterParameter, canvasParameter,
         Parameter{.name = "center",
                   .kind = Kind::points,
                   .help = "X,Y: the point about which A to D turn and stretch; 0,0 otherwise",
                   .optional = true},
         backgroundParameter, marginParameter);

void affine(Call& call) {
    const std::vector<double>& v = call.numbers("matrix");
    if (v.size() != 6) call.refuse("matrix", fmt::format("{} numbers came, 6 wanted", v.size()));
    Matrix m{v[0], v[1], v[2], v[3], v[4], v[5]};
    if (call.has("center")) m = m.about(centreOf(call));
    if (call.choice("canvas") == fitCanvas) fitCanvasTo(call, m);
    transform(call, m);
}

// rotate --------------------------------------------------------------------------------------------------------------

constexpr auto rotateParameters = list(
    Parameter{.name = "degrees", .kind = Kind::angle, .help = "counterclockwise; radians with 'rad' after them"},
    interpolationParameter, filterParameter, canvasParameter, centreParameter, backgroundParameter, marginParameter);

bool isWhole(Point p) noexcept { return p.x == std::floor(p.x) && p.y == std::floor(p.y); }

void rotate(Call& call) {
    constexpr double tiny = 1e-12;
    const double angle = call.number("degrees") * std::numbers::pi / 180.0;
    const auto exact = [](double v) { return std::abs(v - std::round(v)) < tiny ? std::round(v) : v; };
    const double c = exact(std::cos(angle));
    const double s = exact(std::sin(angle));
    const Point centre = centreOf(call);
    Matrix m = Matrix{c, -s, s, c, 0, 0}.about(centre);
    if (call.choice("canvas") == fitCanvas) fitCanvasTo(call, m);
    const Point to = m(centre);
    if (!isWhole(centre) || !isWhole(to)) return transform(call, m);
    // The device turns about the origins of the images, which lie on whole pixels.
    interpolate(call, [&](std::string_view suffix) {
        call.op(fmt::format("rotate{{}}{}", suffix))
            .origins(std::lround(centre.x), std::lround(centre.y), std::lround(to.x), std::lround(to.y));
        call.add(static_cast<float>(angle));
        if (suffix == "general") call.add(0L);
    });
}

// scale ---------------------------------------------------------------------------------------------------------------

constexpr Parameter byParameter{.name = "by",
                                .kind = Kind::factors,
                                .help = "factor (0.5, 1/4, 50%), or one across and one down",
                                .optional = true,
                                .low = 0,
                                .high = 10000};
constexpr Parameter sizeParameter{
    .name = "size", .kind = Kind::size, .help = "WIDTHxHEIGHT of the result", .optional = true};
constexpr auto scaleParameters =
    list(byParameter, sizeParameter, interpolationParameter, filterParameter, backgroundParameter, marginParameter);

struct Factors {
    float x;
    float y;
};

/// The factors of --by or --size, one of which must be given.
Factors factorsOf(const Call& call) {
    if (call.has("by") == call.has("size")) call.refuse("by", "say either --by FACTOR or --size WIDTHxHEIGHT");
    if (call.has("size")) {
        const auto [width, height] = call.size("size");
        return {static_cast<float>(static_cast<double>(width) / call.source().width()),
                static_cast<float>(static_cast<double>(height) / call.source().height())};
    }
    const std::vector<double>& by = call.numbers("by");
    if (by.size() > 2) call.refuse("by", fmt::format("{} factors came, 1 or 2 wanted", by.size()));
    for (const double factor : by) {
        if (!(factor > 0)) call.refuse("by", fmt::format("{} came, a factor above 0 wanted", factor));
    }
    return {static_cast<float>(by.front()), static_cast<float>(by.back())};
}

/// Pixels of the result whose middles fall on the picture.
unsigned covered(const Call& call, unsigned size, float factor) {
    constexpr double most = 1e6;
    const double pixels = std::max(1.0, std::ceil(size * static_cast<double>(factor) - 0.5));
    if (!(pixels <= most)) call.refuse("by", fmt::format("the result would be {} pixels wide or high", pixels));
    return static_cast<unsigned>(pixels);
}

void scale(Call& call) {
    const Factors by = factorsOf(call);
    if (!(static_cast<double>(by.x * by.y) >= leastDeterminant)) {
        call.refuse("by", fmt::format("{} by {} is so small that nothing would be written; subsample_adaptive averages",
                                      by.x, by.y));
    }
    if (call.has("size")) {
        const auto [width, height] = call.size("size");
        call.shape(width, height);
    } else {
        call.shape(covered(call, call.source().width(), by.x), covered(call, call.source().height(), by.y));
    }
    call.scaled(by.x, by.y);
    const double least = std::min(by.x, by.y);
    if (least < 0.5 && call.choice("interpolation") != nearest)
        call.note("below one half pixels are left out; subsample_adaptive averages all of them");
    // Smaller pictures need wider filters, within reason.
    const auto stretch = [](double factor) { return std::clamp(1 / factor, 1.0, 4.0); };
    interpolate(call,
                [&](std::string_view suffix) {
                    call.op(fmt::format("scale{{}}{}", suffix));
                    call.add(by.x);
                    call.add(by.y);
                },
                {stretch(by.x), stretch(by.y)});
}

// translate -----------------------------------------------------------------------------------------------------------

constexpr auto translateParameters =
    list(Parameter{.name = "by", .kind = Kind::numbers, .help = "DX,DY: pixels to the right and down"},
         interpolationParameter, filterParameter, backgroundParameter, marginParameter);

void translate(Call& call) {
    const std::vector<double>& by = call.numbers("by");
    if (by.size() != 2) call.refuse("by", fmt::format("{} numbers came, DX,DY wanted", by.size()));
    interpolate(call, [&](std::string_view suffix) {
        call.op(fmt::format("translate{{}}{}", suffix));
        call.add(static_cast<float>(by[0]));
        call.add(static_cast<float>(by[1]));
    });
}

// transpose -----------------------------------------------------------------------------------------------------------

constexpr Choice flips[] = {{"x", 0, "upside down: top and bottom change places"},
                            {"y", 1, "as in a mirror: left and right change places"},
                            {"diagonal", 2, "rows become columns"},
                            {"antidiagonal", 3, "rows become columns, from the other corner"},
                            {"90", 4, "a quarter turn counterclockwise"},
                            {"180", 5, "a half turn"},
                            {"270", 6, "a quarter turn clockwise"}};
constexpr auto transposeParameters = list(Parameter{
    .name = "flip", .kind = Kind::choice, .help = "which flip or turn", .choices = flips, .typeName = "Flip"});

void transpose(Call& call) {
    const long flip = call.choice("flip");
    const bool exchangesAxes = flip != 0 && flip != 1 && flip != 5;
    if (exchangesAxes) {
        call.shape(call.source().height(), call.source().width());
        call.turned();
    }
    call.op("transpose{}");
    call.add(flip);
}

// subsample -----------------------------------------------------------------------------------------------------------

constexpr Choice levelChoices[] = {{"full", 1, "counts stretched to 0 to 255"},
                                   {"counts", 0, "counts of set bits, as the device gives them"}};
constexpr auto subsampleParameters = list(byParameter, sizeParameter,
                                          Parameter{.name = "levels",
                                                    .kind = Kind::choice,
                                                    .help = "what the samples of the result mean",
                                                    .fallback = "full",
                                                    .choices = levelChoices,
                                                    .typeName = "SubsampleLevels"});

/// Whole boxes along a side.
unsigned boxes(unsigned size, float factor) noexcept {
    constexpr float slack = 1e-4F;
    return std::max(1U, static_cast<unsigned>(static_cast<float>(size) * factor + slack));
}

Factors smallerFactors(const Call& call) {
    const Factors by = factorsOf(call);
    if (by.x > 1 || by.y > 1) {
        call.refuse("by",
                    fmt::format("{} by {} came, at most 1 wanted: it makes pictures smaller (see scale)", by.x, by.y));
    }
    return by;
}

void shapeSmaller(Call& call, const Factors& by) {
    if (call.has("size")) {
        const auto [width, height] = call.size("size");
        call.shape(width, height);
    } else {
        call.shape(boxes(call.source().width(), by.x), boxes(call.source().height(), by.y));
    }
    call.scaled(by.x, by.y);
}

void subsample(Call& call) {
    const Factors by = smallerFactors(call);
    const auto boxSide = [](float factor) { return std::trunc(1 / factor + 0.9999F); };
    const float area = boxSide(by.x) * boxSide(by.y);
    constexpr float mostCounts = 255;
    if (area > mostCounts) {
        call.refuse("by",
                    fmt::format("boxes of {} pixels came, at most {} wanted (a count is one byte); go in two steps",
                                area, mostCounts));
    }
    shapeSmaller(call, by);
    call.type(Type::byte);
    call.op("subsample1_8");
    call.add(by.x);
    call.add(by.y);
    if (call.choice("levels") == 0) return;
    call.op("rescale8").inPlace();
    call.add(std::vector<float>(call.bands(), mostCounts / area));
    call.add(std::vector<float>(call.bands(), 0.0F));
}

constexpr auto adaptiveParameters = list(byParameter, sizeParameter);

void subsampleAdaptive(Call& call) {
    const Factors by = smallerFactors(call);
    shapeSmaller(call, by);
    call.op("subsampleAdaptive{}");
    call.add(by.x);
    call.add(by.y);
}

constexpr Operation rows[] = {
    {.name = "affine",
     .help = "turned, stretched, slanted and moved by a matrix",
     .details = "Pixel columns cover c to c + 1, and y grows downward. What is not covered becomes --background.",
     .group = "geometry",
     .parameters = affineParameters,
     .example = "orv affine photo.png -o slanted.png --matrix 1,0,0.3,1,0,0 --canvas fit --background white",
     .alpha = Alpha::premultiplied,
     .keepsPalette = true,
     .rightUnderShift = true,
     .apart = true,
     .blocks = pixelsMove,
     .prepare = affine},
    {.name = "rotate",
     .help = "turned counterclockwise",
     .group = "geometry",
     .parameters = rotateParameters,
     .example = "orv rotate scan.tif -o straight.tif --degrees -1.3 --canvas same --background white",
     .alpha = Alpha::premultiplied,
     .keepsPalette = true,
     .rightUnderShift = true,
     .apart = true,
     .blocks = pixelsMove,
     .prepare = rotate},
    {.name = "scale",
     .help = "larger or smaller",
     .details = "Interpolations look at a few pixels: below one half take subsample_adaptive, or the recipe resize.",
     .group = "geometry",
     .parameters = scaleParameters,
     .example = "orv scale photo.png -o large.png --by 2.5 --interpolation bicubic",
     .alpha = Alpha::premultiplied,
     .keepsPalette = true,
     .rightUnderShift = true,
     .apart = true,
     .blocks = pixelsMove,
     .prepare = scale},
    {.name = "translate",
     .help = "moved to the right and down",
     .details = "With nearest interpolation the distance is rounded to whole pixels.",
     .group = "geometry",
     .parameters = translateParameters,
     .example = "orv translate photo.png -o moved.png --by 10.5,-4",
     .alpha = Alpha::premultiplied,
     .keepsPalette = true,
     .rightUnderShift = true,
     .apart = true,
     .blocks = pixelsMove,
     .prepare = translate},
    {.name = "transpose",
     .help = "flipped, or turned by quarters, exactly",
     .group = "geometry",
     .parameters = transposeParameters,
     .example = "orv transpose photo.png -o turned.png --flip 90",
     .alpha = Alpha::moved,
     .keepsPalette = true,
     .rightUnderShift = true,
     .apart = true,
     .blocks = pixelsMove,
     .prepare = transpose},
    {.name = "subsample",
     .help = "a smaller gray picture from bits: how many of each box are set",
     .group = "geometry",
     .types = Types::bits,
     .parameters = subsampleParameters,
     .example = "orv subsample plate.tif -o proof.png --by 1/4",
     .apart = true,
     .blocks = boxesMeet,
     .prepare = subsample},
    {.name = "subsample_adaptive",
     .help = "a smaller picture whose pixels are means of boxes",
     .group = "geometry",
     .parameters = adaptiveParameters,
     .example = "orv subsample-adaptive photo.png -o small.png --size 160x120",
     .alpha = Alpha::premultiplied,
     .apart = true,
     .blocks = boxesMeet,
     .prepare = subsampleAdaptive},
};

} // namespace

std::span<const Operation> geometryRows() noexcept { return rows; }

} // namespace orv
