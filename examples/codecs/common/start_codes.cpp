#include "common/start_codes.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace codecs {

namespace {

constexpr std::array<std::uint8_t, 3> prefix = {0, 0, 1};

// Position of the next 00 00 01 in [from, size), or size.
std::size_t findPrefix(const std::vector<std::uint8_t>& bytes, std::size_t from) {
    std::size_t at = from + 2;
    while (at < bytes.size()) {
        const void* const one = std::memchr(bytes.data() + at, 1, bytes.size() - at);
        if (!one) break;
        at = static_cast<std::size_t>(static_cast<const std::uint8_t*>(one) - bytes.data());
        if (bytes[at - 1] == 0 && bytes[at - 2] == 0) return at - 2;
        ++at;
    }
    return bytes.size();
}

}  // namespace

void StartCodeCutter::add(const std::uint8_t* data, std::size_t size, const TakeUnit& take) {
    buffer_.insert(buffer_.end(), data, data + size);
    std::size_t start = 0;  // of the unit at hand, with its start code
    for (;;) {
        const std::size_t next = findPrefix(buffer_, std::max(scanned_, start));
        const bool tooLong = next - start > maxUnit;
        if (next == buffer_.size() && !tooLong) break;
        // Before the first start code there may be anything.
        const bool hasCode = next - start >= 4 && std::equal(prefix.begin(), prefix.end(), buffer_.data() + start);
        if (hasCode) take(buffer_[start + 3], buffer_.data() + start + 4, next - start - 4);
        start = next;
        scanned_ = next + 1;
        if (next == buffer_.size()) break;
    }
    buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(start));
    // A start code may lie across the end.
    scanned_ = std::max<std::size_t>(buffer_.size(), 3) - 2;
}

void StartCodeCutter::finish(const TakeUnit& take) {
    // A start code ends what is still buffered.
    add(prefix.data(), prefix.size(), take);
    buffer_.clear();
    scanned_ = 0;
}

}  // namespace codecs
