#include "h263/predict.h"

namespace codecs::h263 {

namespace {

// Keeps a block within the picture and its border, where nothing changes beyond (see mpeg4/predict.cpp).
QvoMotionVector clamped(QvoMotionVector vector, int x, int y, int width, int height) {
    constexpr int size = 8;
    qvoiLimitMVToRect_MPEG4(&vector, &vector, -size, -size, width + 2 * size, height + 2 * size, x, y, size);
    return vector;
}

}  // namespace

void predictOverlapped(const Place& target, const Frame& reference, const Vectors& own, const Surroundings& around,
                       int rounding) {
    const auto of = [&](const Vectors* vectors, std::size_t block, std::size_t instead) {
        return vectors ? (*vectors)[block] : own[instead];
    };
    // By block: left, right, above, below. The vectors of the macroblock below are not known and not used.
    const QvoMotionVector around4[4][4] = {{of(around.left, 1, 0), own[1], of(around.above, 2, 0), own[2]},
                                           {own[0], of(around.right, 0, 1), of(around.above, 3, 1), own[3]},
                                           {of(around.left, 3, 2), own[3], own[0], own[2]},
                                           {own[2], of(around.right, 2, 3), own[1], own[3]}};
    const int width = reference.macroblockWidth() * 16, height = reference.macroblockHeight() * 16;
    const Qvo32s step = reference.step(0);
    for (int block = 0; block < 4; ++block) {
        const int x = target.mbX * 16 + 8 * (block & 1), y = target.mbY * 16 + 8 * (block >> 1);
        const auto limited = [&](QvoMotionVector vector) { return clamped(vector, x, y, width, height); };
        const QvoMotionVector current = limited(own[static_cast<std::size_t>(block)]);
        const QvoMotionVector left = limited(around4[block][0]), right = limited(around4[block][1]);
        const QvoMotionVector above = limited(around4[block][2]), below = limited(around4[block][3]);
        qvoiOBMCHalfpel_H263_8u(reference.at(0, x, y), step, target.block(block), target.step(block), &current, &left,
                                &right, &above, &below, rounding);
    }

    QvoMotionVector chroma;
    qvoiComputeChroma4MV_MPEG4(own.data(), &chroma, mpeg4::opaque.data());
    const int x = target.mbX * 8, y = target.mbY * 8;
    chroma = clamped(chroma, x, y, width / 2, height / 2);
    for (std::size_t plane = 1; plane < 3; ++plane)
        qvoiCopyBlockHalfpel_H263_8u(reference.at(plane, x, y), reference.step(plane), target.chroma(plane),
                                     target.frame->step(plane), &chroma, rounding);
}

}  // namespace codecs::h263
