// The classes that a compute device derives from, and the one function that its module exports.
#pragma once

#include "orv/device/OrvTypes.h"

/// A device of any kind. Virtual operations in the order of their slots: printStatus, optimizeMemoryUsage, destructor.
class ORV_API OrvDeviceType {
public:
    /// `name` is the type's name; it must outlive the device.
    explicit OrvDeviceType(const char* name) noexcept;
    OrvDeviceType(const OrvDeviceType&) = delete;
    OrvDeviceType& operator=(const OrvDeviceType&) = delete;

    /// Prints one line about the device to standard output.
    virtual void printStatus() noexcept;
    virtual void optimizeMemoryUsage() noexcept;
    virtual ~OrvDeviceType();

    const char* typeName() const noexcept { return name_; }

private:
    const char* name_;
};

/// A device that computes: the class whose members the op tree calls.
class ORV_API OrvDeviceComputeType : public OrvDeviceType {
public:
    using OrvDeviceType::OrvDeviceType;
    ~OrvDeviceComputeType() override;
};

/// The factory that a device module exports: makes the device and enters its functions into the op tree. The caller
/// deletes the device, after removeFunctions on the root. Null on failure, with nothing left in the tree.
extern "C" ORV_API OrvDeviceComputeType* OrvCreateComputeType() noexcept;
