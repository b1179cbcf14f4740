// The image codec module: OpenCV's readers and writers behind a table of
// plain functions, each catching what OpenCV throws.
#include <opencv2/imgcodecs.hpp>

#include "codec_table.h"

namespace {

bool decode(const std::vector<unsigned char>& bytes, int flags, cv::Mat* out, std::string* error) {
    try {
        *out = cv::imdecode(bytes, flags);
        return true;
    } catch (const cv::Exception& e) {
        *error = e.what();
    } catch (const std::exception& e) {
        *error = e.what();
    }
    *out = cv::Mat();
    return false;
}

bool read(const std::string& path, int flags, cv::Mat* out, std::string* error) {
    try {
        *out = cv::imread(path, flags);
        return true;
    } catch (const cv::Exception& e) {
        *error = e.what();
    } catch (const std::exception& e) {
        *error = e.what();
    }
    *out = cv::Mat();
    return false;
}

bool encode(const std::string& ext, const cv::Mat& image, std::vector<unsigned char>* bytes, std::string* error) {
    try {
        return cv::imencode(ext, image, *bytes);
    } catch (const cv::Exception& e) {
        *error = e.err;
    } catch (const std::exception& e) {
        *error = e.what();
    }
    return false;
}

bool haveReader(const std::string& path) {
    try {
        return cv::haveImageReader(path);
    } catch (...) {
        return false;
    }
}

bool haveWriter(const std::string& path) {
    try {
        return cv::haveImageWriter(path);
    } catch (...) {
        return false;
    }
}

const qxhost::CodecTable table{qxhost::kCodecTableVersion, decode, read, encode, haveReader, haveWriter};

}  // namespace

extern "C" __attribute__((visibility("default"))) const qxhost::CodecTable* qxCodecTable() { return &table; }
