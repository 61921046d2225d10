"""The program on a desktop, as a user and a screen reader meet it."""
import configparser
import json
import os
import shutil
import subprocess
import tempfile
from contextlib import suppress
from datetime import datetime, timezone
from pathlib import Path

from gi.repository import GLib

from desktop import BUS, Desktop, call, until

PROGRAM = os.environ['PLUMTIDE_PROGRAM']
RECORDINGS = Path(__file__).resolve().parent.parent / 'recordings'
ACCESSIBLE = 'org.a11y.atspi.Accessible'
# Numbers of the AT-SPI protocol.
ROLES = {7: 'check box', 11: 'combo box', 23: 'frame', 31: 'list', 32: 'list item', 39: 'panel', 43: 'button',
         44: 'radio button', 61: 'text', 83: 'heading'}
STATES = {4: 'checked', 5: 'collapsed', 8: 'enabled', 9: 'expandable', 10: 'expanded', 11: 'focusable', 12: 'focused',
          25: 'showing', 41: 'checkable'}


class Element:
    """Something that a screen reader can name. Its values are read when they are asked for."""

    def __init__(self, desktop, address):
        self._desktop, self._address = desktop, address

    def _call(self, method, arguments=None):
        return call(self._desktop.a11y, *self._address, method, arguments)

    def _property(self, interface, name):
        return self._call('org.freedesktop.DBus.Properties.Get',
                          GLib.Variant('(ss)', ('org.a11y.atspi.' + interface, name)))[0]

    @property
    def name(self):
        return self._property('Accessible', 'Name')

    @property
    def description(self):
        return self._property('Accessible', 'Description')

    @property
    def role(self):
        number, = self._call(ACCESSIBLE + '.GetRole')
        return ROLES.get(number, str(number))

    @property
    def states(self):
        (low, high), = self._call(ACCESSIBLE + '.GetState')
        return {name for number, name in STATES.items() if (low | high << 32) >> number & 1}

    @property
    def box(self):
        """x, y, width, height on the screen."""
        return self._call('org.a11y.atspi.Component.GetExtents', GLib.Variant('(u)', (0,)))[0]

    @property
    def text(self):
        return self._call('org.a11y.atspi.Text.GetText', GLib.Variant('(ii)', (0, -1)))[0]

    def children(self):
        return [Element(self._desktop, address) for address in self._call(ACCESSIBLE + '.GetChildren')[0]]

    def child(self, role, name):
        return until(lambda: [child for child in self.children() if (child.role, child.name) == (role, name)],
                     f'it has a {role} {name}')[0]

    def press(self):
        """Its press action, as a screen reader does it."""
        names = [action[0] for action in self._call('org.a11y.atspi.Action.GetActions')[0]]
        self._call('org.a11y.atspi.Action.DoAction', GLib.Variant('(i)', (names.index('Press'),)))

    def click(self):
        """A click of the pointer in its middle."""
        x, y, width, height = self.box
        self._desktop.click(x + width // 2, y + height // 2)


def line(title, **members):
    """A line as it is stored; one that the user wrote unless the `id` says something else."""
    now = datetime.now(timezone.utc).strftime('%Y-%m-%dT%H:%M:%SZ')
    return {'id': title, 'title': title, 'project': 'shop', 'source': 'Other', 'status': 'running', 'purpose': '',
            'currentState': 'at work', 'tags': [], 'recentEvents': [], 'updatedAt': now} | members


class Program:
    """Use it with `with`: a running program with a home of its own, which is gone with it."""

    def __init__(self, desktop: Desktop, lines=(), hooked=True):
        """`lines` are on the board already, see `line`."""
        self.desktop, self._lines, self._hooked = desktop, lines, hooked

    def __enter__(self):
        self.home = Path(tempfile.mkdtemp(prefix='home-', dir=self.desktop.dir))
        environment = {key: value for key, value in self.desktop.environment.items() if key != 'XDG_CONFIG_HOME'}
        self.environment = environment | {'HOME': str(self.home), 'QT_LINUX_ACCESSIBILITY_ALWAYS_ON': '1'}
        self._write('.codex/config.toml', '')
        if self._hooked:
            subprocess.run([PROGRAM, '--install-hooks'], env=self.environment, check=True, capture_output=True)
        self._write('.tavvel/events.jsonl', '')  # the first event of all is only found by the poll
        self._write('.tavvel/tasks.json', json.dumps(list(self._lines)))
        self.start()
        return self

    def __exit__(self, *_):
        self.stop()
        shutil.rmtree(self.home, ignore_errors=True)

    def _write(self, name, text):
        path = self.home / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)

    def start(self, program=PROGRAM):
        self.process = subprocess.Popen([program], env=self.environment, stdin=subprocess.DEVNULL)
        self._application = None  # on the accessibility bus, from its first window on
        until((self.home / '.tavvel/plumtide.socket').exists, 'its socket')

    def stop(self):
        self.process.terminate()
        return self.process.wait(5)

    def start_again(self):
        """The exit status of a second start beside this one."""
        return subprocess.run([PROGRAM], env=self.environment, timeout=10).returncode

    # What the agents do, and what is kept.

    def hook(self, event, session='s1', **members):
        """A session of Claude Code runs the hook, with a recorded payload in which `members` are replaced."""
        recordings = sorted(RECORDINGS.glob(f'claude/*/*-{event}.json'),
                            key=lambda path: 'reject' not in path.parent.name)
        recorded = json.loads(recordings[0].read_text())
        self._run_hook('tavvel-hook.sh', recorded | {'session_id': session} | members)

    def ask_approval(self, title, session='s1', **members):
        self.hook('UserPromptSubmit', session, prompt=title, **members)
        self.hook('PermissionRequest', session, **members)

    def codex(self, thread='t1', **members):
        recorded = json.loads(next(RECORDINGS.glob('codex/exec-text/*.json')).read_text())
        self._run_hook('tavvel-hook.sh', recorded | {'thread-id': thread} | members, 'codex')

    def _run_hook(self, script, payload, *arguments):
        subprocess.run([self.home / '.tavvel/hooks' / script, *arguments], input=json.dumps(payload).encode(),
                       env=self.environment, check=True)

    def tasks(self):
        """The lines on disk by their title."""
        with suppress(FileNotFoundError):
            return {line['title']: line for line in json.loads((self.home / '.tavvel/tasks.json').read_text())}
        return {}

    def status(self, title):
        return self.tasks().get(title, {}).get('status')

    def defaults(self):
        """The keys and values in the defaults file."""
        parser = configparser.RawConfigParser()
        parser.optionxform = str
        parser.read(self.home / '.config/plumtide/plumtide.conf')
        return dict(parser['General']) if parser.has_section('General') else {}

    # What is seen and heard.

    def _find_application(self):
        root = Element(self.desktop, ('org.a11y.atspi.Registry', '/org/a11y/atspi/accessible/root'))
        for application in root.children():
            with suppress(GLib.Error):
                pid = call(self.desktop.a11y, *BUS, 'org.freedesktop.DBus.GetConnectionUnixProcessID',
                           GLib.Variant('(s)', (application._address[0],)))[0]
                if pid == self.process.pid:
                    return application
        return None

    def elements(self, role=None, name=None):
        """What is showing, in reading order. `name` is the whole name, or a function of it."""
        self._application = self._application or self._find_application()
        return list(self._walk(self._application, role, name)) if self._application else []

    def _walk(self, element, role, name):
        with suppress(GLib.Error):  # gone while it was looked at
            for child in element.children():
                if 'showing' not in child.states:
                    continue
                is_named = not name or (name(child.name) if callable(name) else child.name == name)
                if is_named and (not role or child.role == role):
                    yield child
                yield from self._walk(child, role, name)

    def find(self, role, name=None):
        """Waits for the first one."""
        return until(lambda: self.elements(role, name), f'{role} {name} is showing')[0]

    def row(self, title):
        return self.find('list item', lambda name: name.startswith(title + '，'))

    def focused(self):
        return next((element for element in self.elements() if 'focused' in element.states), None)

    def until_focused(self, name, role=None):
        until(lambda: (at := self.focused()) and (at.role == role if role else at.name == name),
              f'the keyboard is at {role or name}')

    def gone(self, role, name):
        until(lambda: not self.elements(role, name), f'no {role} {name} is showing')

    def press(self, role, name):
        self.find(role, name).press()

    def window(self, name='PanelWindow'):
        """The X window of the panel or of the mini board, when it is on the screen."""
        size = (400, 560)
        for window in self.desktop.windows():
            with suppress(Exception):
                is_own = self.desktop.property(window, '_NET_WM_PID') == [self.process.pid]
                if is_own and (self.desktop.geometry(window)[2:] == size) == (name == 'PanelWindow'):
                    return window
        return None

    def has_focus(self):
        panel = self.window()
        return panel and self.desktop.active() == [panel.id] and self.focused()  # both hear of it one after the other

    def open(self):
        """The panel, with the focus."""
        if not self.window():
            self.start_again()
        return until(lambda: self.has_focus() and self.window(), 'the panel is open, with the focus')

    def until_closed(self):
        until(lambda: not self.window(), 'the panel is closed')

    def item(self):
        """Bus name and path of the tray item, as the tray knows it."""
        with suppress(GLib.Error):
            items = call(self.desktop.bus, 'org.kde.StatusNotifierWatcher', '/StatusNotifierWatcher',
                         'org.freedesktop.DBus.Properties.Get',
                         GLib.Variant('(ss)', ('org.kde.StatusNotifierWatcher', 'RegisteredStatusNotifierItems')))[0]
            for item in items:
                name, slash, path = item.partition('/')
                pid, = call(self.desktop.bus, *BUS, 'org.freedesktop.DBus.GetConnectionUnixProcessID',
                            GLib.Variant('(s)', (name,)))
                if pid == self.process.pid:
                    return name, slash + path or '/StatusNotifierItem'
        return None

    def tooltip(self):
        item = self.item()
        return item and call(self.desktop.bus, *item, 'org.freedesktop.DBus.Properties.Get',
                             GLib.Variant('(ss)', ('org.kde.StatusNotifierItem', 'ToolTip')))[0][2]
