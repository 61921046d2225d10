#include "Plumtide/desktop/Terminals.h"

#include "Plumtide/desktop/Xcb.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QSysInfo>

#include <algorithm>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

// TMUX is "socket,server,session". The server has made the terminal; the search goes on with the client that was used
// last. A session that no client shows has no window.
StepResult tmux(const TerminalLink &link, TerminalRequest request)
{
    const QString server = link.variable("TMUX"), pane = link.variable("TMUX_PANE");
    if (server.section(u',', -2, -2).toInt() != link.owner().pid)
        return NoMatch();
    const bool isObserving = request == TerminalRequest::Observe;
    const QStringList first = isObserving
        ? QStringList{u"display-message"_s, u"-p"_s, u"-t"_s, pane, u"#{window_active}#{pane_active}"_s}
        : QStringList{u"select-window"_s, u"-t"_s, pane, u";"_s, u"select-pane"_s, u"-t"_s, pane};
    const QStringList clients{u";"_s, u"list-clients"_s, u"-t"_s, pane, u"-F"_s, u"#{client_activity} #{client_pid}"_s};
    return RunCommand{QStringList{u"tmux"_s, u"-S"_s, server.section(u',', 0, -3)} + first + clients,
                      [isObserving](const QByteArray &output) -> StepResult {
                          if (isObserving && !output.startsWith("11\n"))
                              return Observed{false};
                          // The seconds have the same number of digits in all lines.
                          const QByteArray latest = std::ranges::max(output.trimmed().split('\n'));
                          return ContinueAt{latest.split(' ').value(1).toInt()};
                      }};
}

