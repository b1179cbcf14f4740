// The trace file: one record per call, opened and closed each time.
#pragma once

namespace qx {

extern int traceMask;
extern char traceDir[512];
extern char traceFile[512];
extern int traceSeq;

// Steps shared by setDebugTrace, qxSetupLib and the load sequence.
int setTraceState(int mask, const char* path);

// Writes "<<<<seq: label value \n>>>>\n" when bit 0 of traceMask is set.
// Returns 1 after writing, else 0.
int traceInt(const char* label, int value);

}  // namespace qx
