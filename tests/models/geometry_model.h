// The affine family told slowly: polygons as plain vectors, pixels one by one, every step of a run taken as it is told.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "replay/Case.h"

namespace geometrymodel {

using orvcase::Image;
using orvcase::Rect;
using orvcase::Region;

// Regions.

/// A region's pixels, cut to an image, as rectangles in canonical order, in image space.
inline std::vector<Rect> canonical(const Image& image) {
    const long w = image.width;
    const long h = image.height;
    std::vector<std::vector<Rect>> rows(static_cast<std::size_t>(h));
    for (long y = 0; y < h; ++y) {
        const auto in = [&](long x) {
            if (!image.roi) return true;
            return std::ranges::any_of(*image.roi, [&](const Rect& r) {
                return x >= r.x && x < r.x + r.width && y >= r.y && y < r.y + r.height;
            });
        };
        for (long x = 0; x < w; ++x) {
            if (!in(x)) continue;
            const long first = x;
            while (x < w && in(x)) ++x;
            rows[static_cast<std::size_t>(y)].push_back({first, 0, x - first, 0});
        }
    }
    std::vector<Rect> rects;
    const long ox = static_cast<long>(image.originX);
    const long oy = static_cast<long>(image.originY);
    for (long y = 0; y < h;) {
        long end = y;
        while (end < h && rows[static_cast<std::size_t>(end)] == rows[static_cast<std::size_t>(y)]) ++end;
        for (const Rect& r : rows[static_cast<std::size_t>(y)]) rects.push_back({r.x - ox, y - oy, r.width, end - y});
        y = end;
    }
    return rects;
}

// Polygons. The first vertex is the head of the ring.

struct Point {
    float x;
    float y;
};
using Ring = std::vector<Point>;

struct Matrix {
    float a, b, c, d, tx, ty;
};

inline Point linear(const Matrix& m, Point p) { return {m.a * p.x + m.b * p.y, m.c * p.x + m.d * p.y}; }
inline Point image(const Matrix& m, Point p) {
    const Point q = linear(m, p);
    return {q.x + m.tx, q.y + m.ty};
}
inline Matrix inverse(const Matrix& m) {
    const float det = m.a * m.d - m.c * m.b;
    const float r = 1.0F / det;
    Matrix i{m.d * r, -m.b * r, -m.c * r, m.a * r, 0, 0};
    const Point t = linear(i, {m.tx, m.ty});
    i.tx = -t.x;
    i.ty = -t.y;
    return i;
}

inline void clip(Ring& ring, float Point::*axis, float Point::*other, bool low, float c) {
    const std::size_t n = ring.size();
    const auto outside = [&](std::size_t i) { return low ? ring[i % n].*axis < c : ring[i % n].*axis > c; };
    const auto inside = [&](std::size_t i) { return low ? ring[i % n].*axis > c : ring[i % n].*axis < c; };
    std::size_t out = 1;
    while (out <= n && !outside(out)) ++out;
    if (n == 0 || out > n) return;
    std::size_t p = out + 1;
    while (p <= out + n && !inside(p)) ++p;
    if (p > out + n) return ring.clear();
    while (!outside(p + 1)) ++p;
    std::size_t q = p + 1;
    while (!inside(q + 1)) ++q;
    Ring kept;
    for (std::size_t i = q + 1; i % n != p % n; ++i) kept.push_back(ring[i % n]);
    kept.push_back(ring[p % n]);
    const auto cut = [&](std::size_t from, std::size_t to, float none) {
        const Point a = ring[from % n];
        const Point b = ring[to % n];
        const float t = (c - a.*axis) / (b.*axis - a.*axis);
        if (t == none) return;
        Point v{};
        v.*axis = c;
        v.*other = (b.*other - a.*other) * t + a.*other;
        kept.push_back(v);
    };
    cut(p, p + 1, 0);
    cut(q, q + 1, 1);
    std::ranges::rotate(kept, kept.end() - 1);
    ring = kept;
}

struct Scan {
    long y, x1, x2;
};

inline long floorOf(float v) { return static_cast<long>(v) - (v < 0 ? 1 : 0); }

constexpr float snapDistance = 0.00005F;

inline void snap(float& v) {
    const float u = v + 0.5F;
    // NOLINTNEXTLINE(bugprone-incorrect-roundings): the operation cuts towards zero, negative numbers too
    const float n = static_cast<float>(static_cast<long>(u + 0.5F));
    if (std::fabs(u - n) < snapDistance) v = n - 0.5F;
}

/// The runs of a trapezoid, appended.
inline void cover(std::vector<Scan>& scans, float y1, float y2, float xl1, float xr1, float xl2, float xr2) {
    const float dy = y2 - y1;
    const float sl = (xl2 - xl1) / dy;
    const float sr = (xr2 - xr1) / dy;
    float ys = static_cast<float>(floorOf(y1)) + 0.5F;
    if (ys < y1) ys = ys + 1.0F;
    const float d = ys - y1;
    float xl = xl1 + sl * d + 0.499999F;
    float xr = xr1 + sr * d - 0.5F;
    while (y2 > ys) {
        if (floorOf(xl) <= floorOf(xr)) scans.push_back({floorOf(ys), floorOf(xl), floorOf(xr)});
        ys += 1.0F;
        xl += sl;
        xr += sr;
    }
}

inline std::vector<Scan> scansOf(Ring ring) {
    std::vector<Scan> scans;
    const std::size_t n = ring.size();
    if (n == 0) return scans;
    for (Point& p : ring) {
        snap(p.x);
        snap(p.y);
    }
    for (std::size_t i = 0; i < n; ++i) {
        const Point v = ring[i];
        Point& w = ring[(i + 1) % n];
        const float slope = (w.y - v.y) / (w.x - v.x);
        if (!(std::fabs(slope) >= snapDistance)) w.y = v.y;
    }
    const auto y = [&](std::size_t i) { return ring[i % n].y; };
    std::size_t top = 0;
    while (top < n && !(y(top + 1) < y(top))) ++top;
    if (top == n) return scans;
    while (y(top + 1) <= y(top)) ++top;
    Ring a{ring[top % n]};
    std::size_t v = top;
    while (y(v + 1) > y(v)) a.push_back(ring[++v % n]);
    while (y(v + 1) == y(v)) ++v;
    Ring b{ring[v % n]};
    while (y(v + 1) < y(v)) b.insert(b.begin(), ring[++v % n]);
    bool aIsLeft = a[0].x < b[0].x;
    if (a[0].x == b[0].x) aIsLeft = a.size() > 1 && b.size() > 1 && a[1].x < b[1].x;
    Ring& l = aIsLeft ? a : b;
    Ring& r = aIsLeft ? b : a;
    while (l.size() > 1 && r.size() > 1) {
        const float y1 = l[0].y;
        const float xl1 = l[0].x;
        const float xr1 = r[0].x;
        if (std::fabs(l[1].y - r[1].y) < snapDistance) {
            l[1].y = r[1].y;
            l.erase(l.begin());
            r.erase(r.begin());
        } else if (r[1].y > l[1].y) {
            const float f = (l[1].y - l[0].y) / (r[1].y - r[0].y);
            l.erase(l.begin());
            r[0].y = l[0].y;
            r[0].x = r[0].x + (r[1].x - r[0].x) * f;
        } else {
            const float f = (r[1].y - r[0].y) / (l[1].y - l[0].y);
            r.erase(r.begin());
            l[0].y = r[0].y;
            l[0].x = l[0].x + (l[1].x - l[0].x) * f;
        }
        cover(scans, y1, l[0].y, xl1, xr1, l[0].x, r[0].x);
    }
    return scans;
}

// Engines.

enum class Interpolation { nearest, bilinear, bicubic, general };

/// The samples of a picture in image coordinates, a position beside it answered by its nearest pixel.
struct Source {
    const Image& image;

