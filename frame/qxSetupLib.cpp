// Export: as setDebugTrace, except that a negative mask is refused and leaves
// the trace state untouched.
#include "frame/export_frame.h"
#include "frame/trace.h"
#include "qxmatte.h"

QX_EXPORT int qxSetupLib(int mask, const char* path) {
    if (mask < 0) return 0;
    return qx::setTraceState(mask, path);
}
