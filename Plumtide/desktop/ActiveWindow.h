#pragma once

#include <QAbstractNativeEventFilter>
#include <QObject>

#include <cstdint>

/// Tells when the window manager makes another window the active one, whoever's it is. Thread: main thread, while the
/// QGuiApplication exists. On platforms other than "xcb" it tells nothing.
class ActiveWindow final : public QObject, private QAbstractNativeEventFilter
{
    Q_OBJECT

public:
    explicit ActiveWindow(QObject *parent);

Q_SIGNALS:
    void changed();

private:
    bool nativeEventFilter(const QByteArray &eventType, void *message, qintptr *result) override;

    std::uint32_t m_property = 0; // atom
};
