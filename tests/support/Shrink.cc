#include <algorithm>
#include <stdexcept>

#include "support/ModelKit.h"

namespace orvmodel {
namespace {

using orvcase::Case;
using orvcase::Image;

bool hasChild(const Case& c, const Image& image) {
    return std::any_of(c.images.begin(), c.images.end(), [&](const Image& i) { return i.parent == image.name; });
}

/// Cuts the image to its upper left part; the strides fall back to their defaults.
void cut(Image& image, unsigned width, unsigned height) {
    orvcase::Values data;
    for (unsigned row = 0; row < height && !image.data.empty(); ++row) {
        for (unsigned column = 0; column < width; ++column) {
            for (unsigned band = 0; band < image.bands; ++band) data.push_back(image.at(column, row, band));
        }
    }
    image.width = width;
    image.height = height;
    image.data = std::move(data);
    image.stride.reset();
    image.bandStride.reset();
}

bool ofAll(Case& c, const std::function<bool(Image&)>& change) {
    bool changed = false;
    for (Image& image : c.images) changed = change(image) || changed;
    return changed;
}

bool zero(orvcase::Values& values, std::size_t from, std::size_t to) {
    bool changed = false;
    for (std::size_t i = from; i < to; ++i) {
        changed = changed || values[i] != 0;
        values[i] = 0;
    }
    return changed;
}

/// One change to all images at once: sizes and origins belong together.
const std::vector<std::function<bool(Case&)>>& wholeChanges() {
    static const std::vector<std::function<bool(Case&)>> changes = {
        [](Case& c) {
            return ofAll(c, [&](Image& i) {
                if (i.width == 1 || hasChild(c, i) || !i.parent.empty()) return false;
                cut(i, (i.width + 1) / 2, i.height);
                return true;
            });
        },
        [](Case& c) {
            return ofAll(c, [&](Image& i) {
                if (i.height == 1 || hasChild(c, i) || !i.parent.empty()) return false;
                cut(i, i.width, (i.height + 1) / 2);
                return true;
            });
        },
        [](Case& c) {
            return ofAll(c, [](Image& i) {
                const bool changed = i.originX != 0 || i.originY != 0;
                i.originX = i.originY = 0;
                return changed;
            });
        },
    };
    return changes;
}

const std::vector<std::function<bool(Case&, Image&)>>& imageChanges() {
    static const std::vector<std::function<bool(Case&, Image&)>> changes = {
        [](Case& c, Image& i) {
            if (i.width == 1 || hasChild(c, i)) return false;
            cut(i, i.width - 1, i.height);
            return true;
        },
        [](Case& c, Image& i) {
            if (i.height == 1 || hasChild(c, i)) return false;
            cut(i, i.width, i.height - 1);
            return true;
        },
        [](Case&, Image& i) {
            const bool changed = i.roi.has_value();
            i.roi.reset();
            return changed;
        },
        [](Case&, Image& i) {
            const bool changed = i.stride || i.pixelStride || i.bandStride || i.offset != 0;
            i.stride.reset();
            i.pixelStride.reset();
            i.bandStride.reset();
            i.offset = 0;
            return changed;
        },
        [](Case&, Image& i) {
            const bool changed = i.originX != 0 || i.originY != 0;
            i.originX = i.originY = 0;
            return changed;
        },
        [](Case& c, Image& i) { // a child becomes an image of its own
            if (i.parent.empty() || hasChild(c, i)) return false;
            Scene scene(c);
            for (unsigned row = 0; row < i.height; ++row) {
                for (unsigned column = 0; column < i.width; ++column) {
                    for (unsigned band = 0; band < i.bands; ++band) {
                        i.data.push_back(scene.sample(i.name, column, row, band));
                    }
                }
            }
            i.parent.clear();
            i.atX = i.atY = i.atBand = 0;
            return true;
        },
    };
    return changes;
}

class Shrinker {
public:
    Shrinker(Case c, const std::function<bool(Case&)>& fails) : case_(std::move(c)), fails_(fails) {}

    Case shrink() {
        for (bool smaller = true; smaller && tries_ < mostTries;) {
            smaller = false;
            for (const auto& change : wholeChanges()) smaller = repeat(change) || smaller;
            for (std::size_t i = 0; i < case_.images.size(); ++i) {
                for (const auto& change : imageChanges()) {
                    smaller = repeat([&](Case& c) { return change(c, c.images[i]); }) || smaller;
                }
                smaller = dropRects(i) || smaller;
                smaller = zeroSamples(i) || smaller;
            }
            smaller = dropImages() || smaller;
        }
        return std::move(case_);
    }

private:
    static constexpr unsigned mostTries = 3000;

    bool attempt(const std::function<bool(Case&)>& change) {
        if (++tries_ > mostTries) return false;
        Case smaller = case_;
        try {
            if (!change(smaller) || !fails_(smaller)) return false;
        } catch (const Unanswered&) {
            return false;
        } catch (const std::exception&) {
            return false; // the smaller case is no proper one
        }
        case_ = std::move(smaller);
        return true;
    }

    bool repeat(const std::function<bool(Case&)>& change) {
        bool any = false;
        while (attempt(change)) any = true;
        return any;
    }

    bool dropRects(std::size_t image) {
        bool any = false;
        for (std::size_t i = 0; case_.images[image].roi && i < case_.images[image].roi->size();) {
            const bool dropped = attempt([&](Case& c) {
                orvcase::Region& rects = *c.images[image].roi;
                rects.erase(rects.begin() + static_cast<std::ptrdiff_t>(i));
                return true;
            });
            any = any || dropped;
            if (!dropped) ++i;
        }
        return any;
    }

    /// Zeroes ever smaller parts of the samples.
    bool zeroSamples(std::size_t image) {
        bool any = false;
        const std::size_t count = case_.images[image].data.size();
        for (std::size_t part = count; part > 0; part /= 2) {
            for (std::size_t from = 0; from < count && tries_ < mostTries; from += part) {
                any =
                    attempt([&](Case& c) { return zero(c.images[image].data, from, std::min(from + part, count)); }) ||
                    any;
            }
        }
        return any;
    }

    bool isUsed(const Case& c, const Image& image) const {
        const auto uses = [&](const std::array<std::string, 3>& src) {
            return std::find(src.begin(), src.end(), image.name) != src.end();
        };
        for (const orvcase::Step& step : c.steps) {
            const auto* call = std::get_if<orvcase::Call>(&step);
            if (call == nullptr) continue;
            const auto refers = [&](const orvcase::Param& p) { return p.name == image.name; };
            if (uses(call->src) || call->dst == image.name ||
                std::any_of(call->params.begin(), call->params.end(), refers)) {
                return true;
            }
        }
        return std::any_of(c.chains.begin(), c.chains.end(),
                           [&](const orvcase::Chain& each) { return uses(each.src); });
    }

    bool dropImages() {
        return repeat([&](Case& c) {
            const auto unused = std::find_if(c.images.begin(), c.images.end(),
                                             [&](const Image& i) { return !isUsed(c, i) && !hasChild(c, i); });
            if (unused == c.images.end()) return false;
            c.images.erase(unused);
            return true;
        });
    }

    Case case_;
    const std::function<bool(Case&)>& fails_;
    unsigned tries_ = 0;
};

} // namespace

orvcase::Case shrink(orvcase::Case c, const std::function<bool(orvcase::Case&)>& fails) {
    return Shrinker(std::move(c), fails).shrink();
}

} // namespace orvmodel
