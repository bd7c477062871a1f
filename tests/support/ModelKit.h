// What a family's model test is made of: random cases, a plain picture of their images, and a driver that holds the
// device against the model on every build and every storage policy.
//
// A model test says how a case is made and what must come of it; tests/models/add8_test.cc is a whole one. In short:
//
//     orvmodel::Model model;
//     model.make = [](orvmodel::Maker& maker) {            // random sizes, strides, origins, regions, samples
//         const unsigned bands = maker.bands();
//         const std::string d = maker.image("d", ORV_BYTE, bands);
//         const std::string a = maker.source("a", ORV_BYTE, bands, d);      // at times d itself: in place
//         maker.c.addCall({.op = "not8", .src = {a}, .dst = d});
//     };
//     model.expect = [](const orvcase::Case&, orvcase::Call& call, orvmodel::Scene& scene) {
//         const auto rects = scene.rects({call.src[0], call.dst});          // what the op works on, in canonical order
//         scene.touch(call.dst, rects);
//         orvmodel::eachPixel(rects, [&](long x, long y) {
//             for (unsigned b = 0; b < scene.bands(call.dst); ++b) {
//                 scene.put(call.dst, x, y, b, 255 - scene.at(call.src[0], x, y, b));
//             }
//         });
//     };
//     TEST(Not, Model) { orvmodel::check(model); }
//
// The driver fills in the call's `out` and `touched` from the scene; a model sets status, errors, `now`, `result` and
// `live` on call.expect itself. A call that changes nothing needs no more than that. A model of a neighbourhood copies
// the scene first and reads the copy. A case of several calls is answered call by call, on one scene.
//
// A mismatch is shrunk and printed as a case file with its seed. ORV_SEED=N runs another series, ORV_CASES=N another
// count.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <random>
#include <string>
#include <vector>

#include "replay/Case.h"

namespace orvmodel {

using orvcase::Rect;

class Random {
public:
    explicit Random(std::uint64_t seed) : engine_(seed) {}

    /// From 0 to n - 1.
    unsigned below(unsigned n) { return static_cast<unsigned>(between(0, static_cast<long>(n) - 1)); }
    /// From low to high, both included.
    long between(long low, long high) { return std::uniform_int_distribution<long>(low, high)(engine_); }
    bool chance(unsigned percent) { return below(100) < percent; }
    float real(float low, float high) { return std::uniform_real_distribution<float>(low, high)(engine_); }
    template <class T>
    T pick(std::initializer_list<T> list) {
        return list.begin()[below(static_cast<unsigned>(list.size()))];
    }

private:
    std::mt19937_64 engine_;
};

/// Makes a random case. The images of one case are of like size and place, so that their regions meet.
class Maker {
public:
    explicit Maker(std::uint64_t seed);

    Random random;
    orvcase::Case c;

    // What the images below may have; a model turns off what its op cannot take.
    bool regions = true;
    bool origins = true;
    bool fractions = true; ///< origins between whole pixels
    bool strides = true;
    bool children = true;
    bool parts = true; ///< sizes that differ from image to image
    unsigned largest = 70;

    /// Makes the images that follow long and low: rows in which the widest steps of a kernel are taken.
    void widen();

    /// 1 to 5, small counts often.
    unsigned bands();
    OrvDataType type() { return random.pick({ORV_BIT, ORV_BYTE, ORV_SHORT}); }

    /// A random image; answers its name. Sizes of 0 stand for random ones.
    std::string image(const std::string& name, OrvDataType type, unsigned bands, unsigned width = 0,
                      unsigned height = 0);
    /// The same, or, one time in six, the destination itself where it has the same type and bands: an in-place call.
    std::string source(const std::string& name, OrvDataType type, unsigned bands, const std::string& destination);

    /// Samples of a type: even ones, or extreme ones, or few different ones.
    orvcase::Values samples(OrvDataType type, std::size_t count);
    /// A region in storage pixels of an image: several rectangles that overlap and stick out, at times none (empty).
    orvcase::Region region(unsigned width, unsigned height);

    orvcase::Param floats(const std::string& name, orvcase::Values values);
    orvcase::Param ulongs(const std::string& name, orvcase::Values values);

private:
    void layOut(orvcase::Image& image);
    void place(orvcase::Image& image);
    unsigned size(unsigned common);

