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

/* ---- MPEG-4 texture encoding ---- */

/* The tables of the writers with an accumulator (qvoiEncodeVLCZigzag_* in mpeg4.h).
 *
 * Code words without their sign bit, value and length: 58 for events that are not the last and 44 for the last event,
 * each in the order of run and level of table B-17; entry 102 is the escape, 103 ends the table. Intra blocks use the
 * same words for other events. */
QVO_API extern const Qvo8u _qvoVleTable[104][2];

/* How many levels have a code at each run in inter blocks (table B-20), for events that are not the last and for the
 * last event; and how many have one at this and all lower runs. */
QVO_API extern const Qvo8u _qvoIfNotLastNumOfLevelAtRun[27];
QVO_API extern const Qvo8u _qvoIfLastNumOfLevelAtRun[41];
QVO_API extern const Qvo8u _qvoIfNotLastNumOfLevelAtRunadd[27];
QVO_API extern const Qvo8u _qvoIfLastNumOfLevelAtRunadd[41];

/* The event of intra blocks (table B-16) that each entry of _qvoVleTable codes: last * 1024 + run * 32 + level. */
QVO_API extern const Qvo16u _qvoIntraYAVCLHashingTable[102];

/* Entry last * 64 + run is the largest level with a code (tables B-19 and B-20), 0 where there is none. */
QVO_API extern const Qvo8u _qvoLMAXintra[128];
QVO_API extern const Qvo8u _qvoLevelMAXinter[128];

/* Entry last * 32 + level is one more than the largest run with a code (tables B-21 and B-22), 0 where there is none. */
QVO_API extern const Qvo8u _qvoRunMAXintra[64];
QVO_API extern const Qvo8u _qvoRMAXinter[64];

/* Value and length of the code of dct_dc_size 0 to 12 for luminance and chrominance (tables B-13 and B-14); the last
 * entry ends the table. */
QVO_API extern const Qvo8u _qvoVleIntraDCy[14][2];
QVO_API extern const Qvo8u _qvoVleIntraDCc[14][2];

/* The two work on a position inside a run of codes: the byte where the accumulator goes when it is full, the accumulator
 * with its bits left-aligned and zeros behind them, and the number of bits free in it, 1..32. They check nothing and
 * return qvoStatusOk.
 *
 * The first writes an event as an escape, of type 1 if possible, else of type 2 if possible, else of type 3.
 *
 * level   not 0
 * last    0 or 1
 * pLMAX, pRMAX1
 *         two of the tables above: _qvoLMAXintra and _qvoRunMAXintra, or _qvoLevelMAXinter and _qvoRMAXinter
 * mode    1: intra, 2: inter, not the last event, 3: inter, the last event
 *
 * The second writes the 21 bits that follow 0000011 11 in an escape of type 3: last, the low 6 bits of the run, a marker,
 * the low 12 bits of the level, a marker. */
QVO_API QvoStatus _qvoiEncodeescapeEncode_MPEG4(Qvo8u run, Qvo16s level, Qvo32s last, const Qvo8u* pLMAX,
                                                const Qvo8u* pRMAX1, Qvo32s mode, Qvo8u** ppBitStream,
                                                Qvo32u* pAccumulator, Qvo32s* pFreeBits);
QVO_API QvoStatus _qvoiEncodefixLengthCode_MPEG4(Qvo8u** ppBitStream, Qvo32s* pFreeBits, Qvo8u run, Qvo16s level,
                                                 Qvo32s last, Qvo32u* pAccumulator);

/* ---- MPEG-4 motion vector encoding ---- */

/* Value and length of the code of each motion code, sign included (table B-12): entry m + 32 for motion code m. */
QVO_API extern const Qvo8u _qvoMVDTAB2[65][2];

/* The steps of qvoiEncodeMV_MPEG4_8u16s (mpeg4.h). They check nothing and return qvoStatusOk.
 *
 * SendDiffMV writes a difference at a byte-stream position and advances it: F1 for an fcode of 1, Fn for one of 2..7.
 * Four bytes are stored from the current one, and eight if the codes reach beyond these; the bits behind them become 0.
 *
 * scaleMV wraps a component of a difference once, by 32 << fcode toward the range of fcode, -(16 << fcode) to
 * (16 << fcode) - 1, and splits it into motion code and residual. The others wrap as often as it needs. */
QVO_API QvoStatus _qvoiSendDiffMV_F1_MPEG4(Qvo8u** ppBitStream, Qvo32s* pBitOffset, const QvoMotionVector* pDiffMV);
QVO_API QvoStatus _qvoiSendDiffMV_Fn_MPEG4(Qvo8u** ppBitStream, Qvo32s* pBitOffset, const QvoMotionVector* pDiffMV,
                                           Qvo32s fcode);
QVO_API QvoStatus _qvoiscaleMV(Qvo32s* pMotionCode, Qvo32s* pResidual, Qvo16s difference, Qvo32s fcode);

/* ---- MPEG-4 forward quantisation ---- */

/* Reciprocals of the quantisers 1..31, 2^18 / QP rounded down plus one; entry 0 is 0. A product with entry QP, shifted
 * right by 19, is a division by 2 QP. */
QVO_API extern const Qvo32s _qvoiRQPTab[32];

/* ---- MPEG-1/2 metrics ---- */

/* Sum of absolute differences of 16x16 samples from a reference at full-pel position; steps in bytes, not checked.
 * Statuses: -8 a pointer is null. */
QVO_API QvoStatus _qvoiSAD_16x16_8u32s(const Qvo8u* pSrc, Qvo32s srcStep, const Qvo8u* pRef, Qvo32s refStep,
                                       Qvo32s* pSAD);

#ifdef __cplusplus
}
#endif

#endif
