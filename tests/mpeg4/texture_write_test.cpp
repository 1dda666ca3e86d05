// Both families of texture writers against the printed code tables.
#include <gtest/gtest.h>

#include <functional>

#include "mpeg4/texture_codes.h"
#include "mpeg4/written.h"
#include "support/random.h"
#include "support/statuses.h"

namespace {

using namespace texture;

using EventCode = std::function<std::string(Event)>;

// The family that writes directly: type 1 for runs with codes, type 2 for runs without.
EventCode direct(const Codes& codes) {
    return [&codes](Event e) {
        const auto forms = codes.allForms(e);
        if (!forms[0].empty()) return forms[0];
        const bool runHasCodes = codes.lmax.count({e.last, e.run}) != 0;
        const std::string& escape = forms[runHasCodes ? 1 : 2];
        return escape.empty() ? forms[3] : escape;
    };
}

// The family with an accumulator: the first that there is.
EventCode accumulator(const Codes& codes) {
    return [&codes](Event e) { return codes.firstForm(e); };
}

std::string h263(Event e) {
    const std::string code = interCodes().allForms(e)[0];
    if (!code.empty()) return code;
    return escapeCode + binary(e.last, 1) + binary(e.run, 6) + binary(e.level, 8);
}

std::string nothing(Event) {
    return "";
}

// A block writer and what it is expected to write.
struct Writer {
    const char* name;
    Stores stores;
    int scan;
    int start;
    EventCode codeOf;
    std::function<QvoStatus(const Qvo16s*, Qvo8u**, Qvo32s*)> write;
};

Writer intraDirect(int scan, int start, int scanArgument, int skipDC) {
    return {"Encode_IntraACVLC", Stores::bytes, scan, start, direct(intraCodes()), [=](auto b, auto p, auto o) {
                return qvoiEncode_IntraACVLC_MPEG4_16s1u(b, p, o, scanArgument, skipDC);
            }};
}

Writer intraAccumulator(Qvo8u scan, EventCode codeOf, Qvo8u coded) {
    return {"EncodeVLCZigzag_IntraACVLC", Stores::words, scan, 0, codeOf, [=](auto b, auto p, auto o) {
                return qvoiEncodeVLCZigzag_IntraACVLC_MPEG4_16s1u(p, o, b, scan, coded);
            }};
}

Writer interAccumulator(EventCode codeOf, Qvo8u coded) {
    return {"EncodeVLCZigzag_Inter", Stores::words, 0, 0, codeOf, [=](auto b, auto p, auto o) {
                return qvoiEncodeVLCZigzag_Inter_MPEG4_16s1u(p, o, b, coded);
            }};
}

Writer forH263(int start, int intraFlag) {
    return {"Encode_ACVLC_H263", Stores::bytes, 0, start, h263, [=](auto b, auto p, auto o) {
                return qvoiEncode_ACVLC_H263_16s1u(b, p, o, intraFlag);
            }};
}

const std::vector<Writer> writers = {
    intraDirect(0, 0, 0, 0),
    intraDirect(1, 0, 1, 0),
    intraDirect(2, 0, 2, 0),
    intraDirect(2, 0, -1, 0),
    intraDirect(2, 1, 7, 0x100),
    {"Encode_InterVLC", Stores::bytes, 0, 0, direct(interCodes()), qvoiEncode_InterVLC_MPEG4_16s1u},
    intraAccumulator(0, accumulator(intraCodes()), 1),
    intraAccumulator(1, accumulator(intraCodes()), 1),
    intraAccumulator(2, accumulator(intraCodes()), 1),
    intraAccumulator(0, nothing, 0),
    intraAccumulator(0, nothing, 3),
    interAccumulator(accumulator(interCodes()), 1),
    interAccumulator(nothing, 0),
    interAccumulator(nothing, 3),
    forH263(0, 0),
    forH263(1, 0x100)};

void expectBlock(const Writer& writer, const Levels& block, int offset) {
    expectWritten(blockCode(block, scans[writer.scan], writer.start, writer.codeOf), offset, writer.stores,
                  [&](Qvo8u** p, Qvo32s* o) { return writer.write(block.data(), p, o); });
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
                    const Qvo8u* const place = scans[writer.scan] + writer.start + run;
                    block[place[0]] = static_cast<Qvo16s>((level + run) % 2 != 0 ? -level : level);
                    if (!last) block[place[1]] = 1;
                    expectBlock(writer, block, ++offset % 8);
                    if (HasFatalFailure()) FAIL() << writer.name << ' ' << last << ' ' << run << ' ' << level;
                }
}

