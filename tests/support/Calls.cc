#include "Calls.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace orvmodel {
namespace {

using orvcase::Call;
using orvcase::Image;
using orvcase::Param;
using orvcase::Values;

const char* digits(OrvDataType type) { return type == ORV_BIT ? "1" : type == ORV_BYTE ? "8" : "16"; }

/// Few, and now and then more than any op treats apart.
unsigned bandsOf(Maker& m) { return m.random.chance(4) ? 6 + m.random.below(5) : m.bands(); }

Param ref(const char* name) { return Param::ref(name); }

/// A constant, bound or colour near the type's range, at times far beyond it.
double constant(Maker& m, OrvDataType type) {
    if (m.random.chance(4)) return static_cast<double>(m.random.pick({1e30F, -1e30F, 70000.0F, -0.25F, std::nanf("")}));
    const auto low = static_cast<float>(lowest(type));
    const auto high = static_cast<float>(highest(type));
    if (m.random.chance(40)) return static_cast<double>(m.random.real(low - high / 4, high * 1.25F));
    return std::floor(static_cast<double>(m.random.real(low, high + 1)));
}

Values constants(Maker& m, OrvDataType type, unsigned count) {
    Values values(count);
    for (double& value : values) value = constant(m, type);
    return values;
}

Values reals(Maker& m, unsigned count, float low, float high) {
    Values values(count);
    for (double& value : values) value = static_cast<double>(m.random.real(low, high));
    return values;
}

/// The destination `d` and the source `s`, which are one image at times.
void inAndOut(Maker& m, const Function& f, unsigned bands) {
    const std::string d = m.image("d", f.to, bands);
    Call call{.op = f.path, .src = {m.source("s", f.from, bands, d)}, .dst = d};
    m.c.addCall(std::move(call));
}

Call& onlyCall(Maker& m) { return std::get<Call>(m.c.steps.back()); }

/// Two different images; at times one, which then is read as it has become.
void apart(Maker& m, const Function& f, unsigned bands) {
    const std::string d = m.image("d", f.to, bands);
    if (f.from == f.to && m.random.chance(5)) {
        m.c.addCall({.op = f.path, .src = {d}, .dst = d});
        return;
    }
    m.c.addCall({.op = f.path, .src = {m.image("s", f.from, bands)}, .dst = d});
}

void unary(Maker& m, const Function& f) { inAndOut(m, f, bandsOf(m)); }

void pair(Maker& m, const Function& f) {
    const unsigned bands = bandsOf(m);
    inAndOut(m, f, bands);
    const std::string second = m.source("t", f.from, bands, "d");
    onlyCall(m).src[1] = second;
}

void withConstants(Maker& m, const Function& f) {
    const unsigned bands = bandsOf(m);
    inAndOut(m, f, bands);
    onlyCall(m).params = {m.floats("k", constants(m, f.to, bands))};
}

void withBits(Maker& m, const Function& f) {
    const unsigned bands = bandsOf(m);
    inAndOut(m, f, bands);
    Values bits(bands);
    for (double& each : bits) each = m.random.chance(50) ? m.random.below(4) : m.random.below(70000);
    onlyCall(m).params = {m.ulongs("k", bits)};
}

void rescale(Maker& m, const Function& f) {
    const unsigned bands = bandsOf(m);
    inAndOut(m, f, bands);
    const bool alike = m.random.chance(30);
    const Param factors = m.floats("k", alike ? Values(bands, 1.5) : reals(m, bands, -2, 3));
    if (m.random.chance(20)) {
        onlyCall(m).params = {factors, Param::null()};
        return;
    }
    onlyCall(m).params = {factors, m.floats("o", alike ? Values(bands, 2) : constants(m, f.to, bands))};
}

std::vector<Param> bounds(Maker& m, OrvDataType type, unsigned bands, const std::string& suffix) {
    Values low = constants(m, type, bands);
    Values high = constants(m, type, bands);
    for (unsigned b = 0; b < bands; ++b) {
        if (low[b] > high[b]) std::swap(low[b], high[b]);
    }
    const Param lowest = m.floats("low" + suffix, low);
    const Param highest = m.floats("high" + suffix, high);
    return {lowest, highest, m.floats("map" + suffix, constants(m, type, bands))};
}

void thresholdOf(Maker& m, const Function& f, unsigned bands) {
    inAndOut(m, f, bands);
    onlyCall(m).params = bounds(m, f.from, bands, "");
}
void threshold(Maker& m, const Function& f) { thresholdOf(m, f, m.random.pick({2U, 3U, 4U})); }
void thresholdOneBand(Maker& m, const Function& f) { thresholdOf(m, f, 1); }

std::string lastOp(const Function& f) { return f.path.substr(0, f.path.find('/')); }
std::string earlierOp(const Function& f) { return f.path.substr(f.path.find('/') + 1); }

void twoThresholds(Maker& m, const Function& f) {
    thresholdOf(m, f, bandsOf(m));
    Call& call = onlyCall(m);
    const unsigned bands = m.c.image(call.dst).bands;
    m.c.chains.push_back(
        {.name = "first", .op = earlierOp(f), .src = {call.src[0]}, .params = bounds(m, f.from, bands, "1")});
    call.op = lastOp(f);
    call.src = {};
    call.op1 = "first";
}

void productAndSum(Maker& m, const Function& f) {
    pair(m, f);
    Call& call = onlyCall(m);
    const unsigned bands = m.c.image("d").bands;
    m.c.chains.push_back({.name = "first", .op = earlierOp(f), .src = {call.src[0], call.src[1]}});
    call.op = lastOp(f);
    call.op1 = "first";
    call.src = {"", m.source("u", f.from, bands, "d")};
}

void addKernel(Maker& m, const char* name, unsigned width, unsigned height, Values data) {
    m.c.kernels.push_back({.name = name,
                           .width = width,
                           .height = height,
                           .keyX = m.random.below(width + (m.random.chance(10) ? 3 : 0)),
                           .keyY = m.random.below(height + (m.random.chance(10) ? 3 : 0)),
                           .data = std::move(data)});
}

void combineBands(Maker& m, const Function& f) {
    const unsigned in = bandsOf(m);
    const unsigned out = bandsOf(m);
    const std::string d = m.image("d", f.to, out);
    m.c.addCall({.op = f.path, .src = {m.image("s", f.from, in)}, .dst = d, .params = {ref("k")}});
    m.c.kernels.push_back({.name = "k", .width = in + 1, .height = out, .data = reals(m, (in + 1) * out, -1, 1.5F)});
}

void blackGeneration(Maker& m, const Function& f) {
    inAndOut(m, f, 4);
    onlyCall(m).params = {Param::f(m.random.real(0, 1)), Param::f(m.random.real(0, 1.2F))};
}

void blend(Maker& m, const Function& f) {
    const Function images{.path = f.path, .name = f.name, .from = f.from, .to = f.from};
    pair(m, images);
    const std::string alpha = m.image("m", f.to, 1);
    onlyCall(m).src[2] = alpha;
    // Stretches of one alpha.
    if (!m.random.chance(40) || m.c.image(alpha).data.empty()) return;
    const double value = m.random.chance(50) ? 0 : highest(f.to);
    for (double& sample : m.c.image(alpha).data) sample = m.random.between(1, 1000) < 999 ? value : sample;
}

void chooseColormap(Maker& m, const Function& f) {
    m.largest = 12; // the search for a palette takes its time whatever the picture
    m.c.addCall(
        {.op = f.path, .src = {m.image("s", f.from, 3)}, .params = {ref("slot"), Param::l(m.random.between(1, 20))}});
    m.c.slots.push_back({.name = "slot"});
}

void colorConvert(Maker& m, const Function& f) {
    static constexpr std::array<unsigned, 10> bandsOf = {3, 3, 3, 3, 3, 1, 1, 1, 3, 4};
    const OrvDataType type = m.random.pick({ORV_BYTE, ORV_SHORT});
    const unsigned from = m.random.below(10);
    const unsigned to = m.random.below(10);
    const std::string d = m.image("d", type, bandsOf[to]);
    const std::string s = m.source("s", type, bandsOf[from], d);
    m.c.colorspaces = {{.name = "from", .space = orvcase::colorspaceNames()[from]},
                       {.name = "to", .space = orvcase::colorspaceNames()[to]}};
    m.c.addCall({.op = f.path, .src = {s}, .dst = d, .params = {ref("from"), ref("to")}});
}

Values taps(Maker& m, unsigned count) {
    if (m.random.chance(20)) return Values(count, 1.0 / count);
    return reals(m, count, -0.4F, 0.8F);
}

void convolve(Maker& m, const Function& f) {
    apart(m, f, bandsOf(m));
    const unsigned side = m.random.pick({3U, 5U, 1U, 2U, 4U, 7U, 3U, 5U, 13U});
    const unsigned height = m.random.chance(70) ? side : 1 + m.random.below(6);
    addKernel(m, "k", side, height, taps(m, side * height));
    onlyCall(m).params = {ref("k"), Param::l(m.random.between(0, 2))};
}

void twoConvolutions(Maker& m, const Function& f) {
    apart(m, f, bandsOf(m));
    const bool rowFirst = m.random.chance(50);
    addKernel(m, "k", rowFirst ? 5 : 1, rowFirst ? 1 : 5, taps(m, 5));
    addKernel(m, "l", rowFirst ? 1 : 5, rowFirst ? 5 : 1, taps(m, 5));
    Call& call = onlyCall(m);
    const auto params = [](const char* kernel) { return std::vector<Param>{ref(kernel), Param::l(1)}; };
    m.c.chains.push_back({.name = "first", .op = earlierOp(f), .src = {call.src[0]}, .params = params("k")});
    call.op = lastOp(f);
    call.src = {};
    call.op1 = "first";
    call.params = params("l");
}

/// Both images lie in one: the copy overlaps itself.
void overlappingCopy(Maker& m, const Function& f) {
    m.children = m.origins = false;
    const unsigned bands = bandsOf(m);
    const unsigned width = 3 + m.random.below(50);
    const std::string all = m.image("p", f.from, bands, width, 3 + m.random.below(12));
    const Image parent = m.c.image(all);
    for (const char* name : {"s", "d"}) {
        Image child{.name = name, .type = f.from, .bands = parent.bands, .parent = all};
        child.atX = m.random.below(parent.width - 1);
        child.atY = m.random.below(parent.height - 1);
        child.width = 1 + m.random.below(parent.width - child.atX);
        child.height = 1 + m.random.below(parent.height - child.atY);
        if (m.random.chance(30)) child.roi = m.region(child.width, child.height);
        m.c.images.push_back(child);
    }
    m.c.addCall({.op = f.path, .src = {"s"}, .dst = "d"});
}

void copy(Maker& m, const Function& f) { m.random.chance(40) ? overlappingCopy(m, f) : inAndOut(m, f, bandsOf(m)); }

void copyPattern(Maker& m, const Function& f) {
    const unsigned bands = bandsOf(m);
    const std::string d = m.image("d", f.to, bands);
    const unsigned width = 1 + m.random.below(9);
    const std::string s = m.image("s", f.from, bands, width, 1 + m.random.below(6));
    m.c.addCall({.op = f.path, .src = {s}, .dst = d});
}

void setValue(Maker& m, const Function& f) {
    const unsigned bands = bandsOf(m);
    m.c.addCall({.op = f.path, .dst = m.image("d", f.to, bands), .params = {m.floats("v", constants(m, f.to, bands))}});
}

void sobel(Maker& m, const Function& f) { apart(m, f, bandsOf(m)); }

void morphology(Maker& m, const Function& f) {
    apart(m, f, bandsOf(m));
    const unsigned most = m.random.chance(10) ? 40 : 6;
    const unsigned width = 1 + m.random.below(most);
    const unsigned height = 1 + m.random.below(most);
    orvcase::Sel element{
        .name = "e", .width = width, .height = height, .keyX = m.random.below(width), .keyY = m.random.below(height)};
    const unsigned odds = m.random.pick({100U, 60U, 20U});
    for (unsigned i = 0; i < width * height; ++i)
        element.data.push_back(m.random.chance(odds) ? 1 + m.random.below(3) : 0);
    m.c.sels.push_back(element);
    onlyCall(m).params = {ref("e")};
}

void addColors(Maker& m, OrvDataType in, OrvDataType out, unsigned bands, unsigned entries, bool offset) {
    orvcase::Lookup map{.name = "map", .in = in, .out = out, .bands = bands};
    orvcase::Lookup::Table table;
    table.offset = static_cast<short>(offset ? m.random.between(-300, 300) : 0);
    table.data = m.samples(out == ORV_BIT ? ORV_BYTE : out, std::size_t{entries} * bands);
    if (out == ORV_BIT) {
        for (double& v : table.data) v = v > 127 ? 255 : 0;
    }
    map.tables.push_back(std::move(table));
    m.c.lookups.push_back(std::move(map));
}

unsigned entriesFor(Maker& m, OrvDataType to) {
    if (to == ORV_BIT) return 1 + m.random.below(2);
    return m.random.chance(60) ? 1 + m.random.below(8) : 1 + m.random.below(256);
}

void addDiffusionKernel(Maker& m) {
    if (m.random.chance(40)) {
        m.c.kernels.push_back({.name = "k",
                               .width = 3,
                               .height = 2,
                               .keyX = 1,
                               .label = "floyd-steinberg",
                               .data = {0, 0, 7.0 / 16, 3.0 / 16, 5.0 / 16, 1.0 / 16}});
        return;
    }
    orvcase::Kernel kernel{.name = "k", .width = 1 + m.random.below(5), .height = 1 + m.random.below(4)};
    kernel.keyX = m.random.below(kernel.width);
    kernel.keyY = m.random.below(std::min(kernel.height, 2U));
    for (unsigned i = 0; i < kernel.width * kernel.height; ++i) {
        const bool weighs = i > kernel.keyY * kernel.width + kernel.keyX && m.random.chance(80);
        kernel.data.push_back(weighs ? static_cast<double>(m.random.real(0, 0.4F)) : 0);
    }
    m.c.kernels.push_back(kernel);
}

/// A quantiser's images: any bands in, an index out.
unsigned quantised(Maker& m, const Function& f) {
    const unsigned bands = bandsOf(m);
    const std::string d = m.image("d", f.to, 1);
    m.c.addCall({.op = f.path, .src = {m.source("s", f.from, bands, d)}, .dst = d});
    return bands;
}

void errorDiffusion(Maker& m, const Function& f) {
    const unsigned bands = quantised(m, f);
    const unsigned entries = entriesFor(m, f.to);
    addColors(m, f.to, f.from, bands, entries, m.random.chance(40));
    addDiffusionKernel(m);
    onlyCall(m).params = {ref("map"), ref("k")};
}

void nearestColor(Maker& m, const Function& f) {
    const unsigned bands = quantised(m, f);
    const OrvDataType colors = f.from == ORV_SHORT ? m.random.pick({ORV_SHORT, ORV_BYTE}) : ORV_BYTE;
    const unsigned entries = entriesFor(m, f.to);
    addColors(m, f.from, colors, bands, entries, m.random.chance(40));
    onlyCall(m).params = {ref("map")};
}

void addCube(Maker& m, const Function& f, unsigned bands) {
    orvcase::Lookup lookup{.name = "map", .in = f.from, .out = f.from, .bands = bands, .tables = {{}}};
    lookup.cube = randomCube(m, bands, f.from == ORV_BYTE && f.to == ORV_BIT ? 2 : 6);
    lookup.tables[0].data.assign(bands, 0);
    m.c.lookups.push_back(lookup);
}

void nearestCube(Maker& m, const Function& f) {
    addCube(m, f, quantised(m, f));
    onlyCall(m).params = {ref("map")};
}

void nearest(Maker& m, const Function& f) { m.random.chance(15) ? nearestCube(m, f) : nearestColor(m, f); }

void orderedDither(Maker& m, const Function& f) {
    const unsigned bands = quantised(m, f);
    addCube(m, f, bands);
    const bool square = m.random.chance(60);
    orvcase::Mask mask{.name = "k"};
    mask.width = square ? m.random.pick({4U, 8U}) : 1 + m.random.below(9);
    mask.height = square ? mask.width : 1 + m.random.below(9);
    mask.bands = bands;
    mask.data = reals(m, mask.width * mask.height * bands, 0, 1);
    m.c.masks.push_back(mask);
    onlyCall(m).params = {ref("map"), ref("k")};
}

Param skip(Maker& m) { return Param::l(m.random.chance(60) ? 1 : m.random.between(1, 5)); }

void extrema(Maker& m, const Function& f) {
    const unsigned bands = bandsOf(m);
    const std::string s = m.image("s", f.from, bands);
    const Param largest = m.floats("largest", Values(bands, -7));
    m.c.addCall({.op = f.path, .src = {s}, .params = {largest, m.floats("smallest", Values(bands, -7))}});
}

void histogram(Maker& m, const Function& f) {
    const unsigned bands = m.random.pick({1U, 1U, 2U, 3U});
    const std::string s = m.image("s", f.from, bands);
    orvcase::Histogram counts{.name = "h"};
    for (unsigned b = 0; b < bands; ++b) {
        counts.bins.push_back(1 + m.random.below(12));
        counts.low.push_back(static_cast<float>(lowest(f.from)) + m.random.real(0, 3));
        counts.high.push_back(static_cast<float>(highest(f.from)) - m.random.real(0, 3));
    }
    m.c.histograms.push_back(counts);
    const Param x = skip(m);
    m.c.addCall({.op = f.path, .src = {s}, .params = {ref("h"), x, skip(m)}});
}

void squeezeRange(Maker& m, const Function& f) {
    m.c.addCall({.op = f.path, .src = {m.image("s", f.from, 1)}, .params = {ref("slot")}});
    m.c.slots.push_back({.name = "slot"});
}

Param seed(Maker& m, unsigned size, float origin) {
    return Param::f(static_cast<float>(m.random.between(0, static_cast<long>(size) - 1)) - std::trunc(origin));
}

/// A picture of few values, so that a flood runs somewhere.
void thinOut(Maker& m, const std::string& name) {
    const unsigned odds = m.random.pick({5U, 20U, 50U});
    for (double& sample : m.c.image(name).data) sample = m.random.chance(odds) ? 1 : 0;
}

/// Images for a flood, and where it begins.
struct Flood {
    unsigned bands;
    Param x = {};
    Param y = {};

