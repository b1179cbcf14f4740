// Pixels of GIMP's layers and channels as images the library and the host
// layer take, and the ways back into the image.
#include <cstring>
#include <vector>

#include "plugin.h"

namespace qxgimp {

namespace {

struct BufferRef {
    GeglBuffer* buffer;
    explicit BufferRef(GeglBuffer* b) : buffer(b) {}
    ~BufferRef() {
        if (buffer) g_object_unref(buffer);
    }
    BufferRef(const BufferRef&) = delete;
    BufferRef& operator=(const BufferRef&) = delete;
};

}  // namespace

LayerArea checkedLayer(gint32 image, gint32 drawable, const char* procedureTitle) {
    const std::string title = procedureTitle;
    if (!gimp_item_is_valid(drawable) || !gimp_item_is_drawable(drawable))
        throw UserError(title + " needs a layer to work on; there is no active drawable.");
    if (!gimp_item_is_layer(drawable) || gimp_item_is_layer_mask(drawable))
        throw UserError(title + " works on a layer; the active drawable is a channel or a layer mask. Click the "
                                "layer itself in the Layers dialog.");
    if (gimp_item_is_group(drawable))
        throw UserError(title + " works on a plain layer; the active layer is a layer group.");
    if (gimp_image_base_type(image) == GIMP_INDEXED)
        throw UserError(title + " works on RGB or grayscale images; this image is indexed. Convert it first with "
                                "Image > Mode > RGB.");
    LayerArea area;
    area.layer = drawable;
    gimp_drawable_offsets(drawable, &area.x, &area.y);
    area.width = gimp_drawable_width(drawable);
    area.height = gimp_drawable_height(drawable);
    if (area.width < 2 || area.height < 2) throw UserError(title + ": the layer is too small.");
    return area;
}

cv::Mat readLayerPixels(const LayerArea& area) {
    BufferRef buffer(gimp_drawable_get_buffer(area.layer));
    cv::Mat rgba(area.height, area.width, CV_8UC4);
    const GeglRectangle rect = {0, 0, area.width, area.height};
    // Grey layers come as grey colour, higher precisions as 8-bit, linear
    // ones encoded perceptually: babl converts.
    gegl_buffer_get(buffer.buffer, &rect, 1.0, babl_format("R'G'B'A u8"), rgba.data, static_cast<gint>(rgba.step),
                    GEGL_ABYSS_NONE);
    // Red and blue swap places: the library takes blue, green, red.
    for (int y = 0; y < rgba.rows; ++y) {
        unsigned char* p = rgba.ptr(y);
        for (int x = 0; x < rgba.cols; ++x, p += 4) std::swap(p[0], p[2]);
    }
    return rgba;
}

const char* channelByteFormat(gint32 channel, bool linear) {
    if (linear) return "Y u8";
    // A user channel in its own encoding: Y' (perceptual) or Y (linear).
    const char* encoding = babl_format_get_encoding(gimp_drawable_get_format(channel));
    return encoding && std::strncmp(encoding, "Y'", 2) == 0 ? "Y' u8" : "Y u8";
}

cv::Mat readChannelOverLayer(gint32 channel, const LayerArea& area, bool linear) {
    BufferRef buffer(gimp_drawable_get_buffer(channel));
    const char* format = channelByteFormat(channel, linear);
    cv::Mat values(area.height, area.width, CV_8UC1);
    // The channel covers the image; the layer may lie partly outside it, where
    // the abyss reads 0 (not selected, or cut).
    int cx = 0, cy = 0;
    gimp_drawable_offsets(channel, &cx, &cy);
    const GeglRectangle rect = {area.x - cx, area.y - cy, area.width, area.height};
    gegl_buffer_get(buffer.buffer, &rect, 1.0, babl_format(format), values.data, static_cast<gint>(values.step),
                    GEGL_ABYSS_NONE);
    return values;
}

void writeNewDrawable(gint32 drawable, const cv::Mat& values, const char* format) {
    BufferRef buffer(gimp_drawable_get_buffer(drawable));
    const GeglRectangle rect = {0, 0, values.cols, values.rows};
    gegl_buffer_set(buffer.buffer, &rect, 0, babl_format(format), values.data, static_cast<gint>(values.step));
    gegl_buffer_flush(buffer.buffer);
    gimp_drawable_update(drawable, 0, 0, values.cols, values.rows);
}

void writeLayerColours(const LayerArea& area, const cv::Mat& colours, const cv::Mat& where) {
    {
        BufferRef source(gimp_drawable_get_buffer(area.layer));
        BufferRef shadow(gimp_drawable_get_shadow_buffer(area.layer));
        // The shadow starts as an exact copy in the layer's own format, then only
        // the chosen pixels are written, run by run: the rest keep every bit, at
        // any precision.
        gegl_buffer_copy(source.buffer, nullptr, GEGL_ABYSS_NONE, shadow.buffer, nullptr);
        const Babl* rgba = babl_format("R'G'B'A u8");
        for (int y = 0; y < area.height; ++y) {
            const unsigned char* w = where.ptr(y);
            const unsigned char* c = colours.ptr(y);
            for (int x = 0; x < area.width;) {
                if (!w[x]) {
                    ++x;
                    continue;
                }
                int end = x;
                while (end < area.width && w[end]) ++end;
                // Keep the layer's own alpha; take the colour in GIMP's byte order.
                std::vector<unsigned char> old(static_cast<std::size_t>(end - x) * 4);
                const GeglRectangle rect = {x, y, end - x, 1};
                gegl_buffer_get(source.buffer, &rect, 1.0, rgba, old.data(), GEGL_AUTO_ROWSTRIDE, GEGL_ABYSS_NONE);
                for (int i = 0; i < end - x; ++i) {
                    const unsigned char* p = c + 4 * (x + i);
                    old[4 * i + 0] = p[2];
                    old[4 * i + 1] = p[1];
                    old[4 * i + 2] = p[0];
                }
                gegl_buffer_set(shadow.buffer, &rect, 0, rgba, old.data(), GEGL_AUTO_ROWSTRIDE);
                x = end;
            }
        }
        gegl_buffer_flush(shadow.buffer);
    }
    gimp_drawable_merge_shadow(area.layer, TRUE);
    gimp_drawable_update(area.layer, 0, 0, area.width, area.height);
}

}  // namespace qxgimp
