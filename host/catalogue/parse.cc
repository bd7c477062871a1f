// Reads the texts that people give as parameters: one parser for each kind.

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <fstream>
#include <numbers>
#include <sstream>

#include <fmt/format.h>

#include "catalogue/Call.h"
#include "orv/Error.h"

namespace orv {

namespace {

[[noreturn]] void wanted(const std::string& text, std::string_view what) {
    throw Error("value", fmt::format("'{}' came, {} wanted", text, what));
}

double numberOf(const std::string& text) {
    std::string_view t = text;
    if (t.starts_with('+')) t.remove_prefix(1);
    double value = 0;
    const auto [end, error] = std::from_chars(t.data(), t.data() + t.size(), value);
    if (error != std::errc{} || end != t.data() + t.size() || !std::isfinite(value)) wanted(text, "a number");
    return value;
}

std::vector<std::string> split(const std::string& text, char mark) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, mark);) parts.push_back(part);
    return parts;
}

/// Degrees.
double angleOf(const std::string& text) {
    if (text.ends_with("rad")) return numberOf(text.substr(0, text.size() - 3)) * 180.0 / std::numbers::pi;
    if (text.ends_with("deg")) return numberOf(text.substr(0, text.size() - 3));
    return numberOf(text);
}

unsigned hexOf(const std::string& text, std::size_t at) {
    unsigned value = 0;
    const auto [end, error] = std::from_chars(text.data() + at, text.data() + at + 2, value, 16);
    if (error != std::errc{} || end != text.data() + at + 2) wanted(text, "a colour #rrggbb");
    return value;
}

struct NamedColour {
    std::string_view name;
    double r, g, b;
};
constexpr NamedColour colours[] = {{"black", 0, 0, 0},    {"white", 255, 255, 255}, {"red", 255, 0, 0},
                                   {"green", 0, 255, 0},  {"blue", 0, 0, 255},      {"gray", 128, 128, 128},
                                   {"cyan", 0, 255, 255}, {"magenta", 255, 0, 255}, {"yellow", 255, 255, 0}};

/// Levels: numbers in the file's units; percentages and colours, which are shares of full range.
Levels levelsOf(const std::string& text) {
    constexpr double full = 255.0;
    if (text.starts_with('#')) {
        if (text.size() != 7) wanted(text, "a colour #rrggbb");
        return {{hexOf(text, 1) / full, hexOf(text, 3) / full, hexOf(text, 5) / full}, true};
    }
    for (const NamedColour& colour : colours) {
        if (colour.name != text) continue;
        if (colour.r == colour.g && colour.g == colour.b) return {{colour.r / full}, true};
        return {{colour.r / full, colour.g / full, colour.b / full}, true};
    }
    if (!text.empty() && std::isalpha(static_cast<unsigned char>(text.front())) != 0) {
        std::string names;
        for (const NamedColour& colour : colours) names += fmt::format("{}{}", names.empty() ? "" : ", ", colour.name);
        wanted(text, fmt::format("levels, #rrggbb or a colour ({})", names));
    }
    Levels levels;
    const std::vector<std::string> parts = split(text, ',');
    for (const std::string& part : parts) {
        const bool percent = part.ends_with('%');
        if (&part != &parts.front() && percent != levels.relative) wanted(text, "levels, either all in % or none");
        levels.relative = percent;
        levels.values.push_back(percent ? numberOf(part.substr(0, part.size() - 1)) / 100.0 : numberOf(part));
    }
    if (levels.values.empty()) wanted(text, "one or more levels, or a colour");
    return levels;
}

std::vector<Levels> coloursOf(const std::string& text) {
    std::vector<Levels> all;
    for (const std::string& part : split(text, ';')) all.push_back(levelsOf(part));
    if (all.empty()) wanted(text, "one or more colours, separated by semicolons");
    return all;
}

double flagOf(const std::string& text) {
    if (text == "yes" || text == "true" || text == "1") return 1;
    if (text == "no" || text == "false" || text == "0") return 0;
    wanted(text, "yes or no");
}

std::vector<double> bitsOf(const std::string& text) {
    std::vector<double> values;
    for (const std::string& part : split(text, ',')) {
        const bool hex = part.starts_with("0x");
        std::uint32_t value = 0;
        const char* first = part.data() + (hex ? 2 : 0);
        const auto [end, error] = std::from_chars(first, part.data() + part.size(), value, hex ? 16 : 10);
        if (error != std::errc{} || end != part.data() + part.size()) wanted(text, "bit masks, decimal or 0x…");
        values.push_back(value);
    }
    return values;
}

std::vector<double> sizeOf(const std::string& text) {
    const std::vector<std::string> parts = split(text, 'x');
    if (parts.size() != 2) wanted(text, "a size WIDTHxHEIGHT");
    return {numberOf(parts[0]), numberOf(parts[1])};
}

