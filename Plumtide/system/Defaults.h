#pragma once

#include "Plumtide/system/Outcome.h"

#include <QList>
#include <QMap>
#include <QStringList>

#include <optional>

/// The per-user defaults: an INI file with one section, "[General]", and the keys exactly as named.
/// It is read at the first call and belongs to this process from then on: each change is written before the call
/// returns, so it survives a killed process, but does not wait for the disk. (QSettings waits twice for each, and the
/// read offset is stored for every event.)
/// Thread: the main thread. A failed write is not reported: the values are kept in the spare file, whose values count
/// for more at the next start, until the next write or `writeAgain` succeeds. A file that is there but cannot be read
/// is never written.
class Defaults
{
public:
    /// `path` is the INI file. It, and its directory, are made by the first write. `sparePath` had better be on the
    /// disk of what the read offset belongs to; without one there is no spare file.
    explicit Defaults(QString path, QString sparePath = {});
    Defaults(Defaults &&) = default; // and no copy: of two, one would write over the other's changes

    /// `$XDG_CONFIG_HOME`, or `.config` under `home` where that variable is unset or not an absolute path.
    static QString configHome(const QString &home);
    /// `plumtide/plumtide.conf` in there.
    static QString standardPath(const QString &home);
    static QString standardSparePath(const QString &home); ///< Beside the log to which the read offset belongs.

    [[nodiscard]] const QString &path() const { return m_path; }
    [[nodiscard]] QStringList paths() const { return {m_path, m_sparePath}; } ///< Of both files.
    [[nodiscard]] bool isReadable(); ///< False when there is a file that cannot be read; standard error says so, once.

    [[nodiscard]] bool boolean(const QString &key);                 ///< A missing key reads as false.
    [[nodiscard]] std::optional<double> number(const QString &key); ///< Absent also when it is no finite number.
    [[nodiscard]] std::optional<QList<double>> numbers(const QString &key); ///< Absent unless all are numbers.

    void setBoolean(const QString &key, bool value);
    void setNumber(const QString &key, double value); ///< A whole number is written without a fraction.
    void setNumbers(const QString &key, const QList<double> &values);
    void remove(const QString &key); ///< A missing key stays missing.

    void writeAgain(); ///< If the last write failed.

private:
    void readOnce();
    [[nodiscard]] Outcome<void> readFile(const QString &path);
    void write();
    [[nodiscard]] QString text(const QString &key);                        // of a missing key, an empty one
    void setText(const QString &key, const std::optional<QString> &value); // none: the key goes

    const QString m_path, m_sparePath;
    QMap<QString, QString> m_values;
    bool m_isRead = false;
    bool m_isReadable = true;
    bool m_isBehind = false; // the file, since the last write failed
    bool m_hasSpare = false; // the spare file is there
};
