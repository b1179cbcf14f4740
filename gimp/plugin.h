// qxmatte-gimp: the GIMP 2.10 plug-in. Shared pieces of its procedures:
// names, parameters, pixel access to layers and channels, progress, dialogs.
#pragma once

#include <libgimp/gimp.h>
#include <opencv2/core.hpp>

#include <stdexcept>
#include <string>

namespace qxgimp {

constexpr const char* kRefineProc = "plug-in-qxmatte-refine-edge";
constexpr const char* kGrabCutProc = "plug-in-qxmatte-grabcut";
constexpr const char* kMenuPath = "<Image>/Select/Cut-out";

// Thrown by the procedures with a sentence for the user; the run function
// returns it as the execution error of the call. Nothing in the image has
// changed when it is thrown.
struct UserError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// ---- Refine selection edge -------------------------------------------------

enum ColourChoice { kColoursNone = 0, kColoursFull = 1, kColoursLibrary = 2 };

struct RefineParams {
    gint32 bandWidth = 16;            // unknown band across the selection's edge, pixels
    gint32 colours = kColoursFull;    // ColourChoice: recover and write colours, and how
    gint32 fullSize = 1;              // 1 the full-size tile path, 0 the half-size one
    gint32 trimapChannel = -1;        // a channel holding a trimap, or -1: the selection
};
void runRefine(gint32 image, gint32 drawable, const RefineParams& params);

// ---- GrabCut from selection ------------------------------------------------

enum GrabMarks { kGrabFromBox = 0, kGrabFromSelection = 1 };
enum GrabOutput { kOutputSelection = 0, kOutputTrimap = 1 };

struct GrabCutParams {
    gint32 marksFrom = kGrabFromBox;     // GrabMarks
    gint32 output = kOutputSelection;    // GrabOutput
    gint32 bandWidth = 16;               // unknown band of the trimap output, pixels
};
// Returns the trimap channel made, or -1 when the result became the selection.
gint32 runGrabCut(gint32 image, gint32 drawable, const GrabCutParams& params);

// ---- dialogs (dialogs.cpp): false when the user cancels ------------------------

bool refineDialog(gint32 image, RefineParams& params);
bool grabCutDialog(GrabCutParams& params);

// ---- pixels (layer_pixels.cpp) ----------------------------------------------

// The layer the procedures work on, checked: a layer (not a mask or channel)
// of an RGB or grey image at any precision. Throws UserError otherwise.
struct LayerArea {
    gint32 layer = -1;
    int x = 0, y = 0;            // offsets in the image
    int width = 0, height = 0;
};
LayerArea checkedLayer(gint32 image, gint32 drawable, const char* procedureTitle);

// The layer's pixels as four bytes a pixel in the library's order (blue,
// green, red, alpha), 8-bit perceptual whatever the layer's own format.
cv::Mat readLayerPixels(const LayerArea& area);

// The 8-bit babl format in which a channel's bytes are read or written:
// linear coverage ("Y u8", the selection and masks) or, for user channels,
// the channel's own encoding, so that a trimap keeps the bytes it was painted
// with.
const char* channelByteFormat(gint32 channel, bool linear);

// A channel (the selection, a user channel) over the layer's area as 8-bit.
// linear: as for channelByteFormat.
cv::Mat readChannelOverLayer(gint32 channel, const LayerArea& area, bool linear);

// Writes a one-byte image into a drawable's buffer as is, without undo (for a
// mask or channel not yet attached to the image).
void writeNewDrawable(gint32 drawable, const cv::Mat& values, const char* format);

// Writes colours (four bytes a pixel, library order) into the layer where
// `where` is non-zero, through the shadow buffer (one undo step with the
// caller's group); the layer's other pixels keep their exact values.
void writeLayerColours(const LayerArea& area, const cv::Mat& colours, const cv::Mat& where);

// ---- progress (progress.cpp) --------------------------------------------------

// Forwards the library's progress callback to GIMP's progress bar: the call's
// share of the bar runs from `from` to `to`.
struct ProgressSpan {
    double from = 0.0, to = 1.0;
    int lastPermille = -1;
};
int progressToGimp(int value, int total, void* span);

}  // namespace qxgimp
