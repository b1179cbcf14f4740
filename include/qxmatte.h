/*
 * qxmatte: image cut-out routines for a host image editor.
 *
 * The host loads libqxmatte into its own process and calls the exports below
 * one at a time (they share the progress state and are not reentrant with one
 * another). The host owns every pixel buffer and every record; the library
 * only reads and writes them during a call. Images cross the boundary in two
 * forms:
 *
 *   flat form  pixels, step, width, height: row y starts at pixels + y * step,
 *              step in bytes, sizes in pixels;
 *   job form   a pointer to a QxJob (or QxMaskJob) record owned by the host.
 *
 * Mark coding of an 8-bit mask: bit 0 set means fixed by the user. 0xFF fixed
 * keep, 0x01 fixed cut, 0xFE soft keep, 0x00 soft cut, 0x7E unknown band;
 * another even value is a soft alpha, another odd value a fixed alpha.
 *
 * Four-byte pixels: bytes 0 to 2 are colour (byte 1 is green), byte 3 is not
 * colour; only qxShowImageAlpha writes it (255, in its opaque modes). Colour
 * arguments (three bytes) run in the reverse order of the pixel's bytes.
 *
 * Sizes: the flat-form exports check width, height and step before they make
 * any buffer; a width or height below 1, or a step too short for one row,
 * gives the failure value each export names (or nothing happens, where an
 * export has no result).
 *
 * Null pointers, one rule for all 21 exports: a NULL record, a NULL buffer
 * that the call would read or write, or a NULL output the export names as
 * required is refused before anything is touched, with the value the export
 * gives for bad sizes (its "refused" value below), or nothing at all where
 * the export returns nothing. Only the pointers an export calls optional (the
 * counts of qxMaskBBox, the progress callback and cookie, the trace path) may
 * be NULL in a call that does work.
 *
 * Return values: 1 is success, except qxRecoverForeground, whose success is 0.
 * Failures inside the library come back as each export's comment says. No
 * C++ exception leaves an export that returns a value: where a work image
 * can't be had (a size near INT_MAX included) the export returns the value
 * its comment names, and the host's buffers are as they were. Only the three
 * exports that return nothing (qxShowKeepBlend, qxGrabCutEdgeGen,
 * qxGrabCutDeleteBuf) may let an exception pass to the host; hosts calling
 * from C keep to valid arguments there.
 *
 * Sizes and offsets are computed in 64 bits: a width, height or step up to
 * INT_MAX, or a point anywhere in the int range, is defined behaviour.
 *
 * Sizes: qxMaskAlpha, qxRecoverForeground, qxRecoverForegroundCell,
 * qxMaskBBox and qxDrawLine8u check their sizes and rectangles before
 * anything is made or written (a safety departure from a plain pass-through:
 * bad sizes used to reach the work buffers). A negative size, a rectangle
 * reaching outside the image, a missing buffer or a step shorter than a row
 * returns the export's failure value (given with each); a size of 0 is an
 * empty image and a success with nothing done.
 *
 * Internal failure codes (see qxMaskAlpha and qxGrabCut, which return them
 * biased by -1000, and qxRecoverForegroundCell and qxKeepCutToAlpha, which
 * return them as they are):
 *   102  a work image could not be allocated
 *   103  a work image's guard row was overwritten (an internal overrun)
 *   112  allocation failed for a work image wider than 5000 pixels
 *   113  allocation failed for a work image higher than 5000 rows
 *   121, 122, 123  the sparse solver failed in analysis, factorisation, solve
 *   125  the sparse solver ran out of memory
 *   130  an array of the matting system could not be allocated
 *   -1   the matting system is too large (over 500000 unknown pixels or
 *        100000000 matrix entries)
 *   -5   the marks do not allow a solve
 * qxKeepCutToAlpha also returns -3 for a job whose sizes, steps or rectangle
 * lie outside its buffers.
 */
#ifndef QXMATTE_H
#define QXMATTE_H

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define QXMATTE_API __attribute__((visibility("default")))
#else
#define QXMATTE_API
#endif

/*
 * Host progress callback: value and total of the bar, and the cookie the host
 * put in its job record. Called on any thread, never twice at once. The result
 * is not used: a host cannot cancel through it.
 */
typedef int (*QxProgressFn)(int value, int total, void *cookie);

