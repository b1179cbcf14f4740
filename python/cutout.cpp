// qxmatte.cutout: an RGBA cut-out at any size from an image and its marks
// (qxKeepCutToAlpha), coloured as the command-line tool colours it, and the
// re-solve of one rectangle of an earlier cut-out.
#include "export_call.h"
#include "functions.h"
#include "grabcut.h"
#include "mat_bridge.h"
#include "qxhost.h"
#include "route_report.h"

namespace qxpy {

namespace {

enum class Colours { Image, Full, Design };

Colours coloursArg(const py::object& colours) {
    if (py::isinstance<py::bool_>(colours)) return colours.cast<bool>() ? Colours::Full : Colours::Image;
    if (py::isinstance<py::str>(colours)) {
        const std::string name = colours.cast<std::string>();
        if (name == "full") return Colours::Full;
        if (name == "design") return Colours::Design;
    }
    throw py::value_error("colours must be True, False, \"full\" or \"design\", got " +
                          std::string(py::repr(colours)));
}

// The merge of an edit: 0 only removes, 1 only adds, 2 as solved.
int onlyArg(const py::object& only) {
    if (only.is_none()) return 2;
    if (py::isinstance<py::str>(only)) {
        const std::string name = only.cast<std::string>();
        if (name == "remove") return 0;
        if (name == "add") return 1;
    }
    throw py::value_error("only must be None, \"add\" or \"remove\", got " + std::string(py::repr(only)));
}

}  // namespace

py::array_t<unsigned char> cutout(const py::object& image, const py::object& marks, const py::object& colours,
                                  bool half, const std::string& method, const py::object& progress,
                                  const py::object& edit, const py::object& previous, int border,
                                  const py::object& only) {
    const qxhost::MatteMethod roadMethod = methodArg(method);
    PixelView img = imageArg(image, "image");
    PixelView mk = maskArg(marks, "marks");
    checkSameSize(img, "image", mk, "marks");
    const Colours how = coloursArg(colours);
    const bool editing = !edit.is_none();
    if (!editing && (!previous.is_none() || !only.is_none()))
        throw py::value_error("previous and only belong to an edit: give edit=(x, y, width, height) as well");
    if (editing && previous.is_none())
        throw py::value_error("edit re-solves part of an earlier cut-out: give that cut-out as previous");

    qxhost::CutoutSettings settings;
    settings.fullSize = !half;
    settings.designColours = how == Colours::Design;
    cv::Mat bgr = bgrMat(img), earlier;
    cv::Mat marksMat = qxhost::marksFromTrimap(maskMat(mk));
    if (editing) {
        PixelView prev = rgbaArg(previous, "previous");
        checkSameSize(img, "image", prev, "previous");
        settings.edit = rectArg(edit, img.width, img.height, "edit");
        if (border < 1 || border > 1000)
            throw py::value_error("border must be 1 to 1000 pixels, got " + std::to_string(border));
        settings.border = border;
        settings.mode = onlyArg(only);
        earlier = bgraMat(prev);
        marksMat = qxhost::prepareEdit(marksMat, earlier, settings);
    }

    cv::Mat alpha, rgb;
    const qxhost::Progress sink{progressTrampoline, &progressSink};
    qxhost::RoadResult solved;
    callExport("qxKeepCutToAlpha", progress, [&] {
        if (editing) {
            alpha = qxhost::keepCutToAlpha(bgr, marksMat, settings, sink, &rgb);
        } else {
            // The whole image by the road: the route that fits, at full size unless half.
            qxhost::RoadSettings road;
            road.halfTiles = half;
            road.method = roadMethod;
            road.colours = settings.designColours;
            road.colourMethod = qxhost::ColourMethod::Cell;  // the library's own recovery
            cv::Mat trimap = maskMat(mk);
            trimap.setTo(0, trimap == 1);  // the brushes' cut
            solved = qxhost::solveAnySize(bgr, trimap, road, sink);
            alpha = solved.alpha;
            rgb = solved.colours;
        }
        if (how == Colours::Full) {
            if (editing)
                qxhost::estimateForegroundInside(bgr, alpha, settings.edit, rgb, sink);
            else
                rgb = qxhost::estimateForeground(bgr, alpha, {}, sink);
        }
        return 1;
    });
    // Without recovery: the image's own colours (inside an edit only).
    if (how == Colours::Image) {
        if (editing)
            bgr(settings.edit).copyTo(rgb(settings.edit));
        else
            rgb = bgr;
    }
    if (!editing) reportRoute(solved);
    cv::Mat cut = qxhost::makeCutout(rgb, alpha);
    if (editing) qxhost::finishEdit(earlier, marksMat, settings, cut);
    return rgbArray(cut, true);
}

}  // namespace qxpy
