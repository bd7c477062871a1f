// Tables of weights for the general interpolation.
#pragma once

#include "catalogue/parameters.h"
#include "orv/Session.h"
#include "orv/host/Object.h"
#include "orv/host/Tables.h"

namespace orv {

inline constexpr long nearest = 0;
inline constexpr long bilinear = 1;
inline constexpr long bicubic = 2;
inline constexpr long general = 3;

inline constexpr Choice interpolations[] = {
    {"nearest", nearest, "the pixel that lies there"},
    {"bilinear", bilinear, "between four pixels"},
    {"bicubic", bicubic, "between sixteen pixels, sharper"},
    {"general", general, "by the weights of a filter, lanczos3 where none is named"}};

inline constexpr Choice interpolationFilters[] = {{"catmull-rom", 0, "sharp, four pixels wide"},
                                                  {"mitchell", 1, "soft, four pixels wide"},
                                                  {"lanczos2", 2, "windowed sinc, four pixels wide"},
                                                  {"lanczos3", 3, "windowed sinc, six pixels wide"},
                                                  {"triangle", 4, "two pixels wide"}};

inline constexpr Choice marginChoices[] = {
    {"fill", 1, "what an interpolation leaves unwritten is filled by simpler ones"},
    {"leave", 0, "it keeps what the result held before, as the device does"}};

inline constexpr Parameter interpolationParameter{.name = "interpolation",
                                                  .kind = Kind::choice,
                                                  .help = "how samples between pixels are made",
                                                  .fallback = "bilinear",
                                                  .choices = interpolations,
                                                  .typeName = "Interpolation"};
inline constexpr Parameter filterParameter{.name = "filter",
                                           .kind = Kind::choice,
                                           .help = "weights of the general interpolation",
                                           .fallback = "lanczos3",
                                           .choices = interpolationFilters,
                                           .typeName = "Filter"};
inline constexpr Parameter marginParameter{.name = "edge",
                                           .kind = Kind::choice,
                                           .help = "the margin of half a pixel and more",
                                           .fallback = "fill",
                                           .choices = marginChoices,
                                           .typeName = "Margin"};
inline constexpr Parameter backgroundParameter{
    .name = "background",
    .kind = Kind::levels,
    .help = "what the picture does not cover: a colour, or levels; 0 is transparent "
            "where there is alpha",
    .fallback = "0"};

/// How far a table reaches from the pixel below the sampling position: so many taps, the key before them.
struct Taps {
    unsigned size;
    unsigned key;
};

/// Where positions are those of pixel centres (warps: `centred` false) or of pixel corners (affine transforms).
/// `stretch` widens the filter for pictures that are made smaller. Weights are multiples of 1/128 that add up to 1 in
/// each row: the device truncates each product of a sample with 7 fractional bits, and only such weights leave a flat
/// area flat.
Taps tapsOf(long filter, bool centred, double stretch = 1);
host::Owned<OrvObject> interpolationTable(Session& session, long filter, bool centred, double stretch = 1);

} // namespace orv
