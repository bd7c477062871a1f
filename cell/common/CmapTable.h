// Colormaps of three components: plain, with used counts, with luminances.
#pragma once

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

/// A colormap that knows which entries compete: those whose used count is above 0.
class UsedCmapTable : public CmapTable {
public:
    UsedCmapTable(ColorSpace space, std::uint16_t capacity, std::uint16_t count) noexcept;
    UsedCmapTable(const unsigned char* table, ColorSpace space, std::uint16_t capacity, std::uint16_t count) noexcept;
    UsedCmapTable(const UsedCmapTable& other) noexcept;
    ~UsedCmapTable();

    UsedCmapTable& operator=(const UsedCmapTable& other) noexcept;
    int ok(int destroy) noexcept;

    const std::int32_t* used() const noexcept { return used_; }
    std::int32_t* used() noexcept { return used_; }

private:
    void makeCounts() noexcept;

    std::int32_t* used_ = nullptr;
    std::int32_t ok_ = 0;
};

/// A colormap with the luminance of each entry.
class LumCmapTable : public UsedCmapTable {
public:
    LumCmapTable(ColorSpace space, std::uint16_t capacity, std::uint16_t count) noexcept;
    LumCmapTable(const unsigned char* table, ColorSpace space, std::uint16_t capacity, std::uint16_t count) noexcept;
    LumCmapTable(const LumCmapTable& other) noexcept;
    ~LumCmapTable();

    LumCmapTable& operator=(const LumCmapTable& other) noexcept;
    int ok(int destroy) noexcept;

    /// Fills in the luminances of the entries: component Y, unrounded where it must be computed.
    void computeLum() noexcept;

    const double* luminance() const noexcept { return luminance_; }

private:
    void makeLuminances() noexcept;

    double* luminance_ = nullptr;
    std::int32_t ok_ = 0;
};
