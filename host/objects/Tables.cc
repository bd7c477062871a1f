#include "orv/host/Tables.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <new>
#include <string_view>
#include <utility>

#include "dispatch/Running.h"
#include "objects/ObjectAccess.h"
#include "orv/host/Session.h"

namespace orv::host {

template <class T>
bool Block<T>::assign(const T* source, std::size_t count) noexcept {
    if (count > PTRDIFF_MAX / sizeof(T)) return false;
    T* const values = source ? new (std::nothrow) T[count] : new (std::nothrow) T[count]();
    if (!values) return false;
    if (source) std::copy_n(source, count, values);
    delete[] values_;
    values_ = values;
    count_ = count;
    return true;
}

template class Block<unsigned char>;
template class Block<short>;
template class Block<int>;
template class Block<unsigned>;
template class Block<float>;
template class Block<void*>;

namespace {

constexpr const char* names[] = {"rgblinear", "rgb709", "photoycc", "ycc601", "ycc709",
                                 "ylinear",   "y601",   "y709",     "cmy",    "cmyk"};

std::size_t area(unsigned width, unsigned height) { return std::size_t{width} * height; }

} // namespace

Lookup::Lookup(Session& session, OrvDataType input, OrvDataType output) noexcept : input_(input), output_(output) {
    ObjectAccess::setUp(*this, session, Kind::table);
}

std::size_t Lookup::sampleSize() const noexcept {
    if (output_ == ORV_FLOAT) return sizeof(float);
    return output_ == ORV_SHORT ? sizeof(short) : 1;
}

Owned<Lookup> Lookup::makeSingle(Session& session, OrvDataType input, OrvDataType output, unsigned bands,
                                 unsigned entries, short offset, const void* data) noexcept {
    Owned<Lookup> lookup(new (std::nothrow) Lookup(session, input, output));
    if (!lookup) return lookup;
    lookup->bands_ = bands;
    lookup->entries_ = entries;
    lookup->offset_ = offset;
    lookup->samples_ = area(entries, bands);
    const auto* const bytes = static_cast<const unsigned char*>(data);
    if (!lookup->data_.assign(bytes, lookup->samples_ * lookup->sampleSize())) return {};
    return lookup;
}

Owned<Lookup> Lookup::makeCombined(Session& session, OrvDataType input, OrvDataType output,
                                   std::span<const LookupTable> tables) noexcept {
    Owned<Lookup> lookup(new (std::nothrow) Lookup(session, input, output));
    if (!lookup) return lookup;
    const std::size_t count = tables.size();
    const std::size_t size = lookup->sampleSize();
    lookup->combined_ = true;
    lookup->bands_ = static_cast<unsigned>(count);
    for (const LookupTable& table : tables) lookup->samples_ += table.entries;
    if (!lookup->data_.assign(nullptr, lookup->samples_ * size) || !lookup->entriesList_.assign(nullptr, count) ||
        !lookup->offsetsList_.assign(nullptr, count) || !lookup->dataList_.assign(nullptr, count)) {
        return {};
    }
    unsigned char* target = lookup->data_.get();
    for (std::size_t band = 0; band < count; ++band) {
        const LookupTable& table = tables[band];
        const std::size_t bytes = table.entries * size;
        if (bytes) std::memcpy(target, table.data, bytes);
        lookup->entriesList_.get()[band] = table.entries;
        lookup->offsetsList_.get()[band] = table.offset;
        lookup->dataList_.get()[band] = target;
        target += bytes;
    }
    return lookup;
}

bool Lookup::setCube(std::span<const int> multipliers, std::span<const unsigned> dimensions, short origin) noexcept {
    cubeOrigin_ = origin;
    return multipliers_.assign(multipliers.data(), multipliers.size()) &&
           dimensions_.assign(dimensions.data(), dimensions.size());
}

Kernel::Kernel(Session& session) noexcept { ObjectAccess::setUp(*this, session, Kind::kernel); }

bool Kernel::noteContents() noexcept {
    const auto* const bytes = reinterpret_cast<const char*>(values_.get());
    const std::size_t now = std::hash<std::string_view>{}({bytes, values_.size() * sizeof(float)});
    return std::exchange(fingerprint_, now) != now;
}

Owned<Kernel> Kernel::make(Session& session, unsigned width, unsigned height, unsigned keyX, unsigned keyY,
                           const float* data, const char* name) noexcept {
    Owned<Kernel> kernel(new (std::nothrow) Kernel(session));
    if (!kernel || !kernel->values_.assign(data, area(width, height)) || !setName(*kernel, name)) return {};
    kernel->width_ = width;
    kernel->height_ = height;
    kernel->keyX_ = keyX;
    kernel->keyY_ = keyY;
    return kernel;
}

Sel::Sel(Session& session) noexcept { ObjectAccess::setUp(*this, session, Kind::table); }

Owned<Sel> Sel::make(Session& session, unsigned width, unsigned height, unsigned keyX, unsigned keyY,
                     const unsigned* data) noexcept {
    Owned<Sel> sel(new (std::nothrow) Sel(session));
    if (!sel || !sel->values_.assign(data, area(width, height))) return {};
    sel->width_ = width;
    sel->height_ = height;
    sel->keyX_ = keyX;
    sel->keyY_ = keyY;
    return sel;
}

DitherMask::DitherMask(Session& session) noexcept { ObjectAccess::setUp(*this, session, Kind::table); }

Owned<DitherMask> DitherMask::make(Session& session, unsigned width, unsigned height, unsigned bands,
                                   const float* data) noexcept {
    Owned<DitherMask> mask(new (std::nothrow) DitherMask(session));
    if (!mask || !mask->values_.assign(data, area(width, height) * bands)) return {};
    mask->width_ = width;
    mask->height_ = height;
    mask->bands_ = bands;
    return mask;
}

InterpolationTable::InterpolationTable(Session& session) noexcept { ObjectAccess::setUp(*this, session, Kind::table); }

Owned<InterpolationTable> InterpolationTable::make(Session& session, unsigned size, unsigned subsamples,
                                                   const float* data) noexcept {
    Owned<InterpolationTable> table(new (std::nothrow) InterpolationTable(session));
    if (!table || !table->values_.assign(data, area(size, subsamples))) return {};
    table->size_ = size;
    table->subsamples_ = subsamples;
    return table;
}

Histogram::Histogram(Session& session) noexcept { ObjectAccess::setUp(*this, session, Kind::table); }

Owned<Histogram> Histogram::make(Session& session, std::span<const unsigned> bins, std::span<const float> low,
                                 std::span<const float> high) noexcept {
    if (low.size() != bins.size() || high.size() != bins.size()) return {};
    std::size_t count = 1;
    for (const unsigned n : bins) {
        if (__builtin_mul_overflow(count, n, &count) || count > PTRDIFF_MAX / sizeof(unsigned)) return {};
    }
    Owned<Histogram> histogram(new (std::nothrow) Histogram(session));
    if (!histogram || !histogram->bins_.assign(bins.data(), bins.size()) ||
        !histogram->low_.assign(low.data(), low.size()) || !histogram->high_.assign(high.data(), high.size()) ||
        !histogram->counters_.assign(nullptr, count)) {
        return {};
    }
    return histogram;
}

Colorspace::Colorspace(Session& session) noexcept { ObjectAccess::setUp(*this, session, Kind::table); }

Owned<Colorspace> Colorspace::make(Session& session, unsigned opcode) noexcept {
    if (opcode < 1 || opcode > std::size(names)) return {};
    Owned<Colorspace> space(new (std::nothrow) Colorspace(session));
    if (!space || !setName(*space, names[opcode - 1])) return {};
    space->opcode_ = opcode;
    return space;
}

Owned<Colorspace> Colorspace::make(Session& session, const char* name) noexcept {
    const auto* const found =
        std::ranges::find_if(names, [name](const char* known) { return std::strcmp(known, name) == 0; });
    return make(session, static_cast<unsigned>(found - names) + 1);
}

std::span<const char* const> colorspaceNames() noexcept { return names; }

} // namespace orv::host

