#include "cell/common/CmapTable.h"

#include <algorithm>
#include <cstring>

#include "memory/frame/numbers.h"
#include "memory/frame/report.h"

namespace {

using namespace orvi;

constexpr const char* file = "CmapTable.cc";

OrvStatus report(const Failure& failure) noexcept { return fail(static_cast<OrvSystemState*>(nullptr), failure, file); }

std::uint8_t component(double value) noexcept { return static_cast<std::uint8_t>(toInt(value, 0, 255)); }

double luminanceOf(double r, double g, double b) noexcept {
    return 0.25663501 * r + 0.50397098 * g + 0.098218 * b + 16;
}

ColorValue yuvOf(const ColorValue& rgb) noexcept {
    const double r = rgb.bytes[1];
    const double g = rgb.bytes[2];
    const double b = rgb.bytes[3];
    return {component(luminanceOf(r, g, b) + 0.5), component(-0.148195 * r - 0.290921 * g + 0.439216 * b + 128 + 0.5),
            component(0.439216 * r - 0.36758 * g - 0.071637 * b + 128 + 0.5)};
}

// The three factors of Y differ slightly, and are kept as they are.
ColorValue rgbOf(const ColorValue& yuv) noexcept {
    const double y = yuv.bytes[1] - 16;
    const double u = yuv.bytes[2] - 128;
    const double v = yuv.bytes[3] - 128;
    return {component(1.1643849611282349 * y + 1.596431016921997 * v + 0.5),
            component(1.164381980895996 * y - 0.39297300577163696 * u - 0.8129439949989319 * v + 0.5),
            component(1.164383053779602 * y + 2.0164029598236084 * u + 0.5)};
}

} // namespace

CmapTable::CmapTable(ColorSpace space, std::uint16_t capacity, std::uint16_t count) noexcept
    : space_(space), capacity_(capacity), count_(std::min(count, capacity)) {
    makeColors();
}

CmapTable::CmapTable(const unsigned char* table, ColorSpace space, std::uint16_t capacity, std::uint16_t count) noexcept
    : CmapTable(space, capacity, count) {
    if (ok_ != 0) take(table, count);
}

CmapTable::CmapTable(const CmapTable& other) noexcept : CmapTable(other.space_, other.capacity_, other.count_) {
    if (ok_ == 0 || other.colors_ == nullptr) return;
    std::copy_n(other.colors_, count_, colors_);
}

CmapTable::~CmapTable() { orvi_delete(colors_); }

void CmapTable::makeColors() noexcept {
    colors_ = newArray<ColorValue>(capacity_);
    ok_ = colors_ != nullptr ? 1 : 0;
    if (ok_ != 0) std::fill_n(colors_, capacity_, ColorValue());
}

void CmapTable::take(const unsigned char* data, std::uint16_t count) noexcept {
    count_ = std::min(count, capacity_);
    for (unsigned i = 0; i < count_; ++i, data += bands_) colors_[i] = {data[0], data[1], data[2]};
}

// NOLINTNEXTLINE(bugprone-unhandled-self-assignment): set() copies nothing onto itself, and reports for itself all the
// same
CmapTable& CmapTable::operator=(const CmapTable& other) noexcept {
    if (this != &other) set(other);
    return *this;
}

OrvStatus CmapTable::set(const CmapTable& other) noexcept {
    if (colors_ == nullptr || other.colors_ == nullptr || other.capacity_ > capacity_) {
        return report({"di-95", 0, 1, 168});
    }
    count_ = other.count_;
    space_ = other.space_;
    if (this != &other) std::copy_n(other.colors_, count_, colors_);
    return ORV_SUCCESS;
}

bool CmapTable::operator==(const CmapTable& other) const noexcept {
    return count_ == other.count_ && std::equal(colors_, colors_ + count_, other.colors_);
}

unsigned char* CmapTable::getAsColormapTable() const noexcept {
    auto* table = newArray<unsigned char>(std::size_t{bands_} * capacity_);
    if (table == nullptr) {
        report({"di-1", 1, 1, 224});
        return nullptr;
    }
    for (unsigned i = 0; i < capacity_; ++i) std::memcpy(table + std::size_t{i} * bands_, colors_[i].bytes + 1, bands_);
    return table;
}

OrvStatus CmapTable::setAsColormapTable(const unsigned char* data, ColorSpace space, std::uint16_t count) noexcept {
    space_ = space;
    orvi_delete(colors_);
    count_ = 0;
    makeColors();
    if (ok_ == 0) return report({"di-1", 1, 1, 249});
    take(data, count);
    return ORV_SUCCESS;
}

void CmapTable::swapEnds() noexcept {
    for (unsigned i = 0; i < count_; ++i) std::swap(colors_[i].bytes[1], colors_[i].bytes[3]);
}

int CmapTable::toYUV() noexcept {
    if (space_ == COLOR_YUV) return 0;
    if (space_ == COLOR_BGR) swapEnds();
    for (unsigned i = 0; i < count_; ++i) colors_[i] = yuvOf(colors_[i]);
    space_ = COLOR_YUV;
    return 1;
}

int CmapTable::toRGB() noexcept {
    if (space_ == COLOR_RGB) return 0;
    if (space_ == COLOR_BGR) swapEnds();
    if (space_ == COLOR_YUV) {
        for (unsigned i = 0; i < count_; ++i) colors_[i] = rgbOf(colors_[i]);
    }
    space_ = COLOR_RGB;
    return 1;
}

int CmapTable::toBGR() noexcept {
    if (space_ == COLOR_BGR) return 0;
    toRGB();
    swapEnds();
    space_ = COLOR_BGR;
    return 1;
}

int CmapTable::ok(int destroy) noexcept {
    const int result = ok_;
    if (result == 0 && destroy == 1) delete this;
    return result;
}

void UsedCmapTable::reportUnassigned() noexcept { report({"di-95", 0, 1, 301}); }

void LumCmapTable::reportNoMemory() noexcept { report({"di-1", 1, 1, 385}); }

void LumCmapTable::computeLum() noexcept {
    for (unsigned i = 0; i < count(); ++i) {
        const std::uint8_t* c = colors()[i].bytes;
        switch (space()) {
        case COLOR_YUV:
            values()[i] = c[1];
            break;
        case COLOR_RGB:
            values()[i] = luminanceOf(c[1], c[2], c[3]);
            break;
        case COLOR_BGR:
            values()[i] = luminanceOf(c[3], c[2], c[1]);
            break;
        }
    }
}
