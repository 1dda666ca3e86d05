// The few pieces of integer arithmetic that every family uses. The library is compiled with -fwrapv: 32-bit sums and
// products wrap, ">>" is an arithmetic shift, "/" truncates toward zero.
#ifndef QVOVC_SRC_CORE_ARITH_H
#define QVOVC_SRC_CORE_ARITH_H

#include <cstdint>

#include "qvovc/types.h"

namespace qvovc {

inline constexpr Qvo32s clamp(Qvo32s v, Qvo32s low, Qvo32s high) {
    return v < low ? low : v > high ? high : v;
}

// Saturates to a pixel, 0..255.
inline constexpr Qvo8u clip8u(Qvo32s v) {
    return static_cast<Qvo8u>(clamp(v, 0, 255));
}

// Saturates to 16 signed bits.
inline constexpr Qvo16s sat16(Qvo32s v) {
    return static_cast<Qvo16s>(clamp(v, -32768, 32767));
}

// Keeps the low 16 bits as a signed value.
inline constexpr Qvo16s wrap16(Qvo32s v) {
    return static_cast<Qvo16s>(v);
}

inline constexpr Qvo32s sign(Qvo32s v) {
    return (v > 0) - (v < 0);
}

// The element `bytes` bytes away from p: row steps count bytes for 8-bit and 16-bit data alike.
template <class T>
inline T* stepBytes(T* p, Qvo32s bytes) {
    return reinterpret_cast<T*>(reinterpret_cast<Qvo8u*>(p) + bytes);
}
template <class T>
inline const T* stepBytes(const T* p, Qvo32s bytes) {
    return reinterpret_cast<const T*>(reinterpret_cast<const Qvo8u*>(p) + bytes);
}

template <class... T>
inline bool anyNull(const T*... p) {
    return (... || (p == nullptr));
}

// For operations that refuse pointers which are not a multiple of 4 bytes.
template <class... T>
inline bool anyMisaligned4(const T*... p) {
    return (... || ((reinterpret_cast<std::uintptr_t>(p) & 3) != 0));
}

}  // namespace qvovc

#endif
