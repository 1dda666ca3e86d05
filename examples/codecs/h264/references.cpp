#include "h264/references.h"

#include <algorithm>

namespace codecs::h264 {

namespace {

constexpr int forgetShortTerm = 1;
constexpr int forgetLongTerm = 2;
constexpr int makeLongTerm = 3;
constexpr int limitLongTerm = 4;
constexpr int forgetAll = 5;
constexpr int makeCurrentLongTerm = 6;

// Sums of damaged headers wrap.
int wrappedSum(int a, int b) {
    return static_cast<int>(static_cast<unsigned>(a) + static_cast<unsigned>(b));
}

int wrappedDifference(int a, int b) {
    return static_cast<int>(static_cast<unsigned>(a) - static_cast<unsigned>(b));
}

}  // namespace

// ---- picture order count ----------------------------------------------------------------------------------------

int OrderCounter::next(const SequenceParameters& sequence, const SliceHeader& slice) {
    if (slice.idr) *this = {};
    if (sequence.orderType == 0) return type0(sequence, slice);
    advance(sequence, slice);
    if (sequence.orderType == 1) return type1(sequence, slice);
    const int absolute = wrappedSum(frameNumOffset_, slice.frameNum);
    topOrder_ = wrappedSum(wrappedSum(absolute, absolute), slice.nalReference == 0 ? -1 : 0);
    return topOrder_;
}

int OrderCounter::type0(const SequenceParameters& sequence, const SliceHeader& slice) {
    const int range = 1 << sequence.orderLsbBits;
    const std::int64_t ahead = std::int64_t{slice.orderLsb} - previousLsb_;
    msb_ = previousMsb_;
    if (ahead <= -range / 2) {
        msb_ = wrappedSum(msb_, range);
    } else if (ahead > range / 2) {
        msb_ = wrappedSum(msb_, -range);
    }
    topOrder_ = wrappedSum(msb_, slice.orderLsb);
    return std::min(topOrder_, wrappedSum(topOrder_, slice.deltaOrderBottom));
}

// FrameNumOffset (8.2.1.2).
void OrderCounter::advance(const SequenceParameters& sequence, const SliceHeader& slice) {
    if (previousFrameNum_ > slice.frameNum) frameNumOffset_ = wrappedSum(frameNumOffset_, 1 << sequence.frameNumBits);
    previousFrameNum_ = slice.frameNum;
}

int OrderCounter::type1(const SequenceParameters& sequence, const SliceHeader& slice) {
    const auto& offsets = sequence.offsetsForReference;
    const int cycle = static_cast<int>(offsets.size());
    std::int64_t absolute = cycle > 0 ? std::int64_t{frameNumOffset_} + slice.frameNum : 0;
    if (slice.nalReference == 0 && absolute > 0) --absolute;
    std::int64_t order = 0;
    if (absolute > 0) {
        std::int64_t whole = 0;
        for (const int offset : offsets)
            whole += offset;
        order = (absolute - 1) / cycle * whole;
        for (std::int64_t i = 0; i <= (absolute - 1) % cycle; ++i)
            order += offsets[static_cast<std::size_t>(i)];
    }
    if (slice.nalReference == 0) order += sequence.offsetForNonReference;
    const auto top = static_cast<int>(static_cast<std::uint32_t>(order + slice.deltaOrder[0]));
    topOrder_ = top;
    return std::min(top, wrappedSum(wrappedSum(top, sequence.offsetTopToBottom), slice.deltaOrder[1]));
}

void OrderCounter::completed(const SliceHeader& slice, int order, bool resetAll) {
    if (resetAll) {
        previousMsb_ = 0;
        previousLsb_ = wrappedDifference(topOrder_, order);
        previousFrameNum_ = 0;
        frameNumOffset_ = 0;
    } else if (slice.nalReference != 0) {
        previousMsb_ = msb_;
        previousLsb_ = slice.orderLsb;
    }
}

// ---- reference lists --------------------------------------------------------------------------------------------

void PictureBuffer::configure(int size, int referenceFrames) {
    pictures_.clear();
    size_ = static_cast<std::size_t>(size);
    referenceFrames_ = static_cast<std::size_t>(std::max(referenceFrames, 1));
}

void PictureBuffer::updateFrameNumWraps(int frameNum, int maxFrameNum) {
    for (const auto& picture : pictures_)
        picture->frameNumWrap = picture->frameNum > frameNum ? picture->frameNum - maxFrameNum : picture->frameNum;
}

Picture* PictureBuffer::findShortTerm(int picNum) {
    for (const auto& picture : pictures_)
        if (picture->marking == Marking::shortTerm && picture->frameNumWrap == picNum) return picture.get();
    return nullptr;
}

Picture* PictureBuffer::findLongTerm(int index) {
    for (const auto& picture : pictures_)
        if (picture->marking == Marking::longTerm && picture->longTermIndex == index) return picture.get();
    return nullptr;
}

const Picture* PictureBuffer::newest() const {
    const auto found = std::find_if(pictures_.rbegin(), pictures_.rend(),
                                    [](const auto& picture) { return picture->marking != Marking::unused; });
    return found == pictures_.rend() ? nullptr : found->get();
}

bool PictureBuffer::makeLists(const SliceHeader& slice, const Picture& current, int maxFrameNum,
                              std::array<ReferenceList, 2>& lists) {
    for (ReferenceList& list : lists)
        list.clear();
    if (slice.type == SliceType::i) return true;
    updateFrameNumWraps(slice.frameNum, maxFrameNum);

    const bool isB = slice.type == SliceType::b;
    ReferenceList shortTerm, longTerm;
    for (const auto& picture : pictures_) {
        if (picture->marking == Marking::longTerm) longTerm.push_back(picture);
        // What was never sent has no place in the order of display.
        if (picture->marking == Marking::shortTerm && (picture->exists || !isB)) shortTerm.push_back(picture);
    }
    std::sort(longTerm.begin(), longTerm.end(),
              [](const auto& a, const auto& b) { return a->longTermIndex < b->longTermIndex; });
    if (!isB) {
        std::sort(shortTerm.begin(), shortTerm.end(),
                  [](const auto& a, const auto& b) { return a->frameNumWrap > b->frameNumWrap; });
        lists[0] = shortTerm;
    } else {
        std::sort(shortTerm.begin(), shortTerm.end(),
                  [](const auto& a, const auto& b) { return a->order < b->order; });
        const auto middle = std::find_if(shortTerm.begin(), shortTerm.end(),
                                         [&](const auto& picture) { return picture->order > current.order; });
        lists[0].assign(std::make_reverse_iterator(middle), shortTerm.rend());
        lists[0].insert(lists[0].end(), middle, shortTerm.end());
        lists[1].assign(middle, shortTerm.end());
        lists[1].insert(lists[1].end(), std::make_reverse_iterator(middle), shortTerm.rend());
        lists[1].insert(lists[1].end(), longTerm.begin(), longTerm.end());
    }
    lists[0].insert(lists[0].end(), longTerm.begin(), longTerm.end());
    if (lists[1].size() > 1 && lists[0] == lists[1]) std::swap(lists[1][0], lists[1][1]);

    const Picture* const fallback = newest();
    bool complete = true;
    for (std::size_t l = 0; l < (isB ? 2 : 1); ++l) {
        ReferenceList& list = lists[l];
        const int count = slice.referenceCounts[l];
        list.resize(static_cast<std::size_t>(count));
        modify(slice.listCommands[l], count, current, maxFrameNum, list);
        for (PicturePtr& entry : list) {
            if (entry) continue;
            complete = false;
            const auto found = std::find_if(pictures_.begin(), pictures_.end(),
                                            [&](const auto& picture) { return picture.get() == fallback; });
            if (found != pictures_.end()) entry = *found;
        }
        if (!fallback) list.clear();
    }
    return complete;
}

// Modification process (8.2.4.3).
void PictureBuffer::modify(const std::vector<Command>& commands, int count, const Picture& current, int maxFrameNum,
                           ReferenceList& list) {
    int predicted = current.frameNum;
    int place = 0;
    for (const Command& command : commands) {
        if (place >= count) break;
        Picture* found = nullptr;
        if (command.operation == 2) {
            found = findLongTerm(command.value);
        } else {
            const int difference = command.value % maxFrameNum + 1;
            predicted += command.operation == 0 ? -difference : difference;
            if (predicted < 0) predicted += maxFrameNum;
            if (predicted >= maxFrameNum) predicted -= maxFrameNum;
            found = findShortTerm(predicted > current.frameNum ? predicted - maxFrameNum : predicted);
        }
        if (!found) continue;
        const auto owner = std::find_if(pictures_.begin(), pictures_.end(),
                                        [&](const auto& picture) { return picture.get() == found; });
        list.insert(list.begin() + place, *owner);
        ++place;
        const auto again = std::find(list.begin() + place, list.end(), *owner);
        list.erase(again == list.end() ? list.end() - 1 : again);
    }
}

// ---- marking ----------------------------------------------------------------------------------------------------

void PictureBuffer::slideWindow() {
    const auto isReference = [](const auto& picture) { return picture->marking != Marking::unused; };
    while (std::count_if(pictures_.begin(), pictures_.end(), isReference) >=
           static_cast<std::ptrdiff_t>(referenceFrames_)) {
        Picture* oldest = nullptr;
        for (const auto& picture : pictures_) {
            if (picture->marking != Marking::shortTerm) continue;
            if (!oldest || picture->frameNumWrap < oldest->frameNumWrap) oldest = picture.get();
        }
        // Only damage can leave no short-term picture.
        if (!oldest) oldest = std::find_if(pictures_.begin(), pictures_.end(), isReference)->get();
        oldest->marking = Marking::unused;
    }
}

void PictureBuffer::execute(const Command& command, Picture& current) {
    const auto forget = [](Picture* picture) {
        if (picture) picture->marking = Marking::unused;
    };
    const auto shortTerm = [&](int difference) {
        return findShortTerm(wrappedSum(current.frameNum, -difference - 1));
    };
    switch (command.operation) {
        case forgetShortTerm:
            forget(shortTerm(command.value));
            break;
        case forgetLongTerm:
            forget(findLongTerm(command.value));
            break;
        case makeLongTerm: {
            Picture* const picture = shortTerm(command.value);
            if (!picture) break;
            forget(findLongTerm(command.second));
            picture->marking = Marking::longTerm;
            picture->longTermIndex = command.second;
            break;
        }
        case limitLongTerm:
            for (const auto& picture : pictures_)
                if (picture->marking == Marking::longTerm && picture->longTermIndex >= command.value)
                    forget(picture.get());
            break;
        case forgetAll:
            for (const auto& picture : pictures_)
                forget(picture.get());
            break;
        case makeCurrentLongTerm:
            forget(findLongTerm(command.value));
            current.marking = Marking::longTerm;
            current.longTermIndex = command.value;
            break;
        default:
            break;
    }
}

bool PictureBuffer::add(const PicturePtr& picture, const SliceHeader& slice, int maxFrameNum, const Show& show) {
    bool resetAll = false;
    if (slice.idr) {
        flush(show);
        picture->marking = slice.longTermReference ? Marking::longTerm : Marking::shortTerm;
        picture->longTermIndex = 0;
    } else if (slice.nalReference != 0) {
        updateFrameNumWraps(slice.frameNum, maxFrameNum);
        picture->marking = Marking::shortTerm;
        for (const Command& command : slice.markingCommands) {
            execute(command, *picture);
            resetAll = resetAll || command.operation == forgetAll;
        }
        if (resetAll) {
            flush(show);
            picture->frameNum = 0;
            picture->order = 0;
        } else {
            // Commands that leave too many references are damage.
            slideWindow();
        }
    }
    picture->waiting = true;
    makeRoom(*picture, show);
    if (slice.nalReference == 0 && pictures_.size() >= size_) {
        // Nothing waits that is due before it.
        show(*picture);
        picture->waiting = false;
        return resetAll;
    }
    pictures_.push_back(picture);
    return resetAll;
}

void PictureBuffer::addMissing(const PicturePtr& picture, int maxFrameNum, const Show& show) {
    updateFrameNumWraps(picture->frameNum, maxFrameNum);
    slideWindow();
    picture->marking = Marking::shortTerm;
    makeRoom(*picture, show);
    pictures_.push_back(picture);
}

// ---- output -----------------------------------------------------------------------------------------------------

void PictureBuffer::dropUnused() {
    std::erase_if(pictures_,
                  [](const auto& picture) { return !picture->waiting && picture->marking == Marking::unused; });
}

// Shows the waiting picture that is first in order of display.
bool PictureBuffer::showNext(const Show& show) {
    Picture* first = nullptr;
    for (const auto& picture : pictures_)
        if (picture->waiting && (!first || picture->order < first->order)) first = picture.get();
    if (!first) return false;
    show(*first);
    first->waiting = false;
    return true;
}

void PictureBuffer::makeRoom(const Picture& current, const Show& show) {
    dropUnused();
    while (pictures_.size() >= size_) {
        // A picture for display only that is due before all others takes no room.
        const bool direct = current.marking == Marking::unused &&
                            std::none_of(pictures_.begin(), pictures_.end(), [&](const auto& picture) {
                                return picture->waiting && picture->order < current.order;
                            });
        if (direct || !showNext(show)) return;
        dropUnused();
    }
}

void PictureBuffer::flush(const Show& show) {
    while (showNext(show)) {
    }
    pictures_.clear();
}

}  // namespace codecs::h264
