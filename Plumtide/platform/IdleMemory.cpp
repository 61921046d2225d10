#include "Plumtide/platform/IdleMemory.h"

#include <malloc.h>
#include <sys/mman.h>

#include <array>
#include <cstdio>
#include <memory>
#include <string_view>

namespace {

bool isFontFile(std::string_view path)
{
    for (const std::string_view ending : {".ttc", ".otf", ".ttf", ".pfb"}) {
        if (path.ends_with(ending))
            return true;
    }
    return false;
}

} // namespace

void giveBackIdleMemory()
{
    ::malloc_trim(0);
    const std::unique_ptr<std::FILE, int (*)(std::FILE *)> maps(std::fopen("/proc/self/maps", "re"), &std::fclose);
    if (!maps)
        return;
    std::array<char, 4096 + 256> line{};
    while (std::fgets(line.data(), line.size(), maps.get())) {
        unsigned long from = 0;
        unsigned long to = 0;
        char access[5] = {};
        int pathAt = 0;
        if (std::sscanf(line.data(), "%lx-%lx %4s %*s %*s %*s %n", &from, &to, access, &pathAt) < 3 || pathAt == 0)
            continue;
        std::string_view path(line.data() + pathAt);
        if (path.ends_with('\n'))
            path.remove_suffix(1);
        // Only what cannot have been written to: its pages are the file's, and dropping them loses nothing.
        if (access[1] == '-' && isFontFile(path))
            ::madvise(reinterpret_cast<void *>(from), to - from, MADV_DONTNEED);
    }
}
