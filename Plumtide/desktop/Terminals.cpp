#include "Plumtide/desktop/Terminals.h"

#include "Plumtide/desktop/Xcb.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QSysInfo>

#include <algorithm>
#include <cstring>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

// tmux: "socket,server,session" in TMUX. The server has made the terminal; the way goes on from the client that was
// used last, in its own terminal. A session that no client shows has no window.
NextStep tmux(const Station &station)
{
    const QString server = station.variable("TMUX"), pane = station.variable("TMUX_PANE");
    if (server.section(u',', -2, -2).toInt() != station.owner().pid)
        return NotHere();
    return Command{{u"tmux"_s, u"-S"_s, server.section(u',', 0, -3), u"select-window"_s, u"-t"_s, pane, u";"_s,
                    u"select-pane"_s, u"-t"_s, pane, u";"_s, u"list-clients"_s, u"-t"_s, pane, u"-F"_s,
                    u"#{client_activity} #{client_pid}"_s},
                   [](const QByteArray &printed) -> NextStep {
                       QList<QByteArray> clients = printed.trimmed().split('\n'); // seconds of as many digits
                       return std::ranges::max(clients).split(' ').value(1).toInt();
                   }};
}

// GNU screen: "server.name" in STY. The server has the terminals open in which its session is shown.
NextStep screen(const Station &station)
{
    const QString session = station.variable("STY");
    const Process server = station.owner();
    if (session.section(u'.', 0, 0).toInt() != server.pid)
        return NotHere();
    return Command{{u"screen"_s, u"-S"_s, session, u"-X"_s, u"select"_s, station.variable("WINDOW")},
                   [server](const QByteArray &) -> NextStep {
                       const QList<Process> processes = Process::all();
                       for (const QByteArray &file : server.openFiles()) {
                           struct stat status = {};
                           if (!file.startsWith("/dev/pts/") || ::stat(file.constData(), &status) != 0)
                               continue;
                           for (const Process &client : processes) {
                               if (client.name == "screen" && client.terminal == static_cast<int>(status.st_rdev))
                                   return client.pid;
                           }
                       }
                       return NotHere();
                   }};
}

// kitty, where its configuration has "allow_remote_control" and "listen_on".
NextStep kitty(const Station &station)
{
    const QString address = station.variable("KITTY_LISTEN_ON");
    if (address.isEmpty() || station.variable("KITTY_PID").toInt() != station.owner().pid)
        return NotHere();
    return Command{{u"kitty"_s, u"@"_s, u"--to"_s, address, u"focus-window"_s, u"--match"_s,
                    u"id:"_s + station.variable("KITTY_WINDOW_ID")}};
}

NextStep wezTerm(const Station &station)
{
    if (station.owner().name != "wezterm-gui")
        return NotHere();
    return Command{{u"env"_s, u"WEZTERM_UNIX_SOCKET="_s + station.variable("WEZTERM_UNIX_SOCKET"), u"wezterm"_s,
                    u"cli"_s, u"--no-auto-start"_s, u"activate-pane"_s, u"--pane-id"_s,
                    station.variable("WEZTERM_PANE")}};
}

// Its window and its session are named "/Windows/1" and "/Sessions/2" on the bus.
NextStep konsole(const Station &station)
{
    const QString service = station.variable("KONSOLE_DBUS_SERVICE"), window = station.variable("KONSOLE_DBUS_WINDOW");
    if (service.isEmpty() || !window.startsWith(u'/') || station.owner().name != "konsole")
        return NotHere();
    return Command{{u"dbus-send"_s, u"--session"_s, u"--print-reply"_s, u"--dest="_s + service, window,
                    u"org.kde.konsole.Window.setCurrentSession"_s,
                    u"int32:"_s + station.variable("KONSOLE_DBUS_SESSION").section(u'/', -1)}};
}

// The windows of the owner in what a compositor tells, by their names in there.
QStringList windowsIn(const QJsonValue &tree, const Station &station, const QString &nameKey)
{
    QStringList names;
    if (tree["pid"_L1].isDouble() && station.isOwner(tree["pid"_L1].toInt()))
        names.append(tree[nameKey].toVariant().toString());
    for (const QJsonValue &list : {tree["nodes"_L1], tree["floating_nodes"_L1], tree}) {
        for (const auto &node : list.toArray())
            names += windowsIn(node, station, nameKey);
    }
    return names;
}

// `list` prints the windows in JSON; `focus` takes the name of one. Where the owner has several, none of them is known
// to be the right one.
NextStep onlyWindow(const Station &station, const QStringList &list, const QString &nameKey, const QStringList &focus)
{
    return Command{list, [station, nameKey, focus](const QByteArray &printed) -> NextStep {
                       const QJsonArray told{QJsonDocument::fromJson("[" + printed + "]").array()};
                       const QStringList names = windowsIn(told, station, nameKey);
                       if (names.size() != 1)
                           return NotHere();
                       return Command{QStringList(focus).replaceInStrings(u"NAME"_s, names.first()),
                                      [](const QByteArray &) -> NextStep { return Reached(); }};
                   }};
}

