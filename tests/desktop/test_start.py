import unittest

from driver.desktop import SIZE, App, desktop, start_display
from driver.home import PROGRAM, run, until
from driver.program import Program


class StartTest(unittest.TestCase):
    def setUp(self):
        desktop().use(tray=None)

    def test_a_start_opens_the_panel_for_the_next_step_and_the_very_first_time_but_not_at_login(self):
        for argument in ('--at-login', '', '--next'):
            app = App(self)
            if argument != '--next':
                (app.home.path / '.config/plumtide/plumtide.conf').unlink()
            with Program(app.home, argument) as program:
                app.process = program.process
                run(PROGRAM, '--reset-mini-board', env=app.environment)  # answered after what a start does by itself
                until(lambda: argument == '--at-login' or app.has_focus())
                self.assertEqual(bool(app.window()), argument != '--at-login')

    def test_a_second_start_opens_the_panel_of_the_first_and_its_button_quits(self):
        with App(self) as app, App(self):  # another home is another program
            for _ in range(2):
                app.start_again(DESKTOP_STARTUP_ID='launcher-7_TIME5')
                app.until_open()
                self.assertEqual(bytes(desktop().property(app.window(), '_NET_STARTUP_ID')), b'launcher-7_TIME5')
                x, y, width, height = desktop().geometry(app.window())
                self.assertTrue(0 <= x <= SIZE[0] - width and 0 <= y <= SIZE[1] - height, (x, y))
                desktop().do('key', 'Escape')
                app.until_closed()
            app.open()
            app.press('push button', '退出')
            self.assertEqual(app.process.wait(20), 0)

    def test_a_start_with_windows_takes_over_from_one_without_and_of_two_at_once_one_stays(self):
        with App(self, DISPLAY='') as hidden:
            self.assertIn('没有可用的图形界面', until(hidden.stderr))
            environment = hidden.environment | desktop().environment
            self.assertEqual(hidden.start_again('--next', **environment), '')
            both = [hidden.home.start(PROGRAM, env=environment) for _ in range(2)]
            self.assertEqual(hidden.process.wait(20), 0)
            until(lambda: any(process.poll() == 0 for process in both))
            hidden.process, = [process for process in both if process.poll() is None]
            hidden.until_open()

    def test_an_x_server_without_other_clients_will_do_and_its_end_loses_nothing(self):
        server, number = start_display('-terminate')  # ends where others start over, when the last client goes
        app = App(self, DISPLAY=f':{number}', DBUS_SESSION_BUS_ADDRESS='disabled:')
        app.home.log(*[{'hook_event_name': 'UserPromptSubmit', 'session_id': f's{at}', 'prompt': f'job {at}'}
                       for at in range(2000)])
        with server:
            app.start()
            until(app.home.offset)
            server.kill()
            self.assertEqual(app.process.wait(20), 1)
        taken = app.home.read('.tavvel/events.jsonl')[:app.home.offset()]
        self.assertEqual(len(app.home.lines()), taken.count(b'prompt'))
