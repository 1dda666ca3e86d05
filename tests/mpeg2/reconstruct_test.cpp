#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "mpeg2/reference.h"
#include "support/guarded.h"
#include "support/random.h"
#include "support/statuses.h"

using namespace mpeg2;

namespace {

// What a block is decoded with, and what comes out.
struct Setting {
    bool mpeg2, intra;
    std::array<Qvo32s, 64> scan;
    std::array<Qvo16s, 64> matrix;
    bool noMatrix;
    Qvo32s QP, shift;

    Setting(bool mpeg2_, bool intra_, Random& random) : mpeg2(mpeg2_), intra(intra_) {
        std::copy_n(random.chance(40) ? alternateScan : zigzag, 64, scan.begin());
        if (random.chance(20)) random.fill(scan, 0, 63);  // not even a permutation
        random.fill(matrix, 8, 255);
        if (random.chance(20)) random.fill(matrix, -32768, 32767);
        noMatrix = mpeg2 && !intra && random.chance(40);
        QP = random.range(1, 112);
        if (random.chance(20)) QP = mpeg2 ? random.range(-32768, 32767) : static_cast<Qvo32s>(random.next());
        shift = random.range(0, 3);
    }
};

struct Result {
    Qvo32s status = 0;
    std::array<Qvo16s, 64> block{};
    Qvo32s size = -77;  // unless it is stored
    Qvo16s prediction = 0;
    std::size_t position = 0;

