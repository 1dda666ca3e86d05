// H.264 deblocking of the edges of one macroblock.
#include <cstddef>
#include <cstring>

#include "core/arith.h"
#include "qvovc/h264.h"

using namespace qvovc;

namespace {

// The samples around an edge are brought into local memory, filtered on 16 lines at once without branches, and put
// back. A line crosses an edge at a right angle; its samples are p[n-1]..p0, q0..q[n-1], in this order, n being 4 for
// luma and 2 for chroma. The samples of line i lie tapStep apart from each other and lineStep apart from those of the
// next line. All arithmetic fits 16 bits; tc reaches 257.

enum class Edge { vertical, horizontal };

// Masks are 0 or -1.
constexpr Qvo16s isLess(Qvo16s a, Qvo16s b) {
    return a < b ? -1 : 0;
}

constexpr Qvo16s choose(Qvo16s mask, Qvo16s yes, Qvo16s no) {
    return wrap16((yes & mask) | (no & ~mask));
}

constexpr Qvo16s distance(Qvo16s a, Qvo16s b) {
    const Qvo16s d = wrap16(a - b);
    const Qvo16s negated = wrap16(b - a);
    return d < negated ? negated : d;
}

constexpr Qvo16s clampTo(Qvo16s v, Qvo16s limit) {
    const Qvo16s low = wrap16(-limit);
    const Qvo16s raised = v < low ? low : v;
    return raised > limit ? limit : raised;
}

// Whether the samples let a line be filtered.
constexpr Qvo16s isFlat(Qvo16s p1, Qvo16s p0, Qvo16s q0, Qvo16s q1, Qvo16s alpha, Qvo16s beta) {
    return wrap16(isLess(distance(p0, q0), alpha) & isLess(distance(p1, p0), beta) & isLess(distance(q1, q0), beta));
}

// What the normal filter adds to p0 and takes from q0.
constexpr Qvo16s normalDelta(Qvo16s p1, Qvo16s p0, Qvo16s q0, Qvo16s q1, Qvo16s tc) {
    const Qvo16s sum = wrap16((q0 - p0) * 4 + (p1 - q1) + 4);
    return clampTo(wrap16(sum >> 3), tc);
}

// What the normal luma filter adds to p1 or q1.
constexpr Qvo16s smoothDelta(Qvo16s outer, Qvo16s inner, Qvo16s mean, Qvo16s tc0) {
    const Qvo16s sum = wrap16(outer + mean - 2 * inner);
    return clampTo(wrap16(sum >> 1), tc0);
}

// (2 p1 + p0 + q1 + 2) >> 2: the strong filter where it changes one sample only.
constexpr Qvo16s narrow(Qvo16s p1, Qvo16s p0, Qvo16s q1) {
    return wrap16((2 * p1 + p0 + q1 + 2) >> 2);
}

// ---- luma ----

// What decides about the lines of a luma edge.
struct LumaEdge {
    Qvo8s chosen[16];  // a mask: whether a line's strength calls for the filter
    Qvo8u tc0[16];
    Qvo8u alpha;
    Qvo8u beta;
};

// Changes p1..q1 only. The places of the other samples are filled all the same, with something at hand: the compiler
// makes vectors of vertical edges' lines only if all 8 samples are read and written and most are not mere copies.
struct LumaNormal {
    enum { changed = 2 };
    static bool isMeant(Qvo8u strength) { return strength != 0 && strength != 4; }

