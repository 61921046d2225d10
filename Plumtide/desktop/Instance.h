#pragma once

#include <QObject>

#include <chrono>

/// The program of a home directory on the session bus: a service whose name is made from that directory, so that two
/// homes have two. The bus gives the name to one process alone; a second start asks that one to act, and ends.
/// Where there is no bus every start believes that it is alone.
/// Thread: main thread, with an application object. What others ask is heard once the event loop runs.
class Instance final : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "example.plumtide.plumtide")

public:
    /// How long another may take to start, to answer or to end.
    static constexpr std::chrono::milliseconds patience{10'000};

    explicit Instance(const QString &home, QObject *parent = nullptr);

    struct Wish
    {
        bool hasWindows = false;
        bool opensPanel = true; ///< False where the session has started this one, and not the user.
        QByteArray token = {};  ///< Lets a window take the focus.
    };
    /// Becomes the program of the home. False when there is one that goes on; it has heard the wish. One without
    /// windows ends for one that has some.
    [[nodiscard]] bool claim(const Wish &wish);

    /// Asks the running program to put the mini board back to its first place. False when there is none.
    [[nodiscard]] bool resetMiniBoard() const;

    // What another start asks for on the bus.
    /// What becomes of this one.
    Q_SCRIPTABLE QString Start(bool hasWindows, bool opensPanel, const QString &token);
    Q_SCRIPTABLE void ResetMiniBoard();

Q_SIGNALS:
    void openRequested(const QByteArray &token);
    void resetRequested();
    void replaced(); ///< One with windows waits for this one, which has none, to end.

private:
    const QString m_name;
    bool m_hasWindows = false;
};
