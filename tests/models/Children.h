// Copies between children of one parent, sample by sample.
#pragma once

#include "support/PixelSets.h"

namespace pixelmodel {

/// Children of one parent: the samples of a child are those of the parent, so that each store may change what a later
/// load finds.
class Children {
public:
    Children(orvcase::Image& parent, const orvcase::Image& source, const orvcase::Image& destination)
        : parent_(parent), source_(source), destination_(destination), bands_(destination.bands) {}

    void copy() {
        const Pixels pixels = common(pixelsOf(source_), pixelsOf(destination_));
        const bool besides = source_.atY == destination_.atY && source_.atX < destination_.atX;
        if (source_.roi || destination_.roi || (besides && parent_.type == ORV_BIT)) return throughTemporary(pixels);
        if (pixels.empty()) return;
        const bool bottomUp = source_.atY < destination_.atY;
        const auto [y, x] = *pixels.begin();
        const long width = pixels.rbegin()->second - x + 1;
        const long height = pixels.rbegin()->first - y + 1;
        const unsigned planes = parent_.type == ORV_BIT ? bands_ : 1;
        for (unsigned plane = 0; plane < planes; ++plane) {
            for (long row = 0; row < height; ++row) {
                if (bottomUp) {
                    copyRow(plane, {height - 1 - row, 0}, {height - 1 - row, 0}, width, false);
                } else {
                    copyRow(plane, {y + row + originY(source_), x + originX(source_)},
                            {y + row + originY(destination_), x + originX(destination_)}, width, besides);
                }
            }
        }
    }

private:
    double& sample(const orvcase::Image& child, Pixel at, unsigned band) {
        return parent_.data[parent_.index(child.atX + static_cast<unsigned>(at.second),
                                          child.atY + static_cast<unsigned>(at.first), child.atBand + band)];
    }

    void throughTemporary(const Pixels& pixels) {
        const orvcase::Image before = parent_;
        for (const auto& [y, x] : pixels) {
            for (unsigned band = 0; band < bands_; ++band) {
                sample(destination_, {y + originY(destination_), x + originX(destination_)}, band) =
                    before.at(source_.atX + static_cast<unsigned>(x + originX(source_)),
                              source_.atY + static_cast<unsigned>(y + originY(source_)), source_.atBand + band);
            }
        }
    }

    void copyRow(unsigned plane, Pixel from, Pixel to, long width, bool rightToLeft) {
        if (parent_.type == ORV_BIT) {
            for (long i = 0; i < width; ++i) {
                sample(destination_, {to.first, to.second + i}, plane) =
                    sample(source_, {from.first, from.second + i}, plane);
            }
            return;
        }
        // Dense rows are moved as a whole.
        const bool dense = parent_.samplesPerPixel() == bands_;
        const orvcase::Image before = parent_;
        for (long i = 0; i < width; ++i) {
            const long at = rightToLeft && !dense ? width - 1 - i : i;
            for (unsigned band = 0; band < bands_; ++band) {
                double value = sample(source_, {from.first, from.second + at}, band);
                if (dense) {
                    value = before.at(source_.atX + static_cast<unsigned>(from.second + at),
                                      source_.atY + static_cast<unsigned>(from.first), source_.atBand + band);
                }
                sample(destination_, {to.first, to.second + at}, band) = value;
            }
        }
    }

    orvcase::Image& parent_;
    const orvcase::Image& source_;
    const orvcase::Image& destination_;
    unsigned bands_;
};

} // namespace pixelmodel
