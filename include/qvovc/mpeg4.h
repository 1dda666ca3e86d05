/* MPEG-4 Visual: texture decoding with AC/DC prediction and inverse quantisation, motion vectors, motion
 * compensation and padding, post-filters; forward quantisation, texture and motion vector encoding. */
#ifndef QVOVC_MPEG4_H
#define QVOVC_MPEG4_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- texture decoding ---------------------------------------------------------------------------------------- */

/* ISO/IEC 14496-2, 7.4.1 to 7.4.4: the coefficients of one 8x8 block. There are three ways to them, from the freest
 * to the fastest:
 *
 *   qvoiDecodeVLC_IntraDCVLC_*  the intra DC difference alone, for data partitioning and for programs that do the rest
 *   qvoiDecodeVLCZigzag_*       the quantised levels of a block in raster order; prediction, inverse quantisation and
 *                               the transform are the caller's (next section and transform.h)
 *   qvoiDecodeBlockCoef_*       from the bit stream to residual or pixels in one call
 *
 * All take the byte-stream position described in types.h first and read exactly one block's bits. Up to four bytes
 * behind the last of them must be readable. Every decoder returns the following statuses besides its own:
 *
 *   -8    a pointer argument, or the byte pointer behind ppBitStream, is null
 *   -105  the bit offset is not 0..7
 *   -100  while decoding: no code of the table, an escape code within an escape, a 0 in place of a marker bit of the
 *         fixed-length escape, its level 0 or -2048, a run past the end of the block, a DC size code without end
 *   -99   while decoding: a 0 in place of the marker bit behind an intra DC difference of more than 8 bits
 *
 * After an error while decoding the position is where the block began; if the block begins with an intra DC difference
 * and it was the AC coefficients that failed, the position is behind the difference. */

/* The scan of a block. */
enum {
    qvoScanZigzag = 0,    /* classical zigzag: no AC prediction */
    qvoScanVertical = 1,  /* alternate vertical: AC prediction from the left */
    qvoScanHorizontal = 2 /* alternate horizontal: AC prediction from above */
};

/* What a block is a part of. Chrominance has a DC size table and a DC scaler of its own; everything else is treated
 * like luminance. */
typedef enum { qvoVideoLuminance = 0, qvoVideoChrominance = 1, qvoVideoAlpha = 2 } qvoVideoComponent;

/* The scans (figure 7-3): entry p is the raster index of scan position p. They are named after their shape: C the
 * classical zigzag, V the alternate-vertical scan (0, 8, 16, 24, 1, ...), H the alternate-horizontal scan
 * (0, 1, 2, 3, 8, ...). The tables in internals.h are named after the prediction that goes with a scan. */
QVO_API extern const Qvo8u ZigzagC[64];
QVO_API extern const Qvo8u ZigzagV[64];
QVO_API extern const Qvo8u ZigzagH[64];

/* The difference of an intra DC coefficient (tables B-13 to B-15), -4095..4095.
 *
 * pDC        receives the difference; untouched on error
 * videoComp  qvoVideoChrominance reads the chrominance size table, any other value that of luminance
 *
 * Statuses: -8; -105; while decoding -100, -99. */
QVO_API QvoStatus qvoiDecodeVLC_IntraDCVLC_MPEG4_1u16s(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo16s* pDC,
                                                       Qvo32s videoComp);

/* The quantised levels of a block.
 *
 * pDst       64 levels in raster order, all written; all 0 after an error while decoding
 * scan       qvoScanZigzag, qvoScanVertical or qvoScanHorizontal
 * videoComp  as above
 *
 * IntraDCVLC reads the DC difference and then AC coefficients from scan position 1 (pDst[0] is the difference),
 * IntraACVLC all coefficients of an intra block with the AC codes (table B-16), Inter those of an inter block
 * (table B-17). At least one AC code is read: blocks that are not coded are not decoded.
 *
 * Statuses: -8; -105; -93 scan is none of the three; while decoding -100, with DC also -99. */
QVO_API QvoStatus qvoiDecodeVLCZigzag_IntraDCVLC_MPEG4_1u16s(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo16s* pDst,
                                                             Qvo32s scan, Qvo32s videoComp);
QVO_API QvoStatus qvoiDecodeVLCZigzag_IntraACVLC_MPEG4_1u16s(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo16s* pDst,
                                                             Qvo32s scan);
QVO_API QvoStatus qvoiDecodeVLCZigzag_Inter_MPEG4_1u16s(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo16s* pDst,
                                                        Qvo32s scan);

/* A coded block of an inter macroblock, from the bit stream to the residual. The scan is the classical zigzag.
 *
 * pDst      64 samples in raster order, not saturated; untouched on error
 * QP        1..31
 * pQMatrix  64 weights in raster order, or null for the method of H.263
 *
 * With a matrix mismatch control applies and the transform is qvoiDCT8x8Inv_16s_C1I. Without, it is the cheapest one
 * that covers the coefficients: a flat block of (DC + 4) >> 3 where the DC coefficient is the only one, otherwise
 * the 2x2, the 4x4 or the full inverse DCT of transform.h.
 *
 * Statuses: -8; -105; -104 QP; while decoding -100. */
QVO_API QvoStatus qvoiDecodeBlockCoef_Inter_MPEG4_1u16s(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo16s* pDst,
                                                        Qvo32s QP, const Qvo8u* pQMatrix);

/* A block of an intra macroblock, from the bit stream to pixels: DC difference, AC coefficients, prediction of both,
 * inverse quantisation, qvoiDCT8x8Inv_16s8u_C1R. The DCOnly form is for blocks that are not coded: it reads the DC
 * difference and no AC codes, and where AC prediction adds nothing and no matrix is given it sets the block to the
 * flat (DC + 4) >> 3, saturated.
 *
 * pDst         8x8 pixels, untouched on error
 * dstStep      bytes from row to row
 * pCoefBufRow  row prediction buffer: eight entries per block. At the block's place stand the DC coefficient of the
 *              block above (entry 0; negative: not available) and its quantised first-row levels (1..7); 8 entries
 *              before it stands the block to the left, of which the DC coefficient is read. Receives this block's.
 * pCoefBufCol  column prediction buffer: entry 0 is the DC coefficient of the block above and to the left (negative:
 *              not available), entries 1..7 the quantised first-column levels of the block to the left. Receives this
 *              block's levels.
 * curQP        quantiser, of which the low 8 bits are used: 1..31
 * pQPBuf       quantisers of the macroblock to the left [0] and above [1]; read with AC prediction only
 * pQMatrix     64 weights in raster order, with mismatch control, or null for the method of H.263
 * blockIndex   0..3 luminance in raster order, 4 and 5 chrominance, 6..9 treated as luminance
 * intraDCVLC   0: no DC difference is in the stream. The DC coefficient is then the first of the AC coefficients
 *              (in the DCOnly form its difference is 0).
 * acPredFlag   not 0: AC prediction. The neighbour chosen for the DC coefficient then also decides the scan (left:
 *              alternate vertical, above: alternate horizontal); if it is not available its levels are not used.
 *
 * The neighbour is the one above where |left - above left| < |above left - above|, otherwise that on the left, a
 * missing one counting as 1024. A DC coefficient is stored as reconstructed (scaled) for later blocks: entry 0 of the
 * row buffer moves to entry 0 of the column buffer and gives way to the new one. Two blocks differ: block 1 exchanges
 * pCoefBufCol[8] and pCoefBufRow[-16] first, block 3 stores to pCoefBufCol[0] only. Nothing is stored on error.
 *
 * Statuses: -8 ppBitStream, *ppBitStream, pBitOffset or pDst is null; -105; -14 dstStep < 1; -8 pQPBuf, pCoefBufRow or
 * pCoefBufCol is null; -103 blockIndex; -104 curQP; -104 the quantiser of the macroblock predicted from; while
 * decoding -100, -99. */
