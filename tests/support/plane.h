// Blocks of samples in rows, in memory that ends where the rows end.
#ifndef QVOVC_TESTS_PLANE_H
#define QVOVC_TESTS_PLANE_H

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "support/guarded.h"
#include "support/random.h"

// width x height elements in rows that lie `step` bytes apart (negative: upwards), with an unreadable page directly
// behind the last element or before the first one.
template <class T>
class Plane {
  public:
    Plane(int width, int height, int step, Guard guard)
        : width_(width),
          height_(height),
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
    // The contents if each element were what sample(x, y) gives.
    template <class Sample>
    std::vector<T> contentsWith(Sample sample) {
        const std::vector<T> before = contents();
        for (int y = 0; y < height_; ++y)
            for (int x = 0; x < width_; ++x)
                at(x, y) = static_cast<T>(sample(x, y));
        std::vector<T> with = contents();
        restore(before);
        return with;
    }
    void restore(const std::vector<T>& contents) { std::copy(contents.begin(), contents.end(), memory_.begin()); }

  private:
    int width_, height_, step_, pitch_;
    Guarded<T> memory_;
};

#endif