    long ox() const { return static_cast<long>(image.originX); }
    long oy() const { return static_cast<long>(image.originY); }
    bool holds(long x, long y) const {
        return x + ox() >= 0 && x + ox() < static_cast<long>(image.width) && y + oy() >= 0 &&
               y + oy() < static_cast<long>(image.height);
    }
    int at(long x, long y, unsigned band) const {
        const long c = std::clamp(x + ox(), 0L, static_cast<long>(image.width) - 1);
        const long r = std::clamp(y + oy(), 0L, static_cast<long>(image.height) - 1);
        return static_cast<int>(image.at(static_cast<unsigned>(c), static_cast<unsigned>(r), band));
    }
};

struct Weights {
    long size = 0;
    long subsamples = 0;
    std::vector<float> data;

    const float* row(float fraction) const {
        const long i = static_cast<long>(static_cast<float>(subsamples) * fraction);
        return data.data() + std::min(i, subsamples - 1) * size;
    }
    long half() const { return (size - 1) / 2; }
};

/// A step of one axis, in 16.16 and in floats.
struct Axis {
    long whole = 0;
    unsigned fx = 0; ///< 16.16
    long step = 0;
    float fraction = 0;
    float floatStep = 0;

    Axis(float at, float by) {
        whole = static_cast<long>(std::floor(at));
        fx = static_cast<unsigned>(static_cast<long>(at * 65536) & 0xffff);
        step = static_cast<int>(by * 65536);
        fraction = at - std::floor(at);
        floatStep = by;
    }
    void fixedStep() {
        const unsigned df = static_cast<unsigned>(step & 0xffff);
        const unsigned n = 0x10000 - df;
        whole += step >> 16;
        if (fx < n) {
            fx += df;
        } else {
            ++whole;
            fx -= n;
        }
    }
    void floatingStep() {
        const float s = std::floor(floatStep);
        const float df = floatStep - s;
        const float cf = 1 - df;
        whole += static_cast<long>(s);
        if (fraction < cf) {
            fraction += df;
        } else {
            ++whole;
            fraction -= cf;
        }
    }
};

inline int cut(float v) { return static_cast<int>(v); }

inline int cubicStep(int m, int p0, int p1, int p2, float t, float T) {
    const int L = p0 + cut(static_cast<float>(p1 - p0) * t);
    const int S = (p1 + m) + cut(static_cast<float>((p2 + p0) - (p1 + m)) * t);
    const int D = L - (S >> 1);
    return L + cut(static_cast<float>(D) * T);
}

inline long clamped(const Image& image, long v) {
    return image.type == ORV_BYTE ? std::clamp(v, 0L, 0x7F80L) : std::clamp(v, -0x400000L, 0x3FFF80L);
}

class Engine {
public:
    Engine(const Image& src, const Image& dst, const std::array<float, 6>& p, Interpolation kind, Weights h, Weights v)
        : src_(src), dst_(dst), kind_(kind), h_(std::move(h)), v_(std::move(v)) {
        forward_ = {p[0], p[2], p[1], p[3], p[4], p[5]};
        inverse_ = inverse(forward_);
        BL_ = tableBL();
        BC_ = tableBC();
    }

