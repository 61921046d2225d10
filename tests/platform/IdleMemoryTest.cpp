#include "Plumtide/platform/IdleMemory.h"

#include "tests/support/TestHome.h"

#include <sys/mman.h>

#include <cstdio>
#include <memory>

namespace {

constexpr size_t size = 256 * 1024;

/// Some pages of a file, private to this process; `change` writes into them before they become read-only.
struct Pages
{
    Pages(QFile &file, bool change)
        : data(static_cast<char *>(::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE, file.handle(), 0)))
    {
        if (change)
            data[size / 2] = 'c';
        EXPECT_EQ(::mprotect(data, size, PROT_READ), 0);
        EXPECT_EQ(QByteArray(data, size).count('f'), size - (change ? 1 : 0)); // all are in memory
    }
    ~Pages() { ::munmap(data, size); }

    long residentKilobytes() const
    {
        const std::unique_ptr<std::FILE, int (*)(std::FILE *)> maps(std::fopen("/proc/self/smaps", "re"), &std::fclose);
        char line[4096];
        bool isOurs = false;
        while (std::fgets(line, sizeof line, maps.get())) {
            unsigned long from = 0;
            unsigned long to = 0;
            long kilobytes = 0;
            if (std::sscanf(line, "%lx-%lx", &from, &to) == 2)
                isOurs = from == reinterpret_cast<unsigned long>(data);
            else if (isOurs && std::sscanf(line, "Rss: %ld", &kilobytes) == 1)
                return kilobytes;
        }
        return -1;
    }

    char *const data;
};

} // namespace

TEST(IdleMemory, DropsWhatIsStillTheFilesAndNothingElse)
{
    const TestHome home;
    home.write(QStringLiteral("file"), QByteArray(size, 'f'));
    QFile file(home.path(QStringLiteral("file")));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const Pages untouched(file, false);
    const Pages changed(file, true); // as the loader leaves what it has relocated
    ASSERT_EQ(untouched.residentKilobytes(), size / 1024);
    giveBackIdleMemory();
    EXPECT_EQ(untouched.residentKilobytes(), 0);
    EXPECT_EQ(untouched.data[size / 2], 'f');
    EXPECT_EQ(changed.data[size / 2], 'c');
}
