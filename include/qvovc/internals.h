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
