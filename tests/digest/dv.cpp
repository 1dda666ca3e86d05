#include "digest/digest.h"
#include "dv/encoder.h"

namespace {

const DigestEntry segments("qvoiDecodeSegment_DV", [](Digest& digest, Random& random) {
    const dv::Table table;
    for (int i = 0; i < 600; ++i) {
        std::vector<std::uint8_t> bytes =
            dv::encode(dv::randomSegment(random, random.range(500, 3000)), random).bytes;
        if (i % 3 == 0) random.fill(bytes, 0, 255);
        Qvo16s blocks[30 * 64];
        QvoDVBlock reports[30];
        (i % 2 ? qvoiDecodeSegment_DV_8u16s : qvoiDecodeSegmentQuantInv_DV_8u16s)(bytes.data(), blocks, reports,
                                                                                  table);
        digest.addAll(blocks, 30 * 64);
        for (const QvoDVBlock& report : reports) {
            for (const int value : {report.dctMode, report.classNumber, report.quantiser, report.errorStatus,
                                    report.state, report.count})
                digest.add(value);
        }
    }
});

const drawn::Words block{64, -32768, 32767};
const drawn::Number quantiser{0, 15}, classNumber{0, 3}, mode{0, 1};

const DigestEntry quantisers[] = {CALLS(qvoiQuantInv_DV_16s_C1I, block, quantiser, classNumber, mode),
                                  CALLS(qvoiQuantInvWeight_DV_16s_C1I, block, quantiser, classNumber, mode)};

}  // namespace
