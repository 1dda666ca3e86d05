// Tables of variable-length codes: building, decoding of single codes, release.
#include "mpeg2/vlc.h"

#include "core/arith.h"
#include "qvovc/core.h"

using namespace qvovc;

namespace {

constexpr Qvo32s plainWords = 16384;
constexpr Qvo32s runLevelWords = 262144;

constexpr Qvo32s emptyEntry = qvoVlcInvalid * 256 + 1;
constexpr Qvo32s pointerMark = 128;

class Builder {
  public:
    Builder(QvoVlcTable* table, const Qvo32s* widths, Qvo32s levels)
        : table_(table), widths_(widths), levels_(levels) {
        table[0] = widths[0];
        nextFree_ = (1 << widths[0]) + 1;
    }

    // Enters a code of the given length; leaf is its entry with an empty length field.
    void insert(Qvo32u code, Qvo32s length, Qvo32s leaf) {
        Qvo32s* entries = table_ + 1;
        Qvo32s left = length;  // bits of the code not placed yet
        for (Qvo32s level = 0; level < levels_; ++level) {
            const Qvo32s width = widths_[level];
            if (left <= width) {
                fill(entries, code & _qvoGetBitsMask[left], width - left, leaf);
                return;
            }
            left -= width;
            if (level + 1 < levels_) {
                Qvo32s& entry = entries[(code >> left) & _qvoGetBitsMask[width]];
                if (entry == emptyEntry) entry = newSubTable(widths_[level + 1]);
                entries = table_ + (entry >> 8) + 1;
            }
        }
    }

  private:
    static void fill(Qvo32s* entries, Qvo32u bits, Qvo32s unused, Qvo32s leaf) {
        const Qvo32u first = bits << unused;
        for (Qvo32u i = 0; i < 1u << unused; ++i)
            entries[first + i] = leaf + unused;
    }

    Qvo32s newSubTable(Qvo32s width) {
        const Qvo32s header = nextFree_;
        table_[header] = width;
        nextFree_ += (1 << width) + 1;
        return header * 256 + pointerMark;
    }

    QvoVlcTable* table_;
    const Qvo32s* widths_;
    Qvo32s levels_;
    Qvo32s nextFree_;
};

Qvo32s plainLeaf(const Qvo32s* entry) {
    return entry[1] * 256;
}

Qvo32s runLevelLeaf(const Qvo32s* entry) {
    return entry[2] * 65536 + (entry[1] & 255) * 256;
}

template <Qvo32s tableWords, Qvo32s entryWords, Qvo32s (*leaf)(const Qvo32s*)>
QvoStatus build(const Qvo32s* pInputTable, QvoVlcTable** ppTable) {
    if (anyNull(pInputTable, ppTable)) return qvoStatusNullPtr;
    auto* const table = reinterpret_cast<QvoVlcTable*>(qvosMalloc_8u(tableWords * Qvo32s{sizeof(QvoVlcTable)}));
    if (table == nullptr) return qvoStatusNoMemory;
    *ppTable = table;
    for (Qvo32s i = 0; i < tableWords; ++i)
        table[i] = emptyEntry;

    Builder builder(table, pInputTable + 2, pInputTable[1]);
    forEachCode<entryWords>(pInputTable, [&](const Qvo32s* entry, Qvo32s length) {
        builder.insert(static_cast<Qvo32u>(entry[0]), length, leaf(entry));
    });
    return qvoStatusOk;
}

}  // namespace

QvoStatus qvoiVCHuffmanInitAlloc_32s(const Qvo32s* pInputTable, QvoVlcTable** ppTable) {
    return build<plainWords, 2, plainLeaf>(pInputTable, ppTable);
}

QvoStatus qvoiVCHuffmanInitAllocRL_32s(const Qvo32s* pInputTable, QvoVlcTable** ppTable) {
    return build<runLevelWords, 3, runLevelLeaf>(pInputTable, ppTable);
}

QvoStatus qvoiVCHuffmanDecodeOne_1u32s(Qvo32u** ppBitStream, Qvo32s* pOffset, Qvo32s* pDst,
                                       const QvoVlcTable* pTable) {
    if (anyNull(ppBitStream, pTable) || *ppBitStream == nullptr) return qvoStatusNullPtr;
    WordReader bits(*ppBitStream, *pOffset);
    const Qvo32s value = VlcReader(pTable).readValue(bits);
    bits.store(ppBitStream, pOffset);
    *pDst = value;
    return value == qvoVlcInvalid ? qvoStatusVlcError : qvoStatusOk;
}

QvoStatus qvoiVCHuffmanFree_32s(QvoVlcTable** ppTable) {
    if (ppTable == nullptr) return qvoStatusNullPtr;
    qvosFree(*ppTable);
    *ppTable = nullptr;
    return qvoStatusOk;
}
