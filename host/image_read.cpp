// Reading image files for a host: the size is read from the file's header and
// checked before anything is decoded, 16-bit samples are brought to 8 bits,
// palettes and grey are expanded, and whatever cannot be used is refused with
// a sentence naming the file and the reason.
#include <opencv2/imgcodecs.hpp>  // IMREAD_* flags only
#include <opencv2/imgproc.hpp>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <vector>

#include "qxhost.h"

namespace qxhost {

namespace {

[[noreturn]] void readError(const std::string& path, const std::string& cause) {
    throw FileError(path, cause, true);
}

uint32_t bigEndian(const unsigned char* p, int bytes) {
    uint32_t v = 0;
    for (int i = 0; i < bytes; ++i) v = (v << 8) | p[i];
    return v;
}

// Width and height from a PNG, JPEG or PNM header; false for other formats
// (OpenCV's own limit then applies).
bool headerSize(std::ifstream& file, long long& width, long long& height) {
    unsigned char head[32] = {};
    file.read(reinterpret_cast<char*>(head), sizeof head);
    if (file.gcount() >= 24 && std::memcmp(head, "\x89PNG\r\n\x1a\n", 8) == 0 && std::memcmp(head + 12, "IHDR", 4) == 0) {
        width = bigEndian(head + 16, 4);
        height = bigEndian(head + 20, 4);
        return true;
    }
    if (file.gcount() >= 4 && head[0] == 0xFF && head[1] == 0xD8) {
        // Walk the JPEG segments to the first start-of-frame marker.
        file.clear();
        file.seekg(2);
        unsigned char seg[9];
        while (file.read(reinterpret_cast<char*>(seg), 4)) {
            if (seg[0] != 0xFF) return false;
            const int marker = seg[1];
            const int length = static_cast<int>(bigEndian(seg + 2, 2));
            const bool frame = marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
            if (frame) {
                if (!file.read(reinterpret_cast<char*>(seg), 5)) return false;
                height = bigEndian(seg + 1, 2);
                width = bigEndian(seg + 3, 2);
                return true;
            }
            if (length < 2) return false;
            file.seekg(length - 2, std::ios::cur);
        }
        return false;
    }
    if (file.gcount() >= 2 && head[0] == 'P' && head[1] >= '1' && head[1] <= '6') {
        // "P6 <w> <h> ..." with comments allowed between the numbers.
        file.clear();
        file.seekg(2);
        long long numbers[2];
        for (long long& n : numbers) {
            int c = file.get();
            while (c == '#' || std::isspace(c)) {
                if (c == '#')
                    while (c != '\n' && c != EOF) c = file.get();
                c = file.get();
            }
            if (!std::isdigit(c)) return false;
            n = 0;
            while (std::isdigit(c) && n < (1LL << 40)) {
                n = n * 10 + (c - '0');
                c = file.get();
            }
        }
        width = numbers[0];
        height = numbers[1];
        return true;
    }
    return false;
}

// A JPEG's entropy-coded data cannot hold the end marker (0xFF is followed by
// a zero there), so a whole file has it after its first scan; thumbnails
// (which have their own) come before it.
bool jpegComplete(const std::vector<unsigned char>& bytes) {
    std::size_t i = 2;
    while (i + 4 <= bytes.size()) {
        if (bytes[i] != 0xFF) return true;  // not walkable: left to the decoder
        const int marker = bytes[i + 1];
        if (marker == 0xFF) {
            ++i;
            continue;
        }
        if (marker == 0xDA) break;
        i += 2 + ((static_cast<std::size_t>(bytes[i + 2]) << 8) | bytes[i + 3]);
    }
    for (std::size_t j = i; j + 1 < bytes.size(); ++j)
        if (bytes[j] == 0xFF && bytes[j + 1] == 0xD9) return true;
    return false;
}

// Sends stderr to /dev/null for its lifetime.
struct QuietStderr {
    int saved = -1;
    QuietStderr() {
        std::fflush(stderr);
        const int null = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
        if (null < 0) return;
        saved = ::dup(STDERR_FILENO);
        if (saved >= 0) ::dup2(null, STDERR_FILENO);
        ::close(null);
    }
    ~QuietStderr() {
        if (saved < 0) return;
        std::fflush(stderr);
        ::dup2(saved, STDERR_FILENO);
        ::close(saved);
    }
    QuietStderr(const QuietStderr&) = delete;
    QuietStderr& operator=(const QuietStderr&) = delete;
};

}  // namespace

cv::Size imageFileSize(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    long long width = 0, height = 0;
    if (!file || !headerSize(file, width, height) || width <= 0 || height <= 0 || width > INT_MAX || height > INT_MAX)
        return cv::Size();
    return cv::Size(static_cast<int>(width), static_cast<int>(height));
}

cv::Mat readImageFile(const std::string& path, ImageKind kind, long long maxPixels) {
    namespace fs = std::filesystem;
    std::error_code ec;
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) {
        const int error = errno;
        readError(path, error == ENOENT  ? "no such file"
                        : error == ELOOP ? "it is a loop of symbolic links"
                        : error == EACCES ? "permission denied"
                                          : std::strerror(error));
    }
    if (S_ISDIR(info.st_mode)) readError(path, "it is a folder, not an image");
    std::ifstream file(path, std::ios::binary);
    if (!file) readError(path, "permission denied");
    long long width = 0, height = 0;
    if (headerSize(file, width, height) && width * height > maxPixels)
        readError(path, "the image is " + std::to_string(width) + "x" + std::to_string(height) + ", more than the " +
                            std::to_string(maxPixels / 1000000) + " megapixels this program decodes");
    file.clear();
    file.seekg(0, std::ios::end);
    const std::streamoff length = file.tellg();
    if (length <= 0) readError(path, "the file is empty");
    std::vector<unsigned char> bytes(static_cast<std::size_t>(length));
    file.seekg(0);
    if (!file.read(reinterpret_cast<char*>(bytes.data()), length)) readError(path, "the file could not be read");
    file.close();
    if (bytes.size() > 2 && bytes[0] == 0xFF && bytes[1] == 0xD8 && !jpegComplete(bytes))
        readError(path, "the JPEG file is cut short (its end is missing); only part of the image is there");

