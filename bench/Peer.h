// Measurements of an op beside a peer and beside a copy of the same bytes.
//
// A source registers its measurements and orvbench runs them: the op, the peer and the copy take turns, so that a busy
// machine slows all of them, and the fastest of each counts.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "orv/host/host.h"

namespace orvbench {

/// Of the pictures, in pixels, where a row says nothing else; known when the rows are prepared.
extern unsigned side;

/// A session over the build that was asked for, kept for the whole run.
orv::host::Session& session();

/// How the samples of a picture lie.
struct Layout {
    unsigned width = side;
    unsigned height = side;
    unsigned offset = 0;     ///< of BIT alone: the bit at which its rows begin
    unsigned pixelGap = 0;   ///< samples between pixels that belong to none; BIT has no such gap
    unsigned rowGap = 0;     ///< samples (BIT: bytes) between rows
    bool rectangles = false; ///< a region of 16 rectangles that leaves out a few rows and columns between them
};

/// An image of random samples.
class Picture {
public:
    Picture(OrvDataType type, unsigned bands, const Layout& layout);
    Picture(OrvDataType type, unsigned bands, unsigned offset = 0, unsigned width = side, unsigned height = side)
        : Picture(type, bands, Layout{.width = width, .height = height, .offset = offset}) {}

    orv::host::Image& image() noexcept { return *image_; }
    template <class T = unsigned char>
    T* samples() noexcept {
        return reinterpret_cast<T*>(bytes_.data());
    }
    std::size_t bytes() const noexcept { return bytes_.size(); }
    /// A pixel's first sample, of BYTE images.
    unsigned char* at(unsigned x, unsigned y) noexcept {
        return bytes_.data() + std::size_t{y} * stride_ + std::size_t{x} * pixel_;
    }

private:
    std::vector<unsigned char> bytes_;
    unsigned stride_;
    unsigned pixel_;
    orv::host::Owned<orv::host::Image> image_;
};

/// A call of an op, ready to run any number of times.
class Call {
public:
    Call(const char* op, const std::vector<Picture*>& sources, Picture& destination);
    orv::host::Op& op() noexcept { return *op_; }
    void operator()();

private:
    orv::host::Owned<orv::host::Op> op_;
};

/// One row of the table. Its name begins with the path of the function that it measures, as it is registered. What
/// `prepare` makes lives while the row is measured.
struct Measurement {
    struct Runs {
        std::function<void()> orv;
        std::function<void()> peer; ///< none: beside the copy alone
        std::size_t bytes = 0;      ///< read and written by the op
        std::size_t written = 0;    ///< of these
        std::shared_ptr<void> holds;
    };
    std::string name;
    std::string peer;
    double goal = 0; ///< of the peer's speed
    std::function<Runs()> prepare;
    double copyGoal = 0; ///< of memcpy's speed
};

/// Adds a row; the answer lets it stand in an initialiser.
bool measure(Measurement measurement);

} // namespace orvbench