    /// Samples of the destination as they are after the call, and what was written (image space).
    std::vector<double> result;
    Region touched;

    void run() {
        for (unsigned s = 0; s < dst_.sampleCount(); ++s) {
            result.push_back(dst_.data.empty() ? dst_.fill : dst_.data[s]);
        }
        for (const Rect& r : canonical(src_)) sourceRect(r);
    }

private:
    void sourceRect(const Rect& r) {
        constexpr double insets[] = {0, 0.5, 1.5, 0};
        constexpr double cuts[] = {0, 1, 3, 0};
        const double inset = insets[static_cast<int>(kind_)];
        const double less = cuts[static_cast<int>(kind_)];
        float left = static_cast<float>(inset - src_.originX);
        float top = static_cast<float>(inset - src_.originY);
        float right = static_cast<float>(src_.width - inset - src_.originX);
        float bottom = static_cast<float>(src_.height - inset - src_.originY);
        if (left > right) left = right = (left + right) * 0.5F;
        if (top > bottom) top = bottom = (top + bottom) * 0.5F;
        const float x1 = std::max(static_cast<float>(static_cast<double>(r.x) + inset), left);
        const float y1 = std::max(static_cast<float>(static_cast<double>(r.y) + inset), top);
        const float x2 = std::min(static_cast<float>(static_cast<double>(r.x + r.width) + inset - less), right);
        const float y2 = std::min(static_cast<float>(static_cast<double>(r.y + r.height) + inset - less), bottom);
        Ring ring{{x1, y1}, {x2, y1}, {x2, y2}, {x1, y2}};
        for (Point& p : ring) p = image(forward_, p);
        for (const Rect& d : canonical(dst_)) {
            Ring copy = ring;
            clip(copy, &Point::y, &Point::x, true, static_cast<float>(d.y));
            clip(copy, &Point::y, &Point::x, false, static_cast<float>(d.y + d.height));
            clip(copy, &Point::x, &Point::y, true, static_cast<float>(d.x));
            clip(copy, &Point::x, &Point::y, false, static_cast<float>(d.x + d.width));
            for (const Scan& scan : scansOf(copy)) runScan(scan, r);
        }
    }

