/* H.263: macroblock headers, motion vectors, texture decoding with advanced intra coding and inverse quantisation,
 * prediction, frame expansion and deblocking; forward quantisation and texture encoding. */
#ifndef QVOVC_H263_H
#define QVOVC_H263_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- macroblock headers -------------------------------------------------------------------------------------- */

/* Each operation decodes one code of a macroblock header (ITU-T H.263, clause 5.3) at the byte-stream position and
 * advances it behind the code.
 *
 * ppBitStream, pBitOffset  byte-stream position; the offset is not range-checked
 * the last argument        receives the result
 *
 * Exactly the two bytes from the current one are read, which suffices for every code at any offset.
 *
 * Statuses: -8 a pointer (or *ppBitStream) is null; then the status of an invalid code that the declaration names,
 * with neither the result nor the position written. */

/* The result for the stuffing code of MCBPC. */
enum { qvoMcbpcStuffing = 255 };

/* MCBPC of an I-picture macroblock (H.263 Table 7). The result holds the macroblock type in bits 0..3 (3, or 4 with
 * DQUANT) and the two coded bits of the chrominance blocks in bits 4..5; the stuffing code gives 255.
 * Invalid code (six zeros that do not begin the stuffing code): qvoStatusMcbpcIntra (-109). */
QVO_API QvoStatus qvoiDecodeMCBPCIntra_H263(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo8u* pMCBPC);

/* MCBPC of a P-picture macroblock (H.263 Table 8): type 0..4 in bits 0..3, chrominance bits in bits 4..5; the stuffing
 * code gives 255. The longer codes of type 5 (four vectors with DQUANT) begin with nine zeros and are refused with them:
 * a decoder that needs them reads them itself.
 * Invalid code (nine zeros): qvoStatusMcbpcInter (-110). */
QVO_API QvoStatus qvoiDecodeMCBPCInter_H263(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo8u* pMCBPC);

/* CBPY (H.263 Table 13) in the form for inter macroblocks, 0..15, bit 3 for the first luminance block. For an intra
 * macroblock take the complement, value ^ 15.
 * Invalid code (five zeros): qvoStatusCbpy (-111). */
QVO_API QvoStatus qvoiDecodeCBPY_H263(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo8u* pCBPY);

/* MODB of a PB-frame (H.263 Table 11): 0 for the one-bit code 0, otherwise the two code bits as a number, 2 or 3.
 * Every code is valid. */
QVO_API QvoStatus qvoiDecodeMODB_H263(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo8u* pMODB);

/* DQUANT of the modified quantisation mode (H.263 Annex T.2). pQuant holds the quantiser, 0..31, and receives the new
 * one: after a first bit 1 the old one changed by the table's step for the second bit, after a first bit 0 the five
 * bits that follow, in which case the old one is not looked at. The result is not range-checked; the table keeps 1..31
 * within 1..31. Every code is valid. */
QVO_API QvoStatus qvoiUpdateQuant_MQ_H263_1u32s_I(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo32s* pQuant);

/* ---- motion vectors ------------------------------------------------------------------------------------------ */

/* ITU-T H.263, 5.3.7 and 6.1.1. Vectors are in half-sample units. A macroblock carries four, in the order of its 8x8
 * blocks: 0 top left, 1 top right, 2 bottom left, 3 bottom right; a macroblock with a single vector holds it four times,
 * an intra macroblock and one that is not coded hold zeros.
 *
 * The decoders take a byte-stream position whose offset is not range-checked, and read up to four bytes behind the one
 * that holds the last bit. Statuses common to them: -8 a pointer, or *ppBitStream, is null; while decoding -75 a code
 * that is not in the table. After such a code the position is where it begins, the code of a vertical difference
 * counting for itself, and the vector it belongs to is untouched. */

/* How differences are coded and what they lead to (mvMode). All values but these are taken for qvoMVBaseline.
 *
 *   qvoMVBaseline      Table 14. A sum beyond -32..31 (-16 to 15.5 samples) moves by 64 towards that range. The mirror
 *                      of the code for -32, 0000000000100, which ISO/IEC 14496-2 Table B-12 has, is taken for 32.
 *   qvoMVUnrestricted  Annex D without PLUSPTYPE. Table 14 too. The sum stands, -63..63, unless the predictor is more
 *                      than 32 and the sum more than 63, which loses 64, or the predictor less than -31 and the sum less
 *                      than -63, which gains 64: the vector then lies on the predictor's side of zero.
 *   qvoMVReversible    Annex D with PLUSPTYPE: the reversible codes of Table D.3, differences of -4095..4095. The sum
 *                      stands in 16 bits; it is the encoder that keeps to the range of the picture's size (Tables D.1
 *                      and D.2) or, with UUI, to the picture and 15 samples around it. Where both differences are 1 the
 *                      bit that follows them, which is there to prevent a start code, is passed over. */
