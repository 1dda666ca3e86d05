// Forward quantisation of MPEG-4 and H.263, and transform-reconstruct: time per block.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <vector>

#include "mpeg4/weights.h"

namespace {

constexpr int blocks = 64;

// What forward transforms give: smaller toward the high frequencies.
std::vector<Qvo16s> coefficients() {
    Random random(3);
    std::vector<Qvo16s> values;
    for (int i = 0; i < 64 * blocks; ++i) {
        const int reach = 1000 / (1 + i % 8 + i / 8 % 8) / (1 + i % 8 + i / 8 % 8);
        values.push_back(static_cast<Qvo16s>(random.range(-reach, reach)));
    }
    return values;
}

// Calls quantise(block) for a fresh copy of one block after the other; the copy is part of the time.
template <class Quantise>
void run(benchmark::State& state, Quantise quantise) {
    const std::vector<Qvo16s> values = coefficients();
    alignas(32) Qvo16s block[64];
    std::size_t next = 0;
    for (auto _ : state) {
        std::copy_n(values.data() + next, 64, block);
        next = (next + 64) % values.size();
        quantise(block);
        benchmark::ClobberMemory();
    }
}

const WeightRecord& record() {
    static const WeightRecord weights = [] {
        Random random(1);
        WeightRecord r(random);
        for (std::size_t i = 0; i < 64; ++i)
            r.setWeight(i, i == 0 ? 8 : static_cast<int>(17 + i / 3));
        return r;
    }();
    return weights;
}

void IntegerIntra(benchmark::State& state) {
    const Qvo32s* const W = state.range(0) != 0 ? record().data() : nullptr;
    run(state, [&](Qvo16s* block) { qvoiQuantIntra_MPEG4_16s_I(block, 7, 0, W); });
}
void IntegerInter(benchmark::State& state) {
    const Qvo32s* const W = state.range(0) != 0 ? record().data() : nullptr;
    run(state, [&](Qvo16s* block) { qvoiQuantInter_MPEG4_16s_I(block, 7, W); });
}
BENCHMARK(IntegerIntra)->Name("QuantMPEG4/integer/intra")->ArgName("matrix")->Arg(0)->Arg(1);
BENCHMARK(IntegerInter)->Name("QuantMPEG4/integer/inter")->ArgName("matrix")->Arg(0)->Arg(1);

template <auto quantise>
void Floats(benchmark::State& state) {
    float m[64];
    std::fill_n(m, 64, 1.0f / 20);
    Qvo32s last;
    run(state, [&](Qvo16s* block) { quantise(block, static_cast<Qvo32s>(state.range(0)), m, &last); });
}
BENCHMARK(Floats<qvoiQuantIntra_MPEG4_16s_C1I>)->Name("QuantMPEG4/float/intra")->Arg(7)->Arg(8);
BENCHMARK(Floats<qvoiQuant_MPEG4_16s_C1I>)->Name("QuantMPEG4/float/inter")->Arg(7)->Arg(8);

template <auto quantise>
void H263(benchmark::State& state) {
    Qvo32s last;
    run(state, [&](Qvo16s* block) { quantise(block, static_cast<Qvo32s>(state.range(0)), &last); });
}
BENCHMARK(H263<qvoiQuantIntra_H263_C1I>)->Name("QuantH263/intra")->Arg(7)->Arg(40);
BENCHMARK(H263<qvoiQuant_H263_C1I>)->Name("QuantH263/inter")->Arg(7)->Arg(40);

void TransRecInter(benchmark::State& state) {
    const Qvo32s* const W = state.range(0) != 0 ? record().data() : nullptr;
    alignas(32) Qvo16s levels[64], rec[64];
    run(state, [&](Qvo16s* block) { qvoiTransRecBlockCoef_inter_MPEG4(block, levels, rec, 7, W); });
}
BENCHMARK(TransRecInter)->Name("TransRecMPEG4/inter")->ArgName("matrix")->Arg(0)->Arg(1);

void TransRecIntra(benchmark::State& state) {
    const Qvo32s* const W = state.range(0) != 0 ? record().data() : nullptr;
    Random random(2);
    alignas(32) Qvo8u pixels[64], rec[64];
    random.fill(pixels, 80, 150);
    alignas(32) Qvo16s levels[64], above[16] = {1000}, left[16] = {}, prediction[8];
    above[8] = 900;
    left[8] = 1100;
    const Qvo8u QPs[2] = {8, 9};
    for (auto _ : state) {
        Qvo32s gain = 0;
        qvoiTransRecBlockCoef_intra_MPEG4(pixels, levels, rec, above + 8, left + 8, prediction, &gain, 0, 7, QPs, 8,
                                          8, W);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(TransRecIntra)->Name("TransRecMPEG4/intra")->ArgName("matrix")->Arg(0)->Arg(1);

}  // namespace
