// Refine Selection Edge: marks from the selection (or a trimap channel), a
// full-size soft alpha over the whole layer by the host's any-size road, and
// the result as the
// layer's mask, with recovered edge colours written into the layer if asked.
// Everything is computed before the image is touched, so a failure changes
// nothing; the changes then go in as one undo step.
#include <opencv2/core.hpp>

#include "plugin.h"
#include "qxhost.h"

namespace qxgimp {

namespace {

const char* const kTitle = "Refine Selection Edge";

void checkParams(gint32 image, const RefineParams& p) {
    if (p.colours < kColoursNone || p.colours > kColoursLibrary)
        throw UserError("Refine Selection Edge: colours must be 0 (none), 1 (full resolution) or 2 (reduced "
                        "scale), not " + std::to_string(p.colours) + ".");
    if (p.fullSize != 0 && p.fullSize != 1)
        throw UserError("Refine Selection Edge: full-size must be 1 (full size) or 0 (half size), not " +
                        std::to_string(p.fullSize) + ".");
    if (p.trimapChannel == -1) {
        if (p.bandWidth < 2 || p.bandWidth > 400)
            throw UserError("Refine Selection Edge: the band width must be from 2 to 400 pixels, not " +
                            std::to_string(p.bandWidth) + ".");
        if (gimp_selection_is_empty(image))
            throw UserError("Refine Selection Edge needs a selection around the object (or a trimap channel); "
                            "the image has no selection.");
        return;
    }
    if (!gimp_item_is_valid(p.trimapChannel) || !gimp_item_is_channel(p.trimapChannel) ||
        gimp_item_is_layer_mask(p.trimapChannel) || gimp_item_get_image(p.trimapChannel) != image)
        throw UserError("Refine Selection Edge: the trimap (" + std::to_string(p.trimapChannel) +
                        ") is not a channel of this image.");
}

// The marks of the layer's area: 0x01 fixed cut, 0xFF fixed keep, 0x7E unknown.
cv::Mat layerMarks(gint32 image, const LayerArea& area, const RefineParams& p) {
    if (p.trimapChannel != -1)
        return qxhost::marksFromTrimap(readChannelOverLayer(p.trimapChannel, area, false));
    // The selection counts as inside from half selected on, as GIMP draws it.
    const cv::Mat inside = readChannelOverLayer(gimp_image_get_selection(image), area, true) >= 128;
    return qxhost::marksFromSelection(inside, p.bandWidth);
}

// The marks allow no solve: say which class is missing, in the user's terms.
std::string whyNoSolve(const cv::Mat& marks, const RefineParams& p) {
    const bool noKeep = cv::countNonZero(marks == qxhost::kMarkKeep) == 0;
    const bool noCut = cv::countNonZero(marks == qxhost::kMarkCut) == 0;
    if (p.trimapChannel != -1) {
        gchar* owned = gimp_item_get_name(p.trimapChannel);
        const std::string name = owned ? owned : "";
        g_free(owned);
        if (noKeep) return "The trimap channel \"" + name + "\" marks nothing to keep (255) on this layer.";
        if (noCut) return "The trimap channel \"" + name + "\" marks nothing to cut (0) on this layer.";
        return "The trimap channel \"" + name + "\" leaves too few unknown pixels to solve.";
    }
    const std::string band = std::to_string(p.bandWidth);
    if (noKeep)
        return "Nothing is left to keep: the selection has no inside beyond its edge band of " + band +
               " pixels. Select more of the object or use a narrower band.";
    if (noCut)
        return "Nothing is left to cut: the selection and its edge band of " + band +
               " pixels cover the whole layer. Select less of it.";
    return "The selection's edge leaves too few unknown pixels to solve.";
}

// Layer mask and colours, one undo step.
void writeResult(gint32 image, const LayerArea& area, const cv::Mat& alpha, const cv::Mat* colours) {
    gimp_image_undo_group_start(image);
    if (!gimp_drawable_has_alpha(area.layer)) gimp_layer_add_alpha(area.layer);
    if (colours) {
        // The shadow buffer merges only inside the selection: lift it meanwhile.
        gint32 saved = -1;
        if (!gimp_selection_is_empty(image)) {
            saved = gimp_selection_save(image);
            gimp_selection_none(image);
        }
        writeLayerColours(area, *colours, (alpha > 0) & (alpha < 255));
        if (saved != -1) {
            gimp_image_select_item(image, GIMP_CHANNEL_OP_REPLACE, saved);
            gimp_image_remove_channel(image, saved);
        }
    }
    if (gimp_layer_get_mask(area.layer) != -1) gimp_layer_remove_mask(area.layer, GIMP_MASK_DISCARD);
    const gint32 mask = gimp_layer_create_mask(area.layer, GIMP_ADD_MASK_WHITE);
    // Masks hold linear coverage: the alpha goes in as "Y u8".
    writeNewDrawable(mask, alpha, "Y u8");
    gimp_layer_add_mask(area.layer, mask);
    gimp_image_undo_group_end(image);
}

}  // namespace

void runRefine(gint32 image, gint32 drawable, const RefineParams& p) {
    const LayerArea area = checkedLayer(image, drawable, kTitle);
    checkParams(image, p);
    cv::Mat marks = layerMarks(image, area, p);
    cv::Mat pixels = readLayerPixels(area);
    cv::Mat out = pixels.clone();
    const bool noKeep = cv::countNonZero(marks == qxhost::kMarkKeep) == 0;
    const bool noCut = cv::countNonZero(marks == qxhost::kMarkCut) == 0;
    if (noKeep || noCut || cv::countNonZero(marks == qxhost::kMarkUnknown) < 3)
        throw UserError(whyNoSolve(marks, p));

    const bool fullColours = p.colours == kColoursFull;
    ProgressSpan solveSpan{0.0, fullColours ? 0.85 : 1.0};
    gimp_progress_init("Refining the selection edge");
    // The road picks the route that fits the layer and the memory: one solve,
    // tiles, full-size pieces or, only when nothing else fits, a reduced scale.
    qxhost::RoadSettings road;
    road.halfTiles = p.fullSize == 0;
    road.colours = p.colours == kColoursLibrary;
    road.colourMethod = qxhost::ColourMethod::Cell;  // the library's own recovery
    qxhost::RoadResult solved;
    try {
        solved = qxhost::solveAnySize(pixels, qxhost::trimapFromMarks(marks), road,
                                      qxhost::Progress{progressToGimp, &solveSpan});
    } catch (const qxhost::LibraryFailure& f) {
        if (f.value == -5) throw UserError(whyNoSolve(marks, p) + " (" + f.what() + ")");
        throw;
    }
    g_printerr("%s: route %s: %s\n", kTitle, qxhost::routeName(solved.plan.route), solved.plan.reason.c_str());
    if (!solved.notice.empty()) gimp_message((std::string(kTitle) + ": " + solved.notice + ".").c_str());
    const cv::Mat& alpha = solved.alpha;
    if (road.colours) {
        cv::Mat channels[4], colour[3];
        cv::split(pixels, channels);
        cv::split(solved.colours, colour);
        const cv::Mat merged[4] = {colour[0], colour[1], colour[2], channels[3]};
        cv::merge(merged, 4, out);
    }

    if (fullColours) {
        ProgressSpan colourSpan{0.85, 1.0};
        gimp_progress_set_text("Recovering the edge colours");
        const cv::Mat bgr = qxhost::recoverColours(pixels, alpha, qxhost::ColourMethod::FullResolution,
                                                   qxhost::Progress{progressToGimp, &colourSpan});
        cv::Mat channels[4];
        cv::split(pixels, channels);
        cv::Mat colour[3];
        cv::split(bgr, colour);
        const cv::Mat merged[4] = {colour[0], colour[1], colour[2], channels[3]};
        cv::merge(merged, 4, out);
    }
    writeResult(image, area, alpha, p.colours == kColoursNone ? nullptr : &out);
    gimp_progress_update(1.0);
}

}  // namespace qxgimp
