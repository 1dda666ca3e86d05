#ifndef QVOVC_TRANSFORM_H
#define QVOVC_TRANSFORM_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif
