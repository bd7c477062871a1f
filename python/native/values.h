// Arguments of Python as values of the catalogue.
#pragma once

#include <pybind11/pybind11.h>

#include "orv/orv.h"

namespace orv::python {

namespace py = pybind11;

/// What a parameter was given as. Throws Error, naming the operation and the parameter, for what it cannot be.
Value valueOf(Session& session, const Operation& operation, const Parameter& parameter, py::handle object);

/// The Python name of a parameter, and whether it is the one that a name stands for.
std::string pythonName(const Parameter& parameter);

void bindValues(py::module_& module);

} // namespace orv::python
