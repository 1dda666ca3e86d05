#include "source.h"

#include <array>
#include <utility>

#include "failure.h"

namespace qvo {

namespace {

class ElementaryStream : public Source {
  public:
    using Source::Source;

    std::span<const std::uint8_t> next() override {
        return std::span(buffer_).first(input_->read(buffer_.data(), buffer_.size()));
    }
    std::string format() const override { return "elementary stream"; }

  private:
    std::array<std::uint8_t, 1 << 15> buffer_;
};

#ifndef QVO_CONTAINERS
// AVI, MP4 and Matroska by their first bytes: inside them an elementary stream would be found, but in pieces.
bool looksLikeContainer(std::span<const std::uint8_t> head) {
    const std::string_view text(reinterpret_cast<const char*>(head.data()), head.size());
    return text.starts_with("RIFF") || text.starts_with("\x1A\x45\xDF\xA3") || text.substr(0, 8).ends_with("ftyp");
}
#endif

}  // namespace

Opened openSource(const std::string& path, const Codec* codec) {
    auto input = std::make_unique<Input>(path);
    const auto elementary = [&](const Codec* found) {
        return Opened{std::make_unique<ElementaryStream>(std::move(input)), codec ? codec : found};
    };
    if (const Codec* found = probeCodecs(input->head(), certain)) return elementary(found);

    std::string reason = "not a video stream that qvo knows";
#ifdef QVO_CONTAINERS
    // A container's word for its codec counts for more than what its bytes look like by chance.
    if (auto source = openContainer(input, reason)) {
        const std::string name = source->codecName();
        const Codec* found = codec ? codec : findCodec(name);
        if (!found) throw Failure(path, "its video is " + name + ", which qvo cannot decode");
        return {std::move(source), found};
    }
#else
    if (looksLikeContainer(input->head()))
        throw Failure(path, "a container, and this qvo was built without libavformat");
#endif
    const Codec* found = codec ? codec : probeCodecs(input->head(), possible);
    if (!found) throw Failure(path, reason);
    return elementary(found);
}

}  // namespace qvo
