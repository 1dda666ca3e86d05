// MPEG-4 texture decoding, prediction and inverse quantisation, and the inverse scans.
#include <array>

#include "digest/digest.h"
#include "qvovc.h"

namespace {

using Block = std::array<Qvo16s, 64>;
using Matrix = std::array<Qvo8u, 64>;

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

Block levels(Random& random) {
    Block block;
    const int range = random.chance(80) ? 60 : 32767;
    for (Qvo16s& level : block)
        level = static_cast<Qvo16s>(random.chance(70) ? 0 : random.range(-range, range));
    return block;
}

void decode(Digest& digest, Random& random, QvoStatus (*decoder)(Bits&, Qvo16s*, Random&)) {
    for (int i = 0; i < rounds; ++i) {
        Bits bits(random);
        Block block;
        block.fill(1);
        bits.addTo(digest, decoder(bits, block.data(), random));
        digest.addAll(block.data(), block.size());
    }
}

template <auto decoder>
void decodeIntra(Digest& digest, Random& random) {
    for (int i = 0; i < rounds; ++i) {
        Bits bits(random);
        Block row, column;
        Matrix matrix, pixels = {};
        std::array<Qvo8u, 2> QPs;
        random.fill(row, -40, 1500);
        random.fill(column, -40, 1500);
        random.fill(matrix, 1, 255);
        random.fill(QPs, 1, 31);
        const Qvo8u* const pQMatrix = random.chance(50) ? matrix.data() : nullptr;
        const int QP = random.range(1, 31), block = random.range(0, 9), dcVLC = random.range(0, 1);
        const QvoStatus status =
            decoder(&bits.position, &bits.offset, pixels.data(), 8, row.data() + 32, column.data() + 32, QP,
                    QPs.data(), pQMatrix, block, dcVLC, random.range(0, 1));
        bits.addTo(digest, status);
        for (const Block* b : {&row, &column})
            digest.addAll(b->data(), b->size());
        digest.addAll(pixels.data(), pixels.size());
    }
}

void quantise(Digest& digest, Random& random, void (*operation)(Qvo16s*, int QP, const Qvo8u*, Random&)) {
    for (int i = 0; i < rounds; ++i) {
        Block block = levels(random);
        Matrix matrix;
        random.fill(matrix, 1, 255);
        const int QP = random.range(1, 31);
        operation(block.data(), QP, matrix.data(), random);
        digest.addAll(block.data(), block.size());
    }
}

const DigestEntry intraDC("qvoiDecodeVLC_IntraDCVLC_MPEG4_1u16s", [](Digest& digest, Random& random) {
    decode(digest, random, [](Bits& b, Qvo16s* p, Random& r) {
        return qvoiDecodeVLC_IntraDCVLC_MPEG4_1u16s(&b.position, &b.offset, p, r.range(0, 2));
    });
});
const DigestEntry zigzagDC("qvoiDecodeVLCZigzag_IntraDCVLC_MPEG4_1u16s", [](Digest& digest, Random& random) {
    decode(digest, random, [](Bits& b, Qvo16s* p, Random& r) {
        const int scan = r.range(0, 2);
        return qvoiDecodeVLCZigzag_IntraDCVLC_MPEG4_1u16s(&b.position, &b.offset, p, scan, r.range(0, 2));
    });
});
const DigestEntry zigzagAC("qvoiDecodeVLCZigzag_IntraACVLC_MPEG4_1u16s", [](Digest& digest, Random& random) {
    decode(digest, random, [](Bits& b, Qvo16s* p, Random& r) {
        return qvoiDecodeVLCZigzag_IntraACVLC_MPEG4_1u16s(&b.position, &b.offset, p, r.range(0, 2));
    });
});
const DigestEntry zigzagInter("qvoiDecodeVLCZigzag_Inter_MPEG4_1u16s", [](Digest& digest, Random& random) {
    decode(digest, random, [](Bits& b, Qvo16s* p, Random& r) {
        return qvoiDecodeVLCZigzag_Inter_MPEG4_1u16s(&b.position, &b.offset, p, r.range(0, 2));
    });
});
const DigestEntry blockInter("qvoiDecodeBlockCoef_Inter_MPEG4_1u16s", [](Digest& digest, Random& random) {
    decode(digest, random, [](Bits& b, Qvo16s* p, Random& r) {
        Matrix matrix;
        r.fill(matrix, 1, 255);
        const Qvo8u* const pQMatrix = r.chance(50) ? matrix.data() : nullptr;
        return qvoiDecodeBlockCoef_Inter_MPEG4_1u16s(&b.position, &b.offset, p, r.range(1, 31), pQMatrix);
    });
});
const DigestEntry blockIntra("qvoiDecodeBlockCoef_Intra_MPEG4_1u8u",
                             decodeIntra<qvoiDecodeBlockCoef_Intra_MPEG4_1u8u>);
const DigestEntry blockIntraDC("qvoiDecodeBlockCoef_IntraDCOnly_MPEG4_1u8u",
                               decodeIntra<qvoiDecodeBlockCoef_IntraDCOnly_MPEG4_1u8u>);

const DigestEntry predict("qvoiPredictReconCoefIntra_MPEG4_16s", [](Digest& digest, Random& random) {
    for (int i = 0; i < rounds; ++i) {
        Block block = levels(random), row = levels(random), column = levels(random);
        const int QP = random.range(1, 31), predQP = random.range(1, 31), direction = random.range(0, 2);
        qvoiPredictReconCoefIntra_MPEG4_16s(block.data(), row.data() + 8, column.data(), QP, predQP, direction,
                                            random.range(0, 1), i & 1);
        for (const Block* b : {&block, &row, &column})
            digest.addAll(b->data(), b->size());
    }
});

const DigestEntry intra("qvoiQuantInvIntra_MPEG4_16s_I", [](Digest& digest, Random& random) {
    quantise(digest, random, [](Qvo16s* p, int QP, const Qvo8u* W, Random& r) {
        const Qvo8u* const pQMatrix = r.chance(50) ? W : nullptr;
        qvoiQuantInvIntra_MPEG4_16s_I(p, QP, pQMatrix, r.range(0, 1));
    });
});
const DigestEntry inter("qvoiQuantInvInter_MPEG4_16s_I", [](Digest& digest, Random& random) {
    quantise(digest, random, [](Qvo16s* p, int QP, const Qvo8u* W, Random& r) {
        qvoiQuantInvInter_MPEG4_16s_I(p, QP, r.chance(50) ? W : nullptr);
    });
});
const DigestEntry intraFirst("qvoiQuantInvIntraFirst_MPEG4_16s_I", [](Digest& digest, Random& random) {
    quantise(digest, random, [](Qvo16s* p, int QP, const Qvo8u* W, Random& r) {
        const int flag = r.range(0, 1), component = r.range(0, 1);
        qvoiQuantInvIntraFirst_MPEG4_16s_I(p, QP, W, flag, component, r.range(4, 12));
    });
});
const DigestEntry intraSecond("qvoiQuantInvIntraSecond_MPEG4_16s_I", [](Digest& digest, Random& random) {
    quantise(digest, random, [](Qvo16s* p, int QP, const Qvo8u*, Random& r) {
        const int flag = r.range(0, 1), component = r.range(0, 1);
        qvoiQuantInvIntraSecond_MPEG4_16s_I(p, QP, flag, component, r.range(4, 12));
    });
});
const DigestEntry interFirst("qvoiQuantInvInterFirst_MPEG4_16s_I", [](Digest& digest, Random& random) {
    quantise(digest, random, [](Qvo16s* p, int QP, const Qvo8u* W, Random& r) {
        qvoiQuantInvInterFirst_MPEG4_16s_I(p, QP, W, r.range(4, 12));
    });
});
const DigestEntry interSecond("qvoiQuantInvInterSecond_MPEG4_16s_I", [](Digest& digest, Random& random) {
    quantise(digest, random, [](Qvo16s* p, int QP, const Qvo8u*, Random& r) {
        qvoiQuantInvInterSecond_MPEG4_16s_I(p, QP, r.range(4, 12));
    });
});
const DigestEntry intraC1I("qvoiQuantInvIntra_MPEG4_16s_C1I", [](Digest& digest, Random& random) {
    quantise(digest, random, [](Qvo16s* p, int, const Qvo8u*, Random& r) {
        const Block weights = levels(r);
        qvoiQuantInvIntra_MPEG4_16s_C1I(p, static_cast<int>(r.next()), weights.data());
    });
});
const DigestEntry interC1I("qvoiQuantInv_MPEG4_16s_C1I", [](Digest& digest, Random& random) {
    quantise(digest, random, [](Qvo16s* p, int, const Qvo8u*, Random& r) {
        const Block weights = levels(r);
        qvoiQuantInv_MPEG4_16s_C1I(p, static_cast<int>(r.next()), r.chance(50) ? weights.data() : nullptr);
    });
});

template <auto scan>
void inverseScan(Digest& digest, Random& random) {
    const Block block = levels(random);
    for (int len = 1; len <= 64; ++len) {
        Block raster = {};
        scan(block.data(), len, raster.data());
        digest.addAll(raster.data(), raster.size());
    }
}
const DigestEntry classical("qvoiZigzagInvClassical_Compact_16s", inverseScan<qvoiZigzagInvClassical_Compact_16s>);
const DigestEntry horizontal("qvoiZigzagInvHorizontal_Compact_16s", inverseScan<qvoiZigzagInvHorizontal_Compact_16s>);
const DigestEntry vertical("qvoiZigzagInvVertical_Compact_16s", inverseScan<qvoiZigzagInvVertical_Compact_16s>);

template <auto scan>
void wholeScan(Digest& digest, Random& random) {
    const Block block = levels(random);
    Block raster;
    scan(block.data(), raster.data());
    digest.addAll(raster.data(), raster.size());
}
const DigestEntry wholeHorizontal("qvoiZigzagInv_Horizontal_16s", wholeScan<qvoiZigzagInv_Horizontal_16s>);
const DigestEntry wholeVertical("qvoiZigzagInv_Vertical_16s", wholeScan<qvoiZigzagInv_Vertical_16s>);

}  // namespace
