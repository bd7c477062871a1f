// What most rows are made of: the images of a call with the call on them, and the peers' views of those images.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Peer.h"

#ifdef ORV_PEER_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif
#ifdef ORV_PEER_LEPTONICA
#include <leptonica/allheaders.h>
#endif

namespace orvbench {

using Runs = Measurement::Runs;

/// The images of a call, sources first, and the call on them.
class Scene {
public:
    Scene(const std::string& op, std::vector<Picture> pictures);

    Picture& source(std::size_t number = 1) noexcept { return pictures_[number - 1]; }
    Picture& destination() noexcept { return pictures_.back(); }
    orv::host::Op& op() noexcept { return call_->op(); }
    void run() { (*call_)(); }
    std::size_t bytes() const;

    /// Lets an object or array that the call names live as long as the scene.
    template <class Object>
    Object& keep(std::shared_ptr<Object> object) {
        kept_.push_back(std::move(object));
        return *static_cast<Object*>(kept_.back().get());
    }
    template <class Object, class Delete>
    Object& keep(std::unique_ptr<Object, Delete> object) {
        return keep(std::shared_ptr<Object>(std::move(object)));
    }

private:
    std::vector<Picture> pictures_;
    std::vector<std::shared_ptr<void>> kept_;
    std::unique_ptr<Call> call_;
};

template <class... Pictures>
std::shared_ptr<Scene> makeScene(const std::string& op, Pictures... pictures) {
    std::vector<Picture> all;
    (all.push_back(std::move(pictures)), ...);
    return std::make_shared<Scene>(op, std::move(all));
}

/// The runs of a scene beside a peer; without one beside the copy alone.
Runs runsOf(const std::shared_ptr<Scene>& scene, std::function<void()> peer = {});
/// Beside a copy of its only source to its destination.
Runs runsBesideCopy(const std::shared_ptr<Scene>& scene);

/// The samples of a picture.
struct Kind {
    OrvDataType type;
    unsigned bands;
};
inline constexpr Kind bits{ORV_BIT, 1};
inline constexpr Kind bytes{ORV_BYTE, 1};
inline constexpr Kind shorts{ORV_SHORT, 1};
inline constexpr Kind colors{ORV_BYTE, 3};
inline constexpr Kind shortColors{ORV_SHORT, 3};

/// An op with its images and parameters.
struct Subject {
    std::string op;
    std::vector<Kind> from;
    Kind to;
    std::function<void(Scene&)> parameters = [](Scene&) {};
    bool readsDestination = false;
    bool writesNothing = false;

    std::shared_ptr<Scene> scene(const Layout& layout = {}) const;
};

/// How a type is told in the names of ops, and the name of a family's op on a kind.
const char* digitsOf(OrvDataType type) noexcept;
inline std::string opName(const std::string& family, const Kind& kind) { return family + digitsOf(kind.type); }

/// The peer's work on a scene's pictures.
using Peer = std::function<void(Scene& scene)>;
/// A row on dense pictures, beside a peer where there is one.
bool row(const std::string& name, const Subject& subject, const std::string& peerName = {}, double goal = 0,
         const Peer& peer = {});
/// A row beside the copy alone.
bool besideCopy(const std::string& name, double goal, const Subject& subject);
inline bool besideCopy(double goal, const Subject& subject) { return besideCopy(subject.op, goal, subject); }

/// Parameters for a subject: arrays, and floats themselves.
std::function<void(Scene&)> floatArrays(const std::vector<std::vector<float>>& arrays);
inline std::function<void(Scene&)> floatArray(const std::vector<float>& array) { return floatArrays({array}); }
std::function<void(Scene&)> wordArray(const std::vector<std::uint32_t>& array);
std::function<void(Scene&)> floatValues(const std::vector<float>& values);

/// Makes the scene of an op on pictures of a layout.
using MakeScene = std::function<std::shared_ptr<Scene>(const Layout& layout)>;
/// An op where its pictures are no single dense block: rows with a gap, pixels with a gap, a region of many rectangles,
/// each beside the op on dense pictures; the last without a goal.
bool layoutRows(const std::string& name, const MakeScene& make);
bool layoutRows(const std::string& name, const Subject& subject);

#ifdef ORV_PEER_OPENCV
/// A dense picture of bytes or shorts.
cv::Mat matOf(Picture& picture);
#endif

#ifdef ORV_PEER_LEPTONICA
/// Bits of no pattern, `side` square.
std::shared_ptr<PIX> bitmap();
#endif

} // namespace orvbench
