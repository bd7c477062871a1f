// What the op functions of the affine family do before their engines: make the matrix from the op's parameters and test
// it.
#pragma once

#include "memory/geometry/GeomWalk.h"
#include "orv/device/OrvInterpolationTable.h"
#include "orv/device/OrvOp.h"

namespace orvi {

/// An engine; `h` and `v` are null but for general interpolation.
using Engine = OrvStatus (*)(OrvImage* src, OrvImage* dst, const Matrix& m, OrvInterpolationTable* h,
                             OrvInterpolationTable* v);

enum class Tables { none, separable };

OrvStatus affineOp(OrvOp* op, Engine engine, Tables tables) noexcept;
OrvStatus rotateOp(OrvOp* op, Engine engine, Tables tables) noexcept;
OrvStatus translateOp(OrvOp* op, Engine engine, Tables tables) noexcept;

/// A way of a scale op around its engine: runs where its factors fit.
struct ScalePath {
    bool (*fits)(float sx, float sy);
    OrvStatus (*run)(OrvImage* src, OrvImage* dst, float sx, float sy);
};
/// Tries the paths in their order, up to the first without a function.
OrvStatus scaleOp(OrvOp* op, Engine engine, Tables tables, const ScalePath (&paths)[2] = {}) noexcept;

} // namespace orvi
