#include "mpeg2/word_writer.h"

namespace codecs::mpeg2 {

void WordWriter::clear() {
    word_ = words_.data();
    bitsLeft_ = 32;
}

void WordWriter::reserve(std::size_t bytes) {
    const std::ptrdiff_t position = word_ - words_.data();
    // The word at hand, and one more that a code may begin.
    const std::size_t needed = static_cast<std::size_t>(position) + bytes / 4 + 2;
    if (words_.size() < needed) words_.resize(2 * needed);
    word_ = words_.data() + position;
}

void WordWriter::align() {
    if (bitsLeft_ % 8 != 0) put(0, static_cast<int>(bitsLeft_ % 8));
}

void WordWriter::startCode(int code) {
    align();
    put(0x100 | code, 32);
}

const std::vector<std::uint8_t>& WordWriter::bytes() {
    align();
    bytes_.resize(static_cast<std::size_t>(bits() / 8));
    for (std::size_t i = 0; i < bytes_.size(); ++i) {
        const Qvo32u* const word = words_.data() + i / 4;
        // The last word, unless full, stands right-aligned.
        const Qvo32u value = word == word_ ? *word << bitsLeft_ : *word;
        bytes_[i] = static_cast<std::uint8_t>(value >> (24 - 8 * (i % 4)));
    }
    return bytes_;
}

}  // namespace codecs::mpeg2
