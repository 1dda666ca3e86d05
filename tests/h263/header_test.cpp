// Macroblock header codes, against the tables of ITU-T H.263 written down by macroblock type.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "qvovc.h"
#include "support/guarded.h"
#include "support/statuses.h"

namespace {

using Codes = std::map<std::string, int>;

// Tables 7, 8, 13 and 11. MCBPC: macroblock type | coded chrominance bits << 4.
const Codes intraMcbpc = {{"1", 0x03},      {"001", 0x13},    {"010", 0x23},    {"011", 0x33},     {"0001", 0x04},
                          {"000001", 0x14}, {"000010", 0x24}, {"000011", 0x34}, {"000000001", 255}};
const Codes interMcbpc = {
    {"1", 0x00},        {"0011", 0x10},     {"0010", 0x20},      {"000101", 0x30},    {"011", 0x01},
    {"0000111", 0x11},  {"0000110", 0x21},  {"000000101", 0x31}, {"010", 0x02},       {"0000101", 0x12},
    {"0000100", 0x22},  {"00000101", 0x32}, {"00011", 0x03},     {"00000100", 0x13},  {"00000011", 0x23},
    {"0000011", 0x33},  {"000100", 0x04},   {"000000100", 0x14}, {"000000011", 0x24}, {"000000010", 0x34},
    {"000000001", 255},
};
const Codes cbpy = {{"0011", 15},  {"00101", 14}, {"00100", 13}, {"1001", 12},  {"00011", 11}, {"0111", 10},
                    {"000010", 9}, {"1011", 8},   {"00010", 7},  {"000011", 6}, {"0101", 5},   {"1010", 4},
                    {"0100", 3},   {"1000", 2},   {"0110", 1},   {"11", 0}};
const Codes modb = {{"0", 0}, {"10", 2}, {"11", 3}};

struct Family {
    const char* name;
    QvoStatus (*decode)(Qvo8u**, Qvo32s*, Qvo8u*);
    const Codes& codes;
    int peek;
    QvoStatus invalid;
};

const Family families[] = {
    {"intra MCBPC", qvoiDecodeMCBPCIntra_H263, intraMcbpc, 9, qvoStatusMcbpcIntra},
    {"inter MCBPC", qvoiDecodeMCBPCInter_H263, interMcbpc, 9, qvoStatusMcbpcInter},
    {"CBPY", qvoiDecodeCBPY_H263, cbpy, 6, qvoStatusCbpy},
    {"MODB", qvoiDecodeMODB_H263, modb, 2, qvoStatusOk},
};

// All contents of the two bytes that an operation may read, at every offset: the code that the bits begin with is
// decoded, or none is and nothing is written. The bytes end at an unreadable page.
TEST(H263Header, EveryBitPattern) {
    Guarded<Qvo8u> bytes(2);
    for (const Family& family : families) {
        for (int pattern = 0; pattern < 65536; ++pattern) {
            bytes[0] = static_cast<Qvo8u>(pattern >> 8);
            bytes[1] = static_cast<Qvo8u>(pattern);
            for (Qvo32s offset = 0; offset < 8; ++offset) {
                std::string bits;
                for (int i = 0; i < family.peek; ++i)
                    bits += (pattern >> (15 - offset - i) & 1) ? '1' : '0';
                const Codes::value_type* match = nullptr;
                for (const auto& code : family.codes) {
                    if (bits.compare(0, code.first.size(), code.first) == 0) match = &code;
                }
                Qvo8u* position = bytes.data();
                Qvo32s bitOffset = offset;
                Qvo8u result = 99;
                const QvoStatus status = family.decode(&position, &bitOffset, &result);
                const Qvo32s end = offset + (match ? static_cast<Qvo32s>(match->first.size()) : 0);
                ASSERT_EQ(match ? qvoStatusOk : family.invalid, status) << family.name << ' ' << bits;
                ASSERT_EQ(match ? match->second : 99, result) << family.name << ' ' << bits;
                ASSERT_EQ(end, 8 * (position - bytes.data()) + bitOffset) << family.name << ' ' << bits;
                ASSERT_LT(bitOffset, 8);
            }
        }
    }
}

// Annex T: after a first bit 1 the quantiser moves by Table T.1, after a 0 five bits replace it.
TEST(H263Header, ModifiedQuantisation) {
    Guarded<Qvo8u> bytes(2);
    const auto update = [&](int bits, Qvo32s offset, Qvo32s quant, int length) {
        const int pattern = bits << (16 - length - offset);
        bytes[0] = static_cast<Qvo8u>(pattern >> 8);
        bytes[1] = static_cast<Qvo8u>(pattern);
        Qvo8u* position = bytes.data();
        EXPECT_EQ(qvoStatusOk, qvoiUpdateQuant_MQ_H263_1u32s_I(&position, &offset, &quant));
        return std::pair<Qvo32s, std::ptrdiff_t>{quant, 8 * (position - bytes.data()) + offset};
    };
    for (Qvo32s offset = 0; offset < 8; ++offset) {
        for (Qvo32s quant = 1; quant <= 31; ++quant) {
            const Qvo32s down = quant == 1 ? 2 : quant <= 10 ? -1 : quant <= 20 ? -2 : -3;
            const Qvo32s up = quant <= 10   ? 1
                              : quant <= 20 ? 2
                              : quant <= 28 ? 3
                              : quant == 29 ? 2
                              : quant == 30 ? 1
                                            : -5;
            EXPECT_EQ(std::pair(quant + down, std::ptrdiff_t{offset + 2}), update(0b10, offset, quant, 2));
            EXPECT_EQ(std::pair(quant + up, std::ptrdiff_t{offset + 2}), update(0b11, offset, quant, 2));
            EXPECT_EQ(std::pair(quant, std::ptrdiff_t{offset + 6}), update(quant, offset, 1000000, 6));
        }
    }
}

TEST(H263Header, NullPointers) {
    struct Memory {
        Qvo8u* position;
        Qvo32s offset = 0, quant = 5;
        Qvo8u result = 99;
        bool operator==(const Memory&) const = default;
    };
    Qvo8u bytes[4] = {255, 255, 255, 255};
    Memory m{bytes};
    const std::vector<Fault> faults = {{qvoStatusNullPtr, {0}, {0, 1}}, {qvoStatusNullPtr, {1, 2}}};
    for (const Family& family : families)
        expectStatuses(m, family.decode, {&m.position, &m.offset, &m.result}, faults);
    expectStatuses(m, qvoiUpdateQuant_MQ_H263_1u32s_I, {&m.position, &m.offset, &m.quant}, faults);
}

}  // namespace