    Flood(Maker& m, const Function& f) : bands(bandsOf(m)) {
        inAndOut(m, f, bands);
        const Image source = m.c.image(onlyCall(m).src[0]);
        thinOut(m, source.parent.empty() ? source.name : source.parent);
        x = seed(m, source.width, source.originX);
        y = seed(m, source.height, source.originY);
    }
};

void fill(Maker& m, const Function& f) {
    const auto [bands, x, y] = Flood(m, f);
    const Param boundary = m.floats("boundary", Values(bands, 1));
    onlyCall(m).params = {x, y, boundary, m.floats("colour", constants(m, f.to, bands))};
}

void softFill(Maker& m, const Function& f) {
    const auto [bands, x, y] = Flood(m, f);
    const Param foreground = m.floats("foreground", Values(bands, m.random.chance(50) ? 1 : 0));
    const unsigned backs = 1 + m.random.below(3);
    const Param backgrounds = m.floats("backgrounds", reals(m, backs * bands, 0, 2));
    onlyCall(m).params = {x,           y,
                          foreground,  Param::l(static_cast<long>(backs)),
                          backgrounds, m.floats("colour", constants(m, f.to, bands))};
}

std::vector<Param> weights(Maker& m) {
    for (const char* name : {"h", "v"}) {
        orvcase::Interp table{.name = name, .size = 1 + m.random.below(6), .subsamples = 1 + m.random.below(16)};
        table.data = reals(m, table.size * table.subsamples, -0.4F, 1);
        m.c.interps.push_back(table);
    }
    return {ref("h"), ref("v")};
}

float factor(Maker& m) {
    if (m.random.chance(60)) return m.random.pick({2.0F, 0.5F, 2.0F, 0.5F, 0.25F, 1.0F, 1.5F, 3.0F, -1.0F});
    return m.random.real(0.2F, 2.5F);
}

std::vector<Param> transform(Maker& m, const std::string& op) {
    if (op.starts_with("rotate")) return {Param::f(m.random.chance(30) ? 1.5707964F : m.random.real(-3.2F, 3.2F))};
    if (op.starts_with("scale")) {
        const float x = factor(m);
        return {Param::f(x), Param::f(m.random.chance(50) ? x : factor(m))};
    }
    if (op.starts_with("translate")) return {Param::f(m.random.real(-6, 6)), Param::f(m.random.real(-6, 6))};
    Values matrix = reals(m, 6, -1.5F, 1.5F);
    matrix[4] *= 8;
    matrix[5] *= 8;
    return {m.floats("m", std::move(matrix))};
}

void geometry(Maker& m, const Function& f) {
    apart(m, f, bandsOf(m));
    if (m.random.chance(20)) m.c.image("d").io = true;
    Call& call = onlyCall(m);
    call.params = transform(m, f.path);
    if (!f.path.ends_with("general")) return;
    if (call.params.size() == 1) call.params.push_back(Param::null());
    for (Param& each : weights(m)) call.params.push_back(std::move(each));
}

void tableWarp(Maker& m, const Function& f) {
    apart(m, f, bandsOf(m));
    const bool both = f.path.starts_with("tablewarp1") || f.path.starts_with("tablewarp8");
    const std::string table = m.image("t", ORV_SHORT, both ? 2 : 1 + m.random.below(2));
    const Image made = m.c.image(table);
    const long reach = m.random.pick({0L, 20L, 60L, 400L});
    for (double& v : m.c.image(made.parent.empty() ? table : made.parent).data) {
        v = static_cast<double>(m.random.between(-reach, reach));
    }
    Call& call = onlyCall(m);
    call.src[1] = table;
    if (!f.path.ends_with("general")) return;
    call.params = {Param::null(), Param::null()};
    for (Param& each : weights(m)) call.params.push_back(std::move(each));
}

void transpose(Maker& m, const Function& f) {
    apart(m, f, bandsOf(m));
    onlyCall(m).params = {Param::l(m.random.between(0, 6))};
}

void subsample(Maker& m, const Function& f) {
    apart(m, f, bandsOf(m));
    if (m.random.chance(20)) m.c.image("d").io = true;
    const float x = m.random.pick({0.5F, 0.25F, 0.333F, 1.0F, m.random.real(0.1F, 1)});
    onlyCall(m).params = {Param::f(x), Param::f(m.random.chance(60) ? x : m.random.real(0.1F, 1))};
}

void lookup(Maker& m, const Function& f) {
    const unsigned bands = m.random.pick({1U, 1U, 2U, 3U});
    inAndOut(m, f, bands);
    orvcase::Lookup table{.name = "map", .in = f.from, .out = f.to, .combined = m.random.chance(50)};
    for (unsigned b = 0; b < (table.combined ? bands : 1U); ++b) {
        const bool whole = f.from == ORV_SHORT && m.random.chance(12);
        const unsigned some = m.random.chance(40) ? 256 : 1 + m.random.below(300);
        const unsigned entries = f.from == ORV_BIT ? 2 : whole ? 65536 : some;
        const long near = f.from == ORV_SHORT ? m.random.between(-300, 300) : m.random.between(0, 9);
        const long offset = whole && m.random.chance(70) ? -32768 : near;
        table.tables.push_back({static_cast<short>(f.from == ORV_BIT ? 0 : offset), m.samples(f.to, entries)});
    }
    m.c.lookups.push_back(std::move(table));
    onlyCall(m).params = {ref("map")};
}

void paintBands(Maker& m, const Function& f, unsigned bands) {
    inAndOut(m, f, bands);
    const unsigned width = 1 + m.random.below(12);
    const unsigned height = 1 + m.random.below(9);
    addKernel(m, "brush", width, height, reals(m, width * height, 0, 1));
    const Image image = m.c.image("d");
    const long stamps = m.random.between(0, 4);
    Values places;
    for (long i = 0; i < std::max(stamps, 1L); ++i) {
        places.push_back(static_cast<double>(m.random.real(-5, static_cast<float>(image.width) + 5)));
        places.push_back(static_cast<double>(m.random.real(-5, static_cast<float>(image.height) + 5)));
    }
    const Param colour = m.floats("colour", constants(m, f.to, bands));
    onlyCall(m).params = {colour, ref("brush"), Param::l(stamps), m.floats("places", places)};
}
void paint(Maker& m, const Function& f) { paintBands(m, f, m.random.pick({1U, 2U, 4U})); }
void paintThreeBands(Maker& m, const Function& f) { paintBands(m, f, 3); }

constexpr std::array<OrvDataType, 3> types = {ORV_BIT, ORV_BYTE, ORV_SHORT};

class Table {
public:
    using Make = void (*)(Maker&, const Function&);

