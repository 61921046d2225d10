#pragma once

#include <QAbstractNativeEventFilter>
#include <QObject>

/// Tells of the buttons of the pointer wherever on the screen they are pressed, as far as the X server hears of it:
/// also where that changes no focus (a click on the desktop or the top bar of GNOME 43). Thread: main thread, while the
/// QGuiApplication exists. On platforms other than "xcb" it tells nothing.
class PointerPresses final : public QObject, private QAbstractNativeEventFilter
{
    Q_OBJECT

public:
    using QObject::QObject;

    void follow(bool isFollowing); ///< Costs a wake-up for each press, so only while somebody wants to know.

Q_SIGNALS:
    void pressed();
    void released();

private:
    bool nativeEventFilter(const QByteArray &eventType, void *message, qintptr *result) override;

    uint8_t m_opcode = 0; // of the server's input extension
};
