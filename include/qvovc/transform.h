/* Transforms of 8x8 blocks: the general DCT pair (MPEG-4, H.263 and encoders of any kind), the MPEG-1/2 inverse DCT
 * and the 2-4-8 DCT of DV.
 *
 * All are orthonormal two-dimensional DCTs (ISO/IEC 13818-2 annex A, ISO/IEC 14496-2 annex A, IEC 61834-2 for 2-4-8)
 * in fixed point: a block of equal samples v has the DC coefficient 8v. Each is defined bit for bit and the two
 * inverse 8x8 designs round differently: a codec takes the one named for it and stays with it.
 *
 * Blocks are 64 contiguous Qvo16s in raster order unless a row step is given; row steps are in bytes. Arithmetic is
 * 32-bit two's complement and wraps silently, which only input beyond what 8-bit pictures give can bring about. */
#ifndef QVOVC_TRANSFORM_H
#define QVOVC_TRANSFORM_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- general 8x8 DCT ----------------------------------------------------------------------------------------- */

/* The forward transform makes a row pass and then a column pass, the inverse a column pass and then a row pass. The
 * intermediate block holds 16-bit values with three fractional bits more than the result; it and the result keep the
 * low 16 bits of what the arithmetic gives. */

/* Forward DCT of 64 contiguous samples; the row pass gives 8 times, the column pass 1/64 of the sums, with rounding
 * to nearest. Exact for a flat block: 64 samples of 255 give DC 2040 and zeros.
 *
 * pSrc  64 samples or residuals; only those from -256 to 255 are sure not to wrap in the intermediate
 * pDst  64 coefficients; may be pSrc
 *
 * Residuals near -255 and 255 in patterns that put all the energy into one coefficient may wrap in the column pass.
 * Statuses: -8 a pointer is null. */
QVO_API QvoStatus qvoiDCT8x8Fwd_16s_C1(const Qvo16s* pSrc, Qvo16s* pDst);

/* Forward DCT of an 8x8 block of pixels: the same arithmetic on rows of 8 bytes lying srcStep bytes apart.
 * Statuses: -8 a pointer is null; -14 srcStep < 1. */
QVO_API QvoStatus qvoiDCT8x8Fwd_8u16s_C1R(const Qvo8u* pSrc, Qvo32s srcStep, Qvo16s* pDst);

/* Inverse DCT, rounded to nearest, not saturated.
 *
 * pSrc  64 coefficients, of which -2048..2047 is the range of the standards; dense blocks of extreme values wrap in
 *       the intermediate
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

/* The same for H.263, with its own checks in their own order: the destination and the step come before the source.
 * Statuses: -8 pDst is null; -82 dstStep < 8; -8 pSrc is null. */
QVO_API QvoStatus qvoiDCTInv_8x8_16s8u(const Qvo16s* pSrc, Qvo8u* pDst, Qvo32s dstStep);

/* Inverse DCT in place of a block whose coefficients outside the top left 4x4 (2x2) corner are zero. Whatever stands
 * there is not read and does not count; all 64 elements are written. Their shorter arithmetic has two constants of
 * its own (c1 and sqrt 2 c2 rounded once instead of put together from two), so that a result may differ by one from
 * the full transform of the same block.
 * Statuses: -8 pSrcDst is null. */
QVO_API QvoStatus qvoiDCT8x8Inv_4x4_16s_C1I(Qvo16s* pSrcDst);
QVO_API QvoStatus qvoiDCT8x8Inv_2x2_16s_C1I(Qvo16s* pSrcDst);

/* ---- MPEG-1/2 inverse DCT ------------------------------------------------------------------------------------ */

