/* MPEG-1 and MPEG-2: variable-length code tables, block reconstruction, forward quantisation and block writing,
 * half-pel motion compensation, and the block differences and metrics of encoders. */
#ifndef QVOVC_MPEG2_H
#define QVOVC_MPEG2_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- variable-length code tables ----------------------------------------------------------------------------- */

/* A prefix code is described by a code list, an array of Qvo32s:
 *
 *   word 0            not read
 *   word 1            L, the number of lookup levels, 1 or more
 *   words 2 .. L+1    the index width in bits of level 1, level 2, ... level L, each 1 or more
 *   then, for code length 1, 2, 3, ... 32 in turn: the number N of codes of that length (0 if none) and N entries
 *   a negative number of codes ends the list
 *
 * An entry is {code, value}, or {code, run, level} for run-level tables. `code` holds the code's bits right-aligned,
 * its first bit being bit length-1. The codes must be prefix-free. `value` takes 24 signed bits, `level` 16; of `run`
 * the low 8 bits are kept. A code that is longer than the sum of all widths is left out of the table.
 *
 * A table made from such a list is one block of 32-bit words (16384 for the plain form, 262144 for the run-level
 * form), used read-only by any number of threads:
 *
 *   - Word 0 holds the width w of level 1, the 2^w words behind it are that level's entries. Every further sub-table
 *     is likewise a header word with its width and 2^w entries; the sub-tables lie one behind another in the order in
 *     which the list first needs them. All of them together (2^w + 1 words each) must fit into the block: the
 *     builders do not check that.
 *   - An entry with bit 7 set points at a sub-table: index of its header word * 256 + 128.
 *   - Any other entry is a result: value * 256 + u, or level * 65536 + (run & 255) * 256 + u, where u is the number
 *     of index bits that do not belong to the code. Shifted right by 8 it gives the decoded value.
 *   - An entry that no code reaches holds qvoVlcInvalid * 256 + 1. */
typedef Qvo32s QvoVlcTable;

enum {
    qvoVlcInvalid = 61681,  /* the value that stands for "no such code": hex F0F1, or run 241 of level 240 */
    qvoRunEndOfBlock = 254, /* the run of the end-of-block code */
    qvoRunEscape = 255      /* the run of the escape code */
};

/* Build a table from a code list of two-word entries (65536 bytes of memory) or of three-word entries for run-level
 * codes (1048576 bytes), and store its address in *ppTable. It is released with qvoiVCHuffmanFree_32s.
 *
 * Statuses: -8 a pointer is null; -9 no memory, *ppTable untouched. A malformed list is not reported. */
QVO_API QvoStatus qvoiVCHuffmanInitAlloc_32s(const Qvo32s* pInputTable, QvoVlcTable** ppTable);
QVO_API QvoStatus qvoiVCHuffmanInitAllocRL_32s(const Qvo32s* pInputTable, QvoVlcTable** ppTable);

/* Reads one code from a word stream and stores its value (level * 256 + run, from a run-level table) in *pDst.
 *
 * ppBitStream, pOffset  reading position, moved behind the code
 *
 * Statuses: -8 ppBitStream, the word pointer behind it or pTable is null (pOffset and pDst are not tested); -74 the
 * code is not in the table: *pDst is qvoVlcInvalid and the position is behind all bits that were looked at, which is
 * the sum of the widths of the levels gone through. */
QVO_API QvoStatus qvoiVCHuffmanDecodeOne_1u32s(Qvo32u** ppBitStream, Qvo32s* pOffset, Qvo32s* pDst,
                                               const QvoVlcTable* pTable);

/* Releases a table and sets *ppTable to null. A null table is accepted.
 * Statuses: -8 ppTable is null. */
QVO_API QvoStatus qvoiVCHuffmanFree_32s(QvoVlcTable** ppTable);

/* ---- block reconstruction ------------------------------------------------------------------------------------ */

