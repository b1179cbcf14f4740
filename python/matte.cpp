// qxmatte.matte: the soft alpha of an image from its trimap (qxMaskAlpha).
#include <cmath>
#include <vector>

#include "arrays.h"
#include "errors.h"
#include "export_call.h"
#include "functions.h"
#include "mat_bridge.h"
#include "qxhost.h"

namespace qxpy {

py::array_t<unsigned char> matte(const py::object& image, const py::object& trimap, const py::object& unknown,
                                 const py::object& progress) {
    PixelView img = imageArg(image, "image");
    PixelView tri = maskArg(trimap, "trimap");
    checkSameSize(img, "image", tri, "trimap");
    // The tool's refusals, in its words: a trimap with no background, no
    // foreground or nothing unknown gives no matte worth having.
    qxhost::checkTrimap(maskMat(tri), "trimap");

    double estimate = 0;
    if (unknown.is_none()) {
        for (int y = 0; y < tri.height; ++y)
            for (int x = 0; x < tri.width; ++x) {
                unsigned char v = tri.at(y, x, 0);
                estimate += v != 0 && v != 255;
            }
    } else {
        estimate = py::cast<double>(unknown);
        if (!std::isfinite(estimate) || estimate < 0)
            throw py::value_error("unknown must be a finite number of pixels, 0 or more, got " +
                                  std::string(py::str(unknown)));
    }

    // Three planes with one row distance, in the order the command-line tool
    // hands them over (blue, green, red), so that both give the same bytes.
    const py::ssize_t planeSize = static_cast<py::ssize_t>(img.width) * img.height;
    std::vector<unsigned char> planes(static_cast<std::size_t>(3 * planeSize));
    unsigned char* planePointers[3] = {planes.data(), planes.data() + planeSize, planes.data() + 2 * planeSize};
    for (int p = 0; p < 3; ++p) copyChannel(img, 2 - p, planePointers[p], img.width);
    py::array_t<unsigned char> alpha = maskCopy(tri);

    QxMaskJob job{};
    job.planes = planePointers;
    job.planeStep = img.width;
    job.marksPixels = alpha.mutable_data();
    job.marksStep = img.width;
    job.width = img.width;
    job.height = img.height;
    job.progressCallback = progressTrampoline;
    job.progressCookie = &progressSink;
    int rc = callExport("qxMaskAlpha", progress,
                        [&] { return qxMaskAlpha(&job, 0, static_cast<float>(estimate), 255, 0, 255, 0); });
    if (rc != 1) raiseExportFailure("qxMaskAlpha", rc);
    return alpha;
}

}  // namespace qxpy
