// The integrated block decoders, against the steps of ISO/IEC 14496-2, 7.4, taken one by one on whole blocks: bits read
// one by one, prediction and inverse quantisation in raster order, the library's transforms.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <numeric>

#include "mpeg4/texture_codes.h"
#include "support/random.h"
#include "support/statuses.h"

namespace {

using namespace texture;
using Matrix = std::array<Qvo8u, 64>;

int clip(int v) {
    return std::clamp(v, -2048, 2047);
}

int dequantised(int level, int QP, const Qvo8u* weight, bool intra) {
    if (level == 0) return 0;
    const int magnitude = std::abs(level);
    int coef = QP * (2 * magnitude + 1) - (QP % 2 == 0);
    if (weight != nullptr) coef = intra ? magnitude * *weight * QP / 8 : (2 * magnitude + 1) * *weight * QP / 16;
    return clip(level < 0 ? -coef : coef);
}

void controlMismatch(Levels& coefs) {
    if (std::accumulate(coefs.begin(), coefs.end(), 0) % 2 == 0)
        coefs[63] = static_cast<Qvo16s>(coefs[63] % 2 == 0 ? coefs[63] + 1 : coefs[63] - 1);
}

// The code of a random block with about `count` coefficients in the leading `positions` of the scan.
std::string randomBlock(const Codes& codes, Random& random, int start, int positions, int count) {
    std::vector<Event> events;
    int run = 0;
    for (int position = start; position < positions; ++position) {
        if (random.range(0, positions - 1) >= count && position + 1 < positions) {
            ++run;
            continue;
        }
        const int range = random.chance(80) ? 3 : random.chance(80) ? 30 : 2047;
        const int level = random.range(1, range) * (random.chance(50) ? 1 : -1);
        events.push_back({0, run, level});
        run = 0;
    }
    events.back().last = 1;
    std::string text;
    for (const Event& event : events) {
        const auto forms = codes.allForms(event);
        text += *std::find_if(forms.begin(), forms.end(), [](const std::string& f) { return !f.empty(); });
    }
    return text;
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

        BitReader reader(bits + std::string(400, '0'));
        Levels levels = {}, expected = {};
        const bool ok = reader.readEvents(interCodes(), 0, levels);
        int last = 63;
        while (last > 0 && levels[static_cast<std::size_t>(last)] == 0)
            --last;
        for (std::size_t i = 0; i < 64; ++i) {
            const std::size_t raster = ZigzagC[i];
            expected[raster] =
                static_cast<Qvo16s>(dequantised(levels[i], QP, W != nullptr ? W + raster : nullptr, false));
        }
        const auto isZero = [&](std::initializer_list<std::size_t> indices) {
            return std::all_of(indices.begin(), indices.end(), [&](std::size_t i) { return expected[i] == 0; });
        };
        if (W != nullptr) {
            controlMismatch(expected);
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
        bits += std::string(400, '0');
        Stream stream(ok ? bits.substr(0, reader.at) : bits, round % 8);
        const QvoStatus status =
            qvoiDecodeBlockCoef_Inter_MPEG4_1u16s(&stream.position, &stream.bitOffset, residual.data(), QP, W);
        ASSERT_EQ(ok ? qvoStatusOk : qvoStatusTextureVlc, status);
        ASSERT_EQ(ok ? static_cast<int>(reader.at) : 0, stream.bitsUsed());
        if (!ok) expected.fill(77);
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

int scaledPredictor(int p, int QP, int predQP) {
    if (QP == predQP) return p;
    const int magnitude = (std::abs(p) * predQP + QP / 2) / QP;
    return static_cast<Qvo16s>(p < 0 ? -magnitude : magnitude);
}

// What the decoder should do. Returns the number of bits used, for failures too.
std::size_t decodeBySteps(const IntraArguments& a, const std::string& bits, Buffers& b, QvoStatus& status) {
    const int QP = a.QP & 255;
    const bool chrominance = a.block == 4 || a.block == 5;
    const int known[3] = {b.rowAt(-8), b.columnAt(0), b.rowAt(0)};
    const auto value = [&](int i) { return known[i] < 0 ? 1024 : known[i]; };
    const bool above = std::abs(value(0) - value(1)) < std::abs(value(1) - value(2));
    const bool available = known[above ? 2 : 0] >= 0;
    const bool predictAC = a.ac != 0 && available;
    const bool sameMacroblock = above ? a.block == 2 || a.block == 3 : a.block == 1 || a.block == 3;
    const int predQP = predictAC && !sameMacroblock ? a.neighbourQP[above ? 1 : 0] : QP;
    if (predQP < 1 || predQP > 31) return status = qvoStatusQuantRange, 0;

    BitReader reader(bits);
    Levels byPosition = {}, levels = {}, coefs = {};
    std::size_t used = 0;
    int difference = 0;
    status = a.dcVLC != 0 ? reader.readDC(chrominance, difference) : qvoStatusOk;
    if (status != qvoStatusOk) return 0;
    used = reader.at;
    if (a.dcVLC != 0 || a.dcOnly) byPosition[0] = static_cast<Qvo16s>(difference);
    if (!a.dcOnly && !reader.readEvents(intraCodes(), a.dcVLC != 0, byPosition)) {
        status = qvoStatusTextureVlc;
        return used;
    }
    const Qvo8u* const scan = a.ac == 0 ? ZigzagC : above ? ZigzagH : ZigzagV;
    for (std::size_t i = 0; i < 64; ++i)
        levels[scan[i]] = byPosition[i];

    for (int i = 1; i < 8 && predictAC; ++i) {
        const int p = above ? b.rowAt(i) : b.columnAt(i);
        Qvo16s& level = levels[static_cast<std::size_t>(above ? i : 8 * i)];
        const int scaled = scaledPredictor(p, QP, predQP);
        if (p == 0) continue;
        // A level that was not coded takes the neighbour's as it is, even beyond the range.
        level = static_cast<Qvo16s>(level == 0 && QP == predQP ? scaled : clip(level + scaled));
    }
    for (int i = 1; i < 8; ++i) {
        b.rowAt(i) = levels[static_cast<std::size_t>(i)];
        b.columnAt(i) = levels[static_cast<std::size_t>(8 * i)];
    }

    const int s = dcScaler(QP, chrominance);
    const int quantised = clip(levels[0] + (value(above ? 2 : 0) + s / 2) / s);
    for (std::size_t i = 1; i < 64; ++i)
        coefs[i] = static_cast<Qvo16s>(dequantised(levels[i], QP, a.W != nullptr ? a.W + i : nullptr, true));
    const Qvo16s dc = coefs[0] = static_cast<Qvo16s>(clip(quantised * s));
    if (a.W != nullptr) controlMismatch(coefs);
    qvoiDCT8x8Inv_16s8u_C1R(coefs.data(), b.pixels.data(), pixelStep);

    if (a.block == 1) std::swap(b.columnAt(8), b.rowAt(-16));
    b.columnAt(0) = a.block == 3 ? dc : b.rowAt(0);
    if (a.block != 3) b.rowAt(0) = dc;
    return reader.at;
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
        QvoStatus status;
        const std::size_t used = decodeBySteps(a, bits, expected, status);
        if (status != qvoStatusOk) expected = buffers;
        Stream stream(status == qvoStatusOk ? bits.substr(0, used) : bits, round % 8);
        ASSERT_EQ(status, decode(a, stream, buffers)) << "round " << round;
        ASSERT_EQ(static_cast<int>(used), stream.bitsUsed()) << "round " << round;
        ASSERT_EQ(expected, buffers) << "round " << round << " block " << a.block << " QP " << a.QP << " ac " << a.ac;
        ++seen[status];
    }
    for (const QvoStatus status : {qvoStatusOk, qvoStatusTextureVlc, qvoStatusMarkerBit, qvoStatusQuantRange})
        EXPECT_GT(seen[status], 10) << status;
}

// What later blocks predict from, kept for every block of a picture instead of in buffers.
struct Neighbour {
    Qvo16s dc = -1;
    std::array<Qvo16s, 8> row = {}, column = {};
};

// Luminance of whole pictures, with macroblocks that are not intra in between, in the buffers that codecs keep: eight
// entries per block column and a slot in front in the row buffer, two slots in the column buffer. The blocks' update of
// the buffers then has to bring the right neighbours together everywhere.
TEST(IntraBlock, BuffersBringNeighboursTogether) {
    constexpr int columns = 4, rows = 4;
    Random random(3);
    for (int picture = 0; picture < 300; ++picture) {
        Neighbour grid[2 * rows + 1][2 * columns + 1];  // with a border above and to the left
        int QPs[rows][columns];
        std::array<Qvo16s, 8 * (2 * columns + 1)> row;
        std::array<Qvo16s, 16> column;
        row.fill(-1);
        for (int y = 0; y < rows; ++y) {
            row[0] = column[0] = column[8] = -1;
            for (int x = 0; x < columns; ++x) {
                Qvo16s* const slot = row.data() + 8 + 16 * x;
                QPs[y][x] = random.range(1, 31);
                if (random.chance(20)) {  // not intra
                    slot[-8] = column[8];
                    column[0] = slot[8];
                    slot[0] = slot[8] = column[8] = -1;
                    continue;
                }
                const int ac = random.range(0, 1);
                for (int block = 0; block < 4; ++block) {
                    const int gridX = 2 * x + block % 2 + 1, gridY = 2 * y + block / 2 + 1;
                    IntraArguments a = {QPs[y][x], block, 1, ac, false, {0, 0}, nullptr};
                    if (x > 0) a.neighbourQP[0] = static_cast<Qvo8u>(QPs[y][x - 1]);
                    if (y > 0) a.neighbourQP[1] = static_cast<Qvo8u>(QPs[y - 1][x]);
                    const std::string bits = dcDifference(random.range(-9, 9), false) +
                                             randomBlock(intraCodes(), random, 1, 20, random.range(1, 5));

                    const Neighbour& left = grid[gridY][gridX - 1];
                    const Neighbour& above = grid[gridY - 1][gridX];
                    Buffers b = {};
                    for (int i = 1; i < 8; ++i) {
                        b.rowAt(i) = above.row[static_cast<std::size_t>(i)];
                        b.columnAt(i) = left.column[static_cast<std::size_t>(i)];
                    }
                    b.rowAt(-8) = left.dc;
                    b.rowAt(0) = above.dc;
                    b.columnAt(0) = grid[gridY - 1][gridX - 1].dc;
                    QvoStatus status;
                    decodeBySteps(a, bits, b, status);
                    Neighbour& current = grid[gridY][gridX];
                    for (int i = 1; i < 8; ++i) {
                        current.row[static_cast<std::size_t>(i)] = b.rowAt(i);
                        current.column[static_cast<std::size_t>(i)] = b.columnAt(i);
                    }
                    current.dc = block == 3 ? b.columnAt(0) : b.rowAt(0);

                    Stream stream(bits);
                    std::array<Qvo8u, 8 * pixelStep> pixels = {};
                    ASSERT_EQ(status, qvoiDecodeBlockCoef_Intra_MPEG4_1u8u(
                                          &stream.position, &stream.bitOffset, pixels.data(), pixelStep,
                                          slot + 8 * (block % 2), column.data() + 8 * (block / 2), a.QP,
                                          a.neighbourQP.data(), nullptr, block, 1, ac));
                    ASSERT_EQ(b.pixels, pixels)
                        << "picture " << picture << " block " << block << " of " << x << ' ' << y;
                }
            }
            row[16 * columns] = column[8];  // as block 1 of a further macroblock would do
        }
    }
}

TEST(BlockDecoders, CheckTheirArguments) {
    Stream stream("01101110001110");  // a valid block with a DC difference of 0 in front and without
    struct Memory {
        Qvo8u* position;
        Qvo32s bitOffset = 0;
        Levels residual = {};
        Buffers buffers = {};
        bool operator==(const Memory&) const = default;
    } m = {stream.position};
    std::array<Qvo8u, 2> QPs = {0, 0};  // does not matter as long as nothing is predicted from a neighbour
    Qvo8u** const pp = &m.position;
    Qvo32s* const offset = &m.bitOffset;
    Qvo16s *const row = &m.buffers.rowAt(0), *const column = &m.buffers.columnAt(0);
    const Fault noByte{qvoStatusNullPtr, {0}, {0, 1}}, badOffset{qvoStatusBitOffset, {1}, {-1, 8}};
    const Fault nulls{qvoStatusNullPtr, {1, 2}};

    expectStatuses(m, qvoiDecodeBlockCoef_Inter_MPEG4_1u16s, {pp, offset, m.residual.data(), 1, nullptr},
                   {noByte, nulls, badOffset, {qvoStatusQuantRange, {3}, {0, 32, 257}}});
    for (const auto& intra : {qvoiDecodeBlockCoef_Intra_MPEG4_1u8u, qvoiDecodeBlockCoef_IntraDCOnly_MPEG4_1u8u}) {
        expectStatuses(m, intra,
                       {pp, offset, m.buffers.pixels.data(), 8, row, column, 1, QPs.data(), nullptr, 0, 1, 0},
                       {noByte,
                        nulls,
                        badOffset,
                        {qvoStatusStep, {3}, {0, -8}},
                        {qvoStatusNullPtr, {4, 5, 7}},
                        {qvoStatusBlockIndex, {9}, {10, -1}},
                        {qvoStatusQuantRange, {6}, {0, 32}},
                        {qvoStatusQuantRange, {11}, {1}}});  // the neighbour's
    }
}

}  // namespace