enum { qvoMVBaseline = 0, qvoMVUnrestricted = 1, qvoMVReversible = 2 };

/* Decodes the differences of one vector, horizontal first, and adds them to its predictor.
 *
 * pSrcDstMV  holds the predictor and receives the vector
 * mvMode     qvoMVBaseline, qvoMVUnrestricted or qvoMVReversible
 *
 * Statuses: -8; -75. */
QVO_API QvoStatus qvoiDecodeMVD_H263(Qvo8u** ppBitStream, Qvo32s* pBitOffset, QvoMotionVector* pSrcDstMV,
                                     Qvo32s mvMode);

/* Predicts the vector of one block: the median of three candidates (Figures 12 and F.1), component by component.
 *
 *   block 0   left macroblock's block 1   above macroblock's block 2   above-right macroblock's block 2
 *   block 1   block 0                     above macroblock's block 3   above-right macroblock's block 2
 *   block 2   left macroblock's block 3   block 0                      block 1
 *   block 3   block 2                     block 0                      block 1
 *
 * pSrcMVCurMB         four vectors of this macroblock, those of the blocks before blockIndex decoded
 * pSrcMVLeftMB        four vectors, or null where there is none: the candidate is zero
 * pSrcMVUpperMB       four vectors, or null where there is none: both candidates of the row above then take the first
 *                     one's value
 * pSrcMVUpperRightMB  four vectors, or null where there is none: the candidate is zero
 *                     There is none outside the picture, nor beyond the header of a group of blocks or of a slice
 * pDstMVPred          receives the predictor
 * blockIndex          0..3, of which the low two bits count; 0 also for a macroblock with a single vector
 *
 * Statuses: -8 pSrcMVCurMB or pDstMVPred is null. */
QVO_API QvoStatus qvoiFindMVpred_H263(const QvoMotionVector* pSrcMVCurMB, const QvoMotionVector* pSrcMVLeftMB,
                                      const QvoMotionVector* pSrcMVUpperMB, const QvoMotionVector* pSrcMVUpperRightMB,
                                      QvoMotionVector* pDstMVPred, Qvo32s blockIndex);

/* Decodes the vectors of a macroblock with those predictors.
 *
 * pSrcMVLeftMB, pSrcMVUpperMB, pSrcMVUpperRightMB
 *              the neighbours, four vectors each or null as above
 * pDstMVCurMB  receives four vectors
 * mvMode       as above
 * mbType       macroblock type: 2 and 5 carry four vectors, any other value stands for a single one, which all four
 *              blocks receive
 *
 * After an invalid code the vectors of the blocks before stay decoded and nothing is copied.
 * Statuses: -8 (the neighbours may be null); -75. */
QVO_API QvoStatus qvoiDecodeMV_H263(Qvo8u** ppBitStream, Qvo32s* pBitOffset, const QvoMotionVector* pSrcMVLeftMB,
                                    const QvoMotionVector* pSrcMVUpperMB, const QvoMotionVector* pSrcMVUpperRightMB,
                                    QvoMotionVector* pDstMVCurMB, Qvo32s mvMode, Qvo32s mbType);

/* ---- texture decoding ---------------------------------------------------------------------------------------- */

