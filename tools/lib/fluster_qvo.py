"""qvo as a decoder of the conformance runner fluster. tools/fluster runs fluster with it; copied into the folder
fluster/decoders of a checkout it works as well, with qvo in the search path."""
from fluster.codec import Codec, OutputFormat
from fluster.decoder import Decoder, register_decoder
from fluster.utils import run_pipe_command_with_std_output


@register_decoder
class QvoH264Decoder(Decoder):
    """The H.264 decoder of qvo"""

    name = "qvo-H.264"
    description = "qvo's H.264 decoder"
    codec = Codec.H264
    binary = "qvo"

    def decode(self, input_filepath: str, output_filepath: str, output_format: OutputFormat, timeout: int,
               verbose: bool, keep_files: bool) -> str:
        """The MD5 of all frames; nothing is written to output_filepath"""
        command = [self.binary, "decode", "--codec", "h264", "--md5", input_filepath]
        return run_pipe_command_with_std_output(command, timeout=timeout, verbose=verbose)[0].strip()