// Empty ones too. Levels beyond the escape keep their low bits.
TEST(TextureWriters, WholeBlocks) {
    Random random;
    for (const Writer& writer : writers)
        for (int i = 0; i < 1500; ++i) {
            Levels block = {};
            const int density = random.range(0, 20) * 5, range = random.chance(60)   ? 4
                                                                 : random.chance(80) ? 2048
                                                                                     : 32768;
            for (Qvo16s& level : block)
                if (random.chance(density)) level = static_cast<Qvo16s>(random.range(-range, range - 1));
            expectBlock(writer, block, i % 8);
            if (HasFatalFailure()) FAIL() << writer.name;
        }
}

// ---- DC coefficients ----

// The marker bit goes to the front of the difference. A size is 12 at most, in the accumulator 8.
TEST(DCWriters, EveryDifference) {
    for (int difference = -32768; difference<32768; difference += std::abs(difference)> 4200 ? 97 : 1)
        for (int component = 0; component <= 2; ++component) {
            const auto code = [&](int value, int longest) {
                int size = 0;
                while (size < longest && std::abs(value) >> size != 0)
                    ++size;
                return dcSizeCodes[component == qvoVideoChrominance][size] + std::string(size > 8, '1') +
                       binary(value - (value < 0), size);
            };
            expectWritten(code(difference, 12), difference & 7, Stores::bytes, [&](Qvo8u** p, Qvo32s* o) {
                return qvoiEncode_IntraDCVLC_MPEG4_16s1u(static_cast<Qvo16s>(difference), p, o, component);
            });

            const Levels block = {static_cast<Qvo16s>(difference), -2};
            const Qvo8u coded = static_cast<Qvo8u>(difference & 3);
            const int low = (std::abs(difference) & 255) * (difference < 0 ? -1 : 1);
            const std::string ac = coded == 1 ? intraCodes().codeOf.at({1, 0, 2}) + '1' : "";
            expectWritten(code(low, 8) + ac, difference & 7, Stores::words, [&](Qvo8u** p, Qvo32s* o) {
                return qvoiEncodeVLCZigzag_IntraDCVLC_MPEG4_16s1u(p, o, block.data(), qvoScanHorizontal, coded,
                                                                  component);
            });
            if (HasFatalFailure()) FAIL() << difference;
        }
}

TEST(DCWriters, H263) {
    for (int dc = -300; dc <= 300; ++dc)
        expectWritten(dc == 128 ? "11111111" : binary(dc, 8), dc & 7, Stores::bytes, [&](Qvo8u** p, Qvo32s* o) {
            return qvoiEncode_IntraDCVLC_H263_16s1u(static_cast<Qvo16s>(dc), p, o);
        });
}

// ---- tables and exported escapes ----

TEST(WriterTables, HoldTheStandardsCodes) {
    for (const auto& [code, event] : interCodes().eventOf) {
        const auto [last, run, level] = event;
        const Qvo8u* const sums = last != 0 ? _qvoIfLastNumOfLevelAtRunadd : _qvoIfNotLastNumOfLevelAtRunadd;
        const int i = (last != 0 ? 58 : 0) + (run != 0 ? sums[run - 1] : 0) + level - 1;
        EXPECT_EQ(code, binary(_qvoVleTable[i][0], _qvoVleTable[i][1]));
        const auto [intraLast, intraRun, intraLevel] = intraCodes().eventOf.at(code);
        EXPECT_EQ(intraLast * 1024 + intraRun * 32 + intraLevel, _qvoIntraYAVCLHashingTable[i]);
    }
    EXPECT_EQ(0, _qvoVleTable[103][1]);

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
        written += binary(*p, 8);
    written += binary(static_cast<int>(accumulator), 32);
    ASSERT_TRUE(free >= 1 && free <= 32);
    ASSERT_EQ(
        std::string(static_cast<std::size_t>(used), '1') + bits + std::string(static_cast<std::size_t>(free), '0'),
        written);
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
