#include <benchmark/benchmark.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "qvovc.h"
#include "support/random.h"

namespace {

constexpr Qvo32s step = 64;

// A plane of noise with margins on all sides; at() is the block's place in it.
struct Plane {
    Plane() : samples(64 * step) { Random(1).fill(samples, 0, 255); }
    Qvo8u* at() { return samples.data() + 16 * step + 16; }
    std::vector<Qvo8u> samples;
};

// Registers `operation` for one more setting of its arguments.
template <class Operation>
void add(const std::string& name, Operation operation) {
    benchmark::RegisterBenchmark(("H264/" + name).c_str(), [operation](benchmark::State& state) {
        for (auto _ : state) {
            operation();
            benchmark::ClobberMemory();
        }
    });
}

void addIntra() {
    static Plane plane;
    constexpr Qvo32u all = qvoNeighbourAbove | qvoNeighbourLeft | qvoNeighbourCorner | qvoNeighbourAboveRight;
    for (Qvo32s mode = 0; mode < 9; ++mode) {
        add("Intra4x4/" + std::to_string(mode),
            [mode] { qvoiPredictIntra_4x4_H264_8u_C1IR(plane.at(), step, mode, all); });
    }
    for (Qvo32s mode = 0; mode < 4; ++mode) {
        add("Intra16x16/" + std::to_string(mode),
            [mode] { qvoiPredictIntra_16x16_H264_8u_C1IR(plane.at(), step, mode, all); });
        add("IntraChroma/" + std::to_string(mode),
            [mode] { qvoiPredictIntraChroma8x8_H264_8u_C1IR(plane.at(), step, mode, all); });
    }
}

void addTransforms() {
    static Qvo16s noise[16], block[16], transformed[16], scan[16];
    static Qvo8s count;
    static Qvo8u last;
    static Plane plane;
    Random random(2);
    random.fill(noise, -40, 40);
    for (Qvo16s i = 0; i < 16; ++i)
        scan[i] = i;
    constexpr auto reset = [](int size) { std::copy_n(noise, size, block); };
    add("LumaDC", [=] { reset(16), qvoiTransformDequantLumaDC_H264_16s_C1I(block, 28); });
    add("ChromaDC", [=] { reset(4), qvoiTransformDequantChromaDC_H264_16s_C1I(block, 28); });
    add("Residual", [=] { reset(16), qvoiDequantTransformResidual_H264_16s_C1I(block, 8, nullptr, 1, 28); });
    for (const Qvo32u ac : {0u, 1u}) {
        add(ac ? "ResidualAndAdd" : "ResidualAndAdd/DC", [=] {
            reset(16);
            qvoiDequantTransformResidualAndAdd_H264_16s_C1I(plane.at(), block, nullptr, plane.at(), step, step, 28,
                                                            ac);
        });
    }
    add("Prediction", [=] { qvoiTransformPrediction_H264_8u16s_C1(plane.at(), step, transformed); });
    add("ResidualSP", [=] {
        reset(16);
        qvoiDequantTransformResidual_SISP_H264_16s_C1I(block, transformed, nullptr, 1, 28, 30, 0);
    });
    add("ChromaDCSP", [=] {
        reset(4);
        qvoiTransformDequantChromaDC_SISP_H264_16s_C1I(block, transformed, 28, 30, 0);
    });
    add("QuantChromaDC", [=] {
        reset(4);
        qvoiTransformQuantChromaDC_H264_16s_C1I(block, transformed, 28, &count, 0, 1);
    });
    add("QuantLumaDC", [=] {
        reset(16);
        qvoiTransformQuantLumaDC_H264_16s_C1I(block, transformed, 28, &count, 1, scan, &last);
    });
    add("QuantResidual", [=] {
        reset(16);
        qvoiTransformQuantResidual_H264_16s_C1I(block, 28, &count, 0, scan, &last);
    });
}

void addInterpolation() {
    static Plane source, target;
    for (const Qvo32s size : {16, 8, 4}) {
        const std::string block = std::to_string(size) + "x" + std::to_string(size);
        for (Qvo32s position = 0; position < 16; ++position) {
            const Qvo32s dx = position >> 2;
            const Qvo32s dy = position & 3;
            add("Luma" + block + "/" + std::to_string(dx) + std::to_string(dy),
                [=] { qvoiInterpolateLuma_H264_8u_C1R(source.at(), step, target.at(), step, dx, dy, size, size); });
        }
        add("WeightedAverage" + block,
            [=] { qvoiWeightedAverage_H264_8u_C1IR(source.at(), target.at(), step, 20, 44, 6, 1, size, size); });
    }
    for (const Qvo32s size : {8, 4, 2}) {
        add("Chroma" + std::to_string(size) + "x" + std::to_string(size),
            [=] { qvoiInterpolateChroma_H264_8u_C1R(source.at(), step, target.at(), step, 3, 5, size, size); });
    }
}

// A macroblock on a slope of noise around which the filters work on every line.
void addDeblocking() {
    using Filter = QvoStatus (*)(Qvo8u*, Qvo32s, const Qvo8u*, const Qvo8u*, const Qvo8u*, const Qvo8u*);
    static Plane plane;
    for (Qvo8u& sample : plane.samples)
        sample = static_cast<Qvo8u>(100 + sample % 8);
    static const Qvo8u alpha[2] = {40, 40}, beta[2] = {10, 10};
    static Qvo8u thresholds[16], strengths[3][16];
    std::fill_n(thresholds, 16, Qvo8u{3});
    std::fill_n(strengths[0], 16, Qvo8u{2});
    std::fill_n(strengths[1], 16, Qvo8u{4});
    strengths[2][5] = 2;
    static const std::pair<const char*, Filter> filters[] = {
        {"DeblockLumaVer", qvoiFilterDeblockingLuma_VerEdge_H264_8u_C1IR},
        {"DeblockLumaHor", qvoiFilterDeblockingLuma_HorEdge_H264_8u_C1IR},
        {"DeblockChromaVer", qvoiFilterDeblockingChroma_VerEdge_H264_8u_C1IR},
        {"DeblockChromaHor", qvoiFilterDeblockingChroma_HorEdge_H264_8u_C1IR}};
    static const char* const patterns[] = {"/strength2", "/strength4", "/mostly0"};
    for (const auto& [name, filter] : filters) {
        for (std::size_t i = 0; i < 3; ++i) {
            add(std::string(name) + patterns[i],
                [filter = filter, i] { filter(plane.at(), step, alpha, beta, thresholds, strengths[i]); });
        }
    }
}

// A different block each time: what the branches meet is not learnt by heart.
void addCavlc() {
    static const Qvo32s zigzag[16] = {0, 1, 4, 8, 5, 2, 3, 6, 9, 12, 13, 10, 7, 11, 14, 15};
    static Qvo16s blocks[256][16];
    static std::size_t next;
    static Qvo8u ones, signs, count, zeros, runs[16];
    static Qvo16s levels[16];
    Random random(3);
    for (auto& block : blocks) {
        for (int i = 0; i < 16; ++i) {
            const int limit = i < 3 ? 4 : i < 8 ? 1 : 0;
            block[zigzag[i]] = static_cast<Qvo16s>(random.range(-limit, limit));
        }
    }
    add("CAVLC/sameBlock", [] {
        qvoiEncodeCoeffsCAVLC_H264_16s(blocks[0], 0, zigzag, 15, &ones, &signs, &count, &zeros, levels, runs);
    });
    add("CAVLC/otherBlocks", [] {
        qvoiEncodeCoeffsCAVLC_H264_16s(blocks[next++ % 256], 0, zigzag, 15, &ones, &signs, &count, &zeros, levels,
                                       runs);
    });
    add("CAVLC/chromaDC", [] {
        qvoiEncodeChromaDcCoeffsCAVLC_H264_16s(blocks[next++ % 256], &ones, &signs, &count, &zeros, levels, runs);
    });
}

const int registered = [] {
    addIntra();
    addTransforms();
    addInterpolation();
    addDeblocking();
    addCavlc();
    return 0;
}();

}  // namespace
