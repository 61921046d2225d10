import signal
import subprocess
import sys
import unittest
from pathlib import Path

from driver.desktop import SIZE, App, desktop, start_display
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
                app.start_again(DESKTOP_STARTUP_ID='launcher-7_TIME5')
                until(app.has_focus, 'the panel is open, with the focus')
                self.assertEqual(bytes(desktop().property(app.window(), '_NET_STARTUP_ID')), b'launcher-7_TIME5')
                x, y, width, height = desktop().geometry(app.window())
                self.assertTrue(0 <= x <= SIZE[0] - width and 0 <= y <= SIZE[1] - height, (x, y))
                desktop().do('key', 'Escape')
                until(lambda: not app.window(), 'it is closed')
            self.assertEqual(app.home.defaults()['miniBoardEnabled'], 'false')
            self.assertEqual(sorted(path.name for path in (app.home.path / '.tavvel').iterdir()),
                             ['events.jsonl', 'hooks', 'tasks.json'], 'it has made nothing else')
            app.open()
            app.press('push button', '退出')
            self.assertEqual(app.process.wait(20), 0)

    def test_a_start_with_windows_takes_over_from_one_without_and_of_two_at_once_one_stays(self):
        desktop().use(tray=None)
        with App(self, DISPLAY='') as hidden:
            self.assertIn('没有可用的图形界面', until(hidden.stderr, 'it says so'))
            self.assertIn('已经在运行了', hidden.start_again())
            self.assertIsNone(hidden.process.poll(), 'another without windows leaves it alone')
            environment = hidden.environment | desktop().environment
            both = [hidden.home.start(PROGRAM, env=environment) for _ in range(2)]
            self.assertEqual(hidden.process.wait(20), 0)
            until(lambda: any(process.poll() == 0 for process in both), 'one of them has asked the other')
            hidden.process, = [process for process in both if process.poll() is None]
            until(hidden.has_focus, 'the panel is open, with the focus')

    def test_an_x_server_without_other_clients_will_do_and_its_end_loses_nothing(self):
        server, number = start_display('-terminate')  # ends where others start over, when the last client goes
        app = App(self, DISPLAY=f':{number}', DBUS_SESSION_BUS_ADDRESS='disabled:')
        with server:
            app.start()
            app.home.log(*[{'hook_event_name': 'UserPromptSubmit', 'session_id': f's{at}', 'prompt': f'job {at}'}
                           for at in range(2000)])
            until(lambda: 'tavvel.events.offset' in app.home.defaults(), 'the first are taken')
            server.kill()
            app.process.wait(20)
        taken = app.home.read('.tavvel/events.jsonl')[:int(float(app.home.defaults()['tavvel.events.offset']))]
        self.assertEqual(len(app.home.lines()), taken.count(b'prompt'))

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
