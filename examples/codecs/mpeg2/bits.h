// A word stream and a reader of its position, in the form in which the library's MPEG-1/2 operations take them.
#ifndef QVOVC_EXAMPLES_MPEG2_BITS_H
#define QVOVC_EXAMPLES_MPEG2_BITS_H

#include <qvovc.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace codecs::mpeg2 {

// Thrown where the stream breaks the syntax; a slice or header ends there.
struct Damage {};

// Reads a word stream from its start. The library's operations move the same position through word() and offset().
class BitReader {
  public:
    BitReader(Qvo32u* words, std::size_t bytes) : word_(words), first_(words), bits_(std::int64_t(bytes) * 8) {}

    // The next count bits (1..32), without moving on.
    Qvo32u peek(int count) const {
        const std::uint64_t both = (std::uint64_t{word_[0]} << 32) | word_[1];
        return static_cast<Qvo32u>((both << (31 - offset_)) >> (64 - count));
    }
    // Moves on by 0..32 bits.
    void skip(int count) {
        offset_ -= count;
        if (offset_ >= 0) return;
        offset_ += 32;
        ++word_;
    }
    Qvo32u get(int count) {
        const Qvo32u value = peek(count);
        skip(count);
        return value;
    }
    int getInt(int count) { return static_cast<int>(get(count)); }
    bool flag() { return get(1) != 0; }

    // One code of a plain or run-level table. Throws Damage where the bits are no code of it.
    Qvo32s code(const QvoVlcTable* table) {
        Qvo32s value;
        if (qvoiVCHuffmanDecodeOne_1u32s(&word_, &offset_, &value, table) != qvoStatusOk) throw Damage{};
        return value;
    }

    bool pastEnd() const { return std::int64_t(word_ - first_) * 32 + (31 - offset_) > bits_; }

    Qvo32u** word() { return &word_; }
    Qvo32s* offset() { return &offset_; }

  private:
    Qvo32u* word_;
    Qvo32u* first_;
    Qvo32s offset_ = 31;
    std::int64_t bits_;
};

// The bytes between two start codes as native words, with zeros behind them. No syntax element goes on for long over
// zeros: codes become invalid, lists end. The longest, a sequence header with both matrices, is below 150 bytes.
class WordBuffer {
  public:
    BitReader load(const std::uint8_t* data, std::size_t size);

  private:
    static constexpr std::size_t slackWords = 64;

    std::vector<Qvo32u> words_;
};

}  // namespace codecs::mpeg2

#endif
