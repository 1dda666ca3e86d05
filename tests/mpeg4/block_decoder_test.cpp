// The integrated block decoders, against the steps of ISO/IEC 14496-2, 7.4, taken one by one on whole blocks.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "mpeg4/texture_codes.h"
#include "support/random.h"

namespace {

using namespace texture;
using Matrix = std::array<Qvo8u, 64>;

// The code of a random block with about `count` coefficients in the leading `positions` of the scan.
std::string randomBlock(const Codes& codes, Random& random, int start, int positions, int count) {
    Levels levels = {};
    for (int position = start; position < positions; ++position) {
        if (random.range(0, positions - 1) >= count && position + 1 < positions) continue;
        const int range = random.chance(80) ? 3 : random.chance(80) ? 30 : 2047;
        levels[ZigzagC[position]] = static_cast<Qvo16s>(random.range(1, range) * (random.chance(50) ? 1 : -1));
    }
    return blockCode(levels, ZigzagC, start, [&](Event e) { return codes.firstForm(e); });
}

// Damages one block in ten.
void damage(std::string& bits, Random& random) {
    if (!random.chance(10)) return;
    char& bit = bits[static_cast<std::size_t>(random.range(0, static_cast<int>(bits.size()) - 1))];
    bit = bit == '0' ? '1' : '0';
}

TEST(InterBlock, MatchesTheSingleSteps) {
    Random random(1);
    for (int round = 0; round < 30000; ++round) {
        const int positions = random.chance(50) ? random.range(1, 20) : random.range(1, 64);
        std::string bits = randomBlock(interCodes(), random, 0, positions, random.range(1, 12));
        damage(bits, random);
        const int QP = random.range(1, 31);
        Matrix matrix;
        random.fill(matrix, 1, 255);
        const Qvo8u* const W = random.chance(40) ? matrix.data() : nullptr;

        bits += std::string(400, '0');
        Levels expected;
        Stream steps(bits);
        const QvoStatus status =
            qvoiDecodeVLCZigzag_Inter_MPEG4_1u16s(&steps.position, &steps.bitOffset, expected.data(), qvoScanZigzag);
        int last = 63;
        while (last > 0 && expected[ZigzagC[last]] == 0)
            --last;
        qvoiQuantInvInter_MPEG4_16s_I(expected.data(), QP, W);
        const auto isZero = [&](std::initializer_list<std::size_t> indices) {
            return std::all_of(indices.begin(), indices.end(), [&](std::size_t i) { return expected[i] == 0; });
        };
        if (W != nullptr) {
            qvoiDCT8x8Inv_16s_C1I(expected.data());
        } else if (last == 0) {
            expected.fill(static_cast<Qvo16s>((expected[0] + 4) >> 3));
        } else if (last < 3) {
            qvoiDCT8x8Inv_2x2_16s_C1I(expected.data());
        } else if (last < 10 || (last < 14 && isZero({32})) || (last < 19 && isZero({4, 5, 12, 32}))) {
            qvoiDCT8x8Inv_4x4_16s_C1I(expected.data());
        } else {
            qvoiDCT8x8Inv_16s_C1I(expected.data());
        }

        Levels residual;
        residual.fill(77);
        // Exactly the bits of a block, or plenty behind a broken one.
        if (status == qvoStatusOk) bits.resize(static_cast<std::size_t>(steps.bitsUsed()));
        Stream stream(bits, round % 8);
        ASSERT_EQ(status,
                  qvoiDecodeBlockCoef_Inter_MPEG4_1u16s(&stream.position, &stream.bitOffset, residual.data(), QP, W));
        ASSERT_EQ(steps.bitsUsed(), stream.bitsUsed());
        if (status != qvoStatusOk) expected.fill(77);
        ASSERT_EQ(expected, residual) << "round " << round << " QP " << QP << ' ' << bits;
    }
}

// The buffers around one block, with the entries that lie before and behind what is used.
struct Buffers {
    std::array<Qvo16s, 32> row;     // the block's own entries begin at 20
    std::array<Qvo16s, 20> column;  // at 4
    std::array<Qvo8u, 8 * 11> pixels;
    bool operator==(const Buffers&) const = default;

