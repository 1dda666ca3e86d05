// The video packet, macroblock and block layers of a VOP.
#ifndef QVOVC_EXAMPLES_MPEG4_VOP_H
#define QVOVC_EXAMPLES_MPEG4_VOP_H

#include <array>
#include <cstdint>
#include <vector>

#include "common/byte_bits.h"
#include "common/decoder.h"
#include "mpeg4/frame.h"
#include "mpeg4/headers.h"
#include "mpeg4/intra.h"
#include "mpeg4/predict.h"

namespace codecs::mpeg4 {

// What all packets of a VOP share.
struct VopContext {
    const Layer* layer = nullptr;
    VopHeader header;
    Frame* target = nullptr;
    const Frame* forward = nullptr;   // extended; null for I-VOPs
    const Frame* backward = nullptr;  // of B-VOPs
    // Ticks from the forward reference to this VOP and to the backward one (B-VOPs).
    int timeToVop = 0;
    int timeToBackward = 0;
};

// What became of a macroblock: nothing; decoded; its vectors were read and it was predicted, but its texture is lost.
enum class MacroblockState : std::uint8_t { missing, decoded, predicted };

class VopDecoder {
  public:
    explicit VopDecoder(DecodeClock& clock) : clock_(clock) {}

    // Decodes a VOP from behind its header. Damage ends a packet before the macroblock in which it shows.
    void decode(const VopContext& vop, BitReader bits);

    // Of the macroblocks of the last VOP.
    const std::vector<MacroblockState>& states() const { return states_; }

  private:
    // mb_type of P-VOPs (table B-1).
    enum MacroblockType { typeInter = 0, typeInterQ = 1, typeInter4V = 2, typeIntra = 3, typeIntraQ = 4 };

    // mb_type of B-VOPs by the zeros of its code (table B-3).
    enum BidirectionalMode { modeDirect, modeInterpolated, modeBackward, modeForward, modeCount };

    struct Macroblock {
        bool skipped = false;
        int type = typeIntra;
        int pattern = 0;  // coded blocks; bit 5 is block 0, bit 0 block 5
        int quantiser = 0;
        bool acPrediction = false;
        bool dcVlc = false;
        std::array<Qvo16s, 6> dc = {};  // differences, where the packet is partitioned

        bool isIntra() const { return type >= typeIntra; }
        bool changesQuantiser() const { return type == typeInterQ || type == typeIntraQ; }
    };

    bool nextPacket(bool damaged);
    void beginPacket(int address, int quantiser);
    void decodePacket();
    bool atPacketEnd();
    void place(int address);
    void advance();

    void decodeMacroblocks();
    bool decodeMacroblock();
    bool isSkippedUnsaid() const;
    bool readType(Macroblock& macroblock);
    void readPattern(Macroblock& macroblock);
    void readQuantiserChange();
    void readVectors(const Macroblock& macroblock);

    void decodePartitions();
    bool atMarker();
    void readFirstPartition();
    void readSecondPartition();
    void readDc(Macroblock& macroblock);
    void predictLost(int first);

    void reconstruct(const Macroblock& macroblock);
    void addResidual(int pattern, int quantiser);

    void decodeBidirectional();
    int readBidirectional(BidirectionalMode& mode, const Motion& colocated, Vectors& forward, Vectors& backward);

    MacroblockState& state() { return states_[static_cast<std::size_t>(address_)]; }
    Place here() const { return {vop_.target, x_, y_}; }
    std::size_t vectorIndex() const {
        return static_cast<std::size_t>(y_ + 1) * vectorStep_ + static_cast<std::size_t>(x_) + 1;
    }
    bool usesDcVlc() const { return quantiser_ < vop_.header.dcThreshold; }

    DecodeClock& clock_;

    // For the time of one VOP.
    VopContext vop_;
    BitReader bits_;
    IntraDecoder intra_;
    const Qvo8u* interMatrix_ = nullptr;
    int macroblockCount_ = 0;
    std::vector<MacroblockState> states_;

    int packetAddress_ = 0;         // the packet's first macroblock
    Qvo8u* packetStart_ = nullptr;  // its bytes behind the header

    // Vectors of the macroblocks with a margin above and one, common to the end of a row and the beginning of the next,
    // at the sides. The flag words tell which may be predicted from.
    std::size_t vectorStep_ = 0;
    std::vector<Vectors> vectors_;
    std::vector<Qvo32u> available_;

    // The macroblock at hand.
    int address_ = 0;
    int x_ = 0;
    int y_ = 0;
    int quantiser_ = 0;
    QvoMotionVector forwardVector_ = {};  // the last ones in the row of a B-VOP
    QvoMotionVector backwardVector_ = {};

    std::vector<Macroblock> packet_;  // a partitioned packet's macroblocks

    alignas(32) std::array<Qvo16s, 64> residual_ = {};
};

}  // namespace codecs::mpeg4

#endif
