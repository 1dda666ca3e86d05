/* H.264 (ITU-T H.264, ISO/IEC 14496-10): intra prediction, transforms with quantisation, interpolation and weighted
 * averaging for inter prediction, deblocking, and the preparation of CAVLC syntax elements. */
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

/* ---- transforms and quantisation ----------------------------------------------------------------------------- */

/* The 4x4 integer transforms with flat scaling (H.264 clause 8.5, SP and SI slices 8.6) and their counterparts for
 * encoders. Blocks are 16 Qvo16s in raster order (row by row), contiguous unless a step is given; QP is 0..51. Flags
 * are taken as set when not 0.
 *
 * What the first stage of a transform passes to the second and every product of the dequantisation wrap to 16 bits;
 * the second stage's sums are rounded or scaled in 32 bits, and the result wraps to 16 bits when it is stored.
 *
 * Below, m(QP) is the dequantisation factor of a coefficient's position: the H.264 values v(QP%6, position) << QP/6,
 * with m0(QP) = (10, 11, 13, 14, 16, 18)[QP%6] << QP/6 at even rows and columns, where the DC stands. */

/* Luma DC of an Intra 16x16 macroblock: the 4x4 Hadamard transform of the 16 levels, then scaling to the values
 * that the residual operations take as DC:
 *   QP 0..5: (x * m0 + 2) >> 2;  QP 6..11: (x * (m0 >> 1) + 1) >> 1;  from QP 12 on: x * (m0 >> 2).
 * H.264 clause 8.5.10.
 * Statuses: -8 pSrcDst is null; -11 QP outside 0..51. */
QVO_API QvoStatus qvoiTransformDequantLumaDC_H264_16s_C1I(Qvo16s* pSrcDst, Qvo32s QP);

/* Chroma DC: the 2x2 Hadamard transform of the 4 levels, then (x * m0(QP)) >> 1. H.264 clause 8.5.11.
 * Statuses: -8 pSrcDst is null; -11 QP outside 0..51. */
QVO_API QvoStatus qvoiTransformDequantChromaDC_H264_16s_C1I(Qvo16s* pSrcDst, Qvo32s QP);

/* Turns a block of levels into its residual, in place. H.264 clause 8.5.12.
 *
 * pSrcDst  4x4 levels in, residual out
 * step     bytes from row to row, at least 8
 * pDC      the block's DC, already scaled by one of the operations above, in place of the level at position 0; null
 *          to dequantise that level like the others
 * AC       0: the other 15 levels are ignored and all outputs are (DC + 32) >> 6
 *
 * Statuses: -8 pSrcDst is null; -11 QP outside 0..51; -14 step < 8. */
QVO_API QvoStatus qvoiDequantTransformResidual_H264_16s_C1I(Qvo16s* pSrcDst, Qvo32s step, const Qvo16s* pDC,
                                                            Qvo32u AC, Qvo32s QP);

/* The same, with the residual added to a prediction: pDst = pPred + residual, saturated to 0..255.
 *
 * pPred    4x4 prediction, rows predStep bytes apart; may be the destination itself
 * pCoef    16 contiguous levels, which the residual replaces if AC is set and which stay as they are if not; may be
 *          null if AC is 0 and pDC is given
 * pDC, AC  as above
 * pDst     4x4 samples, rows dstStep bytes apart
 *
 * Steps are not checked.
 * Statuses: -8 pPred or pDst is null; -11 QP outside 0..51; -8 pCoef is null although AC is set or pDC is null. */
QVO_API QvoStatus qvoiDequantTransformResidualAndAdd_H264_16s_C1I(const Qvo8u* pPred, Qvo16s* pCoef,
                                                                  const Qvo16s* pDC, Qvo8u* pDst, Qvo32s predStep,
                                                                  Qvo32s dstStep, Qvo32s QP, Qvo32u AC);

/* The forward transform, without scaling, of 4x4 samples of a prediction into 16 coefficients (H.264 clause 8.6.1).
 * The step is not checked.
 * Statuses: -8 a pointer is null. */
QVO_API QvoStatus qvoiTransformPrediction_H264_8u16s_C1(const Qvo8u* pSrc, Qvo32s step, Qvo16s* pDst);