    bool operator==(const Result&) const = default;
};

Qvo16s wrap16(std::int64_t v) {
    return static_cast<Qvo16s>(v);
}
std::int64_t wrap32(std::int64_t v) {
    return static_cast<Qvo32s>(v);
}

// The tables of one syntax, for the library and for the slow reader.
struct Tables {
    Tables(const std::vector<PairCode>& pairs, const std::vector<std::string>& sizes, std::vector<Qvo32s> pairWidths,
           std::vector<Qvo32s> sizeWidths)
        : ac(Table::runLevel(pairList(pairs, pairWidths))),
          dc(Table::plain(sizeList(sizes, sizeWidths))),
          slowAc(pairCodes(pairs), pairWidths),
          slowDc(sizeCodes(sizes), sizeWidths) {}
    Table ac, dc;
    SlowTable slowAc, slowDc;
};

// The definition, code by code.
Result reconstructSlowly(const Tables& tables, const Setting& set, const std::vector<Qvo32u>& words,
                         std::size_t position, Qvo16s prediction) {
    Result r;
    r.prediction = prediction;
    BitReader reader(words, position);
    std::int64_t sum = 0;
    int index = -1;
    const auto finish = [&](Qvo32s status) {
        r.status = status;
        r.position = reader.position();
        if (status == qvoStatusOk) {
            if (set.mpeg2 && sum % 2 == 0) r.block[63] = wrap16(r.block[63] + (r.block[63] % 2 != 0 ? -1 : 1));
            r.size = set.mpeg2 && !set.intra && index == 0 ? 1 : index;
        }
        return r;
    };
    const auto store = [&](Qvo32s at, std::int64_t value) {
        r.block[static_cast<std::size_t>(at)] = wrap16(value);
        sum += wrap16(value);
    };

    if (set.intra) {
        const std::vector<Qvo32s>* entry = tables.slowDc.read(reader, set.mpeg2 ? 0 : 1);
        if (entry == nullptr && set.mpeg2) return finish(qvoStatusVlcError);
        const int size = entry == nullptr ? 0 : entry->front();
        int difference = reader.get(size);
        if (size > 0 && difference < 1 << (size - 1)) difference -= (1 << size) - 1;
        r.prediction = wrap16(prediction + (set.mpeg2 ? 1 : 8) * difference);
        store(0, set.mpeg2 ? r.prediction * (1 << set.shift) : r.prediction);
        index = 0;
    }
    for (bool first = !set.intra;; first = false) {
        int run = 0, level = 0;
        if (first && reader.show(0) == '1') {
            level = reader.get(2) == 2 ? 1 : -1;
        } else {
            const std::vector<Qvo32s>* entry = tables.slowAc.read(reader, 1);
            run = entry == nullptr ? 241 : (*entry)[0];
            level = entry == nullptr ? -16 : (*entry)[1];
            if (run == qvoRunEscape) {
                run = reader.get(6);
                level = reader.get(set.mpeg2 ? 12 : 8);
                if (!set.mpeg2 && level % 128 == 0)
                    level = reader.get(8) - (level == 128 ? 256 : 0);
                else if (level >= (set.mpeg2 ? 2048 : 128))
                    level -= set.mpeg2 ? 4096 : 256;
            } else if (first && run > 63) {
                index = run;
                return finish(qvoStatusOk);
            } else if (run == qvoRunEndOfBlock) {
                return finish(qvoStatusOk);
            }
        }
        const int next = index + run + 1;
        if (next > 63) return finish(qvoStatusVlcError);
        index = next;
        const Qvo32s at = set.scan[static_cast<std::size_t>(index)];
        const std::int64_t W = set.noMatrix ? 16 : set.matrix[static_cast<std::size_t>(at)], L = level, QP = set.QP;
        if (set.mpeg2 && !set.intra) {
            store(at, wrap32(W * QP * (2 * L + (L > 0) - (L < 0))) / 32);
        } else if (first) {
            store(at, wrap16(W * L * 2 * QP) / 16);
        } else {
            store(at, wrap32(W * L * 2 * QP) / (set.mpeg2 ? 32 : 16));
        }
    }
}

Result reconstruct(const Tables& t, const Setting& set, Qvo32u* words, std::size_t position, Qvo16s prediction) {
    Result r;
    r.prediction = prediction;
    r.block.fill(0x5555);
    Position p{words + position / 32, 31 - static_cast<Qvo32s>(position % 32)};
    const Qvo16s* matrix = set.noMatrix ? nullptr : set.matrix.data();
    const auto QP = static_cast<Qvo16s>(set.QP);
    if (set.mpeg2 && set.intra) {
        r.status = qvoiReconstructDCTBlockIntra_MPEG2_32s(&p.word, &p.offset, t.dc, t.ac, set.scan.data(), QP, matrix,
                                                          &r.prediction, set.shift, r.block.data(), &r.size);
    } else if (set.mpeg2) {
        r.status = qvoiReconstructDCTBlock_MPEG2_32s(&p.word, &p.offset, t.ac, t.ac, set.scan.data(), QP, matrix,
                                                     r.block.data(), &r.size);
    } else if (set.intra) {
        r.status = qvoiReconstructDCTBlockIntra_MPEG1_32s(&p.word, &p.offset, t.dc, t.ac, set.scan.data(), set.QP,
                                                          matrix, &r.prediction, r.block.data(), &r.size);
    } else {
        r.status = qvoiReconstructDCTBlock_MPEG1_32s(&p.word, &p.offset, t.ac, t.ac, set.scan.data(), set.QP, matrix,
                                                     r.block.data(), &r.size);
    }
    r.position = p.bitsFrom(words);
    return r;
}

// Bits that decode to blocks of all kinds, some of them damaged.
std::vector<Qvo32u> randomStream(Random& random, const std::vector<PairCode>& pairs) {
    const std::vector<ListCode> codes = pairCodes(pairs);
    BitWriter writer;
    while (writer.size() < 3000) {
        const int kind = random.range(0, 99);
        if (kind < 70) {
            writer.put(codes[static_cast<std::size_t>(random.range(0, static_cast<int>(codes.size()) - 1))].bits);
        } else if (kind < 84) {
            writer.put(codes.front().bits);  // end of block
        } else if (kind < 92) {
            writer.put("000001").put(random.next() & (random.chance(60) ? 3 : 63), 6);
            writer.put(random.chance(40) ? 0x80u * random.next() : random.next(), 8);
        } else if (kind < 96) {
            writer.put(random.next(), 8);
        } else {
            writer.put("00000000000000000");
        }
    }
    return writer.words();
}

}  // namespace

TEST(Reconstruct, AgreesWithTheDefinition) {
    const Tables tables[] = {{tableB14, tableB12, {8, 9}, {4, 5}},
                             {tableB15, tableB13, {17}, {10}},
                             {tableB14, tableB13, {5, 3, 4, 5}, {2, 3, 5}},
                             {tableB15, tableB12, {7, 8}, {3}}};  // leaves the longest codes out
    Random random(5);
    int blocks[4][2] = {};
    for (int round = 0; round < 400; ++round) {
        const Tables& t = tables[random.range(0, 3)];
        std::vector<Qvo32u> words = randomStream(random, random.chance(50) ? tableB14 : tableB15);
        words.resize(words.size() + 200);  // a block may run on into whatever follows
        const Setting set(round & 2, round & 1, random);
        auto position = static_cast<std::size_t>(random.range(0, 31));
        Qvo16s prediction = 1000;
        while (position < 3000) {
            const Result expected = reconstructSlowly(t, set, words, position, prediction);
            // Only one word beyond the one with the last consumed bit may be read.
            const std::size_t readable = (expected.position + 31) / 32 + 1;
            Guarded<Qvo32u> stream(readable);
            std::copy_n(words.begin(), readable, stream.begin());
            ASSERT_EQ(expected, reconstruct(t, set, stream.data(), position, prediction))
                << "form " << round % 4 << " at bit " << position;
            position = expected.position;
            prediction = expected.prediction;
            ++blocks[round % 4][expected.status == qvoStatusOk];
        }
    }
    for (const auto& count : blocks) {
        EXPECT_GT(count[0], 100);
        EXPECT_GT(count[1], 1000);
    }
}

