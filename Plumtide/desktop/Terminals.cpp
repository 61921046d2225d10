#include "Plumtide/desktop/Terminals.h"

#include "Plumtide/desktop/Xcb.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QSysInfo>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

// TMUX is "socket,server,session". The server has made the terminal; the search goes on with the client that was used
// last. A session that no client shows has no window.
StepResult tmux(const TerminalLink &link)
{
    const QString server = link.variable("TMUX"), pane = link.variable("TMUX_PANE");
    if (server.section(u',', -2, -2).toInt() != link.owner().pid)
        return NoMatch();
    return RunCommand{{u"tmux"_s, u"-S"_s, server.section(u',', 0, -3), u"select-window"_s, u"-t"_s, pane, u";"_s,
                       u"select-pane"_s, u"-t"_s, pane, u";"_s, u"list-clients"_s, u"-t"_s, pane, u"-F"_s,
                       u"#{client_activity} #{client_pid}"_s},
                      [](const QByteArray &output) -> StepResult {
                          // The seconds have the same number of digits in all lines.
                          const QByteArray latest = std::ranges::max(output.trimmed().split('\n'));
                          return ContinueAt{latest.split(' ').value(1).toInt()};
                      }};
}

// STY is "server.name". The server has the terminals open in which its session is shown.
StepResult screen(const TerminalLink &link)
{
    const QString session = link.variable("STY");
    const Process server = link.owner();
    if (session.section(u'.', 0, 0).toInt() != server.pid)
        return NoMatch();
    return RunCommand{{u"screen"_s, u"-S"_s, session, u"-X"_s, u"select"_s, link.variable("WINDOW")},
                      [server](const QByteArray &) -> StepResult {
                          QList<int> terminals; // their device numbers
                          for (const QByteArray &file : server.openFiles()) {
                              struct stat status = {};
                              if (file.startsWith("/dev/pts/") && ::stat(file.constData(), &status) == 0)
                                  terminals.append(static_cast<int>(status.st_rdev));
                          }
                          for (const Process &client : Process::all()) {
                              if (client.name == "screen" && terminals.contains(client.terminal))
                                  return ContinueAt{client.pid};
                          }
                          return NoMatch();
                      }};
}

// Works where kitty's configuration has "allow_remote_control" and "listen_on".
StepResult kitty(const TerminalLink &link)
{
    const QString address = link.variable("KITTY_LISTEN_ON");
    if (address.isEmpty() || link.variable("KITTY_PID").toInt() != link.owner().pid)
        return NoMatch();
    return RunCommand{{u"kitty"_s, u"@"_s, u"--to"_s, address, u"focus-window"_s, u"--match"_s,
                       u"id:"_s + link.variable("KITTY_WINDOW_ID")}};
}

StepResult wezTerm(const TerminalLink &link)
{
    if (link.owner().name != "wezterm-gui")
        return NoMatch();
    return RunCommand{{u"env"_s, u"WEZTERM_UNIX_SOCKET="_s + link.variable("WEZTERM_UNIX_SOCKET"), u"wezterm"_s,
                       u"cli"_s, u"--no-auto-start"_s, u"activate-pane"_s, u"--pane-id"_s,
                       link.variable("WEZTERM_PANE")}};
}

// Its window and its session are named "/Windows/1" and "/Sessions/2" on the bus.
StepResult konsole(const TerminalLink &link)
{
    const QString service = link.variable("KONSOLE_DBUS_SERVICE"), window = link.variable("KONSOLE_DBUS_WINDOW");
    if (service.isEmpty() || !window.startsWith(u'/') || link.owner().name != "konsole")
        return NoMatch();
    return RunCommand{{u"dbus-send"_s, u"--session"_s, u"--print-reply"_s, u"--dest="_s + service, window,
                       u"org.kde.konsole.Window.setCurrentSession"_s,
                       u"int32:"_s + link.variable("KONSOLE_DBUS_SESSION").section(u'/', -1)}};
}

// The owner's windows in a compositor's JSON, by the value of `idKey`.
QStringList windowsIn(const QJsonValue &tree, const TerminalLink &link, const QString &idKey)
{
    QStringList ids;
    if (tree["pid"_L1].isDouble() && link.isOwner(tree["pid"_L1].toInt()))
        ids.append(tree[idKey].toVariant().toString());
    for (const QJsonValue &list : {tree["nodes"_L1], tree["floating_nodes"_L1], tree}) {
        for (const auto &node : list.toArray())
            ids += windowsIn(node, link, idKey);
    }
    return ids;
}

