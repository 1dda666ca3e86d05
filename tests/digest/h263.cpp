// H.263 motion vectors, texture decoding with advanced intra coding, inverse quantisation and prediction.
#include <array>
#include <vector>

#include "digest/digest.h"
#include "qvovc.h"

namespace {

using Block = std::array<Qvo16s, 64>;

constexpr int rounds = 3000;

// Random bits with more ones than zeros, of which blocks decode often enough; escapes come in between.
struct Bits {
    std::array<Qvo8u, 400> bytes;
    Qvo8u* position = bytes.data();
    Qvo32s offset;

    explicit Bits(Random& random) : offset(random.range(0, 7)) {
        for (Qvo8u& byte : bytes)
            byte = static_cast<Qvo8u>(random.chance(15) ? random.range(6, 7) : random.next() | random.next());
    }
    void addTo(Digest& digest, QvoStatus status) const {
        digest.add(static_cast<int>(status));
        digest.add(static_cast<int>(position - bytes.data()));
        digest.add(offset);
    }
};

using Decoder = QvoStatus (*)(Bits& bits, Qvo16s* block, Random& random);

const DigestEntry texture("H.263 texture", [](Digest& digest, Random& random) {
    static constexpr Decoder decoders[] = {
        [](Bits& b, Qvo16s* p, Random&) { return qvoiDecodeVLC_IntraDC_H263_1u16s(&b.position, &b.offset, p); },
        [](Bits& b, Qvo16s* p, Random& r) {
            return qvoiDecodeVLCZigzag_Intra_H263_1u16s(&b.position, &b.offset, p, r.range(0, 1));
        },
        [](Bits& b, Qvo16s* p, Random& r) {
            return qvoiDecodeVLCZigzag_Inter_H263_1u16s(&b.position, &b.offset, p, r.range(0, 1));
        },
        [](Bits& b, Qvo16s* p, Random& r) {
            return qvoiDecodeVLCZigzag_IntraAIC_H263_1u16s(&b.position, &b.offset, p, r.range(1, 3), 1);
        },
        [](Bits& b, Qvo16s* p, Random& r) {
            Qvo32s len;
            const QvoStatus status = qvoiDecodeVLC_Intra_H263_1u16s(&b.position, &b.offset, p, &len, 1);
            if (len > 0) qvoiQuantInvIntra_Compact_H263_16s_I(p, len, r.range(1, 31));
            return status;
        },
        [](Bits& b, Qvo16s* p, Random& r) {
            Qvo32s len;
            const QvoStatus status = qvoiDecodeVLC_Inter_H263_1u16s(&b.position, &b.offset, p, &len, 1);
            if (len > 0) qvoiQuantInvInter_Compact_H263_16s_I(p, len, r.range(1, 31));
            return status;
        },
        [](Bits& b, Qvo16s* p, Random& r) {
            return qvoiDecodeCoef_Intra_H263_1u16s(&b.position, &b.offset, p, r.range(1, 31), 1);
        },
        [](Bits& b, Qvo16s* p, Random& r) {
            return qvoiDecodeCoef_Inter_H263_1u16s(&b.position, &b.offset, p, r.range(1, 31), 1);
        },
        [](Bits& b, Qvo16s* p, Random& r) {
            return qvoiDecodeBlockCoef_Inter_H263_1u16s(&b.position, &b.offset, p, r.range(1, 31), 1);
        },
        [](Bits&, Qvo16s* p, Random& r) { return qvoiQuantInvIntra_H263_16s_I(p, r.range(1, 31)); },
        [](Bits&, Qvo16s* p, Random& r) { return qvoiQuantInvInter_H263_16s_I(p, r.range(1, 31)); },
    };
    for (const Decoder decoder : decoders) {
        for (int i = 0; i < rounds; ++i) {
            Bits bits(random);
            Block block;
            random.fill(block, -600, 600);
            bits.addTo(digest, decoder(bits, block.data(), random));
            digest.addAll(block.data(), block.size());
        }
    }
});

const DigestEntry intra("H.263 intra blocks", [](Digest& digest, Random& random) {
    for (int i = 0; i < 3 * rounds; ++i) {
        Bits bits(random);
        std::array<Qvo8u, 64> pixels = {};
        Block row, column, levels;
        random.fill(row, -40, 1500);
        random.fill(column, -40, 1500);
        random.fill(levels, -40, 40);
        const int QP = random.range(1, 31), direction = random.range(1, 3);
        Qvo8u** const p = &bits.position;
        if (i % 3 == 0)
            bits.addTo(digest, qvoiDecodeBlockCoef_Intra_H263_1u8u(p, &bits.offset, pixels.data(), 8, QP, 1));
        else if (i % 3 == 1)
            bits.addTo(digest, qvoiDecodeBlockCoef_IntraAIC_H263_1u8u(p, &bits.offset, pixels.data(), 8, row.data(),
                                                                      column.data(), QP, direction, i % 4, 1));
        else
            qvoiPredictReconCoefIntraAIC_H263_16s(levels.data(), row.data(), column.data(), QP, direction);
        digest.addAll(pixels.data(), pixels.size());
        for (const Block* b : {&row, &column, &levels})
            digest.addAll(b->data(), b->size());
    }
});

QvoMotionVector vector(Random& random, int range) {
    const int dx = random.range(-range, range), dy = random.range(-range, range);
    return {static_cast<Qvo16s>(dx), static_cast<Qvo16s>(dy)};
}

const DigestEntry vectors("H.263 vectors", [](Digest& digest, Random& random) {
    for (int i = 0; i < 3 * rounds; ++i) {
        Bits bits(random);
        for (Qvo8u& byte : bits.bytes)
            byte = static_cast<Qvo8u>(random.next() & random.next());
        std::array<QvoMotionVector, 16> v;
        for (QvoMotionVector& each : v)
            each = vector(random, 40);
        const QvoStatus status =
            qvoiDecodeMV_H263(&bits.position, &bits.offset, random.chance(70) ? &v[0] : nullptr,
                              random.chance(70) ? &v[4] : nullptr, &v[8], &v[12], i % 3, random.range(0, 5));
        bits.addTo(digest, status);
        for (std::size_t k = 12; k < 16; ++k) {
            digest.add(v[k].dx);
            digest.add(v[k].dy);
        }
    }
});

const DigestEntry prediction("H.263 prediction", [](Digest& digest, Random& random) {
    std::vector<Qvo8u> reference(64 * 64), block(16 * 16 + 2 * 64);
    std::vector<Qvo16s> residual(6 * 64);
    const Qvo8u* const source = &reference[64 * 24 + 24];
    Qvo8u* const p = block.data();
    for (int i = 0; i < rounds; ++i) {
        random.fill(reference, 0, 255);
        random.fill(residual, -300, 300);
        const QvoMotionVector v = vector(random, 40),
                              w[4] = {vector(random, 40), vector(random, 40), vector(random, 40), vector(random, 40)};
        qvoiCopyMBHalfpel_H263_8u(source, 64, p, 16, &v, i & 1);
        qvoiOBMCHalfpel_H263_8u(source, 64, p, 16, &v, &w[0], &w[1], &w[2], &w[3], i & 1);
        qvoiCopyBlockHalfpel_H263_8u(source, 64, p + 8, 16, &v, i & 1);
        qvoiReconMB_H263_8u_P3R(p, p + 256, p + 320, 16, 8, residual.data(), i & 63, p, p + 256, p + 320, 16, 8);
        digest.addAll(p, block.size());
        qvoiCopyMBApprox_H263_8u(source, 64, p, 16, &v);
        qvoiCopyBlockApprox_H263_8u(source, 64, p, 16, &w[0]);
        qvoiCopyMB_H263_8u_P3R(p, p + 256, p + 320, 16, 8, &reference[0], &reference[32], &reference[48], 64, 64);
        digest.addAll(reference.data(), reference.size());
    }
});

}  // namespace