    template <int lineStep, int tapStep>
    [[gnu::noinline]] static void filter(const Qvo8u* in, Qvo8u* __restrict out, const LumaEdge& edge) {
        const Qvo16s alpha = edge.alpha;
        const Qvo16s beta = edge.beta;
        for (int i = 0; i < 16; ++i) {
            const Qvo8u* const line = in + i * lineStep;
            const Qvo16s p3 = line[0], p2 = line[tapStep], p1 = line[2 * tapStep], p0 = line[3 * tapStep];
            const Qvo16s q0 = line[4 * tapStep], q1 = line[5 * tapStep], q2 = line[6 * tapStep];
            const Qvo16s q3 = line[7 * tapStep];
            const Qvo16s tc0 = edge.tc0[i];
            const Qvo16s on = wrap16(edge.chosen[i] & isFlat(p1, p0, q0, q1, alpha, beta));
            const Qvo16s smoothP = isLess(distance(p2, p0), beta);
            const Qvo16s smoothQ = isLess(distance(q2, q0), beta);
            const Qvo16s tc = wrap16(tc0 - smoothP - smoothQ);
            const Qvo16s delta = wrap16(normalDelta(p1, p0, q0, q1, tc) & on);
            const Qvo16s mean = wrap16((p0 + q0 + 1) >> 1);
            Qvo8u* const filtered = out + i * lineStep;
            filtered[0] = static_cast<Qvo8u>(mean);
            filtered[tapStep] = static_cast<Qvo8u>(p3);
            filtered[2 * tapStep] = static_cast<Qvo8u>(p1 + (smoothDelta(p2, p1, mean, tc0) & on & smoothP));
            filtered[3 * tapStep] = clip8u(wrap16(p0 + delta));
            filtered[4 * tapStep] = clip8u(wrap16(q0 - delta));
            filtered[5 * tapStep] = static_cast<Qvo8u>(q1 + (smoothDelta(q2, q1, mean, tc0) & on & smoothQ));
            filtered[6 * tapStep] = static_cast<Qvo8u>(q3);
            filtered[7 * tapStep] = static_cast<Qvo8u>(mean);
        }
    }
};

struct LumaStrong {
    enum { changed = 4 };  // p3 and q3 stay as they are
    static bool isMeant(Qvo8u strength) { return strength == 4; }

