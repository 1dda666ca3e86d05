// Block differences, matching metrics and statistics.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "qvovc.h"
#include "support/random.h"

namespace {

constexpr int rowStep = 720;

struct Planes {
    std::vector<Qvo8u> src = std::vector<Qvo8u>(rowStep * 20), refF = src, refB = src;
    std::vector<Qvo16s> diff = std::vector<Qvo16s>(256), pred = diff, sums = std::vector<Qvo16s>(16);
    Qvo16u sads[16] = {};
    Qvo32s in[4] = {5000, 6000, 7000, 8000}, out[4] = {}, out2[4] = {};
    Qvo8u flag = 0;

    Planes() {
        Random random;
        for (auto* plane : {&src, &refF, &refB})
            random.fill(*plane, 0, 255);
        random.fill(diff, -255, 255);
    }
};

template <class Operation>
void add(const std::string& name, int samples, Operation operation) {
    benchmark::RegisterBenchmark(name.c_str(), [samples, operation](benchmark::State& state) {
        Planes planes;
        for (auto _ : state) {
            operation(planes);
            benchmark::ClobberMemory();
        }
        state.SetBytesProcessed(state.iterations() * samples);
    });
}

template <auto one, auto two>
void addDifferences(const std::string& size, int width, int height, const std::string& kind, int mcType) {
    add("GetDiff" + size + kind, width * height, [width, mcType](Planes& p) {
        one(p.src.data(), rowStep, p.refF.data() + 5, rowStep, p.diff.data(), 2 * width, nullptr, 0, mcType, 0);
    });
    add("GetDiffB" + size + kind, width * height, [width, mcType](Planes& p) {
        two(p.src.data(), rowStep, p.refF.data() + 5, rowStep, mcType, p.refB.data() + 3, rowStep, mcType,
            p.diff.data(), 2 * width, 0);
    });
}

void addKind(const std::string& kind, int mcType) {
    addDifferences<qvoiGetDiff16x16_8u16s_C1, qvoiGetDiff16x16B_8u16s_C1>("16x16", 16, 16, kind, mcType);
    addDifferences<qvoiGetDiff16x8_8u16s_C1, qvoiGetDiff16x8B_8u16s_C1>("16x8", 16, 8, kind, mcType);
    addDifferences<qvoiGetDiff8x16_8u16s_C1, qvoiGetDiff8x16B_8u16s_C1>("8x16", 8, 16, kind, mcType);
    addDifferences<qvoiGetDiff8x8_8u16s_C1, qvoiGetDiff8x8B_8u16s_C1>("8x8", 8, 8, kind, mcType);
    addDifferences<qvoiGetDiff8x4_8u16s_C1, qvoiGetDiff8x4B_8u16s_C1>("8x4", 8, 4, kind, mcType);
    add("SAD16x16" + kind, 256, [mcType](Planes& p) {
        qvoiSAD16x16_8u32s(p.src.data(), rowStep, p.refF.data() + 5, rowStep, p.out, mcType);
    });
    add("SAD8x8" + kind, 64, [mcType](Planes& p) {
        qvoiSAD8x8_8u32s_C1R(p.src.data(), rowStep, p.refF.data() + 5, rowStep, p.out, mcType);
    });
    add("SqrDiff16x16" + kind, 256, [mcType](Planes& p) {
        qvoiSqrDiff16x16_8u32s(p.src.data(), rowStep, p.refF.data() + 5, rowStep, mcType, p.out);
    });
    add("SqrDiffB16x16" + kind, 256, [mcType](Planes& p) {
        qvoiSqrDiff16x16B_8u32s(p.src.data(), rowStep, p.refF.data() + 5, rowStep, mcType, p.refB.data() + 3, rowStep,
                                mcType, p.out);
    });
    add("VarMeanDiff16x16" + kind, 256, [mcType](Planes& p) {
        qvoiVarMeanDiff16x16_8u32s_C1R(p.src.data(), rowStep, p.refF.data() + 5, rowStep, p.in, p.out, p.out2,
                                       mcType);
    });
    add("VarMeanDiff16x8" + kind, 128, [mcType](Planes& p) {
        qvoiVarMeanDiff16x8_8u32s_C1R(p.src.data(), rowStep, p.refF.data() + 5, rowStep, p.in, p.out, p.out2, mcType);
    });
}

const bool registered = [] {
    addKind("/full", qvoMcFullPel);
    addKind("/v", qvoMcHalfPelVer);
    addKind("/h", qvoMcHalfPelHor);
    addKind("/hv", qvoMcHalfPelBoth);
    add("GetDiff4x4", 16, [](Planes& p) {
        qvoiGetDiff4x4_8u16s_C1(p.src.data(), rowStep, p.refF.data() + 5, rowStep, p.diff.data(), 4);
    });
    add("SAD4x4", 16, [](Planes& p) { qvoiSAD4x4_8u32s(p.src.data(), rowStep, p.refF.data() + 5, rowStep, p.out); });
    add("SAD16x16Blocks8x8", 256,
        [](Planes& p) { qvoiSAD16x16Blocks8x8_8u16u(p.src.data(), rowStep, p.refF.data() + 5, rowStep, p.sads); });
    add("SAD16x16Blocks4x4", 256,
        [](Planes& p) { qvoiSAD16x16Blocks4x4_8u16u(p.src.data(), rowStep, p.refF.data() + 5, rowStep, p.sads); });
    add("SumsDiff16x16Blocks4x4", 256, [](Planes& p) {
        qvoiSumsDiff16x16Blocks4x4_8u16s_C1(p.src.data(), rowStep, p.refF.data(), rowStep, p.sums.data(),
                                            p.diff.data());
    });
    add("SumsDiff8x8Blocks4x4", 64, [](Planes& p) {
        qvoiSumsDiff8x8Blocks4x4_8u16s_C1(p.src.data(), rowStep, p.refF.data(), rowStep, p.sums.data(),
                                          p.diff.data());
    });
    add("TextureError", 64,
        [](Planes& p) { qvoiComputeTextureErrorBlock_8u16s(p.src.data(), rowStep, p.refF.data(), p.diff.data()); });
    add("TextureErrorSAD", 64, [](Planes& p) {
        qvoiComputeTextureErrorBlock_SAD_8u16s(p.src.data(), rowStep, p.refF.data(), p.diff.data(), p.out);
    });
    add("Variance16x16", 256, [](Planes& p) { qvoiVariance16x16_8u32s(p.src.data(), rowStep, p.out); });
    add("VarMean8x8/8u", 64, [](Planes& p) { qvoiVarMean8x8_8u32s_C1R(p.src.data(), rowStep, p.out, p.out2); });
    add("VarMean8x8/16s", 128, [](Planes& p) { qvoiVarMean8x8_16s32s_C1R(p.diff.data(), 16, p.out, p.out2); });
    add("EdgesDetect16x16", 256,
        [](Planes& p) { qvoiEdgesDetect16x16_8u_C1R(p.src.data(), rowStep, 200, 255, &p.flag); });
    add("MeanAbsDev16x16", 256, [](Planes& p) { qvoiMeanAbsDev16x16_8u32s_C1R(p.src.data(), rowStep, p.out); });
    return true;
}();

}  // namespace