    void runScan(const Scan& scan, const Rect& sourceRect) {
        touched.push_back({scan.x1, scan.y, scan.x2 - scan.x1 + 1, 1});
        const auto centre = [](long i) { return static_cast<float>(i) + 0.5F; };
        Point a = image(inverse_, {centre(scan.x1), centre(scan.y)});
        Point b = image(inverse_, {centre(scan.x2), centre(scan.y)});
        if (kind_ == Interpolation::bilinear || kind_ == Interpolation::bicubic) {
            a = {a.x - 0.5F, a.y - 0.5F};
            b = {b.x - 0.5F, b.y - 0.5F};
        }
        const float len = centre(scan.x2) - centre(scan.x1);
        const float dX = len == 0 ? 0 : (b.x - a.x) / len;
        const float dY = len == 0 ? 0 : (b.y - a.y) / len;
        Axis x(a.x, dX);
        Axis y(a.y, dY);
        const bool fixed =
            kind_ == Interpolation::nearest || (dst_.type == ORV_BIT && kind_ == Interpolation::bilinear);
        const bool stepsY = static_cast<int>(dY * 65536) != 0;
        for (long column = scan.x1; column <= scan.x2; ++column) {
            for (unsigned band = 0; band < std::min(src_.bands, dst_.bands); ++band) {
                pixel(x, y, band, sourceRect, column, scan.y);
            }
            if (fixed) {
                x.fixedStep();
                if (stepsY) y.fixedStep();
            } else {
                x.floatingStep();
                if (stepsY) y.floatingStep();
            }
        }
    }

    void pixel(const Axis& x, const Axis& y, unsigned band, const Rect& rect, long column, long row) {
        const long c = column + static_cast<long>(dst_.originX);
        const long r = row + static_cast<long>(dst_.originY);
        double& to = result[dst_.index(static_cast<unsigned>(c), static_cast<unsigned>(r), band)];
        const bool bits = dst_.type == ORV_BIT;
        switch (kind_) {
        case Interpolation::nearest:
            to = Source{src_}.at(x.whole, y.whole, band);
            return;
        case Interpolation::bilinear:
            to = bits ? areaBit(x, y, band) : bilinear(x, y, band);
            return;
        case Interpolation::bicubic:
            to = bits ? cubicBit(x, y, band) : bicubic(x, y, band);
            return;
        case Interpolation::general:
            general(x, y, band, rect, to);
        }
    }

    int wide(long x, long y, unsigned band) const { return Source{src_}.at(x, y, band) * 128; }

    double bilinear(const Axis& x, const Axis& y, unsigned band) const {
        const int a = wide(x.whole, y.whole, band);
        const int b = wide(x.whole + 1, y.whole, band);
        const int c = wide(x.whole, y.whole + 1, band);
        const int d = wide(x.whole + 1, y.whole + 1, band);
        const int top = a + cut(static_cast<float>(b - a) * x.fraction);
        const int bottom = c + cut(static_cast<float>(d - c) * x.fraction);
        return (top + cut(static_cast<float>(bottom - top) * y.fraction)) >> 7;
    }

    double bicubic(const Axis& x, const Axis& y, unsigned band) const {
        const auto weight = [](float f) { return static_cast<float>((1.0 - static_cast<double>(f)) * f); };
        int rows[4];
        for (long i = 0; i < 4; ++i) {
            const auto tap = [&](long j) { return wide(x.whole + j - 1, y.whole + i - 1, band); };
            rows[i] = cubicStep(tap(0), tap(1), tap(2), tap(3), x.fraction, weight(x.fraction));
        }
        const long v = cubicStep(rows[0], rows[1], rows[2], rows[3], y.fraction, weight(y.fraction));
        return static_cast<double>(clamped(dst_, v) >> 7);
    }