/* Record of the job-form exports. Owned by the host. */
typedef struct QxJob {
    unsigned char *imagePixels;  /* source image, 4 bytes a pixel */
    int imageStep;               /* its row distance in bytes */
    unsigned char *maskPixels;   /* one byte a pixel: marks or alpha */
    int maskStep;
    unsigned char *outPixels;    /* result image, 4 bytes a pixel */
    int outStep;
    unsigned char *auxPixels;    /* second one-byte plane */
    int auxStep;
    int width;                   /* size of all planes, pixels */
    int height;
    int roiX;                    /* rectangle to work on */
    int roiY;
    int roiWidth;
    int roiHeight;
    int roiBorder;               /* extra pixels around the rectangle, or a flag */
    unsigned char recoverColors; /* qxKeepCutToAlpha: also recover colours */
    unsigned char reserved[3];
    QxProgressFn progressCallback; /* or NULL: no progress */
    void *progressCookie;          /* passed back; NULL also means no progress */
    const unsigned char *hairColour;     /* three bytes, qxHairSelect */
    const unsigned char *backdropColour; /* three bytes, qxHairSelect */
    void *grabCutSession;        /* in and out; NULL before the first qxGrabCut */
    int grabWidth;               /* rectangle handed to GrabCut */
    int grabHeight;
    int grabX;
    int grabY;
    int keepCutMode;             /* mode of qxKeepCutToAlpha */
} QxJob;

/* Record of qxMaskAlpha. Owned by the host. */
typedef struct QxMaskJob {
    int reserved0;               /* not read */
    unsigned char **planes;      /* three pointers to 8-bit colour planes */
    int planeStep;               /* row distance of all three planes, bytes */
    unsigned char *marksPixels;  /* mark mask; overwritten with the alpha */
    int marksStep;
    int width;                   /* size of planes and mask, pixels */
    int height;
    int reserved1[3];            /* not read */
    QxProgressFn progressCallback; /* or NULL */
    void *progressCookie;          /* or NULL; either NULL means silent */
} QxMaskJob;

/* ---- Set-up ------------------------------------------------------------ */

/*
 * Switch tracing. mask: bit 0 turns the trace on, other bits mean nothing.
 * path: directory of the trace file "<path>/qxtrace_log.txt", copied into a
 * 512-byte buffer (must be shorter), or NULL to keep the last directory
 * (initially "/tmp/"); the directory is taken even when tracing is off. With
 * tracing on, two numbered records (the file name and the mask) are appended;
 * the file is opened and closed for each record, so nothing is lost in a
 * crash. Tracing is meant for one thread. Returns 1 when tracing is on and the
 * file could be written, else 0. The library loads with tracing off.
 */
QXMATTE_API int setDebugTrace(int mask, const char *path);

/* As setDebugTrace, but a negative mask returns 0 and changes nothing (the
 * directory included), so a host can probe the library with it. */
QXMATTE_API int qxSetupLib(int mask, const char *path);

/* ---- Matting ----------------------------------------------------------- */

/*
 * Compute a soft alpha from an image and its marks, in place in the mask.
 * job: planes, mask and progress callback (progress total 130). unused: not
 * read. unknownEstimate: the caller's count of pixels to be solved; with the
 * image size it decides the working scale (full, half or reduced size).
 * inHigh, inLow (low bytes used): the input marks are stretched from
 * [inLow, inHigh] to [0, 255] first; after that 0 is certain background,
 * 255 certain foreground, anything else unknown. Pass 255 and 0 for no
 * stretch; inHigh must differ from inLow (their difference divides), and a
 * difference of 255 or more means no stretch. outHigh, outLow: the
 * solved alpha is stretched from [outLow, outHigh] to [0, 255] (255 and 0: no
 * stretch). On return 0 and 255 survive only where the mask held exactly that
 * value before the call.
 * Returns 1, or e - 1000 for an internal failure code e (so -1001 for a system
 * too large, -870 for an allocation failure, -875 for solver memory), or -1000
 * for any other failure. The mask holds partial results after a failure.
 * Refused with -1000 and nothing touched: a NULL job, a negative width or
 * height, a missing plane or mask, a step shorter than a row, and an
 * unknownEstimate that is not a finite number of at least 0. A width or
 * height of 0 returns 1. A finite estimate too large for memory still
 * solves: a reduced side is never below 16 pixels (or half the image's side,
 * if that is less), and an image under 6 pixels in either direction is always
 * solved at full size. A pixel whose solution is not a number keeps its mark.
 * Results are the same on any number of threads.
 */