QVO_API QvoStatus qvoiDecodeBlockCoef_Intra_MPEG4_1u8u(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo8u* pDst,
                                                       Qvo32s dstStep, Qvo16s* pCoefBufRow, Qvo16s* pCoefBufCol,
                                                       Qvo32s curQP, const Qvo8u* pQPBuf, const Qvo8u* pQMatrix,
                                                       Qvo32s blockIndex, Qvo32s intraDCVLC, Qvo32s acPredFlag);
QVO_API QvoStatus qvoiDecodeBlockCoef_IntraDCOnly_MPEG4_1u8u(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo8u* pDst,
                                                             Qvo32s dstStep, Qvo16s* pCoefBufRow, Qvo16s* pCoefBufCol,
                                                             Qvo32s curQP, const Qvo8u* pQPBuf, const Qvo8u* pQMatrix,
                                                             Qvo32s blockIndex, Qvo32s intraDCVLC, Qvo32s acPredFlag);

/* ---- AC/DC prediction and inverse quantisation --------------------------------------------------------------- */

/* ISO/IEC 14496-2, 7.4.3 and 7.4.4, on whole blocks of 64 levels in raster order, in place: first the prediction of
 * intra blocks, then inverse quantisation, then the inverse DCT of transform.h.
 *
 * The DC scaler (table 7-1) by quantiser, luminance and chrominance: 1..4: 8, 8; 5..8: 2 QP, (QP + 13) / 2;
 * 9..24: QP + 8, (QP + 13) / 2; 25..31: 2 QP - 16, QP - 6. */

/* Where an intra block is predicted from. */
enum { qvoPredictNone = 0, qvoPredictLeft = 1, qvoPredictAbove = 2 };

/* Restores the quantised levels of an intra block from what was coded.
 *
 * pSrcDst      64 levels
 * pPredBufRow  row prediction buffer at the block's place: entry 0 the DC coefficient (scaled) of the block above,
 *              1..7 its first-row levels; entry -8 the DC coefficient of the block to the left
 * pPredBufCol  column prediction buffer: entries 1..7 the first-column levels of the block to the left
 * curQP        this block's quantiser, 1..31
 * predQP       the quantiser of the block predicted from, 1..31
 * predDir      qvoPredictLeft or qvoPredictAbove, qvoPredictNone for a DC predictor of 1024
 * acPredFlag   not 0: AC prediction, unless predDir is qvoPredictNone
 * videoComp    qvoVideoChrominance or any other value for luminance
 *
 * The DC predictor (1024 if negative) is divided by the scaler, rounding, and added; the result is the quantised DC
 * level, to be scaled by the inverse quantisation. With AC prediction the neighbour's levels, scaled by predQP / curQP
 * where the two differ (half away from zero), are added to the first row or column. All sums are clipped to
 * -2048..2047. Entries 1..7 of both buffers then receive this block's levels; the caller keeps entries 0.
 *
 * Statuses: -8; -104 curQP or predQP; -93 predDir. */
QVO_API QvoStatus qvoiPredictReconCoefIntra_MPEG4_16s(Qvo16s* pSrcDst, Qvo16s* pPredBufRow, Qvo16s* pPredBufCol,
                                                      Qvo32s curQP, Qvo32s predQP, Qvo32s predDir, Qvo32s acPredFlag,
                                                      Qvo32s videoComp);

/* Inverse quantisation by either method: with a matrix of 64 weights W in raster order, or by the method of H.263
 * where pQMatrix is null. Coefficients are clipped to -2048..2047.
 *
 *   intra DC       level * DC scaler
 *   matrix, intra  W * QP * level / 8, truncated toward zero
 *   matrix, inter  (2 |level| + 1) * W * QP >> 4, with the level's sign; 0 for level 0
 *   H.263          2 * QP * |level| + QP, less 1 for even QP, with the level's sign; 0 for level 0
 *
 * With a matrix, and only then, mismatch control follows: if the sum of the coefficients is even, coefficient 63 moves
 * by one, down if it is odd and up if it is even.
 *
 * Statuses: -8 pSrcDst is null; -104 QP is not 1..31. */
QVO_API QvoStatus qvoiQuantInvIntra_MPEG4_16s_I(Qvo16s* pSrcDst, Qvo32s QP, const Qvo8u* pQMatrix, Qvo32s videoComp);
QVO_API QvoStatus qvoiQuantInvInter_MPEG4_16s_I(Qvo16s* pSrcDst, Qvo32s QP, const Qvo8u* pQMatrix);

/* The same for pictures of more (or fewer) than 8 bits per sample, one method each: First by a matrix, Second by
 * H.263. Coefficients are clipped to -2^(bitsPerPixel + 3) .. 2^(bitsPerPixel + 3) - 1.
 *
 * dcScalerFlag  1: the DC scaler of the table; 0: a DC scaler of 8
 * videoComp     qvoVideoChrominance or luminance. The First form takes any other value for luminance; the Second form
 *               refuses it.
 * bitsPerPixel  4..12
 *
 * Statuses of IntraFirst: -8 a pointer is null; -104 QP; -92 bitsPerPixel; -90 dcScalerFlag is not 0 or 1.
 * Statuses of IntraSecond: -8; -104 QP; -90 dcScalerFlag; -91 videoComp is not 0 or 1; -92 bitsPerPixel.
 * Statuses of InterFirst and InterSecond: -8 a pointer is null; -104 QP; -92 bitsPerPixel. */
QVO_API QvoStatus qvoiQuantInvIntraFirst_MPEG4_16s_I(Qvo16s* pSrcDst, Qvo32s QP, const Qvo8u* pQMatrix,
                                                     Qvo32s dcScalerFlag, Qvo32s videoComp, Qvo32s bitsPerPixel);
QVO_API QvoStatus qvoiQuantInvIntraSecond_MPEG4_16s_I(Qvo16s* pSrcDst, Qvo32s QP, Qvo32s dcScalerFlag,
                                                      Qvo32s videoComp, Qvo32s bitsPerPixel);
QVO_API QvoStatus qvoiQuantInvInterFirst_MPEG4_16s_I(Qvo16s* pSrcDst, Qvo32s QP, const Qvo8u* pQMatrix,
                                                     Qvo32s bitsPerPixel);
QVO_API QvoStatus qvoiQuantInvInterSecond_MPEG4_16s_I(Qvo16s* pSrcDst, Qvo32s QP, Qvo32s bitsPerPixel);

/* Two forms of their own kind, with 16-bit weights in raster order and no check of QP. Products keep their low 16 bits
 * before they are clipped to -2048..2047, and mismatch control always applies.
 *
 * The intra form leaves the DC coefficient as it is (it counts for mismatch control) and gives W * level * 2 * QP / 16,
 * truncated toward zero, for the others.
 * Statuses: -8 a pointer is null.
 *
 * The other form is for inter blocks and gives W * QP * (2 level + sign) / 16, truncated toward zero, or without a
 * matrix (null) QP * (2 level + sign), which even quantisers do not lower.
 * Statuses: -8 pSrcDst is null. */
QVO_API QvoStatus qvoiQuantInvIntra_MPEG4_16s_C1I(Qvo16s* pSrcDst, Qvo32s QP, const Qvo16s* pQMatrix);
QVO_API QvoStatus qvoiQuantInv_MPEG4_16s_C1I(Qvo16s* pSrcDst, Qvo32s QP, const Qvo16s* pQMatrix);

