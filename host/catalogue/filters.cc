// Operations in which each pixel follows from a window of the source.

#include "catalogue/Call.h"
#include "catalogue/parameters.h"
#include "catalogue/rows.h"

#include <cmath>
#include <numeric>

#include <fmt/format.h>

namespace orv {

namespace {

constexpr Choice edges[] = {{"leave", 0, "the border keeps what the result held before"},
                            {"zero", 1, "the border becomes 0"},
                            {"extend", 2, "the picture goes on with its outermost pixels"}};

constexpr auto convolveParameters =
    list(Parameter{.name = "kernel",
                   .kind = Kind::kernel,
                   .help = "gaussian:SIZE:SIGMA, box:SIZE, sharpen, laplace, sobel-x, sobel-y, or a file"},
         Parameter{.name = "edge",
                   .kind = Kind::choice,
                   .help = "what the border becomes",
                   .fallback = "extend",
                   .choices = edges,
                   .typeName = "Edge"},
         Parameter{.name = "round",
                   .kind = Kind::flag,
                   .help = "round the sums of 3x3 and 5x5 kernels on bytes, which are truncated otherwise",
                   .fallback = "no"});

/// The same kernel with rows of zeros above and below, which the device sums by its general, rounding rule.
Kernel padded(const Kernel& kernel) {
    Kernel wide = kernel;
    wide.height += 2;
    wide.keyY += 1;
    wide.taps.insert(wide.taps.begin(), kernel.width, 0.0F);
    wide.taps.resize(std::size_t{wide.width} * wide.height);
    return wide;
}

constexpr auto sobelParameters = list(Parameter{.name = "edge",
                                                .kind = Kind::choice,
                                                .help = "what the border becomes",
                                                .fallback = "extend",
                                                .choices = edges,
                                                .typeName = "Edge"});

constexpr Choice colours[] = {{"white", 0, "set bits, high samples"}, {"black", 1, "clear bits, low samples"}};
constexpr auto elementParameters =
    list(Parameter{.name = "element", .kind = Kind::element, .help = "rect:WxH, disk:RADIUS, cross:RADIUS, or a file"},
         Parameter{.name = "of",
                   .kind = Kind::choice,
                   .help = "what grows or shrinks",
                   .fallback = "white",
                   .choices = colours,
                   .typeName = "Of"});

void checkFits(const Call& call, std::string_view parameter, unsigned width, unsigned height, unsigned keyX,
               unsigned keyY) {
    if (width > call.width() || height > call.height()) {
        call.refuse(parameter, fmt::format("one of {} x {} came, but the image is {} x {}", width, height, call.width(),
                                           call.height()));
    }
    if (keyX >= width || keyY >= height) call.refuse(parameter, "its key lies outside it");
}

void convolve(Call& call) {
    const Kernel& given = call.kernel("kernel");
    const bool truncates = given.width == given.height && (given.width == 3 || given.width == 5);
    const Kernel kernel =
        call.flag("round") && truncates && call.type() == Type::byte && given.height + 2 <= call.height()
            ? padded(given)
            : given;
    if (kernel.taps.size() != std::size_t{kernel.width} * kernel.height || kernel.taps.empty())
        call.refuse("kernel", "its weights do not fill it");
    checkFits(call, "kernel", kernel.width, kernel.height, kernel.keyX, kernel.keyY);
    const double sum = std::accumulate(kernel.taps.begin(), kernel.taps.end(), 0.0);
    // A kernel that finds differences finds none in an opaque alpha, and the result would not be seen.
    if (std::abs(sum) < 0.5) call.carryAlpha();
    constexpr long zero = 1;
    if (call.shifted() && (std::abs(sum - 1) > 1e-4 || call.choice("edge") == zero))
        call.refuse("kernel", std::string(Call::shiftAdvice));
    call.op("convolve{}");
    call.addKernel(kernel);
    call.add(call.choice("edge"));
    if (call.choice("edge") == 0) call.startWithSource();
}

void sobel(Call& call) {
    if (call.width() < 3 || call.height() < 3) call.refuse("", "the image is smaller than 3 x 3 pixels");
    call.op("edge_detect_sobel{}");
    call.add(call.choice("edge"));
    if (call.choice("edge") == 0) call.startWithSource();
}

template <Pattern White, Pattern Black>
void morphology(Call& call) {
    const Element& element = call.element("element");
    if (element.members.size() != std::size_t{element.width} * element.height || element.members.empty())
        call.refuse("element", "its members do not fill it");
    checkFits(call, "element", element.width, element.height, element.keyX, element.keyY);
    call.op(call.choice("of") == 0 ? White.text : Black.text).addElement(element);
}

constexpr Operation rows[] = {
    {.name = "convolve",
     .help = "weighted sum of each pixel's neighbourhood",
     .details = "The kernel is turned round, as a convolution is defined. Interiors under 3x3 and 5x5 kernels truncate "
                "on bytes.",
     .group = "filters",
     .parameters = convolveParameters,
     .example = "orv convolve photo.png -o soft.png --kernel gaussian:5:1.0",
     .alpha = Alpha::premultiplied,
     .rightUnderShift = true,
     .apart = true,
     .blocks = {.reach = Reach::window, .margin = roomForRounding, .parameter = "kernel"},
     .prepare = convolve},
    {.name = "edge_detect_sobel",
     .help = "strength of edges, by the Sobel operators",
     .group = "filters",
     .parameters = sobelParameters,
     .example = "orv edge-detect-sobel photo.png -o edges.png",
     .bandsMeet = true, // in the corners
     .apart = true,
     .blocks = {.reach = Reach::window, .margin = 1},
     .prepare = sobel},
    {.name = "dilate",
     .help = "grows what is white (or --of black)",
     .details = "The element is taken as drawn, not turned round.",
     .group = "filters",
     .parameters = elementParameters,
     .example = "orv dilate page.tif -o bold.tif --element disk:2 --of black",
     .rightUnderShift = true,
     .apart = true,
     .blocks = {.reach = Reach::window, .margin = 1, .parameter = "element"},
     .prepare = morphology<"dilate{}", "erode{}">},
    {.name = "erode",
     .help = "shrinks what is white (or --of black)",
     .details = "The element is taken as drawn, not turned round.",
     .group = "filters",
     .parameters = elementParameters,
     .example = "orv erode page.tif -o thin.tif --element rect:2x2 --of black",
     .rightUnderShift = true,
     .apart = true,
     .blocks = {.reach = Reach::window, .margin = 1, .parameter = "element"},
     .prepare = morphology<"erode{}", "dilate{}">},
};

} // namespace

std::span<const Operation> filterRows() noexcept { return rows; }

} // namespace orv
