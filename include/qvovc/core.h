/* Shared services: writing of word streams, aligned memory, vector primitives, block copies and the two rounding
 * block predictors. */
#ifndef QVOVC_CORE_H
#define QVOVC_CORE_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- word-stream writers ------------------------------------------------------------------------------------- */

/* Both append the low `length` bits (1..32) of `code` to a word stream, most significant bit first, and return
 * qvoStatusOk always: they check nothing, not even pointers.
 *
 * ppBitStream  points at the pointer to the word being filled; it moves on when the word is full
 * pBitsLeft    number of free bits in that word, 1..32 (32: nothing written in it yet)
 *
 * The two keep the partial word differently; a stream is written with one of them from beginning to end. Nothing is
 * stored beyond the words named here. */

/* The current word holds what was written so far right-aligned and is in its final place only once it is full: a
 * program that ends the stream shifts the last partial word left by the remaining free bits itself. Whatever the
 * buffer held before is shifted out, so that it need not be cleared. A code that does not fit sets the next word to
 * its remaining bits; a code that fits exactly leaves the next word alone. */
QVO_API QvoStatus qvoiPutBitsLeftMost(Qvo32u** ppBitStream, Qvo32u* pBitsLeft, Qvo32s code, Qvo32u length);

/* Each code is ORed straight into its final bit position. A code that does not fit sets the next word to its
 * remaining bits, but a code that fits exactly leaves the next word alone and the one after it is ORed there: the
 * buffer must be cleared to zero beforehand. */
QVO_API QvoStatus qvoiPutBitsRightMost(Qvo32u** ppBitStream, Qvo32u* pBitsLeft, Qvo32s code, Qvo32u length);

/* ---- memory -------------------------------------------------------------------------------------------------- */

/* Returns len bytes aligned to 32, or null if len < 1 or the system allocation fails. The block is released with
 * qvosFree and with nothing else: the system allocator's own pointer is kept just below the returned address. */
QVO_API Qvo8u* qvosMalloc_8u(Qvo32s len);

/* Releases a block from qvosMalloc_8u; null is accepted. Returns qvoStatusOk. */
QVO_API QvoStatus qvosFree(void* p);

/* ---- vectors ------------------------------------------------------------------------------------------------- */

/* All take the vector's length in elements.
 * Statuses of every operation of this section: -8 a pointer is null; -6 len < 1. */

/* pDst[0..len-1] = val. */
QVO_API QvoStatus qvosSet_8u(Qvo8u val, Qvo8u* pDst, Qvo32s len);
QVO_API QvoStatus qvosSet_16s(Qvo16s val, Qvo16s* pDst, Qvo32s len);

/* Clears len elements. */
QVO_API QvoStatus qvosZero_16s(Qvo16s* pDst, Qvo32s len);

/* Copies len bytes; the vectors must not overlap. */
QVO_API QvoStatus qvosCopy_8u(const Qvo8u* pSrc, Qvo8u* pDst, Qvo32s len);

/* Multiplies each element by val and by 2^-scaleFactor, in place, saturating to 16 signed bits. With p the 32-bit
 * product and sat() the saturation:
 *
 *   val 0                clears the vector
 *   scaleFactor 0        val 1 leaves the vector untouched, any other gives sat(p)
 *   -15 .. -1            sat(sat(p) * 2^-scaleFactor)
 *   below -15            0, 32767 or -32768 by the sign of p
 *   1 .. 30              p scaled down and rounded to nearest, ties to even, then saturated
 *   above 30             clears the vector */
QVO_API QvoStatus qvosMulC_16s_ISfs(Qvo16s val, Qvo16s* pSrcDst, Qvo32s len, Qvo32s scaleFactor);

/* The comparison of qvosThreshold_16s_I. Any value that is not qvoCmpGreater, compared whole, means qvoCmpLess. */
enum { qvoCmpLess = 0, qvoCmpGreater = 4 };

/* In place: with relOp qvoCmpGreater each element greater than level becomes level, otherwise each element less than
 * level does. */
QVO_API QvoStatus qvosThreshold_16s_I(Qvo16s* pSrcDst, Qvo32s len, Qvo16s level, Qvo32s relOp);

/* ---- regions and blocks -------------------------------------------------------------------------------------- */

/* Fills a region of width x height bytes whose rows lie dstStep bytes apart.
 * Statuses: -8 pDst is null; -6 width < 1 or height < 1; -14 dstStep < 1. The region is tested before the step. */
QVO_API QvoStatus qvoiSet_8u_C1R(Qvo8u val, Qvo8u* pDst, Qvo32s dstStep, Qvo32s width, Qvo32s height);

/* Copies a block of 8x8 bytes. Source and destination must not overlap.
 * Statuses: -8 a pointer is null; qvoStatusStep8 (-169) a step is less than 8. */
QVO_API QvoStatus qvoiCopyBlock_8x8_8u(const Qvo8u* pSrc, Qvo32s srcStep, Qvo8u* pDst, Qvo32s dstStep);

/* Copies a block of 16x16 bytes. Source and destination must not overlap.
 * Statuses: -8 a pointer is null; qvoStatusStep16 (-168) a step is less than 16. */
QVO_API QvoStatus qvoiCopyBlock_16x16_8u(const Qvo8u* pSrc, Qvo32s srcStep, Qvo8u* pDst, Qvo32s dstStep);

/* Counts how many of the 64 contiguous elements of pSrc are 0.
 * Statuses: -8 a pointer is null. */
QVO_API QvoStatus qvoiCountZeros8x8_16s_C1(const Qvo16s* pSrc, Qvo32u* pCount);

/* The prediction type of qvoiMCBlock_RoundOff_8u and qvoiMCBlock_RoundOn_8u, compared whole: any other value means
 * qvoPredHalfPelBoth. */
enum { qvoPredFullPel = 0, qvoPredHalfPelVer = 1, qvoPredHalfPelHor = 2, qvoPredHalfPelBoth = 3 };

/* 8x8 half-pel prediction without residual: qvoiMC8x8_8u_C1 with a residual of zeros and rounding control 0
 * (RoundOff: half-pel averages round up) or 1 (RoundOn: they round down). Steps are not checked and may be negative;
 * nine rows or columns are read only along an axis with half-pel position.
 * Statuses: -8 a pointer is null. */
QVO_API QvoStatus qvoiMCBlock_RoundOff_8u(const Qvo8u* pSrcRef, Qvo32s srcStep, Qvo8u* pDst, Qvo32s dstStep,
                                          Qvo32s predType);
QVO_API QvoStatus qvoiMCBlock_RoundOn_8u(const Qvo8u* pSrcRef, Qvo32s srcStep, Qvo8u* pDst, Qvo32s dstStep,
                                         Qvo32s predType);

#ifdef __cplusplus
}
#endif

#endif
