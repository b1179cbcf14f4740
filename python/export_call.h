// Calling an export from Python: one call at a time in the process (the
// exports share the progress state), with the GIL released while the library
// works, and the caller's progress callable reached through one trampoline.
#pragma once

#include <pybind11/pybind11.h>

#include <memory>
#include <mutex>
#include <string>

#include "qxhost.h"
#include "qxmatte.h"

namespace qxpy {

namespace py = pybind11;

// The one progress receiver. Every export call of the module installs the
// trampoline with this cookie, so a later export that reuses the installed
// callback never sees a stale cookie. fn is borrowed from the running call.
struct ProgressSink {
    PyObject* fn = nullptr;
    std::unique_ptr<py::error_already_set> error;  // first exception the callable raised
};

extern ProgressSink progressSink;
extern std::mutex exportLock;

// The library's callback: calls progressSink.fn(value, total) under the GIL.
int progressTrampoline(int value, int total, void* cookie);

// TypeError unless progress is None or callable; RuntimeError when called
// from inside a progress callback (the running call holds the lock).
void checkCall(const py::object& progress);

// Failures that the library lets pass (a thrown integer) become an Error.
[[noreturn]] void raiseThrownValue(const char* exportName, int value);
// A failure value met by the host layer becomes an Error.
[[noreturn]] void raiseLibraryFailure(const qxhost::LibraryFailure& failure);

// Runs call() without the GIL and under exportLock, with progress reaching
// `progress` (None: silent). Returns what call() returns; an exception raised
// by the progress callable is raised once the call is over, then a failure
// value the host layer met or an integer the library threw. Other C++
// exceptions take pybind11's way (std::invalid_argument: ValueError,
// std::bad_alloc: MemoryError).
template <class Call>
int callExport(const char* exportName, const py::object& progress, Call&& call) {
    checkCall(progress);
    PyObject* fn = progress.is_none() ? nullptr : progress.ptr();
    std::unique_ptr<py::error_already_set> callbackError;
    int result = 0;
    bool threw = false;
    int thrownValue = 0;
    std::unique_ptr<qxhost::LibraryFailure> failure;
    {
        py::gil_scoped_release nogil;
        std::lock_guard<std::mutex> lock(exportLock);
        // Runs on every way out, before the lock and the GIL are taken back.
        struct Reset {
            std::unique_ptr<py::error_already_set>& out;
            ~Reset() {
                progressSink.fn = nullptr;
                out = std::move(progressSink.error);
            }
        } reset{callbackError};
        progressSink.fn = fn;
        try {
            result = call();
        } catch (int value) {
            threw = true;
            thrownValue = value;
        } catch (const qxhost::LibraryFailure& e) {
            failure = std::make_unique<qxhost::LibraryFailure>(e);
        }
    }
    if (callbackError) {
        py::error_already_set e = *callbackError;
        callbackError.reset();
        throw e;
    }
    if (failure) raiseLibraryFailure(*failure);
    if (threw) raiseThrownValue(exportName, thrownValue);
    return result;
}

}  // namespace qxpy
