// The codes, scans, matrices and scales of MPEG-1 and MPEG-2 video.
#ifndef QVOVC_EXAMPLES_MPEG2_TABLES_H
#define QVOVC_EXAMPLES_MPEG2_TABLES_H

#include <qvovc.h>

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

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

struct FreeEncodeTable {
    void operator()(QvoRLEncodeTable* table) const { qvoiFreeRLEncodeTable(&table); }
};
using EncodeTable = std::unique_ptr<QvoRLEncodeTable, FreeEncodeTable>;

// A code to be written, its bits right-aligned. Values without a code have a length of 0.
struct CodeBits {
    Qvo32s bits = 0;
    Qvo32u length = 0;
};

// Lengths of run-level codes with their sign, escapes where there is no code.
struct CoefficientLengths {
    static constexpr int noCode = 41;  // from this level on there are escapes only

    std::array<std::array<std::uint8_t, noCode + 1>, 64> byRunAndLevel;
    std::uint8_t endOfBlock;

    int operator()(int run, int level) const {
        return byRunAndLevel[static_cast<std::size_t>(run)]
                            [static_cast<std::size_t>(level < noCode ? level : noCode)];
    }
};

// The same codes for writing, by value.
struct WriteTables {
    std::array<CodeBits, 36> addressIncrement;
    std::array<std::array<CodeBits, 32>, 4> macroblockTypes;  // by picture_coding_type and MacroblockFlags
    std::array<CodeBits, 64> codedBlockPattern;
    std::array<CodeBits, 33> motionCode;             // by value + 16
    std::array<std::vector<Qvo32s>, 2> dcSizeLists;  // code lists for qvoiPutIntraBlock
    std::array<std::array<CodeBits, 12>, 2> dcSize;
    std::array<EncodeTable, 2> coefficients;
    std::array<CoefficientLengths, 2> lengths;  // of coefficients

    WriteTables();
};

const WriteTables& writeTables();

using Scan = std::array<Qvo32s, 64>;
using Matrix = std::array<Qvo16s, 64>;

// Scans by alternate_scan (13818-2 figures 7-2 and 7-3), in raster order and as the transposed inverse transform wants
// its block: with rows and columns exchanged.
extern const std::array<Scan, 2> scans;
extern const std::array<Scan, 2> transposedScans;

// Default quantiser matrices in raster order (13818-2, 6.3.11).
extern const Matrix defaultIntraMatrix;
extern const Matrix defaultNonIntraMatrix;

// quantiser_scale by q_scale_type and quantiser_scale_code (13818-2 table 7-6).
extern const std::array<std::array<Qvo16s, 32>, 2> quantiserScales;

}  // namespace codecs::mpeg2

#endif