NextStep swayWindow(const Station &station)
{
    if (qEnvironmentVariableIsEmpty("SWAYSOCK"))
        return NotHere();
    return onlyWindow(station, {u"swaymsg"_s, u"-r"_s, u"-t"_s, u"get_tree"_s}, u"id"_s,
                      {u"swaymsg"_s, u"[con_id=NAME] focus"_s});
}

NextStep hyprlandWindow(const Station &station)
{
    if (qEnvironmentVariableIsEmpty("HYPRLAND_INSTANCE_SIGNATURE"))
        return NotHere();
    return onlyWindow(station, {u"hyprctl"_s, u"-j"_s, u"clients"_s}, u"address"_s,
                      {u"hyprctl"_s, u"dispatch"_s, u"focuswindow"_s, u"address:NAME"_s});
}

QList<uint32_t> numbers(const QByteArray &property)
{
    QList<uint32_t> values(property.size() / qsizetype(sizeof(uint32_t)));
    std::memcpy(values.data(), property.constData(), static_cast<std::size_t>(values.size()) * sizeof(uint32_t));
    return values;
}

// A window of the owner: the one that WINDOWID names, else the only one. It is asked for as a pager asks (EWMH), which
// window managers obey; but openbox 3.6 shows only a window of the current desktop then.
NextStep x11Window(const Station &station)
{
    xcb_connection_t *const connection = xcbConnection();
    if (!connection)
        return NotHere();
    const xcb_window_t root = xcbRoot(connection);
    QList<xcb_window_t> windows = numbers(xcbProperty(connection, root, "_NET_CLIENT_LIST"));
    windows.removeIf([&](xcb_window_t window) {
        const QByteArray machine = xcbProperty(connection, window, "WM_CLIENT_MACHINE"); // its number is known there
        const bool isElsewhere = !machine.isEmpty() && machine != QSysInfo::machineHostName().toUtf8();
        const QList<uint32_t> pid = numbers(xcbProperty(connection, window, "_NET_WM_PID"));
        return isElsewhere || !station.isOwner(static_cast<pid_t>(pid.value(0)));
    });
    const xcb_window_t named = station.variable("WINDOWID").toUInt();
    if (!windows.contains(named) && windows.size() != 1)
        return NotHere();
    const xcb_window_t window = windows.contains(named) ? named : windows.first();
    const auto ask = [&](const char *what, xcb_window_t of, uint32_t value) {
        xcb_client_message_event_t event{};
        event.response_type = XCB_CLIENT_MESSAGE;
        event.format = 32;
        event.window = of;
        event.type = xcbAtom(connection, what);
        event.data.data32[0] = value;
        xcb_send_event(connection, 0, root, XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                       reinterpret_cast<const char *>(&event));
    };
    constexpr uint32_t everywhere = 0xFFFFFFFF, pager = 2;
    const uint32_t desktop = numbers(xcbProperty(connection, window, "_NET_WM_DESKTOP")).value(0, everywhere);
    if (desktop != everywhere && desktop != numbers(xcbProperty(connection, root, "_NET_CURRENT_DESKTOP")).value(0))
        ask("_NET_CURRENT_DESKTOP", root, desktop);
    ask("_NET_ACTIVE_WINDOW", window, pager);
    xcb_flush(connection);
    return Reached{[window] {
        xcb_connection_t *const now = xcbConnection();
        return now && numbers(xcbProperty(now, xcbRoot(now), "_NET_ACTIVE_WINDOW")).value(0) == window;
    }};
}

// A program that has made a terminal for another and runs in one itself.
NextStep between(const Station &station)
{
    const Process owner = station.owner();
    const QList<QByteArray> names{"sudo", "su", "doas", "script"};
    return owner.terminal != 0 && names.contains(owner.name) ? NextStep(owner.pid) : NotHere();
}

constexpr Terminal all[] = {
    {"tmux", tmux},
    {"screen", screen},
    {"kitty", kitty},
    {"WezTerm", wezTerm},
    {"Konsole", konsole},
    {"a window of sway", swayWindow},
    {"a window of Hyprland", hyprlandWindow},
    {"an X11 window", x11Window},
    {"sudo and its like", between},
};

} // namespace

Station Station::of(pid_t inside)
{
    Station station{Process::of(inside), {}};
    if (station.inside.terminal == 0)
        return station;
    Process owner = station.inside;
    while (owner.pid != 0 && owner.terminal == station.inside.terminal)
        owner = Process::of(owner.parent);
    if (owner.pid == 0)
        return station;
    const QByteArray program = owner.program;
    do {
        station.owners.append(owner);
        owner = Process::of(owner.parent);
    } while (!program.isEmpty() && owner.program == program);
    return station;
}

bool Station::isOwner(pid_t pid) const
{
    return std::ranges::any_of(owners, [pid](const Process &owner) { return owner.pid == pid; });
}

std::span<const Terminal> terminals()
{
    return all;
}