// Runs `list`, which prints the compositor's windows as JSON, and then `focus` with the owner's window in the place of
// ID. Where the owner has several windows, it is not known which one is the right one.
StepResult onlyWindow(const TerminalLink &link, const QStringList &list, const QString &idKey, const QStringList &focus)
{
    return RunCommand{list, [link, idKey, focus](const QByteArray &output) -> StepResult {
                          const QJsonArray printed = QJsonDocument::fromJson("[" + output + "]").array();
                          const QStringList ids = windowsIn(printed, link, idKey);
                          if (ids.size() != 1)
                              return NoMatch();
                          return RunCommand{QStringList(focus).replaceInStrings(u"ID"_s, ids.first()),
                                            [](const QByteArray &) -> StepResult { return Activated(); }};
                      }};
}

StepResult swayWindow(const TerminalLink &link)
{
    if (qEnvironmentVariableIsEmpty("SWAYSOCK"))
        return NoMatch();
    return onlyWindow(link, {u"swaymsg"_s, u"-r"_s, u"-t"_s, u"get_tree"_s}, u"id"_s,
                      {u"swaymsg"_s, u"[con_id=ID] focus"_s});
}

StepResult hyprlandWindow(const TerminalLink &link)
{
    if (qEnvironmentVariableIsEmpty("HYPRLAND_INSTANCE_SIGNATURE"))
        return NoMatch();
    return onlyWindow(link, {u"hyprctl"_s, u"-j"_s, u"clients"_s}, u"address"_s,
                      {u"hyprctl"_s, u"dispatch"_s, u"focuswindow"_s, u"address:ID"_s});
}

// A window of the owner: the one that WINDOWID names, or the only one. Activated as by a pager, since window managers
// may refuse other programs; openbox 3.6 obeys a pager only on the current desktop.
StepResult x11Window(const TerminalLink &link)
{
    const XcbConnection xcb;
    if (!xcb)
        return NoMatch();
    QList<xcb_window_t> windows = xcb.numbers(xcb.root(), "_NET_CLIENT_LIST");
    windows.removeIf([&](xcb_window_t window) {
        const QByteArray machine = xcb.property(window, "WM_CLIENT_MACHINE"); // where the process id counts
        const bool isRemote = !machine.isEmpty() && machine != QSysInfo::machineHostName().toUtf8();
        return isRemote || !link.isOwner(static_cast<pid_t>(xcb.numbers(window, "_NET_WM_PID").value(0)));
    });
    const xcb_window_t named = link.variable("WINDOWID").toUInt();
    if (!windows.contains(named) && windows.size() != 1)
        return NoMatch();
    const xcb_window_t window = windows.contains(named) ? named : windows.first();
    const uint32_t desktop = xcb.numbers(window, "_NET_WM_DESKTOP").value(0, xcb.allDesktops);
    if (desktop != xcb.allDesktops && desktop != xcb.numbers(xcb.root(), "_NET_CURRENT_DESKTOP").value(0))
        xcb.send(xcb.root(), "_NET_CURRENT_DESKTOP", {.data32 = {desktop}});
    xcb.send(window, "_NET_ACTIVE_WINDOW", {.data32 = {xcb.fromPager}});
    return Activated{[window] {
        const XcbConnection now;
        return now && now.numbers(now.root(), "_NET_ACTIVE_WINDOW").value(0) == window;
    }};
}

// Programs that run another program in a terminal of its own, and run in a terminal themselves.
StepResult ptyWrapper(const TerminalLink &link)
{
    const Process owner = link.owner();
    const QList<QByteArray> names{"sudo", "su", "doas", "script"};
    return owner.terminal != 0 && names.contains(owner.name) ? StepResult(ContinueAt{owner.pid}) : NoMatch();
}

constexpr TerminalStep steps[] = {tmux,       screen,         kitty,     wezTerm,   konsole,
                                  swayWindow, hyprlandWindow, x11Window, ptyWrapper};

} // namespace

TerminalLink TerminalLink::of(pid_t inside)
{
    TerminalLink link{Process::of(inside), {}};
    Process owner = link.inside;
    while (owner.pid != 0 && owner.terminal == link.inside.terminal)
        owner = Process::of(owner.parent);
    if (link.inside.terminal == 0 || owner.pid == 0)
        return link;
    const QByteArray program = owner.program;
    do {
        link.owners.append(owner);
        owner = Process::of(owner.parent);
    } while (!program.isEmpty() && owner.program == program);
    return link;
}

const std::span<const TerminalStep> terminalSteps = steps;
