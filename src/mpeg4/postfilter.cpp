// Deblocking and deringing of decoded frames for display.
#include <cstddef>

#include "core/arith.h"
#include "qvovc/mpeg4.h"

using namespace qvovc;

namespace {

// ---- deblocking ----

constexpr int lines = 8;
using Samples = Qvo16s[lines];  // one sample of each of the eight lines of an edge segment

struct Limits {
    Qvo16s qp, twiceQp, flat, count;  // within 16 bits, which changes no comparison with a sample difference
};

Qvo16s narrow(Qvo32s v) {
    return static_cast<Qvo16s>(clamp(v, -0x4000, 0x4000));
}

Qvo16s distance(Qvo16s a, Qvo16s b) {
    return static_cast<Qvo16s>(a < b ? b - a : a - b);
}

// Division by 8, halves away from zero.
Qvo16s eighth(Qvo32s v) {
    return static_cast<Qvo16s>((v + 4 + (v < 0 ? -1 : 0)) >> 3);
}

Qvo16s edgeEnergy(Qvo16s a, Qvo16s b, Qvo16s c, Qvo16s d) {
    return eighth(2 * (a - d) - 5 * (b - c));
}

// All eight lines run side by side: both modes are computed for each and the line's own is kept.
void ownmp_DeblockingFilter(Samples (&s)[10], Limits limits) {
    Samples smooth, correction;
    Samples first, last;  // what stands for the samples before s1 and behind s8
    bool anySmooth = false;
    for (int i = 0; i < lines; ++i) {
        Qvo16s flatPairs = 0;
        for (int k = 0; k < 9; ++k) {
            flatPairs = static_cast<Qvo16s>(flatPairs + (distance(s[k][i], s[k + 1][i]) <= limits.flat));
        }
        smooth[i] = flatPairs >= limits.count ? -1 : 0;
    }
    for (int i = 0; i < lines; ++i) {
        const Qvo16s a30 = edgeEnergy(s[3][i], s[4][i], s[5][i], s[6][i]);
        const Qvo16s a31 = edgeEnergy(s[1][i], s[2][i], s[3][i], s[4][i]);
        const Qvo16s a32 = edgeEnergy(s[5][i], s[6][i], s[7][i], s[8][i]);
        const Qvo16s m0 = distance(a30, 0), m1 = distance(a31, 0), m2 = distance(a32, 0);
        const Qvo16s m12 = m1 < m2 ? m1 : m2;
        const Qvo16s least = m0 < m12 ? m0 : m12;
        const Qvo16s target = static_cast<Qvo16s>(a30 < 0 ? -least : least);
        const Qvo16s d0 = eighth(5 * (target - a30));
        const Qvo16s half = static_cast<Qvo16s>(distance(s[4][i], s[5][i]) >> 1);
        const Qvo16s low = static_cast<Qvo16s>(s[4][i] < s[5][i] ? -half : 0);
        const Qvo16s high = static_cast<Qvo16s>(s[4][i] < s[5][i] ? 0 : half);
        const Qvo16s limited = d0 < low ? low : d0 > high ? high : d0;
        correction[i] = static_cast<Qvo16s>(m0 < limits.qp && !smooth[i] ? limited : 0);
    }
    for (int i = 0; i < lines; ++i) {
        Qvo16s low = s[1][i], high = s[1][i];
        for (int k = 2; k <= 8; ++k) {
            low = s[k][i] < low ? s[k][i] : low;
            high = s[k][i] > high ? s[k][i] : high;
        }
        smooth[i] = static_cast<Qvo16s>(high - low < limits.twiceQp ? smooth[i] : 0);
        first[i] = distance(s[1][i], s[0][i]) < limits.qp ? s[0][i] : s[1][i];
        last[i] = distance(s[8][i], s[9][i]) < limits.qp ? s[9][i] : s[8][i];
    }
    for (int i = 0; i < lines; ++i)
        anySmooth |= smooth[i] != 0;

    if (anySmooth) {
        Samples p[16];  // p[3 + n] is the sample n, -3..12
        for (int n = -3; n <= 12; ++n) {
            for (int i = 0; i < lines; ++i)
                p[3 + n][i] = n < 1 ? first[i] : n > 8 ? last[i] : s[n][i];
        }
        for (int n = 1; n <= 8; ++n) {
            for (int i = 0; i < lines; ++i) {
                const Samples* q = &p[3 + n];
                const Qvo16s sum =
                    static_cast<Qvo16s>(q[-4][i] + q[-3][i] + q[3][i] + q[4][i] +
                                        2 * (q[-2][i] + q[-1][i] + 2 * q[0][i] + q[1][i] + q[2][i]) + 8);
                s[n][i] = static_cast<Qvo16s>(smooth[i] ? sum >> 4 : s[n][i]);
            }
        }
    }
    for (int i = 0; i < lines; ++i) {
        s[4][i] = static_cast<Qvo16s>(s[4][i] - correction[i]);
        s[5][i] = static_cast<Qvo16s>(s[5][i] + correction[i]);
    }
}

// Filters eight lines, each across a horizontal edge (a column) or a vertical one (a row).
template <bool horizontal>
QvoStatus filterEdge(Qvo8u* p, std::ptrdiff_t step, Qvo32s QP, Qvo32s THR1, Qvo32s THR2) {
    if (p == nullptr) return qvoStatusNullPtr;
    const auto sample = [=](int k, int line) -> Qvo8u& {
        return horizontal ? p[(k - 5) * step + line] : p[line * step + k - 5];
    };
    Samples s[10];
    for (int k = 0; k < 10; ++k) {
        for (int i = 0; i < lines; ++i)
            s[k][i] = sample(k, i);
    }
    ownmp_DeblockingFilter(s, {narrow(QP), narrow(2 * QP), narrow(THR1), narrow(THR2)});
    for (int k = 1; k < 9; ++k) {
        for (int i = 0; i < lines; ++i)
            sample(k, i) = static_cast<Qvo8u>(s[k][i]);
    }
    return qvoStatusOk;
}

// ---- deringing ----

struct Range {
    Qvo32s low, high;
    Qvo32s width() const { return high - low; }
    Qvo32s middle() const { return (low + high + 1) >> 1; }
};

Range rangeOf(const Qvo8u* p, Qvo32s step) {
    Qvo8u low[8], high[8];
    for (int x = 0; x < 8; ++x)
        low[x] = high[x] = p[x];
    for (int y = 1; y < 8; ++y) {
        p += step;
        for (int x = 0; x < 8; ++x) {
            low[x] = p[x] < low[x] ? p[x] : low[x];
            high[x] = p[x] > high[x] ? p[x] : high[x];
        }
    }
    Range range = {low[0], high[0]};
    for (int x = 1; x < 8; ++x) {
        range.low = low[x] < range.low ? low[x] : range.low;
        range.high = high[x] > range.high ? high[x] : range.high;
    }
    return range;
}

}  // namespace

