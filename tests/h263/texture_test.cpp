// Texture decoding, advanced intra coding and inverse quantisation.
#include <gtest/gtest.h>

#include <algorithm>

#include "h263/texture_codes.h"
#include "support/plane.h"
#include "support/statuses.h"

namespace {

using namespace h263;
using texture::interCodes;
using texture::Stream;

const Qvo8u* const annexIScans[] = {nullptr, ZigzagC, ZigzagH, ZigzagV};

Levels toRaster(const Levels& levels, const Qvo8u* scan) {
    Levels raster = {};
    for (std::size_t i = 0; i < 64; ++i)
        raster[scan[i]] = levels[i];
    return raster;
}

int clipCoef(int v) {
    return std::clamp(v, -2048, 2047);
}

// 6.2.1: |REC| = QUANT (2 |LEVEL| + 1), less 1 for even QUANT.
Qvo16s dequantise(int level, int QP) {
    if (level == 0) return 0;
    const int size = QP * (2 * std::abs(level) + 1) - (QP % 2 == 0);
    return static_cast<Qvo16s>(clipCoef(level < 0 ? -size : size));
}

Levels dequantise(Levels levels, int QP, bool intra) {
    for (std::size_t i = 0; i < 64; ++i)
        levels[i] = intra && i == 0 ? static_cast<Qvo16s>(clipCoef(8 * levels[0])) : dequantise(levels[i], QP);
    return levels;
}

// What a decoder gives for a stream that it may read four bytes beyond.
struct Result {
    QvoStatus status;
    std::size_t bits;
    Levels block;
    bool operator==(const Result&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Result& r) {
    out << r.status << ", " << r.bits << " bits:";
    for (const int v : r.block)
        out << ' ' << v;
    return out;
}

template <class Decode>
Result decode(const std::string& bits, int offset, Decode decoder) {
    Stream stream(bits, offset);
    Result result = {qvoStatusOk, 0, {}};
    result.block.fill(77);
    result.status = decoder(&stream.position, &stream.bitOffset, result.block.data());
    result.bits = static_cast<std::size_t>(stream.bitsUsed());
    return result;
}

// Every code of both tables, with both signs.
TEST(H263Texture, EveryCode) {
    const auto sameCode = [](const auto& a, const auto& b) { return a.first == b.first; };
    const auto &inter = interCodes().eventOf, &annexI = annexICodes().eventOf;  // Annex I uses the same words
    EXPECT_TRUE(std::equal(inter.begin(), inter.end(), annexI.begin(), annexI.end(), sameCode));
    for (const Codes* codes : {&interCodes(), &annexICodes()}) {
        for (const auto& [code, event] : codes->eventOf) {
            const auto& [last, run, level] = event;
            for (const bool negative : {false, true}) {
                Levels levels = {};
                levels[static_cast<std::size_t>(run)] = static_cast<Qvo16s>(negative ? -level : level);
                std::string bits = code + (negative ? '1' : '0');
                if (last == 0) {  // which needs one behind it
                    levels[static_cast<std::size_t>(run) + 1] = 1;
                    bits += write(*codes, {1, 0, 1});
                }
                const Result result = decode(bits, run & 7, [&](Qvo8u** p, Qvo32s* o, Qvo16s* dst) {
                    return codes == &interCodes() ? qvoiDecodeVLCZigzag_Inter_H263_1u16s(p, o, dst, 1)
                                                  : qvoiDecodeVLCZigzag_IntraAIC_H263_1u16s(p, o, dst, 1, 1);
                });
                ASSERT_EQ((Result{qvoStatusOk, bits.size(), toRaster(levels, ZigzagC)}), result) << code;
            }
        }
    }
}

TEST(H263Texture, IntraDC) {
    for (int code = 0; code < 256; ++code) {
        Stream stream(binary(code, 8), code & 7, 1);
        Qvo16s level = 77;
        const bool valid = code != 0 && code != 128;
        ASSERT_EQ(valid ? qvoStatusOk : qvoStatusBadIntraDC,
                  qvoiDecodeVLC_IntraDC_H263_1u16s(&stream.position, &stream.bitOffset, &level));
        ASSERT_EQ(valid ? 8 : 0, stream.bitsUsed());
        ASSERT_EQ(!valid ? 77 : code == 255 ? 128 : code, level);
    }
}

// Streams with and without faults through all decoders, against the reader that goes bit by bit, with exactly four bytes
// to read behind the stream.
TEST(H263Texture, DecodersAgreeWithTheBitwiseReader) {
    Random random;
    int failures[3] = {};
    for (int round = 0; round < 20000; ++round) {
        const bool intra = random.chance(30), aic = !intra && random.chance(40), extended = random.chance(50);
        const Codes& codes = aic ? annexICodes() : interCodes();
        const int direction = random.range(1, 3), QP = random.range(1, 31), offset = random.range(0, 7);
        const int dc = random.range(0, 255);
        std::string bits = intra ? binary(dc, 8) : "";
        bits += randomBlock(codes, random, random.range(1, 20), intra, extended ? 1023 : 127);
        if (random.chance(40)) {  // a fault, or just another block
            const std::size_t place = static_cast<std::size_t>(random.range(0, static_cast<int>(bits.size()) - 1));
            bits[place] = bits[place] == '0' ? '1' : '0';
        }
        // What lies behind a block that a fault has made longer is the same for the reader and the decoder.
        const std::string slack(1200, '1');

        Levels levels = {};
        std::size_t at = 0;
        QvoStatus status = qvoStatusOk;
        if (intra) {
            const int code = std::stoi(bits.substr(0, 8), nullptr, 2);
            if (code % 128 == 0) status = qvoStatusBadIntraDC;
            levels[0] = static_cast<Qvo16s>(status != qvoStatusOk ? 0 : code == 255 ? 128 : code);
            at = status == qvoStatusOk ? 8 : 0;
        }
        if (status == qvoStatusOk) status = read(codes, bits + slack, at, intra, extended, levels);
        if (status == qvoStatusOk) {
            bits.resize(at, '1');  // exactly what is read
        } else {
            bits += slack;
            ++failures[status - qvoStatusVlcError];
        }

        const auto expectBlock = [&](const Levels& block, auto decoder) {
            ASSERT_EQ((Result{status, at, block}), decode(bits, offset, decoder)) << bits.substr(0, 200);
        };
        const Qvo8u* const scan = aic ? annexIScans[direction] : ZigzagC;
        const Levels raster = toRaster(levels, scan);
        expectBlock(raster, [&](Qvo8u** p, Qvo32s* o, Qvo16s* dst) {
            if (aic) return qvoiDecodeVLCZigzag_IntraAIC_H263_1u16s(p, o, dst, direction, extended);
            return (intra ? qvoiDecodeVLCZigzag_Intra_H263_1u16s : qvoiDecodeVLCZigzag_Inter_H263_1u16s)(p, o, dst,
                                                                                                         extended);
        });
        if (aic) continue;
        Qvo32s length = 0;
        expectBlock(levels, [&](Qvo8u** p, Qvo32s* o, Qvo16s* dst) {
            return (intra ? qvoiDecodeVLC_Intra_H263_1u16s : qvoiDecodeVLC_Inter_H263_1u16s)(p, o, dst, &length,
                                                                                             extended);
        });
        const auto end = std::find_if(levels.rbegin(), levels.rend(), [](int level) { return level != 0; });
        ASSERT_EQ(levels.rend() - end, length);
        expectBlock(dequantise(raster, QP, intra), [&](Qvo8u** p, Qvo32s* o, Qvo16s* dst) {
            return (intra ? qvoiDecodeCoef_Intra_H263_1u16s : qvoiDecodeCoef_Inter_H263_1u16s)(p, o, dst, QP,
                                                                                               extended);
        });

        // From the stream to samples: the inverse DCT of the coefficients, of inter blocks as for MPEG-4.
        Levels expected;
        expected.fill(77);
        if (status == qvoStatusOk && intra) {
            std::array<Qvo8u, 64> pixels;
            qvoiDCT8x8Inv_16s8u_C1R(dequantise(raster, QP, true).data(), pixels.data(), 8);
            std::copy(pixels.begin(), pixels.end(), expected.begin());
        } else if (status == qvoStatusOk) {
            qvoiDCT8x8Inv_16s_C1(dequantise(raster, QP, false).data(), expected.data());
        }
        Result result = decode(bits, offset, [&](Qvo8u** p, Qvo32s* o, Qvo16s* dst) {
            if (!intra) return qvoiDecodeBlockCoef_Inter_H263_1u16s(p, o, dst, QP, extended);
            Qvo8u pixels[64];
            std::copy_n(dst, 64, pixels);
            const QvoStatus s = qvoiDecodeBlockCoef_Intra_H263_1u8u(p, o, pixels, 8, QP, extended);
            std::copy_n(pixels, 64, dst);
            return s;
        });
        for (std::size_t i = 0; i < 64; ++i) {  // the shorter transforms may be off by one
            ASSERT_NEAR(expected[i], result.block[i], !intra && status == qvoStatusOk);
        }
        // Whichever transform it chooses, it is that of MPEG-4's decoder for the same codes.
        if (!intra && status == qvoStatusOk && bits.find(texture::escapeCode) == std::string::npos)
            expected = decode(bits, offset, [&](Qvo8u** p, Qvo32s* o, Qvo16s* dst) {
                           return qvoiDecodeBlockCoef_Inter_MPEG4_1u16s(p, o, dst, QP, nullptr);
                       }).block;
        else
            expected = result.block;
        ASSERT_EQ((Result{status, at, expected}), result);
    }
    EXPECT_GT(failures[0], 50);   // no code
    EXPECT_GT(failures[2], 300);  // an overrun
}

// Annex I.3 as it is written, in a picture of blocks of which some are not intra.
TEST(H263Texture, AdvancedIntraReconstruction) {
    Random random;
    Levels row = {}, column = {};  // the buffers are the first eight
    for (int round = 0; round < 20000; ++round) {
        const int direction = random.range(1, 3), QP = random.range(1, 31);
        const bool coded = random.chance(80), extended = random.chance(20);
        if (random.chance(20)) row[0] = -1;
        if (random.chance(20)) column[0] = -1;

        const std::string bits = randomBlock(annexICodes(), random, random.range(1, 12), 0, extended ? 1023 : 60);
        Levels levels = {};
        std::size_t at = 0;
        const QvoStatus status = coded ? read(annexICodes(), bits + "0000", at, 0, true, levels) : qvoStatusOk;
        ASSERT_EQ(qvoStatusOk, status);
        levels = toRaster(levels, annexIScans[direction]);

        const bool above = row[0] >= 0, left = column[0] >= 0;
        Levels expected;
        for (int v = 0; v < 8; ++v) {
            for (int u = 0; u < 8; ++u) {
                int predictor = 0;
                if (direction == 2 && v == 0 && above) predictor = row[static_cast<std::size_t>(u)];
                if (direction == 3 && u == 0 && left) predictor = column[static_cast<std::size_t>(v)];
                if (u == 0 && v == 0) {
                    if (direction == 1 && above && left)
                        predictor = (row[0] + column[0]) / 2;
                    else if (direction != 3 && above)
                        predictor = row[0];
                    else if (direction != 2 && left)
                        predictor = column[0];
                    else
                        predictor = 1024;
                }
                const std::size_t i = static_cast<std::size_t>(8 * v + u);
                int coef = clipCoef(predictor + 2 * QP * levels[i]);
                if (i == 0) coef = std::clamp(coef % 2 == 0 ? coef + 1 : coef, 0, 2047);
                expected[i] = static_cast<Qvo16s>(coef);
            }
        }
        if (expected[0] == 0 && random.chance(90)) continue;

        Levels stepRow = row, stepColumn = column;
        ASSERT_EQ(qvoStatusOk, qvoiPredictReconCoefIntraAIC_H263_16s(levels.data(), stepRow.data(), stepColumn.data(),
                                                                     QP, direction));
        ASSERT_EQ(expected, levels);

        Plane<Qvo8u> pixels(8, 8, 8 + random.range(0, 3), Guard::after);
        const auto reconstruct = [&](Stream& stream) {
            return qvoiDecodeBlockCoef_IntraAIC_H263_1u8u(&stream.position, &stream.bitOffset, pixels.origin(),
                                                          pixels.step(), row.data(), column.data(), QP, direction,
                                                          coded, extended || coded);
        };
        std::vector<Qvo8u> wanted = pixels.contents();
        if (coded) {  // a failure leaves all as it is
            const Levels rowBefore = row, columnBefore = column;
            Stream broken(round % 2 ? "00000000000000" : "00000110000001000000000000", round & 7);
            ASSERT_EQ(qvoStatusVlcError, reconstruct(broken));
            ASSERT_EQ(0, broken.bitsUsed());
            ASSERT_TRUE(wanted == pixels.contents() && rowBefore == row && columnBefore == column);
        }
        qvoiDCT8x8Inv_16s8u_C1R(expected.data(), wanted.data(), pixels.step());
        Stream stream(coded ? bits : "", round & 7);
        ASSERT_EQ(qvoStatusOk, reconstruct(stream));
        ASSERT_EQ(wanted, pixels.contents());
        ASSERT_EQ(coded ? static_cast<int>(bits.size()) : 0, stream.bitsUsed());
        ASSERT_EQ(stepRow, row);
        ASSERT_EQ(stepColumn, column);
        for (std::size_t i = 0; i < 8; ++i) {
            ASSERT_EQ(expected[i], row[i]);
            ASSERT_EQ(expected[8 * i], column[i]);
        }
    }
}

TEST(H263Texture, InverseQuantisation) {
    Random random;
    for (int round = 0; round < 3000; ++round) {
        const int QP = 1 + round % 31, len = random.range(1, 64);
        Levels levels;
        for (Qvo16s& level : levels)
            level = static_cast<Qvo16s>(random.chance(50) ? random.range(-3, 3) : random.range(-32768, 32767));
        Levels expected[2] = {dequantise(levels, QP, false), dequantise(levels, QP, true)};
        Levels blocks[4] = {levels, levels, levels, levels};
        EXPECT_EQ(qvoStatusOk, qvoiQuantInvInter_H263_16s_I(blocks[0].data(), QP));
        EXPECT_EQ(qvoStatusOk, qvoiQuantInvIntra_H263_16s_I(blocks[1].data(), QP));
        EXPECT_EQ(qvoStatusOk, qvoiQuantInvInter_Compact_H263_16s_I(blocks[2].data(), len, QP));
        EXPECT_EQ(qvoStatusOk, qvoiQuantInvIntra_Compact_H263_16s_I(blocks[3].data(), len, QP));
        for (int i = 0; i < 4; ++i) {
            Levels& wanted = expected[i % 2];
            if (i >= 2) std::copy(levels.begin() + len, levels.end(), wanted.begin() + len);
            ASSERT_EQ(wanted, blocks[i]) << i << " QP " << QP;
        }
    }
}

TEST(H263Texture, StatusesInTheirOrder) {
    struct Memory {
        std::array<Qvo8u, 64> pixels;
        Levels block, row, column;
        Qvo32s length;
        bool operator==(const Memory&) const = default;
    } memory = {};
    memory.block[0] = 1;
    // Twice a level of 1, the last, or INTRADC and such a level; not consumed for good: the position is a copy.
    std::array<Qvo8u, 16> stream;
    stream.fill(0x70);
    Qvo8u* start = stream.data();
    Qvo32s offset = 0;
    const auto fresh = [&] {
        start = stream.data();
        offset = 0;
    };
    const Fault position = {qvoStatusNullPtr, {0, 1}};
    const Fault inner = {qvoStatusNullPtr, {0}, {1}};
    const Fault output = {qvoStatusNullPtr, {2}};
    Qvo16s* const block = memory.block.data();
    const auto expect = [&](auto operation, auto valid, std::vector<Fault> faults) {
        fresh();
        faults.insert(faults.begin(), {position, inner, output});
        std::apply([&](auto... p) { expectStatuses(memory, operation, {&start, &offset, p...}, faults); }, valid);
    };
    const Fault badQP3 = {qvoStatusQpRange, {3}, {0, 32, -1}};
    expect(qvoiDecodeVLC_IntraDC_H263_1u16s, std::tuple(block), {});
    for (const auto operation : {qvoiDecodeVLC_Intra_H263_1u16s, qvoiDecodeVLC_Inter_H263_1u16s})
        expect(operation, std::tuple(block, &memory.length, 0), {{qvoStatusNullPtr, {3}}});
    for (const auto operation : {qvoiDecodeVLCZigzag_Intra_H263_1u16s, qvoiDecodeVLCZigzag_Inter_H263_1u16s})
        expect(operation, std::tuple(block, 0), {});
    expect(qvoiDecodeVLCZigzag_IntraAIC_H263_1u16s, std::tuple(block, 1, 0), {{qvoStatusPredDir, {3}, {0, 4, -1}}});
    for (const auto operation :
         {qvoiDecodeCoef_Intra_H263_1u16s, qvoiDecodeCoef_Inter_H263_1u16s, qvoiDecodeBlockCoef_Inter_H263_1u16s})
        expect(operation, std::tuple(block, 5, 0), {badQP3});
    Qvo8u* const pixels = memory.pixels.data();
    const Fault badStep = {qvoStatusBlockStep, {3}, {7, -8}};
    expect(qvoiDecodeBlockCoef_IntraDCOnly_H263_1u8u, std::tuple(pixels, 8), {badStep});
    expect(qvoiDecodeBlockCoef_Intra_H263_1u8u, std::tuple(pixels, 8, 5, 0),
           {badStep, {qvoStatusQpRange, {4}, {0, 32}}});
    expect(qvoiDecodeBlockCoef_IntraAIC_H263_1u8u,
           std::tuple(pixels, 8, memory.row.data(), memory.column.data(), 5, 1, 1, 0),
           {{qvoStatusNullPtr, {4, 5}}, badStep, {qvoStatusQpRange, {6}, {0, 32}}, {qvoStatusPredDir, {7}, {0, 4}}});

    expectStatuses(
        memory, qvoiPredictReconCoefIntraAIC_H263_16s, {block, memory.row.data(), memory.column.data(), 5, 1},
        {{qvoStatusNullPtr, {0, 1, 2}}, {qvoStatusQpRange, {3}, {0, 32}}, {qvoStatusPredDir, {4}, {0, 4}}});
    for (const auto operation : {qvoiQuantInvIntra_H263_16s_I, qvoiQuantInvInter_H263_16s_I})
        expectStatuses(memory, operation, {block, 5}, {{qvoStatusNullPtr, {0}}, {qvoStatusQpRange, {1}, {0, 32}}});
    for (const auto operation : {qvoiQuantInvIntra_Compact_H263_16s_I, qvoiQuantInvInter_Compact_H263_16s_I})
        expectStatuses(
            memory, operation, {block, 64, 5},
            {{qvoStatusNullPtr, {0}}, {qvoStatusSize, {1}, {0, 65, -1}}, {qvoStatusQpRange, {2}, {0, 32}}});
}

}  // namespace
