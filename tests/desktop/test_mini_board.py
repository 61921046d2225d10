import unittest

from desktop import Desktop, until
from program import Program, line

BEHIND = (0x3b, 0x6e, 0xa5)  # the colour of another program's window


def setUpModule():
    global DESKTOP
    DESKTOP = unittest.enterModuleContext(Desktop())  # without a compositor


class MiniBoardTest(unittest.TestCase):
    def setUp(self):
        self.program = self.enterContext(Program(DESKTOP, [line('tidy the shelves', status='waiting')]))
        self.program.open()
        self.program.press('check box', '悬浮板')
        self.board = until(self.find_board, 'the mini board is on the screen')
        until(lambda: self.program.defaults().get('miniBoardEnabled') == 'true', 'the preference is stored')
        DESKTOP.key('Escape')  # the panel stands over it
        self.program.until_closed()

    def find_board(self):
        return self.program.window('MiniBoardWindow')

    def place(self):
        return DESKTOP.geometry(self.find_board())[:2]

    def test_it_is_above_all_on_every_desktop_and_in_no_list(self):
        wanted = {'_NET_WM_STATE_ABOVE', '_NET_WM_STATE_SKIP_TASKBAR', '_NET_WM_STATE_SKIP_PAGER'}
        for _ in range(2):  # also when it is shown again
            until(lambda: wanted <= DESKTOP.states(self.find_board()), f'its states are {wanted}')
            until(lambda: DESKTOP.property(self.find_board(), '_NET_WM_DESKTOP') == [0xFFFFFFFF],
                  'it is on all desktops')
            self.program.open()
            self.program.press('check box', '悬浮板')
            until(lambda: not self.find_board(), 'it is hidden')
            until(lambda: self.program.defaults()['miniBoardEnabled'] == 'false', 'the preference is stored')
            self.program.press('check box', '悬浮板')
            until(self.find_board, 'it is on the screen again')
        DESKTOP.go_to_desktop(1)
        self.addCleanup(DESKTOP.go_to_desktop, 0)
        x, y, width, height = DESKTOP.geometry(self.find_board())
        other = DESKTOP.open_window(x - 20, y - 20, width + 40, height + 80)
        self.addCleanup(other.destroy)
        until(lambda: DESKTOP.pixel(x + 5, y + height + 10) == BEHIND, 'the other window is drawn')
        self.assertNotEqual(DESKTOP.pixel(x + width // 2, y + 5), BEHIND)

    def test_clicks_reach_it_and_leave_the_focus_where_it_is(self):
        other = DESKTOP.open_window(100, 200, 300, 200)
        self.addCleanup(other.destroy)
        x, y, width, height = DESKTOP.geometry(self.board)
        DESKTOP.click(x + width - 4, y + height // 2)
        self.program.tooltip()
        self.assertEqual(DESKTOP.active(), [other.id])
        self.program.find('button', 'shop，at work').click()
        until(self.program.has_focus, 'its row has opened the panel')

    def test_it_is_dragged_by_its_background_and_stays_there(self):
        x, y = self.place()
        DESKTOP.drag((x + 5, y + 5), (x - 95, y + 105), (x - 195, y + 305))
        self.assertEqual(until(lambda: self.place() != (x, y) and self.place(), 'it has moved'), (x - 200, y + 300))
        until(lambda: self.program.defaults().get('miniBoardOrigin') == f'{x - 200}, {y + 300}', 'its place is stored')
        self.assertEqual(self.program.stop(), 0)
        self.program.start()
        until(self.find_board, 'it is on the screen again')
        until(lambda: self.place() == (x - 200, y + 300), 'it is where it was')

    def test_its_corners_show_what_is_behind(self):
        x, y, width, height = DESKTOP.geometry(self.board)
        other = DESKTOP.open_window(x - 20, y - 20, width + 40, height + 40)
        self.addCleanup(other.destroy)
        corners = [(x, y), (x + width - 1, y), (x, y + height - 1), (x + width - 1, y + height - 1)]
        until(lambda: [DESKTOP.pixel(*corner) for corner in corners] == [BEHIND] * 4, 'its corners are not its own')
        self.assertNotEqual(DESKTOP.pixel(x + width // 2, y + 2), BEHIND)


if __name__ == '__main__':
    unittest.main()
