#include <dlfcn.h>
#include <link.h>

#include <algorithm>

#include "FailingNew.h"

namespace orvcase {
namespace {

struct Mapping {
    ElfW(Addr) base;
    std::uintptr_t begin;
    std::uintptr_t end;
};

/// Widens the mapping over the segments of the object that is loaded at its base.
int addSegments(dl_phdr_info* info, std::size_t, void* data) {
    auto& mapping = *static_cast<Mapping*>(data);
    if (info->dlpi_addr != mapping.base) return 0;
    for (int i = 0; i < info->dlpi_phnum; ++i) {
        const auto& segment = info->dlpi_phdr[i];
        if (segment.p_type != PT_LOAD) continue;
        const std::uintptr_t begin = info->dlpi_addr + segment.p_vaddr;
        mapping.begin = std::min(mapping.begin, begin);
        mapping.end = std::max(mapping.end, begin + segment.p_memsz);
    }
    return 1;
}

} // namespace

ArmedNew::ArmedNew(void* handle, std::vector<unsigned> failing) {
    link_map* map = nullptr;
    if (dlinfo(handle, RTLD_DI_LINKMAP, &map) != 0) return;
    Mapping mapping{map->l_addr, UINTPTR_MAX, 0};
    dl_iterate_phdr(addSegments, &mapping);
    failingNew.moduleBegin = mapping.begin;
    failingNew.moduleEnd = mapping.end;
    failingNew.failing = std::move(failing);
    failingNew.seen = 0;
    failingNew.met = 0;
    failingNew.armed = true;
}

ArmedNew::~ArmedNew() { failingNew.armed = false; }

} // namespace orvcase
