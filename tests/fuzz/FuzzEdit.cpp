#include "tests/fuzz/EditOracles.h"

// Any bytes as the other program's file.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    PLUMTIDE_ORACLE(QByteArray(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size)));
    return 0;
}
