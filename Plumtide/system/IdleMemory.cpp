#include "Plumtide/system/IdleMemory.h"

#include <malloc.h>
#include <sys/mman.h>

#include <array>
#include <cstdio>
#include <memory>

namespace {

// A mapped range, as /proc/self/smaps tells of it; see proc(5).
struct Mapping
{
    unsigned long from = 0;
    unsigned long to = 0;
    bool isWritable = true;
    bool isOfFile = false;
    unsigned long anonymousKilobytes = 1; // pages that are no longer the file's: relocated, patched, or never its
};

// Only where every page is the file's, dropping them loses nothing. That leaves out what the loader has written to and
// then protected, which looks the same in every other respect.
void drop(const Mapping &mapping)
{
    if (mapping.isOfFile && !mapping.isWritable && mapping.anonymousKilobytes == 0)
        ::madvise(reinterpret_cast<void *>(mapping.from), mapping.to - mapping.from, MADV_DONTNEED);
}

} // namespace

void giveBackIdleMemory()
{
    ::malloc_trim(0);
    const std::unique_ptr<std::FILE, int (*)(std::FILE *)> maps(std::fopen("/proc/self/smaps", "re"), &std::fclose);
    if (!maps)
        return;
    Mapping mapping;
    std::array<char, 4096 + 256> line{};
    while (std::fgets(line.data(), line.size(), maps.get())) {
        unsigned long from = 0;
        unsigned long to = 0;
        char access[5] = {};
        char path = 0;
        unsigned long kilobytes = 0;
        // A header has the path, if any, as the sixth field; the names of the kernel's own ranges are in brackets.
        if (const int count = std::sscanf(line.data(), "%lx-%lx %4s %*s %*s %*s %c", &from, &to, access, &path);
            count >= 3)
            mapping = {.from = from, .to = to, .isWritable = access[1] == 'w', .isOfFile = count == 4 && path == '/'};
        else if (std::sscanf(line.data(), "Anonymous: %lu", &kilobytes) == 1)
            mapping.anonymousKilobytes = kilobytes;
        else if (std::sscanf(line.data(), "VmFlags:%c", &path) == 1) // the last line of a range
            drop(mapping);
    }
}
