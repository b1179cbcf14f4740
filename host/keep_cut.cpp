// qxKeepCutToAlpha on cv::Mat images: the finishing step of a cut-out at any
// size, and the re-solve of one edited rectangle.
#include "argument_checks.h"
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
    QxJob job{};
    job.imagePixels = pixels.data;
    job.imageStep = static_cast<int>(pixels.step);
    job.maskPixels = mask.data;
    job.maskStep = static_cast<int>(mask.step);
    job.outPixels = out.data;
    job.outStep = static_cast<int>(out.step);
    job.auxPixels = aux.data;
    job.auxStep = static_cast<int>(aux.step);
    job.width = image.cols;
    job.height = image.rows;
    job.roiX = rect.x;
    job.roiY = rect.y;
    job.roiWidth = rect.width;
    job.roiHeight = rect.height;
    job.roiBorder = settings.edit.empty() ? 0 : settings.border;
    job.recoverColors = settings.designColours ? 1 : 0;
    job.keepCutMode = settings.mode;
    job.progressCallback = progress.function;
    job.progressCookie = progress.cookie;
    checkReturn("qxKeepCutToAlpha", qxKeepCutToAlpha(&job, settings.fullSize ? 1 : 0));

    // A fixed cut leaves as 0x01 and other fixed values odd: as alpha, 1 is 0.
    mask.setTo(0, mask == kMarkCut);
    if (colours) *colours = toThreeByte(out);
    return mask;
}

}  // namespace qxhost