/* Luma of P macroblocks in SP slices and of SI macroblocks: adds the scaled levels to the transform of the prediction,
 * quantises the sum with QS, and dequantises and transforms it back to samples.
 *
 * pSrcDst    16 levels in, samples 0..255 out
 * pPredCoef  16 coefficients of the prediction, from qvoiTransformPrediction_H264_8u16s_C1
 * pDC        replaces the dequantised value at position 0, as it is; may be null
 * AC         0: the levels at positions 1..15 count as 0
 * QP, QS     0..51 each; not checked
 * switching  set for switching pictures: the levels are scaled with QS instead of QP
 *
 * With Q = QP or, if switching, QS, and weight 16, 25, 20 at positions of even row and column, of odd row and column
 * and elsewhere: s = pPredCoef + ((level * m(Q) * weight) >> 6), whatever the switching flag. H.264 clauses 8.6.1
 * and 8.6.2.
 * Statuses: -8 pSrcDst or pPredCoef is null. */
QVO_API QvoStatus qvoiDequantTransformResidual_SISP_H264_16s_C1I(Qvo16s* pSrcDst, const Qvo16s* pPredCoef,
                                                                 const Qvo16s* pDC, Qvo32u AC, Qvo32s QP, Qvo32s QS,
                                                                 Qvo32u switching);

/* Chroma DC of the same macroblocks: s = 2x2 Hadamard transform of the prediction's DC + ((level * m0(Q)) >> 5) is
 * quantised with QS, dequantised, transformed by the 2x2 Hadamard transform and halved (>> 1). H.264 clause 8.6.1.
 *
 * pSrcDst  4 levels in, DC values out, as the residual operations take them
 * pPredDC  the coefficients at position 0 of the transforms of the four prediction blocks
 *
 * Statuses: -8 pSrcDst or pPredDC is null. QP and QS, 0..51, are not checked. */
QVO_API QvoStatus qvoiTransformDequantChromaDC_SISP_H264_16s_C1I(Qvo16s* pSrcDst, const Qvo16s* pPredDC, Qvo32s QP,
                                                                 Qvo32s QS, Qvo32u switching);

/* The three forward operations quantise value c to the level sign(c) * ((|c| * q + f) >> qbits), where q is the
 * multiplier of QP%6 and the position ((13107, 11916, 10082, 9362, 8192, 7282)[QP%6] at the DC position and for all DC
 * forms), qbits is 15 + QP/6 for a residual and 16 + QP/6 for DC, and f is (1 << qbits) / 3 for intra, / 6 for inter
 * blocks (luma DC is always intra).
 *
 * pCount          the number of levels that are not 0, negated if the one at position 0 is among them: a negative
 *                 count says that the block has a DC level
 * pScanPositions  16 entries, indexed by raster position: the position's place in the scan
 * pLast           the largest such place among the levels that are not 0, or 0 without any
 *
 * A level above 2063 stops the work with -13: the levels before it are stored and their number of nonzero ones is in
 * *pCount, not negated; that level, those behind it and *pLast are not written. */

/* Chroma DC.
 *
 * pSrcDst       4 DC values in (read only if `transform` is set), levels out
 * pTransformed  4 values that are quantised: filled with the 2x2 Hadamard transform of pSrcDst if `transform` is set,
 *               given by the caller if not
 *
 * Statuses: -8 a pointer is null; -11 QP outside 0..39, the range of QPC; -13 a level above 2063. */
QVO_API QvoStatus qvoiTransformQuantChromaDC_H264_16s_C1I(Qvo16s* pSrcDst, Qvo16s* pTransformed, Qvo32s QP,
                                                          Qvo8s* pCount, Qvo8u intra, Qvo8u transform);

/* Luma DC of an Intra 16x16 macroblock: as above with 16 values and the 4x4 Hadamard transform, halved (>> 1).
 * Statuses: -8 a pointer is null; -11 QP outside 0..51; -13 a level above 2063. */
QVO_API QvoStatus qvoiTransformQuantLumaDC_H264_16s_C1I(Qvo16s* pSrcDst, Qvo16s* pTransformed, Qvo32s QP,
                                                        Qvo8s* pCount, Qvo8u transform, const Qvo16s* pScanPositions,
                                                        Qvo8u* pLast);

/* A residual: the forward transform of the 16 contiguous differences in pSrcDst, then quantisation in place. After
 * -13 the values from the failing one on are the transform's.
 * Statuses: -8 a pointer is null; -11 QP outside 0..51; -13 a level above 2063. */
QVO_API QvoStatus qvoiTransformQuantResidual_H264_16s_C1I(Qvo16s* pSrcDst, Qvo32s QP, Qvo8s* pCount, Qvo8u intra,
                                                          const Qvo16s* pScanPositions, Qvo8u* pLast);

