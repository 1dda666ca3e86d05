/* Transforms of 8x8 blocks: the general DCT pair, the inverse DCT of MPEG-1/2 and the 2-4-8 DCT of DV.
 *
 * All are two-dimensional orthonormal DCTs in fixed point (ISO/IEC 13818-2 annex A; a block of equal samples v has
 * the DC coefficient 8v). Each is defined bit for bit, and the two inverse 8x8 designs give different results: a codec
 * takes the one meant for it and stays with it.
 *
 * Blocks are 64 contiguous Qvo16s in raster order unless a row step is given; row steps are in bytes. Arithmetic is
 * 32-bit two's complement and wraps silently. */
#ifndef QVOVC_TRANSFORM_H
#define QVOVC_TRANSFORM_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- general 8x8 DCT ----------------------------------------------------------------------------------------- */

/* For MPEG-4, H.263 and encoders of any kind. The forward transform makes a row pass and then a column pass, the
 * inverse a column pass and then a row pass. The block between the passes holds 16-bit values, 8 * 2 sqrt(2) times
 * those of an orthonormal pass; it and the result keep the low 16 bits of what the arithmetic gives. */

/* Forward DCT of 64 contiguous samples, rounded to nearest.
 *
 * pSrc  64 samples or residuals
 * pDst  64 coefficients; may be pSrc
 *
 * Nothing wraps for pixels. Residuals may reach -511..511 without wrapping between the passes, but a coefficient
 * beyond about -1024..1023 outside rows 0 and 4 wraps at the end, as patterns of -255 and 255 can bring about.
 * Statuses: -8 a pointer is null. */
QVO_API QvoStatus qvoiDCT8x8Fwd_16s_C1(const Qvo16s* pSrc, Qvo16s* pDst);

/* Forward DCT of an 8x8 block of pixels: the same arithmetic on rows of 8 bytes, srcStep bytes apart.
 * Statuses: -8 a pointer is null; -14 srcStep < 1. */
QVO_API QvoStatus qvoiDCT8x8Fwd_8u16s_C1R(const Qvo8u* pSrc, Qvo32s srcStep, Qvo16s* pDst);

/* Inverse DCT, rounded to nearest, not saturated.
 *
 * pSrc  64 coefficients. The standards' range is -2048..2047; dense blocks of such extremes wrap between the passes,
 *       blocks that come from pictures do not
 * pDst  64 samples or residuals; may be pSrc
 *
 * Statuses: -8 a pointer is null. */
QVO_API QvoStatus qvoiDCT8x8Inv_16s_C1(const Qvo16s* pSrc, Qvo16s* pDst);

/* qvoiDCT8x8Inv_16s_C1 in place.
 * Statuses: -8 pSrcDst is null. */
QVO_API QvoStatus qvoiDCT8x8Inv_16s_C1I(Qvo16s* pSrcDst);

/* qvoiDCT8x8Inv_16s_C1 with each result saturated to 0..255 and stored as a pixel, in rows dstStep bytes apart.
 * Statuses: -8 a pointer is null; -14 dstStep < 1. */
QVO_API QvoStatus qvoiDCT8x8Inv_16s8u_C1R(const Qvo16s* pSrc, Qvo8u* pDst, Qvo32s dstStep);

/* The same for H.263, with checks of its own: the destination and the step come before the source.
 * Statuses: -8 pDst is null; -82 dstStep < 8; -8 pSrc is null. */
QVO_API QvoStatus qvoiDCTInv_8x8_16s8u(const Qvo16s* pSrc, Qvo8u* pDst, Qvo32s dstStep);

/* Inverse DCT in place of a block with coefficients in the top left 4x4 (2x2) corner only. What stands outside the
 * corner counts as zero, whatever it is; all 64 elements are written. The shorter arithmetic has two constants of its
 * own (c1 and sqrt(2) c2, rounded once instead of put together from two), so that a result may differ by one from the
 * full transform of the same block.
 * Statuses: -8 pSrcDst is null. */
QVO_API QvoStatus qvoiDCT8x8Inv_4x4_16s_C1I(Qvo16s* pSrcDst);
QVO_API QvoStatus qvoiDCT8x8Inv_2x2_16s_C1I(Qvo16s* pSrcDst);

/* ---- MPEG-1/2 inverse DCT ------------------------------------------------------------------------------------ */