/* ITU-T H.263, 5.4 and 6.2: the coefficients of one 8x8 block, from the freest way to the fastest:
 *
 *   qvoiDecodeVLC_*        the quantised levels in the order of the scan, with their number: a compact list for
 *                          qvoiQuantInv*_Compact_* and qvoiZigzagInvClassical_Compact_16s
 *   qvoiDecodeVLCZigzag_*  the quantised levels in raster order
 *   qvoiDecodeCoef_*       the coefficients in raster order, ready for the inverse DCT
 *   qvoiDecodeBlockCoef_*  from the bit stream to residual or pixels in one call
 *
 * Inter blocks and the AC coefficients of intra blocks are coded alike (Table 16), and scanned in the classical zigzag;
 * an intra block has INTRADC in front, eight bits of fixed length. Blocks of advanced intra coding are another matter:
 * see below. Every decoder but those of INTRADC alone reads at least one code of a coefficient.
 *
 * ppBitStream, pBitOffset  byte-stream position; the offset is not range-checked. Up to four bytes behind the one that
 *                          holds the block's last bit must be readable.
 * QP                       quantiser, 1..31. With Annex T that of chrominance is its own (Table T.2).
 * modQuant                 not 0: the stream uses modified quantisation, where the escape's level -128 announces one of
 *                          eleven bits, -1024..1023 (Annex T.4). 0: a level of -128 is invalid.
 *
 * Statuses while decoding, which all return besides those they name:
 *
 *   -73  INTRADC is 0 or 128 (intra forms of Table 16 only)
 *   -74  no code of the table; an escape's level is 0, or -128 without modQuant
 *   -72  a run past the end of the block
 *
 * After one of them the position is where the failing code begins (for an escape: where the escape does). Levels and
 * coefficients decoded before it stay in the output, the others are 0; residual and pixels are untouched. */

/* INTRADC (Table 15): the level, 1..254 without 128, or 128 for the code 255. The coefficient is eight times the level,
 * and a block with no other is flat, with the level for its pixels.
 *
 * pDC  receives the level; untouched on error. Two bytes are read.
 *
 * Statuses: -8; -73. */
QVO_API QvoStatus qvoiDecodeVLC_IntraDC_H263_1u16s(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo16s* pDC);

/* The quantised levels of a block in the order of the scan, INTRADC's level as the first of an intra block.
 *
 * pDst  64 levels, all written
 * pLen  receives the number of scan positions used, 1..64; on error the number of those decoded
 *
 * Statuses: -8; while decoding -74, -72, the intra form also -73. */
QVO_API QvoStatus qvoiDecodeVLC_Intra_H263_1u16s(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo16s* pDst, Qvo32s* pLen,
                                                 Qvo32s modQuant);
QVO_API QvoStatus qvoiDecodeVLC_Inter_H263_1u16s(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo16s* pDst, Qvo32s* pLen,
                                                 Qvo32s modQuant);

/* The same in raster order.
 * Statuses: -8; while decoding -74, -72, the intra form also -73. */
QVO_API QvoStatus qvoiDecodeVLCZigzag_Intra_H263_1u16s(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo16s* pDst,
                                                       Qvo32s modQuant);
QVO_API QvoStatus qvoiDecodeVLCZigzag_Inter_H263_1u16s(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo16s* pDst,
                                                       Qvo32s modQuant);

/* The coefficients of a block in raster order: the levels, quantised inversely as by qvoiQuantInvIntra_H263_16s_I and
 * qvoiQuantInvInter_H263_16s_I.
 *
 * pDst  64 coefficients, all written
 *
 * Statuses: -8; -76 QP is not 1..31; while decoding -74, -72, the intra form also -73. */
QVO_API QvoStatus qvoiDecodeCoef_Intra_H263_1u16s(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo16s* pDst, Qvo32s QP,
                                                  Qvo32s modQuant);
QVO_API QvoStatus qvoiDecodeCoef_Inter_H263_1u16s(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo16s* pDst, Qvo32s QP,
                                                  Qvo32s modQuant);

/* A coded inter block, from the bit stream to the residual.
 *
 * pDst  64 samples in raster order, not saturated
 *
 * The transform is the cheapest one that covers the coefficients, chosen as by qvoiDecodeBlockCoef_Inter_MPEG4_1u16s
 * without a matrix, whose results these are for the same coefficients: with the last one at scan position 0 a flat
 * block of (coefficient + 4) >> 3; below position 3 qvoiDCT8x8Inv_2x2_16s_C1I; below 10, or below 14 with raster
 * coefficient 32 zero, or below 19 with 4, 5, 12 and 32 zero, qvoiDCT8x8Inv_4x4_16s_C1I; otherwise
 * qvoiDCT8x8Inv_16s_C1I.
 *
 * Statuses: -8; -76 QP is not 1..31; while decoding -74, -72. */
QVO_API QvoStatus qvoiDecodeBlockCoef_Inter_H263_1u16s(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo16s* pDst,
                                                       Qvo32s QP, Qvo32s modQuant);

