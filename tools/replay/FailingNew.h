// A global operator new that can be made to answer null to the device module, and to it alone.
//
// FailingNew.cc replaces every form of operator new in the program that it is linked into. Whose call it is, is told by
// the caller's address: the module funnels its allocations through one function of its own.
#pragma once

#include <cstdint>
#include <vector>

namespace orvcase {

struct FailingNew {
    bool installed = false; ///< FailingNew.cc is part of this program
    bool armed = false;
    std::uintptr_t moduleBegin = 0;
    std::uintptr_t moduleEnd = 0;
    unsigned seen = 0;
    unsigned met = 0;
    std::vector<unsigned> failing; ///< numbers of the allocations that fail, counted from 1

    /// Counts an allocation made from that address; true where it must fail.
    bool hits(const void* caller) noexcept {
        if (!armed) return false;
        const auto address = reinterpret_cast<std::uintptr_t>(caller);
        if (address < moduleBegin || address >= moduleEnd) return false;
        ++seen;
        for (const unsigned number : failing) {
            if (number != seen) continue;
            ++met;
            return true;
        }
        return false;
    }
};

inline constinit FailingNew failingNew{};

/// Arms the given failures for the module that holds `handle` (what dlopen answered) as long as the object lives.
class ArmedNew {
public:
    ArmedNew(void* handle, std::vector<unsigned> failing);
    ~ArmedNew();
    ArmedNew(const ArmedNew&) = delete;
    ArmedNew& operator=(const ArmedNew&) = delete;
};

} // namespace orvcase
