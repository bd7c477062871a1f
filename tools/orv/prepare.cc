#include "prepare.h"

#include "catalogue/alpha.h"

namespace orv::tool {

namespace {

bool hasAlpha(const Image& image) {
    return image.encoding() == Encoding::rgba || image.encoding() == Encoding::grayAlpha;
}

} // namespace

Image readPrepared(Session& session, const std::string& path, const Flags& flags) {
    Image image = session.read(path, flags.reading());
    if (!hasAlpha(image) || (flags.alpha != "drop" && flags.background.empty())) return image;
    if (!flags.background.empty()) return over(session, image, levelsOf(flags.background));
    return image.child({0, 0, image.width(), image.height()}, 0, image.bands() - 1).copy(session);
}

} // namespace orv::tool
