// MPEG-4 and H.263 texture and vector encoding.
#include <benchmark/benchmark.h>

#include <array>
#include <vector>

#include "qvovc.h"
#include "support/random.h"

namespace {

using Block = std::array<Qvo16s, 64>;

constexpr int blocks = 256;  // different ones, so that branches are as hard to predict as in an encoder

// Blocks of `count` levels, most of them small, over about twice as many positions of the classical zigzag.
std::vector<Block> randomBlocks(int count) {
    Random random(static_cast<std::uint64_t>(count));
    std::vector<Block> all(blocks);
    for (Block& block : all)
        for (int i = 0; i < count; ++i) {
            const int level = random.chance(70) ? 1 : random.range(2, 6);
            block[ZigzagC[random.range(0, 2 * count - 1)]] = static_cast<Qvo16s>(random.chance(50) ? level : -level);
        }
    return all;
}

// write(block, &position, &offset) for all the blocks, one behind the other.
template <class Write>
void writeBlocks(benchmark::State& state, int count, Write write) {
    const std::vector<Block> all = randomBlocks(count);
    std::vector<Qvo8u> bytes(blocks * 64 * 4);
    for (auto _ : state) {
        Qvo8u* position = bytes.data();
        Qvo32s offset = 0;
        for (const Block& block : all)
            write(block.data(), &position, &offset);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * blocks);
    state.counters["block"] = benchmark::Counter(static_cast<double>(state.iterations()) * blocks,
                                                 benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

template <auto write>
void Write(benchmark::State& state) {
    writeBlocks(state, static_cast<int>(state.range(0)), write);
}

void counts(benchmark::internal::Benchmark* b) {
    for (int count : {1, 4, 8, 16, 30})
        b->Arg(count);
}

BENCHMARK(Write<qvoiEncode_InterVLC_MPEG4_16s1u>)->Name("MPEG4WriteInter/direct")->Apply(counts);
BENCHMARK(
    Write<[](const Qvo16s* b, Qvo8u** p, Qvo32s* o) { return qvoiEncodeVLCZigzag_Inter_MPEG4_16s1u(p, o, b, 1); }>)
    ->Name("MPEG4WriteInter/accumulator")
    ->Apply(counts);
BENCHMARK(Write<[](const Qvo16s* b, Qvo8u** p, Qvo32s* o) {
    return qvoiEncode_IntraACVLC_MPEG4_16s1u(b, p, o, qvoScanZigzag, 1);
}>)
    ->Name("MPEG4WriteIntraAC/direct")
    ->Apply(counts);
BENCHMARK(Write<[](const Qvo16s* b, Qvo8u** p, Qvo32s* o) {
    return qvoiEncodeVLCZigzag_IntraACVLC_MPEG4_16s1u(p, o, b, qvoScanZigzag, 1);
}>)
    ->Name("MPEG4WriteIntraAC/accumulator")
    ->Apply(counts);
BENCHMARK(Write<[](const Qvo16s* b, Qvo8u** p, Qvo32s* o) {
    return qvoiEncodeVLCZigzag_IntraDCVLC_MPEG4_16s1u(p, o, b, qvoScanZigzag, 1, 0);
}>)
    ->Name("MPEG4WriteIntraDC/accumulator")
    ->Apply(counts);
BENCHMARK(
    Write<[](const Qvo16s* b, Qvo8u** p, Qvo32s* o) { return qvoiEncode_IntraDCVLC_MPEG4_16s1u(b[0], p, o, 0); }>)
    ->Name("MPEG4WriteIntraDC/direct")
    ->Arg(1);
BENCHMARK(Write<[](const Qvo16s* b, Qvo8u** p, Qvo32s* o) { return qvoiEncode_ACVLC_H263_16s1u(b, p, o, 0); }>)
    ->Name("H263WriteBlock")
    ->Apply(counts);
BENCHMARK(Write<[](const Qvo16s* b, Qvo8u** p, Qvo32s* o) { return qvoiEncode_IntraDCVLC_H263_16s1u(b[0], p, o); }>)
    ->Name("H263WriteIntraDC")
    ->Arg(1);

// The vectors of a row of macroblocks with a common motion and some noise.
void Vectors(benchmark::State& state) {
    const int fcode = static_cast<int>(state.range(0)), mbType = static_cast<int>(state.range(1));
    Random random(1);
    std::array<QvoMotionVector[4], 64> above, current;
    for (auto* row : {&above, &current})
        for (auto& macroblock : *row) {
            const int dx = random.range(3, 8), dy = random.range(-2, 2);
            for (QvoMotionVector& v : macroblock)
                v = {static_cast<Qvo16s>(dx + random.range(0, mbType)), static_cast<Qvo16s>(dy)};
        }
    alignas(4) const Qvo8u flags[4] = {1, 1, 1, 1};
    std::vector<Qvo8u> bytes(64 * 40);
    for (auto _ : state) {
        Qvo8u* position = bytes.data();
        Qvo32s offset = 0;
        for (std::size_t i = 1; i < 63; ++i)
            qvoiEncodeMV_MPEG4_8u16s(&position, &offset, current[i], current[i - 1], above[i], above[i + 1], flags,
                                     flags, flags, flags, fcode, mbType);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * 62);
    state.counters["macroblock"] = benchmark::Counter(static_cast<double>(state.iterations()) * 62,
                                                      benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(Vectors)->Name("MPEG4WriteVectors")->ArgNames({"fcode", "type"})->Args({1, 0})->Args({2, 0})->Args({2, 2});

}  // namespace
