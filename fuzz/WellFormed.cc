#include "WellFormed.h"

#include <algorithm>
#include <map>

#include "support/Calls.h"

namespace orvfuzz {
namespace {

using orvcase::Call;
using orvcase::Case;
using orvcase::Param;

constexpr unsigned mostSide = 300;
constexpr unsigned mostBands = 6;
constexpr std::size_t mostSamples = 1U << 16;

/// What a name stands for, or nothing.
enum class Thing { nothing, image, lookup, kernel, sel, mask, interp, histogram, space, floats, ulongs, slot };

Thing thingNamed(const Case& c, const std::string& name) {
    const auto has = [&](const auto& all) {
        return std::any_of(all.begin(), all.end(), [&](const auto& each) { return each.name == name; });
    };
    if (has(c.images)) return Thing::image;
    if (has(c.lookups)) return Thing::lookup;
    if (has(c.kernels)) return Thing::kernel;
    if (has(c.sels)) return Thing::sel;
    if (has(c.masks)) return Thing::mask;
    if (has(c.interps)) return Thing::interp;
    if (has(c.histograms)) return Thing::histogram;
    if (has(c.colorspaces)) return Thing::space;
    if (has(c.floats)) return Thing::floats;
    if (has(c.ulongs)) return Thing::ulongs;
    return has(c.slots) ? Thing::slot : Thing::nothing;
}

std::size_t valuesOf(const Case& c, const std::string& name) {
    for (const auto* arrays : {&c.floats, &c.ulongs}) {
        for (const auto& each : *arrays) {
            if (each.name == name) return each.data.size();
        }
    }
    return 0;
}

/// A call of each function as it should be: the shape that others are held against.
const std::map<std::string, Case>& patterns() {
    static const std::map<std::string, Case> made = [] {
        std::map<std::string, Case> all;
        for (const auto& f : orvmodel::functions()) all.emplace(f.path, orvmodel::randomCall(f, 1));
        return all;
    }();
    return made;
}

bool hasShapeOf(const Case& c, const std::vector<Param>& params, const Case& pattern,
                const std::vector<Param>& wanted) {
    if (params.size() != wanted.size()) return false;
    for (std::size_t i = 0; i < params.size(); ++i) {
        if (params[i].kind != wanted[i].kind) return false;
        if (params[i].kind != Param::Kind::reference) continue;
        if (thingNamed(c, params[i].name) != thingNamed(pattern, wanted[i].name)) return false;
    }
    return true;
}

/// How many values the op reads of a parameter's array at most.
std::size_t valuesRead(const std::string& op, const std::vector<Param>& params, std::size_t i, unsigned bands) {
    const auto counted = [&](std::size_t at) { return static_cast<std::size_t>(std::max(params.at(at).integer, 0L)); };
    if (op.starts_with("affine")) return 6;
    if (op.starts_with("paint") && i == 3) return 2 * counted(2);
    if (op.starts_with("softfill") && i == 4) return bands * counted(3);
    return bands;
}

bool arraysSuffice(const Case& c, const std::string& op, const std::vector<Param>& params, unsigned bands) {
    for (std::size_t i = 0; i < params.size(); ++i) {
        if (params[i].kind == Param::Kind::integer && (params[i].integer > 300 || params[i].integer < -300))
            return false;
        if (params[i].kind != Param::Kind::reference) continue;
        const Thing thing = thingNamed(c, params[i].name);
        if (thing != Thing::floats && thing != Thing::ulongs) continue;
        if (valuesOf(c, params[i].name) < valuesRead(op, params, i, bands)) return false;
    }
    return true;
}

bool sizesAreFair(const Case& c) {
    std::size_t samples = 0;
    for (const auto& image : c.images) {
        if (image.width == 0 || image.height == 0 || image.bands == 0 || image.bands > mostBands) return false;
        if (image.width > mostSide || image.height > mostSide || image.rowStride() > 8 * mostSide ||
            image.planeStride() > 64 * mostSide * mostSide || image.samplesPerPixel() < image.bands) {
            return false;
        }
        if (image.type != ORV_BIT && image.rowStride() < image.width * image.samplesPerPixel()) return false;
        if (image.type == ORV_BIT && 8 * image.rowStride() < image.width + image.offset) return false;
        if (image.type == ORV_FLOAT) return false;
        samples += image.sampleCount();
    }
    return samples <= mostSamples;
}

/// Tables that an op may read for as many bands as any image has.
bool tablesSuffice(const Case& c, unsigned bands) {
    for (const auto& lookup : c.lookups) {
        if (lookup.tables.empty() || (lookup.combined ? lookup.tables.size() < bands : lookup.bands < bands))
            return false;
        for (const auto& table : lookup.tables) {
            if (table.data.size() < lookup.bands || table.data.size() > mostSamples) return false;
        }
        if (lookup.cube && (lookup.cube->dimensions.size() < bands || lookup.cube->multipliers.size() < bands))
            return false;
    }
    for (const auto& kernel : c.kernels) {
        if (kernel.data.empty() || kernel.data.size() > 400) return false;
    }
    for (const auto& sel : c.sels) {
        if (sel.data.empty() || sel.data.size() > 400) return false;
    }
    for (const auto& mask : c.masks) {
        if (mask.data.empty() || mask.data.size() > 4000) return false;
    }
    for (const auto& interp : c.interps) {
        if (interp.data.empty() || interp.data.size() > 4000) return false;
    }
    for (const auto& histogram : c.histograms) {
        std::size_t counters = 1;
        for (const unsigned bins : histogram.bins) counters *= std::min<std::size_t>(bins, mostSamples);
        if (counters == 0 || counters > mostSamples || histogram.bins.size() > 3) return false;
    }
    return true;
}

bool typesAre(const Case& c, const Call& call, const Case& pattern) {
    const Call& wanted = std::get<Call>(pattern.steps.front());
    const auto fits = [&](const std::string& name, const std::string& model) {
        if (name.empty() != model.empty()) return false;
        if (name.empty()) return true;
        if (thingNamed(c, name) != Thing::image) return false;
        // One op takes bytes and shorts alike.
        return call.op == "colorconvert" || c.image(name).type == pattern.image(model).type;
    };
    for (std::size_t i = 0; i < call.src.size(); ++i) {
        if (!fits(call.src[i], wanted.src[i])) return false;
    }
    return fits(call.dst, wanted.dst);
}

bool isWellFormed(const Case& c, const Call& call, unsigned bands) {
    const orvcase::Chain* chain = nullptr;
    for (const auto& each : c.chains) {
        if (each.name == call.op1) chain = &each;
    }
    if (!call.op1.empty() && chain == nullptr) return false;
    const auto found = patterns().find(chain != nullptr ? call.op + '/' + chain->op : call.op);
    if (found == patterns().end()) return false;
    const Case& pattern = found->second;
    const Call& wanted = std::get<Call>(pattern.steps.front());
    if (!typesAre(c, call, pattern) || !hasShapeOf(c, call.params, pattern, wanted.params)) return false;
    if (!arraysSuffice(c, call.op, call.params, bands)) return false;
    if (chain == nullptr) return true;
    const orvcase::Chain& model = pattern.chains.front();
    for (std::size_t i = 0; i < chain->src.size(); ++i) {
        if (chain->src[i].empty() != model.src[i].empty()) return false;
        if (!chain->src[i].empty() && (thingNamed(c, chain->src[i]) != Thing::image ||
                                       c.image(chain->src[i]).type != pattern.image(model.src[i]).type)) {
            return false;
        }
    }
    return hasShapeOf(c, chain->params, pattern, model.params) && arraysSuffice(c, chain->op, chain->params, bands);
}

} // namespace

bool wellFormed(const Case& c) {
    if (!sizesAreFair(c)) return false;
    unsigned bands = 1;
    for (const auto& image : c.images) bands = std::max(bands, image.bands);
    if (!tablesSuffice(c, bands)) return false;
    return std::all_of(c.steps.begin(), c.steps.end(), [&](const orvcase::Step& step) {
        const auto* call = std::get_if<Call>(&step);
        return call == nullptr || isWellFormed(c, *call, bands);
    });
}

} // namespace orvfuzz
