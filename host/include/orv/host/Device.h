// Builds of the device module: where they are found, how one is chosen, what it entered into its op tree.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "orv/device/OrvDevice.h"
#include "orv/device/OrvTypes.h"

namespace orv::host {

class OpTree;

/// A module that cannot be found, loaded or set up. The message says what to do.
class ORV_API DeviceError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    ~DeviceError() override;
};

struct DeviceChoice {
    /// "baseline", "v3", "v4" (or "x86-64-v3", "x86-64-v4"), or the path of a module; empty: the best build that stands
    /// beside the host library and that the processor can run.
    std::string build = {};
    /// The folder with the builds; empty: the one of the host library.
    std::string folder = {};
    /// The addFunction call (from 1) that answers 2 while the module registers; 0: none.
    unsigned failAddFunction = 0;
};

/// A loaded build of the device module. Several builds can be open in one process; a module is never unloaded.
class ORV_API Device {
public:
    /// The device of that build; one for all sessions of the process. Throws DeviceError.
    static std::shared_ptr<Device> open(const DeviceChoice& choice = {});
    /// A device of its own, whose module registers once more. Throws DeviceError.
    static std::shared_ptr<Device> openAnew(const DeviceChoice& choice = {});
    /// A device that is part of this program. Throws DeviceError where the factory answers null.
    using Factory = OrvDeviceComputeType* (*)() noexcept;
    static std::shared_ptr<Device> fromFactory(Factory factory, unsigned failAddFunction = 0);
    /// The builds that stand in the folder and that the processor can run, the best last: "baseline", "v3", "v4".
    static std::vector<std::string> availableBuilds(const std::string& folder = {});

    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;
    ~Device();

    /// "baseline", "v3", "v4"; "other" for a module given by its path, "program" for one that is part of it.
    const std::string& build() const noexcept { return build_; }
    /// The module's full path.
    const std::string& path() const noexcept { return path_; }
    /// What dlopen answered, null for a part of the program.
    void* handle() const noexcept { return handle_; }
    OrvDeviceComputeType* type() const noexcept { return type_; }
    OpTree& tree() const noexcept { return *tree_; }

    /// Whether a function stands at that op name, or at the two-level path of an op and the one that feeds it.
    bool has(std::string_view last, std::string_view earlier = {}) const noexcept;
    /// Every addFunction call in order, by its path: "add8", "add8/multiply8".
    std::vector<std::string> registrations() const;

private:
    Device(std::string build, std::string path, unsigned failAddFunction);
    void load();
    void setUp(Factory factory);

    std::string build_;
    std::string path_;
    void* handle_ = nullptr;
    std::unique_ptr<OpTree> tree_;
    OrvDeviceComputeType* type_ = nullptr;
};

} // namespace orv::host
