/* Exported internals: routines and tables that the operations share and that the library exports for programs that
 * work at their level. Their names begin with an underscore. */
#ifndef QVOVC_INTERNALS_H
#define QVOVC_INTERNALS_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- bit streams ---- */

/* Entry n is 2^n - 1, n = 0..32: the mask of the low n bits. */
QVO_API extern const Qvo32u _qvoGetBitsMask[33];

/* ---- H.263 ---- */

/* Strength of the deblocking filter by quantiser 0..31 (ITU-T H.263 Table J.2); entry 0 is not used. */
QVO_API extern const Qvo32s _h263Deblock_QPStrength[32];

/* ---- H.264 luma interpolation ---- */

/* The routines behind qvoiInterpolateLuma_H264_8u_C1R (h264.h), for blocks of any width and height. They check nothing
 * and return qvoStatusOk. Source and destination must not overlap.
 *
 * Half samples: of a row (H2: 2 columns to the left and 3 to the right are read), of a column (V2: 2 rows above, 3
 * below). Avg makes the destination the rounded mean of itself and the source. */
QVO_API QvoStatus _qvoInterpolate_H2(const Qvo8u* pSrc, Qvo8u* pDst, Qvo32s srcStep, Qvo32s dstStep, Qvo32s width,
                                     Qvo32s height);
QVO_API QvoStatus _qvoInterpolate_V2(const Qvo8u* pSrc, Qvo8u* pDst, Qvo32s srcStep, Qvo32s dstStep, Qvo32s width,
                                     Qvo32s height);
QVO_API QvoStatus _qvoInterpolate_Avg(const Qvo8u* pSrc, Qvo8u* pDst, Qvo32s srcStep, Qvo32s dstStep, Qvo32s width,
                                      Qvo32s height);

/* The sample in the centre of four integer samples (both read 2 columns and rows before and 3 behind the block). With
 * mode 1 or 2 it is averaged with a half sample: 2DV4 with that of the same (1) or the next (2) row, 2DH4 with that of
 * the same (1) or the next (2) column. Other modes give the centre alone. */
QVO_API QvoStatus _qvoInterpolate_2DV4(const Qvo8u* pSrc, Qvo8u* pDst, Qvo32s srcStep, Qvo32s dstStep, Qvo32s width,
                                       Qvo32s height, Qvo32s mode);
QVO_API QvoStatus _qvoInterpolate_2DH4(const Qvo8u* pSrc, Qvo8u* pDst, Qvo32s srcStep, Qvo32s dstStep, Qvo32s width,
                                       Qvo32s height, Qvo32s mode);

/* The sixteen positions, H<dx>V<dy>: dx quarter samples to the right and dy down. */
QVO_API QvoStatus _qvoInterpolate_H0V0(const Qvo8u* pSrc, Qvo8u* pDst, Qvo32s srcStep, Qvo32s dstStep, Qvo32s width,
                                       Qvo32s height);
QVO_API QvoStatus _qvoInterpolate_H0V1(const Qvo8u* pSrc, Qvo8u* pDst, Qvo32s srcStep, Qvo32s dstStep, Qvo32s width,
                                       Qvo32s height);
QVO_API QvoStatus _qvoInterpolate_H0V2(const Qvo8u* pSrc, Qvo8u* pDst, Qvo32s srcStep, Qvo32s dstStep, Qvo32s width,
                                       Qvo32s height);
QVO_API QvoStatus _qvoInterpolate_H0V3(const Qvo8u* pSrc, Qvo8u* pDst, Qvo32s srcStep, Qvo32s dstStep, Qvo32s width,
                                       Qvo32s height);
QVO_API QvoStatus _qvoInterpolate_H1V0(const Qvo8u* pSrc, Qvo8u* pDst, Qvo32s srcStep, Qvo32s dstStep, Qvo32s width,
                                       Qvo32s height);
QVO_API QvoStatus _qvoInterpolate_H1V1(const Qvo8u* pSrc, Qvo8u* pDst, Qvo32s srcStep, Qvo32s dstStep, Qvo32s width,
                                       Qvo32s height);
QVO_API QvoStatus _qvoInterpolate_H1V2(const Qvo8u* pSrc, Qvo8u* pDst, Qvo32s srcStep, Qvo32s dstStep, Qvo32s width,
                                       Qvo32s height);
QVO_API QvoStatus _qvoInterpolate_H1V3(const Qvo8u* pSrc, Qvo8u* pDst, Qvo32s srcStep, Qvo32s dstStep, Qvo32s width,
                                       Qvo32s height);
QVO_API QvoStatus _qvoInterpolate_H2V0(const Qvo8u* pSrc, Qvo8u* pDst, Qvo32s srcStep, Qvo32s dstStep, Qvo32s width,
                                       Qvo32s height);
QVO_API QvoStatus _qvoInterpolate_H2V1(const Qvo8u* pSrc, Qvo8u* pDst, Qvo32s srcStep, Qvo32s dstStep, Qvo32s width,
                                       Qvo32s height);
QVO_API QvoStatus _qvoInterpolate_H2V2(const Qvo8u* pSrc, Qvo8u* pDst, Qvo32s srcStep, Qvo32s dstStep, Qvo32s width,
                                       Qvo32s height);
QVO_API QvoStatus _qvoInterpolate_H2V3(const Qvo8u* pSrc, Qvo8u* pDst, Qvo32s srcStep, Qvo32s dstStep, Qvo32s width,
                                       Qvo32s height);
QVO_API QvoStatus _qvoInterpolate_H3V0(const Qvo8u* pSrc, Qvo8u* pDst, Qvo32s srcStep, Qvo32s dstStep, Qvo32s width,
                                       Qvo32s height);
QVO_API QvoStatus _qvoInterpolate_H3V1(const Qvo8u* pSrc, Qvo8u* pDst, Qvo32s srcStep, Qvo32s dstStep, Qvo32s width,
                                       Qvo32s height);
QVO_API QvoStatus _qvoInterpolate_H3V2(const Qvo8u* pSrc, Qvo8u* pDst, Qvo32s srcStep, Qvo32s dstStep, Qvo32s width,
                                       Qvo32s height);
QVO_API QvoStatus _qvoInterpolate_H3V3(const Qvo8u* pSrc, Qvo8u* pDst, Qvo32s srcStep, Qvo32s dstStep, Qvo32s width,
                                       Qvo32s height);

/* ---- MPEG-4 scans ---- */

/* Entry p is the raster index of scan position p. Classical is the classical zigzag, as ZigzagC in mpeg4.h. The other
 * two are named after the direction of the AC prediction that goes with them, not after their own: Horizontal holds the
 * alternate-vertical scan (ZigzagV), Vertical the alternate-horizontal scan (ZigzagH). */
QVO_API extern const Qvo8u _qvoClassicalZigzag[64];
QVO_API extern const Qvo8u _qvoHorizontalZigzag[64];
QVO_API extern const Qvo8u _qvoVerticalZigzag[64];

/* ---- MPEG-1/2 metrics ---- */

/* Sum of absolute differences of 16x16 samples from a reference at full-pel position; steps in bytes, not checked.
 * Statuses: -8 a pointer is null. */
QVO_API QvoStatus _qvoiSAD_16x16_8u32s(const Qvo8u* pSrc, Qvo32s srcStep, const Qvo8u* pRef, Qvo32s refStep,
                                       Qvo32s* pSAD);

#ifdef __cplusplus
}
#endif

#endif
