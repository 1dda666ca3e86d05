// Reading of codes bit by bit, straight from the codes' text: the slow path to the same results.
#ifndef QVOVC_TESTS_MPEG2_REFERENCE_H
#define QVOVC_TESTS_MPEG2_REFERENCE_H

#include <map>
#include <set>
#include <string>
#include <vector>

#include "mpeg2/tables.h"

namespace mpeg2 {

class BitReader {
  public:
    BitReader(const std::vector<Qvo32u>& words, std::size_t position) : words_(words), position_(position) {}

    std::size_t position() const { return position_; }
    void skip(std::size_t bits) { position_ += bits; }
    char show(std::size_t ahead) const {
        const std::size_t at = position_ + ahead;
        return words_.at(at / 32) >> (31 - at % 32) & 1 ? '1' : '0';
    }
    int get(int bits) {
        int value = 0;
        for (int i = 0; i < bits; ++i) {
            value = value * 2 + (show(0) == '1');
            skip(1);
        }
        return value;
    }

  private:
    const std::vector<Qvo32u>& words_;
    std::size_t position_;
};

// A set of codes as a table of the given level widths would decode it.
class SlowTable {
  public:
    SlowTable(const std::vector<ListCode>& codes, std::vector<Qvo32s> widths) : widths_(std::move(widths)) {
        std::size_t depth = 0;
        for (const Qvo32s width : widths_)
            depth += static_cast<std::size_t>(width);
        for (const ListCode& code : codes) {
            // A code that is longer than the table is deep still makes the levels above its last bits.
            const bool fits = code.bits.size() <= depth;
            if (fits) codes_[code.bits] = code.words;
            for (std::size_t n = 0; n < (fits ? code.bits.size() + 1 : depth); ++n) {
                prefixes_.insert(code.bits.substr(0, n));
            }
        }
    }

    // The words of the code that follows, behind which the position moves. Null if there is none: the position moves
    // over all levels gone through but leaves `givenBack` bits.
    const std::vector<Qvo32s>* read(BitReader& reader, std::size_t givenBack) const {
        std::string bits;
        while (prefixes_.count(bits) != 0) {
            const auto found = codes_.find(bits);
            if (found != codes_.end()) {
                reader.skip(bits.size());
                return &found->second;
            }
            bits += reader.show(bits.size());
        }
        // The code ends in the level in which it leaves the set of prefixes.
        std::size_t end = 0;
        for (const Qvo32s width : widths_) {
            end += static_cast<std::size_t>(width);
            if (end >= bits.size()) break;
        }
        reader.skip(end - givenBack);
        return nullptr;
    }

  private:
    std::vector<Qvo32s> widths_;
    std::map<std::string, std::vector<Qvo32s>> codes_;
    std::set<std::string> prefixes_;
};

}  // namespace mpeg2

#endif
