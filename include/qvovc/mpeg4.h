/* MPEG-4 Visual: texture decoding with AC/DC prediction and inverse quantisation, motion vectors, motion
 * compensation and padding, post-filters. */
#ifndef QVOVC_MPEG4_H
#define QVOVC_MPEG4_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- texture decoding ---------------------------------------------------------------------------------------- */



/* ---- AC/DC prediction and inverse quantisation --------------------------------------------------------------- */



/* ---- motion vectors ------------------------------------------------------------------------------------------ */

/* Vectors are in half-sample units. A macroblock carries four, in the order of its 8x8 blocks: 0 top left, 1 top right,
 * 2 bottom left, 3 bottom right; a macroblock with a single vector holds it four times.
 *
 * Block flags are four bytes per macroblock, non-zero for a block that is not transparent (has at least one sample of
 * the object's shape; in a rectangular VOP every block). The flags of the current macroblock are tested one by one,
 * those of any other macroblock as one 32-bit word: non-zero means that any of its blocks is not transparent. Every
 * pointer to flags must be a multiple of 4 bytes.
 *
 * Decoding reads four bytes from the one that holds the first bit of a component, whatever the bits say.
 *
 * Statuses common to the decoders: -8 a pointer, or the current-position pointer behind ppBitStream, is null; -105
 * *pBitOffset is outside 0..7; -97 a pointer to flags is not a multiple of 4; then as each declaration says; and
 * -101 from the stream, for a motion code that is not in the table. After a bad code the position stays at the start of
 * that vector's differential, and nothing is added to its predictor. */

/* The P-VOP macroblock types that carry four vectors (ISO/IEC 14496-2, Table B-1). */
enum { qvoMbInter4V = 2, qvoMbInter4VQ = 5 };

/* Decodes the vectors of a P-VOP macroblock and fills those of its transparent blocks (ISO/IEC 14496-2, 6.2.6.2,
 * 7.6.3 and 7.6.5).
 *
 * pSrcMVLeftMB        four vectors of the macroblock to the left; where it does not exist, any vectors whose flag word
 * pSrcMVUpperMB       is 0; likewise of the macroblock above
 * pSrcMVUpperRightMB  and of the one to the right of that
 * pDstMVCurMB         receives four vectors
 * pFlagLeftMB, pFlagUpperMB, pFlagUpperRightMB
 *                     flag words of the three neighbours
 * pFlagCurMB          four flags of this macroblock
 * fcode               vop_fcode_forward, 1..7
 * mbType              qvoMbInter4V or qvoMbInter4VQ: for each block that is not transparent, in order, the predictor of
 *                     qvoiFindMVpred_MPEG4 plus a decoded differential; then the fill of qvoiPadMV_MPEG4, also where
 *                     every flag is 0. Any other type: one vector, predicted as block 0 whatever its flag says, copied
 *                     to all four blocks.
 *
 * A component of a sum, taken in 16 bits, that lies below -(16 << fcode) gains 32 << fcode; one of 16 << fcode or more
 * loses as much. After a bad code the vectors of the blocks before stay decoded, that of the failing block holds its
 * predictor, and nothing is filled or copied.
 * Statuses: -8 (no pointer may be null), -105, -97; -98 fcode is outside 1..7; -101. */
QVO_API QvoStatus qvoiDecodePadMV_PVOP_MPEG4(Qvo8u** ppBitStream, Qvo32s* pBitOffset,
                                             const QvoMotionVector* pSrcMVLeftMB,
                                             const QvoMotionVector* pSrcMVUpperMB,
                                             const QvoMotionVector* pSrcMVUpperRightMB, QvoMotionVector* pDstMVCurMB,
                                             const Qvo8u* pFlagLeftMB, const Qvo8u* pFlagUpperMB,
                                             const Qvo8u* pFlagUpperRightMB, const Qvo8u* pFlagCurMB, Qvo32s fcode,
                                             Qvo32s mbType);

/* Decode one vector of a B-VOP macroblock: *pSrcDstMV holds its predictor (the last vector of the same direction in the
 * macroblock row, ISO/IEC 14496-2, 7.6.8) and receives the vector, wrapped into the range of fcode as in P-VOPs. The
 * two are the same operation under the names of the two directions.
 * Statuses: -8, -105; -98 fcode is outside 1..7; -101. */
