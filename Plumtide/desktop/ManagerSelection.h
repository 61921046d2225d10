#pragma once

#include <QAbstractNativeEventFilter>
#include <QObject>

#include <cstdint>

/// Whether a manager of the X11 desktop runs, which shows by its owning a selection of the first screen: a compositor
/// "_NET_WM_CM_S0", a tray that takes icons in as windows "_NET_SYSTEM_TRAY_S0". Follows it without polling, by the
/// XFixes events on Qt's own connection.
/// Thread: main thread, while the QGuiApplication exists. On platforms other than "xcb" nothing is ever owned.
class ManagerSelection final : public QObject, private QAbstractNativeEventFilter
{
    Q_OBJECT

public:
    explicit ManagerSelection(const char *name, QObject *parent = nullptr);

    [[nodiscard]] bool isOwned() const { return m_isOwned; }

Q_SIGNALS:
    void changed(bool isOwned);

private:
    bool nativeEventFilter(const QByteArray &eventType, void *message, qintptr *result) override;

    std::uint32_t m_selection = 0; // atom
    std::uint8_t m_eventType = 0;  // 0 when there is nothing to follow
    bool m_isOwned = false;
};
