// Every H.263 block and vector decoder on any bits. The first bytes choose the decoder and its arguments; the rest is the
// stream, which ends with the four readable bytes that the decoders may look ahead. Positions must not leave the stream,
// and what a decoder gives must not depend on the byte position it starts from.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "qvovc.h"

namespace {

struct Arguments {
    int decoder, QP, direction, modQuant, mvMode, mbType, flags;
};

struct Output {
    std::array<Qvo16s, 64> block = {};
    std::array<Qvo8u, 64> pixels = {};
    std::array<Qvo16s, 8> row, column;
    std::array<Qvo16s, 8> vectors = {};
    Qvo32s length = 0;
    QvoStatus status = qvoStatusOk;
    std::ptrdiff_t bitsUsed = 0;
    bool operator==(const Output&) const = default;
};

Output decode(const Arguments& a, std::vector<Qvo8u>& stream, const std::uint8_t* material, std::size_t start,
              int offset) {
    Output out;
    for (std::size_t i = 0; i < 8; ++i) {
        out.row[i] = static_cast<Qvo16s>(16 * material[i] - 2048);
        out.column[i] = static_cast<Qvo16s>(16 * material[8 + i] - 2048);
    }
    std::array<QvoMotionVector, 12> around;
    for (std::size_t i = 0; i < around.size(); ++i)
        around[i] = {static_cast<Qvo16s>(material[i] * 257), static_cast<Qvo16s>(material[15 - i] * 257)};
    const auto neighbour = [&](std::size_t i) { return (a.flags >> i & 1) != 0 ? &around[4 * i] : nullptr; };

    Qvo8u* position = stream.data() + start;
    Qvo32s bitOffset = offset;
    Qvo8u** const p = &position;
    Qvo32s* const o = &bitOffset;
    Qvo16s* const block = out.block.data();
    Qvo8u* const pixels = out.pixels.data();
    switch (a.decoder) {
        case 0:
            out.status = qvoiDecodeVLC_IntraDC_H263_1u16s(p, o, block);
            break;
        case 1:
            out.status = qvoiDecodeVLC_Intra_H263_1u16s(p, o, block, &out.length, a.modQuant);
            break;
        case 2:
            out.status = qvoiDecodeVLC_Inter_H263_1u16s(p, o, block, &out.length, a.modQuant);
            break;
        case 3:
            out.status = qvoiDecodeVLCZigzag_Intra_H263_1u16s(p, o, block, a.modQuant);
            break;
        case 4:
            out.status = qvoiDecodeVLCZigzag_Inter_H263_1u16s(p, o, block, a.modQuant);
            break;
        case 5:
            out.status = qvoiDecodeVLCZigzag_IntraAIC_H263_1u16s(p, o, block, a.direction, a.modQuant);
            break;
        case 6:
            out.status = qvoiDecodeCoef_Intra_H263_1u16s(p, o, block, a.QP, a.modQuant);
            break;
        case 7:
            out.status = qvoiDecodeCoef_Inter_H263_1u16s(p, o, block, a.QP, a.modQuant);
            break;
        case 8:
            out.status = qvoiDecodeBlockCoef_Inter_H263_1u16s(p, o, block, a.QP, a.modQuant);
            break;
        case 9:
            out.status = qvoiDecodeBlockCoef_Intra_H263_1u8u(p, o, pixels, 8, a.QP, a.modQuant);
            break;
        case 10:
            out.status = qvoiDecodeBlockCoef_IntraDCOnly_H263_1u8u(p, o, pixels, 8);
            break;
        case 11:
            out.status = qvoiDecodeBlockCoef_IntraAIC_H263_1u8u(p, o, pixels, 8, out.row.data(), out.column.data(),
                                                                a.QP, a.direction, a.flags & 1, a.modQuant);
            break;
        default: {
            std::array<QvoMotionVector, 4> current = {};
            out.status =
                qvoiDecodeMV_H263(p, o, neighbour(0), neighbour(1), neighbour(2), current.data(), a.mvMode, a.mbType);
            for (std::size_t i = 0; i < 4; ++i) {
                out.vectors[2 * i] = current[i].dx;
                out.vectors[2 * i + 1] = current[i].dy;
            }
        }
    }
    out.bitsUsed = 8 * (position - (stream.data() + start)) + bitOffset - offset;
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t header = 8 + 16;
    if (size < header) return 0;
    const Arguments a = {data[0] % 13, data[1] % 33, data[2] % 5, data[3] & 1, data[4] % 4, data[5] % 6, data[6]};
    const int offset = data[0] >> 5;

    // Ones behind the input end any block, and zeros behind those any vector: whatever is decoded ends among them.
    std::vector<Qvo8u> stream(data + header, data + size);
    const std::size_t length = stream.size();
    stream.insert(stream.end(), 48, 255);
    stream.insert(stream.end(), 8, 0);
    const Output out = decode(a, stream, data + 8, 0, offset);
    if (out.bitsUsed < 0 || out.bitsUsed > static_cast<std::ptrdiff_t>(8 * (length + 48))) std::abort();

    // Once more at another address, with exactly the bytes that a successful decoder may read.
    if (out.status != qvoStatusOk) return 0;
    const std::size_t bytes = static_cast<std::size_t>(std::max<std::ptrdiff_t>(out.bitsUsed + offset, 1) + 7) / 8;
    std::vector<Qvo8u> exact(3 + bytes + 4);
    std::copy_n(stream.begin(), bytes + 4, exact.begin() + 3);
    if (!(decode(a, exact, data + 8, 3, offset) == out)) std::abort();
    return 0;
}
