// Lookups, kernels, masks and the other tables that ops take as parameters. Each holds a copy of what it is made from;
// after a change of the contents call renewVersion(). The makers answer null where no memory could be had.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "orv/device/OrvColorspace.h"
#include "orv/device/OrvDitherMask.h"
#include "orv/device/OrvHistogram.h"
#include "orv/device/OrvInterpolationTable.h"
#include "orv/device/OrvKernel.h"
#include "orv/device/OrvLookup.h"
#include "orv/device/OrvSel.h"
#include "orv/host/Object.h"

namespace orv::host {

class Session;

/// A block of plain values of an object's own.
template <class T>
class Block {
public:
    Block() noexcept = default;
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;
    ~Block() { delete[] values_; }

    /// `count` values, copied from `source` or, with null, all 0. False where no memory could be had.
    bool assign(const T* source, std::size_t count) noexcept;
    T* get() noexcept { return values_; }
    const T* get() const noexcept { return values_; }
    std::size_t size() const noexcept { return count_; }
    std::span<T> span() noexcept { return {values_, count_}; }
    std::span<const T> span() const noexcept { return {values_, count_}; }

private:
    T* values_ = nullptr;
    std::size_t count_ = 0;
};

extern template class ORV_API Block<unsigned char>;
extern template class ORV_API Block<short>;
extern template class ORV_API Block<int>;
extern template class ORV_API Block<unsigned>;
extern template class ORV_API Block<float>;
extern template class ORV_API Block<void*>;

/// One table of a combined lookup: `entries` samples of the output type.
struct LookupTable {
    const void* data = nullptr;
    unsigned entries = 0;
    short offset = 0;
};

/// A table for every band, or one for each. Samples of a BIT output are bytes.
class ORV_API Lookup final : public OrvLookup {
public:
    /// `entries` entries of `bands` samples, the bands of an entry side by side.
    static Owned<Lookup> makeSingle(Session& session, OrvDataType input, OrvDataType output, unsigned bands,
                                    unsigned entries, short offset, const void* data) noexcept;
    static Owned<Lookup> makeCombined(Session& session, OrvDataType input, OrvDataType output,
                                      std::span<const LookupTable> tables) noexcept;

    /// Makes a single lookup a colour cube; one multiplier and one dimension a band. False where no memory could be
    /// had.
    bool setCube(std::span<const int> multipliers, std::span<const unsigned> dimensions, short origin) noexcept;

    bool combined() const noexcept { return combined_; }
    OrvDataType inputType() const noexcept { return input_; }
    OrvDataType outputType() const noexcept { return output_; }
    /// Samples of an entry of a single lookup, tables of a combined one.
    unsigned bands() const noexcept { return bands_; }
    unsigned entries() const noexcept { return entries_; }
    short offset() const noexcept { return offset_; }
    /// The samples of a single lookup, or of all the tables of a combined one, one after another.
    void* data() noexcept { return data_.get(); }
    const void* data() const noexcept { return data_.get(); }
    std::size_t sampleCount() const noexcept { return samples_; }
    std::size_t sampleSize() const noexcept;

private:
    friend class ::OrvLookup;
    Lookup(Session& session, OrvDataType input, OrvDataType output) noexcept;
    ~Lookup() override = default;

    OrvDataType input_;
    OrvDataType output_;
    bool combined_ = false;
    unsigned bands_ = 1;
    unsigned entries_ = 0;
    short offset_ = 0;
    std::size_t samples_ = 0;
    Block<unsigned char> data_;
    Block<unsigned> entriesList_;
    Block<short> offsetsList_;
    Block<void*> dataList_;
    Block<int> multipliers_;
    Block<unsigned> dimensions_;
    short cubeOrigin_ = 0;
};

class ORV_API Kernel final : public OrvKernel {
public:
    /// Null `data`: all weights are 0. `name` may be null.
    static Owned<Kernel> make(Session& session, unsigned width, unsigned height, unsigned keyX, unsigned keyY,
                              const float* data, const char* name = nullptr) noexcept;
    std::span<float> values() noexcept { return values_.span(); }

private:
    friend class ::OrvKernel;
    friend struct ObjectAccess;
    explicit Kernel(Session& session) noexcept;
    ~Kernel() override = default;
    /// Whether the weights are others than at the last such call. Ops rewrite kernels (error diffusion completes the
    /// weights), so a kernel looks for itself when its version is asked for.
    bool noteContents() noexcept;

    unsigned width_ = 0;
    unsigned height_ = 0;
    unsigned keyX_ = 0;
    unsigned keyY_ = 0;
    Block<float> values_;
    std::size_t fingerprint_ = 0;
};

class ORV_API Sel final : public OrvSel {
public:
    static Owned<Sel> make(Session& session, unsigned width, unsigned height, unsigned keyX, unsigned keyY,
                           const unsigned* data) noexcept;
    std::span<unsigned> values() noexcept { return values_.span(); }

private:
    friend class ::OrvSel;
    explicit Sel(Session& session) noexcept;
    ~Sel() override = default;

    unsigned width_ = 0;
    unsigned height_ = 0;
    unsigned keyX_ = 0;
    unsigned keyY_ = 0;
    Block<unsigned> values_;
};

class ORV_API DitherMask final : public OrvDitherMask {
public:
    static Owned<DitherMask> make(Session& session, unsigned width, unsigned height, unsigned bands,
                                  const float* data) noexcept;
    std::span<float> values() noexcept { return values_.span(); }

private:
    friend class ::OrvDitherMask;
    explicit DitherMask(Session& session) noexcept;
    ~DitherMask() override = default;

    unsigned width_ = 0;
    unsigned height_ = 0;
    unsigned bands_ = 0;
    Block<float> values_;
};

class ORV_API InterpolationTable final : public OrvInterpolationTable {
public:
    /// `subsamples` rows of `size` weights.
    static Owned<InterpolationTable> make(Session& session, unsigned size, unsigned subsamples,
                                          const float* data) noexcept;
    std::span<float> values() noexcept { return values_.span(); }

private:
    friend class ::OrvInterpolationTable;
    explicit InterpolationTable(Session& session) noexcept;
    ~InterpolationTable() override = default;

    unsigned size_ = 0;
    unsigned subsamples_ = 0;
    Block<float> values_;
};

class ORV_API Histogram final : public OrvHistogram {
public:
    /// One value a band in each span, which must be equally long; the counters start at 0.
    static Owned<Histogram> make(Session& session, std::span<const unsigned> bins, std::span<const float> low,
                                 std::span<const float> high) noexcept;
    /// The last band's index moves fastest.
    std::span<unsigned> counters() noexcept { return counters_.span(); }

private:
    friend class ::OrvHistogram;
    explicit Histogram(Session& session) noexcept;
    ~Histogram() override = default;

    Block<unsigned> bins_;
    Block<float> low_;
    Block<float> high_;
    Block<unsigned> counters_;
};

class ORV_API Colorspace final : public OrvColorspace {
public:
    /// `opcode` is 1 to 10, null for any other.
    static Owned<Colorspace> make(Session& session, unsigned opcode) noexcept;
    /// By name (see colorspaceNames()), null for any other.
    static Owned<Colorspace> make(Session& session, const char* name) noexcept;

private:
    friend class ::OrvColorspace;
    explicit Colorspace(Session& session) noexcept;
    ~Colorspace() override = default;

    std::uint32_t opcode_ = 0;
};

/// The ten names, in the order of their opcodes from 1.
ORV_API std::span<const char* const> colorspaceNames() noexcept;

} // namespace orv::host
