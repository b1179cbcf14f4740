// One road from any image and any trimap to a full-size alpha: check the
// inputs, plan the route, prepare the marks, solve, finish. Steps that want
// to change the marks before the solve (confident pixels, a grown known
// region) belong between the plan and the solve.
#include <opencv2/imgproc.hpp>

#include <malloc.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "argument_checks.h"
#include "job_record.h"
#include "qxhost.h"

namespace qxhost {

namespace {

constexpr int kPieceFrame = 4;  // pixels of the first alpha a piece leans on

// Progress of several library calls as one bar of 1000 a call; one call
// reports with its own total.
struct StagedProgress {
    Progress outer;
    int stage = 0, stages = 1;
    static int relay(int value, int total, void* cookie) {
        const auto* s = static_cast<const StagedProgress*>(cookie);
        const long long within = total > 0 ? 1000LL * std::min(std::max(value, 0), total) / total : 0;
        return s->outer.function(static_cast<int>(s->stage * 1000LL + within), s->stages * 1000, s->outer.cookie);
    }
    Progress next() {
        ++stage;
        return at();
    }
    Progress at() {
        if (!outer.function || stages == 1) return outer;
        return Progress{&StagedProgress::relay, this};
    }
};

// Failure values that say the system or its memory was too large, which a
// smaller route may still get through.
bool sizeOrMemory(const LibraryFailure& f) {
    if (f.exportName == "qxMaskAlpha")
        return f.value == -1001 || f.value == -898 || f.value == -888 || f.value == -887 || f.value == -875 ||
               f.value == -870;
    return f.value == -1 || f.value == 102 || f.value == 112 || f.value == 113 || f.value == 125 || f.value == 130;
}

cv::Mat solveTiles(const cv::Mat& image, const cv::Mat& marks, bool half, Progress progress) {
    CutoutSettings tiles;
    tiles.fullSize = !half;
    return keepCutToAlpha(image, marks, tiles, progress);
}

// The first alpha of the pieces: the mean of half-size tiles and a reduced
// matte of the whole, or the matte alone when a half-size tile is still too
// large. Each alone was the better frame on one kind of band and the worse
// on the other (bench_host_any_size, 7.6 MP: SAD 413 and 840 with the tiles,
// 427 and 662 with the matte, 408 and 723 with the mean, at 40% and 49%
// unknown; half-size tiles alone give 429 and 852).
cv::Mat firstAlpha(const cv::Mat& image, const cv::Mat& trimap, const cv::Mat& marks, const RoutePlan& plan,
                   StagedProgress& staged) {
    cv::Mat tiles;
    try {
        tiles = solveTiles(image, marks, true, staged.at());
    } catch (const LibraryFailure& f) {
        if (!sizeOrMemory(f)) throw;
    }
    cv::Mat first = solveAlpha(image, trimap, plan.estimate, MatteBounds(), staged.next());
    if (!tiles.empty()) cv::addWeighted(tiles, 0.5, first, 0.5, 0, first);
    return first;
}

// The malloc setting the process started with: GLIBC_TUNABLES's
// glibc.malloc.NAME, else the older MALLOC_NAME_ variable, else glibc's
// default. mallopt has no way to read a setting back.
long startingMallocSetting(const std::string& tunable, const char* variable, long fallback) {
    const char* tunables = std::getenv("GLIBC_TUNABLES");
    const std::string key = "glibc.malloc." + tunable + "=";
    for (std::string rest = tunables ? tunables : ""; !rest.empty();) {
        const std::size_t colon = rest.find(':');
        const std::string item = rest.substr(0, colon);
        if (item.compare(0, key.size(), key) == 0) return std::strtol(item.c_str() + key.size(), nullptr, 0);
        rest = colon == std::string::npos ? "" : rest.substr(colon + 1);
    }
    const char* legacy = std::getenv(variable);
    return legacy && *legacy ? std::strtol(legacy, nullptr, 0) : fallback;
}

// While the road runs, the heap keeps what each step frees: the sampling and
// every solve allocate and free buffers of tens of megabytes, which glibc
// would otherwise map and unmap each time, so that a sixth of the CPU went
// to page faults (7.6 MP, 40% unknown: kernel 6.5 of 38.2 s, 0.6 of 30.6
// with the heap kept; a 12 MP cut-out's kernel share 16% with the heap kept
// for the pieces alone, 9% for the whole road). The host process's own
// settings come back afterwards (glibc's sliding mmap threshold stays where
// it stood), and what is free goes back to the system.
struct HeapKept {
    HeapKept() {
        mallopt(M_MMAP_MAX, 0);
        mallopt(M_TRIM_THRESHOLD, 1 << 30);
    }
    ~HeapKept() {
        mallopt(M_MMAP_MAX, static_cast<int>(startingMallocSetting("mmap_max", "MALLOC_MMAP_MAX_", 65536)));
        mallopt(M_TRIM_THRESHOLD,
                static_cast<int>(startingMallocSetting("trim_threshold", "MALLOC_TRIM_THRESHOLD_", 128 * 1024)));
        malloc_trim(0);
    }
    HeapKept(const HeapKept&) = delete;
    HeapKept& operator=(const HeapKept&) = delete;
};

// Weight of each pixel of a grown piece in the blend of overlapping pieces:
// rising across the overlap from the edges it shares with other pieces, 1
// along the image's own edges.
cv::Mat blendWeight(const cv::Rect& grown, const cv::Rect& whole, int overlap) {
    const auto ramp = [overlap](int length, bool lowShared, bool highShared) {
        std::vector<float> w(static_cast<std::size_t>(length), 1.0f);
        const float span = 2.0f * static_cast<float>(overlap);
        for (int i = 0; i < length; ++i) {
            if (lowShared) w[static_cast<std::size_t>(i)] = std::min(1.0f, (static_cast<float>(i) + 0.5f) / span);
            if (highShared)
                w[static_cast<std::size_t>(i)] =
                    std::min(w[static_cast<std::size_t>(i)], (static_cast<float>(length - i) - 0.5f) / span);
        }
        return w;
    };
    const std::vector<float> wx = ramp(grown.width, grown.x > 0, grown.x + grown.width < whole.width);
    const std::vector<float> wy = ramp(grown.height, grown.y > 0, grown.y + grown.height < whole.height);
    cv::Mat w(grown.size(), CV_32F);
    for (int y = 0; y < grown.height; ++y) {
        float* row = w.ptr<float>(y);
        for (int x = 0; x < grown.width; ++x) row[x] = wx[static_cast<std::size_t>(x)] * wy[static_cast<std::size_t>(y)];
    }
    return w;
}

// Pieces: a quick solve of the whole gives every pixel a first alpha (or the
// caller gives one); each piece is then solved again at full size, grown by
// the overlap on every side, inside a frame of that first alpha, and the
// overlapping pieces are blended (each keeping only its own rectangle left
// seams in view). Frames never come from other pieces, so an error does not
// travel from piece to piece, and each piece works on copies of its own box
// only.
cv::Mat solvePieces(const cv::Mat& image, const cv::Mat& trimap, const cv::Mat& marks, const RoutePlan& plan,
                    const cv::Mat& given, StagedProgress& staged) {
    const cv::Mat first = given.empty() ? firstAlpha(image, trimap, marks, plan, staged) : given;
    if (!given.empty()) staged.stage = 1;
    cv::Mat framed = marks.clone();
    const cv::Mat soft = first & 0xFE;  // unknown pixels carry even (soft) values
    soft.copyTo(framed, marks == kMarkUnknown);
    cv::Mat result = framed.clone();
    const cv::Rect whole(0, 0, image.cols, image.rows);
    const int grow = plan.pieceOverlap, frame = kPieceFrame;
    cv::Mat sum(image.size(), CV_32F, cv::Scalar(0)), weights(image.size(), CV_32F, cv::Scalar(0));
    cv::Mat pixels, mask, aux, out, solved;
    for (const cv::Rect& piece : plan.pieces) {
        const Progress p = staged.next();
        const cv::Rect grown = (piece + cv::Point(-grow, -grow) + cv::Size(2 * grow, 2 * grow)) & whole;
        const cv::Rect box = (grown + cv::Point(-frame, -frame) + cv::Size(2 * frame, 2 * frame)) & whole;
        pixels = toFourByte(image(box));
        framed(box).copyTo(mask);
        marks(box).copyTo(aux);
        pixels.copyTo(out);
        QxJob job = jobOver(pixels, mask, &out, aux, p);
        job.roiX = grown.x - box.x;
        job.roiY = grown.y - box.y;
        job.roiWidth = grown.width;
        job.roiHeight = grown.height;
        job.roiBorder = frame;
        job.keepCutMode = 2;  // the new alpha as solved
        checkReturn("qxKeepCutToAlpha", qxKeepCutToAlpha(&job, 1));
        mask(grown - box.tl()).convertTo(solved, CV_32F);
        const cv::Mat w = blendWeight(grown, whole, grow);
        cv::Mat sumHere = sum(grown), weightsHere = weights(grown);
        cv::accumulateProduct(solved, w, sumHere);
        weightsHere += w;
    }
    cv::Mat blended;
    cv::divide(sum, weights, blended);
    blended.convertTo(blended, CV_8U);
    blended &= 0xFE;
    blended.copyTo(result, (weights > 0) & (marks == kMarkUnknown));
    result.setTo(0, result == kMarkCut);
    // The library's local solves may stop their bars short of the end.
    if (staged.outer.function) staged.outer.function(staged.stages * 1000, staged.stages * 1000, staged.outer.cookie);
    return result;
}

cv::Mat solveRoute(const cv::Mat& image, const cv::Mat& trimap, const cv::Mat& marks, const RoutePlan& plan,
                   const RoadSettings& settings, const cv::Mat& first, StagedProgress& staged) {
    switch (plan.route) {
        case Route::Matte:
        case Route::Reduced: return solveAlpha(image, trimap, plan.estimate, settings.bounds, staged.at());
        case Route::Tiles: return solveTiles(image, marks, false, staged.at());
        case Route::HalfTiles: return solveTiles(image, marks, true, staged.at());
        default: return solvePieces(image, trimap, marks, plan, first, staged);
    }
}

// The plan of the next smaller route after a size or memory failure: a
// budget a quarter as large gives smaller pieces or a smaller scale.
// Whether the user chose the route, which then has no smaller one.
bool routeChosen(const RoadSettings& settings) {
    return settings.choice == RouteChoice::LibraryMatte || settings.choice == RouteChoice::LibraryTiles ||
           settings.halfTiles;
}

bool fallBack(RoutePlan& plan, const cv::Mat& trimap, const RoadSettings& settings, double& budget) {
    if (routeChosen(settings)) return false;
    if (plan.route == Route::Reduced && plan.scale < 0.02) return false;
    budget /= 4;
    const RoutePlan smaller = planRoute(trimap, settings, budget);
    plan = smaller;
    return true;
}

std::string whatWouldHelp(const RoutePlan& plan, double budget) {
    char text[400];
    std::snprintf(text, sizeof text,
                  "no route fits in memory: %lld unknown pixels could not be solved even at a reduced scale "
                  "with %.0f MB the library could use. Close other programs or add swap, or narrow the "
                  "trimap's unknown band, or crop the image",
                  plan.unknown, budget / 1e6);
    return text;
}

}  // namespace

RoadResult solveAnySize(const cv::Mat& image, const cv::Mat& trimap, const RoadSettings& settings,
                        Progress progress) {
    // 1. Inputs.
    requireDepth8(image, "the image", (1u << 3) | (1u << 4));
    requireDepth8(trimap, "the trimap", 1u << 1);
    requireSameSize(image, "the image", trimap, "the trimap");
    if (settings.bounds.inHigh == settings.bounds.inLow)
        throw std::invalid_argument("the high and low trimap bounds must differ");
    // Marks that allow no solve fail as the tiles fail on them, before any work
    // (the library's own matte takes any marks, and its bounds may move them).
    const bool plainMarks = settings.choice != RouteChoice::LibraryMatte && settings.bounds.inHigh == 255 &&
                            settings.bounds.inLow == 0;
    if (plainMarks && (cv::countNonZero(trimap == 255) == 0 || cv::countNonZero(trimap == 0) == 0 ||
                       trimapUnknownCount(trimap) < 3))
        throw LibraryFailure("qxKeepCutToAlpha", -5);

    const HeapKept kept;

    // 2. The marks of the solve. Colour sampling fixes the unknown pixels it
    // is sure are background or foreground (enclosed holes included), so the
    // solve has fewer unknowns; stretch bounds, which give the trimap's values
    // other meanings, keep the designed solve.
    cv::Mat marks = marksFromTrimap(trimap);
    cv::Mat solveTrimap = trimap;
    const MatteBounds plain;
    const bool plainBounds = settings.bounds.inHigh == plain.inHigh && settings.bounds.inLow == plain.inLow &&
                             settings.bounds.outHigh == plain.outHigh && settings.bounds.outLow == plain.outLow;
    const bool accurate = settings.method == MatteMethod::Accurate && plainBounds;
    AccurateMarks prepared;
    if (accurate) {
        prepared = prepareAccurateMarks(image, marks);
        marks = prepared.marks;
        solveTrimap = trimapFromMarks(marks);
    }

    // 3. The route, for the unknown pixels left.
    double budget = libraryMemoryBudget();
    RoadResult result;
    result.plan = planRoute(solveTrimap, settings, budget);
    // Pieces take fixed soft marks: when a quick coarse solve fades the
    // sampled alpha (long faint strands far from the foreground), the
    // sampled alpha goes in as fixed marks and the pieces fill in the rest.
    // Other routes are tested after their solve (step 5), at no extra cost.
    bool fadeTested = false, sampledFixed = false;
    cv::Mat first;
    if (accurate && result.plan.route == Route::Pieces) {
        const cv::Mat quick = quickAlpha(image, marks);
        fadeTested = !quick.empty();
        if (fadeTested && keptShare(quick, marks, prepared.sampled) < AccurateParams().fadedShare) {
            marks = fixSampledAlpha(marks, prepared.sampled);
            solveTrimap = trimapRoundingMarks(marks);
            result.plan = planRoute(solveTrimap, settings, budget);
            sampledFixed = true;
        }
        // Across a narrow band the marks hold each piece's alpha, and a
        // piece's frame, an overlap away, barely reaches the part it keeps:
        // the quick solve frames the pieces as well as the first alpha's
        // full-size solves (12 MP, 10% band: the same SAD at 1.9 CPU-s less),
        // where on wide bands it does not (7.6 MP hair, 40% and 49% unknown:
        // SAD 290 and 909 against 267 and 679).
        if (!sampledFixed && result.plan.narrow) first = quick;
    }

    // 4. The solve, with a smaller route as a second line when the library
    // still finds the system or its memory too large.
    StagedProgress staged;
    for (;;) {
        staged.outer = progress;
        staged.stage = 0;
        staged.stages = result.plan.route == Route::Pieces ? 2 + static_cast<int>(result.plan.pieces.size()) : 1;
        try {
            result.alpha = solveRoute(image, solveTrimap, marks, result.plan, settings, first, staged);
            break;
        } catch (const LibraryFailure& f) {
            if (!sizeOrMemory(f)) throw;
            const RoutePlan failed = result.plan;
            if (!fallBack(result.plan, solveTrimap, settings, budget)) {
                if (routeChosen(settings)) throw;
                throw LibraryFailure(f.exportName, f.value, whatWouldHelp(failed, budget));
            }
        }
    }

    // 5. Finish: fixed marks as marked; where the solve itself faded the
    // sampled alpha, its confident pixels take the sampled alpha; certain
    // pixels are exactly as the trimap marks them, and the colours follow
    // the alpha.
    if (accurate) {
        if (!fadeTested && keptShare(result.alpha, marks, prepared.sampled) < AccurateParams().fadedShare)
            marks = fixSampledAlpha(marks, prepared.sampled);
        result.alpha = finishAccurateAlpha(result.alpha, marks);
    }
    result.alpha.setTo(0, trimap == 0);
    result.alpha.setTo(255, trimap == 255);
    if (result.plan.scale < 1) {
        char line[300];
        std::snprintf(line, sizeof line, "solved at %.0f%% scale (%s), then brought up to full size",
                      result.plan.scale * 100, result.plan.reason.c_str());
        result.notice = line;
    }
    if (settings.colours) result.colours = recoverColours(image, result.alpha, settings.colourMethod, progress);
    return result;
}

}  // namespace qxhost
