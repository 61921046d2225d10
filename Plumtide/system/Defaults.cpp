#include "Plumtide/system/Defaults.h"

#include "Plumtide/system/Files.h"
#include "Plumtide/system/Log.h"

#include <QDir>
#include <QFileInfo>
#include <QUrl>

#include <cerrno>
#include <cmath>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

// Only if the size of the file stays the same, as it does at most changes. A kill cannot interrupt a single small
// write, and on ext4 this takes 3 us, while replacing the file by a rename takes some hundred.
bool overwrite(const QString &path, const QByteArray &content)
{
    QFile file(path);
    return file.size() == content.size()
        && file.open(QIODevice::ReadWrite | QIODevice::ExistingOnly | QIODevice::Unbuffered)
        && file.write(content) == content.size();
}

} // namespace

Defaults::Defaults(QString path, QString sparePath) : m_path(std::move(path)), m_sparePath(std::move(sparePath))
{
    const Outcome<void> read = readFile(m_path);
    m_isReadable = read || read.failure().code == ENOENT || read.failure().code == ENOTDIR;
    if (!m_isReadable)
        std::fprintf(stderr, "Plumtide: %s\n", qUtf8Printable(read.failure().sentence));
    m_isDirty = m_hasSpare = static_cast<bool>(readFile(m_sparePath));
    qCDebug(systemLog) << "read" << m_path << m_values;
}

QString Defaults::configHome(const QString &home)
{
    const QString named = qEnvironmentVariable("XDG_CONFIG_HOME");
    return QDir::isAbsolutePath(named) ? named : home + u"/.config"_s;
}

QString Defaults::standardPath(const QString &home)
{
    return configHome(home) + u"/plumtide/plumtide.conf"_s;
}

std::optional<double> Defaults::number(const QString &key) const
{
    const QList<double> all = numbers(key);
    return all.size() == 1 ? std::optional(all.first()) : std::nullopt;
}

QList<double> Defaults::numbers(const QString &key) const
{
    QList<double> result;
    const QStringList parts = m_values.value(key).split(u',');
    for (const QString &part : parts) {
        bool isNumber = false;
        result.append(part.trimmed().toDouble(&isNumber));
        if (!isNumber || !std::isfinite(result.last()))
            return {};
    }
    return result;
}

void Defaults::setNumbers(const QString &key, const QList<double> &values)
{
    QStringList texts;
    for (const double value : values) // as the shortest text that reads back equal
        texts.append(QString::number(value, 'f', QLocale::FloatingPointShortest));
    setText(key, texts.join(u", "_s));
}

QStringList Defaults::texts(const QString &key) const
{
    QStringList values = m_values.value(key).split(u',', Qt::SkipEmptyParts);
    for (QString &value : values)
        value = QUrl::fromPercentEncoding(value.trimmed().toLatin1());
    return values;
}

void Defaults::setTexts(const QString &key, const QStringList &values)
{
    QStringList encoded;
    for (const QString &value : values)
        encoded.append(QString::fromLatin1(QUrl::toPercentEncoding(value)));
    setText(key, encoded.join(u", "_s));
}

void Defaults::remove(const QString &key)
{
    if (m_values.remove(key) != 0)
        write();
}

void Defaults::retryWrite()
{
    if (m_isDirty && m_isReadable)
        write();
}

Outcome<void> Defaults::readFile(const QString &path)
{
    constexpr qint64 largestFile = 1 << 20; // bytes; it has a few lines
    const Outcome<QByteArray> content = Files::read(path, largestFile);
    if (!content)
        return content.failure();
    const QStringList lines = QString::fromUtf8(content.value()).split(u'\n');
    for (const QString &line : lines) {
        if (const qsizetype sign = line.indexOf(u'='); sign > 0)
            m_values.insert(line.first(sign).trimmed(), line.sliced(sign + 1).trimmed());
    }
    return {};
}

void Defaults::write()
{
    QString lines = u"[General]\n"_s;
    for (auto it = m_values.cbegin(); it != m_values.cend(); ++it)
        lines += it.key() + u'=' + it.value() + u'\n';
    const QByteArray content = lines.toUtf8();
    const auto isWritten = [&](const QString &path) {
        return !path.isEmpty()
            && (overwrite(path, content)
                || (Files::makeDirectory(QFileInfo(path).path())
                    && Files::replace(path, content, {.isFlushed = false})));
    };
    // The spare file first, because it takes precedence: a kill between the two must not leave older values in it.
    const bool isSpared = m_hasSpare && isWritten(m_sparePath);
    m_isDirty = !m_isReadable || !isWritten(m_path);
    if (!m_isDirty)
        m_hasSpare = m_hasSpare && !QFile::remove(m_sparePath);
    else if (!isSpared)
        m_hasSpare = isWritten(m_sparePath) || m_hasSpare;
}

void Defaults::setText(const QString &key, const QString &value)
{
    m_values.insert(key, value);
    write();
}
