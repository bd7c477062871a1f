#include "Case.h"

#include <algorithm>
#include <stdexcept>

namespace orvcase {

unsigned Image::rowStride() const {
    if (stride) return *stride;
    return type == ORV_BIT ? (offset + width + 7) / 8 : width * samplesPerPixel();
}

Call& Case::addCall(Call call) { return std::get<Call>(steps.emplace_back(std::move(call))); }

const Image& Case::image(const std::string& imageName) const {
    const auto found = std::find_if(images.begin(), images.end(), [&](const Image& i) { return i.name == imageName; });
    if (found == images.end()) throw std::out_of_range("no image " + imageName);
    return *found;
}

Image& Case::image(const std::string& imageName) {
    return const_cast<Image&>(static_cast<const Case&>(*this).image(imageName));
}

const std::array<const char*, 10>& colorspaceNames() {
    static const std::array<const char*, 10> names = {"rgblinear", "rgb709", "photoycc", "ycc601", "ycc709",
                                                      "ylinear",   "y601",   "y709",     "cmy",    "cmyk"};
    return names;
}

const char* typeName(OrvDataType type) {
    switch (type) {
    case ORV_BIT:
        return "BIT";
    case ORV_BYTE:
        return "BYTE";
    case ORV_SHORT:
        return "SHORT";
    case ORV_FLOAT:
        return "FLOAT";
    }
    return "?";
}

} // namespace orvcase
