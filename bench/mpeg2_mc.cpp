// Half-pel motion compensation: every block size and half-pel position, with one and with two references.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "qvovc.h"
#include "support/random.h"

namespace {

using OneReference = decltype(&qvoiMC16x16_8u_C1);
using TwoReferences = decltype(&qvoiMC16x16B_8u_C1);

const struct {
    const char* name;
    int width, height;
    OneReference one;
    TwoReferences two;
} sizes[] = {{"16x16", 16, 16, qvoiMC16x16_8u_C1, qvoiMC16x16B_8u_C1},
             {"16x8", 16, 8, qvoiMC16x8_8u_C1, qvoiMC16x8B_8u_C1},
             {"16x8UV", 16, 8, qvoiMC16x8UV_8u_C1, qvoiMC16x8BUV_8u_C1},
             {"16x4UV", 16, 4, qvoiMC16x4_8u_C1, qvoiMC16x4B_8u_C1},
             {"8x16", 8, 16, qvoiMC8x16_8u_C1, qvoiMC8x16B_8u_C1},
             {"8x8", 8, 8, qvoiMC8x8_8u_C1, qvoiMC8x8B_8u_C1},
             {"8x4", 8, 4, qvoiMC8x4_8u_C1, qvoiMC8x4B_8u_C1},
             {"4x8", 4, 8, qvoiMC4x8_8u_C1, qvoiMC4x8B_8u_C1},
             {"4x4", 4, 4, qvoiMC4x4_8u_C1, qvoiMC4x4B_8u_C1},
             {"4x2", 4, 2, qvoiMC4x2_8u_C1, qvoiMC4x2B_8u_C1},
             {"2x4", 2, 4, qvoiMC2x4_8u_C1, qvoiMC2x4B_8u_C1},
             {"2x2", 2, 2, qvoiMC2x2_8u_C1, qvoiMC2x2B_8u_C1}};

const struct {
    const char* name;
    int mcType;
} kinds[] = {{"full", 0}, {"v", 4}, {"h", 8}, {"hv", 12}};

constexpr int rowStep = 720;

struct Planes {
    std::vector<Qvo8u> forward = std::vector<Qvo8u>(rowStep * 20), backward = forward, dst = forward;
    std::vector<Qvo16s> residual = std::vector<Qvo16s>(256);

    Planes() {
        Random random;
        random.fill(forward, 0, 255);
        random.fill(backward, 0, 255);
        random.fill(residual, -40, 40);
    }
};

const bool registered = [] {
    for (const auto& size : sizes) {
        for (const auto& kind : kinds) {
            const auto samples = size.width * size.height;
            const std::string name = std::string("/") + kind.name;
            benchmark::RegisterBenchmark(("MC" + (size.name + name)).c_str(),
                                         [size, kind, samples](benchmark::State& state) {
                                             Planes planes;
                                             for (auto _ : state) {
                                                 size.one(planes.forward.data() + 5, rowStep, planes.residual.data(),
                                                          2 * size.width, planes.dst.data(), rowStep, kind.mcType, 0);
                                                 benchmark::ClobberMemory();
                                             }
                                             state.SetBytesProcessed(state.iterations() * samples);
                                         });
            benchmark::RegisterBenchmark(
                (std::string("MCB") + size.name + name).c_str(), [size, kind, samples](benchmark::State& state) {
                    Planes planes;
                    for (auto _ : state) {
                        size.two(planes.forward.data() + 5, rowStep, kind.mcType, planes.backward.data() + 3, rowStep,
                                 kind.mcType, planes.residual.data(), 2 * size.width, planes.dst.data(), rowStep, 0);
                        benchmark::ClobberMemory();
                    }
                    state.SetBytesProcessed(state.iterations() * samples);
                });
        }
    }
    return true;
}();

void ReconBlock(benchmark::State& state) {
    Planes planes;
    for (auto _ : state) {
        qvoiReconBlock_8x8(planes.forward.data(), rowStep, planes.residual.data(), planes.dst.data(), rowStep);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * 64);
}
BENCHMARK(ReconBlock)->Name("ReconBlock8x8");

}  // namespace
