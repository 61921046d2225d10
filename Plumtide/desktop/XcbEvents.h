#pragma once

#include <QAbstractNativeEventFilter>
#include <QObject>

/// Base of what follows events on Qt's connection to the X server; elsewhere there are none. Needs a QGuiApplication.
class XcbEvents : public QObject, private QAbstractNativeEventFilter
{
    Q_OBJECT

protected:
    using QObject::QObject;
    void listen(bool isListening);
    virtual void handle(uint8_t type, const void *event) = 0; ///< `type` is the event's number, XCB_...

private:
    bool nativeEventFilter(const QByteArray &eventType, void *message, qintptr *result) final;
};

/// Signals that another window has become the active one, be it of this program or of another.
class ActiveWindow final : public XcbEvents
{
    Q_OBJECT

public:
    explicit ActiveWindow(QObject *parent) : XcbEvents(parent) { listen(true); } // to what Qt has asked the server for

Q_SIGNALS:
    void changed();

private:
    void handle(uint8_t type, const void *event) override;
};

/// Whether a service of the X11 desktop runs, which shows by its owning a selection of the first screen: a compositor
/// "_NET_WM_CM_S0", a tray that embeds windows "_NET_SYSTEM_TRAY_S0". Does not poll.
class ManagerSelection final : public XcbEvents
{
    Q_OBJECT

public:
    explicit ManagerSelection(const char *name);

    [[nodiscard]] bool isOwned() const { return m_isOwned; }

Q_SIGNALS:
    void changed(bool isOwned);

private:
    void handle(uint8_t type, const void *event) override;

    uint32_t m_selection = 0; // atom
    uint8_t m_eventType = 0;
    bool m_isOwned = false;
};

/// Signals that a mouse button is pressed anywhere on the screen, as far as the X server is told of it:
/// also where that changes no focus (a click on the desktop or the top bar of GNOME 43).
class PointerPresses final : public XcbEvents
{
    Q_OBJECT

public:
    void follow(bool isFollowing); ///< Costs a wake-up for each press.

Q_SIGNALS:
    void pressed();

private:
    void handle(uint8_t type, const void *event) override;

    uint8_t m_opcode = 0; // of the server's input extension; it cannot be asked for once the connection is broken
};
