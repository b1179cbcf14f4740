// The image, signal and small-matrix primitives on which all pixel work of the
// library rests, under their published names and with their published
// argument order. Every operation returns a status (0 success, negative error,
// positive warning) unless it returns a pointer; see the status constants.
//
// Common arguments: pSrc, pDst, pSrcDst point at the first pixel of the
// rectangle; steps are row distances in bytes; w and h the rectangle's size.
// Integer operations with scale factor s ("Sfs") compute the exact result r,
// scale it by 2^-s (s > 0: round to nearest, ties to even; s < 0: shift left)
// and saturate to 0..255.
#pragma once

#include <cstdint>

namespace qx {

using Ipp8u = unsigned char;
using Ipp32f = float;
using Ipp64f = double;
using IppStatus = int;

// Status values.
constexpr IppStatus ippStsNoErr = 0;
constexpr IppStatus ippStsSizeErr = -6;
constexpr IppStatus ippStsNullPtrErr = -8;
constexpr IppStatus ippStsMemAllocErr = -9;
constexpr IppStatus ippStsOutOfRangeErr = -11;
constexpr IppStatus ippStsStepErr = -14;
constexpr IppStatus ippStsThresholdErr = -13;  // range with max not above min
constexpr IppStatus ippStsMaskSizeErr = -33;
constexpr IppStatus ippStsSingularErr = -195;
constexpr IppStatus ippStsAnchorErr = -34;
constexpr IppStatus ippStsStepMarginErr = -37;  // step too small for the filter's margin
constexpr IppStatus ippStsDivByZero = 6;

// Comparison operations of ippiCompareC.
enum IppCmpOp : int { ippCmpLess = 0, ippCmpLessEq = 1, ippCmpEq = 2, ippCmpGreaterEq = 3, ippCmpGreater = 4 };

// Mask sizes of the fixed filters.
constexpr int ippMskSize3x3 = 33;
constexpr int ippMskSize5x5 = 55;

// Interpolation codes of the resize.
constexpr int IPPI_INTER_NN = 1;
constexpr int IPPI_INTER_LINEAR = 2;
constexpr int IPPI_INTER_CUBIC = 4;
constexpr int IPPI_INTER_SUPER = 8;

// Rounding modes of ippiConvert_32f8u_C1R.
constexpr int ippRndZero = 0;
constexpr int ippRndNear = 1;

// Result record of the flood fill.
struct IppiConnectedComp {
    double area;
    double value[3];
    int x, y, width, height;
};

// ---- Load-time set-up -------------------------------------------------------
IppStatus ippStaticInit();                 // selects the code path; 0
IppStatus ippStaticInitBest();             // selection by the processor's feature bits; 0
int ippCodePath();                         // the path that stands: 0 generic .. 5 AVX
IppStatus ippSetFlushToZero(int value, unsigned int* pUMask);   // loading thread only
IppStatus ippSetDenormAreZeros(int value);

// ---- Memory -----------------------------------------------------------------
// Row distance: widthBytes rounded up to a multiple of 32; the block is 32-byte
// aligned. Null with *pStep = 0 for a size below 1.
Ipp8u* ippiMalloc_8u_C1(int widthBytes, int height, int* pStep);
void ippiFree(void* ptr);
Ipp8u* ippsMalloc_8u(int len);
void ippsFree(void* ptr);
// Tests only: the next n calls of ippiMalloc_8u_C1 fail as if memory ran out
// (after setting *pStep), so that the buffers' fall-back path can be reached.
extern int imageAllocFailuresForTesting;

// ---- Integer arithmetic with scale factor ---------------------------------
IppStatus ippiAdd_8u_C1IRSfs(const Ipp8u* pSrc, int srcStep, Ipp8u* pSrcDst, int srcDstStep, int w, int h, int s);
IppStatus ippiSub_8u_C1IRSfs(const Ipp8u* pSrc, int srcStep, Ipp8u* pSrcDst, int srcDstStep, int w, int h, int s);
// dst = src2 - src1: the first argument is the subtrahend.
IppStatus ippiSub_8u_C1RSfs(const Ipp8u* pSrc1, int src1Step, const Ipp8u* pSrc2, int src2Step, Ipp8u* pDst,
                            int dstStep, int w, int h, int s);
IppStatus ippiMul_8u_C1IRSfs(const Ipp8u* pSrc, int srcStep, Ipp8u* pSrcDst, int srcDstStep, int w, int h, int s);
IppStatus ippiAddC_8u_C1IRSfs(Ipp8u value, Ipp8u* pSrcDst, int step, int w, int h, int s);
IppStatus ippiSubC_8u_C1IRSfs(Ipp8u value, Ipp8u* pSrcDst, int step, int w, int h, int s);
IppStatus ippiSubC_8u_C1RSfs(const Ipp8u* pSrc, int srcStep, Ipp8u value, Ipp8u* pDst, int dstStep, int w, int h,
                             int s);
IppStatus ippiMulC_8u_C1IRSfs(Ipp8u value, Ipp8u* pSrcDst, int step, int w, int h, int s);
IppStatus ippiMulC_8u_C3IRSfs(const Ipp8u value[3], Ipp8u* pSrcDst, int step, int w, int h, int s);
IppStatus ippiMulC_8u_AC4IRSfs(const Ipp8u value[3], Ipp8u* pSrcDst, int step, int w, int h, int s);
IppStatus ippiAbsDiff_8u_C1R(const Ipp8u* pSrc1, int src1Step, const Ipp8u* pSrc2, int src2Step, Ipp8u* pDst,
                             int dstStep, int w, int h);

// ---- Logic and tests on 8-bit data ----------------------------------------
IppStatus ippiAnd_8u_C1IR(const Ipp8u* pSrc, int srcStep, Ipp8u* pSrcDst, int srcDstStep, int w, int h);
IppStatus ippiOr_8u_C1IR(const Ipp8u* pSrc, int srcStep, Ipp8u* pSrcDst, int srcDstStep, int w, int h);
IppStatus ippiAndC_8u_C1IR(Ipp8u value, Ipp8u* pSrcDst, int step, int w, int h);
// 255 where (src op value) holds, else 0.
IppStatus ippiCompareC_8u_C1R(const Ipp8u* pSrc, int srcStep, Ipp8u value, Ipp8u* pDst, int dstStep, int w, int h,
                              int op);
IppStatus ippiSet_8u_C1R(Ipp8u value, Ipp8u* pDst, int dstStep, int w, int h);
IppStatus ippiLUTPalette_8u_C1R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, int w, int h,
                                const Ipp8u* pTable, int nBitSize);

