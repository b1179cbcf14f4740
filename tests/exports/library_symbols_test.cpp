// The shared library as a host sees it: only the listed exports are visible,
// and loading it prepares the environment.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <set>
#include <string>

namespace {

std::string envOr(const char* name, const char* fallback) {
    const char* v = std::getenv(name);
    return v ? v : fallback;
}

std::string library() { return envOr("QX_LIBRARY", "libqxmatte.so"); }

// Names between "global:" and "local:" of the version script.
std::set<std::string> mapNames() {
    std::ifstream in(envOr("QX_SAMPLES", "samples") + "/../include/qxmatte.map");
    EXPECT_TRUE(in.good());
    std::set<std::string> names;
    std::string word;
    bool global = false;
    while (in >> word) {
        if (word == "global:") global = true;
        else if (word == "local:") global = false;
        else if (global && word.back() == ';') names.insert(word.substr(0, word.size() - 1));
    }
    return names;
}

// Dynamic symbols the library defines, without version suffixes.
std::set<std::string> definedSymbols() {
    std::string cmd = "nm -D --defined-only '" + library() + "'";
    FILE* p = popen(cmd.c_str(), "r");
    EXPECT_NE(nullptr, p);
    std::set<std::string> defined;
    char line[4096];
    while (p && std::fgets(line, sizeof line, p)) {
        char address[64], type[8], name[2048];
        if (std::sscanf(line, "%63s %7s %2047s", address, type, name) != 3) continue;
        std::string symbol = name;
        defined.insert(symbol.substr(0, symbol.find('@')));
    }
    if (p) {
        EXPECT_EQ(0, pclose(p));
    }
    return defined;
}

// No C++, primitive or runtime name leaks out: every defined dynamic symbol
// is one of the exports.
TEST(LibrarySymbols, OnlyExportsAreDefined) {
    const std::set<std::string> exports = mapNames();
    EXPECT_EQ(21u, exports.size());
    const std::set<std::string> defined = definedSymbols();
    for (const std::string& name : defined) EXPECT_EQ(1u, exports.count(name)) << name << " is visible";
    for (const char* name : {"setDebugTrace", "qxSetupLib", "qxMaskBBox", "qxDrawLine8u"})
        EXPECT_EQ(1u, defined.count(name)) << name;
}

TEST(LibrarySymbols, LoadsAndAnswersThroughDlsym) {
    const bool pathWasSet = std::getenv("MKL_PARDISO_OOC_PATH") != nullptr;
    const std::string before = pathWasSet ? std::getenv("MKL_PARDISO_OOC_PATH") : "";
    void* lib = dlopen(library().c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(nullptr, lib) << dlerror();
    for (const std::string& name : definedSymbols()) EXPECT_NE(nullptr, dlsym(lib, name.c_str())) << name;
    EXPECT_EQ(nullptr, dlsym(lib, "tickProgress"));

    // Loading defaults the solver's out-of-core variables unless a path was set.
    const char* path = std::getenv("MKL_PARDISO_OOC_PATH");
    ASSERT_NE(nullptr, path);
    if (pathWasSet) {
        EXPECT_EQ(before, path);
    } else {
        EXPECT_EQ(envOr("TMPDIR", "/tmp/"), path);
        EXPECT_STREQ("1500", std::getenv("MKL_PARDISO_OOC_MAX_CORE_SIZE"));
        EXPECT_STREQ("0", std::getenv("MKL_PARDISO_OOC_KEEP_FILE"));
    }

    using Setup = int (*)(int, const char*);
    auto setup = reinterpret_cast<Setup>(dlsym(lib, "qxSetupLib"));
    ASSERT_NE(nullptr, setup);
    EXPECT_EQ(0, setup(-1, "/nowhere"));
    EXPECT_EQ(0, setup(0, "/tmp"));
    dlclose(lib);
}

}  // namespace
