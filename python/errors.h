// The module's exceptions: qxmatte.Error for a failure value returned by the
// library, and qxmatte.OutOfMemoryError (an Error and a MemoryError) when the
// library ran out of memory.
#pragma once

#include <pybind11/pybind11.h>

#include <string>

namespace qxpy {

namespace py = pybind11;

// Adds Error and OutOfMemoryError to the module, and makes std::bad_alloc and
// OpenCV's failed allocations raise OutOfMemoryError (.code -1).
void addErrors(py::module_& m);

// Raises Error (or OutOfMemoryError) with the sentence as its message,
// carrying .code = value and .function = exportName.
[[noreturn]] void raiseFailure(const char* exportName, int value, bool outOfMemory, const std::string& sentence);

}  // namespace qxpy

namespace qxpy {

// Raises the Error for a failure value that exportName returned, told in
// words by the host layer.
[[noreturn]] void raiseExportFailure(const char* exportName, int value);

}  // namespace qxpy
