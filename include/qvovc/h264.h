/* H.264 (ITU-T H.264, ISO/IEC 14496-10): intra prediction. */
#ifndef QVOVC_H264_H
#define QVOVC_H264_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- intra prediction ---------------------------------------------------------------------------------------- */

/* The three operations predict a block in place from its already reconstructed neighbours in the same plane:
 *
 *   pSrcDst   the block's top-left sample. The row above is read at pSrcDst - step, the left column at pSrcDst - 1
 *             of each row, the corner at pSrcDst - step - 1, the samples above-right (4x4 only) at
 *             pSrcDst - step + 4 .. + 7
 *   step      bytes from row to row
 *   mode      prediction mode, one of the enumerators of the operation's block
 *   flags     which neighbours may be used, a sum of the values below; other bits are ignored
 *
 * A neighbour whose flag is clear is never read, so that it may lie outside the plane's memory. */
enum {
    qvoNeighbourAbove = 1,      /* T: the row above, as wide as the block */
    qvoNeighbourLeft = 2,       /* L: the column to the left, as high as the block */
    qvoNeighbourCorner = 32,    /* K: the sample above-left */
    qvoNeighbourAboveRight = 64 /* T[4..7], the four samples above-right of a 4x4 block */
};

/* Modes of a 4x4 luma block (H.264 table 8-2). */
enum {
    qvoIntra4x4Vertical = 0,
    qvoIntra4x4Horizontal = 1,
    qvoIntra4x4DC = 2,
    qvoIntra4x4DiagonalDownLeft = 3,
    qvoIntra4x4DiagonalDownRight = 4,
    qvoIntra4x4VerticalRight = 5,
    qvoIntra4x4HorizontalDown = 6,
    qvoIntra4x4VerticalLeft = 7,
    qvoIntra4x4HorizontalUp = 8
};

/* Modes of a 16x16 luma macroblock (H.264 table 8-4). */
enum { qvoIntra16x16Vertical = 0, qvoIntra16x16Horizontal = 1, qvoIntra16x16DC = 2, qvoIntra16x16Plane = 3 };

/* Modes of an 8x8 chroma block (H.264 table 8-5). */
enum { qvoIntraChromaDC = 0, qvoIntraChromaHorizontal = 1, qvoIntraChromaVertical = 2, qvoIntraChromaPlane = 3 };

/* Predicts a 4x4 luma block (H.264 clause 8.3.1.2). A neighbour that is missing never stops the prediction:
 *
 *   DC        uses what there is of T and L, and 128 without either
 *   others    take 128 for every group they use (all of T[0..3], all of L, or K) whose flag is clear, which is
 *             reported as the warning
 *   T[4..7]   (diagonal down-left and vertical-left) repeat T[3] where their flag is clear, without a warning; where
 *             it is set they are read even if T[0..3] is missing
 *
 * Statuses: -8 pSrcDst is null; -14 step < 4; -11 mode outside 0..8; otherwise, the block being complete,
 * qvoStatusNeighbourSubstituted (+11) if a group was replaced by 128, else 0. */
QVO_API QvoStatus qvoiPredictIntra_4x4_H264_8u_C1IR(Qvo8u* pSrcDst, Qvo32s step, Qvo32s mode, Qvo32u flags);

/* Predicts a 16x16 luma macroblock (H.264 clause 8.3.3). Unlike the 4x4 operation it refuses a mode whose neighbours
 * are missing, and writes nothing then: vertical needs T, horizontal L, plane T, L and K. DC uses what there is of T
 * and L, 128 without either.
 *
 * Statuses: -8 pSrcDst is null; qvoStatusMbStep (-81) step < 16; -11 mode outside 0..3; -117 a neighbour that the
 * mode needs is missing. */
QVO_API QvoStatus qvoiPredictIntra_16x16_H264_8u_C1IR(Qvo8u* pSrcDst, Qvo32s step, Qvo32s mode, Qvo32u flags);

/* Predicts an 8x8 chroma block (H.264 clause 8.3.4). Modes need what they need for 16x16 blocks. DC predicts each 4x4
 * quadrant on its own: top-left and bottom-right from their samples of T and L, or from whichever exists; top-right
 * from T[4..7], without T from L[0..3]; bottom-left from L[4..7], without L from T[0..3]; 128 without either.
 *
 * Statuses: -8 pSrcDst is null; qvoStatusMbStep (-81) step < 8; -11 mode outside 0..3; -117 a neighbour that the mode
 * needs is missing. */
QVO_API QvoStatus qvoiPredictIntraChroma8x8_H264_8u_C1IR(Qvo8u* pSrcDst, Qvo32s step, Qvo32s mode, Qvo32u flags);

#ifdef __cplusplus
}
#endif

#endif
