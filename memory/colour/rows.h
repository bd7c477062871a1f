// Row functions, composed by the compiler: a chain of stages makes the function of a pixel, and this makes rows of it.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <tuple>
#include <type_traits>

#include "memory/colour/stages.h"
#include "memory/frame/lanes.h"
#include "memory/frame/pixel_words.h"

namespace orvi::colour {

/// Stages one after another.
template <class... Stages>
struct Chain {
    using First = std::tuple_element_t<0, std::tuple<Stages...>>;
    using Last = std::tuple_element_t<sizeof...(Stages) - 1, std::tuple<Stages...>>;

    template <class Sample, class T>
    [[gnu::always_inline]] static constexpr auto of(T v) noexcept {
        return next<Sample, Stages...>(v);
    }

    /// Fills the tables of the stages that have some.
    template <class Sample>
    static void prepare() noexcept {
        (prepareStage<Sample, Stages>(), ...);
    }

private:
    template <class Sample, class Stage, class... Rest, class T>
    [[gnu::always_inline]] static constexpr auto next(T v) noexcept {
        const auto value = Stage::template of<Sample>(v);
        if constexpr (sizeof...(Rest) == 0) {
            return value;
        } else {
            return next<Sample, Rest...>(value);
        }
    }
    template <class Sample, class Stage>
    static void prepareStage() noexcept {
        if constexpr (requires { Stage::template prepare<Sample>(); }) Stage::template prepare<Sample>();
    }
};

/// What stages make of every sample, looked up: the power function is too slow for rows. The table of bytes is a
/// constant, that of shorts is filled by its first user; it is part of the module's zeroed memory and asks for none.
template <class... Stages>
struct Table : EachValue<Table<Stages...>> {
    template <class Sample>
    using Value = decltype(Chain<Stages...>::template of<Sample>(int{}));

    template <class Sample>
    [[gnu::always_inline]] static constexpr Value<Sample> each(int sample) noexcept {
        const auto index = static_cast<std::size_t>(sample - Scale<Sample>::zero);
        if constexpr (sizeof(Sample) == 1) {
            return entries<Sample>[index];
        } else {
            return filled<Sample>.entries[index];
        }
    }

    /// Bytes in lanes, where single precision holds what they become.
    template <class Sample>
    [[gnu::always_inline]] static lanes::F32 each(lanes::I32 sample) noexcept {
        static_assert(sizeof(Sample) == 1 && std::is_same_v<Value<Sample>, float>);
        const auto* const table = reinterpret_cast<const std::byte*>(entries<Sample>.data());
        return (lanes::F32)lanes::gatherWords(table, sample << 2);
    }

    template <class Sample>
    static void prepare() noexcept {
        if constexpr (sizeof(Sample) != 1) {
            if (filled<Sample>.ready) return;
            filled<Sample>.entries = make<Sample>();
            filled<Sample>.ready = true;
        }
    }

private:
    /// Samples are kept as such.
    template <class Sample>
    using Entry = std::conditional_t<std::is_same_v<Value<Sample>, int>, Sample, Value<Sample>>;
    template <class Sample>
    using Entries = std::array<Entry<Sample>, std::size_t{Scale<Sample>::full} + 1>;

    template <class Sample>
    static constexpr void fill(Entries<Sample>& table) noexcept {
        for (int i = 0; i <= Scale<Sample>::full; ++i) {
            table[static_cast<std::size_t>(i)] =
                static_cast<Entry<Sample>>(Chain<Stages...>::template of<Sample>(i + Scale<Sample>::zero));
        }
    }
    template <class Sample>
    static constexpr Entries<Sample> make() noexcept {
        Entries<Sample> table{};
        fill<Sample>(table);
        return table;
    }
    template <class Sample>
    struct Filled {
        Entries<Sample> entries;
        bool ready;
    };

