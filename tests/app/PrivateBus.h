#pragma once

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/prctl.h>

/// A session bus of its own that starts no services. Its address is the same in all tests, as libdbus reads
/// the variable only once in a process.
class PrivateBus
{
public:
    PrivateBus()
    {
        qputenv("DBUS_SESSION_BUS_ADDRESS", address().toUtf8());
        start();
    }
    ~PrivateBus() { stop(); }

    [[nodiscard]] static QString address()
    {
        return QStringLiteral("unix:path=") + directory().filePath(QStringLiteral("bus"));
    }

    void start()
    {
        QFile config(directory().filePath(QStringLiteral("bus.conf")));
        ASSERT_TRUE(config.open(QIODevice::WriteOnly));
        config.write("<busconfig><type>session</type><listen>" + address().toUtf8()
                     + "</listen>"
                       "<policy context=\"default\"><allow send_destination=\"*\" eavesdrop=\"true\"/>"
                       "<allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>");
        config.close();
        // It must not outlive a test that crashes.
        m_daemon.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
        m_daemon.start(QStringLiteral("dbus-daemon"),
                       {QStringLiteral("--nofork"), QStringLiteral("--print-address"), QStringLiteral("--config-file"),
                        config.fileName()});
        ASSERT_TRUE(m_daemon.waitForReadyRead(10'000)) << "dbus-daemon did not start";
    }

    void stop()
    {
        m_daemon.kill();
        m_daemon.waitForFinished();
        QFile::remove(directory().filePath(QStringLiteral("bus")));
    }

private:
    static const QTemporaryDir &directory()
    {
        static const QTemporaryDir directory;
        return directory;
    }

    QProcess m_daemon;
};
