#include "memory/frame/Raster.h"

namespace orvi {

namespace {

template <class Record>
void readInterleaved(Raster& raster, const Record& record) noexcept {
    constexpr std::ptrdiff_t size = sizeof *record.data;
    raster.data = reinterpret_cast<std::byte*>(record.data);
    raster.stride = static_cast<std::ptrdiff_t>(record.scanline_stride) * size;
    raster.pixel = static_cast<std::ptrdiff_t>(record.pixel_stride) * size;
}

} // namespace

bool Raster::read(OrvImage* from, OrvDataType as) noexcept {
    image = from;
    type = as;
    bands = from->getBands();
    from->getOrigin(&ox, &oy);
    const OrvMemoryStorage* storage = from->getMemoryStorage();
    if (storage == nullptr) return false;
    switch (as) {
    case ORV_BIT:
        data = reinterpret_cast<std::byte*>(storage->bit.data);
        stride = storage->bit.scanline_stride;
        bandStride = storage->bit.band_stride;
        offset = storage->bit.offset;
        break;
    case ORV_BYTE:
        readInterleaved(*this, storage->byte);
        break;
    case ORV_SHORT:
        readInterleaved(*this, storage->shorts);
        break;
    case ORV_FLOAT:
        readInterleaved(*this, storage->floats);
        break;
    }
    return true;
}

} // namespace orvi
