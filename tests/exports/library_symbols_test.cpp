// The shared library as a host sees it: only the listed exports are visible,
// and loading it prepares the environment.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <set>
#include <string>

namespace {

std::string envOr(const char* name, const char* fallback) {
    const char* v = std::getenv(name);
    return v ? v : fallback;
}

TEST(LibrarySymbols, OnlyTheListedExportsAreVisible) {
    // The exports are the names between "global:" and "local:" of the version script.
    std::ifstream map(envOr("QX_SAMPLES", "samples") + "/../include/qxmatte.map");
    ASSERT_TRUE(map.good());
    // Without its comments, the script's first word names the version node that
    // every export is bound to.
    std::string text((std::istreambuf_iterator<char>(map)), std::istreambuf_iterator<char>());
    for (std::size_t open; (open = text.find("/*")) != std::string::npos;)
        text.erase(open, text.find("*/", open) + 2 - open);
    std::istringstream words(text);
    std::set<std::string> exports;
    std::string node, word;
    words >> node;
    EXPECT_EQ("QXMATTE_0", node);
    bool global = false;
    while (words >> word) {
        if (word == "global:" || word == "local:") global = word == "global:";
        else if (global && word.back() == ';') exports.insert(word.substr(0, word.size() - 1));
    }
    EXPECT_EQ(21u, exports.size());

    // Every defined dynamic symbol, without its version suffix, is one of them.
    const std::string library = envOr("QX_LIBRARY", "libqxmatte.so");
    FILE* nm = popen(("nm -D --defined-only --format=just-symbols '" + library + "'").c_str(), "r");
    ASSERT_NE(nullptr, nm);
    std::set<std::string> defined;
    char line[4096];
    while (std::fgets(line, sizeof line, nm)) {
        std::string name = line;
        name = name.substr(0, name.find('\n'));
        if (name == node) continue;  // the version node's own symbol
        EXPECT_EQ(node, name.substr(name.find("@@") + 2)) << name << " carries another version";
        name = name.substr(0, name.find('@'));
        EXPECT_EQ(1u, exports.count(name)) << name << " is visible";
        defined.insert(name);
    }
    EXPECT_EQ(0, pclose(nm));
    // All 21 exports are built: the visible names are exactly the map's.
    EXPECT_EQ(exports, defined);

    // Each defined export answers through dlsym, and loading defaulted the solver's
    // out-of-core path unless the host had set one.
    const char* pathBefore = std::getenv("MKL_PARDISO_OOC_PATH");
    const std::string before = pathBefore ? pathBefore : envOr("TMPDIR", "/tmp/");
    void* lib = dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(nullptr, lib) << dlerror();
    for (const std::string& name : defined) EXPECT_NE(nullptr, dlsym(lib, name.c_str())) << name;
    EXPECT_EQ(nullptr, dlsym(lib, "tickProgress"));
    EXPECT_EQ(before, envOr("MKL_PARDISO_OOC_PATH", "<unset>"));
    auto setup = reinterpret_cast<int (*)(int, const char*)>(dlsym(lib, "qxSetupLib"));
    ASSERT_NE(nullptr, setup);
    EXPECT_EQ(0, setup(-1, "/nowhere"));
    dlclose(lib);
}

}  // namespace
