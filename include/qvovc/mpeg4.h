/* MPEG-4 Visual: texture decoding with AC/DC prediction and inverse quantisation, motion vectors, motion
 * compensation and padding, post-filters. */
#ifndef QVOVC_MPEG4_H
#define QVOVC_MPEG4_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- texture decoding ---------------------------------------------------------------------------------------- */



/* ---- AC/DC prediction and inverse quantisation --------------------------------------------------------------- */



/* ---- motion vectors ------------------------------------------------------------------------------------------ */



/* ---- motion compensation, overlapped prediction and padding -------------------------------------------------- */



/* ---- post-filters -------------------------------------------------------------------------------------------- */



#ifdef __cplusplus
}
#endif

#endif
