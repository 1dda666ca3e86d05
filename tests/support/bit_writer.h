// Writes streams bit by bit, most significant bit first.
#ifndef QVOVC_TESTS_BIT_WRITER_H
#define QVOVC_TESTS_BIT_WRITER_H

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

class BitWriter {
  public:
    // The low `count` bits of a value.
    void put(std::integral auto value, int count) {
        for (int i = count - 1; i >= 0; --i) {
            if (used_ % 8 == 0) bytes_.push_back(0);
            const unsigned bit = static_cast<unsigned>(value) >> i & 1U;
            bytes_.back() = static_cast<std::uint8_t>(bytes_.back() | bit << (7 - used_ % 8));
            ++used_;
        }
    }
    // The digits of a code; anything else, such as spaces, is passed over.
    void bits(std::string_view text) {
        for (const char bit : text)
            if (bit == '0' || bit == '1') put(bit - '0', 1);
    }
    // Fills up with zeros, then 00 00 01 and the code.
    void startCode(std::integral auto code) {
        while (used_ % 8 != 0)
            put(0, 1);
        put(1, 24);
        put(code, 8);
    }
    std::size_t used() const { return used_; }
    const std::vector<std::uint8_t>& bytes() const { return bytes_; }

  private:
    std::vector<std::uint8_t> bytes_;
    std::size_t used_ = 0;
};

#endif
