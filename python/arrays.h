// numpy arrays in and out of the module: checks with messages that name the
// argument, and copies between any strided uint8 array and the library's
// buffers. Inputs are only read; results are new C-contiguous arrays.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <string>

namespace qxpy {

namespace py = pybind11;

// A uint8 array seen as rows, columns and channels, with its strides in bytes
// (any sign). Holds a reference to the array it looks at.
struct PixelView {
    py::array array;
    const unsigned char* data = nullptr;
    int height = 0, width = 0, channels = 0;
    py::ssize_t rowStride = 0, colStride = 0, channelStride = 0;

    const unsigned char& at(int y, int x, int c) const {
        return data[y * rowStride + x * colStride + c * channelStride];
    }
};

// An H x W x 3 RGB image; ValueError (naming `name`) for anything else.
PixelView imageArg(const py::handle& value, const char* name);
// An H x W x 4 RGBA image (a cut-out).
PixelView rgbaArg(const py::handle& value, const char* name);
// An H x W (or H x W x 1) mask.
PixelView maskArg(const py::handle& value, const char* name);
// ValueError unless both have the same height and width.
void checkSameSize(const PixelView& a, const char* aName, const PixelView& b, const char* bName);

// Copies channel `channel` of v into a plane with row distance `step`.
void copyChannel(const PixelView& v, int channel, unsigned char* plane, py::ssize_t step);
// Copies an RGB image into 4-byte pixels in the byte order the command-line
// tool hands the library (blue, green, red), byte 3 set to 255.
void copyToPixels4(const PixelView& v, unsigned char* pixels, py::ssize_t step);

// New C-contiguous uint8 arrays.
py::array_t<unsigned char> newMask(int height, int width);
py::array_t<unsigned char> newImage(int height, int width, int channels);
// A new H x W mask holding a copy of v.
py::array_t<unsigned char> maskCopy(const PixelView& v);
// A new H x W x channels array from 4-byte pixels (bytes 2, 1, 0 become R, G,
// B; with 4 channels byte 3 comes from alpha when given, else from byte 3).
py::array_t<unsigned char> imageFromPixels4(const unsigned char* pixels, py::ssize_t step, int height,
                                            int width, int channels, const unsigned char* alpha = nullptr,
                                            py::ssize_t alphaStep = 0);

// "(3, 4, 5)": an array's shape for messages.
std::string shapeText(const py::array& a);

}  // namespace qxpy
