// The qxmatte Python module: numpy arrays in, new numpy arrays out, through
// the library's exports as any host calls them.
#include <pybind11/pybind11.h>

#include "errors.h"
#include "functions.h"
#include "grabcut.h"

namespace py = pybind11;
using namespace pybind11::literals;

PYBIND11_MODULE(qxmatte, m) {
    m.doc() =
        "Image cut-out with numpy arrays: soft alpha mattes, foreground colours, GrabCut\n"
        "selections and mask tools.\n\n"
        "Images are H x W x 3 uint8 RGB arrays, trimaps, marks and alphas H x W uint8\n"
        "arrays (any strides). Every function returns new arrays and never changes its\n"
        "inputs. Calls run one at a time in the process and release the GIL while the\n"
        "library works. Bad arguments raise ValueError; a failure inside the library\n"
        "raises qxmatte.Error (qxmatte.OutOfMemoryError, also a MemoryError, when\n"
        "memory ran out).";
    m.attr("__version__") = QXMATTE_VERSION;
    // Each docstring starts with its own signature, in Python's terms.
    py::options options;
    options.disable_function_signatures();
    qxpy::addErrors(m);

    m.def("matte", &qxpy::matte, "image"_a, "trimap"_a, py::kw_only(), "unknown"_a = py::none(),
          "progress"_a = py::none(),
          "matte(image, trimap, *, unknown=None, progress=None) -> alpha\n\n"
          "Soft alpha matte of an image from a trimap.\n\n"
          "image: H x W x 3 uint8 RGB. trimap: H x W uint8, 0 background, 255\n"
          "foreground, anything else unknown. unknown: the expected number of pixels to\n"
          "solve (default: the trimap's pixels other than 0 and 255); with the image\n"
          "size it decides the working scale. progress: None or a callable\n"
          "progress(value, total), called from any thread while the solve runs.\n\n"
          "Returns a new H x W uint8 alpha. Raises qxmatte.Error when the trimap allows\n"
          "no solve or the unknown region is too large for one solve (use cutout()).");

    m.def("foreground", &qxpy::foreground, "image"_a, "alpha"_a, py::kw_only(), "method"_a = "full",
          "progress"_a = py::none(),
          "foreground(image, alpha, *, method=\"full\", progress=None) -> rgb\n\n"
          "True colours of the foreground under an alpha: the background that shows\n"
          "through soft edges is taken out.\n\n"
          "image: H x W x 3 uint8 RGB. alpha: H x W uint8. method: \"full\" (a fast\n"
          "full-resolution estimate, the default and usually the closest), \"design\"\n"
          "(the library's reduced-scale recovery over the whole image) or \"cell\"\n"
          "(the library's cell recovery, faded into the image at the edges). progress:\n"
          "as for matte().\n\n"
          "Returns a new H x W x 3 uint8 RGB array.");

    m.def("grabcut", &qxpy::grabcut, "image"_a, "rect"_a = py::none(), "marks"_a = py::none(), py::kw_only(),
          "band"_a = py::none(), "iterations"_a = 1,
          "grabcut(image, rect=None, marks=None, *, band=None, iterations=1) -> trimap\n\n"
          "A trimap from a rectangle around the object, by GrabCut.\n\n"
          "image: H x W x 3 uint8 RGB. rect: (x, y, width, height) around the object,\n"
          "inside the image, larger side 101 to 3199 pixels (default: the whole image);\n"
          "outside it is background. marks: optional H x W uint8, 0 certain background,\n"
          "255 certain foreground, anything else no mark. band: width in pixels of the\n"
          "unknown band drawn along the selection's edge (default: 1% of the rectangle's\n"
          "larger side, at least 4). iterations: GrabCut passes, as after each stroke.\n\n"
          "Returns a new H x W uint8 trimap (0, 128, 255) for matte() and cutout().");

    py::class_<qxpy::GrabCut>(m, "GrabCut",
                              "GrabCut(image, rect=None, marks=None)\n\n"
                              "An interactive GrabCut session: add strokes, run a pass, look at the\n"
                              "selection, repeat; take a trimap at any point. Arguments as for\n"
                              "grabcut(). Close it with close() or a with block; methods of a closed\n"
                              "session raise ValueError.")
        .def(py::init<const py::object&, const py::object&, const py::object&>(), "image"_a,
             "rect"_a = py::none(), "marks"_a = py::none())
        .def("keep", [](qxpy::GrabCut& g, const py::object& start, const py::object& end,
                        int radius) { g.stroke(start, end, radius, 1); },
             "start"_a, "end"_a = py::none(), py::kw_only(), "radius"_a = 3,
             "keep(start, end=None, *, radius=3)\n\n"
             "Mark a stroke from start (x, y) to end (default: a dot at start),\n"
             "2 * radius + 1 wide, as certain foreground.")
        .def("cut", [](qxpy::GrabCut& g, const py::object& start, const py::object& end,
                       int radius) { g.stroke(start, end, radius, 0); },
             "start"_a, "end"_a = py::none(), py::kw_only(), "radius"_a = 3,
             "cut(start, end=None, *, radius=3)\n\nMark a stroke as certain background.")
        .def("erase", [](qxpy::GrabCut& g, const py::object& start, const py::object& end,
                         int radius) { g.stroke(start, end, radius, 2); },
             "start"_a, "end"_a = py::none(), py::kw_only(), "radius"_a = 3,
             "erase(start, end=None, *, radius=3)\n\nRemove the marks under a stroke.")
        .def("run", &qxpy::GrabCut::run, "iterations"_a = 1,
             "run(iterations=1) -> selection\n\n"
             "GrabCut passes over the rectangle with the current marks; returns the\n"
             "selection as a new H x W uint8 array (0 outside, 255 inside, soft between).")
        .def_property_readonly("selection", &qxpy::GrabCut::selection,
                               "The selection of the last pass, as run() returns it.")
        .def("trimap", &qxpy::GrabCut::trimap, "band"_a = py::none(),
             "trimap(band=None) -> trimap\n\n"
             "The current selection as a trimap (0, 128, 255) with an unknown band along\n"
             "its edge, as grabcut() returns it; runs a first pass if none ran yet. The\n"
             "session stays open.")
        .def("close", &qxpy::GrabCut::close, "close()\n\nEnd the session and free it. Closing twice is harmless.")
        .def_property_readonly("closed", [](const qxpy::GrabCut& g) { return g.closed; })
        .def_property_readonly("rect", &qxpy::GrabCut::rect, "(x, y, width, height) of the session.")
        .def("__enter__", [](py::object self) { return self; })
        .def("__exit__", [](qxpy::GrabCut& g, const py::args&) {
            g.close();
            return false;
        });
}
