#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "support/ModelKit.h"

namespace orvmodel {
namespace {

using orvcase::Image;

/// A set of pixels as a plain grid: slow and plain, unlike the device's host.
class Grid {
public:
    Grid(long x, long y, long width, long height)
        : x_(x),
          y_(y),
          width_(std::max(width, 0L)),
          height_(std::max(height, 0L)),
          set_(static_cast<std::size_t>(width_ * height_)) {}

    void add(const Rect& r) {
        for (long y = std::max(r.y, y_); y < std::min(r.y + r.height, y_ + height_); ++y) {
            for (long x = std::max(r.x, x_); x < std::min(r.x + r.width, x_ + width_); ++x) set_[index(x, y)] = true;
        }
    }

    void keepOnly(const Grid& other) {
        for (long y = y_; y < y_ + height_; ++y) {
            for (long x = x_; x < x_ + width_; ++x) {
                if (!other.holds(x, y)) set_[index(x, y)] = false;
            }
        }
    }

    bool holds(long x, long y) const {
        return x >= x_ && x < x_ + width_ && y >= y_ && y < y_ + height_ && set_[index(x, y)];
    }

    std::vector<Rect> rects() const {
        std::vector<Rect> all;
        for (long y = y_; y < y_ + height_;) {
            const std::vector<Rect> row = intervals(y);
            long end = y + 1;
            while (end < y_ + height_ && intervals(end, y) == row) ++end;
            for (Rect r : row) {
                r.height = end - y;
                all.push_back(r);
            }
            y = end;
        }
        return all;
    }

private:
    std::size_t index(long x, long y) const { return static_cast<std::size_t>((y - y_) * width_ + (x - x_)); }

    /// The runs of a row, as rectangles one high that claim to lie in the row `as`.
    std::vector<Rect> intervals(long y) const { return intervals(y, y); }
    std::vector<Rect> intervals(long y, long as) const {
        std::vector<Rect> runs;
        for (long x = x_; x < x_ + width_; ++x) {
            if (!holds(x, y)) continue;
            if (!holds(x - 1, y)) runs.push_back({x, as, 0, 1});
            ++runs.back().width;
        }
        return runs;
    }

