/* H.263: macroblock headers, frame expansion and deblocking, and the inverse scans of the coefficient decoders. */
#ifndef QVOVC_H263_H
#define QVOVC_H263_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif
