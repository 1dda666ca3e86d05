// qvo: decodes and encodes video streams with the example codecs.
#include <fcntl.h>
#include <signal.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <limits>
#include <map>
#include <string>

#include "commands.h"
#include "failure.h"

namespace qvo {

namespace {

volatile sig_atomic_t signalled = 0;

// What is to be ignored, as by nohup, stays so.
void setHandler(int signal, const struct sigaction& action) {
    struct sigaction before {};
    sigaction(signal, nullptr, &before);
    if (before.sa_handler != SIG_IGN) sigaction(signal, &action, nullptr);
}

void catchSignals() {
    struct sigaction action {};
    action.sa_handler = [](int) { signalled = 1; };
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        setHandler(signal, action);
    // A closed pipe fails like a full disk.
    signal(SIGPIPE, SIG_IGN);
}

// What is opened later must not take the place of a standard stream that the caller has closed.
void holdStandardStreams() {
    for (int descriptor = 0; descriptor <= 2; ++descriptor)
        if (fcntl(descriptor, F_GETFD) < 0) open("/dev/null", O_RDONLY);
}

CLI::Validator named() {
    return CLI::Validator([](const std::string& name) { return name.empty() ? "needs a name" : ""; }, "");
}

CLI::Validator wholeNumber(int lowest) {
    return CLI::Range(lowest, std::numeric_limits<int>::max()).description("");
}

void addCodecOption(CLI::App& command, const Codec*& codec) {
    const auto set = [&codec](const std::string& name) {
        codec = findCodec(name);
        if (!codec) throw CLI::ValidationError("--codec", "no codec " + name + "; there are: " + codecNames());
    };
    command.add_option_function<std::string>("--codec", set, "The codec, instead of finding out by content")
        ->type_name("NAME");
}

void addEncodeOptions(CLI::App& command, EncodeOptions& options) {
    codecs::EncoderSettings& settings = options.settings;
    command.add_option("FILE", options.input, "The pictures, 8-bit 4:2:0 as Y4M; - for standard input")->required();
    const auto setCodec = [&options](const std::string& name) {
        options.codec = findEncoder(name);
        if (!options.codec)
            throw CLI::ValidationError("--codec", "no encoder " + name + "; there are: " + encoderNames());
    };
    command.add_option_function<std::string>("-c,--codec", setCodec, "The codec: " + encoderNames())
        ->required()
        ->type_name("NAME");
    CLI::Option* const quantiser =
        command.add_option("-q", settings.quantiser, "Constant quantiser")->check(wholeNumber(1))->type_name("Q");
    const auto setRate = [&settings](const double& rate) {
        constexpr double highest = 1e6;
        if (!(rate >= 1 && rate <= highest))
            throw CLI::ValidationError("-b", "bit rates are 1 to 1000000 thousand bits per second");
        settings.bitRate = static_cast<long>(rate * 1000);
    };
    command.add_option_function<double>("-b", setRate, "Bit rate, in thousands of bits per second")
        ->excludes(quantiser)
        ->type_name("KBPS");
    command.add_option("-o", options.output, "The stream; - for standard output")
        ->required()
        ->check(named())
        ->type_name("OUT");
    command.add_option("--recon", options.recon, "Write what a decoder will show, as Y4M")
        ->check(named())
        ->type_name("Y4M");
    command.add_option("--frames", options.frames, "Stop after N pictures")->check(wholeNumber(1))->type_name("N");
    command.add_option("--key-interval", settings.keyInterval, "Pictures from one intra picture to the next")
        ->check(wholeNumber(1))
        ->type_name("N");
    command.add_option("-B", settings.bPictures, "B pictures between two others")
        ->check(wholeNumber(0))
        ->type_name("N");
    command
        .add_option("--packet-bits", settings.packetBits,
                    "Begin packets that decode on their own, about so long (mpeg4, h263)")
        ->check(wholeNumber(1))
        ->type_name("N");
    command.add_flag("--matrix", settings.matrixQuantiser, "Quantise by matrices (mpeg4: Advanced Simple Profile)");
    command.add_flag("!--one-vector", settings.fourVectors, "No more than one vector per macroblock (mpeg4)");
    command.add_flag("--stats", options.stats, "Print bits, PSNR, frames per second and time per stage");
}

int run(int argc, char** argv) {
    CLI::App app{"Decodes and encodes video streams.", "qvo"};
    app.require_subcommand(1);
    app.failure_message([](const CLI::App*, const CLI::Error& error) {
        return std::string("qvo: ") + error.what() + " (qvo --help shows how)\n";
    });
    app.footer("Codecs: " + codecNames());

    DecodeOptions decodeOptions;
    CLI::App& decodeCommand = *app.add_subcommand("decode", "Decode a video stream");
    decodeCommand.add_option("FILE", decodeOptions.input, "The stream; - for standard input")->required();
    decodeCommand.add_option("-o", decodeOptions.output, "Video file, .y4m or .yuv; - for standard output")
        ->check(named())
        ->type_name("OUT");
    const std::map<std::string, VideoFormat> formats = {{"y4m", VideoFormat::y4m}, {"yuv", VideoFormat::yuv}};
    decodeCommand
        .add_option_function<std::string>(
            "--format", [&](const std::string& name) { decodeOptions.format = formats.at(name); },
            "Format of OUT, instead of by its name")
        ->check(CLI::IsMember(formats).description(""))
        ->type_name("y4m|yuv");
    decodeCommand.add_flag("--md5", decodeOptions.md5, "Print the MD5 of all frames, planar");
    decodeCommand.add_option("--frames", decodeOptions.frames, "Stop after N frames")
        ->check(wholeNumber(1))
        ->type_name("N");
    decodeCommand.add_option("--png", decodeOptions.pngFolder, "Write every frame as PNG into DIR")
        ->check(named())
        ->type_name("DIR");
    decodeCommand.add_option("--sheet", decodeOptions.sheet, "Write a contact sheet of twelve frames as PNG")
        ->check(named())
        ->type_name("PNG");
    decodeCommand.add_flag("--420", decodeOptions.to420, "Convert 4:1:1 (DV) to 4:2:0");
    decodeCommand.add_flag("--deblock", decodeOptions.deblock,
                           "Smooth the edges of blocks for display (MPEG-4, H.263)");
    decodeCommand.add_flag("--dering", decodeOptions.dering,
                           "Smooth the ringing within blocks for display (MPEG-4, H.263)");
    decodeCommand.add_flag("--stats", decodeOptions.stats, "Print frames per second and time per stage");
    addCodecOption(decodeCommand, decodeOptions.codec);

    EncodeOptions encodeOptions;
    CLI::App& encodeCommand = *app.add_subcommand("encode", "Encode pictures into a video stream");
    addEncodeOptions(encodeCommand, encodeOptions);

    std::string infoInput;
    const Codec* infoCodec = nullptr;
    CLI::App& infoCommand = *app.add_subcommand("info", "Print what a stream says about itself");
    infoCommand.add_option("FILE", infoInput, "The stream; - for standard input")->required();
    addCodecOption(infoCommand, infoCodec);

    CompareOptions compareOptions;
    CLI::App& compareCommand = *app.add_subcommand("compare", "Print the PSNR between two decoded videos");
    compareCommand.add_option("A", compareOptions.first, "Video file, .y4m or planar")->required();
    compareCommand.add_option("B", compareOptions.second, "Video file, .y4m or planar")->required();
    compareCommand.add_option("--size", compareOptions.size, "Picture size, where neither file says it")
        ->type_name("WxH");
    compareCommand.add_option("--floor", compareOptions.floor, "Fail where a frame is below")->type_name("DB");
    compareCommand.add_flag("-q,--quiet", compareOptions.quiet, "Only the summary");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? exitDone : exitFailed;
    }
    if (decodeCommand.parsed()) return decode(decodeOptions);
    if (encodeCommand.parsed()) {
        if (encodeOptions.settings.quantiser == 0 && encodeOptions.settings.bitRate == 0)
            throw Failure("encode", "either -q or -b must be given");
        return encode(encodeOptions);
    }
    if (infoCommand.parsed()) return info(infoInput, infoCodec);
    return compare(compareOptions);
}

}  // namespace

bool interrupted() {
    return signalled;
}

}  // namespace qvo

int main(int argc, char** argv) {
    qvo::holdStandardStreams();
    qvo::catchSignals();
    try {
        const int code = qvo::run(argc, argv);
        if (std::fflush(stdout) == 0 && !std::ferror(stdout)) return code;
        std::fprintf(stderr, "qvo: standard output: %s\n", std::strerror(errno));
    } catch (const qvo::Interrupted&) {
        return qvo::exitInterrupted;
    } catch (const std::exception& error) {
        if (qvo::interrupted()) return qvo::exitInterrupted;
        std::fprintf(stderr, "qvo: %s\n", error.what());
    }
    return qvo::exitFailed;
}