QvoStatus qvoiFilterDeblocking_HorEdge_MPEG4_8u_I(Qvo8u* pSrcDst, Qvo32s step, Qvo32s QP, Qvo32s THR1, Qvo32s THR2) {
    return filterEdge<true>(pSrcDst, step, QP, THR1, THR2);
}

QvoStatus qvoiFilterDeblocking_VerEdge_MPEG4_8u_I(Qvo8u* pSrcDst, Qvo32s step, Qvo32s QP, Qvo32s THR1, Qvo32s THR2) {
    return filterEdge<false>(pSrcDst, step, QP, THR1, THR2);
}

QvoStatus qvoiFilterDeringingThresholdMB_MPEG4_8u(const Qvo8u* pSrcY, Qvo32s stepY, const Qvo8u* pSrcCb,
                                                  Qvo32s stepCb, const Qvo8u* pSrcCr, Qvo32s stepCr,
                                                  Qvo32s* pThresholds) {
    if (anyNull(pSrcY, pSrcCb, pSrcCr, pThresholds)) return qvoStatusNullPtr;
    const Qvo8u* const lower = pSrcY + 8 * static_cast<std::ptrdiff_t>(stepY);
    const Range luma[4] = {rangeOf(pSrcY, stepY), rangeOf(pSrcY + 8, stepY), rangeOf(lower, stepY),
                           rangeOf(lower + 8, stepY)};
    const Range* widest = &luma[0];
    for (const Range& range : luma) {
        if (range.width() > widest->width()) widest = &range;
    }
    for (int i = 0; i < 4; ++i) {
        const bool lost = widest->width() >= 64 && luma[i].width() < 32;
        pThresholds[i] = widest->width() < 16 ? 0 : lost ? widest->middle() : luma[i].middle();
    }
    pThresholds[4] = rangeOf(pSrcCb, stepCb).middle();
    pThresholds[5] = rangeOf(pSrcCr, stepCr).middle();
    return qvoStatusOk;
}

QvoStatus qvoiFilterDeringingSmoothBlock_MPEG4_8u(const Qvo8u* pSrc, Qvo32s srcStep, Qvo8u* pDst, Qvo32s dstStep,
                                                  Qvo32s QP, Qvo32s threshold) {
    if (anyNull(pSrc, pDst)) return qvoStatusNullPtr;
    // Limits beyond these give the same results; within them everything fits 16 bits.
    const Qvo16s maxChange = static_cast<Qvo16s>(clamp(QP >> 1, -256, 256));
    const Qvo16s border = static_cast<Qvo16s>(clamp(threshold, 0, 256));

    Qvo16s x[10][10];
    Qvo16s rowSum[10][8];     // how many of three neighbours in a row reach the threshold
    Qvo16s rowSmooth[10][8];  // left + 2 * centre + right
    for (int r = 0; r < 10; ++r) {
        const Qvo8u* const row = pSrc + (r - 1) * static_cast<std::ptrdiff_t>(srcStep) - 1;
        Qvo16s reaches[10];
        for (int c = 0; c < 10; ++c) {
            x[r][c] = row[c];
            reaches[c] = x[r][c] >= border;
        }
        for (int c = 0; c < 8; ++c) {
            rowSum[r][c] = static_cast<Qvo16s>(reaches[c] + reaches[c + 1] + reaches[c + 2]);
            rowSmooth[r][c] = static_cast<Qvo16s>(x[r][c] + 2 * x[r][c + 1] + x[r][c + 2]);
        }
    }
    for (int r = 0; r < 8; ++r) {
        for (int c = 0; c < 8; ++c) {
            const Qvo16s centre = x[r + 1][c + 1];
            const Qvo16s count = static_cast<Qvo16s>(rowSum[r][c] + rowSum[r + 1][c] + rowSum[r + 2][c]);
            const Qvo16s smooth =
                static_cast<Qvo16s>((rowSmooth[r][c] + 2 * rowSmooth[r + 1][c] + rowSmooth[r + 2][c] + 8) >> 4);
            const Qvo16s low = static_cast<Qvo16s>(centre - maxChange);
            const Qvo16s high = static_cast<Qvo16s>(centre + maxChange);
            const Qvo16s limited = smooth < low ? low : smooth > high ? high : smooth;
            const bool uniform = (count == 0) | (count == 9);
            pDst[c] = clip8u(uniform ? limited : centre);
        }
        pDst += dstStep;
    }
    return qvoStatusOk;
}
