// The op tree of one device.
#pragma once

#include <array>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "orv/device/OrvOpTree.h"

namespace orv::host {

class OpTree;

class OpNode final : public OrvOpTreeNode {
public:
    struct Function {
        OrvDeviceComputeType* device;
        OrvOpFunction function;
        bool operator==(const Function&) const = default;
    };

    OpNode(OpTree& tree, std::string path) : tree_(tree), path_(std::move(path)) {}

    /// Where the functions may come from, "add8/multiply8"; empty for the root.
    const std::string& path() const noexcept { return path_; }
    const OpNode* find(std::string_view name) const noexcept;
    /// Each distinct function once, the last entered last.
    const std::vector<Function>& functions() const noexcept { return functions_; }

private:
    friend class ::OrvOpTreeNode;

    OrvOpTreeNode* findOrMake(const char* name);
    void enter(const Function& function);
    void remove(const OrvDeviceComputeType* device) noexcept;

    OpTree& tree_;
    std::string path_;
    std::map<std::string, std::unique_ptr<OpNode>, std::less<>> children_;
    std::vector<Function> functions_;
};

class OpTree {
public:
    /// The addFunction call of that number, from 1, fails; 0: none does.
    explicit OpTree(unsigned failAddFunction = 0) : failAt_(failAddFunction), root_(*this, {}) {}

    OpNode& root() noexcept { return root_; }
    const OpNode& root() const noexcept { return root_; }
    /// The node of an op, or of an op and the one that feeds it; null where no function stands there.
    const OpNode* find(std::string_view last, std::string_view earlier) const noexcept;
    /// The node of an op alone, remembered from call to call; one call runs at a time.
    const OpNode* findToRun(std::string_view name) noexcept;
    /// Every addFunction call that succeeded and was not taken back, in order.
    std::vector<std::string> registrations() const;

    /// The tree that a device registers in on this thread: the one of the innermost guard, else the process's own.
    static OpTree& current();
    class Guard {
    public:
        explicit Guard(OpTree& tree) noexcept : outer_(current_) { current_ = &tree; }
        ~Guard() { current_ = outer_; }
        Guard(const Guard&) = delete;
        Guard& operator=(const Guard&) = delete;

    private:
        OpTree* outer_;
    };

private:
    friend class OpNode;
    friend class ::OrvOpTreeNode;

    struct Registration {
        const OpNode* node;
        const OrvDeviceComputeType* device;
    };

    static thread_local OpTree* current_;

    unsigned calls_ = 0;
    unsigned failAt_ = 0;
    OpNode root_;
    std::vector<Registration> registrations_;
    std::array<const OpNode*, 256> known_{};
};

} // namespace orv::host