// ---- Copies and channel moves (bytes unchanged) ---------------------------
IppStatus ippiCopy_8u_C1R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, int w, int h);
IppStatus ippiCopy_32f_C1R(const Ipp32f* pSrc, int srcStep, Ipp32f* pDst, int dstStep, int w, int h);
IppStatus ippiCopy_8u_AC4R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, int w, int h);
IppStatus ippiCopy_8u_C1C3R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, int w, int h);
IppStatus ippiCopy_8u_C1C4R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, int w, int h);
IppStatus ippiCopy_8u_C4C1R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, int w, int h);
IppStatus ippiCopy_8u_AC4C3R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, int w, int h);
IppStatus ippiCopy_8u_C4P4R(const Ipp8u* pSrc, int srcStep, Ipp8u* const pDst[4], int dstStep, int w, int h);
IppStatus ippiCopy_8u_P3C3R(const Ipp8u* const pSrc[3], int srcStep, Ipp8u* pDst, int dstStep, int w, int h);
IppStatus ippiCopy_8u_C1MR(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, int w, int h,
                           const Ipp8u* pMask, int maskStep);
IppStatus ippiCopy_8u_C4MR(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, int w, int h,
                           const Ipp8u* pMask, int maskStep);

// ---- Statistics -------------------------------------------------------------
IppStatus ippiSum_8u_C1R(const Ipp8u* pSrc, int step, int w, int h, Ipp64f* pSum);
IppStatus ippiMean_8u_C1R(const Ipp8u* pSrc, int step, int w, int h, Ipp64f* pMean);
IppStatus ippiMean_8u_C3R(const Ipp8u* pSrc, int step, int w, int h, Ipp64f mean[3]);

// ---- Float arithmetic (no saturation) ---------------------------------------
IppStatus ippiSet_32f_C1R(Ipp32f value, Ipp32f* pDst, int dstStep, int w, int h);
IppStatus ippiAdd_32f_C1IR(const Ipp32f* pSrc, int srcStep, Ipp32f* pSrcDst, int srcDstStep, int w, int h);
IppStatus ippiMul_32f_C1IR(const Ipp32f* pSrc, int srcStep, Ipp32f* pSrcDst, int srcDstStep, int w, int h);
// srcDst / src; a zero divisor gives +-inf (NaN for 0/0) and status 6.
IppStatus ippiDiv_32f_C1IR(const Ipp32f* pSrc, int srcStep, Ipp32f* pSrcDst, int srcDstStep, int w, int h);
IppStatus ippiMulC_32f_C1IR(Ipp32f value, Ipp32f* pSrcDst, int step, int w, int h);
IppStatus ippiThreshold_GT_32f_C1IR(Ipp32f* pSrcDst, int step, int w, int h, Ipp32f threshold);
IppStatus ippiThreshold_LT_32f_C1IR(Ipp32f* pSrcDst, int step, int w, int h, Ipp32f threshold);
IppStatus ippiAddProduct_8u32f_C1IR(const Ipp8u* pSrc1, int src1Step, const Ipp8u* pSrc2, int src2Step,
                                    Ipp32f* pSrcDst, int srcDstStep, int w, int h);

