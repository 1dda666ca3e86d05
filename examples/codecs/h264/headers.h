// Parameter sets and slice headers (ITU-T H.264, 7.3.2 and 7.3.3).
#ifndef QVOVC_EXAMPLES_H264_HEADERS_H
#define QVOVC_EXAMPLES_H264_HEADERS_H

#include <array>
#include <string>
#include <vector>

#include "common/decoder.h"
#include "h264/bits.h"

namespace codecs::h264 {

// nal_unit_type (table 7-1).
enum NalType : int {
    nalSlice = 1,
    nalPartitionA = 2,
    nalPartitionC = 4,
    nalIdrSlice = 5,
    nalSei = 6,
    nalSequenceParameters = 7,
    nalPictureParameters = 8,
    nalEndOfSequence = 10,
    nalEndOfStream = 11
};

constexpr int maxSide = 512;       // of a picture, in macroblocks
constexpr int maxReferences = 32;  // entries of a reference list

// What the decoder does not have for the slices that refer to a parameter set.
struct RefusedTool {
    std::string refused;        // in words; empty where it can decode
    bool mayBeDamaged = false;  // the set before it, of the same number, could be decoded
    bool counted = false;       // a slice has referred to it
};

struct SequenceParameters : RefusedTool {
    int profile = 0;
    int constraints = 0;  // constraint_set0_flag (0x80) and so on
    int level = 0;
    int id = 0;
    int frameNumBits = 4;
    int orderType = 0;  // pic_order_cnt_type
    int orderLsbBits = 4;
    bool deltaOrderAlwaysZero = false;
    int offsetForNonReference = 0;
    int offsetTopToBottom = 0;
    std::vector<int> offsetsForReference;
    int referenceFrames = 0;
    bool gapsAllowed = false;
    int macroblockWidth = 0;
    int macroblockHeight = 0;
    bool direct8x8Inference = false;
    int cropLeft = 0;  // in luma samples, always even
    int cropRight = 0;
    int cropTop = 0;
    int cropBottom = 0;

    int aspectNumerator = 0;
    int aspectDenominator = 0;
    int rateNumerator = 25;
    int rateDenominator = 1;
    int maxBuffering = -1;  // max_dec_frame_buffering, -1 where the stream does not say

    int width() const { return 16 * macroblockWidth - cropLeft - cropRight; }
    int height() const { return 16 * macroblockHeight - cropTop - cropBottom; }
    // Frame stores of the decoded picture buffer (clause A.3.1, table A-1).
    int bufferSize() const;
};

struct PictureParameters : RefusedTool {
    int id = 0;
    int sequence = 0;
    bool bottomOrderPresent = false;
    std::array<int, 2> referenceCounts = {1, 1};
    bool weightedPrediction = false;
    int weightedBiprediction = 0;
    int initialQp = 26;
    std::array<int, 2> chromaQpOffsets = {};
    bool deblockingControl = false;
    bool constrainedIntra = false;
    bool redundantPictures = false;
};

enum class SliceType { p = 0, b = 1, i = 2 };

// One command of ref_pic_list_modification() or dec_ref_pic_marking().
struct Command {
    int operation = 0;
    int value = 0;
    int second = 0;  // the long_term_frame_idx of marking command 3
};

// Explicit weights of one list: by reference index and plane.
struct Weight {
    int factor = 1;
    int offset = 0;
};
using Weights = std::array<std::array<Weight, 3>, maxReferences>;

struct SliceHeader {
    int nalReference = 0;  // nal_ref_idc
    bool idr = false;
    int firstMacroblock = 0;
    SliceType type = SliceType::i;
    int pictureParameters = 0;
    int frameNum = 0;
    int idrId = 0;
    int orderLsb = 0;
    int deltaOrderBottom = 0;
    std::array<int, 2> deltaOrder = {};
    int redundantCount = 0;
    bool directSpatial = false;
    std::array<int, 2> referenceCounts = {};
    std::array<std::vector<Command>, 2> listCommands;
    bool hasWeights = false;
    std::array<int, 3> weightShifts = {};  // log2 of the denominator, by plane
    std::array<Weights, 2> weights;
    bool longTermReference = false;  // of an IDR picture
    bool adaptiveMarking = false;
    std::vector<Command> markingCommands;
    int qp = 26;
    int deblocking = 0;  // disable_deblocking_filter_idc
    int alphaOffset = 0;
    int betaOffset = 0;
};

SequenceParameters readSequenceParameters(BitReader bits);
PictureParameters readPictureParameters(BitReader bits);

// The identification of the parameter sets, with which every slice header begins: first_mb_in_slice, slice_type and
// pic_parameter_set_id.
int readPictureParametersId(BitReader bits);

// Leaves the reader at the slice's data.
void readSliceHeader(BitReader& bits, int nalType, int nalReference, const SequenceParameters& sequence,
                     const PictureParameters& picture, SliceHeader& slice);

StreamInfo describe(const SequenceParameters& sequence);

}  // namespace codecs::h264

#endif
