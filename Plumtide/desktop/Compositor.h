#pragma once

#include <QAbstractNativeEventFilter>
#include <QObject>

#include <cstdint>

/// Whether windows can be transparent: on X11 that takes a compositor, which owns the selection "_NET_WM_CM_S<screen>"
/// (EWMH). Follows it without polling, by the XFixes events on Qt's own connection.
/// Thread: main thread, while the QGuiApplication exists. On platforms other than "xcb" there always is one.
class Compositor final : public QObject, private QAbstractNativeEventFilter
{
    Q_OBJECT

public:
    explicit Compositor(QObject *parent = nullptr);
    ~Compositor() override;

    [[nodiscard]] bool isRunning() const { return m_isRunning; }

Q_SIGNALS:
    void changed(bool isRunning);

private:
    bool nativeEventFilter(const QByteArray &eventType, void *message, qintptr *result) override;

    std::uint32_t m_selection = 0;         // atom
    std::uint8_t m_selectionEventType = 0; // 0 when there is nothing to follow
    bool m_isRunning = true;
};
