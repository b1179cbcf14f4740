// Load and unload of the shared library, run by the ELF constructor and
// destructor of the object that carries them (the shared library links every
// frame object, so these run once per process).
#include "frame/library_load.h"

#include "frame/ooc_environment.h"
#include "frame/progress.h"
#include "frame/trace.h"
#include "primitives/primitives.h"

namespace qx {

int libraryLoad() {
    setTraceState(0, nullptr);
    prepareOocEnvironment();
    progressTotal = 0;
    progressValue = 0;
    progressStep = 0;
    progressFn = nullptr;
    progressArg = nullptr;
    // Both selections are traced under one label; the second one stands.
    traceInt("ippStaticInit", ippStaticInit());
    traceInt("ippStaticInit", ippStaticInitBest());
    ippSetFlushToZero(1, nullptr);
    ippSetDenormAreZeros(1);
    return 1;
}

int libraryUnload() {
    restoreOocEnvironment();
    return 1;
}

namespace {

__attribute__((constructor)) void onLibraryLoad() { libraryLoad(); }
__attribute__((destructor)) void onLibraryUnload() { libraryUnload(); }

}  // namespace

}  // namespace qx
