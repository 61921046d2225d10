#include "Plumtide/store/TaskFile.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

// Any tasks.json: no crash, and whatever is read is written so that it reads the same again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray content(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const auto lines = TaskFile::decode(content);
    if (!lines)
        return 0;
    const QByteArray written = TaskFile::encode(*lines);
    const auto again = TaskFile::decode(written);
    if (!again || *again != *lines || TaskFile::encode(*again) != written)
        std::abort();
    return 0;
}
