// MPEG-4 and H.263 texture encoding and MPEG-4 vector encoding.
#include "digest/digest.h"

namespace {

using namespace drawn;

const Bytes bytes{300, 165, 165}, flags{4, 0, 2};
const Number offset{0, 7}, difference{-5000, 5000}, flag{0, 1}, three{0, 2};
const Levels levels;
const Vectors vectors{4, 40}, vectorsOrNull{4, 40, 20};

const DigestEntry writers[] = {
    STREAMS(qvoiEncode_IntraDCVLC_H263_16s1u, bytes, offset, Number{-300, 300}),
    STREAMS(qvoiEncode_ACVLC_H263_16s1u, bytes, offset, levels, flag),
    STREAMS(qvoiEncode_InterVLC_MPEG4_16s1u, bytes, offset, levels),
    STREAMS(qvoiEncode_IntraDCVLC_MPEG4_16s1u, bytes, offset, difference, three),
    STREAMS(qvoiEncode_IntraACVLC_MPEG4_16s1u, bytes, offset, levels, Number{0, 3}, flag),
    STREAMS(qvoiEncodeVLCZigzag_IntraDCVLC_MPEG4_16s1u, bytes, offset, levels, three, three, three),
    STREAMS(qvoiEncodeVLCZigzag_IntraACVLC_MPEG4_16s1u, bytes, offset, levels, three, three),
    STREAMS(qvoiEncodeVLCZigzag_Inter_MPEG4_16s1u, bytes, offset, levels, three),
    STREAMS(qvoiEncodeMV_MPEG4_8u16s, bytes, offset, vectors, vectorsOrNull, vectorsOrNull, vectors, flags, flags,
            flags, flags, Number{1, 7}, Number{0, 5})};

}  // namespace