/* Each of these reads the run-level codes of one 8x8 block from a word stream, inverse-quantises the coefficients and
 * places them through the scan, ready for qvoiDCT8x8Inv_AANTransposed_*.
 *
 * ppBitStream, pOffset  reading position; moved behind the end-of-block code, or behind the code that failed
 * pDCTFirstTable        run-level table for the first code of a non-intra block. It is looked up only where the next
 *                       bit is 0: a 1 and a sign bit stand for run 0, level +1 or -1
 * pDCSizeTable          plain table of the DC sizes (0..31; of other values the low five bits count)
 * pACTable              run-level table for the following codes. Both run-level tables take the sign bit as part of
 *                       the code, so that levels are signed, -128..127; run qvoRunEndOfBlock ends the block, run
 *                       qvoRunEscape announces a 6-bit run and a level of 8 or 16 (MPEG-1) or 12 bits (MPEG-2)
 * pScanMatrix           64 block positions, each 0..63, in scan order. Where the block goes to the transposed inverse
 *                       transform, both the scan and the weights are transposed
 * QP                    quantiser scale: a factor, not the code of MPEG-2's q_scale_type
 * pQPMatrix             64 weights by block position
 * pDCPred               predictor of the DC coefficient, replaced by the DC of this block
 * pDstBlock             64 coefficients, cleared first
 * pDstSize              receives the scan index of the last coefficient placed
 *
 * With W the weight, L the level, "/" dividing toward zero, and no saturation (values keep their low 16 bits):
 *
 *   MPEG-1 non-intra  W*L*2*QP / 16, where the product of the first coefficient is cut to 16 signed bits before the
 *                     division and those of all others are not
 *   MPEG-1 intra      DC = *pDCPred + 8 * difference; others W*L*2*QP / 16
 *   MPEG-2 non-intra  W*QP*(2*L + sign(L)) / 32
 *   MPEG-2 intra      DC = *pDCPred + difference, stored in *pDCPred and, shifted left by shiftDCVal, in the block;
 *                     others W*L*2*QP / 32
 *
 * The MPEG-1 forms leave out two terms of ISO/IEC 11172-2, 2.4.4: the step of even values toward zero, and the sign
 * term of non-intra blocks. The intra DC goes to position 0 whatever the scan says. The MPEG-2 forms end with the
 * mismatch control of ISO/IEC 13818-2, 7.4.4: where the sum of all values placed is even, the lowest bit of the
 * coefficient at block position 63 is toggled.
 *
 * A first non-intra code with a run of 64 or more that is not an escape (end of block, and a code that is not in the
 * table, which reads as run 241) ends the block as an empty one: the status is 0, that run is stored in *pDstSize,
 * and the position is behind the code.
 *
 * Statuses: -8 a pointer is null (the word pointer behind ppBitStream included); -74 a scan index above 63, which an
 * invalid code brings about too (one bit is given back, as its table entry says): the block holds the coefficients so
 * far, a DC is stored in *pDCPred, *pDstSize is untouched and there is no mismatch control. */

/* ISO/IEC 11172-2, 2.4.3.7 and 2.4.4. */
QVO_API QvoStatus qvoiReconstructDCTBlock_MPEG1_32s(Qvo32u** ppBitStream, Qvo32s* pOffset,
                                                    const QvoVlcTable* pDCTFirstTable, const QvoVlcTable* pACTable,
                                                    const Qvo32s* pScanMatrix, Qvo32s QP, const Qvo16s* pQPMatrix,
                                                    Qvo16s* pDstBlock, Qvo32s* pDstSize);

/* An invalid DC size is not reported: it gives back one bit, as its table entry says, and counts as size 0. */
QVO_API QvoStatus qvoiReconstructDCTBlockIntra_MPEG1_32s(Qvo32u** ppBitStream, Qvo32s* pOffset,
                                                         const QvoVlcTable* pDCSizeTable, const QvoVlcTable* pACTable,
                                                         const Qvo32s* pScanMatrix, Qvo32s QP,
                                                         const Qvo16s* pQPMatrix, Qvo16s* pDCPred, Qvo16s* pDstBlock,
                                                         Qvo32s* pDstSize);

/* ISO/IEC 13818-2, 7.2.2 and 7.4. pQPMatrix may be null: all weights are 16 then. A last scan index of 0 is reported
 * as 1. */
QVO_API QvoStatus qvoiReconstructDCTBlock_MPEG2_32s(Qvo32u** ppBitStream, Qvo32s* pOffset,
                                                    const QvoVlcTable* pDCTFirstTable, const QvoVlcTable* pACTable,
                                                    const Qvo32s* pScanMatrix, Qvo16s QP, const Qvo16s* pQPMatrix,
                                                    Qvo16s* pDstBlock, Qvo32s* pDstSize);

/* ISO/IEC 13818-2, 7.2.1, 7.2.2 and 7.4. shiftDCVal is 3 - intra_dc_precision. An invalid DC size is -74 too, with
 * *pDCPred unchanged and the position as qvoiVCHuffmanDecodeOne_1u32s leaves it. */
QVO_API QvoStatus qvoiReconstructDCTBlockIntra_MPEG2_32s(Qvo32u** ppBitStream, Qvo32s* pOffset,
                                                         const QvoVlcTable* pDCSizeTable, const QvoVlcTable* pACTable,
                                                         const Qvo32s* pScanMatrix, Qvo16s QP,
                                                         const Qvo16s* pQPMatrix, Qvo16s* pDCPred, Qvo32s shiftDCVal,
                                                         Qvo16s* pDstBlock, Qvo32s* pDstSize);

/* MPEG-2 inverse quantisation, in place, of a block of 64 levels that was decoded by other means (ISO/IEC 13818-2,
 * 7.4.2 to 7.4.4). pQPMatrix holds 64 weights by block position. With c the level and W its weight:
 *
 *   intra      position 0 stays as it is, the others become c*W*2*QP / 32
 *   non-intra  (2*c + sign(c))*W*QP / 32, or (2*c + sign(c))*QP / 2 where pQPMatrix is null
 *
 * The quotient is cut to 16 signed bits first, so that one beyond that range wraps, and then saturated to
 * -2048..2047. Mismatch control follows as above, over all 64 values.
 * Statuses: -8 pSrcDst or, in the intra form, pQPMatrix is null. */
QVO_API QvoStatus qvoiQuantInvIntra_MPEG2_16s_C1I(Qvo16s* pSrcDst, Qvo32s QP, const Qvo16s* pQPMatrix);
QVO_API QvoStatus qvoiQuantInv_MPEG2_16s_C1I(Qvo16s* pSrcDst, Qvo32s QP, const Qvo16s* pQPMatrix);

