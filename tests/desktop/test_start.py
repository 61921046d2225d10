import signal
import subprocess
import sys
import unittest
from pathlib import Path

from driver.desktop import SIZE, App, desktop
from driver.home import PROGRAM, until

DEMO = Path(__file__).resolve().parents[2] / 'scripts/demo'


class Demo(App):
    """scripts/demo, held at its end; the rest is about the Plumtide that it has started."""

    def __init__(self, test, pause=0):
        """`pause` scales the pauses between the steps."""
        super().__init__(test)
        self.temporary = self.home.folder / 'temporary'
        self.temporary.mkdir()
        self.environment |= {'PLUMTIDE_PROGRAM': PROGRAM, 'PLUMTIDE_DEMO_PAUSE': str(pause),
                             'TMPDIR': str(self.temporary)}

    def start(self):
        said = self.home.folder / 'said'
        with said.open('wb') as output:
            self.process = self.home.start(sys.executable, '-B', DEMO, env=self.environment, stdin=subprocess.PIPE,
                                           stdout=output)
        until(lambda: b'That was all' in said.read_bytes() or self.process.poll() is not None, 'the last step', 60)
        self.home.path, = self.temporary.iterdir()
        self.environment |= {'HOME': str(self.home.path)}

    @property
    def pid(self):
        of_script = self.process.pid
        return int(Path(f'/proc/{of_script}/task/{of_script}/children').read_text())

    def __exit__(self, *_):
        self.process.stdin.close()
        self.process.wait(60)


class StartTest(unittest.TestCase):
    def test_a_second_start_opens_the_panel_of_the_first_and_its_button_quits(self):
        desktop().use(tray=None)
        with App(self) as app:
            for _ in range(2):
                app.start_again()
                until(app.has_focus, 'the panel is open, with the focus')
                x, y, width, height = desktop().geometry(app.window())
                self.assertTrue(0 <= x <= SIZE[0] - width and 0 <= y <= SIZE[1] - height, (x, y))
                desktop().do('key', 'Escape')
                until(lambda: not app.window(), 'it is closed')
            self.assertEqual(app.home.defaults()['miniBoardEnabled'], 'false')
            app.open()
            app.press('push button', '退出')
            self.assertEqual(app.process.wait(20), 0)

    def test_the_demo_comes_to_a_board_with_something_of_everything_and_leaves_nothing_behind(self):
        desktop().use()
        with Demo(self) as demo:
            until(lambda: demo.tooltip() == 'Plumtide：1 条等你处理', 'the item counts the approval')
            until(lambda: sorted((line['source'], line['status']) for line in demo.home.lines()) == [
                ('Claude', 'done'), *[('Claude', 'running')] * 2, *[('Claude', 'waiting')] * 2,
                *[('Codex', 'waiting')] * 2], 'the last step')
            until(lambda: demo.window() and demo.window(240), 'both boards are on the screen')
            pid = demo.pid
            demo.process.send_signal(signal.SIGINT)
            self.assertEqual(demo.process.wait(20), 130)
            self.assertEqual([*demo.temporary.iterdir(), *Path('/proc').glob(f'{pid}')], [])
