// The host's GrabCut road (qxhost::grabCutSelection, one pass) against a
// full-size cv::grabCut with 5 iterations on the same rectangle, on
// photographs with a known object: the astronaut sample, its alpha solved
// from its trimap, composited over nature photographs at 1 and 8 megapixels,
// once inside the picture and once touching its bottom edge as a portrait's
// body does. The rectangle is the object's box made 5% larger each way. The
// table gives each road's IoU with the object (alpha at least one half) and
// seconds, wall and processor, measured in this process (the road's the
// least of three runs).
//
// The photographs come from the Debian package mate-backgrounds
// (apt-get install mate-backgrounds, /usr/share/backgrounds/mate/nature);
// QX_BACKGROUNDS names another folder. QX_SAMPLES names the samples folder.
// Arguments: "quick" runs 1 MP only, "8mp" the 8 MP rows only; QX_PASSES sets
// the road's passes (1); QX_ONLY=TEXT runs only the cases whose name
// (1MP_Wood_strands_edge) contains TEXT; QX_FULL_CACHE=DIR reuses the full
// cuts (and their seconds) kept there by an earlier run.
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include "measure.h"
#include "qxhost.h"
#include "support/strand_composite.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Timer {
    Clock::time_point wall = Clock::now();
    double cpu = cpuSeconds();
    double wallSeconds() const { return std::chrono::duration<double>(Clock::now() - wall).count(); }
    double cpuUsed() const { return cpuSeconds() - cpu; }
};

double iou(const cv::Mat& a, const cv::Mat& b) {
    const double both = cv::countNonZero(a & b), either = cv::countNonZero(a | b);
    return either > 0 ? both / either : 1.0;
}

// The background resized and cropped to fill `size`.
cv::Mat cover(const cv::Mat& photo, cv::Size size) {
    const double s = std::max(double(size.width) / photo.cols, double(size.height) / photo.rows);
    cv::Mat scaled;
    cv::resize(photo, scaled, cv::Size(int(std::ceil(photo.cols * s)), int(std::ceil(photo.rows * s))), 0, 0,
               cv::INTER_AREA);
    return scaled(cv::Rect((scaled.cols - size.width) / 2, (scaled.rows - size.height) / 2, size.width, size.height))
        .clone();
}

struct Case {
    cv::Mat image, truth;
    cv::Rect rect;
};

// The object's box made 5% larger each way, inside the picture.
cv::Rect rectAround(const cv::Mat& truth) {
    const cv::Rect box = cv::boundingRect(truth);
    const int dx = int(std::lround(0.025 * box.width)), dy = int(std::lround(0.025 * box.height));
    return cv::Rect(box.x - dx, box.y - dy, box.width + 2 * dx, box.height + 2 * dy) &
           cv::Rect(0, 0, truth.cols, truth.rows);
}

// The object, 70% of the picture's height, at horizontal position `across`
// (0 to 1), its bottom at 90% of the height or on the bottom edge.
Case composite(const cv::Mat& background, const cv::Mat& object, const cv::Mat& alpha, double across, bool touching) {
    Case c;
    c.image = background.clone();
    const int h = int(0.7 * background.rows), w = int(std::lround(double(object.cols) * h / object.rows));
    cv::Mat fg, a;
    cv::resize(object, fg, cv::Size(w, h), 0, 0, cv::INTER_CUBIC);
    cv::resize(alpha, a, cv::Size(w, h), 0, 0, cv::INTER_LINEAR);
    const int bottom = touching ? background.rows : int(0.9 * background.rows);
    const cv::Rect place(int(across * (background.cols - w)), bottom - h, w, h);
    cv::Mat region = c.image(place);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const double t = a.at<unsigned char>(y, x) / 255.0;
            cv::Vec3b& p = region.at<cv::Vec3b>(y, x);
            const cv::Vec3b f = fg.at<cv::Vec3b>(y, x);
            for (int k = 0; k < 3; ++k) p[k] = cv::saturate_cast<unsigned char>(t * f[k] + (1 - t) * p[k]);
        }
    c.truth = cv::Mat::zeros(background.size(), CV_8UC1);
    cv::Mat(a >= 128).copyTo(c.truth(place));
    c.rect = rectAround(c.truth);
    return c;
}

// The strand object of the matting benches (a body with strands of 1 to 3
// pixels fanning out of it, `texture` showing through it), standing on the
// bottom edge or on a line at 90% of the height.
Case strands(const cv::Mat& background, const cv::Mat& texture, bool touching) {
    Case c;
    c.image = background.clone();
    const cv::Rect place(0, 0, background.cols, touching ? background.rows : int(0.9 * background.rows));
    const qxtest::StrandCase s = qxtest::makeStrandCase(texture, background(place).clone(), place.size(), 0.4, 1);  // the strands at full length
    s.image.copyTo(c.image(place));
    c.truth = cv::Mat::zeros(background.size(), CV_8UC1);
    cv::Mat(s.alpha >= 128).copyTo(c.truth(place));
    c.rect = rectAround(c.truth);
    return c;
}

