// qxmatte._native, the extension under the qxmatte package (qxmatte/__init__.py
// gives its functions their Python signatures): numpy arrays in, new numpy
// arrays out, through the library's exports as any host calls them.
#include <pybind11/pybind11.h>

#include "errors.h"
#include "functions.h"
#include "grabcut.h"

namespace py = pybind11;
using namespace pybind11::literals;

PYBIND11_MODULE(_native, m) {
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
          "method"_a = "accurate", "progress"_a = py::none(),
          "matte(image, trimap, *, unknown=None, method=\"accurate\", progress=None) -> alpha\n\n"
          "Soft alpha matte of an image from a trimap.\n\n"
          "image: H x W x 3 uint8 RGB. trimap: H x W uint8, 0 background, 255\n"
          "foreground, anything else unknown. unknown: the expected number of pixels to\n"
          "solve, handed to the library's matte as it is (default: None, the module\n"
          "chooses the route that fits: one solve, tiles, full-size pieces or a reduced\n"
          "scale, said with a warning). qxmatte.last_route names the route taken.\n"
          "method: \"accurate\" (colour sampling fixes the pixels it is sure of before\n"
          "the solve, and takes over where the solve fades long faint strands) or\n"
          "\"design\" (the library's solve alone).\n"
          "progress: None or a callable progress(value, total), called from any thread\n"
          "while the solve runs.\n\n"
          "Returns a new H x W uint8 alpha. Raises qxmatte.Error when the trimap allows\n"
          "no solve, or when memory allows no route at all.");

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

    m.def("cutout", &qxpy::cutout, "image"_a, "marks"_a, py::kw_only(), "colours"_a = true, "half"_a = false,
          "method"_a = "accurate", "progress"_a = py::none(), "edit"_a = py::none(), "previous"_a = py::none(), "border"_a = 8,
          "only"_a = py::none(),
          "cutout(image, marks, *, colours=True, half=False, method=\"accurate\", progress=None,\n"
          "       edit=None, previous=None, border=8, only=None) -> rgba\n\n"
          "A cut-out at any image size: the unknown pixels of the marks solved by the\n"
          "route that fits (as matte() chooses it; qxmatte.last_route names it), so\n"
          "there is no size limit.\n\n"
          "image: H x W x 3 uint8 RGB. marks: H x W uint8 trimap, 0 background, 255\n"
          "foreground, anything else unknown (as grabcut() returns it). colours: True or\n"
          "\"full\" recovers the true colours at the soft edges by the full-resolution\n"
          "estimate, \"design\" by the library's own recovery, False keeps the image's\n"
          "colours. half: solve a half-size copy and bring it up guided by the image\n"
          "(about twice as fast). method: as for matte() (an edit always takes\n"
          "\"design\"). progress: as for matte(), through the solve and then\n"
          "the colours, each counting to its own total.\n\n"
          "edit=(x, y, width, height) with previous (an earlier H x W x 4 cut-out) solves\n"
          "only that rectangle again, inside a frame of border pixels (1 to 1000) of its\n"
          "old alpha; only=\"remove\" keeps the lower alpha of old and new, \"add\" the\n"
          "higher, None the new.\n\n"
          "Returns a new H x W x 4 uint8 RGBA array, the alpha in the fourth channel.");

    m.def("show", &qxpy::show, "image"_a, "mask"_a, "mode"_a, py::kw_only(), "colour"_a = "FFFFFF",
          "low"_a = 0, "high"_a = 255,
          "show(image, mask, mode, *, colour=\"FFFFFF\", low=0, high=255) -> rgb\n\n"
          "A picture of marks, a trimap or an alpha over the image, to check them\n"
          "before a long solve.\n\n"
          "image: H x W x 3 uint8 RGB. mask: H x W uint8. mode: \"tint\" (image darkened,\n"
          "soft values blue, fixed cut (1) red, fixed keep (255) green, other fixed odd\n"
          "values yellow), \"classes\" (0 red, 255 green, anything else blue), \"over\"\n"
          "(the image over colour by the mask), \"overlay\" (colour over the image by\n"
          "the mask) or \"grey\" (the mask itself). colour: \"RRGGBB\" or (r, g, b) for\n"
          "over and overlay. low, high: for over, overlay and grey the mask is first\n"
          "stretched so that low counts as 0 and high as 255 (0 <= low < high <= 255).\n\n"
          "Returns a new H x W x 3 uint8 RGB array.");

    m.def("fill", &qxpy::fill, "marks"_a, "seed"_a, "as_"_a,
          "fill(marks, seed, as_) -> (marks, (x, y, width, height))\n\n"
          "Flood fill: the 8-connected region of the seed's class (fixed cut 1, fixed\n"
          "keep 255, or anything else) takes the class as_: \"cut\" (1), \"keep\" (255)\n"
          "or \"unknown\" (126).\n\n"
          "marks: H x W uint8 marks. seed: (x, y) inside them.\n\n"
          "Returns a new marks array and the rectangle the fill changed: all zero when\n"
          "the seed already had the class, the whole image for \"unknown\".");

    m.def("stretch", &qxpy::stretch, "alpha"_a, "low"_a, "high"_a, py::kw_only(), "protect"_a = false,
          "stretch(alpha, low, high, *, protect=False) -> alpha\n\n"
          "Stretch an alpha from [low, high] to [0, 255]: low and below become 0,\n"
          "high and above about 255 (0 <= low < high <= 255).\n\n"
          "alpha: H x W uint8. protect: keep odd (fixed) values as they are and the\n"
          "stretched values even (soft).\n\n"
          "Returns a new H x W uint8 array.");

    m.def("smooth", &qxpy::smooth, "mask"_a, py::kw_only(), "strength"_a = 0,
          "smooth(mask, *, strength=0) -> mask\n\n"
          "Smooth a mask: a cross-shaped median, then a 5 x 5 Gaussian. strength 0: 3 x 3\n"
          "median, a border of 3 pixels left as it was; 1: 5 x 5 median, 4 pixels.\n\n"
          "mask: H x W uint8. Returns a new H x W uint8 array.");

    m.def("level", &qxpy::level, "image"_a, "target"_a, py::kw_only(), "show"_a = "image",
          "level(image, target, *, show=\"image\") -> rgb\n\n"
          "A levelled preview: the image brightened (never darkened), or one of its\n"
          "components levelled around mid-grey.\n\n"
          "image: H x W x 3 uint8 RGB. target: 0 to 255, the wanted mean of the\n"
          "strongest channel (image, luma) or mean distance from mid-grey (chroma, cb,\n"
          "cr); 1 or less: no levelling. show: \"image\", \"luma\", \"chroma\", \"cb\"\n"
          "or \"cr\".\n\n"
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
