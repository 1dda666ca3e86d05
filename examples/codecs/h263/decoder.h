// ITU-T H.263 (baseline and the modes of Annexes D, F, I, J and T), and with it MPEG-4 video with short headers:
// elementary streams to pictures.
#ifndef QVOVC_EXAMPLES_H263_DECODER_H
#define QVOVC_EXAMPLES_H263_DECODER_H

#include <memory>

#include "common/decoder.h"

namespace codecs {

std::unique_ptr<Decoder> makeH263Decoder();

}  // namespace codecs

#endif
