// The next colormap, derived from what the entries of the present one were chosen for.

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "cell/common/AdaptiveColormapSelection.h"
#include "memory/frame/numbers.h"

namespace {

using Color = std::array<double, 3>;

constexpr float MOVT = 0.9F;  // share of the way to its centroid that an entry moves
constexpr float MSTT = 12.0F; // the farthest that it moves

constexpr double nearEnough = 1.75;
constexpr double flatVariance = 4.0;
constexpr int heavyFactor = 4;

double length(const Color& v) noexcept { return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]); }

} // namespace

struct AdaptiveColormapSelection::Refinement {
    AdaptiveColormapSelection& map;
    Color colors[mostColors];
    Color deviations[mostColors]; ///< standard deviation of a component where it is spread, else 0
    bool free[mostColors] = {};
    bool working[mostColors] = {};
    bool heavy[mostColors] = {};
    double weight[mostColors] = {}; ///< hits, halved by each split

    explicit Refinement(AdaptiveColormapSelection& selection) noexcept : map(selection) {
        for (int i = 0; i < map.colorCount_; ++i) {
            for (unsigned c = 0; c < 3; ++c) colors[i][c] = map.colors_[c][i];
            deviations[i] = {};
            weight[i] = map.hits_[i];
        }
    }

    unsigned coarseCell(int i) const noexcept {
        return static_cast<unsigned>(map.colors_[0][i] >> 6 << 4 | map.colors_[1][i] >> 6 << 2 |
                                     map.colors_[2][i] >> 6);
    }

    bool aloneInCell(int i) const noexcept {
        for (int other = 0; other < map.colorCount_; ++other) {
            if (other != i && map.used_[other] > 0 && coarseCell(other) == coarseCell(i)) return false;
        }
        return true;
    }

    void classify() noexcept {
        const double threshold = map.lowerHits_ + map.random() * (map.upperHits_ - map.lowerHits_);
        for (int i = 0; i < map.colorCount_; ++i) {
            working[i] = map.hits_[i] > 0 && map.hits_[i] >= threshold;
            heavy[i] = working[i] && map.hits_[i] >= heavyFactor * threshold;
            free[i] = map.hits_[i] == 0 || (!working[i] && !aloneInCell(i));
        }
    }

    double mean(int i, unsigned c) const noexcept { return static_cast<double>(map.sums_[c][i]) / map.hits_[i]; }

    void moveToCentroids() noexcept {
        for (int i = 0; i < map.colorCount_; ++i) {
            if (!working[i]) continue;
            const Color way = {mean(i, 0) - colors[i][0], mean(i, 1) - colors[i][1], mean(i, 2) - colors[i][2]};
            const double distance = length(way);
            if (distance > nearEnough) {
                const double step = std::min(distance * double{MOVT}, double{MSTT}) / distance;
                for (unsigned c = 0; c < 3; ++c) colors[i][c] += way[c] * step;
            }
            for (unsigned c = 0; c < 3; ++c) {
                const double squares = static_cast<double>(map.squareSums_[c][i]) / map.hits_[i];
                const double variance = squares - mean(i, c) * mean(i, c);
                deviations[i][c] = variance > flatVariance ? std::sqrt(variance) : 0.0;
            }
        }
    }

    /// The working entry that carries most and is spread at all; -1 where there is none.
    int heaviest() const noexcept {
        int found = -1;
        for (int i = 0; i < map.colorCount_; ++i) {
            if (!working[i] || length(deviations[i]) == 0.0) continue;
            if (found < 0 || std::pair(heavy[i], weight[i]) > std::pair(heavy[found], weight[found])) found = i;
        }
        return found;
    }

    /// Both halves lie a standard deviation off, and count as spread half as wide: they may be split again.
    void split(int from, int to) noexcept {
        for (unsigned c = 0; c < 3; ++c) {
            const double offset = deviations[from][c];
            colors[to][c] = colors[from][c] + offset;
            colors[from][c] -= offset;
            const double rest = offset / 2;
            deviations[from][c] = deviations[to][c] = rest * rest > flatVariance ? rest : 0.0;
        }
        weight[to] = weight[from] = weight[from] / 2;
        working[to] = true;
        heavy[to] = heavy[from] = false;
        free[to] = false;
    }

    void handOutFree() noexcept {
        for (int i = 0; i < map.colorCount_; ++i) {
            if (!free[i]) continue;
            const int from = heaviest();
            if (from < 0) break;
            split(from, i);
        }
        for (int i = 0; i < map.colorCount_; ++i) {
            if (!free[i]) continue;
            const double y = 219 * map.random() + 16;
            const double u = 224 * map.random() + 16;
            const double v = 224 * map.random() + 16;
            colors[i] = {y, u, v};
        }
    }

    double meanSquaredError() const noexcept {
        double errors = 0;
        double hits = 0;
        for (int i = 0; i < map.colorCount_; ++i) {
            errors += map.totalErrors_[i];
            hits += map.hits_[i];
        }
        return hits > 0 ? errors / hits : 0.0;
    }
};

void AdaptiveColormapSelection::getNextColorMap(UsedCmapTable& next) noexcept {
    Refinement refinement(*this);
    refinement.classify();
    refinement.moveToCentroids();
    refinement.handOutFree();
    const int count = std::min(colorCount_, static_cast<std::int32_t>(next.count()));
    const auto component = [](double value) { return static_cast<std::uint8_t>(orvi::toInt(value + 0.5, 0, 255)); };
    for (int i = 0; i < count; ++i) {
        const Color& color = refinement.colors[i];
        next.colors()[i] = {component(color[0]), component(color[1]), component(color[2])};
        next.used()[i] = 1;
    }
    meanSquaredError_ = refinement.meanSquaredError();
}