/* Inverse DCT of a transposed coefficient block: the coefficient of horizontal frequency u and vertical frequency v
 * stands at index 8u + v (a decoder transposes its scan table and its quantiser matrices along with it). The result is in
 * the usual orientation. The final rounding adds 0.625 of a unit, not one half.
 *
 * pSrc     64 coefficients, transposed
 * pDst     8 rows of 8 elements: residuals saturated to -256..255 (_16s) or pixels saturated to 0..255 (_16s8u); may be
 *          pSrc, if dstStep is 16 and the elements are 16-bit
 * dstStep  bytes from row to row; not checked, may be negative
 * count    how many leading positions of the scan may hold non-zero coefficients: the last index that
 *          qvoiReconstructDCTBlock_* report plus one. It selects a shortcut:
 *            0        64 zeros; pSrc must not be null but is not read
 *            1        64 times the DC coefficient / 8, truncated toward zero and saturated (not what the full
 *                     transform gives)
 *            2 .. 8   the transform of the top left 4x4 corner, which holds the first eight positions of either
 *                     scan; nothing else is read. Same result as the full transform if the rest is zero
 *            other    the full transform, for negative values too
 *          Mismatch control of MPEG-2 may set the last coefficient of the block: then count has to say so.
 *
 * Statuses: -8 a pointer is null. */
QVO_API QvoStatus qvoiDCT8x8Inv_AANTransposed_16s_C1R(const Qvo16s* pSrc, Qvo16s* pDst, Qvo32s dstStep, Qvo32s count);
QVO_API QvoStatus qvoiDCT8x8Inv_AANTransposed_16s8u_C1R(const Qvo16s* pSrc, Qvo8u* pDst, Qvo32s dstStep,
                                                        Qvo32s count);

/* The same for two chroma blocks into interleaved rows of 16 elements: the block at pSrcU goes to the even elements, from
 * pDst[0] on, that at pSrcV to the odd ones, from pDst[1] on. countU and countV are as count above, each for its own
 * block. Neither source may overlap the destination.
 * Statuses: -8 a pointer is null. */
QVO_API QvoStatus qvoiDCT8x8Inv_AANTransposed_16s_P2C2R(const Qvo16s* pSrcU, const Qvo16s* pSrcV, Qvo16s* pDst,
                                                        Qvo32s dstStep, Qvo32s countU, Qvo32s countV);
QVO_API QvoStatus qvoiDCT8x8Inv_AANTransposed_16s8u_P2C2R(const Qvo16s* pSrcU, const Qvo16s* pSrcV, Qvo8u* pDst,
                                                          Qvo32s dstStep, Qvo32s countU, Qvo32s countV);

/* ---- 2-4-8 DCT of DV ----------------------------------------------------------------------------------------- */

/* The transform of blocks whose two fields differ (IEC 61834-2, 2-4-8-DCT mode): with the lines taken in pairs, one of
 * each field, the 4x8 DCT of the pairs' sums fills rows 0..3 and that of their differences rows 4..7. Without the
 * weighting of the standard. */

/* Forward 2-4-8 DCT in place of 64 samples less 128, or residuals. A block of eights gives 64 at position 0 and zeros.
 * Statuses: -8 pSrcDst is null. */
QVO_API QvoStatus qvoiDCT2x4x8Frw_16s_C1I(Qvo16s* pSrcDst);

/* Inverse 2-4-8 DCT in place, not saturated.
 *
 * The forward transform's rounding to whole coefficients limits what can be got back. For blocks of 8-bit samples less
 * 128 the inverse of the forward transform is off by one in about one sample of ten and by two hardly ever.
 *
 * The row pass comes first. Its constants have 14 fractional bits: sqrt(2) cos(k pi/16), 1 for k = 0, and for the rows
 * 1, 3, 5, 7 the same divided by sqrt(2) cos(pi/8). It rounds to nearest, to three fractional bits, and keeps 16
 * bits: nothing wraps as long as the magnitudes of each row's coefficients add up to no more than 2900. The column pass, with 11585 and 27969 for
 * sin(pi/8) cos(pi/8) and cos(pi/8)^2 in 15 fractional bits, rounds to nearest once, at its end. Ties go up.
 *
 * Statuses: -8 pSrcDst is null. */
QVO_API QvoStatus qvoiDCT2x4x8Inv_16s_C1I(Qvo16s* pSrcDst);

#ifdef __cplusplus
}
#endif

#endif
