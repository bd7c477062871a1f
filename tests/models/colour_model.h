// What a colour conversion makes of one pixel, written out pair by pair in a wider format than the device's. Slow and
// obvious on purpose; shared by the tests of the row functions and of the op.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

namespace colourmodel {

using Wide = long double;

enum Opcode { rgblinear = 1, rgb709, photoycc, ycc601, ycc709, ylinear, y601, y709, cmy, cmyk };

inline const std::array<int, 10> opcodes = {rgblinear, rgb709, photoycc, ycc601, ycc709,
                                            ylinear,   y601,   y709,     cmy,    cmyk};

inline int bands(int space) { return space == cmyk ? 4 : space == ylinear || space == y601 || space == y709 ? 1 : 3; }
inline bool isYcc(int space) { return space == photoycc || space == ycc601 || space == ycc709; }
inline bool isY(int space) { return space == y601 || space == y709; }

/// A sample of the result. At a rounding edge the device, which holds some steps in single precision, may come out one
/// beside it.
struct Sample {
    int value;
    bool edge = false;
};
using Samples = std::vector<Sample>;

inline Wide transfer(Wide x) {
    if (x >= 0.018L) return 1.099L * powl(x, 0.45L) - 0.099L;
    if (x <= -0.018L) return -1.099L * powl(-x, 0.45L) + 0.099L;
    return 4.5L * x;
}

inline Wide inverse(Wide v) {
    if (v >= 0.081L) return powl((v + 0.099L) / 1.099L, 2.222L);
    if (v <= -0.081L) return -powl((v - 0.099L) / -1.099L, 2.222L);
    return v * 0.222L;
}

inline int nearest(Wide v) { return static_cast<int>(std::floor(std::clamp(v, 0.0L, 1.0L) * 255 + 0.5L)); }
inline int gammaByte(int i) { return nearest(transfer(i / 255.0L)); }
inline int linearByte(int i) { return nearest(inverse(i / 255.0L)); }

struct Three {
    Wide r, g, b;
};

inline Wide weigh(bool by709, Three v) {
    return by709 ? 0.2125L * v.r + 0.7154L * v.g + 0.0721L * v.b : 0.299L * v.r + 0.587L * v.g + 0.114L * v.b;
}

/// One conversion at one depth.
class Model {
public:
    Model(int from, int to, int bits) : from_(from), to_(to), bits_(bits) {}

    Samples of(const std::vector<int>& s) const { return bits_ == 8 ? bytes(s) : shorts(s); }

private:
    int from_, to_, bits_;

    bool eight() const { return bits_ == 8; }
    int low() const { return eight() ? 0 : -32768; }
    int high() const { return eight() ? 255 : 32767; }
    int complement(int s) const { return low() + high() - s; }

    /// Half away from zero, then the clamp.
    Sample round(Wide v) const {
        const Wide half = v >= 0 ? v + 0.5L : v - 0.5L;
        const Wide slack = eight() ? 2e-4L : 2e-2L;
        const bool edge = std::fabs(half - std::round(half)) < slack;
        return {static_cast<int>(std::trunc(std::clamp<Wide>(half, low(), high()))), edge};
    }
    Sample scaled(Wide v) const { return round(eight() ? 255 * v : 65535 * v - 32768); }
    Wide normal(int s) const { return eight() ? s / 255.0L : (s + 32768) / 65535.0L; }

    static Samples plain(const std::vector<int>& values) {
        Samples result;
        for (int v : values) result.push_back({v});
        return result;
    }
    Samples three(Sample v) const { return {v, v, v}; }
    Samples withBlack(Samples v) const {
        if (to_ == cmyk) v.push_back({low()});
        return v;
    }
    Samples rounded(Wide a, Wide b, Wide c) const { return {round(a), round(b), round(c)}; }

    // Luma and chroma.