/* ---- forward quantisation and block writing ------------------------------------------------------------------ */

/* Quantise a forward-transformed block of 64 coefficients in place and count the non-zero results.
 *
 * QP         quantiser scale, a factor; a negative one flips the signs
 * pQPMatrix  64 reciprocals of the weights (1/W) by block position; null means those of the default matrices of
 *            ISO/IEC 13818-2, 6.3.11, rounded to float: the intra one, or 1/16 everywhere for non-intra blocks
 * pCount     receives the number of non-zero results
 *
 * Each coefficient c becomes (16 * c) * (1/QP) * pQPMatrix[i], computed from left to right with a mantissa of 64 bits
 * (1/QP too), cut to an integer toward zero and limited to -2047..2047. The intra form leaves position 0 as it is and
 * does not count it.
 *
 * Statuses: -8 pSrcDst or pCount is null; qvoStatusDivByZero (-10) QP is 0. */
QVO_API QvoStatus qvoiQuantIntra_MPEG2_16s_C1I(Qvo16s* pSrcDst, Qvo32s QP, const float* pQPMatrix, Qvo32u* pCount);
QVO_API QvoStatus qvoiQuant_MPEG2_16s_C1I(Qvo16s* pSrcDst, Qvo32s QP, const float* pQPMatrix, Qvo32u* pCount);

/* A table for writing run-level codes. It is one block of memory, read-only once built: the end-of-block code, the
 * escape code, and for each run 0..63 the range of levels between its lowest and its highest code and where in the
 * array of codes behind it that range begins. A run-level pair without a code of its own is written as an escape. */
typedef struct QvoRLEncodeTable QvoRLEncodeTable;

/* Builds a table from a code list of three-word entries as qvoiVCHuffmanInitAllocRL_32s takes it (the level widths
 * are not used), and stores its address in *ppTable. It is released with qvoiFreeRLEncodeTable. Of the codes only
 * those are used that the block reconstruction can read back: runs 0..63 with levels -128..127 other than 0, and the
 * codes of the runs qvoRunEndOfBlock and qvoRunEscape, both of which must be there. Of two codes for one pair the
 * later one in the list is used.
 *
 * Statuses: -8 a pointer is null; -5 the list has no end-of-block or no escape code; -9 no memory. *ppTable is
 * untouched unless the status is 0. */
QVO_API QvoStatus qvoiCreateRLEncodeTable(const Qvo32s* pInputTable, QvoRLEncodeTable** ppTable);

/* Releases a table and sets *ppTable to null. A null table is accepted.
 * Statuses: -8 ppTable is null. */
QVO_API QvoStatus qvoiFreeRLEncodeTable(QvoRLEncodeTable** ppTable);

/* Write a quantised block as MPEG-2 run-level codes and an end-of-block code (ISO/IEC 13818-2, 7.2), such that
 * qvoiReconstructDCTBlockIntra_MPEG2_32s and qvoiReconstructDCTBlock_MPEG2_32s read the same levels.
 *
 * ppBitStream, pBitsLeft  word-stream writing position as of qvoiPutBitsLeftMost
 * pSrc                    64 levels by block position, each -2047..2047, which is what an escape can hold
 * pEncodeTable            run-level codes: Table B.14 or, for intra blocks with intra_vlc_format 1, B.15
 * pScanMatrix             64 block positions in scan order
 * count                   number of non-zero levels, as qvoiQuantIntra_MPEG2_16s_C1I or qvoiQuant_MPEG2_16s_C1I
 *                         counts them (without the DC of an intra block). The search for levels ends with the last of
 *                         them
 *
 * Intra blocks begin with the difference between the DC, which stands quantised at position 0 (DC coefficient divided
 * by 8 >> intra_dc_precision), and the prediction:
 *
 * pDCPred      predictor of the DC, replaced by the DC of this block
 * pDCSizeList  code list of two-word entries as qvoiVCHuffmanInitAlloc_32s takes it, with the codes of the DC sizes
 *              (Table B.12 or B.13)
 *
 * A non-intra block whose first coefficient is +1 or -1 at scan index 0 begins with a 1 and the sign bit instead of
 * the code from the table; no other code for a first coefficient may begin with a 1, as is the case in Table B.14. A
 * non-intra block without coefficients has no codes in MPEG-2; it is left out by means of the coded block pattern.
 *
 * Statuses: -8 a pointer is null (the word pointer behind ppBitStream included); -5 with nothing written: a level
 * outside -2047..2047, a DC difference whose size has no code, or a non-intra block without coefficients. */
QVO_API QvoStatus qvoiPutIntraBlock(Qvo32u** ppBitStream, Qvo32u* pBitsLeft, const Qvo16s* pSrc, Qvo16s* pDCPred,
                                    const Qvo32s* pDCSizeList, const QvoRLEncodeTable* pEncodeTable,
                                    const Qvo32s* pScanMatrix, Qvo32u count);
QVO_API QvoStatus qvoiPutNonIntraBlock(Qvo32u** ppBitStream, Qvo32u* pBitsLeft, const Qvo16s* pSrc,
                                       const QvoRLEncodeTable* pEncodeTable, const Qvo32s* pScanMatrix, Qvo32u count);

/* ---- motion compensation ------------------------------------------------------------------------------------- */

