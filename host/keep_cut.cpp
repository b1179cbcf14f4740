// qxKeepCutToAlpha on cv::Mat images: the finishing step of a cut-out at any
// size, and the re-solve of one edited rectangle.
#include "argument_checks.h"
#include "job_record.h"
#include "qxhost.h"

namespace qxhost {

cv::Mat keepCutToAlpha(const cv::Mat& image, const cv::Mat& marks, const CutoutSettings& settings,
                       Progress progress, cv::Mat* colours) {
    requireDepth8(image, "the image", (1u << 3) | (1u << 4));
    requireDepth8(marks, "the marks", 1u << 1);
    requireSameSize(image, "the image", marks, "the marks");
    const cv::Rect whole(0, 0, image.cols, image.rows);
    const cv::Rect rect = settings.edit.empty() ? whole : settings.edit;
    if ((rect & whole) != rect)
        throw std::invalid_argument("the edited rectangle " + std::to_string(rect.width) + "x" +
                                    std::to_string(rect.height) + " at " + std::to_string(rect.x) + "," +
                                    std::to_string(rect.y) + " does not lie inside the " +
                                    std::to_string(image.cols) + "x" + std::to_string(image.rows) + " image");
    if (!settings.edit.empty() && settings.border < 1)
        throw std::invalid_argument("an edited rectangle needs a border of at least 1 pixel");

    cv::Mat pixels = toFourByte(image);
    cv::Mat out = settings.previousColours.empty() ? pixels.clone() : toFourByte(settings.previousColours);
    cv::Mat mask = marks.clone();
    cv::Mat aux = settings.hostMarks.empty() ? marks.clone() : settings.hostMarks.clone();
    QxJob job = jobOver(pixels, mask, &out, aux, progress);
    job.roiX = rect.x;
    job.roiY = rect.y;
    job.roiWidth = rect.width;
    job.roiHeight = rect.height;
    job.roiBorder = settings.edit.empty() ? 0 : settings.border;
    job.recoverColors = settings.designColours ? 1 : 0;
    job.keepCutMode = settings.mode;
    checkReturn("qxKeepCutToAlpha", qxKeepCutToAlpha(&job, settings.fullSize ? 1 : 0));

    // A fixed cut leaves as 0x01 and other fixed values odd: as alpha, 1 is 0.
    mask.setTo(0, mask == kMarkCut);
    if (colours) *colours = toThreeByte(out);
    return mask;
}

cv::Mat prepareEdit(const cv::Mat& marks, const cv::Mat& previous, CutoutSettings& settings) {
    requireDepth8(marks, "the marks", 1u << 1);
    requireDepth8(previous, "the earlier cut-out", 1u << 4);
    requireSameSize(marks, "the marks", previous, "the earlier cut-out");
    cv::Mat earlier;
    cv::extractChannel(previous, earlier, 3);
    settings.hostMarks = marks.clone();
    settings.previousColours = previous;
    // The earlier alpha is soft (even) wherever the marks leave it free.
    cv::Mat edited = marks.clone();
    cv::Mat free = (marks != kMarkCut) & (marks != kMarkKeep);
    cv::Mat soft = earlier & 0xFE;
    soft.copyTo(edited, free);
    return edited;
}

void finishEdit(const cv::Mat& previous, const cv::Mat& marks, const CutoutSettings& settings, cv::Mat& cutout) {
    const cv::Rect r = settings.edit;
    cv::Mat earlier, now;
    cv::extractChannel(previous(r), earlier, 3);
    cv::extractChannel(cutout(r), now, 3);
    const cv::Mat free = (marks(r) != kMarkCut) & (marks(r) != kMarkKeep);
    cv::Mat merged = now.clone();
    if (settings.mode == 1) cv::max(now, earlier, merged);
    if (settings.mode == 0) cv::min(now, earlier, merged);
    merged.copyTo(now, free);
    cv::Mat edited = cutout(r).clone();
    cv::insertChannel(now, edited, 3);
    cutout = previous.clone();
    edited.copyTo(cutout(r));
}

void estimateForegroundInside(const cv::Mat& image, const cv::Mat& alpha, const cv::Rect& rect, cv::Mat& colours,
                              Progress progress) {
    if ((rect & cv::Rect(0, 0, image.cols, image.rows)) != rect || rect.empty())
        throw std::invalid_argument("the rectangle to colour does not lie inside the image");
    const int margin = 16;
    cv::Rect around(rect.x - margin, rect.y - margin, rect.width + 2 * margin, rect.height + 2 * margin);
    around &= cv::Rect(0, 0, image.cols, image.rows);
    cv::Mat fg = estimateForeground(image(around), alpha(around), {}, progress);
    fg(rect - around.tl()).copyTo(colours(rect));
}

}  // namespace qxhost
