// Digests of what the operations give for pseudo-random input. The program prints one line per registered entry;
// tools/test compares the lines of all builds, which must be the same: also across compilers, so that no two draws
// may stand in one call's arguments.
#ifndef QVOVC_TESTS_DIGEST_H
#define QVOVC_TESTS_DIGEST_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <tuple>
#include <vector>

#include "qvovc.h"
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
        for (std::size_t i = 0; i < count; ++i)
            add(values[i]);
    }
    std::uint64_t value() const { return hash_; }

  private:
    std::uint64_t hash_ = 0xCBF29CE484222325u;
};

using DigestFunction = std::function<void(Digest&, Random&)>;

// static const DigestEntry entry("qvoiVariance16x16_8u32s", [](Digest& digest, Random& random) {...});
struct DigestEntry {
    DigestEntry(const char* name, DigestFunction function);
};

// Entries that call one operation again and again, with arguments drawn anew each time.
namespace drawn {

// A number from low to high or, in `wild` per cent of the calls, any of 32 bits.
struct Number {
    int low, high, wild = 0;
    Qvo32s draw(Random& random) {
        return random.chance(wild) ? static_cast<Qvo32s>(random.next()) : random.range(low, high);
    }
    void addTo(Digest&) const {}
};

// `count` elements of some range from low to high, at times with many zeros; the argument points to the one at `at` or,
// in `null` per cent of the calls, is null. What they hold after the call enters the digest.
template <class T>
struct Memory {
    std::size_t count;
    int low, high;
    std::size_t at = 0;
    int null = 0;
    std::vector<T> data = {};

    T* draw(Random& random) {
        data.resize(count);
        const int a = random.range(low, high), b = random.range(low, high);
        const int zeros = random.chance(50) ? random.range(0, 95) : 0;
        random.fill(data, a < b ? a : b, a < b ? b : a);
        for (T& e : data)
            if (random.chance(zeros)) e = 0;
        return random.chance(null) ? nullptr : data.data() + at;
    }
    void addTo(Digest& digest) const { digest.addAll(data.data(), data.size()); }
};
using Bytes = Memory<Qvo8u>;
using Words = Memory<Qvo16s>;

// `count` vectors of up to `range` either way or, in `null` per cent of the calls, null.
struct Vectors {
    std::size_t count;
    int range;
    int null = 0;
    std::vector<QvoMotionVector> data = {};

    QvoMotionVector* draw(Random& random) {
        data.resize(count);
        for (QvoMotionVector& v : data) {
            v.dx = static_cast<Qvo16s>(random.range(-range, range));
            v.dy = static_cast<Qvo16s>(random.range(-range, range));
        }
        return random.chance(null) ? nullptr : data.data();
    }
    void addTo(Digest& digest) const {
        for (const QvoMotionVector v : data) {
            digest.add(v.dx);
            digest.add(v.dy);
        }
    }
};

template <class Result, class... P, class... A>
DigestEntry calls(const char* name, Result (*operation)(P...), A... drawn) {
    return DigestEntry(name, [=](Digest& digest, Random& random) {
        std::tuple<A...> arguments(drawn...);
        for (int round = 0; round < 1000; ++round) {
            std::apply(
                [&](A&... a) {
                    const std::tuple<P...> values{static_cast<P>(a.draw(random))...};  // in this order
                    digest.add(static_cast<int>(std::apply(operation, values)));
                    (a.addTo(digest), ...);
                },
                arguments);
        }
    });
}

// Something that an operation only reads, such as a table.
template <class T>
struct Given {
    T* pointer;
    T* draw(Random&) const { return pointer; }
    void addTo(Digest&) const {}
};

// Operations on streams of bytes or words as functions of the first unit and the bit offset, which tell how far they got.
template <auto operation>
struct OnStream;
template <class Unit, class Offset, class... P, QvoStatus (*operation)(Unit**, Offset*, P...)>
struct OnStream<operation> {
    static int call(Unit* units, Offset offset, P... p) {
        Unit* position = units;
        const int status = operation(&position, &offset, p...);
        return status * 100000 + 64 * static_cast<int>(position - units) + static_cast<int>(offset);
    }
};
template <class First, class... P, QvoStatus (*operation)(First, Qvo8u**, Qvo32s*, P...)>
struct OnStream<operation> {
    static QvoStatus inOrder(Qvo8u** ppBitStream, Qvo32s* pBitOffset, First first, P... p) {
        return operation(first, ppBitStream, pBitOffset, p...);
    }
    static int call(Qvo8u* bytes, Qvo32s offset, First first, P... p) {
        return OnStream<inOrder>::call(bytes, offset, first, p...);
    }
};

// Quantisers, of blocks with many multiples of the quantiser, which is where roundings differ.
template <auto quantise>
struct OnMultiples;
template <class Result, class Q, class... P, Result (*quantise)(Qvo16s*, Q, P...)>
struct OnMultiples<quantise> {
    static int call(Qvo16s* block, Qvo32s QP, P... p) {
        for (int i = 0; i < 64; i += 3)
            block[i] = static_cast<Qvo16s>(block[i] % 90 * QP);
        return static_cast<int>(quantise(block, static_cast<Q>(QP), p...));
    }
};

// Bits with more ones than zeros, of which blocks decode often enough, with escapes in between and at times zeros first.
struct Bits : Bytes {
    Bits() : Bytes{400, 0, 255} {}
    Qvo8u* draw(Random& random) {
        data.resize(count);
        for (Qvo8u& byte : data)
            byte = static_cast<Qvo8u>(random.chance(15) ? random.range(6, 7) : random.next() | random.next());
        if (random.chance(50)) data[0] = static_cast<Qvo8u>(data[0] >> random.range(0, 8));
        return data.data();
    }
};

// Blocks of levels, from nearly empty to full ones, mostly small.
struct Levels : Words {
    Levels() : Words{64, 0, 0} {}
    Qvo16s* draw(Random& random) {
        data.resize(count);
        const int density = random.range(0, 100);
        const int range = random.chance(70) ? 3 : random.chance(70) ? 40 : 32767;
        for (Qvo16s& level : data)
            level = static_cast<Qvo16s>(random.chance(density) ? random.range(-range, range) : 0);
        return data.data();
    }
};

// Factors of a quantiser: mostly reciprocals of whole numbers. In `null` per cent of the calls there are none.
struct Factors {
    int null = 0;
    std::array<float, 64> data = {};
    float* draw(Random& random) {
        for (float& factor : data)
            factor = random.chance(80) ? 1.0f / static_cast<float>(random.range(1, 255))
                                       : static_cast<float>(random.range(-9000, 9000)) * 0.7f;
        return random.chance(null) ? nullptr : data.data();
    }
    void addTo(Digest&) const {}
};

}  // namespace drawn

// Entries named like the operation that they call.
#define CALLS(operation, ...) drawn::calls(#operation, operation, __VA_ARGS__)
#define STREAMS(operation, ...) drawn::calls(#operation, drawn::OnStream<operation>::call, __VA_ARGS__)
#define QUANTISES(operation, ...) drawn::calls(#operation, drawn::OnMultiples<operation>::call, __VA_ARGS__)

#endif
