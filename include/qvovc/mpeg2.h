/* MPEG-1 and MPEG-2: variable-length code tables, block reconstruction, forward quantisation and block writing,
 * half-pel motion compensation, and the block differences and metrics of encoders. */
#ifndef QVOVC_MPEG2_H
#define QVOVC_MPEG2_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- variable-length code tables ----------------------------------------------------------------------------- */



/* ---- block reconstruction ------------------------------------------------------------------------------------ */



/* ---- forward quantisation and block writing ------------------------------------------------------------------ */



/* ---- motion compensation ------------------------------------------------------------------------------------- */

QVO_API QvoStatus qvoiMC8x8_8u_C1(const Qvo8u* pSrcRef, Qvo32s srcRefStep, const Qvo16s* pSrcResidual,
                                  Qvo32s residualStep, Qvo8u* pDst, Qvo32s dstStep, Qvo32s mcType,
                                  Qvo32s roundControl);



/* ---- block differences and metrics --------------------------------------------------------------------------- */



#ifdef __cplusplus
}
#endif

#endif