/* The half-pel position of a reference block, an argument of every operation that predicts. Where a declaration does
 * not say otherwise only bits 2 and 3 are read, and any other bit is ignored. */
enum { qvoMcFullPel = 0, qvoMcHalfPelVer = 4, qvoMcHalfPelHor = 8, qvoMcHalfPelBoth = 12 };

/* The operations named qvoiMC form the prediction of one block from one reference or, with a B behind the size, from
 * a forward and a backward one, add the residual and write the sum saturated to 0..255 (ISO/IEC 11172-2, 2.4.4.2 and
 * 2.4.4.3; ISO/IEC 13818-2, 7.6.4 to 7.6.8). Sizes are width x height in samples as they lie in memory.
 *
 * pSrcRef...    sample of the reference at the block's top left corner, whole part of the vector applied
 * srcRefStep... distance of its rows in bytes
 * mcType...     its half-pel position
 * pSrcResidual  residual, any 16-bit values; a program without a residual passes zeros (step 0 repeats one row)
 * residualStep  distance of its rows in bytes (not in elements), even
 * pDst          receives the block
 * dstStep       distance of its rows in bytes
 * roundControl  subtracted in every half-pel average, 0 or 1: averages of two and of four samples round halves up with
 *               0 (MPEG-1 and MPEG-2), down with 1. Not checked: any other value enters the 32-bit arithmetic as it is
 *
 * With a, b, c, d the reference sample, its right neighbour, the one below, the one below to the right, and r the
 * rounding control, a reference predicts
 *
 *   qvoMcFullPel      a
 *   qvoMcHalfPelHor   (a + b + 1 - r) >> 1
 *   qvoMcHalfPelVer   (a + c + 1 - r) >> 1
 *   qvoMcHalfPelBoth  (a + b + c + d + 2 - r) >> 2
 *
 * One reference gives p + residual; two give (pF + pB + 2 * residual + 1) >> 1: the mean of the two predictions rounds
 * halves up whatever the rounding control is.
 *
 * The plain forms read one column (half-pel horizontally) and one row (half-pel vertically) beyond the block, no more.
 * The interleaved forms take U and V samples that alternate in each row, so that the right neighbour lies two bytes on
 * and two columns beyond the block are read.
 *
 * Steps are not checked and may be negative. The destination may be the reference block itself, with the same step;
 * other overlaps give unspecified samples.
 *
 * Statuses: -8 a pointer is null. */

/* One reference, plain. */
QVO_API QvoStatus qvoiMC16x16_8u_C1(const Qvo8u* pSrcRef, Qvo32s srcRefStep, const Qvo16s* pSrcResidual,
                                    Qvo32s residualStep, Qvo8u* pDst, Qvo32s dstStep, Qvo32s mcType,
                                    Qvo32s roundControl);
QVO_API QvoStatus qvoiMC16x8_8u_C1(const Qvo8u* pSrcRef, Qvo32s srcRefStep, const Qvo16s* pSrcResidual,
                                   Qvo32s residualStep, Qvo8u* pDst, Qvo32s dstStep, Qvo32s mcType,
                                   Qvo32s roundControl);
QVO_API QvoStatus qvoiMC8x16_8u_C1(const Qvo8u* pSrcRef, Qvo32s srcRefStep, const Qvo16s* pSrcResidual,
                                   Qvo32s residualStep, Qvo8u* pDst, Qvo32s dstStep, Qvo32s mcType,
                                   Qvo32s roundControl);
QVO_API QvoStatus qvoiMC8x8_8u_C1(const Qvo8u* pSrcRef, Qvo32s srcRefStep, const Qvo16s* pSrcResidual,
                                  Qvo32s residualStep, Qvo8u* pDst, Qvo32s dstStep, Qvo32s mcType,
                                  Qvo32s roundControl);
QVO_API QvoStatus qvoiMC8x4_8u_C1(const Qvo8u* pSrcRef, Qvo32s srcRefStep, const Qvo16s* pSrcResidual,
                                  Qvo32s residualStep, Qvo8u* pDst, Qvo32s dstStep, Qvo32s mcType,
                                  Qvo32s roundControl);
QVO_API QvoStatus qvoiMC4x8_8u_C1(const Qvo8u* pSrcRef, Qvo32s srcRefStep, const Qvo16s* pSrcResidual,
                                  Qvo32s residualStep, Qvo8u* pDst, Qvo32s dstStep, Qvo32s mcType,
                                  Qvo32s roundControl);
QVO_API QvoStatus qvoiMC4x4_8u_C1(const Qvo8u* pSrcRef, Qvo32s srcRefStep, const Qvo16s* pSrcResidual,
                                  Qvo32s residualStep, Qvo8u* pDst, Qvo32s dstStep, Qvo32s mcType,
                                  Qvo32s roundControl);
QVO_API QvoStatus qvoiMC4x2_8u_C1(const Qvo8u* pSrcRef, Qvo32s srcRefStep, const Qvo16s* pSrcResidual,
                                  Qvo32s residualStep, Qvo8u* pDst, Qvo32s dstStep, Qvo32s mcType,
                                  Qvo32s roundControl);
