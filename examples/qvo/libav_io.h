// An Input as libavformat reads it, and owners of libav's objects.
#ifndef QVOVC_QVO_LIBAV_IO_H
#define QVOVC_QVO_LIBAV_IO_H

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavcodec/bsf.h>
#include <libavformat/avformat.h>
#include <libavformat/avio.h>
}

#include <memory>

#include "input.h"

namespace qvo {

struct LibavDeleter {
    void operator()(AVIOContext* io) const {
        av_freep(&io->buffer);
        avio_context_free(&io);
    }
    void operator()(AVFormatContext* format) const { avformat_close_input(&format); }
    void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVBSFContext* filter) const { av_bsf_free(&filter); }
};

template <class T>
using LibavPtr = std::unique_ptr<T, LibavDeleter>;

// The input must outlive what is made of it.
LibavPtr<AVIOContext> openLibavIo(Input& input);

}  // namespace qvo

#endif
