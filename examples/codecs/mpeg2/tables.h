// The codes, scans, matrices and scales of MPEG-1 and MPEG-2 video.
#ifndef QVOVC_EXAMPLES_MPEG2_TABLES_H
#define QVOVC_EXAMPLES_MPEG2_TABLES_H

#include <qvovc.h>

#include <array>
#include <memory>

namespace codecs::mpeg2 {

struct FreeVlcTable {
    void operator()(QvoVlcTable* table) const { qvoiVCHuffmanFree_32s(&table); }
};
using VlcTable = std::unique_ptr<QvoVlcTable, FreeVlcTable>;

// Values of macroblock_address_increment besides 1..33.
constexpr Qvo32s addressEscape = 34;
constexpr Qvo32s addressStuffing = 35;

// Values of macroblock_type: any of these together.
enum MacroblockFlags : int { mbIntra = 1, mbPattern = 2, mbBackward = 4, mbForward = 8, mbQuant = 16 };

// Runs with a meaning of their own in the run-level tables.
constexpr int runEndOfBlock = 254;
constexpr int runEscape = 255;

// The decoding tables, named by the tables of ISO/IEC 13818-2, Annex B. MPEG-1 has the same codes where it has the
// syntax element at all.
struct CodeTables {
    VlcTable addressIncrement;                // B.1
    std::array<VlcTable, 4> macroblockTypes;  // B.2 to B.4, by picture_coding_type
    VlcTable codedBlockPattern;               // B.9
    VlcTable motionCode;                      // B.10, with sign
    VlcTable dmvector;                        // B.11
    std::array<VlcTable, 2> dcSize;           // B.12 luminance, B.13 chrominance
    std::array<VlcTable, 2> coefficients;     // B.14 (DCT table zero), B.15 (table one)

    CodeTables();
};

// Built on first use and never changed, so that all decoders share them.
const CodeTables& codeTables();

using Scan = std::array<Qvo32s, 64>;
using Matrix = std::array<Qvo16s, 64>;

// Scans by alternate_scan (13818-2 figures 7-2 and 7-3), as the transposed inverse transform wants its block: with
// rows and columns exchanged.
extern const std::array<Scan, 2> transposedScans;

// Default quantiser matrices in raster order (13818-2, 6.3.11).
extern const Matrix defaultIntraMatrix;
extern const Matrix defaultNonIntraMatrix;

// quantiser_scale by q_scale_type and quantiser_scale_code (13818-2 table 7-6).
extern const std::array<std::array<Qvo16s, 32>, 2> quantiserScales;

}  // namespace codecs::mpeg2

#endif