    struct Luma {
        Wide y, c1, c2;
    };
    Samples encode(Luma v, int space) const {
        if (eight()) {
            if (space == photoycc) return rounded(181.883L * v.y, 111.4L * v.c1 + 156, 135.64L * v.c2 + 137);
            if (space == ycc601) return rounded(219 * v.y + 16, 126 * v.c1 + 128, 160 * v.c2 + 128);
            return rounded(219 * v.y + 16, 121 * v.c1 + 128, 142 * v.c2 + 128);
        }
        if (space == photoycc) {
            return rounded(46743.937L * v.y - 32768, 28518.4L * v.c1 + 7168, 34723.84L * v.c2 + 2304);
        }
        if (space == ycc601) return rounded(56064 * v.y - 28672, 32256 * v.c1, 40960 * v.c2);
        return rounded(56064 * v.y - 28672, 30976 * v.c1, 36352 * v.c2);
    }
    Samples encodeRgb(Three v, int space) const {
        const Wide y = weigh(space == ycc709, v);
        return encode({y, v.b - y, v.r - y}, space);
    }
    Samples encodeY(Wide y) const { return {round(eight() ? 219 * y + 16 : 56064 * y - 28672)}; }
    Luma decode(const std::vector<int>& s) const {
        const Wide y = s[0], a = s[1], b = s[2];
        if (eight()) {
            if (from_ == photoycc) return {y / 181.883L, (a - 156) / 111.4L, (b - 137) / 135.64L};
            if (from_ == ycc601) return {(y - 16) / 219, (a - 128) / 126, (b - 128) / 160};
            return {(y - 16) / 219, (a - 128) / 121, (b - 128) / 142};
        }
        if (from_ == photoycc) {
            return {(y + 32768) / 46743.9375L, (a - 7168) / 28518.400390625L, (b - 2304) / 34723.83984375L};
        }
        if (from_ == ycc601) return {(y + 28672) / 56064, a / 32256, b / 40960};
        return {(y + 28672) / 56064, a / 30976, b / 36352};
    }
    Three toRgb(Luma v) const {
        const bool by709 = from_ == ycc709;
        return {v.y + v.c2, v.y - (by709 ? 0.101L : 0.194L) * v.c1 - (by709 ? 0.297L : 0.509L) * v.c2, v.y + v.c1};
    }

    /// A nonlinear value as a linear byte, by the bits of its single-precision form.
    static int linearByKey(float v) {
        std::uint32_t bits;
        std::memcpy(&bits, &v, sizeof bits);
        const int key = std::clamp(static_cast<int>((bits >> 13) & 0x1fff), 0xd2b, 0x1c08);
        const std::uint32_t exponent = 0x78U | static_cast<std::uint32_t>(key >> 10);
        const std::uint32_t edge = exponent << 23 | static_cast<std::uint32_t>(key & 1023) << 13;
        float lowest;
        std::memcpy(&lowest, &edge, sizeof lowest);
        return nearest(inverse(static_cast<Wide>(lowest)));
    }
    Sample linear8(Wide v) const {
        const auto one = [this](Wide x) {
            return x >= 0.081L ? linearByKey(static_cast<float>(x)) : round(x * 56.61L).value;
        };
        const Wide slack = 4e-7L * std::max<Wide>(1, std::fabs(v));
        const int value = one(v);
        return {value, one(v - slack) != value || one(v + slack) != value};
    }
    Sample inverted(Sample v) const { return {complement(v.value), v.edge}; }

    Samples bytes(const std::vector<int>& s) const {
        if (from_ == rgblinear || from_ == cmy || from_ == cmyk) return bytesFromLinear(s);
        if (from_ == rgb709) return bytesFromRgb(s);
        if (isYcc(from_)) return bytesFromYcc(s);
        if (from_ == ylinear) return bytesFromGrey(s[0]);
        return bytesFromY(s[0]);
    }

