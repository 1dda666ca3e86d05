// Both families of texture writers against the printed code tables and against the decoders.
#include <gtest/gtest.h>

#include <functional>

#include "mpeg4/texture_codes.h"
#include "mpeg4/written.h"
#include "support/random.h"
#include "support/statuses.h"

namespace {

using namespace texture;

const Qvo8u* const scans[3] = {ZigzagC, ZigzagV, ZigzagH};

using EventCode = std::function<std::string(Event)>;

// The family that writes directly: type 1 for runs with codes, type 2 for runs without.
std::string directCode(const Codes& codes, Event e) {
    const auto forms = codes.allForms(e);
    const bool runHasCodes = codes.lmax.count({e.last, e.run}) != 0;
    if (!forms[0].empty()) return forms[0];
    const std::string& escape = forms[runHasCodes ? 1 : 2];
    return escape.empty() ? forms[3] : escape;
}

// The family with an accumulator: the first that there is.
std::string accumulatorCode(const Codes& codes, Event e) {
    for (const std::string& form : codes.allForms(e))
        if (!form.empty()) return form;
    return "";
}

std::string h263Code(Event e) {
    const std::string code = interCodes().allForms(e)[0];
    if (!code.empty()) return code;
    return escapeCode + Codes::binary(e.last, 1) + Codes::binary(e.run, 6) + Codes::binary(e.level, 8);
}

std::string blockCode(const Levels& block, const Qvo8u* scan, int start, const EventCode& codeOf) {
    std::vector<Event> events;
    int run = 0;
    for (int position = start; position < 64; ++position) {
        const int level = block[scan[position]];
        if (level != 0) events.push_back({0, run, level});
        run = level != 0 ? 0 : run + 1;
    }
    if (!events.empty()) events.back().last = 1;
    std::string bits;
    for (const Event& e : events)
        bits += codeOf(e);
    return bits;
}

// A block writer and what it is expected to write; decode is null where no decoder reads that.
struct Writer {
    const char* name;
    Stores stores;
    int scan;
    int start;
    EventCode codeOf;
    QvoStatus (*write)(const Qvo16s*, Qvo8u**, Qvo32s*);
    QvoStatus (*decode)(Qvo8u**, Qvo32s*, Qvo16s*);
};

template <int scan>
Writer intraDirect(int start, QvoStatus (*write)(const Qvo16s*, Qvo8u**, Qvo32s*)) {
    return {"IntraACVLC",
            Stores::bytes,
            scan,
            start,
            [](Event e) { return directCode(intraCodes(), e); },
            write,
            start == 1 ? nullptr
                       : +[](Qvo8u** p, Qvo32s* o,
                             Qvo16s* b) { return qvoiDecodeVLCZigzag_IntraACVLC_MPEG4_1u16s(p, o, b, scan); }};
}

template <int scan>
Writer intraAccumulator() {
    return {
        "EncodeVLCZigzag_IntraACVLC",
        Stores::words,
        scan,
        0,
        [](Event e) { return accumulatorCode(intraCodes(), e); },
        [](const Qvo16s* b, Qvo8u** p, Qvo32s* o) {
            return qvoiEncodeVLCZigzag_IntraACVLC_MPEG4_16s1u(p, o, b, scan, 1);
        },
        [](Qvo8u** p, Qvo32s* o, Qvo16s* b) { return qvoiDecodeVLCZigzag_IntraACVLC_MPEG4_1u16s(p, o, b, scan); }};
}

QvoStatus decodeInter(Qvo8u** p, Qvo32s* o, Qvo16s* b) {
    return qvoiDecodeVLCZigzag_Inter_MPEG4_1u16s(p, o, b, qvoScanZigzag);
}

template <int scan, int skipDC>
QvoStatus writeIntra(const Qvo16s* b, Qvo8u** p, Qvo32s* o) {
    return qvoiEncode_IntraACVLC_MPEG4_16s1u(b, p, o, scan, skipDC);
}

const std::vector<Writer> writers = {
    intraDirect<0>(0, writeIntra<0, 0>),
    intraDirect<1>(0, writeIntra<1, 0>),
    intraDirect<2>(0, writeIntra<2, 0>),
    intraDirect<2>(0, writeIntra<-1, 0>),
    intraDirect<2>(1, writeIntra<7, 0x100>),
    intraAccumulator<0>(),
    intraAccumulator<1>(),
    intraAccumulator<2>(),
    {"InterVLC", Stores::bytes, 0, 0, [](Event e) { return directCode(interCodes(), e); },
     qvoiEncode_InterVLC_MPEG4_16s1u, decodeInter},
    {"EncodeVLCZigzag_Inter", Stores::words, 0, 0, [](Event e) { return accumulatorCode(interCodes(), e); },
     [](const Qvo16s* b, Qvo8u** p, Qvo32s* o) { return qvoiEncodeVLCZigzag_Inter_MPEG4_16s1u(p, o, b, 1); },
     decodeInter},
    {"ACVLC_H263", Stores::bytes, 0, 0, h263Code,
     [](const Qvo16s* b, Qvo8u** p, Qvo32s* o) { return qvoiEncode_ACVLC_H263_16s1u(b, p, o, 0); }, nullptr},
    {"ACVLC_H263 intra", Stores::bytes, 0, 1, h263Code,
     [](const Qvo16s* b, Qvo8u** p, Qvo32s* o) { return qvoiEncode_ACVLC_H263_16s1u(b, p, o, 0x100); }, nullptr}};

void expectBlock(const Writer& writer, const Levels& block, int offset) {
    const std::string bits = blockCode(block, scans[writer.scan], writer.start, writer.codeOf);
    expectWritten(bits, offset, writer.stores,
                  [&](Qvo8u** p, Qvo32s* o) { return writer.write(block.data(), p, o); });
    if (bits.empty() || writer.decode == nullptr || testing::Test::HasFatalFailure()) return;
    Stream stream(bits, offset);
    Levels decoded;
    ASSERT_EQ(qvoStatusOk, writer.decode(&stream.position, &stream.bitOffset, decoded.data()));
    ASSERT_EQ(static_cast<int>(bits.size()), stream.bitsUsed());
    ASSERT_EQ(block, decoded);
}

TEST(TextureWriters, EveryEventInTheFormOfItsFamily) {
    std::vector<int> levels = {100, 127, 128, 255, 256, 1000, 2047};
    for (int level = 1; level < 60; ++level)
        levels.push_back(level);
    int offset = 0;
    for (const Writer& writer : writers)
        for (int run = 0; run < 64 - writer.start; ++run)
            for (const int level : levels)
                for (const bool last : {false, true}) {
                    if (!last && run == 63 - writer.start) continue;
                    Levels block = {};
                    const int position = writer.start + run;
                    block[scans[writer.scan][position]] =
                        static_cast<Qvo16s>((level + run) % 2 != 0 ? -level : level);
                    if (!last) block[scans[writer.scan][position + 1]] = 1;
                    expectBlock(writer, block, ++offset % 8);
                    if (HasFatalFailure()) FAIL() << writer.name << ' ' << last << ' ' << run << ' ' << level;
                }
}

TEST(TextureWriters, WholeBlocks) {
    Random random;
    for (const Writer& writer : writers)
        for (int i = 0; i < 1500; ++i) {
            Levels block = {};
            const int density = random.range(0, 100), range = random.chance(60) ? 4 : 2047;
            for (Qvo16s& level : block)
                if (random.chance(density)) level = static_cast<Qvo16s>(random.range(-range, range));
            expectBlock(writer, block, i % 8);
            if (HasFatalFailure()) FAIL() << writer.name;
        }
}

TEST(TextureWriters, LevelsBeyondTheEscapeKeepTheirLowBits) {
    for (const Writer& writer : writers)
        for (const int level : {2048, -2048, -2049, 5000, 32767, -32768}) {
            Levels block = {};
            block[scans[writer.scan][writer.start]] = static_cast<Qvo16s>(level);
            expectWritten(blockCode(block, scans[writer.scan], writer.start, writer.codeOf), 5, writer.stores,
                          [&](Qvo8u** p, Qvo32s* o) { return writer.write(block.data(), p, o); });
        }
}

// One event that is not the last, and behind it the level 1.
TEST(TextureWriters, EscapesSpeltOut) {
    const auto expectEvent = [](const Writer& writer, int run, int level, const std::string& code) {
        SCOPED_TRACE(testing::Message() << writer.name << ' ' << run << ' ' << level);
        Levels block = {};
        block[ZigzagC[run]] = static_cast<Qvo16s>(level);
        block[ZigzagC[run + 1]] = 1;
        expectWritten(code + "01110", 6, writer.stores,
                      [&](Qvo8u** p, Qvo32s* o) { return writer.write(block.data(), p, o); });
    };
    const Writer &intra = writers[0], &intra2 = writers[5], &inter = writers[8], &inter2 = writers[9];
    for (const Writer* writer : {&inter, &inter2}) {
        expectEvent(*writer, 0, 13, "00000110100");
        expectEvent(*writer, 27, 1, "000001110100");
        expectEvent(*writer, 0, -2048, "000001111000000011000000000001");
    }
    // The level is too large for type 1. The largest run with a level of 3 is 7: type 2 has a code, of run 12 - 7 - 1.
    expectEvent(intra, 12, 3, "000001111000110010000000000111");
    expectEvent(intra2, 12, 3, "00000111000000010100");
    EXPECT_EQ("0000001010", intraCodes().codeOf.at({0, 4, 3}));
}

TEST(TextureWriters, BlocksThatAreNotCoded) {
    Levels block;
    block.fill(1);
    const Levels empty = {};
    for (const Qvo8u coded : {Qvo8u{0}, Qvo8u{2}, Qvo8u{255}, Qvo8u{1}}) {
        const Levels& b = coded == 1 ? empty : block;
        for (int offset = 0; offset < 8; ++offset) {
            expectWritten("", offset, Stores::words, [&](Qvo8u** p, Qvo32s* o) {
                return qvoiEncodeVLCZigzag_IntraACVLC_MPEG4_16s1u(p, o, b.data(), qvoScanZigzag, coded);
            });
            expectWritten("", offset, Stores::words, [&](Qvo8u** p, Qvo32s* o) {
                return qvoiEncodeVLCZigzag_Inter_MPEG4_16s1u(p, o, b.data(), coded);
            });
            expectWritten(dcDifference(b[0], false), offset, Stores::words, [&](Qvo8u** p, Qvo32s* o) {
                return qvoiEncodeVLCZigzag_IntraDCVLC_MPEG4_16s1u(p, o, b.data(), qvoScanZigzag, coded, 0);
            });
        }
    }
}

// ---- DC coefficients ----

TEST(DCWriters, EveryDifference) {
    for (int difference = -4095; difference <= 4095; ++difference)
        for (int component = 0; component <= 2; ++component) {
            const bool chrominance = component == qvoVideoChrominance;
            std::string bits = dcDifference(difference, chrominance);
            if (std::abs(difference) > 255) {  // the marker bit goes to the front of the difference
                bits.pop_back();
                const int size = 32 - __builtin_clz(static_cast<unsigned>(std::abs(difference)));
                bits.insert(bits.size() - static_cast<std::size_t>(size), "1");
            }
            expectWritten(bits, difference & 7, Stores::bytes, [&](Qvo8u** p, Qvo32s* o) {
                return qvoiEncode_IntraDCVLC_MPEG4_16s1u(static_cast<Qvo16s>(difference), p, o, component);
            });
            if (HasFatalFailure()) FAIL() << difference;
            if (std::abs(difference) > 255) continue;

            Levels block = {static_cast<Qvo16s>(difference), -2};
            const bool coded = (difference & 1) != 0;
            if (!coded) block[1] = 0;
            const std::string all = bits + (coded ? intraCodes().codeOf.at({1, 0, 2}) + '1' : "");
            expectWritten(all, difference & 7, Stores::words, [&](Qvo8u** p, Qvo32s* o) {
                return qvoiEncodeVLCZigzag_IntraDCVLC_MPEG4_16s1u(p, o, block.data(), qvoScanHorizontal, coded,
                                                                  component);
            });
            Stream stream(all);
            Levels decoded = {};
            ASSERT_EQ(qvoStatusOk,
                      coded ? qvoiDecodeVLCZigzag_IntraDCVLC_MPEG4_1u16s(&stream.position, &stream.bitOffset,
                                                                         decoded.data(), qvoScanHorizontal, component)
                            : qvoiDecodeVLC_IntraDCVLC_MPEG4_1u16s(&stream.position, &stream.bitOffset,
                                                                   decoded.data(), component));
            ASSERT_EQ(block, decoded);
        }
}

TEST(DCWriters, SizesBeyondTheTables) {
    const auto direct = [](int difference, const std::string& bits) {
        expectWritten(bits, 1, Stores::bytes, [&](Qvo8u** p, Qvo32s* o) {
            return qvoiEncode_IntraDCVLC_MPEG4_16s1u(static_cast<Qvo16s>(difference), p, o, 1);
        });
    };
    direct(256, "0000000011100000000");
    direct(4096 + 5, "0000000000011000000000101");
    direct(-32768, "0000000000011111111111111");

    const auto accumulator = [](int difference, const std::string& bits) {
        const Levels block = {static_cast<Qvo16s>(difference)};
        expectWritten(bits, 1, Stores::words, [&](Qvo8u** p, Qvo32s* o) {
            return qvoiEncodeVLCZigzag_IntraDCVLC_MPEG4_16s1u(p, o, block.data(), 0, 0, 0);
        });
    };
    accumulator(256, "011");
    accumulator(-(256 + 5), "010010");
}

TEST(DCWriters, H263) {
    for (int dc = -300; dc <= 300; ++dc)
        expectWritten(
            dc == 128 ? "11111111" : Codes::binary(dc, 8), dc & 7, Stores::bytes,
            [&](Qvo8u** p, Qvo32s* o) { return qvoiEncode_IntraDCVLC_H263_16s1u(static_cast<Qvo16s>(dc), p, o); });
}

// ---- tables and exported escapes ----

TEST(WriterTables, HoldTheStandardsCodes) {
    const auto word = [](const Qvo8u(&entry)[2]) { return Codes::binary(entry[0], entry[1]); };
    for (int i = 0; i < 102; ++i) {
        const Triple inter = interCodes().eventOf.at(word(_qvoVleTable[i]));
        const auto [last, run, level] = inter;
        const Qvo8u* const sums = last != 0 ? _qvoIfLastNumOfLevelAtRunadd : _qvoIfNotLastNumOfLevelAtRunadd;
        EXPECT_EQ(i, (last != 0 ? 58 : 0) + (run != 0 ? sums[run - 1] : 0) + level - 1);
        const auto [intraLast, intraRun, intraLevel] = intraCodes().eventOf.at(word(_qvoVleTable[i]));
        EXPECT_EQ(intraLast * 1024 + intraRun * 32 + intraLevel, _qvoIntraYAVCLHashingTable[i]);
    }
    EXPECT_EQ(escapeCode, word(_qvoVleTable[102]));
    EXPECT_EQ(0, _qvoVleTable[103][1]);
    for (int size = 0; size <= 12; ++size) {
        EXPECT_EQ(dcSizeCodes[0][size], word(_qvoVleIntraDCy[size]));
        EXPECT_EQ(dcSizeCodes[1][size], word(_qvoVleIntraDCc[size]));
    }

    const auto entry = [](const auto& map, int a, int b, int more) {
        const auto found = map.find({a, b});
        return found == map.end() ? 0 : found->second + more;
    };
    for (int last = 0; last < 2; ++last) {
        for (int run = 0; run < 64; ++run) {
            EXPECT_EQ(entry(intraCodes().lmax, last, run, 0), _qvoLMAXintra[last * 64 + run]);
            EXPECT_EQ(entry(interCodes().lmax, last, run, 0), _qvoLevelMAXinter[last * 64 + run]);
        }
        for (int level = 0; level < 32; ++level) {
            EXPECT_EQ(entry(intraCodes().rmax, last, level, 1), _qvoRunMAXintra[last * 32 + level]);
            EXPECT_EQ(entry(interCodes().rmax, last, level, 1), _qvoRMAXinter[last * 32 + level]);
        }
    }
    EXPECT_TRUE(std::equal(_qvoIfNotLastNumOfLevelAtRun, _qvoIfNotLastNumOfLevelAtRun + 27, _qvoLevelMAXinter));
    EXPECT_TRUE(std::equal(_qvoIfLastNumOfLevelAtRun, _qvoIfLastNumOfLevelAtRun + 41, _qvoLevelMAXinter + 64));
}

// An escape behind `used` bits of an accumulator gives these bits; what is left in it is looked at as well.
void expectAccumulated(const std::string& bits, int used,
                       const std::function<QvoStatus(Qvo8u**, Qvo32u*, Qvo32s*)>& write) {
    Guarded<Qvo8u> memory(4);
    Qvo8u* position = memory.data();
    Qvo32s free = 32 - used;
    Qvo32u accumulator = used == 0 ? 0 : ~0u << free;
    ASSERT_EQ(qvoStatusOk, write(&position, &accumulator, &free));
    std::string written;
    for (Qvo8u* p = memory.data(); p < position; ++p)
        written += Codes::binary(*p, 8);
    ASSERT_TRUE(free >= 1 && free <= 32);
    written += Codes::binary(static_cast<int>(accumulator), 32);
    ASSERT_EQ(std::string(32, '0').substr(0, static_cast<std::size_t>(free)),
              written.substr(written.size() - static_cast<std::size_t>(free)));
    written.resize(written.size() - static_cast<std::size_t>(free));
    ASSERT_EQ(std::string(static_cast<std::size_t>(used), '1') + bits, written);
}

TEST(ExportedEscapes, AtEveryFillOfTheAccumulator) {
    int used = 0;
    for (int run = 0; run < 64; ++run)
        for (int level = -40; level <= 40; ++level)
            for (int last = 0; last < 2; ++last) {
                used = (used + 1) % 32;
                const Qvo8u run8 = static_cast<Qvo8u>(run);
                const Qvo16s level16 = static_cast<Qvo16s>(level);
                expectAccumulated(intraCodes().allForms({last, run, level})[3].substr(9), used,
                                  [&](Qvo8u** p, Qvo32u* acc, Qvo32s* free) {
                                      return _qvoiEncodefixLengthCode_MPEG4(p, free, run8, level16, last, acc);
                                  });
                for (const bool intra : {false, true}) {
                    auto forms = (intra ? intraCodes() : interCodes()).allForms({last, run, level});
                    if (!forms[0].empty() || level == 0) continue;  // never escaped
                    const std::string& bits = forms[!forms[1].empty() ? 1 : !forms[2].empty() ? 2 : 3];
                    expectAccumulated(bits, used, [&](Qvo8u** p, Qvo32u* acc, Qvo32s* free) {
                        return _qvoiEncodeescapeEncode_MPEG4(
                            run8, level16, last, intra ? _qvoLMAXintra : _qvoLevelMAXinter,
                            intra ? _qvoRunMAXintra : _qvoRMAXinter, intra ? 1 : 2 + last, p, acc, free);
                    });
                }
                if (HasFatalFailure()) FAIL() << last << ' ' << run << ' ' << level;
            }
}

// ---- arguments ----

TEST(TextureWriters, StatusesInTheirOrder) {
    struct Memory {
        std::array<Qvo8u, 64> bytes = {};
        Qvo8u* position = nullptr;
        Qvo32s offset = 3;
        bool operator==(const Memory&) const = default;
    } m;
    m.position = m.bytes.data();
    Qvo8u** const pp = &m.position;
    Qvo32s* const o = &m.offset;
    const Levels block = {3, 2, 1};
    const Qvo16s* const b = block.data();
    const auto faults = [](std::size_t stream, std::vector<std::size_t> pointers, bool alike = false) {
        const QvoStatus null = alike ? qvoStatusBadArg : qvoStatusNullPtr;
        return std::vector<Fault>{{null, {stream}, {0, 1}},
                                  {null, pointers},
                                  {alike ? qvoStatusBadArg : qvoStatusBitOffset, {stream + 1}, {-1, 8}}};
    };
    expectStatuses(m, qvoiEncode_IntraDCVLC_H263_16s1u, {Qvo16s{1}, pp, o}, faults(1, {2}));
    expectStatuses(m, qvoiEncode_IntraDCVLC_MPEG4_16s1u, {Qvo16s{1}, pp, o, 0}, faults(1, {2}));
    expectStatuses(m, qvoiEncode_ACVLC_H263_16s1u, {b, pp, o, 0}, faults(1, {0, 2}));
    expectStatuses(m, qvoiEncode_InterVLC_MPEG4_16s1u, {b, pp, o}, faults(1, {0, 2}));
    expectStatuses(m, qvoiEncode_IntraACVLC_MPEG4_16s1u, {b, pp, o, 0, 0}, faults(1, {0, 2}));
    auto alike = faults(0, {1, 2}, true);
    expectStatuses(m, qvoiEncodeVLCZigzag_Inter_MPEG4_16s1u, {pp, o, b, Qvo8u{1}}, alike);
    alike.push_back({qvoStatusBadArg, {3}, {3, 255}});
    expectStatuses(m, qvoiEncodeVLCZigzag_IntraACVLC_MPEG4_16s1u, {pp, o, b, Qvo8u{0}, Qvo8u{1}}, alike);
    alike.push_back({qvoStatusBadArg, {5}, {-1, 3}});
    expectStatuses(m, qvoiEncodeVLCZigzag_IntraDCVLC_MPEG4_16s1u, {pp, o, b, Qvo8u{0}, Qvo8u{1}, 0}, alike);
}

}  // namespace
