#include "memory/geometry/GeomOps.h"

#include <cmath>

namespace orvi {

namespace {

float number(float parameter) noexcept { return parameter == parameter ? parameter : 0.0F; }

/// The determinant, rounded to single precision before it is compared.
bool flat(const Matrix& m) noexcept {
    const float det = static_cast<float>(double{m.p[0]} * m.p[3] - double{m.p[1]} * m.p[2]);
    return std::fabs(double{det}) < 0.0001;
}

OrvStatus runEngine(OrvOp* op, Engine engine, Tables tables, const Matrix& m) noexcept {
    if (tables == Tables::none) return engine(op->getSrc1(), op->getDst(), m, nullptr, nullptr);
    return engine(op->getSrc1(), op->getDst(), m, static_cast<OrvInterpolationTable*>(op->getObjParam(3)),
                  static_cast<OrvInterpolationTable*>(op->getObjParam(4)));
}

} // namespace

OrvStatus affineOp(OrvOp* op, Engine engine, Tables tables) noexcept {
    const float* parameter = static_cast<const float*>(op->getPtrParam(1));
    if (parameter == nullptr) return ORV_FAILURE;
    Matrix m{};
    for (int i = 0; i < 6; ++i) m.p[i] = number(parameter[i]);
    // A flat matrix that also moves is the engine's to refuse, with the same outcome.
    if (flat(m) && m.p[4] == 0 && m.p[5] == 0) return ORV_SUCCESS;
    return runEngine(op, engine, tables, m);
}

OrvStatus rotateOp(OrvOp* op, Engine engine, Tables tables) noexcept {
    const double angle = number(op->getFloatParam(1));
    const float c = number(static_cast<float>(std::cos(angle)));
    const float s = number(static_cast<float>(std::sin(angle)));
    const Matrix m{{c, -s, s, c, 0, 0}};
    if (flat(m)) return ORV_SUCCESS;
    return runEngine(op, engine, tables, m);
}

OrvStatus scaleOp(OrvOp* op, Engine engine, Tables tables, const ScalePath (&paths)[2]) noexcept {
    const float sx = number(op->getFloatParam(1));
    const float sy = number(op->getFloatParam(2));
    if (sx == 0 && sy == 0) return ORV_FAILURE;
    for (const ScalePath& path : paths) {
        if (path.run != nullptr && path.fits(sx, sy)) return path.run(op->getSrc1(), op->getDst(), sx, sy);
    }
    const Matrix m{{sx, 0, 0, sy, 0, 0}};
    if (flat(m)) return ORV_SUCCESS;
    return runEngine(op, engine, tables, m);
}

OrvStatus translateOp(OrvOp* op, Engine engine, Tables tables) noexcept {
    return runEngine(op, engine, tables,
                     Matrix{{1, 0, 0, 1, number(op->getFloatParam(1)), number(op->getFloatParam(2))}});
}

} // namespace orvi