    Samples bytesFromLinear(const std::vector<int>& s) const {
        if (from_ == cmyk && to_ == cmy) return plain({(s[0] + s[3]) % 256, (s[1] + s[3]) % 256, (s[2] + s[3]) % 256});
        if (from_ == cmy && to_ == cmyk) return plain({s[0], s[1], s[2], 0});
        int r = s[2], g = s[1], b = s[0];
        if (from_ == cmy) r = 255 - s[0], g = 255 - s[1], b = 255 - s[2];
        if (from_ == cmyk) {
            r = 255 - std::min(255, s[0] + s[3]);
            g = 255 - std::min(255, s[1] + s[3]);
            b = 255 - std::min(255, s[2] + s[3]);
        }
        const Three coded{Wide(gammaByte(r)), Wide(gammaByte(g)), Wide(gammaByte(b))};
        switch (to_) {
        case rgblinear:
            return plain({b, g, r});
        case rgb709:
            return plain({gammaByte(b), gammaByte(g), gammaByte(r)});
        case cmy:
        case cmyk:
            return withBlack(plain({255 - r, 255 - g, 255 - b}));
        case ylinear:
            return {round(weigh(false, {Wide(r), Wide(g), Wide(b)}))};
        case y601:
        case y709:
            if (from_ == rgblinear) return {round(weigh(to_ == y709, coded) * 0.8588L + 16)};
            return encodeY(weigh(to_ == y709, {transfer(r / 255.0L), transfer(g / 255.0L), transfer(b / 255.0L)}));
        default:
            return encodeRgb({coded.r / 255, coded.g / 255, coded.b / 255}, to_);
        }
    }

    Samples bytesFromRgb(const std::vector<int>& s) const {
        const int r = linearByte(s[2]), g = linearByte(s[1]), b = linearByte(s[0]);
        switch (to_) {
        case rgblinear:
            return plain({b, g, r});
        case cmy:
        case cmyk:
            return withBlack(plain({255 - r, 255 - g, 255 - b}));
        case ylinear:
            return {round(weigh(false, {Wide(r), Wide(g), Wide(b)}))};
        case y601:
        case y709:
            return {round(weigh(to_ == y709, {Wide(s[2]), Wide(s[1]), Wide(s[0])}) * 0.8588L + 16)};
        default:
            return encodeRgb({s[2] / 255.0L, s[1] / 255.0L, s[0] / 255.0L}, to_);
        }
    }

    static int photo(int sum) { return sum < 0 ? 0 : std::min(sum / 4096, 255); }

    Samples bytesFromYcc(const std::vector<int>& s) const {
        if (from_ == photoycc && to_ == rgb709) {
            const int y = 5743 * s[0];
            return plain({photo(y + 9376 * s[1] - 1462647), photo(y + (283754 - 1819 * s[1]) + (536971 - 3919 * s[2])),
                          photo(y + 7700 * s[2] - 1054953)});
        }
        if (Samples direct; yccToYcc(s, direct)) return direct;
        const Three v = toRgb(decode(s));
        const Sample r = linear8(v.r), g = linear8(v.g), b = linear8(v.b);
        switch (to_) {
        case rgblinear:
            return {b, g, r};
        case rgb709:
            return {scaled(v.b), scaled(v.g), scaled(v.r)};
        case cmy:
        case cmyk:
            return withBlack({inverted(r), inverted(g), inverted(b)});
        default: {
            Sample y = round(weigh(false, {Wide(r.value), Wide(g.value), Wide(b.value)}));
            y.edge = y.edge || r.edge || g.edge || b.edge;
            return {y};
        }
        }
    }

    /// The destinations of luma, the same at both depths.
    bool yccToYcc(const std::vector<int>& s, Samples& result) const {
        const Luma luma = decode(s);
        if ((from_ == ycc601 && to_ == y601) || (from_ == ycc709 && to_ == y709)) {
            result = plain({s[0]});
        } else if (from_ == photoycc && to_ == y601) {
            result = encodeY(luma.y);
        } else if (isY(to_)) {
            result = encodeY(weigh(to_ == y709, toRgb(luma)));
        } else if ((from_ == photoycc && to_ == ycc601) || (from_ == ycc601 && to_ == photoycc)) {
            result = encode(luma, to_);
        } else if (isYcc(to_)) {
            result = encodeRgb(toRgb(luma), to_);
        } else {
            return false;
        }
        return true;
    }

    /// The destinations that the two depths reach alike from linear grey.
    Samples fromGrey(int s) const {
        const Wide v = transfer(normal(s));
        switch (to_) {
        case rgblinear:
            return plain({s, s, s});
        case cmy:
        case cmyk:
            return withBlack(plain({complement(s), complement(s), complement(s)}));
        case photoycc:
            return encode({v, 0, 0}, photoycc);
        case ycc601:
        case ycc709:
            return encodeRgb({v, v, v}, to_);
        default:
            return encodeY(v);
        }
    }
    Samples bytesFromGrey(int s) const {
        if (to_ == rgb709) return plain({gammaByte(s), gammaByte(s), gammaByte(s)});
        return fromGrey(s);
    }

