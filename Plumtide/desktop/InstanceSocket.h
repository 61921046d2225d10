#pragma once

#include "Plumtide/system/Descriptor.h"

#include <QByteArray>
#include <QObject>
#include <QString>

#include <chrono>
#include <list>
#include <memory>

#include <sys/types.h>

class QSocketNotifier;

/// The way in for a second start of the program: it asks the running one to act, by a single word.
/// The server is a unix socket (SOCK_SEQPACKET, mode 0600): one packet is one word, answered by one byte when it has
/// been handed on. Only processes of the same user are heard.
/// Thread: main thread. `ask` may be called on any.
class InstanceSocket final : public QObject
{
    Q_OBJECT

public:
    static constexpr auto openWord = "open";                       ///< Open the panel.
    static constexpr auto resetMiniBoardWord = "reset-mini-board"; ///< Put the mini board back to its first place.
    static constexpr qsizetype longestWord = 64;                   ///< Bytes; anything longer is dropped.
    static constexpr std::size_t clientCapacity = 8; ///< Beyond it, the client that has been silent longest is dropped.
    static constexpr std::chrono::milliseconds defaultPatience{2'000};

    /// Listens at `path`, of any length. Its directory is made where it is missing (mode 0700). The socket of a
    /// process that was killed gives way: the caller must hold the lock of the data directory. Anything but a socket
    /// stays as it is.
    explicit InstanceSocket(const QString &path, QObject *parent = nullptr);
    ~InstanceSocket() override; ///< Removes the socket, unless another has taken its place.

    /// False when the socket could not be made: the program works without, and a second start gets no answer.
    [[nodiscard]] bool isListening() const { return m_listener.isOpen(); }

    /// Sends `word` to the server at `path`. True when it was handed on within `patience`.
    [[nodiscard]] static bool ask(const QString &path, const QByteArray &word,
                                  std::chrono::milliseconds patience = defaultPatience);

Q_SIGNALS:
    void requested(const QByteArray &word); ///< Of 1 to `longestWord` bytes, whatever they are.

private:
    struct Client;

    [[nodiscard]] bool listen(const QString &path);
    void accept();
    void read(Client &client);

    Descriptor m_directory;
    QByteArray m_name; // of the socket, in m_directory
    Descriptor m_listener;
    ino_t m_inode = 0;
    std::list<Client> m_clients; // the oldest first
};
