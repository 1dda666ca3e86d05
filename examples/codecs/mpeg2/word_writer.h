// A word stream under construction, in the form in which the library's MPEG-1/2 writers take it.
#ifndef QVOVC_EXAMPLES_MPEG2_WORD_WRITER_H
#define QVOVC_EXAMPLES_MPEG2_WORD_WRITER_H

#include <qvovc.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "mpeg2/tables.h"

namespace codecs::mpeg2 {

// Writes words from the start of a buffer. The library's operations move the same position through word() and
// bitsLeft(). Nothing checks the buffer's end while writing: reserve() comes first.
class WordWriter {
  public:
    WordWriter() { reserve(0); }

    // Starts again with an empty stream.
    void clear();
    // Makes room for this many bytes behind what is written.
    void reserve(std::size_t bytes);

    // The low length (1..32) bits of the code.
    void put(Qvo32s code, int length) { qvoiPutBitsLeftMost(&word_, &bitsLeft_, code, static_cast<Qvo32u>(length)); }
    void put(const CodeBits& code) { qvoiPutBitsLeftMost(&word_, &bitsLeft_, code.bits, code.length); }
    void flag(bool value) { put(value ? 1 : 0, 1); }

    // Zeros up to the next whole byte, then the start code.
    void startCode(int code);
    void align();

    std::int64_t bits() const { return std::int64_t(word_ - words_.data()) * 32 + (32 - bitsLeft_); }

    // The stream's bytes, zeros up to the last whole byte included.
    const std::vector<std::uint8_t>& bytes();

    Qvo32u** word() { return &word_; }
    Qvo32u* bitsLeft() { return &bitsLeft_; }

  private:
    std::vector<Qvo32u> words_;
    std::vector<std::uint8_t> bytes_;
    Qvo32u* word_ = nullptr;
    Qvo32u bitsLeft_ = 32;
};

}  // namespace codecs::mpeg2

#endif
