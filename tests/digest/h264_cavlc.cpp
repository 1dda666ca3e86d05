#include <initializer_list>

#include "digest/digest.h"
#include "qvovc.h"

namespace {

struct Elements {
    Qvo8u ones, signs, count, zeros;
    Qvo16s levels[16] = {};
    Qvo8u runs[16] = {};

    void addTo(Digest& digest) const {
        for (const Qvo8u v : {ones, signs, count, zeros})
            digest.add(v);
        digest.addAll(levels, 16);
        digest.addAll(runs, 16);
    }
};

void fill(Qvo16s (&coefs)[16], Random& random) {
    const int zeros = random.range(0, 100);
    const int limit = random.chance(50) ? 1 : random.range(1, 2063);
    for (auto& c : coefs)
        c = static_cast<Qvo16s>(random.chance(zeros) ? 0 : random.range(-limit, limit));
}

const DigestEntry block("qvoiEncodeCoeffsCAVLC_H264_16s", [](Digest& digest, Random& random) {
    static const Qvo32s zigzag[16] = {0, 1, 4, 8, 5, 2, 3, 6, 9, 12, 13, 10, 7, 11, 14, 15};
    for (int round = 0; round < 8000; ++round) {
        Qvo16s coefs[16];
        Elements e;
        fill(coefs, random);
        const Qvo8u last = static_cast<Qvo8u>(random.range(0, 15));
        const Qvo8u first = static_cast<Qvo8u>(random.range(0, last));
        digest.add(qvoiEncodeCoeffsCAVLC_H264_16s(coefs, first, zigzag, last, &e.ones, &e.signs, &e.count, &e.zeros,
                                                  e.levels, e.runs));
        e.addTo(digest);
    }
});

const DigestEntry chromaDC("qvoiEncodeChromaDcCoeffsCAVLC_H264_16s", [](Digest& digest, Random& random) {
    for (int round = 0; round < 8000; ++round) {
        Qvo16s coefs[16];
        Elements e;
        fill(coefs, random);
        digest.add(
            qvoiEncodeChromaDcCoeffsCAVLC_H264_16s(coefs, &e.ones, &e.signs, &e.count, &e.zeros, e.levels, e.runs));
        e.addTo(digest);
    }
});

}  // namespace