    cv::Mat image;
    {
        // The decoders print their own complaints on stderr; ours says it.
        const QuietStderr quiet;
        image = decodeImage(bytes, cv::IMREAD_UNCHANGED);
    }
    if (image.empty())
        readError(path, haveImageReader(path) ? "the file is damaged or its image too large to decode"
                                                  : "not an image file in a known format");
    if (static_cast<long long>(image.cols) * image.rows > maxPixels)
        readError(path, "the image is " + std::to_string(image.cols) + "x" + std::to_string(image.rows) +
                            ", more than the " + std::to_string(maxPixels / 1000000) +
                            " megapixels this program decodes");
    // Samples to 8 bits: 16-bit scaled (65535 to 255, rounded); anything else refused.
    if (image.depth() == CV_16U) {
        image.convertTo(image, CV_8U, 1.0 / 257.0);
    } else if (image.depth() != CV_8U) {
        readError(path, "its samples are not 8- or 16-bit integers (floating-point or 32-bit images are not supported)");
    }
    const int channels = image.channels();
    cv::Mat out;
    switch (kind) {
        case ImageKind::Colour:
            if (channels == 1) cv::cvtColor(image, out, cv::COLOR_GRAY2BGR);
            else if (channels == 4) cv::cvtColor(image, out, cv::COLOR_BGRA2BGR);
            else out = image;
            break;
        case ImageKind::Mask:
            if (channels == 3) cv::cvtColor(image, out, cv::COLOR_BGR2GRAY);
            else if (channels == 4) cv::cvtColor(image, out, cv::COLOR_BGRA2GRAY);
            else out = image;
            break;
        case ImageKind::WithAlpha:
            if (channels != 4) readError(path, "it has no alpha channel (an RGBA image is needed)");
            out = image;
            break;
    }
    if (out.channels() != (kind == ImageKind::Colour ? 3 : kind == ImageKind::Mask ? 1 : 4))
        readError(path, "it has " + std::to_string(channels) + " channels, which this program cannot use");
    return out;
}

void checkTrimap(const cv::Mat& trimap, const std::string& name, int inHigh, int inLow) {
    const int high = inHigh - inLow >= 255 ? 255 : inHigh, low = inHigh - inLow >= 255 ? 0 : inLow;
    if (high <= low) return;  // inverted bounds: the classes are the caller's business
    long long background = 0, foreground = 0;
    for (int y = 0; y < trimap.rows; ++y) {
        const unsigned char* r = trimap.ptr<unsigned char>(y);
        for (int x = 0; x < trimap.cols; ++x) {
            background += r[x] <= low;
            foreground += r[x] >= high;
        }
    }
    const long long unknown = static_cast<long long>(trimap.total()) - background - foreground;
    if (background == 0)
        throw std::invalid_argument("the trimap '" + name + "' marks no background: no pixel is " +
                                    (low == 0 ? std::string("0") : "at most " + std::to_string(low)) +
                                    (low == 0 && cv::countNonZero(trimap == 1) > 0
                                         ? " (the brushes draw cut as 1: a low bound of 1 takes it as background)"
                                         : ""));
    if (foreground == 0)
        throw std::invalid_argument("the trimap '" + name + "' marks no foreground: no pixel is " +
                                    (high == 255 ? std::string("255") : "at least " + std::to_string(high)));
    if (unknown == 0)
        throw std::invalid_argument("the trimap '" + name +
                                    "' has nothing unknown: every pixel is background or foreground, so there is "
                                    "nothing to solve");
}

}  // namespace qxhost
