// qxmatte.foreground: the true colours of the foreground under an alpha.
#include <vector>

#include "arrays.h"
#include "errors.h"
#include "export_call.h"
#include "functions.h"

namespace qxpy {

namespace {

// The library's own recoveries, set up as the command-line tool sets them up:
// the result starts as the image, so pixels left alone keep their colour.
py::array_t<unsigned char> recoverInLibrary(const PixelView& img, const PixelView& alphaView, bool cell) {
    const py::ssize_t step = 4 * static_cast<py::ssize_t>(img.width);
    const std::size_t bytes = static_cast<std::size_t>(step) * img.height;
    std::vector<unsigned char> pixels(bytes), out(bytes);
    std::vector<unsigned char> alpha(static_cast<std::size_t>(img.width) * img.height);
    std::vector<unsigned char> aux(alpha.size(), 0);
    copyToPixels4(img, pixels.data(), step);
    out = pixels;
    copyChannel(alphaView, 0, alpha.data(), img.width);

    QxJob job{};
    job.imagePixels = pixels.data();
    job.imageStep = static_cast<int>(step);
    job.maskPixels = alpha.data();
    job.maskStep = img.width;
    job.outPixels = out.data();
    job.outStep = static_cast<int>(step);
    job.auxPixels = aux.data();
    job.auxStep = img.width;
    job.width = img.width;
    job.height = img.height;
    job.roiWidth = img.width;
    job.roiHeight = img.height;
    job.progressCallback = progressTrampoline;
    job.progressCookie = &progressSink;
    if (cell) {
        job.roiBorder = 1;  // scale by image area
        int rc = callExport("qxRecoverForegroundCell", py::none(), [&] { return qxRecoverForegroundCell(&job, 1); });
        if (rc != 1) raiseExportFailure("qxRecoverForegroundCell", rc);
    } else {
        int rc = callExport("qxRecoverForeground", py::none(), [&] { return qxRecoverForeground(&job, 0); });
        if (rc != 0) raiseExportFailure("qxRecoverForeground", rc);
    }
    return imageFromPixels4(out.data(), step, img.height, img.width, 3);
}

}  // namespace

py::array_t<unsigned char> foreground(const py::object& image, const py::object& alpha, const std::string& method) {
    if (method != "design" && method != "cell")
        throw py::value_error("method must be \"full\", \"design\" or \"cell\", got \"" + method + "\"");
    PixelView img = imageArg(image, "image");
    PixelView a = maskArg(alpha, "alpha");
    checkSameSize(img, "image", a, "alpha");
    return recoverInLibrary(img, a, method == "cell");
}

}  // namespace qxpy
