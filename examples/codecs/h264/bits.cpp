#include "h264/bits.h"

#include <algorithm>
#include <cstring>

namespace codecs::h264 {

BitReader Payload::load(const std::uint8_t* data, std::size_t size) {
    if (bytes_.size() < size + slack) bytes_.resize(size + slack);
    std::uint8_t* to = bytes_.data();
    std::size_t from = 0;
    while (from < size) {
        // Up to the next 3 that stands behind two zeros.
        std::size_t stop = from;
        for (;;) {
            const void* const three = stop < size ? std::memchr(data + stop, 3, size - stop) : nullptr;
            stop = three ? static_cast<std::size_t>(static_cast<const std::uint8_t*>(three) - data) : size;
            const bool found = stop == size || (stop >= from + 2 && data[stop - 1] == 0 && data[stop - 2] == 0);
            if (found) break;
            ++stop;
        }
        std::copy_n(data + from, stop - from, to);
        to += stop - from;
        from = stop + 1;
    }
    std::fill_n(to, slack, std::uint8_t{0});

    // The last bit that is 1 ends the payload.
    std::size_t length = static_cast<std::size_t>(to - bytes_.data());
    while (length > 0 && bytes_[length - 1] == 0)
        --length;
    if (length == 0) return BitReader(bytes_.data(), 0);
    const int zeros = std::countr_zero(static_cast<unsigned>(bytes_[length - 1]));
    return BitReader(bytes_.data(), 8 * length - 1 - static_cast<std::size_t>(zeros));
}

}  // namespace codecs::h264
