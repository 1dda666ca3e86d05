// MPEG-1/2 code tables, block reconstruction, quantisation and block writing.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>

#include "mpeg2/tables.h"
#include "support/random.h"

namespace {

using namespace mpeg2;

constexpr int blockCount = 512;

// Intra or non-intra blocks of the given number of coefficients, most of them small and close to one another as in
// real pictures, one after another in a word stream.
std::vector<Qvo32u> blockStream(bool intra, int coefficients) {
    const std::vector<PairCode>& pairs = tableB14;
    Random random(7);
    BitWriter writer;
    for (int b = 0; b < blockCount; ++b) {
        if (intra) writer.put("01").put(static_cast<unsigned>(random.range(0, 3)), 2);
        int index = intra ? 0 : -1;
        for (int i = 0; i < coefficients; ++i) {
            const int room = (63 - index) - (coefficients - i);
            int run = 0;
            while (run < room && run < 6 && random.chance(coefficients > 20 ? 25 : 40))
                ++run;
            int level = 1;
            while (level < 30 && random.chance(i < 4 ? 60 : 25))
                ++level;
            index += run + 1;
            const unsigned negative = static_cast<unsigned>(random.range(0, 1));
            if (!intra && i == 0 && run == 0 && level == 1) {
                writer.put("1").put(negative, 1);
                continue;
            }
            if (std::none_of(pairs.begin(), pairs.end(),
                             [&](const PairCode& p) { return p.run == run && p.level == level; })) {
                level = 1;  // rather than an escape, which is rare and differs between MPEG-1 and MPEG-2
            }
            for (const PairCode& p : pairs) {
                if (p.run == run && p.level == level) writer.put(p.bits).put(negative, 1);
            }
        }
        writer.put("10");
    }
    return writer.words();
}

// Calls decode(position) for one block after the other.
template <class F>
void runBlocks(benchmark::State& state, std::vector<Qvo32u> words, F decode) {
    Position position{words.data()};
    int block = 0;
    for (auto _ : state) {
        if (++block > blockCount) {
            position = {words.data()};
            block = 1;
        }
        if (decode(position) != qvoStatusOk) state.SkipWithError("decoding failed");
    }
}

void ReconstructIntraMPEG2(benchmark::State& state) {
    const Table sizes = Table::plain(sizeList(tableB12));
    const Table pairs = Table::runLevel(pairList(tableB14));
    Qvo16s prediction = 0;
    alignas(32) Qvo16s block[64];
    Qvo32s last;
    runBlocks(state, blockStream(true, static_cast<int>(state.range(0))), [&](Position& p) {
        return qvoiReconstructDCTBlockIntra_MPEG2_32s(&p.word, &p.offset, sizes, pairs, zigzag, 8, intraMatrix,
                                                      &prediction, 3, block, &last);
    });
}
BENCHMARK(ReconstructIntraMPEG2)->Name("ReconstructMPEG2/intra")->Arg(3)->Arg(5)->Arg(8)->Arg(16)->Arg(30);

void ReconstructNonIntraMPEG2(benchmark::State& state) {
    const Table pairs = Table::runLevel(pairList(tableB14));
    alignas(32) Qvo16s block[64];
    Qvo32s last;
    runBlocks(state, blockStream(false, static_cast<int>(state.range(0))), [&](Position& p) {
        return qvoiReconstructDCTBlock_MPEG2_32s(&p.word, &p.offset, pairs, pairs, zigzag, 8, nullptr, block, &last);
    });
}
BENCHMARK(ReconstructNonIntraMPEG2)->Name("ReconstructMPEG2/non-intra")->Arg(3)->Arg(8)->Arg(30);

void ReconstructMPEG1(benchmark::State& state) {
    const Table pairs = Table::runLevel(pairList(tableB14));
    alignas(32) Qvo16s block[64];
    Qvo32s last;
    runBlocks(state, blockStream(false, static_cast<int>(state.range(0))), [&](Position& p) {
        return qvoiReconstructDCTBlock_MPEG1_32s(&p.word, &p.offset, pairs, pairs, zigzag, 8, intraMatrix, block,
                                                 &last);
    });
}
BENCHMARK(ReconstructMPEG1)->Name("ReconstructMPEG1/non-intra")->Arg(8);

// Single codes of Table B.14.
void VlcDecodeOne(benchmark::State& state) {
    const Table pairs = Table::runLevel(pairList(tableB14));
    std::vector<Qvo32u> words = blockStream(true, 8);
    Position position{words.data()};
    const Qvo32u* const end = words.data() + words.size() - 3;
    Qvo32s value;
    for (auto _ : state) {
        qvoiVCHuffmanDecodeOne_1u32s(&position.word, &position.offset, &value, pairs);
        benchmark::DoNotOptimize(value);
        if (position.word >= end) position = {words.data()};
    }
}
BENCHMARK(VlcDecodeOne);

void VlcBuildRunLevel(benchmark::State& state) {
    const std::vector<Qvo32s> list = pairList(tableB14);
    for (auto _ : state) {
        QvoVlcTable* table = nullptr;
        qvoiVCHuffmanInitAllocRL_32s(list.data(), &table);
        qvoiVCHuffmanFree_32s(&table);
    }
}
BENCHMARK(VlcBuildRunLevel);

// Transformed or quantised blocks whose values become smaller toward the high frequencies.
std::vector<Qvo16s> randomBlocks(int scale) {
    Random random(3);
    std::vector<Qvo16s> blocks;
    for (int i = 0; i < 64 * 64; ++i) {
        const int reach = scale / (1 + i % 8 + i / 8 % 8);
        blocks.push_back(static_cast<Qvo16s>(random.range(-reach, reach)));
    }
    return blocks;
}

// Calls quantise(block) for a fresh copy of one block after the other; the copy is part of the time.
template <class F>
void runQuantiser(benchmark::State& state, int scale, F quantise) {
    const std::vector<Qvo16s> blocks = randomBlocks(scale);
    alignas(32) Qvo16s block[64];
    std::size_t next = 0;
    for (auto _ : state) {
        std::copy_n(blocks.begin() + static_cast<std::ptrdiff_t>(next), 64, block);
        next = (next + 64) % blocks.size();
        quantise(block);
        benchmark::ClobberMemory();
    }
}

void QuantInvIntra(benchmark::State& state) {
    runQuantiser(state, 200, [](Qvo16s* block) { qvoiQuantInvIntra_MPEG2_16s_C1I(block, 8, intraMatrix); });
}
BENCHMARK(QuantInvIntra)->Name("QuantInvMPEG2/intra");

void QuantInv(benchmark::State& state) {
    runQuantiser(state, 200, [](Qvo16s* block) { qvoiQuantInv_MPEG2_16s_C1I(block, 8, intraMatrix); });
}
BENCHMARK(QuantInv)->Name("QuantInvMPEG2/non-intra");

void QuantInvFlat(benchmark::State& state) {
    runQuantiser(state, 200, [](Qvo16s* block) { qvoiQuantInv_MPEG2_16s_C1I(block, 8, nullptr); });
}
BENCHMARK(QuantInvFlat)->Name("QuantInvMPEG2/non-intra flat");

template <auto quantise>
void Quant(benchmark::State& state) {
    const auto QP = static_cast<Qvo32s>(state.range(0));
    Qvo32u count;
    runQuantiser(state, 2000, [&](Qvo16s* block) { quantise(block, QP, nullptr, &count); });
}
BENCHMARK(Quant<qvoiQuantIntra_MPEG2_16s_C1I>)->Name("QuantMPEG2/intra")->Arg(8)->Arg(10);
BENCHMARK(Quant<qvoiQuant_MPEG2_16s_C1I>)->Name("QuantMPEG2/non-intra")->Arg(8)->Arg(10);

// Calls put(word, bitsLeft, block, table, count) for a block of that many coefficients.
template <class F>
void runWriter(benchmark::State& state, F put) {
    QvoRLEncodeTable* table = nullptr;
    qvoiCreateRLEncodeTable(pairList(tableB14).data(), &table);
    const int coefficients = static_cast<int>(state.range(0));
    Qvo16s block[64] = {};
    for (int i = 0; i < coefficients; ++i)
        block[zigzag[1 + i * 48 / coefficients]] = static_cast<Qvo16s>(i % 3 - 4);
    Qvo32u words[64];
    for (auto _ : state) {
        Qvo32u* word = words;
        Qvo32u bitsLeft = 32;
        put(&word, &bitsLeft, block, table, static_cast<Qvo32u>(coefficients));
        benchmark::ClobberMemory();
    }
    qvoiFreeRLEncodeTable(&table);
}

void PutIntraBlock(benchmark::State& state) {
    const std::vector<Qvo32s> sizes = sizeList(tableB12);
    Qvo16s prediction = 100;
    runWriter(state,
              [&](Qvo32u** word, Qvo32u* bitsLeft, Qvo16s* block, const QvoRLEncodeTable* table, Qvo32u count) {
                  block[0] = static_cast<Qvo16s>(226 - prediction);
                  qvoiPutIntraBlock(word, bitsLeft, block, &prediction, sizes.data(), table, zigzag, count);
              });
}
BENCHMARK(PutIntraBlock)->Name("PutBlockMPEG2/intra")->Arg(3)->Arg(8)->Arg(30);

void PutNonIntraBlock(benchmark::State& state) {
    runWriter(state, [](Qvo32u** word, Qvo32u* bitsLeft, Qvo16s* block, const QvoRLEncodeTable* table, Qvo32u count) {
        qvoiPutNonIntraBlock(word, bitsLeft, block, table, zigzag, count);
    });
}
BENCHMARK(PutNonIntraBlock)->Name("PutBlockMPEG2/non-intra")->Arg(3)->Arg(8)->Arg(30);

}  // namespace
