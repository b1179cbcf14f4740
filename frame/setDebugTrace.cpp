// Export: switch tracing and choose the trace directory.
#include "frame/export_frame.h"
#include "frame/trace.h"
#include "qxmatte.h"

QX_EXPORT int setDebugTrace(int mask, const char* path) {
    return qx::setTraceState(mask, path);
}
