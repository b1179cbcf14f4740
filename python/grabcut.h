// The GrabCut session of the module: it owns copies of the image and the two
// mark planes, and the library's session record through its job.
#pragma once

#include <opencv2/core.hpp>

#include <array>
#include <vector>

#include "arrays.h"
#include "qxmatte.h"

namespace qxpy {

struct GrabCut {
    int width = 0, height = 0;
    int passes = 0;
    int lastIterations = 1;              // of the last run(): trimap() takes the same road
    std::vector<unsigned char> selected;  // the last run's selection, 255 or 0
    bool closed = false;  // changed only under exportLock
    std::vector<unsigned char> pixels, mask, aux;
    std::array<int, 4> userRect{};  // the rectangle around the object
    QxJob job{};

    GrabCut(const py::object& image, const py::object& rect, const py::object& marks);
    ~GrabCut();
    GrabCut(const GrabCut&) = delete;
    GrabCut& operator=(const GrabCut&) = delete;

    py::tuple rect() const;
    // A fixed stroke (qxDrawLine8u mode: 0 cut, 1 keep, 2 no mark).
    void stroke(const py::object& start, const py::object& end, int radius, int mode);
    py::array_t<unsigned char> run(int iterations);
    py::array_t<unsigned char> selection() const;
    py::array_t<unsigned char> trimap(const py::object& band);
    void close();
};

// (x, y, width, height) inside the image, or the whole image for None;
// ValueError (naming the argument `name`) otherwise.
cv::Rect rectArg(const py::object& rect, int width, int height, const char* name = "rect");
// (x, y) with integers, anywhere; ValueError naming `name` otherwise.
cv::Point pointArg(const py::object& point, const char* name);

py::array_t<unsigned char> grabcut(const py::object& image, const py::object& rect, const py::object& marks,
                                   const py::object& band, int iterations);

}  // namespace qxpy
