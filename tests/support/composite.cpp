#include "support/composite.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace qxtest {
namespace {

constexpr double kTwoPi = 6.283185307179586;

struct Segment { double x0, y0, x1, y1, halfWidth, opacity; };

struct Scene {
    double discX, discY, discR, ellX, ellY, ellA, ellB, ellCos, ellSin;
    std::vector<cv::Point2d> star;
    std::vector<Segment> strands;
    double edgeNx, edgeNy, edgeOffset, edgeRamp;  // soft edge: alpha = clamp(n.p - offset)/ramp
};

// Crossing-number test; the star is not convex.
bool insidePolygon(const std::vector<cv::Point2d>& poly, double x, double y) {
    bool in = false;
    for (size_t i = 0, j = poly.size() - 1; i < poly.size(); j = i++) {
        const cv::Point2d &a = poly[i], &b = poly[j];
        if ((a.y > y) != (b.y > y) && x < (b.x - a.x) * (y - a.y) / (b.y - a.y) + a.x) in = !in;
    }
    return in;
}

bool insideShapes(const Scene& s, double x, double y) {
    const double dx = x - s.discX, dy = y - s.discY;
    if (dx * dx + dy * dy <= s.discR * s.discR) return true;
    const double ex = x - s.ellX, ey = y - s.ellY;
    const double u = (ex * s.ellCos + ey * s.ellSin) / s.ellA;
    const double v = (-ex * s.ellSin + ey * s.ellCos) / s.ellB;
    return u * u + v * v <= 1.0 || insidePolygon(s.star, x, y);
}

double segmentDistance(const Segment& g, double x, double y) {
    const double vx = g.x1 - g.x0, vy = g.y1 - g.y0;
    const double t = std::clamp(((x - g.x0) * vx + (y - g.y0) * vy) / (vx * vx + vy * vy), 0.0, 1.0);
    return std::hypot(x - g.x0 - t * vx, y - g.y0 - t * vy);
}

constexpr int kSub = 8;  // supersampling per axis on edge pixels

// Share of kSub x kSub sample points of pixel (px,py) for which inside(x, y) holds.
template <class Inside>
double supersample(Inside inside, int px, int py) {
    int n = 0;
    for (int j = 0; j < kSub; ++j)
        for (int i = 0; i < kSub; ++i) n += inside(px + (i + 0.5) / kSub, py + (j + 0.5) / kSub);
    return double(n) / (kSub * kSub);
}

// Coverage of pixel (px,py) (centre at px+0.5) by the union of the solid shapes.
double shapeCoverage(const Scene& s, int px, int py) {
    const bool c = insideShapes(s, px + 0.5, py + 0.5);
    if (c == insideShapes(s, px, py) && c == insideShapes(s, px + 1.0, py) &&
        c == insideShapes(s, px, py + 1.0) && c == insideShapes(s, px + 1.0, py + 1.0))
        return c ? 1.0 : 0.0;
    return supersample([&s](double x, double y) { return insideShapes(s, x, y); }, px, py);
}

double strandCoverage(const Segment& g, int px, int py) {
    const double d = segmentDistance(g, px + 0.5, py + 0.5);
    if (d > g.halfWidth + 0.75) return 0.0;
    if (d < g.halfWidth - 0.75) return 1.0;
    return supersample([&g](double x, double y) { return segmentDistance(g, x, y) <= g.halfWidth; }, px, py);
}

uchar clamp8(double v) { return cv::saturate_cast<uchar>(std::lround(v)); }

Scene makeScene(int w, int h, unsigned seed) {
    std::mt19937 rng(seed);
    auto uniform = [&rng](double lo, double hi) { return lo + (hi - lo) * ((rng() >> 8) * (1.0 / 16777216.0)); };
    const double m = std::min(w, h);
    Scene s;
    s.discX = w * (0.30 + uniform(-0.04, 0.04));
    s.discY = h * (0.35 + uniform(-0.04, 0.04));
    s.discR = m * 0.17;
    s.ellX = w * (0.64 + uniform(-0.04, 0.04));
    s.ellY = h * (0.30 + uniform(-0.04, 0.04));
    s.ellA = w * 0.15, s.ellB = h * 0.08;
    const double angle = uniform(0.3, 0.9);
    s.ellCos = std::cos(angle), s.ellSin = std::sin(angle);
    const double sx = w * (0.40 + uniform(-0.04, 0.04)), sy = h * (0.70 + uniform(-0.04, 0.04)), turn = uniform(0, 1);
    for (int k = 0; k < 10; ++k) {
        const double r = (k % 2 ? 0.07 : 0.16) * m, a = kTwoPi * (k + turn) / 10.0;
        s.star.emplace_back(sx + r * std::cos(a), sy + r * std::sin(a));
    }
    // Strands leave the shapes outwards, like loose hair.
    const double anchors[4][2] = {{s.discX, s.discY - s.discR}, {s.discX - s.discR, s.discY},
                                  {s.ellX + s.ellA * 0.8, s.ellY}, {sx, sy + 0.15 * m}};
    const double directions[4] = {-1.7, 3.3, -0.4, 1.4};
    for (int k = 0; k < 4; ++k) {
        const double a = directions[k] + uniform(-0.3, 0.3), len = m * uniform(0.18, 0.3);
        const double x0 = anchors[k][0], y0 = anchors[k][1];
        s.strands.push_back({x0, y0, x0 + len * std::cos(a), y0 + len * std::sin(a), 0.5 * uniform(1.0, 3.0),
                             uniform(0.3, 0.7)});
    }
    // A soft edge across the bottom-right corner.
    const double nx = 1.0 / std::hypot(1.0, double(w) / h), ny = nx * double(w) / h;
    s.edgeNx = nx, s.edgeNy = ny;
    s.edgeOffset = nx * 0.85 * w + ny * 0.97 * h;
    s.edgeRamp = std::max(6.0, m / 40.0);
    return s;
}

}  // namespace

