// MPEG-4 and H.263 texture encoding and MPEG-4 vector encoding.
#include <array>

#include "digest/digest.h"
#include "qvovc.h"

namespace {

using Block = std::array<Qvo16s, 64>;

constexpr int rounds = 3000;

Block levels(Random& random) {
    Block block;
    const int density = random.range(0, 100);
    const int range = random.chance(70) ? 3 : random.chance(70) ? 40 : 32767;
    for (Qvo16s& level : block)
        level = static_cast<Qvo16s>(random.chance(density) ? random.range(-range, range) : 0);
    return block;
}

// A writer is called as write(&position, &offset, random); all of the memory counts.
template <auto write>
void writeAll(Digest& digest, Random& random) {
    for (int i = 0; i < rounds; ++i) {
        std::array<Qvo8u, 300> bytes;
        bytes.fill(0xA5);
        Qvo8u* position = bytes.data();
        Qvo32s offset = random.range(0, 7);
        digest.add(static_cast<int>(write(&position, &offset, random)));
        digest.add(static_cast<int>(position - bytes.data()));
        digest.add(offset);
        digest.addAll(bytes.data(), bytes.size());
    }
}

const DigestEntry dcH263("qvoiEncode_IntraDCVLC_H263_16s1u", writeAll<[](Qvo8u** p, Qvo32s* o, Random& r) {
                             return qvoiEncode_IntraDCVLC_H263_16s1u(static_cast<Qvo16s>(r.range(-300, 300)), p, o);
                         }>);
const DigestEntry acH263("qvoiEncode_ACVLC_H263_16s1u", writeAll<[](Qvo8u** p, Qvo32s* o, Random& r) {
                             const Block block = levels(r);
                             return qvoiEncode_ACVLC_H263_16s1u(block.data(), p, o, r.range(0, 1));
                         }>);
const DigestEntry inter("qvoiEncode_InterVLC_MPEG4_16s1u", writeAll<[](Qvo8u** p, Qvo32s* o, Random& r) {
                            const Block block = levels(r);
                            return qvoiEncode_InterVLC_MPEG4_16s1u(block.data(), p, o);
                        }>);
const DigestEntry dc("qvoiEncode_IntraDCVLC_MPEG4_16s1u", writeAll<[](Qvo8u** p, Qvo32s* o, Random& r) {
                         const Qvo16s difference = static_cast<Qvo16s>(r.range(-5000, 5000));
                         return qvoiEncode_IntraDCVLC_MPEG4_16s1u(difference, p, o, r.range(0, 2));
                     }>);
const DigestEntry ac("qvoiEncode_IntraACVLC_MPEG4_16s1u", writeAll<[](Qvo8u** p, Qvo32s* o, Random& r) {
                         const Block block = levels(r);
                         const int scan = r.range(0, 3);
                         return qvoiEncode_IntraACVLC_MPEG4_16s1u(block.data(), p, o, scan, r.range(0, 1));
                     }>);
const DigestEntry zigzagDC("qvoiEncodeVLCZigzag_IntraDCVLC_MPEG4_16s1u",
                           writeAll<[](Qvo8u** p, Qvo32s* o, Random& r) {
                               const Block block = levels(r);
                               const Qvo8u scan = static_cast<Qvo8u>(r.range(0, 2)),
                                           coded = static_cast<Qvo8u>(r.range(0, 2));
                               return qvoiEncodeVLCZigzag_IntraDCVLC_MPEG4_16s1u(p, o, block.data(), scan, coded,
                                                                                 r.range(0, 2));
                           }>);
const DigestEntry zigzagAC("qvoiEncodeVLCZigzag_IntraACVLC_MPEG4_16s1u",
                           writeAll<[](Qvo8u** p, Qvo32s* o, Random& r) {
                               const Block block = levels(r);
                               const Qvo8u scan = static_cast<Qvo8u>(r.range(0, 2)),
                                           coded = static_cast<Qvo8u>(r.range(0, 2));
                               return qvoiEncodeVLCZigzag_IntraACVLC_MPEG4_16s1u(p, o, block.data(), scan, coded);
                           }>);
const DigestEntry zigzagInter("qvoiEncodeVLCZigzag_Inter_MPEG4_16s1u", writeAll<[](Qvo8u** p, Qvo32s* o, Random& r) {
                                  const Block block = levels(r);
                                  return qvoiEncodeVLCZigzag_Inter_MPEG4_16s1u(p, o, block.data(),
                                                                               static_cast<Qvo8u>(r.range(0, 2)));
                              }>);

const DigestEntry vectors("qvoiEncodeMV_MPEG4_8u16s", writeAll<[](Qvo8u** p, Qvo32s* o, Random& r) {
                              const int fcode = r.range(1, 7), limit = 16 << fcode;
                              QvoMotionVector mv[4][4];
                              for (auto& macroblock : mv)
                                  for (QvoMotionVector& v : macroblock) {
                                      v.dx = static_cast<Qvo16s>(r.range(-limit, limit));
                                      v.dy = static_cast<Qvo16s>(r.range(-limit, limit));
                                  }
                              alignas(4) Qvo8u flags[4][4];
                              for (auto& macroblock : flags)
                                  for (Qvo8u& flag : macroblock)
                                      flag = static_cast<Qvo8u>(r.range(0, 2));
                              const QvoMotionVector* const left = r.chance(80) ? mv[1] : nullptr;
                              const QvoMotionVector* const above = r.chance(80) ? mv[2] : nullptr;
                              return qvoiEncodeMV_MPEG4_8u16s(p, o, mv[0], left, above, mv[3], flags[0], flags[1],
                                                              flags[2], flags[3], fcode, r.range(0, 5));
                          }>);

}  // namespace