// STY is "server.name". The server has the terminals open in which its session is shown.
StepResult screen(const TerminalLink &link, TerminalRequest request)
{
    const QString session = link.variable("STY");
    const Process server = link.owner();
    if (session.section(u'.', 0, 0).toInt() != server.pid)
        return NoMatch();
    const QString window = link.variable("WINDOW");
    const bool isObserving = request == TerminalRequest::Observe;
    return RunCommand{isObserving ? QStringList{u"screen"_s, u"-S"_s, session, u"-Q"_s, u"number"_s}
                                  : QStringList{u"screen"_s, u"-S"_s, session, u"-X"_s, u"select"_s, window},
                      [server, window, isObserving](const QByteArray &output) -> StepResult {
                          if (isObserving && output.split(' ').first() != window.toUtf8()) // "1 (title)"
                              return Observed{false};
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

// Shows a tab or pane by the terminal's own commands, or asks which one is shown: `answer` gets what is printed.
StepResult selectPane(TerminalRequest request, const QStringList &program, const QStringList &select,
                      const QStringList &ask, const std::function<StepResult(const QByteArray &)> &answer)
{
    return request == TerminalRequest::Activate ? RunCommand{program + select} : RunCommand{program + ask, answer};
}

// In kitty's list of desktop windows, with tabs, with panes: whether all three have the focus.
bool hasFocusInKitty(const QJsonValue &list, int pane)
{
    const QJsonArray nodes = list.toArray();
    return std::ranges::any_of(nodes, [pane](const QJsonValue &node) {
        const QJsonValue inside = node["tabs"_L1].isArray() ? node["tabs"_L1] : node["windows"_L1];
        return node["is_focused"_L1].toBool()
            && (inside.isArray() ? hasFocusInKitty(inside, pane) : node["id"_L1].toInt() == pane);
    });
}

// Works where kitty's configuration has "allow_remote_control" and "listen_on".
StepResult kitty(const TerminalLink &link, TerminalRequest request)
{
    const QString address = link.variable("KITTY_LISTEN_ON");
    if (address.isEmpty() || link.variable("KITTY_PID").toInt() != link.owner().pid)
        return NoMatch();
    const int pane = link.variable("KITTY_WINDOW_ID").toInt();
    return selectPane(request, {u"kitty"_s, u"@"_s, u"--to"_s, address},
                      {u"focus-window"_s, u"--match"_s, u"id:%1"_s.arg(pane)}, {u"ls"_s},
                      [pane](const QByteArray &output) {
                          return Observed{hasFocusInKitty(QJsonDocument::fromJson(output).array(), pane)};
                      });
}

StepResult wezTerm(const TerminalLink &link, TerminalRequest request)
{
    if (link.owner().name != "wezterm-gui")
        return NoMatch();
    const QString pane = link.variable("WEZTERM_PANE");
    return selectPane(request,
                      {u"env"_s, u"WEZTERM_UNIX_SOCKET="_s + link.variable("WEZTERM_UNIX_SOCKET"), u"wezterm"_s,
                       u"cli"_s, u"--no-auto-start"_s},
                      {u"activate-pane"_s, u"--pane-id"_s, pane}, {u"list-clients"_s, u"--format"_s, u"json"_s},
                      [pane](const QByteArray &output) {
                          const QJsonArray clients = QJsonDocument::fromJson(output).array();
                          return PaneShown{std::ranges::any_of(clients, [&](const QJsonValue &client) {
                              return client["focused_pane_id"_L1].toInt(-1) == pane.toInt();
                          })};
                      });
}

// Its window and its session are named "/Windows/1" and "/Sessions/2" on the bus.
StepResult konsole(const TerminalLink &link, TerminalRequest request)
{
    const QString service = link.variable("KONSOLE_DBUS_SERVICE"), window = link.variable("KONSOLE_DBUS_WINDOW");
    if (service.isEmpty() || !window.startsWith(u'/') || link.owner().name != "konsole")
        return NoMatch();
    const QString session = link.variable("KONSOLE_DBUS_SESSION").section(u'/', -1);
    return selectPane(request,
                      {u"dbus-send"_s, u"--session"_s, u"--print-reply=literal"_s, u"--dest="_s + service, window},
                      {u"org.kde.konsole.Window.setCurrentSession"_s, u"int32:"_s + session},
                      {u"org.kde.konsole.Window.currentSession"_s}, [session](const QByteArray &output) {
                          return PaneShown{output.trimmed().split(' ').last() == session.toUtf8()}; // "   int32 1"
                      });
}

// Whether the owner's window may show something else: one tab hides the others, and editors show more than terminals.
bool mayBeHidden(const TerminalLink &link)
{
    if (link.isShown)
        return false;
    const QString program = link.variable("TERM_PROGRAM"); // true also where a terminal has inherited it from an editor
    if (program == "vscode"_L1 || program == "zed"_L1 || !link.variable("INSIDE_EMACS").isEmpty()
        || link.variable("TERMINAL_EMULATOR").startsWith("JetBrains"_L1))
        return true;
    const QList<Process> processes = Process::all();
    return std::ranges::any_of(processes, [&, window = link.variable("WINDOWID")](const Process &process) {
        return link.isOwner(process.parent) && process.terminal != 0 && process.terminal != link.inside.terminal
            && process.variable("WINDOWID") == window;
    });
}

// What can be told where the owner has so many windows, and one of them has the focus, or none.
StepResult observed(const TerminalLink &link, qsizetype windows, bool isOneFocused)
{
    if (windows == 0)
        return NoMatch();
    if (!isOneFocused)
        return Observed{false};
    return windows == 1 && !mayBeHidden(link) ? StepResult(Observed{true}) : NoMatch();
}

// The owner's windows in a compositor's JSON, by the value of `key`.
QStringList windowsIn(const QJsonValue &tree, const TerminalLink &link, const QString &key)
{
    QStringList values;
    if (tree["pid"_L1].isDouble() && link.isOwner(tree["pid"_L1].toInt()))
        values.append(tree[key].toVariant().toString());
    for (const QJsonValue &list : {tree["nodes"_L1], tree["floating_nodes"_L1], tree}) {
        for (const auto &node : list.toArray())
            values += windowsIn(node, link, key);
    }
    return values;
}

// Runs `list`, which prints the compositor's windows as JSON, and then `focus` with the owner's window in the place of
// ID. Only the window with the focus has the member `focused`. Where the owner has several windows, it is not known
// which one is the right one.
StepResult onlyWindow(const TerminalLink &link, TerminalRequest request, const QStringList &list,
                      const std::pair<QString, QString> &focused, const QString &idKey, const QStringList &focus)
{
    return RunCommand{list, [=](const QByteArray &output) -> StepResult {
                          const QJsonArray printed = QJsonDocument::fromJson("[" + output + "]").array();
                          const QStringList ids = windowsIn(printed, link, idKey);
                          if (request == TerminalRequest::Observe)
                              return observed(link, ids.size(),
                                              windowsIn(printed, link, focused.first).contains(focused.second));
                          if (ids.size() != 1)
                              return NoMatch();
                          return RunCommand{QStringList(focus).replaceInStrings(u"ID"_s, ids.first()),
                                            [](const QByteArray &) -> StepResult { return Activated(); }};
                      }};
}

StepResult swayWindow(const TerminalLink &link, TerminalRequest request)
{
    if (qEnvironmentVariableIsEmpty("SWAYSOCK"))
        return NoMatch();
    return onlyWindow(link, request, {u"swaymsg"_s, u"-r"_s, u"-t"_s, u"get_tree"_s}, {u"focused"_s, u"true"_s},
                      u"id"_s, {u"swaymsg"_s, u"[con_id=ID] focus"_s});
}

StepResult hyprlandWindow(const TerminalLink &link, TerminalRequest request)
{
    if (qEnvironmentVariableIsEmpty("HYPRLAND_INSTANCE_SIGNATURE"))
        return NoMatch();
    return onlyWindow(link, request, {u"hyprctl"_s, u"-j"_s, u"clients"_s}, {u"focusHistoryID"_s, u"0"_s}, u"address"_s,
                      {u"hyprctl"_s, u"dispatch"_s, u"focuswindow"_s, u"address:ID"_s});
}

// A window of the owner: the one that WINDOWID names, or the only one. Activated as by a pager, since window managers
// may refuse other programs; openbox 3.6 obeys a pager only on the current desktop.
StepResult x11Window(const TerminalLink &link, TerminalRequest request)
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
    if (request == TerminalRequest::Observe) {
        const xcb_window_t active = xcb.numbers(xcb.root(), "_NET_ACTIVE_WINDOW").value(0);
        const bool isKnown = windows.contains(named);
        return observed(link, isKnown ? 1 : windows.size(), isKnown ? active == named : windows.contains(active));
    }
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
StepResult ptyWrapper(const TerminalLink &link, TerminalRequest /*request*/)
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
    TerminalLink link{.inside = Process::of(inside), .owners = {}};
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