using namespace orv::host;

// What devices read. Each object is of the one class that the host makes of its interface.

unsigned OrvLookup::getNumEntries() noexcept { return static_cast<Lookup*>(this)->entries_; }
unsigned OrvLookup::getNBands() noexcept { return static_cast<Lookup*>(this)->bands_; }
void* OrvLookup::getData() noexcept {
    Lookup& lookup = *static_cast<Lookup*>(this);
    return lookup.combined() ? nullptr : lookup.data();
}
short OrvLookup::getOffset() noexcept { return static_cast<Lookup*>(this)->offset_; }
OrvDataType OrvLookup::getOutputDataType() noexcept { return static_cast<Lookup*>(this)->output_; }
int OrvLookup::getIsColorCube() noexcept { return static_cast<Lookup*>(this)->multipliers_.size() > 0; }
int OrvLookup::getColorCubeInfo(int* multipliers, unsigned* dimensions, short* origin) noexcept {
    if (Running::faultHits(FaultPoint::cube) || !getIsColorCube()) return 0;
    const Lookup& lookup = *static_cast<Lookup*>(this);
    std::ranges::copy(lookup.multipliers_.span(), multipliers);
    std::ranges::copy(lookup.dimensions_.span(), dimensions);
    *origin = lookup.cubeOrigin_;
    return 1;
}
unsigned* OrvLookup::getEntriesList() noexcept { return static_cast<Lookup*>(this)->entriesList_.get(); }
short* OrvLookup::getOffsetsList() noexcept { return static_cast<Lookup*>(this)->offsetsList_.get(); }
void** OrvLookup::getDataList() noexcept { return static_cast<Lookup*>(this)->dataList_.get(); }

