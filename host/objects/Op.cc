#include "orv/host/Op.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "dispatch/Running.h"
#include "objects/CachedCopy.h"
#include "objects/ObjectAccess.h"
#include "orv/host/Image.h"
#include "orv/host/Session.h"

namespace orv::host {

Op::Op(Session& session) noexcept { ObjectAccess::setUp(*this, session, Kind::op); }

Op::~Op() {
    restore();
    ObjectAccess::takeOut(*this);
}

Owned<Op> Op::make(Session& session, const char* name) {
    Owned<Op> op(new Op(session));
    op->opName_ = name;
    return op;
}

void Op::reset(const char* name) {
    restore();
    opName_ = name;
    std::ranges::fill(sources_, nullptr);
    destination_ = nullptr;
    op1_ = nullptr;
    parameters_.clear();
}

void Op::setSource(int number, OrvImage* image) noexcept {
    if (number >= 1 && number <= 3) sources_[number - 1] = image;
}

Image* Op::destination() const noexcept { return static_cast<Image*>(destination_); }

void Op::addFloat(float value) { parameters_.emplace_back(value); }
void Op::addLong(long value) { parameters_.emplace_back(value); }
void Op::addPointer(void* value) { parameters_.emplace_back(value); }
void Op::addObject(OrvObject* value) { parameters_.emplace_back(value); }

const Op::Value* Op::parameter(int index) const noexcept {
    // The last replacement of an index counts.
    for (auto r = replacements_.rbegin(); r != replacements_.rend(); ++r) {
        if (r->index == index) return &r->value;
    }
    if (index < 1 || static_cast<std::size_t>(index) > parameters_.size()) return nullptr;
    return &parameters_[static_cast<std::size_t>(index) - 1];
}

void Op::replace(int index, const Value& value) noexcept {
    try {
        replacements_.push_back({index, value});
    } catch (const std::bad_alloc&) {
        // There is no way to tell a device: the op goes on with the parameter that it had.
    }
}

bool Op::given(const Value& value) const noexcept {
    const auto addressOf = [](const Value& v) -> const void* {
        if (const auto* const pointer = std::get_if<void*>(&v)) return *pointer;
        const auto* const object = std::get_if<OrvObject*>(&v);
        return object ? *object : nullptr;
    };
    const void* const address = addressOf(value);
    return !address || std::ranges::any_of(parameters_, [&](const Value& v) { return addressOf(v) == address; });
}

void Op::own(const Value& value) noexcept {
    if (given(value) || std::ranges::find(owned_, value) != owned_.end()) return;
    try {
        owned_.push_back(value);
    } catch (const std::bad_alloc&) {
        // Lost, but still valid for as long as the op reads it.
    }
}

void Op::restore() noexcept {
    for (const Value& value : owned_) {
        if (const auto* const pointer = std::get_if<void*>(&value)) delete[] static_cast<char*>(*pointer);
        if (const auto* const object = std::get_if<OrvObject*>(&value)) ObjectAccess::end(*object);
    }
    owned_.clear();
    replacements_.clear();
}

} // namespace orv::host

using orv::host::FaultPoint;
using orv::host::Image;
using orv::host::Op;
using orv::host::Running;

namespace {

template <class T>
const T* valueAs(const auto* value) {
    return value ? std::get_if<T>(value) : nullptr;
}

} // namespace

OrvImage* OrvOp::getSrc1() noexcept { return static_cast<Op*>(this)->sources_[0]; }
OrvImage* OrvOp::getSrc2() noexcept { return static_cast<Op*>(this)->sources_[1]; }
OrvImage* OrvOp::getSrc3() noexcept { return static_cast<Op*>(this)->sources_[2]; }
OrvImage* OrvOp::getDst() noexcept { return static_cast<Op*>(this)->destination_; }
OrvOp* OrvOp::getOp1() noexcept { return static_cast<Op*>(this)->op1_; }

void* OrvOp::getPtrParam(int index) noexcept {
    const auto* const value = static_cast<Op*>(this)->parameter(index);
    if (void* const* const pointer = valueAs<void*>(value)) return *pointer;
    OrvObject* const* const object = valueAs<OrvObject*>(value);
    return object ? *object : nullptr;
}

float OrvOp::getFloatParam(int index) noexcept {
    const float* const value = valueAs<float>(static_cast<Op*>(this)->parameter(index));
    return value ? *value : 0.0F;
}

long OrvOp::getLongParam(int index) noexcept {
    const long* const value = valueAs<long>(static_cast<Op*>(this)->parameter(index));
    return value ? *value : 0;
}

OrvObject* OrvOp::getObjParam(int index) noexcept {
    OrvObject* const* const value = valueAs<OrvObject*>(static_cast<Op*>(this)->parameter(index));
    return value ? *value : nullptr;
}

void OrvOp::setPtrParam(int index, void* value, int own) noexcept {
    Op& op = *static_cast<Op*>(this);
    op.replace(index, value);
    if (own) op.own(value);
}

void OrvOp::setFloatParam(int index, float value) noexcept { static_cast<Op*>(this)->replace(index, value); }

void OrvOp::setObjParam(int index, OrvObject* value, int own) noexcept {
    Op& op = *static_cast<Op*>(this);
    op.replace(index, value);
    if (own) op.own(value);
}

void OrvOp::flush() noexcept {
    Op& op = *static_cast<Op*>(this);
    if (op.cachedCopy_) copySamples(*op.destination(), *static_cast<Image*>(op.sources_[0]));
}

OrvOp* OrvCreateCachedOp(const char* name, int*, OrvImage* dst, OrvImage* src) noexcept {
    if (Running::faultHits(FaultPoint::cachedOp)) return nullptr;
    if (!name || std::strcmp(name, "copy") != 0 || !dst || !src) return nullptr;
    Op* const op = new (std::nothrow) Op(*orv::host::ObjectAccess::session(*dst));
    if (!op) return nullptr;
    op->destination_ = dst;
    op->sources_[0] = src;
    op->cachedCopy_ = true;
    return Running::handOut(op);
}
