// Samples of an image a row at a time, as numbers.
#pragma once

#include <span>
#include <vector>

#include "orv/Image.h"

namespace orv::tool {

class SampleRows {
public:
    explicit SampleRows(const Image& image);

    /// The samples of row y, pixel by pixel; good until the next call.
    std::span<const int> row(unsigned y);

private:
    void bits(const std::byte* plane, unsigned band);

    Image image_;
    Pixels pixels_;
    std::vector<int> samples_;
};

} // namespace orv::tool
