#pragma once

#include <QDBusConnection>
#include <QObject>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <thread>

/// A connection to the session bus, made without ever keeping the calling thread waiting: QtDBus connects while it
/// holds a lock of the whole process, and libdbus waits 25 s for a peer that says nothing.
/// Thread: main thread, with a running event loop. Only `Prepare` runs elsewhere.
/// Errors: none reach the caller but `failed`.
class SessionBus final : public QObject
{
    Q_OBJECT

public:
    enum class Sharing {
        Own,     ///< A connection of this object alone; closed with it.
        Default, ///< The one that all of Qt uses (`QDBusConnection::sessionBus`); stays open.
    };
    /// Runs on the helper thread once there is a connection. Here belongs what makes QtDBus wait for an answer of the
    /// bus, such as subscribing to a signal.
    using Prepare = std::function<void(QDBusConnection &connection)>;

    /// The bus is `$DBUS_SESSION_BUS_ADDRESS`, or the socket "bus" in `$XDG_RUNTIME_DIR` where that variable is unset.
    /// One is never started. `patience` is how long it may take to greet.
    SessionBus(Sharing sharing, std::chrono::milliseconds patience, Prepare prepare);
    ~SessionBus() override; ///< Does not wait for a bus that does not answer.

    /// How long `disableMute` waits for a bus that does not answer.
    static constexpr std::chrono::milliseconds startPatience{2'000};

    /// For the start of the program, before the application object: Qt itself asks the bus on the main thread, for
    /// screen readers and with the first widget, and would stand still for a bus that accepts and says nothing. Such a
    /// bus is taken out of `$DBUS_SESSION_BUS_ADDRESS` ("disabled:"), so that nobody in this process tries it; the same
    /// where none is named, since libdbus would start one. Takes a fraction of a millisecond with a bus that answers.
    static void disableMute(std::chrono::milliseconds patience = startPatience);

    /// Whether there is a bus to try, decided once; whether anybody answers there is another matter.
    [[nodiscard]] bool isAvailable() const;

    void open(); ///< Returns at once; `opened` or `failed` follows. Must not be open or opening.
    [[nodiscard]] bool isOpening() const { return m_helper.joinable(); }

    /// Null before `opened` and after `close`. It stays when the bus hangs up; then it says so by `isConnected`.
    [[nodiscard]] const QDBusConnection *connection() const;

    void close(); ///< No signal follows. It can be opened again.

Q_SIGNALS:
    void opened();
    void failed();

private:
    struct Sockets;

    void openOnHelper();
    void takeResult();
    void joinHelper();

    const Sharing m_sharing;
    const std::chrono::milliseconds m_patience;
    const Prepare m_prepare;
    const std::unique_ptr<const Sockets> m_sockets;
    std::thread m_helper;                        // joinable from its start until its result is taken
    int m_stopHelper = -1;                       // eventfd, open while m_helper is joinable
    unsigned m_attempt = 0;                      // tells the result of a closed attempt from the present one's
    std::optional<QDBusConnection> m_connection; // the helper's while it is joinable
};