TEST(Reconstruct, NullPointers) {
    const Tables t(tableB14, tableB12, {8, 9}, {4, 5});
    const QvoVlcTable *const dc = t.dc, *const ac = t.ac;
    const Qvo32s* const scan = zigzag;
    const Qvo16s* const W = intraMatrix;
    std::vector<Qvo32u> words = BitWriter().put("100101010").words();  // a block in all forms
    struct Memory {
        Qvo32u* word;
        Qvo32s offset = 31;
        std::array<Qvo16s, 64> block = {};
        Qvo16s prediction = 9;
        Qvo32s size = -77;
        bool operator==(const Memory&) const = default;
    } m = {words.data()};
    Qvo32u** const pp = &m.word;
    Qvo32s *const offset = &m.offset, *const size = &m.size;
    Qvo16s *const block = m.block.data(), *const prediction = &m.prediction;
    const auto nulls = [](std::vector<std::size_t> arguments) {
        return std::vector<Fault>{{qvoStatusNullPtr, {0}, {0, 1}}, {qvoStatusNullPtr, arguments}};
    };
    expectStatuses(m, qvoiReconstructDCTBlock_MPEG1_32s, {pp, offset, ac, ac, scan, 1, W, block, size},
                   nulls({1, 2, 3, 4, 6, 7, 8}));
    expectStatuses(m, qvoiReconstructDCTBlock_MPEG2_32s, {pp, offset, ac, ac, scan, Qvo16s{1}, nullptr, block, size},
                   nulls({1, 2, 3, 4, 7, 8}));
    expectStatuses(m, qvoiReconstructDCTBlockIntra_MPEG1_32s,
                   {pp, offset, dc, ac, scan, 1, W, prediction, block, size}, nulls({1, 2, 3, 4, 6, 7, 8, 9}));
    expectStatuses(m, qvoiReconstructDCTBlockIntra_MPEG2_32s,
                   {pp, offset, dc, ac, scan, Qvo16s{1}, W, prediction, 0, block, size},
                   nulls({1, 2, 3, 4, 6, 7, 9, 10}));
}

TEST(QuantInv, AgreesWithTheDefinition) {
    Random random(8);
    for (int round = 0; round < 3000; ++round) {
        const bool intra = round % 3 == 0;
        const bool noMatrix = round % 3 == 1;
        Guarded<Qvo16s> c(64), W(64);
        const bool wild = random.chance(30);
        random.fill(c, wild ? -32768 : -300, wild ? 32767 : 300);
        for (Qvo16s& e : c)
            if (random.chance(50)) e = 0;
        random.fill(W, wild ? -32768 : 8, wild ? 32767 : 255);
        const Qvo32s QP = wild ? static_cast<Qvo32s>(random.next()) : random.range(1, 112);

        Qvo16s expected[64];
        std::int64_t sum = 0;
        for (std::size_t i = 0; i < 64; ++i) {
            const std::int64_t twice = 2 * c[i] + (c[i] > 0) - (c[i] < 0);
            const std::int64_t q = intra      ? wrap32(wrap32(std::int64_t{2} * c[i] * W[i]) * QP) / 32
                                   : noMatrix ? wrap32(twice * QP) / 2
                                              : wrap32(wrap32(twice * W[i]) * QP) / 32;
            expected[i] = intra && i == 0 ? c[0] : std::clamp<Qvo16s>(wrap16(q), -2048, 2047);
            sum += expected[i];
        }
        if (sum % 2 == 0) expected[63] = static_cast<Qvo16s>(expected[63] + (expected[63] % 2 != 0 ? -1 : 1));
        ASSERT_EQ(qvoStatusOk, intra ? qvoiQuantInvIntra_MPEG2_16s_C1I(c.data(), QP, W.data())
                                     : qvoiQuantInv_MPEG2_16s_C1I(c.data(), QP, noMatrix ? nullptr : W.data()));
        ASSERT_TRUE(std::equal(c.begin(), c.end(), expected));
    }
    std::array<Qvo16s, 64> block = {};
    expectStatuses(block, qvoiQuantInvIntra_MPEG2_16s_C1I, {block.data(), 1, intraMatrix},
                   {{qvoStatusNullPtr, {0, 2}}});
    expectStatuses(block, qvoiQuantInv_MPEG2_16s_C1I, {block.data(), 1, nullptr}, {{qvoStatusNullPtr, {0}}});
}