/* ---- motion vectors ------------------------------------------------------------------------------------------ */

/* Vectors are in half-sample units. A macroblock carries four, in the order of its 8x8 blocks: 0 top left, 1 top
 * right, 2 bottom left, 3 bottom right; a macroblock with a single vector holds it four times.
 *
 * Block flags are four bytes per macroblock, non-zero for a block that is not transparent (has at least one sample of
 * the object's shape; in a rectangular VOP every block). The flags of the current macroblock are tested one by one,
 * those of any other macroblock as one 32-bit word: non-zero means that any of its blocks is not transparent. Every
 * pointer to flags must be a multiple of 4 bytes.
 *
 * Decoding reads three bytes from the one that holds the first bit of a component, and a fourth behind a valid code:
 * with four bytes of zeros behind it, a stream that is damaged or cut in any way is never read beyond them.
 *
 * Statuses common to the decoders: -8 a pointer, or the current-position pointer behind ppBitStream, is null; -105
 * *pBitOffset is outside 0..7; -97 a pointer to flags is not a multiple of 4; then as each declaration says; and
 * -101 from the stream, for a motion code that is not in the table. After a bad code the position stays at the start
 * of that vector's differential, and nothing is added to its predictor. */

/* The P-VOP macroblock types that carry four vectors (ISO/IEC 14496-2, Table B-1). */
enum { qvoMbInter4V = 2, qvoMbInter4VQ = 5 };

/* Decodes the vectors of a P-VOP macroblock and fills those of its transparent blocks (ISO/IEC 14496-2, 6.2.6.2,
 * 7.6.3 and 7.6.5).
 *
 * pSrcMVLeftMB, pSrcMVUpperMB, pSrcMVUpperRightMB
 *                     four vectors each of the macroblocks to the left, above and above to the right; where one does
 *                     not exist, any vectors, with a flag word of 0
 * pDstMVCurMB         receives four vectors
 * pFlagLeftMB, pFlagUpperMB, pFlagUpperRightMB
 *                     flag words of the three neighbours
 * pFlagCurMB          four flags of this macroblock
 * fcode               vop_fcode_forward, 1..7
 * mbType              qvoMbInter4V or qvoMbInter4VQ: for each block that is not transparent, in order, the predictor
 *                     of qvoiFindMVpred_MPEG4 plus a decoded differential; then the fill of qvoiPadMV_MPEG4, also
 *                     where every flag is 0. Any other type: one vector, predicted as block 0 whatever its flag says,
 *                     copied to all four blocks.
 *
 * A component of a sum, taken in 16 bits, that lies below -(16 << fcode) gains 32 << fcode; one of 16 << fcode or
 * more loses as much. After a bad code the vectors of the blocks before stay decoded, that of the failing block holds
 * its predictor, and nothing is filled or copied.
 * Statuses: -8 (no pointer may be null), -105, -97; -98 fcode is outside 1..7; -101. */
QVO_API QvoStatus qvoiDecodePadMV_PVOP_MPEG4(Qvo8u** ppBitStream, Qvo32s* pBitOffset,
                                             const QvoMotionVector* pSrcMVLeftMB,
                                             const QvoMotionVector* pSrcMVUpperMB,
                                             const QvoMotionVector* pSrcMVUpperRightMB, QvoMotionVector* pDstMVCurMB,
                                             const Qvo8u* pFlagLeftMB, const Qvo8u* pFlagUpperMB,
                                             const Qvo8u* pFlagUpperRightMB, const Qvo8u* pFlagCurMB, Qvo32s fcode,
                                             Qvo32s mbType);

/* Decode one vector of a B-VOP macroblock: *pSrcDstMV holds its predictor (the last vector of the same direction in
 * the macroblock row, ISO/IEC 14496-2, 7.6.8) and receives the vector, wrapped into the range of fcode as in P-VOPs.
 * The two are the same operation under the names of the two directions.
 * Statuses: -8, -105; -98 fcode is outside 1..7; -101. */
QVO_API QvoStatus qvoiDecodeMV_BVOP_Forward_MPEG4(Qvo8u** ppBitStream, Qvo32s* pBitOffset,
                                                  QvoMotionVector* pSrcDstMVF, Qvo32s fcodeForward);
QVO_API QvoStatus qvoiDecodeMV_BVOP_Backward_MPEG4(Qvo8u** ppBitStream, Qvo32s* pBitOffset,
                                                   QvoMotionVector* pSrcDstMVB, Qvo32s fcodeBackward);

/* Decodes the forward, then the backward vector of an interpolated macroblock. After a bad code of the backward
 * vector the forward vector stays decoded and the position is behind it.
 * Statuses: -8, -105; -98 fcodeForward, then fcodeBackward is outside 1..7; -101. */
QVO_API QvoStatus qvoiDecodeMV_BVOP_Interpolate_MPEG4(Qvo8u** ppBitStream, Qvo32s* pBitOffset,
                                                      QvoMotionVector* pSrcDstMVF, QvoMotionVector* pSrcDstMVB,
                                                      Qvo32s fcodeForward, Qvo32s fcodeBackward);

/* Decodes the delta vector of a direct-mode macroblock and derives the vectors of its four blocks from those of the
 * co-located macroblock of the next reference VOP (ISO/IEC 14496-2, 7.6.9.5).
 *
 * pSrcMVColMB    four vectors of the co-located macroblock (zeros where it is intra)
 * pDstMVForward  receives four forward vectors
 * pDstMVBackward receives four backward vectors
 * pFlagColMB     flag word of the co-located macroblock; it governs all four blocks
 * TRB, TRD       distances in time from the past reference to this VOP and to the next reference
 *
 * For each component, with MV the co-located one and MVD the delta (coded as with fcode 1, but not wrapped):
 * forward = TRB * MV / TRD + MVD in 16 bits, backward = forward - MV, or (TRB - TRD) * MV / TRD where MVD is 0.
 * Divisions truncate toward zero, products are taken in 32 bits. With a flag word of 0 all vectors are the delta.
 * Nothing is written after a bad code.
 * Statuses: -8, -105, -97; -96 TRB or TRD is less than 1; -101. */
QVO_API QvoStatus qvoiDecodeMV_BVOP_Direct_MPEG4(Qvo8u** ppBitStream, Qvo32s* pBitOffset,
                                                 const QvoMotionVector* pSrcMVColMB, QvoMotionVector* pDstMVForward,
                                                 QvoMotionVector* pDstMVBackward, const Qvo8u* pFlagColMB, Qvo32s TRB,
                                                 Qvo32s TRD);

/* The vectors of a skipped direct-mode macroblock: those of qvoiDecodeMV_BVOP_Direct_MPEG4 with a delta of zero, and
 * no bits read.
 * Statuses: -8, -97; -96 TRB or TRD is less than 1. */
QVO_API QvoStatus qvoiDecodeMV_BVOP_DirectSkip_MPEG4(const QvoMotionVector* pSrcMVColMB,
                                                     QvoMotionVector* pDstMVForward, QvoMotionVector* pDstMVBackward,
                                                     const Qvo8u* pFlagColMB, Qvo32s TRB, Qvo32s TRD);

/* Gives each block whose flag is 0 the vector of a neighbouring block (ISO/IEC 14496-2, 7.6.1.6). The blocks are
 * filled in order, and a block takes the vector of the first of its three neighbours whose flag is not 0, or of the
 * third where none is, filled before or not:
 *
 *   block 0   1, 2, 3        block 2   3, 0, 1
 *   block 1   0, 3, 2        block 3   2, 1, 0
 *
 * pSrcDstMV  four vectors
 * pFlags     four flags
 * Statuses: -8, -97. */
