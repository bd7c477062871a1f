// One op of the device within a call: its parameters, its images, where it works.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "orv/Image.h"
#include "orv/Session.h"
#include "orv/Values.h"
#include "orv/host/Op.h"
#include "orv/host/Region.h"
#include "orv/host/Watcher.h"

namespace orv {

class Step {
public:
    Step(Session& session, std::string name);

    const std::string& name() const noexcept { return name_; }

    void add(float value);
    void add(long value);
    void add(std::vector<float> values);
    void add(std::vector<std::uint32_t> values);
    void addKernel(const Kernel& kernel);
    void addElement(const Element& element);
    void addObject(host::Owned<OrvObject> object);
    /// A cell for a lookup that the op makes; it must outlive the call.
    void addResult(OrvLookup** cell);
    /// Room for so many numbers that the op measures, kept as long as the step.
    std::vector<float>& addResults(std::size_t count);
    OrvObject* lastObject() const noexcept { return objects_.back().get(); }

    /// Other images than the call's.
    Step& on(std::vector<Image> sources);
    Step& into(Image destination);
    /// The destination is the first source too.
    Step& inPlace() noexcept;
    /// There is no destination.
    Step& measuring() noexcept;
    /// Pixels of the destination that are written, and of the first source that are looked at.
    Step& within(std::vector<host::Rect> rects);
    Step& sourceWithin(const host::Rect& rect);
    /// Where the origin of the coordinates falls in the first source and in the destination.
    Step& origins(long sourceX, long sourceY, long destinationX, long destinationY) noexcept;

    bool plain() const noexcept;
    std::string explain() const;

    struct Images {
        std::vector<Image> sources;
        Image destination;
        std::vector<Rectangle> roi;
    };

    /// Runs it on the images of the call where it was told no others. Throws Error in the name of the operation.
    void run(const Images& images, std::string_view operation, Result& result);
    /// Runs `later` with `earlier` feeding it. False where the device declines.
    static bool runFused(Step& earlier, const Images& earlierImages, Step& later, const Images& laterImages,
                         std::string_view operation, Result& result);

private:
    void giveImages(const Images& images);
    host::Image* destination() const noexcept { return measuring_ ? nullptr : &target_.object(); }
    bool giveRegions(const Images& images);
    void takeRegions() noexcept;
    host::WatchedCall watched() const;
    /// Runs the op with the session's reports going to the result. The answer tells a decline from success.
    bool call(std::string_view operation, Result& result, const Step* earlier = nullptr);

    Session& session_;
    std::string name_;
    host::Owned<host::Op> op_;
    std::vector<std::string> words_;
    std::vector<host::WatchedParameter> given_;
    std::vector<std::unique_ptr<std::vector<float>>> floats_;
    std::vector<std::unique_ptr<std::vector<std::uint32_t>>> bits_;
    std::vector<host::Owned<OrvObject>> objects_;

    std::vector<Image> ownSources_;
    Image ownDestination_;
    bool inPlace_ = false;
    bool measuring_ = false;
    std::optional<std::vector<host::Rect>> within_;
    std::optional<host::Rect> sourceWithin_;
    long sourceX_ = 0;
    long sourceY_ = 0;
    long destinationX_ = 0;
    long destinationY_ = 0;
    /// The images of the run under way.
    std::vector<Image> at_;
    Image target_;
};

} // namespace orv
