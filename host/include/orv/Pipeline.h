// Chains of operations.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "orv/Session.h"

namespace orv {

/// Which neighbouring steps run as one op of the device, without the image between them.
enum class Fuse {
    exact, ///< those whose result is that of the single ops: multiply and add on bytes, two convolutions of shorts
    all,   ///< two convolutions of bytes and two thresholds as well, whose results may differ
    off
};

/// Steps that are recorded, and run on run():
///
///     orv::Pipeline pipeline(session);
///     pipeline.then("gray").as("base").then("blur", {{"sigma", 4.0}}).then("subtract", {}, {"@base"});
///     orv::Image result = pipeline.run(sources).image;
class ORV_API Pipeline {
public:
    explicit Pipeline(Session& session);
    ~Pipeline();
    Pipeline(const Pipeline&) = delete;
    Pipeline& operator=(const Pipeline&) = delete;

    /// Adds a step. Its first source is the result of the step before, "@1" for the first step. Further sources are
    /// named: "@2" is the second source of the pipeline, "@base" a result kept by as("base"). Where all sources of the
    /// operation are named, the result before is not taken; where the first step names none, it takes "@1", "@2" and so
    /// on. A step that only measures hands on what it looked at.
    Pipeline& then(std::string operation, Arguments arguments = {}, std::vector<std::string> with = {});
    /// Keeps the result of the step added last under a name.
    Pipeline& as(std::string name);
    Pipeline& fuse(Fuse way) noexcept;

    bool empty() const noexcept { return steps_.empty(); }

    /// Runs the steps. Destination and rectangles are those of the last one. Measurements, notes and explanations are
    /// those of all steps. Throws Error.
    Result run(std::span<const Image> sources, const CallOptions& options = {});

private:
    struct Step;
    struct Running;

    Session& session_;
    Fuse fuse_ = Fuse::exact;
    std::vector<Step> steps_;
};

} // namespace orv
