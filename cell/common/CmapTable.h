// Colormaps of three components: plain, with used counts, with luminances.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>

#include "cis/ColorValue.h"
#include "memory/frame/orvi_new.h"
#include "orv/device/OrvTypes.h"

/// Order of a colormap's components.
enum ColorSpace : int { COLOR_RGB = 0, COLOR_BGR = 1, COLOR_YUV = 2 };

/// Colours in an array of fixed capacity. Whoever makes one asks ok() before using it.
class CmapTable {
public:
    /// `count` black entries.
    CmapTable(ColorSpace space, std::uint16_t capacity, std::uint16_t count) noexcept;
    /// `count` entries of three bytes each.
    CmapTable(const unsigned char* table, ColorSpace space, std::uint16_t capacity, std::uint16_t count) noexcept;
    CmapTable(const CmapTable& other) noexcept;
    ~CmapTable();

    static void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept { return orvi_new(bytes); }
    static void operator delete(void* table) noexcept { orvi_delete(table); }
    static void operator delete(void* table, const std::nothrow_t&) noexcept { orvi_delete(table); }

    /// As set; a table that does not fit is reported and changes nothing.
    CmapTable& operator=(const CmapTable& other) noexcept;

    /// Takes the count, space and colours of another table whose capacity fits into this one's; 2 after a report.
    OrvStatus set(const CmapTable& other) noexcept;

    /// Equal counts and equal colours up to the count, whatever the spaces and capacities.
    bool operator==(const CmapTable& other) const noexcept;

    /// A new array (for the caller to orvi_delete) of three bytes for each entry of the capacity; null after a report.
    unsigned char* getAsColormapTable() const noexcept;

    /// Replaces space and colours by `count` entries of three bytes each; 2 after a report.
    OrvStatus setAsColormapTable(const unsigned char* data, ColorSpace space, std::uint16_t count) noexcept;

    /// Change the order of the components in place. 0 where it is that already, else 1.
    int toYUV() noexcept;
    int toRGB() noexcept;
    int toBGR() noexcept;

    /// 1 where construction succeeded, else 0. With `destroy` 1 a failed table, which must come from new, frees itself.
    int ok(int destroy) noexcept;

    const ColorValue* colors() const noexcept { return colors_; }
    ColorValue* colors() noexcept { return colors_; }
    ColorSpace space() const noexcept { return space_; }
    unsigned capacity() const noexcept { return capacity_; }
    unsigned count() const noexcept { return count_; }
    unsigned bands() const noexcept { return bands_; }

protected:
    bool assign(const CmapTable& other) noexcept { return set(other) == ORV_SUCCESS; }

private:
    void makeColors() noexcept;
    void take(const unsigned char* data, std::uint16_t count) noexcept;
    void swapEnds() noexcept;

    ColorValue* colors_ = nullptr;
    ColorSpace space_;
    std::uint16_t capacity_;
    std::uint16_t count_;
    std::uint16_t bands_ = 3;
    std::int32_t ok_ = 0;
};

/// A colormap with a value of T for each entry of its capacity. `Self` is the table that is made of it: it names the
/// value that entries start with, and what is reported.
template <class Self, class Base, class T>
class CmapColumn : public Base {
public:
    ~CmapColumn() { orvi_delete(values_); }

    CmapColumn& operator=(const CmapColumn& other) noexcept {
        if (this != &other) assign(other);
        return *this;
    }

    int ok(int destroy) noexcept {
        const int result = ok_;
        if (result == 0 && destroy == 1) delete static_cast<Self*>(this);
        return result;
    }

protected:
    /// As operator= does; false where a report was made, or where an array is missing.
    bool assign(const CmapColumn& other) noexcept {
        if (!Base::assign(other)) return false;
        if (values_ == nullptr || other.values_ == nullptr) {
            Self::reportUnassigned();
            return false;
        }
        std::copy_n(other.values_, this->count(), values_);
        return true;
    }
    const T* values() const noexcept { return values_; }
    T* values() noexcept { return values_; }

private:
    friend Self;

    CmapColumn(ColorSpace space, std::uint16_t capacity, std::uint16_t count) noexcept : Base(space, capacity, count) {
        makeValues();
    }
    CmapColumn(const unsigned char* table, ColorSpace space, std::uint16_t capacity, std::uint16_t count) noexcept
        : Base(table, space, capacity, count) {
        makeValues();
    }
    CmapColumn(const CmapColumn& other) noexcept : Base(other) {
        makeValues();
        if (values_ != nullptr && other.values_ != nullptr) std::copy_n(other.values_, this->count(), values_);
    }

    void makeValues() noexcept {
        values_ = orvi::newArray<T>(this->capacity());
        if (values_ == nullptr) return Self::reportNoMemory();
        std::fill_n(values_, this->capacity(), Self::initial);
        ok_ = Base::ok(0);
    }

    T* values_ = nullptr;
    std::int32_t ok_ = 0;
};

/// A colormap that knows which entries compete: those whose used count is above 0.
class UsedCmapTable : public CmapColumn<UsedCmapTable, CmapTable, std::int32_t> {
public:
    UsedCmapTable(ColorSpace space, std::uint16_t capacity, std::uint16_t count) noexcept
        : CmapColumn(space, capacity, count) {}
    UsedCmapTable(const unsigned char* table, ColorSpace space, std::uint16_t capacity, std::uint16_t count) noexcept
        : CmapColumn(table, space, capacity, count) {}

    const std::int32_t* used() const noexcept { return values(); }
    std::int32_t* used() noexcept { return values(); }

private:
    template <class, class, class>
    friend class CmapColumn;
    static constexpr std::int32_t initial = 1;
    static void reportNoMemory() noexcept {}
    static void reportUnassigned() noexcept;
};

/// A colormap with the luminance of each entry.
class LumCmapTable : public CmapColumn<LumCmapTable, UsedCmapTable, double> {
public:
    LumCmapTable(ColorSpace space, std::uint16_t capacity, std::uint16_t count) noexcept
        : CmapColumn(space, capacity, count) {}
    LumCmapTable(const unsigned char* table, ColorSpace space, std::uint16_t capacity, std::uint16_t count) noexcept
        : CmapColumn(table, space, capacity, count) {}

    /// Fills in the luminances of the entries: component Y, unrounded where it must be computed.
    void computeLum() noexcept;

    const double* luminance() const noexcept { return values(); }

private:
    template <class, class, class>
    friend class CmapColumn;
    static constexpr double initial = 0;
    static void reportNoMemory() noexcept;
    static void reportUnassigned() noexcept {}
};
