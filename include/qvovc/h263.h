/* H.263: macroblock headers, frame expansion and deblocking, and the inverse scans of the coefficient decoders. */
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
