// The host layer: what every host of libqxmatte needs around the 21 exports,
// built once for the command-line tool, the GIMP plug-in and the Python module.
// It calls the library only through include/qxmatte.h.
//
// Images are cv::Mat; a host with its own buffers wraps them without a copy,
// cv::Mat(height, width, CV_8UC4, pixels, step). Colour images are 8-bit with
// three or four channels whose bytes 0 to 2 are colour in the library's order
// (blue, green, red: byte 1 is green, and the library's three-byte colour
// arguments run red, green, blue). Masks, trimaps and alphas are CV_8UC1.
//
// Wrong arguments (types, sizes that differ) throw std::invalid_argument with
// a sentence that names the problem; a failure value returned by an export
// throws LibraryFailure.
#pragma once

#include <opencv2/core.hpp>

#include <array>
#include <stdexcept>
#include <string>
#include <vector>

#include "qxmatte.h"

namespace qxhost {

// ---- marks (marks.cpp) ----------------------------------------------------

// Mark bytes of the library's masks.
enum : unsigned char {
    kMarkCut = 0x01,      // fixed cut
    kMarkKeep = 0xFF,     // fixed keep
    kMarkUnknown = 0x7E,  // to be solved
};

// A grey trimap to marks: 0 or 1 (the brushes' cut) fixed cut, 255 fixed keep,
// anything else unknown.
cv::Mat marksFromTrimap(const cv::Mat& trimap);
// Back: fixed cut 0, fixed keep 255, anything else (unknown, the band) 128.
cv::Mat trimapFromMarks(const cv::Mat& marks);
// The same with fixed soft values (odd marks) rounded to 0 or 255 by the side
// of 128 they lie on: a trimap for planning and for qxMaskAlpha.
cv::Mat trimapRoundingMarks(const cv::Mat& marks);

// A binary selection (non-zero inside) to marks: inside fixed keep, outside
// fixed cut, and a band of bandWidth pixels across the selection's edge
// unknown (a round pen of radius bandWidth / 2 run along it, as
// qxGrabCutEdgeGen does; 0 or 1: no band).
cv::Mat marksFromSelection(const cv::Mat& selection, int bandWidth);

// Pixels of a trimap other than 0 and 255: the unknownEstimate of qxMaskAlpha.
double trimapUnknownCount(const cv::Mat& trimap);

// ---- pixel layouts (pixel_layout.cpp) ---------------------------------------

enum class ChannelOrder { BGR, RGB };

// Any 8-bit colour image (grey, 3 or 4 channels, in the given order) to the
// library's four-byte pixels: blue, green, red, then the fourth byte (the
// image's own fourth channel, else `fourth`).
cv::Mat toFourByte(const cv::Mat& image, ChannelOrder order = ChannelOrder::BGR, unsigned char fourth = 255);

// Four-byte pixels (or three-byte ones) back to three bytes in the given order.
cv::Mat toThreeByte(const cv::Mat& pixels, ChannelOrder order = ChannelOrder::BGR);

// Three 8-bit planes with one row step, as a QxMaskJob takes them: plane i is
// byte i of each pixel of a 3- or 4-channel image.
struct Planes {
    cv::Mat storage;                        // owns the three planes, stacked
    std::array<unsigned char*, 3> pointers;  // into storage
    int step = 0;
};
Planes splitPlanes(const cv::Mat& image);
// The three planes back into three-byte pixels (plane i to byte i).
cv::Mat mergePlanes(const Planes& planes, int width, int height);

// "RRGGBB" (hex digits, optionally after '#') to red, green, blue: the byte
// order of the library's colour arguments. Throws std::invalid_argument.
std::array<unsigned char, 3> parseHexColour(const std::string& text);
// Those bytes as a BGR scalar for images in the library's order.
inline cv::Scalar colourScalar(const std::array<unsigned char, 3>& rgb) { return cv::Scalar(rgb[2], rgb[1], rgb[0]); }

// ---- compositing (compositing.cpp) ------------------------------------------

// foreground (bytes 0..2 colour) over background (3 or 4 channels, same size)
// by alpha, rounded: (f a + b (255 - a) + 127) / 255. Result CV_8UC3.
cv::Mat compositeOverImage(const cv::Mat& foreground, const cv::Mat& alpha, const cv::Mat& background);
cv::Mat compositeOverColour(const cv::Mat& foreground, const cv::Mat& alpha, const cv::Scalar& colour);
// How a background of other proportions is brought to the cut-out's size.
enum class BackgroundFit {
    Fill,     // scaled to cover it, the overhang cut off: nothing distorted, nothing empty
    Fit,      // scaled to lie inside it, the rest in a plain colour
    Stretch,  // scaled each way on its own (proportions lost)
};
// "fill", "fit", "stretch" (std::invalid_argument otherwise).
BackgroundFit parseBackgroundFit(const std::string& name);
// background (3 or 4 channels) at size by fit, result CV_8UC3. align (each 0
// to 1) places it: 0.5, 0.5 centres the cut (Fill) or the bars (Fit); 0, 0
// keeps the top left. bars: the colour around a fitted background.
cv::Mat fitBackground(const cv::Mat& background, cv::Size size, BackgroundFit fit,
                      cv::Point2d align = cv::Point2d(0.5, 0.5), const cv::Scalar& bars = cv::Scalar::all(255));

// Colours (bytes 0..2 of a 3- or 4-channel image) with the alpha as byte 3.
cv::Mat makeCutout(const cv::Mat& colours, const cv::Mat& alpha);

// ---- image files (image_files.cpp, image_read.cpp) -------------------------

// A file that cannot be read or written: what() names the file and the cause
// ("cannot write 'a.png': no space left on the device").
struct FileError : std::runtime_error {
    std::string path, cause;
    FileError(const std::string& file, const std::string& why);               // writing
    FileError(const std::string& file, const std::string& why, bool reading);  // reading
};

// Writes bytes to a hidden temporary file in path's folder, flushes it and
// renames it over path: path holds either its earlier content or all of the
// new one, also after a full disk or an interrupting signal (the temporary
// file is removed). Refuses a folder, a missing folder and anything that is
// not a regular file (a device such as /dev/full, a pipe). Throws FileError.
void writeFileAtomically(const std::string& path, const std::vector<unsigned char>& bytes);
// Encodes image by path's extension (an unknown one is refused before any
// file is touched) and writes it with writeFileAtomically. A four-channel
// image is refused for a format that keeps no transparency (JPEG, BMP, PNM).
void writeImageFile(const std::string& path, const cv::Mat& image);
// Whether the file's format keeps an alpha channel (.png, .tif, .webp).
bool keepsAlpha(const std::string& path);
// What writeImageFile would refuse, checked before the work: an unknown or
// missing extension, a target that is a folder or a device, a folder that is
// missing, is no folder or cannot take new files. Throws FileError.
void checkOutputFile(const std::string& path);
// Removes from a folder the temporary files that writers killed part way left
// (see abandoned); returns how many.
int removeLeftovers(const std::string& folder);
// Whether a file that the process pid wrote is left over: no process of that
// id runs here and the file has not changed for ten minutes. The age keeps
// the live files of a writer on another machine that shares the folder, whose
// process id means nothing here.
bool abandoned(const std::string& path, int pid);

enum class ImageKind {
    Colour,     // CV_8UC3 (grey and four-channel images converted)
    Mask,       // CV_8UC1 (colour converted to grey)
    WithAlpha,  // CV_8UC4 (anything else refused)
};
constexpr long long kMaxImagePixels = 200000000;
// Reads an image file: the size is checked from the header before decoding
// (PNG, JPEG, PNM) and again after; a JPEG cut short is refused rather than
// decoded half grey, and the decoders' own messages are kept off stderr;
// 16-bit samples are scaled to 8 bits (65535 to 255); palettes are expanded;
// float samples are refused. Throws FileError naming the file and the reason.
cv::Mat readImageFile(const std::string& path, ImageKind kind, long long maxPixels = kMaxImagePixels);
// Width and height from a PNG, JPEG or PNM file's header without decoding it;
// an empty size for other formats or a file that cannot be read.
cv::Size imageFileSize(const std::string& path);

// OpenCV's image codecs, from a module (qxmatte-codecs.so) loaded on first
// use from beside the program or from the installed library folder; until
// then the process maps none of the libraries behind them. Each throws
// std::runtime_error with a sentence when the module cannot be loaded.
// flags are cv::IMREAD_* values. A decoder or encoder that throws leaves an
// empty image (false) with its message in *error.
cv::Mat decodeImage(const std::vector<unsigned char>& bytes, int flags, std::string* error = nullptr);
cv::Mat readImageAs(const std::string& path, int flags, std::string* error = nullptr);
bool encodeImage(const std::string& ext, const cv::Mat& image, std::vector<unsigned char>& bytes,
                 std::string* error = nullptr);
bool haveImageReader(const std::string& path);  // by the file's signature
bool haveImageWriter(const std::string& path);  // by the name's extension

// Refuses a trimap that leaves nothing to solve or nothing to solve from:
// no background (no pixel at or below inLow), no foreground (none at or
// above inHigh) or nothing unknown. Throws std::invalid_argument naming it.
void checkTrimap(const cv::Mat& trimap, const std::string& name, int inHigh = 255, int inLow = 0);

// ---- failures (failure_text.cpp) ------------------------------------------

// The value an export returns on success: 1, but 0 for qxRecoverForeground.
// Exports that return nothing count as 1.
int successValue(const std::string& exportName);

// A sentence telling what the value returned by the export means (also for
// success), e.g. describeFailure("qxMaskAlpha", -1001) says the system is
// too large. Unknown names and values get a general sentence with the number.
std::string describeFailure(const std::string& exportName, int value);

// Thrown by the calls below when an export returns a failure value.
struct LibraryFailure : std::runtime_error {
    std::string exportName;
    int value;
    LibraryFailure(const std::string& name, int returned);
    LibraryFailure(const std::string& name, int returned, const std::string& sentence);  // own words
};
// Throws LibraryFailure unless value is the export's success value.
void checkReturn(const std::string& exportName, int value);

// Whether an exception means the process ran out of memory or address space
// outside the library's own failure values: a failed allocation, OpenCV's
// insufficient memory, or a worker thread that could not be started (OpenCV's
// thread pool under an address-space limit). Hosts report these as "out of
// memory".
bool isOutOfMemory(const std::exception& e);

// ---- calls of the exports (library_calls.cpp) -------------------------------

struct Progress {
    QxProgressFn function = nullptr;  // or null: silent
    void* cookie = nullptr;
};

// qxMaskAlpha over a colour image and a trimap (0, 255, else unknown); the
// alpha comes back as a new image. unknownEstimate < 0 counts the trimap's
// unknown pixels. Bounds as qxMaskAlpha takes them.
struct MatteBounds {
    int inHigh = 255, inLow = 0, outHigh = 255, outLow = 0;
};
cv::Mat solveAlpha(const cv::Mat& image, const cv::Mat& trimap, double unknownEstimate = -1,
                   MatteBounds bounds = MatteBounds(), Progress progress = Progress());

// How foreground colours are recovered.
enum class ColourMethod {
    FullResolution,  // estimateForeground below: full size, local; the default
    Design,          // the library's qxRecoverForeground
    Cell,            // the library's qxRecoverForegroundCell over the whole image
};
// "full", "design", "cell" (throws std::invalid_argument for anything else).
ColourMethod parseColourMethod(const std::string& name);
const char* colourMethodName(ColourMethod method);

// Foreground colours (CV_8UC3, library order) of image under alpha by the
// chosen method. Pixels a method leaves alone keep the image's colour.
cv::Mat recoverColours(const cv::Mat& image, const cv::Mat& alpha, ColourMethod method,
                       Progress progress = Progress());

// ---- GrabCut and desaturation (grabcut.cpp) ---------------------------------

// The largest side of a rectangle one GrabCut session takes.
constexpr int kGrabCutMaxSide = 3199;

// Whether qxGrabCut takes a rectangle of this size: longer side 101 to 3199,
// and its reduced copy (halved 0 to 3 times, to about 100 to 400 pixels)
// more than 10 pixels each way.
bool grabCutAccepts(int width, int height);

struct GrabCutSettings {
    int bandWidth = 4;   // width of the unknown band, pixels
    int iterations = 1;  // passes of qxGrabCut, as a host runs one after each stroke
};

// About 1% of the image's larger side, at least 4.
int defaultGrabCutBand(cv::Size image);

// GrabCut from a rectangle: outside it fixed cut; inside, marks (optional,
// CV_8UC1 of the image's size: 0 or 1 cut, 255 keep, anything else no mark).
// The session runs on a region larger than the rectangle by a margin of
// kGrabCutMargin of its longer side where the image has room (at least 8% of
// it and 8 pixels), the margin fixed cut so that the first pass builds its
// colour models from marks; where the margin would leave the image, the region continues as the image's mirror
// image and no mark, so a rectangle side on the image's edge does not cut
// what touches that edge (a rectangle with no margin in the image at all
// takes the image's edge drawn out as cut). The session sees the region at a
// longer side of at most kGrabCutWorkSide; its selection's edge is cut again on a middle
// level (kGrabCutMiddleSide) in a wide band, twice, with colour models learnt
// from the last selection; then in rounds on a copy of the rectangle alone
// at kGrabCutZoneSide (until a round changes little, at most four), with
// colour models learnt from full-size pixels, where pixels near the edge
// favour the other side by their colour (grabCutDisagreement,
// refineGrabCutRegion); and last at full size in a
// band of one pixel of that copy (refineGrabCutEdge), where full-size pixels
// of that zone whose colour leans clearly the other way change side on
// their own. When the region is no larger than the middle level, the
// session's level is the finish. Returns CV_8UC1, 255 selected, 0 not, of the
// image's size; fixed marks keep their side. Throws std::invalid_argument for
// a rectangle that leaves the image or is too small (grabCutAccepts on the
// rectangle, reduced to 3199 if longer), LibraryFailure when qxGrabCut fails.
cv::Mat grabCutSelection(const cv::Mat& image, const cv::Mat& marks, cv::Rect rect, int iterations = 1,
                         Progress progress = Progress());

// The longer side of the reduced region one session runs on: the library's
// graph cut runs on it without halving. A long, narrow region keeps a shorter
// side of kGrabCutWorkShortSide (within the library's largest side), so what
// is thin across it keeps a few pixels.
constexpr int kGrabCutWorkSide = 200;
constexpr int kGrabCutWorkShortSide = 100;

// The region's longer side on the middle level, where the edge is cut again
// in a wide band, and the margin around the rectangle, a share of its longer
// side.
constexpr int kGrabCutMiddleSide = 400;
constexpr double kGrabCutMargin = 0.4;
// The rectangle's longer side on the copy of the colour rounds. As accurate
// as the middle level's 400 on the GrabCut bench (mean IoU 0.865 against
// 0.863 over 48 cases at 1 MP) and 8% cheaper there.
constexpr int kGrabCutZoneSide = 300;

// grabCutSelection made a trimap (0, 128, 255) of the image's size by
// qxGrabCutEdgeGen over the rectangle: the band of settings.bandWidth pixels
// across the selection's edge 128, fixed marks kept.
cv::Mat grabCutTrimap(const cv::Mat& image, const cv::Mat& marks, cv::Rect rect, const GrabCutSettings& settings,
                      Progress progress = Progress());

// The two colour models (background, foreground) of cv::grabCut, as it keeps
// them, started from a four-state mask (GC_BGD ... GC_PR_FGD) of a CV_8UC3
// image. Empty when one side has no pixel. Equal arguments give equal models.
struct GrabCutModels {
    cv::Mat background, foreground;
};
GrabCutModels grabCutModels(const cv::Mat& bgr, const cv::Mat& states);

// Decides again the pixels within `radius` of the edge of `selection`
// (CV_8UC1, 255 or 0, changed in place) by a graph cut at this resolution
// with the given colour models and the smoothness term of cv::grabCut over
// eight neighbours; pixels farther away and those non-zero in `locked` keep
// their side and pull their neighbours toward it. The colour term is
// multiplied by dataWeight (on a reduced copy, the full-size pixels one of its
// pixels spans along a side). Returns the number of pixels decided (0 when the
// models are empty).
int refineGrabCutEdge(const cv::Mat& bgr, cv::Mat& selection, const cv::Mat& locked, const GrabCutModels& models,
                      int radius, double dataWeight = 1.0);

// refineGrabCutEdge over the pixels non-zero in `band` (CV_8UC1) instead of
// a band round the edge: every other pixel keeps its side.
int refineGrabCutRegion(const cv::Mat& bgr, cv::Mat& selection, const cv::Mat& band, const GrabCutModels& models,
                        double dataWeight = 1.0);

// 255 where a pixel non-zero in `zone` lies on the side of `selection` its
// colour does not favour (the foreground model's cost lower outside the
// selection, higher inside, by more than `margin` in -log density), 0
// elsewhere; all 0 when a model is empty. A negative margin also marks the
// pixels that favour their own side by less than -margin.
cv::Mat grabCutDisagreement(const cv::Mat& bgr, const cv::Mat& selection, const cv::Mat& zone,
                            const GrabCutModels& models, double margin = 0.0);

// Takes the colour out of the semi-transparent pixels of a cut-out (CV_8UC4,
// bytes 0..2 colour, byte 3 alpha) in place with qxDesaturation; amount 0 to
// 1. Fully opaque pixels are left exactly as they are, the alpha too.
void desaturateCutout(cv::Mat& cutout, float amount);
// ---- keep and cut to alpha (keep_cut.cpp) -----------------------------------

struct CutoutSettings {
    bool fullSize = true;       // false: solve a half-size copy (about twice as fast)
    bool designColours = false; // also recover colours inside the export (recoverColors)
    cv::Rect edit;              // empty: the whole image; else the rectangle to re-solve
    int border = 0;             // the frame of good alpha around an edit, pixels (at least 1)
    int mode = 2;               // an edit's merge: 0 only removes, 1 only adds, 2 as solved
    cv::Mat previousColours;    // colours an edit starts from (3 or 4 channels); empty: the image
    cv::Mat hostMarks;          // the user's own marks (for an edit: the unknown band); empty: marks
};

// Alpha (CV_8UC1) from an image and marks in the library's mark coding
// (marksFromTrimap), by qxKeepCutToAlpha: any size, solved in tiles. With
// designColours, colours receives the recovered colours (CV_8UC3), else the
// image's (or previousColours) with fixed keep and cut pixels' own colour.
cv::Mat keepCutToAlpha(const cv::Mat& image, const cv::Mat& marks, const CutoutSettings& settings = CutoutSettings(),
                       Progress progress = Progress(), cv::Mat* colours = nullptr);

// Readies the re-solve of settings.edit over an earlier cut-out (CV_8UC4,
// library order, the image's size): the user's marks become
// settings.hostMarks, the cut-out settings.previousColours, and the marks
// returned carry the earlier alpha, made soft (even), wherever the user's
// marks leave the alpha free.
cv::Mat prepareEdit(const cv::Mat& marks, const cv::Mat& previous, CutoutSettings& settings);

// Finishes an edit against all 8 bits of the earlier alpha, which the library
// sees with its lowest bit cleared (an odd value marks a fixed pixel): cutout
// (CV_8UC4, library order) becomes the earlier cut-out outside settings.edit,
// byte for byte, and inside it settings.mode (only add, only remove) holds
// against the earlier alpha wherever marks (as prepareEdit returned them)
// leave the pixel free.
void finishEdit(const cv::Mat& previous, const cv::Mat& marks, const CutoutSettings& settings, cv::Mat& cutout);

// The full-resolution colour estimate over rect and a 16-pixel margin, pasted
// into colours (CV_8UC3, the image's size) inside rect only.
void estimateForegroundInside(const cv::Mat& image, const cv::Mat& alpha, const cv::Rect& rect, cv::Mat& colours,
                              Progress progress = Progress());

// ---- mask tools, display and tone (mask_tools.cpp) --------------------------

// The class a flood fill gives its region (the mode of qxFloodFillAlpha).
enum class FillClass { Cut = 0, Keep = 1, Unknown = 2 };
// "cut", "keep", "unknown" (throws std::invalid_argument for anything else).
FillClass parseFillClass(const std::string& name);

// qxFloodFillAlpha on marks (CV_8UC1) in place: the 8-connected region of the
// seed's class (fixed cut: 0 or 1; fixed keep; anything else) takes the class
// `as`. Cut is written as 1, or as 0 in a trimap (marks holding no 1).
// Returns the rectangle the library reports (empty when the seed already has
// the class; the whole mask for Unknown). A seed outside the mask throws
// std::invalid_argument.
cv::Rect floodFillMarks(cv::Mat& marks, cv::Point seed, FillClass as);

// qxScaleAlpha in place: [low, high] to [0, 255]. protectFixed keeps odd
// (fixed) values and keeps the others even. low must be below high, both in
// 0 to 255 (std::invalid_argument otherwise).
void stretchAlpha(cv::Mat& alpha, int low, int high, bool protectFixed);

// qxfilterIm8u in place, strength 0 (3x3 median) or 1 (5x5 median).
void smoothMask(cv::Mat& mask, int strength);

// The pictures of qxShowImageAlpha.
enum class ShowMode { Tint = 1, Classes = 2, OverColour = 3, ColourOverlay = 4, GreyAlpha = 5 };
// "tint", "classes", "over", "overlay", "grey" (std::invalid_argument otherwise).
ShowMode parseShowMode(const std::string& name);
// image (grey, 3 or 4 channels, library order) with the mask painted in by the
// mode (tint and classes show 0 and 1 alike as cut); colour (red, green, blue) for over and overlay; low and high stretch the
// mask first in over, overlay and grey (low below high, 0 to 255). Result CV_8UC3.
cv::Mat showMask(const cv::Mat& image, const cv::Mat& mask, ShowMode mode,
                 const std::array<unsigned char, 3>& colour, int low = 0, int high = 255);

// What a levelled preview shows (the mode of qxRGB2YCbCrAutoLevel).
enum class LevelShow { Image = 0, Luma = 1, Chroma = 2, Cb = 3, Cr = 4 };
// "image", "luma", "chroma", "cb", "cr" (std::invalid_argument otherwise).
LevelShow parseLevelShow(const std::string& name);
// qxRGB2YCbCrAutoLevel on a copy of image (3 or 4 channels, library order:
// converted to red, green, blue bytes for the YCbCr conversion); target 0 to
// 255, 1 or less: no levelling. Result CV_8UC3 in the library's order.
cv::Mat levelPreview(const cv::Mat& image, int target, LevelShow show);

// ---- accurate matting (colour_sampling.cpp, accurate_matte.cpp) -------------

struct SamplingParams {
    int rays = 16;                  // directions searched from each unknown pixel
    int maxDistance = 400;          // longest ray, pixels
    float distanceWeight = 0.05f;   // cost, in levels, of a pixel of ray length
    int gatherRadius = 2;           // neighbours whose pairs each pixel tries
    int gridStep = 2;               // the pixels of each gridStep x gridStep block share their rays
    float enoughFit = 10.0f;        // every other ray only, when they explain each pixel of a block this well (levels)
    float distortionScale = 6.0f;   // colour misfit (levels) at which confidence falls to 1/e
    float separationScale = 60.0f;  // foreground-background distance (levels) for full confidence
};

// Per pixel of a trimap (0 background, 255 foreground, else unknown): alpha
// (CV_8UC1, the trimap's 0 and 255 copied) and confidence (CV_32FC1, 0 to 1;
// 1 on known pixels, 0 where no foreground or background colour was found).
struct SampledAlpha {
    cv::Mat alpha, confidence;
    cv::Mat fromBackground;  // CV_32FC1: colour distance (levels) to the sampled background; 255 where none
};

// For each unknown pixel, foreground and background colours are found along
// rays to the known pixels; the pair that best explains the pixel's colour
// gives its alpha, and how well it does (and how distinct the two colours are)
// gives the confidence. image: 3 or 4 channels, bytes 0..2 colour.
SampledAlpha sampleAlpha(const cv::Mat& image, const cv::Mat& trimap, const SamplingParams& params = SamplingParams());

// Which road a matte takes.
enum class MatteMethod {
    Accurate,  // colour sampling around the library's solve (below); the default
    Design,    // the library's solve alone
};
// "accurate", "design" (throws std::invalid_argument for anything else).
MatteMethod parseMatteMethod(const std::string& name);

struct AccurateParams {
    SamplingParams sampling;
    float confident = 0.6f;  // sampled pixels above this confidence may become fixed marks
    int certainLevels = 8;   // ... when their alpha is within this of 0 or 255
    float backgroundLevels = 10.0f;  // ... and, to become cut, their colour within this of the background
    // A solve whose alpha, summed over the free pixels sampled with confidence
    // above `confident` at alphas 32 to 223, is below this share of the sampled
    // alpha has faded (long faint strands far from foreground marks) ...
    float fadedShare = 0.6f;
    // ... and then the free pixels sampled with confidence above this take the
    // sampled alpha as fixed marks (a third of the unknowns are left to solve
    // on the wide band of bench_host_accuracy).
    float fixConfident = 0.3f;
};

// Marks (library coding) readied for the solve, and the sampling behind them.
struct AccurateMarks {
    cv::Mat marks;
    SampledAlpha sampled;
};

// Samples the free pixels of marks (even values; odd ones are fixed) and
// turns those sampled with confidence above params.confident and an alpha
// within params.certainLevels of 0 or 255 into fixed cut or keep; cut only
// where the colour is within params.backgroundLevels of the background
// sample. Other marks stay as they are; all of them do when fewer than 3
// pixels would stay free.
AccurateMarks prepareAccurateMarks(const cv::Mat& image, const cv::Mat& marks,
                                   const AccurateParams& params = AccurateParams());

// How much of the sampled alpha a solve kept: the sum of solved over the sum
// of sampled alpha, on the pixels that marks leaves free and that were
// sampled with confidence above params.confident at alphas 32 to 223 (1 when
// there are none). Below params.fadedShare the solve has faded.
double keptShare(const cv::Mat& solved, const cv::Mat& marks, const SampledAlpha& sampled,
                 const AccurateParams& params = AccurateParams());

// A quick alpha of the whole: qxKeepCutToAlpha's half-size tiles on a
// half-size copy of image and marks, brought up to full size (bilinear).
// Empty when the library cannot solve the copy.
cv::Mat quickAlpha(const cv::Mat& image, const cv::Mat& marks);

// marks with the free pixels sampled with confidence above params.fixConfident
// fixed at their sampled alpha (odd values, within a level of it).
cv::Mat fixSampledAlpha(const cv::Mat& marks, const SampledAlpha& sampled, const AccurateParams& params = AccurateParams());

// The solved alpha with the pixels marks holds fixed as marked: fixed cut 0,
// fixed keep 255, other fixed (odd) marks their value, whatever the solve
// made of them.
cv::Mat finishAccurateAlpha(const cv::Mat& solved, const cv::Mat& marks);

// ---- full-resolution foreground estimate (foreground_estimate.cpp) ----------

struct ForegroundParams {
    float smoothConstant = 0.001f;  // neighbour weight where alpha is flat
    float smoothAlpha = 0.03f;      // plus this times |alpha_i - alpha_j| (alpha 0 to 1)
    int smallSweeps = 10;           // sweeps on levels up to smallSize
    int largeSweeps = 2;            // sweeps on larger levels
    int finestSweeps = 2;           // sweeps at full size
    int smallSize = 32;             // larger side of a "small" level
};

// Estimates, for every pixel, the foreground colour F and background colour B
// that best explain the image I under the alpha a (a F + (1 - a) B = I) while
// changing smoothly between neighbours, the more so across alpha edges; solved
// coarse to fine at full resolution. image: CV_8UC3 or CV_8UC4 (bytes 0..2,
// in any channel order: each channel is solved alike), alpha CV_8UC1 of the
// same size. The result does not depend on the thread count. Returns the foreground, CV_8UC3. Extra
// memory: under 8 bytes a pixel. Progress total 100.
cv::Mat estimateForeground(const cv::Mat& image, const cv::Mat& alpha,
                           const ForegroundParams& params = ForegroundParams(), Progress progress = Progress(),
                           cv::Mat* background = nullptr);  // also the background estimate, when asked


// ---- one road from any marks to a full-size alpha (matte_road.cpp, route_plan.cpp)

// How the road solves. The library solves one system of at most 500000
// unknown pixels at a time: qxMaskAlpha takes the whole image at full size
// only up to 1500000 pixels and 400000 unknown ones (else at half or a
// reduced size that memory chooses), and qxKeepCutToAlpha's tiles fail when
// one tile of its tree (a tile marked keep only, or cut only, stays whole)
// holds more.
enum class Route {
    Matte,      // qxMaskAlpha over the whole image at full size
    Tiles,      // qxKeepCutToAlpha's full-size tiles (asked for)
    HalfTiles,  // qxKeepCutToAlpha on a half-size copy (asked for)
    Pieces,     // full-size rectangles under the limit, each solved grown by
                // an overlap inside a frame of a quick first solve of the
                // whole (half-size tiles, else a reduced matte)
    Reduced,    // qxMaskAlpha at the smallest reduced scale that fits
};
const char* routeName(Route route);  // "matte", "tiles", "half-tiles", "pieces", "reduced"

enum class RouteChoice {
    Auto,          // the most accurate route that fits
    LibraryMatte,  // qxMaskAlpha with the caller's estimate, at the scale it chooses
    LibraryTiles,  // qxKeepCutToAlpha's tiles, however large
    Pieces,        // full-size pieces whatever else would fit (to compare routes)
};

struct RoadSettings {
    RouteChoice choice = RouteChoice::Auto;
    bool halfTiles = false;        // the half-size tiles (fast, soft): always that route
    MatteBounds bounds;            // other than 255, 0, 255, 0: only qxMaskAlpha routes take them
    double unknownEstimate = -1;   // LibraryMatte only; negative: the trimap's count
    bool colours = false;          // also recover foreground colours
    ColourMethod colourMethod = ColourMethod::FullResolution;
    // Accurate, the default: colour sampling fixes the pixels it is sure of
    // before the solve (prepareAccurateMarks), and the sampled alpha where a
    // quick solve fades it (quickAlpha, keptShare); unless other bounds are given.
    // Design: the library's solve alone.
    MatteMethod method = MatteMethod::Accurate;
};

// The route chosen and why, before the work.
struct RoutePlan {
    Route route = Route::Matte;
    long long unknown = 0;         // the trimap's unknown pixels
    long long largestLeaf = 0;     // of the library's tile tree, when it was reckoned
    double estimate = 0;           // unknownEstimate handed to qxMaskAlpha (Matte, Reduced; Pieces'
                                   // first solve when half-size tiles are too large)
    double scale = 1;              // working scale of the result: 1 full size
    std::vector<cv::Rect> pieces;  // Pieces: the rectangles, in the order they are solved
    int pieceOverlap = 0;          // Pieces: each is solved this much larger on every side
                                   // and keeps only its own rectangle
    bool narrow = false;           // every unknown pixel within half the overlap of a known
                                   // one (reckoned where pieces or tiles were weighed)
    std::string reason;            // one line: why this route
};

// The memory budget qxMaskAlpha and the local solves reckon with, in their
// bytes: the least of installed memory, available memory and swap, and the
// address space left, as the library measures it at the call.
double libraryMemoryBudget();

// Chooses the route for a trimap (0 cut, 255 keep, anything else unknown)
// under a budget (libraryMemoryBudget()): a full-size matte when the library
// takes it so, else full-size pieces, else the smallest reduced scale that
// fits. The library's own tiles when asked, and for the accurate road on a
// narrow band (plan.narrow) when their largest tile fits; elsewhere they
// measured less accurate than pieces.
RoutePlan planRoute(const cv::Mat& trimap, const RoadSettings& settings, double budget);

struct RoadResult {
    cv::Mat alpha;    // CV_8UC1, the image's size
    cv::Mat colours;  // CV_8UC3 recovered colours (settings.colours), else empty
    RoutePlan plan;   // the route taken (after a fall-back: the one that gave the result)
    std::string notice;  // one line when the result is not at full accuracy (a reduced
                         // scale and its reason), else empty
};

// Any image and any trimap to a full-size alpha, by the route planRoute
// chooses: check the inputs, plan, prepare the marks, solve, finish. Pixels
// the trimap holds at 0 or 255 are exactly that in the alpha. A route that
// still fails with a size or memory value falls back to the next one; when
// none is left, LibraryFailure carries a sentence saying what would help.
RoadResult solveAnySize(const cv::Mat& image, const cv::Mat& trimap, const RoadSettings& settings = RoadSettings(),
                        Progress progress = Progress());

}  // namespace qxhost