    template <int lineStep, int tapStep>
    [[gnu::noinline]] static void filter(const Qvo8u* in, Qvo8u* __restrict out, const LumaEdge& edge) {
        const Qvo16s alpha = edge.alpha;
        const Qvo16s beta = edge.beta;
        const Qvo16s near = wrap16((alpha >> 2) + 2);
        for (int i = 0; i < 16; ++i) {
            const Qvo8u* const line = in + i * lineStep;
            const Qvo16s p3 = line[0], p2 = line[tapStep], p1 = line[2 * tapStep], p0 = line[3 * tapStep];
            const Qvo16s q0 = line[4 * tapStep], q1 = line[5 * tapStep], q2 = line[6 * tapStep];
            const Qvo16s q3 = line[7 * tapStep];
            const Qvo16s on = wrap16(edge.chosen[i] & isFlat(p1, p0, q0, q1, alpha, beta));
            const Qvo16s wide = wrap16(on & isLess(distance(p0, q0), near));
            const Qvo16s wideP = wrap16(wide & isLess(distance(p2, p0), beta));
            const Qvo16s wideQ = wrap16(wide & isLess(distance(q2, q0), beta));
            const Qvo16s sumP = wrap16(p2 + p1 + p0 + q0);
            const Qvo16s sumQ = wrap16(q2 + q1 + q0 + p0);
            const Qvo16s wideP0 = wrap16((sumP + p1 + p0 + q0 + q1 + 4) >> 3);
            const Qvo16s wideQ0 = wrap16((sumQ + q1 + q0 + p0 + p1 + 4) >> 3);
            const Qvo16s newP0 = choose(wideP, wideP0, choose(on, narrow(p1, p0, q1), p0));
            const Qvo16s newQ0 = choose(wideQ, wideQ0, choose(on, narrow(q1, q0, p1), q0));
            const Qvo16s newP1 = choose(wideP, wrap16((sumP + 2) >> 2), p1);
            const Qvo16s newQ1 = choose(wideQ, wrap16((sumQ + 2) >> 2), q1);
            const Qvo16s newP2 = choose(wideP, wrap16((2 * (p3 + p2) + sumP + 4) >> 3), p2);
            const Qvo16s newQ2 = choose(wideQ, wrap16((2 * (q3 + q2) + sumQ + 4) >> 3), q2);
            Qvo8u* const filtered = out + i * lineStep;
            filtered[0] = static_cast<Qvo8u>(p3);
            filtered[tapStep] = static_cast<Qvo8u>(newP2);
            filtered[2 * tapStep] = static_cast<Qvo8u>(newP1);
            filtered[3 * tapStep] = static_cast<Qvo8u>(newP0);
            filtered[4 * tapStep] = static_cast<Qvo8u>(newQ0);
            filtered[5 * tapStep] = static_cast<Qvo8u>(newQ1);
            filtered[6 * tapStep] = static_cast<Qvo8u>(newQ2);
            filtered[7 * tapStep] = static_cast<Qvo8u>(q3);
        }
    }
};

template <int width, int height>
void copy(const Qvo8u* p, std::ptrdiff_t step, Qvo8u* pDst, std::ptrdiff_t dstStep) {
    for (int y = 0; y < height; ++y, p += step, pDst += dstStep)
        std::memcpy(pDst, p, width);
}

// Filters those lines of the edge before *p whose strengths mean this filter.
template <class Filter, Edge direction>
void filterLuma(Qvo8u* p, std::ptrdiff_t step, const Qvo8u* strengths, const Qvo8u* thresholds, Qvo8u alpha,
                Qvo8u beta) {
    const auto isMeant = Filter::isMeant;
    if (!isMeant(strengths[0]) && !isMeant(strengths[1]) && !isMeant(strengths[2]) && !isMeant(strengths[3])) return;
    LumaEdge edge;
    for (int k = 0; k < 4; ++k) {
        std::memset(edge.chosen + 4 * k, isMeant(strengths[k]) ? -1 : 0, 4);
        std::memset(edge.tc0 + 4 * k, thresholds[k], 4);
    }
    edge.alpha = alpha;
    edge.beta = beta;
    Qvo8u in[128];
    Qvo8u out[128];
    constexpr int changed = Filter::changed;
    if constexpr (direction == Edge::vertical) {
        copy<8, 16>(p - 4, step, in, 8);
        Filter::template filter<8, 1>(in, out, edge);
        copy<2 * changed, 16>(out + 4 - changed, 8, p - changed, step);
    } else {
        copy<16, 8>(p - 4 * step, step, in, 16);
        Filter::template filter<1, 16>(in, out, edge);
        copy<16, 2 * changed>(out + (4 - changed) * 16, 16, p - changed * step, step);
    }
}

template <Edge direction>
QvoStatus filterLumaEdges(Qvo8u* p, Qvo32s step, const Qvo8u* pAlpha, const Qvo8u* pBeta, const Qvo8u* pThresholds,
                          const Qvo8u* pBS) {
    if (anyNull(p, pAlpha, pBeta, pThresholds, pBS)) return qvoStatusNullPtr;
    const std::ptrdiff_t next = direction == Edge::vertical ? 4 : 4 * std::ptrdiff_t{step};
    for (int e = 0; e < 4; ++e, p += next, pThresholds += 4, pBS += 4) {
        filterLuma<LumaStrong, direction>(p, step, pBS, pThresholds, pAlpha[e > 0], pBeta[e > 0]);
        filterLuma<LumaNormal, direction>(p, step, pBS, pThresholds, pAlpha[e > 0], pBeta[e > 0]);
    }
    return qvoStatusOk;
}

// ---- chroma ----

enum class ChromaFilter { none, normal, strong };

// The lines of both edges, 0..7 those of edge 0, 8..15 those of edge 1: no line reads what another one changes.
struct ChromaEdges {
    Qvo8s chosen[16];  // a mask: whether a line is filtered
    Qvo8s strong[16];  // a mask: whether by the strong filter
    Qvo8u tc0[16];
    Qvo8u alpha[16];
    Qvo8u beta[16];
    bool used[2];
};

template <int lineStep, int tapStep>
[[gnu::noinline]] void filterChromaLines(const Qvo8u* in, Qvo8u* __restrict out, const ChromaEdges& edges) {
    for (int i = 0; i < 16; ++i) {
        const Qvo8u* const line = in + i * lineStep;
        const Qvo16s p1 = line[0], p0 = line[tapStep], q0 = line[2 * tapStep], q1 = line[3 * tapStep];
        const Qvo16s on = wrap16(edges.chosen[i] & isFlat(p1, p0, q0, q1, edges.alpha[i], edges.beta[i]));
        const Qvo16s strong = wrap16(edges.strong[i] & on);
        const Qvo16s delta = wrap16(normalDelta(p1, p0, q0, q1, wrap16(edges.tc0[i] + 1)) & on);
        Qvo8u* const filtered = out + i * lineStep;
        filtered[0] = static_cast<Qvo8u>(p1);
        filtered[tapStep] = static_cast<Qvo8u>(choose(strong, narrow(p1, p0, q1), clip8u(wrap16(p0 + delta))));
        filtered[2 * tapStep] = static_cast<Qvo8u>(choose(strong, narrow(q1, q0, p1), clip8u(wrap16(q0 - delta))));
        filtered[3 * tapStep] = static_cast<Qvo8u>(q1);
    }
}

// filterOf(e, k) gives the filter of group k of edge e.
template <Edge direction, class FilterOf>
QvoStatus filterChromaEdges(Qvo8u* p, Qvo32s step, const Qvo8u* pAlpha, const Qvo8u* pBeta, const Qvo8u* pThresholds,
                            FilterOf filterOf) {
    ChromaEdges edges;
    for (int e = 0; e < 2; ++e) {
        edges.used[e] = false;
        for (int k = 0; k < 4; ++k) {
            const ChromaFilter filter = filterOf(e, k);
            edges.used[e] |= filter != ChromaFilter::none;
            std::memset(edges.chosen + 8 * e + 2 * k, filter != ChromaFilter::none ? -1 : 0, 2);
            std::memset(edges.strong + 8 * e + 2 * k, filter == ChromaFilter::strong ? -1 : 0, 2);
            std::memset(edges.tc0 + 8 * e + 2 * k, pThresholds[4 * e + k], 2);
        }
        std::memset(edges.alpha + 8 * e, pAlpha[e], 8);
        std::memset(edges.beta + 8 * e, pBeta[e], 8);
    }
    if (!edges.used[0] && !edges.used[1]) return qvoStatusOk;
    Qvo8u in[64] = {};
    Qvo8u out[64];
    if constexpr (direction == Edge::vertical) {
        for (int e = 0; e < 2; ++e) {
            if (edges.used[e]) copy<4, 8>(p + 4 * e - 2, step, in + 32 * e, 4);
        }
        filterChromaLines<4, 1>(in, out, edges);
        for (int e = 0; e < 2; ++e) {
            if (edges.used[e]) copy<4, 8>(out + 32 * e, 4, p + 4 * e - 2, step);
        }
    } else {
        const std::ptrdiff_t rows = step;
        for (int e = 0; e < 2; ++e) {
            if (edges.used[e]) copy<8, 4>(p + (4 * e - 2) * rows, step, in + 8 * e, 16);
        }
        filterChromaLines<1, 16>(in, out, edges);
        for (int e = 0; e < 2; ++e) {
            if (edges.used[e]) copy<8, 4>(out + 8 * e, 16, p + (4 * e - 2) * rows, step);
        }
    }
    return qvoStatusOk;
}

}  // namespace