/* An intra block, from the bit stream to the pixels: with AC coefficients, through qvoiDCT8x8Inv_16s8u_C1R, and with
 * INTRADC alone.
 *
 * pDst     8x8 pixels
 * dstStep  bytes from row to row
 *
 * Statuses: -8; -82 dstStep < 8; -76 QP is not 1..31; while decoding -73, -74, -72.
 * Statuses of IntraDCOnly: -8; -82; while decoding -73. */
QVO_API QvoStatus qvoiDecodeBlockCoef_Intra_H263_1u8u(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo8u* pDst,
                                                      Qvo32s dstStep, Qvo32s QP, Qvo32s modQuant);
QVO_API QvoStatus qvoiDecodeBlockCoef_IntraDCOnly_H263_1u8u(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo8u* pDst,
                                                            Qvo32s dstStep);

/* ---- advanced intra coding ----------------------------------------------------------------------------------- */

/* ITU-T H.263 Annex I. A block is predicted from the coefficients of a neighbour; what is coded, DC and AC alike with
 * codes of their own (Table I.2), are the differences. INTRA_MODE of the macroblock says from where, and with it which
 * scan the block has. */
enum {
    qvoAICPredictDC = 1,    /* INTRA_MODE 0: the DC coefficient, from both neighbours; classical zigzag */
    qvoAICPredictAbove = 2, /* INTRA_MODE 10: DC and first row, from above; alternate-horizontal scan */
    qvoAICPredictLeft = 3   /* INTRA_MODE 11: DC and first column, from the left; alternate-vertical scan */
};

/* The quantised differences of a block in raster order, all 64 written; levels of the escape and errors are as above.
 *
 * predDir  qvoAICPredictDC, qvoAICPredictAbove or qvoAICPredictLeft
 *
 * Statuses: -8; -83 predDir is none of the three; while decoding -74, -72. */
QVO_API QvoStatus qvoiDecodeVLCZigzag_IntraAIC_H263_1u16s(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo16s* pDst,
                                                          Qvo32s predDir, Qvo32s modQuant);

/* Turns the quantised differences of a block into its coefficients, and keeps those that later blocks need.
 *
 * pSrcDst      64 levels in raster order; receives the coefficients
 * pCoefBufRow  eight entries for the column of blocks: the DC coefficient of the block above (negative: none, since it
 *              lies outside the picture or beyond the header of a group of blocks, or is not intra), then the rest of
 *              its first row. Receives this block's.
 * pCoefBufCol  eight entries for the row of blocks: the DC coefficient of the block to the left (negative: none), then
 *              the rest of its first column. Receives this block's.
 * QP           1..31
 * predDir      qvoAICPredictDC, qvoAICPredictAbove or qvoAICPredictLeft
 *
 * A coefficient is 2 * QP * level plus its predictor, clipped to -2048..2047. The predictor of DC is the neighbour's DC
 * coefficient; with qvoAICPredictDC that of the one that exists, or half the sum of both, rounded down; 1024 where there
 * is none. The first row (column) has that of the block above (to the left), if it exists. All others have 0. In the
 * end the DC coefficient is raised to 0 at least, and made odd if it is even and was not negative.
 *
 * Statuses: -8; -76 QP; -83 predDir. */
QVO_API QvoStatus qvoiPredictReconCoefIntraAIC_H263_16s(Qvo16s* pSrcDst, Qvo16s* pCoefBufRow, Qvo16s* pCoefBufCol,
                                                        Qvo32s QP, Qvo32s predDir);

/* Both, from the bit stream to the pixels, through qvoiDCT8x8Inv_16s8u_C1R.
 *
 * pDst     8x8 pixels, untouched on error, as are the buffers
 * dstStep  bytes from row to row
 * coded    0: the block is not in the stream, no bits are read and all differences are 0
 *
 * Statuses: -8; -82 dstStep < 8; -76 QP; -83 predDir; while decoding -74, -72. */
QVO_API QvoStatus qvoiDecodeBlockCoef_IntraAIC_H263_1u8u(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo8u* pDst,
                                                         Qvo32s dstStep, Qvo16s* pCoefBufRow, Qvo16s* pCoefBufCol,
                                                         Qvo32s QP, Qvo32s predDir, Qvo32s coded, Qvo32s modQuant);

/* ---- inverse quantisation ------------------------------------------------------------------------------------ */

