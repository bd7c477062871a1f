#include "catalogue/Step.h"

#include <optional>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "orv/Error.h"
#include "orv/host/Image.h"
#include "orv/host/Session.h"
#include "orv/host/Tables.h"

namespace orv {

Step::Step(Session& session, std::string name)
    : session_(session), name_(std::move(name)), op_(host::Op::make(session.object(), name_.c_str())) {
    if (!op_) throw Error(name_, fmt::format("{}: no memory", name_));
}

void Step::add(float value) {
    op_->addFloat(value);
    given_.emplace_back(value);
    words_.push_back(fmt::format("f={}", value));
}

void Step::add(long value) {
    op_->addLong(value);
    given_.emplace_back(value);
    words_.push_back(fmt::format("l={}", value));
}

void Step::add(std::vector<float> values) {
    words_.push_back(fmt::format("[{}]", fmt::join(values, " ")));
    floats_.push_back(std::make_unique<std::vector<float>>(std::move(values)));
    op_->addPointer(floats_.back()->data());
    given_.emplace_back(std::span<const float>(*floats_.back()));
}

void Step::add(std::vector<std::uint32_t> values) {
    words_.push_back(fmt::format("[{}]", fmt::join(values, " ")));
    bits_.push_back(std::make_unique<std::vector<std::uint32_t>>(std::move(values)));
    op_->addPointer(bits_.back()->data());
    given_.emplace_back(std::span<const std::uint32_t>(*bits_.back()));
}

void Step::addKernel(const Kernel& kernel) {
    addObject(host::Owned<OrvObject>(host::Kernel::make(session_.object(), kernel.width, kernel.height, kernel.keyX,
                                                        kernel.keyY, kernel.taps.data(),
                                                        kernel.name.empty() ? nullptr : kernel.name.c_str())
                                         .release()));
    words_.back() = fmt::format("kernel {}x{}", kernel.width, kernel.height);
}

void Step::addElement(const Element& element) {
    addObject(host::Owned<OrvObject>(host::Sel::make(session_.object(), element.width, element.height, element.keyX,
                                                     element.keyY, element.members.data())
                                         .release()));
    words_.back() = fmt::format("element {}x{}", element.width, element.height);
}

void Step::addObject(host::Owned<OrvObject> object) {
    if (!object) throw Error(name_, fmt::format("{}: no memory for a parameter", name_));
    op_->addObject(object.get());
    given_.emplace_back(object.get());
    objects_.push_back(std::move(object));
    words_.emplace_back("object");
}

void Step::addResult(OrvLookup** cell) {
    op_->addPointer(static_cast<void*>(cell));
    given_.emplace_back(cell);
    words_.emplace_back("result");
}

std::vector<float>& Step::addResults(std::size_t count) {
    add(std::vector<float>(count));
    words_.back() = "result";
    return *floats_.back();
}

Step& Step::on(std::vector<Image> sources) {
    ownSources_ = std::move(sources);
    return *this;
}

Step& Step::into(Image destination) {
    ownDestination_ = std::move(destination);
    return *this;
}

Step& Step::inPlace() noexcept {
    inPlace_ = true;
    return *this;
}

Step& Step::measuring() noexcept {
    measuring_ = true;
    return *this;
}

Step& Step::within(std::vector<host::Rect> rects) {
    within_ = std::move(rects);
    return *this;
}

Step& Step::sourceWithin(const host::Rect& rect) {
    sourceWithin_ = rect;
    return *this;
}

Step& Step::origins(long sourceX, long sourceY, long destinationX, long destinationY) noexcept {
    sourceX_ = sourceX;
    sourceY_ = sourceY;
    destinationX_ = destinationX;
    destinationY_ = destinationY;
    return *this;
}

bool Step::plain() const noexcept {
    return ownSources_.empty() && !ownDestination_ && !inPlace_ && !measuring_ && !within_ && !sourceWithin_;
}

std::string Step::explain() const {
    return words_.empty() ? name_ : fmt::format("{} : {}", name_, fmt::join(words_, " "));
}

void Step::giveImages(const Images& images) {
    target_ = ownDestination_ ? ownDestination_ : images.destination;
    at_ = ownSources_.empty() ? images.sources : ownSources_;
    if (inPlace_) at_ = {target_};
    for (std::size_t i = 0; i < at_.size(); ++i) op_->setSource(static_cast<int>(i) + 1, &at_[i].object());
    op_->setDestination(destination());
}

bool Step::giveRegions(const Images& images) {
    host::Image* source = at_.empty() ? nullptr : &at_.front().object();
    host::Image* target = destination();
    if (target != nullptr) target->place(static_cast<float>(destinationX_), static_cast<float>(destinationY_));
    if (source != nullptr && source != target)
        source->place(static_cast<float>(sourceX_), static_cast<float>(sourceY_));
    if (source != nullptr && sourceWithin_ && !source->setRegion(std::span(&*sourceWithin_, 1))) return false;
    std::vector<host::Rect> roi;
    roi.reserve(images.roi.size());
    for (const Rectangle& r : images.roi) roi.push_back({r.x, r.y, r.width, r.height});
    if (target == nullptr) return roi.empty() || source == nullptr || source->setRegion(roi);
    if (!within_) return roi.empty() || target->setRegion(roi);
    if (roi.empty()) return target->setRegion(*within_);
    const host::Owned<OrvRoi> all = host::makeRoi(session_.object(), roi);
    const host::Owned<OrvRoi> own = host::makeRoi(session_.object(), *within_);
    if (!all || !own) return false;
    const host::Owned<OrvRoi> both(all->intersect(own.get()));
    return both && target->setRegion(both.get());
}

void Step::takeRegions() noexcept {
    for (const Image& image : at_) {
        image.object().clearRegion();
        image.object().place(0, 0);
    }
    if (host::Image* target = destination()) {
        target->clearRegion();
        target->place(0, 0);
    }
    at_.clear();
    target_ = {};
}

host::WatchedCall Step::watched() const {
    host::WatchedCall call{.op = name_, .sources = {}, .destination = destination(), .parameters = given_};
    call.sources.reserve(at_.size());
    for (const Image& image : at_) call.sources.push_back(&image.object());
    return call;
}

namespace {

/// Tells the session's watcher, where it has one, of one call.
class Watching {
public:
    Watching(Session& session, host::WatchedCall call, std::optional<host::WatchedCall> earlier)
        : watcher_(session.watcher()), earlier_(std::move(earlier)), call_(std::move(call)) {
        if (earlier_) call_.earlier = &*earlier_;
        if (watcher_ != nullptr) watcher_->before(call_);
    }
    void take(const host::Report& report) {
        if (watcher_ != nullptr) reports_.push_back(report);
    }
    void finish(OrvStatus status) {
        if (watcher_ != nullptr) watcher_->after(call_, status, reports_);
    }

private:
    host::CallWatcher* watcher_;
    std::optional<host::WatchedCall> earlier_;
    host::WatchedCall call_;
    std::vector<host::Report> reports_;
};

} // namespace

bool Step::call(std::string_view operation, Result& result, const Step* earlier) {
    host::Session& host = session_.object();
    const bool isWatched = session_.watcher() != nullptr;
    Watching watching(session_, isWatched ? watched() : host::WatchedCall(),
                      isWatched && earlier != nullptr ? std::optional(earlier->watched()) : std::nullopt);
    host.clearLastError();
    host.setErrorHandler([&](const host::Report& report) {
        watching.take(report);
        if (report.severity == host::Severity::warning) result.warnings.emplace_back(host::messageText(report.id));
    });
    host::CallResult called;
    try {
        called = host.run(*op_);
    } catch (const host::DispatchError& error) {
        host.setErrorHandler({});
        throw Error(std::string(operation), fmt::format("{}: {}", operation, error.what()));
    }
    host.setErrorHandler({});
    watching.finish(called.status);
    if (called.status == ORV_SUCCESS) return true;
    const auto failure = host.lastError();
    if (!failure) return false;
    throw Error(std::string(operation),
                fmt::format("{}: {} ({})", operation, host::messageText(failure->id), failure->id), failure->id);
}

void Step::run(const Images& images, std::string_view operation, Result& result) {
    struct Cleared {
        Step& step;
        ~Cleared() { step.takeRegions(); }
    };
    giveImages(images);
    const Cleared cleared{*this};
    if (!giveRegions(images)) throw Error(std::string(operation), fmt::format("{}: no memory for a region", operation));
    result.explained.push_back(explain());
    if (!call(operation, result))
        throw Error(std::string(operation), fmt::format("{}: the device declined the call", operation));
}

bool Step::runFused(Step& earlier, const Images& earlierImages, Step& later, const Images& laterImages,
                    std::string_view operation, Result& result) {
    earlier.giveImages(earlierImages);
    later.giveImages(laterImages);
    later.op_->setOp1(earlier.op_.get());
    bool done = false;
    try {
        done = later.call(operation, result, &earlier);
    } catch (...) {
        later.op_->setOp1(nullptr);
        throw;
    }
    later.op_->setOp1(nullptr);
    if (done) {
        result.explained.push_back(fmt::format("{}/{} : {}", later.name(), earlier.name(),
                                               fmt::join({earlier.explain(), later.explain()}, " | ")));
    }
    earlier.takeRegions();
    later.takeRegions();
    return done;
}

} // namespace orv
