// Decoding of compressed video segments: three passes over the codes of thirty blocks.
#include <cstdint>
#include <cstring>

#include "core/arith.h"
#include "dv/huffman.h"
#include "dv/quant.h"
#include "qvovc/internals.h"

using namespace qvovc;

namespace {

constexpr Qvo32s macroblocks = qvoDVSegmentBlocks / qvoDVMacroblockBlocks;
constexpr Qvo32s codedBytes = qvoDVMacroblockBytes - 4;  // of a macroblock: what its six blocks fill
constexpr Qvo32s areaBits[qvoDVMacroblockBlocks] = {112, 112, 112, 112, 80, 80};
constexpr Qvo32s longestCode = 16;
constexpr Qvo32s slack = 8;  // readable bytes behind the last bit

inline Qvo32u load32(const Qvo8u* p) {
    return static_cast<Qvo32u>(p[0]) << 24 | static_cast<Qvo32u>(p[1]) << 16 | static_cast<Qvo32u>(p[2]) << 8 | p[3];
}

inline std::uint64_t load64(const Qvo8u* p) {
    return std::uint64_t{load32(p)} << 32 | load32(p + 4);
}

inline void store32(Qvo8u* p, Qvo32u value) {
    p[0] = static_cast<Qvo8u>(value >> 24);
    p[1] = static_cast<Qvo8u>(value >> 16);
    p[2] = static_cast<Qvo8u>(value >> 8);
    p[3] = static_cast<Qvo8u>(value);
}

// The bits of some bytes from `at` to `end`, and eight readable bytes behind them.
struct Bits {
    const Qvo8u* bytes;
    Qvo32s at;
    Qvo32s end;

    // The next n bits, 1..24.
    Qvo32u peek(Qvo32s n) const { return load32(bytes + (at >> 3)) << (at & 7) >> (32 - n); }
};

// Puts n bits, 1..24, in the place of others.
inline void putBits(Qvo8u* bytes, Qvo32s at, Qvo32u value, Qvo32s n) {
    Qvo8u* const p = bytes + (at >> 3);
    const Qvo32s shift = 32 - n - (at & 7);
    store32(p, (load32(p) & ~(_qvoGetBitsMask[n] << shift)) | value << shift);
}

// A block between the passes. Its state in the report is qvoDVBlockCut until it ends.
struct Block {
    Qvo16s* coefficients;
    QvoDVBlock* report;
    const DvMode* mode;
    const Qvo8u* factors;
    Qvo32s doubling;
    Qvo32s position;   // in the scan, of the next coefficient
    Qvo32u carry;      // the beginning of a code that goes on elsewhere
    Qvo32s carryBits;  // how many bits of it there are, 0..15
};

// Reads the 12 bits in front of a block's codes.
template <bool scaled>
inline void begin(Block& block, Bits& bits) {
    const Qvo32u header = bits.peek(12);
    bits.at += 12;
    QvoDVBlock& report = *block.report;
    report.dctMode = header >> 2 & 1;
    report.classNumber = header & 3;
    report.state = qvoDVBlockCut;
    report.count = 1;
    const Qvo32s dc = static_cast<Qvo32s>(header << 20) >> 23;
    block.coefficients[0] = scaled ? dvUnweightDc(dc) : wrap16(dc);
    block.mode = &dvModes[report.dctMode];
    block.factors = block.mode->factors[dvQuantIndex(report.quantiser, report.classNumber)];
    block.doubling = dvDoubling(report.classNumber);
    block.position = 1;
}

// Reads codes up to the end of the block or of the bits. What stands behind the bits' end may be anything: every code
// has a length, and if that leads beyond the end, then so does the code that begins there.
template <bool scaled>
inline void readCodes(const QvoDVHuffmanTable* pTable, Bits& bits, Block& block) {
    const DvMode& mode = *block.mode;
    Qvo32s position = block.position;
    Qvo32s at = bits.at;
    for (;;) {
        // As many codes as surely fit.
        std::uint64_t window = load64(bits.bytes + (at >> 3)) << (at & 7);
        Qvo32s lastStart = at + 64 - 7 - longestCode;
        do {
            const Qvo32s entry = pTable->find(static_cast<Qvo32u>(window >> 48));
            const Qvo32s length = dvLength(entry);
            if (at + length > bits.end) {
                block.position = position;
                block.report->count = static_cast<Qvo8u>(position);
                block.carryBits = bits.end - at;
                block.carry = static_cast<Qvo32u>(window >> 48) >> (longestCode - block.carryBits);
                bits.at = bits.end;
                return;
            }
            at += length;
            window <<= length;
            const Qvo32s next = position + dvRun(entry);
            if (next > 63) {
                block.report->state = next >= dvEndOfBlock ? qvoDVBlockWhole : qvoDVBlockOverrun;
                block.report->count = static_cast<Qvo8u>(position);
                bits.at = at;
                return;
            }
            const Qvo32s raster = mode.scan[next];
            Qvo16s level = wrap16(dvLevel(entry));
            if constexpr (scaled) {
                level = wrap16(level * (block.factors[raster] << block.doubling));
                level = dvUnweight(level, mode.weights[raster]);
            }
            block.coefficients[raster] = level;
            position = next + 1;
        } while (at <= lastStart);
    }
}

// The bits that blocks have left free, in which others go on; of one macroblock or of the whole segment.
template <Qvo32s byteCount>
class Pool {
  public:
    void take(const Bits& rest) {
        if (closed_) return;
        for (Bits from = rest; from.at < from.end;) {
            const Qvo32s n = from.end - from.at < 24 ? from.end - from.at : 24;
            putBits(bytes_, end_, from.peek(n), n);
            from.at += n;
            end_ += n;
        }
    }

