#include "h263/headers.h"

#include <array>
#include <numeric>
#include <string>
#include <utility>

namespace codecs::h263 {

namespace {

[[noreturn]] void refuse(const std::string& mode) {
    throw UnsupportedStream("H.263 with " + mode + " is not supported");
}

void expectBits(BitReader& bits, Qvo32u value, int count) {
    if (bits.get(count) != value) throw Damage{};
}

constexpr Qvo32u customSize = 6;

void setSize(Format& format, Qvo32u sourceFormat) {
    if (sourceFormat == 0 || sourceFormat >= standardSizes.size()) throw Damage{};
    format.width = standardSizes[sourceFormat].width;
    format.height = standardSizes[sourceFormat].height;
}

// The rest of PTYPE (5.1.3), and PQUANT and CPM.
void readBaseline(BitReader& bits, Qvo32u sourceFormat, PictureHeader& picture) {
    picture.format = Format{};
    setSize(picture.format, sourceFormat);
    picture.intra = !bits.flag();
    picture.format.vectorMode = bits.flag() ? qvoMVUnrestricted : qvoMVBaseline;
    if (bits.flag()) refuse("arithmetic coding (Annex E)");
    picture.format.advancedPrediction = bits.flag();
    if (bits.flag()) refuse("PB-frames (Annex G)");
    picture.quantiser = bits.getInt(5);
    if (bits.flag()) refuse("multipoint operation (Annex C)");
}

// OPPTYPE (5.1.4.2). Returns the source format.
Qvo32u readOptions(BitReader& bits, Format& format) {
    format = Format{};
    format.extended = true;
    const Qvo32u sourceFormat = bits.get(3);
    format.customClock = bits.flag();
    format.vectorMode = bits.flag() ? qvoMVReversible : qvoMVBaseline;
    if (bits.flag()) refuse("arithmetic coding (Annex E)");
    format.advancedPrediction = bits.flag();
    format.advancedIntra = bits.flag();
    format.deblocking = bits.flag();
    format.slices = bits.flag();
    if (bits.flag()) refuse("reference picture selection (Annex N)");
    if (bits.flag()) refuse("independent segments (Annex R)");
    if (bits.flag()) refuse("alternative inter codes (Annex S)");
    format.modifiedQuantisation = bits.flag();
    expectBits(bits, 0b1000, 4);
    if (sourceFormat != customSize) setSize(format, sourceFormat);
    return sourceFormat;
}

// MPPTYPE (5.1.4.3).
void readMandatory(BitReader& bits, PictureHeader& picture) {
    enum { typeI, typeP, typePB, typeB, typeEI, typeEP };
    const Qvo32u type = bits.get(3);
    if (type == typePB) refuse("improved PB-frames (Annex M)");
    if (type == typeB || type == typeEI || type == typeEP) refuse("scalability (Annex O)");
    if (type > typeEP) throw Damage{};
    picture.intra = type == typeI;
    if (bits.flag()) refuse("reference picture resampling (Annex P)");
    if (bits.flag()) refuse("reduced resolution (Annex Q)");
    picture.rounding = bits.getInt(1);
    expectBits(bits, 0b001, 3);
}

// CPFMT and EPAR (5.1.5, 5.1.6).
void readCustomSize(BitReader& bits, Format& format) {
    const Qvo32u aspect = bits.get(4);
    format.width = 4 * (bits.getInt(9) + 1);
    expectBits(bits, 1, 1);
    format.height = 4 * bits.getInt(9);
    if (format.height == 0) throw Damage{};
    format.aspectNumerator = format.aspectDenominator = 0;
    if (aspect == extendedAspect) {
        format.aspectNumerator = bits.getInt(8);
        format.aspectDenominator = bits.getInt(8);
    } else if (aspect < aspectRatios.size()) {
        format.aspectNumerator = aspectRatios[aspect].numerator;
        format.aspectDenominator = aspectRatios[aspect].denominator;
    }
}

// CPCFC (5.1.7): the clock is 1.8 MHz over a divisor and 1000 or 1001.
void readClock(BitReader& bits, Format& format) {
    const int unit = bits.flag() ? 1001 : 1000;
    const int divisor = bits.getInt(7);
    if (divisor == 0) throw Damage{};
    constexpr int clock = 1800000;
    const int common = std::gcd(clock, unit * divisor);
    format.rateNumerator = clock / common;
    format.rateDenominator = unit * divisor / common;
}

// PLUSPTYPE and what follows it up to PQUANT (5.1.4 to 5.1.19).
void readExtended(BitReader& bits, const Format& before, PictureHeader& picture) {
    const Qvo32u update = bits.get(3);
    if (update > 1 || (update == 0 && !before.extended)) throw Damage{};
    picture.format = before;
    Qvo32u sourceFormat = 0;
    if (update == 1) sourceFormat = readOptions(bits, picture.format);
    readMandatory(bits, picture);
    if (bits.flag()) refuse("multipoint operation (Annex C)");
    if (update == 1) {
        if (sourceFormat == customSize) readCustomSize(bits, picture.format);
        if (picture.format.customClock) readClock(bits, picture.format);
    }
    if (picture.format.customClock) bits.skip(2);  // ETR
    // UUI: 1, or 01 where vectors are limited by the picture only.
    if (update == 1 && picture.format.vectorMode == qvoMVReversible && !bits.flag()) expectBits(bits, 1, 1);
    if (update == 1 && picture.format.slices) {
        if (bits.flag()) refuse("rectangular slices (Annex K)");
        bits.skip(1);  // arbitrary order, which slices take care of themselves
    }
    picture.quantiser = bits.getInt(5);
}

// Length of a macroblock's address in the header of a slice (K.2.5).
int addressBits(int macroblocks) {
    constexpr std::array<std::pair<int, int>, 6> lengths = {
        {{48, 6}, {99, 7}, {396, 9}, {1584, 11}, {6336, 13}, {9216, 14}}};
    for (const auto& [most, length] : lengths)
        if (macroblocks <= most) return length;
    return lengths.back().second;
}

// Whether a 1 follows the address in the header of a slice, where a quantiser and a 1 come next (K.2.6). It does behind
// more than 11 bits; some encoders, however, take 1584 macroblocks, too, for so many. Where the bits can be read either
// way, the quantiser of the picture is more likely to go on.
bool isAddressMarked(const BitReader& bits, int macroblocks, int quantiser) {
    constexpr int doubtful = 1584;
    if (macroblocks != doubtful) return addressBits(macroblocks) > 11;
    const Qvo32u next = bits.peek(1 + 5 + 1);
    const bool canBeMarked = (next >> 6 & next & 1) != 0, canBeUnmarked = (next >> 1 & 1) != 0;
    if (canBeMarked && canBeUnmarked) return static_cast<int>(next >> 1 & 31) == quantiser;
    return canBeMarked;
}

int readAddress(BitReader& bits, const Format& format) {
    const int address = bits.getInt(addressBits(format.macroblockCount()));
    if (address >= format.macroblockCount()) throw Damage{};
    return address;
}

}  // namespace

PictureHeader readPicture(BitReader& bits, const Format& before) {
    PictureHeader picture;
    bits.skip(8);  // temporal reference
    expectBits(bits, 0b10, 2);
    bits.skip(3);  // split screen, document camera, freeze release
    constexpr Qvo32u extended = 7;
    const Qvo32u sourceFormat = bits.get(3);
    if (sourceFormat == extended)
        readExtended(bits, before, picture);
    else
        readBaseline(bits, sourceFormat, picture);
    if (picture.quantiser == 0) throw Damage{};
    while (bits.flag())  // PEI
        bits.skip(8);
    if (picture.format.slices) {
        // The first slice has less of a header: its address between two ones.
        expectBits(bits, 1, 1);
        picture.macroblock = readAddress(bits, picture.format);
        expectBits(bits, 1, 1);
    }
    if (bits.pastEnd()) throw Damage{};
    return picture;
}

bool atStartCode(const BitReader& bits) {
    constexpr int longestStuffing = 7;
    const Qvo32u next = bits.peek(startCodeBits + longestStuffing);
    return next != 0 && next < 1U << (longestStuffing + 1);
}

SegmentHeader readSegment(BitReader& bits, const PictureHeader& picture) {
    const Format& format = picture.format;
    while (bits.peek(startCodeBits) != 1)
        bits.skip(1);
    bits.skip(startCodeBits);
    SegmentHeader segment;
    if (format.slices) {
        expectBits(bits, 1, 1);
        segment.macroblock = readAddress(bits, format);
        if (isAddressMarked(bits, format.macroblockCount(), picture.quantiser)) expectBits(bits, 1, 1);
        segment.quantiser = bits.getInt(5);
        expectBits(bits, 1, 1);
        bits.skip(2);  // frame id
    } else {
        const int group = bits.getInt(5);
        if (group == 0) throw Damage{};
        bits.skip(2);  // frame id
        segment.macroblock = group * groupRows(format.height) * format.macroblockWidth();
        segment.quantiser = bits.getInt(5);
    }
    if (segment.macroblock >= format.macroblockCount() || segment.quantiser == 0 || bits.pastEnd()) throw Damage{};
    return segment;
}

StreamInfo describe(const Format& format) {
    StreamInfo info;
    info.codec = "H.263 video";
    std::string annexes;
    const auto add = [&](bool used, char annex) {
        if (!used) return;
        if (!annexes.empty()) annexes += ", ";
        annexes += annex;
    };
    add(format.vectorMode != qvoMVBaseline, 'D');
    add(format.advancedPrediction, 'F');
    add(format.advancedIntra, 'I');
    add(format.deblocking, 'J');
    add(format.slices, 'K');
    add(format.modifiedQuantisation, 'T');
    info.profile = annexes.empty() ? "Baseline" : (annexes.size() == 1 ? "Annex " : "Annexes ") + annexes;
    info.width = format.width;
    info.height = format.height;
    info.rateNumerator = format.rateNumerator;
    info.rateDenominator = format.rateDenominator;
    info.aspectNumerator = format.aspectNumerator;
    info.aspectDenominator = format.aspectDenominator;
    return info;
}

}  // namespace codecs::h263
