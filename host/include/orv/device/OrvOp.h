// One operation: images, parameters, and the op that feeds it.
#pragma once

#include "orv/device/OrvImage.h"
#include "orv/device/OrvObject.h"

/// An operation of the host's tree of work. Parameters count from 1; reading one that was not given answers null or 0,
/// and reading one as another kind answers null or 0 too, but that an object can be read as a pointer. A float
/// parameter 0.0 reads as a null pointer.
class ORV_API OrvOp : public OrvObject {
public:
    OrvImage* getSrc1() noexcept;
    OrvImage* getSrc2() noexcept;
    OrvImage* getSrc3() noexcept;
    OrvImage* getDst() noexcept;
    /// The op whose result is this op's first source, or null.
    OrvOp* getOp1() noexcept;

    void* getPtrParam(int index) noexcept;
    float getFloatParam(int index) noexcept;
    long getLongParam(int index) noexcept;
    OrvObject* getObjParam(int index) noexcept;

    /// Replaces a parameter. With `own` 1 the op releases the value at its end: a pointer with delete[] (it came from
    /// new[]), an object with destroy(). What the caller of the op passed in is never released.
    void setPtrParam(int index, void* value, int own) noexcept;
    void setFloatParam(int index, float value) noexcept;
    void setObjParam(int index, OrvObject* value, int own) noexcept;

    /// Runs a cached op now.
    void flush() noexcept;

    ~OrvOp() override;

protected:
    OrvOp() noexcept = default;
};

/// Makes an op of the named kind ("copy") on two images, owned by the caller (delete it), or null. `values` is an array
/// of four integers, all -1.
ORV_API OrvOp* OrvCreateCachedOp(const char* name, int* values, OrvImage* dst, OrvImage* src) noexcept;
