// Building and release of the code table.
#include "dv/huffman.h"

#include "qvovc/core.h"

using namespace qvovc;

namespace {

struct Code {
    Qvo8u length;  // without the sign bit
    Qvo8u run;
    Qvo8u amplitude;  // 0: no sign bit follows
};

// In ascending order of their bits. The codes are complete: each begins where the one before ends, the first with zeros.
// Two escapes follow: 1111110 with six bits of run and 1111111 with eight bits of amplitude.
constexpr Code codes[] = {
    {2, 0, 1},   {3, 0, 2},   {4, dvEndOfBlock, 0},
    {4, 1, 1},   {4, 0, 3},   {4, 0, 4},
    {5, 2, 1},   {5, 1, 2},   {5, 0, 5},
    {5, 0, 6},   {6, 3, 1},   {6, 4, 1},
    {6, 0, 7},   {6, 0, 8},   {7, 5, 1},
    {7, 6, 1},   {7, 2, 2},   {7, 1, 3},
    {7, 1, 4},   {7, 0, 9},   {7, 0, 10},
    {7, 0, 11},  {8, 7, 1},   {8, 8, 1},
    {8, 9, 1},   {8, 10, 1},  {8, 3, 2},
    {8, 4, 2},   {8, 2, 3},   {8, 1, 5},
    {8, 1, 6},   {8, 1, 7},   {8, 0, 12},
    {8, 0, 13},  {8, 0, 14},  {8, 0, 15},
    {8, 0, 16},  {8, 0, 17},  {9, 11, 1},
    {9, 12, 1},  {9, 13, 1},  {9, 14, 1},
    {9, 5, 2},   {9, 6, 2},   {9, 3, 3},
    {9, 4, 3},   {9, 2, 4},   {9, 2, 5},
    {9, 1, 8},   {9, 0, 18},  {9, 0, 19},
    {9, 0, 20},  {9, 0, 21},  {9, 0, 22},
    {10, 5, 3},  {10, 3, 4},  {10, 3, 5},
    {10, 2, 6},  {10, 1, 9},  {10, 1, 10},
    {10, 1, 11}, {11, 0, 0},  {11, 1, 0},
    {11, 6, 3},  {11, 4, 4},  {11, 3, 6},
    {11, 1, 12}, {11, 1, 13}, {11, 1, 14},
    {12, 2, 0},  {12, 3, 0},  {12, 4, 0},
    {12, 5, 0},  {12, 7, 2},  {12, 8, 2},
    {12, 9, 2},  {12, 10, 2}, {12, 7, 3},
    {12, 8, 3},  {12, 4, 5},  {12, 3, 7},
    {12, 2, 7},  {12, 2, 8},  {12, 2, 9},
    {12, 2, 10}, {12, 2, 11}, {12, 1, 15},
    {12, 1, 16}, {12, 1, 17},
};

constexpr Qvo32s runEscapeLength = 7 + 6, amplitudeEscapeLength = 7 + 8;

// Fills the table from its beginning to its end.
class Builder {
  public:
    explicit Builder(QvoDVHuffmanTable* table) : table_(table) {}

    void add(Qvo32s length, Qvo32s run, Qvo32s amplitude) {
        if (amplitude == 0) {
            fill(length, run * 256);
            return;
        }
        fill(length + 1, amplitude * 65536 + run * 256);
        fill(length + 1, -amplitude * 65536 + run * 256);
    }

  private:
    void fill(Qvo32s length, Qvo32s entry) {
        const Qvo32u end = bits_ + (0x10000u >> length);
        const Qvo32u step = bits_ < dvLongCodes ? 64 : 1;
        for (; bits_ < end; bits_ += step)
            table_->entries[next_++] = entry + length;
    }

    QvoDVHuffmanTable* table_;
    Qvo32u bits_ = 0;  // the 16 bits whose entry comes next
    Qvo32u next_ = 0;
};

}  // namespace

QvoStatus qvoiHuffmanInitAlloc_DV_32u(QvoDVHuffmanTable** ppTable) {
    if (ppTable == nullptr) return qvoStatusNullPtr;
    auto* const table = reinterpret_cast<QvoDVHuffmanTable*>(qvosMalloc_8u(Qvo32s{sizeof(QvoDVHuffmanTable)}));
    if (table == nullptr) return qvoStatusNoMemory;
    Builder builder(table);
    for (const Code& code : codes)
        builder.add(code.length, code.run, code.amplitude);
    for (Qvo32s run = 0; run < 64; ++run)
        builder.add(runEscapeLength, run, 0);
    for (Qvo32s amplitude = 0; amplitude < 256; ++amplitude)
        builder.add(amplitudeEscapeLength, 0, amplitude);
    *ppTable = table;
    return qvoStatusOk;
}

QvoStatus qvoiHuffmanFree_DV_32u(QvoDVHuffmanTable** ppTable) {
    if (ppTable == nullptr) return qvoStatusNullPtr;
    qvosFree(*ppTable);
    *ppTable = nullptr;
    return qvoStatusOk;
}