QVO_API QvoStatus qvoiMC2x4_8u_C1(const Qvo8u* pSrcRef, Qvo32s srcRefStep, const Qvo16s* pSrcResidual,
                                  Qvo32s residualStep, Qvo8u* pDst, Qvo32s dstStep, Qvo32s mcType,
                                  Qvo32s roundControl);
QVO_API QvoStatus qvoiMC2x2_8u_C1(const Qvo8u* pSrcRef, Qvo32s srcRefStep, const Qvo16s* pSrcResidual,
                                  Qvo32s residualStep, Qvo8u* pDst, Qvo32s dstStep, Qvo32s mcType,
                                  Qvo32s roundControl);

/* One reference, interleaved: two chrominance blocks of 8x8 or of 8x4 samples. 16x4 has no plain form. */
QVO_API QvoStatus qvoiMC16x8UV_8u_C1(const Qvo8u* pSrcRef, Qvo32s srcRefStep, const Qvo16s* pSrcResidual,
                                     Qvo32s residualStep, Qvo8u* pDst, Qvo32s dstStep, Qvo32s mcType,
                                     Qvo32s roundControl);
QVO_API QvoStatus qvoiMC16x4_8u_C1(const Qvo8u* pSrcRef, Qvo32s srcRefStep, const Qvo16s* pSrcResidual,
                                   Qvo32s residualStep, Qvo8u* pDst, Qvo32s dstStep, Qvo32s mcType,
                                   Qvo32s roundControl);

/* Two references, plain. */
QVO_API QvoStatus qvoiMC16x16B_8u_C1(const Qvo8u* pSrcRefF, Qvo32s srcRefStepF, Qvo32s mcTypeF, const Qvo8u* pSrcRefB,
                                     Qvo32s srcRefStepB, Qvo32s mcTypeB, const Qvo16s* pSrcResidual,
                                     Qvo32s residualStep, Qvo8u* pDst, Qvo32s dstStep, Qvo32s roundControl);
QVO_API QvoStatus qvoiMC16x8B_8u_C1(const Qvo8u* pSrcRefF, Qvo32s srcRefStepF, Qvo32s mcTypeF, const Qvo8u* pSrcRefB,
                                    Qvo32s srcRefStepB, Qvo32s mcTypeB, const Qvo16s* pSrcResidual,
                                    Qvo32s residualStep, Qvo8u* pDst, Qvo32s dstStep, Qvo32s roundControl);
QVO_API QvoStatus qvoiMC8x16B_8u_C1(const Qvo8u* pSrcRefF, Qvo32s srcRefStepF, Qvo32s mcTypeF, const Qvo8u* pSrcRefB,
                                    Qvo32s srcRefStepB, Qvo32s mcTypeB, const Qvo16s* pSrcResidual,
                                    Qvo32s residualStep, Qvo8u* pDst, Qvo32s dstStep, Qvo32s roundControl);
QVO_API QvoStatus qvoiMC8x8B_8u_C1(const Qvo8u* pSrcRefF, Qvo32s srcRefStepF, Qvo32s mcTypeF, const Qvo8u* pSrcRefB,
                                   Qvo32s srcRefStepB, Qvo32s mcTypeB, const Qvo16s* pSrcResidual,
                                   Qvo32s residualStep, Qvo8u* pDst, Qvo32s dstStep, Qvo32s roundControl);
QVO_API QvoStatus qvoiMC8x4B_8u_C1(const Qvo8u* pSrcRefF, Qvo32s srcRefStepF, Qvo32s mcTypeF, const Qvo8u* pSrcRefB,
                                   Qvo32s srcRefStepB, Qvo32s mcTypeB, const Qvo16s* pSrcResidual,
                                   Qvo32s residualStep, Qvo8u* pDst, Qvo32s dstStep, Qvo32s roundControl);
QVO_API QvoStatus qvoiMC4x8B_8u_C1(const Qvo8u* pSrcRefF, Qvo32s srcRefStepF, Qvo32s mcTypeF, const Qvo8u* pSrcRefB,
                                   Qvo32s srcRefStepB, Qvo32s mcTypeB, const Qvo16s* pSrcResidual,
                                   Qvo32s residualStep, Qvo8u* pDst, Qvo32s dstStep, Qvo32s roundControl);
QVO_API QvoStatus qvoiMC4x4B_8u_C1(const Qvo8u* pSrcRefF, Qvo32s srcRefStepF, Qvo32s mcTypeF, const Qvo8u* pSrcRefB,
                                   Qvo32s srcRefStepB, Qvo32s mcTypeB, const Qvo16s* pSrcResidual,
                                   Qvo32s residualStep, Qvo8u* pDst, Qvo32s dstStep, Qvo32s roundControl);
QVO_API QvoStatus qvoiMC4x2B_8u_C1(const Qvo8u* pSrcRefF, Qvo32s srcRefStepF, Qvo32s mcTypeF, const Qvo8u* pSrcRefB,
                                   Qvo32s srcRefStepB, Qvo32s mcTypeB, const Qvo16s* pSrcResidual,
                                   Qvo32s residualStep, Qvo8u* pDst, Qvo32s dstStep, Qvo32s roundControl);
QVO_API QvoStatus qvoiMC2x4B_8u_C1(const Qvo8u* pSrcRefF, Qvo32s srcRefStepF, Qvo32s mcTypeF, const Qvo8u* pSrcRefB,
                                   Qvo32s srcRefStepB, Qvo32s mcTypeB, const Qvo16s* pSrcResidual,
                                   Qvo32s residualStep, Qvo8u* pDst, Qvo32s dstStep, Qvo32s roundControl);
