// H.263: texture decoding, motion vectors, prediction.
#include <benchmark/benchmark.h>

#include <vector>

#include "h263/texture_codes.h"

namespace {

using namespace h263;
using texture::interCodes;
using texture::Stream;

constexpr int blocks = 256;  // different ones, so that branches are as hard to predict as in a stream

// Blocks of `count` coefficients, most of them small, over about twice as many scan positions.
std::string randomBlocks(const Codes& codes, int count, bool intraDC) {
    Random random(static_cast<std::uint64_t>(count));
    std::string bits;
    for (int block = 0; block < blocks; ++block) {
        if (intraDC) bits += binary(random.range(60, 120), 8);
        int used = intraDC;
        for (int i = intraDC; i < count; ++i) {
            const int run = random.range(0, std::min(2, 64 - used - (count - i)));  // the rest has to fit
            const int level = random.chance(70) ? 1 : random.range(2, 6);
            used += run + 1;
            bits += write(codes, {i + 1 == count, run, random.chance(50) ? level : -level});
        }
    }
    return bits;
}

// Decodes all the blocks; decode(stream).
template <class Decode>
void decodeBlocks(benchmark::State& state, const std::string& bits, Decode decode) {
    Stream stream(bits);
    Qvo8u* const begin = stream.position;
    for (auto _ : state) {
        stream.position = begin;
        stream.bitOffset = 0;
        for (int block = 0; block < blocks; ++block)
            if (decode(stream) != qvoStatusOk) state.SkipWithError("a block does not decode");
    }
    state.SetItemsProcessed(state.iterations() * blocks);
    state.counters["block"] = benchmark::Counter(static_cast<double>(state.iterations()) * blocks,
                                                 benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void counts(benchmark::internal::Benchmark* b) {
    for (int count : {1, 3, 4, 8, 16, 30})
        b->Arg(count);
}

void InterBlock(benchmark::State& state) {
    Levels residual;
    decodeBlocks(state, randomBlocks(interCodes(), static_cast<int>(state.range(0)), false), [&](Stream& s) {
        return qvoiDecodeBlockCoef_Inter_H263_1u16s(&s.position, &s.bitOffset, residual.data(), 7, 0);
    });
}
BENCHMARK(InterBlock)->Name("H263InterBlock")->Apply(counts);

void InterCoefs(benchmark::State& state) {
    Levels coefs;
    decodeBlocks(state, randomBlocks(interCodes(), static_cast<int>(state.range(0)), false), [&](Stream& s) {
        return qvoiDecodeCoef_Inter_H263_1u16s(&s.position, &s.bitOffset, coefs.data(), 7, 0);
    });
}
BENCHMARK(InterCoefs)->Name("H263InterCoefs")->Apply(counts);

void IntraBlock(benchmark::State& state) {
    std::array<Qvo8u, 64> pixels;
    const int count = static_cast<int>(state.range(0));
    decodeBlocks(state, randomBlocks(interCodes(), count, true), [&](Stream& s) {
        if (count == 1) return qvoiDecodeBlockCoef_IntraDCOnly_H263_1u8u(&s.position, &s.bitOffset, pixels.data(), 8);
        return qvoiDecodeBlockCoef_Intra_H263_1u8u(&s.position, &s.bitOffset, pixels.data(), 8, 7, 0);
    });
}
BENCHMARK(IntraBlock)->Name("H263IntraBlock")->Apply(counts);

void AdvancedIntraBlock(benchmark::State& state) {
    std::array<Qvo8u, 64> pixels;
    std::array<Qvo16s, 8> row, column;
    decodeBlocks(state, randomBlocks(annexICodes(), static_cast<int>(state.range(0)), false), [&](Stream& s) {
        row.fill(20);
        column.fill(20);
        return qvoiDecodeBlockCoef_IntraAIC_H263_1u8u(&s.position, &s.bitOffset, pixels.data(), 8, row.data(),
                                                      column.data(), 7, qvoAICPredictAbove, 1, 0);
    });
}
BENCHMARK(AdvancedIntraBlock)->Name("H263AdvancedIntraBlock")->Apply(counts);

void QuantInv(benchmark::State& state) {
    Levels block;
    for (auto _ : state) {
        block.fill(3);
        qvoiQuantInvInter_H263_16s_I(block.data(), 7);
        benchmark::DoNotOptimize(block.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(QuantInv)->Name("H263QuantInvInter");

// Vectors of small differences; those of Annex D's codes are about as long.
void Vector(benchmark::State& state) {
    const bool reversible = state.range(0) == qvoMVReversible;
    Random random(1);
    std::string bits;
    for (int i = 0; i < 2 * blocks; ++i) {
        const char* const codes[2][5] = {{"1", "010", "011", "0010", "00011"},
                                         {"1", "010", "00110", "01100", "0011110"}};
        bits += codes[reversible][random.range(0, 4)];
    }
    const QvoMotionVector around[4] = {{1, 2}, {3, 4}, {5, 6}, {7, 8}};
    QvoMotionVector current[4];
    decodeBlocks(state, bits, [&](Stream& s) {
        return qvoiDecodeMV_H263(&s.position, &s.bitOffset, around, around, around, current, reversible ? 2 : 0, 0);
    });
}
BENCHMARK(Vector)->Name("H263Vector")->ArgName("mode")->Arg(qvoMVBaseline)->Arg(qvoMVReversible);

const std::vector<Qvo8u>& reference() {
    static const std::vector<Qvo8u> samples = [] {
        Random random(3);
        std::vector<Qvo8u> s(64 * 64);
        random.fill(s, 0, 255);
        return s;
    }();
    return samples;
}

// A position from the halves in the argument: 0 to 3.
template <auto copy, int size>
void Approx(benchmark::State& state) {
    std::array<Qvo8u, 256> block;
    const QvoMotionVector v = {static_cast<Qvo16s>(state.range(0) & 1), static_cast<Qvo16s>(state.range(0) >> 1)};
    for (auto _ : state) {
        copy(&reference()[64 * 20 + 20], 64, block.data(), 16, &v);
        benchmark::DoNotOptimize(block.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * size * size);
}
BENCHMARK(Approx<qvoiCopyBlockApprox_H263_8u, 8>)->Name("H263Approx8x8")->DenseRange(0, 3);
BENCHMARK(Approx<qvoiCopyMBApprox_H263_8u, 16>)->Name("H263Approx16x16")->DenseRange(0, 3);

void Overlapped(benchmark::State& state) {
    std::array<Qvo8u, 64> block;
    const QvoMotionVector v[5] = {{1, 1}, {3, 2}, {2, 1}, {0, 1}, {5, 5}};
    for (auto _ : state) {
        qvoiOBMCHalfpel_H263_8u(&reference()[64 * 20 + 20], 64, block.data(), 8, &v[0], &v[1], &v[2], &v[3], &v[4],
                                0);
        benchmark::DoNotOptimize(block.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * 64);
}
BENCHMARK(Overlapped)->Name("H263Overlapped8x8");

void ReconMB(benchmark::State& state) {
    std::vector<Qvo8u> mb(16 * 16 + 2 * 64);
    std::vector<Qvo16s> residual(6 * 64, 3);
    Qvo8u* const p = mb.data();
    for (auto _ : state) {
        qvoiReconMB_H263_8u_P3R(p, p + 256, p + 320, 16, 8, residual.data(), static_cast<Qvo32s>(state.range(0)), p,
                                p + 256, p + 320, 16, 8);
        benchmark::DoNotOptimize(p);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(ReconMB)->Name("H263ReconMB")->ArgName("cbp")->Arg(9)->Arg(63);

}  // namespace
