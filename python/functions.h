// The module's functions, one file each; module.cpp binds them with their
// docstrings.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <string>

#include "qxhost.h"

namespace qxpy {

namespace py = pybind11;

py::array_t<unsigned char> matte(const py::object& image, const py::object& trimap, const py::object& unknown,
                                 const std::string& method, const py::object& progress);
// "accurate" or "design" as the road's method (py::value_error otherwise).
qxhost::MatteMethod methodArg(const std::string& method);
py::array_t<unsigned char> foreground(const py::object& image, const py::object& alpha, const std::string& method,
                                      const py::object& progress);
py::array_t<unsigned char> cutout(const py::object& image, const py::object& marks, const py::object& colours,
                                  bool half, const std::string& method, const py::object& progress,
                                  const py::object& edit, const py::object& previous, int border,
                                  const py::object& only);

// The display and the mask tools (mask_tools.cpp).
py::array_t<unsigned char> show(const py::object& image, const py::object& mask, const std::string& mode,
                                 const py::object& colour, int low, int high);
py::tuple fill(const py::object& marks, const py::object& seed, const std::string& as);
py::array_t<unsigned char> stretch(const py::object& alpha, int low, int high, bool protect);
py::array_t<unsigned char> smooth(const py::object& mask, int strength);
py::array_t<unsigned char> level(const py::object& image, int target, const std::string& show);

}  // namespace qxpy