    Wide decodeY(int s) const { return eight() ? (s - 16) / 219.0L : (s + 28672) / 56064.0L; }

    Samples fromY(int s) const {
        const Wide v = decodeY(s);
        if (isY(to_)) return plain({s});
        if (to_ == rgb709) return three(scaled(v));
        const bool coloured = from_ == y601 && (to_ == photoycc || to_ == ycc709);
        return coloured ? encodeRgb({v, v, v}, to_) : encode({v, 0, 0}, to_);
    }
    Samples bytesFromY(int s) const {
        const Sample linear = linear8(decodeY(s));
        if (to_ == rgblinear) return three(linear);
        if (to_ == cmy || to_ == cmyk) return withBlack(three(inverted(linear)));
        if (to_ == ylinear) return {linear};
        return fromY(s);
    }

    Samples shorts(const std::vector<int>& s) const {
        if (from_ == rgblinear || from_ == cmy || from_ == cmyk) return shortsFromLinear(s);
        if (from_ == ylinear) {
            return to_ == rgb709 ? three(scaled(transfer(normal(s[0])))) : fromGrey(s[0]);
        }
        if (isY(from_)) {
            const Wide v = inverse(decodeY(s[0]));
            if (to_ == rgblinear || to_ == ylinear || to_ == cmy || to_ == cmyk) return fromLinear({v, v, v});
            return fromY(s[0]);
        }
        if (from_ == rgb709) {
            const Three v{normal(s[2]), normal(s[1]), normal(s[0])};
            if (isYcc(to_)) return encodeRgb(v, to_);
            if (isY(to_)) return encodeY(weigh(to_ == y709, v));
            return fromLinear({inverse(v.r), inverse(v.g), inverse(v.b)});
        }
        if (Samples direct; yccToYcc(s, direct)) return direct;
        const Three v = toRgb(decode(s));
        if (to_ == rgb709) return {scaled(v.b), scaled(v.g), scaled(v.r)};
        return fromLinear({inverse(v.r), inverse(v.g), inverse(v.b)});
    }

    /// Linear values to the spaces that are linear themselves.
    Samples fromLinear(Three v) const {
        if (to_ == rgblinear) return {scaled(v.b), scaled(v.g), scaled(v.r)};
        if (to_ == ylinear) return {scaled(weigh(false, v))};
        return withBlack({scaled(1 - v.r), scaled(1 - v.g), scaled(1 - v.b)});
    }

    static int wrapped(int sum) { return static_cast<std::int16_t>(static_cast<std::uint16_t>(sum & 0xffff)); }

    Samples shortsFromLinear(const std::vector<int>& s) const {
        if (from_ == cmyk && to_ == cmy) {
            return plain({wrapped(s[0] + s[3]), wrapped(s[1] + s[3]), wrapped(s[2] + s[3])});
        }
        if (from_ == cmy && to_ == cmyk) return plain({s[0], s[1], s[2], -32768});
        if (from_ == rgblinear && (to_ == cmy || to_ == cmyk)) {
            return withBlack(plain({complement(s[2]), complement(s[1]), complement(s[0])}));
        }
        if (from_ == rgblinear && to_ == ylinear) return {round(weigh(false, {Wide(s[2]), Wide(s[1]), Wide(s[0])}))};
        Three v{normal(s[2]), normal(s[1]), normal(s[0])};
        if (from_ == cmy) v = {1 - normal(s[0]), 1 - normal(s[1]), 1 - normal(s[2])};
        if (from_ == cmyk) {
            const Wide k = normal(s[3]);
            v = {1 - std::min(1.0L, normal(s[0]) + k), 1 - std::min(1.0L, normal(s[1]) + k),
                 1 - std::min(1.0L, normal(s[2]) + k)};
        }
        if (to_ == rgblinear || to_ == ylinear) return fromLinear(v);
        const Three coded{transfer(v.r), transfer(v.g), transfer(v.b)};
        if (to_ == rgb709) return {scaled(coded.b), scaled(coded.g), scaled(coded.r)};
        if (isY(to_)) return encodeY(weigh(to_ == y709, coded));
        return encodeRgb(coded, to_);
    }
};

} // namespace colourmodel
