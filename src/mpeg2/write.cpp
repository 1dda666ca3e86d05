// Writing of quantised MPEG-2 blocks: the encode table of run-level codes, intra and non-intra blocks.
#include "core/arith.h"
#include "core/bits.h"
#include "mpeg2/vlc.h"
#include "qvovc/core.h"

using namespace qvovc;

namespace {

constexpr Qvo32s runs = 64;
constexpr Qvo32s maxLevel = 2047;

// Length 0 means that there is no code.
struct Code {
    Qvo32u bits;
    Qvo32u length;
};

// The codes of one run: that of level l is codes[first + l - low], l = low .. high.
struct Row {
    Qvo32s low;
    Qvo32s high;
    Qvo32s first;
};

// The codes of levels and runs that the block reconstruction can read back.
bool isPair(const Qvo32s* entry) {
    const Qvo32s run = entry[1];
    const Qvo32s level = entry[2];
    return run >= 0 && run < runs && level >= -128 && level <= 127 && level != 0;
}

}  // namespace

struct QvoRLEncodeTable {
    Code endOfBlock;
    Code escape;
    Row rows[runs];

    // The codes lie behind the table.
    Code* codes() { return reinterpret_cast<Code*>(this + 1); }
    const Code* codes() const { return reinterpret_cast<const Code*>(this + 1); }
};

namespace {

// Finds the range of levels of each run and the two marker codes, and lays the rows out. Returns the number of codes
// that they span.
Qvo32s layOut(const Qvo32s* list, QvoRLEncodeTable& table) {
    table.endOfBlock = {0, 0};
    table.escape = {0, 0};
    for (Row& row : table.rows)
        row = {0, 0, 0};
    forEachCode<3>(list, [&](const Qvo32s* entry, Qvo32s length) {
        const Code code = {static_cast<Qvo32u>(entry[0]), static_cast<Qvo32u>(length)};
        if (entry[1] == qvoRunEndOfBlock) table.endOfBlock = code;
        if (entry[1] == qvoRunEscape) table.escape = code;
        if (!isPair(entry)) return;
        Row& row = table.rows[entry[1]];
        if (entry[2] < row.low) row.low = entry[2];
        if (entry[2] > row.high) row.high = entry[2];
    });
    Qvo32s count = 0;
    for (Row& row : table.rows) {
        row.first = count;
        count += row.high - row.low + 1;
    }
    return count;
}

// A word-stream writing position held in locals while a block is written.
struct Writer {
    Qvo32u* word;
    Qvo32u bitsLeft;

    void put(Qvo32u bits, Qvo32u length) { putBitsLeftMost(&word, &bitsLeft, bits, length); }
    void put(const Code& code) { put(code.bits, code.length); }
};

void putPair(Writer& writer, const QvoRLEncodeTable& table, Qvo32s run, Qvo32s level) {
    const Row& row = table.rows[run];
    if (level >= row.low && level <= row.high) {
        const Code& code = table.codes()[row.first + level - row.low];
        if (code.length != 0) {
            writer.put(code);
            return;
        }
    }
    writer.put(table.escape);
    writer.put(static_cast<Qvo32u>(run << 12 | (level & 0xFFF)), 18);
}

// Writes `count` levels from the scan index on, and the end of the block.
void putCoefficients(Writer& writer, const QvoRLEncodeTable& table, const Qvo16s* pSrc, const Qvo32s* scan,
                     Qvo32s index, Qvo32u count) {
    Qvo32s run = 0;
    for (; index < 64 && count != 0; ++index) {
        const Qvo32s level = pSrc[scan[index]];
        if (level == 0) {
            ++run;
            continue;
        }
        putPair(writer, table, run, level);
        run = 0;
        --count;
    }
    writer.put(table.endOfBlock);
}

template <Qvo32s first>
bool levelsFitEscape(const Qvo16s* pSrc) {
    Qvo32s outside = 0;
    for (Qvo32s i = first; i < 64; ++i)
        outside |= pSrc[i] < -maxLevel || pSrc[i] > maxLevel;
    return outside == 0;
}

bool isZero(const Qvo16s* pSrc) {
    Qvo32s bits = 0;
    for (Qvo32s i = 0; i < 64; ++i)
        bits |= pSrc[i];
    return bits == 0;
}

// The number of bits of a DC difference: those of its magnitude.
Qvo32s sizeOf(Qvo32s difference) {
    Qvo32s size = 0;
    for (Qvo32s magnitude = difference < 0 ? -difference : difference; magnitude != 0; magnitude >>= 1)
        ++size;
    return size;
}

Code findSizeCode(const Qvo32s* list, Qvo32s size) {
    Code code = {0, 0};
    forEachCode<2>(list, [&](const Qvo32s* entry, Qvo32s length) {
        if (entry[1] == size) code = {static_cast<Qvo32u>(entry[0]), static_cast<Qvo32u>(length)};
    });
    return code;
}

}  // namespace