// The road runs this many times on each case and its seconds are the least:
// one run of a few tenths of a second varies by a third with what else the
// machine does.
constexpr int kRoadRuns = 3;

struct Row {
    double ours = 0, full = 0, oursWall = 0, oursCpu = 0, fullWall = 0, fullCpu = 0;
};

// With QX_BENCH_OUT set, each case's picture with both selections drawn
// (ours red, the full-size cut green, the object blue) is written there,
// with the bare picture and the selections as filled masks beside it.
void writeView(const Case& c, const cv::Mat& ours, const cv::Mat& full, const std::string& name) {
    const char* dir = std::getenv("QX_BENCH_OUT");
    if (!dir) return;
    cv::Mat view = c.image.clone();
    std::vector<std::vector<cv::Point>> contours;
    const cv::Scalar colours[3] = {cv::Scalar(255, 0, 0), cv::Scalar(0, 255, 0), cv::Scalar(0, 0, 255)};
    const cv::Mat masks[3] = {c.truth, full, ours};
    for (int i = 0; i < 3; ++i) {
        cv::findContours(masks[i].clone(), contours, cv::RETR_LIST, cv::CHAIN_APPROX_SIMPLE);
        cv::drawContours(view, contours, -1, colours[i], std::max(1, c.image.cols / 600));
    }
    cv::rectangle(view, c.rect, cv::Scalar(255, 255, 255), 1);
    cv::imwrite(std::string(dir) + "/" + name + ".png", view);
    // The picture without outlines and the three selections as one picture's
    // channels (object blue, full cut green, road red: white where all agree).
    cv::imwrite(std::string(dir) + "/" + name + "_picture.png", c.image);
    cv::Mat selections;
    cv::merge(std::vector<cv::Mat>{c.truth, full, ours}, selections);
    cv::imwrite(std::string(dir) + "/" + name + "_masks.png", selections);
}

Row measure(const Case& c, const std::string& name) {
    Row r;
    const char* passes = std::getenv("QX_PASSES");
    cv::Mat selection;
    for (int run = 0; run < kRoadRuns; ++run) {
        Timer t;
        const cv::Mat again = qxhost::grabCutSelection(c.image, cv::Mat(), c.rect, passes ? std::atoi(passes) : 1);
        const double wall = t.wallSeconds(), cpu = t.cpuUsed();
        if (run == 0 || wall < r.oursWall) r.oursWall = wall;
        if (run == 0 || cpu < r.oursCpu) r.oursCpu = cpu;
        if (run > 0 && cv::countNonZero(again != selection) != 0)
            std::fprintf(stderr, "%s: the road gave a different selection on run %d\n", name.c_str(), run + 1);
        selection = again;
    }
    r.ours = iou(selection != 0, c.truth);
    // QX_FULL_CACHE=DIR keeps each case's full cut and its seconds there, so
    // trying a change of the road does not pay for the full cut again.
    const char* cacheDir = std::getenv("QX_FULL_CACHE");
    const std::string cache = cacheDir ? std::string(cacheDir) + "/" + name : std::string();
    cv::Mat full;
    if (cacheDir) {
        if (FILE* f = std::fopen((cache + ".txt").c_str(), "r")) {
            if (std::fscanf(f, "%lf %lf", &r.fullWall, &r.fullCpu) == 2)
                full = cv::imread(cache + ".png", cv::IMREAD_GRAYSCALE);
            std::fclose(f);
        }
    }
    if (full.empty()) {
        cv::Mat states, bgd, fgd;
        const cv::RNG saved = cv::theRNG();
        cv::theRNG() = cv::RNG();
        Timer f;
        cv::grabCut(c.image, states, c.rect, bgd, fgd, 5, cv::GC_INIT_WITH_RECT);
        r.fullWall = f.wallSeconds();
        r.fullCpu = f.cpuUsed();
        cv::theRNG() = saved;
        full = (states & 1) != 0;
        if (cacheDir) {
            cv::imwrite(cache + ".png", full);
            if (FILE* out = std::fopen((cache + ".txt").c_str(), "w")) {
                std::fprintf(out, "%.6f %.6f\n", r.fullWall, r.fullCpu);
                std::fclose(out);
            }
        }
    }
    r.full = iou(full, c.truth);
    writeView(c, selection != 0, full, name);
    return r;
}

}  // namespace

