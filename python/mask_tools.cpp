// qxmatte.show, fill, stretch, smooth and level: the display and the mask
// tools of the host layer, each on a copy of its input.
#include "export_call.h"
#include "functions.h"
#include "grabcut.h"
#include "mat_bridge.h"
#include "qxhost.h"

namespace qxpy {

namespace {

// "RRGGBB" (or "#RRGGBB") or (red, green, blue) with each 0 to 255.
std::array<unsigned char, 3> colourArg(const py::object& colour) {
    if (py::isinstance<py::str>(colour)) return qxhost::parseHexColour(colour.cast<std::string>());
    const std::string bad = "colour must be \"RRGGBB\" or (red, green, blue) with each 0 to 255, got " +
                            std::string(py::repr(colour));
    if (!py::isinstance<py::sequence>(colour) || py::len(colour) != 3) throw py::value_error(bad);
    std::array<unsigned char, 3> rgb{};
    py::sequence s = colour;
    for (std::size_t i = 0; i < 3; ++i) {
        int v = -1;
        try {
            v = py::cast<int>(s[i]);
        } catch (const py::cast_error&) {
        }
        if (v < 0 || v > 255) throw py::value_error(bad);
        rgb[i] = static_cast<unsigned char>(v);
    }
    return rgb;
}

// Runs work under the module's lock without the GIL (no progress to report).
template <class Work>
void quietly(const char* exportName, Work&& work) {
    callExport(exportName, py::none(), [&] {
        work();
        return 1;
    });
}

}  // namespace

py::array_t<unsigned char> show(const py::object& image, const py::object& mask, const std::string& mode,
                                 const py::object& colour, int low, int high) {
    PixelView img = imageArg(image, "image");
    PixelView m = maskArg(mask, "mask");
    checkSameSize(img, "image", m, "mask");
    const qxhost::ShowMode how = qxhost::parseShowMode(mode);
    const auto rgb = colourArg(colour);
    cv::Mat bgr = bgrMat(img), maskMatrix = maskMat(m), out;
    quietly("qxShowImageAlpha", [&] { out = qxhost::showMask(bgr, maskMatrix, how, rgb, low, high); });
    return rgbArray(out);
}

py::tuple fill(const py::object& marks, const py::object& seed, const std::string& as) {
    PixelView m = maskArg(marks, "marks");
    const cv::Point at = pointArg(seed, "seed");
    const qxhost::FillClass cls = qxhost::parseFillClass(as);
    cv::Mat filled = maskMat(m);
    cv::Rect changed;
    quietly("qxFloodFillAlpha", [&] { changed = qxhost::floodFillMarks(filled, at, cls); });
    return py::make_tuple(maskArray(filled),
                          py::make_tuple(changed.x, changed.y, changed.width, changed.height));
}

py::array_t<unsigned char> stretch(const py::object& alpha, int low, int high, bool protect) {
    PixelView a = maskArg(alpha, "alpha");
    cv::Mat out = maskMat(a);
    quietly("qxScaleAlpha", [&] { qxhost::stretchAlpha(out, low, high, protect); });
    return maskArray(out);
}

py::array_t<unsigned char> smooth(const py::object& mask, int strength) {
    PixelView m = maskArg(mask, "mask");
    cv::Mat out = maskMat(m);
    quietly("qxfilterIm8u", [&] { qxhost::smoothMask(out, strength); });
    return maskArray(out);
}

py::array_t<unsigned char> level(const py::object& image, int target, const std::string& show) {
    PixelView img = imageArg(image, "image");
    const qxhost::LevelShow what = qxhost::parseLevelShow(show);
    cv::Mat bgr = bgrMat(img), out;
    quietly("qxRGB2YCbCrAutoLevel", [&] { out = qxhost::levelPreview(bgr, target, what); });
    return rgbArray(out);
}

}  // namespace qxpy
