#include "mpeg2/bits.h"

#include <algorithm>

namespace codecs::mpeg2 {

namespace {

Qvo32u bigEndian(const std::uint8_t* p) {
    return Qvo32u{p[0]} << 24 | Qvo32u{p[1]} << 16 | Qvo32u{p[2]} << 8 | Qvo32u{p[3]};
}

}  // namespace

BitReader WordBuffer::load(const std::uint8_t* data, std::size_t size) {
    const std::size_t whole = size / 4;
    const std::size_t rest = size % 4;
    if (words_.size() < whole + 1 + slackWords) words_.resize(whole + 1 + slackWords);
    for (std::size_t i = 0; i < whole; ++i)
        words_[i] = bigEndian(data + 4 * i);
    std::uint8_t last[4] = {};
    std::copy_n(data + 4 * whole, rest, last);
    words_[whole] = bigEndian(last);
    std::fill_n(words_.begin() + static_cast<std::ptrdiff_t>(whole) + 1, slackWords, 0U);
    return BitReader(words_.data(), size);
}

}  // namespace codecs::mpeg2
