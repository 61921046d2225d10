#pragma once

#include "Plumtide/system/Outcome.h"

#include <QList>
#include <QMap>
#include <QStringList>
#include <QVariant>

#include <optional>

/// The per-user defaults: an INI file with one section, "[General]". It is read by the constructor; later changes by
/// other programs are not seen. Each change is written before the call returns, so that it survives a kill, but is not
/// flushed (QSettings does that twice per change, and the read offset changes with every event).
/// Errors: a failed write is not reported. The values are written to the spare file instead, and take precedence at the
/// next start, until a write succeeds. A file that exists but cannot be read is never written.
class Defaults
{
public:
    /// The first write creates the file and its directory. `sparePath` should be on the disk of the log to which the
    /// read offset belongs; if it is empty, there is no spare file. An unreadable file is reported on standard error.
    explicit Defaults(QString path, QString sparePath = {});
    Defaults(Defaults &&) = default; // no copies: each would overwrite the other's changes

    /// `$XDG_CONFIG_HOME`, or `.config` under `home` where that variable is unset or not an absolute path.
    static QString configHome(const QString &home);
    static QString standardPath(const QString &home); ///< `plumtide/plumtide.conf` in `configHome`.
    static QString standardSparePath(const QString &home) { return home + QStringLiteral("/.tavvel/plumtide.conf"); }

    [[nodiscard]] QStringList paths() const { return {m_path, m_sparePath}; } ///< Of both files.
    [[nodiscard]] bool isReadable() const { return m_isReadable; } ///< False when the file exists but was not read.

    [[nodiscard]] bool boolean(const QString &key) const { return m_values.value(key) == QLatin1StringView("true"); }
    [[nodiscard]] std::optional<double> number(const QString &key) const; ///< Absent unless it is one finite number.
    [[nodiscard]] QList<double> numbers(const QString &key) const;        ///< Empty unless all are finite numbers.

    [[nodiscard]] QStringList texts(const QString &key) const;

    void setBoolean(const QString &key, bool value) { setText(key, QVariant(value).toString()); }
    /// A whole number is written without a fraction.
    void setNumber(const QString &key, double value) { setNumbers(key, {value}); }
    void setNumbers(const QString &key, const QList<double> &values);
    void setTexts(const QString &key, const QStringList &values); ///< Percent-encoded, separated by commas.
    void remove(const QString &key);

    void retryWrite(); ///< If the last write failed.

private:
    [[nodiscard]] Outcome<void> readFile(const QString &path);
    void write();
    void setText(const QString &key, const QString &value);

    const QString m_path, m_sparePath;
    QMap<QString, QString> m_values;
    bool m_isReadable = true;
    bool m_isDirty = false;  // the file, because the last write failed
    bool m_hasSpare = false; // the spare file exists
};
