#include "memory/colour/tables.h"

#include "memory/frame/orvi_new.h"

namespace {

using namespace orvi::colour;

constexpr int firstNonlinearKey = 1176;
constexpr std::uint32_t bucketTop = (1U << keyShift) - 1;

} // namespace

constinit const std::array<unsigned char, orvNonlinearKeys> _L2NLtable =
    byteTable<orvNonlinearKeys>([](int i) { return transfer(floatOfKey(firstNonlinearKey + i, bucketTop)); });

namespace orvi::colour {

std::int32_t* photoTables[photoParts];

bool orviCSlut() noexcept {
    // All five are asked for before the first is looked at.
    Array<std::int32_t> blocks[photoParts];
    for (Array<std::int32_t>& block : blocks) block = Array<std::int32_t>(byteLevels);
    for (const Array<std::int32_t>& block : blocks) {
        if (!block) return false;
    }
    for (int part = 0; part < photoParts; ++part) {
        photoTables[part] = blocks[part].release();
        for (int i = 0; i < static_cast<int>(byteLevels); ++i) photoTables[part][i] = photoLines[part].at(i);
    }
    return true;
}

} // namespace orvi::colour
