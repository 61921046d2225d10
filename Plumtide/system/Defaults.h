#pragma once

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QString>

#include <mutex>
#include <optional>

/// The per-user defaults: an INI file with one section, "[General]", and the keys exactly as named.
/// It is read at the first call and belongs to this process from then on: each change replaces the whole file before
/// the call returns, so it survives a killed process, but does not wait for the disk. (QSettings waits twice for each,
/// and the read offset is stored for every event.)
/// Thread: any. A failed write is not reported: the value stays readable here, and is in the file after the next write
/// or `writeAgain`. A file that is there but cannot be read is never written.
class Defaults
{
public:
    /// `path` is the INI file. It, and its directory, are made by the first write.
    explicit Defaults(QString path);

    /// `$XDG_CONFIG_HOME`, or `.config` under `home` where that variable is unset or not an absolute path.
    static QString configHome(const QString &home);
    /// `plumtide/plumtide.conf` in there.
    static QString standardPath(const QString &home);

    [[nodiscard]] const QString &path() const { return m_path; }
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
    enum class State { Unread, Same, Ahead, Unreadable }; // what this process knows beside what is in the file

    void readOnce();
    void write();
    [[nodiscard]] std::optional<QString> text(const QString &key);
    void setText(const QString &key, const std::optional<QString> &value); // none: the key goes

    const QString m_path;
    // The watcher's thread keeps its offset here while the main thread keeps everything else.
    std::mutex m_mutex;
    QMap<QString, QString> m_values;
    State m_state = State::Unread;
};
