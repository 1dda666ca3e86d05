/* qvovc: stateless, block-level video-coding primitives for MPEG-1, MPEG-2, MPEG-4 Visual, H.263, H.264 and DV.
 *
 * This is the only header a program includes. Every operation is a plain function that works on the caller's
 * buffers and returns a status; types.h explains the conventions that all of them share. */
#ifndef QVOVC_H
#define QVOVC_H

#include "qvovc/types.h"

#include "qvovc/core.h"
#include "qvovc/dv.h"
#include "qvovc/h263.h"
#include "qvovc/h264.h"
#include "qvovc/mpeg2.h"
#include "qvovc/mpeg4.h"
#include "qvovc/transform.h"

#include "qvovc/internals.h"

#endif