QvoStatus qvoiCreateRLEncodeTable(const Qvo32s* pInputTable, QvoRLEncodeTable** ppTable) {
    if (anyNull(pInputTable, ppTable)) return qvoStatusNullPtr;
    QvoRLEncodeTable layout;
    const Qvo32s count = layOut(pInputTable, layout);
    if (layout.endOfBlock.length == 0 || layout.escape.length == 0) return qvoStatusBadArg;
    auto* const table = reinterpret_cast<QvoRLEncodeTable*>(
        qvosMalloc_8u(Qvo32s{sizeof(QvoRLEncodeTable)} + count * Qvo32s{sizeof(Code)}));
    if (table == nullptr) return qvoStatusNoMemory;
    *table = layout;
    Code* const codes = table->codes();
    for (Qvo32s i = 0; i < count; ++i)
        codes[i] = {0, 0};
    forEachCode<3>(pInputTable, [&](const Qvo32s* entry, Qvo32s length) {
        if (!isPair(entry)) return;
        const Row& row = table->rows[entry[1]];
        codes[row.first + entry[2] - row.low] = {static_cast<Qvo32u>(entry[0]), static_cast<Qvo32u>(length)};
    });
    *ppTable = table;
    return qvoStatusOk;
}

QvoStatus qvoiFreeRLEncodeTable(QvoRLEncodeTable** ppTable) {
    if (ppTable == nullptr) return qvoStatusNullPtr;
    qvosFree(*ppTable);
    *ppTable = nullptr;
    return qvoStatusOk;
}

QvoStatus qvoiPutIntraBlock(Qvo32u** ppBitStream, Qvo32u* pBitsLeft, const Qvo16s* pSrc, Qvo16s* pDCPred,
                            const Qvo32s* pDCSizeList, const QvoRLEncodeTable* pEncodeTable,
                            const Qvo32s* pScanMatrix, Qvo32u count) {
    if (anyNull(ppBitStream, pBitsLeft, pSrc, pDCPred, pDCSizeList, pEncodeTable, pScanMatrix) ||
        *ppBitStream == nullptr) {
        return qvoStatusNullPtr;
    }
    const Qvo32s difference = pSrc[0] - *pDCPred;
    const Qvo32s size = sizeOf(difference);
    const Code sizeCode = findSizeCode(pDCSizeList, size);
    if (sizeCode.length == 0 || !levelsFitEscape<1>(pSrc)) return qvoStatusBadArg;

    Writer writer{*ppBitStream, *pBitsLeft};
    writer.put(sizeCode);
    if (size != 0) {
        // A negative difference is written less 1, which leaves its first bit 0.
        writer.put(static_cast<Qvo32u>(difference - (difference < 0)), static_cast<Qvo32u>(size));
    }
    putCoefficients(writer, *pEncodeTable, pSrc, pScanMatrix, 1, count);
    *pDCPred = pSrc[0];
    *ppBitStream = writer.word;
    *pBitsLeft = writer.bitsLeft;
    return qvoStatusOk;
}

QvoStatus qvoiPutNonIntraBlock(Qvo32u** ppBitStream, Qvo32u* pBitsLeft, const Qvo16s* pSrc,
                               const QvoRLEncodeTable* pEncodeTable, const Qvo32s* pScanMatrix, Qvo32u count) {
    if (anyNull(ppBitStream, pBitsLeft, pSrc, pEncodeTable, pScanMatrix) || *ppBitStream == nullptr) {
        return qvoStatusNullPtr;
    }
    if (!levelsFitEscape<0>(pSrc) || count == 0 || isZero(pSrc)) return qvoStatusBadArg;

    Writer writer{*ppBitStream, *pBitsLeft};
    const Qvo32s first = pSrc[pScanMatrix[0]];
    const bool shortFirst = first == 1 || first == -1;
    if (shortFirst) writer.put(first == 1 ? 0b10 : 0b11, 2);
    putCoefficients(writer, *pEncodeTable, pSrc, pScanMatrix, shortFirst, count - shortFirst);
    *ppBitStream = writer.word;
    *pBitsLeft = writer.bitsLeft;
    return qvoStatusOk;
}
