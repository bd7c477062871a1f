// How a run steps through the source. Positions are integers and fractions in image coordinates.
#pragma once

#include <climits>
#include <cmath>
#include <cstdint>

#include "memory/frame/numbers.h"
#include "memory/geometry/GeomWalk.h"

namespace orvi {

/// Steps in 16.16 fixed point. A carry out of the fraction takes one step more, which is what the sum of the whole
/// position does, so pixel k lies at x + k * dx.
struct FixedDda {
    static constexpr long one = 0x10000;

    long x;
    long y;
    long dx;
    long dy;

    FixedDda() noexcept = default;
    explicit FixedDda(const Run& run) noexcept
        : x(position(run.x)), y(position(run.y0)), dx(fixed(run.dx)), dy(fixed(run.dy)) {}

    long column() const noexcept { return x >> 16; }
    long row() const noexcept { return y >> 16; }
    unsigned fractionX() const noexcept { return static_cast<unsigned>(x & (one - 1)); }
    unsigned fractionY() const noexcept { return static_cast<unsigned>(y & (one - 1)); }

    void step() noexcept {
        x += dx;
        y += dy;
    }
    FixedDda after(long steps) const noexcept {
        FixedDda later = *this;
        later.x += steps * dx;
        later.y += steps * dy;
        return later;
    }

    /// A step as the run takes it, truncated.
    static long fixed(float v) noexcept { return toInt(v * static_cast<float>(one), INT_MIN, INT_MAX); }

private:
    /// The floor of a position, with the low bits of its truncated product as fraction: just below a whole number the
    /// product truncates to it, and the fraction is 0 above the floor.
    static long position(float v) noexcept {
        const long product = static_cast<long>(v * static_cast<float>(one));
        return static_cast<long>(std::floor(v)) * one + (product & (one - 1));
    }
};

/// One axis of the float DDA: a fraction in single precision, and a carry that picks one of two whole steps.
struct FloatAxis {
    long whole;
    float fraction;
    long step;
    float up;   ///< the step's fraction
    float down; ///< what a carry takes off

    FloatAxis(float from, float by) noexcept {
        const float start = std::floor(from);
        whole = static_cast<long>(start);
        fraction = from - start;
        const float floorStep = std::floor(by);
        step = static_cast<long>(floorStep);
        up = by - floorStep;
        down = 1.0F - up;
    }

    void advance() noexcept {
        const bool carry = !(fraction < down);
        whole += carry ? step + 1 : step;
        fraction = carry ? fraction - down : fraction + up;
    }
};

struct FloatDda {
    FloatAxis x;
    FloatAxis y;
    /// Off where the step in y is too small for 16.16, whatever it is.
    bool stepsY;

    explicit FloatDda(const Run& run) noexcept
        : x(run.x, run.dx), y(run.y0, run.dy), stepsY(FixedDda::fixed(run.dy) != 0) {}

    void step() noexcept {
        x.advance();
        if (stepsY) y.advance();
    }
};

} // namespace orvi
