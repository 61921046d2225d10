#include "Plumtide/desktop/InstanceSocket.h"

#include "tests/support/TestHome.h"

#include <future>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

class InstanceSocketTest : public testing::Test
{
protected:
    /// Listens at `path` and writes down what it is asked.
    std::unique_ptr<InstanceSocket> serve(const QString &path)
    {
        auto server = std::make_unique<InstanceSocket>(path);
        QObject::connect(server.get(), &InstanceSocket::requested,
                         [this](const QByteArray &word) { m_words.append(word); });
        return server;
    }

    static bool ask(const QString &path, const QByteArray &word, std::chrono::milliseconds patience = 10s)
    {
        auto answer = std::async(std::launch::async, [=] { return InstanceSocket::ask(path, word, patience); });
        EXPECT_TRUE(waitUntil([&] { return answer.wait_for(0s) == std::future_status::ready; }));
        return answer.get();
    }

    TestHome m_home;
    const QString m_path = m_home.path(u".tavvel/plumtide.socket"_s);
    QList<QByteArray> m_words;
};

} // namespace

TEST_F(InstanceSocketTest, HandsTheWordOnAtAPathOfAnyLength)
{
    const QString deep = m_home.path(QString(150, u'd') + u"/.tavvel/plumtide.socket"_s);
    for (const QString &path : {m_path, deep}) {
        SCOPED_TRACE(qPrintable(path));
        EXPECT_FALSE(InstanceSocket::ask(path, InstanceSocket::openWord));
        auto server = serve(path);
        ASSERT_TRUE(server->isListening());
        m_words.clear();
        EXPECT_TRUE(ask(path, InstanceSocket::openWord));
        EXPECT_TRUE(ask(path, QByteArray(InstanceSocket::longestWord, 'x')));
        EXPECT_FALSE(ask(path, QByteArray(InstanceSocket::longestWord + 1, 'x')));
        EXPECT_EQ(m_words, (QList<QByteArray>{"open", QByteArray(InstanceSocket::longestWord, 'x')}));

        struct stat status = {};
        ASSERT_EQ(::stat(QFile::encodeName(path).constData(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777, 0600u);
        ASSERT_EQ(::stat(QFile::encodeName(QFileInfo(path).path()).constData(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777, 0700u);
        server.reset();
        EXPECT_FALSE(QFileInfo::exists(path));
    }
}

TEST_F(InstanceSocketTest, ReplacesADeadSocketAndNothingElse)
{
    ASSERT_TRUE(QDir().mkpath(m_home.path(u".tavvel"_s)));
    {
        const Descriptor killed(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
        sockaddr_un place{};
        place.sun_family = AF_UNIX;
        std::strncpy(place.sun_path, QFile::encodeName(m_path).constData(), sizeof place.sun_path - 1);
        ASSERT_EQ(::bind(killed.get(), reinterpret_cast<const sockaddr *>(&place), sizeof place), 0);
    }
    EXPECT_FALSE(InstanceSocket::ask(m_path, InstanceSocket::openWord));
    auto server = serve(m_path);
    EXPECT_TRUE(ask(m_path, InstanceSocket::openWord));

    // Somebody else's has taken the place meanwhile.
    auto successor = serve(m_path);
    server.reset();
    EXPECT_TRUE(ask(m_path, InstanceSocket::openWord));
    successor.reset();

    m_home.write(u".tavvel/plumtide.socket"_s, "notes");
    EXPECT_FALSE(serve(m_path)->isListening());
    EXPECT_EQ(m_home.read(u".tavvel/plumtide.socket"_s), "notes");
}

TEST_F(InstanceSocketTest, SilentClientsKeepNobodyOut)
{
    auto server = serve(m_path);
    std::list<Descriptor> sockets;
    for (std::size_t i = 0; i < 3 * InstanceSocket::clientCapacity; ++i) {
        sockets.emplace_back(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
        sockaddr_un place{};
        place.sun_family = AF_UNIX;
        std::strncpy(place.sun_path, QFile::encodeName(m_path).constData(), sizeof place.sun_path - 1);
        ASSERT_EQ(::connect(sockets.back().get(), reinterpret_cast<const sockaddr *>(&place), sizeof place), 0);
        QCoreApplication::processEvents();
    }
    EXPECT_TRUE(ask(m_path, InstanceSocket::openWord));
    EXPECT_EQ(m_words, QList<QByteArray>{"open"});
}

TEST_F(InstanceSocketTest, AServerThatDoesNotAnswerIsNotWaitedForLonger)
{
    auto server = serve(m_path); // whose event loop does not turn
    QElapsedTimer time;
    time.start();
    EXPECT_FALSE(InstanceSocket::ask(m_path, InstanceSocket::openWord, 100ms));
    EXPECT_LT(time.elapsed(), 2'000);
}
