#pragma once

#include "Plumtide/desktop/SessionBus.h"

#include <QObject>
#include <QTimer>

#include <chrono>

class XembedTray;

/// Says when QSystemTrayIcon may be touched for the first time. Qt 6.4 decides at its first use, once for the whole
/// process, whether icons go over D-Bus (StatusNotifierItem) or into an X11 window (XEmbed); too early, that is XEmbed
/// for ever, which many desktops do not show.
/// Thread: main thread. Errors: none; without a bus and without X11 nothing is ever found, and nothing runs. The same
/// for XEmbed on a bus that does not answer: Qt would ask it, and stand still.
class TrayHost final : public QObject
{
    Q_OBJECT

public:
    enum class Kind { StatusNotifier, XEmbed };

    /// How long an XEmbed tray must have been there without a StatusNotifier watcher: many panels have both, and the
    /// watcher is the slower one.
    static constexpr std::chrono::milliseconds defaultGrace{3'000};

    explicit TrayHost(std::chrono::milliseconds grace = defaultGrace, QObject *parent = nullptr);
    ~TrayHost() override;

    void start(); ///< Returns at once; call it once.

Q_SIGNALS:
    void found(TrayHost::Kind kind); ///< Once at the most.

private Q_SLOTS:
    void noteOwner(const QString &name, const QString &oldOwner, const QString &newOwner);

private:
    void lookForWatcher(QDBusConnection &connection);
    void lookForXembed();
    void decideForXembed();
    void finish(Kind kind);

    SessionBus m_bus;
    QTimer m_grace;
    bool m_hasWatcher = false; // the helper's while the bus is being opened
    bool m_isFound = false;
    XembedTray *m_xembed = nullptr;
};
