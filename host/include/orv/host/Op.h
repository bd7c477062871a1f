// Operations, as the host's own code makes them.
#pragma once

#include <cstddef>
#include <string>
#include <variant>
#include <vector>

#include "orv/device/OrvOp.h"
#include "orv/host/Object.h"

namespace orv::host {

class Image;
class Session;

/// An operation with its images and parameters. It can serve any number of calls: reset() keeps its memory. Images and
/// parameters stay the caller's and must outlive the call.
class ORV_API Op final : public OrvOp {
public:
    static Owned<Op> make(Session& session, const char* name);

    /// Ends the operation (what a device gave it to own is released) and starts another one without images and
    /// parameters.
    void reset(const char* name);

    const std::string& name() const noexcept { return opName_; }
    /// `number` is 1, 2 or 3.
    void setSource(int number, OrvImage* image) noexcept;
    void setDestination(OrvImage* image) noexcept { destination_ = image; }
    /// The op that feeds the first source: a call then takes the two-level path.
    void setOp1(Op* op) noexcept { op1_ = op; }
    Op* op1() const noexcept { return op1_; }
    Image* destination() const noexcept;

    /// Append the next parameter.
    void addFloat(float value);
    void addLong(long value);
    void addPointer(void* value);
    void addObject(OrvObject* value);

    /// Ends a call: releases what the device gave the op to own, and brings back the parameters that it replaced.
    void restore() noexcept;

private:
    friend class ::OrvOp;
    friend OrvOp* ::OrvCreateCachedOp(const char*, int*, OrvImage*, OrvImage*) noexcept;

    using Value = std::variant<std::monostate, float, long, void*, OrvObject*>;
    struct Replacement {
        int index;
        Value value;
    };

    explicit Op(Session& session) noexcept;
    ~Op() override;
    const Value* parameter(int index) const noexcept;
    void replace(int index, const Value& value) noexcept;
    void own(const Value& value) noexcept;
    bool given(const Value& value) const noexcept;

    std::string opName_;
    OrvImage* sources_[3] = {};
    OrvImage* destination_ = nullptr;
    Op* op1_ = nullptr;
    bool cachedCopy_ = false;
    std::vector<Value> parameters_;
    std::vector<Replacement> replacements_;
    std::vector<Value> owned_;
};

} // namespace orv::host