/* ---- inter prediction ---------------------------------------------------------------------------------------- */

/* Luma at a quarter-sample position (H.264 clause 8.4.2.2.1): the six-tap filter (1, -5, 20, 20, -5, 1) / 32 gives the
 * half samples, the mean of two neighbours the quarter samples.
 *
 * pSrc           the block's top-left integer sample. Where dx is not 0, 2 columns to the left and 3 to the right of
 *                the block are read, where dy is not 0, 2 rows above and 3 below
 * pDst           must not overlap the source
 * dx, dy         position in quarter samples, 0..3, to the right and down
 * width, height  4, 8 or 16 each; 16x4 and 4x16 are refused
 *
 * Statuses: -8 a pointer is null; -14 srcStep < width or dstStep < width; -5 dx or dy outside 0..3; -6 a height or
 * width that is refused. */
QVO_API QvoStatus qvoiInterpolateLuma_H264_8u_C1R(const Qvo8u* pSrc, Qvo32s srcStep, Qvo8u* pDst, Qvo32s dstStep,
                                                  Qvo32s dx, Qvo32s dy, Qvo32s width, Qvo32s height);

/* Chroma at an eighth-sample position, by bilinear weights of four samples (H.264 clause 8.4.2.2.2).
 *
 * pSrc           the block's top-left integer sample; one column to the right of the block and one row below it are
 *                read at every position
 * pDst           must not overlap the source
 * dx, dy         position in eighth samples, 0..7, to the right and down
 * width, height  2, 4 or 8 each; 8x2 and 2x8 are refused
 *
 * Statuses: -8 a pointer is null; -14 srcStep < 8 or dstStep < 8, whatever the width; -5 dx or dy outside 0..7; -6 a
 * height or width that is refused. */
QVO_API QvoStatus qvoiInterpolateChroma_H264_8u_C1R(const Qvo8u* pSrc, Qvo32s srcStep, Qvo8u* pDst, Qvo32s dstStep,
                                                    Qvo32s dx, Qvo32s dy, Qvo32s width, Qvo32s height);

/* Weighted mean of two predictions, in place on the second (H.264 clause 8.4.2.3):
 *
 *   pSrcDst = clip(((pSrc * weight1 + pSrcDst * weight2 + 2^(shift - 1)) >> shift) + offset) to 0..255
 *
 * The shift includes that of the averaging: weights 1 and 1 with shift 1 give the rounded mean, and H.264's explicit
 * weights take shift logWD + 1. With shift 0 there is no rounding term; shifts above 31 count as 31. Weighting a single
 * prediction p is weight2 = 0 with any readable pSrcDst, pSrc being p, and shift logWD.
 *
 * step           bytes from row to row in both predictions
 * width, height  2, 4, 8 or 16 each, in any combination
 *
 * Statuses: -8 a pointer is null; -14 step < width; -5 any other width or height. */
QVO_API QvoStatus qvoiWeightedAverage_H264_8u_C1IR(const Qvo8u* pSrc, Qvo8u* pSrcDst, Qvo32s step, Qvo32s weight1,
                                                   Qvo32s weight2, Qvo8u shift, Qvo32s offset, Qvo32s width,
                                                   Qvo32s height);

/* ---- deblocking ---------------------------------------------------------------------------------------------- */

/* The in-loop filter over the edges of one macroblock, in place, with the decisions and filters of H.264 clause 8.7.2.
 * The caller derives strengths and thresholds and filters the vertical edges (across columns) before the horizontal ones
 * (across rows), macroblock after macroblock.
 *
 * pSrcDst      the macroblock's top-left sample: 16x16 luma or 8x8 chroma. Edges lie at columns or rows 0, 4, 8 and 12
 *              (luma) or 0 and 4 (chroma). Up to 4 (luma) or 2 (chroma) samples before the outer edge are read and
 *              written
 * step         bytes from row to row
 * pAlpha       2 values: for the outer edge (edge 0) and for all inner edges
 * pBeta        2 values likewise
 * pThresholds  tc0, 4 values per edge, edge by edge: entry 4e + k for group k of edge e; 16 values (luma), 8 (chroma)
 * pBS          16 boundary strengths, 4 per luma edge, edge by edge: entry 4e + k applies to lines 4k..4k+3 of luma
 *              edge e. Chroma takes the same array: edge 0 entries 0..3, edge 1 entries 8..11, entry k (or 8 + k) for
 *              lines 2k and 2k+1. 0 leaves the group alone, 4 selects the strong filter, any other value the normal one
 *
 * An edge whose four strengths are 0 is not even read.
 * Statuses: -8 a pointer is null (even if all strengths are 0). Nothing else is checked. */
