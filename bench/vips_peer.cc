// orvbench_vips SIDE SECONDS: times libvips where it is the nearest peer, on one thread, and prints lines as
// orvbench --json writes them: a peer's time for a row. A program of its own, since the library brings its own memory
// and threads.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include <vips/vips.h>

namespace {

int side = 2048;

VipsImage* noise(int bands, VipsBandFormat format = VIPS_FORMAT_UCHAR) {
    const std::size_t bytes =
        std::size_t(side) * std::size_t(side) * std::size_t(bands) * (format == VIPS_FORMAT_SHORT ? 2 : 1);
    std::mt19937 random(7);
    std::vector<unsigned char> samples(bytes);
    for (unsigned char& sample : samples) sample = static_cast<unsigned char>(random());
    return vips_image_new_from_memory_copy(samples.data(), bytes, side, side, bands, format);
}

/// Where each pixel comes from: a swirl.
VipsImage* swirl() {
    std::vector<float> places;
    const float middle = static_cast<float>(side) / 2;
    for (int y = 0; y < side; ++y) {
        for (int x = 0; x < side; ++x) {
            const float dx = static_cast<float>(x) - middle;
            const float dy = static_cast<float>(y) - middle;
            const float turn = std::max(0.0F, 1 - std::hypot(dx, dy) / middle);
            places.push_back(middle + dx * std::cos(turn) - dy * std::sin(turn));
            places.push_back(middle + dx * std::sin(turn) + dy * std::cos(turn));
        }
    }
    return vips_image_new_from_memory_copy(places.data(), places.size() * sizeof(float), side, side, 2,
                                           VIPS_FORMAT_FLOAT);
}

/// What peers work on.
struct Pictures {
    VipsImage* gray = noise(1);
    VipsImage* other = noise(1);
    VipsImage* colour = noise(3);
    VipsImage* shorts = noise(1, VIPS_FORMAT_SHORT);
    VipsImage* places = swirl();
    VipsImage* table = vips_image_new_matrix(256, 1);
    VipsImage* lut = nullptr;

