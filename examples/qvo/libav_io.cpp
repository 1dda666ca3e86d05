#include "libav_io.h"

#include "failure.h"

namespace qvo {

namespace {

constexpr int ioBufferSize = 1 << 15;

// libavformat's C code calls these, so nothing may be thrown through it.
int readInput(void* opaque, std::uint8_t* buffer, int size) {
    try {
        const std::size_t count = static_cast<Input*>(opaque)->read(buffer, static_cast<std::size_t>(size));
        return count ? static_cast<int>(count) : AVERROR_EOF;
    } catch (const Interrupted&) {
        return AVERROR_EXIT;
    } catch (const Failure&) {
        return AVERROR(EIO);
    }
}

std::int64_t seekInput(void* opaque, std::int64_t offset, int whence) {
    auto& input = *static_cast<Input*>(opaque);
    whence &= ~AVSEEK_FORCE;
    if (whence == AVSEEK_SIZE) return input.size();
    if (whence == SEEK_CUR) offset += input.position();
    if (whence == SEEK_END) offset += input.size();
    if (offset < 0) return AVERROR(EINVAL);
    try {
        input.seek(offset);
    } catch (const Failure&) {
        return AVERROR(EIO);
    }
    return offset;
}

}  // namespace

LibavPtr<AVIOContext> openLibavIo(Input& input) {
    auto* buffer = static_cast<unsigned char*>(av_malloc(ioBufferSize));
    return LibavPtr<AVIOContext>(avio_alloc_context(buffer, ioBufferSize, 0, &input, readInput, nullptr,
                                                    input.isRegular() ? seekInput : nullptr));
}

}  // namespace qvo
