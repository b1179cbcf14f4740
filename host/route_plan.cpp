// Choosing the road's route before any work: the limits the library applies
// to its solves, reckoned here on the host from the marks and the memory the
// library will see, so that the route that is taken is one that fits.
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <sys/resource.h>

#include "qxhost.h"

namespace qxhost {

namespace {

// What one solved system may hold (unknown pixels of a tile, variables of a
// matting system), and qxMaskAlpha's full-size bounds.
constexpr long long kLeafLimit = 500000;
constexpr double kFullMattePixels = 1500000.0;
constexpr double kFullMatteUnknown = 400000.0;
// qxMaskAlpha reckons 1920 bytes a solved pixel and 12 any pixel; a local
// solve 1200 a pixel of its box and 1944 an unknown one.
constexpr double kMatteBytesSolved = 1920.0, kMatteBytesPixel = 12.0;
constexpr double kLocalBytesPixel = 1200.0, kLocalBytesSolved = 1944.0;
// A solved system also holds the ring of pixels its windows reach beyond the
// unknown ones: the targets stay this far under the limit.
constexpr double kRingMargin = 0.8;
// Pieces: their largest box grown by the overlap (the library solves a
// smaller edited rectangle at once, 937024) and the unknown pixels each may
// hold. Small pieces lean more on the smooth first alpha where the full-size
// windows reach too little across a wide band (7.6 MP, 40% unknown, half-size
// tiles as the first alpha: SAD 413 at 60000 against 433 at 360000, 423 at
// 20000); the 32 pixels of overlap keep the frame away from the part a piece
// keeps (64 gave 410 at twice the time).
constexpr long long kPieceArea = 600000;
constexpr long long kPieceUnknown = 60000;
constexpr int kPieceOverlap = 32;
constexpr long long kFewestPieceUnknown = 20000;  // below this, pieces are not worth it
constexpr long long kCoarseUnknown = 120000;      // the start of pieces: a quick reduced solve

bool readKb(const char* file, const char* name, unsigned long long* kb) {
    std::FILE* f = std::fopen(file, "r");
    if (!f) return false;
    char line[256];
    const std::size_t n = std::strlen(name);
    bool found = false;
    while (std::fgets(line, sizeof line, f)) {
        if (std::strncmp(line, name, n) == 0 && line[n] == ':') {
            found = std::sscanf(line + n + 1, "%llu", kb) == 1;
            break;
        }
    }
    std::fclose(f);
    return found;
}

// Counts of a tile as the library's tree sees it: unknown pixels and the
// fixed cut and keep ones.
struct TileCount {
    long long unknown = 0, cuts = 0, keeps = 0;
};

// Sums over rectangles of the three classes, from integral images.
struct MarkSums {
    cv::Mat unknown, cut, keep;  // CV_32S or CV_64F integrals
    static long long at(const cv::Mat& s, const cv::Rect& r) {
        const double v = s.at<double>(r.y + r.height, r.x + r.width) - s.at<double>(r.y, r.x + r.width) -
                         s.at<double>(r.y + r.height, r.x) + s.at<double>(r.y, r.x);
        return static_cast<long long>(v);
    }
    TileCount count(const cv::Rect& r) const { return {at(unknown, r), at(cut, r), at(keep, r)}; }
};

MarkSums sumMarks(const cv::Mat& trimap) {
    MarkSums s;
    const cv::Mat unknown = (trimap != 0) & (trimap != 255);
    cv::integral(unknown / 255, s.unknown, CV_64F);
    cv::integral((trimap == 0) / 255, s.cut, CV_64F);
    cv::integral((trimap == 255) / 255, s.keep, CV_64F);
    return s;
}

// The tree's classes: 0 both marks, 1 keep only, 2 no keep, 4 too small.
int tileClass(const cv::Rect& r, const TileCount& c) {
    if (std::min(r.width, r.height) < 12) return 4;
    if (c.keeps == 0) return 2;
    return c.cuts == 0 ? 1 : 0;
}

// The centroid cut of a tile with unknown pixels, along its longer spread,
// taken from the unknown pixels' moments as the library takes it.
bool cutTile(const cv::Mat& unknown, const cv::Rect& r, cv::Rect& a, cv::Rect& b) {
    long long count = 0, sx = 0, sy = 0, sxx = 0, syy = 0;
    for (int y = 0; y < r.height; ++y) {
        const unsigned char* u = unknown.ptr<unsigned char>(r.y + y) + r.x;
        long long rc = 0, rx = 0, rxx = 0;
        for (int x = 0; x < r.width; ++x)
            if (u[x]) ++rc, rx += x, rxx += static_cast<long long>(x) * x;
        count += rc, sx += rx, sxx += rxx, sy += rc * y, syy += rc * y * static_cast<long long>(y);
    }
    if (count == 0) return false;
    const double inv = 1.0 / static_cast<double>(count);
    const int cx = static_cast<int>(static_cast<double>(sx + count * r.x) * inv);
    const int cy = static_cast<int>(static_cast<double>(sy + count * r.y) * inv);
    const long long ox = cx - r.x, oy = cy - r.y;
    const long long spreadX = sxx - 2 * ox * sx + count * ox * ox;
    const long long spreadY = syy - 2 * oy * sy + count * oy * oy;
    a = b = r;
    if (spreadX > spreadY) {  // a vertical cut line, shared by both halves
        a.width = cx - r.x + 1;
        b.x = cx, b.width = r.x + r.width - cx;
    } else {
        a.height = cy - r.y + 1;
        b.y = cy, b.height = r.y + r.height - cy;
    }
    return true;
}

// The largest leaf of the library's tile tree, in unknown pixels.
long long largestLeaf(const cv::Mat& unknown, const MarkSums& sums, const cv::Rect& r) {
    cv::Rect a, b;
    if (!cutTile(unknown, r, a, b)) return 0;
    if (std::min(a.width, a.height) < 12 || std::min(b.width, b.height) < 12) return sums.count(r).unknown;
    const TileCount ca = sums.count(a), cb = sums.count(b);
    const int ka = tileClass(a, ca), kb = tileClass(b, cb);
    if (ka + kb == 3) return sums.count(r).unknown;
    const long long la = ka == 0 ? largestLeaf(unknown, sums, a) : ca.unknown;
    const long long lb = kb == 0 ? largestLeaf(unknown, sums, b) : cb.unknown;
    return std::max(la, lb);
}

// Rectangles of at most kPieceArea pixels and `most` unknown ones that
// cover every unknown pixel of r, in an order where each follows its
// neighbours on one side.
void splitPieces(const MarkSums& sums, const cv::Rect& r, long long most, long long area, int margin,
                 const cv::Rect& whole, std::vector<cv::Rect>& pieces) {
    if (MarkSums::at(sums.unknown, r) == 0) return;
    const cv::Rect grown = (r + cv::Point(-margin, -margin) + cv::Size(2 * margin, 2 * margin)) & whole;
    const long long unknown = MarkSums::at(sums.unknown, grown);
    if ((unknown <= most && grown.area() <= area) || std::max(r.width, r.height) < 48) {
        pieces.push_back(r);
        return;
    }
    cv::Rect a = r, b = r;
    if (r.width >= r.height) {
        a.width = r.width / 2;
        b.x = r.x + a.width, b.width = r.width - a.width;
    } else {
        a.height = r.height / 2;
        b.y = r.y + a.height, b.height = r.height - a.height;
    }
    splitPieces(sums, a, most, area, margin, whole, pieces);
    splitPieces(sums, b, most, area, margin, whole, pieces);
}

// Whether every unknown pixel lies within reach (a square's half side) of a
// known one; outside the image counts as unknown.
bool withinReach(const cv::Mat& unknown, int reach) {
    cv::Mat far;
    cv::erode(unknown, far, cv::getStructuringElement(cv::MORPH_RECT, cv::Size(2 * reach + 1, 2 * reach + 1)),
              cv::Point(-1, -1), 1, cv::BORDER_CONSTANT, cv::Scalar(255));
    return cv::countNonZero(far) == 0;
}

// The estimate that takes qxMaskAlpha to a working scale of 1 / factor:
// its factor is the square root of the reckoned need over the budget.
double estimateForFactor(double factor, double pixels, double budget) {
    const double need = factor * factor * budget - pixels * kMatteBytesPixel;
    return std::max(0.0, need / kMatteBytesSolved);
}

}  // namespace

const char* routeName(Route route) {
    switch (route) {
        case Route::Matte: return "matte";
        case Route::Tiles: return "tiles";
        case Route::HalfTiles: return "half-tiles";
        case Route::Pieces: return "pieces";
        default: return "reduced";
    }
}

double libraryMemoryBudget() {
    unsigned long long total = 0, avail = 0, swap = 0;
    if (!readKb("/proc/meminfo", "MemTotal", &total) || !readKb("/proc/meminfo", "MemAvailable", &avail) ||
        !readKb("/proc/meminfo", "SwapFree", &swap))
        return 500000000.0;  // what the library assumes when it cannot measure
    double least = std::min(double(total), double(avail + swap)) * 1024.0;
    struct rlimit rl;
    if (getrlimit(RLIMIT_AS, &rl) == 0 && rl.rlim_cur != RLIM_INFINITY) {
        unsigned long long vm = 0;
        readKb("/proc/self/status", "VmSize", &vm);
        const double room = double(rl.rlim_cur) - double(vm) * 1024.0;
        least = std::min(least, std::max(room, 0.0));
    }
    // The library counts its budget in units of 1300 bytes, at most 3500000 of
    // them, and then reckons each unit as 1000 bytes.
    const double units = std::min(std::floor(least / 1300.0), 3500000.0);
    return units < 1 ? 500000000.0 : units * 1000.0;
}

RoutePlan planRoute(const cv::Mat& trimap, const RoadSettings& settings, double budget) {
    RoutePlan plan;
    const double pixels = double(trimap.total());
    const MarkSums sums = sumMarks(trimap);
    const cv::Rect whole(0, 0, trimap.cols, trimap.rows);
    plan.unknown = MarkSums::at(sums.unknown, whole);
    const double unknown = double(plan.unknown);
    const bool plainBounds = settings.bounds.inHigh == 255 && settings.bounds.inLow == 0 &&
                             settings.bounds.outHigh == 255 && settings.bounds.outLow == 0;
    char why[256];

    // The library's own roads, as asked: whatever they choose themselves.
    if (settings.choice == RouteChoice::LibraryMatte) {
        plan.route = Route::Matte;
        plan.estimate = settings.unknownEstimate >= 0 ? settings.unknownEstimate : unknown;
        plan.reason = "the library's matte as it chooses its own scale";
        return plan;
    }
    if (settings.choice == RouteChoice::LibraryTiles || settings.halfTiles) {
        plan.route = settings.halfTiles ? Route::HalfTiles : Route::Tiles;
        plan.scale = settings.halfTiles ? 0.5 : 1.0;
        plan.reason = settings.halfTiles ? "tiles of a half-size copy, as asked" : "the library's tiles, as asked";
        return plan;
    }

    // 1. The whole system in one full-size solve: the most accurate, when
    // qxMaskAlpha takes it at full size.
    if (settings.choice != RouteChoice::Pieces && pixels < kFullMattePixels && unknown < kFullMatteUnknown &&
        unknown * kMatteBytesSolved + pixels * kMatteBytesPixel <= budget) {
        plan.route = Route::Matte;
        plan.estimate = unknown;
        plan.reason = "one full-size solve";
        return plan;
    }
    // Out-of-range bounds are the matte's own arguments: only it can take them.
    const bool matteOnly = !plainBounds;

    // The library's tiles on a wide band came out less accurate than
    // full-size pieces, and than half-size tiles on a 7.6 MP photograph
    // (bench_host_any_size). Where every unknown pixel lies near a mark they
    // do as well, and the accurate road's marks (sampling fixed what it was
    // sure of) take them at less cost than pieces (12 MP discs, bands of 3%
    // and 10%: SAD 4.0 and 5.2 at 2.5 and 5.5 CPU-s, against 4.2 and 5.0 at
    // 3.1 and 6.5 with pieces; the design road's marks lose there: 5.1 and
    // 12.3 against 4.8 and 9.0). Over 500000 unknown pixels a tile fails.
    const cv::Mat unknownMask = (trimap != 0) & (trimap != 255);
    const bool bothMarks = MarkSums::at(sums.cut, whole) > 0 && MarkSums::at(sums.keep, whole) > 0;
    if (bothMarks) plan.largestLeaf = largestLeaf(unknownMask, sums, whole);
    plan.narrow = withinReach(unknownMask, kPieceOverlap / 2);
    const double leaf = double(plan.largestLeaf);
    if (!matteOnly && bothMarks && plan.narrow && settings.method == MatteMethod::Accurate &&
        settings.choice != RouteChoice::Pieces &&
        leaf <= kLeafLimit * kRingMargin && leaf * kMatteBytesSolved <= budget * kRingMargin) {
        plan.route = Route::Tiles;
        std::snprintf(why, sizeof why, "every unknown pixel within %d pixels of a mark", kPieceOverlap / 2);
        plan.reason = why;
        return plan;
    }

    // 2. Full-size pieces, each under the limit, leaning on a quick first
    // solve of the whole.
    const long long fitUnknown = static_cast<long long>(budget / kLocalBytesSolved * 0.8);
    const long long fitArea = static_cast<long long>(budget / kLocalBytesPixel * 0.8);
    const long long pieceUnknown = std::min(kPieceUnknown, fitUnknown);
    const long long pieceArea = std::min(kPieceArea, fitArea);
    if (!matteOnly && pieceUnknown >= kFewestPieceUnknown && pieceArea >= 4 * kFewestPieceUnknown) {
        plan.pieceOverlap = kPieceOverlap;
        splitPieces(sums, whole, pieceUnknown, pieceArea, plan.pieceOverlap, whole, plan.pieces);
        plan.route = Route::Pieces;
        const double coarse = std::max(std::sqrt(unknown / double(kCoarseUnknown)), 2.2);
        plan.estimate = estimateForFactor(coarse, pixels, budget);
        std::snprintf(why, sizeof why, "%zu full-size pieces of at most %lld unknown pixels (%lld in all%s)",
                      plan.pieces.size(), pieceUnknown, plan.unknown,
                      plan.largestLeaf > kLeafLimit ? "; a tile of the library's tree would be too large" : "");
        plan.reason = why;
        return plan;
    }

    // 3. One solve at the smallest reduction that holds the system: by the
    // count of unknown pixels, and by memory.
    double factor = std::sqrt(unknown / (kLeafLimit * kRingMargin));
    factor = std::max(factor, std::sqrt((unknown * kMatteBytesSolved + pixels * kMatteBytesPixel) / budget));
    if (factor <= 1.0 && pixels < kFullMattePixels && unknown < kFullMatteUnknown) {
        plan.route = Route::Matte;
        plan.estimate = unknown;
        plan.reason = "one full-size solve";
        return plan;
    }
    plan.route = Route::Reduced;
    // qxMaskAlpha solves at half size up to a factor of 2, below that at 1 / factor.
    factor = factor <= 1.9 ? 1.9 : factor * 1.05;
    plan.scale = factor <= 2.0 ? 0.5 : 1.0 / factor;
    plan.estimate = estimateForFactor(factor, pixels, budget);
    std::snprintf(why, sizeof why, "%s: %lld unknown pixels in %.0f MB of memory", matteOnly ? "stretch bounds" :
                  "too little memory for full-size pieces", plan.unknown, budget / 1e6);
    plan.reason = why;
    return plan;
}

}  // namespace qxhost
