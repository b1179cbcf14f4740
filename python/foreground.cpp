// qxmatte.foreground: the true colours of the foreground under an alpha, by
// the host layer's full-resolution estimate or the library's two recoveries,
// exactly as the command-line tool gets them.
#include "errors.h"
#include "export_call.h"
#include "functions.h"
#include "mat_bridge.h"
#include "qxhost.h"

namespace qxpy {

py::array_t<unsigned char> foreground(const py::object& image, const py::object& alpha, const std::string& method,
                                      const py::object& progress) {
    if (method != "full" && method != "design" && method != "cell")
        throw py::value_error("method must be \"full\", \"design\" or \"cell\", got \"" + method + "\"");
    PixelView img = imageArg(image, "image");
    PixelView a = maskArg(alpha, "alpha");
    checkSameSize(img, "image", a, "alpha");
    cv::Mat bgr = bgrMat(img), alphaMat = maskMat(a), colours;
    const qxhost::ColourMethod how = qxhost::parseColourMethod(method);
    callExport(method == "design" ? "qxRecoverForeground" : "qxRecoverForegroundCell", progress, [&] {
        colours = qxhost::recoverColours(bgr, alphaMat, how, {progressTrampoline, &progressSink});
        return 1;
    });
    return rgbArray(colours);
}

}  // namespace qxpy