    template <class Sample>
    static constexpr Entries<Sample> entries = make<Sample>();
    template <class Sample>
    static inline constinit Filled<Sample> filled{};
};

/// Converts `pixels` pixels that lie side by side; the source may be the destination.
template <class Sample>
using RowFunction = void (*)(const Sample* from, Sample* to, std::size_t pixels) noexcept;

namespace rows_detail {

inline constexpr std::size_t blockPixels = 256;

/// The bands of a block of pixels, apart.
template <class Sample, std::size_t Bands>
using Planes = Sample[Bands][blockPixels];

template <class Sample, std::size_t Bands>
void split(const Sample* from, Planes<Sample, Bands>& planes, std::size_t pixels) noexcept {
    if constexpr (Bands == 3 && sizeof(Sample) == 1) {
        lanes::splitBands(from, planes[0], planes[1], planes[2], pixels);
    } else {
        for (std::size_t i = 0; i < pixels; ++i) {
            for (std::size_t band = 0; band < Bands; ++band) planes[band][i] = from[i * Bands + band];
        }
    }
}

template <class Sample, std::size_t Bands>
void join(const Planes<Sample, Bands>& planes, Sample* to, std::size_t pixels) noexcept {
    if constexpr (Bands == 3 && sizeof(Sample) == 1) {
        lanes::joinBands(planes[0], planes[1], planes[2], to, pixels);
    } else {
        for (std::size_t i = 0; i < pixels; ++i) {
            for (std::size_t band = 0; band < Bands; ++band) to[i * Bands + band] = planes[band][i];
        }
    }
}

/// Blocks of pixels, whose bands are taken apart so that the arithmetic becomes lanes.
template <class Sample, class Stages>
void blocks(const Sample* from, Sample* to, std::size_t pixels) noexcept {
    constexpr std::size_t sourceBands = Stages::First::sourceBands;
    constexpr std::size_t bands = Stages::Last::bands;
    Planes<Sample, sourceBands> in;
    Planes<Sample, bands> out;
    for (std::size_t done = 0; done < pixels; done += blockPixels) {
        const std::size_t count = std::min(blockPixels, pixels - done);
        split<Sample, sourceBands>(from + done * sourceBands, in, count);
        for (std::size_t i = 0; i < count; ++i) {
            Pixel<sourceBands> p;
            for (std::size_t band = 0; band < sourceBands; ++band) p[band] = in[band][i];
            const Pixel<bands> q = Stages::template of<Sample>(p);
            for (std::size_t band = 0; band < bands; ++band) out[band][i] = static_cast<Sample>(q[band]);
        }
        join<Sample, bands>(out, to + done * bands, count);
    }
}

/// The pixels that the levels of a single band of bytes become.
template <class Stages>
struct Levels {
    static constexpr std::size_t bands = Stages::Last::bands;

    /// An entry for each level, band by band or, for pixels of four bands, which are words, pixel by pixel.
    static constexpr bool words = bands == 4;
    using Entries = std::array<std::uint8_t, byteLevels * bands>;

    static constexpr Entries make() noexcept {
        Entries made{};
        for (std::size_t level = 0; level < byteLevels; ++level) {
            const Pixel<bands> q = Stages::template of<std::uint8_t>(Pixel<1>{static_cast<int>(level)});
            for (std::size_t band = 0; band < bands; ++band) {
                made[words ? level * bands + band : band * byteLevels + level] = static_cast<std::uint8_t>(q[band]);
            }
        }
        return made;
    }
    static constexpr Entries table = make();

    static constexpr std::uint8_t entry(std::size_t level, std::size_t band) noexcept {
        return table[words ? level * bands + band : band * byteLevels + level];
    }
    /// Whether all bands, of four the first three, are the same, the fourth nothing.
    static constexpr bool grey = [] {
        for (std::size_t level = 0; level < byteLevels; ++level) {
            for (std::size_t band = 1; band < bands; ++band) {
                if (entry(level, band) != (band < 3 ? entry(level, 0) : 0)) return false;
            }
        }
        return bands > 1;
    }();
    /// The first band of each level.
    static constexpr auto levels = [] {
        std::array<std::uint8_t, byteLevels> made{};
        for (std::size_t level = 0; level < byteLevels; ++level) made[level] = entry(level, 0);
        return made;
    }();