    // Nothing that would come later can be relied on.
    void close() { closed_ = true; }

    // Goes on with the blocks that have not ended. One that has overrun may have had a claim to what comes next.
    template <bool scaled>
    void goOn(const QvoDVHuffmanTable* pTable, Block* blocks, Qvo32s count) {
        for (Qvo32s i = 0; i < count; ++i) {
            if (blocks[i].report->state == qvoDVBlockCut) goOn<scaled>(pTable, blocks[i]);
            if (blocks[i].report->state == qvoDVBlockOverrun) {
                end_ = at_;
                close();
                return;
            }
        }
    }

    Bits rest() const { return {bytes_, at_, end_}; }
    bool closed() const { return closed_; }

  private:
    template <bool scaled>
    void goOn(const QvoDVHuffmanTable* pTable, Block& block) {
        // What the block carries comes first: it takes the place of bits that have been read.
        Bits bits = {bytes_, at_ - block.carryBits, end_};
        if (block.carryBits > 0) putBits(bytes_, bits.at, block.carry, block.carryBits);
        readCodes<scaled>(pTable, bits, block);
        at_ = bits.at;
    }

    Qvo8u bytes_[longestCode / 8 + byteCount + slack] = {};
    Qvo32s at_ = longestCode;  // room for what the first block carries
    Qvo32s end_ = longestCode;
    bool closed_ = false;
};

using MacroblockPool = Pool<codedBytes>;
using SegmentPool = Pool<macroblocks * codedBytes>;

// The first two passes. `bits` begin with the macroblock's header. False where a block has overrun: then there is nothing
// for the third pass to go on with.
template <bool scaled>
bool decodeMacroblock(const QvoDVHuffmanTable* pTable, Bits bits, Block* blocks, SegmentPool& segment) {
    bits.at += 24;
    const Qvo32u status = bits.peek(8);
    bits.at += 8;
    MacroblockPool pool;
    for (Qvo32s i = 0; i < qvoDVMacroblockBlocks; ++i) {
        Block& block = blocks[i];
        block.report->errorStatus = static_cast<Qvo8u>(status >> 4);
        block.report->quantiser = status & 15;
        bits.end = bits.at + areaBits[i];
        begin<scaled>(block, bits);
        readCodes<scaled>(pTable, bits, block);
        if (block.report->state == qvoDVBlockOverrun) {
            pool.close();
        } else {
            pool.take(bits);
        }
        bits.at = bits.end;
    }
    pool.goOn<scaled>(pTable, blocks, qvoDVMacroblockBlocks);
    segment.take(pool.rest());
    return !pool.closed();
}

template <bool scaled>
QvoStatus decodeSegment(const Qvo8u* pSrc, Qvo16s* pDst, QvoDVBlock* pBlocks, const QvoDVHuffmanTable* pTable) {
    if (anyNull(pSrc, pDst, pBlocks, pTable)) return qvoStatusNullPtr;
    Qvo8u bytes[qvoDVSegmentBytes + slack] = {};
    std::memcpy(bytes, pSrc, qvoDVSegmentBytes);
    std::memset(pDst, 0, qvoDVSegmentBlocks * 64 * sizeof(Qvo16s));

    Block blocks[qvoDVSegmentBlocks];
    for (Qvo32s i = 0; i < qvoDVSegmentBlocks; ++i) {
        blocks[i].coefficients = pDst + 64 * i;
        blocks[i].report = pBlocks + i;
    }
    SegmentPool pool;
    Qvo32s reliable = 0;  // blocks before the first macroblock with an overrun
    for (Qvo32s i = 0; i < macroblocks; ++i) {
        const Bits bits = {bytes, i * qvoDVMacroblockBytes * 8, 0};
        const bool sound = decodeMacroblock<scaled>(pTable, bits, blocks + i * qvoDVMacroblockBlocks, pool);
        if (!sound) pool.close();
        if (!pool.closed()) reliable += qvoDVMacroblockBlocks;
    }
    pool.goOn<scaled>(pTable, blocks, reliable);
    return qvoStatusOk;
}

}  // namespace

QvoStatus qvoiDecodeSegment_DV_8u16s(const Qvo8u* pSrc, Qvo16s* pDst, QvoDVBlock* pBlocks,
                                     const QvoDVHuffmanTable* pTable) {
    return decodeSegment<false>(pSrc, pDst, pBlocks, pTable);
}

QvoStatus qvoiDecodeSegmentQuantInv_DV_8u16s(const Qvo8u* pSrc, Qvo16s* pDst, QvoDVBlock* pBlocks,
                                             const QvoDVHuffmanTable* pTable) {
    return decodeSegment<true>(pSrc, pDst, pBlocks, pTable);
}