QVO_API QvoStatus qvoiPadMV_MPEG4(QvoMotionVector* pSrcDstMV, const Qvo8u* pFlags);

/* Predicts the vector of one block from three candidates (ISO/IEC 14496-2, 7.6.5):
 *
 *   block 0   left macroblock's block 1      above macroblock's block 2    above-right macroblock's block 2
 *   block 1   block 0                        above macroblock's block 3    above-right macroblock's block 2
 *   block 2   left macroblock's block 3      block 0                       block 1
 *   block 3   block 2                        block 0                       block 1
 *
 * A block of this macroblock counts where its flag is not 0, a block of another one where its pointer is not null and
 * its flag word not 0. A candidate that does not count is (0, 0). If only one counts, it is the predictor; otherwise
 * the median of the three is, component by component.
 *
 * pSrcMVCurMB        four vectors of this macroblock, those of the blocks before blockIndex decoded
 * pSrcMVLeftMB, pSrcMVUpperMB, pSrcMVUpperRightMB
 *                    four vectors each, or null where the macroblock does not exist
 * pFlagLeftMB, pFlagUpperMB, pFlagUpperRightMB
 *                    flag words; never null
 * pFlagCurMB         four flags of this macroblock
 * pDstMVPred         receives the predictor
 * pDstMVPredMe       receives the three candidates, or null
 * blockIndex         0..3
 *
 * Statuses: -5 for every fault, unlike its siblings: a pointer that may not be null is, a pointer to flags is not a
 * multiple of 4, blockIndex is outside 0..3. */
QVO_API QvoStatus qvoiFindMVpred_MPEG4(const QvoMotionVector* pSrcMVCurMB, const QvoMotionVector* pSrcMVLeftMB,
                                       const QvoMotionVector* pSrcMVUpperMB,
                                       const QvoMotionVector* pSrcMVUpperRightMB, const Qvo8u* pFlagLeftMB,
                                       const Qvo8u* pFlagUpperMB, const Qvo8u* pFlagUpperRightMB,
                                       const Qvo8u* pFlagCurMB, QvoMotionVector* pDstMVPred,
                                       QvoMotionVector* pDstMVPredMe, Qvo32s blockIndex);

/* Limits a vector so that the block it addresses lies within a rectangle, usually the reference VOP with its border
 * (ISO/IEC 14496-2, 7.6.4). Per component, with v the vector's, p the block's position, o the rectangle's origin, e
 * its extent and n the block size: 2(o - p) if v + 2p < 2o; 2(o + e - n - p) if v + 2p >= 2(o + e - n); else v.
 *
 * rectX, rectY, rectWidth, rectHeight  rectangle in samples
 * x, y                                 position of the block in samples
 * blockSize                            8 or 16
 * pDstMV may be pSrcMV.
 * Statuses: -8; -95 blockSize is neither 8 nor 16; -6 rectWidth or rectHeight is less than 2 * blockSize. */
QVO_API QvoStatus qvoiLimitMVToRect_MPEG4(const QvoMotionVector* pSrcMV, QvoMotionVector* pDstMV, Qvo32s rectX,
                                          Qvo32s rectY, Qvo32s rectWidth, Qvo32s rectHeight, Qvo32s x, Qvo32s y,
                                          Qvo32s blockSize);

/* The chrominance vector of a macroblock with one vector: half the luminance vector, quarter positions rounded to the
 * half position beside them (ISO/IEC 14496-2, 7.6.5). Per component, with a its magnitude: (a >> 1), with bit 0 set
 * if a & 3 is not 0; the sign is kept. pDstMVC may be pSrcMVY.
 * Statuses: -8. */
QVO_API QvoStatus qvoiComputeChromaMV_MPEG4(const QvoMotionVector* pSrcMVY, QvoMotionVector* pDstMVC);

/* The chrominance vector of a macroblock with four vectors: half the mean of those of its k blocks whose flag is not
 * 0, the remainder of the sum by 4k rounded by the tables of ISO/IEC 14496-2, 7.6.5; zero if there is none.
 *
 * pSrcMVY  four luminance vectors
 * pDstMVC  receives the chrominance vector
 * pFlags   four flags
 * Statuses: -8, -97. */
QVO_API QvoStatus qvoiComputeChroma4MV_MPEG4(const QvoMotionVector* pSrcMVY, QvoMotionVector* pDstMVC,
                                             const Qvo8u* pFlags);

/* ---- motion compensation, overlapped prediction and padding -------------------------------------------------- */

/* Steps are in bytes and, where nothing else is said, not checked and may be negative. A vector is in half-sample
 * units: v >> 1 (rounding down) is its integer part, v & 1 says whether the position is half. Half positions are
 * averages that round up with rounding control 0 and down with 1 (ISO/IEC 14496-2, 7.6.2.1); with a, b, c, d a
 * sample, its right neighbour and the two below:
 *
 *                          rc 0                       any other rc
 *   half in x              (a + b + 1) >> 1           (a + b) >> 1
 *   half in y              (a + c + 1) >> 1           (a + c) >> 1
 *   half in both           (a + b + c + d + 2) >> 2   (a + b + c + d + 1) >> 2
 *
 * One column (row) beyond the block is read where the position is half in x (y), and only there. Reference and
 * destination must not overlap, except as said. */

/* Copy the prediction of a block of 8x8 or of a macroblock of 16x16 samples.
 *
 * pSrc  reference plane at the position of the block; the vector leads from there
 * pDst  receives the prediction
 * pMV   vector; not checked
 * rc    rounding control of the VOP
 * Statuses: -8 pSrc or pDst is null. */
QVO_API QvoStatus qvoiCopyBlockHalfpel_MPEG4_8u(const Qvo8u* pSrc, Qvo32s srcStep, Qvo8u* pDst, Qvo32s dstStep,
                                                const QvoMotionVector* pMV, Qvo32s rc);
QVO_API QvoStatus qvoiCopyMBHalfpel_MPEG4_8u(const Qvo8u* pSrc, Qvo32s srcStep, Qvo8u* pDst, Qvo32s dstStep,
                                             const QvoMotionVector* pMV, Qvo32s rc);

/* The prediction of an 8x8 block plus a residual, clipped to 0..255. With an integer vector the destination may be
 * the predicted block itself: the residual is added in place.
 *
 * pSrc       reference plane at the position of the block
 * pResidual  64 contiguous residuals; not checked
 * pMV        vector; not checked
 * Statuses: -8 pSrc or pDst is null. */
QVO_API QvoStatus qvoiReconBlockHalfpel_MPEG4_8u(const Qvo8u* pSrc, Qvo32s srcStep, const Qvo16s* pResidual,
                                                 Qvo8u* pDst, Qvo32s dstStep, const QvoMotionVector* pMV, Qvo32s rc);

/* Average two blocks of 8x8 or two macroblocks of 16x16 samples, (a + b + 1) >> 1: the prediction of an interpolated
 * macroblock of a B-VOP (ISO/IEC 14496-2, 7.6.9.4) from its forward and backward predictions. The destination may be
 * one of the sources.
 * Statuses: -8 a pointer is null. */
QVO_API QvoStatus qvoiAverageBlock_MPEG4_8u(const Qvo8u* pSrc1, Qvo32s src1Step, const Qvo8u* pSrc2, Qvo32s src2Step,
                                            Qvo8u* pDst, Qvo32s dstStep);
QVO_API QvoStatus qvoiAverageMB_MPEG4_8u(const Qvo8u* pSrc1, Qvo32s src1Step, const Qvo8u* pSrc2, Qvo32s src2Step,
                                         Qvo8u* pDst, Qvo32s dstStep);

