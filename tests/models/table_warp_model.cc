// Table warps look at one pixel after another, and at the warp table as plain memory.
#include <algorithm>
#include <cmath>

#include "models/Answers.h"
#include "models/table_warp.h"

namespace orvmodel {
namespace {

using namespace table_warp;

Member memberOf(const std::string& op, OrvDataType type) {
    const char form = op[9] == 'h' || op[9] == 'v' ? op[9] : 'b';
    const auto* kind = std::find_if(std::begin(interpolations), std::end(interpolations),
                                    [&](const char* name) { return op.ends_with(name); });
    return {form, type, static_cast<int>(kind - interpolations)};
}

// The warp table as memory: samples where there are any, the filling of gaps elsewhere.
struct TableMemory {
    std::vector<int> samples;
    long first;
    long last;
    long stride;
    long pixel;

    TableMemory(const orvcase::Case& c, const Scene& scene, const std::string& name) {
        const orvcase::Image& image = c.image(name);
        const orvcase::Image& root = image.parent.empty() ? image : c.image(image.parent);
        stride = root.rowStride();
        pixel = root.samplesPerPixel();
        samples.assign(root.height * static_cast<std::size_t>(stride) + root.width * static_cast<std::size_t>(pixel),
                       static_cast<std::int16_t>(0xA5A5));
        for (unsigned y = 0; y < root.height; ++y) {
            for (unsigned x = 0; x < root.width; ++x) {
                for (unsigned b = 0; b < root.bands; ++b) {
                    samples[static_cast<std::size_t>(y * stride + x * pixel + b)] =
                        static_cast<int>(scene.sample(root.name, x, y, b));
                }
            }
        }
        first = image.parent.empty() ? 0 : image.atY * stride + image.atX * pixel + image.atBand;
        last = first + (image.height - 1L) * stride + (image.width - 1L) * pixel + image.bands - 1L;
    }
};

struct Weights {
    long size;
    long subsamples;
    std::vector<float> data;

    explicit Weights(const orvcase::Interp& table) : size(table.size), subsamples(table.subsamples) {
        for (const double v : table.data) data.push_back(static_cast<float>(v));
    }
    long half() const { return (size - 1) / 2; }
    float at(int sixteenths, long tap) const {
        const long row = static_cast<long>(static_cast<float>(subsamples) * (static_cast<float>(sixteenths) / 16));
        return data[static_cast<std::size_t>(std::min(row, subsamples - 1) * size + tap)];
    }
};

/// First position and number of taps about `at` in 0 to size - 1.
std::pair<long, long> taps(long at, long size, const Weights& w) {
    if (at < w.half()) return {0, at + w.half() + 1};
    if (at < size - w.half()) return {at - w.half(), w.size};
    return {at - w.half(), size - at + w.half()};
}

int truncated(float v) { return static_cast<int>(v); }

int cubicStep(int m, int p0, int p1, int p2, float t, float tt) {
    const int line = p0 + truncated(static_cast<float>(p1 - p0) * t);
    const int s = (p1 + m) + truncated(static_cast<float>((p2 + p0) - (p1 + m)) * t);
    const int d = line - (s >> 1);
    return line + truncated(static_cast<float>(d) * tt);
}

// One warped sample of a band.
class Sampler {
public:
    Sampler(const Scene& scene, const orvcase::Case& c, const orvcase::Call& call, const Member& member)
        : scene_(scene), image_(c.image(call.src[0])), member_(member) {
        if (member.kind == general) {
            h_.emplace(c.interps[0]);
            v_.emplace(c.interps[1]);
        }
    }

    double value(long x, long y, int fx, int fy, unsigned band) const {
        x_ = x;
        y_ = y;
        band_ = band;
        if (member_.kind == nearest) return sample(0, 0);
        if (member_.type == ORV_BIT) return bit(fx, fy) ? 1 : 0;
        const float u = static_cast<float>(fx) / 16;
        const float v = static_cast<float>(fy) / 16;
        switch (member_.kind) {
        case bilinear:
            return linear(u, v) >> 7;
        case bicubic:
            return finished(cubic(u, v));
        default:
            return finished(weighted(fx, fy));
        }
    }

private:
    int sample(long dx, long dy) const { return static_cast<int>(scene_.sample(image_.name, x_ + dx, y_ + dy, band_)); }
    int wide(long dx, long dy) const { return sample(dx, dy) * 128; }

    double finished(long v) const {
        const long low = member_.type == ORV_BYTE ? 0 : -32768 * 128;
        const long high = member_.type == ORV_BYTE ? 0x7F80 : 32767 * 128;
        return static_cast<double>(std::clamp(v, low, high) >> 7);
    }

    int linear(float u, float v) const {
        const int top = wide(0, 0) + truncated(static_cast<float>(wide(1, 0) - wide(0, 0)) * u);
        const int bottom = wide(0, 1) + truncated(static_cast<float>(wide(1, 1) - wide(0, 1)) * u);
        return top + truncated(static_cast<float>(bottom - top) * v);
    }

    int cubic(float u, float v) const {
        const float tu = static_cast<float>((1.0 - u) * u);
        const float tv = static_cast<float>((1.0 - v) * v);
        int rows[4];
        for (int i = 0; i < 4; ++i) {
            rows[i] = cubicStep(wide(-1, i - 1), wide(0, i - 1), wide(1, i - 1), wide(2, i - 1), u, tu);
        }
        return cubicStep(rows[0], rows[1], rows[2], rows[3], v, tv);
    }

