#include "mpeg4/predict.h"

namespace codecs::mpeg4 {

namespace {

bool operator==(const QvoMotionVector& a, const QvoMotionVector& b) {
    return a.dx == b.dx && a.dy == b.dy;
}

// Where a prediction goes: planes at the macroblock's place.
struct Destination {
    std::array<Qvo8u*, 3> planes;
    std::array<Qvo32s, 3> steps;
};

Destination at(const Place& place) {
    const Frame& frame = *place.frame;
    return {{place.luma(), place.chroma(1), place.chroma(2)}, {frame.step(0), frame.step(1), frame.step(2)}};
}

// Keeps a block within the picture and its border. A block that lies beyond consists of repeated edge samples in the
// direction in which it does, whatever its distance, so that nothing changes but its place.
QvoMotionVector clamped(QvoMotionVector vector, int x, int y, int size, int width, int height) {
    qvoiLimitMVToRect_MPEG4(&vector, &vector, -size, -size, width + 2 * size, height + 2 * size, x, y, size);
    return vector;
}

void predictLuma(const Frame& reference, int mbX, int mbY, const Vectors& vectors, bool one, int rounding,
                 Qvo8u* pDst, Qvo32s dstStep) {
    const int width = reference.macroblockWidth() * 16;
    const int height = reference.macroblockHeight() * 16;
    const int x = mbX * 16;
    const int y = mbY * 16;
    const Qvo32s step = reference.step(0);
    if (one) {
        const QvoMotionVector vector = clamped(vectors[0], x, y, 16, width, height);
        qvoiCopyMBHalfpel_MPEG4_8u(reference.at(0, x, y), step, pDst, dstStep, &vector, rounding);
        return;
    }
    for (std::size_t i = 0; i < 4; ++i) {
        const int right = (i & 1) ? 8 : 0;
        const int down = (i & 2) ? 8 : 0;
        const QvoMotionVector vector = clamped(vectors[i], x + right, y + down, 8, width, height);
        qvoiCopyBlockHalfpel_MPEG4_8u(reference.at(0, x + right, y + down), step, pDst + down * dstStep + right,
                                      dstStep, &vector, rounding);
    }
}

void predictTo(const Destination& to, const Frame& reference, int mbX, int mbY, const Vectors& vectors,
               int rounding) {
    const bool one = vectors[0] == vectors[1] && vectors[0] == vectors[2] && vectors[0] == vectors[3];
    predictLuma(reference, mbX, mbY, vectors, one, rounding, to.planes[0], to.steps[0]);

    QvoMotionVector chroma;
    if (one) {
        qvoiComputeChromaMV_MPEG4(vectors.data(), &chroma);
    } else {
        qvoiComputeChroma4MV_MPEG4(vectors.data(), &chroma, opaque.data());
    }
    const int x = mbX * 8;
    const int y = mbY * 8;
    chroma = clamped(chroma, x, y, 8, reference.macroblockWidth() * 8, reference.macroblockHeight() * 8);
    for (std::size_t plane = 1; plane < 3; ++plane) {
        qvoiCopyBlockHalfpel_MPEG4_8u(reference.at(plane, x, y), reference.step(plane), to.planes[plane],
                                      to.steps[plane], &chroma, rounding);
    }
}

}  // namespace

void predict(const Place& target, const Frame& reference, const Vectors& vectors, int rounding) {
    predictTo(at(target), reference, target.mbX, target.mbY, vectors, rounding);
}

void predict(const Place& target, const Frame& forward, const Vectors& forwardVectors, const Frame& backward,
             const Vectors& backwardVectors) {
    const Destination to = at(target);
    predictTo(to, forward, target.mbX, target.mbY, forwardVectors, 0);
    alignas(32) std::array<Qvo8u, 16 * 16> luma;
    alignas(32) std::array<std::array<Qvo8u, 8 * 8>, 2> chroma;
    const Destination other = {{luma.data(), chroma[0].data(), chroma[1].data()}, {16, 8, 8}};
    predictTo(other, backward, target.mbX, target.mbY, backwardVectors, 0);
    qvoiAverageMB_MPEG4_8u_I(other.planes[0], other.steps[0], to.planes[0], to.steps[0]);
    for (std::size_t plane = 1; plane < 3; ++plane)
        qvoiAverageBlock_MPEG4_8u_I(other.planes[plane], other.steps[plane], to.planes[plane], to.steps[plane]);
}

void copy(const Place& target, const Frame& reference) {
    const Place source = {&reference, target.mbX, target.mbY};
    qvoiCopyBlock_16x16_8u(source.luma(), reference.step(0), target.luma(), target.frame->step(0));
    for (std::size_t plane = 1; plane < 3; ++plane)
        qvoiCopyBlock_8x8_8u(source.chroma(plane), reference.step(plane), target.chroma(plane),
                             target.frame->step(plane));
}

}  // namespace codecs::mpeg4
