#include <algorithm>
#include <cmath>

#include "support/ModelKit.h"

namespace orvmodel {

using orvcase::Image;

double lowest(OrvDataType type) { return type == ORV_SHORT ? -32768 : 0; }

double highest(OrvDataType type) {
    switch (type) {
    case ORV_BIT:
        return 1;
    case ORV_BYTE:
        return 255;
    default:
        return 32767;
    }
}

Maker::Maker(std::uint64_t seed) : random(seed) {
    c.name = "model";
    const auto side = [&] {
        return static_cast<unsigned>(random.chance(70) ? random.between(1, 20) : random.between(1, 70));
    };
    width_ = side();
    height_ = side();
    originX_ = static_cast<float>(random.between(-6, 6));
    originY_ = static_cast<float>(random.between(-6, 6));
}

void Maker::widen() {
    largest = 1200;
    width_ = static_cast<unsigned>(random.between(200, largest));
    height_ = static_cast<unsigned>(random.between(1, 6));
}

unsigned Maker::bands() { return random.pick({1u, 1u, 1u, 2u, 3u, 3u, 4u, 5u}); }

unsigned Maker::size(unsigned common) {
    const long off = parts && random.chance(50) ? random.between(-3, 6) : 0;
    return static_cast<unsigned>(std::clamp<long>(static_cast<long>(common) + off, 1, largest));
}

std::string Maker::image(const std::string& name, OrvDataType type, unsigned bands, unsigned width, unsigned height) {
    Image made{.name = name, .type = type};
    made.width = width != 0 ? width : size(std::min(width_, largest));
    made.height = height != 0 ? height : size(std::min(height_, largest));
    made.bands = bands;
    place(made);
    if (!children || !random.chance(15)) {
        layOut(made);
        made.data = samples(type, made.sampleCount());
        c.images.push_back(std::move(made));
        return name;
    }
    Image parent{.name = name + "_all", .type = type};
    made.parent = parent.name;
    made.atX = random.below(10);
    made.atY = random.below(4);
    made.atBand = random.below(3);
    parent.width = made.width + made.atX + random.below(5);
    parent.height = made.height + made.atY + random.below(3);
    parent.bands = made.bands + made.atBand + random.below(2);
    layOut(parent);
    parent.data = samples(type, parent.sampleCount());
    c.images.push_back(std::move(parent));
    c.images.push_back(std::move(made));
    return name;
}

std::string Maker::source(const std::string& name, OrvDataType type, unsigned bands, const std::string& destination) {
    const Image& other = c.image(destination);
    if (other.type == type && other.bands == bands && random.chance(16)) return destination;
    return image(name, type, bands);
}

void Maker::layOut(Image& made) {
    if (made.type == ORV_BIT) {
        made.offset = strides ? random.below(8) : 0;
        if (!strides || random.chance(50)) return;
        made.stride = made.rowStride() + random.below(5);
        made.bandStride = made.rowStride() * made.height + random.below(9);
        return;
    }
    if (!strides) return;
    if (random.chance(30)) made.pixelStride = made.bands + random.below(4);
    if (random.chance(50)) made.stride = made.samplesPerPixel() * made.width + random.below(9);
}

void Maker::place(Image& made) {
    if (origins && random.chance(60)) {
        made.originX = originX_ + static_cast<float>(random.between(-2, 2));
        made.originY = originY_ + static_cast<float>(random.between(-2, 2));
        if (fractions && random.chance(40)) {
            made.originX += random.pick({0.5f, -0.25f, 0.75f, 0.999f});
            made.originY += random.pick({0.5f, -0.25f, 0.75f, 0.999f});
        }
    }
    if (regions && random.chance(45)) made.roi = region(made.width, made.height);
}

orvcase::Region Maker::region(unsigned width, unsigned height) {
    orvcase::Region rects;
    if (random.chance(6)) return rects;
    for (unsigned count = random.chance(40) ? 1 : 1 + random.below(6); count > 0; --count) {
        rects.push_back(
            {random.between(-2, static_cast<long>(width) - 1), random.between(-2, static_cast<long>(height) - 1),
             random.between(1, static_cast<long>(width) + 2), random.between(1, static_cast<long>(height) + 2)});
    }
    return rects;
}

orvcase::Values Maker::samples(OrvDataType type, std::size_t count) {
    const double low = lowest(type);
    const double high = highest(type);
    const std::vector<double> extremes = {low, low + 1, -1, 0, 1, 127, 128, std::floor(high / 2), high - 1, high};
    const unsigned style = random.below(4);
    const double few = std::floor(static_cast<double>(random.real(0, 1)) * high);
    orvcase::Values values(count);
    for (double& value : values) {
        const bool extreme = style == 1 || (style == 2 && random.chance(30));
        if (style == 3)
            value = random.chance(80) ? few : high - few;
        else if (extreme)
            value = extremes[random.below(static_cast<unsigned>(extremes.size()))];
        else
            value = static_cast<double>(random.between(static_cast<long>(low), static_cast<long>(high)));
        value = std::clamp(value, low, high);
    }
    return values;
}

orvcase::Param Maker::floats(const std::string& name, orvcase::Values values) {
    c.floats.push_back({.name = name, .data = std::move(values)});
    return orvcase::Param::ref(name);
}

orvcase::Param Maker::ulongs(const std::string& name, orvcase::Values values) {
    c.ulongs.push_back({.name = name, .data = std::move(values)});
    return orvcase::Param::ref(name);
}

} // namespace orvmodel