    void general(const Axis& x, const Axis& y, unsigned band, const Rect& rect, double& to) const {
        const bool bits = dst_.type == ORV_BIT;
        // Bits use the whole image's edges in storage, bytes and shorts those of image space and the current rectangle.
        const Source source{src_};
        const long w = src_.width;
        const long h = src_.height;
        const long xi = x.whole;
        const long yi = y.whole;
        const long L = bits ? -source.ox() : static_cast<long>(-src_.originX);
        const long R = bits ? w - source.ox() : static_cast<long>(static_cast<float>(w) - src_.originX);
        const long T = bits ? -source.oy() : static_cast<long>(-src_.originY);
        const long B = bits ? h - source.oy() : static_cast<long>(static_cast<float>(h) - src_.originY);
        const long hw = h_.half();
        const long hh = v_.half();
        long row0 = 0;
        long rows = 0;
        if (yi < T + hh) {
            row0 = bits ? T : rect.y;
            rows = yi - T + hh + 1;
        } else if (B - hh <= yi && yi < B) {
            row0 = yi - hh;
            rows = B - yi + hh;
        } else if (yi < B) {
            row0 = yi - hh;
            rows = v_.size;
        } else {
            return;
        }
        long column0 = 0;
        long columns = 0;
        if (xi < L + hw) {
            column0 = bits ? L : rect.x;
            columns = xi - L + hw + 1;
        } else if (xi < R - hw) {
            column0 = xi - hw;
            columns = h_.size;
        } else {
            column0 = xi - hw;
            columns = R - xi + hw;
        }
        const float* hrow = h_.row(x.fraction);
        const float* vrow = v_.row(y.fraction);
        if (bits) {
            float sum = 0;
            for (long i = 0; i < rows; ++i) {
                float line = 0;
                for (long j = 0; j < columns; ++j) {
                    if (!source.holds(column0 + j, row0 + i)) continue;
                    if (source.at(column0 + j, row0 + i, band) != 0) line += hrow[j];
                }
                sum = static_cast<float>(sum + static_cast<double>(line) * vrow[i]);
            }
            to = sum > 0.5 ? 1 : 0;
            return;
        }
        long sum = 0;
        for (long i = 0; i < rows; ++i) {
            long line = 0;
            for (long j = 0; j < columns; ++j) {
                line += cut(static_cast<float>(wide(column0 + j, row0 + i, band)) * hrow[j]);
            }
            sum += cut(static_cast<float>(line) * vrow[i]);
        }
        to = static_cast<double>(clamped(dst_, sum) >> 7);
    }

    // Bits.

    static std::vector<int> tableBL() {
        std::vector<int> table;
        for (int u = 0; u < 16; ++u) {
            for (int v = 0; v < 16; ++v) {
                for (int p = 0; p < 16; ++p) {
                    const int p8 = (p & 8) * 2;
                    const int p4 = (p & 4) * 4;
                    const int p2 = (p & 2) * 8;
                    const int p1 = (p & 1) * 16;
                    const float fu = static_cast<float>(u) / 15;
                    const float fv = static_cast<float>(v) / 15;
                    const int V0 = p8 + cut(static_cast<float>(p4 - p8) * fu);
                    const int V1 = p2 + cut(static_cast<float>(p1 - p2) * fu);
                    table.push_back(V0 + cut(static_cast<float>(V1 - V0) * fv));
                }
            }
        }
        return table;
    }

    static std::vector<int> tableBC() {
        std::vector<int> table;
        for (int u = 0; u < 16; ++u) {
            for (int p = 0; p < 16; ++p) {
                const float f = static_cast<float>(u) / 15;
                const float one = 1 - f;
                const float T = one * f;
                table.push_back(cubicStep((p & 8) * 2, (p & 4) * 4, (p & 2) * 8, (p & 1) * 16, f, T));
            }
        }
        return table;
    }

