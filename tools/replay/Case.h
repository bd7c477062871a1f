// A case: calls of the device with everything that goes in and everything that must come out, as one plain value.
//
// Case files are read into this value and written from it, models fill in its expectations, fuzzers make it and
// benchmarks time it. docs/case-files.md tells the format and the meaning of every field.
//
//     orvcase::Case c{.name = "sum"};
//     c.images = {{.name = "a", .type = ORV_BYTE, .width = 2, .height = 1, .data = {200, 3}},
//                 {.name = "d", .type = ORV_BYTE, .width = 2, .height = 1}};
//     orvcase::Call& call = c.addCall({.op = "add8", .src = {"a", "a"}, .dst = "d"});
//     call.expect.out = {{.image = "d", .values = {255, 6}}};
//     orvcase::Outcome outcome = orvcase::runCase(c, {});     // Runner.h
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "orv/device/OrvTypes.h"
#include "orv/host/FaultPoint.h"

namespace orvcase {

/// Samples, table entries, weights, counters: every type that the format holds fits a double exactly.
using Values = std::vector<double>;

/// Expected values; one without a value stands for any.
using ExpectedValues = std::vector<std::optional<double>>;

struct Rect {
    long x = 0;
    long y = 0;
    long width = 0;
    long height = 0;
    bool operator==(const Rect&) const = default;
};

/// A set of pixels: the union of the rectangles, which may overlap. No rectangle: the empty set.
using Region = std::vector<Rect>;

struct Image {
    std::string name;
    OrvDataType type = ORV_BYTE;
    unsigned width = 1;
    unsigned height = 1;
    unsigned bands = 1;
    std::optional<unsigned> stride = {};      ///< from row to row: in samples, BIT: in bytes
    std::optional<unsigned> pixelStride = {}; ///< in samples; not for BIT
    std::optional<unsigned> bandStride = {};  ///< in bytes; BIT alone
    unsigned offset = 0;                      ///< bit offset of the first pixel; BIT alone
    float originX = 0;
    float originY = 0;
    std::optional<Region> roi = {}; ///< in storage pixels, may stick out; no value: none is set
    std::string parent = {};        ///< a child image shares this one's storage and strides, and has no data of its own
    unsigned atX = 0;
    unsigned atY = 0;
    unsigned atBand = 0;
    bool io = false;  ///< an input/output device stands behind the image
    Values data = {}; ///< row by row, pixel by pixel, the bands of a pixel side by side (BIT too); none: all are `fill`
    double fill = 0;

    /// The strides in force, given or default. Those of a child are its parent's.
    unsigned rowStride() const;
    unsigned samplesPerPixel() const { return pixelStride.value_or(bands); }
    unsigned planeStride() const { return bandStride.value_or(rowStride() * height); }

    /// Place of a sample in `data`.
    std::size_t index(unsigned column, unsigned row, unsigned band) const {
        return (std::size_t{row} * width + column) * bands + band;
    }
    std::size_t sampleCount() const { return std::size_t{width} * height * bands; }
    /// A sample's value, also where the image is filled.
    double at(unsigned column, unsigned row, unsigned band) const {
        return data.empty() ? fill : data[index(column, row, band)];
    }
};

struct ColorCube {
    std::vector<int> multipliers;
    std::vector<unsigned> dimensions;
    short origin = 0;
};

struct Lookup {
    struct Table {
        short offset = 0;
        Values data;
    };
    std::string name;
    OrvDataType in = ORV_BYTE;
    OrvDataType out = ORV_BYTE;     ///< a table of BIT holds bytes
    bool combined = false;          ///< a table for each band, instead of one for all
    unsigned bands = 1;             ///< samples in an entry of a single lookup
    std::vector<Table> tables = {}; ///< exactly one for a single lookup
    std::optional<ColorCube> cube = {};
};

/// A kernel, or (without a label, the data whole) a structuring element. The key may lie outside.
struct Kernel {
    std::string name;
    unsigned width = 1;
    unsigned height = 1;
    unsigned keyX = 0;
    unsigned keyY = 0;
    std::optional<std::string> label = {}; ///< what getName answers; kernels alone
    Values data = {};
};
using Sel = Kernel;

struct Mask {
    std::string name;
    unsigned width = 1;
    unsigned height = 1;
    unsigned bands = 1;
    Values data = {}; ///< band after band, each row by row
};

struct Interp {
    std::string name;
    unsigned size = 1;
    unsigned subsamples = 1;
    Values data = {}; ///< `subsamples` rows of `size` weights
};

struct Histogram {
    std::string name;
    std::vector<unsigned> bins = {}; ///< one value a band, as the two below
    std::vector<float> low = {};
    std::vector<float> high = {};
    Values data = {}; ///< counters, the last band's index moving fastest; none: all are 0
};

struct Colorspace {
    std::string name;
    std::string space; ///< one of colorspaceNames()
};

/// An array for a pointer parameter: floats or unsigned 32-bit integers.
struct Array {
    std::string name;
    Values data = {};
};

/// A cell in which an op leaves a new lookup.
struct Slot {
    std::string name;
};

/// One parameter of an op.
struct Param {
    enum class Kind { null, real, integer, reference };
    Kind kind = Kind::null;
    float real = 0;
    long integer = 0;
    std::string name = {}; ///< of an object or array of the case

