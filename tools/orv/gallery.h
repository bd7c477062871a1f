// What `orv demo` leaves behind to look at: a sheet of small pictures, and a page that needs no network.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "canvas.h"

namespace orv::tool {

/// One operation as it is shown. Pictures are names of PNG files in the gallery's folder.
struct Exhibit {
    const Operation* operation = nullptr;
    std::vector<std::string> before;
    std::string after;
    std::string printed;
    std::string complaint;
};

Canvas contactSheet(Session& session, const std::filesystem::path& folder, const std::vector<Exhibit>& exhibits);

/// Before and after of one operation, small and side by side; what it printed where it makes no picture.
Canvas strip(Session& session, const std::filesystem::path& folder, const Exhibit& exhibit);

void writePage(const std::filesystem::path& file, const std::vector<Exhibit>& exhibits);

} // namespace orv::tool
