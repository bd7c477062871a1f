#include "dispatch/OpTree.h"

#include <algorithm>
#include <new>

namespace orv::host {

const OpNode* OpNode::find(std::string_view name) const noexcept {
    const auto found = children_.find(name);
    return found == children_.end() ? nullptr : found->second.get();
}

OrvOpTreeNode* OpNode::findOrMake(const char* name) {
    const auto found = children_.find(std::string_view(name));
    if (found != children_.end()) return found->second.get();
    auto child = std::make_unique<OpNode>(tree_, path_.empty() ? std::string(name) : path_ + "/" + name);
    return children_.emplace(name, std::move(child)).first->second.get();
}

void OpNode::enter(const Function& function) {
    tree_.registrations_.reserve(tree_.registrations_.size() + 1);
    functions_.reserve(functions_.size() + 1);
    // An earlier entry of the same function would never be reached: it is the last one that is tried.
    std::erase(functions_, function);
    functions_.push_back(function);
    tree_.registrations_.push_back({this, function.device});
}

void OpNode::remove(const OrvDeviceComputeType* device) noexcept {
    std::erase_if(functions_, [device](const Function& f) { return f.device == device; });
    for (auto& [name, child] : children_) child->remove(device);
}

const OpNode* OpTree::find(std::string_view last, std::string_view earlier) const noexcept {
    const OpNode* node = root_.find(last);
    if (node && !earlier.empty()) node = node->find(earlier);
    return node && !node->functions().empty() ? node : nullptr;
}

const OpNode* OpTree::findToRun(std::string_view name) noexcept {
    if (name.empty()) return nullptr;
    // Nodes are never taken out, so what was found once stays.
    const auto at = [name](std::size_t i) { return static_cast<unsigned char>(name[i]); };
    const std::size_t mixed = 31 * name.size() + 7 * at(name.size() - 1) + 3 * at(name.size() / 2) + at(0);
    const OpNode*& known = known_[mixed % known_.size()];
    if (!known || known->path() != name) known = root_.find(name);
    return known && !known->functions().empty() ? known : nullptr;
}

std::vector<std::string> OpTree::registrations() const {
    std::vector<std::string> paths;
    paths.reserve(registrations_.size());
    for (const Registration& r : registrations_) paths.push_back(r.node->path());
    return paths;
}

thread_local OpTree* OpTree::current_ = nullptr;

OpTree& OpTree::current() {
    if (current_) return *current_;
    static OpTree own;
    return own;
}

} // namespace orv::host

using orv::host::OpNode;
using orv::host::OpTree;

OrvOpTreeNode* OrvOpTreeNode::branch(const char* name) noexcept {
    if (!name) return nullptr;
    try {
        return static_cast<OpNode*>(this)->findOrMake(name);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

OrvStatus OrvOpTreeNode::addFunction(OrvDeviceComputeType* device, OrvOpFunction function) noexcept {
    OpNode& node = *static_cast<OpNode*>(this);
    const bool refused = ++node.tree_.calls_ == node.tree_.failAt_;
    if (refused || !device || !function) return ORV_FAILURE;
    try {
        node.enter({device, function});
        return ORV_SUCCESS;
    } catch (const std::bad_alloc&) {
        return ORV_FAILURE;
    }
}

void OrvOpTreeNode::removeFunctions(OrvDeviceComputeType* device) noexcept {
    OpNode& node = *static_cast<OpNode*>(this);
    node.remove(device);
    const std::string& path = node.path_;
    std::erase_if(node.tree_.registrations_, [&](const OpTree::Registration& r) {
        const std::string& other = r.node->path();
        const bool below = path.empty() || other == path || other.starts_with(path + "/");
        return r.device == device && below;
    });
}

namespace {

struct GlobalState final : OrvGlobalState {};
constinit GlobalState globalState;

} // namespace

OrvGlobalState* const orv_global_state = &globalState;

OrvOpTreeNode* OrvGlobalState::getOpTreeBase() noexcept { return &OpTree::current().root(); }
