// Commands that look at pictures: info, compare, hash.

#include <algorithm>
#include <cstdint>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "commands.h"
#include "files/Reader.h"
#include "orv/orv.h"
#include "samples.h"

namespace orv::tool {

namespace {

std::string_view typeName(const files::PictureInfo& info) {
    return info.sixteen == Sixteen::shifted ? "uint16" : nameOf(static_cast<Type>(info.type));
}

/// What else a file says of its picture.
std::string remarks(const files::PictureInfo& info) {
    std::string text;
    if (info.dpi.x > 0) text += fmt::format(", {:.4g} dpi", info.dpi.x);
    if (!info.palette.empty()) text += fmt::format(", {} colours", info.palette.size());
    if (info.orientation != 1) text += fmt::format(", to be turned (orientation {})", info.orientation);
    return text;
}

nlohmann::json describe(const std::string& path, const files::PictureInfo& info) {
    nlohmann::json line{{"file", path},
                        {"format", nameOf(info.format)},
                        {"width", info.width},
                        {"height", info.height},
                        {"bands", info.bands},
                        {"type", typeName(info)},
                        {"bits", info.bits},
                        {"encoding", nameOf(info.encoding)},
                        {"compression", info.compression},
                        {"orientation", info.orientation}};
    if (info.dpi.x > 0) line["dpi"] = {info.dpi.x, info.dpi.y};
    if (!info.palette.empty()) line["palette"] = info.palette.size();
    if (!info.icc.empty()) line["icc"] = info.icc.size();
    return line;
}

/// FNV-1a over 64 bits (Fowler, Noll, Vo): simple, and the same on every machine.
class Fingerprint {
public:
    void add(int value, int bytes) noexcept {
        for (int shift = 0; shift < 8 * bytes; shift += 8) {
            state_ ^= (static_cast<std::uint32_t>(value) >> shift) & 0xffU;
            state_ *= 0x100000001b3U;
        }
    }
    std::uint64_t value() const noexcept { return state_; }

private:
    std::uint64_t state_ = 0xcbf29ce484222325U;
};

std::uint64_t fingerprintOf(const Image& image) {
    Fingerprint print;
    for (const unsigned fact : {image.width(), image.height(), image.bands(), static_cast<unsigned>(image.type())})
        print.add(static_cast<int>(fact), 4);
    SampleRows rows(image);
    const int bytes = image.type() == Type::int16 ? 2 : 1;
    for (unsigned y = 0; y < image.height(); ++y) {
        for (const int sample : rows.row(y)) print.add(sample, bytes);
    }
    return print.value();
}

struct Difference {
    std::uint64_t samples = 0;
    int greatest = 0;
};

/// What a sample in memory is less than in the file.
int shiftOf(const Image& image) noexcept {
    return image.type() == Type::int16 && image.tags().sixteen == Sixteen::shifted ? 32768 : 0;
}

/// In the units of the files.
Difference differenceOf(const Image& a, const Image& b) {
    Difference difference;
    const int shift = shiftOf(a) - shiftOf(b);
    SampleRows rowsOfA(a);
    SampleRows rowsOfB(b);
    for (unsigned y = 0; y < a.height(); ++y) {
        const std::span<const int> one = rowsOfA.row(y);
        const std::span<const int> other = rowsOfB.row(y);
        for (std::size_t i = 0; i < one.size(); ++i) {
            const int d = std::abs(one[i] - other[i] + shift);
            difference.greatest = std::max(difference.greatest, d);
            difference.samples += d != 0 ? 1 : 0;
        }
    }
    return difference;
}

} // namespace

int info(const Words& words) {
    CLI::App app("size, bands, type and format of files", "info");
    std::vector<std::string> paths;
    bool json = false;
    app.add_option("FILE", paths, "the files")->required();
    app.add_flag("--json", json, "as JSON");
    parseWords(app, words);
    nlohmann::json all = nlohmann::json::array();
    int status = 0;
    for (const std::string& path : paths) {
        try {
            const auto reader = files::Reader::open(path);
            const files::PictureInfo& i = reader->info();
            all.push_back(describe(path, i));
            if (json) continue;
            fmt::print("{}: {} x {}, {} band{}, {}, {}, {}{}{}\n", path, i.width, i.height, i.bands,
                       i.bands == 1 ? "" : "s", typeName(i), nameOf(i.encoding), nameOf(i.format),
                       i.compression.empty() ? "" : " (" + i.compression + ")", remarks(i));
        } catch (const Error& error) {
            fmt::print(stderr, "orv: {}\n", error.what());
            status = 1;
        }
    }
    if (json) fmt::print("{}\n", all.dump(2));
    return status;
}

int compare(const Words& words) {
    CLI::App app("whether two pictures are the same", "compare");
    std::vector<std::string> paths;
    long most = 0;
    app.add_option("FILE", paths, "the two files")->required()->expected(2);
    app.add_option("--max-diff", most, "the greatest difference that counts as the same")
        ->check(CLI::NonNegativeNumber);
    parseWords(app, words);
    Session session;
    Image a = session.read(paths[0]);
    Image b = session.read(paths[1]);
    if (a.tags().palette != b.tags().palette) {
        // Equal indices of unlike palettes are unlike pictures.
        for (Image* image : {&a, &b}) *image = session.depth(*image, {.to = image->type()});
    }
    if (a.width() != b.width() || a.height() != b.height() || a.bands() != b.bands() || a.type() != b.type()) {
        fmt::print("different: {} is {}, {} is {}\n", paths[0], a.describe(), paths[1], b.describe());
        return 1;
    }
    const Difference difference = differenceOf(a, b);
    fmt::print("{} samples differ, by {} at most\n", difference.samples, difference.greatest);
    return difference.greatest <= most ? 0 : 1;
}

int hash(const Words& words) {
    CLI::App app("a fingerprint of the samples", "hash");
    std::vector<std::string> paths;
    app.add_option("FILE", paths, "the files")->required();
    parseWords(app, words);
    Session session;
    for (const std::string& path : paths) fmt::print("{:016x}  {}\n", fingerprintOf(session.read(path)), path);
    return 0;
}

} // namespace orv::tool
