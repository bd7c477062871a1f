#include "files/PictureInfo.h"

#include <algorithm>
#include <cctype>
#include <span>
#include <utility>

namespace orv::files {

namespace {

template <class Value>
struct Named {
    std::string_view name;
    Value value;
};

constexpr Named<Encoding> encodings[] = {
    {"gray", Encoding::gray},         {"gray-alpha", Encoding::grayAlpha},
    {"rgb", Encoding::rgb},           {"rgba", Encoding::rgba},
    {"palette", Encoding::palette},   {"cmyk", Encoding::cmyk},
    {"cmy", Encoding::cmy},           {"rgblinear", Encoding::rgbLinear},
    {"photoycc", Encoding::photoYcc}, {"ycc601", Encoding::ycc601},
    {"ycc709", Encoding::ycc709},     {"ylinear", Encoding::yLinear},
    {"y601", Encoding::y601},         {"y709", Encoding::y709},
    {"other", Encoding::other},
};

// The first name of a format is the one that people are shown; all of them are endings of file names.
constexpr Named<Format> formats[] = {
    {"png", Format::png},  {"tiff", Format::tiff}, {"tif", Format::tiff}, {"jpeg", Format::jpeg},
    {"jpg", Format::jpeg}, {"pnm", Format::pnm},   {"pbm", Format::pnm},  {"pgm", Format::pnm},
    {"ppm", Format::pnm},  {"pam", Format::pnm},   {"npy", Format::npy},
};

template <class Value>
std::string_view nameIn(std::span<const Named<Value>> table, Value value) noexcept {
    return std::ranges::find(table, value, &Named<Value>::value)->name;
}

template <class Value>
std::optional<Value> valueIn(std::span<const Named<Value>> table, std::string_view name) noexcept {
    const auto same = [](char a, char b) {
        return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
    };
    for (const Named<Value>& row : table) {
        if (std::ranges::equal(row.name, name, same)) return row.value;
    }
    return std::nullopt;
}

} // namespace

std::optional<Encoding> encodingOfName(std::string_view name) noexcept { return valueIn<Encoding>(encodings, name); }

std::string_view nameOf(Format format) noexcept { return nameIn<Format>(formats, format); }

std::optional<Format> formatNamed(std::string_view name) noexcept { return valueIn<Format>(formats, name); }

std::optional<Format> formatOfName(std::string_view path) noexcept {
    const std::size_t dot = path.rfind('.');
    if (dot == std::string_view::npos) return std::nullopt;
    return formatNamed(path.substr(dot + 1));
}

} // namespace orv::files

namespace orv {

std::string_view nameOf(Encoding encoding) noexcept { return files::nameIn<Encoding>(files::encodings, encoding); }

Encoding encodingNamed(std::string_view name) {
    if (const auto encoding = files::encodingOfName(name)) return *encoding;
    std::string known;
    for (const auto& row : files::encodings) known += (known.empty() ? "" : ", ") + std::string(row.name);
    throw Error("encoding", "there is no encoding '" + std::string(name) + "' (known: " + known + ")");
}

} // namespace orv