Composite makeComposite(int width, int height, int bandRadius, unsigned seed) {
    const Scene s = makeScene(width, height, seed);
    Composite c;
    c.alpha.create(height, width, CV_8UC1);
    for (cv::Mat* m : {&c.foreground, &c.background, &c.image}) m->create(height, width, CV_8UC3);
#pragma omp parallel for schedule(static)
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            double clear = 1.0 - shapeCoverage(s, x, y);  // 1 - alpha, composed "over"
            for (const Segment& g : s.strands) clear *= 1.0 - g.opacity * strandCoverage(g, x, y);
            const double e = (s.edgeNx * (x + 0.5) + s.edgeNy * (y + 0.5) - s.edgeOffset) / s.edgeRamp;
            clear *= 1.0 - std::clamp(e + 0.5, 0.0, 1.0);
            const double a = (c.alpha.at<uchar>(y, x) = clamp8(255.0 * (1.0 - clear))) / 255.0;
            const double u = double(x) / width, v = double(y) / height;
            const cv::Vec3b f(clamp8(45 + 30 * std::sin(kTwoPi * 1.3 * u + 0.5)),
                              clamp8(115 + 50 * std::sin(kTwoPi * 1.1 * v)),
                              clamp8(205 + 35 * std::cos(kTwoPi * 1.7 * (u + v) / 2)));
            const cv::Vec3b b(clamp8(150 + 45 * std::sin(x / 17.0) * std::cos(y / 23.0) + 30 * std::sin((x + 2 * y) / 61.0)),
                              clamp8(120 + 40 * std::cos(x / 29.0 + y / 37.0) + 25 * std::sin(y / 13.0)),
                              clamp8(60 + 30 * std::sin(x / 41.0) + 20 * std::cos((x - y) / 19.0)));
            c.foreground.at<cv::Vec3b>(y, x) = f, c.background.at<cv::Vec3b>(y, x) = b;
            for (int k = 0; k < 3; ++k) c.image.at<cv::Vec3b>(y, x)[k] = clamp8(a * f[k] + (1.0 - a) * b[k]);
        }
    }
    // Unknown band: within bandRadius of any partially transparent pixel.
    cv::Mat partial = (c.alpha > 0) & (c.alpha < 255);
    const cv::Size disc(2 * bandRadius + 1, 2 * bandRadius + 1);
    if (bandRadius > 0) cv::dilate(partial, partial, cv::getStructuringElement(cv::MORPH_ELLIPSE, disc));
    c.trimap = cv::Mat::zeros(height, width, CV_8UC1);
    c.trimap.setTo(255, c.alpha == 255);
    c.trimap.setTo(128, partial);
    c.unknownCount = cv::countNonZero(partial);
    return c;
}

std::array<cv::Mat, 3> splitPlanes(const cv::Mat& image) {
    std::array<cv::Mat, 3> planes;
    cv::split(image, planes.data());
    return planes;
}

double sadThousands(const cv::Mat& a, const cv::Mat& b, const cv::Mat& mask) {
    return cv::norm(a, b, cv::NORM_L1, mask) / 255.0 / 1000.0;
}

double meanSquaredError(const cv::Mat& a, const cv::Mat& b, const cv::Mat& mask) {
    const int n = mask.empty() ? int(a.total()) : cv::countNonZero(mask);
    return n == 0 ? 0.0 : cv::norm(a, b, cv::NORM_L2SQR, mask) / (255.0 * 255.0) / n;
}

}  // namespace qxtest
