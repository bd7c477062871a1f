#include "FaultNames.h"

#include <algorithm>
#include <array>

namespace orvcase {
namespace {

constexpr std::array<FaultName, 20> points = {{
    {FaultPoint::storage, "storage", true, true},
    {FaultPoint::imageRoi, "imageroi", true, true},
    {FaultPoint::roi, "roi", true, true},
    {FaultPoint::roiList, "roilist", false, false},
    {FaultPoint::rectList, "rectlist", false, true},
    {FaultPoint::intersect, "intersect", false, true},
    {FaultPoint::translate, "translate", false, true},
    {FaultPoint::scale, "scale", false, true},
    {FaultPoint::transpose, "transpose", false, true},
    {FaultPoint::clone, "clone", false, true},
    {FaultPoint::createRoi, "createroi", false, true},
    {FaultPoint::createImage, "createimage", false, true},
    {FaultPoint::createLookup, "createlookup", false, true},
    {FaultPoint::createMask, "createmask", false, true},
    {FaultPoint::cachedOp, "cachedop", false, true},
    {FaultPoint::addRect, "addrect", false, true},
    {FaultPoint::cube, "cube", false, false},
    {FaultPoint::systemState, "systemstate", true, false},
    {FaultPoint::scratch, "scratch", false, true},
    {FaultPoint::newMemory, "new", false, true},
}};

} // namespace

const FaultName& nameOf(FaultPoint point) { return points[static_cast<std::size_t>(point)]; }

const FaultName* faultNamed(std::string_view name) {
    const auto found = std::find_if(points.begin(), points.end(), [&](const FaultName& p) { return p.name == name; });
    return found == points.end() ? nullptr : &*found;
}

} // namespace orvcase