// ---- Conversions of depth ---------------------------------------------------
IppStatus ippiConvert_8u32f_C1R(const Ipp8u* pSrc, int srcStep, Ipp32f* pDst, int dstStep, int w, int h);
IppStatus ippiConvert_32f8u_C1R(const Ipp32f* pSrc, int srcStep, Ipp8u* pDst, int dstStep, int w, int h,
                                int roundMode);
IppStatus ippiScale_8u32f_C1R(const Ipp8u* pSrc, int srcStep, Ipp32f* pDst, int dstStep, int w, int h, Ipp32f vMin,
                              Ipp32f vMax);
IppStatus ippiScale_8u32f_C3R(const Ipp8u* pSrc, int srcStep, Ipp32f* pDst, int dstStep, int w, int h, Ipp32f vMin,
                              Ipp32f vMax);
IppStatus ippiScale_32f8u_C1R(const Ipp32f* pSrc, int srcStep, Ipp8u* pDst, int dstStep, int w, int h, Ipp32f vMin,
                              Ipp32f vMax);

// ---- Colour -----------------------------------------------------------------
IppStatus ippiRGBToYCbCr_8u_C3P3R(const Ipp8u* pSrc, int srcStep, Ipp8u* const pDst[3], int dstStep, int w, int h);
IppStatus ippiYCbCrToRGB_8u_P3C3R(const Ipp8u* const pSrc[3], int srcStep, Ipp8u* pDst, int dstStep, int w, int h);
IppStatus ippiRGBToHLS_8u_AC4R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, int w, int h);
IppStatus ippiHLSToRGB_8u_AC4R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, int w, int h);

// ---- Filters on 8-bit data (read the kernel's radius around the rectangle) --
IppStatus ippiFilterGauss_8u_C1R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, int w, int h, int mask);
IppStatus ippiFilterMedianCross_8u_C1R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, int w, int h,
                                       int mask);
IppStatus ippiErode3x3_8u_C1R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, int w, int h);
IppStatus ippiDilate3x3_8u_C1R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, int w, int h);
IppStatus ippiErode_8u_C1IR(Ipp8u* pSrcDst, int step, int w, int h, const Ipp8u* pMask, int maskW, int maskH,
                            int anchorX, int anchorY);
IppStatus ippiDilate_8u_C1IR(Ipp8u* pSrcDst, int step, int w, int h, const Ipp8u* pMask, int maskW, int maskH,
                             int anchorX, int anchorY);

// ---- Filters on float data (true convolutions) ----------------------------
IppStatus ippiFilter_32f_C1R(const Ipp32f* pSrc, int srcStep, Ipp32f* pDst, int dstStep, int w, int h,
                             const Ipp32f* pKernel, int kernelW, int kernelH, int anchorX, int anchorY);
IppStatus ippiFilterRow_32f_C1R(const Ipp32f* pSrc, int srcStep, Ipp32f* pDst, int dstStep, int w, int h,
                                const Ipp32f* pKernel, int kernelSize, int xAnchor);
IppStatus ippiFilterColumn_32f_C1R(const Ipp32f* pSrc, int srcStep, Ipp32f* pDst, int dstStep, int w, int h,
                                   const Ipp32f* pKernel, int kernelSize, int yAnchor);

// ---- Geometry -----------------------------------------------------------------
IppStatus ippiResize_8u_C1R(const Ipp8u* pSrc, int srcW, int srcH, int srcStep, int roiX, int roiY, int roiW,
                            int roiH, Ipp8u* pDst, int dstStep, int dstW, int dstH, double xFactor, double yFactor,
                            int interpolation);
IppStatus ippiResize_8u_AC4R(const Ipp8u* pSrc, int srcW, int srcH, int srcStep, int roiX, int roiY, int roiW,
                             int roiH, Ipp8u* pDst, int dstStep, int dstW, int dstH, double xFactor,
                             double yFactor, int interpolation);
IppStatus ippiFloodFillGetSize(int w, int h, int* pBufSize);
IppStatus ippiFloodFill_Range8Con_8u_C1IR(Ipp8u* pImage, int step, int w, int h, int seedX, int seedY,
                                          Ipp8u newValue, Ipp8u minDelta, Ipp8u maxDelta,
                                          IppiConnectedComp* pRegion, Ipp8u* pBuffer);

// ---- Vectors -----------------------------------------------------------------
IppStatus ippsConvert_64f32f(const Ipp64f* pSrc, Ipp32f* pDst, int len);

}  // namespace qx
