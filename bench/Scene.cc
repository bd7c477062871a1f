#include "Scene.h"

#include <cstring>
#include <utility>

namespace orvbench {

Scene::Scene(const std::string& op, std::vector<Picture> pictures) : pictures_(std::move(pictures)) {
    std::vector<Picture*> sources;
    for (std::size_t i = 0; i + 1 < pictures_.size(); ++i) sources.push_back(&pictures_[i]);
    call_ = std::make_unique<Call>(op.c_str(), sources, pictures_.back());
}

std::size_t Scene::bytes() const {
    std::size_t sum = 0;
    for (const Picture& picture : pictures_) sum += picture.bytes();
    return sum;
}

Runs runsOf(const std::shared_ptr<Scene>& scene, std::function<void()> peer) {
    return {.orv = [scene] { scene->run(); },
            .peer = std::move(peer),
            .bytes = scene->bytes(),
            .written = scene->destination().bytes(),
            .holds = scene};
}

Runs runsBesideCopy(const std::shared_ptr<Scene>& scene) {
    return runsOf(scene, [scene] {
        std::memcpy(scene->destination().samples(), scene->source().samples(), scene->source().bytes());
    });
}

std::shared_ptr<Scene> Subject::scene(const Layout& layout) const {
    std::vector<Picture> pictures;
    pictures.reserve(from.size() + 1);
    for (const Kind& kind : from) pictures.emplace_back(kind.type, kind.bands, layout);
    pictures.emplace_back(to.type, to.bands, layout);
    auto made = std::make_shared<Scene>(op, std::move(pictures));
    parameters(*made);
    return made;
}

const char* digitsOf(OrvDataType type) noexcept { return type == ORV_BIT ? "1" : type == ORV_BYTE ? "8" : "16"; }

bool row(const std::string& name, const Subject& subject, const std::string& peerName, double goal, const Peer& peer) {
    return measure({.name = name, .peer = peerName, .goal = goal, .prepare = [=] {
                        const auto scene = subject.scene();
                        Runs runs = runsOf(scene, peer ? [scene, peer] { peer(*scene); } : std::function<void()>{});
                        if (subject.writesNothing) runs.bytes -= std::exchange(runs.written, 0);
                        return runs;
                    }});
}

bool besideCopy(const std::string& name, double goal, const Subject& subject) {
    Measurement row{.name = name, .peer = {}, .goal = 0, .prepare = [subject] {
                        const auto scene = subject.scene();
                        Runs runs = runsOf(scene);
                        if (subject.readsDestination) runs.bytes += scene->destination().bytes();
                        return runs;
                    }};
    row.copyGoal = goal;
    return measure(row);
}

std::function<void(Scene&)> floatArrays(const std::vector<std::vector<float>>& arrays) {
    return [arrays](Scene& scene) {
        for (const auto& array : arrays) {
            scene.op().addPointer(scene.keep(std::make_shared<std::vector<float>>(array)).data());
        }
    };
}

std::function<void(Scene&)> wordArray(const std::vector<std::uint32_t>& array) {
    return [array](Scene& scene) {
        scene.op().addPointer(scene.keep(std::make_shared<std::vector<std::uint32_t>>(array)).data());
    };
}

std::function<void(Scene&)> floatValues(const std::vector<float>& values) {
    return [values](Scene& scene) {
        for (const float value : values) scene.op().addFloat(value);
    };
}

bool layoutRows(const std::string& name, const Subject& subject) {
    return layoutRows(name, [subject](const Layout& layout) { return subject.scene(layout); });
}

bool layoutRows(const std::string& name, const MakeScene& make) {
    const auto besideDense = [&](const char* what, double goal, const Layout& layout) {
        measure({.name = name + what, .peer = "dense", .goal = goal, .prepare = [make, layout] {
                     Layout sized = layout; // the layout was made before the side was told
                     sized.width = sized.height = side;
                     return runsOf(make(sized), [dense = make({})] { dense->run(); });
                 }});
    };
    besideDense(" padded", 1 / 1.2, {.rowGap = 5});
    besideDense(" apart", 0.5, {.pixelGap = 1});
    besideDense(" rectangles", 0, {.rectangles = true});
    return true;
}

#ifdef ORV_PEER_OPENCV
cv::Mat matOf(Picture& picture) {
    const orv::host::Shape& shape = picture.image().shape();
    return {static_cast<int>(shape.height), static_cast<int>(shape.width),
            CV_MAKETYPE(shape.type == ORV_BYTE ? CV_8U : CV_16S, static_cast<int>(shape.bands)), picture.samples()};
}
#endif

#ifdef ORV_PEER_LEPTONICA
std::shared_ptr<PIX> bitmap() {
    const auto length = static_cast<l_int32>(side);
    PIX* pix = pixCreate(length, length, 1);
    l_uint32* words = pixGetData(pix);
    for (unsigned i = 0; i < side * side / 32; ++i) words[i] = i * 2654435761U;
    return {pix, [](PIX* owned) { pixDestroy(&owned); }};
}
#endif

} // namespace orvbench
