// MPEG-4 motion vectors, half-pel prediction, overlapped prediction and padding.
#include <benchmark/benchmark.h>

#include <array>
#include <vector>

#include "qvovc.h"
#include "support/random.h"

namespace {

// ---- vectors ----

struct Neighbourhood {
    std::array<QvoMotionVector, 4> left, above, aboveRight, current;
    alignas(4) Qvo8u flags[4] = {1, 1, 1, 1};

    Neighbourhood() {
        Random random;
        for (auto* vectors : {&left, &above, &aboveRight, &current})
            for (auto& v : *vectors)
                v = {static_cast<Qvo16s>(random.range(-20, 20)), static_cast<Qvo16s>(random.range(-20, 20))};
    }
};

// Without long runs of zeros: codes are short, as in real streams, and every one is valid.
std::vector<Qvo8u> randomBits(std::size_t count) {
    Random random;
    std::vector<Qvo8u> bytes(count);
    for (auto& byte : bytes)
        byte = static_cast<Qvo8u>(random.next() | 0x11);
    return bytes;
}

void DecodeMV(benchmark::State& state, int mbType, int fcode) {
    Neighbourhood n;
    std::vector<Qvo8u> bytes = randomBits(4096);
    Qvo8u* position = bytes.data();
    Qvo32s offset = 0;
    for (auto _ : state) {
        if (position > bytes.data() + bytes.size() - 64) position = bytes.data();
        benchmark::DoNotOptimize(qvoiDecodePadMV_PVOP_MPEG4(&position, &offset, n.left.data(), n.above.data(),
                                                            n.aboveRight.data(), n.current.data(), n.flags, n.flags,
                                                            n.flags, n.flags, fcode, mbType));
        benchmark::ClobberMemory();
    }
}
BENCHMARK_CAPTURE(DecodeMV, one, 0, 1)->Name("MPEG4/DecodeMV/1MV/fcode1");
BENCHMARK_CAPTURE(DecodeMV, one3, 0, 3)->Name("MPEG4/DecodeMV/1MV/fcode3");
BENCHMARK_CAPTURE(DecodeMV, four, qvoMbInter4V, 1)->Name("MPEG4/DecodeMV/4MV/fcode1");

void DirectMV(benchmark::State& state) {
    const Neighbourhood n;
    std::array<QvoMotionVector, 4> forward, backward;
    for (auto _ : state) {
        qvoiDecodeMV_BVOP_DirectSkip_MPEG4(n.current.data(), forward.data(), backward.data(), n.flags, 1, 3);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(DirectMV)->Name("MPEG4/DecodeMV/DirectSkip");

void ChromaMV(benchmark::State& state) {
    const Neighbourhood n;
    QvoMotionVector chroma;
    for (auto _ : state) {
        qvoiComputeChroma4MV_MPEG4(n.current.data(), &chroma, n.flags);
        benchmark::DoNotOptimize(chroma);
    }
}
BENCHMARK(ChromaMV)->Name("MPEG4/Chroma4MV");

// ---- prediction ----

constexpr int rowStep = 352 + 32;

struct Frames {
    std::vector<Qvo8u> reference = std::vector<Qvo8u>(rowStep * 64);
    std::vector<Qvo8u> target = std::vector<Qvo8u>(rowStep * 64);
    std::array<Qvo16s, 64> residual;

    Frames() {
        Random random;
        random.fill(reference, 0, 255);
        random.fill(residual, -40, 40);
    }
    // Blocks at changing alignments, as vectors address them.
    const Qvo8u* block(unsigned i) const { return reference.data() + 8 * rowStep + 8 + i % 32; }
};

constexpr QvoMotionVector fullPel = {0, 0}, halfX = {1, 0}, halfY = {0, 1}, halfBoth = {1, 1};

template <auto copy, int size>
void CopyHalfpel(benchmark::State& state, QvoMotionVector vector, int rc) {
    Frames frames;
    unsigned i = 0;
    for (auto _ : state) {
        copy(frames.block(i++), rowStep, frames.target.data(), rowStep, &vector, rc);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * size * size);
}
void Copy16(benchmark::State& state, QvoMotionVector vector, int rc) {
    CopyHalfpel<qvoiCopyMBHalfpel_MPEG4_8u, 16>(state, vector, rc);
}
void Copy8(benchmark::State& state, QvoMotionVector vector, int rc) {
    CopyHalfpel<qvoiCopyBlockHalfpel_MPEG4_8u, 8>(state, vector, rc);
}
void Recon8(benchmark::State& state, QvoMotionVector vector, int rc) {
    Frames frames;
    unsigned i = 0;
    for (auto _ : state) {
        qvoiReconBlockHalfpel_MPEG4_8u(frames.block(i++), rowStep, frames.residual.data(), frames.target.data(),
                                       rowStep, &vector, rc);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * 64);
}
#define HALFPEL(function, name)                                                        \
    BENCHMARK_CAPTURE(function, full, fullPel, 0)->Name("MPEG4/" name "/full");        \
    BENCHMARK_CAPTURE(function, h, halfX, 0)->Name("MPEG4/" name "/h");                \
    BENCHMARK_CAPTURE(function, v, halfY, 0)->Name("MPEG4/" name "/v");                \
    BENCHMARK_CAPTURE(function, hv, halfBoth, 0)->Name("MPEG4/" name "/hv");           \
    BENCHMARK_CAPTURE(function, h_down, halfX, 1)->Name("MPEG4/" name "/h/roundDown"); \
    BENCHMARK_CAPTURE(function, v_down, halfY, 1)->Name("MPEG4/" name "/v/roundDown"); \
    BENCHMARK_CAPTURE(function, hv_down, halfBoth, 1)->Name("MPEG4/" name "/hv/roundDown")
HALFPEL(Copy16, "Copy16x16");
HALFPEL(Copy8, "Copy8x8");
HALFPEL(Recon8, "Recon8x8");

template <auto average, int size>
void Average(benchmark::State& state) {
    Frames frames;
    unsigned i = 0;
    for (auto _ : state) {
        average(frames.block(i++), rowStep, frames.target.data(), rowStep);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * size * size);
}
BENCHMARK(Average<qvoiAverageMB_MPEG4_8u_I, 16>)->Name("MPEG4/Average16x16");
BENCHMARK(Average<qvoiAverageBlock_MPEG4_8u_I, 8>)->Name("MPEG4/Average8x8");

void Obmc(benchmark::State& state, QvoMotionVector vector) {
    Frames frames;
    unsigned i = 0;
    for (auto _ : state) {
        qvoiOBMCHalfpel_MPEG4_8u(frames.block(i++), rowStep, frames.target.data(), rowStep, &vector, &vector, &vector,
                                 &vector, &vector, 0);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * 64);
}
BENCHMARK_CAPTURE(Obmc, full, fullPel)->Name("MPEG4/OBMC/full");
BENCHMARK_CAPTURE(Obmc, hv, halfBoth)->Name("MPEG4/OBMC/hv");

// ---- padding ----

// A disc, cut by the block's right edge and missing its first rows.
std::array<Qvo8u, 256> disc() {
    std::array<Qvo8u, 256> shape;
    for (int i = 0; i < 256; ++i) {
        const int x = i % 16 - 12, y = i / 16 - 8;
        shape[static_cast<std::size_t>(i)] = x * x + y * y < 36 ? 255 : 0;
    }
    return shape;
}

void PadCurrent(benchmark::State& state) {
    Frames frames;
    const std::array<Qvo8u, 256> shape = disc();
    for (auto _ : state) {
        qvoiPadCurrent_16x16_MPEG4_8u_I(frames.reference.data(), rowStep, shape.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(PadCurrent)->Name("MPEG4/PadCurrent16x16");

void PadPartial(benchmark::State& state) {
    Frames luma, cb, cr;
    const std::array<Qvo8u, 256> shape = disc();
    std::array<Qvo8u, 32> bits = {};
    for (std::size_t i = 0; i < 256; ++i)
        if (shape[i]) bits[i / 8] = static_cast<Qvo8u>(bits[i / 8] | 128 >> i % 8);
    const Qvo32s flags[2] = {0, 0};
    Qvo8u padded[2] = {};
    for (auto _ : state) {
        padded[0] = padded[1] = 0;  // both neighbours are filled
        qvoiPadMBPartial_MPEG4_8u_P4R(bits.data(), flags, luma.reference.data() + 16 * rowStep + 16,
                                      cb.reference.data() + 8 * rowStep + 8, cr.reference.data() + 8 * rowStep + 8,
                                      nullptr, padded, 1, 1, rowStep, rowStep, 2);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(PadPartial)->Name("MPEG4/PadMBPartial");

}  // namespace
