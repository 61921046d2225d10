#pragma once

#include <QObject>

/// Makes sure that one program runs for each home directory, by a name on the session bus that is made from the
/// directory's path. A second start asks the running program to open its panel, and ends. Without a bus, `claim` always
/// succeeds.
/// Needs an application object. Requests of others arrive once the event loop runs.
class Instance final : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "example.plumtide.plumtide")

public:
    explicit Instance(const QString &home);

    struct StartRequest
    {
        bool hasWindows = false;
        bool opensPanel = true;  ///< False where the session has started the program, not the user.
        bool goesToNext = false; ///< To the session of the next step, instead.
        QByteArray token = {};   ///< Lets a window take the focus.
    };
    /// False where another program goes on running for this home; it has received the request. One without windows
    /// quits for one that has some.
    [[nodiscard]] bool claim(const StartRequest &request);

    /// Asks the running program to put the mini board back to its first place. False where none answers.
    [[nodiscard]] bool resetMiniBoard() const;

    /// Called over the bus by another start. The first two return what this program does.
    Q_SCRIPTABLE QString Start(bool hasWindows, bool opensPanel, const QString &token);
    Q_SCRIPTABLE QString Next(const QString &token);
    Q_SCRIPTABLE void ResetMiniBoard() { Q_EMIT resetRequested(); }

Q_SIGNALS:
    void openRequested(const QByteArray &token);
    void nextRequested(const QByteArray &token);
    void resetRequested();
    void replaced(); ///< By a program with windows, which waits for the end of this one.

private:
    const QString m_name;
    bool m_hasWindows = false;
};
