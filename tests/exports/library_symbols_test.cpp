// The shared library as a host sees it: only the listed exports are visible,
// and loading it prepares the environment.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string>

namespace {

std::string envOr(const char* name, const char* fallback) {
    const char* v = std::getenv(name);
    return v ? v : fallback;
}

TEST(LibrarySymbols, OnlyTheListedExportsAreVisible) {
    // The exports are the names between "global:" and "local:" of the version
    // script; without its comments, its first word names the version node.
    std::ifstream map(envOr("QX_SAMPLES", "samples") + "/../include/qxmatte.map");
    ASSERT_TRUE(map.good());
    std::string text((std::istreambuf_iterator<char>(map)), std::istreambuf_iterator<char>());
    for (std::size_t open; (open = text.find("/*")) != std::string::npos;)
        text.erase(open, text.find("*/", open) + 2 - open);
    std::istringstream words(text);
    std::set<std::string> exports, defined;
    std::string node, word;
    words >> node;
    EXPECT_EQ("QXMATTE_0", node);
    bool global = false;
    while (words >> word) {
        if (word == "global:" || word == "local:") global = word == "global:";
        else if (global && word.back() == ';') exports.insert(word.substr(0, word.size() - 1));
    }
    EXPECT_EQ(21u, exports.size());

    // Every defined dynamic symbol but the node's own is an export bound to that node.
    const std::string library = envOr("QX_LIBRARY", "libqxmatte.so");
    FILE* nm = popen(("nm -D --defined-only --format=just-symbols '" + library + "'").c_str(), "r");
    ASSERT_NE(nullptr, nm);
    char line[4096];
    while (std::fgets(line, sizeof line, nm)) {
        std::string name(line, std::strcspn(line, "\n"));
        if (name == node) continue;
        EXPECT_EQ(node, name.substr(name.find("@@") + 2)) << name << " carries another version";
        defined.insert(name.substr(0, name.find('@')));
    }
    EXPECT_EQ(0, pclose(nm));
    EXPECT_EQ(exports, defined);

    // Loading defaults the solver's out-of-core path unless the host had set one.
    const std::string before = envOr("MKL_PARDISO_OOC_PATH", envOr("TMPDIR", "/tmp/").c_str());
    void* lib = dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(nullptr, lib) << dlerror();
    EXPECT_NE(nullptr, dlsym(lib, "qxSetupLib"));
    EXPECT_EQ(before, envOr("MKL_PARDISO_OOC_PATH", "<unset>"));
    dlclose(lib);
}

}  // namespace
