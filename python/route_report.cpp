// The any-size road's route, seen from Python: qxmatte.last_route holds the
// route and its reason after each matte() or cutout(), and a reduced working
// scale is said with warnings.warn.
#include "route_report.h"

namespace qxpy {

void reportRoute(const qxhost::RoadResult& solved) {
    py::module_ module = py::module_::import("qxmatte");
    module.attr("last_route") = std::string(qxhost::routeName(solved.plan.route)) + ": " + solved.plan.reason;
    if (!solved.notice.empty()) {
        const std::string text = "qxmatte: " + solved.notice;
        if (PyErr_WarnEx(PyExc_UserWarning, text.c_str(), 1) != 0) throw py::error_already_set();
    }
}

}  // namespace qxpy
