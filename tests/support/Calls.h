// A random, well-formed call of any function of the device: what the long run, the fuzzer, the fault matrix and the
// comparison of builds call.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ModelKit.h"

namespace orvmodel {

/// A function of the device, by the path under which the op tree has it (`add8`, `add8/multiply8`). Two functions may
/// stand under one path: each has calls that it alone serves.
struct Function {
    std::string path;
    std::string name; ///< of this function: the path, or the path and what is special about it
    OrvDataType from = ORV_BYTE;
    OrvDataType to = ORV_BYTE;
    void (*make)(Maker&, const Function&) = nullptr;
};

/// All of them, one for each different pair of a path and a function.
const std::vector<Function>& functions();

/// The same function and seed make the same case everywhere.
orvcase::Case randomCall(const Function& function, std::uint64_t seed);
/// The seed chooses the function too; neighbouring seeds call different ones.
orvcase::Case randomCall(std::uint64_t seed);

/// Steps in each band for a lookup; the entries begin at 0 or elsewhere and count up or down.
orvcase::ColorCube randomCube(Maker& maker, unsigned bands, unsigned mostLevels);

} // namespace orvmodel
