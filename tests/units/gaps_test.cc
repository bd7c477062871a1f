// Pixels with gaps between them held against single bytes; buffers end with the last pixel.

#include "memory/frame/gaps.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using Bytes = std::vector<std::byte>;

Bytes numbered(std::size_t count, unsigned first) {
    Bytes bytes(count);
    for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<std::byte>(first + 31 * i);
    return bytes;
}

TEST(Gaps, CloseAndOpen) {
    for (std::size_t size = 1; size <= 12; ++size) {
        for (const std::size_t gap : {1U, 2U, 3U, 5U, 8U, 15U, 40U}) {
            for (const std::size_t pixels : {1U, 2U, 3U, 7U, 8U, 9U, 16U, 17U, 33U, 100U}) {
                const std::size_t step = size + gap;
                const Bytes apart = numbered((pixels - 1) * step + size, 1);
                const Bytes together = numbered(pixels * size, 77);
                Bytes closed(pixels * size);
                orvi::closeGaps(closed.data(), apart.data(), static_cast<std::ptrdiff_t>(step), size, pixels);
                Bytes opened = apart;
                orvi::openGaps(opened.data(), together.data(), static_cast<std::ptrdiff_t>(step), size, pixels);
                for (std::size_t i = 0; i < apart.size(); ++i) {
                    const std::size_t byte = i % step;
                    const std::size_t dense = i / step * size + byte;
                    if (byte < size) {
                        ASSERT_EQ(closed[dense], apart[i]) << size << " " << gap << " " << pixels;
                    }
                    ASSERT_EQ(opened[i], byte < size ? together[dense] : apart[i])
                        << size << " " << gap << " " << pixels;
                }
            }
        }
    }
}

TEST(Gaps, CopyAcross) {
    for (const std::size_t size : {1U, 2U, 3U, 4U, 6U, 9U}) {
        for (const std::size_t toGap : {0U, 1U, 2U, 13U}) {
            for (const std::size_t fromGap : {0U, 1U, 2U, 13U}) {
                for (const std::size_t pixels : {1U, 5U, 16U, 33U, 64U, 130U, 5000U}) {
                    const std::size_t toStep = size + toGap;
                    const std::size_t fromStep = size + fromGap;
                    const Bytes from = numbered((pixels - 1) * fromStep + size, 1);
                    const Bytes before = numbered((pixels - 1) * toStep + size, 77);
                    Bytes to = before;
                    orvi::copyAcrossGaps(to.data(), static_cast<std::ptrdiff_t>(toStep), from.data(),
                                         static_cast<std::ptrdiff_t>(fromStep), size, pixels);
                    for (std::size_t i = 0; i < to.size(); ++i) {
                        const std::size_t byte = i % toStep;
                        ASSERT_EQ(to[i], byte < size ? from[i / toStep * fromStep + byte] : before[i])
                            << size << " " << toGap << " " << fromGap << " " << pixels;
                    }
                }
            }
        }
    }
}

} // namespace
