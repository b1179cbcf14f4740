// The any-size road's route reported to Python (route_report.cpp).
#pragma once

#include <pybind11/pybind11.h>

#include "qxhost.h"

namespace qxpy {

namespace py = pybind11;

// Sets qxmatte.last_route to "ROUTE: reason" and warns (UserWarning) when the
// result was solved at a reduced scale. Call with the GIL held.
void reportRoute(const qxhost::RoadResult& solved);

}  // namespace qxpy