std::vector<Point> pointsOf(const std::string& text) {
    std::string list = text;
    if (std::ifstream file(text); file) {
        std::ostringstream all;
        all << file.rdbuf();
        list = all.str();
        std::ranges::replace(list, '\n', ';');
        std::ranges::replace(list, '\t', ',');
        std::ranges::replace(list, ' ', ',');
    }
    std::vector<Point> points;
    for (const std::string& part : split(list, ';')) {
        if (part.empty()) continue;
        const std::vector<double> xy = parseNumbers(part);
        if (xy.size() != 2) wanted(part, "points X,Y;X,Y");
        points.push_back({xy[0], xy[1]});
    }
    return points;
}

double choiceOf(const Parameter& parameter, const std::string& text) {
    std::vector<std::string_view> words;
    std::string known;
    for (const Choice& choice : parameter.choices) {
        if (choice.word == text) return static_cast<double>(choice.value);
        words.push_back(choice.word);
        known += (known.empty() ? "" : ", ") + std::string(choice.word);
    }
    const std::string near = nearestName(text, words);
    throw Error("value", fmt::format("there is no '{}'{} (known: {})", text,
                                     near.empty() ? "" : fmt::format("; did you mean '{}'?", near), known));
}

Value valueOf(const Parameter& parameter, const std::string& text) {
    switch (parameter.kind) {
    case Kind::number:
        return parseNumber(text);
    case Kind::integer: {
        const double value = numberOf(text);
        if (value != std::floor(value)) wanted(text, "a whole number");
        return value;
    }
    case Kind::angle:
        return angleOf(text);
    case Kind::choice:
        return choiceOf(parameter, text);
    case Kind::levels:
        return levelsOf(text);
    case Kind::factors:
    case Kind::numbers:
        return parseNumbers(text);
    case Kind::bits:
        return bitsOf(text);
    case Kind::size:
        return sizeOf(text);
    case Kind::kernel:
        return Kernel::parse(text);
    case Kind::element:
        return Element::parse(text);
    case Kind::palette:
        return Palette::parse(text);
    case Kind::mask:
        return Mask::parse(text);
    case Kind::table:
        return Table::parse(text);
    case Kind::points:
        return pointsOf(text);
    case Kind::flag:
        return flagOf(text);
    case Kind::colours:
        return coloursOf(text);
    case Kind::brush:
        return Brush::parse(text);
    case Kind::diffusion:
        return Diffusion::parse(text);
    case Kind::warp:
    case Kind::text:
        return text;
    }
    return text;
}

} // namespace

Levels Levels::parse(const std::string& text) { return levelsOf(text); }

double parseNumber(const std::string& text) {
    // "1/4" for those who think in fractions, "50%" for those who think in percentages.
    if (const std::size_t slash = text.find('/'); slash != std::string::npos) {
        const double below = numberOf(text.substr(slash + 1));
        if (below == 0) wanted(text, "a fraction with a number other than 0 below");
        return numberOf(text.substr(0, slash)) / below;
    }
    if (text.ends_with('%')) return numberOf(text.substr(0, text.size() - 1)) / 100.0;
    return numberOf(text);
}

std::vector<double> parseNumbers(const std::string& text) {
    std::vector<double> values;
    for (const std::string& part : split(text, ',')) values.push_back(parseNumber(part));
    if (values.empty()) wanted(text, "one or more numbers");
    return values;
}

Value parseValue(const Operation& operation, const Parameter& parameter, const std::string& text) {
    try {
        return valueOf(parameter, text);
    } catch (const Error& error) {
        throw ArgumentError(std::string(operation.name),
                            fmt::format("{}: {}: {}", operation.name, parameter.name, error.what()));
    }
}

void checkRange(const Operation& operation, const Parameter& parameter, const Value& value) {
    const auto refuse = [&](const std::string& message) {
        throw ArgumentError(std::string(operation.name),
                            fmt::format("{}: {}: {}", operation.name, parameter.name, message));
    };
    const auto check = [&](double v) {
        if (!(v >= parameter.low && v <= parameter.high))
            refuse(fmt::format("{} came, {} to {} wanted", v, parameter.low, parameter.high));
    };
    if (const auto* many = std::get_if<std::vector<double>>(&value)) std::ranges::for_each(*many, check);
    const auto* one = std::get_if<double>(&value);
    if (one == nullptr) return;
    check(*one);
    if (!parameter.choices.empty() &&
        std::ranges::find(parameter.choices, std::lround(*one), &Choice::value) == parameter.choices.end()) {
        refuse(fmt::format("{} stands for no choice", *one));
    }
}

void checkText(const Operation& operation, const Parameter& parameter, const std::string& text) {
    checkRange(operation, parameter, parseValue(operation, parameter, text));
}

} // namespace orv