/* ITU-T H.263, 6.2.1 and 6.2.2, in place: 2 * QP * |level| + QP, less 1 for even QP, with the level's sign; 0 for level
 * 0; clipped to -2048..2047. The first coefficient of an intra block is eight times its level instead.
 *
 * pSrcDst  64 levels in raster order; in the Compact forms the first len of a scan
 * len      1..64
 * QP       1..31
 *
 * Statuses: -8 pSrcDst is null; in the Compact forms -6 len is not 1..64; -76 QP is not 1..31. */
QVO_API QvoStatus qvoiQuantInvIntra_H263_16s_I(Qvo16s* pSrcDst, Qvo32s QP);
QVO_API QvoStatus qvoiQuantInvInter_H263_16s_I(Qvo16s* pSrcDst, Qvo32s QP);
QVO_API QvoStatus qvoiQuantInvIntra_Compact_H263_16s_I(Qvo16s* pSrcDst, Qvo32s len, Qvo32s QP);
QVO_API QvoStatus qvoiQuantInvInter_Compact_H263_16s_I(Qvo16s* pSrcDst, Qvo32s len, Qvo32s QP);

/* ---- prediction ---------------------------------------------------------------------------------------------- */

/* Vectors are in half-sample units: v >> 1 (rounding down) is the integer part, v & 1 says whether the position is half.
 * Steps are in bytes. One column (row) beyond the block is read where the position is half in x (y), and only there.
 * Reference and destination must not overlap, except as said. */

/* The half-sample prediction of an 8x8 block and of a 16x16 macroblock (6.1.2): averages of two or four samples.
 *
 * pSrc          reference plane at the position of the block; the vector leads from there
 * pDst          receives the prediction
 * pMV           vector
 * roundingType  RTYPE of the picture header: 0 rounds halves up, 1 (or any other value) down
 *
 * Statuses of CopyBlock: -8; -82 srcStep or dstStep < 8.
 * Statuses of CopyMB: -8; -81 srcStep or dstStep < 16. */
QVO_API QvoStatus qvoiCopyBlockHalfpel_H263_8u(const Qvo8u* pSrc, Qvo32s srcStep, Qvo8u* pDst, Qvo32s dstStep,
                                               const QvoMotionVector* pMV, Qvo32s roundingType);
QVO_API QvoStatus qvoiCopyMBHalfpel_H263_8u(const Qvo8u* pSrc, Qvo32s srcStep, Qvo8u* pDst, Qvo32s dstStep,
                                            const QvoMotionVector* pMV, Qvo32s roundingType);

/* The overlapped prediction of an 8x8 luminance block (Annex F.3): (q * H0 + r * H1 + s * H2 + 4) >> 3 with the weights
 * of Figures F.2 to F.4, where q is the prediction by the block's own vector, r that by the vector of the block above
 * (upper four rows) or below, s that by the vector of the block to the left (left four columns) or right.
 *
 * pMVCur                       the block's vector
 * pMVLeft, pMVRight, pMVUpper, pMVLower
 *                              the vectors of the four blocks around it; zero for one that is not coded, the block's own
 *                              for one that is intra or outside the picture, and in place of that below if it belongs to
 *                              another macroblock
 * roundingType                 as above, for all five predictions
 *
 * Statuses: -8; -82 srcStep or dstStep < 8. */
QVO_API QvoStatus qvoiOBMCHalfpel_H263_8u(const Qvo8u* pSrc, Qvo32s srcStep, Qvo8u* pDst, Qvo32s dstStep,
                                          const QvoMotionVector* pMVCur, const QvoMotionVector* pMVLeft,
                                          const QvoMotionVector* pMVRight, const QvoMotionVector* pMVUpper,
                                          const QvoMotionVector* pMVLower, Qvo32s roundingType);

/* Predictions at an approximate position, for previews and for the rough part of a motion search: the averages drop what
 * the standard rounds, (a + b) >> 1 at half positions along one axis and (a + b + c + d) >> 2 along both, which shifts
 * them by up to half a grey level. Not for reconstruction.
 *
 * Statuses of CopyBlock: -8; -82 srcStep or dstStep < 8.
 * Statuses of CopyMB: -8; -82 srcStep or dstStep < 16. */
QVO_API QvoStatus qvoiCopyBlockApprox_H263_8u(const Qvo8u* pSrc, Qvo32s srcStep, Qvo8u* pDst, Qvo32s dstStep,
                                              const QvoMotionVector* pMV);