    Pictures() {
        for (int i = 0; i < 256; ++i) *VIPS_MATRIX(table, i, 0) = 255 - i;
        vips_cast(table, &lut, VIPS_FORMAT_UCHAR, nullptr);
    }
};

VipsImage* mean(int taps) {
    VipsImage* kernel = vips_image_new_matrix(taps, taps);
    for (int y = 0; y < taps; ++y) {
        for (int x = 0; x < taps; ++x) *VIPS_MATRIX(kernel, x, y) = 1;
    }
    vips_image_set_double(kernel, "scale", taps * taps);
    return kernel;
}

/// Makes the result of an operation, which is worked out when it is written.
using Work = std::function<int(const Pictures& p, VipsImage** result)>;

Work convolution(int taps) {
    return [kernel = mean(taps)](const Pictures& p, VipsImage** result) {
        return vips_conv(p.gray, result, kernel, "precision", VIPS_PRECISION_INTEGER, nullptr);
    };
}

Work rotation(const char* interpolation) {
    return [way = vips_interpolate_new(interpolation)](const Pictures& p, VipsImage** result) {
        constexpr double angle = 0.34906584;
        const double c = std::cos(angle);
        const double s = std::sin(angle);
        const std::vector<int> area{0, 0, side, side};
        VipsArrayInt* const output = vips_array_int_new(area.data(), 4);
        const int status = vips_affine(p.gray, result, c, s, -s, c, "interpolate", way, "oarea", output, nullptr);
        vips_area_unref(VIPS_AREA(output));
        return status;
    };
}

Work warp(const char* interpolation) {
    return [way = vips_interpolate_new(interpolation)](const Pictures& p, VipsImage** result) {
        return vips_mapim(p.gray, result, p.places, "interpolate", way, nullptr);
    };
}

struct Row {
    const char* name;
    const char* peer;
    Work work;
};

std::vector<Row> rows() {
    return {
        {"and8", "andimage",
         [](const Pictures& p, VipsImage** r) { return vips_andimage(p.gray, p.other, r, nullptr); }},
        {"add8", "add", [](const Pictures& p, VipsImage** r) { return vips_add(p.gray, p.other, r, nullptr); }},
        {"lookup8_8", "maplut",
         [](const Pictures& p, VipsImage** r) { return vips_maplut(p.gray, r, p.lut, nullptr); }},
        {"rescale8", "linear",
         [](const Pictures& p, VipsImage** r) { return vips_linear1(p.gray, r, 1.3, -20, "uchar", TRUE, nullptr); }},
        {"convert8_16", "cast",
         [](const Pictures& p, VipsImage** r) { return vips_cast(p.gray, r, VIPS_FORMAT_SHORT, nullptr); }},
        {"blend8a8", "ifthenelse, blended",
         [](const Pictures& p, VipsImage** r) {
             return vips_ifthenelse(p.gray, p.gray, p.other, r, "blend", TRUE, nullptr);
         }},
        {"convolve8 3x3", "conv", convolution(3)},
        {"convolve8 5x5", "conv", convolution(5)},
        {"convolve8 7x7", "conv", convolution(7)},
        {"edge_detect_sobel8", "sobel",
         [](const Pictures& p, VipsImage** r) { return vips_sobel(p.gray, r, nullptr); }},
        {"dilate8 3x3", "rank",
         [](const Pictures& p, VipsImage** r) { return vips_rank(p.gray, r, 3, 3, 8, nullptr); }},
        {"rotate8nearest", "affine", rotation("nearest")},
        {"rotate8bilinear", "affine", rotation("bilinear")},
        {"rotate8bicubic", "affine", rotation("bicubic")},
        {"tablewarp8nearest", "mapim", warp("nearest")},
        {"tablewarp8bilinear", "mapim", warp("bilinear")},
        {"tablewarp8bicubic", "mapim", warp("bicubic")},
        {"transpose8 90 degrees", "rot90",
         [](const Pictures& p, VipsImage** r) { return vips_rot90(p.gray, r, nullptr); }},
        {"transpose16 diagonal", "rot90",
         [](const Pictures& p, VipsImage** r) { return vips_rot90(p.shorts, r, nullptr); }},
        {"subsampleAdaptive8", "shrink",
         [](const Pictures& p, VipsImage** r) { return vips_shrink(p.gray, r, 1 / 0.37, 1 / 0.37, nullptr); }},
        {"histogram8", "hist_find",
         [](const Pictures& p, VipsImage** r) { return vips_hist_find(p.gray, r, nullptr); }},
        {"extrema8", "stats", [](const Pictures& p, VipsImage** r) { return vips_stats(p.gray, r, nullptr); }},
    };
}

/// Milliseconds of one run; below 0 where it failed.
double milliseconds(const Row& row, const Pictures& pictures) {
    const auto start = std::chrono::steady_clock::now();
    VipsImage* made = nullptr;
    if (row.work(pictures, &made) != 0) return -1;
    VipsImage* const memory = vips_image_copy_memory(made);
    g_object_unref(made);
    if (memory == nullptr) return -1;
    g_object_unref(memory);
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

void measure(const Row& row, const Pictures& pictures, double seconds) {
    constexpr int least = 3;
    constexpr int most = 30;
    double best = 1e30;
    double spent = 0;
    for (int i = 0; i < most && (i < least || spent < seconds * 1000); ++i) {
        const double took = milliseconds(row, pictures);
        if (took < 0) {
            std::fprintf(stderr, "orvbench_vips: %s: %s\n", row.peer, vips_error_buffer());
            vips_error_clear();
            return;
        }
        best = std::min(best, took);
        spent += took;
    }
    std::printf(R"({"row": "%s", "side": %d, "peer": "libvips %s", "peerTime": %.6f})"
                "\n",
                row.name, side, row.peer, best);
    std::fflush(stdout);
}

} // namespace

int main(int count, char** words) {
    if (count != 3 || VIPS_INIT(words[0]) != 0) {
        std::fprintf(stderr, "orvbench_vips SIDE SECONDS\n");
        return 2;
    }
    side = std::atoi(words[1]);
    vips_concurrency_set(1);
    vips_cache_set_max(0);
    const Pictures pictures;
    for (const Row& row : rows()) measure(row, pictures, std::atof(words[2]));
    return 0;
}