    Qvo16s& rowAt(int i) { return row[static_cast<std::size_t>(20 + i)]; }
    Qvo16s& columnAt(int i) { return column[static_cast<std::size_t>(4 + i)]; }
};

constexpr int pixelStep = 11;

struct IntraArguments {
    int QP, block, dcVLC, ac;
    bool dcOnly;
    std::array<Qvo8u, 2> neighbourQP;
    const Qvo8u* W;
};

QvoStatus decode(const IntraArguments& a, Stream& stream, Buffers& b) {
    const auto decoder = a.dcOnly ? qvoiDecodeBlockCoef_IntraDCOnly_MPEG4_1u8u : qvoiDecodeBlockCoef_Intra_MPEG4_1u8u;
    return decoder(&stream.position, &stream.bitOffset, b.pixels.data(), pixelStep, &b.rowAt(0), &b.columnAt(0), a.QP,
                   a.neighbourQP.data(), a.W, a.block, a.dcVLC, a.ac);
}

// What the decoder should do. Moves the stream's position, of failures too.
QvoStatus decodeBySteps(const IntraArguments& a, Stream& stream, Buffers& b) {
    const int QP = a.QP & 255;
    const int component = a.block == 4 || a.block == 5 ? qvoVideoChrominance : qvoVideoLuminance;
    const IntraPrediction from = intraPrediction(b.rowAt(-8), b.columnAt(0), b.rowAt(0), a.block);
    const bool predictAC = a.ac != 0 && from.available;
    const int predQP = predictAC && !from.sameMacroblock ? a.neighbourQP[from.above] : QP;
    if (predQP < 1 || predQP > 31) return qvoStatusQuantRange;

    Levels levels = {};
    const int direction = from.above ? qvoPredictAbove : qvoPredictLeft, scan = a.ac == 0 ? qvoScanZigzag : direction;
    QvoStatus status = qvoStatusOk;
    if (a.dcOnly && a.dcVLC != 0)
        status = qvoiDecodeVLC_IntraDCVLC_MPEG4_1u16s(&stream.position, &stream.bitOffset, levels.data(), component);
    else if (a.dcVLC != 0)
        status = qvoiDecodeVLCZigzag_IntraDCVLC_MPEG4_1u16s(&stream.position, &stream.bitOffset, levels.data(), scan,
                                                            component);
    else if (!a.dcOnly)
        status = qvoiDecodeVLCZigzag_IntraACVLC_MPEG4_1u16s(&stream.position, &stream.bitOffset, levels.data(), scan);
    if (status != qvoStatusOk) return status;

    // A level that was not coded takes the neighbour's as it is, even beyond the range.
    const Levels coded = levels;
    const Buffers before = b;
    qvoiPredictReconCoefIntra_MPEG4_16s(levels.data(), &b.rowAt(0), &b.columnAt(0), QP, predQP, direction, predictAC,
                                        component);
    for (std::size_t i = 1; i < 8 && predictAC && QP == predQP; ++i) {
        const Qvo16s p = from.above ? before.row[20 + i] : before.column[4 + i];
        const std::size_t at = from.above ? i : 8 * i;
        if (coded[at] == 0) levels[at] = (from.above ? b.row[20 + i] : b.column[4 + i]) = p;
    }
    qvoiQuantInvIntra_MPEG4_16s_I(levels.data(), QP, a.W, component);
    const Qvo16s dc = levels[0];
    qvoiDCT8x8Inv_16s8u_C1R(levels.data(), b.pixels.data(), pixelStep);

    if (a.block == 1) std::swap(b.columnAt(8), b.rowAt(-16));
    b.columnAt(0) = a.block == 3 ? dc : b.rowAt(0);
    if (a.block != 3) b.rowAt(0) = dc;
    return qvoStatusOk;
}

TEST(IntraBlock, MatchesTheSingleSteps) {
    Random random(2);
    std::map<QvoStatus, int> seen;
    for (int round = 0; round < 60000; ++round) {
        IntraArguments a;
        a.QP = random.range(1, 31) + 256 * random.range(-1, 1);
        a.block = random.range(0, 9);
        a.dcVLC = random.range(0, 2);
        a.ac = random.range(0, 2);
        a.dcOnly = random.chance(30);
        for (Qvo8u& QP : a.neighbourQP)
            QP = static_cast<Qvo8u>(random.chance(30) ? a.QP & 255 : random.chance(95) ? random.range(1, 31) : 0);
        Matrix matrix;
        random.fill(matrix, 1, 255);
        a.W = random.chance(40) ? matrix.data() : nullptr;

        Buffers buffers;
        const int range = random.chance(80) ? 4 : random.chance(80) ? 2047 : 32767;
        random.fill(buffers.row, -range, range);
        random.fill(buffers.column, -range, range);
        random.fill(buffers.pixels, 0, 255);
        for (Qvo16s* dc : {&buffers.rowAt(-8), &buffers.rowAt(0), &buffers.columnAt(0)})
            *dc = static_cast<Qvo16s>(random.chance(20) ? random.range(-3, -1) : random.range(0, 2047));
        for (int i = 1; i < 8; ++i)
            if (random.chance(40)) buffers.rowAt(i) = buffers.columnAt(i) = 0;

        std::string bits;
        const int limit = random.chance(90) ? 60 : 4095;
        if (a.dcVLC != 0) bits += dcDifference(random.range(-limit, limit), a.block == 4 || a.block == 5);
        if (!a.dcOnly)
            bits += randomBlock(intraCodes(), random, a.dcVLC != 0, random.range(2, 64), random.range(1, 12));
        if (!bits.empty()) damage(bits, random);
        bits += std::string(500, '1');

        Buffers expected = buffers;
        Stream steps(bits);
        const QvoStatus status = decodeBySteps(a, steps, expected);
        if (status == qvoStatusOk)
            bits.resize(static_cast<std::size_t>(steps.bitsUsed()));
        else
            expected = buffers;
        Stream stream(bits, round % 8);
        ASSERT_EQ(status, decode(a, stream, buffers)) << "round " << round;
        ASSERT_EQ(steps.bitsUsed(), stream.bitsUsed()) << "round " << round;
        ASSERT_EQ(expected, buffers) << "round " << round << " block " << a.block << " QP " << a.QP << " ac " << a.ac;
        ++seen[status];
    }
    for (const QvoStatus status : {qvoStatusOk, qvoStatusTextureVlc, qvoStatusMarkerBit, qvoStatusQuantRange})
        EXPECT_GT(seen[status], 10) << status;
}

}  // namespace
