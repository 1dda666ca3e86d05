// What ends the program before its work is done.
#ifndef QVOVC_QVO_FAILURE_H
#define QVOVC_QVO_FAILURE_H

#include <stdexcept>
#include <string>

namespace qvo {

// Exit codes of the program.
enum ExitCode {
    exitDone = 0,           // all done, concealed damage included
    exitDifferent = 1,      // compare: the videos differ by more than allowed
    exitFailed = 2,         // unusable arguments, input or output
    exitInterrupted = 130,  // by Ctrl-C or a request to end
};

// what() is the one line shown: the name of the file and the reason.
struct Failure : std::runtime_error {
    Failure(const std::string& path, const std::string& reason) : std::runtime_error(path + ": " + reason) {}
};

// The user wants the program to end.
struct Interrupted : std::exception {};

}  // namespace qvo

#endif
