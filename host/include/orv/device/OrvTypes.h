// The plain types that a host and a compute device exchange.
#pragma once

#include <cstdint>

#if defined(__GNUC__)
#define ORV_API __attribute__((visibility("default")))
#else
#define ORV_API
#endif

/// Result of an op function and of the host calls that can fail: 0 is success, 2 is failure (or a decline, see
/// OrvOpTreeNode). No other value is used.
using OrvStatus = int;

inline constexpr OrvStatus ORV_SUCCESS = 0;
inline constexpr OrvStatus ORV_FAILURE = 2;

/// Type of an image's samples.
enum OrvDataType : int {
    ORV_BIT = 0,   ///< 1 bit, packed eight to a byte, most significant bit leftmost, one plane per band
    ORV_BYTE = 1,  ///< unsigned 8 bits, the bands of a pixel side by side
    ORV_SHORT = 2, ///< signed 16 bits, the bands of a pixel side by side
    ORV_FLOAT = 3, ///< 32-bit float, the bands of a pixel side by side
};

/// Kind of an error, as handed to OrvSystemState::notifyError.
enum OrvErrorCategory : int {
    ORV_ERROR_REGION = 0,    ///< the rectangles of an op could not be had
    ORV_ERROR_RESOURCE = 1,  ///< memory, storage or a list could not be had
    ORV_ERROR_INPUT = 4,     ///< the caller passed something that cannot be used
    ORV_ERROR_COMPOSITE = 6, ///< a step of a composite operation failed
};

class OrvDeviceComputeType;
class OrvDitherMask;
class OrvImage;
class OrvLookup;
class OrvObject;
class OrvOp;
class OrvOpTreeNode;
class OrvRoi;
class OrvRoiList;
class OrvSystemState;
class OrvVersionNumber;

/// An op function: a non-virtual member of a device, called with the op and the length of the chain that was matched to
/// the call (1 for a plain call, 2 for a two-level path).
using OrvOpFunction = OrvStatus (OrvDeviceComputeType::*)(OrvOp* op, int count);
