"""A throw-away X11 desktop of ready pieces, and the program on it as a user and a screen reader meet it. There is one
desktop in a process, since the libraries find it by the environment."""
import atexit
import functools
import json
import os
import subprocess
import tempfile
from collections import Counter
from contextlib import suppress
from pathlib import Path

import gi
gi.require_version('Atspi', '2.0')
from gi.repository import Atspi, Gio, GLib
from Xlib import X, display, error

from driver.home import Home, run, start, until
from driver.program import Program

SIZE = (1280, 800)
BAR = 26  # pixels: the height of the bar at the upper edge, whose right end is the tray
PANEL_CONFIG = f'''<channel name="xfce4-panel" version="1.0"><property name="configver" type="int" value="2"/>
  <property name="panels" type="array"><value type="int" value="1"/><property name="panel-1" type="empty">
    <property name="position" type="string" value="p=6;x=0;y=0"/><property name="length" type="uint" value="100"/>
    <property name="position-locked" type="bool" value="true"/><property name="size" type="uint" value="{BAR}"/>
    <property name="plugin-ids" type="array"><value type="int" value="1"/><value type="int" value="2"/></property>
  </property></property><property name="plugins" type="empty"><property name="plugin-2" type="string" value="systray"/>
    <property name="plugin-1" type="string" value="separator"><property name="expand" type="bool" value="true"/>
  </property></property></channel>'''
BUS_CONFIG = '''<busconfig><type>session</type><listen>unix:path={0}/bus</listen><servicedir>{0}/services</servicedir>
  <policy context="default"><allow send_destination="*"/><allow receive_sender="*"/><allow own="*"/></policy>
</busconfig>'''
COMMANDS = {
    'openbox': ['openbox', '--sm-disable'],
    'xfwm4': ['xfwm4', '--compositor=off'],
    'picom': ['picom', '--backend', 'xrender', '--config', '/dev/null'],
    'xfce4-panel': ['xfce4-panel', '--disable-wm-check', '--sm-client-disable'],  # takes items and windows
    'trayer': ['trayer', '--edge', 'top', '--align', 'right', '--widthtype', 'request', '--height', f'{BAR}',
               '--SetPartialStrut', 'true'],  # takes windows alone
    'notifications': ['/usr/bin/python3', '-m', 'dbusmock', '--session', '--template', 'notification_daemon', '-p'],
}
BUS = ('org.freedesktop.DBus', '/', 'org.freedesktop.DBus')
MOCK = ('org.freedesktop.Notifications', '/org/freedesktop/Notifications', 'org.freedesktop.DBus.Mock')
WATCHER = ('org.kde.StatusNotifierWatcher', '/StatusNotifierWatcher', 'org.freedesktop.DBus.Properties')


def start_telling(*command):
    """A process, and the first line that it prints."""
    process = start(*command, stdout=subprocess.PIPE, text=True)
    return process, process.stdout.readline().strip()


def start_display(*options):
    """The process of a new X server, and its number."""
    return start_telling('Xvfb', '-displayfd', '1', '-screen', '0', f'{SIZE[0]}x{SIZE[1]}x24', *options)