    double areaBit(const Axis& x, const Axis& y, unsigned band) const {
        const auto at = [&](long dx, long dy) { return Source{src_}.at(x.whole + dx, y.whole + dy, band); };
        const int corners[4] = {at(0, 0), at(1, 0), at(0, 1), at(1, 1)}; // by quadrant
        const double fx = x.fx / 65536.0;
        const double fy = y.fx / 65536.0;
        const int q = (fx > 0.5 ? 1 : 0) + (fy > 0.5 ? 2 : 0);
        // A lone corner is one that differs from three that agree.
        const int set = corners[0] + corners[1] + corners[2] + corners[3];
        const int lone = set == 1 ? 1 : 0;
        if ((set != 1 && set != 3) || corners[3 - q] != lone) return corners[q];
        switch (q) {
        case 0:
            return (1 - fx) * (1 - fy) <= 0.5 ? corners[3] : corners[0];
        case 1:
            return 0.5 < (1 - fy) * fx ? corners[1] : corners[3];
        case 2:
            return 0.5 < (1 - fx) * fy ? corners[2] : corners[3];
        default:
            return fx * fy <= 0.5 ? corners[2] : corners[3];
        }
    }

    double cubicBit(const Axis& x, const Axis& y, unsigned band) const {
        const auto at = [&](long dx, long dy) { return Source{src_}.at(x.whole + dx, y.whole + dy, band); };
        const int fx = std::min(15, static_cast<int>(16 * x.fraction));
        const int fy = std::min(15, static_cast<int>(16 * y.fraction));
        const auto BL = [&](int index) { return BL_[static_cast<std::size_t>(index)]; };
        const int L = BL((fx << 8) + (fy << 4) + at(0, 0) * 8 + at(1, 0) * 4 + at(0, 1) * 2 + at(0, 0));
        const auto R = [&](long dy) {
            const int pattern = at(-1, dy) * 8 + at(0, dy) * 4 + at(1, dy) * 2 + at(2, dy);
            return BC_[static_cast<std::size_t>((fx << 4) | pattern)];
        };
        const int S = (R(1) + R(-1)) + static_cast<int>(((R(2) + R(0)) - (R(1) + R(-1))) * fy / 15.0);
        const int D = L - (S >> 1);
        return L + static_cast<int>(D * ((15 - fy) * fy) / 225.0) > 7 ? 1 : 0;
    }

    const Image& src_;
    const Image& dst_;
    Interpolation kind_;
    Weights h_;
    Weights v_;
    Matrix forward_{};
    Matrix inverse_{};
    std::vector<int> BL_;
    std::vector<int> BC_;
};

// Fast paths.

inline bool singular(const std::array<float, 6>& p) {
    return std::fabs(double{p[3]} * p[0] - double{p[2]} * p[1]) < 0.0001;
}

/// Whether a transform takes a path of its own. `kind` counts the ways of interpolation.
inline bool fastPath(const std::string& name, const std::array<float, 6>& p, OrvDataType type, int kind) {
    if (type == ORV_BIT) return false;
    if (name == "translate") return kind == 0;
    if (name != "scale" || kind > 1) return false;
    return (kind == 1 || type == ORV_BYTE) && std::fabs(p[0] - p[3]) < 0.01F &&
           (std::fabs(p[0] - 2) < 0.001F || std::fabs(p[0] - 0.5F) < 0.001F);
}

/// Samples that are read, and samples that are written.
struct Pair {
    const Image& s;
    const Image& d;
    std::vector<double> result;

