#include "h264/header_writer.h"

#include <array>
#include <string>

#include "h264/cavlc_writer.h"

namespace codecs::h264 {

namespace {

constexpr int extendedAspect = 255;  // aspect_ratio_idc

void writeUsability(BitWriter& bits, const SequenceParameters& sequence) {
    const bool hasAspect = sequence.aspectNumerator > 0;
    bits.put(hasAspect, 1);
    if (hasAspect) {
        bits.put(extendedAspect, 8);
        bits.put(static_cast<std::uint32_t>(sequence.aspectNumerator), 16);
        bits.put(static_cast<std::uint32_t>(sequence.aspectDenominator), 16);
    }
    bits.put(0, 1);  // overscan_info_present_flag
    bits.put(0, 1);  // video_signal_type_present_flag
    bits.put(0, 1);  // chroma_loc_info_present_flag
    bits.put(1, 1);  // timing_info_present_flag; its unit is a field
    bits.put(static_cast<std::uint32_t>(sequence.rateDenominator), 32);
    bits.put(2 * static_cast<std::uint32_t>(sequence.rateNumerator), 32);
    bits.put(1, 1);   // fixed_frame_rate_flag
    bits.put(0, 3);   // no HRD parameters of either kind, pic_struct_present_flag
    bits.put(1, 1);   // bitstream_restriction_flag
    bits.put(1, 1);   // motion_vectors_over_pic_boundaries_flag
    putUe(bits, 0);   // max_bytes_per_pic_denom: not limited
    putUe(bits, 0);   // max_bits_per_mb_denom
    putUe(bits, 11);  // log2_max_mv_length_horizontal
    putUe(bits, 11);  // log2_max_mv_length_vertical
    putUe(bits, 0);   // max_num_reorder_frames
    putUe(bits, static_cast<std::uint32_t>(sequence.maxBuffering));
}

}  // namespace

Level chooseLevel(int macroblockWidth, int macroblockHeight, const EncoderSettings& settings) {
    struct Limits {
        Level level;
        int rate;      // macroblocks per second
        int size;      // macroblocks
        int kilobits;  // per second
    };
    constexpr std::array<Limits, 19> all = {{{{10, 64}, 1485, 99, 64},
                                             {{11, 128}, 3000, 396, 192},
                                             {{12, 128}, 6000, 396, 384},
                                             {{13, 128}, 11880, 396, 768},
                                             {{20, 128}, 11880, 396, 2000},
                                             {{21, 256}, 19800, 792, 4000},
                                             {{22, 256}, 20250, 1620, 4000},
                                             {{30, 256}, 40500, 1620, 10000},
                                             {{31, 512}, 108000, 3600, 14000},
                                             {{32, 512}, 216000, 5120, 20000},
                                             {{40, 512}, 245760, 8192, 20000},
                                             {{41, 512}, 245760, 8192, 50000},
                                             {{42, 512}, 522240, 8704, 50000},
                                             {{50, 512}, 589824, 22080, 135000},
                                             {{51, 512}, 983040, 36864, 240000},
                                             {{52, 512}, 2073600, 36864, 240000},
                                             {{60, 512}, 4177920, 139264, 240000},
                                             {{61, 512}, 8355840, 139264, 480000},
                                             {{62, 512}, 16711680, 139264, 800000}}};
    const std::int64_t size = std::int64_t{macroblockWidth} * macroblockHeight;
    const double rate = static_cast<double>(size) * settings.rateNumerator / settings.rateDenominator;
    for (const Limits& limits : all) {
        // Neither side may be longer than the root of eight times the size.
        const auto fits = [&](std::int64_t side) { return side * side <= 8 * std::int64_t{limits.size}; };
        if (size <= limits.size && fits(macroblockWidth) && fits(macroblockHeight) && rate <= limits.rate &&
            settings.bitRate <= 1000L * limits.kilobits)
            return limits.level;
    }
    throw UnsupportedSettings("no level of H.264 has pictures of " + std::to_string(settings.width) + "x" +
                              std::to_string(settings.height) + " at this rate");
}

void appendUnit(std::vector<std::uint8_t>& stream, int reference, NalType type, BitWriter& payload) {
    payload.put(1, 1);
    stream.insert(stream.end(), {0, 0, 0, 1, static_cast<std::uint8_t>(reference << 5 | type)});
    int zeros = 0;
    for (std::size_t i = 0; i < payload.size(); ++i) {
        const std::uint8_t byte = payload.data()[i];
        if (zeros >= 2 && byte <= 3) {
            stream.push_back(3);
            zeros = 0;
        }
        stream.push_back(byte);
        zeros = byte == 0 ? zeros + 1 : 0;
    }
}

void writeSequenceParameters(BitWriter& bits, const SequenceParameters& sequence) {
    bits.put(static_cast<std::uint32_t>(sequence.profile), 8);
    bits.put(static_cast<std::uint32_t>(sequence.constraints), 8);
    bits.put(static_cast<std::uint32_t>(sequence.level), 8);
    putUe(bits, static_cast<std::uint32_t>(sequence.id));
    putUe(bits, static_cast<std::uint32_t>(sequence.frameNumBits - 4));
    putUe(bits, static_cast<std::uint32_t>(sequence.orderType));
    putUe(bits, static_cast<std::uint32_t>(sequence.referenceFrames));
    bits.put(0, 1);  // gaps_in_frame_num_value_allowed_flag
    putUe(bits, static_cast<std::uint32_t>(sequence.macroblockWidth - 1));
    putUe(bits, static_cast<std::uint32_t>(sequence.macroblockHeight - 1));
    bits.put(1, 1);  // frame_mbs_only_flag
    bits.put(sequence.direct8x8Inference, 1);
    const bool crops = sequence.cropRight > 0 || sequence.cropBottom > 0;
    bits.put(crops, 1);
    if (crops) {
        for (const int crop : {sequence.cropLeft, sequence.cropRight, sequence.cropTop, sequence.cropBottom})
            putUe(bits, static_cast<std::uint32_t>(crop / 2));
    }
    bits.put(1, 1);  // vui_parameters_present_flag
    writeUsability(bits, sequence);
}

void writePictureParameters(BitWriter& bits, const PictureParameters& picture) {
    putUe(bits, static_cast<std::uint32_t>(picture.id));
    putUe(bits, static_cast<std::uint32_t>(picture.sequence));
    bits.put(0, 1);  // entropy_coding_mode_flag: CAVLC
    bits.put(0, 1);  // bottom_field_pic_order_in_frame_present_flag
    putUe(bits, 0);  // num_slice_groups_minus1
    for (const int count : picture.referenceCounts)
        putUe(bits, static_cast<std::uint32_t>(count - 1));
    bits.put(picture.weightedPrediction, 1);
    bits.put(static_cast<std::uint32_t>(picture.weightedBiprediction), 2);
    putSe(bits, picture.initialQp - 26);
    putSe(bits, 0);  // pic_init_qs_minus26
    putSe(bits, picture.chromaQpOffsets[0]);
    bits.put(picture.deblockingControl, 1);
    bits.put(picture.constrainedIntra, 1);
    bits.put(picture.redundantPictures, 1);
}

void writeSliceHeader(BitWriter& bits, const SequenceParameters& sequence, const PictureParameters& picture,
                      const SliceHeader& slice) {
    constexpr int sameTypeThroughout = 5;  // all slices of the picture have this type
    putUe(bits, static_cast<std::uint32_t>(slice.firstMacroblock));
    putUe(bits, static_cast<std::uint32_t>(static_cast<int>(slice.type) + sameTypeThroughout));
    putUe(bits, static_cast<std::uint32_t>(picture.id));
    bits.put(static_cast<std::uint32_t>(slice.frameNum), sequence.frameNumBits);
    if (slice.idr) putUe(bits, static_cast<std::uint32_t>(slice.idrId));
    if (slice.type == SliceType::p) {
        bits.put(0, 1);  // num_ref_idx_active_override_flag
        bits.put(0, 1);  // ref_pic_list_modification_flag_l0
    }
    if (slice.idr) {
        bits.put(0, 1);  // no_output_of_prior_pics_flag
        bits.put(slice.longTermReference, 1);
    } else {
        bits.put(slice.adaptiveMarking, 1);
    }
    putSe(bits, slice.qp - picture.initialQp);
    if (picture.deblockingControl) {
        putUe(bits, static_cast<std::uint32_t>(slice.deblocking));
        if (slice.deblocking != 1) {
            putSe(bits, slice.alphaOffset / 2);
            putSe(bits, slice.betaOffset / 2);
        }
    }
}

}  // namespace codecs::h264
