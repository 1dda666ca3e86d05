// The bytes of an input file or of standard input, whose beginning can be looked at before it is read.
#ifndef QVOVC_QVO_INPUT_H
#define QVOVC_QVO_INPUT_H

#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace qvo {

class Input {
  public:
    // "-" is standard input. Throws Failure where the file cannot be opened or read.
    explicit Input(const std::string& path);

    const std::string& path() const { return path_; }

    // The first bytes, up to 1 MiB: what recognising a stream goes by.
    std::span<const std::uint8_t> head() const { return head_; }

    // The next bytes from the current position on; 0 at the end.
    std::size_t read(std::uint8_t* to, std::size_t size);

    // A regular file has a size and can be read from any position, anything else again only while its reading has not
    // gone beyond the head.
    bool isRegular() const { return size_ >= 0; }
    std::int64_t size() const { return size_; }
    std::int64_t position() const { return position_; }
    // The part of the file that has been read, 0 to 1; negative where the file has no size.
    double progress() const { return isRegular() ? static_cast<double>(position_) / static_cast<double>(size_) : -1; }
    void seek(std::int64_t position);

  private:
    struct Closer {
        void operator()(std::FILE* file) const {
            if (file != stdin) std::fclose(file);
        }
    };
    std::size_t readFile(std::uint8_t* to, std::size_t size);

    std::string path_;
    std::unique_ptr<std::FILE, Closer> file_;
    std::vector<std::uint8_t> head_;
    std::int64_t size_ = -1;
    std::int64_t position_ = 0;
};

}  // namespace qvo

#endif