    long x_, y_, width_, height_;
    std::vector<bool> set_;
};

Grid gridOf(const Image& image, long originX, long originY) {
    Grid grid(-originX, -originY, image.width, image.height);
    if (!image.roi) grid.add({-originX, -originY, image.width, image.height});
    for (const Rect& r : image.roi.value_or(orvcase::Region{})) {
        grid.add({r.x - originX, r.y - originY, r.width, r.height});
    }
    return grid;
}

} // namespace

std::vector<Rect> canonical(const std::vector<Rect>& rects) {
    if (rects.empty()) return {};
    long left = rects[0].x, top = rects[0].y, right = left, bottom = top;
    for (const Rect& r : rects) {
        left = std::min(left, r.x);
        top = std::min(top, r.y);
        right = std::max(right, r.x + r.width);
        bottom = std::max(bottom, r.y + r.height);
    }
    Grid grid(left, top, right - left, bottom - top);
    for (const Rect& r : rects) grid.add(r);
    return grid.rects();
}

Scene::Scene(const orvcase::Case& c) : samples_(c.images.size()), open_(c.images.size()), written_(c.images.size()) {
    for (const Image& image : c.images) {
        const std::size_t own = images_.size();
        if (!image.parent.empty()) {
            const Held& parent = held(image.parent);
            images_.push_back(
                {&image, parent.root, parent.x + image.atX, parent.y + image.atY, parent.band + image.atBand});
            continue;
        }
        images_.push_back({&image, own, 0, 0, 0});
        samples_[own] = image.data.empty() ? orvcase::Values(image.sampleCount(), image.fill) : image.data;
        open_[own].resize(image.sampleCount());
    }
}

const Scene::Held& Scene::held(const std::string& name) const {
    const auto found =
        std::find_if(images_.begin(), images_.end(), [&](const Held& h) { return h.image->name == name; });
    if (found == images_.end()) throw std::out_of_range("no image " + name);
    return *found;
}

const Image& Scene::image(const std::string& name) const { return *held(name).image; }

long Scene::originX(const std::string& name) const { return static_cast<long>(std::trunc(image(name).originX)); }
long Scene::originY(const std::string& name) const { return static_cast<long>(std::trunc(image(name).originY)); }

bool Scene::inside(const std::string& name, long column, long row) const {
    const Image& i = image(name);
    return column >= 0 && row >= 0 && column < static_cast<long>(i.width) && row < static_cast<long>(i.height);
}

Scene::Place Scene::place(const std::string& name, long column, long row, unsigned band) const {
    const Held& h = held(name);
    if (!inside(name, column, row) || band >= h.image->bands) {
        throw std::out_of_range("the model reaches beyond image " + name + ": column " + std::to_string(column) +
                                " row " + std::to_string(row) + " band " + std::to_string(band));
    }
    const Image& root = *images_[h.root].image;
    return {h.root, root.index(static_cast<unsigned>(column) + h.x, static_cast<unsigned>(row) + h.y, band + h.band)};
}

double Scene::sample(const std::string& name, long column, long row, unsigned band) const {
    const Place p = place(name, column, row, band);
    return samples_[p.root][p.at];
}

void Scene::setSample(const std::string& name, long column, long row, unsigned band, double value) {
    const Place p = place(name, column, row, band);
    samples_[p.root][p.at] = value;
    written_[p.root] = true;
}

double Scene::at(const std::string& name, long x, long y, unsigned band) const {
    return sample(name, x + originX(name), y + originY(name), band);
}

void Scene::put(const std::string& name, long x, long y, unsigned band, double value) {
    setSample(name, x + originX(name), y + originY(name), band, value);
}

void Scene::leaveOpen(const std::string& name, long x, long y, unsigned band) {
    const Place p = place(name, x + originX(name), y + originY(name), band);
    open_[p.root][p.at] = true;
    written_[p.root] = true;
}

std::vector<Rect> Scene::rects(std::initializer_list<std::string> names) const {
    std::vector<Grid> grids;
    for (const std::string& name : names) {
        if (!name.empty()) grids.push_back(gridOf(image(name), originX(name), originY(name)));
    }
    if (grids.empty()) return {};
    for (std::size_t i = 1; i < grids.size(); ++i) grids[0].keepOnly(grids[i]);
    return grids[0].rects();
}

void Scene::touch(const std::string& name, const std::vector<Rect>& rects) {
    touched_.push_back({.image = name, .region = rects});
}

void Scene::touchNone(const std::string& name) { touched_.push_back({.image = name}); }

// The root of what was written is named, not the child: so the samples around a child are held too.
void Scene::fillIn(orvcase::Expectations& expect) {
    for (std::size_t i = 0; i < images_.size(); ++i) {
        if (!written_[i]) continue;
        orvcase::ExpectedImage& out = expect.out.emplace_back();
        out.image = images_[i].image->name;
        out.values.assign(samples_[i].begin(), samples_[i].end());
        for (std::size_t at = 0; at < open_[i].size(); ++at) {
            if (open_[i][at]) out.values[at].reset();
        }
    }
    expect.touched.insert(expect.touched.end(), touched_.begin(), touched_.end());
    touched_.clear();
    written_.assign(written_.size(), false);
}

void answer(const Model& model, orvcase::Case& c) {
    Scene scene(c);
    for (orvcase::Step& step : c.steps) {
        auto* call = std::get_if<orvcase::Call>(&step);
        if (call == nullptr) continue;
        call->expect = {};
        model.expect(c, *call, scene);
        scene.fillIn(call->expect);
    }
}

} // namespace orvmodel
