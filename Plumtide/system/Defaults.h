#pragma once

#include "Plumtide/system/Files.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <mutex>
#include <optional>

#include <sys/stat.h>

/// The per-user defaults: one INI file with the keys exactly as named, in its "[General]" section. Lines that this
/// class does not understand, and those of other sections, keep their bytes.
/// Every write is in the file before the call returns, so it survives a killed process. (QSettings does the same
/// with a lock file and two waits for the disk, 2 ms a write; the read offset is written for every event.)
/// Changes that somebody else made to the file count from the next call on.
/// Thread: any. A failed write is not reported; the value stays readable in this process. A file that is there but
/// cannot be read is never written.
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

    [[nodiscard]] bool boolean(const QString &key);                 ///< A missing key reads as false.
    [[nodiscard]] std::optional<double> number(const QString &key); ///< Absent also when it is no finite number.
    [[nodiscard]] std::optional<QList<double>> numbers(const QString &key); ///< Absent unless all are numbers.

    /// `Files::Flush::Later` is for values that may be a moment old after a power cut.
    void setBoolean(const QString &key, bool value, Files::Flush flush = Files::Flush::BeforeRename);
    /// A whole number is written without a fraction.
    void setNumber(const QString &key, double value, Files::Flush flush = Files::Flush::BeforeRename);
    void setNumbers(const QString &key, const QList<double> &values, Files::Flush flush = Files::Flush::BeforeRename);
    void remove(const QString &key); ///< A missing key stays missing.

private:
    bool readIfChanged();                                     // false when there is a file and its content is not known
    [[nodiscard]] qsizetype lineOf(const QString &key) const; // -1 when there is none
    [[nodiscard]] std::optional<QString> text(const QString &key);
    void setText(const QString &key, const QString &value, Files::Flush flush);
    void save(Files::Flush flush); // the lines are ahead of the file when it fails
    // Writes a line that keeps its length over in place, with one call: the offset of an event is not worth a new
    // file. False, and nothing is written, when the file is not the one that was read.
    bool overwriteLine(qsizetype line, const QByteArray &text);
    void rememberFile();

    const QString m_path;
    // The watcher's thread keeps its offset here while the main thread keeps everything else.
    std::mutex m_mutex;
    QList<QByteArray> m_lines; // the file, without its line feeds
    struct stat m_read = {};   // the file that m_lines was read from or written to
    bool m_isAhead = false;    // m_lines holds what could not be written
};
