// MPEG-1/2 code tables, block reconstruction, quantisation and block writing.
#include <benchmark/benchmark.h>

#include <array>

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
            while (run < room && run < 6 && random.chance(coefficients > 20 ? 25 : 40)) ++run;
            int level = 1;
            while (level < 30 && random.chance(i < 4 ? 60 : 25)) ++level;
            index += run + 1;
            const unsigned negative = static_cast<unsigned>(random.range(0, 1));
            if (!intra && i == 0 && run == 0 && level == 1) {
                writer.put("1").put(negative, 1);
                continue;
            }
            const PairCode* code = nullptr;
            for (const PairCode& p : pairs) {
                if (p.run == run && p.level == level) code = &p;
            }
            if (code != nullptr) {
                writer.put(code->bits).put(negative, 1);
            } else {
                writer.put("000001").put(static_cast<unsigned>(run), 6);
                writer.put(static_cast<unsigned>(negative ? -level : level) & 0xFFF, 12);
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
BENCHMARK(ReconstructIntraMPEG2)->Arg(3)->Arg(5)->Arg(8)->Arg(16)->Arg(30);

void ReconstructNonIntraMPEG2(benchmark::State& state) {
    const Table pairs = Table::runLevel(pairList(tableB14));
    alignas(32) Qvo16s block[64];
    Qvo32s last;
    runBlocks(state, blockStream(false, static_cast<int>(state.range(0))), [&](Position& p) {
        return qvoiReconstructDCTBlock_MPEG2_32s(&p.word, &p.offset, pairs, pairs, zigzag, 8, nullptr, block, &last);
    });
}
BENCHMARK(ReconstructNonIntraMPEG2)->Arg(3)->Arg(8)->Arg(30);

}  // namespace
