// The segment decoders: any 400 bytes. The blocks keep to their bounds, and the form that scales gives what the one
// that does not gives and inverse quantisation makes of it.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "qvovc.h"

namespace {

void require(bool condition) {
    if (!condition) std::abort();
}

struct Table {
    Table() { qvoiHuffmanInitAlloc_DV_32u(&table); }
    ~Table() { qvoiHuffmanFree_DV_32u(&table); }
    QvoDVHuffmanTable* table = nullptr;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Table table;
    // Memory of exactly this size, so that a read beyond it is seen.
    std::vector<Qvo8u> bytes(qvoDVSegmentBytes);
    for (std::size_t i = 0; i < bytes.size() && size > 0; ++i)
        bytes[i] = data[i % size];
    std::vector<Qvo16s> levels(qvoDVSegmentBlocks * 64), scaled(levels);
    std::vector<QvoDVBlock> reports(qvoDVSegmentBlocks), again(reports);
    require(qvoiDecodeSegment_DV_8u16s(bytes.data(), levels.data(), reports.data(), table.table) == qvoStatusOk);
    require(qvoiDecodeSegmentQuantInv_DV_8u16s(bytes.data(), scaled.data(), again.data(), table.table) ==
            qvoStatusOk);
    for (std::size_t i = 0; i < reports.size(); ++i) {
        const QvoDVBlock& report = reports[i];
        require(report.state <= qvoDVBlockOverrun && report.count >= 1 && report.count <= 64);
        require(report.state == again[i].state && report.count == again[i].count);
        Qvo16s* const block = levels.data() + 64 * i;
        require(std::count_if(block, block + 64, [](Qvo16s v) { return v != 0; }) <= report.count);
        qvoiQuantInvWeight_DV_16s_C1I(block, report.quantiser, report.classNumber, report.dctMode);
        require(std::equal(block, block + 64, scaled.data() + 64 * i));
    }
    return 0;
}
