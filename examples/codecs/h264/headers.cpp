#include "h264/headers.h"

#include <algorithm>

namespace codecs::h264 {

namespace {

// All of level 5.2, yet small enough that a damaged header cannot ask for gigabytes.

constexpr int extendedSar = 255;

struct Ratio {
    int numerator;
    int denominator;
};

// aspect_ratio_idc (table E-1).
constexpr std::array<Ratio, 17> sampleAspects = {{{0, 0},
                                                  {1, 1},
                                                  {12, 11},
                                                  {10, 11},
                                                  {16, 11},
                                                  {40, 33},
                                                  {24, 11},
                                                  {20, 11},
                                                  {32, 11},
                                                  {80, 33},
                                                  {18, 11},
                                                  {15, 11},
                                                  {64, 33},
                                                  {160, 99},
                                                  {4, 3},
                                                  {3, 2},
                                                  {2, 1}}};

// Profiles whose sequence parameters go on with the chroma format (7.3.2.1.1).
bool hasChromaFormat(int profile) {
    constexpr std::array<int, 12> profiles = {100, 110, 122, 244, 44, 83, 86, 118, 128, 138, 139, 134};
    return std::find(profiles.begin(), profiles.end(), profile) != profiles.end();
}

std::string refusedFormat(BitReader& bits) {
    const std::uint32_t chromaFormat = bits.ue();
    if (chromaFormat > 3) throw Damage{};
    if (chromaFormat != 1) return "chroma formats other than 4:2:0 are not supported";
    const std::uint32_t lumaDepth = bits.ue();
    const std::uint32_t chromaDepth = bits.ue();
    if (lumaDepth != 0 || chromaDepth != 0) return "more than 8 bits per sample are not supported";
    if (bits.flag()) return "lossless transform bypass is not supported";
    if (bits.flag()) return "scaling matrices are not supported";
    return {};
}

void skipHrd(BitReader& bits) {
    const int count = bits.ueUpTo(31) + 1;
    bits.skip(8);
    for (int i = 0; i < count; ++i) {
        bits.ue();
        bits.ue();
        bits.skip(1);
    }
    bits.skip(20);
}

void readUsability(BitReader& bits, SequenceParameters& sequence) {
    if (bits.flag()) {
        const int aspect = bits.getInt(8);
        if (aspect == extendedSar) {
            sequence.aspectNumerator = bits.getInt(16);
            sequence.aspectDenominator = bits.getInt(16);
        } else if (aspect < static_cast<int>(sampleAspects.size())) {
            sequence.aspectNumerator = sampleAspects[static_cast<std::size_t>(aspect)].numerator;
            sequence.aspectDenominator = sampleAspects[static_cast<std::size_t>(aspect)].denominator;
        }
    }
    if (bits.flag()) bits.skip(1);  // overscan
    if (bits.flag()) {              // video_signal_type
        bits.skip(4);
        if (bits.flag()) bits.skip(24);
    }
    if (bits.flag()) {  // chroma_loc
        bits.ue();
        bits.ue();
    }
    if (bits.flag()) {
        const std::uint32_t unitsInTick = bits.get(32);
        const std::uint32_t timeScale = bits.get(32);
        bits.skip(1);
        constexpr std::uint32_t limit = 0x3FFFFFFF;
        // Two ticks are one frame.
        if (unitsInTick > 0 && timeScale > 0 && unitsInTick < limit && timeScale < limit * 2) {
            const bool even = timeScale % 2 == 0;
            sequence.rateNumerator = static_cast<int>(even ? timeScale / 2 : timeScale);
            sequence.rateDenominator = static_cast<int>(even ? unitsInTick : 2 * unitsInTick);
        }
    }
    const bool nalHrd = bits.flag();
    if (nalHrd) skipHrd(bits);
    const bool vclHrd = bits.flag();
    if (vclHrd) skipHrd(bits);
    if (nalHrd || vclHrd) bits.skip(1);
    bits.skip(1);
    if (bits.flag()) {  // bitstream_restriction
        bits.skip(1);
        for (int i = 0; i < 4; ++i)
            bits.ue();
        bits.ue();  // max_num_reorder_frames
        sequence.maxBuffering = bits.ueUpTo(16);
    }
}

// Differences of frame_num are the largest.
constexpr int largestCommandValue = 0xFFFF;

void readListCommands(BitReader& bits, std::vector<Command>& commands) {
    commands.clear();
    if (!bits.flag()) return;
    for (;;) {
        const int operation = bits.ueUpTo(3);
        if (operation == 3) return;
        if (commands.size() > maxReferences) throw Damage{};
        commands.push_back({operation, bits.ueUpTo(largestCommandValue), 0});
    }
}

void readWeights(BitReader& bits, SliceHeader& slice) {
    slice.weightShifts[0] = bits.ueUpTo(7);
    slice.weightShifts[1] = slice.weightShifts[2] = bits.ueUpTo(7);
    const std::size_t lists = slice.type == SliceType::b ? 2 : 1;
    const auto readWeight = [&](Weight& weight) {
        weight.factor = bits.seUpTo(128);
        weight.offset = bits.seUpTo(128);
    };
    for (std::size_t list = 0; list < lists; ++list) {
        for (int i = 0; i < slice.referenceCounts[list]; ++i) {
            auto& weights = slice.weights[list][static_cast<std::size_t>(i)];
            for (std::size_t plane = 0; plane < 3; ++plane)
                weights[plane] = {1 << slice.weightShifts[plane], 0};
            if (bits.flag()) readWeight(weights[0]);
            if (bits.flag()) {
                readWeight(weights[1]);
                readWeight(weights[2]);
            }
        }
    }
}

void readMarking(BitReader& bits, SliceHeader& slice) {
    if (slice.idr) {
        bits.skip(1);  // no_output_of_prior_pics_flag: every picture is shown
        slice.longTermReference = bits.flag();
        return;
    }
    slice.adaptiveMarking = bits.flag();
    if (!slice.adaptiveMarking) return;
    constexpr std::size_t most = 66;
    for (;;) {
        Command command;
        command.operation = bits.ueUpTo(6);
        if (command.operation == 0) return;
        if (slice.markingCommands.size() > most) throw Damage{};
        if (command.operation != 5) command.value = bits.ueUpTo(largestCommandValue);
        if (command.operation == 3) command.second = bits.ueUpTo(largestCommandValue);
        slice.markingCommands.push_back(command);
    }
}

SliceType readSliceType(BitReader& bits) {
    const int type = bits.ueUpTo(9) % 5;
    if (type > 2) throw UnsupportedStream("SP and SI slices are not supported");
    return static_cast<SliceType>(type);
}

}  // namespace

int SequenceParameters::bufferSize() const {
    // MaxDpbMbs (table A-1), up to each level.
    struct Level {
        int level;
        int macroblocks;
    };
    constexpr std::array<Level, 12> levels = {{{10, 396},
                                               {11, 900},
                                               {20, 2376},
                                               {21, 4752},
                                               {30, 8100},
                                               {31, 18000},
                                               {32, 20480},
                                               {41, 32768},
                                               {42, 34816},
                                               {50, 110400},
                                               {52, 184320},
                                               {255, 696320}}};
    // Level 1b may be written as 11 with constraint_set3_flag; 9 is its own number.
    const bool level1b = level == 11 && (constraints & 0x10) && !hasChromaFormat(profile);
    const int of = level1b ? 10 : level;
    const auto found = std::find_if(levels.begin(), levels.end(), [&](const Level& l) { return of <= l.level; });
    const int frames = std::min(found->macroblocks / (macroblockWidth * macroblockHeight), 16);
    return std::max({maxBuffering >= 0 ? maxBuffering : frames, referenceFrames, 1});
}

SequenceParameters readSequenceParameters(BitReader bits) {
    SequenceParameters sequence;
    sequence.profile = bits.getInt(8);
    sequence.constraints = bits.getInt(8);
    sequence.level = bits.getInt(8);
    sequence.id = bits.ueUpTo(31);
    if (hasChromaFormat(sequence.profile)) {
        sequence.refused = refusedFormat(bits);
        if (!sequence.refused.empty()) return sequence;
    }
    sequence.frameNumBits = bits.ueUpTo(12) + 4;
    sequence.orderType = bits.ueUpTo(2);
    if (sequence.orderType == 0) {
        sequence.orderLsbBits = bits.ueUpTo(12) + 4;
    } else if (sequence.orderType == 1) {
        sequence.deltaOrderAlwaysZero = bits.flag();
        sequence.offsetForNonReference = bits.se();
        sequence.offsetTopToBottom = bits.se();
        const int count = bits.ueUpTo(255);
        for (int i = 0; i < count; ++i)
            sequence.offsetsForReference.push_back(bits.se());
    }
    sequence.referenceFrames = bits.ueUpTo(16);
    sequence.gapsAllowed = bits.flag();
    sequence.macroblockWidth = bits.ueUpTo(maxSide - 1) + 1;
    sequence.macroblockHeight = bits.ueUpTo(maxSide - 1) + 1;
    if (sequence.macroblockWidth * sequence.macroblockHeight > largestArea / 256) {
        sequence.refused = "video of " + std::to_string(16 * sequence.macroblockWidth) + "x" +
                           std::to_string(16 * sequence.macroblockHeight) + " samples is not supported";
        return sequence;
    }
    const bool framesOnly = bits.flag();
    if (!framesOnly) {
        sequence.refused = "interlaced coding is not supported";
        return sequence;
    }
    sequence.direct8x8Inference = bits.flag();
    if (bits.flag()) {
        const int width = 8 * sequence.macroblockWidth, height = 8 * sequence.macroblockHeight;
        sequence.cropLeft = 2 * bits.ueUpTo(width - 1);
        sequence.cropRight = 2 * bits.ueUpTo(width - 1);
        sequence.cropTop = 2 * bits.ueUpTo(height - 1);
        sequence.cropBottom = 2 * bits.ueUpTo(height - 1);
        if (sequence.width() <= 0 || sequence.height() <= 0) throw Damage{};
    }
    if (bits.pastEnd()) throw Damage{};
    if (bits.flag()) {
        try {
            readUsability(bits, sequence);
        } catch (const Damage&) {
            // The pictures can be decoded without it.
            sequence.maxBuffering = -1;
        }
    }
    return sequence;
}

PictureParameters readPictureParameters(BitReader bits) {
    PictureParameters picture;
    picture.id = bits.ueUpTo(255);
    picture.sequence = bits.ueUpTo(31);
    if (bits.flag()) picture.refused = "CABAC is not supported";
    picture.bottomOrderPresent = bits.flag();
    if (bits.ueUpTo(7) > 0) {
        picture.refused = "flexible macroblock ordering is not supported";
        return picture;
    }
    for (int& count : picture.referenceCounts)
        count = bits.ueUpTo(maxReferences - 1) + 1;
    picture.weightedPrediction = bits.flag();
    picture.weightedBiprediction = bits.getInt(2);
    if (picture.weightedBiprediction == 3) throw Damage{};
    picture.initialQp = 26 + bits.seUpTo(26);
    bits.se();  // for SP and SI slices
    picture.chromaQpOffsets[0] = picture.chromaQpOffsets[1] = bits.seUpTo(12);
    picture.deblockingControl = bits.flag();
    picture.constrainedIntra = bits.flag();
    picture.redundantPictures = bits.flag();
    if (bits.pastEnd()) throw Damage{};
    if (bits.hasMore()) {
        if (bits.flag()) picture.refused = "the 8x8 transform is not supported";
        if (bits.flag()) picture.refused = "scaling matrices are not supported";
        if (picture.refused.empty()) picture.chromaQpOffsets[1] = bits.seUpTo(12);
    }
    return picture;
}

int readPictureParametersId(BitReader bits) {
    bits.ue();
    bits.ue();
    return bits.ueUpTo(255);
}

void readSliceHeader(BitReader& bits, int nalType, int nalReference, const SequenceParameters& sequence,
                     const PictureParameters& picture, SliceHeader& slice) {
    slice = {};
    slice.nalReference = nalReference;
    slice.idr = nalType == nalIdrSlice;
    slice.firstMacroblock = bits.ueUpTo(sequence.macroblockWidth * sequence.macroblockHeight - 1);
    slice.type = readSliceType(bits);
    slice.pictureParameters = bits.ueUpTo(255);
    slice.frameNum = bits.getInt(sequence.frameNumBits);
    if (slice.idr) slice.idrId = bits.ueUpTo(65535);
    if (sequence.orderType == 0) {
        slice.orderLsb = bits.getInt(sequence.orderLsbBits);
        if (picture.bottomOrderPresent) slice.deltaOrderBottom = bits.se();
    } else if (sequence.orderType == 1 && !sequence.deltaOrderAlwaysZero) {
        slice.deltaOrder[0] = bits.se();
        if (picture.bottomOrderPresent) slice.deltaOrder[1] = bits.se();
    }
    if (picture.redundantPictures) slice.redundantCount = bits.ueUpTo(127);
    const bool isB = slice.type == SliceType::b;
    if (isB) slice.directSpatial = bits.flag();
    if (slice.type != SliceType::i) {
        slice.referenceCounts = picture.referenceCounts;
        if (bits.flag()) {
            slice.referenceCounts[0] = bits.ueUpTo(maxReferences - 1) + 1;
            if (isB) slice.referenceCounts[1] = bits.ueUpTo(maxReferences - 1) + 1;
        }
        if (!isB) slice.referenceCounts[1] = 0;
        readListCommands(bits, slice.listCommands[0]);
        if (isB) readListCommands(bits, slice.listCommands[1]);
        slice.hasWeights = isB ? picture.weightedBiprediction == 1 : picture.weightedPrediction;
        if (slice.hasWeights) readWeights(bits, slice);
    }
    if (nalReference != 0) readMarking(bits, slice);
    slice.qp = picture.initialQp + bits.seUpTo(51);
    if (slice.qp < 0 || slice.qp > 51) throw Damage{};
    if (picture.deblockingControl) {
        slice.deblocking = bits.ueUpTo(2);
        if (slice.deblocking != 1) {
            slice.alphaOffset = 2 * bits.seUpTo(6);
            slice.betaOffset = 2 * bits.seUpTo(6);
        }
    }
    if (bits.pastEnd()) throw Damage{};
}

StreamInfo describe(const SequenceParameters& sequence) {
    const auto profile = [&]() -> std::string {
        switch (sequence.profile) {
            case 66:
                return sequence.constraints & 0x40 ? "Constrained Baseline" : "Baseline";
            case 77:
                return "Main";
            case 88:
                return "Extended";
            case 100:
                return "High";
            default:
                return "Profile " + std::to_string(sequence.profile);
        }
    };
    StreamInfo info;
    info.codec = "H.264";
    info.profile =
        profile() + ", level " + std::to_string(sequence.level / 10) + "." + std::to_string(sequence.level % 10);
    info.width = sequence.width();
    info.height = sequence.height();
    info.rateNumerator = sequence.rateNumerator;
    info.rateDenominator = sequence.rateDenominator;
    info.aspectNumerator = sequence.aspectNumerator;
    info.aspectDenominator = sequence.aspectDenominator;
    return info;
}

}  // namespace codecs::h264
