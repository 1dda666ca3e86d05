#include "mpeg2/headers.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numeric>

namespace codecs::mpeg2 {

namespace {

// Matrices are always transmitted in zigzag order, whatever scan the pictures use.
void readMatrix(BitReader& bits, Matrix& matrix) {
    for (const Qvo32s position : transposedScans[0]) {
        const Qvo32u weight = bits.get(8);
        if (weight == 0) throw Damage{};
        matrix[static_cast<std::size_t>(position)] = static_cast<Qvo16s>(weight);
    }
}

Matrix transposed(const Matrix& matrix) {
    Matrix result;
    for (std::size_t i = 0; i < 64; ++i)
        result[i] = matrix[(i % 8) * 8 + i / 8];
    return result;
}

struct Ratio {
    int numerator;
    int denominator;
};

// frame_rate_code (13818-2 table 6-4).
constexpr std::array<Ratio, 9> frameRates = {
    {{25, 1}, {24000, 1001}, {24, 1}, {25, 1}, {30000, 1001}, {30, 1}, {50, 1}, {60000, 1001}, {60, 1}}};

// Height by width of one sample, times 10000, by pel_aspect_ratio of MPEG-1 (11172-2, 2.4.3.2).
constexpr std::array<int, 15> pelAspects = {0,    10000, 6735,  7031,  7615,  8055,  8437, 8935,
                                            9157, 9815,  10255, 10695, 10950, 11575, 12015};

// Aspect of the displayed picture by aspect_ratio_information of MPEG-2 (13818-2 table 6-3), from 2 on.
constexpr std::array<Ratio, 3> displayAspects = {{{4, 3}, {16, 9}, {221, 100}}};

Ratio sampleAspect(const SequenceHeader& sequence) {
    if (!sequence.mpeg2) {
        if (sequence.aspect < 1 || sequence.aspect > 14) return {0, 0};
        return {10000, pelAspects[static_cast<std::size_t>(sequence.aspect)]};
    }
    if (sequence.aspect == 1) return {1, 1};
    if (sequence.aspect < 2 || sequence.aspect > 4) return {0, 0};
    const Ratio display = displayAspects[static_cast<std::size_t>(sequence.aspect - 2)];
    const bool hasDisplay = sequence.displayWidth > 0 && sequence.displayHeight > 0;
    const int width = hasDisplay ? sequence.displayWidth : sequence.width;
    const int height = hasDisplay ? sequence.displayHeight : sequence.height;
    return {display.numerator * height, display.denominator * width};
}

Ratio reduced(Ratio ratio) {
    const int divisor = std::max(std::gcd(ratio.numerator, ratio.denominator), 1);
    return {ratio.numerator / divisor, ratio.denominator / divisor};
}

// profile_and_level_indication (13818-2, 8.1), in words.
std::string profileName(int profileAndLevel) {
    if (profileAndLevel & 0x80) return "";
    std::string name;
    switch (profileAndLevel >> 4) {
        case 1:
            name = "High";
            break;
        case 2:
            name = "Spatially Scalable";
            break;
        case 3:
            name = "SNR Scalable";
            break;
        case 4:
            name = "Main";
            break;
        case 5:
            name = "Simple";
            break;
        default:
            return "";
    }
    switch (profileAndLevel & 15) {
        case 4:
            return name + ", High level";
        case 6:
            return name + ", High 1440 level";
        case 8:
            return name + ", Main level";
        case 10:
            return name + ", Low level";
        default:
            return name;
    }
}

}  // namespace

Matrices::Matrices() : intra(transposed(defaultIntraMatrix)), nonIntra(defaultNonIntraMatrix) {}

SequenceHeader readSequenceHeader(BitReader& bits, Matrices& matrices) {
    SequenceHeader sequence;
    sequence.width = bits.getInt(12);
    sequence.height = bits.getInt(12);
    sequence.aspect = bits.getInt(4);
    sequence.frameRate = bits.getInt(4);
    sequence.bitRate = bits.getInt(18);
    bits.skip(1);
    sequence.bufferSize = bits.getInt(10);
    bits.skip(1);  // constrained_parameters_flag
    Matrices loaded;
    if (bits.flag()) readMatrix(bits, loaded.intra);
    if (bits.flag()) readMatrix(bits, loaded.nonIntra);
    if (bits.pastEnd()) throw Damage{};
    matrices = loaded;
    return sequence;
}

void readSequenceExtension(BitReader& bits, SequenceHeader& sequence) {
    const int profileAndLevel = bits.getInt(8);
    const bool progressive = bits.flag();
    const int chromaFormat = bits.getInt(2);
    const int widthExtension = bits.getInt(2);
    const int heightExtension = bits.getInt(2);
    const int bitRateExtension = bits.getInt(12);
    bits.skip(1);
    const int bufferSizeExtension = bits.getInt(8);
    const bool lowDelay = bits.flag();
    const int rateN = bits.getInt(2);
    const int rateD = bits.getInt(5);
    if (bits.pastEnd()) throw Damage{};
    if (chromaFormat == 2) throw UnsupportedStream("MPEG-2 video with 4:2:2 chroma is not supported");
    if (chromaFormat == 3) throw UnsupportedStream("MPEG-2 video with 4:4:4 chroma is not supported");
    if (chromaFormat == 0) throw Damage{};

    sequence.mpeg2 = true;
    sequence.profileAndLevel = profileAndLevel;
    sequence.progressive = progressive;
    sequence.width += widthExtension << 12;
    sequence.height += heightExtension << 12;
    sequence.bitRate += static_cast<long>(bitRateExtension) << 18;
    sequence.bufferSize += bufferSizeExtension << 10;
    sequence.lowDelay = lowDelay;
    sequence.frameRateExtensionN = rateN;
    sequence.frameRateExtensionD = rateD;
}

void readSequenceDisplayExtension(BitReader& bits, SequenceHeader& sequence) {
    bits.skip(3);                    // video_format
    if (bits.flag()) bits.skip(24);  // colour description
    const int width = bits.getInt(14);
    bits.skip(1);
    const int height = bits.getInt(14);
    if (bits.pastEnd()) throw Damage{};
    sequence.displayWidth = width;
    sequence.displayHeight = height;
}

void readQuantMatrixExtension(BitReader& bits, Matrices& matrices) {
    // The chroma matrices that may follow are for other formats than 4:2:0.
    Matrices loaded = matrices;
    if (bits.flag()) readMatrix(bits, loaded.intra);
    if (bits.flag()) readMatrix(bits, loaded.nonIntra);
    if (bits.pastEnd()) throw Damage{};
    matrices = loaded;
}

GroupHeader readGroupHeader(BitReader& bits) {
    bits.skip(25);  // time_code
    return {bits.flag()};
}

PictureHeader readPictureHeader(BitReader& bits) {
    PictureHeader picture;
    bits.skip(10);  // temporal_reference: coding order and type give the display order
    const int type = bits.getInt(3);
    if (type < 1 || type > 4) throw Damage{};
    picture.type = static_cast<PictureType>(type);
    bits.skip(16);  // vbv_delay
    const int directions = type == 2 ? 1 : type == 3 ? 2 : 0;
    for (std::size_t s = 0; s < static_cast<std::size_t>(directions); ++s) {
        picture.fullPel[s] = bits.flag();
        const int fCode = bits.getInt(3);
        picture.fCode[s] = {fCode, fCode};
    }
    if (bits.pastEnd()) throw Damage{};
    return picture;
}

void readPictureCodingExtension(BitReader& bits, PictureHeader& picture) {
    PictureHeader result = picture;
    for (auto& direction : result.fCode) {
        for (int& fCode : direction)
            fCode = bits.getInt(4);
    }
    result.fullPel = {};
    result.intraDcPrecision = bits.getInt(2);
    const int structure = bits.getInt(2);
    result.topFieldFirst = bits.flag();
    result.framePredFrameDct = bits.flag();
    result.concealmentVectors = bits.flag();
    result.nonLinearScale = bits.flag();
    result.intraVlcFormat = bits.flag();
    result.alternateScan = bits.flag();
    bits.skip(2);  // repeat_first_field, chroma_420_type
    result.progressiveFrame = bits.flag();
    if (structure == 0 || bits.pastEnd()) throw Damage{};
    result.structure = static_cast<PictureStructure>(structure);
    result.hasCodingExtension = true;
    // In field pictures every prediction is of fields, and there is no choice of field or frame DCT.
    if (result.isField()) result.framePredFrameDct = false;
    picture = result;
}

void refuseScalability(BitReader& bits) {
    const Qvo32u mode = bits.get(2);
    if (bits.pastEnd()) throw Damage{};
    switch (mode) {
        case 0:
            throw UnsupportedStream("MPEG-2 video with data partitioning is not supported");
        case 1:
            throw UnsupportedStream("MPEG-2 video with spatial scalability is not supported");
        case 2:
            throw UnsupportedStream("MPEG-2 video with SNR scalability is not supported");
        default:
            throw UnsupportedStream("MPEG-2 video with temporal scalability is not supported");
    }
}

bool setFrameRate(SequenceHeader& sequence, int numerator, int denominator) {
    for (int d = 0; d < 32; ++d) {
        for (int n = 0; n < 4; ++n) {
            for (std::size_t code = 1; code < frameRates.size(); ++code) {
                const Ratio base = frameRates[code];
                if (std::int64_t{base.numerator} * (n + 1) * denominator !=
                    std::int64_t{base.denominator} * (d + 1) * numerator)
                    continue;
                sequence.frameRate = static_cast<int>(code);
                sequence.frameRateExtensionN = n;
                sequence.frameRateExtensionD = d;
                return true;
            }
        }
    }
    return false;
}

void setSampleAspect(SequenceHeader& sequence, int numerator, int denominator) {
    sequence.aspect = 1;
    if (numerator <= 0 || denominator <= 0 || numerator == denominator) return;
    const auto distance = [](double a, double b) { return std::abs(std::log(a / b)); };
    const double aspect = static_cast<double>(numerator) / denominator;
    const double shape = static_cast<double>(sequence.width) / sequence.height;
    double nearest = distance(aspect, 1);
    for (std::size_t i = 0; i < displayAspects.size(); ++i) {
        const double display = static_cast<double>(displayAspects[i].numerator) / displayAspects[i].denominator;
        const double difference = distance(aspect, display / shape);
        if (difference >= nearest) continue;
        nearest = difference;
        sequence.aspect = static_cast<int>(i) + 2;
    }
}

StreamInfo describe(const SequenceHeader& sequence) {
    const Ratio base = frameRates[sequence.frameRate < 9 ? static_cast<std::size_t>(sequence.frameRate) : 0];
    const Ratio rate = reduced(
        {base.numerator * (sequence.frameRateExtensionN + 1), base.denominator * (sequence.frameRateExtensionD + 1)});
    const Ratio aspect = reduced(sampleAspect(sequence));
    constexpr long variableBitRate = 0x3FFFF;  // of MPEG-1; encoders write it for MPEG-2 as well

    StreamInfo info;
    info.codec = sequence.mpeg2 ? "MPEG-2 video" : "MPEG-1 video";
    info.profile = sequence.mpeg2 ? profileName(sequence.profileAndLevel) : "";
    info.width = sequence.width;
    info.height = sequence.height;
    info.rateNumerator = rate.numerator;
    info.rateDenominator = rate.denominator;
    info.aspectNumerator = aspect.numerator;
    info.aspectDenominator = aspect.denominator;
    info.interlaced = !sequence.progressive;
    info.bitRate = sequence.bitRate != variableBitRate ? sequence.bitRate * 400 : 0;
    return info;
}

}  // namespace codecs::mpeg2
