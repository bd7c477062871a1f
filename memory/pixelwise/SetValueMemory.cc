// One value a band written over an image's region.

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "memory/frame/BandPattern.h"
#include "memory/frame/Frame.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/bit_blocks.h"
#include "memory/frame/numbers.h"
#include "memory/frame/walk.h"

namespace {

using namespace orvi;

template <class T>
constexpr Fetch destinationFetch[] = {{dst, dataTypeOf<T>, {"di-10", 1, 0}, dst}};

/// There is no list in common with a source: only the destination's own region counts, and it is not marked as touched.
template <class T>
OrvStatus openRegion(Frame& frame, const char* file) noexcept {
    const FrameFacts facts{file, destinationFetch<T>, {}, dst};
    if (frame.fetch(facts) != ORV_SUCCESS) return ORV_FAILURE;
    OrvImage* image = frame.image(dst);
    OrvRoi* region = image->getImageSpaceRoi();
    if (region == nullptr) return fail(image, {"di-6", 6, 0}, file);
    OrvRoiList* list = region->getRectList();
    if (list == nullptr) return fail(image, {"di-8", 6, 0}, file);
    frame.rects().reset(list);
    return ORV_SUCCESS;
}

const float* valuesOf(OrvOp* op) noexcept { return static_cast<const float*>(op->getPtrParam(1)); }

/// 0.5 is added whatever the sign.
std::uint8_t byteOf(float value) noexcept {
    const float raised = value + 0.5F;
    return static_cast<std::uint8_t>(toInt(raised, 0, 255));
}

/// Bytes in a row from which on the processor's own fill is ahead: it takes lines without fetching them.
constexpr std::size_t manyBytes = 4096;

/// Fills with a pattern of eight bytes that begins with the run; the rest is left. Answers how many bytes were filled.
inline std::size_t fillWords([[maybe_unused]] void* to, [[maybe_unused]] const void* pattern,
                             [[maybe_unused]] std::size_t bytes) noexcept {
#if defined(__x86_64__)
    const auto word = lanes::load<std::uint64_t>(pattern);
    std::size_t count = bytes / sizeof word;
    asm volatile("rep stosq"
                 : "+D"(to), "+c"(count)
                 : "a"(word)
                 : "memory"); // NOLINT(hicpp-no-assembler): no other way
    return bytes / sizeof word * sizeof word;
#else
    return 0;
#endif
}

template <class T, class Convert>
OrvStatus setValue(OrvOp* op, const char* file, Convert convert) noexcept {
    Frame frame(op);
    if (openRegion<T>(frame, file) != ORV_SUCCESS) return ORV_FAILURE;
    const unsigned bands = frame[dst].bands;
    const Array<T> values(bands);
    if (!values) return fail(frame.image(dst), noMemory, file);
    for (unsigned band = 0; band < bands; ++band) values[band] = convert(valuesOf(op)[band]);

    const BandPattern<T> pattern(bands, [&](unsigned band) { return values[band]; });
    const bool bytes = sizeof(T) == 1 && bands == 1;
    const bool words = sizeof(std::uint64_t) % (bands * sizeof(T)) == 0;
    walkRuns<T>(
        frame.rects(),
        [&](T* d, std::size_t pixels) {
            if (bytes) {
                std::memset(d, values[0], pixels);
                return;
            }
            const std::size_t samples = pixels * bands;
            const bool many = words && samples * sizeof(T) >= manyBytes;
            const std::size_t done = many ? fillWords(d, pattern.get(), samples * sizeof(T)) / sizeof(T) : 0;
            fillWithBands(d + done, samples - done, pattern);
        },
        Operand{&frame[dst], bands});
    return ORV_SUCCESS;
}

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::SetValue1(OrvOp* op, int) noexcept {
    Frame frame(op);
    if (openRegion<Bit>(frame, "SetValue1Memory.cc") != ORV_SUCCESS) return ORV_FAILURE;
    const float* values = valuesOf(op);
    const auto kernel = [&](std::size_t rows, unsigned length, unsigned band, BitRows to) {
        setBitRows(to, rows, length, toBit(values[band]));
    };
    walkBitBlocks(frame.rects(), frame[dst].bands, kernel, frame[dst]);
    return ORV_SUCCESS;
}

OrvStatus OrvDeviceComputeTypeMemory::SetValue8(OrvOp* op, int) noexcept {
    return setValue<std::uint8_t>(op, "SetValue8Memory.cc", byteOf);
}

OrvStatus OrvDeviceComputeTypeMemory::SetValue16(OrvOp* op, int) noexcept {
    return setValue<std::int16_t>(op, "SetValue16Memory.cc", roundTo<std::int16_t>);
}
