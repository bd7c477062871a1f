// The catalogue: what every operation is called, takes and gives. Everything that faces people is read from it.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "orv/Image.h"
#include "orv/device/OrvTypes.h"

namespace orv {

/// Kinds of parameters; one parser reads each.
enum class Kind {
    number,  ///< a number
    integer, ///< a whole number
    angle,   ///< degrees, or radians with "rad"
    choice,  ///< one of some words
    levels,  ///< sample values, one a band or one for all; "50%" is of full range; "#ff8000" for colours
    factors, ///< numbers, one a band or one for all
    numbers, ///< a list of numbers
    bits,    ///< bit masks, one a band or one for all
    size,    ///< WIDTHxHEIGHT in pixels
    kernel,
    element,
    palette,
    mask,
    table,
    points,    ///< x,y pairs in pixels
    text,      ///< words
    flag,      ///< given or not
    colours,   ///< several colours, separated by semicolons
    brush,     ///< weights from 0 to 1
    diffusion, ///< weights by which an error spreads
    warp,      ///< displacements: a word, a file, or an image
};

/// The name of a kind: "number", "kernel".
ORV_API std::string_view nameOf(Kind kind) noexcept;

struct Choice {
    std::string_view word;
    long value;
    std::string_view help;
};

struct Parameter {
    std::string_view name;
    Kind kind;
    std::string_view help;
    /// The value where none is given, as a text; a parameter without one must be given unless it is optional.
    std::string_view fallback = {};
    bool optional = false;
    double low = -3.0e38;
    double high = 3.0e38;
    std::span<const Choice> choices = {};
    /// What programs call the set of choices: "Edge".
    std::string_view typeName = {};
    /// Whether programs may give it by its place although it has a fallback or is optional.
    bool positional = false;
};

/// Sample types that an operation takes.
enum class Types { all, bytesAndShorts, bytes, shorts, bits };

/// What happens to alpha.
enum class Alpha {
    carried,       ///< the first source's goes into the result as it is
    moved,         ///< it is one more band
    premultiplied, ///< the operation sees colours multiplied by it, unless it only moves pixels
    refused        ///< a parameter must say what to do with it
};

/// What an operation makes where it makes no image.
enum class Instead { measurements, images, palette, table };

/// Which pixels of the sources a pixel of the result follows from.
enum class Reach {
    picture, ///< any of them
    pixel,   ///< the ones at its place
    window,  ///< the ones around its place
    place    ///< the ones at its place, and where in the picture that is
};

/// What it takes to work on a large picture block by block, for programs that do.
struct Blocks {
    Reach reach = Reach::picture;
    /// Of a window: so many pixels of their neighbours blocks are given on each side, and as many more as the parameter
    /// tells, where one is named. One more than the window reaches, so that the smallest block still holds it.
    unsigned margin = 0;
    /// Of a window: how far this kernel or element reaches from its key, or this number `times` over, rounded up. Of a
    /// place: the mask that is repeated from the picture's corner.
    std::string_view parameter = {};
    double times = 1;
    /// A flag that makes the operation look at the whole picture all the same.
    std::string_view unless = {};
    /// Why the whole picture is needed, where it is.
    std::string_view why = {};
};

class Call;
struct Result;

/// One row of the catalogue.
struct Operation {
    std::string_view name;
    /// One line.
    std::string_view help;
    /// What a newcomer may trip over; may be empty.
    std::string_view details = {};
    std::string_view group = {};
    unsigned sources = 1;
    /// The most that it takes, where it takes any number from `sources` up.
    unsigned mostSources = 0;
    /// A flag by which the last source can be given too ("alpha"); may be empty.
    std::string_view lastSource = {};
    Types types = Types::all;
    std::span<const Parameter> parameters = {};
    std::string_view example = {};
    Alpha alpha = Alpha::carried;
    bool keepsPalette = false;
    /// Whether the bands of a pixel are looked at together, so that their order in memory counts.
    bool bandsMeet = false;
    /// Whether results are right on unsigned 16-bit pictures, whose samples are shifted by 32768.
    bool rightUnderShift = false;
    /// Whether it gives an image, and what otherwise.
    bool givesImage = true;
    Instead instead = Instead::measurements;
    /// Whether the destination must not share samples with a source.
    bool apart = false;
    /// Whether every source must have the size, bands and type of the first.
    bool alike = true;
    /// Encodings that it takes; any where none is named.
    std::span<const Encoding> encodings = {};
    Blocks blocks = {};
    /// Names the device's op, shapes the destination and hands over the parameters.
    void (*prepare)(Call& call) = nullptr;
    /// Of a recipe: runs the operations that it is made of.
    Result (*body)(Call& call) = nullptr;
};

/// All operations, in the order in which people are shown them.
ORV_API std::span<const Operation* const> catalogue() noexcept;

/// An operation by its name; dashes count as underscores. Throws Error with the nearest name.
ORV_API const Operation& operationNamed(std::string_view name);

/// Reads the text of a parameter and checks its range, only to say what is wrong with it. Throws Error.
ORV_API void checkText(const Operation& operation, const Parameter& parameter, const std::string& text);

/// The one of some names that is nearest to a text, empty where none is near.
ORV_API std::string nearestName(std::string_view text, std::span<const std::string_view> names);

} // namespace orv
