// The words of `fail` statements.
#pragma once

#include <string_view>

#include "Case.h"

namespace orvcase {

struct FaultName {
    FaultPoint point;
    const char* name;
    bool image;   ///< an image is named
    bool counted; ///< a number may be given
};

const FaultName& nameOf(FaultPoint point);

/// Null where nothing has that name.
const FaultName* faultNamed(std::string_view name);

} // namespace orvcase
