// GrabCut from Selection: the selection's bounding box through the host's
// GrabCut road (or the selection itself as the first guess through one
// session of the library), and the result as the new selection or as a
// trimap channel.
#include <algorithm>

#include "plugin.h"
#include "job_record.h"
#include "qxhost.h"

namespace qxgimp {

namespace {

const char* const kTitle = "GrabCut from Selection";

// Ends the library's session however the procedure leaves; the call also
// fixes the certain pixels of the result.
struct Session {
    QxJob& job;
    bool ended = false;
    explicit Session(QxJob& j) : job(j) {}
    void end() {
        if (!ended) qxGrabCutDeleteBuf(&job);
        ended = true;
        job.grabCutSession = nullptr;
    }
    ~Session() {
        if (!ended && job.grabCutSession) {
            try {
                end();
            } catch (...) {
            }
        }
    }
};

struct Rect {
    int x, y, width, height;
};

// The selection's box on the layer with a margin, grown to the smallest size
// the segmentation takes where the layer allows. The library works on a
// reduced copy of this region, whose size it limits (qxhost::grabCutAccepts).
Rect workingRegion(gint32 image, const LayerArea& area) {
    gboolean nonEmpty = FALSE;
    gint x1, y1, x2, y2;
    gimp_selection_bounds(image, &nonEmpty, &x1, &y1, &x2, &y2);
    if (!nonEmpty)
        throw UserError("GrabCut from Selection needs a rough selection around the object (a rectangle will do); "
                        "the image has no selection.");
    x1 = std::max(x1 - area.x, 0), x2 = std::min(x2 - area.x, area.width);
    y1 = std::max(y1 - area.y, 0), y2 = std::min(y2 - area.y, area.height);
    if (x1 >= x2 || y1 >= y2) throw UserError("GrabCut from Selection: the selection lies outside the active layer.");
    // A margin of background around the box feeds the background model.
    const int margin = std::max(10, std::max(x2 - x1, y2 - y1) / 10);
    Rect r{std::max(x1 - margin, 0), std::max(y1 - margin, 0), 0, 0};
    r.width = std::min(x2 + margin, area.width) - r.x;
    r.height = std::min(y2 + margin, area.height) - r.y;
    auto grow = [](int& start, int& length, int want, int limit) {
        if (length >= want) return;
        start = std::max(0, std::min(start - (want - length) / 2, limit - want));
        length = std::min(want, limit);
    };
    if (std::max(r.width, r.height) < 101) {
        if (r.width >= r.height) grow(r.x, r.width, 101, area.width);
        else grow(r.y, r.height, 101, area.height);
    }
    const int side = std::max(r.width, r.height);
    if (side < 101)
        throw UserError("GrabCut from Selection needs a layer at least 101 pixels wide or high; this one is " +
                        std::to_string(area.width) + " by " + std::to_string(area.height) + ".");
    if (side > qxhost::kGrabCutMaxSide)
        throw UserError("GrabCut from Selection works on a box of at most " + std::to_string(qxhost::kGrabCutMaxSide) +
                        " pixels on its longer side; the selection's box with its margin is " + std::to_string(side) +
                        ". Select a smaller area or scale the image down.");
    if (!qxhost::grabCutAccepts(r.width, r.height))
        throw UserError("GrabCut from Selection: the selection's box is too narrow for its length (" +
                        std::to_string(r.width) + " by " + std::to_string(r.height) +
                        " pixels with its margin); select a wider area.");
    return r;
}

// The marks: outside the selection's box fixed cut; inside it soft keep, or
// with marks from the selection soft keep where selected and soft cut where
// not.
cv::Mat startMarks(gint32 image, const LayerArea& area, const GrabCutParams& p) {
    gboolean nonEmpty = FALSE;
    gint x1, y1, x2, y2;
    gimp_selection_bounds(image, &nonEmpty, &x1, &y1, &x2, &y2);
    const cv::Rect box = cv::Rect(x1 - area.x, y1 - area.y, x2 - x1, y2 - y1) & cv::Rect(0, 0, area.width, area.height);
    cv::Mat marks(area.height, area.width, CV_8UC1, cv::Scalar(qxhost::kMarkCut));
    if (p.marksFrom == kGrabFromBox) {
        marks(box).setTo(0xFE);
    } else {
        const cv::Mat selected = readChannelOverLayer(gimp_image_get_selection(image), area, true);
        cv::Mat inBox = marks(box);
        inBox.setTo(0x00);
        inBox.setTo(0xFE, selected(box) >= 128);
        if (cv::countNonZero(selected(box) >= 128) == 0)
            throw UserError("GrabCut from Selection: nothing is more than half selected.");
    }
    return marks;
}

// The selection itself as the first guess: one session of the library over
// the selection's box and a margin.
cv::Mat selectionRoad(gint32 image, const LayerArea& area, const GrabCutParams& p) {
    const Rect region = workingRegion(image, area);
    cv::Mat marks = startMarks(image, area, p);
    cv::Mat aux = marks.clone();
    cv::Mat pixels = readLayerPixels(area);

    ProgressSpan span{0.0, 1.0};
    gimp_progress_init("GrabCut: segmenting the selection");
    QxJob job = qxhost::jobOver(pixels, marks, nullptr, aux, qxhost::Progress{progressToGimp, &span});
    job.grabX = region.x;
    job.grabY = region.y;
    job.grabWidth = region.width;
    job.grabHeight = region.height;
    Session session(job);
    qxhost::checkReturn("qxGrabCut", qxGrabCut(&job, 1));
    // The selection takes the plain result; a trimap gets the band.
    qxGrabCutEdgeGen(&job, p.output == kOutputTrimap ? p.bandWidth : 0);
    session.end();

    // 0xFF and 0xFE keep, 0x01 and 0x00 cut, anything else the band.
    cv::Mat values(marks.size(), CV_8UC1, cv::Scalar(128));
    values.setTo(255, marks >= 0xFE);
    values.setTo(0, marks <= 0x01);
    return values;
}

// The selection's box alone: the host's GrabCut road (a fixed-cut margin
// around the box, the edge decided again at full size), selection or trimap
// (0, 128, 255) over the layer.
cv::Mat boxRoad(gint32 image, const LayerArea& area, const GrabCutParams& p) {
    workingRegion(image, area);  // the same refusals as the other road
    gboolean nonEmpty = FALSE;
    gint x1, y1, x2, y2;
    gimp_selection_bounds(image, &nonEmpty, &x1, &y1, &x2, &y2);
    const cv::Rect box = cv::Rect(x1 - area.x, y1 - area.y, x2 - x1, y2 - y1) & cv::Rect(0, 0, area.width, area.height);
    const cv::Mat pixels = readLayerPixels(area);
    ProgressSpan span{0.0, 1.0};
    gimp_progress_init("GrabCut: segmenting the selection's box");
    const qxhost::Progress progress{progressToGimp, &span};
    try {
        if (p.output == kOutputTrimap) {
            qxhost::GrabCutSettings settings;
            settings.bandWidth = p.bandWidth;
            return qxhost::grabCutTrimap(pixels, cv::Mat(), box, settings, progress);
        }
        return qxhost::grabCutSelection(pixels, cv::Mat(), box, 1, progress);
    } catch (const std::invalid_argument& e) {
        throw UserError(std::string("GrabCut from Selection: ") + e.what() + ".");
    }
}

}  // namespace

gint32 runGrabCut(gint32 image, gint32 drawable, const GrabCutParams& p) {
    const LayerArea area = checkedLayer(image, drawable, kTitle);
    if (p.marksFrom != kGrabFromBox && p.marksFrom != kGrabFromSelection)
        throw UserError("GrabCut from Selection: marks must be 0 (the selection's box) or 1 (the selection), not " +
                        std::to_string(p.marksFrom) + ".");
    if (p.output != kOutputSelection && p.output != kOutputTrimap)
        throw UserError("GrabCut from Selection: output must be 0 (selection) or 1 (trimap channel), not " +
                        std::to_string(p.output) + ".");
    if (p.bandWidth < 0 || p.bandWidth > 400)
        throw UserError("GrabCut from Selection: the band width must be from 0 to 400 pixels, not " +
                        std::to_string(p.bandWidth) + ".");
    cv::Mat values;
    if (p.marksFrom == kGrabFromBox) {
        values = boxRoad(image, area, p);
    } else {
        values = selectionRoad(image, area, p);
    }
    if (cv::countNonZero(values == 255) == 0)
        throw UserError("GrabCut from Selection found no object in the selection's box; nothing was changed. Try "
                        "a tighter box, or select the object roughly and choose marks from the selection.");

    // The result over the whole image: cut outside the layer.
    const gint32 width = gimp_image_width(image), height = gimp_image_height(image);
    cv::Mat full(height, width, CV_8UC1, cv::Scalar(0));
    const cv::Rect onImage = cv::Rect(area.x, area.y, area.width, area.height) & cv::Rect(0, 0, width, height);
    values(onImage - cv::Point(area.x, area.y)).copyTo(full(onImage));

    GimpRGB colour;
    gimp_rgba_set(&colour, 0.0, 0.0, 0.0, 1.0);
    gimp_image_undo_group_start(image);
    const gint32 channel = gimp_channel_new(image, "GrabCut trimap", width, height, 50.0, &colour);
    writeNewDrawable(channel, full, channelByteFormat(channel, p.output == kOutputSelection));
    gimp_image_insert_channel(image, channel, -1, 0);
    gint32 result = channel;
    if (p.output == kOutputSelection) {
        gimp_image_select_item(image, GIMP_CHANNEL_OP_REPLACE, channel);
        gimp_image_remove_channel(image, channel);
        result = -1;
    }
    gimp_image_undo_group_end(image);
    gimp_progress_update(1.0);
    return result;
}

}  // namespace qxgimp
