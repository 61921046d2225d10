"""A throw-away X11 desktop: display, session bus, window manager, panel with a tray, notifications, accessibility."""
import ctypes
import os
import re
import shutil
import signal
import subprocess
import tempfile
import time
from contextlib import suppress
from pathlib import Path

from gi.repository import Gio, GLib
from Xlib import X, XK, Xatom, display as xdisplay, error as xerror, protocol
from Xlib.ext import xtest

SIZE = (1280, 800)
PANEL_HEIGHT = 26
MARK = 'PLUMTIDE_TEST_DESKTOP'  # in the environment of every process of a desktop, so that none is left behind

PANEL_CONFIG = f'''<?xml version="1.0" encoding="UTF-8"?>
<channel name="xfce4-panel" version="1.0">
  <property name="configver" type="int" value="2"/>
  <property name="panels" type="array">
    <value type="int" value="1"/>
    <property name="panel-1" type="empty">
      <property name="position" type="string" value="p=6;x=0;y=0"/>
      <property name="length" type="uint" value="100"/>
      <property name="position-locked" type="bool" value="true"/>
      <property name="size" type="uint" value="{PANEL_HEIGHT}"/>
      <property name="plugin-ids" type="array"><value type="int" value="1"/><value type="int" value="2"/></property>
    </property>
  </property>
  <property name="plugins" type="empty">
    <property name="plugin-1" type="string" value="separator">
      <property name="expand" type="bool" value="true"/>
    </property>
    <property name="plugin-2" type="string" value="systray"/>
  </property>
</channel>
'''
DUNST_CONFIG = '''[global]
    origin = bottom-left
    mouse_left_click = do_action, close_current
    dmenu = /bin/false
    browser = /bin/false
'''
BUS_CONFIG = '''<busconfig>
  <type>session</type>
  <listen>unix:path={0}/bus</listen>
  <auth>EXTERNAL</auth>
  <servicedir>{0}/services</servicedir>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/><allow own="*"/>
  </policy>
</busconfig>
'''


def until(condition, what, seconds=8.0):
    """The first true value of `condition()`. Fails the test after the time limit."""
    end = time.monotonic() + seconds
    while True:
        if value := condition():
            return value
        if time.monotonic() > end:
            raise AssertionError(f'in {seconds} s it did not come to this: {what}')
        time.sleep(0.02)


def call(bus, name, path, method, arguments=None, limit=5000):
    """The results of a D-Bus call; `method` includes the interface."""
    interface, member = method.rsplit('.', 1)
    return bus.call_sync(name, path, interface, member, arguments, None, Gio.DBusCallFlags.NONE, limit, None).unpack()


def marked_processes(mark):
    """The ids of the processes that have `mark`, NAME=VALUE, in their environment."""
    found = []
    for entry in Path('/proc').iterdir():
        with suppress(OSError):
            if entry.name.isdigit() and mark.encode() in (entry / 'environ').read_bytes().split(b'\0'):
                found.append(int(entry.name))
    return found


def end_with_parent():
    """In a child: a killed test run takes the display and the bus with it, and they take the rest."""
    ctypes.CDLL(None).prctl(1, signal.SIGTERM)  # PR_SET_PDEATHSIG


