#include "Plumtide/system/Defaults.h"

#include "Plumtide/system/Descriptor.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cmath>

#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 largestFile = 1 << 20; // bytes; it holds a handful of lines
const QByteArray generalSection = "[General]";

// Whole numbers up to this size are written without a fraction; a double holds each of them exactly.
constexpr double largestWhole = 9007199254740992.0; // 2^53

QString numberText(double value)
{
    if (std::abs(value) <= largestWhole && std::trunc(value) == value)
        return QString::number(static_cast<qint64>(value));
    return QString::number(value, 'g', QLocale::FloatingPointShortest);
}

std::optional<double> numberFrom(const QString &text)
{
    bool isNumber = false;
    const double value = text.trimmed().toDouble(&isNumber);
    return isNumber && std::isfinite(value) ? std::optional(value) : std::nullopt;
}

// The same file with the same content, as far as the system tells.
bool isSameFile(const struct stat &a, const struct stat &b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size
        && a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

bool isSectionHeader(const QByteArray &line)
{
    return line.trimmed().startsWith('[');
}

} // namespace

Defaults::Defaults(QString path) : m_path(std::move(path)) {}

QString Defaults::configHome(const QString &home)
{
    const QString named = qEnvironmentVariable("XDG_CONFIG_HOME");
    return QDir::isAbsolutePath(named) ? named : home + u"/.config"_s;
}

QString Defaults::standardPath(const QString &home)
{
    return configHome(home) + u"/plumtide/plumtide.conf"_s;
}

bool Defaults::boolean(const QString &key)
{
    return text(key) == u"true"_s;
}

std::optional<double> Defaults::number(const QString &key)
{
    const std::optional<QString> value = text(key);
    return value ? numberFrom(*value) : std::nullopt;
}

std::optional<QList<double>> Defaults::numbers(const QString &key)
{
    const std::optional<QString> value = text(key);
    if (!value)
        return std::nullopt;
    QList<double> result;
    const QStringList parts = value->split(u',');
    for (const QString &part : parts) {
        const std::optional<double> element = numberFrom(part);
        if (!element)
            return std::nullopt;
        result.append(*element);
    }
    return result;
}

void Defaults::setBoolean(const QString &key, bool value, Files::Flush flush)
{
    setText(key, value ? u"true"_s : u"false"_s, flush);
}

void Defaults::setNumber(const QString &key, double value, Files::Flush flush)
{
    setText(key, numberText(value), flush);
}

void Defaults::setNumbers(const QString &key, const QList<double> &values, Files::Flush flush)
{
    QStringList texts;
    for (double value : values)
        texts.append(numberText(value));
    setText(key, texts.join(u", "_s), flush);
}

bool Defaults::readIfChanged()
{
    struct stat named = {};
    if (::stat(QFile::encodeName(m_path).constData(), &named) != 0)
        return errno == ENOENT || errno == ENOTDIR; // values that could not be written stay readable
    if (isSameFile(named, m_read))
        return true;
    Outcome<QByteArray> content = Files::read(m_path, largestFile);
    if (!content)
        return false;
    m_lines = content.value().split('\n');
    if (m_lines.last().isEmpty())
        m_lines.removeLast();
    m_read = named;
    m_isAhead = false;
    return true;
}

qsizetype Defaults::lineOf(const QString &key) const
{
    const QByteArray wanted = key.toUtf8();
    bool isGeneral = true; // keys above the first header belong to it, too
    for (qsizetype i = 0; i < m_lines.size(); ++i) {
        const QByteArray &line = m_lines.at(i);
        if (isSectionHeader(line))
            isGeneral = line.trimmed() == generalSection;
        else if (isGeneral && line.first(qMax<qsizetype>(line.indexOf('='), 0)).trimmed() == wanted)
            return i;
    }
    return -1;
}

std::optional<QString> Defaults::text(const QString &key)
{
    const std::lock_guard lock(m_mutex);
    readIfChanged();
    const qsizetype line = lineOf(key);
    if (line < 0)
        return std::nullopt;
    return QString::fromUtf8(m_lines.at(line).sliced(m_lines.at(line).indexOf('=') + 1)).trimmed();
}

void Defaults::setText(const QString &key, const QString &value, Files::Flush flush)
{
    const std::lock_guard lock(m_mutex);
    const QByteArray written = key.toUtf8() + '=' + value.toUtf8();
    if (flush == Files::Flush::Later && overwriteLine(lineOf(key), written))
        return;
    const bool mayWrite = readIfChanged();
    if (const qsizetype line = lineOf(key); line >= 0) {
        m_lines[line] = written;
    } else {
        qsizetype header = 0;
        while (header < m_lines.size() && m_lines.at(header).trimmed() != generalSection)
            ++header;
        if (header == m_lines.size())
            m_lines.append(generalSection);
        m_lines.insert(header + 1, written);
    }

    if (mayWrite)
        save(flush);
    else
        m_isAhead = true;
}

void Defaults::remove(const QString &key)
{
    const std::lock_guard lock(m_mutex);
    const bool mayWrite = readIfChanged();
    const qsizetype line = lineOf(key);
    if (line < 0)
        return;
    m_lines.removeAt(line);
    if (mayWrite)
        save(Files::Flush::BeforeRename);
    else
        m_isAhead = true;
}

void Defaults::save(Files::Flush flush)
{
    m_isAhead = true;
    const Files::ReplaceOptions options{.flush = flush};
    const QByteArray content = m_lines.join('\n') + '\n';
    if (!Files::replace(m_path, content, options)) {
        // Most likely the first write of all.
        if (!Files::makeDirectory(QFileInfo(m_path).path()) || !Files::replace(m_path, content, options))
            return;
    }
    rememberFile();
}

bool Defaults::overwriteLine(qsizetype line, const QByteArray &text)
{
    // Ahead of the file, the lines before it stand elsewhere there.
    if (line < 0 || m_isAhead || m_lines.at(line).size() != text.size())
        return false;
    const Descriptor file(::open(QFile::encodeName(m_path).constData(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
    if (!file.isOpen())
        return false;
    qint64 place = 0;
    for (qsizetype i = 0; i < line; ++i)
        place += m_lines.at(i).size() + 1;
    struct stat opened = {};
    const bool isWritten = ::fstat(file.get(), &opened) == 0 && isSameFile(opened, m_read)
        && ::pwrite(file.get(), text.constData(), static_cast<size_t>(text.size()), place) == text.size();
    if (isWritten) {
        m_lines[line] = text;
        ::fstat(file.get(), &m_read);
    }
    return isWritten;
}

void Defaults::rememberFile()
{
    if (::stat(QFile::encodeName(m_path).constData(), &m_read) != 0)
        m_read = {};
    m_isAhead = false;
}
