/* Includes the public header and nothing else, as C99. */
#include <qvovc.h>

int main(void) {
    const QvoLibraryVersion* version = qvovcGetLibVersion();
    Qvo16s block[64] = {8};
    const QvoStatus status = qvoiDCT8x8Inv_16s_C1I(block);
    return version->major == 4 && status == qvoStatusOk && block[63] == 1 ? 0 : 1;
}
