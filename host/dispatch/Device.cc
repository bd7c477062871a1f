#include "orv/host/Device.h"

#include <dlfcn.h>

#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <span>

#include "dispatch/OpTree.h"
#include "dispatch/Processor.h"

namespace orv::host {
namespace {

namespace fs = std::filesystem;

constexpr const char* moduleName = "orvcomputememory.so.1";

struct Build {
    const char* name;
    const char* longName;
    const char* place; ///< the folder below that of the baseline
    bool (*runsHere)() noexcept;
};

/// The best last.
constexpr Build builds[] = {
    {"baseline", "x86-64", "", []() noexcept { return true; }},
    {"v3", "x86-64-v3", "glibc-hwcaps/x86-64-v3", processorHasV3},
    {"v4", "x86-64-v4", "glibc-hwcaps/x86-64-v4", processorHasV4},
};

struct Module {
    std::string build;
    fs::path path;
};

/// Where this library was loaded from. Asked for while it is being loaded: the loader may have been given a relative
/// path, which a later change of folder would make useless.
fs::path findOwnFile() {
    Dl_info info{};
    std::error_code error;
    if (dladdr(reinterpret_cast<const void*>(&findOwnFile), &info) == 0 || !info.dli_fname) return {};
    return fs::absolute(info.dli_fname, error);
}

const fs::path ownFile = findOwnFile();

/// The folders that may hold the builds: beside this library as it was named, and beside the file that a symbolic link
/// leads to.
std::vector<fs::path> foldersToSearch(const std::string& given) {
    if (!given.empty()) return {given};
    std::error_code error;
    const fs::path real = fs::canonical(ownFile, error);
    std::vector<fs::path> folders{ownFile.parent_path()};
    if (!error && real.parent_path() != folders.front()) folders.push_back(real.parent_path());
    return folders;
}

std::optional<fs::path> existing(const fs::path& folder, const Build& build) {
    std::error_code error;
    fs::path path = folder / build.place / moduleName;
    if (!fs::exists(path, error)) return {};
    return path;
}

std::string joined(const std::vector<fs::path>& folders) {
    std::string text;
    for (const fs::path& folder : folders) text += (text.empty() ? "" : " or ") + folder.string();
    return text;
}

[[noreturn]] void failNotFound(const std::string& what, const std::vector<fs::path>& folders) {
    throw DeviceError(what + " was not found in " + joined(folders) +
                      "; install or build it there, or name its folder");
}

Module moduleOf(const Build& build, const std::vector<fs::path>& folders) {
    if (!build.runsHere()) {
        throw DeviceError(std::string("the build \"") + build.name +
                          "\" of the compute device needs instructions that this processor lacks");
    }
    for (const fs::path& folder : folders) {
        if (const auto path = existing(folder, build)) return {build.name, *path};
    }
    failNotFound(std::string("the build \"") + build.name + "\" of the compute device (" + moduleName + ")", folders);
}

Module bestModule(const std::vector<fs::path>& folders) {
    for (const fs::path& folder : folders) {
        for (auto build = std::rbegin(builds); build != std::rend(builds); ++build) {
            if (!build->runsHere()) continue;
            if (const auto path = existing(folder, *build)) return {build->name, *path};
        }
    }
    failNotFound(std::string("the compute device (") + moduleName + ")", folders);
}

Module moduleFor(const DeviceChoice& choice) {
    const std::string& wanted = choice.build;
    if (wanted.find('/') != std::string::npos) return {"other", wanted};
    const std::vector<fs::path> folders = foldersToSearch(choice.folder);
    if (wanted.empty()) return bestModule(folders);
    for (const Build& build : builds) {
        if (wanted == build.name || wanted == build.longName) return moduleOf(build, folders);
    }
    throw DeviceError("there is no build \"" + wanted +
                      "\" of the compute device; name baseline, v3 or v4, or give the path of a module");
}

/// One name for a file, however it was reached.
std::string fullPath(const fs::path& path) {
    std::error_code error;
    const fs::path full = fs::canonical(path, error);
    if (error) throw DeviceError("the compute device " + path.string() + " cannot be opened: " + error.message());
    return full.string();
}

} // namespace

DeviceError::~DeviceError() = default;

Device::Device(std::string build, std::string path, unsigned failAddFunction)
    : build_(std::move(build)), path_(std::move(path)), tree_(std::make_unique<OpTree>(failAddFunction)) {}

void Device::load() {
    // By its full path and without sharing its names, so that several builds can be open side by side.
    handle_ = dlopen(path_.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (!handle_) throw DeviceError(std::string("the compute device cannot be loaded: ") + dlerror());
    const auto factory = reinterpret_cast<Factory>(dlsym(handle_, "OrvCreateComputeType"));
    if (!factory) throw DeviceError(path_ + " is no compute device: it has no OrvCreateComputeType");
    setUp(factory);
}

void Device::setUp(Factory factory) {
    const OpTree::Guard guard(*tree_);
    type_ = factory();
    if (!type_) throw DeviceError("the compute device " + path_ + " could not be set up");
}

Device::~Device() {
    if (!type_) return;
    tree_->root().removeFunctions(type_);
    delete type_;
}

std::shared_ptr<Device> Device::open(const DeviceChoice& choice) {
    if (choice.failAddFunction != 0) return openAnew(choice);
    // Kept to the end of the process, as the modules are.
    static auto& opened = *new std::map<std::string, std::shared_ptr<Device>>;
    static std::mutex mutex;
    const Module module = moduleFor(choice);
    std::string path = fullPath(module.path);
    const std::lock_guard lock(mutex);
    std::shared_ptr<Device>& device = opened[path];
    if (!device) {
        std::shared_ptr<Device> made(new Device(module.build, path, 0));
        made->load();
        device = std::move(made);
    }
    return device;
}

std::shared_ptr<Device> Device::openAnew(const DeviceChoice& choice) {
    const Module module = moduleFor(choice);
    std::shared_ptr<Device> device(new Device(module.build, fullPath(module.path), choice.failAddFunction));
    device->load();
    return device;
}

std::shared_ptr<Device> Device::fromFactory(Factory factory, unsigned failAddFunction) {
    std::shared_ptr<Device> device(new Device("program", "of this program", failAddFunction));
    device->setUp(factory);
    return device;
}

std::vector<std::string> Device::availableBuilds(const std::string& folder) {
    std::vector<std::string> names;
    for (const fs::path& place : foldersToSearch(folder)) {
        for (const Build& build : builds) {
            if (build.runsHere() && existing(place, build)) names.emplace_back(build.name);
        }
        if (!names.empty()) break;
    }
    return names;
}

bool Device::has(std::string_view last, std::string_view earlier) const noexcept {
    return tree_->find(last, earlier) != nullptr;
}

std::vector<std::string> Device::registrations() const { return tree_->registrations(); }

} // namespace orv::host
