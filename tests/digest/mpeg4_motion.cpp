// MPEG-4 motion vectors, motion compensation, overlapped prediction and padding.
#include <algorithm>
#include <array>
#include <vector>

#include "digest/digest.h"
#include "qvovc.h"

namespace {

using Vectors = std::array<QvoMotionVector, 4>;

Vectors randomVectors(Random& random, int range) {
    Vectors vectors;
    for (auto& v : vectors) {
        v.dx = static_cast<Qvo16s>(random.range(-range, range));
        v.dy = static_cast<Qvo16s>(random.range(-range, range));
    }
    return vectors;
}

void add(Digest& digest, const Vectors& vectors) {
    for (const QvoMotionVector v : vectors) {
        digest.add(v.dx);
        digest.add(v.dy);
    }
}

struct Flags {
    alignas(4) Qvo8u at[4];
    explicit Flags(Random& random) {
        for (auto& flag : at)
            flag = random.chance(60);
    }
};

// Random bits that begin with up to 12 zeros.
struct Bits {
    std::array<Qvo8u, 48> bytes;
    Qvo8u* position = bytes.data();
    Qvo32s offset;
    explicit Bits(Random& random) {
        random.fill(bytes, 0, 255);
        bytes[0] = static_cast<Qvo8u>(bytes[0] >> random.range(0, 8));
        offset = random.range(0, 7);
    }
    void addTo(Digest& digest) const {
        digest.add(static_cast<int>(position - bytes.data()));
        digest.add(offset);
    }
};

const DigestEntry decodePVOP("mpeg4/DecodePadMV_PVOP", [](Digest& digest, Random& random) {
    for (int round = 0; round < 5000; ++round) {
        const Vectors left = randomVectors(random, 3000), above = randomVectors(random, 200);
        const Vectors aboveRight = randomVectors(random, 32767);
        Vectors current = randomVectors(random, 100);
        const Flags f1(random), f2(random), f3(random), own(random);
        Bits bits(random);
        digest.add(qvoiDecodePadMV_PVOP_MPEG4(&bits.position, &bits.offset, left.data(), above.data(),
                                              aboveRight.data(), current.data(), f1.at, f2.at, f3.at, own.at,
                                              random.range(1, 7), random.range(0, 5)));
        bits.addTo(digest);
        add(digest, current);
        QvoMotionVector predictor;
        digest.add(qvoiFindMVpred_MPEG4(current.data(), left.data(), above.data(), aboveRight.data(), f1.at, f2.at,
                                        f3.at, own.at, &predictor, nullptr, round % 4));
        digest.add(predictor.dx);
        digest.add(predictor.dy);
    }
});

const DigestEntry decodeBVOP("mpeg4/DecodeMV_BVOP", [](Digest& digest, Random& random) {
    for (int round = 0; round < 5000; ++round) {
        const Vectors colocated = randomVectors(random, round % 2 ? 32767 : 200);
        Vectors forward = randomVectors(random, 500), backward = randomVectors(random, 500);
        const Flags flags(random);
        const int distances = random.chance(80) ? 30 : 100000;
        Bits bits(random);
        digest.add(qvoiDecodeMV_BVOP_Direct_MPEG4(&bits.position, &bits.offset, colocated.data(), forward.data(),
                                                  backward.data(), flags.at, random.range(1, distances),
                                                  random.range(1, distances)));
        digest.add(qvoiDecodeMV_BVOP_Interpolate_MPEG4(&bits.position, &bits.offset, &forward[1], &backward[2],
                                                       random.range(1, 7), random.range(1, 7)));
        digest.add(qvoiDecodeMV_BVOP_Forward_MPEG4(&bits.position, &bits.offset, &forward[3], random.range(1, 7)));
        bits.addTo(digest);
        add(digest, forward);
        add(digest, backward);
    }
});

const DigestEntry deriveVectors("mpeg4/LimitMV+ChromaMV", [](Digest& digest, Random& random) {
    for (int round = 0; round < 5000; ++round) {
        const Vectors vectors = randomVectors(random, round % 2 ? 32767 : 100);
        const Flags flags(random);
        Vectors out = vectors;
        digest.add(qvoiLimitMVToRect_MPEG4(&vectors[0], &out[0], random.range(-99, 99), random.range(-99, 99),
                                           random.range(10, 720), random.range(10, 720), random.range(-99, 999),
                                           random.range(-99, 999), random.chance(50) ? 8 : 16));
        digest.add(qvoiComputeChromaMV_MPEG4(&vectors[1], &out[1]));
        digest.add(qvoiComputeChroma4MV_MPEG4(vectors.data(), &out[2], flags.at));
        add(digest, out);
    }
});

constexpr int rowStep = 64;

struct Frames {
    std::array<Qvo8u, rowStep * 64> reference, target;
    explicit Frames(Random& random) {
        random.fill(reference, 0, 255);
        random.fill(target, 0, 255);
    }
    const Qvo8u* block() const { return reference.data() + 20 * rowStep + 20; }
};

const DigestEntry predict("mpeg4/Halfpel", [](Digest& digest, Random& random) {
    for (int round = 0; round < 200; ++round) {
        Frames frames(random);
        std::array<Qvo16s, 64> residual;
        random.fill(residual, round % 4 ? -300 : -32768, round % 4 ? 300 : 32767);
        const Vectors v = randomVectors(random, 20);
        const int rc = random.range(0, 2);
        Qvo8u* const out = frames.target.data();
        qvoiCopyBlockHalfpel_MPEG4_8u(frames.block(), rowStep, out, rowStep, &v[0], rc);
        qvoiCopyMBHalfpel_MPEG4_8u(frames.block(), rowStep, out + 8, rowStep, &v[1], rc);
        qvoiReconBlockHalfpel_MPEG4_8u(frames.block(), rowStep, residual.data(), out + 24, rowStep, &v[2], rc);
        qvoiOBMCHalfpel_MPEG4_8u(frames.block(), rowStep, out + 32, rowStep, &v[3], &v[0], &v[1], &v[2], &v[0], rc);
        qvoiAverageMB_MPEG4_8u(frames.block(), rowStep, frames.block() + 5, rowStep, out + 40, rowStep);
        qvoiAverageBlock_MPEG4_8u_I(frames.block(), rowStep, out + 56, rowStep);
        digest.addAll(out, frames.target.size());
    }
});

const DigestEntry pad("mpeg4/PadMB", [](Digest& digest, Random& random) {
    for (int round = 0; round < 300; ++round) {
        alignas(4) Frames y(random), cb(random), cr(random);
        std::array<Qvo8u, 4> padded;
        random.fill(padded, 0, 1);
        for (int i = 0; i < 16; ++i) {
            const int x = i % 4, row = i / 4;
            const Qvo32s flags[2] = {random.range(0, 1), random.range(0, 1)};
            std::array<Qvo8u, 32> shape;
            for (auto& bits : shape)
                bits = static_cast<Qvo8u>(random.next() & random.next());
            Qvo8u* const pY = y.reference.data() + 16 * (rowStep * row + x);
            Qvo8u* const pCb = cb.reference.data() + 8 * (rowStep * row + x);
            Qvo8u* const pCr = cr.reference.data() + 8 * (rowStep * row + x);
            const int kind = random.range(0, 2);
            if (kind == 0)
                digest.add(qvoiPadMBPartial_MPEG4_8u_P4R(shape.data(), flags, pY, pCb, pCr, nullptr, padded.data(), x,
                                                         row, rowStep, rowStep, 2));
            else if (kind == 1)
                digest.add(qvoiPadMBOpaque_MPEG4_8u_P4R(flags, pY, pCb, pCr, nullptr, padded.data(), x, row, rowStep,
                                                        rowStep));
            else
                digest.add(qvoiPadMBTransparent_MPEG4_8u_P4R(flags, pY, pCb, pCr, nullptr, padded.data(), 128, x, row,
                                                             4, 4, rowStep, rowStep));
        }
        for (const Frames* plane : {&y, &cb, &cr})
            digest.addAll(plane->reference.data(), plane->reference.size());
        digest.addAll(padded.data(), padded.size());
    }
});

}  // namespace
