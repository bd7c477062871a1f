// What can be made to fail under a device. A list of its own without any other header, so that a case of calls is a
// plain value that needs no host.
#pragma once

namespace orv::host {

/// A call of the device's that can be made to answer null (addRect: status 2; cube: 0).
enum class FaultPoint {
    storage,   ///< getMemoryStorage of the fault's image
    imageRoi,  ///< its getImageSpaceRoi
    roi,       ///< its getRoi
    roiList,   ///< OrviGetRoiList, every time
    rectList,  ///< getRectList
    intersect, ///< and the other ways to a new region
    translate,
    scale,
    transpose,
    clone,
    createRoi,
    createImage,
    createLookup,
    createMask,
    cachedOp, ///< OrvCreateCachedOp
    addRect,
    cube,        ///< getColorCubeInfo, every time
    systemState, ///< getSystemState of the fault's image, every time
    scratch,     ///< the image that createImage answers has no storage
    newMemory,   ///< operator new: a host cannot reach it, a program that replaces the operator can
};

} // namespace orv::host
