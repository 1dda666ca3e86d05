#include "digest/digest.h"
#include "qvovc.h"

namespace {

// Blocks in the range of pictures and of the whole type in turn, some with few coefficients.
void nextBlock(Random& random, Qvo16s (&block)[64]) {
    const int limit = random.chance(50) ? 32767 : random.chance(50) ? 2047 : 255;
    const int percent = random.chance(50) ? 100 : 8;
    for (auto& e : block)
        e = static_cast<Qvo16s>(random.chance(percent) ? random.range(-limit - 1, limit) : 0);
}

// The digest of 500 results of an operation in place.
template <QvoStatus (*operation)(Qvo16s*)>
void inPlace(Digest& digest, Random& random) {
    Qvo16s block[64];
    for (int i = 0; i < 500; ++i) {
        nextBlock(random, block);
        operation(block);
        digest.addAll(block, 64);
    }
}

template <class T, QvoStatus (*operation)(const Qvo16s*, T*, Qvo32s, Qvo32s)>
void counted(Digest& digest, Random& random) {
    Qvo16s block[64];
    T out[64];
    for (int i = 0; i < 500; ++i) {
        nextBlock(random, block);
        operation(block, out, 8 * sizeof(T), random.range(-1, 12));
        digest.addAll(out, 64);
    }
}

template <class T, QvoStatus (*operation)(const Qvo16s*, const Qvo16s*, T*, Qvo32s, Qvo32s, Qvo32s)>
void countedPair(Digest& digest, Random& random) {
    Qvo16s u[64], v[64];
    T out[128];
    for (int i = 0; i < 500; ++i) {
        nextBlock(random, u);
        nextBlock(random, v);
        const int countU = random.range(-1, 12), countV = random.range(-1, 12);
        operation(u, v, out, 16 * sizeof(T), countU, countV);
        digest.addAll(out, 128);
    }
}

template <QvoStatus (*operation)(const Qvo16s*, Qvo8u*, Qvo32s)>
void toPixels(Digest& digest, Random& random) {
    Qvo16s block[64];
    Qvo8u out[64];
    for (int i = 0; i < 500; ++i) {
        nextBlock(random, block);
        operation(block, out, 8);
        digest.addAll(out, 64);
    }
}

QvoStatus forwardInPlace(Qvo16s* pSrcDst) {
    return qvoiDCT8x8Fwd_16s_C1(pSrcDst, pSrcDst);
}

void forwardOfPixels(Digest& digest, Random& random) {
    Qvo8u pixels[64];
    Qvo16s out[64];
    for (int i = 0; i < 500; ++i) {
        random.fill(pixels, 0, 255);
        qvoiDCT8x8Fwd_8u16s_C1R(pixels, 8, out);
        digest.addAll(out, 64);
    }
}

const DigestEntry entries[] = {
    {"qvoiDCT8x8Fwd_16s_C1", inPlace<forwardInPlace>},
    {"qvoiDCT8x8Fwd_8u16s_C1R", forwardOfPixels},
    {"qvoiDCT8x8Inv_16s_C1I", inPlace<qvoiDCT8x8Inv_16s_C1I>},
    {"qvoiDCT8x8Inv_4x4_16s_C1I", inPlace<qvoiDCT8x8Inv_4x4_16s_C1I>},
    {"qvoiDCT8x8Inv_2x2_16s_C1I", inPlace<qvoiDCT8x8Inv_2x2_16s_C1I>},
    {"qvoiDCT8x8Inv_16s8u_C1R", toPixels<qvoiDCT8x8Inv_16s8u_C1R>},
    {"qvoiDCTInv_8x8_16s8u", toPixels<qvoiDCTInv_8x8_16s8u>},
    {"qvoiDCT8x8Inv_AANTransposed_16s_C1R", counted<Qvo16s, qvoiDCT8x8Inv_AANTransposed_16s_C1R>},
    {"qvoiDCT8x8Inv_AANTransposed_16s8u_C1R", counted<Qvo8u, qvoiDCT8x8Inv_AANTransposed_16s8u_C1R>},
    {"qvoiDCT8x8Inv_AANTransposed_16s_P2C2R", countedPair<Qvo16s, qvoiDCT8x8Inv_AANTransposed_16s_P2C2R>},
    {"qvoiDCT8x8Inv_AANTransposed_16s8u_P2C2R", countedPair<Qvo8u, qvoiDCT8x8Inv_AANTransposed_16s8u_P2C2R>},
    {"qvoiDCT2x4x8Frw_16s_C1I", inPlace<qvoiDCT2x4x8Frw_16s_C1I>},
    {"qvoiDCT2x4x8Inv_16s_C1I", inPlace<qvoiDCT2x4x8Inv_16s_C1I>},
};

}  // namespace
