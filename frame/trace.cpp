// The trace file: off by default, switched by setDebugTrace/qxSetupLib. Each
// record opens and closes the file, so a crash of the host loses nothing; the
// trace is meant for one thread and takes no lock.
#include "frame/trace.h"

#include <cstdio>
#include <cstring>

namespace qx {

int traceMask = 0;
char traceDir[512] = "/tmp/";
char traceFile[512] = "/tmp/qxdlltrace.txt";
int traceSeq = 0;

namespace {

// Appends "<<<<seq: label value \n>>>>\n"; false if the file can't be opened.
bool writeIntRecord(const char* label, int value) {
    std::FILE* f = std::fopen(traceFile, "a");
    if (!f) return false;
    std::fprintf(f, "<<<<%d: %s %d \n>>>>\n", traceSeq, label, value);
    ++traceSeq;
    std::fclose(f);
    return true;
}

}  // namespace

int setTraceState(int mask, const char* path) {
    traceMask = mask;
    if (path) {
        // The host must send a directory that fits; a longer one is cut
        // rather than allowed to run over the buffer.
        std::strncpy(traceDir, path, sizeof traceDir - 1);
        traceDir[sizeof traceDir - 1] = '\0';
    }
    // With the initial directory this yields "/tmp//qxtrace_log.txt"; harmless.
    // A directory too long for the name leaves the name cut short.
    if (std::snprintf(traceFile, sizeof traceFile, "%s/qxtrace_log.txt", traceDir) >=
        static_cast<int>(sizeof traceFile))
        traceFile[sizeof traceFile - 1] = '\0';

    if (traceMask & 1) {
        if (std::FILE* f = std::fopen(traceFile, "a")) {
            std::fprintf(f, "<<<<%d: %s\n -- %s \n>>>>\n", traceSeq, "setTrace - traceFile: ", traceFile);
            ++traceSeq;
            std::fclose(f);
        }
    }
    if (!(traceMask & 1)) return 0;
    return writeIntRecord("setTrace - traceMask: ", mask) ? 1 : 0;
}

int traceInt(const char* label, int value) {
    if (!(traceMask & 1)) return 0;
    return writeIntRecord(label, value) ? 1 : 0;
}

}  // namespace qx
