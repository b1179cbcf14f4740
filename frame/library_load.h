// What happens when a process loads and unloads the shared library.
#pragma once

namespace qx {

// Trace off, out-of-core environment, progress cleared, code path selected,
// denormals flushed in the loading thread. Nothing here can refuse the load:
// returns 1.
int libraryLoad();

// Puts the out-of-core environment back; returns 1.
int libraryUnload();

}  // namespace qx
