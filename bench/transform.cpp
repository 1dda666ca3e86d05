// The transforms, on blocks as pictures give them: dense ones with all 64 coefficients and sparse ones with a few.
#include <benchmark/benchmark.h>

#include <array>

#include "qvovc.h"
#include "support/random.h"

namespace {

using Block = std::array<Qvo16s, 64>;

// A set of blocks, so that no branch learns its way through one of them.
struct Blocks {
    std::array<Block, 64> block{};
    const Block& operator[](std::size_t i) const { return block[i % 64]; }
};

const Blocks& residuals() {
    static const Blocks blocks = [] {
        Blocks all;
        Random random(1);
        for (auto& block : all.block)
            random.fill(block, -255, 255);
        return all;
    }();
    return blocks;
}

// `count` coefficients in a corner of size x size, the DC coefficient always among them.
template <int count, int size>
const Blocks& coefficients() {
    static const Blocks blocks = [] {
        Blocks all;
        Random random(count);
        for (auto& block : all.block) {
            block[0] = static_cast<Qvo16s>(random.range(200, 1800));
            for (int i = 1; i < count; ++i) {
                const int at = 8 * random.range(0, size - 1) + random.range(0, size - 1);
                block[at] = static_cast<Qvo16s>(random.range(-60, 60));
            }
        }
        return all;
    }();
    return blocks;
}

const Blocks& dense() {
    static const Blocks blocks = [] {
        Blocks all;
        Random random(2);
        for (auto& block : all.block)
            random.fill(block, -60, 60);
        return all;
    }();
    return blocks;
}

// Runs `operation` on one block after the other; Google Benchmark reports the time of each.
template <class Operation>
void run(benchmark::State& state, const Blocks& blocks, Operation operation) {
    std::size_t i = 0;
    for (auto _ : state) {
        operation(blocks[i++]);
        benchmark::ClobberMemory();
    }
}

Block out;
std::array<Qvo16s, 128> pairOut;
std::array<Qvo8u, 128> pixels;

void bench(const char* name, const Blocks& blocks, void (*operation)(const Block&)) {
    benchmark::RegisterBenchmark(name,
                                 [&blocks, operation](benchmark::State& state) { run(state, blocks, operation); });
}

[[maybe_unused]] const bool registered = [] {
    bench("DCT8x8Fwd_16s", residuals(), [](const Block& b) { qvoiDCT8x8Fwd_16s_C1(b.data(), out.data()); });
    bench("DCT8x8Fwd_8u16s", residuals(),
          [](const Block& b) { qvoiDCT8x8Fwd_8u16s_C1R(reinterpret_cast<const Qvo8u*>(b.data()), 16, out.data()); });
    const struct {
        const char* general;
        const char* pixel;
        const Blocks& blocks;
    } kinds[] = {
        {"DCT8x8Inv_16s/dense", "DCT8x8Inv_16s8u/dense", dense()},
        {"DCT8x8Inv_16s/sparse8", "DCT8x8Inv_16s8u/sparse8", coefficients<8, 4>()},
        {"DCT8x8Inv_16s/sparse3", "DCT8x8Inv_16s8u/sparse3", coefficients<3, 3>()},
        {"DCT8x8Inv_16s/dc", "DCT8x8Inv_16s8u/dc", coefficients<1, 1>()},
    };
    for (const auto& kind : kinds) {
        bench(kind.general, kind.blocks, [](const Block& b) { qvoiDCT8x8Inv_16s_C1(b.data(), out.data()); });
        bench(kind.pixel, kind.blocks, [](const Block& b) { qvoiDCT8x8Inv_16s8u_C1R(b.data(), pixels.data(), 8); });
    }
    bench("DCTInv_8x8_16s8u/dense", dense(),
          [](const Block& b) { qvoiDCTInv_8x8_16s8u(b.data(), pixels.data(), 8); });
    bench("DCT8x8Inv_4x4_16s", dense(), [](const Block& b) {
        out = b;
        qvoiDCT8x8Inv_4x4_16s_C1I(out.data());
    });
    bench("DCT8x8Inv_2x2_16s", dense(), [](const Block& b) {
        out = b;
        qvoiDCT8x8Inv_2x2_16s_C1I(out.data());
    });
    bench("AAN_16s/dense", dense(),
          [](const Block& b) { qvoiDCT8x8Inv_AANTransposed_16s_C1R(b.data(), out.data(), 16, 64); });
    bench("AAN_16s/count8", dense(),
          [](const Block& b) { qvoiDCT8x8Inv_AANTransposed_16s_C1R(b.data(), out.data(), 16, 8); });
    bench("AAN_16s/count1", dense(),
          [](const Block& b) { qvoiDCT8x8Inv_AANTransposed_16s_C1R(b.data(), out.data(), 16, 1); });
    bench("AAN_16s8u/dense", dense(),
          [](const Block& b) { qvoiDCT8x8Inv_AANTransposed_16s8u_C1R(b.data(), pixels.data(), 8, 64); });
    bench("AAN_16s8u/count8", dense(),
          [](const Block& b) { qvoiDCT8x8Inv_AANTransposed_16s8u_C1R(b.data(), pixels.data(), 8, 8); });
    bench("AAN_16s8u/count1", dense(),
          [](const Block& b) { qvoiDCT8x8Inv_AANTransposed_16s8u_C1R(b.data(), pixels.data(), 8, 1); });
    bench("AAN_16s_P2/dense", dense(), [](const Block& b) {
        qvoiDCT8x8Inv_AANTransposed_16s_P2C2R(b.data(), b.data(), pairOut.data(), 32, 64, 64);
    });
    bench("AAN_16s8u_P2/dense", dense(), [](const Block& b) {
        qvoiDCT8x8Inv_AANTransposed_16s8u_P2C2R(b.data(), b.data(), pixels.data(), 16, 64, 64);
    });
    bench("DCT2x4x8Frw", dense(), [](const Block& b) {
        out = b;
        qvoiDCT2x4x8Frw_16s_C1I(out.data());
    });
    bench("DCT2x4x8Inv", dense(), [](const Block& b) {
        out = b;
        qvoiDCT2x4x8Inv_16s_C1I(out.data());
    });
    return true;
}();

}  // namespace
