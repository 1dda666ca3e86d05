#include "qvovc/types.h"

namespace {

constexpr QvoLibraryVersion version = {4, 1, 10, 38, {'p', 'x', 0, 0}, "libqvovcpx.so", "v4.1", "Jul 22 2004"};

}  // namespace

const QvoLibraryVersion* qvovcGetLibVersion(void) {
    return &version;
}
