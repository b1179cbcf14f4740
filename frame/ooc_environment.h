// The sparse solver's out-of-core variables: defaulted at load, put back at
// unload.
#pragma once

namespace qx {

extern int oocEnvReady;              // 1 once the out-of-core path is known; informational
extern char savedOocPath[1000];      // values the variables held at load ("" if unset)
extern char savedOocCoreSize[100];
extern char savedOocKeepFile[100];

void prepareOocEnvironment();
void restoreOocEnvironment();

}  // namespace qx