    long sx(long x) const { return x + static_cast<long>(s.originX); }
    long sy(long y) const { return y + static_cast<long>(s.originY); }
    double from(long column, long row, unsigned band) const {
        return s.at(static_cast<unsigned>(std::clamp(column, 0L, static_cast<long>(s.width) - 1)),
                    static_cast<unsigned>(std::clamp(row, 0L, static_cast<long>(s.height) - 1)), band);
    }
    double& to(long x, long y, unsigned band) {
        return result[d.index(static_cast<unsigned>(x + static_cast<long>(d.originX)),
                              static_cast<unsigned>(y + static_cast<long>(d.originY)), band)];
    }
};

/// The pixels of two regions in image space, the first scaled, as canonical rectangles.
inline std::vector<Rect> scaledRects(const Image& s, const Image& d, double sx, double sy) {
    Image both = d;
    both.roi = Region{};
    const std::vector<Rect> sources = canonical(s);
    const long ox = static_cast<long>(d.originX);
    const long oy = static_cast<long>(d.originY);
    for (const Rect& t : canonical(d)) {
        for (const Rect& r : sources) {
            const auto low = [](long v, double by) {
                return static_cast<long>(std::floor(static_cast<double>(v) * by));
            };
            const auto high = [](long v, double by) {
                return static_cast<long>(std::ceil(static_cast<double>(v) * by));
            };
            const long x1 = std::max(t.x, low(r.x, sx));
            const long y1 = std::max(t.y, low(r.y, sy));
            const long x2 = std::min(t.x + t.width, high(r.x + r.width, sx));
            const long y2 = std::min(t.y + t.height, high(r.y + r.height, sy));
            if (x1 < x2 && y1 < y2) both.roi->push_back({x1 + ox, y1 + oy, x2 - x1, y2 - y1});
        }
    }
    return canonical(both);
}

inline void shift(Pair& p, float tx, float ty, unsigned bands) {
    const long dx = static_cast<long>(std::floor(tx + 0.5F));
    const long dy = static_cast<long>(std::floor(ty + 0.5F));
    for (const Rect& r : canonical(p.s)) {
        for (const Rect& t : canonical(p.d)) {
            for (long y = t.y; y < t.y + t.height; ++y) {
                for (long x = t.x; x < t.x + t.width; ++x) {
                    if (x - dx < r.x || x - dx >= r.x + r.width || y - dy < r.y || y - dy >= r.y + r.height) continue;
                    for (unsigned b = 0; b < bands; ++b) p.to(x, y, b) = p.from(p.sx(x - dx), p.sy(y - dy), b);
                }
            }
        }
    }
}

inline long floorHalf(long v) { return v >= 0 ? v / 2 : -((1 - v) / 2); }

inline void repeat(Pair& p, const std::vector<Rect>& rects, unsigned bands) {
    for (const Rect& r : rects) {
        for (long y = r.y; y < r.y + r.height; ++y) {
            for (long x = r.x; x < r.x + r.width; ++x) {
                for (unsigned b = 0; b < bands; ++b) p.to(x, y, b) = p.from(p.sx(floorHalf(x)), p.sy(floorHalf(y)), b);
            }
        }
    }
}

inline void average(Pair& p, const std::vector<Rect>& rects, unsigned bands) {
    for (const Rect& r : rects) {
        for (long y = r.y; y < r.y + r.height; ++y) {
            for (long x = r.x; x < r.x + r.width; ++x) {
                for (unsigned b = 0; b < bands; ++b) {
                    double sum = 0;
                    for (const auto& [i, j] : {std::pair{0, 0}, {1, 0}, {0, 1}, {1, 1}}) {
                        sum += p.from(p.sx(2 * x) + i, p.sy(2 * y) + j, b);
                    }
                    p.to(x, y, b) = std::floor(sum / 4);
                }
            }
        }
    }
}

/// Groups of four and a tail, counted as they are told.
inline long columnsOf(const Pair& p, const Rect& r) {
    long rem = r.width & 3;
    long quads = r.width >> 2;
    const double last = static_cast<double>(p.sx(0)) + static_cast<double>(r.x + r.width - 1) * 0.5;
    if (p.s.width - 1 < last) {
        if (r.width < 4) return r.width - 1;
        --quads;
        rem = 4;
    }
    long columns = 0;
    if (r.x % 2 != 0) {
        ++columns;
        if (rem == 0) {
            rem = 3;
            --quads;
        } else {
            --rem;
        }
    }
    return columns + quads * 4 + (rem == 4 ? 3 : rem);
}

inline void enlarge(Pair& p, const std::vector<Rect>& rects, unsigned bands) {
    for (const Rect& r : rects) {
        const long columns = columnsOf(p, r);
        long rows = r.height;
        if (p.s.height - 1 < static_cast<double>(p.sy(0)) + static_cast<double>(r.y + rows - 1) * 0.5) --rows;
        for (long y = r.y; y < r.y + rows; ++y) {
            for (long x = r.x; x < r.x + columns; ++x) {
                for (unsigned b = 0; b < bands; ++b) {
                    const long i = p.sx(floorHalf(x));
                    const long j = p.sy(floorHalf(y));
                    const auto E = [&](long row) {
                        if (x % 2 == 0) return p.from(i, row, b);
                        return std::floor((p.from(i, row, b) + p.from(i + 1, row, b)) / 2);
                    };
                    p.to(x, y, b) = y % 2 == 0 ? E(j) : std::floor((E(j) + E(j + 1)) / 2);
                }
            }
        }
    }
}

} // namespace geometrymodel