/* The same, with the average replacing the second source.
 * Statuses: -8 a pointer is null. */
QVO_API QvoStatus qvoiAverageBlock_MPEG4_8u_I(const Qvo8u* pSrc, Qvo32s srcStep, Qvo8u* pSrcDst, Qvo32s srcDstStep);
QVO_API QvoStatus qvoiAverageMB_MPEG4_8u_I(const Qvo8u* pSrc, Qvo32s srcStep, Qvo8u* pSrcDst, Qvo32s srcDstStep);

/* Overlapped motion compensation of an 8x8 luminance block (ISO/IEC 14496-2, 7.6.6): the weighted sum of the
 * predictions with its own vector and with those of its neighbours, rounded, rc applying to each of them. The left
 * vector serves columns 0..3, the right one 4..7, the upper one rows 0..3, the lower one 4..7; each reads the half
 * block it serves, and one column or row beyond it where its position is half. Five equal vectors give the plain
 * prediction.
 *
 * pSrc  reference plane at the position of the block
 * pMVCur, pMVLeft, pMVRight, pMVUpper, pMVLower
 *       vectors; not checked. For a neighbour that is missing or intra, and for the macroblock below, the standard
 *       takes the block's own.
 * Statuses: -8 pSrc or pDst is null. Steps are not checked. */
QVO_API QvoStatus qvoiOBMCHalfpel_MPEG4_8u(const Qvo8u* pSrc, Qvo32s srcStep, Qvo8u* pDst, Qvo32s dstStep,
                                           const QvoMotionVector* pMVCur, const QvoMotionVector* pMVLeft,
                                           const QvoMotionVector* pMVRight, const QvoMotionVector* pMVUpper,
                                           const QvoMotionVector* pMVLower, Qvo32s rc);

/* Repetitive padding of a block in place (ISO/IEC 14496-2, 7.6.1.1 and 7.6.1.2): transparent samples are replaced
 * from the opaque ones around them. First each row that has an opaque sample: a transparent run takes the average,
 * rounded up, of the opaque samples at its two ends, or the only one there is at an end of the row. Then the rows
 * without one, in the same way from the nearest rows above and below that have one.
 *
 * pSrcDst  block of 16x16 or 8x8 samples
 * step     bytes between its rows, at least 1
 * pShape   16x16 or 8x8 bytes, contiguous: 0 transparent, 255 opaque. A transparent run, with which every row begins,
 *          ends only at a 255, an opaque run only at a 0.
 * Statuses: -8 a pointer is null; -14 step < 1; -94 no sample is opaque: the block is unchanged. */
QVO_API QvoStatus qvoiPadCurrent_16x16_MPEG4_8u_I(Qvo8u* pSrcDst, Qvo32s step, const Qvo8u* pShape);
QVO_API QvoStatus qvoiPadCurrent_8x8_MPEG4_8u_I(Qvo8u* pSrcDst, Qvo32s step, const Qvo8u* pShape);

/* Extended padding of an exterior macroblock from one that has been padded (ISO/IEC 14496-2, 7.6.1.3): Horizontal
 * repeats a column of the sources over the width of the macroblock, Vertical a row over its height.
 *
 * pSrcY, pSrcCb, pSrcCr  first sample of the column or row in a plane: columns are read at the plane's step, 16
 *                        samples of the luminance and 8 of each chrominance
 * pSrcA                  likewise of the alpha plane, or null: alpha is left alone
 * pDstY, pDstCb, pDstCr  the macroblock's 16x16 luminance and 8x8 chrominance samples
 * pDstA                  its 16x16 alpha samples; may be null if pSrcA is
 * stepYA                 bytes between the rows of the luminance and alpha planes, at least 1
 * stepCbCr               of the chrominance planes, at least 1
 * Statuses: -8 a pointer is null, or pDstA is while pSrcA is not; -14 stepYA < 1 or stepCbCr < 1. */
QVO_API QvoStatus qvoiPadMBHorizontal_MPEG4_8u(const Qvo8u* pSrcY, const Qvo8u* pSrcCb, const Qvo8u* pSrcCr,
                                               const Qvo8u* pSrcA, Qvo8u* pDstY, Qvo8u* pDstCb, Qvo8u* pDstCr,
                                               Qvo8u* pDstA, Qvo32s stepYA, Qvo32s stepCbCr);
QVO_API QvoStatus qvoiPadMBVertical_MPEG4_8u(const Qvo8u* pSrcY, const Qvo8u* pSrcCb, const Qvo8u* pSrcCr,
                                             const Qvo8u* pSrcA, Qvo8u* pDstY, Qvo8u* pDstCb, Qvo8u* pDstCr,
                                             Qvo8u* pDstA, Qvo32s stepYA, Qvo32s stepCbCr);

/* Sets all samples of a macroblock to grayVal (128 for 8-bit video), those of the alpha plane too where pDstA is not
 * null.
 * Statuses: -8 pDstY, pDstCb or pDstCr is null; -14 stepYA < 1 or stepCbCr < 1. */
QVO_API QvoStatus qvoiPadMBGray_MPEG4_8u(Qvo8u grayVal, Qvo8u* pDstY, Qvo8u* pDstCb, Qvo8u* pDstCr, Qvo8u* pDstA,
                                         Qvo32s stepYA, Qvo32s stepCbCr);

/* The three operations that pad a VOP of any shape macroblock by macroblock, in raster order: each pads what it can
 * of its own macroblock and of the neighbours to the left and above that waited for it.
 *
 * pFlags     two words, of the macroblock to the left and of the one above: 0 if it is transparent. An entry without
 *            a macroblock behind it is not used.
 * pSrcDstY, pSrcDstCb, pSrcDstCr
 *            planes at this macroblock; the neighbours lie in the same planes
 * pSrcDstA   alpha plane at this macroblock, or null
 * pPadded    one byte per column of macroblocks from column 0, not 0 for a macroblock that is padded: entry mbX is
 *            that of the macroblock above until qvoiPadMBTransparent_MPEG4_8u_P4R makes it this one's, entry mbX - 1
 *            that of the macroblock to the left. They matter for transparent macroblocks only.
 * mbX, mbY   column and row of this macroblock, at least 0
 * stepYA     bytes between the rows of the luminance and alpha planes: at least 16, a multiple of 4
 * stepCbCr   of the chrominance planes: at least 8, a multiple of 4
 *
 * Statuses: -8 a pointer other than pSrcDstA is null; -5 any other argument is outside its range, or a plane pointer,
 * that of alpha included, is not a multiple of 4; then as each declaration says. */

/* A macroblock with opaque and transparent samples: repetitive padding of the luminance, of the chrominance (opaque
 * where any of the 2x2 luminance samples is) and of alpha. Then, if the left neighbour is transparent and not padded,
 * horizontal extended padding of it from this macroblock's first column, and likewise vertical of the neighbour above
 * from its first row; they are marked as padded.
 *
 * pShape     16 rows of 16 bits, two bytes each, most significant bit first: 1 is opaque
 * shapeStep  bytes between the rows of the shape, at least 2
 * Statuses: -8, -5; -2 no sample is opaque: nothing is changed. */
QVO_API QvoStatus qvoiPadMBPartial_MPEG4_8u_P4R(const Qvo8u* pShape, const Qvo32s* pFlags, Qvo8u* pSrcDstY,
                                                Qvo8u* pSrcDstCb, Qvo8u* pSrcDstCr, Qvo8u* pSrcDstA, Qvo8u* pPadded,
                                                Qvo32s mbX, Qvo32s mbY, Qvo32s stepYA, Qvo32s stepCbCr,
                                                Qvo32s shapeStep);