/* Inverse DCT of a transposed coefficient block: the coefficient of horizontal frequency u and vertical frequency v
 * stands at index 8u + v. A decoder transposes its scan and, along with it, its quantiser matrices. The result is in
 * the usual orientation. The final rounding adds 0.625 of a unit, not one half.
 *
 * pSrc     64 coefficients, transposed
 * pDst     8 rows of 8 elements: residuals saturated to -256..255 (_16s) or pixels saturated to 0..255 (_16s8u). The
 *          residuals may take the place of their coefficients (pDst equal to pSrc, dstStep 16)
 * dstStep  bytes from row to row; not checked, may be negative
 * count    how many leading positions of the scan may hold non-zero coefficients: the last index reported by the
 *          block reconstruction plus one. It selects a shortcut:
 *            0       64 zeros; pSrc must not be null all the same, but is not touched
 *            1       64 times the DC coefficient / 8, truncated toward zero and saturated, which differs from what
 *                    the full transform gives; nothing but the DC coefficient is read
 *            2 to 8  the transform of the top left 4x4 corner, where the first eight positions of both scans lie.
 *                    What stands outside counts as zero, whatever it is. If it is zero, the full transform gives the
 *                    same
 *            other   the full transform, for negative values too
 *          The coefficient that mismatch control of MPEG-2 may set, the last of the block (ISO/IEC 13818-2, 7.4.4),
 *          is seen by the full transform only.
 *
 * Statuses: -8 a pointer is null. */
QVO_API QvoStatus qvoiDCT8x8Inv_AANTransposed_16s_C1R(const Qvo16s* pSrc, Qvo16s* pDst, Qvo32s dstStep, Qvo32s count);
QVO_API QvoStatus qvoiDCT8x8Inv_AANTransposed_16s8u_C1R(const Qvo16s* pSrc, Qvo8u* pDst, Qvo32s dstStep,
                                                        Qvo32s count);

/* The same for two chroma blocks into interleaved rows of 16 elements: the block at pSrcU fills the even elements,
 * from pDst[0] on, that at pSrcV the odd ones, from pDst[1] on. countU and countV are the count of either block.
 * Statuses: -8 a pointer is null. */
QVO_API QvoStatus qvoiDCT8x8Inv_AANTransposed_16s_P2C2R(const Qvo16s* pSrcU, const Qvo16s* pSrcV, Qvo16s* pDst,
                                                        Qvo32s dstStep, Qvo32s countU, Qvo32s countV);
QVO_API QvoStatus qvoiDCT8x8Inv_AANTransposed_16s8u_P2C2R(const Qvo16s* pSrcU, const Qvo16s* pSrcV, Qvo8u* pDst,
                                                          Qvo32s dstStep, Qvo32s countU, Qvo32s countV);

/* ---- 2-4-8 DCT of DV ----------------------------------------------------------------------------------------- */

/* The transform of blocks whose two fields differ (IEC 61834-2, 2-4-8-DCT mode). Lines are taken in pairs, one of
 * each field; the 4x8 DCT of the pairs' sums fills rows 0..3, that of their differences (upper less lower line) rows
 * 4..7. The weighting of the standard is not part of it. */

/* Forward 2-4-8 DCT in place of 64 samples less 128, or residuals.
 * Statuses: -8 pSrcDst is null. */
QVO_API QvoStatus qvoiDCT2x4x8Frw_16s_C1I(Qvo16s* pSrcDst);

/* Inverse 2-4-8 DCT in place, not saturated.
 *
 * The forward transform's rounding to whole coefficients limits what can be got back: of 8-bit samples less 128 about
 * one in ten comes back off by one, hardly one in a million off by two.
 *
 * The row pass comes first. Its constants have 14 fractional bits: sqrt(2) cos(k pi/16), or 1 for k = 0, and for rows
 * 1, 3, 5 and 7 the same divided by sqrt(2) cos(pi/8). It rounds to three fractional bits and keeps 16 bits in all:
 * none of its results wraps as long as the magnitudes of each row's coefficients add up to no more than 2900. The
 * column pass has 11585 and 27969 for sin(pi/8) cos(pi/8) and cos(pi/8)^2, 15 fractional bits, and rounds once, at its
 * end; its 32-bit sums wrap where a result lies beyond about -2048..2047. Both round to nearest, halves up.
 *
 * Statuses: -8 pSrcDst is null. */
QVO_API QvoStatus qvoiDCT2x4x8Inv_16s_C1I(Qvo16s* pSrcDst);

#ifdef __cplusplus
}
#endif

#endif
