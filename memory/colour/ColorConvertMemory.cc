// Conversion of an image from one colour space to another, through the table of pairs.

#include "memory/colour/CSoperation.h"
#include "memory/colour/tables.h"
#include "memory/frame/Frame.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/walk.h"
#include "orv/device/OrvColorspace.h"

namespace {

using namespace orvi;
using namespace orvi::colour;

constexpr const char* file = "ColorConvertMemory.cc";

/// 1 once the photo tables are there.
std::int32_t photoTablesMade = 0;

/// The walker of a sample type: its reports, and the bands of each side, which the row function alone knows of.
template <class Sample>
inline constexpr Fetch walkFetches[] = {
    {src1, dataTypeOf<Sample>, {"di-9", 1, 1, 64}, src1},
    {dst, dataTypeOf<Sample>, {"di-10", 1, 1, 77}, dst},
};
template <class Sample>
inline constexpr FrameFacts walkFacts{
    sizeof(Sample) == 1 ? "walk8.cc" : "walk16.cc", walkFetches<Sample>, {"di-12", 0, 1, 89}, src1};

/// Runs a row function over the pixels that both images have. The destination is not told what is touched.
template <class Sample>
OrvStatus walk(Frame& frame, RowFunction<Sample> row, unsigned bands, unsigned sourceBands) noexcept {
    constexpr const FrameFacts& facts = walkFacts<Sample>;
    if (frame.fetch(facts) != ORV_SUCCESS) return ORV_FAILURE;
    OrvRoi* touched = nullptr;
    OrvRoiList* list = OrviGetRoiList(&touched, frame.image(dst), frame.image(src1), nullptr, nullptr);
    if (list == nullptr) return fail(frame.image(src1), facts.listFailure, facts.file);
    frame.rects().reset(list);
    walkRuns<Sample, Sample>(
        frame.rects(), [row](Sample* to, const Sample* from, std::size_t pixels) { row(from, to, pixels); },
        Operand{&frame[dst], bands}, Operand{&frame[src1], sourceBands});
    // The list first, then the region it may stand on.
    frame.rects().reset(nullptr);
    orv_destroy(touched);
    return ORV_SUCCESS;
}

OrvStatus walkPair(Frame& frame, const PairRow& pair) noexcept {
    const unsigned sourceBands = bandsOf(pair.key >> 16);
    const unsigned bands = bandsOf(pair.key & 0xffff);
    if (frame.image(src1)->getDataType() == ORV_BYTE) return walk(frame, pair.row8, bands, sourceBands);
    return walk(frame, pair.row16, bands, sourceBands);
}

/// Whether the images hold samples that the row functions of a pair can read and write.
bool fits(const PairRow& pair, OrvImage* source, OrvImage* destination) noexcept {
    const OrvDataType type = source->getDataType();
    return (type == ORV_BYTE || type == ORV_SHORT) && destination->getDataType() == type &&
           source->getBands() >= bandsOf(pair.key >> 16) && destination->getBands() >= bandsOf(pair.key & 0xffff);
}

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::ColorConvert(OrvOp* op, int) noexcept {
    // The tables are asked for by the first conversion of any pair; without them the op is declined.
    if (photoTablesMade == 0) {
        if (!orviCSlut()) return ORV_FAILURE;
        photoTablesMade = 1;
    }
    Frame frame(op);
    OrvImage* source = frame.image(src1);
    OrvImage* destination = frame.image(dst);
    auto* from = static_cast<OrvColorspace*>(op->getObjParam(1));
    auto* to = static_cast<OrvColorspace*>(op->getObjParam(2));
    if (from == nullptr) return fail(source, {"di-202", 4, 1, 855}, file);
    if (to == nullptr) return fail(destination, {"di-203", 4, 1, 860}, file);

    const std::uint32_t key = pairKey(from->getOpcode(), to->getOpcode());
    for (const PairRow* pair = CSoperation; pair->key != 0; ++pair) {
        if (pair->key == key && fits(*pair, source, destination)) return walkPair(frame, *pair);
    }
    return fail(destination, {"di-204", 4, 1, 882}, file);
}
