import unittest

from gi.repository import Gio

from desktop import PANEL_HEIGHT, SIZE, Desktop, until
from program import PROGRAM, Program


def setUpModule():
    global DESKTOP
    DESKTOP = unittest.enterModuleContext(Desktop(compositor=True))


class TrayTest(unittest.TestCase):
    def setUp(self):
        self.program = self.enterContext(Program(DESKTOP))
        until(lambda: self.program.tooltip() == 'Plumtide', 'its item is registered')
        until(lambda: not DESKTOP.tray_is_empty(), 'its item is drawn')

    def test_an_event_is_seen_in_the_tray_the_panel_and_a_notification(self):
        self.program.ask_approval('tidy the shelves')
        until(lambda: self.program.tooltip() == 'Plumtide：1 条等你处理', 'the item counts it')
        until(lambda: ['Plumtide', 'plumtide', 'shop', '有个操作需要你确认：Bash — rm -rf build']
              in [message[:4] for message in DESKTOP.messages('Notify')], 'it is notified')
        self.program.open()
        self.program.find('panel', lambda name: 'tidy the shelves 等你确认：Bash — rm -rf build' in name)
        self.program.hook('Stop')
        until(lambda: self.program.tooltip() == 'Plumtide', 'the item counts it no more')
        self.program.find('panel', lambda name: 'tidy the shelves 等你看一眼。' in name)

    def test_a_click_on_the_item_opens_the_panel_beside_it_and_the_next_one_closes_it(self):
        before = len(DESKTOP.messages('Activate'))
        DESKTOP.click_tray()
        until(self.program.has_focus, 'the panel is open, with the focus')
        x, y, width, height = DESKTOP.geometry(self.program.window())
        self.assertEqual((x + width, y), (SIZE[0], y))
        self.assertTrue(PANEL_HEIGHT <= y <= PANEL_HEIGHT + 2, y)
        self.assertLessEqual(y + height, SIZE[1])
        DESKTOP.key('Tab')
        self.program.until_focused('全部')

        DESKTOP.click_tray()
        self.program.until_closed()
        until(lambda: len(DESKTOP.messages('Activate')) == before + 2, 'both clicks have been sent')
        self.program.tooltip()  # answered after what the click has caused
        self.assertIsNone(self.program.window())
        DESKTOP.click_tray()
        until(self.program.has_focus, 'the panel is open again')

    def test_a_click_elsewhere_and_escape_close_the_panel(self):
        other = DESKTOP.open_window(100, 200, 300, 200)
        self.addCleanup(other.destroy)
        self.program.open()
        DESKTOP.click(200, 300)
        self.program.until_closed()
        self.program.open()
        DESKTOP.key('Escape')
        self.program.until_closed()
        until(lambda: DESKTOP.active() == [other.id], 'the other window has the focus back')

    def test_a_click_on_a_notification_opens_the_panel(self):
        self.program.ask_approval('tidy the shelves')
        notification = until(DESKTOP.notification, 'a notification is on the screen')
        x, y, width, height = DESKTOP.geometry(notification)
        DESKTOP.click(x + width // 2, y + height // 2)
        until(self.program.has_focus, 'the panel is open')

    def test_the_menu_switches_the_start_at_login_and_shows_what_is_on_the_disk(self):
        self.program.stop()
        link = self.program.home / 'plumtide'  # an update lets such a link lead to the new version
        link.symlink_to(PROGRAM)
        self.program.start(str(link))
        until(self.program.tooltip, 'its item is registered')
        until(lambda: not DESKTOP.tray_is_empty(), 'its item is drawn')
        entry = self.program.home / '.config/autostart/plumtide.desktop'
        DESKTOP.choose_in_tray_menu(3)
        until(entry.exists, 'the login starts it')
        started = Gio.DesktopAppInfo.new_from_filename(str(entry))
        self.assertEqual(started.get_executable(), str(link))
        self.assertEqual(started.get_name(), 'Plumtide')
        entry.unlink()  # the desktop's own settings do so
        DESKTOP.choose_in_tray_menu(3)
        until(entry.exists, 'it is not switched off but on, since the menu has seen that it was off')
        DESKTOP.choose_in_tray_menu(3)
        until(lambda: not entry.exists(), 'the login starts it no more')

    def test_events_that_leave_the_count_alone_leave_the_item_alone(self):
        names = ('NewIcon', 'NewToolTip', 'NewTitle', 'NewStatus', 'NewAttentionIcon', 'NewOverlayIcon')

        def until_told(changes, what):
            wanted = [before[0] + changes, before[1] + changes, *before[2:]]
            until(lambda: (told := signals()) == wanted or told[1] > wanted[1], what)
            self.assertEqual(signals(), wanted)

        def signals():
            return [len(DESKTOP.messages(name)) for name in names]

        before = signals()
        self.program.ask_approval('tidy the shelves')
        until_told(1, 'the item says that it counts one')
        for number in range(50):
            self.program.hook('UserPromptSubmit', 's2', prompt=f'prompt number {number}')
        until(lambda: self.program.status('prompt number 49'), 'all have arrived')
        self.program.hook('Stop')
        until_told(2, 'the item says that it counts none')  # and nothing was said before that

    def test_the_item_comes_back_with_a_restarted_panel(self):
        DESKTOP.stop_panel()
        DESKTOP.start_panel()
        until(self.program.tooltip, 'its item is registered')
        until(lambda: not DESKTOP.tray_is_empty(), 'its item is drawn')
        DESKTOP.click_tray()
        until(self.program.has_focus, 'the panel is open')


if __name__ == '__main__':
    unittest.main()
