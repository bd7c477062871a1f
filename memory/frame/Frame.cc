#include "memory/frame/Frame.h"

namespace orvi {

Frame::Frame(OrvOp* op) noexcept : op_(op) {}

Frame::Frame(OrvImage* source1, OrvImage* source2, OrvImage* source3, OrvImage* destination) noexcept
    : images_{source1, source2, source3, destination} {}

OrvImage* Frame::image(Role role) noexcept {
    if (images_[role] == nullptr && op_ != nullptr) {
        switch (role) {
        case src1:
            images_[role] = op_->getSrc1();
            break;
        case src2:
            images_[role] = op_->getSrc2();
            break;
        case src3:
            images_[role] = op_->getSrc3();
            break;
        case dst:
            images_[role] = op_->getDst();
            break;
        }
    }
    return images_[role];
}

OrvStatus Frame::fetch(const FrameFacts& facts, std::source_location where) noexcept {
    for (const Fetch& step : facts.fetches) {
        if (!rasters_[step.role].read(image(step.role), step.type)) {
            return fail(image(step.reporter), step.failure, facts.file, where);
        }
    }
    return ORV_SUCCESS;
}

OrvStatus Frame::list(const FrameFacts& facts, std::source_location where) noexcept {
    OrvRoiList* rectangles = OrviGetRoiList(&touched_, rasters_[dst].image, rasters_[src1].image, rasters_[src2].image,
                                            rasters_[src3].image);
    if (rectangles == nullptr) return fail(image(facts.listReporter), facts.listFailure, facts.file, where);
    rects_.reset(rectangles);
    OrvImage* destination = image(dst);
    destination->setPixelsTouchedRoi(touched_);
    destination->setPixelsTouchedRoi_flag(1);
    return ORV_SUCCESS;
}

OrvStatus Frame::open(const FrameFacts& facts, std::source_location where) noexcept {
    if (fetch(facts, where) != ORV_SUCCESS) return ORV_FAILURE;
    return list(facts, where);
}

} // namespace orvi
