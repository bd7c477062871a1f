#include "catalogue/interpolation.h"

#include <cmath>
#include <numbers>
#include <numeric>
#include <vector>

namespace orv {

namespace {

double sinc(double x) noexcept {
    if (std::abs(x) < 1e-9) return 1;
    const double t = std::numbers::pi * x;
    return std::sin(t) / t;
}

/// The family of cubic filters by Mitchell and Netravali (1988).
double cubic(double x, double b, double c) noexcept {
    const double d = std::abs(x);
    if (d < 1) return ((12 - 9 * b - 6 * c) * d * d * d + (-18 + 12 * b + 6 * c) * d * d + (6 - 2 * b)) / 6;
    if (d < 2)
        return ((-b - 6 * c) * d * d * d + (6 * b + 30 * c) * d * d + (-12 * b - 48 * c) * d + 8 * b + 24 * c) / 6;
    return 0;
}

struct Filter {
    double radius;
    double (*weight)(double x);
};

constexpr Filter filters[] = {
    {2, [](double x) { return cubic(x, 0, 0.5); }},
    {2, [](double x) { return cubic(x, 1.0 / 3, 1.0 / 3); }},
    {2, [](double x) { return std::abs(x) < 2 ? sinc(x) * sinc(x / 2) : 0; }},
    {3, [](double x) { return std::abs(x) < 3 ? sinc(x) * sinc(x / 3) : 0; }},
    {1, [](double x) { return std::max(0.0, 1 - std::abs(x)); }},
};

/// Multiples of 1/128 that add up to 1; what rounding leaves is carried from weight to weight.
void roundRow(const std::vector<double>& weights, std::vector<float>& table) {
    constexpr double unit = 128;
    const double total = std::accumulate(weights.begin(), weights.end(), 0.0);
    double wanted = 0;
    double given = 0;
    for (const double weight : weights) {
        wanted += weight / total * unit;
        const double steps = std::round(wanted - given);
        given += steps;
        table.push_back(static_cast<float>(steps / unit));
    }
}

} // namespace

Taps tapsOf(long filter, bool centred, double stretch) {
    const auto reach = static_cast<unsigned>(std::ceil(filters[filter].radius * stretch));
    return centred ? Taps{2 * reach + 1, reach} : Taps{2 * reach, reach - 1};
}

host::Owned<OrvObject> interpolationTable(Session& session, long filter, bool centred, double stretch) {
    constexpr unsigned subsamples = 256;
    const Taps taps = tapsOf(filter, centred, stretch);
    std::vector<float> table;
    for (unsigned k = 0; k < subsamples; ++k) {
        const double fraction = static_cast<double>(k) / subsamples - (centred ? 0.5 : 0);
        std::vector<double> weights;
        for (unsigned j = 0; j < taps.size; ++j) {
            const double distance = static_cast<double>(j) - taps.key - fraction;
            weights.push_back(filters[filter].weight(distance / stretch));
        }
        roundRow(weights, table);
    }
    return host::Owned<OrvObject>(
        host::InterpolationTable::make(session.object(), taps.size, subsamples, table.data()).release());
}

} // namespace orv
