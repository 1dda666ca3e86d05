// Digests of what the operations give for pseudo-random input. The program prints one line per registered entry;
// tools/test compares the lines of all builds, which must be the same.
#ifndef QVOVC_TESTS_DIGEST_H
#define QVOVC_TESTS_DIGEST_H

#include <cstddef>
#include <cstdint>

#include "support/random.h"

class Digest {  // FNV-1a, 64 bits, over the values' little-endian bytes
  public:
    template <class T>
    void add(T value) {
        for (std::size_t i = 0; i < sizeof(T); ++i) {
            hash_ ^= (static_cast<std::uint64_t>(value) >> (8 * i)) & 255;
            hash_ *= 0x100000001B3u;
        }
    }
    template <class T>
    void addAll(const T* values, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) add(values[i]);
    }
    std::uint64_t value() const { return hash_; }

  private:
    std::uint64_t hash_ = 0xCBF29CE484222325u;
};

using DigestFunction = void (*)(Digest&, Random&);

// static const DigestEntry entry("qvoiVariance16x16_8u32s", [](Digest& digest, Random& random) {...});
struct DigestEntry {
    DigestEntry(const char* name, DigestFunction function);
};

#endif
