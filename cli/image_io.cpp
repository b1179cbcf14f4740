// Reading and writing image files with messages that name the file and the
// problem.
#include <opencv2/imgcodecs.hpp>  // IMREAD_* flags only

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "cli.h"

namespace qxcli {

namespace fs = std::filesystem;

namespace {

[[noreturn]] void fileFailure(const std::string& message) { throw Failure{kExitFile, message}; }

cv::Mat readAs(const std::string& path, int flags) {
    std::ifstream probe(path, std::ios::binary);
    if (!probe) fileFailure("cannot open '" + path + "': " + std::strerror(errno));
    if (fs::is_directory(path)) fileFailure("'" + path + "' is a directory, not an image");
    std::string error;
    cv::Mat m = qxhost::readImageAs(path, flags, &error);
    if (!error.empty()) fileFailure("cannot read '" + path + "': " + error);
    if (m.empty()) fileFailure("cannot read '" + path + "': not an image file in a known format");
    return m;
}

[[noreturn]] void sizesDiffer(const std::string& aPath, cv::Size a, const std::string& bPath, cv::Size b) {
    fileFailure("'" + aPath + "' is " + std::to_string(a.width) + "x" + std::to_string(a.height) + " but '" + bPath +
                "' is " + std::to_string(b.width) + "x" + std::to_string(b.height) + "; both must have the same size");
}

bool sameFile(const std::string& a, const std::string& b) {
    std::error_code ec;
    if (fs::exists(a, ec) && fs::exists(b, ec)) return fs::equivalent(a, b, ec);
    return fs::weakly_canonical(fs::absolute(a), ec) == fs::weakly_canonical(fs::absolute(b), ec);
}

}  // namespace

// Colour, mask and RGBA inputs go through the host layer's checked reader;
// its FileError reaches main as a file problem.
cv::Mat readColour(const std::string& path) { return qxhost::readImageFile(path, qxhost::ImageKind::Colour); }

cv::Mat readMask(const std::string& path) { return qxhost::readImageFile(path, qxhost::ImageKind::Mask); }

cv::Mat readMaskAnyDepth(const std::string& path) {
    cv::Mat m = readAs(path, cv::IMREAD_GRAYSCALE | cv::IMREAD_ANYDEPTH);
    if (m.depth() != CV_8U && m.depth() != CV_16U)
        fileFailure("'" + path + "': only 8-bit and 16-bit masks are supported");
    return m;
}

cv::Mat readWithAlpha(const std::string& path) { return qxhost::readImageFile(path, qxhost::ImageKind::WithAlpha); }

// Atomic: a failed write keeps any earlier file whole.
void writeImage(const std::string& path, const cv::Mat& image) { qxhost::writeImageFile(path, image); }

void checkOutputs(const std::vector<std::string>& outputs, const std::vector<std::string>& inputs) {
    for (std::size_t i = 0; i < outputs.size(); ++i) {
        if (outputs[i].empty()) continue;
        // Refused now rather than after the work.
        std::error_code ec;
        if (fs::exists(outputs[i], ec) && !fs::is_regular_file(outputs[i], ec))
            throw Failure{kExitFile, "cannot write '" + outputs[i] +
                                         "': it exists and is not a regular file (a device, a folder or a pipe)"};
        const std::string ext = fs::path(outputs[i]).extension().string();
        if (ext.empty() || !qxhost::haveImageWriter(outputs[i]))
            throw Failure{kExitUsage, "cannot write '" + outputs[i] + "': " +
                                          (ext.empty() ? std::string("the name has no image extension (e.g. .png)")
                                                       : "unknown image extension '" + ext + "'")};
        qxhost::checkOutputFile(outputs[i]);
        for (const std::string& in : inputs)
            if (!in.empty() && sameFile(outputs[i], in))
                throw Failure{kExitUsage, "refusing to overwrite the input '" + in + "' with an output"};
        for (std::size_t j = 0; j < i; ++j)
            if (!outputs[j].empty() && sameFile(outputs[i], outputs[j]))
                throw Failure{kExitUsage, "two outputs name the same file '" + outputs[i] + "'"};
    }

    // Temporary files of earlier runs killed while writing, once per folder;
    // a batch cleans its output folder itself, before its jobs start.
    if (std::getenv("QXMATTE_BATCH_JOB")) return;
    std::vector<std::string> folders;
    for (const std::string& out : outputs) {
        if (out.empty()) continue;
        const std::string folder = fs::path(out).parent_path().empty() ? "." : fs::path(out).parent_path().string();
        if (std::find(folders.begin(), folders.end(), folder) == folders.end()) folders.push_back(folder);
    }
    for (const std::string& folder : folders) qxhost::removeLeftovers(folder);
}

void checkCutoutOutput(const std::string& path, const std::string& option) {
    if (path.empty() || qxhost::keepsAlpha(path)) return;
    throw Failure{kExitUsage, option + " '" + path + "': a cut-out needs its transparency, which a " +
                                  fs::path(path).extension().string() +
                                  " file cannot keep; name it .png, .tif or .webp"};
}

void checkSizesBeforeReading(const std::string& image, const std::vector<std::string>& others) {
    // Sizes past the reader's limit are left to the reader, which names it.
    auto sizeOf = [](const std::string& path) {
        const cv::Size s = qxhost::imageFileSize(path);
        return static_cast<long long>(s.width) * s.height > qxhost::kMaxImagePixels ? cv::Size() : s;
    };
    const cv::Size size = sizeOf(image);
    if (size.empty()) return;
    for (const std::string& other : others) {
        const cv::Size s = sizeOf(other);
        if (!s.empty() && s != size) sizesDiffer(image, size, other, s);
    }
}

void checkSameSize(const cv::Mat& a, const std::string& aPath, const cv::Mat& b, const std::string& bPath) {
    if (a.size() != b.size()) sizesDiffer(aPath, a.size(), bPath, b.size());
}

}  // namespace qxcli
