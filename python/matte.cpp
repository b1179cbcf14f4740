// qxmatte.matte: the soft alpha of an image from its trimap, by the any-size
// road (qxMaskAlpha at full size when it fits).
#include <cmath>
#include <vector>

#include "arrays.h"
#include "errors.h"
#include "export_call.h"
#include "functions.h"
#include "mat_bridge.h"
#include "qxhost.h"
#include "route_report.h"

namespace qxpy {

qxhost::MatteMethod methodArg(const std::string& method) {
    if (method != "accurate" && method != "design")
        throw py::value_error("method must be \"accurate\" or \"design\", got \"" + method + "\"");
    return qxhost::parseMatteMethod(method);
}

py::array_t<unsigned char> matte(const py::object& image, const py::object& trimap, const py::object& unknown,
                                 const std::string& method, const py::object& progress) {
    const qxhost::MatteMethod how = methodArg(method);
    PixelView img = imageArg(image, "image");
    PixelView tri = maskArg(trimap, "trimap");
    checkSameSize(img, "image", tri, "trimap");
    // The tool's refusals, in its words: a trimap with no background, no
    // foreground or nothing unknown gives no matte worth having.
    qxhost::checkTrimap(maskMat(tri), "trimap");

    double estimate = -1;
    if (!unknown.is_none()) {
        estimate = py::cast<double>(unknown);
        if (!std::isfinite(estimate) || estimate < 0)
            throw py::value_error("unknown must be a finite number of pixels, 0 or more, got " +
                                  std::string(py::str(unknown)));
    }

    // The road chooses the route unless the caller gave an estimate: then the
    // library's matte takes it as it is.
    qxhost::RoadSettings road;
    road.method = how;
    if (!unknown.is_none()) road.choice = qxhost::RouteChoice::LibraryMatte, road.unknownEstimate = estimate;
    const cv::Mat bgr = bgrMat(img), marks = maskMat(tri);
    qxhost::RoadResult solved;
    callExport("qxMaskAlpha", progress, [&] {
        solved = qxhost::solveAnySize(bgr, marks, road, {progressTrampoline, &progressSink});
        return 1;
    });
    reportRoute(solved);
    return maskArray(solved.alpha);
}

}  // namespace qxpy
