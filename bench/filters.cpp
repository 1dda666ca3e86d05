// The deblocking and deringing filters and frame expansion.
#include <benchmark/benchmark.h>

#include <vector>

#include "qvovc.h"
#include "support/random.h"

namespace {

// Content of the edge: flat (both filters smooth it) or textured.
std::vector<Qvo8u> area(int noise) {
    std::vector<Qvo8u> samples(720 * 18);
    Random random;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] = static_cast<Qvo8u>((i / 720 < 8 ? 100 : 104) + random.range(0, noise));
    }
    return samples;
}

template <auto filter>
void Mpeg4Edge(benchmark::State& state) {
    auto samples = area(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        filter(samples.data() + 8 * 720 + 16, 720, 12, 2, 6);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(Mpeg4Edge<qvoiFilterDeblocking_HorEdge_MPEG4_8u_I>)->Name("DeblockMPEG4/HorEdge/noise")->Arg(0)->Arg(30);
BENCHMARK(Mpeg4Edge<qvoiFilterDeblocking_VerEdge_MPEG4_8u_I>)->Name("DeblockMPEG4/VerEdge/noise")->Arg(0)->Arg(30);

template <auto filter>
void H263Edge(benchmark::State& state) {
    auto samples = area(30);
    for (auto _ : state) {
        filter(samples.data() + 8 * 720 + 16, 720, 12);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(H263Edge<qvoiFilterDeblocking_HorEdge_H263_8u_I>)->Name("DeblockH263/HorEdge");
BENCHMARK(H263Edge<qvoiFilterDeblocking_VerEdge_H263_8u_I>)->Name("DeblockH263/VerEdge");

void DeringingThreshold(benchmark::State& state) {
    const auto samples = area(60);
    Qvo32s thresholds[6];
    for (auto _ : state) {
        qvoiFilterDeringingThresholdMB_MPEG4_8u(samples.data(), 720, samples.data(), 720, samples.data() + 8, 720,
                                                thresholds);
        benchmark::DoNotOptimize(thresholds);
    }
}
BENCHMARK(DeringingThreshold)->Name("DeringingThresholdMB");

void DeringingSmooth(benchmark::State& state) {
    const auto samples = area(60);
    std::vector<Qvo8u> block(64);
    for (auto _ : state) {
        qvoiFilterDeringingSmoothBlock_MPEG4_8u(samples.data() + 721, 720, block.data(), 8, 12, 130);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * 64);
}
BENCHMARK(DeringingSmooth)->Name("DeringingSmoothBlock");

void ExpandFrame(benchmark::State& state) {
    const Qvo32s border = static_cast<Qvo32s>(state.range(0)), step = 352 + 2 * border;
    std::vector<Qvo8u> frame(static_cast<std::size_t>(step * (288 + 2 * border)));
    for (auto _ : state) {
        qvoiExpandFrame_H263_8u(frame.data(), 352, 288, border, step);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(frame.size() - 352 * 288));
}
BENCHMARK(ExpandFrame)->Name("ExpandFrame/CIF/border")->Arg(8)->Arg(16)->Arg(32);

}  // namespace
