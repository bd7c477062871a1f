// Two images mixed under the alpha image of one band: (1 - alpha) of the first and alpha of the second.

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <iterator>

#include "memory/frame/Frame.h"
#include "memory/frame/LazyTable.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/apart_rows.h"
#include "memory/frame/bit_blocks.h"
#include "memory/frame/gaps.h"
#include "memory/frame/lanes.h"
#include "memory/frame/numbers.h"
#include "memory/frame/orv_bit_utils.h"
#include "memory/frame/row_moves.h"
#include "memory/frame/sample_bits.h"
#include "memory/frame/sample_rows.h"
#include "memory/frame/walk.h"

namespace {

using namespace orvi;
using Byte = std::uint8_t;
using Short = std::int16_t;

template <class T, class Alpha>
constexpr Fetch blendFetches[] = {
    {src1, dataTypeOf<T>, {"di-9", 1, 0}, src1},
    {src2, dataTypeOf<T>, {"di-15", 1, 0}, src2},
    {src3, dataTypeOf<Alpha>, {"di-11", 1, 0}, src1},
    {dst, dataTypeOf<T>, {"di-10", 1, 0}, dst},
};

template <class T, class Alpha>
OrvStatus openBlend(Frame& frame, const char* file) noexcept {
    return frame.open({file, blendFetches<T, Alpha>, {"di-12", 0, 0}, src1});
}

unsigned blendBands(const Frame& frame) noexcept { return commonBands(frame[dst], frame[src1], frame[src2]); }

/// Runs `kernel(d, s1, s2, alpha, pixels)`, one alpha sample for each pixel.
template <class T, class Alpha, class Kernel>
void walkBlend(Frame& frame, unsigned bands, Kernel&& kernel) noexcept {
    walkRuns<T, T, T, Alpha>(frame.rects(), kernel, Operand{&frame[dst], bands}, Operand{&frame[src1], bands},
                             Operand{&frame[src2], bands}, Operand{&frame[src3], 1});
}

/// Bits from a byte on: whether each alpha sample is above the threshold.
template <class Mix, class Alpha>
void packAbove(Byte* to, const Alpha* alpha, std::size_t pixels) noexcept {
#if defined(__AVX512BW__)
    for (; pixels >= lanes::count<Alpha>; pixels -= lanes::count<Alpha>) {
        std::uint64_t above;
        if constexpr (sizeof(Alpha) == 1) {
            above = _mm512_cmpgt_epu8_mask(loadTurned(alpha), _mm512_set1_epi8(Mix::threshold));
        } else {
            above = _mm512_cmpgt_epi16_mask(loadTurned(alpha), _mm512_set1_epi16(Mix::threshold));
        }
        std::memcpy(to, &above, bytesOfVector<Alpha>);
        alpha += lanes::count<Alpha>;
        to += bytesOfVector<Alpha>;
    }
#endif
    constexpr std::size_t most = 512;
    Byte above[most];
    for (; pixels > 0; alpha += most, to += most / 8) {
        const std::size_t count = std::min(most, pixels);
        for (std::size_t i = 0; i < count; ++i) above[i] = alpha[i] > Mix::threshold;
        packBits(above, 1, to, 0, count);
        pixels -= count;
    }
}

/// Chooses bits by alpha samples that lie side by side; false where they do not. Some of a run at a time become bits,
/// that choose for all bands.
template <class Mix, class Alpha>
bool chooseBits(Frame& frame, unsigned bands) noexcept {
    const Raster& alphas = frame[src3];
    if (alphas.pixel != sizeof(Alpha)) return false;
    constexpr std::size_t most = 4096;
    for (Rect rect{}; frame.rects().next(rect);) {
        const bool touch = alphas.stride == alphas.pixel * static_cast<std::ptrdiff_t>(rect.width) &&
                           bitRowsTouch(rect, frame[dst], frame[src1], frame[src2]);
        const std::size_t length = std::size_t{rect.width} * (touch ? rect.height : 1);
        for (long y = rect.y; y < rect.y + (touch ? 1 : static_cast<long>(rect.height)); ++y) {
            for (std::size_t done = 0; done < length; done += most) {
                const std::size_t pixels = std::min(most, length - done);
                const long x = rect.x + static_cast<long>(done);
                Byte mask[most / 8];
                packAbove<Mix>(mask, alphas.at<Alpha>(x, y), pixels);
                for (unsigned band = 0; band < bands; ++band) {
                    combineBits(
                        frame[dst].bit(x, y, band), pixels,
                        [](auto a, auto b, auto chosen) { return (a & ~chosen) | (b & chosen); },
                        frame[src1].bit(x, y, band), frame[src2].bit(x, y, band), BitPosition{mask, 0});
                }
            }
        }
    }
    return true;
}

#if defined(__AVX512BW__)
/// The second samples where bits of alpha, from a byte on, are set.
template <class T>
void chooseRow(T* d, const T* s1, const T* s2, const Byte* alpha, std::size_t pixels) noexcept {
    using V = lanes::Vec<T>;
    constexpr std::size_t n = lanes::count<T>;
    constexpr std::size_t bits = 64;
    const auto second = [&](V first, std::size_t at, std::uint64_t which) {
        if constexpr (sizeof(T) == 1) return (V)_mm512_mask_loadu_epi8((lanes::Raw)first, which, s2 + at);
        if constexpr (sizeof(T) == 2) {
            return (V)_mm512_mask_loadu_epi16((lanes::Raw)first, static_cast<__mmask32>(which), s2 + at);
        }
    };
    std::size_t i = 0;
    for (; i + bits <= pixels; i += bits) {
        fetchAhead<sizeof(T)>(s1 + i);
        fetchAhead<sizeof(T)>(s2 + i);
        const std::uint64_t chosen = maskOf(alpha + i / 8);
        for (std::size_t at = 0; at < bits; at += n) {
            lanes::store(d + i + at, second(lanes::load<V>(s1 + i + at), i + at, chosen >> at));
        }
    }
    if (i == pixels) return;
    const std::size_t rest = pixels - i;
    Byte last[bits / 8] = {};
    std::memcpy(last, alpha + i / 8, (rest + 7) / 8);
    const std::uint64_t all = (std::uint64_t{1} << rest) - 1;
    const std::uint64_t chosen = maskOf(last) & all;
    for (std::size_t at = 0; at < rest; at += n) {
        storeSome(d + i + at, all >> at, second(loadSome(s1 + i + at, all >> at), i + at, chosen >> at));
    }
}
#endif

/// Chooses samples of one band that lie side by side by bits; false where they do not.
template <class T>
bool chosenByBits([[maybe_unused]] Frame& frame, [[maybe_unused]] unsigned bands) noexcept {
#if defined(__AVX512BW__)
    const auto dense = [&frame](Role role) { return frame[role].pixel == sizeof(T); };
    if (bands != 1 || !dense(dst) || !dense(src1) || !dense(src2)) return false;
    constexpr std::size_t most = 4096;
    for (Rect rect{}; frame.rects().next(rect);) {
        const auto touches = [&](Role role) {
            return frame[role].stride == frame[role].pixel * static_cast<std::ptrdiff_t>(rect.width);
        };
        const bool one = bitRowsTouch(rect, frame[src3]) && touches(dst) && touches(src1) && touches(src2);
        const std::size_t length = std::size_t{rect.width} * (one ? rect.height : 1);
        for (long y = rect.y; y < rect.y + (one ? 1 : static_cast<long>(rect.height)); ++y) {
            const BitPosition alpha = frame[src3].bit(rect.x, y, 0);
            T* const d = frame[dst].at<T>(rect.x, y);
            const T* const s1 = frame[src1].at<T>(rect.x, y);
            const T* const s2 = frame[src2].at<T>(rect.x, y);
            for (std::size_t done = 0; done < length; done += most) {
                const std::size_t pixels = std::min(most, length - done);
                Byte* bits = alpha.byte + done / 8;
                Byte moved[most / 8];
                if (alpha.offset != 0) {
                    orv_bit_memcpy(bits, moved, static_cast<unsigned>(pixels), alpha.offset, 0);
                    bits = moved;
                }
                chooseRow(d + done, s1 + done, s2 + done, bits, pixels);
            }
        }
    }
    return true;
#else
    return false;
#endif
}

/// A member whose samples are `mix(alpha, s1, s2)`.
template <class T, class Alpha, class Mix>
OrvStatus blend(OrvOp* op, const char* file, Mix mix) noexcept {
    Frame frame(op);
    if (openBlend<T, Alpha>(frame, file) != ORV_SUCCESS) return ORV_FAILURE;
    const unsigned bands = blendBands(frame);
    if constexpr (std::is_same_v<T, Bit>) {
        if (chooseBits<Mix, Alpha>(frame, bands)) return ORV_SUCCESS;
    } else {
        if (chosenByBits<T>(frame, bands)) return ORV_SUCCESS;
    }
    using Sample = SampleOf<T>;
    walkBlend<T, Alpha>(
        frame, bands,
        [mix, bands](Sample* d, const Sample* s1, const Sample* s2, const SampleOf<Alpha>* alpha, std::size_t pixels) {
            if (bands == 1) {
                for (std::size_t i = 0; i < pixels; ++i) d[i] = mix(alpha[i], s1[i], s2[i]);
                return;
            }
            for (std::size_t i = 0; i < pixels; ++i) {
                for (unsigned band = 0; band < bands; ++band, ++d, ++s1, ++s2) {
                    *d = mix(alpha[i], *s1, *s2);
                }
            }
        });
    return ORV_SUCCESS;
}

// How an alpha sample chooses or weighs.

/// The second sample where alpha is above a threshold.
template <int Threshold>
struct Choose {
    static constexpr int threshold = Threshold;
    template <class Alpha, class T>
    T operator()(Alpha alpha, T s1, T s2) const noexcept {
        return alpha > Threshold ? s2 : s1;
    }
};

// Alpha and the mix are held in single precision, and computed wider between. Alpha has so few bits that all products
// and sums of a mix are exact in double: one rounding does for them, where the build has it.

using lanes::F32;
using lanes::I32;
using Doubles [[gnu::vector_size(2 * lanes::vectorBytes)]] = double;

F32 mixed(F32 alpha, I32 s1, I32 s2) noexcept {
    if constexpr (lanes::hasMultiplyAdd) {
        return lanes::multiplyAdd(alpha, lanes::toFloat(s2 - s1), lanes::toFloat(s1));
    } else {
        const Doubles a = __builtin_convertvector(alpha, Doubles);
        const Doubles first = (1 - a) * __builtin_convertvector(s1, Doubles);
        const Doubles second = a * __builtin_convertvector(s2, Doubles);
        return __builtin_convertvector(first + second, F32);
    }
}

/// A quotient of every alpha there is, rounded once: a product with the divisor's reciprocal, in two parts or in
/// double.
template <int Divisor>
F32 quotient(F32 value) noexcept {
    if constexpr (lanes::hasMultiplyAdd) {
        constexpr float high = 1 / static_cast<float>(Divisor);
        constexpr auto low = static_cast<float>(1 / double{Divisor} - double{high});
        return lanes::multiplyAdd(value, F32{} + high, value * low);
    } else {
        return __builtin_convertvector(__builtin_convertvector(value, Doubles) * (1.0 / Divisor), F32);
    }
}

/// The range of shorts moved to 0 to 1, and a little below: a / 65535 + 0.5.
struct MixBytes {
    static F32 alpha(I32 a) noexcept { return quotient<131070>(lanes::toFloat(2 * a + 65535)); }
    /// Half is a little less, so that what is not quite a half does not become one.
    static I32 finish(F32 x) noexcept { return lanes::truncate(x + 0x1.fffffep-2F); }
};

/// Alpha from 0 to a divisor. A short's is not moved: a negative one weighs less than nothing, the highest one half, as
/// intended.
template <int Divisor>
struct MixShorts {
    static F32 alpha(I32 a) noexcept { return quotient<Divisor>(lanes::toFloat(a)); }
    static I32 finish(F32 x) noexcept { return lanes::truncate(x + (x < 0 ? F32{} - 0.5F : F32{} + 0.5F)); }
};

/// A vector of samples from integers, the first samples' first, which saturate.
template <class T>
void storeParts(T* to, const I32 (&parts)[sizeof(float) / sizeof(T)]) noexcept {
#if defined(__AVX512BW__)
    // Narrowing takes turns with the quarters of its operands.
    using lanes::Raw;
    const auto pack = [&parts](int first) { return _mm512_packs_epi32((Raw)parts[first], (Raw)parts[first + 1]); };
    if constexpr (sizeof(T) == 1) {
        const Raw order = _mm512_set_epi32(15, 11, 7, 3, 14, 10, 6, 2, 13, 9, 5, 1, 12, 8, 4, 0);
        lanes::store(to, _mm512_maskz_permutexvar_epi32(0xffff, order, _mm512_packus_epi16(pack(0), pack(2))));
    } else {
        const Raw order = _mm512_set_epi64(7, 5, 3, 1, 6, 4, 2, 0);
        lanes::store(to, _mm512_maskz_permutexvar_epi64(0xff, order, pack(0)));
    }
#else
    for (const I32& part : parts) {
        const I32 capped = lanes::smaller<I32>(part, I32{} + highest<T>);
        lanes::storeIntegers(to, lanes::larger<I32>(capped, I32{} + lowest<T>));
        to += lanes::count<float>;
    }
#endif
}

constexpr std::size_t spreadSamples = 65536;
template <class Alpha>
alignas(64) Alpha spreadAlpha[spreadSamples];

/// Pixels of a chunk whose alphas are spread at a time.
std::size_t spreadChunk(unsigned bands) noexcept {
    return bands == 1 ? spreadSamples : std::clamp<std::size_t>(spreadSamples / bands, 1, 256);
}

/// The alpha of each pixel for each of its bands.
template <class Alpha>
const Alpha* spread(const Alpha* alpha, std::size_t pixels, unsigned bands) noexcept {
    if (bands == 1) return alpha;
    Alpha* to = spreadAlpha<Alpha>;
    if (bands == 3) {
        repeatThrice(to, alpha, pixels);
        return to;
    }
    for (std::size_t i = 0; i < pixels; ++i, to += bands) std::fill_n(to, bands, alpha[i]);
    return spreadAlpha<Alpha>;
}

/// An alpha for each sample.
template <class Mix, class T, class Alpha>
void mixRow(T* d, const T* s1, const T* s2, const Alpha* alpha, std::size_t samples) noexcept {
    constexpr std::size_t n = lanes::count<T>;
    const auto mixVector = [](T* to, const T* a, const T* b, const Alpha* weight) {
        I32 parts[sizeof(float) / sizeof(T)];
        for (std::size_t part = 0; part < std::size(parts); ++part) {
            const std::size_t at = part * lanes::count<float>;
            parts[part] = Mix::finish(mixed(Mix::alpha(lanes::integersOf(weight + at)), lanes::integersOf(a + at),
                                            lanes::integersOf(b + at)));
        }
        storeParts(to, parts);
    };
    std::size_t i = 0;
    for (; i + n <= samples; i += n) {
        fetchAhead<1>(s1 + i);
        fetchAhead<1>(s2 + i);
        mixVector(d + i, s1 + i, s2 + i, alpha + i);
    }
    if (i == samples) return;
    const std::size_t rest = samples - i;
    T a[n] = {};
    T b[n] = {};
    Alpha weights[n] = {};
    std::memcpy(a, s1 + i, rest * sizeof(T));
    std::memcpy(b, s2 + i, rest * sizeof(T));
    std::memcpy(weights, alpha + i, rest * sizeof(Alpha));
    mixVector(a, a, b, weights);
    std::memcpy(d + i, a, rest * sizeof(T));
}

/// A member that weighs its samples.
template <class Mix, class T, class Alpha>
OrvStatus blendWeighed(OrvOp* op, const char* file) noexcept {
    Frame frame(op);
    if (openBlend<T, Alpha>(frame, file) != ORV_SUCCESS) return ORV_FAILURE;
    const unsigned bands = blendBands(frame);
    const std::size_t chunk = spreadChunk(bands);
    walkBlend<T, Alpha>(frame, bands, [=](T* d, const T* s1, const T* s2, const Alpha* alpha, std::size_t pixels) {
        for (std::size_t done = 0; done < pixels; done += chunk) {
            const std::size_t count = std::min(chunk, pixels - done);
            const std::size_t at = done * bands;
            mixRow<Mix>(d + at, s1 + at, s2 + at, spread(alpha + done, count, bands), count * bands);
        }
    });
    return ORV_SUCCESS;
}

// Bytes under bytes: the sum of two products of a table.

using BlendRow = std::uint16_t[256];
LazyTable<BlendRow> _blendtable;

/// Row `a` holds v * a * 256 / 255 as the running sum of a single-precision step, as intended. The 128 that rounds the
/// result stands in exactly one of the rows a and 255 - a.
void fillRow(std::uint16_t* row, int a) noexcept {
    const bool rounds = a > 127;
    const float step = static_cast<float>(a) * 1.003921628F;
    float total = rounds ? step + 128.0F : step;
    row[0] = rounds ? 128 : 0;
    for (int v = 1; v < 255; ++v, total += step) row[v] = static_cast<std::uint16_t>(total);
    row[255] = static_cast<std::uint16_t>((a << 8) + (rounds ? 128 : 0));
}

void initialize_blend_table(BlendRow* table) noexcept {
    for (int v = 0; v < 256; ++v) {
        table[0][v] = 0;
        table[255][v] = static_cast<std::uint16_t>(v << 8);
    }
    for (int a = 1; a < 255; ++a) fillRow(table[a], a);
}

Byte tableMix(const BlendRow* table, Byte alpha, Byte s1, Byte s2) noexcept {
    return static_cast<Byte>((table[255 - alpha][s1] + table[alpha][s2]) >> 8);
}

/// What the table gives is the mix in whole numbers, over 255, rounded: but where its rest is 128, next to the half,
/// the roundings of the table's entries decide, and it is looked up.
class ByteMixer {
public:
    explicit ByteMixer(const BlendRow* table) noexcept : table_(table) {}

