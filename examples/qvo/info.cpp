// qvo info: what a stream says about itself.
#include <algorithm>
#include <cstdio>
#include <memory>
#include <numeric>

#include "commands.h"
#include "failure.h"
#include "source.h"

namespace qvo {

namespace {

// Feeds the decoder in small pieces, so that it decodes little more than the headers.
void readHeaders(Source& source, codecs::Decoder& decoder) {
    constexpr std::size_t piece = 512;
    const codecs::Decoder::Sink ignore = [](const codecs::FrameView&) {};
    for (;;) {
        auto bytes = source.next();
        if (bytes.empty()) break;
        while (!bytes.empty() && !decoder.hasInfo()) {
            const std::size_t count = std::min(piece, bytes.size());
            decoder.decode(bytes.data(), count, ignore);
            bytes = bytes.subspan(count);
        }
        if (decoder.hasInfo()) return;
    }
    decoder.finish(ignore);
}

void printAspect(const codecs::StreamInfo& info) {
    if (info.aspectNumerator <= 0 || info.aspectDenominator <= 0) return;
    const long width = static_cast<long>(info.width) * info.aspectNumerator;
    const long height = static_cast<long>(info.height) * info.aspectDenominator;
    const long divisor = std::gcd(width, height);
    std::printf("aspect      sample %d:%d, display %ld:%ld\n", info.aspectNumerator, info.aspectDenominator,
                width / divisor, height / divisor);
}

}  // namespace

int info(const std::string& path, const Codec* codec) {
    const Opened opened = openSource(path, codec);
    const auto decoder = opened.codec->make();
    try {
        readHeaders(*opened.source, *decoder);
    } catch (const codecs::UnsupportedStream& unsupported) {
        throw Failure(path, unsupported.what());
    }
    if (!decoder->hasInfo()) throw Failure(path, "no headers of a video in it");

    const codecs::StreamInfo& info = decoder->info();
    std::printf("file        %s\n", path.c_str());
    std::printf("format      %s\n", opened.source->format().c_str());
    std::printf("codec       %s\n", info.codec.c_str());
    if (!info.profile.empty()) std::printf("profile     %s\n", info.profile.c_str());
    std::printf("size        %dx%d\n", info.width, info.height);
    printAspect(info);
    std::printf("rate        %.3f frames/s, %s\n", static_cast<double>(info.rateNumerator) / info.rateDenominator,
                info.interlaced ? "interlaced" : "progressive");
    if (info.bitRate > 0) std::printf("bit rate    %ld bit/s\n", info.bitRate);
    return exitDone;
}

}  // namespace qvo