QVO_API QvoStatus qvoiMC2x2B_8u_C1(const Qvo8u* pSrcRefF, Qvo32s srcRefStepF, Qvo32s mcTypeF, const Qvo8u* pSrcRefB,
                                   Qvo32s srcRefStepB, Qvo32s mcTypeB, const Qvo16s* pSrcResidual,
                                   Qvo32s residualStep, Qvo8u* pDst, Qvo32s dstStep, Qvo32s roundControl);

/* Two references, interleaved. */
QVO_API QvoStatus qvoiMC16x8BUV_8u_C1(const Qvo8u* pSrcRefF, Qvo32s srcRefStepF, Qvo32s mcTypeF,
                                      const Qvo8u* pSrcRefB, Qvo32s srcRefStepB, Qvo32s mcTypeB,
                                      const Qvo16s* pSrcResidual, Qvo32s residualStep, Qvo8u* pDst, Qvo32s dstStep,
                                      Qvo32s roundControl);
QVO_API QvoStatus qvoiMC16x4B_8u_C1(const Qvo8u* pSrcRefF, Qvo32s srcRefStepF, Qvo32s mcTypeF, const Qvo8u* pSrcRefB,
                                    Qvo32s srcRefStepB, Qvo32s mcTypeB, const Qvo16s* pSrcResidual,
                                    Qvo32s residualStep, Qvo8u* pDst, Qvo32s dstStep, Qvo32s roundControl);

/* Adds a residual of 64 contiguous values, 8 a row, to a block of 8x8 predicted samples and writes the sum saturated
 * to 0..255. The destination may be the prediction itself, with the same step.
 * Statuses: -8 a pointer is null; qvoStatusStep8 (-169) predStep or dstStep is less than 8. */
QVO_API QvoStatus qvoiReconBlock_8x8(const Qvo8u* pPred, Qvo32s predStep, const Qvo16s* pResidual, Qvo8u* pDst,
                                     Qvo32s dstStep);

/* ---- block differences and metrics --------------------------------------------------------------------------- */

/* Half-pel positions (mcType) and predictions are those of motion compensation: the same four averages, the same
 * memory read beyond the block. Steps are the distances of rows in bytes unless a comment says otherwise; they are not
 * checked and may be negative. */

/* Difference of a block from its half-pel prediction: the residual that motion compensation adds back.
 *
 * pSrcCur, srcCurStep    block to be coded
 * pSrcRef..., ...        as in motion compensation, with the rounding control
 * pDstDiff, dstDiffStep  receives source minus prediction; the step is in bytes, even
 * pDstPred, dstPredStep  receives the prediction, 16 bits a sample, unless null; the step is in bytes, even
 *
 * The forms with two references give (2 * source - pF - pB) >> 1, so that the mean of the predictions rounds halves up
 * as in motion compensation.
 * Statuses: -8 pSrcCur, a reference or pDstDiff is null. */
QVO_API QvoStatus qvoiGetDiff16x16_8u16s_C1(const Qvo8u* pSrcCur, Qvo32s srcCurStep, const Qvo8u* pSrcRef,
                                            Qvo32s srcRefStep, Qvo16s* pDstDiff, Qvo32s dstDiffStep, Qvo16s* pDstPred,
                                            Qvo32s dstPredStep, Qvo32s mcType, Qvo32s roundControl);
QVO_API QvoStatus qvoiGetDiff16x8_8u16s_C1(const Qvo8u* pSrcCur, Qvo32s srcCurStep, const Qvo8u* pSrcRef,
                                           Qvo32s srcRefStep, Qvo16s* pDstDiff, Qvo32s dstDiffStep, Qvo16s* pDstPred,
                                           Qvo32s dstPredStep, Qvo32s mcType, Qvo32s roundControl);
QVO_API QvoStatus qvoiGetDiff8x16_8u16s_C1(const Qvo8u* pSrcCur, Qvo32s srcCurStep, const Qvo8u* pSrcRef,
                                           Qvo32s srcRefStep, Qvo16s* pDstDiff, Qvo32s dstDiffStep, Qvo16s* pDstPred,
                                           Qvo32s dstPredStep, Qvo32s mcType, Qvo32s roundControl);
QVO_API QvoStatus qvoiGetDiff8x8_8u16s_C1(const Qvo8u* pSrcCur, Qvo32s srcCurStep, const Qvo8u* pSrcRef,
                                          Qvo32s srcRefStep, Qvo16s* pDstDiff, Qvo32s dstDiffStep, Qvo16s* pDstPred,
                                          Qvo32s dstPredStep, Qvo32s mcType, Qvo32s roundControl);
QVO_API QvoStatus qvoiGetDiff8x4_8u16s_C1(const Qvo8u* pSrcCur, Qvo32s srcCurStep, const Qvo8u* pSrcRef,
                                          Qvo32s srcRefStep, Qvo16s* pDstDiff, Qvo32s dstDiffStep, Qvo16s* pDstPred,
                                          Qvo32s dstPredStep, Qvo32s mcType, Qvo32s roundControl);

