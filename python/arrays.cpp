// Array checks and copies. Every copy walks the source by its strides, so a
// transposed, sliced or reversed view reads the same pixels as a C-contiguous
// copy of it would.
#include "arrays.h"

#include <climits>
#include <cstring>

namespace qxpy {

namespace {

[[noreturn]] void valueError(const std::string& message) { throw py::value_error(message); }

// The largest width whose 4-byte rows still have a row distance in an int.
constexpr long kMaxSide = INT_MAX / 4;

py::array uint8Array(const py::handle& value, const char* name) {
    if (value.is_none()) valueError(std::string(name) + " is None; expected a numpy array of uint8");
    py::array a = py::array::ensure(value);
    if (!a) valueError(std::string(name) + " must be a numpy array of uint8, got " +
                       std::string(py::str(py::type::of(value).attr("__name__"))));
    if (a.dtype().kind() != 'u' || a.itemsize() != 1)
        valueError(std::string(name) + " must be an array of uint8, got dtype " + std::string(py::str(a.dtype())));
    return a;
}

PixelView viewOf(py::array a, int channels, const char* name) {
    if (a.shape(0) < 1 || a.shape(1) < 1) valueError(std::string(name) + " is empty (shape " + shapeText(a) + ")");
    if (a.shape(0) > kMaxSide || a.shape(1) > kMaxSide)
        valueError(std::string(name) + " is too large (shape " + shapeText(a) + "); each side must be at most " +
                   std::to_string(kMaxSide));
    PixelView v;
    v.data = static_cast<const unsigned char*>(a.data());
    v.height = static_cast<int>(a.shape(0));
    v.width = static_cast<int>(a.shape(1));
    v.channels = channels;
    v.rowStride = a.strides(0);
    v.colStride = a.strides(1);
    v.channelStride = a.ndim() == 3 ? a.strides(2) : 0;
    v.array = std::move(a);
    return v;
}

}  // namespace

std::string shapeText(const py::array& a) {
    std::string s = "(";
    for (py::ssize_t i = 0; i < a.ndim(); ++i) s += (i ? ", " : "") + std::to_string(a.shape(i));
    return s + (a.ndim() == 1 ? ",)" : ")");
}

PixelView imageArg(const py::handle& value, const char* name) {
    py::array a = uint8Array(value, name);
    if (a.ndim() != 3 || a.shape(2) != 3)
        valueError(std::string(name) + " must be an H x W x 3 RGB image, got shape " + shapeText(a));
    return viewOf(std::move(a), 3, name);
}

PixelView rgbaArg(const py::handle& value, const char* name) {
    py::array a = uint8Array(value, name);
    if (a.ndim() != 3 || a.shape(2) != 4)
        valueError(std::string(name) + " must be an H x W x 4 RGBA image, got shape " + shapeText(a));
    return viewOf(std::move(a), 4, name);
}

PixelView maskArg(const py::handle& value, const char* name) {
    py::array a = uint8Array(value, name);
    if (!(a.ndim() == 2 || (a.ndim() == 3 && a.shape(2) == 1)))
        valueError(std::string(name) + " must be an H x W array, got shape " + shapeText(a));
    return viewOf(std::move(a), 1, name);
}

void checkSameSize(const PixelView& a, const char* aName, const PixelView& b, const char* bName) {
    if (a.height != b.height || a.width != b.width)
        valueError(std::string(aName) + " is " + std::to_string(a.width) + "x" + std::to_string(a.height) + " but " +
                   bName + " is " + std::to_string(b.width) + "x" + std::to_string(b.height) +
                   "; both must have the same size");
}

void copyChannel(const PixelView& v, int channel, unsigned char* plane, py::ssize_t step) {
    for (int y = 0; y < v.height; ++y) {
        unsigned char* out = plane + y * step;
        const unsigned char* in = &v.at(y, 0, channel);
        if (v.colStride == 1) {
            std::memcpy(out, in, static_cast<std::size_t>(v.width));
        } else {
            for (int x = 0; x < v.width; ++x) out[x] = in[x * v.colStride];
        }
    }
}

void copyToPixels4(const PixelView& v, unsigned char* pixels, py::ssize_t step) {
    for (int y = 0; y < v.height; ++y) {
        unsigned char* out = pixels + y * step;
        for (int x = 0; x < v.width; ++x, out += 4) {
            out[0] = v.at(y, x, 2);
            out[1] = v.at(y, x, 1);
            out[2] = v.at(y, x, 0);
            out[3] = 255;
        }
    }
}

py::array_t<unsigned char> newMask(int height, int width) { return py::array_t<unsigned char>({height, width}); }

py::array_t<unsigned char> newImage(int height, int width, int channels) {
    return py::array_t<unsigned char>({height, width, channels});
}

py::array_t<unsigned char> maskCopy(const PixelView& v) {
    py::array_t<unsigned char> out = newMask(v.height, v.width);
    copyChannel(v, 0, out.mutable_data(), v.width);
    return out;
}

py::array_t<unsigned char> imageFromPixels4(const unsigned char* pixels, py::ssize_t step, int height, int width,
                                            int channels, const unsigned char* alpha, py::ssize_t alphaStep) {
    py::array_t<unsigned char> out = newImage(height, width, channels);
    unsigned char* o = out.mutable_data();
    for (int y = 0; y < height; ++y) {
        const unsigned char* in = pixels + y * step;
        const unsigned char* a = alpha ? alpha + y * alphaStep : nullptr;
        for (int x = 0; x < width; ++x, in += 4, o += channels) {
            o[0] = in[2];
            o[1] = in[1];
            o[2] = in[0];
            if (channels == 4) o[3] = a ? a[x] : in[3];
        }
    }
    return out;
}

}  // namespace qxpy