QVO_API QvoStatus qvoiCopyMBApprox_H263_8u(const Qvo8u* pSrc, Qvo32s srcStep, Qvo8u* pDst, Qvo32s dstStep,
                                           const QvoMotionVector* pMV);

/* Copies a macroblock, 16x16 luminance and twice 8x8 chrominance samples: one that is not coded.
 *
 * srcStepY, srcStepC, dstStepY, dstStepC  bytes between rows of luminance and of both chrominance planes
 *
 * Statuses: -8; -81 srcStepY < 16; -82 srcStepC < 8; -81 dstStepY < 16; -82 dstStepC < 8. */
QVO_API QvoStatus qvoiCopyMB_H263_8u_P3R(const Qvo8u* pSrcY, const Qvo8u* pSrcCb, const Qvo8u* pSrcCr,
                                         Qvo32s srcStepY, Qvo32s srcStepC, Qvo8u* pDstY, Qvo8u* pDstCb, Qvo8u* pDstCr,
                                         Qvo32s dstStepY, Qvo32s dstStepC);

/* Reconstructs a macroblock: its prediction plus the residuals, clipped to 0..255.
 *
 * pSrcY, pSrcCb, pSrcCr  the prediction. It may be the destination itself, plane by plane; blocks without residual are
 *                        not touched then
 * pResidual              six times 64 residuals: four luminance blocks, Cb, Cr
 * cbp                    which of them count: bit 5 for the first ... bit 0 for Cr. Others are not read
 *
 * Statuses: -8; -81 srcStepY < 16; -82 srcStepC < 8; -81 dstStepY < 16; -82 dstStepC < 8. */
QVO_API QvoStatus qvoiReconMB_H263_8u_P3R(const Qvo8u* pSrcY, const Qvo8u* pSrcCb, const Qvo8u* pSrcCr,
                                          Qvo32s srcStepY, Qvo32s srcStepC, const Qvo16s* pResidual, Qvo32s cbp,
                                          Qvo8u* pDstY, Qvo8u* pDstCb, Qvo8u* pDstCr, Qvo32s dstStepY,
                                          Qvo32s dstStepC);

/* ---- frame expansion and deblocking -------------------------------------------------------------------------- */

/* Fills the border around a picture with its edge samples, so that vectors may point outside (H.263 Annex D.1).
 *
 * pFrame       top-left corner of the whole buffer, border included; the picture's first sample lies `border` rows
 *              down and `border` samples right of it
 * frameWidth, frameHeight  size of the picture
 * border       width of the border on all four sides
 * step         bytes between rows
 *
 * Exactly (frameWidth + 2*border) x (frameHeight + 2*border) samples are used.
 * Statuses: -8 pFrame is null; qvoStatusFrameWidth (-80) frameWidth < 8; qvoStatusFrameRows (-79) frameHeight < 1;
 * qvoStatusBorderWidth (-78) border < 8; qvoStatusBlockStep (-82) step < 8; qvoStatusFrameHeight (-77)
 * step < frameWidth + 2*border. */
QVO_API QvoStatus qvoiExpandFrame_H263_8u(Qvo8u* pFrame, Qvo32s frameWidth, Qvo32s frameHeight, Qvo32s border,
                                          Qvo32s step);

/* Filters eight samples' length of a block edge in place (H.263 Annex J.3).
 *
 * pSrcDst  HorEdge: the first of eight samples in the row just below the edge; two rows above and below are used.
 *          VerEdge: the first of eight samples in the column just right of the edge; two columns on either side are
 *          used
 * step     bytes between rows
 * QP       quantiser, 1..31, which chooses the strength S (_h263Deblock_QPStrength)
 *
 * With samples A, B | C, D across the edge and "/" dividing toward zero: d = (A - 4B + 4C - D) / 8; d1 has the sign
 * of d and the magnitude |d| up to S, falling from there to 0 at 2S; d2 = (A - D) / 4, limited to |d1| / 2. B + d1
 * and C - d1, saturated to 0..255, replace B and C, A - d2 and D + d2 replace A and D.
 *
 * Statuses: -8 pSrcDst is null; qvoStatusBlockStep (-82) step < 8; qvoStatusQpRange (-76) QP outside 1..31. */
QVO_API QvoStatus qvoiFilterDeblocking_HorEdge_H263_8u_I(Qvo8u* pSrcDst, Qvo32s step, Qvo32s QP);
QVO_API QvoStatus qvoiFilterDeblocking_VerEdge_H263_8u_I(Qvo8u* pSrcDst, Qvo32s step, Qvo32s QP);

