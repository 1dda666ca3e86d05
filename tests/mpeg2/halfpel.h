// Half-pel predictions sample by sample, for the tests of motion compensation, block differences and metrics.
#ifndef QVOVC_TESTS_MPEG2_HALFPEL_H
#define QVOVC_TESTS_MPEG2_HALFPEL_H

#include <limits>

#include "qvovc.h"
#include "support/plane.h"

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
