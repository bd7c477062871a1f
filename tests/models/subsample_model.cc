// Subsampling collects, pixel by pixel, what falls on each destination pixel.
#include <algorithm>
#include <cmath>
#include <map>

#include "models/Answers.h"

namespace orvmodel {
namespace {

/// Scales that leave something and do not enlarge much, from one image to another.
void onlyOrdinary(const orvcase::Call& call) {
    onlyApart(call);
    for (const unsigned i : {0U, 1U}) {
        const float scale = call.params[i].real;
        if (!(scale >= 0.04F && scale <= 1.6F)) throw Unanswered{};
    }
}

/// The source positions of one axis by the destination position that they fall on, in order.
using Spans = std::map<long, std::vector<long>>;

Spans spansOf(long first, long size, float scale) {
    Spans spans;
    for (long at = first; at < first + size; ++at) {
        spans[static_cast<long>(static_cast<double>(at) * static_cast<double>(scale))].push_back(at);
    }
    return spans;
}

/// Squares from the first position on.
Spans squaresOf(long first, long size, float scale, long side) {
    const long to = static_cast<long>(static_cast<double>(first) * static_cast<double>(scale));
    Spans spans;
    for (long k = 0; k < size; ++k) spans[to + k / side].push_back(first + k);
    return spans;
}

bool holds(const std::vector<Rect>& rects, long x, long y) {
    return std::any_of(rects.begin(), rects.end(),
                       [&](const Rect& r) { return x >= r.x && x < r.x + r.width && y >= r.y && y < r.y + r.height; });
}

std::vector<double> boxSamples(const Scene& scene, const std::string& s, const std::vector<long>& columns,
                               const std::vector<long>& rows, unsigned band) {
    std::vector<double> samples;
    for (const long y : rows) {
        for (const long x : columns) samples.push_back(scene.at(s, x, y, band));
    }
    return samples;
}

double meanOf(const std::vector<double>& samples, double high) {
    float sum = 0;
    for (const double v : samples) sum += static_cast<float>(v);
    const float mean = static_cast<float>(double{sum} / static_cast<double>(samples.size()));
    return mean < 0 ? 0 : std::min(high, std::trunc(static_cast<double>(mean)));
}

void touch(const orvcase::Case& c, const orvcase::Call& call, Scene& scene) {
    if (!c.image(call.dst).io) return scene.touchNone(call.dst);
    const double sx = static_cast<double>(call.params[0].real);
    const double sy = static_cast<double>(call.params[1].real);
    std::vector<Rect> scaled;
    for (const Rect& r : scene.region(call.src[0])) {
        const auto low = [](long at, double scale) {
            return static_cast<long>(std::floor(static_cast<double>(at) * scale));
        };
        const auto high = [](long at, double scale) {
            return static_cast<long>(std::ceil(static_cast<double>(at) * scale));
        };
        scaled.push_back({low(r.x, sx), low(r.y, sy), high(r.x + r.width, sx) - low(r.x, sx),
                          high(r.y + r.height, sy) - low(r.y, sy)});
    }
    std::vector<Rect> touched;
    for (const Rect& r : scene.region(call.dst)) {
        for (long y = r.y; y < r.y + r.height; ++y) {
            for (long x = r.x; x < r.x + r.width; ++x) {
                if (holds(scaled, x, y)) touched.push_back({x, y, 1, 1});
            }
        }
    }
    scene.touch(call.dst, touched);
}

/// A count brought to the scale of the largest box.
double rescaled(long count, long w, long h, long wmax, long hmax, long wmin, long hmin) {
    const auto share = [&](long of) { return static_cast<double>(static_cast<float>(count) / static_cast<float>(of)); };
    double value = 0;
    if (w == wmax && h == hmax) {
        value = static_cast<double>(count);
    } else if (w == wmax && h == hmin) {
        value = static_cast<double>(hmax) * share(hmin);
    } else if (w == wmin && h == hmax) {
        value = static_cast<double>(wmax) * share(wmin);
    } else if (w == wmin && h == hmin) {
        value = static_cast<double>(wmax * hmax) * share(wmin * hmin);
    } else {
        value = share(w * h) * static_cast<double>(wmax * hmax);
    }
    return std::min(255.0, std::trunc(value));
}

} // namespace

void answerSubsampleAdaptive(const orvcase::Case& c, orvcase::Call& call, Scene& scene) {
    onlyOrdinary(call);
    const std::string& s = call.src[0];
    const std::string& d = call.dst;
    const OrvDataType type = c.image(s).type;
    const auto targets = scene.region(d);
    for (const Rect& rect : scene.region(s)) {
        for (const auto& [y, rows] : spansOf(rect.y, rect.height, call.params[1].real)) {
            for (const auto& [x, columns] : spansOf(rect.x, rect.width, call.params[0].real)) {
                if (!holds(targets, x, y)) continue;
                for (unsigned b = 0; b < scene.bands(d); ++b) {
                    const auto samples = boxSamples(scene, s, columns, rows, b);
                    if (type == ORV_BIT) {
                        const auto set = std::count(samples.begin(), samples.end(), 1.0);
                        scene.put(d, x, y, b,
                                  static_cast<double>(set) / static_cast<double>(samples.size()) > 0.5 ? 1 : 0);
                    } else {
                        scene.put(d, x, y, b, meanOf(samples, type == ORV_BYTE ? 255 : 32767));
                    }
                }
            }
        }
    }
    touch(c, call, scene);
    call.expect.live = {.lists = 0, .rois = 0, .images = 0};
}

void answerSubsampleCounts(const orvcase::Case& c, orvcase::Call& call, Scene& scene) {
    onlyOrdinary(call);
    const std::string& s = call.src[0];
    const std::string& d = call.dst;
    const float sx = call.params[0].real;
    const float sy = call.params[1].real;
    const orvcase::Image& source = c.image(s);
    const orvcase::Image& target = c.image(d);
    const unsigned offset = source.parent.empty() ? source.offset : (c.image(source.parent).offset + source.atX) % 8;
    const unsigned pixel = (target.parent.empty() ? target : c.image(target.parent)).samplesPerPixel();
    const bool plain = source.bands == 1 && target.bands == 1 && offset == 0 && pixel == 1;
    const auto third = [](float f) { return f > 0.32F && f < 0.34F; };
    long side = 0;
    if (plain && third(sx) && third(sy)) side = 3;
    if (plain && sx == 0.5F && sy == 0.5F) side = 2;
    if (plain && sx == 0.25F && sy == 0.25F) side = 4;
    const float ix = 1.0F / sx;
    const float iy = 1.0F / sy;
    const auto targets = scene.region(d);
    for (const Rect& rect : scene.region(s)) {
        const long toX = static_cast<long>(static_cast<double>(rect.x) * static_cast<double>(sx));
        const bool squares = side != 0 && (rect.x + scene.originX(s)) % 8 == 0 && (toX + scene.originX(d)) % 8 == 0;
        const auto rowSpans = squares ? squaresOf(rect.y, rect.height, sy, side) : spansOf(rect.y, rect.height, sy);
        const auto columnSpans = squares ? squaresOf(rect.x, rect.width, sx, side) : spansOf(rect.x, rect.width, sx);
        for (const auto& [y, rows] : rowSpans) {
            for (const auto& [x, columns] : columnSpans) {
                if (!holds(targets, x, y)) continue;
                const long w = static_cast<long>(columns.size());
                const long h = static_cast<long>(rows.size());
                for (unsigned b = 0; b < scene.bands(d); ++b) {
                    const auto samples = boxSamples(scene, s, columns, rows, b);
                    const long set = std::count(samples.begin(), samples.end(), 1.0);
                    scene.put(d, x, y, b,
                              squares ? rescaled(set, w, h, side, side, -1, -1)
                                      : rescaled(set, w, h, static_cast<long>(static_cast<double>(ix) + 0.9999),
                                                 static_cast<long>(static_cast<double>(iy) + 0.9999),
                                                 static_cast<long>(ix), static_cast<long>(iy)));
                }
            }
        }
    }
    touch(c, call, scene);
    call.expect.live = {.lists = 0, .rois = 0, .images = 0};
}

} // namespace orvmodel
