// A file that appears under its name only when it is complete.
#ifndef QVOVC_QVO_OUTPUT_FILE_H
#define QVOVC_QVO_OUTPUT_FILE_H

#include <cstdio>
#include <string>
#include <vector>

namespace qvo {

// Throws Failure where one of the outputs would overwrite the input or another one. Empty names stand for nothing.
void checkOutputs(const std::string& input, const std::vector<std::string>& outputs);

// Written under a temporary name beside its own, which commit() gives it; without commit() it vanishes and whatever
// had that name before stays as it was. Standard output ("-"), pipes and devices are written directly.
class OutputFile {
  public:
    // Throws Failure where the file cannot be written.
    explicit OutputFile(const std::string& path);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    const std::string& path() const { return path_; }
    void write(const void* data, std::size_t size);
    std::FILE* handle() { return file_; }
    // All has been written. Where several files belong together none is committed before all are closed.
    void close();
    void commit();

  private:
    [[noreturn]] void fail() const;

    std::string path_;
    std::string target_;     // path_ behind its symbolic links
    std::string temporary_;  // empty where written directly
    std::FILE* file_ = nullptr;
};

}  // namespace qvo

#endif
