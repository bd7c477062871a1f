#include "memory/frame/OrvDeviceComputeTypeMemory.h"

#include "memory/frame/report.h"

OrvDeviceComputeTypeMemory::OrvDeviceComputeTypeMemory() noexcept : OrvDeviceComputeType("OrvDeviceComputeMemory") {}

OrvDeviceComputeTypeMemory::~OrvDeviceComputeTypeMemory() = default;

OrvDeviceComputeType* OrvCreateComputeType() noexcept {
    auto* device = new (std::nothrow) OrvDeviceComputeTypeMemory;
    if (device == nullptr) {
        orvi::fail(static_cast<OrvSystemState*>(nullptr), {"di-1", 1, 1, 36}, "OrvDeviceComputeTypeMemory.cc");
        return nullptr;
    }
    if (device->describeMembers() == ORV_FAILURE) {
        delete device;
        return nullptr;
    }
    return device;
}
