// Module-wide tables that are made on first use.
#pragma once

#include <cstddef>

#include "memory/frame/orvi_new.h"

namespace orvi {

/// A table that is null at load, filled by its first user and kept for the life of the module: never freed, never
/// rebuilt.
template <class T>
class LazyTable {
public:
    /// The table, made where it is not there yet with one allocation of `count` entries and `fill(T* table)`; null
    /// where the allocation failed (the next call tries again).
    template <class Fill>
    const T* get(std::size_t count, Fill fill) noexcept {
        if (table_ == nullptr) {
            table_ = newArray<T>(count);
            if (table_ != nullptr) fill(table_);
        }
        return table_;
    }

private:
    T* table_ = nullptr;
};

} // namespace orvi