QVO_API QvoStatus qvoiFilterDeblockingLuma_VerEdge_H264_8u_C1IR(Qvo8u* pSrcDst, Qvo32s step, const Qvo8u* pAlpha,
                                                                const Qvo8u* pBeta, const Qvo8u* pThresholds,
                                                                const Qvo8u* pBS);
QVO_API QvoStatus qvoiFilterDeblockingLuma_HorEdge_H264_8u_C1IR(Qvo8u* pSrcDst, Qvo32s step, const Qvo8u* pAlpha,
                                                                const Qvo8u* pBeta, const Qvo8u* pThresholds,
                                                                const Qvo8u* pBS);
QVO_API QvoStatus qvoiFilterDeblockingChroma_VerEdge_H264_8u_C1IR(Qvo8u* pSrcDst, Qvo32s step, const Qvo8u* pAlpha,
                                                                  const Qvo8u* pBeta, const Qvo8u* pThresholds,
                                                                  const Qvo8u* pBS);

/* The horizontal chroma edges take two shortcuts, which make no difference for the strengths of progressive pictures:
 * on edge 0, entry 0 decides for all 8 columns whether the strong filter is used, whatever the other entries are (0
 * included); if it is not, entries of 4 take the normal filter. On edge 1 the normal filter is always used (in intra
 * macroblocks too, whose inner edges have strength 3). */
QVO_API QvoStatus qvoiFilterDeblockingChroma_HorEdge_H264_8u_C1IR(Qvo8u* pSrcDst, Qvo32s step, const Qvo8u* pAlpha,
                                                                  const Qvo8u* pBeta, const Qvo8u* pThresholds,
                                                                  const Qvo8u* pBS);

/* ---- CAVLC --------------------------------------------------------------------------------------------------- */

/* The two operations split a block's coefficients into the syntax elements of CAVLC (H.264 clauses 7.3.5.3.2 and 9.2).
 * They write no bits: the caller looks up coeff_token, level_prefix, total_zeros and run_before codes and writes them.
 * Coefficients are met in coding order, from the highest scan position down.
 *
 * pTrailingOnes      the number of trailing ones, 0..3: the values of +-1 met before any other nonzero value, zeros not
 *                    counting
 * pTrailingOneSigns  a bit for each of them, 1 for -1; the first one met is the most significant
 * pNumCoefs          the number of nonzero coefficients
 * pTotalZeros        the zeros from the first examined position up to the highest nonzero coefficient; without any
 *                    such, the number of positions examined
 * pLevels            the other nonzero coefficients in coding order; up to 16
 * pRuns              entry k is the number of zeros between nonzero coefficients k and k + 1 in coding order; up to 15,
 *                    one less than there are coefficients
 *
 * Entries of pLevels and pRuns beyond those are not written. */

/* A block of 4x4 coefficients.
 *
 * pCoef  16 coefficients in raster order
 * first  first scan position, 0, or 1 for blocks whose DC is coded separately; larger values are allowed
 * pScan  16 entries: the raster index of each scan position
 * last   last scan position to examine, first..15
 *
 * Statuses: -8 a pointer is null; -11 last > 15 or last < first. */
QVO_API QvoStatus qvoiEncodeCoeffsCAVLC_H264_16s(const Qvo16s* pCoef, Qvo8u first, const Qvo32s* pScan, Qvo8u last,
                                                 Qvo8u* pTrailingOnes, Qvo8u* pTrailingOneSigns, Qvo8u* pNumCoefs,
                                                 Qvo8u* pTotalZeros, Qvo16s* pLevels, Qvo8u* pRuns);

/* The 4 chroma DC coefficients, in the order of their scan.
 * Statuses: -8 a pointer is null. */
QVO_API QvoStatus qvoiEncodeChromaDcCoeffsCAVLC_H264_16s(const Qvo16s* pCoef, Qvo8u* pTrailingOnes,
                                                         Qvo8u* pTrailingOneSigns, Qvo8u* pNumCoefs,
                                                         Qvo8u* pTotalZeros, Qvo16s* pLevels, Qvo8u* pRuns);

#ifdef __cplusplus
}
#endif

#endif