    static void row(const std::uint8_t* from, std::uint8_t* to, std::size_t pixels) noexcept {
        if constexpr (grey && (!words || lanes::vectorBytes == 64)) {
            greyRow(from, to, pixels);
        } else if constexpr (words) {
            for (std::size_t i = 0; i < pixels; ++i) std::memcpy(to + i * bands, &table[from[i] * bands], bands);
        } else if constexpr (bands == 1) {
            lanes::mapBytes(to, from, pixels, table.data());
        } else {
            static_assert(bands == 3);
            Planes<std::uint8_t, bands> out;
            for (std::size_t done = 0; done < pixels; done += blockPixels) {
                const std::size_t count = std::min(blockPixels, pixels - done);
                for (std::size_t band = 0; band < bands; ++band) {
                    lanes::mapBytes(out[band], from + done, count, &table[band * byteLevels]);
                }
                join<std::uint8_t, bands>(out, to + done * bands, count);
            }
        }
    }

private:
    static void greyRow(const std::uint8_t* from, std::uint8_t* to, std::size_t pixels) noexcept {
        constexpr std::size_t most = 2048;
        alignas(64) std::uint8_t mapped[most];
        for (std::size_t done = 0; done < pixels; done += most) {
            const std::size_t count = std::min(most, pixels - done);
            lanes::mapBytes(mapped, from + done, count, levels.data());
            std::uint8_t* const d = to + done * bands;
            if constexpr (words) {
                // The fourth byte in memory is the black.
                constexpr std::uint32_t inks = std::endian::native == std::endian::little ? 0x010101 : 0x01010100;
                for (std::size_t i = 0; i < count; ++i) {
                    const std::uint32_t pixel = mapped[i] * inks;
                    std::memcpy(d + i * bands, &pixel, bands);
                }
            } else {
                lanes::repeatBytes(d, mapped, count);
            }
        }
    }
};

} // namespace rows_detail

/// A row of pixels that lie side by side in both images. The source may be the destination.
template <class Sample, class... Stages>
void convertRow(const Sample* from, Sample* to, std::size_t pixels) noexcept {
    using All = Chain<Stages...>;
    All::template prepare<Sample>();
    if constexpr (sizeof(Sample) == 1 && All::First::sourceBands == 1) {
        rows_detail::Levels<All>::row(from, to, pixels);
    } else {
        rows_detail::blocks<Sample, All>(from, to, pixels);
    }
}

/// The table of stages that make one byte of another.
template <class... Stages>
inline constexpr auto tableOfBytes = [] {
    std::array<std::uint8_t, byteLevels> made{};
    for (std::size_t i = 0; i < byteLevels; ++i) {
        made[i] = static_cast<std::uint8_t>(Chain<Stages...>::template of<std::uint8_t>(static_cast<int>(i)));
    }
    return made;
}();

/// The same where a conversion does one thing to every band and leaves the bands in their places.
template <class Sample, class... Stages>
void convertSamples(const Sample* from, Sample* to, std::size_t pixels) noexcept {
    using Each = Chain<Stages...>;
    constexpr std::size_t bands = 3;
    if constexpr (sizeof(Sample) == 1) {
        lanes::mapBytes(to, from, pixels * bands, tableOfBytes<Stages...>.data());
    } else {
        Each::template prepare<Sample>();
        for (std::size_t i = 0; i < pixels * bands; ++i)
            to[i] = static_cast<Sample>(Each::template of<Sample>(from[i]));
    }
}

/// Stages that turn the bands of a pixel round and take complements.
template <class... Stages>
inline constexpr bool reversesInverted = false;
template <>
inline constexpr bool reversesInverted<FromRgb, Not, ToCmy> = true;
template <>
inline constexpr bool reversesInverted<FromCmy, Not, ToRgb> = true;

} // namespace orvi::colour