QvoStatus qvoiFilterDeblockingLuma_VerEdge_H264_8u_C1IR(Qvo8u* pSrcDst, Qvo32s step, const Qvo8u* pAlpha,
                                                        const Qvo8u* pBeta, const Qvo8u* pThresholds,
                                                        const Qvo8u* pBS) {
    return filterLumaEdges<Edge::vertical>(pSrcDst, step, pAlpha, pBeta, pThresholds, pBS);
}

QvoStatus qvoiFilterDeblockingLuma_HorEdge_H264_8u_C1IR(Qvo8u* pSrcDst, Qvo32s step, const Qvo8u* pAlpha,
                                                        const Qvo8u* pBeta, const Qvo8u* pThresholds,
                                                        const Qvo8u* pBS) {
    return filterLumaEdges<Edge::horizontal>(pSrcDst, step, pAlpha, pBeta, pThresholds, pBS);
}

QvoStatus qvoiFilterDeblockingChroma_VerEdge_H264_8u_C1IR(Qvo8u* pSrcDst, Qvo32s step, const Qvo8u* pAlpha,
                                                          const Qvo8u* pBeta, const Qvo8u* pThresholds,
                                                          const Qvo8u* pBS) {
    if (anyNull(pSrcDst, pAlpha, pBeta, pThresholds, pBS)) return qvoStatusNullPtr;
    return filterChromaEdges<Edge::vertical>(pSrcDst, step, pAlpha, pBeta, pThresholds, [=](int e, int k) {
        const Qvo8u strength = pBS[8 * e + k];
        return strength == 0 ? ChromaFilter::none : strength == 4 ? ChromaFilter::strong : ChromaFilter::normal;
    });
}

// Unlike the others it chooses the strong filter once for the whole outer edge, from its first entry, and never for
// the inner edge.
QvoStatus qvoiFilterDeblockingChroma_HorEdge_H264_8u_C1IR(Qvo8u* pSrcDst, Qvo32s step, const Qvo8u* pAlpha,
                                                          const Qvo8u* pBeta, const Qvo8u* pThresholds,
                                                          const Qvo8u* pBS) {
    if (anyNull(pSrcDst, pAlpha, pBeta, pThresholds, pBS)) return qvoStatusNullPtr;
    return filterChromaEdges<Edge::horizontal>(pSrcDst, step, pAlpha, pBeta, pThresholds, [=](int e, int k) {
        if (e == 0 && pBS[0] == 4) return ChromaFilter::strong;
        return pBS[8 * e + k] == 0 ? ChromaFilter::none : ChromaFilter::normal;
    });
}
