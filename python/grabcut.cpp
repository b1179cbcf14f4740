// qxmatte.GrabCut and qxmatte.grabcut: the host's GrabCut road over a copy of the
// image (qxGrabCut, qxGrabCutEdgeGen, qxGrabCutDeleteBuf), strokes in,
// selection and trimap out.
#include "grabcut.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "errors.h"
#include "export_call.h"
#include "mat_bridge.h"
#include "qxhost.h"

namespace qxpy {

namespace {

constexpr int kClosed = -20000;  // what an export call reports on a closed session

[[noreturn]] void closedError() { throw py::value_error("the GrabCut session is closed"); }

int intItem(const py::sequence& s, std::size_t i, const char* name) {
    try {
        return py::cast<int>(s[i]);
    } catch (const py::cast_error&) {
        throw py::value_error(std::string(name) + " must hold integers, got " + std::string(py::repr(s)));
    }
}

}  // namespace

cv::Rect rectArg(const py::object& rect, int width, int height, const char* name) {
    if (rect.is_none()) return cv::Rect(0, 0, width, height);
    if (!py::isinstance<py::sequence>(rect) || py::len(rect) != 4)
        throw py::value_error(std::string(name) + " must be (x, y, width, height), got " + std::string(py::repr(rect)));
    py::sequence r = rect;
    const int x = intItem(r, 0, name), y = intItem(r, 1, name), w = intItem(r, 2, name), h = intItem(r, 3, name);
    if (w < 1 || h < 1 || x < 0 || y < 0 || x > width - w || y > height - h) {
        const std::string image = std::to_string(width) + "x" + std::to_string(height) + " image";
        // The sentences of the tool's --edit and --rect.
        if (std::string(name) == "edit")
            throw py::value_error("the edited rectangle " + std::to_string(w) + "x" + std::to_string(h) + " at " +
                                  std::to_string(x) + "," + std::to_string(y) + " does not lie inside the " + image);
        throw py::value_error("the rectangle " + std::to_string(x) + "," + std::to_string(y) + "," +
                              std::to_string(w) + "," + std::to_string(h) + " is empty or leaves the " + image);
    }
    return cv::Rect(x, y, w, h);
}

cv::Point pointArg(const py::object& point, const char* name) {
    if (!py::isinstance<py::sequence>(point) || py::isinstance<py::str>(point) || py::len(point) != 2)
        throw py::value_error(std::string(name) + " must be a point (x, y), got " + std::string(py::repr(point)));
    py::sequence s = point;
    return cv::Point(intItem(s, 0, name), intItem(s, 1, name));
}

GrabCut::GrabCut(const py::object& image, const py::object& rect, const py::object& marks) {
    PixelView img = imageArg(image, "image");
    width = img.width;
    height = img.height;
    const cv::Rect r = rectArg(rect, width, height);
    const int x = r.x, y = r.y, w = r.width, h = r.height;
    if (!qxhost::grabCutAccepts(w, h))
        throw py::value_error("rect " + std::to_string(w) + " x " + std::to_string(h) +
                              " is too small or too large for a GrabCut session: its longer side must be 101 to " +
                              std::to_string(qxhost::kGrabCutMaxSide) +
                              " pixels and its shorter side more than a tenth of that after halving (grabcut() "
                              "takes longer rectangles on a reduced copy)");

    const py::ssize_t step = 4 * static_cast<py::ssize_t>(width);
    pixels.resize(static_cast<std::size_t>(step) * height);
    copyToPixels4(img, pixels.data(), step);
    // Outside the rectangle: fixed cut. Inside: the grey marks read as the
    // tool reads them, or no mark.
    mask.assign(static_cast<std::size_t>(width) * height, qxhost::kMarkCut);
    cv::Mat maskPlane(height, width, CV_8UC1, mask.data());
    if (marks.is_none()) {
        maskPlane(r).setTo(qxhost::kMarkUnknown);
    } else {
        PixelView m = maskArg(marks, "marks");
        checkSameSize(img, "image", m, "marks");
        qxhost::marksFromTrimap(maskMat(m)(r)).copyTo(maskPlane(r));
    }
    aux = mask;

    job.imagePixels = pixels.data();
    job.imageStep = static_cast<int>(step);
    job.maskPixels = mask.data();
    job.maskStep = width;
    job.auxPixels = aux.data();
    job.auxStep = width;
    job.width = width;
    job.height = height;
    job.grabX = x;
    job.grabY = y;
    job.grabWidth = w;
    job.grabHeight = h;
    userRect = {x, y, w, h};
    job.progressCallback = progressTrampoline;
    job.progressCookie = &progressSink;
}

GrabCut::~GrabCut() {
    if (closed) return;
    // Never wait for the lock while holding the GIL: a running call's
    // progress callback may be waiting for the GIL.
    if (!exportLock.try_lock()) {
        py::gil_scoped_release nogil;
        exportLock.lock();
    }
    try {
        if (!closed) qxGrabCutDeleteBuf(&job);
    } catch (...) {
        // Nothing can be reported from a destructor; the planes die with it.
    }
    closed = true;
    exportLock.unlock();
}

py::tuple GrabCut::rect() const { return py::make_tuple(userRect[0], userRect[1], userRect[2], userRect[3]); }

void GrabCut::stroke(const py::object& start, const py::object& end, int radius, int mode) {
    if (radius < 0) throw py::value_error("radius must be 0 or more, got " + std::to_string(radius));
    const cv::Point a = pointArg(start, "start");
    const cv::Point b = end.is_none() ? a : pointArg(end, "end");
    // The library clips a stroke at the image's edge, so a point outside it
    // is a mistake (swapped coordinates, another image's size) that would
    // otherwise mark nothing or the wrong pixels.
    for (const auto& [point, what] : {std::pair<cv::Point, const char*>{a, "start"}, {b, "end"}})
        if (!cv::Rect(0, 0, width, height).contains(point))
            throw py::value_error("the stroke's " + std::string(what) + " " + std::to_string(point.x) + "," +
                                  std::to_string(point.y) + " lies outside the " + std::to_string(width) + "x" +
                                  std::to_string(height) + " image");
    int rc = callExport("qxDrawLine8u", py::none(), [&] {
        if (closed) return kClosed;
        return qxDrawLine8u(mask.data(), width, width, height, a.x, a.y, b.x, b.y, radius, mode, 0);
    });
    if (rc == kClosed) closedError();
}

namespace {

// The strokes as marks of the host's road: fixed cut 0, fixed keep 255,
// anything else no mark.
cv::Mat strokeMarks(std::vector<unsigned char>& mask, int width, int height) {
    return qxhost::trimapFromMarks(cv::Mat(height, width, CV_8UC1, mask.data()));
}

}  // namespace

// Each run is the host's GrabCut road from the rectangle and the strokes so
// far, so a session and grabcut() with the same marks agree.
py::array_t<unsigned char> GrabCut::run(int iterations) {
    if (iterations < 1) throw py::value_error("iterations must be 1 or more, got " + std::to_string(iterations));
    cv::Mat result;
    int rc = callExport("qxGrabCut", py::none(), [&] {
        if (closed) return kClosed;
        const cv::Mat image(height, width, CV_8UC4, pixels.data());
        const cv::Rect r(userRect[0], userRect[1], userRect[2], userRect[3]);
        result = qxhost::grabCutSelection(image, strokeMarks(mask, width, height), r, iterations,
                                          {progressTrampoline, &progressSink});
        return 1;
    });
    if (rc == kClosed) closedError();
    selected.assign(result.datastart, result.dataend);
    lastIterations = iterations;
    passes += iterations;
    return selection();
}

py::array_t<unsigned char> GrabCut::selection() const {
    py::array_t<unsigned char> out = newMask(height, width);
    unsigned char* o = out.mutable_data();
    for (std::size_t i = 0; i < mask.size(); ++i) o[i] = selected.empty() ? 0 : selected[i];
    return out;
}

py::array_t<unsigned char> GrabCut::trimap(const py::object& band) {
    qxhost::GrabCutSettings settings;
    if (band.is_none()) {
        settings.bandWidth = qxhost::defaultGrabCutBand(cv::Size(width, height));
    } else {
        settings.bandWidth = py::cast<int>(band);
        if (settings.bandWidth < 0)
            throw py::value_error("band must be 0 or more pixels, got " + std::to_string(settings.bandWidth));
    }
    if (passes == 0) run(1);
    settings.iterations = lastIterations;
    cv::Mat trimap;
    int rc = callExport("qxGrabCutEdgeGen", py::none(), [&] {
        if (closed) return kClosed;
        const cv::Mat image(height, width, CV_8UC4, pixels.data());
        const cv::Rect r(userRect[0], userRect[1], userRect[2], userRect[3]);
        trimap = qxhost::grabCutTrimap(image, strokeMarks(mask, width, height), r, settings);
        return 1;
    });
    if (rc == kClosed) closedError();
    return maskArray(trimap);
}

void GrabCut::close() {
    callExport("qxGrabCutDeleteBuf", py::none(), [&] {
        if (!closed) qxGrabCutDeleteBuf(&job);
        job.grabCutSession = nullptr;
        closed = true;
        return 1;
    });
}

py::array_t<unsigned char> grabcut(const py::object& image, const py::object& rect, const py::object& marks,
                                   const py::object& band, int iterations) {
    PixelView img = imageArg(image, "image");
    cv::Rect r = rectArg(rect, img.width, img.height);
    cv::Mat bgr = bgrMat(img), marksMat;
    if (!marks.is_none()) {
        PixelView m = maskArg(marks, "marks");
        checkSameSize(img, "image", m, "marks");
        marksMat = maskMat(m);
    }
    qxhost::GrabCutSettings settings;
    settings.iterations = iterations;
    settings.bandWidth = band.is_none() ? qxhost::defaultGrabCutBand(bgr.size()) : py::cast<int>(band);
    // The host layer refuses a rectangle too small, a negative band and no
    // pass in the tool's words, before any work.
    cv::Mat trimap;
    callExport("qxGrabCut", py::none(), [&] {
        trimap = qxhost::grabCutTrimap(bgr, marksMat, r, settings, {progressTrampoline, &progressSink});
        return 1;
    });
    return maskArray(trimap);
}

}  // namespace qxpy
