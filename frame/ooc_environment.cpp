// Out-of-core environment of the sparse solver. By default the factorisation
// may keep 1500 MB in core and spills to the temporary directory without
// leaving files behind; a path the user set wins and then nothing is changed.
#include "frame/ooc_environment.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace qx {

int oocEnvReady = 0;
char savedOocPath[1000] = "";
char savedOocCoreSize[100] = "";
char savedOocKeepFile[100] = "";

namespace {

const char kOocPath[] = "MKL_PARDISO_OOC_PATH";
const char kOocCoreSize[] = "MKL_PARDISO_OOC_MAX_CORE_SIZE";
const char kOocKeepFile[] = "MKL_PARDISO_OOC_KEEP_FILE";

// Copies the variable's value into text; an unset variable, or a value that
// does not fit, leaves the text empty.
void readVariable(const char* name, char* text, std::size_t size) {
    text[0] = '\0';
    const char* value = std::getenv(name);
    if (!value) return;
    std::size_t n = std::strlen(value);
    if (n >= size) return;
    std::memcpy(text, value, n + 1);
}

}  // namespace

void prepareOocEnvironment() {
    oocEnvReady = 0;
    readVariable(kOocPath, savedOocPath, sizeof savedOocPath);
    readVariable(kOocCoreSize, savedOocCoreSize, sizeof savedOocCoreSize);
    readVariable(kOocKeepFile, savedOocKeepFile, sizeof savedOocKeepFile);

    char tempDir[10000];
    tempDir[0] = '\0';
    const char* tmp = std::getenv("TMPDIR");
    if (!tmp || !*tmp || std::strlen(tmp) >= sizeof tempDir) tmp = "/tmp/";
    std::snprintf(tempDir, sizeof tempDir, "%s", tmp);

    if (savedOocPath[0]) {
        oocEnvReady = 1;
        return;
    }
    if (!tempDir[0]) return;
    // Failures of setenv are ignored: the solver then runs on its own defaults.
    setenv(kOocPath, tempDir, 1);
    setenv(kOocCoreSize, "1500", 1);
    setenv(kOocKeepFile, "0", 1);
    oocEnvReady = 1;
}

void restoreOocEnvironment() {
    // Variables unset at load stay set. The keep-file value is restored only
    // together with a saved path (the test is the path's, on purpose).
    if (savedOocPath[0]) setenv(kOocPath, savedOocPath, 1);
    if (savedOocCoreSize[0]) setenv(kOocCoreSize, savedOocCoreSize, 1);
    if (savedOocPath[0]) setenv(kOocKeepFile, savedOocKeepFile, 1);
}

}  // namespace qx