QXMATTE_API int qxMaskAlpha(QxMaskJob *job, int unused, float unknownEstimate,
                            int inHigh, int inLow, int outHigh, int outLow);

/*
 * Turn keep/cut marks into a soft alpha over the job's rectangle (roiX, roiY,
 * roiWidth, roiHeight), in place in maskPixels. Marks follow the mark coding
 * above; every pixel without bit 0 (fixed) is solved, and the fixed ones keep
 * their value. The rectangle is cut into a tree of tiles along the spread of
 * its unknown pixels and solved tile by tile, each solved tile serving as
 * boundary for the next, so that images of any size can be solved.
 * fullSize: 1 solves at full size; anything else solves a half-size copy and
 * brings it up by colour-guided doubling (about twice as fast).
 * roiBorder non-zero marks an edit: a rectangle below 937024 pixels is
 * re-solved at once inside a frame of roiBorder pixels of the alpha around it
 * (the frame keeps its values exactly); a larger one goes through the tiles
 * with a frame of 4 * roiBorder + 3 pixels, where the unknown band of
 * auxPixels (0x7E) stays unknown. The edit is then merged with the alpha that
 * stood there, where that was not fixed, by keepCutMode: 0 keeps the lower
 * (an edit only removes), 1 the higher (only adds), any other value takes the
 * new alpha as it is.
 * On return a fixed pixel holds its mark; 0xFF and 0x01 pixels also copy
 * their four source bytes into outPixels. Solved pixels have bit 0 clear.
 * recoverColors non-zero then recovers foreground colours into outPixels with
 * qxRecoverForegroundCell (its result is not looked at).
 * The doubling of the half-size road does not reach the rectangle's first row
 * and column and its last three rows and columns; those lines take the
 * values of their nearest reached line (row 1, column 1, the fourth line from
 * the far edge) before the fixed marks go back. This repair is deliberate: the
 * lines would otherwise keep their marks unsolved.
 * Thin rectangles (tile roads, that is roiBorder 0 or a large edit): the solve
 * works on 3 x 3 windows, so a rectangle under 3 pixels high or wide returns
 * -5 with the mark bits put back, and one under 5 pixels high or wide is
 * solved at full size whatever fullSize says (its half-size copy would be
 * under 3 pixels thick). Results do not depend on the number of threads.
 * Reads imagePixels, maskPixels, auxPixels (the host's marks: on any failure
 * bit 0 of each mask pixel is put back from there), writes maskPixels and
 * outPixels inside the rectangle. Progress: total 20000 (10000 for an edit).
 * Returns 1; -3 when a pointer is null, width or height is below 1, a step is
 * shorter than a row (4 bytes a pixel for imagePixels and outPixels), or the
 * rectangle is empty or not inside the image (nothing is touched then); -5
 * when the marks allow no solve (fewer than 3 pixels to solve, or no fixed
 * keep or no fixed cut, tested when roiBorder is 0); -1 for a tile of more
 * than 500000 pixels to solve or memory exhausted; another internal failure
 * code as it is (e.g. 103); -1000 for any other failure.
 */
QXMATTE_API int qxKeepCutToAlpha(QxJob *job, int fullSize);

/* ---- Foreground recovery ------------------------------------------------ */

/*
 * Recover the true foreground colours of the rectangle roiX, roiY, roiWidth,
 * roiHeight: reads imagePixels (4 bytes a pixel), maskPixels (alpha) and
 * auxPixels (must be readable, same size), writes outPixels bytes 0 to 2
 * inside the rectangle less a 3-pixel frame. blendEdges: non-zero fades the
 * result into what outPixels held over 64 pixels at the rectangle's edges.
 * Uses the progress callback installed by the previous call. Returns 0 on
 * success, -1 for memory exhausted, a tile's internal failure code, or -1000.
 * outPixels is untouched on failure. Refused with -1000 before anything is
 * touched: a NULL job, a negative rectangle size, a rectangle reaching
 * outside width x height, a missing image, mask, out or aux plane, or a step
 * shorter than a row of the image. An empty rectangle returns 0, as does one
 * under 4 pixels in either direction (nothing of it would be written).
 */
