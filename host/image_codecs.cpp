// Image encoding and decoding through the codec module, loaded with dlopen on
// first use. OpenCV's codecs bring in well over a hundred shared libraries
// (GDAL, OpenEXR, DICOM, ...); a tool that only prints its help, refuses its
// arguments or is a plug-in that never touches a file does not map them.
#include <dlfcn.h>
#include <unistd.h>

#include <climits>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "codecs/codec_table.h"
#include "qxhost.h"

#ifndef QX_CODECS_NAME
#define QX_CODECS_NAME "qxmatte-codecs.so"
#endif
#ifndef QX_CODECS_FROM_BINDIR
#define QX_CODECS_FROM_BINDIR "../lib/qxmatte"
#endif
#ifndef QX_CODECS_INSTALLED_DIR
#define QX_CODECS_INSTALLED_DIR "/usr/local/lib/qxmatte"
#endif

namespace qxhost {

namespace {

namespace fs = std::filesystem;

// Folders the program (or the shared object holding this code) lives in:
// the module sits beside it in the build tree, and under the library folder
// relative to an installed tool.
std::vector<std::string> candidates() {
    std::vector<fs::path> homes;
    std::error_code ec;
    const fs::path self = fs::read_symlink("/proc/self/exe", ec);
    if (!ec) homes.push_back(self.parent_path());
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&candidates), &info) != 0 && info.dli_fname &&
        std::string(info.dli_fname).find('/') != std::string::npos) {
        const fs::path object = fs::weakly_canonical(fs::absolute(info.dli_fname, ec), ec);
        if (!ec && object.parent_path() != homes.front()) homes.push_back(object.parent_path());
    }
    std::vector<std::string> paths;
    for (const fs::path& home : homes) {
        paths.push_back((home / QX_CODECS_NAME).string());
        paths.push_back((home / QX_CODECS_FROM_BINDIR / QX_CODECS_NAME).lexically_normal().string());
    }
    paths.push_back(std::string(QX_CODECS_INSTALLED_DIR) + "/" + QX_CODECS_NAME);
    return paths;
}

const CodecTable* load(std::string& failure) {
    std::string tried;
    for (const std::string& path : candidates()) {
        if (::access(path.c_str(), F_OK) != 0) {
            tried += (tried.empty() ? "" : ", ") + path;
            continue;
        }
        void* module = dlopen(path.c_str(), RTLD_LAZY | RTLD_LOCAL);
        if (!module) {
            failure = "the image codec module '" + path + "' could not be loaded: " + dlerror();
            return nullptr;
        }
        using Entry = const CodecTable* (*)();
        const auto entry = reinterpret_cast<Entry>(dlsym(module, "qxCodecTable"));
        const CodecTable* table = entry ? entry() : nullptr;
        if (!table || table->version != kCodecTableVersion) {
            failure = "the image codec module '" + path + "' belongs to another build of this program";
            return nullptr;
        }
        return table;  // kept loaded for the life of the process
    }
    failure = "image files cannot be read or written: the codec module " + std::string(QX_CODECS_NAME) +
              " was not found (looked for " + tried + "); reinstall the program";
    return nullptr;
}

const CodecTable& codecs() {
    static std::string failure;
    static const CodecTable* const table = load(failure);
    if (!table) throw std::runtime_error(failure);
    return *table;
}

}  // namespace

cv::Mat decodeImage(const std::vector<unsigned char>& bytes, int flags, std::string* error) {
    cv::Mat image;
    std::string cause;
    if (!codecs().decode(bytes, flags, &image, &cause) && error) *error = cause;
    return image;
}

cv::Mat readImageAs(const std::string& path, int flags, std::string* error) {
    cv::Mat image;
    std::string cause;
    if (!codecs().read(path, flags, &image, &cause) && error) *error = cause;
    return image;
}

bool encodeImage(const std::string& ext, const cv::Mat& image, std::vector<unsigned char>& bytes,
                 std::string* error) {
    std::string cause;
    const bool done = codecs().encode(ext, image, &bytes, &cause);
    if (!done && error) *error = cause;
    return done;
}

bool haveImageReader(const std::string& path) { return codecs().haveReader(path); }

bool haveImageWriter(const std::string& path) { return codecs().haveWriter(path); }

}  // namespace qxhost
