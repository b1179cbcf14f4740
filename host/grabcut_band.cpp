// Full-resolution finish of a GrabCut selection: the session decides on a
// reduced copy, so its edge is only as good as that copy's pixels. Here the
// pixels near the edge get a graph cut of their own at full size, with the
// colour models of the whole selection and the same energy as the coarse cut,
// while everything farther from the edge keeps its side.
#include <opencv2/imgproc.hpp>
#include <opencv2/imgproc/detail/gcgraph.hpp>

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <vector>

#include "qxhost.h"

namespace qxhost {
namespace {

constexpr int kComponents = 5;     // Gaussians in each colour model
constexpr double kGamma = 50.0;    // weight of the smoothness term

// One colour model ready to evaluate: weights, means, inverse covariances
// and 1/sqrt(det), read from the 65 doubles cv::grabCut keeps a model in
// (5 weights, 5 means of 3, 5 covariances of 9).
struct Mixture {
    double weight[kComponents], mean[kComponents][3], inverse[kComponents][9], norm[kComponents];

    explicit Mixture(const cv::Mat& model) {
        const double* w = model.ptr<double>(0);
        const double* m = w + kComponents;
        const double* c = m + 3 * kComponents;
        for (int k = 0; k < kComponents; ++k, c += 9) {
            weight[k] = w[k];
            for (int i = 0; i < 3; ++i) mean[k][i] = m[3 * k + i];
            const double det = c[0] * (c[4] * c[8] - c[5] * c[7]) - c[1] * (c[3] * c[8] - c[5] * c[6]) +
                               c[2] * (c[3] * c[7] - c[4] * c[6]);
            if (w[k] <= 0 || det <= DBL_EPSILON) {
                weight[k] = 0;
                continue;
            }
            const double d = 1.0 / det;
            inverse[k][0] = (c[4] * c[8] - c[5] * c[7]) * d;
            inverse[k][1] = (c[2] * c[7] - c[1] * c[8]) * d;
            inverse[k][2] = (c[1] * c[5] - c[2] * c[4]) * d;
            inverse[k][3] = (c[5] * c[6] - c[3] * c[8]) * d;
            inverse[k][4] = (c[0] * c[8] - c[2] * c[6]) * d;
            inverse[k][5] = (c[2] * c[3] - c[0] * c[5]) * d;
            inverse[k][6] = (c[3] * c[7] - c[4] * c[6]) * d;
            inverse[k][7] = (c[1] * c[6] - c[0] * c[7]) * d;
            inverse[k][8] = (c[0] * c[4] - c[1] * c[3]) * d;
            norm[k] = 1.0 / std::sqrt(det);
        }
    }

    // -log of the mixture's density at a colour, capped where it vanishes.
    double cost(const cv::Vec3b& colour) const {
        double p = 0;
        for (int k = 0; k < kComponents; ++k) {
            if (weight[k] <= 0) continue;
            const double d0 = colour[0] - mean[k][0], d1 = colour[1] - mean[k][1], d2 = colour[2] - mean[k][2];
            const double* a = inverse[k];
            const double q = d0 * (d0 * a[0] + d1 * a[3] + d2 * a[6]) + d1 * (d0 * a[1] + d1 * a[4] + d2 * a[7]) +
                             d2 * (d0 * a[2] + d1 * a[5] + d2 * a[8]);
            p += weight[k] * norm[k] * std::exp(-0.5 * q);
        }
        return -std::log(std::max(p, DBL_MIN));
    }
};

// Both models' costs of a colour, remembered for colours met again: the
// pixels of a photograph repeat their colours often, and each new colour
// costs ten exponentials and two logarithms. A hit gives the same numbers.
struct ColourCosts {
    static constexpr int kSlotBits = 16;
    const Mixture background, foreground;
    std::vector<uint32_t> key = std::vector<uint32_t>(size_t{1} << kSlotBits, 0);  // packed colour + 1
    std::vector<double> cost = std::vector<double>(size_t{2} << kSlotBits);          // background, foreground

    explicit ColourCosts(const GrabCutModels& models) : background(models.background), foreground(models.foreground) {}

