#include "bench/support/Desktop.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>

#include <csignal>
#include <cstdlib>

#include <sys/prctl.h>
#include <xcb/xcb.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

// The first line that the program prints once it is ready. The program ends with this one, however that ends.
QByteArray start(QProcess &process, const QString &program, const QStringList &arguments)
{
    process.setStandardErrorFile(QProcess::nullDevice()); // both talk of what a bare machine lacks
    process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    process.start(program, arguments);
    while (!process.canReadLine()) {
        if (!process.waitForReadyRead(10'000))
            Report::giveUp(program.toUtf8() + " does not start.");
    }
    return process.readLine().trimmed();
}

void stop(QProcess &process)
{
    process.terminate();
    process.waitForFinished();
}

} // namespace

Desktop::Desktop()
{
    m_display = ':'
        + start(m_server, u"Xvfb"_s,
                {u"-displayfd"_s, u"1"_s, u"-nolisten"_s, u"tcp"_s, u"-screen"_s, u"0"_s, u"1280x800x24"_s});
    m_connection = xcb_connect(m_display.constData(), nullptr);
    if (xcb_connection_has_error(m_connection) != 0)
        Report::giveUp("the X server does not answer.");
    const QString configuration = m_files.path(u"bus.conf"_s);
    m_files.write(configuration,
                  "<busconfig><type>session</type><listen>unix:tmpdir=/tmp</listen><policy "
                  "context=\"default\"><allow send_destination=\"*\"/><allow receive_sender=\"*\"/>"
                  "<allow own=\"*\"/></policy></busconfig>");
    m_busAddress =
        start(m_bus, u"dbus-daemon"_s, {u"--nofork"_s, u"--print-address"_s, u"--config-file"_s, configuration});
    m_tray = std::make_unique<TrayWatcher>(QString::fromUtf8(m_busAddress));
}

Desktop::~Desktop()
{
    m_tray.reset();
    xcb_disconnect(m_connection);
    stop(m_bus);
    stop(m_server);
}

std::vector<QByteArray> Desktop::variables(const Workspace &home) const
{
    std::vector<QByteArray> result = home.variables();
    result.push_back("DISPLAY=" + m_display);
    result.push_back("DBUS_SESSION_BUS_ADDRESS=" + m_busAddress);
    return result;
}

QList<QSize> Desktop::shownWindows() const
{
    const auto reply = [this](auto ask, auto take, xcb_window_t window) {
        auto *answer = take(m_connection, ask(m_connection, window), nullptr);
        return std::unique_ptr<std::remove_pointer_t<decltype(answer)>, decltype(&std::free)>(answer, &std::free);
    };
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
    const auto tree = reply(xcb_query_tree, xcb_query_tree_reply, root);
    QList<QSize> sizes;
    for (int i = 0; tree && i < xcb_query_tree_children_length(tree.get()); ++i) {
        const xcb_window_t window = xcb_query_tree_children(tree.get())[i];
        const auto state = reply(xcb_get_window_attributes, xcb_get_window_attributes_reply, window);
        const auto place = reply(xcb_get_geometry, xcb_get_geometry_reply, window);
        if (state && place && state->map_state == XCB_MAP_STATE_VIEWABLE)
            sizes.append({place->width, place->height});
    }
    return sizes;
}

void Desktop::turn(Seconds length)
{
    QEventLoop loop;
    QTimer::singleShot(std::chrono::duration_cast<std::chrono::milliseconds>(length), &loop, &QEventLoop::quit);
    loop.exec();
}

void Desktop::turnUntil(const std::function<bool()> &condition, const QByteArray &otherwise)
{
    QElapsedTimer sinceStart;
    sinceStart.start();
    while (!condition()) {
        if (sinceStart.elapsed() > 20'000)
            Report::giveUp(otherwise);
        turn(5ms);
    }
}
