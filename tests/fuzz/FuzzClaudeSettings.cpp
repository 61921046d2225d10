#include "tests/fuzz/EditOracles.h"

// Any bytes as settings.json.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    editClaudeSettings(QByteArray(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size)));
    return 0;
}