/* A macroblock without transparent samples: only the padding of its two neighbours, as above.
 * Statuses: -8, -5. */
QVO_API QvoStatus qvoiPadMBOpaque_MPEG4_8u_P4R(const Qvo32s* pFlags, Qvo8u* pSrcDstY, Qvo8u* pSrcDstCb,
                                               Qvo8u* pSrcDstCr, Qvo8u* pSrcDstA, Qvo8u* pPadded, Qvo32s mbX,
                                               Qvo32s mbY, Qvo32s stepYA, Qvo32s stepCbCr);

/* A transparent macroblock. It is padded from the last column of the left neighbour if that is not transparent, else
 * from the last row of the one above if that is not, else it waits: for a neighbour to the right or below, or until
 * it is known to have none and becomes gray. That is why a transparent neighbour above that is not padded becomes
 * gray here, in the last row of macroblocks one to the left too, and in the last macroblock of all this one itself.
 * The entry of pPadded becomes 1 if this macroblock was padded from a neighbour, else 0: gray does not count.
 *
 * grayVal             value of macroblocks that have no opaque neighbour
 * mbPerRow, mbPerCol  columns and rows of macroblocks, at least 1 and beyond mbX and mbY
 * Statuses: -8, -5. */
QVO_API QvoStatus qvoiPadMBTransparent_MPEG4_8u_P4R(const Qvo32s* pFlags, Qvo8u* pSrcDstY, Qvo8u* pSrcDstCb,
                                                    Qvo8u* pSrcDstCr, Qvo8u* pSrcDstA, Qvo8u* pPadded, Qvo8u grayVal,
                                                    Qvo32s mbX, Qvo32s mbY, Qvo32s mbPerRow, Qvo32s mbPerCol,
                                                    Qvo32s stepYA, Qvo32s stepCbCr);

/* ---- post-filters -------------------------------------------------------------------------------------------- */

/* Post-processing of a decoded frame for display (ISO/IEC 14496-2 Annex F.3). Which edges and blocks are filtered, in
 * which order and with which thresholds is the caller's choice; nothing but the pointers is checked. */

/* Deblocks eight samples' length of a block edge in place.
 *
 * pSrcDst  HorEdge: the first of eight samples in the row just below the edge. VerEdge: the first of eight samples in
 *          the column just right of the edge. Across the edge ten samples s0..s9 are read, five on either side; s0
 *          and s9 are never written
 * step     bytes between rows
 * QP       quantiser of the block
 * THR1     greatest difference of two neighbouring samples that still count as flat (2 in the standard)
 * THR2     number of flat pairs, of the nine, from which a line is smoothed as a whole (6 in the standard)
 *
 * With a line's nine pairs of neighbours, those that differ by THR1 or less are flat. With e(a, b, c, d) the quotient
 * (2a - 5b + 5c - 2d) / 8, halves rounded away from zero:
 *
 *   fewer than THR2 flat  a0 = e(s3..s6), least the smallest magnitude of a0, e(s1..s4) and e(s5..s8). Where |a0| < QP,
 *                         s4 - d and s5 + d replace s4 and s5, d being 5 * (sign(a0) * least - a0) / 8, rounded
 *                         likewise, limited to half of s4 - s5 (rounded toward zero) and to its sign
 *   THR2 or more flat     where s1..s8 lie less than 2 * QP apart, each of them becomes the mean, halves up, of the
 *                         nine samples around it with the weights 1 1 2 2 4 2 2 1 1 / 16. In place of the samples
 *                         before s1 (behind s8) stands s0 (s9) if it differs from s1 (s8) by less than QP, else s1 (s8)
 *
 * Statuses: -8 pSrcDst is null. */
QVO_API QvoStatus qvoiFilterDeblocking_HorEdge_MPEG4_8u_I(Qvo8u* pSrcDst, Qvo32s step, Qvo32s QP, Qvo32s THR1,
                                                          Qvo32s THR2);
QVO_API QvoStatus qvoiFilterDeblocking_VerEdge_MPEG4_8u_I(Qvo8u* pSrcDst, Qvo32s step, Qvo32s QP, Qvo32s THR1,
                                                          Qvo32s THR2);

/* Computes the deringing thresholds of a macroblock.
 *
 * pSrcY, stepY           luminance, 16x16
 * pSrcCb, stepCb, pSrcCr, stepCr  chrominance, 8x8 each
 * pThresholds            receives six thresholds: the luminance blocks top-left, top-right, bottom-left and
 *                        bottom-right, then Cb, then Cr
 *
 * A block's threshold is the middle of its range, (lowest + highest + 1) >> 1. Where no luminance block's range
 * reaches 16 all four luminance thresholds are 0, which tells the caller to leave these blocks alone; where the
 * largest range is 64 or more, luminance blocks with a range below 32 take the threshold of the block with the
 * largest range (the first of them in the order above). Chrominance thresholds stay as they are.
 * Statuses: -8 a pointer is null. */
QVO_API QvoStatus qvoiFilterDeringingThresholdMB_MPEG4_8u(const Qvo8u* pSrcY, Qvo32s stepY, const Qvo8u* pSrcCb,
                                                          Qvo32s stepCb, const Qvo8u* pSrcCr, Qvo32s stepCr,
                                                          Qvo32s* pThresholds);

/* Derings an 8x8 block: each sample whose whole 3x3 neighbourhood lies on one side of the threshold (all reach it, or
 * none does) becomes the neighbourhood's mean with the weights 1 2 1 / 2 4 2 / 1 2 1, rounded, but changes by QP >> 1
 * at most; the others are copied.
 *
 * pSrc, srcStep  source block; one sample around it on all four sides is read as well
 * pDst, dstStep  destination block, all 64 samples of which are written. It may be the source block itself: the
 *                source is read before anything is written
 *
 * Statuses: -8 a pointer is null. */
QVO_API QvoStatus qvoiFilterDeringingSmoothBlock_MPEG4_8u(const Qvo8u* pSrc, Qvo32s srcStep, Qvo8u* pDst,
                                                          Qvo32s dstStep, Qvo32s QP, Qvo32s threshold);

/* ---- forward quantisation and transform-reconstruct ----------------------------------------------------------- */

/* For encoders: coefficients of the forward DCT (transform.h) become the levels that are coded. Blocks are 64 values in
 * raster order, "/" truncates toward zero, and the sign of a coefficient is its level's. There are two families, which
 * do not give the same levels; those for H.263 are in h263.h. */

/* Quantise a block in place by integers. No level is beyond -127..127.
 *
 * pSrcDst     coefficients in, levels out
 * QP          1..31
 * blockIndex  0..3 luminance, 4 and 5 chrominance, 6..9 as luminance: which scaler the DC coefficient has
 * pQMatrix    64 weights W in raster order and behind them 64 reciprocals R, 2^21 / W; or null for the method of H.263.
 *             W[0] * R[0] has to be 2^21, which a power of two as the first weight fulfils; nothing else is checked.
 *
 *   intra DC       (DC + scaler / 2) / scaler, limited to 1..254
 *   H.263, intra   |c| / (2 QP)
 *   H.263, inter   (|c| - QP / 2) / (2 QP); 0 for |c| < 2 QP + QP / 2
 *   matrix, intra  0 for |c| < (5 QP - 4) W >> 6; else (k + ((3 QP + 2) >> 2)) / (2 QP), where k is
 *                  (W / 2 + 16 |c|) * R >> 21, 2047 at most
 *   matrix, inter  0 for |c| <= (4 QP - 1) W >> 5; else k / (2 QP), where k has no limit
 *
 * Divisions by 2 QP are products with _qvoiRQPTab (internals.h), shifted right by 19, for coefficients of 16 bits too
 * without leaving any bits out. Decoders see what they expect where both sides have the same weights, 1..255
 * (ISO/IEC 14496-2, 7.4.4).
 *
 * Statuses: -5 pSrcDst is null, QP, blockIndex, or a matrix that is not valid. */
