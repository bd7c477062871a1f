// The frame of the arithmetic and logic families: a member is a name, a sample type and an operation.
#pragma once

#include "memory/frame/Frame.h"
#include "memory/frame/apart_rows.h"
#include "memory/frame/bit_blocks.h"
#include "memory/frame/lanes.h"
#include "memory/frame/sample_rows.h"
#include "memory/frame/walk.h"

namespace orvi {

/// dst = operation(src1), sample by sample. The operation takes vectors and single samples; what it notes stays in it.
template <class T, class Operation>
void eachSample(Frame& frame, Operation& operation) noexcept {
    const unsigned bands = commonBands(frame[dst], frame[src1]);
#if defined(__AVX512BW__)
    if (mappedApart<T>(frame.rects(), bands, operation, ImageOf<T>{frame[dst]}, ImageOf<T>{frame[src1]})) return;
#endif
    const auto kernel = [&operation, bands](T* d, const T* a, std::size_t pixels) {
        operation = mapSamples(d, pixels * bands, operation, a);
    };
    walkRuns<T, T>(frame.rects(), kernel, Operand{&frame[dst], bands}, Operand{&frame[src1], bands});
}

/// dst = operation(src1, src2), sample by sample.
template <class T, class Operation>
void eachPair(Frame& frame, Operation& operation) noexcept {
    const unsigned bands = commonBands(frame[dst], frame[src1], frame[src2]);
#if defined(__AVX512BW__)
    if (mappedApart<T>(frame.rects(), bands, operation, ImageOf<T>{frame[dst]}, ImageOf<T>{frame[src1]},
                       ImageOf<T>{frame[src2]}))
        return;
    if constexpr (!std::is_empty_v<Operation> && sizeof(T) == 1) {
        const bool mapped = bands == 1 && mappedWords<lanes::U16>(frame.rects(), operation, ImageOf<T>{frame[dst]},
                                                                  ImageOf<T>{frame[src1]}, ImageOf<T>{frame[src2]});
        if (mapped) return;
    }
#endif
    const auto kernel = [&operation, bands](T* d, const T* a, const T* b, std::size_t pixels) {
        operation = mapSamples(d, pixels * bands, operation, a, b);
    };
    walkRuns<T, T, T>(frame.rects(), kernel, Operand{&frame[dst], bands}, Operand{&frame[src1], bands},
                      Operand{&frame[src2], bands});
}

/// An op of one image, without failures of its own.
template <class T, class Operation>
OrvStatus samplewise(OrvOp* op, const char* file, Operation operation) noexcept {
    Frame frame(op);
    if (frame.open(oneSource<T, T>(file)) != ORV_SUCCESS) return ORV_FAILURE;
    eachSample<T>(frame, operation);
    return ORV_SUCCESS;
}

/// An op of two images, without failures of its own.
template <class T, class Operation>
OrvStatus pairwise(OrvOp* op, const char* file, Operation operation) noexcept {
    Frame frame(op);
    if (frame.open(twoSources<T>(file)) != ORV_SUCCESS) return ORV_FAILURE;
    eachPair<T>(frame, operation);
    return ORV_SUCCESS;
}

/// The same for BIT images; the operation takes bits by the byte, word or vector.
template <class Operation>
OrvStatus bitwise(OrvOp* op, const char* file, Operation operation) noexcept {
    Frame frame(op);
    if (frame.open(oneSource<Bit, Bit>(file)) != ORV_SUCCESS) return ORV_FAILURE;
    walkBitBlocks(
        frame.rects(), commonBands(frame[dst], frame[src1]),
        [operation](std::size_t rows, unsigned length, unsigned, BitRows d, BitRows a) {
            combineBitRows(d, rows, length, operation, a);
        },
        frame[dst], frame[src1]);
    return ORV_SUCCESS;
}
template <class Operation>
OrvStatus bitPairwise(OrvOp* op, const char* file, Operation operation) noexcept {
    Frame frame(op);
    if (frame.open(twoSources<Bit>(file)) != ORV_SUCCESS) return ORV_FAILURE;
    walkBitBlocks(
        frame.rects(), commonBands(frame[dst], frame[src1], frame[src2]),
        [operation](std::size_t rows, unsigned length, unsigned, BitRows d, BitRows a, BitRows b) {
            combineBitRows(d, rows, length, operation, a, b);
        },
        frame[dst], frame[src1], frame[src2]);
    return ORV_SUCCESS;
}

} // namespace orvi