    /// An alpha for each sample.
    void mix(Byte* d, const Byte* s1, const Byte* s2, const Byte* alpha, std::size_t samples) const noexcept {
        constexpr std::size_t n = lanes::count<Byte>;
        if (samples < n) {
            for (std::size_t i = 0; i < samples; ++i) d[i] = tableMix(table_, alpha[i], s1[i], s2[i]);
            return;
        }
        // The last vector may overlap the one before it, and the destination may be a source: it is made first.
        const std::size_t end = samples - n;
        const lanes::U8 last = mixVector(s1 + end, s2 + end, alpha + end);
        for (std::size_t i = 0; i < end; i += n) {
            fetchAhead<1>(s1 + i);
            fetchAhead<1>(s2 + i);
            fetchAhead<1>(alpha + i);
            lanes::store(d + i, mixVector(s1 + i, s2 + i, alpha + i));
        }
        lanes::store(d + end, last);
    }

#if defined(__AVX512BW__)
    /// Samples in the lower halves of words, whatever the upper ones hold.
    lanes::U16 mix(lanes::U16 alpha, lanes::U16 s1, lanes::U16 s2) const noexcept {
        alpha &= 0xff;
        s1 &= 0xff;
        s2 &= 0xff;
        const lanes::U16 sum = raised(alpha, s1, s2);
        const lanes::U16 result = quotient(sum);
        const lanes::Raw rests = (lanes::Raw)rest(sum, result);
        std::uint32_t doubtful = _mm512_testn_epi16_mask(rests, rests);
        if (doubtful == 0) [[likely]]
            return result;
        lanes::U16 corrected = result;
        for (; doubtful != 0; doubtful &= doubtful - 1) {
            const int i = std::countr_zero(doubtful);
            corrected[i] =
                tableMix(table_, static_cast<Byte>(alpha[i]), static_cast<Byte>(s1[i]), static_cast<Byte>(s2[i]));
        }
        return corrected;
    }
#endif

private:
    static constexpr int half = 127;

