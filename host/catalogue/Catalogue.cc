#include "orv/Catalogue.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <vector>

#include <fmt/format.h>

#include "catalogue/rows.h"
#include "orv/Error.h"

namespace orv {

namespace {

std::vector<const Operation*> collect() {
    std::vector<const Operation*> all;
    for (const auto rows :
         {pixelwiseRows(), filterRows(), geometryRows(), warpRows(), quantiseRows(), measureRows(), recipeRows()}) {
        for (const Operation& row : rows) all.push_back(&row);
    }
    return all;
}

/// Edits that lead from one word to another: letters put in, taken out, exchanged.
std::size_t distance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t exchanged = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({exchanged, row[j + 1] + 1, row[j] + 1});
        }
    }
    return row[b.size()];
}

std::string underscored(std::string_view name) {
    std::string text(name);
    std::ranges::replace(text, '-', '_');
    return text;
}

} // namespace

std::string_view nameOf(Kind kind) noexcept {
    constexpr std::string_view names[] = {"number", "integer", "angle",  "choice",  "levels",  "factors",   "numbers",
                                          "bits",   "size",    "kernel", "element", "palette", "mask",      "table",
                                          "points", "text",    "flag",   "colours", "brush",   "diffusion", "warp"};
    return names[static_cast<std::size_t>(kind)];
}

std::span<const Operation* const> catalogue() noexcept {
    static const std::vector<const Operation*> all = collect();
    return all;
}

std::string nearestName(std::string_view text, std::span<const std::string_view> names) {
    const std::string wanted = underscored(text);
    std::string best;
    std::size_t least = std::max<std::size_t>(2, wanted.size() / 3) + 1;
    for (const std::string_view name : names) {
        std::size_t d = distance(wanted, underscored(name));
        if (wanted.size() >= 3 && underscored(name).starts_with(wanted)) d = std::min<std::size_t>(d, 1);
        if (d < least) {
            least = d;
            best = name;
        }
    }
    return best;
}

const Operation& operationNamed(std::string_view name) {
    const std::string wanted = underscored(name);
    const auto all = catalogue();
    const auto found = std::ranges::find(all, wanted, &Operation::name);
    if (found != all.end()) return **found;
    std::vector<std::string_view> names;
    for (const Operation* row : all) names.push_back(row->name);
    const std::string near = nearestName(wanted, names);
    throw Error(std::string(name), near.empty()
                                       ? fmt::format("there is no operation '{}'; 'orv list' shows all", name)
                                       : fmt::format("there is no operation '{}'; did you mean '{}'?", name, near));
}

} // namespace orv