unsigned OrvKernel::getWidth() noexcept { return static_cast<Kernel*>(this)->width_; }
unsigned OrvKernel::getHeight() noexcept { return static_cast<Kernel*>(this)->height_; }
unsigned OrvKernel::getKeyX() noexcept { return static_cast<Kernel*>(this)->keyX_; }
unsigned OrvKernel::getKeyY() noexcept { return static_cast<Kernel*>(this)->keyY_; }
float* OrvKernel::getValue() noexcept { return static_cast<Kernel*>(this)->values_.get(); }

unsigned OrvSel::getWidth() noexcept { return static_cast<Sel*>(this)->width_; }
unsigned OrvSel::getHeight() noexcept { return static_cast<Sel*>(this)->height_; }
unsigned OrvSel::getKeyX() noexcept { return static_cast<Sel*>(this)->keyX_; }
unsigned OrvSel::getKeyY() noexcept { return static_cast<Sel*>(this)->keyY_; }
unsigned* OrvSel::getValue() noexcept { return static_cast<Sel*>(this)->values_.get(); }

unsigned OrvDitherMask::getWidth() noexcept { return static_cast<DitherMask*>(this)->width_; }
unsigned OrvDitherMask::getHeight() noexcept { return static_cast<DitherMask*>(this)->height_; }
unsigned OrvDitherMask::getNBands() noexcept { return static_cast<DitherMask*>(this)->bands_; }
float* OrvDitherMask::getValue() noexcept { return static_cast<DitherMask*>(this)->values_.get(); }

unsigned OrvInterpolationTable::getKernelSize() noexcept { return static_cast<InterpolationTable*>(this)->size_; }
unsigned OrvInterpolationTable::getSubsamples() noexcept { return static_cast<InterpolationTable*>(this)->subsamples_; }
float* OrvInterpolationTable::getData() noexcept {
    const Block<float>& values = static_cast<InterpolationTable*>(this)->values_;
    float* const copy = new (std::nothrow) float[values.size()];
    if (copy) std::ranges::copy(values.span(), copy);
    return copy;
}

unsigned OrvHistogram::getNBands() noexcept {
    return static_cast<unsigned>(static_cast<Histogram*>(this)->bins_.size());
}
void OrvHistogram::getNBins(unsigned* out) noexcept {
    std::ranges::copy(static_cast<Histogram*>(this)->bins_.span(), out);
}
void OrvHistogram::getLowValue(float* out) noexcept {
    std::ranges::copy(static_cast<Histogram*>(this)->low_.span(), out);
}
void OrvHistogram::getHighValue(float* out) noexcept {
    std::ranges::copy(static_cast<Histogram*>(this)->high_.span(), out);
}
std::uint32_t* OrvHistogram::getDataPtr() noexcept { return static_cast<Histogram*>(this)->counters_.get(); }

std::uint32_t OrvColorspace::getOpcode() noexcept { return static_cast<Colorspace*>(this)->opcode_; }
