#include "Plumtide/desktop/Instance.h"

#include "Plumtide/system/Log.h"

#include <QCryptographicHash>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>
#include <QThread>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

constexpr int timeout = 10'000; // milliseconds that another may take to start, to answer or to end
const QString interfaceName = u"example.plumtide.plumtide"_s;
const QString objectPath = u"/example/plumtide/plumtide"_s;

// The answers to Start.
const QString opens = u"opens"_s, runs = u"runs"_s, ends = u"ends"_s;

QString nameOf(const QString &home)
{
    const QByteArray path = QFile::encodeName(QFileInfo(home).canonicalFilePath());
    const QByteArray hash = QCryptographicHash::hash(path, QCryptographicHash::Sha1).toHex();
    return interfaceName + u".home"_s + QString::fromLatin1(hash);
}

QDBusMessage call(const QString &name, const QString &method, const QVariantList &arguments)
{
    QDBusMessage message = QDBusMessage::createMethodCall(name, objectPath, interfaceName, method);
    message.setArguments(arguments);
    message.setAutoStartService(false);
    return QDBusConnection::sessionBus().call(message, QDBus::Block, timeout);
}

} // namespace

Instance::Instance(const QString &home) : m_name(nameOf(home)) {}

bool Instance::claim(const StartRequest &request)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return true;
    m_hasWindows = request.hasWindows;
    bus.registerObject(objectPath, this, QDBusConnection::ExportScriptableInvokables);
    for (const QDeadlineTimer deadline(timeout); !deadline.hasExpired(); QThread::msleep(20)) {
        if (bus.registerService(m_name))
            return true;
        const QString token = QString::fromUtf8(request.token);
        QDBusMessage reply = request.goesToNext ? call(m_name, u"Next"_s, {token}) : QDBusMessage();
        if (reply.type() != QDBusMessage::ReplyMessage) // an older Plumtide, without `Next`, opens its panel
            reply = call(m_name, u"Start"_s, {request.hasWindows, request.opensPanel, token});
        qCDebug(desktopLog) << "the owner of the name answers" << reply;
        // Without an answer, the owner may be a Plumtide that is about to end.
        const QString answer =
            reply.type() == QDBusMessage::ReplyMessage ? reply.arguments().value(0).toString() : ends;
        if (answer == runs)
            std::fputs("Plumtide: 已经在运行了。\n", stderr);
        if (answer == runs || answer == opens)
            return false;
        if (answer != ends)
            break; // another kind of program
    }
    std::fputs("Plumtide: 会话总线上的名字被别的程序占用，照常启动。\n", stderr);
    return true;
}

bool Instance::resetMiniBoard() const
{
    return call(m_name, u"ResetMiniBoard"_s, {}).type() == QDBusMessage::ReplyMessage;
}

QString Instance::Next(const QString &token)
{
    Q_EMIT nextRequested(token.toUtf8());
    return opens;
}

QString Instance::Start(bool hasWindows, bool opensPanel, const QString &token)
{
    if (m_hasWindows) {
        if (opensPanel)
            Q_EMIT openRequested(token.toUtf8());
        return opens;
    }
    if (!hasWindows)
        return runs;
    Q_EMIT replaced();
    return ends;
}