QXMATTE_API int qxRecoverForeground(QxJob *job, int blendEdges);

/*
 * Recover foreground colours of one cell (the job's rectangle) and fade them
 * into outPixels towards the cell's edges. roiBorder 0: fixed scale 0.18 and a
 * 1-pixel frame left unwritten; non-zero: scale by image area, 3-pixel frame.
 * modeFlag: not read. Installs the job's progress callback (total 20000).
 * Returns 1, -1 for memory exhausted (anywhere in the call, the tile solve
 * included), an internal failure code, or -1000 (among others when a tile's
 * colour planes or weight vectors cannot be made, or a reduced tile is under
 * 3 pixels wide or high with unknown pixels in it). Refused with -1000
 * before anything is touched: as qxRecoverForeground, without the aux plane.
 * An empty rectangle returns 1 and touches nothing. The image area that
 * chooses the scale is counted in 64 bits. auxPixels is not read.
 */
QXMATTE_API int qxRecoverForegroundCell(QxJob *job, int modeFlag);

/* ---- GrabCut ------------------------------------------------------------ */

/*
 * A GrabCut session works on the grab rectangle grabX, grabY, grabWidth,
 * grabHeight of the job's planes: imagePixels (4 bytes a pixel), maskPixels
 * and auxPixels (one byte a pixel, marks in the coding above), all of
 * width x height. The host sets grabCutSession to NULL, calls qxGrabCut after
 * every stroke with the same rectangle, optionally qxGrabCutEdgeGen, then
 * qxGrabCutDeleteBuf once, and sets grabCutSession to NULL again.
 */

/*
 * One GrabCut pass over the grab rectangle from the marks in maskPixels. The
 * segmentation runs on a copy halved 0 to 3 times (larger side 101-200: none,
 * 201-799: once, 800-1599: twice, 1600-3199: three times) and comes back by
 * colour-guided doubling. The first call allocates the session into
 * job->grabCutSession; later calls reuse its colour models while the fixed
 * marks stay the same (soft marks moved only) and rebuild them when fixed
 * marks were added or removed. Outside the 5-pixel frame of the reduced copy,
 * which is always background, soft marks (0x00, 0xFE) are probable cut/keep,
 * fixed ones definite; other values keep what the last pass decided. On
 * return maskPixels and auxPixels hold the same selection: fixed marks exactly
 * as they came, every other pixel an even value (0x00 cut .. 0xFE keep, soft
 * in between at the edges). The colour models start from a fixed random
 * draw, so equal arguments give equal selections; the calling thread's random
 * state is left as it was. fastLadder: not used. Progress: one tick, value 0
 * of 10000.
 * Returns 1; -2, before anything is touched, when a plane pointer is NULL, the
 * grab rectangle is empty or leaves width x height, its larger side is
 * outside 101 to 3199, its reduced copy would be 10 pixels or less on a side,
 * or an existing session was made for a rectangle of another size; e - 1000
 * for an internal failure code e; -1 for memory exhausted; -1000 for any other
 * failure (e.g. marks leaving no background or no foreground). After a failure
 * the planes may hold partial results, and a session made in the call stays.
 */
QXMATTE_API int qxGrabCut(QxJob *job, int fastLadder);

/*
 * Turn the GrabCut selection of auxPixels (at least 0xFE: selected) into a
 * keep/unknown/cut band in maskPixels over the grab rectangle: pixels within
 * bandWidth / 2 of the selection's boundary become 0x7E, the rest of the
 * selection 0xFE, the rest 0x00; fixed marks of auxPixels come back as they
 * are. No band is drawn along the rectangle's edges. bandWidth 0 or 1: no
 * band. A negative bandWidth or a rectangle qxGrabCut would refuse for its
 * position (see there) changes nothing. The band is found from row intervals
 * of the disc, so its cost does not grow with bandWidth (any width beyond
 * twice the rectangle's width plus height gives the band of that width).
 * Other failures pass to the host.
 */
QXMATTE_API void qxGrabCutEdgeGen(QxJob *job, int bandWidth);

