// Forward quantisation of MPEG-4 and H.263, and transform-reconstruct.
#include <optional>

#include "digest/digest.h"
#include "mpeg4/weights.h"

namespace {

using namespace drawn;

// A weighting record; in half of the calls there is none.
struct Record {
    std::optional<WeightRecord> record = {};
    const Qvo32s* draw(Random& random) {
        record.emplace(random);
        return random.chance(50) ? record->data() : nullptr;
    }
    void addTo(Digest&) const {}
} record;

const Words block{64, -1900, 1900}, levels{64, 0, 0}, neighbours{16, -20, 60, 8};
const Number QP{1, 31}, anyQP{1, 500}, component{0, 9};
const Factors factors;
const Memory<Qvo32s> last{1, 99, 99};

const DigestEntry quantisers[] = {QUANTISES(qvoiQuantIntra_MPEG4_16s_I, block, QP, component, record),
                                  QUANTISES(qvoiQuantInter_MPEG4_16s_I, block, QP, record),
                                  QUANTISES(qvoiQuantIntra_MPEG4_16s_C1I, block, anyQP, factors, last),
                                  QUANTISES(qvoiQuant_MPEG4_16s_C1I, block, anyQP, factors, last),
                                  QUANTISES(qvoiQuantIntra_H263_C1I, block, anyQP, last),
                                  QUANTISES(qvoiQuant_H263_C1I, block, anyQP, last)};

const DigestEntry transRec[] = {
    CALLS(qvoiTransRecBlockCoef_inter_MPEG4, Words{64, -255, 255}, levels, levels, QP, record),
    CALLS(qvoiTransRecBlockCoef_intra_MPEG4, Bytes{64, 0, 255}, levels, Bytes{64, 0, 0}, neighbours, neighbours,
          Words{8, 0, 0}, Memory<Qvo32s>{1, qvoACPredictionOff, 0}, component, QP, Bytes{2, 1, 31}, Number{8, 8},
          Number{8, 8}, record)};

}  // namespace