QVO_API QvoStatus qvoiQuantIntra_MPEG4_16s_I(Qvo16s* pSrcDst, Qvo8u QP, Qvo32s blockIndex, const Qvo32s* pQMatrix);
QVO_API QvoStatus qvoiQuantInter_MPEG4_16s_I(Qvo16s* pSrcDst, Qvo8u QP, const Qvo32s* pQMatrix);

/* Quantise a block in place by products with floats, computed from left to right with a mantissa of 64 bits and cut to
 * integers. No level is beyond -2047..2047.
 *
 * pSrcDst   coefficients in, levels out; the intra form leaves the DC coefficient alone
 * QP        1 or more
 * pQMatrix  64 factors m in raster order, usually 1 / weight. One that is infinite or no number counts as far below
 *           zero for coefficients other than 0 as soon as a product is no number.
 * pLast     receives the highest raster index, not scan position, of a level other than 0, -1 if there is none; the DC
 *           coefficient of the intra form does not count
 *
 *   intra  c * (8 / QP) * m, plus 0.5 for c > 0, minus 0.5 for c < 0
 *   inter  c * (8 / QP) * m
 *
 * Statuses: -8 a pointer is null; -104 QP < 1. */
QVO_API QvoStatus qvoiQuantIntra_MPEG4_16s_C1I(Qvo16s* pSrcDst, Qvo32s QP, const float* pQMatrix, Qvo32s* pLast);
QVO_API QvoStatus qvoiQuant_MPEG4_16s_C1I(Qvo16s* pSrcDst, Qvo32s QP, const float* pQMatrix, Qvo32s* pLast);

/* A block of an inter macroblock: forward DCT (qvoiDCT8x8Fwd_16s_C1), qvoiQuantInter_MPEG4_16s_I, inverse quantisation
 * as in qvoiQuantInvInter_MPEG4_16s_I, inverse DCT (qvoiDCT8x8Inv_16s_C1). The block decoders of this library take
 * shorter inverse transforms where a block has few coefficients, which may differ by one in a sample.
 *
 * pSrc      64 residuals
 * pDst      receives the 64 levels
 * pRec      receives the 64 reconstructed residuals, not saturated; may be pSrc
 * QP        1..31
 * pQMatrix  weights and reciprocals as above, or null
 *
 * Statuses: -5 pSrc, pDst or pRec is null or not a multiple of 8, QP, or a matrix that is not valid. */
QVO_API QvoStatus qvoiTransRecBlockCoef_inter_MPEG4(const Qvo16s* pSrc, Qvo16s* pDst, Qvo16s* pRec, Qvo8u QP,
                                                    const Qvo32s* pQMatrix);

/* Where an intra block is predicted from, and whether its AC differences are there. Values of 2 and 3 say from above:
 * code >> 1 is 1 for above and 0 for left. */
enum {
    qvoTransRecLeft = 0,    /* the neighbour on the left; no AC differences */
    qvoTransRecLeftAC = 1,  /* the neighbour on the left, with the differences of the first column */
    qvoTransRecAboveAC = 2, /* the neighbour above, with the differences of the first row */
    qvoTransRecAbove = 3    /* the neighbour above; no AC differences */
};

/* The gain of a macroblock that has to do without AC prediction. */
enum { qvoACPredictionOff = -10000 };

/* A block of an intra macroblock: forward DCT (qvoiDCT8x8Fwd_8u16s_C1R), qvoiQuantIntra_MPEG4_16s_I, the choice of the
 * neighbour to predict from, the AC differences if they are wanted, inverse quantisation as in
 * qvoiQuantInvIntra_MPEG4_16s_I, inverse DCT (qvoiDCT8x8Inv_16s8u_C1R).
 * qvoiDecodeBlockCoef_Intra_MPEG4_1u8u reconstructs the same pixels from what is coded.
 *
 * pSrc        8x8 pixels
 * pDst        receives the 64 levels, none of them predicted yet: pDst[0] is the quantised DC coefficient, 1..254
 * pRec        receives the 8x8 reconstructed pixels; may be pSrc
 * pPredAbove  values of the block above: entry 0 its reconstructed DC coefficient (negative: not available, as outside
 *             the picture or the video packet or not intra), entries 1..7 its first-row levels; entry -8 the DC
 *             coefficient of the block above and to the left. Only read, as pPredLeft is.
 * pPredLeft   likewise of the block to the left: entry 0 its DC coefficient, entries 1..7 its first-column levels. For
 *             block 3 the values of the block above are read from entries -8..-1 of this buffer in place of
 *             pPredAbove[0..7].
 * pACPred     8 entries: receives one of the four codes above and, with a code that says so, seven AC differences. Some
 *             entries may be written without it.
 * pACGain     gain of AC prediction over the macroblock: set it to 0 before its first block, or to qvoACPredictionOff if
 *             AC prediction is not wanted. With differences, grows by the sum of |level| - |difference|; becomes
 *             qvoACPredictionOff when a difference is beyond -127..127.
 * blockIndex  0..3 luminance, 4 and 5 chrominance. 6..9 have the DC scaler of chrominance here, but that of luminance
 *             in qvoiQuantIntra_MPEG4_16s_I and in the block decoder, which will not reconstruct the same from them.
 * QP          1..31
 * pQPBuf      quantisers of the macroblocks to the left [0] and above [1], not checked; read where the neighbour lies
 *             there and is available
 * srcStep, recStep  bytes from row to row: at least 8, a multiple of 8
 * pQMatrix    weights and reciprocals as above, or null
 *
 * With A, B, C the DC coefficients to the left, above left and above, each 1024 if negative, the block is predicted
 * from above where |A - B| < |B - C| and from the left otherwise. To write it, an encoder
 *
 *   - codes pDst[0] - (P + scaler / 2) / scaler as the DC difference, where P is A or C as the code says: always;
 *   - decides, when all blocks of the macroblock are there, about AC prediction: worthwhile for a gain above 0. If so,
 *     blocks with codes 1 and 2 take the differences in place of their first-column or first-row levels, and all
 *     blocks are scanned by direction: from the left qvoScanVertical, from above qvoScanHorizontal, with codes 0 and 3
 *     as well. If not, the levels are coded as they are, in zigzag order;
 *   - keeps the DC coefficient min(pDst[0] * scaler, 2047) and the first row and column of pDst for the blocks to come.
 *
 * A neighbour's levels are scaled by its quantiser / QP before the difference is taken, half away from zero, if the two
 * differ. Levels are reconstructed as |level| * QP * W >> 3 with the matrix, whose mismatch control sums up the clipped
 * coefficients. A block without coded AC levels may be decoded by qvoiDecodeBlockCoef_IntraDCOnly_MPEG4_1u8u.
 *
 * Statuses: -5 a pointer other than pQMatrix is null; pSrc, pDst or pRec is not a multiple of 8; blockIndex; QP; a
 * step; or a matrix that is not valid. */
QVO_API QvoStatus qvoiTransRecBlockCoef_intra_MPEG4(const Qvo8u* pSrc, Qvo16s* pDst, Qvo8u* pRec,
                                                    const Qvo16s* pPredAbove, const Qvo16s* pPredLeft,
                                                    Qvo16s* pACPred, Qvo32s* pACGain, Qvo32s blockIndex, Qvo8u QP,
                                                    const Qvo8u* pQPBuf, Qvo32s srcStep, Qvo32s recStep,
                                                    const Qvo32s* pQMatrix);