    unsigned width_;
    unsigned height_;
    float originX_;
    float originY_;
};

/// The least and the greatest sample of a type.
double lowest(OrvDataType type);
double highest(OrvDataType type);

/// The samples of a case's images, without strides, and the regions that they have. Samples that images share (a child
/// and its parent, one image in two roles) are one here too. Image space: (0, 0) is at the image's origin.
class Scene {
public:
    explicit Scene(const orvcase::Case& c);

    const orvcase::Image& image(const std::string& name) const;
    unsigned bands(const std::string& name) const { return image(name).bands; }
    /// The origin, truncated toward zero.
    long originX(const std::string& name) const;
    long originY(const std::string& name) const;

    /// A sample by its image-space position, or by its storage position.
    double at(const std::string& name, long x, long y, unsigned band) const;
    void put(const std::string& name, long x, long y, unsigned band, double value);
    double sample(const std::string& name, long column, long row, unsigned band) const;
    void setSample(const std::string& name, long column, long row, unsigned band, double value);
    bool inside(const std::string& name, long column, long row) const;
    /// From now on any value is right there (image space).
    void leaveOpen(const std::string& name, long x, long y, unsigned band);

    /// The image-space region of an image: what is set, or all of it, cut to the image.
    std::vector<Rect> region(const std::string& name) const { return rects({name}); }
    /// The intersection of the image-space regions of several, in canonical order. Empty names count as no image.
    std::vector<Rect> rects(std::initializer_list<std::string> names) const;

    /// What the call is expected to pass to setPixelsTouchedRoi. Without a call of this nothing is expected about it.
    void touch(const std::string& name, const std::vector<Rect>& rects);
    void touchNone(const std::string& name);

    /// Adds what the scene says to the expectations of a call.
    void fillIn(orvcase::Expectations& expect);

private:
    struct Place {
        std::size_t root;
        std::size_t at;
    };
    struct Held {
        const orvcase::Image* image;
        std::size_t root;
        unsigned x, y, band;
    };
    const Held& held(const std::string& name) const;
    Place place(const std::string& name, long column, long row, unsigned band) const;

    std::vector<Held> images_;
    std::vector<orvcase::Values> samples_; ///< of the roots, by the place of the root among the images
    std::vector<std::vector<bool>> open_;
    std::vector<bool> written_;
    std::vector<orvcase::ExpectedTouch> touched_;
};

/// The rectangles' union in canonical order: the fewest horizontal bands whose set of column intervals does not change.
std::vector<Rect> canonical(const std::vector<Rect>& rects);

/// visit(x, y) for each pixel, rectangle by rectangle and row by row.
template <class Visit>
void eachPixel(const std::vector<Rect>& rects, Visit visit) {
    for (const Rect& r : rects) {
        for (long y = r.y; y < r.y + r.height; ++y) {
            for (long x = r.x; x < r.x + r.width; ++x) visit(x, y);
        }
    }
}

/// Thrown by a model's functions for a case that it cannot answer: the case is passed over.
struct Unanswered {};

struct Model {
    /// Makes the objects and calls of a case.
    std::function<void(Maker&)> make;
    /// Says what comes of a call: writes to the scene, sets the rest on call.expect.
    std::function<void(const orvcase::Case&, orvcase::Call&, Scene&)> expect;
    unsigned cases = 300;
    std::uint64_t seed = 1;
};

/// The builds that this machine can run, and one more, in which every result goes past the caches.
const std::vector<std::string>& testedBuilds();

/// Runs random cases on all builds and storage policies; a mismatch fails the running test.
void check(const Model& model);

/// The first mismatch on any build and storage policy, or nothing.
std::string mismatch(const orvcase::Case& c);

/// What `check` does with one seed, for a test of its own.
orvcase::Case makeCase(const Model& model, std::uint64_t seed);
/// Fills in the expectations of all calls. Throws Unanswered.
void answer(const Model& model, orvcase::Case& c);

/// A smaller case that still fails (answers true), as small as halving, dropping and zeroing make it.
orvcase::Case shrink(orvcase::Case c, const std::function<bool(orvcase::Case&)>& fails);

} // namespace orvmodel
