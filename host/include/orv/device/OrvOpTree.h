// The tree of op names on which devices enter their functions.
#pragma once

#include "orv/device/OrvTypes.h"

/// A node of the op tree. A path is keyed from the last op of a chain backward:
/// root->branch("add8")->branch("multiply8") holds the functions that do a multiplication and the addition that
/// consumes it in one pass. Functions of a node are tried from the last entered to the first; one that returns 2
/// without reporting an error has declined.
class ORV_API OrvOpTreeNode {
public:
    OrvOpTreeNode(const OrvOpTreeNode&) = delete;
    OrvOpTreeNode& operator=(const OrvOpTreeNode&) = delete;

    /// Finds or makes the child of that name. Null where no memory could be had.
    OrvOpTreeNode* branch(const char* name) noexcept;

    /// Enters a function of a device; the same function may be entered again. 2 on failure.
    OrvStatus addFunction(OrvDeviceComputeType* device, OrvOpFunction function) noexcept;

    /// Removes every function of the device from this node and all below it.
    void removeFunctions(OrvDeviceComputeType* device) noexcept;

protected:
    OrvOpTreeNode() noexcept = default;
    ~OrvOpTreeNode() = default;
};

/// The process's one global state.
class ORV_API OrvGlobalState {
public:
    OrvGlobalState(const OrvGlobalState&) = delete;
    OrvGlobalState& operator=(const OrvGlobalState&) = delete;

    /// The root of the op tree.
    OrvOpTreeNode* getOpTreeBase() noexcept;

protected:
    OrvGlobalState() noexcept = default;
    ~OrvGlobalState() = default;
};

extern ORV_API OrvGlobalState* const orv_global_state;
