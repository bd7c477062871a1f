#include "memory/colour/CSoperation.h"

#include "memory/colour/byte_rows.h"
#include "memory/colour/short_rows.h"

namespace orvi::colour {

namespace {

template <class... Stages>
constexpr RowFunction<std::uint8_t> row8 = convertBytes<Stages...>;
template <class... Stages>
constexpr RowFunction<std::int16_t> row16 = convertShorts<Stages...>;

template <class... Stages>
constexpr RowFunction<std::uint8_t> each8 = convertSamples<std::uint8_t, Stages...>;
template <class... Stages>
constexpr RowFunction<std::int16_t> each16 = convertSamples<std::int16_t, Stages...>;

// Stages that a table answers, sample by sample.

using GammaTable = Table<Normalise, Gamma, Full>;
using LinearTable = Table<Normalise, Linear, Full>;
using InkGammaTable = Table<Normalise, OneMinus, Gamma, Full>;
using InkLinearTable = Table<Normalise, Linear, OneMinus, Full>;

using LinearWide = Table<Normalise, Linear>;
using GammaHeld = Table<Normalise, Gamma, Hold>;
using InkGammaHeld = Table<Normalise, OneMinus, Gamma, Hold>;

// Those that make a single sample of a single one.

using LumaTable = Table<Normalise, Gamma, ToY, AsSample>;
using LumaLinearTable = Table<AsPixel, FromY, Linear, Full>;
using LumaInkTable = Table<AsPixel, FromY, Linear, OneMinus, Full>;
using LumaGreyTable = Table<AsPixel, FromY, Linear, Repeat, Weigh<w601>, Full>;

} // namespace

// clang-format off
constinit const PairRow CSoperation[colourPairs + 1] = {
    {pairKey(rgblinear, rgb709), each8<GammaByte>, each16<GammaTable>},
    {pairKey(rgblinear, photoycc), row8<FromRgb, GammaByte, Normalise, ToYcc<photoycc>>, row16<FromRgb, GammaHeld, ToYcc<photoycc>>},
    {pairKey(rgblinear, ycc601), row8<FromRgb, GammaByte, Normalise, ToYcc<ycc601>>, row16<FromRgb, GammaHeld, ToYcc<ycc601>>},
    {pairKey(rgblinear, ycc709), row8<FromRgb, GammaByte, Normalise, ToYcc<ycc709>>, row16<FromRgb, GammaHeld, ToYcc<ycc709>>},
    {pairKey(rgblinear, cmyk), row8<FromRgb, Not, ToCmyk>, row16<FromRgb, Not, ToCmyk>},
    {pairKey(rgblinear, cmy), row8<FromRgb, Not, ToCmy>, row16<FromRgb, Not, ToCmy>},
    {pairKey(rgblinear, ylinear), row8<FromRgb, Weigh<w601>, Quantise, ToGrey>, row16<FromRgb, Weigh<w601>, Quantise, ToGrey>},
    {pairKey(rgblinear, y601), row8<FromRgb, GammaByte, Weigh<w601>, Footroom, Quantise, ToGrey>, row16<FromRgb, GammaHeld, Weigh<w601>, Hold, ToY>},
    {pairKey(rgblinear, y709), row8<FromRgb, GammaByte, Weigh<w709>, Footroom, Quantise, ToGrey>, row16<FromRgb, GammaHeld, Weigh<w709>, Hold, ToY>},

    {pairKey(rgb709, rgblinear), each8<LinearByte>, each16<LinearTable>},
    {pairKey(rgb709, photoycc), row8<FromRgb, Normalise, ToYcc<photoycc>>, row16<FromRgb, Normalise, ToYcc<photoycc>>},
    {pairKey(rgb709, ycc601), row8<FromRgb, Normalise, ToYcc<ycc601>>, row16<FromRgb, Normalise, ToYcc<ycc601>>},
    {pairKey(rgb709, ycc709), row8<FromRgb, Normalise, ToYcc<ycc709>>, row16<FromRgb, Normalise, ToYcc<ycc709>>},
    {pairKey(rgb709, cmyk), row8<FromRgb, LinearByte, Not, ToCmyk>, row16<FromRgb, InkLinearTable, ToCmyk>},
    {pairKey(rgb709, cmy), row8<FromRgb, LinearByte, Not, ToCmy>, row16<FromRgb, InkLinearTable, ToCmy>},
    {pairKey(rgb709, ylinear), row8<FromRgb, LinearByte, Weigh<w601>, Quantise, ToGrey>, row16<FromRgb, LinearWide, Weigh<w601>, Full, ToGrey>},
    {pairKey(rgb709, y601), row8<FromRgb, Weigh<w601>, Footroom, Quantise, ToGrey>, row16<FromRgb, Normalise, Weigh<w601>, Hold, ToY>},
    {pairKey(rgb709, y709), row8<FromRgb, Weigh<w709>, Footroom, Quantise, ToGrey>, row16<FromRgb, Normalise, Weigh<w709>, Hold, ToY>},

    {pairKey(photoycc, rgblinear), row8<FromYcc<photoycc>, Matrix<photoycc>, LinearByKey, ToRgb>, row16<FromYcc<photoycc>, Matrix<photoycc>, Linear, Full, ToRgb>},
    {pairKey(photoycc, rgb709), row8<PhotoSum, ToRgb>, row16<FromYcc<photoycc>, Matrix<photoycc>, Full, ToRgb>},
    {pairKey(photoycc, ycc601), row8<FromYcc<photoycc>, ToYcc<ycc601>>, row16<FromYcc<photoycc>, ToYcc<ycc601>>},
    {pairKey(photoycc, ycc709), row8<FromYcc<photoycc>, Matrix<photoycc>, ToYcc<ycc709>>, row16<FromYcc<photoycc>, Matrix<photoycc>, ToYcc<ycc709>>},
    {pairKey(photoycc, cmyk), row8<FromYcc<photoycc>, Matrix<photoycc>, LinearByKey, Not, ToCmyk>, row16<FromYcc<photoycc>, Matrix<photoycc>, Linear, OneMinus, Full, ToCmyk>},
    {pairKey(photoycc, cmy), row8<FromYcc<photoycc>, Matrix<photoycc>, LinearByKey, Not, ToCmy>, row16<FromYcc<photoycc>, Matrix<photoycc>, Linear, OneMinus, Full, ToCmy>},
    {pairKey(photoycc, ylinear), row8<FromYcc<photoycc>, Matrix<photoycc>, LinearByKey, Weigh<w601>, Quantise, ToGrey>, row16<FromYcc<photoycc>, Matrix<photoycc>, Linear, Weigh<w601>, Full, ToGrey>},
    {pairKey(photoycc, y601), row8<FromYcc<photoycc>, LumaAlone, ToY>, row16<FromYcc<photoycc>, LumaAlone, ToY>},
    {pairKey(photoycc, y709), row8<FromYcc<photoycc>, Matrix<photoycc>, Weigh<w709>, Hold, ToY>, row16<FromYcc<photoycc>, Matrix<photoycc>, Weigh<w709>, Hold, ToY>},

    {pairKey(ycc601, rgblinear), row8<FromYcc<ycc601>, Matrix<ycc601>, LinearByKey, ToRgb>, row16<FromYcc<ycc601>, Matrix<ycc601>, Linear, Full, ToRgb>},
    {pairKey(ycc601, rgb709), row8<FromYcc<ycc601>, Matrix<ycc601>, Full, ToRgb>, row16<FromYcc<ycc601>, Matrix<ycc601>, Full, ToRgb>},
    {pairKey(ycc601, photoycc), row8<FromYcc<ycc601>, ToYcc<photoycc>>, row16<FromYcc<ycc601>, ToYcc<photoycc>>},
    {pairKey(ycc601, ycc709), row8<FromYcc<ycc601>, Matrix<ycc601>, ToYcc<ycc709>>, row16<FromYcc<ycc601>, Matrix<ycc601>, ToYcc<ycc709>>},
    {pairKey(ycc601, cmyk), row8<FromYcc<ycc601>, Matrix<ycc601>, LinearByKey, Not, ToCmyk>, row16<FromYcc<ycc601>, Matrix<ycc601>, Linear, OneMinus, Full, ToCmyk>},
    {pairKey(ycc601, cmy), row8<FromYcc<ycc601>, Matrix<ycc601>, LinearByKey, Not, ToCmy>, row16<FromYcc<ycc601>, Matrix<ycc601>, Linear, OneMinus, Full, ToCmy>},
    {pairKey(ycc601, ylinear), row8<FromYcc<ycc601>, Matrix<ycc601>, LinearByKey, Weigh<w601>, Quantise, ToGrey>, row16<FromYcc<ycc601>, Matrix<ycc601>, Linear, Weigh<w601>, Full, ToGrey>},
    {pairKey(ycc601, y601), row8<FirstBand>, row16<FirstBand>},
    {pairKey(ycc601, y709), row8<FromYcc<ycc601>, Matrix<ycc601>, Weigh<w709>, Hold, ToY>, row16<FromYcc<ycc601>, Matrix<ycc601>, Weigh<w709>, Hold, ToY>},

    {pairKey(ycc709, rgblinear), row8<FromYcc<ycc709>, Matrix<ycc709>, LinearByKey, ToRgb>, row16<FromYcc<ycc709>, Matrix<ycc709>, Linear, Full, ToRgb>},
    {pairKey(ycc709, rgb709), row8<FromYcc<ycc709>, Matrix<ycc709>, Full, ToRgb>, row16<FromYcc<ycc709>, Matrix<ycc709>, Full, ToRgb>},
    {pairKey(ycc709, photoycc), row8<FromYcc<ycc709>, Matrix<ycc709>, ToYcc<photoycc>>, row16<FromYcc<ycc709>, Matrix<ycc709>, ToYcc<photoycc>>},
    {pairKey(ycc709, ycc601), row8<FromYcc<ycc709>, Matrix<ycc709>, ToYcc<ycc601>>, row16<FromYcc<ycc709>, Matrix<ycc709>, ToYcc<ycc601>>},
    {pairKey(ycc709, cmyk), row8<FromYcc<ycc709>, Matrix<ycc709>, LinearByKey, Not, ToCmyk>, row16<FromYcc<ycc709>, Matrix<ycc709>, Linear, OneMinus, Full, ToCmyk>},
    {pairKey(ycc709, cmy), row8<FromYcc<ycc709>, Matrix<ycc709>, LinearByKey, Not, ToCmy>, row16<FromYcc<ycc709>, Matrix<ycc709>, Linear, OneMinus, Full, ToCmy>},
    {pairKey(ycc709, ylinear), row8<FromYcc<ycc709>, Matrix<ycc709>, LinearByKey, Weigh<w601>, Quantise, ToGrey>, row16<FromYcc<ycc709>, Matrix<ycc709>, Linear, Weigh<w601>, Full, ToGrey>},
    {pairKey(ycc709, y601), row8<FromYcc<ycc709>, Matrix<ycc709>, Weigh<w601>, Hold, ToY>, row16<FromYcc<ycc709>, Matrix<ycc709>, Weigh<w601>, Hold, ToY>},
    {pairKey(ycc709, y709), row8<FirstBand>, row16<FirstBand>},

    {pairKey(cmy, rgblinear), row8<FromCmy, Not, ToRgb>, row16<FromCmy, Not, ToRgb>},
    {pairKey(cmy, rgb709), row8<FromCmy, Not, GammaByte, ToRgb>, row16<FromCmy, InkGammaTable, ToRgb>},
    {pairKey(cmy, photoycc), row8<FromCmy, Not, GammaByte, Normalise, ToYcc<photoycc>>, row16<FromCmy, InkGammaHeld, ToYcc<photoycc>>},
    {pairKey(cmy, ycc601), row8<FromCmy, Not, GammaByte, Normalise, ToYcc<ycc601>>, row16<FromCmy, InkGammaHeld, ToYcc<ycc601>>},
    {pairKey(cmy, ycc709), row8<FromCmy, Not, GammaByte, Normalise, ToYcc<ycc709>>, row16<FromCmy, InkGammaHeld, ToYcc<ycc709>>},
    {pairKey(cmy, cmyk), row8<FromCmy, ToCmyk>, row16<FromCmy, ToCmyk>},
    {pairKey(cmy, ylinear), row8<FromCmy, Not, Weigh<w601>, Quantise, ToGrey>, row16<FromCmy, Normalise, OneMinus, Weigh<w601>, Full, ToGrey>},
    {pairKey(cmy, y601), row8<FromCmy, InkGammaHeld, Weigh<w601>, Hold, ToY>, row16<FromCmy, InkGammaHeld, Weigh<w601>, Hold, ToY>},
    {pairKey(cmy, y709), row8<FromCmy, InkGammaHeld, Weigh<w709>, Hold, ToY>, row16<FromCmy, InkGammaHeld, Weigh<w709>, Hold, ToY>},

    {pairKey(cmyk, rgblinear), row8<FromCmyk, ToRgb>, row16<FromCmyk, Full, ToRgb>},
    {pairKey(cmyk, rgb709), row8<FromCmyk, GammaByte, ToRgb>, row16<FromCmyk, Gamma, Full, ToRgb>},
    {pairKey(cmyk, photoycc), row8<FromCmyk, GammaByte, Normalise, ToYcc<photoycc>>, row16<FromCmyk, Gamma, Hold, ToYcc<photoycc>>},
    {pairKey(cmyk, ycc601), row8<FromCmyk, GammaByte, Normalise, ToYcc<ycc601>>, row16<FromCmyk, Gamma, Hold, ToYcc<ycc601>>},
    {pairKey(cmyk, ycc709), row8<FromCmyk, GammaByte, Normalise, ToYcc<ycc709>>, row16<FromCmyk, Gamma, Hold, ToYcc<ycc709>>},
    {pairKey(cmyk, cmy), row8<AddBlack>, row16<AddBlack>},
    {pairKey(cmyk, ylinear), row8<FromCmyk, Weigh<w601>, Quantise, ToGrey>, row16<FromCmyk, Weigh<w601>, Full, ToGrey>},
    {pairKey(cmyk, y601), row8<FromCmyk, GammaHeld, Weigh<w601>, Hold, ToY>, row16<FromCmyk, Gamma, Hold, Weigh<w601>, Hold, ToY>},
    {pairKey(cmyk, y709), row8<FromCmyk, GammaHeld, Weigh<w709>, Hold, ToY>, row16<FromCmyk, Gamma, Hold, Weigh<w709>, Hold, ToY>},

    {pairKey(ylinear, rgblinear), row8<FromGrey, Repeat, ToRgb>, row16<FromGrey, Repeat, ToRgb>},
    {pairKey(ylinear, rgb709), row8<FromGrey, GammaByte, Repeat, ToRgb>, row16<FromGrey, GammaTable, Repeat, ToRgb>},
    {pairKey(ylinear, photoycc), row8<FromGrey, Normalise, Gamma, Achromatic, ToYcc<photoycc>>, row16<FromGrey, Normalise, Gamma, Achromatic, ToYcc<photoycc>>},
    {pairKey(ylinear, ycc601), row8<FromGrey, Normalise, Gamma, Hold, Repeat, ToYcc<ycc601>>, row16<FromGrey, GammaHeld, Repeat, ToYcc<ycc601>>},
    {pairKey(ylinear, ycc709), row8<FromGrey, Normalise, Gamma, Hold, Repeat, ToYcc<ycc709>>, row16<FromGrey, GammaHeld, Repeat, ToYcc<ycc709>>},
    {pairKey(ylinear, cmy), row8<FromGrey, Not, Repeat, ToCmy>, row16<FromGrey, Not, Repeat, ToCmy>},
    {pairKey(ylinear, cmyk), row8<FromGrey, Not, Repeat, ToCmyk>, row16<FromGrey, Not, Repeat, ToCmyk>},
    {pairKey(ylinear, y601), row8<FromGrey, Normalise, Gamma, ToY>, row16<FromGrey, LumaTable, ToGrey>},
    {pairKey(ylinear, y709), row8<FromGrey, Normalise, Gamma, ToY>, row16<FromGrey, LumaTable, ToGrey>},

    {pairKey(y601, rgblinear), row8<FromY, LinearByKey, Repeat, ToRgb>, row16<FromGrey, LumaLinearTable, Repeat, ToRgb>},
    {pairKey(y601, rgb709), row8<FromY, Full, Repeat, ToRgb>, row16<FromY, Full, Repeat, ToRgb>},
    // Chroma is computed, and comes out at or next to its zero.
    {pairKey(y601, photoycc), row8<FromY, Repeat, ToYcc<photoycc>>, row16<FromY, Repeat, ToYcc<photoycc>>},
    {pairKey(y601, ycc601), row8<FromY, Achromatic, ToYcc<ycc601>>, row16<FromY, Achromatic, ToYcc<ycc601>>},
    {pairKey(y601, ycc709), row8<FromY, Repeat, ToYcc<ycc709>>, row16<FromY, Repeat, ToYcc<ycc709>>},
    {pairKey(y601, cmy), row8<FromY, LinearByKey, Not, Repeat, ToCmy>, row16<FromGrey, LumaInkTable, Repeat, ToCmy>},
    {pairKey(y601, cmyk), row8<FromY, LinearByKey, Not, Repeat, ToCmyk>, row16<FromGrey, LumaInkTable, Repeat, ToCmyk>},
    {pairKey(y601, ylinear), row8<FromY, LinearByKey, ToGrey>, row16<FromGrey, LumaGreyTable, ToGrey>},
    {pairKey(y601, y709), row8<FromGrey, ToGrey>, row16<FromGrey, ToGrey>},

    {pairKey(y709, rgblinear), row8<FromY, LinearByKey, Repeat, ToRgb>, row16<FromGrey, LumaLinearTable, Repeat, ToRgb>},
    {pairKey(y709, rgb709), row8<FromY, Full, Repeat, ToRgb>, row16<FromY, Full, Repeat, ToRgb>},
    {pairKey(y709, photoycc), row8<FromY, Achromatic, ToYcc<photoycc>>, row16<FromY, Achromatic, ToYcc<photoycc>>},
    {pairKey(y709, ycc601), row8<FromY, Achromatic, ToYcc<ycc601>>, row16<FromY, Achromatic, ToYcc<ycc601>>},
    {pairKey(y709, ycc709), row8<FromY, Achromatic, ToYcc<ycc709>>, row16<FromY, Achromatic, ToYcc<ycc709>>},
    {pairKey(y709, cmy), row8<FromY, LinearByKey, Not, Repeat, ToCmy>, row16<FromGrey, LumaInkTable, Repeat, ToCmy>},
    {pairKey(y709, cmyk), row8<FromY, LinearByKey, Not, Repeat, ToCmyk>, row16<FromGrey, LumaInkTable, Repeat, ToCmyk>},
    {pairKey(y709, ylinear), row8<FromY, LinearByKey, ToGrey>, row16<FromGrey, LumaGreyTable, ToGrey>},
    {pairKey(y709, y601), row8<FromGrey, ToGrey>, row16<FromGrey, ToGrey>},

    {0, nullptr, nullptr},
};
// clang-format on

} // namespace orvi::colour