QVO_API QvoStatus qvoiGetDiff16x16B_8u16s_C1(const Qvo8u* pSrcCur, Qvo32s srcCurStep, const Qvo8u* pSrcRefF,
                                             Qvo32s srcRefStepF, Qvo32s mcTypeF, const Qvo8u* pSrcRefB,
                                             Qvo32s srcRefStepB, Qvo32s mcTypeB, Qvo16s* pDstDiff, Qvo32s dstDiffStep,
                                             Qvo32s roundControl);
QVO_API QvoStatus qvoiGetDiff16x8B_8u16s_C1(const Qvo8u* pSrcCur, Qvo32s srcCurStep, const Qvo8u* pSrcRefF,
                                            Qvo32s srcRefStepF, Qvo32s mcTypeF, const Qvo8u* pSrcRefB,
                                            Qvo32s srcRefStepB, Qvo32s mcTypeB, Qvo16s* pDstDiff, Qvo32s dstDiffStep,
                                            Qvo32s roundControl);
QVO_API QvoStatus qvoiGetDiff8x16B_8u16s_C1(const Qvo8u* pSrcCur, Qvo32s srcCurStep, const Qvo8u* pSrcRefF,
                                            Qvo32s srcRefStepF, Qvo32s mcTypeF, const Qvo8u* pSrcRefB,
                                            Qvo32s srcRefStepB, Qvo32s mcTypeB, Qvo16s* pDstDiff, Qvo32s dstDiffStep,
                                            Qvo32s roundControl);
QVO_API QvoStatus qvoiGetDiff8x8B_8u16s_C1(const Qvo8u* pSrcCur, Qvo32s srcCurStep, const Qvo8u* pSrcRefF,
                                           Qvo32s srcRefStepF, Qvo32s mcTypeF, const Qvo8u* pSrcRefB,
                                           Qvo32s srcRefStepB, Qvo32s mcTypeB, Qvo16s* pDstDiff, Qvo32s dstDiffStep,
                                           Qvo32s roundControl);
QVO_API QvoStatus qvoiGetDiff8x4B_8u16s_C1(const Qvo8u* pSrcCur, Qvo32s srcCurStep, const Qvo8u* pSrcRefF,
                                           Qvo32s srcRefStepF, Qvo32s mcTypeF, const Qvo8u* pSrcRefB,
                                           Qvo32s srcRefStepB, Qvo32s mcTypeB, Qvo16s* pDstDiff, Qvo32s dstDiffStep,
                                           Qvo32s roundControl);

/* Difference of a block of 4x4 samples from predicted ones. Unlike everywhere else dstDiffStep counts elements.
 * Statuses: -8 a pointer is null. */
QVO_API QvoStatus qvoiGetDiff4x4_8u16s_C1(const Qvo8u* pSrcCur, Qvo32s srcCurStep, const Qvo8u* pSrcPred,
                                          Qvo32s srcPredStep, Qvo16s* pDstDiff, Qvo32s dstDiffStep);

/* Per block of 4x4 samples, in raster order, the sum of source minus prediction: 16 sums of a macroblock, 4 of an 8x8
 * block. pDiff, unless null, receives the differences of all samples in raster order, contiguous rows of 16 or 8.
 * Statuses: -8 pSrc, pPred or pSums is null. */
QVO_API QvoStatus qvoiSumsDiff16x16Blocks4x4_8u16s_C1(const Qvo8u* pSrc, Qvo32s srcStep, const Qvo8u* pPred,
                                                      Qvo32s predStep, Qvo16s* pSums, Qvo16s* pDiff);
QVO_API QvoStatus qvoiSumsDiff8x8Blocks4x4_8u16s_C1(const Qvo8u* pSrc, Qvo32s srcStep, const Qvo8u* pPred,
                                                    Qvo32s predStep, Qvo16s* pSums, Qvo16s* pDiff);

/* Differences of a block of 8x8 samples from 64 contiguous predicted ones, 8 a row, into 64 contiguous values; the SAD
 * form also gives the sum of their magnitudes.
 * Statuses: qvoStatusBadArg (-5, not -8) a pointer is null. */
QVO_API QvoStatus qvoiComputeTextureErrorBlock_8u16s(const Qvo8u* pSrc, Qvo32s srcStep, const Qvo8u* pPred,
                                                     Qvo16s* pDiff);
QVO_API QvoStatus qvoiComputeTextureErrorBlock_SAD_8u16s(const Qvo8u* pSrc, Qvo32s srcStep, const Qvo8u* pPred,
                                                         Qvo16s* pDiff, Qvo32s* pSAD);

/* Sum of absolute differences from the half-pel prediction of one reference; averages round halves up. mcType stands
 * behind the result.
 * Statuses: -8 pSrc or pRef is null. pSAD is not checked and must not be null. */
QVO_API QvoStatus qvoiSAD16x16_8u32s(const Qvo8u* pSrc, Qvo32s srcStep, const Qvo8u* pRef, Qvo32s refStep,
                                     Qvo32s* pSAD, Qvo32s mcType);
QVO_API QvoStatus qvoiSAD8x8_8u32s_C1R(const Qvo8u* pSrc, Qvo32s srcStep, const Qvo8u* pRef, Qvo32s refStep,
                                       Qvo32s* pSAD, Qvo32s mcType);