    /// The mix times 255, and what rounds it.
    static lanes::U16 raised(lanes::U16 alpha, lanes::U16 s1, lanes::U16 s2) noexcept {
        return alpha * (s2 - s1) + (s1 << 8) - s1 + half;
    }
    /// Over 255, for all there are.
    static lanes::U16 quotient(lanes::U16 sum) noexcept { return (sum + 1 + (sum >> 8)) >> 8; }
    /// 0 where no rest is left, which is where the mix has one of 128.
    static lanes::U16 rest(lanes::U16 sum, lanes::U16 quotient) noexcept { return sum + quotient - (quotient << 8); }

    lanes::U8 mixVector(const Byte* s1, const Byte* s2, const Byte* alpha) const noexcept {
        using lanes::I16, lanes::Pair, lanes::U16, lanes::U8;
        const Pair<U16> a = lanes::widen(lanes::load<U8>(alpha));
        const Pair<U16> v1 = lanes::widen(lanes::load<U8>(s1));
        const Pair<U16> v2 = lanes::widen(lanes::load<U8>(s2));
        const Pair<U16> sums{raised(a.first, v1.first, v2.first), raised(a.second, v1.second, v2.second)};
        const Pair<U16> mixes{quotient(sums.first), quotient(sums.second)};
        const U8 result = lanes::narrow(Pair<I16>{(I16)mixes.first, (I16)mixes.second});
        const U8 rests =
            lanes::narrow(Pair<I16>{(I16)rest(sums.first, mixes.first), (I16)rest(sums.second, mixes.second)});
        std::uint64_t doubtful = lanes::zeroSamples(rests);
        if (doubtful == 0) [[likely]]
            return result;
        alignas(64) Byte samples[lanes::count<Byte>];
        lanes::store(samples, result);
        for (; doubtful != 0; doubtful &= doubtful - 1) {
            const int i = std::countr_zero(doubtful);
            samples[i] = tableMix(table_, alpha[i], s1[i], s2[i]);
        }
        return lanes::load<U8>(samples);
    }

