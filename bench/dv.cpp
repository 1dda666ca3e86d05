// DV: whole segments, filled to the brim as encoders do, and inverse quantisation of blocks.
#include <benchmark/benchmark.h>

#include "dv/encoder.h"

namespace {

using Decode = decltype(&qvoiDecodeSegment_DV_8u16s);

// A set of segments, so that no branch learns its way through one of them.
const std::vector<std::vector<std::uint8_t>>& segments() {
    static const auto all = [] {
        std::vector<std::vector<std::uint8_t>> made;
        Random random(1);
        for (int i = 0; i < 32; ++i)
            made.push_back(dv::encode(dv::randomSegment(random, 2900), random).bytes);
        return made;
    }();
    return all;
}

void segment(benchmark::State& state, Decode decode) {
    const dv::Table table;
    static Qvo16s blocks[30 * 64];
    static QvoDVBlock reports[30];
    std::size_t i = 0;
    for (auto _ : state) {
        decode(segments()[i++ % 32].data(), blocks, reports, table);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * 400);
}

BENCHMARK_CAPTURE(segment, DecodeSegment_DV, qvoiDecodeSegment_DV_8u16s);
BENCHMARK_CAPTURE(segment, DecodeSegmentQuantInv_DV, qvoiDecodeSegmentQuantInv_DV_8u16s);

void quantInv(benchmark::State& state, decltype(&qvoiQuantInv_DV_16s_C1I) scale) {
    static Qvo16s block[64];
    for (auto _ : state) {
        scale(block, 7, 1, qvoDVDct8x8);
        benchmark::ClobberMemory();
    }
}

BENCHMARK_CAPTURE(quantInv, QuantInv_DV, qvoiQuantInv_DV_16s_C1I);
BENCHMARK_CAPTURE(quantInv, QuantInvWeight_DV, qvoiQuantInvWeight_DV_16s_C1I);

}  // namespace
