// Inverse scans, against the exported scan tables.
#include <gtest/gtest.h>

#include <array>
#include <numeric>

#include "qvovc.h"
#include "support/statuses.h"

namespace {

using Compact = QvoStatus (*)(const Qvo16s*, Qvo32s, Qvo16s*);
using Full = QvoStatus (*)(const Qvo16s*, Qvo16s*);
using Block = std::array<Qvo16s, 64>;

struct Scan {
    Compact compact;
    Full full;
    const Qvo8u* table;
};

const Scan scans[] = {{qvoiZigzagInvClassical_Compact_16s, nullptr, ZigzagC},
                      {qvoiZigzagInvHorizontal_Compact_16s, qvoiZigzagInv_Horizontal_16s, ZigzagH},
                      {qvoiZigzagInvVertical_Compact_16s, qvoiZigzagInv_Vertical_16s, ZigzagV}};

TEST(ZigzagInv, MovesTheFirstElementsAndNoOthers) {
    Block source;
    std::iota(source.begin(), source.end(), static_cast<Qvo16s>(-30));
    for (const Scan& scan : scans) {
        Block expected, block;
        expected.fill(99);
        for (int len = 1; len <= 64; ++len) {
            expected[scan.table[len - 1]] = source[static_cast<std::size_t>(len - 1)];
            block.fill(99);
            ASSERT_EQ(qvoStatusOk, scan.compact(source.data(), len, block.data()));
            ASSERT_EQ(expected, block) << len;
        }
        if (scan.full == nullptr) continue;
        block.fill(99);
        EXPECT_EQ(qvoStatusOk, scan.full(source.data(), block.data()));
        EXPECT_EQ(expected, block);
    }
}

TEST(ZigzagInv, ChecksItsArguments) {
    const Block source = {1};
    Block block = {};
    for (const Scan& scan : scans) {
        expectStatuses(block, scan.compact, {source.data(), 64, block.data()},
                       {{qvoStatusNullPtr, {0, 2}}, {qvoStatusScanOverrun, {1}, {0, 65}}});
        if (scan.full != nullptr)
            expectStatuses(block, scan.full, {source.data(), block.data()}, {{qvoStatusNullPtr, {0, 1}}});
    }
}

}  // namespace
