// The two exported word-stream writers, against a stream kept bit by bit.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qvovc.h"
#include "support/codes.h"
#include "support/random.h"

namespace {

using Writer = decltype(&qvoiPutBitsLeftMost);

struct Stream {
    std::vector<Qvo32u> words;
    Qvo32u* position;
    Qvo32u bitsLeft = 32;

    Stream(std::size_t count, Qvo32u fill) : words(count, fill), position(words.data()) {}
    void put(Writer writer, Qvo32u code, Qvo32u length) {
        EXPECT_EQ(qvoStatusOk, writer(&position, &bitsLeft, static_cast<Qvo32s>(code), length));
    }
    std::size_t wordsFilled() const { return static_cast<std::size_t>(position - words.data()); }
};

// Codes of every length at every position: full words hold the codes' bits in order, the partial word is kept
// in the writer's own way, and no word beyond the partial one is touched.
TEST(Writers, BitForBit) {
    Random random(1);
    for (int round = 0; round < 400; ++round) {
        const bool leftMost = round % 2;
        const Writer writer = leftMost ? &qvoiPutBitsLeftMost : &qvoiPutBitsRightMost;
        const Qvo32u fill = leftMost ? random.next() : 0;
        Stream stream(600, fill);
        std::string expected;
        for (int i = 0; i < 500; ++i) {
            const Qvo32u code = random.next();  // bits above the length must not matter
            const Qvo32u length = static_cast<Qvo32u>(random.range(1, 32));
            stream.put(writer, code, length);
            expected += binary(code, static_cast<int>(length));

            ASSERT_EQ(expected.size() / 32, stream.wordsFilled());
            ASSERT_EQ(32 - expected.size() % 32, stream.bitsLeft);
            ASSERT_EQ(fill, stream.words[stream.wordsFilled() + 1]);
        }
        for (std::size_t i = 0; i < stream.wordsFilled(); ++i) {
            ASSERT_EQ(expected.substr(32 * i, 32), binary(stream.words[i], 32)) << "word " << i;
        }
        const Qvo32u used = 32 - stream.bitsLeft;
        const Qvo32u partial = leftMost ? *stream.position : *stream.position >> (32 - used) % 32;
        ASSERT_EQ(expected.substr(32 * stream.wordsFilled()), binary(partial, static_cast<int>(used)));
    }
}

// A code that fits exactly does not initialise the next word: the left-most form shifts old contents out, the
// right-most form ORs into them.
TEST(Writers, ExactFitLeavesTheNextWordAlone) {
    for (const bool leftMost : {true, false}) {
        const Writer writer = leftMost ? &qvoiPutBitsLeftMost : &qvoiPutBitsRightMost;
        Stream stream(3, leftMost ? 0xDEADBEEF : 0);
        stream.words[1] = 0x00000F0F;
        stream.words[2] = 0xDEADBEEF;
        stream.put(writer, 0x12345678, 32);
        EXPECT_EQ(0x12345678u, stream.words[0]);
        EXPECT_EQ(0x00000F0Fu, stream.words[1]);
        EXPECT_EQ(32u, stream.bitsLeft);
        stream.put(writer, 0xFFFFFFA5, 8);
        EXPECT_EQ(leftMost ? 0x000F0FA5u : 0xA5000F0Fu, stream.words[1]);
        EXPECT_EQ(24u, stream.bitsLeft);
        stream.put(writer, 0xC3C3C3C3, 32);
        EXPECT_EQ(leftMost ? 0xA5C3C3C3u : 0xA5C3CFCFu, stream.words[1]);
        EXPECT_EQ(leftMost ? 0xC3u : 0xC3000000u, stream.words[2]);  // set, not ORed
        EXPECT_EQ(24u, stream.bitsLeft);
    }
}

TEST(GetBitsMask, EntryIsTwoToTheIndexMinusOne) {
    Qvo32u mask = 0;
    for (int n = 0; n <= 32; ++n, mask = mask << 1 | 1)
        EXPECT_EQ(mask, _qvoGetBitsMask[n]) << n;
}

}  // namespace