class Desktop:
    """Use it with `with`. `bus` and `a11y` are connections to its session bus and to its accessibility bus."""

    def __init__(self, tray=True, compositor=False):
        self.has_tray, self.has_compositor = tray, compositor

    def __enter__(self):
        self.dir = Path(tempfile.mkdtemp(prefix='plumtide-desktop-'))
        self._parts = {}
        try:
            self._start()
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_):
        with suppress(Exception):
            self.x.close()
        for number in (signal.SIGTERM, signal.SIGKILL):
            for pid in self._processes():
                with suppress(ProcessLookupError):
                    os.kill(pid, number)
            end = time.monotonic() + 3
            while self._processes() and time.monotonic() < end:
                for process in self._parts.values():
                    process.poll()
                time.sleep(0.02)
        for process in self._parts.values():
            process.wait()
        shutil.rmtree(self.dir, ignore_errors=True)

    def _processes(self):
        return marked_processes(f'{MARK}={self.dir}')

    def _start(self):
        for name in ('config', 'services', 'run'):
            (self.dir / name).mkdir(mode=0o700)
        inherited = {key: os.environ[key] for key in ('PATH', 'LD_LIBRARY_PATH') if key in os.environ}
        self.environment = inherited | {
            MARK: str(self.dir), 'HOME': str(self.dir), 'XDG_CONFIG_HOME': str(self.dir / 'config'),
            'XDG_RUNTIME_DIR': str(self.dir / 'run'), 'GSETTINGS_BACKEND': 'memory', 'LANG': 'C.UTF-8',
            'DBUS_SESSION_BUS_ADDRESS': f'unix:path={self.dir}/bus'}
        reader, writer = os.pipe()
        self.run('display', 'Xvfb', '-displayfd', str(writer), '-screen', '0', f'{SIZE[0]}x{SIZE[1]}x24', '-noreset',
                 '-nolisten', 'tcp', pass_fds=[writer], preexec_fn=end_with_parent)
        os.close(writer)
        with os.fdopen(reader) as number:  # ends without one when the server could not start
            self.environment['DISPLAY'] = ':' + number.readline().strip()
        self.x = xdisplay.Display(self.environment['DISPLAY'])
        self.x.set_error_handler(lambda *_: None)  # of windows that have gone meanwhile
        self.root = self.x.screen().root

        (self.dir / 'bus.conf').write_text(BUS_CONFIG.format(self.dir))
        xfconf = 'org.xfce.Xfconf.service'  # the only one that the bus may start
        (self.dir / 'services' / xfconf).symlink_to(Path('/usr/share/dbus-1/services') / xfconf)
        self.run('bus', 'dbus-daemon', f'--config-file={self.dir}/bus.conf', preexec_fn=end_with_parent)
        until((self.dir / 'bus').exists, 'a session bus')
        self.bus = self._connect(self.environment['DBUS_SESSION_BUS_ADDRESS'])
        self.run('accessibility', '/usr/libexec/at-spi-bus-launcher', '--launch-immediately', '--a11y=1')
        self.run('window manager', 'openbox', '--sm-disable')
        if self.has_compositor:
            self.run('compositor', 'picom', '--backend', 'xrender', '--config', '/dev/null')
        (self.dir / 'dunstrc').write_text(DUNST_CONFIG)
        self.run('notifications', 'dunst', '-conf', str(self.dir / 'dunstrc'))
        settings = self.dir / 'config/xfce4/xfconf/xfce-perchannel-xml/xfce4-panel.xml'
        settings.parent.mkdir(parents=True)
        settings.write_text(PANEL_CONFIG)
        if self.has_tray:
            self.start_panel()
        self._watch = self.dir / 'monitor.log'
        self.run('monitor', 'dbus-monitor', '--address', self.environment['DBUS_SESSION_BUS_ADDRESS'],
                 "interface='org.kde.StatusNotifierItem'", "interface='org.freedesktop.Notifications'")
        until(lambda: self.has_owner('org.freedesktop.Notifications') and self.has_owner('org.a11y.Bus'), 'services')
        until(lambda: 'NameAcquired' in self._watch.read_text(), 'a monitor of the bus')
        until(lambda: self.property(self.root, '_NET_SUPPORTING_WM_CHECK'), 'a window manager')
        if self.has_compositor:
            until(lambda: self.x.get_selection_owner(self.atom('_NET_WM_CM_S0')), 'a compositor')
        address, = call(self.bus, 'org.a11y.Bus', '/org/a11y/bus', 'org.a11y.Bus.GetAddress')
        self.a11y = self._connect(address)

    @staticmethod
    def _connect(address):
        flags = Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION
        return Gio.DBusConnection.new_for_address_sync(address, flags, None, None)

    def run(self, part, *command, **options):
        """Starts a program of the desktop; what it says is in a file named after the part."""
        with (self.dir / f'{part}.log').open('ab') as log:
            self._parts[part] = subprocess.Popen(command, env=self.environment, stdin=subprocess.DEVNULL, stdout=log,
                                                 stderr=log, **options)

    def start_panel(self):
        self.run('panel', 'xfce4-panel', '--disable-wm-check', '--sm-client-disable')
        until(lambda: self.has_owner('org.kde.StatusNotifierWatcher'), 'a tray', 20)

    def stop_panel(self):
        self._parts['panel'].terminate()
        self._parts['panel'].wait(5)
        until(lambda: not self.has_owner('org.kde.StatusNotifierWatcher'), 'no tray')

    def has_owner(self, name):
        return call(self.bus, *BUS, 'org.freedesktop.DBus.NameHasOwner', GLib.Variant('(s)', (name,)))[0]

    def messages(self, member):
        """What the monitor saw since its start: for each call or signal of that name its texts, in order."""
        found = []
        for block in re.split(r'\n(?=method|signal)', self._watch.read_text()):
            head, _, rest = block.partition('\n')
            if head.endswith(f'member={member}'):
                found.append([line.strip()[8:-1] for line in rest.splitlines() if line.startswith('   string "')])
        return found

    # The X server.

    def atom(self, name):
        return self.x.intern_atom(name)

    def property(self, window, name):
        """The values of a window's property; empty when it has none, or has gone."""
        with suppress(xerror.XError):
            value = window.get_full_property(self.atom(name), X.AnyPropertyType)
            return list(value.value) if value else []
        return []

    def windows(self):
        """The managed windows, from the bottom to the top."""
        return [self.x.create_resource_object('window', number)
                for number in self.property(self.root, '_NET_CLIENT_LIST_STACKING')]

    def notification(self):
        """The window of the notifications, when it is on the screen."""
        for window in self.root.query_tree().children:
            with suppress(xerror.XError):
                if (window.get_wm_class() or [''])[-1] == 'Dunst' and window.get_attributes().map_state == X.IsViewable:
                    return window
        return None

    def states(self, window):
        return {self.x.get_atom_name(atom) for atom in self.property(window, '_NET_WM_STATE')}

    def active(self):
        return self.property(self.root, '_NET_ACTIVE_WINDOW')

    def geometry(self, window):
        """x, y, width, height on the screen."""
        size, at = window.get_geometry(), window.translate_coords(self.root, 0, 0)
        return -at.x, -at.y, size.width, size.height

    def open_window(self, x, y, width, height):
        """Another program's window, with the focus."""
        window = self.root.create_window(x, y, width, height, 0, X.CopyFromParent, background_pixel=0x3b6ea5)
        window.set_wm_normal_hints(flags=1, x=x, y=y)  # USPosition
        window.set_wm_hints(flags=1, input=1)
        window.map()
        self.x.flush()
        until(lambda: self.active() == [window.id], 'the focus in a new window')
        return window

    def pixel(self, x, y):
        """The colour on the screen: red, green, blue."""
        blue, green, red, _ = self.root.get_image(x, y, 1, 1, X.ZPixmap, 0xffffffff).data
        return red, green, blue

    def go_to_desktop(self, number):
        self.root.send_event(protocol.event.ClientMessage(
            window=self.root, client_type=self.atom('_NET_CURRENT_DESKTOP'), data=(32, [number, 0, 0, 0, 0])),
            X.SubstructureRedirectMask | X.SubstructureNotifyMask)
        until(lambda: self.property(self.root, '_NET_CURRENT_DESKTOP') == [number], f'desktop {number}')

    def _fake(self, kind, detail=0, **at):
        xtest.fake_input(self.x, kind, detail, **at)
        self.x.sync()

    def click(self, x, y, button=1):
        self.drag((x, y), button=button)

    def drag(self, *points, button=1):
        """Presses the button at the first point, and lets it go at the last one."""
        for number, (x, y) in enumerate(points):
            self._fake(X.MotionNotify, x=x, y=y)
            if number == 0:
                self._fake(X.ButtonPress, button)
        self._fake(X.ButtonRelease, button)

    def tray_is_empty(self):
        """Whether nothing is drawn at the panel's right end."""
        picture = self.root.get_image(SIZE[0] - PANEL_HEIGHT + 4, 4, 18, 18, X.ZPixmap, 0xffffffff).data
        return picture == picture[:4] * (len(picture) // 4)

    def click_tray(self, button=1):
        """A click on the only icon in the tray, at the panel's right end."""
        self.click(SIZE[0] - PANEL_HEIGHT // 2, PANEL_HEIGHT // 2, button)

    def choose_in_tray_menu(self, position):
        """Opens the menu of the only icon in the tray, and chooses an entry with the keyboard; the first one is 1."""
        before = self.menus()
        self.click_tray(button=3)
        until(lambda: self.menus() > before, 'the menu is open')
        for _ in range(position):
            self.key('Down')
        self.key('Return')
        until(lambda: self.menus() == before, 'the menu is closed')

    def menus(self):
        """How many menus are on the screen."""
        found = 0
        for window in self.root.query_tree().children:
            with suppress(xerror.XError):
                found += (self.atom('_NET_WM_WINDOW_TYPE_POPUP_MENU') in self.property(window, '_NET_WM_WINDOW_TYPE')
                          and window.get_attributes().map_state == X.IsViewable)
        return found

    def key(self, name, shift=False):
        """Presses a key of the US keyboard, by its keysym's name."""
        code = self.x.keysym_to_keycode(XK.string_to_keysym(name))
        shift_code = self.x.keysym_to_keycode(XK.XK_Shift_L)
        if shift:
            self._fake(X.KeyPress, shift_code)
        self._fake(X.KeyPress, code)
        self._fake(X.KeyRelease, code)
        if shift:
            self._fake(X.KeyRelease, shift_code)

    def type(self, text):
        for character in text:
            self.key({' ': 'space', '-': 'minus'}.get(character, character))

    def clipboard(self):
        """The text in it, as another program gets it."""
        window = self.root.create_window(0, 0, 1, 1, 0, X.CopyFromParent)
        window.convert_selection(self.atom('CLIPBOARD'), self.atom('UTF8_STRING'), self.atom('TEXT'), X.CurrentTime)
        until(lambda: self.x.pending_events() and self.x.next_event().type == X.SelectionNotify, 'an answer')
        value = window.get_full_property(self.atom('TEXT'), X.AnyPropertyType)
        window.destroy()
        return value.value.decode() if value else None


BUS = ('org.freedesktop.DBus', '/org/freedesktop/DBus')