    // The slot of a colour's two costs.
    const double* operator()(const cv::Vec3b& colour) {
        const uint32_t packed = colour[0] | uint32_t(colour[1]) << 8 | uint32_t(colour[2]) << 16;
        const uint32_t slot = (packed * 2654435761u) >> (32 - kSlotBits);
        double* c = &cost[2 * size_t{slot}];
        if (key[slot] != packed + 1) {
            key[slot] = packed + 1;
            c[0] = background.cost(colour);
            c[1] = foreground.cost(colour);
        }
        return c;
    }
};

double squaredDistance(const cv::Vec3b& a, const cv::Vec3b& b) {
    const double d0 = a[0] - b[0], d1 = a[1] - b[1], d2 = a[2] - b[2];
    return d0 * d0 + d1 * d1 + d2 * d2;
}

// The four neighbours already visited in a row-by-row scan: left, up-left,
// up, up-right.
const int kBackX[4] = {-1, -1, 0, 1}, kBackY[4] = {0, -1, -1, -1};

}  // namespace

GrabCutModels grabCutModels(const cv::Mat& bgr, const cv::Mat& states) {
    GrabCutModels models;
    if (cv::countNonZero(states & 1) == 0 || cv::countNonZero((states & 1) == 0) == 0) return models;
    cv::Mat work = states.clone();
    // The models start from k-means, seeded from the thread's generator:
    // start it afresh so equal arguments give equal models, and put it back.
    const cv::RNG saved = cv::theRNG();
    cv::theRNG() = cv::RNG();
    try {
        cv::grabCut(bgr, work, cv::Rect(), models.background, models.foreground, 0, cv::GC_INIT_WITH_MASK);
    } catch (...) {
        cv::theRNG() = saved;
        throw;
    }
    cv::theRNG() = saved;
    return models;
}

int refineGrabCutEdge(const cv::Mat& bgr, cv::Mat& selection, const cv::Mat& locked, const GrabCutModels& models,
                      int radius, double dataWeight) {
    if (models.background.empty() || models.foreground.empty() || radius < 1) return 0;
    const cv::Mat kernel = cv::getStructuringElement(cv::MORPH_RECT, cv::Size(2 * radius + 1, 2 * radius + 1));
    cv::Mat grown, shrunk;
    cv::dilate(selection, grown, kernel);
    cv::erode(selection, shrunk, kernel);
    return refineGrabCutRegion(bgr, selection, (grown != shrunk) & (locked == 0), models, dataWeight);
}

cv::Mat grabCutDisagreement(const cv::Mat& bgr, const cv::Mat& selection, const cv::Mat& zone,
                            const GrabCutModels& models, double margin) {
    cv::Mat out = cv::Mat::zeros(selection.size(), CV_8UC1);
    if (models.background.empty() || models.foreground.empty()) return out;
    ColourCosts costs(models);
    for (int y = 0; y < selection.rows; ++y) {
        const unsigned char* z = zone.ptr<unsigned char>(y);
        const unsigned char* s = selection.ptr<unsigned char>(y);
        const cv::Vec3b* c = bgr.ptr<cv::Vec3b>(y);
        unsigned char* o = out.ptr<unsigned char>(y);
        for (int x = 0; x < selection.cols; ++x) {
            if (!z[x]) continue;
            const double* k = costs(c[x]);
            const double lean = k[0] - k[1];  // > 0: looks like the object
            o[x] = (s[x] ? lean < -margin : lean > margin) ? 255 : 0;
        }
    }
    return out;
}

int refineGrabCutRegion(const cv::Mat& bgr, cv::Mat& selection, const cv::Mat& band, const GrabCutModels& models,
                        double dataWeight) {
    if (models.background.empty() || models.foreground.empty()) return 0;

    // Node numbers of the band's pixels, row by row; -1 elsewhere.
    cv::Mat index(selection.size(), CV_32SC1, cv::Scalar(-1));
    int nodes = 0;
    double sum = 0;
    long pairs = 0;
    for (int y = 0; y < band.rows; ++y) {
        const unsigned char* b = band.ptr<unsigned char>(y);
        int* n = index.ptr<int>(y);
        for (int x = 0; x < band.cols; ++x) {
            if (!b[x]) continue;
            n[x] = nodes++;
            const cv::Vec3b& c = bgr.at<cv::Vec3b>(y, x);
            for (int k = 0; k < 4; ++k) {
                const int qx = x + kBackX[k], qy = y + kBackY[k];
                if (qx < 0 || qy < 0 || qx >= band.cols) continue;
                sum += squaredDistance(c, bgr.at<cv::Vec3b>(qy, qx));
                ++pairs;
            }
        }
    }
    if (nodes == 0) return 0;
    // Contrast scale as in the coarse cut, measured over the band: edges of
    // typical contrast weigh about gamma * exp(-1/2).
    const double beta = sum > 0 ? 0.5 * double(pairs) / sum : 0.0;

    ColourCosts costs(models);
    cv::detail::GCGraph<double> graph(static_cast<unsigned>(nodes), static_cast<unsigned>(8 * nodes));
    // Neighbours outside the band have their side decided: their link goes
    // to the terminal of that side. The source side is the selection.
    for (int y = 0; y < band.rows; ++y) {
        const int* n = index.ptr<int>(y);
        for (int x = 0; x < band.cols; ++x) {
            if (n[x] < 0) continue;
            const cv::Vec3b& c = bgr.at<cv::Vec3b>(y, x);
            const int v = graph.addVtx();
            const double* k = costs(c);
            double toSource = dataWeight * k[0], toSink = dataWeight * k[1];
            for (int dy = -1; dy <= 1; ++dy)
                for (int dx = -1; dx <= 1; ++dx) {
                    const int qx = x + dx, qy = y + dy;
                    if ((dx == 0 && dy == 0) || qx < 0 || qy < 0 || qx >= band.cols || qy >= band.rows) continue;
                    const int q = index.at<int>(qy, qx);
                    if (q > v) continue;  // that pair's link is added from the other side
                    const double w = kGamma / ((dx && dy) ? M_SQRT2 : 1.0) *
                                     std::exp(-beta * squaredDistance(c, bgr.at<cv::Vec3b>(qy, qx)));
                    if (q < 0) {
                        (selection.at<unsigned char>(qy, qx) ? toSource : toSink) += w;
                    } else {
                        graph.addEdges(v, q, w, w);
                    }
                }
            graph.addTermWeights(v, toSource, toSink);
        }
    }
    graph.maxFlow();
    for (int y = 0; y < band.rows; ++y) {
        const int* n = index.ptr<int>(y);
        unsigned char* s = selection.ptr<unsigned char>(y);
        for (int x = 0; x < band.cols; ++x)
            if (n[x] >= 0) s[x] = graph.inSourceSegment(n[x]) ? 255 : 0;
    }
    return nodes;
}

}  // namespace qxhost
