/* DV at 25 Mbit/s: decoding of compressed video segments and inverse quantisation (IEC 61834-2; SMPTE 314M, clause 5).
 * The inverse 2-4-8 transform is in transform.h. */
#ifndef QVOVC_DV_H
#define QVOVC_DV_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- code table ---------------------------------------------------------------------------------------------- */

/* The variable-length codes of the AC coefficients (SMPTE 314M, 5.4) in the form in which the segment decoders look
 * them up, about 12 kilobytes. What is in it is the library's own business. Once built it is only read, by any number
 * of threads. */
typedef struct QvoDVHuffmanTable QvoDVHuffmanTable;

/* Builds the table in memory from qvosMalloc_8u and stores its address in *ppTable. It is released with
 * qvoiHuffmanFree_DV_32u.
 * Statuses: -8 ppTable is null; -9 no memory, *ppTable untouched. */
QVO_API QvoStatus qvoiHuffmanInitAlloc_DV_32u(QvoDVHuffmanTable** ppTable);

/* Releases a table and sets *ppTable to null. A null table is accepted.
 * Statuses: -8 ppTable is null. */
QVO_API QvoStatus qvoiHuffmanFree_DV_32u(QvoDVHuffmanTable** ppTable);

/* ---- video segments ------------------------------------------------------------------------------------------ */

/* A video segment is five compressed macroblocks of 80 bytes each, five DIF blocks that follow one another
 * (SMPTE 314M, 4.7 and 5.5). In each of them three bytes of identification, which are not looked at, come first, then
 * a byte with the error status and the quantiser, then six blocks: Y0 to Y3 of 112 bits each, C_R and C_B of 80. A
 * block is nine bits of DC coefficient, the DCT mode, two bits of class and its AC codes. Codes that have no room in
 * the block go to what the others of its macroblock leave free, and beyond that to what the macroblocks of the segment
 * leave free. */
enum { qvoDVSegmentBytes = 400, qvoDVSegmentBlocks = 30, qvoDVMacroblockBytes = 80, qvoDVMacroblockBlocks = 6 };

/* The DCT mode of a block. */
enum { qvoDVDct8x8 = 0, qvoDVDct2x4x8 = 1 };

/* What became of a block. Only that of a whole block is what the encoder wrote. */
enum {
    qvoDVBlockWhole = 0,  /* its codes were read to the end-of-block code */
    qvoDVBlockCut = 1,    /* the bits ended before; the coefficients up to there stand in the block */
    qvoDVBlockOverrun = 2 /* a run led beyond the last coefficient; what stands in the block is doubtful */
};

/* What a segment says of a block besides its coefficients. */
typedef struct {
    Qvo8u dctMode;     /* qvoDVDct8x8 or qvoDVDct2x4x8 */
    Qvo8u classNumber; /* 0..3 */
    Qvo8u quantiser;   /* QNO of its macroblock, 0..15 */
    Qvo8u errorStatus; /* STA of its macroblock, 0..15: 0 without error; 7 and 15 mean that the coefficients
                          are not those of the picture (SMPTE 314M, 4.7.2) */
    Qvo8u state;       /* qvoDVBlockWhole, qvoDVBlockCut or qvoDVBlockOverrun */
    Qvo8u count;       /* how many leading scan positions may hold non-zero coefficients, 1..64; 1: none but the DC */
} QvoDVBlock;

