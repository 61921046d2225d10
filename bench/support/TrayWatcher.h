#pragma once

#include <QDBusContext>
#include <QObject>
#include <QStringList>

#include <chrono>
#include <optional>

/// The panel's end of org.kde.StatusNotifierWatcher: takes items, and asks each for its properties as panels do.
/// Thread: main thread, with a running event loop.
class TrayWatcher final : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ isHosting)
    Q_PROPERTY(int ProtocolVersion READ protocolVersion)
    Q_PROPERTY(QStringList RegisteredStatusNotifierItems READ items)

public:
    explicit TrayWatcher(const QString &busAddress);
    ~TrayWatcher() override;

    [[nodiscard]] bool isHosting() const { return true; }
    [[nodiscard]] int protocolVersion() const { return 0; }
    [[nodiscard]] QStringList items() const { return m_items; } ///< The bus names, the latest at the end.
    [[nodiscard]] std::chrono::steady_clock::time_point lastRegistration() const { return m_lastRegistration; }

    void click(const QString &item) const; ///< As a left click does.

public Q_SLOTS:
    void RegisterStatusNotifierItem(const QString &service);

private:
    QStringList m_items;
    std::chrono::steady_clock::time_point m_lastRegistration;
};
