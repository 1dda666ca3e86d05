// Pseudo-random input, the same on every machine and in every build.
#ifndef QVOVC_TESTS_RANDOM_H
#define QVOVC_TESTS_RANDOM_H

#include <cstdint>
#include <type_traits>

class Random {
  public:
    explicit Random(std::uint64_t seed = 1) : state_(seed) {}

    std::uint32_t next() {  // SplitMix64, upper half
        state_ += 0x9E3779B97F4A7C15u;
        std::uint64_t z = state_;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
        return static_cast<std::uint32_t>((z ^ (z >> 31)) >> 32);
    }

    // A value from low to high, both included.
    int range(int low, int high) {
        const auto count = static_cast<std::uint64_t>(static_cast<std::int64_t>(high) - low) + 1;
        return static_cast<int>(low + static_cast<std::int64_t>((next() * count) >> 32));
    }

    bool chance(int percent) { return range(0, 99) < percent; }

    template <class Container>
    void fill(Container& c, int low, int high) {
        for (auto& e : c)
            e = static_cast<std::decay_t<decltype(e)>>(range(low, high));
    }

  private:
    std::uint64_t state_;
};

#endif