/*
 * End the GrabCut session: free job->grabCutSession if it is not NULL and set
 * the field to NULL, so that a second call, or a qxGrabCut on the same record,
 * finds no session instead of a freed one (qxGrabCut then starts a new one).
 * Older builds left the field for the host to clear; a host that still clears
 * it loses nothing. Then fix the certain pixels of the grab rectangle in maskPixels and
 * copy them to auxPixels: 0x00 and 0x01 become 0x01, 0xFE and 0xFF become
 * 0xFF, other values lose bit 0 (0x7F -> 0x7E). That pass also runs without a
 * session; it is skipped for a rectangle qxGrabCut would refuse for its
 * position. Failures pass to the host.
 */
QXMATTE_API void qxGrabCutDeleteBuf(QxJob *job);

/* ---- Selection tools ---------------------------------------------------- */

/*
 * Hair brush: one segment (x1,y1)-(x2,y2) with the given radius, for fine
 * strands of job->hairColour against a plain job->backdropColour (three bytes
 * each, reverse pixel order). Reads imagePixels, changes maskPixels only
 * (width x height). Under the brush each pixel's colour is measured along the
 * line from the backdrop colour (0) to the strand colour (255), and a pixel
 * whose measure is the least or the greatest of seven neighbouring samples
 * (the three above, the left one, itself, and two to the lower left) is fixed
 * at that level: (measure & 0xFE) + 1, so 0xFF on the strand colour and 0x01
 * on the backdrop's; already fixed pixels are overwritten too. The brush
 * rectangle (segment box grown by radius, clipped to the image) keeps its
 * outer ring unmarked. The brush is drawn from the segment's near corner to
 * the rectangle's far corner less the radius: away from the image's edges one
 * dot of the brush's diameter at the rectangle's top left. Equal colours give
 * a measure of 0 everywhere. A radius above 16383 counts as 16383.
 * Returns 1. Nothing changes for an end outside the image, a negative radius,
 * NULL pointers or steps shorter than a row. Returns -1, with the mask as it
 * was, when the brush's work images can't be had.
 */
QXMATTE_API int qxHairSelect(QxJob *job, int x1, int y1, int x2, int y2, int radius);

/*
 * Colour-range brush: along the segment (x1,y1)-(x2,y2), 2 * radius + 1 wide,
 * fix every pixel whose colour lies strictly within tolerance (Euclidean, in
 * bytes) of colour (three bytes, reverse pixel order) as keep (0xFF, keep
 * non-zero) or cut (0x01). Pixels already fixed (odd) keep their value.
 * Tolerance 0 selects nothing, 1 only the exact colour. Reads imagePixels,
 * changes maskPixels (width x height); the brush is clipped to the image. A
 * radius above 16383 counts as 16383. Returns 1. Nothing changes for a
 * negative radius, a size below 1, NULL pointers or steps shorter than a row.
 * Returns -1, with the mask as it was, when the brush map can't be had.
 */
QXMATTE_API int qxColorRangeSelect(QxJob *job, int x1, int y1, int x2, int y2, int radius,
                                   const unsigned char *colour, int tolerance, int keep);

/*
 * Take the colour out of semi-transparent pixels in place: with a the pixel's
 * byte in alphaPlane (one byte a pixel, alphaStep apart), the HLS saturation
 * is multiplied by (a/255)^4 * amount + 1 - amount and truncated. amount 0
 * leaves the saturation (the pixel passes through the colour conversion and
 * may move by its rounding), 1 makes pixels of alpha 0 grey. Pixels whose
 * alpha byte is odd (a fixed mark, e.g. 0xFF, 0x01) are left exactly as they
 * are, whatever the amount: a fixed mark is the user's own decision about
 * that pixel, so it keeps its colour too. Byte 3 is never changed. An amount
 * outside 0 to 1 wraps the saturation byte. Returns 1. Nothing changes for a
 * size below 1, NULL pointers or steps shorter than a row. Returns -1, with
 * the image as it was, when the two work images can't be had.
 */
QXMATTE_API int qxDesaturation(unsigned char *pixels, int step, int width, int height,
                               const unsigned char *alphaPlane, int alphaStep, float amount);

/* ---- Display ------------------------------------------------------------ */

