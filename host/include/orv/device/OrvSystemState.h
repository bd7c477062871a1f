// A session of the host, as a device sees it: the error channel and the maker of objects.
#pragma once

#include "orv/device/OrvObject.h"
#include "orv/device/OrvTypes.h"

/// One session. Every object that it makes belongs to the caller until destroyed.
class ORV_API OrvSystemState : public OrvObject {
public:
    /// Reports an error. `id` is a message key such as "di-9"; `primary` is a flag of 0 or 1; `line` and `file` name
    /// the place in the device's source; `object` is the object concerned or null. Use orv_notify_error where there may
    /// be no system state.
    void notifyError(OrvErrorCategory category, const char* id, int primary, int line, const char* file,
                     OrvObject* object) noexcept;

    /// An empty region, or null.
    OrvRoi* createRoi() noexcept;

    /// A temporary image with dense rows (bit offset 0 for BIT), samples unset, or null. Sizes in pixels.
    OrvImage* createImage(unsigned width, unsigned height, unsigned nbands, OrvDataType type) noexcept;

    /// A lookup holding a copy of `data` (`entries` * `nbands` samples of type `output`), or null. Entry 0 belongs to
    /// the input value `offset`.
    OrvLookup* createLookup(OrvDataType input, OrvDataType output, unsigned nbands, unsigned entries, short offset,
                            void* data) noexcept;

    /// A dither mask holding a copy of `data` (`nbands` planes of `height` rows of `width` floats), or null.
    OrvDitherMask* createDitherMask(unsigned width, unsigned height, unsigned nbands, float* data) noexcept;

protected:
    OrvSystemState() noexcept = default;
    ~OrvSystemState() override;
};

/// Reports an error to the system state given, or, with null, to the session whose op is running (the process's default
/// handler where none is).
ORV_API void orv_notify_error(OrvSystemState* stateOrNull, OrvErrorCategory category, const char* id, int primary,
                              int line, const char* file, OrvObject* object) noexcept;
