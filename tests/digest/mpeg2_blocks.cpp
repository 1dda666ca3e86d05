#include <algorithm>
#include <vector>

#include "digest/digest.h"
#include "mpeg2/tables.h"

namespace {

using namespace mpeg2;

const DigestEntry vlcTables("qvoiVCHuffman", [](Digest& digest, Random& random) {
    for (const auto* pairs : {&tableB14, &tableB15}) {
        QvoVlcTable* table = nullptr;
        qvoiVCHuffmanInitAllocRL_32s(pairList(*pairs, {6, 5, 6}).data(), &table);
        digest.addAll(table, 262144);
        std::vector<Qvo32u> words(400);
        for (Qvo32u& word : words)
            word = random.next() & random.next() & random.next();  // long codes begin with zeros
        Position position{words.data()};
        for (int i = 0; i < 700; ++i) {
            Qvo32s value = 0;
            digest.add(qvoiVCHuffmanDecodeOne_1u32s(&position.word, &position.offset, &value, table));
            digest.add(value);
            digest.add(static_cast<Qvo32u>(position.bitsFrom(words.data())));
        }
        qvoiVCHuffmanFree_32s(&table);
    }
});

const DigestEntry reconstruct("qvoiReconstructDCTBlock", [](Digest& digest, Random& random) {
    const Table pairs = Table::runLevel(pairList(tableB14));
    const Table pairsOne = Table::runLevel(pairList(tableB15));
    const Table sizes = Table::plain(sizeList(tableB12));
    Qvo16s prediction = 128;
    for (int i = 0; i < 4000; ++i) {
        std::vector<Qvo32u> words(80);
        for (Qvo32u& word : words)
            word = random.next();
        std::vector<Qvo16s> matrix(64);
        random.fill(matrix, 1, 255);
        const bool wild = i % 7 == 0;
        const Qvo32s QP = wild ? static_cast<Qvo32s>(random.next()) : random.range(1, 112);
        const auto shortQP = static_cast<Qvo16s>(QP);
        const Table& ac = i % 8 < 4 ? pairs : pairsOne;
        const Qvo32s* scan = random.chance(50) ? zigzag : alternateScan;
        Position p{words.data(), random.range(0, 31)};
        Qvo16s block[64];
        Qvo32s last = -1;
        QvoStatus status;
        switch (i % 4) {
            case 0:
                status = qvoiReconstructDCTBlock_MPEG1_32s(&p.word, &p.offset, pairs, ac, scan, QP, matrix.data(),
                                                           block, &last);
                break;
            case 1:
                status = qvoiReconstructDCTBlockIntra_MPEG1_32s(&p.word, &p.offset, sizes, ac, scan, QP,
                                                                matrix.data(), &prediction, block, &last);
                break;
            case 2:
                status = qvoiReconstructDCTBlock_MPEG2_32s(&p.word, &p.offset, pairs, ac, scan, shortQP,
                                                           wild ? nullptr : matrix.data(), block, &last);
                break;
            default:
                status = qvoiReconstructDCTBlockIntra_MPEG2_32s(&p.word, &p.offset, sizes, ac, scan, shortQP,
                                                                matrix.data(), &prediction, random.range(0, 3), block,
                                                                &last);
        }
        digest.add(status);
        digest.add(last);
        digest.add(prediction);
        digest.add(static_cast<Qvo32u>(p.bitsFrom(words.data())));
        digest.addAll(block, 64);
    }
});

const DigestEntry quantise("qvoiQuant_MPEG2", [](Digest& digest, Random& random) {
    for (int i = 0; i < 6000; ++i) {
        const Qvo32s QP = i % 10 == 0 ? static_cast<Qvo32s>(random.next() | 1) : random.range(1, 112);
        std::vector<Qvo16s> weights(64);
        random.fill(weights, 1, 255);
        std::vector<float> reciprocals(64);
        for (std::size_t k = 0; k < 64; ++k)
            reciprocals[k] = 1.0f / static_cast<float>(weights[k]);
        Qvo16s block[64];
        random.fill(block, -2500, 2500);
        if (i % 3 == 0) random.fill(block, -32768, 32767);
        Qvo32u count = 0;
        const float* matrix = i % 4 < 2 ? nullptr : reciprocals.data();
        (i % 2 ? qvoiQuantIntra_MPEG2_16s_C1I : qvoiQuant_MPEG2_16s_C1I)(block, QP, matrix, &count);
        digest.addAll(block, 64);
        digest.add(count);
        if (i % 2) {
            qvoiQuantInvIntra_MPEG2_16s_C1I(block, QP, weights.data());
        } else {
            qvoiQuantInv_MPEG2_16s_C1I(block, QP, matrix == nullptr ? nullptr : weights.data());
        }
        digest.addAll(block, 64);
    }
});

const DigestEntry putBlock("qvoiPutBlock", [](Digest& digest, Random& random) {
    const std::vector<Qvo32s> sizes = sizeList(tableB13);
    for (const auto* pairs : {&tableB14, &tableB15}) {
        QvoRLEncodeTable* table = nullptr;
        qvoiCreateRLEncodeTable(pairList(*pairs).data(), &table);
        std::vector<Qvo32u> words(40000);
        Qvo32u* word = words.data();
        Qvo32u bitsLeft = 32;
        Qvo16s prediction = 0;
        for (int i = 0; i < 600; ++i) {
            Qvo16s block[64] = {};
            const int highest = i % 5 == 0 ? 2047 : 6;
            for (Qvo16s& level : block) {
                if (random.chance(30)) level = static_cast<Qvo16s>(random.range(-highest, highest));
            }
            const auto zeros = std::count(block + i % 2, block + 64, 0);
            const auto count = static_cast<Qvo32u>(64 - i % 2 - zeros);
            if (i % 2) {
                qvoiPutIntraBlock(&word, &bitsLeft, block, &prediction, sizes.data(), table, zigzag, count);
            } else {
                qvoiPutNonIntraBlock(&word, &bitsLeft, block, table, alternateScan, count);
            }
        }
        digest.add(bitsLeft);
        digest.addAll(words.data(), words.size());
        qvoiFreeRLEncodeTable(&table);
    }
});

}  // namespace
