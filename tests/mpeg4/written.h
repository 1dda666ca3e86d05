// Runs a writer of codes on memory that ends at an unreadable page and compares every byte.
#ifndef QVOVC_TESTS_MPEG4_WRITTEN_H
#define QVOVC_TESTS_MPEG4_WRITTEN_H

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "qvovc.h"
#include "support/guarded.h"

// How far a writer stores: the bytes that hold its bits, or whole groups of four bytes from the one it started with.
enum class Stores { bytes, words };

// Calls write(&position, &offset) on memory full of ones and expects `bits` from bit `offset` of the first byte on. If
// it stores words more than once, those of the last time begin with the byte of bit `lastStore`.
template <class Write>
void expectWritten(const std::string& bits, int offset, Stores stores, Write write, std::size_t lastStore = 0) {
    const std::size_t end = static_cast<std::size_t>(offset) + bits.size();
    const std::size_t lastByte = (static_cast<std::size_t>(offset) + lastStore) / 8;
    std::size_t size = (end + 7) / 8;
    if (stores == Stores::words) size = lastByte + (end - 8 * lastByte + 31) / 32 * 4;

    std::string expected(static_cast<std::size_t>(offset), '1');
    expected += bits;
    const bool untouched = bits.empty() && (stores == Stores::bytes || offset == 0);
    expected.resize(8 * size, untouched ? '1' : '0');

    static Guarded<Qvo8u> guarded(1024);
    Qvo8u* const memory = guarded.end() - std::max<std::size_t>(size, 1);  // the current byte is always there to read
    std::fill(memory, guarded.end(), Qvo8u{255});
    Qvo8u* position = memory;
    Qvo32s bitOffset = offset;
    ASSERT_EQ(qvoStatusOk, write(&position, &bitOffset));
    ASSERT_EQ(static_cast<int>(end), 8 * (position - memory) + bitOffset);
    ASSERT_TRUE(bitOffset >= 0 && bitOffset <= 7);
    std::string written;
    for (std::size_t bit = 0; bit < 8 * size; ++bit)
        written += (memory[bit / 8] >> (7 - bit % 8) & 1) != 0 ? '1' : '0';
    ASSERT_EQ(expected, written) << "offset " << offset;
}

#endif