/* Both decode one segment in the three passes in which its codes are distributed: each block within its own bits, then
 * the unfinished blocks of each macroblock in what it has left, then those of the segment in what is left of that.
 *
 * pSrc     400 bytes; nothing beyond them is read, whatever they hold
 * pDst     30 blocks of 64 coefficients in raster order, those of each macroblock one after another: Y0, Y1, Y2, Y3,
 *          C_R, C_B. In blocks of the 2-4-8 mode the coefficients of the sums fill rows 0..3 and those of the
 *          differences rows 4..7, as qvoiDCT2x4x8Inv_16s_C1I takes them
 * pBlocks  30 descriptions, in the same order
 * pTable   from qvoiHuffmanInitAlloc_DV_32u
 *
 * Every code is valid, so that damage shows only where a block does not end. After an overrun nobody knows which bits
 * are left over and for whom: what depends on bits that the block that overran, or one behind it, may have left or
 * taken is cut there. All other blocks are decoded, and the status is 0 all the same.
 *
 * qvoiDecodeSegment_DV_8u16s gives what the codes say: DC coefficients of -256..255, levels of -255..255. With
 * qvoiDecodeSegmentQuantInv_DV_8u16s each block is what qvoiQuantInvWeight_DV_16s_C1I makes of that, ready for the
 * inverse transform, at a cost for the coded coefficients only.
 *
 * Statuses: -8 a pointer is null. */
QVO_API QvoStatus qvoiDecodeSegment_DV_8u16s(const Qvo8u* pSrc, Qvo16s* pDst, QvoDVBlock* pBlocks,
                                             const QvoDVHuffmanTable* pTable);
QVO_API QvoStatus qvoiDecodeSegmentQuantInv_DV_8u16s(const Qvo8u* pSrc, Qvo16s* pDst, QvoDVBlock* pBlocks,
                                                     const QvoDVHuffmanTable* pTable);

/* ---- inverse quantisation ------------------------------------------------------------------------------------ */

/* Both scale the 63 levels of one block in place. A level is multiplied by 2^s (SMPTE 314M, 5.3): s follows from the
 * quantiser, the class and the area of the coefficient, which is its place in the scan of its mode: positions 1..5,
 * 6..20, 21..42 or 43..63. Blocks of class 3 are doubled on top of that.
 *
 * pSrcDst      64 coefficients in raster order, 2-4-8 blocks with the sums in rows 0..3
 * quantiser    QNO of the macroblock, 0..15
 * classNumber  0..3
 * dctMode      qvoDVDct8x8 or qvoDVDct2x4x8
 *
 * Of other values the low four bits, the low two bits and the low bit count. Products are kept to 16 bits; with levels
 * of -255..255 they fit.
 *
 * Statuses: -8 pSrcDst is null. */

/* The quantiser alone; the weighting is left out. The result is the weighted coefficients, at the scale at which the
 * standard quantises them; the DC coefficient stays as it is. For transforms that have the weights in them. */
QVO_API QvoStatus qvoiQuantInv_DV_16s_C1I(Qvo16s* pSrcDst, Qvo32s quantiser, Qvo32s classNumber, Qvo32s dctMode);

/* The quantiser with the inverse weighting folded in. The result is ready for qvoiDCT8x8Inv_* or
 * qvoiDCT2x4x8Inv_16s_C1I, whose samples lie around 0: -128..127 for pixels of 0..255.
 *
 * With level * 2^s as above the coefficient is level * 2^s * 2 / (w(h) w(v)), rounded to nearest, halves up; 1/(w(h)
 * w(v)) is taken with 14 fractional bits. h is the horizontal frequency, v the vertical one, twice the vertical one of
 * the sums' or differences' transform in 2-4-8 blocks. With c(m) = cos(m pi/16) the weights (SMPTE 314M, 5.2.2) are
 *   w(0) = 1                    w(1) = c(4)/(4 c(7) c(2))   w(2) = c(4)/(2 c(6))   w(3) = 1/(2 c(5))
 *   w(4) = 7/8                  w(5) = c(4)/c(3)            w(6) = c(4)/c(2)       w(7) = c(4)/c(1)
 * The DC coefficient is multiplied by 4. */
QVO_API QvoStatus qvoiQuantInvWeight_DV_16s_C1I(Qvo16s* pSrcDst, Qvo32s quantiser, Qvo32s classNumber,
                                                Qvo32s dctMode);

#ifdef __cplusplus
}
#endif

#endif
