// The weighting record of the forward quantisers, and the same weights as the inverse ones want them.
#ifndef QVOVC_TESTS_MPEG4_WEIGHTS_H
#define QVOVC_TESTS_MPEG4_WEIGHTS_H

#include <array>

#include "qvovc.h"
#include "support/random.h"

class WeightRecord {
  public:
    // Random weights; the first one, which proves the record, is a power of two.
    explicit WeightRecord(Random& random) {
        for (std::size_t i = 1; i < 64; ++i)
            setWeight(i, random.range(1, 255));
        setWeight(0, 1 << random.range(0, 7));
    }
    void setWeight(std::size_t i, int weight) {
        record_[i] = weight;
        record_[64 + i] = (1 << 21) / weight;
        weights_[i] = static_cast<Qvo8u>(weight);
    }
    const Qvo32s* data() const { return record_.data(); }
    const Qvo8u* weights() const { return weights_.data(); }

  private:
    std::array<Qvo32s, 128> record_;
    std::array<Qvo8u, 64> weights_;
};

#endif
