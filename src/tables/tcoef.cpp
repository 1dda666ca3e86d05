#include "tables/tcoef.h"

#include "tables/tcoef_codes.h"

namespace qvovc {

namespace {

// Enters a code at every value of the 12 bits that begins with it. Where the table tells fewer values apart an entry is
// written more than once, which does no harm.
constexpr void enter(TcoefTable& table, Qvo32u code, Qvo32u length, TcoefEntry entry) {
    const Qvo32u first = code << (12 - length);
    for (Qvo32u bits = first; bits < first + (1u << (12 - length)); ++bits)
        table.entries[tcoefIndex(bits)] = entry;
}

// Enters the events of one value of last, whose codes begin at *codes, and returns where they end.
constexpr const VlcCode* enterEvents(TcoefTable& table, const VlcCode* codes, int last, const Qvo8u* lmax, int runs) {
    for (int run = 0; run < runs; ++run) {
        table.LMAX[last][run] = lmax[run];
        for (int level = 1; level <= lmax[run]; ++level, ++codes) {
            const Qvo32u length = codes->length - 1;
            enter(table, codes->value >> 1, length,
                  {static_cast<Qvo8u>(last), static_cast<Qvo8u>(run), static_cast<Qvo8u>(level),
                   static_cast<Qvo8u>(length)});
            table.RMAX[last][level] = static_cast<Qvo8u>(run + 1);
        }
    }
    return codes;
}

template <int runs0, int runs1>
constexpr TcoefTable build(const VlcCode (&codes)[102], const Qvo8u (&lmax0)[runs0], const Qvo8u (&lmax1)[runs1]) {
    TcoefTable table = {};
    const VlcCode* const codes1 = enterEvents(table, codes, 0, lmax0, runs0);
    enterEvents(table, codes1, 1, lmax1, runs1);
    enter(table, tcoefEscape.value, tcoefEscape.length, {0, 0, tcoefEscapeLevel, tcoefEscape.length});
    return table;
}

}  // namespace

constexpr TcoefTable tableB16 = build(vlc_TB16, LMAX_Intra_0, LMAX_Intra_1);
constexpr TcoefTable tableB17 = build(vlc_TB17, LMAX_Inter_0, LMAX_Inter_1);
constexpr TcoefTable tableI2 = build(vlc_TI2, LMAX_AnnexI_0, LMAX_AnnexI_1);

}  // namespace qvovc
