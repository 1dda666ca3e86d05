#include <benchmark/benchmark.h>

#include <string>
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

const int registered = [] {
    addIntra();
    return 0;
}();

}  // namespace
