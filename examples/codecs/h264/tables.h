// The codes and tables of H.264 (ITU-T H.264, ISO/IEC 14496-10) that a CAVLC decoder needs.
#ifndef QVOVC_EXAMPLES_H264_TABLES_H
#define QVOVC_EXAMPLES_H264_TABLES_H

#include <array>
#include <cstdint>

namespace codecs::h264 {

// coeff_token (table 9-5) by total_coeff and trailing_ones, as the standard prints the codes; null where there is none.
using CoeffTokenCodes = std::array<std::array<const char*, 4>, 17>;
extern const std::array<CoeffTokenCodes, 3> coeffTokenCodes;  // nC 0..1, 2..3, 4..7
extern const std::array<std::array<const char*, 4>, 5> chromaDcCoeffTokenCodes;

// total_zeros by total_coeff - 1 (tables 9-7, 9-8; for chroma DC 9-9), run_before by zerosLeft - 1 (table 9-10).
extern const std::array<std::array<const char*, 16>, 15> totalZerosCodes;
extern const std::array<std::array<const char*, 4>, 3> chromaDcTotalZerosCodes;
extern const std::array<std::array<const char*, 15>, 7> runBeforeCodes;

// Raster position by scan position (figure 8-8, frame scan).
extern const std::array<std::uint8_t, 16> zigzag;

// coded_block_pattern by codeNum (table 9-4): [0] for Intra 4x4, [1] for inter prediction.
extern const std::array<std::array<std::uint8_t, 48>, 2> codedBlockPatterns;

// QPC by qPI (table 8-15).
extern const std::array<std::uint8_t, 52> chromaQuantisers;

// Thresholds of the deblocking filter (tables 8-16 and 8-17) by indexA or indexB; tC0 by bS - 1.
extern const std::array<std::uint8_t, 52> alphaThresholds;
extern const std::array<std::uint8_t, 52> betaThresholds;
extern const std::array<std::array<std::uint8_t, 3>, 52> clippingThresholds;

}  // namespace codecs::h264

#endif
