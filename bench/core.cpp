// The shared services.
#include <benchmark/benchmark.h>

#include <vector>

#include "qvovc.h"

namespace {

template <auto write>
void PutBits(benchmark::State& state) {
    std::vector<Qvo32u> words(64);
    const Qvo32u length = static_cast<Qvo32u>(state.range(0));
    for (auto _ : state) {
        Qvo32u* position = words.data();
        Qvo32u left = 32;
        for (int i = 0; i < 32; ++i)
            write(&position, &left, 0x155555 + i, length);
        benchmark::DoNotOptimize(words.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * 32);
}
BENCHMARK(PutBits<qvoiPutBitsLeftMost>)->Name("PutBits32Codes/LeftMost")->Arg(5)->Arg(13);
BENCHMARK(PutBits<qvoiPutBitsRightMost>)->Name("PutBits32Codes/RightMost")->Arg(5)->Arg(13);

template <auto copy, int size>
void CopyBlock(benchmark::State& state) {
    std::vector<Qvo8u> source(size * 720, 1), target(size * 720);
    for (auto _ : state) {
        copy(source.data() + 3, 720, target.data(), 720);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * size * size);
}
BENCHMARK(CopyBlock<qvoiCopyBlock_8x8_8u, 8>)->Name("CopyBlock/8x8");
BENCHMARK(CopyBlock<qvoiCopyBlock_16x16_8u, 16>)->Name("CopyBlock/16x16");

void CountZeros(benchmark::State& state) {
    std::vector<Qvo16s> block(64);
    for (std::size_t i = 0; i < 64; i += 3)
        block[i] = 5;
    Qvo32u count;
    for (auto _ : state) {
        qvoiCountZeros8x8_16s_C1(block.data(), &count);
        benchmark::DoNotOptimize(count);
    }
}
BENCHMARK(CountZeros)->Name("CountZeros8x8");

void MulC(benchmark::State& state) {
    std::vector<Qvo16s> v(64, 100);
    for (auto _ : state) {
        qvosMulC_16s_ISfs(3, v.data(), 64, static_cast<Qvo32s>(state.range(0)));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * 128);
}
BENCHMARK(MulC)->Name("MulC64")->Arg(-2)->Arg(0)->Arg(1)->Arg(8);

template <auto predict>
void RoundingPredictor(benchmark::State& state) {
    std::vector<Qvo8u> reference(720 * 9, 9), target(64);
    for (auto _ : state) {
        predict(reference.data(), 720, target.data(), 8, static_cast<Qvo32s>(state.range(0)));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * 64);
}
BENCHMARK(RoundingPredictor<qvoiMCBlock_RoundOff_8u>)->Name("MCBlock/RoundOff")->DenseRange(0, 3);
BENCHMARK(RoundingPredictor<qvoiMCBlock_RoundOn_8u>)->Name("MCBlock/RoundOn")->DenseRange(0, 3);

}  // namespace
