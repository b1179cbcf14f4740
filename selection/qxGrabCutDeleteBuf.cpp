// Export: end the GrabCut session. Frees the session and fixes every certain
// pixel of the region (0x00, 0x01 -> 0x01; 0xFE, 0xFF -> 0xFF) in both planes;
// the region pass runs even without a session.
#include "frame/export_frame.h"
#include "selection/grabcut_session.h"
#include "selection/mark_coding.h"
#include "qxmatte.h"

QX_EXPORT void qxGrabCutDeleteBuf(QxJob* job) {
    if (!job) return;
    // The field is cleared with the free, so that a second call or a pass
    // that reuses the record finds no session instead of a freed one.
    qx::releaseGrabCutSession(static_cast<qx::GrabCutSession*>(job->grabCutSession));
    job->grabCutSession = nullptr;
    if (!qx::grabRegionInside(job)) return;
    const int w = job->grabWidth, h = job->grabHeight;
#pragma omp parallel for schedule(static)
    for (int y = 0; y < h; ++y) {
        unsigned char* m = job->maskPixels + static_cast<ptrdiff_t>(job->grabY + y) * job->maskStep + job->grabX;
        unsigned char* a = job->auxPixels + static_cast<ptrdiff_t>(job->grabY + y) * job->auxStep + job->grabX;
        for (int x = 0; x < w; ++x) {
            const unsigned char v = m[x];
            m[x] = a[x] = (v >= 0xFE || v <= 1) ? qx::fixedMark(v) : qx::softMark(v);
        }
    }
}
