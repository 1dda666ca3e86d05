// MPEG-4 texture: from the bit stream to levels, residual and pixels, and inverse quantisation.
#include <benchmark/benchmark.h>

#include <algorithm>

#include "mpeg4/texture_codes.h"
#include "support/random.h"

namespace {

using namespace texture;

constexpr int blocks = 256;  // different ones, so that branches are as hard to predict as in a stream

// Blocks of `count` coefficients, most of them small, over about twice as many scan positions.
std::string randomBlocks(const Codes& codes, int count, bool intraDC) {
    Random random(static_cast<std::uint64_t>(count));
    std::string bits;
    for (int block = 0; block < blocks; ++block) {
        if (intraDC) bits += dcDifference(random.range(-30, 30), false);
        int used = intraDC;
        for (int i = intraDC; i < count; ++i) {
            const int run = random.range(0, std::min(2, 64 - used - (count - i)));  // the rest has to fit
            const int level = random.chance(70) ? 1 : random.range(2, 6);
            used += run + 1;
            bits += codes.firstForm({i + 1 == count, run, random.chance(50) ? level : -level});
        }
    }
    return bits;
}

// Decodes all the blocks; decode(stream, number of the block).
template <class Decode>
void decodeBlocks(benchmark::State& state, const std::string& bits, Decode decode) {
    Stream stream(bits);
    Qvo8u* const begin = stream.position;
    for (auto _ : state) {
        stream.position = begin;
        stream.bitOffset = 0;
        for (int block = 0; block < blocks; ++block)
            if (decode(stream, block) != qvoStatusOk) state.SkipWithError("a block does not decode");
    }
    state.SetItemsProcessed(state.iterations() * blocks);
    state.counters["block"] = benchmark::Counter(static_cast<double>(state.iterations()) * blocks,
                                                 benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

const Qvo8u* matrix(bool wanted) {
    static const std::array<Qvo8u, 64> weights = [] {
        std::array<Qvo8u, 64> w;
        w.fill(20);
        return w;
    }();
    return wanted ? weights.data() : nullptr;
}

void counts(benchmark::internal::Benchmark* b) {
    for (int count : {1, 3, 4, 8, 16, 30})
        b->Arg(count);
}

template <bool withMatrix>
void InterBlock(benchmark::State& state) {
    Levels residual;
    decodeBlocks(state, randomBlocks(interCodes(), static_cast<int>(state.range(0)), false), [&](Stream& s, int) {
        return qvoiDecodeBlockCoef_Inter_MPEG4_1u16s(&s.position, &s.bitOffset, residual.data(), 7,
                                                     matrix(withMatrix));
    });
}
BENCHMARK(InterBlock<false>)->Name("MPEG4InterBlock/H263")->Apply(counts);
BENCHMARK(InterBlock<true>)->Name("MPEG4InterBlock/matrix")->Apply(counts);

template <bool withMatrix, bool ac>
void IntraBlock(benchmark::State& state) {
    const int count = static_cast<int>(state.range(0));
    std::array<Qvo16s, 24> row, column;
    const std::array<Qvo8u, 2> QPs = {8, 6};
    std::array<Qvo8u, 64> pixels;
    const auto decoder =
        count == 1 ? qvoiDecodeBlockCoef_IntraDCOnly_MPEG4_1u8u : qvoiDecodeBlockCoef_Intra_MPEG4_1u8u;
    decodeBlocks(state, randomBlocks(intraCodes(), count, true), [&](Stream& s, int block) {
        if (block == 0) {
            row.fill(0);
            column.fill(0);
            row[8] = row[16] = column[8] = 1024;
        }
        return decoder(&s.position, &s.bitOffset, pixels.data(), 8, row.data() + 16, column.data() + 8, 7, QPs.data(),
                       matrix(withMatrix), 0, 1, ac);
    });
}
BENCHMARK(IntraBlock<false, false>)->Name("MPEG4IntraBlock/H263")->Apply(counts);
BENCHMARK(IntraBlock<false, true>)->Name("MPEG4IntraBlock/H263/ac")->Apply(counts);
BENCHMARK(IntraBlock<true, false>)->Name("MPEG4IntraBlock/matrix")->Apply(counts);

void InterLevels(benchmark::State& state) {
    Levels levels;
    decodeBlocks(state, randomBlocks(interCodes(), static_cast<int>(state.range(0)), false), [&](Stream& s, int) {
        return qvoiDecodeVLCZigzag_Inter_MPEG4_1u16s(&s.position, &s.bitOffset, levels.data(), qvoScanZigzag);
    });
}
BENCHMARK(InterLevels)->Name("MPEG4InterLevels")->Apply(counts);

void IntraDC(benchmark::State& state) {
    Qvo16s dc;
    decodeBlocks(state, randomBlocks(intraCodes(), 1, true), [&](Stream& s, int) {
        return qvoiDecodeVLC_IntraDCVLC_MPEG4_1u16s(&s.position, &s.bitOffset, &dc, qvoVideoLuminance);
    });
}
BENCHMARK(IntraDC)->Name("MPEG4IntraDC");

// Quantises a block of 16 levels inversely; copying the block is part of the time.
template <class Operation>
void quantise(benchmark::State& state, Operation operation) {
    Levels levels = {}, block;
    Random random(1);
    for (int i = 0; i < 16; ++i)
        levels[static_cast<std::size_t>(random.range(0, 63))] = static_cast<Qvo16s>(random.range(-20, 20));
    for (auto _ : state) {
        block = levels;
        operation(block.data());
        benchmark::DoNotOptimize(block.data());
        benchmark::ClobberMemory();
    }
}
void QuantInvIntra(benchmark::State& state) {
    quantise(state, [&](Qvo16s* p) { return qvoiQuantInvIntra_MPEG4_16s_I(p, 7, matrix(state.range(0) != 0), 0); });
}
void QuantInvInter(benchmark::State& state) {
    quantise(state, [&](Qvo16s* p) { return qvoiQuantInvInter_MPEG4_16s_I(p, 7, matrix(state.range(0) != 0)); });
}
void QuantInvC1I(benchmark::State& state) {
    Levels weights;
    weights.fill(20);
    quantise(state, [&](Qvo16s* p) {
        return qvoiQuantInv_MPEG4_16s_C1I(p, 7, state.range(0) != 0 ? weights.data() : nullptr);
    });
}
BENCHMARK(QuantInvIntra)->Name("MPEG4QuantInvIntra")->ArgName("matrix")->Arg(0)->Arg(1);
BENCHMARK(QuantInvInter)->Name("MPEG4QuantInvInter")->ArgName("matrix")->Arg(0)->Arg(1);
BENCHMARK(QuantInvC1I)->Name("MPEG4QuantInvC1I")->ArgName("matrix")->Arg(0)->Arg(1);

}  // namespace
