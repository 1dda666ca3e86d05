// The commands of the program. Each returns the exit code and throws Failure with the line to show.
#ifndef QVOVC_QVO_COMMANDS_H
#define QVOVC_QVO_COMMANDS_H

#include <optional>
#include <string>

#include "encoders.h"
#include "outputs.h"
#include "registry.h"

namespace qvo {

struct DecodeOptions {
    std::string input;
    const Codec* codec = nullptr;  // null: by content
    std::string output;            // empty: none
    std::optional<VideoFormat> format;
    std::string pngFolder;
    std::string sheet;
    bool md5 = false;
    bool stats = false;
    int frames = 0;  // 0: all
    bool to420 = false;
    bool deblock = false;
    bool dering = false;
};
int decode(const DecodeOptions& options);

struct EncodeOptions {
    std::string input;
    const EncoderEntry* codec = nullptr;
    codecs::EncoderSettings settings;  // but for what the input says
    std::string output;
    std::string recon;  // Y4M of the reconstruction; empty: none
    int frames = 0;     // 0: all
    bool stats = false;
};
int encode(const EncodeOptions& options);

int info(const std::string& path, const Codec* codec);

struct CompareOptions {
    std::string first;
    std::string second;
    std::string size;             // WIDTHxHEIGHT, needed where neither file says it
    std::optional<double> floor;  // dB every frame has to reach
    bool quiet = false;           // only the summary
};
int compare(const CompareOptions& options);

// Set by the signals that ask the program to end; long work looks at it now and then.
bool interrupted();

}  // namespace qvo

#endif