    void add(const std::string& path, OrvDataType from, OrvDataType to, Make make, const char* special = "") {
        all.push_back({path, path + special, from, to, make});
    }
    /// The same kind of op for all types, or for those of some digits.
    void each(const std::string& stem, Make make, const std::string& end = {}, bool bits = true) {
        for (const OrvDataType type : types) {
            if (bits || type != ORV_BIT) add(stem + digits(type) + end, type, type, make);
        }
    }
    /// Members with a type on either side: stem8_16.
    void across(const std::string& stem, const char* between, Make make) {
        for (const OrvDataType from : types) {
            for (const OrvDataType to : types) add(stem + digits(from) + between + digits(to), from, to, make);
        }
    }

    std::vector<Function> all;
};

std::vector<Function> makeTable() {
    Table t;
    for (const char* stem : {"add", "subtract", "multiply", "divide", "and", "or", "xor"}) t.each(stem, pair);
    for (const char* stem : {"max", "min"}) t.each(stem, pair, "", false);
    for (const char* stem : {"addconst", "subtractfromconst", "multiplyconst", "divideintoconst"}) {
        t.each(stem, withConstants);
    }
    for (const char* stem : {"andconst", "orconst", "xorconst", "copy_with_planemask"}) t.each(stem, withBits);
    t.add("absolute16", ORV_SHORT, ORV_SHORT, unary);
    t.each("not", unary);
    t.each("rescale", rescale);
    t.each("bandCombine", combineBands);
    t.each("blackgeneration", blackGeneration, "", false);
    t.across("blend", "a", blend);
    t.add("chooseColormap8", ORV_BYTE, ORV_BYTE, chooseColormap);
    t.add("colorconvert", ORV_BYTE, ORV_BYTE, colorConvert);
    for (const OrvDataType from : types) {
        for (const OrvDataType to : types) {
            if (from != to) t.add(std::string("convert") + digits(from) + "_" + digits(to), from, to, unary);
        }
    }
    t.each("convolve", convolve);
    t.add("convolve8/convolve8", ORV_BYTE, ORV_BYTE, twoConvolutions);
    t.add("convolve16/convolve16", ORV_SHORT, ORV_SHORT, twoConvolutions);
    t.each("copy", copy);
    t.each("copypattern", copyPattern);
    for (const char* stem : {"dilate", "erode"}) t.each(stem, morphology);
    t.across("errordiffusion", "_", errorDiffusion);
    t.each("extrema", extrema);
    t.each("fill", fill);
    t.each("softfill", softFill);
    for (const char* stem : {"affine", "translate", "scale", "rotate"}) {
        for (const char* way : {"nearest", "bilinear", "bicubic", "general"}) t.each(stem, geometry, way);
    }
    t.each("histogram", histogram);
    t.across("lookup", "_", lookup);
    t.add("add8/multiply8", ORV_BYTE, ORV_BYTE, productAndSum);
    t.across("nearestcolor", "_", nearest);
    t.across("ordereddither", "_", orderedDither);
    t.each("paint", paint);
    t.add("paint8", ORV_BYTE, ORV_BYTE, paintThreeBands, " of three bands");
    t.each("setvalue", setValue);
    t.each("edge_detect_sobel", sobel);
    t.each("squeezerange", squeezeRange);
    t.add("subsample1_8", ORV_BIT, ORV_BYTE, subsample);
    t.each("subsampleAdaptive", subsample);
    for (const char* form : {"tablewarp", "tablewarph", "tablewarpv"}) {
        for (const char* way : {"nearest", "bilinear", "bicubic", "general"}) t.each(form, tableWarp, way);
    }
    t.each("threshold", threshold);
    t.add("threshold8", ORV_BYTE, ORV_BYTE, thresholdOneBand, " of one band");
    t.add("threshold8/threshold8", ORV_BYTE, ORV_BYTE, twoThresholds);
    t.add("threshold16/threshold16", ORV_SHORT, ORV_SHORT, twoThresholds);
    t.each("transpose", transpose);
    return std::move(t.all);
}

} // namespace

const std::vector<Function>& functions() {
    static const std::vector<Function> table = makeTable();
    return table;
}

orvcase::ColorCube randomCube(Maker& maker, unsigned bands, unsigned mostLevels) {
    orvcase::ColorCube cube;
    cube.origin = static_cast<short>(maker.random.chance(50) ? 0 : maker.random.between(-20, 300));
    int multiplier = 1;
    for (unsigned band = 0; band < bands; ++band) {
        const unsigned levels = 2 + maker.random.below(mostLevels - 1);
        cube.dimensions.push_back(levels);
        cube.multipliers.push_back(maker.random.chance(20) ? -multiplier : multiplier);
        multiplier *= static_cast<int>(levels);
    }
    return cube;
}

orvcase::Case randomCall(const Function& function, std::uint64_t seed) {
    Maker maker(seed);
    if (maker.random.chance(6)) maker.widen();
    function.make(maker, function);
    maker.c.name = "seed_" + std::to_string(seed);
    return std::move(maker.c);
}

orvcase::Case randomCall(std::uint64_t seed) { return randomCall(functions()[seed % functions().size()], seed); }

} // namespace orvmodel
