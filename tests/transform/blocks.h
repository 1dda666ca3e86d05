// What the transforms' tests share: blocks, 32-bit numbers that wrap, and orthonormal transforms in double precision.
#ifndef QVOVC_TESTS_TRANSFORM_BLOCKS_H
#define QVOVC_TESTS_TRANSFORM_BLOCKS_H

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <numbers>

#include "qvovc.h"

using Block = std::array<Qvo16s, 64>;
using Real = std::array<double, 64>;

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

// Row k of the orthonormal n-point DCT at sample x.
inline double dctBasis(int n, int k, int x) {
    return std::sqrt((k == 0 ? 1.0 : 2.0) / n) * std::cos((2 * x + 1) * k * std::numbers::pi / (2 * n));
}

// The two-dimensional transform with rows of `vertical` and of the 8-point DCT as its basis, and its inverse.
using Basis = double (*)(int k, int x);
inline double dct8(int k, int x) {
    return dctBasis(8, k, x);
}
template <class Source>
inline Real forwardReal(Basis vertical, const Source& block) {
    Real half{}, out{};
    for (int i = 0; i < 512; ++i)
        half[i / 64 * 8 + i % 8] += vertical(i / 64, i / 8 % 8) * block[i / 8 % 8 * 8 + i % 8];
    for (int i = 0; i < 512; ++i)
        out[i / 8] += dct8(i / 8 % 8, i % 8) * half[i / 64 * 8 + i % 8];
    return out;
}
template <class Source>
inline Real inverseReal(Basis vertical, const Source& block) {
    Real half{}, out{};
    for (int i = 0; i < 512; ++i)
        half[i / 64 * 8 + i % 8] += vertical(i / 8 % 8, i / 64) * block[i / 8 % 8 * 8 + i % 8];
    for (int i = 0; i < 512; ++i)
        out[i / 8] += dct8(i % 8, i / 8 % 8) * half[i / 64 * 8 + i % 8];
    return out;
}

// The greatest difference of any element.
inline double distance(const Real& real, const Block& block) {
    double worst = 0;
    for (int k = 0; k < 64; ++k)
        worst = std::max(worst, std::abs(real[k] - block[k]));
    return worst;
}

#endif
