// The module's functions, one file each; module.cpp binds them with their
// docstrings.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <string>

namespace qxpy {

namespace py = pybind11;

py::array_t<unsigned char> matte(const py::object& image, const py::object& trimap, const py::object& unknown,
                                 const py::object& progress);
py::array_t<unsigned char> foreground(const py::object& image, const py::object& alpha, const std::string& method,
                                      const py::object& progress);

}  // namespace qxpy
