#pragma once

#include "bench/support/Report.h"

#include <QByteArray>

#include <optional>
#include <vector>

#include <sys/resource.h>
#include <sys/types.h>

/// A process of its own, without output.
class Child
{
public:
    /// `variables` is its whole environment. Without `input` its standard input is empty, else a pipe that `feed`
    /// fills.
    enum class Input { None, Pipe };
    Child(const std::vector<QByteArray> &command, const std::vector<QByteArray> &variables, Input input = Input::None);
    ~Child(); ///< Kills it if it still runs.
    Child(const Child &) = delete;
    Child &operator=(const Child &) = delete;

    void feed(const QByteArray &content); ///< Writes all of it and closes the pipe; a reader that left early is fine.

    void terminate(); ///< SIGTERM.
    /// Waits for its end, which must be a normal one with status 0, and says what it used.
    rusage wait();

    [[nodiscard]] pid_t pid() const { return m_pid; }
    [[nodiscard]] qint64 statusBytes(const QByteArray &field) const;     ///< A "... kB" field of /proc/PID/status.
    [[nodiscard]] static qint64 ownStatusBytes(const QByteArray &field); ///< The same of this process.
    /// A field of /proc/PID/smaps_rollup: "Pss" is the size where a page that n processes share counts as an n-th.
    [[nodiscard]] qint64 proportionalBytes(const QByteArray &field) const;
    [[nodiscard]] qint64 writtenBytes() const;      ///< To files, by all threads, ended ones included.
    [[nodiscard]] qint64 voluntarySwitches() const; ///< Of all threads that are alive.

    /// From the start of such a process to its end, `input` fed to it.
    [[nodiscard]] static Seconds timeOfRun(const std::vector<QByteArray> &command,
                                           const std::vector<QByteArray> &variables, const QByteArray &input);

private:
    const QByteArray m_name;
    pid_t m_pid = -1;
    int m_input = -1; // the write end
};