    long weighted(int fx, int fy) const {
        const auto [row, rows] = taps(y_, image_.height, *v_);
        const auto [column, columns] = taps(x_, image_.width, *h_);
        long sum = 0;
        for (long i = 0; i < rows; ++i) {
            int scratch = 0;
            for (long j = 0; j < columns; ++j) {
                if (!scene_.inside(image_.name, column + j, row + i)) continue;
                scratch += truncated(static_cast<float>(wide(column + j - x_, row + i - y_)) * h_->at(fx, j));
            }
            sum += truncated(static_cast<float>(scratch) * v_->at(fy, i));
        }
        return sum;
    }

    // Bits.

    bool bit(int fx, int fy) const {
        switch (member_.kind) {
        case bilinear:
            return bitLine(fx, fy) > 7;
        case bicubic:
            return bitCubic(fx, fy) > 7;
        default:
            return bitWeight(fx, fy) > 0.5F;
        }
    }

    int bitLine(int fx, int fy) const {
        const float u = static_cast<float>(fx) / 15.0F;
        const float v = static_cast<float>(fy) / 15.0F;
        const int a = sample(0, 0) * 16;
        const int b = sample(1, 0) * 16;
        const int c = sample(0, 1) * 16;
        const int above = a + truncated(static_cast<float>(b - a) * u);
        const int below = c + truncated(static_cast<float>(a - c) * u);
        return above + truncated(static_cast<float>(below - above) * v);
    }

    int bitCubic(int fx, int fy) const {
        const float u = static_cast<float>(fx) / 15.0F;
        const float rest = 1.0F - u;
        const float tu = rest * u;
        int r[4];
        for (int i = 0; i < 4; ++i) {
            const auto at = [&](long dx) { return sample(dx, i - 1) * 16; };
            r[i] = cubicStep(at(-1), at(0), at(1), at(2), u, tu);
        }
        const int line = bitLine(fx, fy);
        const int s = (r[2] + r[0]) + static_cast<int>(((r[3] + r[1]) - (r[2] + r[0])) * fy / 15.0);
        const int d = line - (s >> 1);
        return line + static_cast<int>(d * ((15 - fy) * fy) / 225.0);
    }

    float bitWeight(int fx, int fy) const {
        const auto [row, rows] = taps(y_, image_.height, *v_);
        const auto [column, columns] = taps(x_, image_.width, *h_);
        float sum = 0;
        for (long i = 0; i < rows; ++i) {
            float scratch = 0;
            for (long j = 0; j < columns; ++j) {
                if (scene_.inside(image_.name, column + j, row + i) && sample(column + j - x_, row + i - y_) != 0) {
                    scratch += h_->at(fx, j);
                }
            }
            sum = static_cast<float>(double{sum} + double{scratch} * double{v_->at(fy, i)});
        }
        return sum;
    }

    const Scene& scene_;
    const orvcase::Image& image_;
    Member member_;
    std::optional<Weights> h_;
    std::optional<Weights> v_;
    mutable long x_ = 0;
    mutable long y_ = 0;
    mutable unsigned band_ = 0;
};

bool inRange(const std::vector<Rect>& rects, long ox, long oy, int kind, long sx, long sy) {
    constexpr long low[] = {0, 1, 2, 0};
    constexpr long high[] = {1, 2, 3, 1};
    return std::any_of(rects.begin(), rects.end(), [&](const Rect& r) {
        return ox + r.x + low[kind] <= sx && sx <= ox + r.x + r.width - high[kind] && oy + r.y + low[kind] <= sy &&
               sy <= oy + r.y + r.height - high[kind];
    });
}

} // namespace

void answerTableWarp(const orvcase::Case& c, orvcase::Call& call, Scene& scene) {
    onlyApart(call);
    const std::string& s = call.src[0];
    const std::string& t = call.src[1];
    const std::string& d = call.dst;
    const Member member = memberOf(call.op, c.image(s).type);
    const TableMemory table(c, scene, t);
    const auto sources = scene.region(s);
    Scene before = scene;
    const Sampler sampler(before, c, call, member);
    for (const Rect& rect : scene.rects({d, t})) {
        for (long y = rect.y; y < rect.y + rect.height; ++y) {
            long at = table.first + (y + scene.originY(t)) * table.stride + (rect.x + scene.originX(t)) * table.pixel;
            for (long x = rect.x; x < rect.x + rect.width; ++x) {
                long sx = x + scene.originX(d);
                long sy = y + scene.originY(d);
                int fx = 0;
                int fy = 0;
                bool in = at + (member.form == 'b' ? 1 : 0) <= table.last;
                if (in) {
                    const int t0 = table.samples[static_cast<std::size_t>(at)];
                    const int t1 = member.form == 'b' ? table.samples[static_cast<std::size_t>(at + 1)] : t0;
                    if (member.form != 'v') {
                        sx += t0 >> 4;
                        fx = t0 & 15;
                    }
                    if (member.form != 'h') {
                        sy += t1 >> 4;
                        fy = t1 & 15;
                    }
                    in = inRange(sources, scene.originX(s), scene.originY(s), member.kind, sx, sy);
                }
                if (in) {
                    for (unsigned b = 0; b < scene.bands(d); ++b)
                        scene.put(d, x, y, b, sampler.value(sx, sy, fx, fy, b));
                } else {
                    for (unsigned b = 0; b < (member.type == ORV_BIT ? scene.bands(d) : 1); ++b)
                        scene.put(d, x, y, b, 0);
                }
                at += in ? table.pixel : 2;
            }
        }
    }
    scene.touchNone(d);
    call.expect.live = {.lists = 0, .rois = 0, .images = 0};
}

} // namespace orvmodel