class Desktop:
    """`environment` is for the programs on it, `use` says what it is made of."""

    def __init__(self):
        folder = tempfile.TemporaryDirectory(prefix='plumtide-desktop-')
        atexit.register(self._end, folder)
        self.dir, self._parts, self._used = Path(folder.name), {}, {}
        settings = self.dir / 'config/xfce4/xfconf/xfce-perchannel-xml'
        for made in (settings, self.dir / 'services', self.dir / 'run'):
            made.mkdir(parents=True, mode=0o700)
        (settings / 'xfce4-panel.xml').write_text(PANEL_CONFIG)
        (self.dir / 'bus.conf').write_text(BUS_CONFIG.format(self.dir))
        for name in ('org.xfce.Xfconf.service', 'org.a11y.Bus.service'):  # all that the bus may start
            (self.dir / 'services' / name).symlink_to(f'/usr/share/dbus-1/services/{name}')
        self._parts['display'], number = start_display('-noreset')
        os.environ |= {'DISPLAY': f':{number}', 'HOME': f'{self.dir}', 'XDG_CONFIG_HOME': f'{self.dir}/config',
                       'XDG_RUNTIME_DIR': f'{self.dir}/run', 'GSETTINGS_BACKEND': 'memory', 'LANG': 'C.UTF-8'}
        self._parts['bus'], os.environ['DBUS_SESSION_BUS_ADDRESS'] = start_telling(
            'dbus-daemon', f'--config-file={self.dir}/bus.conf', '--print-address')
        self.environment = {'QT_LINUX_ACCESSIBILITY_ALWAYS_ON': '1'} | {
            name: os.environ[name] for name in ('DISPLAY', 'DBUS_SESSION_BUS_ADDRESS', 'XDG_RUNTIME_DIR')}
        self.bus = Gio.bus_get_sync(Gio.BusType.SESSION)
        self.bus.set_exit_on_close(False)
        self.x = display.Display()
        self.x.set_error_handler(lambda *_: None)  # of windows that have gone meanwhile
        self.root = self.x.screen().root
        Atspi.get_desktop(0).set_cache_mask(Atspi.Cache.NONE)

    def _end(self, folder):
        for part in reversed(list(self._parts)):
            self._stop(part)
        folder.cleanup()

    def _stop(self, part):
        self._parts[part].terminate()
        self._parts.pop(part).wait()

    def use(self, manager='openbox', tray='xfce4-panel', notifications='actions body-markup', compositor=None):
        """A window manager; a tray, a notification service, by its capabilities, and a compositor, or None of them."""
        wanted = {'manager': manager, 'tray': tray, 'notifications': notifications, 'compositor': compositor}
        for part in [part for part in wanted if wanted[part] != self._used.get(part)]:
            if part in self._parts:
                self._stop(part)
            if wanted[part]:
                self._parts[part] = start(*COMMANDS.get(wanted[part]) or [
                    *COMMANDS[part], json.dumps({'capabilities': wanted[part]})])
            if part == 'manager':  # a bar that comes while it starts may be given no room
                until(lambda: self.top() >= 0)
        self._used = wanted
        for selection, part in (('WM_S0', manager), ('_NET_SYSTEM_TRAY_S0', tray), ('_NET_WM_CM_S0', compositor)):
            atom = self.x.intern_atom(selection)
            until(lambda: bool(self.x.get_selection_owner(atom)) == bool(part))
        until(lambda: self.top() >= 0 and bool(self.top()) == bool(tray))
        for name, is_wanted in ((WATCHER[0], tray == 'xfce4-panel'), (MOCK[0], bool(notifications))):
            until(lambda: self.call(*BUS, 'NameHasOwner', '(s)', name) == is_wanted)

    def call(self, name, path, interface, member, signature='()', *arguments):
        """The results of a call; of a single one, that."""
        results = self.bus.call_sync(name, path, interface, member, GLib.Variant(signature, arguments), None, 0, 5000)
        return results.unpack()[0] if results.n_children() == 1 else results.unpack()

    def notified(self, method='Notify'):
        """The arguments of each call since the service started."""
        return [arguments for _, arguments in self.call(*MOCK, 'GetMethodCalls', '(s)', method)]

    def tell_notified(self, signal, number, kind, detail):
        values = [GLib.Variant('u', number), GLib.Variant(kind, detail)]
        self.call(*MOCK, 'EmitSignal', '(sssav)', MOCK[0], signal, 'u' + kind, values)

    def property(self, window, name):
        """The values of a window's property; empty when it has none, or has gone."""
        with suppress(error.XError):
            value = window.get_full_property(self.x.intern_atom(name), X.AnyPropertyType)
            return list(value.value) if value else []
        return []

    def top(self):
        """Where the room below the bar begins, in pixels; negative before there is a window manager."""
        return (self.property(self.root, '_NET_WORKAREA') or [0, -1])[1]

    def active(self):
        return self.property(self.root, '_NET_ACTIVE_WINDOW')[:1]

    def geometry(self, window):
        """x, y, width, height on the screen."""
        size, at = window.get_geometry(), window.translate_coords(self.root, 0, 0)
        return -at.x, -at.y, size.width, size.height

    def open_window(self, test, x, y, width, height):
        """Another program's window, all blue, with the focus."""
        window = self.root.create_window(x, y, width, height, 0, X.CopyFromParent, background_pixel=0x0000ff)
        test.addCleanup(self.x.sync)
        test.addCleanup(window.destroy)
        window.set_wm_normal_hints(flags=1, x=x, y=y)  # USPosition
        window.set_wm_hints(flags=1, input=1)
        window.map()
        until(lambda: self.active() == [window.id])
        return window

    def pixels(self, x, y, width=1, height=1):
        """The colours on the screen, each 0xRRGGBB."""
        data = self.root.get_image(x, y, width, height, X.ZPixmap, 0xffffffff).data
        return [int.from_bytes(data[at:at + 3], 'little') for at in range(0, len(data), 4)]

    def do(self, *words):
        """Pointer, keys and desktops, as xdotool has them."""
        run('xdotool', *map(str, words))

    def click(self, x, y, button=1):
        self.do('mousemove', x, y, 'click', button)


desktop = functools.cache(Desktop)


