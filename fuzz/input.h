// An input's bytes, handed out one by one.
#ifndef QVOVC_FUZZ_INPUT_H
#define QVOVC_FUZZ_INPUT_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "qvovc.h"

class Input {
  public:
    Input(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

    bool empty() const { return size_ == 0; }

    // Zeros once the input has run out.
    unsigned next() {
        if (size_ == 0) return 0;
        --size_;
        return *data_++;
    }

    // What is left, as a word stream with `slack` zero words behind it.
    std::vector<Qvo32u> words(std::size_t slack) {
        std::vector<Qvo32u> all;
        while (!empty()) {
            Qvo32u word = 0;
            for (int i = 0; i < 4; ++i)
                word = word << 8 | next();
            all.push_back(word);
        }
        all.resize(all.size() + slack);
        return all;
    }

  private:
    const std::uint8_t* data_;
    std::size_t size_;
};

#endif
