"""scripts/demo on a desktop, played in no time and held at its end."""
import os
import subprocess
import sys
import tempfile
from pathlib import Path
from types import SimpleNamespace

from desktop import marked_processes, until
from program import PROGRAM, Program

SCRIPT = Path(__file__).resolve().parents[2] / 'scripts/demo'
MARK = 'PLUMTIDE_TEST_DEMO'


class Demo(Program):
    """Use it with `with`: `script` is the running demo, and the rest is about the Plumtide that it has started."""

    def __init__(self, desktop, pause=0):
        """`pause` scales the pauses between the steps."""
        super().__init__(desktop)
        self._pause = pause

    def __enter__(self):
        folder = Path(tempfile.mkdtemp(prefix='demo-', dir=self.desktop.dir))
        self.user_home, self.temporary = folder / 'user', folder / 'temporary'
        self.mark = f'{MARK}={folder}'
        self.environment = self.desktop.environment | {
            'HOME': str(self.user_home), 'XDG_CONFIG_HOME': str(self.user_home), 'TMPDIR': str(self.temporary),
            MARK: str(folder), 'PLUMTIDE_PROGRAM': PROGRAM, 'PLUMTIDE_DEMO_PAUSE': str(self._pause),
            'QT_LINUX_ACCESSIBILITY_ALWAYS_ON': '1'}
        self.user_home.mkdir()
        self.temporary.mkdir()
        self.start()
        return self

    def start(self):
        self._application = None
        self.said = self.temporary.with_name('said')
        with self.said.open('wb') as said:
            self.script = subprocess.Popen([sys.executable, '-B', SCRIPT], env=self.environment, stdin=subprocess.PIPE,
                                           stdout=said)
        until(lambda: b'That was all' in self.said.read_bytes() or self.script.poll() is not None, 'the last step', 60)
        self.home, = self.temporary.iterdir()
        pid, = [pid for pid in marked_processes(self.mark) if os.path.samefile(f'/proc/{pid}/exe', PROGRAM)]
        self.process = SimpleNamespace(pid=pid)
        self.environment = self.environment | {'HOME': str(self.home), 'XDG_CONFIG_HOME': ''}

    def stop(self):
        self.script.stdin.close()
        return self.script.wait(10)

    def __exit__(self, *_):
        self.stop()  # what it leaves behind goes with the desktop
