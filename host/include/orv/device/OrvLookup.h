// A table that maps samples to samples.
#pragma once

#include "orv/device/OrvObject.h"
#include "orv/device/OrvTypes.h"

/// A lookup is single (one table for every band: getNumEntries is not 0) or combined (a table for each band:
/// getNumEntries is 0 and the three lists hold the tables). All memory belongs to the lookup.
class ORV_API OrvLookup : public OrvObject {
public:
    unsigned getNumEntries() noexcept;
    /// Output bands: samples in one entry of a single lookup.
    unsigned getNBands() noexcept;
    /// The table of a single lookup: entry by entry, the bands of an entry side by side; BIT tables hold bytes.
    void* getData() noexcept;
    /// The input value of entry 0.
    short getOffset() noexcept;
    OrvDataType getOutputDataType() noexcept;

    /// Not 0 where the entries are the colours of a cube.
    int getIsColorCube() noexcept;
    /// Fills one value a band and answers nonzero, or answers 0 where this is no colour cube.
    int getColorCubeInfo(int* multipliers, unsigned* dimensions, short* origin) noexcept;

    /// The same three facts for each band of a combined lookup.
    unsigned* getEntriesList() noexcept;
    short* getOffsetsList() noexcept;
    void** getDataList() noexcept;

protected:
    OrvLookup() noexcept = default;
    ~OrvLookup() override;
};