/* Sum of absolute differences of 4x4 samples from a reference at full-pel position.
 * Statuses: -8 a pointer is null. */
QVO_API QvoStatus qvoiSAD4x4_8u32s(const Qvo8u* pSrc, Qvo32s srcStep, const Qvo8u* pRef, Qvo32s refStep,
                                   Qvo32s* pSAD);

/* Sums of absolute differences of each 8x8 quadrant (4 sums) or each 4x4 block (16 sums) of a macroblock from a
 * reference at full-pel position, in raster order.
 * Statuses: -8 a pointer is null. */
QVO_API QvoStatus qvoiSAD16x16Blocks8x8_8u16u(const Qvo8u* pSrc, Qvo32s srcStep, const Qvo8u* pRef, Qvo32s refStep,
                                              Qvo16u* pSADs);
QVO_API QvoStatus qvoiSAD16x16Blocks4x4_8u16u(const Qvo8u* pSrc, Qvo32s srcStep, const Qvo8u* pRef, Qvo32s refStep,
                                              Qvo16u* pSADs);

/* Sum of squared differences from the half-pel prediction of one reference, or from the mean of two: (pF + pB + 1) >> 1.
 * Averages round halves up. mcType stands before the result.
 * Statuses: -8 a pointer is null. */
QVO_API QvoStatus qvoiSqrDiff16x16_8u32s(const Qvo8u* pSrc, Qvo32s srcStep, const Qvo8u* pRef, Qvo32s refStep,
                                         Qvo32s mcType, Qvo32s* pSqrDiff);
QVO_API QvoStatus qvoiSqrDiff16x16B_8u32s(const Qvo8u* pSrc, Qvo32s srcStep, const Qvo8u* pRefF, Qvo32s refStepF,
                                          Qvo32s mcTypeF, const Qvo8u* pRefB, Qvo32s refStepB, Qvo32s mcTypeB,
                                          Qvo32s* pSqrDiff);

/* 256 times the variance of a macroblock: Q - S * S / 256 with S the sum and Q the sum of the squares of its samples.
 * S * S wraps in 32 signed bits once S exceeds 46340 (a mean above 181), and the division truncates toward zero: flat
 * blocks of 255 or of 200 give 16777216.
 * Statuses: -8 a pointer is null. */
QVO_API QvoStatus qvoiVariance16x16_8u32s(const Qvo8u* pSrc, Qvo32s srcStep, Qvo32s* pVar);

/* Variance Q / 64 - (S / 64)^2 of a block of 8x8 samples, truncated, and the sum S of its samples (not the mean).
 * Statuses: -8 a pointer is null. */
QVO_API QvoStatus qvoiVarMean8x8_8u32s_C1R(const Qvo8u* pSrc, Qvo32s srcStep, Qvo32s* pVar, Qvo32s* pSum);
QVO_API QvoStatus qvoiVarMean8x8_16s32s_C1R(const Qvo16s* pSrc, Qvo32s srcStep, Qvo32s* pVar, Qvo32s* pSum);

/* Variance and mean of the residual of each 8x8 quadrant, in raster order, of a block of 16x16 (4 quadrants) or 16x8
 * samples (2) against the half-pel prediction of one reference; averages round halves up.
 *
 * pSrcSum  sums of the source's samples per quadrant, as from qvoiVarMean8x8_8u32s_C1R
 * pVar     receives (D - m * m) / 64, or 0 unless D exceeds m * m, with D the sum of squared differences and m the mean
 * pMean    receives m, eight times the mean residual: (sum of the source - sum of the prediction) / 8, truncated
 *          toward zero
 *
 * Statuses: -8 a pointer is null. */
QVO_API QvoStatus qvoiVarMeanDiff16x16_8u32s_C1R(const Qvo8u* pSrc, Qvo32s srcStep, const Qvo8u* pRef, Qvo32s refStep,
                                                 const Qvo32s* pSrcSum, Qvo32s* pVar, Qvo32s* pMean, Qvo32s mcType);
QVO_API QvoStatus qvoiVarMeanDiff16x8_8u32s_C1R(const Qvo8u* pSrc, Qvo32s srcStep, const Qvo8u* pRef, Qvo32s refStep,
                                                const Qvo32s* pSrcSum, Qvo32s* pVar, Qvo32s* pMean, Qvo32s mcType);

/* Whether a macroblock holds many edges: *pResult becomes 1 if more than countThreshold of its samples differ by more
 * than diffThreshold from the right neighbour or from the one below, else 0. The samples of the last row and of the
 * last column only serve as neighbours.
 * Statuses: -8 a pointer is null. */
QVO_API QvoStatus qvoiEdgesDetect16x16_8u_C1R(const Qvo8u* pSrc, Qvo32s srcStep, Qvo8u diffThreshold,
                                              Qvo8u countThreshold, Qvo8u* pResult);

/* Sum of the absolute deviations of a macroblock's samples from their mean, (S + 128) >> 8.
 * Statuses: -8 pSrc is null. pMeanAbsDev is not checked and must not be null. */
QVO_API QvoStatus qvoiMeanAbsDev16x16_8u32s_C1R(const Qvo8u* pSrc, Qvo32s srcStep, Qvo32s* pMeanAbsDev);

#ifdef __cplusplus
}
#endif

#endif