/* ---- texture encoding ---------------------------------------------------------------------------------------- */

/* ISO/IEC 14496-2, 7.4.1: the quantised levels of one 8x8 block as codes of the texture syntax, what the decoders above
 * read back. There are two families. Both give the same events the same codes, but for some of the escapes; they
 * differ in what they check, in what they store, and in how they handle the DC coefficient:
 *
 *   qvoiEncode_*            write each code straight into the byte buffer and touch no byte that holds none of their
 *                           bits. Their DC operation takes a difference of any size.
 *   qvoiEncodeVLCZigzag_*   collect bits in a word of four bytes, which they store when it is full. What is left at the
 *                           end they store as four bytes too: leave four writable bytes behind the last coded bit.
 *                           They report every bad argument as -5.
 *
 * All take 64 levels in raster order, which they leave alone, and a byte-stream position (types.h), which they advance
 * behind the block. The bits of the current byte before the position are kept; the bits behind the last code in the last
 * byte (or in the last four bytes) become 0.
 *
 * An event without a code of its own (tables B-16 and B-17) is escaped. Of levels that exceed the 12 bits of the longest
 * escape (-2048..2047, of which decoders refuse -2048) the low 12 bits are written. */

/* Writes an intra DC difference (tables B-13 to B-15): the size code, a marker bit where the size exceeds 8, the
 * difference. Note the place of the marker: the standard has it behind the difference, and the decoders look for it
 * there. Sizes above 8 do not occur with 8-bit video.
 *
 * intraDC    difference, -4095..4095; of a larger one the low 12 bits are written as a difference of size 12
 * blockType  qvoVideoChrominance writes the chrominance size code, any other value that of luminance
 *
 * Statuses: -8; -105 the bit offset is not 0..7. */
QVO_API QvoStatus qvoiEncode_IntraDCVLC_MPEG4_16s1u(Qvo16s intraDC, Qvo8u** ppBitStream, Qvo32s* pBitOffset,
                                                    Qvo32s blockType);

/* Write the levels of an intra block with table B-16 and of an inter block with table B-17. Nothing is written for a
 * block without levels, which has no codes: mark it as not coded.
 *
 * scan    qvoScanZigzag, qvoScanVertical, any other value is taken for qvoScanHorizontal; inter blocks always take the
 *         classical zigzag
 * skipDC  not 0: the DC coefficient is coded apart (or not at all), the first position is 1
 *
 * A level that is too large for its run is escaped by type 1 where what exceeds the largest level with a code has a
 * code, otherwise by type 3. A run without any code is escaped by type 2 where what exceeds the largest run of the level
 * (and 1 more) has a code, otherwise by type 3. No other choice is tried, even where it would be shorter.
 *
 * Statuses: -8; -105 the bit offset is not 0..7. */
QVO_API QvoStatus qvoiEncode_IntraACVLC_MPEG4_16s1u(const Qvo16s* pBlock, Qvo8u** ppBitStream, Qvo32s* pBitOffset,
                                                    Qvo32s scan, Qvo32s skipDC);
QVO_API QvoStatus qvoiEncode_InterVLC_MPEG4_16s1u(const Qvo16s* pBlock, Qvo8u** ppBitStream, Qvo32s* pBitOffset);

/* The family with an accumulator: IntraDCVLC writes pBlock[0] as a DC difference, then the levels from scan position 1
 * on; IntraACVLC all levels with the same codes (table B-16); Inter all levels with table B-17 in classical zigzag
 * order.
 *
 * scan       qvoScanZigzag, qvoScanVertical or qvoScanHorizontal
 * coded      1: the block's levels are written (none if there are none), any other value: they are not. A DC difference
 *            is always written.
 * videoComp  qvoVideoChrominance writes the chrominance size code, qvoVideoLuminance and qvoVideoAlpha that of luminance
 *
 * The DC difference is written without a marker bit, so that it must lie in -255..255; of a larger magnitude the low 8
 * bits count. An event without a code is escaped by type 1 if that is possible, otherwise by type 2 if possible,
 * otherwise by type 3.
 *
 * Nothing is stored where nothing is written and the offset is 0. At any other offset the bits behind it and the next
 * three bytes become 0.
 *
 * Statuses: -5 for every fault: a pointer, or the byte pointer behind ppBitStream, is null, the bit offset is not 0..7,
 * scan or videoComp is none of the three. */
QVO_API QvoStatus qvoiEncodeVLCZigzag_IntraDCVLC_MPEG4_16s1u(Qvo8u** ppBitStream, Qvo32s* pBitOffset,
                                                             const Qvo16s* pBlock, Qvo8u scan, Qvo8u coded,
                                                             Qvo32s videoComp);
QVO_API QvoStatus qvoiEncodeVLCZigzag_IntraACVLC_MPEG4_16s1u(Qvo8u** ppBitStream, Qvo32s* pBitOffset,
                                                             const Qvo16s* pBlock, Qvo8u scan, Qvo8u coded);
QVO_API QvoStatus qvoiEncodeVLCZigzag_Inter_MPEG4_16s1u(Qvo8u** ppBitStream, Qvo32s* pBitOffset, const Qvo16s* pBlock,
                                                        Qvo8u coded);

/* ---- motion vector encoding ---------------------------------------------------------------------------------- */

/* Writes the vectors of a P-VOP macroblock (ISO/IEC 14496-2, 6.2.6.2 and 7.6.3): of each vector the difference from its
 * predictor, which qvoiFindMVpred_MPEG4 gives; of a difference the horizontal, then the vertical component, each as a
 * motion code (table B-12) and, unless that is 0, a residual of fcode - 1 bits. Differences are taken modulo the range
 * of fcode, -(16 << fcode) .. (16 << fcode) - 1.
 *
 * pMVCurMB    four vectors of this macroblock
 * pMVLeftMB, pMVUpperMB, pMVUpperRightMB
 *             four vectors each of the macroblocks to the left, above and above to the right, or null where one does not
 *             exist
 * pFlagCurMB  four flags of this macroblock
 * pFlagLeftMB, pFlagUpperMB, pFlagUpperRightMB
 *             flag words of the neighbours; never null
 * fcode       vop_fcode_forward, 1..7
 * mbType      qvoMbInter4V or qvoMbInter4VQ: the vectors of all blocks whose flag is not 0, in order. Any other type:
 *             the first vector, unless the first flag is 0.
 *
 * The writer stores four bytes at a time: leave four writable bytes behind the last coded bit. Bits behind it become 0.
 *
 * Statuses: -5 for every fault: a pointer that may not be null is; the bit offset is not 0..7; fcode is outside 1..7;
 * the first vector of this macroblock (the other three are not looked at) or one of a neighbour lies outside
 * -(16 << fcode) .. 16 << fcode in a component, both included and whatever the flags say; a pointer to flags is not a
 * multiple of 4. */
QVO_API QvoStatus qvoiEncodeMV_MPEG4_8u16s(Qvo8u** ppBitStream, Qvo32s* pBitOffset, const QvoMotionVector* pMVCurMB,
                                           const QvoMotionVector* pMVLeftMB, const QvoMotionVector* pMVUpperMB,
                                           const QvoMotionVector* pMVUpperRightMB, const Qvo8u* pFlagCurMB,
                                           const Qvo8u* pFlagLeftMB, const Qvo8u* pFlagUpperMB,
                                           const Qvo8u* pFlagUpperRightMB, Qvo32s fcode, Qvo32s mbType);

#ifdef __cplusplus
}
#endif

#endif
