import unittest

from desktop import SIZE, Desktop, until
from program import Program


def setUpModule():
    global DESKTOP
    DESKTOP = unittest.enterModuleContext(Desktop(tray=False))


class NoTrayTest(unittest.TestCase):
    def setUp(self):
        self.program = self.enterContext(Program(DESKTOP))

    def test_a_second_start_opens_the_panel_of_the_first(self):
        for _ in range(2):
            self.assertEqual(self.program.start_again(), 0)
            until(self.program.has_focus, 'the panel is open, with the focus')
            x, y, width, height = DESKTOP.geometry(self.program.window())
            self.assertTrue(0 <= x <= SIZE[0] - width and 0 <= y <= SIZE[1] - height, (x, y))
            DESKTOP.key('Escape')
            self.program.until_closed()
        self.program.open()
        self.program.press('button', '退出')
        self.assertEqual(self.program.process.wait(5), 0)

    def test_the_item_appears_when_the_tray_comes_later(self):
        self.assertIsNone(self.program.tooltip())
        DESKTOP.start_panel()
        self.addCleanup(DESKTOP.stop_panel)
        until(self.program.tooltip, 'its item is in the tray')
        self.program.ask_approval('tidy the shelves')
        until(lambda: self.program.tooltip() == 'Plumtide：1 条等你处理', 'the item counts')


if __name__ == '__main__':
    unittest.main()