int main(int argc, char** argv) {
    const bool quick = argc > 1 && std::strcmp(argv[1], "quick") == 0;
    const bool only8 = argc > 1 && std::strcmp(argv[1], "8mp") == 0;
    const char* only = std::getenv("QX_ONLY");
    const char* samplesEnv = std::getenv("QX_SAMPLES");
    const std::string samples = samplesEnv ? samplesEnv : "samples";
    const char* photosEnv = std::getenv("QX_BACKGROUNDS");
    const std::string photos = photosEnv ? photosEnv : "/usr/share/backgrounds/mate/nature";
    const cv::Mat object = cv::imread(samples + "/astronaut.png", cv::IMREAD_COLOR);
    const cv::Mat trimap = cv::imread(samples + "/astronaut_trimap.png", cv::IMREAD_GRAYSCALE);
    if (object.empty() || trimap.empty()) {
        std::fprintf(stderr, "astronaut.png and astronaut_trimap.png not found in %s (set QX_SAMPLES)\n",
                     samples.c_str());
        return 1;
    }
    const cv::Mat alpha = qxhost::solveAlpha(object, trimap);
    const cv::Mat texture = cv::imread(samples + "/coffee.png", cv::IMREAD_COLOR);
    if (texture.empty()) {
        std::fprintf(stderr, "coffee.png not found in %s (set QX_SAMPLES)\n", samples.c_str());
        return 1;
    }

    const char* names[] = {"Garden", "Dune", "Wood", "Aqua", "GreenMeadow", "Storm", "LadyBird", "YellowFlower",
                           "Blinds", "FreshFlower", "RainDrops", "TwoWings"};
    struct Size {
        const char* label;
        cv::Size size;
        int photos;  // the full-size cut takes minutes at 8 MP: fewer photographs there
    };
    std::vector<Size> sizes;
    if (!only8) sizes.push_back({"1MP", cv::Size(1224, 816), static_cast<int>(std::size(names))});
    if (!quick) sizes.push_back({"8MP", cv::Size(3464, 2309), 2});

    std::printf("GrabCut from a rectangle 5%% larger than the object: the host's road (one pass) against a\n"
                "full-size cv::grabCut with 5 iterations. IoU with the object; seconds wall and processor\n"
                "(the road's the least of %d runs); speed is the full cut's processor seconds over the road's.\n\n",
                kRoadRuns);
    std::printf("%-5s %-13s %-9s %-7s %7s %7s %7s | %7s %7s %8s %8s %7s\n", "size", "photograph", "object", "place",
                "IoU", "full", "diff", "s", "cpu", "full s", "full cpu", "speed");
    for (const Size& s : sizes) {
        double sumDiff = 0, worst = 1, sumOurs = 0, sumFull = 0, slowest = 1e9;
        int n = 0;
        for (int i = 0; i < s.photos; ++i) {
            const std::string path = photos + "/" + names[i] + ".jpg";
            const cv::Mat photo = cv::imread(path, cv::IMREAD_COLOR);
            if (photo.empty()) {
                std::printf("%s missing: apt-get install mate-backgrounds, or set QX_BACKGROUNDS\n", path.c_str());
                continue;
            }
            const cv::Mat background = cover(photo, s.size);
            for (const char* kind : {"astronaut", "strands"})
                for (bool touching : {false, true}) {
                    const std::string name =
                        std::string(s.label) + "_" + names[i] + "_" + kind + (touching ? "_edge" : "_padded");
                    if (only && name.find(only) == std::string::npos) continue;
                    const Case c = std::strcmp(kind, "strands") == 0
                                       ? strands(background, texture, touching)
                                       : composite(background, object, alpha, (i % 3) * 0.4 + 0.1, touching);
                    const Row r = measure(c, name);
                    const double diff = r.ours - r.full, speed = r.fullCpu / r.oursCpu;
                    sumDiff += diff, sumOurs += r.ours, sumFull += r.full, worst = std::min(worst, diff), ++n;
                    slowest = std::min(slowest, speed);
                    std::printf("%-5s %-13s %-9s %-7s %7.4f %7.4f %+7.4f | %7.3f %7.3f %8.2f %8.2f %6.1fx\n",
                                s.label, names[i], kind, touching ? "edge" : "padded", r.ours, r.full, diff,
                                r.oursWall, r.oursCpu, r.fullWall, r.fullCpu, speed);
                    std::fflush(stdout);
                }
        }
        if (n)
            std::printf("%-5s %-13s %-9s %-7s %7.4f %7.4f %+7.4f   (worst %+.4f, slowest %.1fx)\n\n", s.label, "mean",
                        "", "", sumOurs / n, sumFull / n, sumDiff / n, worst, slowest);
    }
    return 0;
}
