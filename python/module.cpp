// The qxmatte Python module: numpy arrays in, new numpy arrays out, through
// the library's exports as any host calls them.
#include <pybind11/pybind11.h>

#include "errors.h"
#include "functions.h"

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
          "foreground(image, alpha, *, method=\"full\") -> rgb\n\n"
          "True colours of the foreground under an alpha: the background that shows\n"
          "through soft edges is taken out.\n\n"
          "image: H x W x 3 uint8 RGB. alpha: H x W uint8. method: \"full\" (a fast\n"
          "full-resolution estimate, the default), \"design\" (the library's\n"
          "reduced-scale recovery over the whole image) or \"cell\" (the library's cell\n"
          "recovery, faded into the image at the edges).\n\n"
          "Returns a new H x W x 3 uint8 RGB array.");
}