/*
 * Paint the state of a cut-out into the display image pixels (4 bytes a pixel,
 * step >= 4 * width) from the mask alpha (one byte a pixel, alphaStep >=
 * width), in place. mode:
 *   1  tinted marks: colour bytes darkened to 7/8 (rounded), then 85 added
 *      (saturating) to byte 0 for an even mark, byte 2 for fixed cut 0x01,
 *      byte 1 for fixed keep 0xFF, bytes 2 and 1 for any other odd mark;
 *      byte 3 untouched.
 *   2  class colours by exact value: 0 gives bytes (0,0,255,255), 255 gives
 *      (0,255,0,255), anything else (255,0,0,255).
 *   3, 6  the image over colour: alpha is stretched as by
 *      qxScaleAlpha(high, low, protectHard 0), then each colour byte becomes
 *      round(p * a / 256) + round(k * (255 - a) / 256), saturated, where k is
 *      the colour's byte for it (so a = 255 keeps 255/256 of the pixel).
 *   4  the colour over the image: the same with a and 255 - a swapped.
 *   5  the stretched alpha as grey in bytes 0 to 2.
 *   Modes 2 to 6 set byte 3 to 255.
 * colour: three bytes in reverse pixel order, read by modes 3, 4 and 6.
 * Returns 1; 1 also for any other mode, which changes nothing. Returns -1,
 * changing nothing, for bad sizes or a NULL pixels or alpha, in modes 3 to 6
 * when high and low have equal low bytes (nothing to stretch from) or the
 * work planes can't be had, and, in modes 3, 4 and 6, when colour is NULL.
 */
QXMATTE_API int qxShowImageAlpha(unsigned char *pixels, int step, int width, int height,
                                 const unsigned char *alpha, int alphaStep, int high, int low,
                                 int mode, const unsigned char *colour);

/*
 * Mix other into pixels (both 4 bytes a pixel), bytes 0 to 2: each becomes
 * trunc(p * (1 - amount) + o * amount) in single precision, stored as its low
 * byte (amounts outside 0 to 1 wrap rather than saturate); byte 3 stays.
 * otherWidth and otherHeight must be at least width and height: an other
 * image smaller in either direction is taken as a mismatch and nothing is
 * mixed (rather than mixing the part they share). Bad sizes or NULL pointers:
 * nothing happens.
 */
QXMATTE_API void qxShowKeepBlend(unsigned char *pixels, int step, int width, int height,
                                 const unsigned char *other, int otherStep, int otherWidth,
                                 int otherHeight, float amount);

/* ---- Mask utilities ----------------------------------------------------- */

/*
 * Bounding box of the marks, with a margin of 12 pixels, clamped to the image.
 * is16Bit: 0 for 8-bit pixels; else 16-bit pixels compared against
 * valueKeep * 128 (at or above: background) and valueCut * 128 (at or below).
 * In 8-bit form a pixel equal to valueKeep or valueCut is background.
 * Writes outX, outWidth, outY, outHeight; when both count pointers are
 * non-NULL, the numbers of valueKeep and valueCut pixels inside the box. A box
 * under 24 rows high (margins included) gives all zeros and counts of -1
 * (each written where its pointer is non-NULL); the box's width has no
 * minimum. step is in bytes for both depths. reserved: not read. A count
 * beyond the int range reads INT_MAX. Returns 1; a width or height of 0
 * gives the empty box. Returns 0 with nothing written
 * for a NULL box output, a negative width or height, or (for a mask of any
 * pixels) a NULL mask or a step shorter than a row.
 */
QXMATTE_API int qxMaskBBox(int is16Bit, const void *pixels, int step, int width, int height,
                           int *outX, int *outWidth, int *outY, int *outHeight,
                           int *outCountKeep, int *outCountCut, int reserved,
                           int valueKeep, int valueCut);

/*
 * Draw one stroke from (x1,y1) to (x2,y2), 2 * radius + 1 wide, into an 8-bit
 * mask, 8-connected with round ends. mode (low byte): 0 cut (1), 1 keep (255),
 * 2 unknown (0x7E), 3 the odd (fixed) value (value & 0xFE) + 1, so 200 paints
 * 201; anything else 0. Parts of the stroke outside the mask are clipped.
 * Returns 1, also for a mask of width or height 0 (nothing drawn). Returns 0
 * with nothing drawn for a negative width or height, a NULL mask, a step
 * shorter than a row, or a radius below 0 or above 16383.
 */
QXMATTE_API int qxDrawLine8u(unsigned char *pixels, int step, int width, int height,
                             int x1, int y1, int x2, int y2, int radius, int mode, int value);

