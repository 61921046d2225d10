#include <cstdio>
#include <cstdlib>
#include <vector>

#include <fcntl.h>
#include <sys/inotify.h>
#include <unistd.h>

// The least that following a log takes: wait for a change, read what is new, replace a file of a given size.
//   plumtide_bench_bare_loop LOG TARGET BYTES
int main(int argc, char **argv)
{
    if (argc != 4)
        return 2;
    const char *target = argv[2];
    char temporary[4096];
    std::snprintf(temporary, sizeof temporary, "%s.new", target);
    const std::vector<char> content(std::strtoul(argv[3], nullptr, 10), 'x');
    const int log = ::open(argv[1], O_RDONLY | O_CLOEXEC);
    const int changes = ::inotify_init1(IN_CLOEXEC);
    if (log < 0 || ::inotify_add_watch(changes, argv[1], IN_MODIFY) < 0)
        return 1;
    static char lines[65536];
    alignas(inotify_event) static char reports[4096];
    while (::read(changes, reports, sizeof reports) > 0) {
        while (::read(log, lines, sizeof lines) > 0) {
        }
        const int file = ::open(temporary, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        if (::write(file, content.data(), content.size()) != static_cast<ssize_t>(content.size()))
            return 1;
        ::close(file);
        if (::rename(temporary, target) != 0)
            return 1;
    }
    return 1;
}
