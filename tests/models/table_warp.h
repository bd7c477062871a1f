// The functions that warp by a table, as their model and its test name them.
#pragma once

#include "support/ModelKit.h"

namespace orvmodel::table_warp {

inline constexpr const char* interpolations[] = {"nearest", "bilinear", "bicubic", "general"};
enum { nearest, bilinear, bicubic, general };

/// The form is 'b' for both ways, 'h' for horizontal, 'v' for vertical.
struct Member {
    char form;
    OrvDataType type;
    int kind;
};

} // namespace orvmodel::table_warp