/* ---- inverse scans ------------------------------------------------------------------------------------------- */

/* From scan order to raster order: pDst[scan[i]] = pSrc[i], by the classical zigzag, the alternate-horizontal
 * (0, 1, 2, 3, 8, 9, 16, 17, ...) or the alternate-vertical scan (0, 8, 16, 24, 1, 9, 2, 10, ...) of ITU-T H.263
 * figure 14 and annex I. The Compact forms move the first len elements and leave the rest of pDst alone: clear it
 * beforehand. The other forms move all 64. Source and destination must not overlap.
 *
 * Statuses: -8 a pointer is null; qvoStatusScanOverrun (-72) len is not 1..64. */
QVO_API QvoStatus qvoiZigzagInvClassical_Compact_16s(const Qvo16s* pSrc, Qvo32s len, Qvo16s* pDst);
QVO_API QvoStatus qvoiZigzagInvHorizontal_Compact_16s(const Qvo16s* pSrc, Qvo32s len, Qvo16s* pDst);
QVO_API QvoStatus qvoiZigzagInvVertical_Compact_16s(const Qvo16s* pSrc, Qvo32s len, Qvo16s* pDst);
QVO_API QvoStatus qvoiZigzagInv_Horizontal_16s(const Qvo16s* pSrc, Qvo16s* pDst);
QVO_API QvoStatus qvoiZigzagInv_Vertical_16s(const Qvo16s* pSrc, Qvo16s* pDst);

/* ---- forward quantisation ------------------------------------------------------------------------------------ */

/* Quantise a forward-transformed block in place (ITU-T H.263 leaves the rule to the encoder): products computed from
 * left to right with a mantissa of 64 bits, cut to integers and limited to -2047..2047.
 *
 *   intra  c * (0.5 / QP)
 *   inter  c * (0.5 / QP), less 0.25 toward zero: a wider zone around zero gives 0
 *
 * For QP up to 31 these are the integers |c| / (2 QP) and (|c| - QP / 2) / (2 QP), truncated, with the sign of c; some
 * larger quantisers make whole quotients one smaller.
 *
 * pSrcDst  64 coefficients in raster order, which become levels; the intra form leaves the DC coefficient alone
 * QP       1 or more
 * pLast    receives the highest raster index, not scan position, of a level other than 0, -1 if there is none; the DC
 *          coefficient of the intra form does not count
 *
 * Statuses: -8 a pointer is null; qvoStatusQpRange (-76) QP < 1. */
QVO_API QvoStatus qvoiQuantIntra_H263_C1I(Qvo16s* pSrcDst, Qvo32s QP, Qvo32s* pLast);
QVO_API QvoStatus qvoiQuant_H263_C1I(Qvo16s* pSrcDst, Qvo32s QP, Qvo32s* pLast);

/* ---- texture encoding ---------------------------------------------------------------------------------------- */

/* Write a block of a baseline H.263 picture (ITU-T H.263, 5.4) at the byte-stream position and advance it. The bits of
 * the current byte before the position are kept; the bits behind the last code in the last byte become 0, and no byte
 * beyond it is touched.
 *
 * Statuses: -8 a pointer (or *ppBitStream) is null; qvoStatusBitOffset (-105) the bit offset is not 0..7. */

/* INTRADC: the low 8 bits of the quantised DC coefficient, except that 128 is written as 255. 0 is not checked for,
 * though the standard has no code for it. */
QVO_API QvoStatus qvoiEncode_IntraDCVLC_H263_16s1u(Qvo16s intraDC, Qvo8u** ppBitStream, Qvo32s* pBitOffset);

/* TCOEF: the levels of a block in classical zigzag order (Table 16). An event without a code is written as an escape of
 * 22 bits with the low 8 bits of the level: levels must lie in -127..127. Nothing is written for a block without levels.
 *
 * pBlock     64 levels in raster order
 * intraFlag  not 0: the first position is 1, the DC coefficient being coded apart */
QVO_API QvoStatus qvoiEncode_ACVLC_H263_16s1u(const Qvo16s* pBlock, Qvo8u** ppBitStream, Qvo32s* pBitOffset,
                                              Qvo32s intraFlag);

#ifdef __cplusplus
}
#endif

#endif
