// Blocks of rows for the tests of prediction and metrics, in memory that ends where the block's rows end.
#ifndef QVOVC_TESTS_MPEG2_PLANE_H
#define QVOVC_TESTS_MPEG2_PLANE_H

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <vector>

#include "qvovc.h"
#include "support/guarded.h"
#include "support/random.h"

// width x height elements in rows that lie `step` bytes apart (negative: upwards), with an unreadable page directly
// behind the last element or before the first one.
template <class T>
class Plane {
  public:
    Plane(int width, int height, int step, Guard guard)
        : height_(height),
          step_(step),
          pitch_(std::abs(step) / static_cast<int>(sizeof(T))),
          memory_(static_cast<std::size_t>(pitch_ * (height - 1) + width), guard) {}

    // Any distance of rows, odd ones for bytes.
    Plane(int width, int height, Random& random)
        : Plane(width, height,
                (width + random.range(0, 9)) * static_cast<int>(sizeof(T)) * (random.chance(30) ? -1 : 1),
                random.chance(50) ? Guard::after : Guard::before) {}

    // Elements of a random narrow or wide range, or nothing but the two bounds.
    void fill(Random& random, int low, int high) {
        if (random.chance(20)) {
            for (T& e : memory_)
                e = static_cast<T>(random.chance(50) ? low : high);
        } else {
            const int a = random.range(low, high), b = random.range(low, high);
            random.fill(memory_, a < b ? a : b, a < b ? b : a);
        }
    }

    T* origin() { return &at(0, 0); }
    int step() const { return step_; }
    T& at(int x, int y) { return memory_[static_cast<std::size_t>((step_ < 0 ? height_ - 1 - y : y) * pitch_ + x)]; }
    // All of the memory, what lies between the rows included.
    std::vector<T> contents() { return std::vector<T>(memory_.begin(), memory_.end()); }
    void restore(const std::vector<T>& contents) { std::copy(contents.begin(), contents.end(), memory_.begin()); }

  private:
    int height_, step_, pitch_;
    Guarded<T> memory_;
};

inline int wrap32(long long value) {
    return static_cast<int>(static_cast<unsigned>(value));
}

// What a half-pel position of a reference block reads and no more, filled with random samples.
class Reference : public Plane<Qvo8u> {
  public:
    Reference(int width, int height, int neighbour, int mcType, Random& random)
        : Plane(width + (mcType & 8 ? neighbour : 0), height + (mcType & 4 ? 1 : 0), random),
          neighbour_(neighbour),
          mcType_(mcType) {
        fill(random, 0, 255);
    }

    // One sample of the prediction.
    int predict(int x, int y, long long roundControl) {
        const int n = neighbour_;
        switch (mcType_ & 12) {
            case 0:
                return at(x, y);
            case 4:
                return wrap32(at(x, y) + at(x, y + 1) + 1 - roundControl) >> 1;
            case 8:
                return wrap32(at(x, y) + at(x + n, y) + 1 - roundControl) >> 1;
            default:
                return wrap32(at(x, y) + at(x + n, y) + at(x, y + 1) + at(x + n, y + 1) + 2 - roundControl) >> 2;
        }
    }

  private:
    int neighbour_, mcType_;
};

// Mostly 0 and 1, at times any number.
inline int randomRounding(Random& random) {
    if (random.chance(80)) return random.range(0, 1);
    if (random.chance(50)) return random.range(-600, 600);
    return random.range(std::numeric_limits<int>::min(), std::numeric_limits<int>::max());
}

// A half-pel position with any other bits set.
inline int randomMcType(Random& random) {
    return static_cast<int>(random.next());
}

#endif
