// The export lock and the progress trampoline.
#include "export_call.h"

#include <string>

#include "errors.h"

namespace qxpy {

ProgressSink progressSink;
std::mutex exportLock;

namespace {

// Set while a progress callable runs on this thread: a module call made from
// there would wait for the lock its own caller holds.
thread_local bool inProgressCallback = false;

}  // namespace

int progressTrampoline(int value, int total, void* cookie) {
    auto* sink = static_cast<ProgressSink*>(cookie);
    // fn and error change only under exportLock, which the running call holds.
    if (!sink || !sink->fn || sink->error) return 1;
    py::gil_scoped_acquire gil;
    inProgressCallback = true;
    try {
        py::handle(sink->fn)(value, total);
    } catch (py::error_already_set& e) {
        sink->error = std::make_unique<py::error_already_set>(std::move(e));
    } catch (...) {
        // Nothing may leave a callback into the library.
        PyErr_SetString(PyExc_RuntimeError, "the progress callback failed");
        sink->error = std::make_unique<py::error_already_set>();
    }
    inProgressCallback = false;
    return 1;
}

void checkCall(const py::object& progress) {
    if (!progress.is_none() && !PyCallable_Check(progress.ptr()))
        throw py::type_error("progress must be None or a callable taking (value, total), got " +
                             std::string(py::str(py::type::of(progress).attr("__name__"))));
    if (inProgressCallback)
        throw std::runtime_error("qxmatte functions cannot be called from inside a progress callback");
}

void raiseThrownValue(const char* exportName, int value) {
    raiseFailure(exportName, value, value == -1,
                 std::string(exportName) + " failed inside the library with value " + std::to_string(value));
}

void raiseLibraryFailure(const qxhost::LibraryFailure& failure) {
    raiseExportFailure(failure.exportName.c_str(), failure.value);
}

}  // namespace qxpy