QVO_API QvoStatus qvoiDecodeMV_BVOP_Forward_MPEG4(Qvo8u** ppBitStream, Qvo32s* pBitOffset,
                                                  QvoMotionVector* pSrcDstMVF, Qvo32s fcodeForward);
QVO_API QvoStatus qvoiDecodeMV_BVOP_Backward_MPEG4(Qvo8u** ppBitStream, Qvo32s* pBitOffset,
                                                   QvoMotionVector* pSrcDstMVB, Qvo32s fcodeBackward);

/* Decodes the forward, then the backward vector of an interpolated macroblock. After a bad code of the backward vector
 * the forward vector stays decoded and the position is behind it.
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

/* The vectors of a skipped direct-mode macroblock: those of qvoiDecodeMV_BVOP_Direct_MPEG4 with a delta of zero, and no
 * bits read.
 * Statuses: -8, -97; -96 TRB or TRD is less than 1. */
QVO_API QvoStatus qvoiDecodeMV_BVOP_DirectSkip_MPEG4(const QvoMotionVector* pSrcMVColMB,
                                                     QvoMotionVector* pDstMVForward, QvoMotionVector* pDstMVBackward,
                                                     const Qvo8u* pFlagColMB, Qvo32s TRB, Qvo32s TRD);

/* Gives each block whose flag is 0 the vector of a neighbouring block (ISO/IEC 14496-2, 7.6.1.6). The blocks are filled
 * in order, and a block takes the vector of the first of its three neighbours whose flag is not 0, or of the third
 * where none is, filled before or not:
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
 * (ISO/IEC 14496-2, 7.6.4). Per component, with v the vector's, p the block's position, o the rectangle's origin, e its
 * extent and n the block size: 2(o - p) if v + 2p < 2o; 2(o + e - n - p) if v + 2p >= 2(o + e - n); else v.
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

/* The chrominance vector of a macroblock with four vectors: half the mean of those of its k blocks whose flag is not 0,
 * the remainder of the sum by 4k rounded by the tables of ISO/IEC 14496-2, 7.6.5; zero if there is none.
 *
 * pSrcMVY  four luminance vectors
 * pDstMVC  receives the chrominance vector
 * pFlags   four flags
 * Statuses: -8, -97. */
QVO_API QvoStatus qvoiComputeChroma4MV_MPEG4(const QvoMotionVector* pSrcMVY, QvoMotionVector* pDstMVC,
                                             const Qvo8u* pFlags);

/* ---- motion compensation, overlapped prediction and padding -------------------------------------------------- */

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
 * A line with THR2 or more flat pairs is low-pass filtered (s1..s8) where its range stays below 2*QP; any other line
 * has s4 and s5 moved toward each other, never past their middle, unless it holds a real edge.
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
 * A block's threshold is the middle of its range. Where no luminance block's range reaches 16 all four luminance
 * thresholds are 0; where the largest range is 64 or more, luminance blocks with a range below 32 take the threshold
 * of the block with the largest range (the first of them in the order above). Chrominance thresholds stay as they are.
 * Statuses: -8 a pointer is null. */
QVO_API QvoStatus qvoiFilterDeringingThresholdMB_MPEG4_8u(const Qvo8u* pSrcY, Qvo32s stepY, const Qvo8u* pSrcCb,
                                                          Qvo32s stepCb, const Qvo8u* pSrcCr, Qvo32s stepCr,
                                                          Qvo32s* pThresholds);

/* Derings an 8x8 block: each sample whose whole 3x3 neighbourhood lies on one side of the threshold is smoothed, by at
 * most QP >> 1; the others are copied.
 *
 * pSrc, srcStep  source block; one sample around it on all four sides is read as well
 * pDst, dstStep  destination block, all 64 samples of which are written. It may be the source block itself: the
 *                source is read before anything is written
 *
 * Statuses: -8 a pointer is null. */
QVO_API QvoStatus qvoiFilterDeringingSmoothBlock_MPEG4_8u(const Qvo8u* pSrc, Qvo32s srcStep, Qvo8u* pDst,
                                                          Qvo32s dstStep, Qvo32s QP, Qvo32s threshold);


#ifdef __cplusplus
}
#endif

#endif
