// The decoders of MPEG-4 motion vectors over any bits: they may read no further than four bytes behind what they have
// consumed, and must return, with a position that lies behind the one they were given.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "qvovc.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // The first bytes choose what is decoded, and are the vectors around it.
    constexpr std::size_t header = 4 + 12 * sizeof(QvoMotionVector) + 16;
    if (size < header) return 0;
    const int offset0 = data[0] & 7, fcode = 1 + data[0] % 7, fcode2 = 1 + data[1] % 7, mbType = data[2] % 6;
    const int operation = data[3] % 4;
    QvoMotionVector neighbours[3][4], current[4] = {}, other[4] = {};
    std::memcpy(neighbours, data + 4, sizeof neighbours);
    alignas(4) Qvo8u flags[4][4];
    std::memcpy(flags, data + 4 + sizeof neighbours, sizeof flags);
    std::memcpy(current, neighbours[1], sizeof current);

    // Four bytes of slack, none more.
    std::vector<Qvo8u> bits(data + header, data + size);
    bits.resize(bits.size() + 4);
    Qvo8u* position = bits.data();
    const Qvo8u* const end = bits.data() + bits.size() - 4;
    Qvo32s offset = offset0;
    while (position < end) {
        const Qvo8u* const before = position;
        const Qvo32s offsetBefore = offset;
        QvoStatus status;
        if (operation == 0)
            status = qvoiDecodePadMV_PVOP_MPEG4(&position, &offset, neighbours[0], neighbours[1], neighbours[2],
                                                current, flags[0], flags[1], flags[2], flags[3], fcode, mbType);
        else if (operation == 1)
            status = qvoiDecodeMV_BVOP_Interpolate_MPEG4(&position, &offset, &current[0], &current[1], fcode, fcode2);
        else if (operation == 2)
            status = qvoiDecodeMV_BVOP_Backward_MPEG4(&position, &offset, &current[2], fcode);
        else
            status = qvoiDecodeMV_BVOP_Direct_MPEG4(&position, &offset, neighbours[0], current, other, flags[0],
                                                    fcode2, fcode);
        if (offset < 0 || offset > 7 || position < before || (position == before && offset < offsetBefore))
            std::abort();
        if (status != qvoStatusOk || (position == before && offset == offsetBefore)) break;
    }
    return 0;
}