    const BlendRow* table_;
};

/// Pixels at the start of a row whose alpha is the first one's.
std::size_t runOf(const Byte* alpha, std::size_t pixels) noexcept {
    const lanes::U8 first = alpha[0] - lanes::U8{};
    std::size_t n = 0;
    while (n + lanes::count<Byte> <= pixels && !lanes::any(lanes::load<lanes::U8>(alpha + n) ^ first)) {
        n += lanes::count<Byte>;
    }
    while (n < pixels && alpha[n] == alpha[0]) ++n;
    return n;
}

void blendBytes(const ByteMixer& mixer, unsigned bands, Byte* d, const Byte* s1, const Byte* s2, const Byte* alpha,
                std::size_t pixels) noexcept {
    constexpr std::size_t worthCopying = 32;
    const std::size_t chunk = spreadChunk(bands);
    while (pixels > 0) {
        std::size_t n = alpha[0] == 0 || alpha[0] == 255 ? runOf(alpha, pixels) : 0;
        if (n >= worthCopying) {
            std::memmove(d, alpha[0] == 0 ? s1 : s2, n * bands);
        } else {
            n = std::min(chunk, pixels);
            mixer.mix(d, s1, s2, spread(alpha, n, bands), n * bands);
        }
        d += n * bands;
        s1 += n * bands;
        s2 += n * bands;
        alpha += n;
        pixels -= n;
    }
}

/// Images whose pixels lie apart: of one band as words, of three with their gap as a fourth. False where they are not
/// such.
bool blendedApart([[maybe_unused]] Frame& frame, [[maybe_unused]] unsigned bands,
                  [[maybe_unused]] const ByteMixer& mixer) noexcept {
#if defined(__AVX512BW__)
    const ImageOf<Byte> to{frame[dst]};
    const ImageOf<Byte> first{frame[src1]};
    const ImageOf<Byte> second{frame[src2]};
    const ImageOf<Byte> weight{frame[src3]};
    const auto mix = [&](lanes::U16 alpha, lanes::U16 s1, lanes::U16 s2) { return mixer.mix(alpha, s1, s2); };
    if (bands == 1) return mappedWords<lanes::U16>(frame.rects(), mix, to, weight, first, second);
    constexpr std::ptrdiff_t step = 4;
    if (bands + 1 != step || stepApart(bands, to, first, second) != step) return false;
    const auto row = [&](std::size_t pixels, Byte* d, const Byte* s1, const Byte* s2, const Byte* alpha) {
        constexpr std::size_t most = 1024;
        Byte single[most];
        alignas(64) Byte weights[step * most];
        alignas(64) Byte made[step * most];
        const auto copy = [](Byte* result, std::ptrdiff_t resultStep, const Byte* from, std::ptrdiff_t fromStep,
                             std::size_t size, std::size_t count) {
            copyAcrossGaps(reinterpret_cast<std::byte*>(result), resultStep, reinterpret_cast<const std::byte*>(from),
                           fromStep, size, count);
        };
        for (std::size_t done = 0; done < pixels; done += most) {
            const std::size_t now = std::min(most, pixels - done);
            copy(single, 1, alpha + static_cast<std::ptrdiff_t>(done) * weight.step(), weight.step(), 1, now);
            joinFour(single, single, single, single, weights, now);
            // The last pixel has no gap.
            mixer.mix(made, s1 + step * done, s2 + step * done, weights, step * (now - 1) + bands);
            copy(d + step * done, step, made, step, bands, now);
        }
    };
    walkPixelRows(frame.rects(), row, to, first, second, weight);
    return true;
#else
    return false;
#endif
}

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::Blend1a1(OrvOp* op, int) noexcept {
    Frame frame(op);
    if (openBlend<Bit, Bit>(frame, "Blend1a1Memory.cc") != ORV_SUCCESS) return ORV_FAILURE;
    // Every band takes the one plane of alpha.
    Raster alpha = frame[src3];
    alpha.bandStride = 0;
    walkBitBlocks(
        frame.rects(), blendBands(frame),
        [](std::size_t rows, unsigned length, unsigned, BitRows d, BitRows s1, BitRows s2, BitRows a) {
            combineBitRows(
                d, rows, length, [](auto x, auto y, auto mask) { return (x & ~mask) | (y & mask); }, s1, s2, a);
        },
        frame[dst], frame[src1], frame[src2], alpha);
    return ORV_SUCCESS;
}

OrvStatus OrvDeviceComputeTypeMemory::Blend1a8(OrvOp* op, int) noexcept {
    return blend<Bit, Byte>(op, "Blend1a8Memory.cc", Choose<127>{});
}
OrvStatus OrvDeviceComputeTypeMemory::Blend1a16(OrvOp* op, int) noexcept {
    return blend<Bit, Short>(op, "Blend1a16Memory.cc", Choose<0>{});
}
OrvStatus OrvDeviceComputeTypeMemory::Blend8a1(OrvOp* op, int) noexcept {
    return blend<Byte, Bit>(op, "Blend8a1Memory.cc", Choose<0>{});
}

OrvStatus OrvDeviceComputeTypeMemory::Blend8a8(OrvOp* op, int) noexcept {
    static constexpr const char* file = "Blend8a8Memory.cc";
    const BlendRow* table = _blendtable.get(256, initialize_blend_table);
    if (table == nullptr) return fail(static_cast<OrvSystemState*>(nullptr), noMemory, file);
    Frame frame(op);
    if (openBlend<Byte, Byte>(frame, file) != ORV_SUCCESS) return ORV_FAILURE;
    const ByteMixer mixer(table);
    const unsigned bands = blendBands(frame);
    if (blendedApart(frame, bands, mixer)) return ORV_SUCCESS;
    walkBlend<Byte, Byte>(frame, bands,
                          [&mixer, bands](Byte* d, const Byte* s1, const Byte* s2, const Byte* alpha,
                                          std::size_t pixels) { blendBytes(mixer, bands, d, s1, s2, alpha, pixels); });
    return ORV_SUCCESS;
}

OrvStatus OrvDeviceComputeTypeMemory::Blend8a16(OrvOp* op, int) noexcept {
    return blendWeighed<MixBytes, Byte, Short>(op, "Blend8a16Memory.cc");
}
OrvStatus OrvDeviceComputeTypeMemory::Blend16a1(OrvOp* op, int) noexcept {
    return blend<Short, Bit>(op, "Blend16a1Memory.cc", Choose<0>{});
}
OrvStatus OrvDeviceComputeTypeMemory::Blend16a8(OrvOp* op, int) noexcept {
    return blendWeighed<MixShorts<255>, Short, Byte>(op, "Blend16a8Memory.cc");
}
OrvStatus OrvDeviceComputeTypeMemory::Blend16a16(OrvOp* op, int) noexcept {
    return blendWeighed<MixShorts<65535>, Short, Short>(op, "Blend16a16Memory.cc");
}
