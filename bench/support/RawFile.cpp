#include "bench/support/RawFile.h"

#include "bench/support/Report.h"

#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

void RawFile::replace(const QByteArray &path, const QByteArray &content, qsizetype size)
{
    const QByteArray temporary = path + ".new";
    const int descriptor = ::open(temporary.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    const ssize_t written = ::write(descriptor, content.constData(), static_cast<size_t>(size));
    ::close(descriptor);
    if (written != size || ::rename(temporary.constData(), path.constData()) != 0)
        Report::giveUp("cannot write " + path);
}
