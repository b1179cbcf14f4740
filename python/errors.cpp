// Raising the package's exceptions from C++, and the translation of failed
// allocations into OutOfMemoryError.
#include "errors.h"

#include <opencv2/core.hpp>

#include <new>

#include "qxhost.h"

namespace qxpy {

namespace {

PyObject* errorType = nullptr;
PyObject* outOfMemoryType = nullptr;

void setOutOfMemory(const std::string& sentence) {
    py::object error = py::handle(outOfMemoryType)(sentence);
    error.attr("code") = -1;
    error.attr("function") = py::none();
    PyErr_SetObject(outOfMemoryType, error.ptr());
}

// Whether a failure value means that memory ran out: the allocation codes,
// and -1 from the exports that return codes unbiased (for qxKeepCutToAlpha
// -1 may also mean a tile too large; its sentence says both).
bool outOfMemory(const std::string& exportName, int value) {
    const bool biased = exportName == "qxMaskAlpha" || exportName == "qxGrabCut";
    const int code = biased && value < -800 ? value + 1000 : value;
    switch (code) {
        case 102: case 112: case 113: case 125: case 130: return true;
        case -1: return !biased || exportName == "qxGrabCut";
        default: return false;
    }
}

}  // namespace

void addErrors(py::module_& m) {
    // The classes are Python's own (qxmatte/_errors.py), so they have
    // signatures and docstrings like the rest of the package.
    py::module_ classes = py::module_::import("qxmatte._errors");
    errorType = classes.attr("Error").ptr();
    outOfMemoryType = classes.attr("OutOfMemoryError").ptr();
    // The module holds its own references; these two stay for the process.
    m.add_object("Error", py::reinterpret_borrow<py::object>(errorType));
    m.add_object("OutOfMemoryError", py::reinterpret_borrow<py::object>(outOfMemoryType));
    // Memory that runs out in the buffers around the library (the host
    // layer's images, the module's copies) is the same trouble for the
    // caller as the library's own allocation codes. Anything else goes on
    // to pybind11's translators.
    py::register_exception_translator([](std::exception_ptr p) {
        try {
            if (p) std::rethrow_exception(p);
        } catch (const std::bad_alloc&) {
            setOutOfMemory("out of memory");
        } catch (const cv::Exception& e) {
            if (e.code != cv::Error::StsNoMem) throw;
            setOutOfMemory("out of memory: " + e.err);
        } catch (const std::exception& e) {
            // A worker thread that could not start is memory too.
            if (!qxhost::isOutOfMemory(e)) throw;
            setOutOfMemory(std::string("out of memory: ") + e.what());
        }
    });
}

void raiseFailure(const char* exportName, int value, bool outOfMemory, const std::string& sentence) {
    py::handle type(outOfMemory ? outOfMemoryType : errorType);
    py::object error = type(sentence);
    error.attr("code") = value;
    error.attr("function") = exportName;
    PyErr_SetObject(type.ptr(), error.ptr());
    throw py::error_already_set();
}

void raiseExportFailure(const char* exportName, int value) {
    raiseFailure(exportName, value, outOfMemory(exportName, value), qxhost::describeFailure(exportName, value));
}

}  // namespace qxpy
