#include "Outcomes.h"

#include <algorithm>
#include <cmath>

namespace orvfaults {
namespace {

using orvcase::Case;
using orvcase::FaultPoint;

const orvcase::Call& callOf(const Case& c) { return std::get<orvcase::Call>(c.steps.front()); }

/// Source and destination are parts of one image: a copy looks at what overlaps.
bool sharesParent(const Case& c) {
    const auto parent = [&](const std::string& name) { return c.image(name).parent; };
    return !parent(callOf(c).src[0]).empty() && parent(callOf(c).src[0]) == parent(callOf(c).dst);
}

bool near(float a, float b) { return std::fabs(a - b) < 0.01F; }
float param(const Case& c, std::size_t i) { return callOf(c).params.at(i).real; }

/// Doubling and halving have paths of their own.
bool doublesOrHalves(const Case& c) {
    return near(param(c, 0), param(c, 1)) && (near(param(c, 0), 2) || near(param(c, 0), 0.5F));
}

bool hasCube(const Case& c) { return c.lookups.front().cube.has_value(); }

/// The dither of three bands to bytes by tables for the whole pixel.
bool ditherOfThreeBands(const Case& c) {
    const auto& image = c.image(callOf(c).src[0]);
    if (image.bands != 3) return false;
    if (c.masks.empty()) return true; // a flat one of four by four is made
    const auto& mask = c.masks.front();
    return mask.width == mask.height && (mask.width == 4 || mask.width == 8);
}
/// A dither by tables, which are made before anything else is looked at.
bool ditherByTables(const Case& c) {
    const auto& mask = c.masks.front();
    const unsigned bands = c.image(callOf(c).src[0]).bands;
    const bool toBits = callOf(c).op == "ordereddither8_1" && bands == 1;
    return (toBits || (callOf(c).op == "ordereddither8_8" && bands == 3)) && mask.width == mask.height &&
           (mask.width == 4 || mask.width == 8);
}
bool otherDither(const Case& c) { return !ditherByTables(c); }

constexpr const char* pairs =
    "add?,add16,subtract?,subtract16,multiply?,multiply16,divide?,divide16,and?,and16,or?,or16,"
    "xor?,xor16,max?,max16,min?,min16";
constexpr const char* singles =
    "addconst*,subtractfromconst*,multiplyconst*,divideintoconst*,andconst*,orconst*,xorconst*,"
    "copy_with_planemask*,absolute16,not1,not8,not16,rescale*,copy1,copy8,copy16,lookup*,threshold?,"
    "threshold16,threshold8*band,threshold8/*,threshold16/*,nearestcolor*,ordereddither*";

std::vector<Row> makeRows() {
    using enum FaultPoint;
    std::vector<Row> rows;
    const auto add = [&](Row row) { rows.push_back(std::move(row)); };
    /// Storage of source and destination, as most tell it.
    const auto storages = [&](const char* names, int category, int primary) {
        add({.functions = names,
             .point = storage,
             .role = Role::first,
             .to = 1,
             .reports = {{"di-9", category, primary}}});
        add({.functions = names,
             .point = storage,
             .role = Role::destination,
             .to = 1,
             .reports = {{"di-10", category, primary}}});
    };
    const auto list = [&](const char* names, Told told) {
        add({.functions = names, .point = roiList, .reports = {told}});
    };
    /// Regions that the op intersects itself, before it writes anything.
    const auto imageRois = [&](const char* names, Told told, int lists = 0, int rois = 0) {
        for (const Role role : {Role::first, Role::destination}) {
            add({.functions = names,
                 .point = imageRoi,
                 .role = role,
                 .to = 1,
                 .reports = {told},
                 .lists = lists,
                 .rois = rois});
        }
    };
    const auto allocations = [&](const char* names, Told told, Left left) {
        add({.functions = names, .point = newMemory, .reports = {told}, .left = left});
    };

    // Pairs of images. A table that cannot be had leaves the list to its fate.
    storages(pairs, 1, 0);
    add({.functions = pairs, .point = storage, .role = Role::second, .to = 1, .reports = {{"di-15", 1, 0}}});
    list(pairs, {"di-12", 0, 0});
    add({.functions = "add8,subtract8",
         .point = newMemory,
         .reports = {{"di-1", 1, 1}},
         .left = Left::touched,
         .lists = 1});

    // A product and a sum in one.
    storages("add8/multiply8", 1, 0);
    add({.functions = "add8/multiply8", .point = storage, .role = Role::second, .to = 1, .reports = {{"di-15", 1, 0}}});
    add({.functions = "add8/multiply8", .point = storage, .role = Role::third, .to = 1, .reports = {{"di-138", 1, 0}}});
    list("add8/multiply8", {"di-12", 1, 0});

    // Copies that overlap: nothing is released on the way.
    add({.functions = "copy1,copy8,copy16",
         .point = createImage,
         .reports = {{"di-TBD", 6, 0}},
         .rois = any,
         .when = sharesParent});
    add({.functions = "copy1,copy8,copy16",
         .point = cachedOp,
         .reports = {{"di-120", 1, 1}, {"di-TBD", 6, 0}},
         .rois = any,
         .images = 1,
         .when = sharesParent});
    for (const Told& told : {Told{"di-9", 1, 0}, Told{"di-10", 1, 0}}) {
        add({.functions = "copy1,copy8,copy16",
             .point = storage,
             .role = told.id[3] == '9' ? Role::first : Role::destination,
             .to = 1,
             .reports = {told},
             .rois = any,
             .images = any,
             .when = sharesParent});
    }
    add({.functions = "copy1,copy8,copy16",
         .point = roiList,
         .reports = {{"di-12", 0, 0}},
         .rois = any,
         .images = any,
         .when = sharesParent});
    add({.functions = "copy1,copy8,copy16", .point = scratch, .reports = {{"di-9", 1, 0}}, .rois = any, .images = 1});

    // Dithers of three bands: a missing source is met first by the op itself, which answers well.
    for (const char* names : {"ordereddither8_8", "nearestcolor8_8"}) {
        add({.functions = names,
             .point = storage,
             .role = Role::first,
             .to = 1,
             .reports = {{"di-9", 1, 0}},
             .status = 0,
             .when = names[0] == 'o' ? ditherOfThreeBands
                                     : [](const Case& c) { return hasCube(c) && ditherOfThreeBands(c); }});
    }
    // Without a mask, a cube is searched like any other colours.
    add({.functions = "nearestcolor*", .point = createMask, .status = 0, .left = Left::partial});

    storages(singles, 1, 0);
    list(singles, {"di-12", 0, 0});
    add({.functions = "ordereddither8_1",
         .point = cube,
         .reports = {{"di-205", 4, 1}, {"di-205", 4, 1}},
         .when = ditherByTables});
    add({.functions = "ordereddither*", .point = cube, .reports = {{"di-205", 4, 1}}, .when = otherDither});
    allocations("subtractfromconst8,subtractfromconst16,addconst16,lookup*,copy_with_planemask*", {"di-1", 1, 1},
                Left::touched);
    allocations("threshold8,threshold16,threshold8*band,threshold8/*,threshold16/*", {"di-1", 1, 1}, Left::touched);

    // Tiles: a failure destroys nothing that was made before.
    storages("copypattern*", 1, 0);
    add({.functions = "copypattern*",
         .point = imageRoi,
         .role = Role::first,
         .reports = {{"di-6", 6, 0}},
         .rois = any});
    add({.functions = "copypattern*",
         .point = imageRoi,
         .role = Role::destination,
         .reports = {{"di-6", 6, 0}},
         .rois = any});
    for (const auto& [point, id] :
         {std::pair{translate, "di-16"}, {clone, "di-14"}, {intersect, "di-7"}, {rectList, "di-8"}}) {
        add({.functions = "copypattern*",
             .point = point,
             .reports = {{id, 6, 0}},
             .left = Left::partial,
             .lists = any,
             .rois = any});
    }

    // One value: no list of the frame, no touched region.
    add({.functions = "setvalue*", .point = storage, .role = Role::destination, .to = 1, .reports = {{"di-10", 1, 0}}});
    add({.functions = "setvalue*", .point = imageRoi, .role = Role::destination, .reports = {{"di-6", 6, 0}}});
    add({.functions = "setvalue*", .point = rectList, .reports = {{"di-8", 6, 0}}});
    allocations("setvalue*", {"di-1", 1, 1}, Left::nothing);

    storages("blend*", 1, 0);
    add({.functions = "blend*", .point = storage, .role = Role::second, .to = 1, .reports = {{"di-15", 1, 0}}});
    add({.functions = "blend*", .point = storage, .role = Role::third, .to = 1, .reports = {{"di-11", 1, 0}}});
    list("blend*", {"di-12", 0, 0});
    allocations("blend8a8", {"di-1", 1, 1}, Left::nothing);

    // Half of the conversions tell a missing source by the id of a missing list.
    add({.functions = "convert1_8,convert1_16,convert8_1",
         .point = storage,
         .role = Role::first,
         .to = 1,
         .reports = {{"di-12", 1, 0}}});
    storages("convert*_*", 1, 0);
    list("convert*_*", {"di-12", 0, 0});
    storages("bandCombine*", 1, 0);
    list("bandCombine*", {"di-12", 6, 0});
    storages("blackgeneration*", 1, 1);
    list("blackgeneration*", {"di-12", 0, 1});

    storages("colorconvert", 1, 1);
    list("colorconvert", {"di-12", 0, 1});
    add({.functions = "colorconvert", .point = newMemory, .left = Left::nothing});

    // The nine regions. What is in hand when one fails is not released.
    for (const auto& [names, primary] : {std::pair{"convolve*", 1}, {"edge_detect_sobel*", 0}}) {
        storages(names, 1, primary);
        imageRois(names, {"di-6", 1, primary}, 0, any);
        add({.functions = names, .point = intersect, .to = 1, .reports = {{"di-7", 1, primary}}, .rois = any});
        add({.functions = names,
             .point = intersect,
             .from = 2,
             .reports = {{"di-7", 1, 1}, {"di-7", 1, primary}},
             .left = Left::partial,
             .rois = any});
        add({.functions = names,
             .point = createRoi,
             .reports = {{"di-145", 1, 1}, {"di-7", 1, primary}},
             .left = Left::partial,
             .rois = any});
        add({.functions = names,
             .point = rectList,
             .reports = {{"di-7", 1, primary}},
             .left = Left::partial,
             .rois = any});
    }
    add({.functions = "convolve*,edge_detect_sobel*",
         .point = newMemory,
         .reports = {{"di-1", 1, 1}},
         .left = Left::touched,
         .rois = any});

    storages("dilate*,erode*", 1, 0);
    list("dilate*,erode*", {"di-12", 1, 0});
    allocations("dilate*,erode*", {"di-1", 1, 1}, Left::nothing);

    // Geometry: the fast paths first, then the engine.
    storages("translate8nearest,translate16nearest", 1, 0);
    for (const Role role : {Role::first, Role::destination}) {
        add({.functions = "scale8nearest",
             .point = storage,
             .role = role,
             .to = 1,
             .reports = {{role == Role::first ? "di-9" : "di-10", 1, 0}},
             .when = doublesOrHalves});
    }
    add({.functions = "scale8nearest",
         .point = rectList,
         .reports = {{"di-12", 1, 0}},
         .rois = any,
         .when = doublesOrHalves});
    add({.functions = "scale8*,scale16*",
         .point = intersect,
         .to = 1,
         .reports = {{"di-7", 1, 0}},
         .rois = any,
         .when = doublesOrHalves});
    constexpr const char* engine = "affine*,translate*,scale*,rotate*";
    storages(engine, 1, 1);
    imageRois(engine, {"di-6", 1, 1}, any, any);
    add({.functions = engine,
         .point = rectList,
         .reports = {{"di-8", 1, 1}},
         .left = Left::partial,
         .lists = any,
         .rois = any});
    add({.functions = engine,
         .point = createRoi,
         .reports = {{"di-1", 1, 0}},
         .left = Left::partial,
         .lists = any,
         .rois = any});

    storages("tablewarp*", 1, 0);
    add({.functions = "tablewarp*", .point = storage, .role = Role::second, .to = 1, .reports = {{"di-11", 1, 0}}});
    add({.functions = "tablewarp*", .point = imageRoi, .role = Role::first, .reports = {{"di-6", 1, 1}}});
    add({.functions = "tablewarp*", .point = rectList, .reports = {{"di-8", 1, 1}}, .rois = any});
    add({.functions = "tablewarp*", .point = roiList, .reports = {{"di-8", 1, 1}}, .rois = any});

    storages("transpose*", 4, 1);
    imageRois("transpose*", {"di-6", 4, 1}, 0, any);
    add({.functions = "transpose*", .point = intersect, .reports = {{"di-7", 4, 1}}, .rois = any});
    add({.functions = "transpose*",
         .point = rectList,
         .reports = {{"di-24", 4, 1}},
         .left = Left::touched,
         .rois = any});

    storages("subsample*", 1, 1);
    imageRois("subsample*", {"di-6", 1, 1}, any, any);
    add({.functions = "subsample*",
         .point = rectList,
         .reports = {{"di-8", 1, 1}},
         .left = Left::partial,
         .lists = any,
         .rois = any});
    add({.functions = "subsample*",
         .point = intersect,
         .reports = {{"di-7", 1, 1}},
         .left = Left::partial,
         .lists = any,
         .rois = any});

    // Error diffusion writes the destination last of all.
    add({.functions = "errordiffusion*",
         .point = storage,
         .role = Role::first,
         .to = 1,
         .reports = {{"di-216", 1, 0}}});
    add({.functions = "errordiffusion*",
         .point = storage,
         .role = Role::destination,
         .to = 1,
         .reports = {{"di-10", 1, 0}}});
    add({.functions = "errordiffusion*", .point = createImage, .reports = {{"di-1", 1, 1}}});
    add({.functions = "errordiffusion*", .point = scratch, .reports = {{"di-10", 1, 0}}, .images = any});
    list("errordiffusion*", {"di-12", 0, 0});
    allocations("errordiffusion1_*,errordiffusion16_*,errordiffusion8_1,errordiffusion8_16", {"di-1", 1, 1},
                Left::touched);

    add({.functions = "chooseColormap8", .point = storage, .role = Role::first, .to = 1, .reports = {{"di-10", 1, 1}}});
    add({.functions = "chooseColormap8", .point = imageRoi, .role = Role::first, .reports = {{"di-6", 1, 1}}});
    add({.functions = "chooseColormap8", .point = rectList, .reports = {{"di-8", 1, 1}}});
    add({.functions = "chooseColormap8", .point = newMemory, .to = 6, .reports = {{"di-1", 1, 1}}, .lists = any});
    add({.functions = "chooseColormap8",
         .point = newMemory,
         .reports = {{"di-1", 1, 1}},
         .status = 0,
         .left = Left::partial});
    add({.functions = "chooseColormap8", .point = createLookup, .status = 0, .left = Left::partial});

    // Summaries.
    add({.functions = "extrema*,histogram*",
         .point = storage,
         .role = Role::first,
         .to = 1,
         .reports = {{"di-9", 1, 0}}});
    add({.functions = "extrema*", .point = imageRoi, .role = Role::first, .reports = {{"di-6", 1, 0}}});
    add({.functions = "extrema*", .point = rectList, .reports = {{"di-8", 1, 0}}});
    add({.functions = "histogram*", .point = imageRoi, .role = Role::first, .reports = {{"di-6", 6, 0}}});
    add({.functions = "histogram*", .point = rectList, .reports = {{"di-8", 6, 0}}});
    allocations("extrema*,histogram*", {"di-1", 1, 1}, Left::nothing);
    add({.functions = "squeezerange*", .point = storage, .role = Role::first, .to = 1, .reports = {{"di-10", 1, 0}}});
    add({.functions = "squeezerange*", .point = systemState, .role = Role::first, .reports = {{"di-209", 0, 0}}});
    add({.functions = "squeezerange*", .point = imageRoi, .role = Role::first, .reports = {{"di-6", 0, 0}}});
    add({.functions = "squeezerange*", .point = rectList, .reports = {{"di-8", 0, 0}}});
    add({.functions = "squeezerange*", .point = newMemory, .reports = {{"di-1", 1, 1}}});
    add({.functions = "squeezerange*", .point = createLookup, .reports = {{"di-210", 1, 0}}, .lists = 1});

    // Floods. What was made is released; a shadow that finds no room is lost, and the flood goes on.
    storages("fill*,softfill*", 1, 0);
    list("fill*,softfill*", {"di-8", 1, 0});
    add({.functions = "fill*,softfill*", .point = createImage, .reports = {{"di-1", 1, 0}}, .left = Left::touched});
    add({.functions = "fill*,softfill*", .point = scratch, .reports = {{"di-1", 1, 0}}, .left = Left::touched});
    add({.functions = "fill*", .point = newMemory, .to = 4, .reports = {{"di-1", 1, 0}}, .left = Left::touched});
    add({.functions = "softfill*", .point = newMemory, .to = 5, .reports = {{"di-1", 1, 0}}, .left = Left::touched});

    // Stamps. The three-band form that finds no room lets the general one work.
    storages("paint*", 1, 0);
    add({.functions = "paint8 of three bands", .point = intersect, .to = 1, .reports = {{"di-7", 1, 0}}, .rois = any});
    imageRois("paint8 of three bands", {"di-7", 1, 0}, 0, any);
    add({.functions = "paint*", .point = intersect, .to = 1, .reports = {{"di-12", 6, 0}}, .rois = any});
    imageRois("paint*", {"di-12", 6, 0}, 0, any);
    add({.functions = "paint*", .point = createRoi, .reports = {{"di-1", 1, 0}}, .left = Left::partial, .rois = any});
    add({.functions = "paint8 of three bands",
         .point = intersect,
         .reports = {{"di-7", 1, 0}},
         .left = Left::partial,
         .rois = any});
    add({.functions = "paint*", .point = intersect, .reports = {{"di-12", 6, 0}}, .left = Left::partial, .rois = any});
    add({.functions = "paint*", .point = rectList, .reports = {{"di-8", 1, 0}}, .left = Left::partial, .rois = any});
    // The table of floats tells its own failure; the brush's table is the fast form's alone.
    add({.functions = "paint8 of three bands", .point = newMemory, .to = 1, .reports = {{"di-1", 1, 1}}, .rois = any});
    add({.functions = "paint8 of three bands", .point = newMemory, .status = 0, .left = Left::partial, .rois = any});
    add({.functions = "paint8 of three bands", .point = addRect, .status = 0, .left = Left::partial, .rois = any});
    add({.functions = "paint*", .point = addRect, .to = 1, .left = Left::partial, .rois = any});

    // Elsewhere too, memory that cannot be had is told, and what was written stays.
    for (const auto& [names, left] :
         {std::pair{"affine*,translate*,scale*,rotate*", Left::partial},
          {"tablewarp*,subsample*,ordereddither*,rescale*,addconst*,multiplyconst*,divide8,divide16,"
           "divideintoconst8,divideintoconst16",
           Left::touched}}) {
        add({.functions = names,
             .point = newMemory,
             .reports = {{"di-1", 1, 1}},
             .left = left,
             .lists = any,
             .rois = any});
    }
    return rows;
}

} // namespace

const std::vector<Row>& rows() {
    static const std::vector<Row> table = makeRows();
    return table;
}

} // namespace orvfaults
