#include "orv/Pipeline.h"

#include <algorithm>
#include <charconv>
#include <map>

#include <fmt/format.h>

#include "catalogue/Call.h"
#include "orv/Catalogue.h"
#include "orv/Error.h"

namespace orv {

struct Pipeline::Step {
    std::string operation;
    Arguments arguments;
    std::vector<std::string> with;
    std::string name;
};

namespace {

struct Pair {
    std::string_view earlier;
    std::string_view later;
    Type type;
    bool exact;
};

constexpr Pair pairs[] = {{"multiply", "add", Type::byte, true},
                          {"convolve", "convolve", Type::int16, true},
                          {"convolve", "convolve", Type::byte, false},
                          {"threshold", "threshold", Type::byte, false},
                          {"threshold", "threshold", Type::int16, false}};

void append(Result& all, Result&& one) {
    const auto move = [](auto& to, auto& from) {
        to.insert(to.end(), std::make_move_iterator(from.begin()), std::make_move_iterator(from.end()));
    };
    move(all.measurements, one.measurements);
    move(all.explained, one.explained);
    move(all.warnings, one.warnings);
    move(all.notes, one.notes);
    if (one.image) all.image = std::move(one.image);
    all.images = std::move(one.images);
    if (one.palette) all.palette = std::move(one.palette);
    if (one.table) all.table = std::move(one.table);
}

bool isPlain(const Image& image) noexcept {
    const Encoding encoding = image.encoding();
    return encoding != Encoding::palette && encoding != Encoding::rgba && encoding != Encoding::grayAlpha;
}

} // namespace

/// The images at hand while the steps run.
struct Pipeline::Running {
    const Pipeline& pipeline;
    std::span<const Image> sources;
    const CallOptions& options;
    Image current;
    std::map<std::string, Image> kept;
    Result result;

    const Step& step(std::size_t i) const { return pipeline.steps_[i]; }
    bool isLast(std::size_t i) const { return i + 1 == pipeline.steps_.size(); }

    Image named(const Step& step, const std::string& reference) const {
        const std::string name = reference.starts_with('@') ? reference.substr(1) : reference;
        if (const auto found = kept.find(name); found != kept.end()) return found->second;
        std::size_t number = 0;
        const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
        if (error == std::errc{} && end == name.data() + name.size() && number >= 1 && number <= sources.size())
            return sources[number - 1];
        throw Error(step.operation, fmt::format("{}: there is no result '@{}' and no such source ({} came)",
                                                step.operation, name, sources.size()));
    }

    std::vector<Image> sourcesOf(std::size_t i, const Operation& operation) const {
        const Step& s = step(i);
        std::vector<Image> images;
        const bool takesCurrent = operation.sources > 0 && (s.with.size() < operation.sources || operation.mostSources);
        if (takesCurrent) {
            if (!current) throw Error(s.operation, fmt::format("{}: there is no picture to work on", s.operation));
            images.push_back(current);
        }
        for (const std::string& reference : s.with) images.push_back(named(s, reference));
        if (i == 0 && s.with.empty()) {
            const std::size_t wanted = std::max(operation.sources, operation.mostSources);
            for (std::size_t n = 1; n < sources.size() && images.size() < wanted; ++n) images.push_back(sources[n]);
        }
        return images;
    }

    CallOptions optionsOf(std::size_t i) const { return isLast(i) ? options : CallOptions{}; }

    /// Lets go of kept results that no later step names.
    void forget(std::size_t after) {
        std::erase_if(kept, [&](const auto& entry) {
            for (std::size_t i = after + 1; i < pipeline.steps_.size(); ++i) {
                if (std::ranges::find(step(i).with, "@" + entry.first) != step(i).with.end()) return false;
            }
            return true;
        });
    }

    void finish(std::size_t i, Result&& one) {
        if (one.image) current = one.image;
        if (!step(i).name.empty()) kept[step(i).name] = current;
        append(result, std::move(one));
        forget(i);
    }

    bool mayFuse(std::size_t i) const {
        if (pipeline.fuse_ == Fuse::off || isLast(i) || !step(i).name.empty()) return false;
        const Step& next = step(i + 1);
        const Operation& later = operationNamed(next.operation);
        if (next.with.size() >= later.sources || (isLast(i + 1) && !options.roi.empty())) return false;
        return std::ranges::any_of(pairs, [&](const Pair& pair) {
            return (pair.exact || pipeline.fuse_ == Fuse::all) && current && isPlain(current) &&
                   pair.type == current.type() && pair.earlier == step(i).operation && pair.later == next.operation;
        });
    }

    bool fused(std::size_t i) {
        if (!mayFuse(i)) return false;
        Session& session = pipeline.session_;
        const Operation& first = operationNamed(step(i).operation);
        const std::vector<Image> firstSources = sourcesOf(i, first);
        Call earlier(session, first, firstSources, step(i).arguments, {});
        const Operation& second = operationNamed(step(i + 1).operation);
        // The image between the two has a shape, but never any samples.
        std::vector<Image> secondSources{Image::withoutSamples(session, firstSources.front())};
        for (const std::string& reference : step(i + 1).with) secondSources.push_back(named(step(i + 1), reference));
        if (!std::ranges::all_of(secondSources, isPlain)) return false;
        Call later(session, second, secondSources, step(i + 1).arguments, optionsOf(i + 1));
        Result one;
        if (!Call::runFused(earlier, later, one)) return false;
        finish(i + 1, std::move(one));
        return true;
    }

    void single(std::size_t i) {
        const Operation& operation = operationNamed(step(i).operation);
        const std::vector<Image> images = sourcesOf(i, operation);
        finish(i, pipeline.session_.apply(operation.name, images, step(i).arguments, optionsOf(i)));
    }
};

Pipeline::Pipeline(Session& session) : session_(session) {}
Pipeline::~Pipeline() = default;

Pipeline& Pipeline::then(std::string operation, Arguments arguments, std::vector<std::string> with) {
    const Operation& row = operationNamed(operation);
    steps_.push_back({std::string(row.name), std::move(arguments), std::move(with), {}});
    return *this;
}

Pipeline& Pipeline::as(std::string name) {
    if (steps_.empty()) throw Error("pipe", "there is no step whose result could be named");
    steps_.back().name = std::move(name);
    return *this;
}

Pipeline& Pipeline::fuse(Fuse way) noexcept {
    fuse_ = way;
    return *this;
}

Result Pipeline::run(std::span<const Image> sources, const CallOptions& options) {
    if (steps_.empty()) throw Error("pipe", "there are no steps");
    Running running{*this, sources, options, sources.empty() ? Image() : sources.front(), {}, {}};
    for (std::size_t i = 0; i < steps_.size(); ++i) {
        if (running.fused(i)) {
            ++i;
        } else {
            running.single(i);
        }
    }
    running.result.image = running.current;
    return std::move(running.result);
}

} // namespace orv
