// Every MPEG-4 block decoder on any bits. The first bytes choose the decoder and its arguments; the rest is the stream,
// which ends with the four readable bytes that the decoders may look ahead. Positions must not leave the stream, a
// failing decoder must not move on, and what a decoder gives must not depend on the byte position it starts from.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "qvovc.h"

namespace {

struct Arguments {
    int decoder, scan, component, QP, block, flags;
};

struct Output {
    std::array<Qvo16s, 64> levels = {};
    std::array<Qvo8u, 64> pixels = {};
    std::array<Qvo16s, 40> row, column;
    QvoStatus status = qvoStatusOk;
    std::ptrdiff_t bitsUsed = 0;
    bool operator==(const Output&) const = default;
};

Output decode(const Arguments& a, std::vector<Qvo8u>& stream, const std::vector<Qvo8u>& matrix, const Qvo8u* pQPs,
              std::size_t start, int offset) {
    Output out;
    for (std::size_t i = 0; i < out.row.size(); ++i) {
        out.row[i] = static_cast<Qvo16s>(16 * matrix[i] - 100);
        out.column[i] = static_cast<Qvo16s>(16 * matrix[i + 20] - 100);
    }
    Qvo8u* position = stream.data() + start;
    Qvo32s bitOffset = offset;
    const Qvo8u* const W = (a.flags & 1) != 0 ? matrix.data() : nullptr;
    const auto intra =
        a.decoder == 5 ? qvoiDecodeBlockCoef_Intra_MPEG4_1u8u : qvoiDecodeBlockCoef_IntraDCOnly_MPEG4_1u8u;
    Qvo16s* const p = out.levels.data();
    switch (a.decoder) {
        case 0:
            out.status = qvoiDecodeVLC_IntraDCVLC_MPEG4_1u16s(&position, &bitOffset, p, a.component);
            break;
        case 1:
            out.status = qvoiDecodeVLCZigzag_IntraDCVLC_MPEG4_1u16s(&position, &bitOffset, p, a.scan, a.component);
            break;
        case 2:
            out.status = qvoiDecodeVLCZigzag_IntraACVLC_MPEG4_1u16s(&position, &bitOffset, p, a.scan);
            break;
        case 3:
            out.status = qvoiDecodeVLCZigzag_Inter_MPEG4_1u16s(&position, &bitOffset, p, a.scan);
            break;
        case 4:
            out.status = qvoiDecodeBlockCoef_Inter_MPEG4_1u16s(&position, &bitOffset, p, a.QP, W);
            break;
        default:
            out.status = intra(&position, &bitOffset, out.pixels.data(), 8, out.row.data() + 16,
                               out.column.data() + 16, a.QP, pQPs, W, a.block, a.flags & 2, a.flags & 4);
    }
    out.bitsUsed = 8 * (position - (stream.data() + start)) + bitOffset - offset;
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t header = 8 + 64;
    if (size < header) return 0;
    const Arguments a = {data[0] % 7, data[1] % 3, data[2] % 3, data[3] % 32, data[4] % 11, data[5]};
    const std::vector<Qvo8u> matrix(data + 8, data + header);
    const int offset = data[0] >> 5;

    // Ones behind the input end any block: they code coefficients until the scan is full. 64 of them take five bits each
    // at most.
    std::vector<Qvo8u> stream(data + header, data + size);
    const std::size_t length = stream.size();
    stream.insert(stream.end(), 48, 255);
    const Output out = decode(a, stream, matrix, data + 6, 0, offset);
    if (out.bitsUsed < 0 || out.bitsUsed > static_cast<std::ptrdiff_t>(8 * (length + 44))) std::abort();
    const bool startsWithDC = a.decoder == 1 || a.decoder == 5;
    if (out.status != qvoStatusOk && out.bitsUsed != 0 && !startsWithDC) std::abort();

    // Once more at another address, with exactly the bytes that a successful decoder may read.
    if (out.status != qvoStatusOk) return 0;
    const std::size_t bytes = static_cast<std::size_t>(std::max<std::ptrdiff_t>(out.bitsUsed + offset, 1) + 7) / 8;
    std::vector<Qvo8u> exact(3 + bytes + 4);
    std::copy_n(stream.begin(), bytes + 4, exact.begin() + 3);
    if (!(decode(a, exact, matrix, data + 6, 3, offset) == out)) std::abort();
    return 0;
}
