// The decoded picture buffer: which pictures serve as references, in which order a slice lists them, and in which order
// they are shown (ITU-T H.264, 8.2.1, 8.2.4, 8.2.5 and C.4).
#ifndef QVOVC_EXAMPLES_H264_REFERENCES_H
#define QVOVC_EXAMPLES_H264_REFERENCES_H

#include <functional>
#include <vector>

#include "h264/frame.h"
#include "h264/headers.h"

namespace codecs::h264 {

using ReferenceList = std::vector<PicturePtr>;

// PicOrderCnt of the frames of a sequence, one after the other (8.2.1).
class OrderCounter {
  public:
    int next(const SequenceParameters& sequence, const SliceHeader& slice);

    // Tells what became of the picture that next() was asked for. After an "all unused" command it counts as the
    // first one.
    void completed(const SliceHeader& slice, int order, bool resetAll);

  private:
    int type0(const SequenceParameters& sequence, const SliceHeader& slice);
    int type1(const SequenceParameters& sequence, const SliceHeader& slice);
    void advance(const SequenceParameters& sequence, const SliceHeader& slice);

    int topOrder_ = 0;     // of the last next()
    int previousMsb_ = 0;  // type 0: of the last reference picture
    int previousLsb_ = 0;
    int msb_ = 0;
    int previousFrameNum_ = 0;  // types 1 and 2: of the last picture
    int frameNumOffset_ = 0;
};

class PictureBuffer {
  public:
    using Show = std::function<void(const Picture&)>;

    // Empties the buffer without showing what is in it.
    void configure(int size, int referenceFrames);

    // The lists of a slice of the picture `current` (8.2.4). Entries without a picture hold the nearest one there is;
    // false if there was any. With no reference at all the lists stay empty.
    bool makeLists(const SliceHeader& slice, const Picture& current, int maxFrameNum,
                   std::array<ReferenceList, 2>& lists);

    // Marks the references as the last picture's slices say (8.2.5), makes room for it and takes it in; shows what is
    // due. True if an "all unused" command was among them.
    bool add(const PicturePtr& picture, const SliceHeader& slice, int maxFrameNum, const Show& show);

    // A reference that was never sent (8.2.5.2).
    void addMissing(const PicturePtr& picture, int maxFrameNum, const Show& show);

    // Shows all pictures and empties the buffer.
    void flush(const Show& show);

    // The reference decoded last, or null.
    const Picture* newest() const;

  private:
    void updateFrameNumWraps(int frameNum, int maxFrameNum);
    void slideWindow();
    void execute(const Command& command, Picture& current);
    void makeRoom(const Picture& current, const Show& show);
    bool showNext(const Show& show);
    void dropUnused();
    Picture* findShortTerm(int picNum);
    Picture* findLongTerm(int index);
    void modify(const std::vector<Command>& commands, int count, const Picture& current, int maxFrameNum,
                ReferenceList& list);

    std::vector<PicturePtr> pictures_;  // in decoding order
    std::size_t size_ = 1;
    std::size_t referenceFrames_ = 1;
};

}  // namespace codecs::h264

#endif
