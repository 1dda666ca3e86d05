#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <numeric>

#include "mpeg2/reference.h"
#include "support/guarded.h"
#include "support/random.h"

using namespace mpeg2;

namespace {

struct Form {
    bool mpeg2;
    bool intra;
};
constexpr Form forms[] = {{false, false}, {false, true}, {true, false}, {true, true}};

// What a block is decoded with, and what comes out.
struct Setting {
    std::array<Qvo32s, 64> scan;
    std::array<Qvo16s, 64> matrix;
    bool noMatrix = false;
    Qvo32s QP = 1;
    Qvo32s shift = 0;
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
    Tables(const std::vector<PairCode>& pairs, const std::vector<SizeCode>& sizes, std::vector<Qvo32s> pairWidths,
           std::vector<Qvo32s> sizeWidths)
        : ac(Table::runLevel(pairList(pairs, pairWidths))),
          dc(Table::plain(sizeList(sizes, sizeWidths))),
          slowAc(pairCodes(pairs), pairWidths),
          slowDc(sizeCodes(sizes), sizeWidths) {}
    Table ac, dc;
    SlowTable slowAc, slowDc;
};

// The definition, code by code.
Result reconstructSlowly(Form form, const Tables& tables, const Setting& set, const std::vector<Qvo32u>& words,
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
            if (form.mpeg2 && sum % 2 == 0) r.block[63] = wrap16(r.block[63] + (r.block[63] % 2 != 0 ? -1 : 1));
            r.size = form.mpeg2 && !form.intra && index == 0 ? 1 : index;
        }
        return r;
    };
    const auto store = [&](Qvo32s at, std::int64_t value) {
        r.block[static_cast<std::size_t>(at)] = wrap16(value);
        sum += wrap16(value);
    };

    if (form.intra) {
        const std::vector<Qvo32s>* entry = tables.slowDc.read(reader, 0);
        if (entry == nullptr && form.mpeg2) return finish(qvoStatusVlcError);
        const int size = entry == nullptr ? 0 : entry->front();
        int difference = reader.get(size);
        if (size > 0 && difference < 1 << (size - 1)) difference -= (1 << size) - 1;
        r.prediction = wrap16(prediction + (form.mpeg2 ? 1 : 8) * difference);
        store(0, form.mpeg2 ? r.prediction * (1 << set.shift) : r.prediction);
        index = 0;
    }
    for (bool first = !form.intra;; first = false) {
        int run;
        int level;
        if (first && reader.show(0) == '1') {
            run = 0;
            level = reader.get(2) == 2 ? 1 : -1;
        } else {
            const std::vector<Qvo32s>* entry = tables.slowAc.read(reader, 1);
            run = entry == nullptr ? 241 : (*entry)[0];
            level = entry == nullptr ? -16 : (*entry)[1];
            if (run == qvoRunEscape) {
                run = reader.get(6);
                if (form.mpeg2) {
                    level = reader.get(12);
                    if (level > 2047) level -= 4096;
                } else {
                    level = reader.get(8);
                    if (level == 0) {
                        level = reader.get(8);
                    } else if (level == 128) {
                        level = reader.get(8) - 256;
                    } else if (level > 128) {
                        level -= 256;
                    }
                }
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
        const std::int64_t W = set.noMatrix ? 16 : set.matrix[static_cast<std::size_t>(at)];
        const std::int64_t L = level;
        const std::int64_t QP = set.QP;
        if (form.mpeg2 && !form.intra) {
            store(at, wrap32(W * QP * (2 * L + (L > 0) - (L < 0))) / 32);
        } else if (first) {
            store(at, wrap16(W * L * 2 * QP) / 16);
        } else {
            store(at, wrap32(W * L * 2 * QP) / (form.mpeg2 ? 32 : 16));
        }
    }
}

Result reconstruct(Form form, const Tables& t, const Setting& set, Qvo32u* words, std::size_t position,
                   Qvo16s prediction) {
    Result r;
    r.prediction = prediction;
    r.block.fill(0x5555);
    Position p{words + position / 32, 31 - static_cast<Qvo32s>(position % 32)};
    const Qvo16s* matrix = set.noMatrix ? nullptr : set.matrix.data();
    const auto QP = static_cast<Qvo16s>(set.QP);
    if (form.mpeg2 && form.intra) {
        r.status = qvoiReconstructDCTBlockIntra_MPEG2_32s(&p.word, &p.offset, t.dc, t.ac, set.scan.data(), QP, matrix,
                                                          &r.prediction, set.shift, r.block.data(), &r.size);
    } else if (form.mpeg2) {
        r.status = qvoiReconstructDCTBlock_MPEG2_32s(&p.word, &p.offset, t.ac, t.ac, set.scan.data(), QP, matrix,
                                                     r.block.data(), &r.size);
    } else if (form.intra) {
        r.status = qvoiReconstructDCTBlockIntra_MPEG1_32s(&p.word, &p.offset, t.dc, t.ac, set.scan.data(), set.QP,
                                                          matrix, &r.prediction, r.block.data(), &r.size);
    } else {
        r.status = qvoiReconstructDCTBlock_MPEG1_32s(&p.word, &p.offset, t.ac, t.ac, set.scan.data(), set.QP, matrix,
                                                     r.block.data(), &r.size);
    }
    r.position = p.bitsFrom(words);
    return r;
}

Setting plainSetting() {
    Setting set;
    std::copy_n(zigzag, 64, set.scan.begin());
    set.matrix.fill(16);
    return set;
}

Setting randomSetting(Random& random, bool mpeg2, bool intra) {
    Setting set = plainSetting();
    if (random.chance(40)) std::copy_n(alternateScan, 64, set.scan.begin());
    if (random.chance(20)) random.fill(set.scan, 0, 63);  // not even a permutation
    random.fill(set.matrix, 8, 255);
    if (random.chance(20)) random.fill(set.matrix, -32768, 32767);
    set.noMatrix = mpeg2 && !intra && random.chance(40);
    set.QP = random.range(1, 112);
    if (random.chance(20)) set.QP = mpeg2 ? random.range(-32768, 32767) : random.range(-2147483647 - 1, 2147483647);
    set.shift = random.range(0, 3);
    return set;
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

// A reader for one block given as text.
Result decode(Form form, const std::string& bits, const Setting& set = plainSetting(), Qvo16s prediction = 0) {
    static const Tables tables(tableB14, tableB12, {8, 9}, {4, 5});
    std::vector<Qvo32u> words = BitWriter().put(bits).words();
    return reconstruct(form, tables, set, words.data(), 0, prediction);
}

}  // namespace

TEST(Reconstruct, AgreesWithTheDefinition) {
    const Tables tables[] = {{tableB14, tableB12, {8, 9}, {4, 5}},
                             {tableB15, tableB13, {17}, {10}},
                             {tableB14, tableB13, {5, 3, 4, 5}, {2, 3, 5}},
                             {tableB15, tableB12, {7, 8}, {3, 3}}};  // leaves the longest codes out
    Random random(5);
    int blocks[4][2] = {};
    for (int round = 0; round < 400; ++round) {
        const int f = round % 4;
        const Tables& t = tables[random.range(0, 3)];
        std::vector<Qvo32u> words = randomStream(random, random.chance(50) ? tableB14 : tableB15);
        words.resize(words.size() + 200);  // a block may run on into whatever follows
        const Setting set = randomSetting(random, forms[f].mpeg2, forms[f].intra);
        auto position = static_cast<std::size_t>(random.range(0, 31));
        Qvo16s prediction = 1000;
        while (position < 3000) {
            const Result expected = reconstructSlowly(forms[f], t, set, words, position, prediction);
            // Only one word beyond the one with the last consumed bit may be read.
            const std::size_t readable = (expected.position + 31) / 32 + 1;
            Guarded<Qvo32u> stream(readable);
            std::copy_n(words.begin(), readable, stream.begin());
            ASSERT_EQ(expected, reconstruct(forms[f], t, set, stream.data(), position, prediction))
                << "form " << f << " at bit " << position;
            position = expected.position;
            prediction = expected.prediction;
            ++blocks[f][expected.status == qvoStatusOk];
        }
    }
    for (const auto& count : blocks) {
        EXPECT_GT(count[0], 100);
        EXPECT_GT(count[1], 1000);
    }
}

TEST(Reconstruct, FirstCoefficientOfANonIntraBlock) {
    for (const bool mpeg2 : {false, true}) {
        // Bits 1 and 0, then end of block: +1 at scan index 0.
        const Result one = decode({mpeg2, false}, "1010");
        EXPECT_EQ(0, one.status);
        EXPECT_EQ(mpeg2 ? 16 * 3 / 32 : 2, one.block[0]);
        EXPECT_EQ(mpeg2 ? 1 : 0, one.size);
        EXPECT_EQ(4u, one.position);

        // A code that is not in the table ends the block as an empty one, with the marker's run as its size.
        const Result invalid = decode({mpeg2, false}, "00000000000000000");
        EXPECT_EQ(0, invalid.status);
        EXPECT_EQ(241, invalid.size);
        EXPECT_EQ(16u, invalid.position);
        EXPECT_EQ(mpeg2 ? 1 : 0, invalid.block[63]);
        EXPECT_EQ(mpeg2 ? 1 : 0, std::accumulate(invalid.block.begin(), invalid.block.end(), 0));
    }
    // In a table that has such codes an end of block does the same.
    const Tables reversed(tableB15, tableB13, {8, 9}, {4, 5});
    std::vector<Qvo32u> words = BitWriter().put("0110").words();
    const Result empty = reconstruct({true, false}, reversed, plainSetting(), words.data(), 0, 0);
    EXPECT_EQ(0, empty.status);
    EXPECT_EQ(254, empty.size);
    EXPECT_EQ(1, empty.block[63]);

    // MPEG-1 cuts the first product to 16 bits, and only the first: 255 * 255 * 2 * 31 is far beyond.
    Setting set = plainSetting();
    set.matrix.fill(255);
    set.QP = 31;
    const std::string escape =
        "000001"
        "000000"
        "00000000"
        "11111111";
    const Result wrapped = decode({false, false}, escape + escape + "10", set);
    EXPECT_EQ(wrap16(255 * 255 * 62) / 16, wrapped.block[0]);
    EXPECT_EQ(wrap16(255 * 255 * 62 / 16), wrapped.block[1]);
}

TEST(Reconstruct, EscapesOfMpeg1) {
    Setting set = plainSetting();
    set.matrix.fill(8);  // levels come out as they are
    const auto level = [&](const std::string& bits) {
        return decode({false, true},
                      "100"
                      "000001"
                      "000010" +
                          bits + "10",
                      set)
            .block[zigzag[3]];
    };
    EXPECT_EQ(-251, level("10000000"
                          "00000101"));
    EXPECT_EQ(-128, level("10000000"
                          "10000000"));
    EXPECT_EQ(128, level("00000000"
                         "10000000"));
    EXPECT_EQ(255, level("00000000"
                         "11111111"));
    EXPECT_EQ(-127, level("10000001"));
    EXPECT_EQ(127, level("01111111"));
}

TEST(Reconstruct, MismatchControl) {
    // A DC of 8 and nothing else: the sum is even, and the last coefficient becomes odd.
    EXPECT_EQ(1, decode({true, true},
                        "00"
                        "1"
                        "10",
                        plainSetting(), 7)
                     .block[63]);
    // With the sum odd it stays as it is.
    EXPECT_EQ(0, decode({true, true},
                        "00"
                        "1"
                        "10",
                        plainSetting(), 8)
                     .block[63]);
    // The shifted DC counts, and an odd last coefficient goes down.
    Setting set = plainSetting();
    set.shift = 1;
    std::swap(set.scan[1], set.scan[63]);
    const Result twoOdd = decode({true, true},
                                 "100"
                                 "110"
                                 "110"
                                 "10",
                                 set, 3);  // levels 1 and 1
    EXPECT_EQ(6, twoOdd.block[0]);
    EXPECT_EQ(1, twoOdd.block[8]);
    EXPECT_EQ(0, twoOdd.block[63]);
}

TEST(Reconstruct, Overrun) {
    for (const Form form : forms) {
        // The last scan index, then one more.
        const std::string dc = form.intra ? "01"
                                            "11"
                                          : "";
        const std::string level = form.mpeg2 ? "000000000001" : "00000001";
        const std::string toTheEnd = dc + "000001" + (form.intra ? "111110" : "111111") + level;
        const Result full = decode(form, toTheEnd + "10");
        EXPECT_EQ(0, full.status);
        EXPECT_EQ(63, full.size);
        for (const std::string& code : {std::string("110"),
                                        "000001"
                                        "000000" +
                                            level}) {
            const Result over = decode(form, toTheEnd + code + "10", plainSetting(), 100);
            EXPECT_EQ(qvoStatusVlcError, over.status);
            EXPECT_EQ(-77, over.size);
            EXPECT_EQ((toTheEnd + code).size(), over.position);
            EXPECT_EQ(form.intra ? form.mpeg2 ? 103 : 124 : 100, over.prediction);
            EXPECT_EQ(form.mpeg2 ? 1 : 2, over.block[63]);  // no mismatch control
        }
    }
}

TEST(Reconstruct, InvalidDCSize) {
    const Tables shallow(tableB14, tableB12, {8, 9}, {4});  // leaves sizes from 6 on out
    std::vector<Qvo32u> words = BitWriter()
                                    .put(
                                        "1111"
                                        "110"
                                        "10")
                                    .words();
    const Result mpeg2 = reconstruct({true, true}, shallow, plainSetting(), words.data(), 0, 100);
    EXPECT_EQ(qvoStatusVlcError, mpeg2.status);
    EXPECT_EQ(100, mpeg2.prediction);
    EXPECT_EQ(4u, mpeg2.position);
    EXPECT_EQ(Result().block, mpeg2.block);
    const Result mpeg1 = reconstruct({false, true}, shallow, plainSetting(), words.data(), 0, 100);
    EXPECT_EQ(qvoStatusOk, mpeg1.status);
    EXPECT_EQ(100, mpeg1.block[0]);
    EXPECT_EQ(2, mpeg1.block[1]);
    EXPECT_EQ(1, mpeg1.size);
}

TEST(Reconstruct, NullPointers) {
    const Tables t(tableB14, tableB12, {8, 9}, {4, 5});
    const Setting set = plainSetting();
    Qvo32u words[3] = {0xFFFFFFFF, 0, 0};
    // Argument `null` is left out; the first number behind the last argument leaves out none.
    const auto call = [&](Form form, int null) {
        int argument = 0;
        const auto give = [&](auto* p) { return argument++ == null ? nullptr : p; };
        Qvo32u* word = words;
        Qvo32u** const stream = give(&word);
        word = give(word);
        Qvo32s offset = 31;
        Qvo32s* const pOffset = give(&offset);
        const QvoVlcTable* const table = give(static_cast<const QvoVlcTable*>(form.intra ? t.dc : t.ac));
        const QvoVlcTable* const ac = give(static_cast<const QvoVlcTable*>(t.ac));
        const Qvo32s* const scan = give(set.scan.data());
        Qvo16s block[64] = {5};
        Qvo16s* const dst = give(block);
        Qvo32s size = -77;
        Qvo32s* const pSize = give(&size);
        Qvo16s prediction = 9;
        Qvo16s* const pPrediction = form.intra ? give(&prediction) : nullptr;
        const Qvo16s* const matrix = form.mpeg2 && !form.intra ? nullptr : give(set.matrix.data());
        QvoStatus status;
        if (form.intra) {
            status = form.mpeg2 ? qvoiReconstructDCTBlockIntra_MPEG2_32s(stream, pOffset, table, ac, scan, 1, matrix,
                                                                         pPrediction, 0, dst, pSize)
                                : qvoiReconstructDCTBlockIntra_MPEG1_32s(stream, pOffset, table, ac, scan, 1, matrix,
                                                                         pPrediction, dst, pSize);
        } else {
            status = form.mpeg2
                         ? qvoiReconstructDCTBlock_MPEG2_32s(stream, pOffset, table, ac, scan, 1, matrix, dst, pSize)
                         : qvoiReconstructDCTBlock_MPEG1_32s(stream, pOffset, table, ac, scan, 1, matrix, dst, pSize);
        }
        if (null < argument) {
            EXPECT_EQ(qvoStatusNullPtr, status) << null;
            EXPECT_EQ(5, block[0]);
            EXPECT_EQ(9, prediction);
            EXPECT_EQ(31, offset);
            EXPECT_EQ(-77, size);
        } else {
            EXPECT_NE(qvoStatusNullPtr, status);
        }
        return argument;
    };
    for (const Form form : forms) {
        const int arguments = call(form, 99);
        for (int null = 0; null < arguments; ++null)
            call(form, null);
    }
}

TEST(QuantInv, AgreesWithTheDefinition) {
    Random random(8);
    for (int round = 0; round < 3000; ++round) {
        const bool intra = round % 3 == 0;
        const bool noMatrix = round % 3 == 1;
        Qvo16s c[64];
        Qvo16s W[64];
        const bool wild = random.chance(30);
        random.fill(c, wild ? -32768 : -300, wild ? 32767 : 300);
        for (Qvo16s& e : c) {
            if (random.chance(50)) e = 0;
        }
        random.fill(W, wild ? -32768 : 8, wild ? 32767 : 255);
        const Qvo32s QP = wild ? static_cast<Qvo32s>(random.next()) : random.range(1, 112);

        Qvo16s expected[64];
        std::int64_t sum = 0;
        for (int i = 0; i < 64; ++i) {
            const std::int64_t twice = 2 * c[i] + (c[i] > 0) - (c[i] < 0);
            std::int64_t q = intra      ? wrap32(wrap32(std::int64_t{2} * c[i] * W[i]) * QP) / 32
                             : noMatrix ? wrap32(twice * QP) / 2
                                        : wrap32(wrap32(twice * W[i]) * QP) / 32;
            q = std::clamp<std::int64_t>(wrap16(q), -2048, 2047);
            expected[i] = intra && i == 0 ? c[0] : static_cast<Qvo16s>(q);
            sum += expected[i];
        }
        if (sum % 2 == 0) expected[63] = static_cast<Qvo16s>(expected[63] + (expected[63] % 2 != 0 ? -1 : 1));

        Guarded<Qvo16s> block(64);
        std::copy_n(c, 64, block.begin());
        ASSERT_EQ(qvoStatusOk, intra ? qvoiQuantInvIntra_MPEG2_16s_C1I(block.data(), QP, W)
                                     : qvoiQuantInv_MPEG2_16s_C1I(block.data(), QP, noMatrix ? nullptr : W));
        ASSERT_TRUE(std::equal(block.begin(), block.end(), expected));
    }
    Qvo16s block[64] = {1, 2000, 20};
    Qvo16s flat[64];
    std::fill_n(flat, 64, Qvo16s{16});
    EXPECT_EQ(qvoStatusOk, qvoiQuantInvIntra_MPEG2_16s_C1I(block, 20, flat));  // 40000 wraps, 400 does not
    EXPECT_EQ(-2048, block[1]);
    EXPECT_EQ(400, block[2]);

    EXPECT_EQ(qvoStatusNullPtr, qvoiQuantInvIntra_MPEG2_16s_C1I(nullptr, 1, flat));
    EXPECT_EQ(qvoStatusNullPtr, qvoiQuantInvIntra_MPEG2_16s_C1I(block, 1, nullptr));
    EXPECT_EQ(qvoStatusNullPtr, qvoiQuantInv_MPEG2_16s_C1I(nullptr, 1, flat));
}