class App(Program):
    """Use it with `with`: the program on the desktop, in a home of its own."""

    def __init__(self, test, *lines, **variables):
        """`lines` are on the board already, `variables` are added to its environment."""
        self.home = Home(test, environment=desktop().environment)
        self.home.write('.codex/config.toml', '')
        self.home.write('.tavvel/events.jsonl', '')  # the first event of all is only found by the poll
        self.home.write('.tavvel/tasks.json', json.dumps(lines))
        self.home.write('.config/plumtide/plumtide.conf', '[General]\n')  # it is not the first start
        self.home.install()
        super().__init__(self.home, **variables)

    pid = property(lambda self: self.process.pid)

    def ask_approval(self, title, session='s1'):
        self.home.hook('UserPromptSubmit', session, prompt=title)
        self.home.hook('PermissionRequest', session)

    def start_again(self, *arguments, **variables):
        return run(self.home.program, *arguments, env=self.environment | variables)

    def elements(self, role=None, name=''):
        """What is showing, in reading order; `name` is how its name begins."""
        with suppress(GLib.Error):  # gone while it was looked at
            return [element for application in children(Atspi.get_desktop(0))
                    if application.get_process_id() == self.pid
                    for element in self._walk(application) if element.get_name().startswith(name)
                    and role in (None, is_a := element.get_role_name(), 'push ' + is_a)]  # "button" in AT-SPI 2.54
        return []

    def _walk(self, element):
        for child in children(element):
            if 'showing' in states(child):
                yield child
                yield from self._walk(child)

    def find(self, role, name=''):
        """Waits for the first one."""
        return until(lambda: self.elements(role, name))[0]

    def press(self, role, name):
        self.find(role, name).do_action(0)

    def focused(self):
        return next((element for element in self.elements() if 'focused' in states(element)), None)

    def keys(self, at, *names):
        """Pressed when the keyboard is at the control whose name begins with `at`."""
        until(lambda: (focused := self.focused()) and focused.get_name().startswith(at))
        desktop().do('key', '--delay', 0, *names)

    def window(self, width=400):
        """The X window of the panel, or, 264 pixels wide, the mini board's, when it is on the screen."""
        for number in desktop().property(desktop().root, '_NET_CLIENT_LIST'):
            window = desktop().x.create_resource_object('window', number)
            with suppress(error.XError):
                if desktop().property(window, '_NET_WM_PID') == [self.pid] and window.get_geometry().width == width:
                    return window
        return None

    def has_focus(self):
        """Whether the panel has it, and both the window manager and a screen reader have heard of that."""
        return (panel := self.window()) and desktop().active() == [panel.id] and self.focused()

    def open(self):
        until(lambda: self.has_focus() if self.window() else self.start_again())
        return self.window()

    def until_open(self):
        until(self.has_focus)

    def until_closed(self, width=400):
        until(lambda: not self.window(width))

    def item(self, name):
        with suppress(GLib.Error, StopIteration):
            items = desktop().call(*WATCHER, 'Get', '(ss)', WATCHER[0], 'RegisteredStatusNotifierItems')
            self.owner, path = next(item.split('/', 1) for item in items if self.pid == desktop().call(
                *BUS, 'GetConnectionUnixProcessID', '(s)', item.split('/')[0]))
            return desktop().call(self.owner, '/' + path, WATCHER[2], 'Get', '(ss)', 'org.kde.StatusNotifierItem', name)
        return None

    def tooltip(self):
        return (self.item('ToolTip') or (0, 0, None))[2]

    @staticmethod
    def icon():
        """What is drawn at the right end of the bar: how many pixels of each colour."""
        return Counter(desktop().pixels(SIZE[0] - BAR + 2, 2, BAR - 4, BAR - 4))

    def click_item(self, button=1):
        until(lambda: len(self.icon()) > 3)
        desktop().click(SIZE[0] - BAR // 2, BAR // 2, button)

    def _menu(self, *arguments):
        path = self.item('Menu')
        return desktop().call(self.owner, path, 'com.canonical.dbusmenu', *arguments)

    def menu(self):
        """Of each entry its number, and whether it is checked, or -1; False for one that cannot be chosen."""
        self._menu('AboutToShow', '(i)', 0)
        entries = [self._menu('GetLayout', '(iias)', 0, -1, [])[1]]
        for _, _, inside in entries:
            entries += inside
        return {of.get('label', '').replace('_', ''): (number, of.get('enabled', True) and of.get('toggle-state', -1))
                for number, of, _ in entries[1:]}

    def choose(self, label):
        self._menu('Event', '(isvu)', self.menu()[label][0], 'clicked', GLib.Variant('i', 0), 0)


def children(element):
    return filter(None, map(element.get_child_at_index, range(element.get_child_count())))


def states(element):
    return {state.value_nick for state in element.get_state_set().get_states()}