    static Param null() { return {}; }
    static Param f(float value) { return {.kind = Kind::real, .real = value}; }
    static Param l(long value) { return {.kind = Kind::integer, .integer = value}; }
    static Param ref(std::string name) { return {.kind = Kind::reference, .name = std::move(name)}; }
};

/// An earlier op that is not run: the call of a two-level path reaches it.
struct Chain {
    std::string name;
    std::string op;
    std::array<std::string, 3> src = {}; ///< names of images; empty: no such source
    std::vector<Param> params = {};
    int line = 0;
};

using orv::host::FaultPoint;

/// A call of the host's, or of operator new, that is made to fail during the next call.
struct Fault {
    FaultPoint point = FaultPoint::newMemory;
    std::string image = {}; ///< storage, imageRoi, roi and systemState alone
    unsigned nth = 1;       ///< counted from 1
};

struct ExpectedError {
    std::string id;
    std::optional<int> category = {};
    std::optional<int> primary = {};
    std::optional<int> line = {};
    std::optional<std::string> file = {};
};

struct ExpectedImage {
    std::string image;
    double within = 0;
    ExpectedValues values = {};      ///< in the order of Image::data; none: all are `fill`
    std::optional<double> fill = {}; ///< no value: any
    int line = 0;
};

struct ExpectedTouch {
    std::string image;
    std::optional<Region> region = {}; ///< in image space; no value: setPixelsTouchedRoi was not called
    int line = 0;
};

struct ExpectedContents {
    std::string name; ///< of a floats, ulongs, kernel or histogram
    ExpectedValues values = {};
    int line = 0;
};

struct ExpectedLookup {
    std::string slot;
    bool null = false; ///< the rest counts only where this is false
    OrvDataType in = ORV_BYTE;
    OrvDataType out = ORV_BYTE;
    unsigned bands = 1;
    short offset = 0;
    unsigned entries = 0;
    ExpectedValues values = {};
    int line = 0;
};

/// Host objects handed to the device during a call and not destroyed when it returned.
struct LiveCounts {
    std::optional<unsigned> lists = {};
    std::optional<unsigned> rois = {};
    std::optional<unsigned> images = {};
};

/// What a call must do, or what it did. Images of which nothing is said must stay as they were.
struct Expectations {
    std::optional<int> status = 0; ///< no value: any
    std::vector<ExpectedError> errors = {};
    std::vector<ExpectedImage> out = {};
    std::vector<ExpectedTouch> touched = {};
    std::vector<ExpectedContents> now = {};
    std::vector<ExpectedLookup> results = {};
    LiveCounts live = {};
};

struct Call {
    std::string op;
    std::array<std::string, 3> src = {}; ///< names of images; empty: no such source
    std::string dst = {};
    std::string op1 = {}; ///< name of a chain; empty: a plain call
    std::vector<Param> params = {};
    std::vector<Fault> faults = {};
    Expectations expect = {};
    int line = 0;
};

/// New contents for a lookup, kernel, sel, mask, interp, floats or ulongs: as many values as it has.
struct SetContents {
    std::string name;
    Values values = {};
    int line = 0;
};

/// A new version, contents as they are.
struct Touch {
    std::string name;
    int line = 0;
};

using Step = std::variant<Call, SetContents, Touch>;

struct Case {
    std::string name;
    bool fresh = false; ///< runs in a process of its own, with the module's caches as they are at load
    std::string file = {};
    int line = 0;

    std::vector<Image> images = {}; ///< a parent stands before its children
    std::vector<Lookup> lookups = {};
    std::vector<Kernel> kernels = {};
    std::vector<Sel> sels = {};
    std::vector<Mask> masks = {};
    std::vector<Interp> interps = {};
    std::vector<Histogram> histograms = {};
    std::vector<Colorspace> colorspaces = {};
    std::vector<Array> floats = {};
    std::vector<Array> ulongs = {};
    std::vector<Slot> slots = {};
    std::vector<Chain> chains = {};
    std::vector<Step> steps = {};

    Call& addCall(Call call);
    /// The image of that name; it must exist.
    Image& image(const std::string& imageName);
    const Image& image(const std::string& imageName) const;
};

/// The ten names, in the order of their opcodes from 1.
const std::array<const char*, 10>& colorspaceNames();

/// "BIT", "BYTE", "SHORT", "FLOAT".
const char* typeName(OrvDataType type);

} // namespace orvcase
