// Pictures as arrays: views where the device can address the memory, copies elsewhere.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include "orv/orv.h"

namespace orv::python {

namespace py = pybind11;

/// Bits as numpy.packbits lays them: (height, bytes) or (bands, height, bytes), and the width in pixels.
struct Bits {
    py::array_t<std::uint8_t> packed = {};
    unsigned width = 0;
};

/// A picture for the device, and what results must look like so that they resemble the array.
struct Picture {
    Image image = {};
    bool threeAxes = false;  ///< the array had an axis of bands
    bool unsigned16 = false; ///< samples of the array are those of the image and 32768
    bool packed = false;     ///< it came as Bits
    bool copied = false;     ///< the image is not the array's own memory
    py::object held = {};    ///< what owns the memory
};

/// The picture of an array or of Bits. `encoding` is that of the bands, empty where their number tells it. Throws
/// Error for arrays that no picture can be.
Picture pictureOf(Session& session, py::handle object, std::string_view encoding, ColourOrder order);

/// An array that a result can be written to in place: its memory is the image's, or copyBack() brings it there.
Picture destinationOf(Session& session, py::handle object, std::string_view encoding, ColourOrder order);
void copyBack(const Picture& picture, py::handle object);

/// The array of a picture; it shares the samples where they can be addressed.
py::object arrayOf(Session& session, const Image& image, bool threeAxes, bool packed, ColourOrder order);

/// Whether an array has no pixels.
bool isEmpty(py::handle object);

} // namespace orv::python
