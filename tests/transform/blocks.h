// What the transforms' tests share: blocks, and 32-bit numbers that wrap.
#ifndef QVOVC_TESTS_TRANSFORM_BLOCKS_H
#define QVOVC_TESTS_TRANSFORM_BLOCKS_H

#include <array>
#include <cstdint>

#include "qvovc.h"

using Block = std::array<Qvo16s, 64>;

// 32-bit two's complement that wraps, without leaning on the compiler for it.
struct Wrapping {
    std::uint32_t bits = 0;
    Wrapping() = default;
    Wrapping(int v) : bits(static_cast<std::uint32_t>(v)) {}
    static Wrapping of(std::uint32_t b) {
        Wrapping w;
        w.bits = b;
        return w;
    }
    int value() const { return static_cast<int>(bits); }
    friend Wrapping operator+(Wrapping a, Wrapping b) { return of(a.bits + b.bits); }
    friend Wrapping operator-(Wrapping a, Wrapping b) { return of(a.bits - b.bits); }
    friend Wrapping operator*(Wrapping a, Wrapping b) { return of(a.bits * b.bits); }
    friend Wrapping operator>>(Wrapping a, int n) { return Wrapping(a.value() >> n); }
    friend Wrapping operator-(Wrapping a) { return of(0u - a.bits); }
};

inline Qvo16s low16(Wrapping v) {
    return static_cast<Qvo16s>(v.value());
}

#endif