/*
 * Flood-fill the 8-connected region of like-class pixels around the seed
 * (classes: fixed cut 1, fixed keep 255, anything else) with the class of
 * mode (low byte): 0 cut (1), 1 keep (255), 2 unknown (0x7E). outRect (four
 * ints, required) is zeroed first and receives x, y, width, height of the
 * region: all zero when the seed already has the value (nothing to do); for
 * mode 2 the whole image. Modes 0 and 1 rewrite pixels of the target class
 * within the rectangle (the region and those already of that class); other
 * modes write nothing and report the region's rectangle. reserved1..3: not
 * read. Returns 1; -3 for a seed outside the image (negative coordinates
 * included), bad sizes, NULL pixels or a NULL outRect (then nothing is
 * written); -1, with the mask as it was, when the fill's work buffer, the
 * copy or the class image can't be had.
 */
QXMATTE_API int qxFloodFillAlpha(unsigned char *pixels, int step, int width, int height,
                                 int seedX, int seedY, int reserved1, int reserved2, int mode,
                                 int reserved3, int *outRect);

/*
 * Stretch [low, high] to [0, 255] in place. high and low: low bytes, as
 * unsigned values; span = high - low. factor = 8160 / span truncated, at most
 * 255 (a negative span gives a negative factor of which the low byte is
 * used); each pixel becomes saturate(round(max(v - low, 0) * factor / 32)).
 * A span of 255 changes nothing. protectHard non-zero: pixels that were odd
 * (fixed marks) keep their value, the others lose bit 0 after the stretch.
 * Returns 1; -1, changing nothing, for a span of 0 (equal low bytes: nothing
 * to stretch from), bad sizes, NULL pixels, or when the copy of the marks
 * can't be had.
 */
QXMATTE_API int qxScaleAlpha(unsigned char *pixels, int step, int width, int height,
                             int high, int low, int protectHard);

/*
 * Smooth a mask in place: a cross-shaped median, 3x3 (mode 0) or 5x5 (mode 1),
 * then a 5x5 Gaussian. A band of 3 (mode 0) or 4 (mode 1) pixels at the edges
 * keeps its values, and images no larger than twice that band in either
 * direction are left as they were; pixels outside the image are never read.
 * Other modes change nothing. Returns 1; -1, changing nothing, for bad sizes,
 * NULL pixels, or when the work image can't be had.
 */
QXMATTE_API int qxfilterIm8u(unsigned char *pixels, int step, int width, int height, int mode);

/* ---- Tone ---------------------------------------------------------------- */

/*
 * Brighten 3-byte pixels in place so that the largest channel mean m reaches
 * target: gain = target / (m + 0.0001); if it is above 1, n = trunc(8 * gain)
 * capped at 250 and each byte becomes saturate(round(v * n / 8)), ties to
 * even. Never darkens. Returns 1; -1 for bad sizes (step below 3 * width) or
 * NULL pixels.
 */
QXMATTE_API int qxPreviewAutoLevel(unsigned char *pixels, int step, int width, int height,
                                   float target);

/*
 * Show one component of 3-byte pixels in YCbCr, in place, levelled towards
 * target when target is above 1. mode: 0 the image itself (as
 * qxPreviewAutoLevel), 1 luminance in all three channels (then as
 * qxPreviewAutoLevel), 2 chroma alone (luminance set to 128; Cb and Cr
 * stretched together by n / 8 around 128 from the mean excess above 128),
 * 3 Cb, 4 Cr in all three channels (stretched by n / 8 around 128 from the
 * mean distance to 128 on both sides). For the chroma stretches gain =
 * target / (mean + 1) must be above 1.12; n = trunc(8 * gain), at most 120, and
 * a pixel becomes saturate(round((max(p - 128 + 1024 / n, 0)) * n / 8)) with
 * the division truncated, so a plane at 128 moves slightly (to 120 at n 120).
 * Returns 1; 0, changing nothing, for a mode outside 0 to 4 (compared as
 * unsigned: -1 is outside), bad sizes, NULL pixels, or when memory for the
 * work planes ran out.
 */
QXMATTE_API int qxRGB2YCbCrAutoLevel(unsigned char *pixels, int step, int width, int height,
                                     int mode, int target);

#ifdef __cplusplus
}
#endif

#endif /* QXMATTE_H */
