import unittest

from Xlib import X, Xatom
from Xlib.display import Display

from driver.desktop import SIZE, App, desktop, start_display
from driver.home import line, until

BLUE = 0x0000ff  # another program's window
MARGIN = 12  # of the mini board, for its shadow
BOARD = 240 + 2 * MARGIN


class OnOpenbox(unittest.TestCase):
    manager = 'openbox'

    def setUp(self):
        desktop().use(manager=self.manager)
        self.app = self.enterContext(App(self, line('job', id='cx-job', status='waiting', needsApproval=True)))
        until(self.app.tooltip)

    def show_board(self):
        self.app.choose('悬浮板')
        self.place()
        until(lambda: desktop().property(self.app.window(BOARD), '_NET_WM_DESKTOP') == [0xffffffff])
        self.addCleanup(desktop().do, 'set_desktop', 0)
        desktop().do('set_desktop', 1)
        until(lambda: self.app.window(BOARD).get_attributes().map_state == X.IsViewable)

    def place(self):
        window = until(lambda: self.app.window(BOARD))
        x, y, width, height = desktop().geometry(window)
        return x + MARGIN, y + MARGIN, width - 2 * MARGIN, height - 2 * MARGIN

    def until_at(self, x, y):
        until(lambda: self.place()[:2] == (x, y))

    def test_the_panel_opens_at_the_item_with_the_focus_and_gives_it_back_however_it_is_closed(self):
        other = desktop().open_window(self, 100, 200, 300, 200)
        for what, close in (('a second click', self.app.click_item), ('Escape', lambda: desktop().do('key', 'Escape')),
                            ('a click elsewhere', lambda: desktop().click(200, 300))):
            with self.subTest(what):
                self.app.click_item()
                self.app.until_open()
                x, y, width, height = desktop().geometry(self.app.window())
                self.assertEqual((x + width, y, height), (SIZE[0], desktop().top(), 560))
                self.app.keys('Plumtide', 'Tab')
                until(lambda: self.app.focused().get_name() == '全部')
                close()
                self.app.until_closed()
                until(lambda: desktop().active() == [other.id])
                self.app.tooltip()  # answered after what a click has caused
                self.assertIsNone(self.app.window())
        for at in range(5):  # opened again before Qt has heard that it was closed
            self.app.open()
            desktop().do('key', 'Escape')
            self.app.until_closed()
            self.app.open()
            desktop().do('mousemove', 210 + at, 300, 'windowactivate', other.id)
            self.app.until_closed()

    def test_the_mini_board_floats_above_all_and_takes_no_focus(self):
        wanted = {desktop().x.intern_atom(f'_NET_WM_STATE_{state}')
                  for state in ('ABOVE', 'SKIP_TASKBAR', 'SKIP_PAGER')}
        desktop().use(manager=self.manager, compositor='picom')
        self.show_board()
        self.app.choose('悬浮板')
        self.app.until_closed(BOARD)
        desktop().use(manager=self.manager)  # without a compositor what is transparent turns black
        self.show_board()  # window managers forget what a hidden window was
        x, y, width, height = self.place()
        self.assertEqual((x, y + height), (SIZE[0] - 280, desktop().top() + 140))
        until(lambda: wanted <= {*desktop().property(self.app.window(BOARD), '_NET_WM_STATE')})
        other = desktop().open_window(self, x - 40, y - 70, width + 80, height + 140)
        corners = [(x, y), (x + width - 1, y), (x, y + height - 1), (x + width - 1, y + height - 1)]
        until(lambda: [desktop().pixels(*corner) for corner in corners] == [[BLUE]] * 4)
        self.assertNotIn(BLUE, desktop().pixels(x + 8, y + 2, width - 16, height - 4))
        desktop().click(x + width - 4, y + height // 2)
        self.app.tooltip()
        self.assertEqual(desktop().active(), [other.id])
        desktop().click(x + 40, y + height - 15)
        self.app.until_open()

    def test_the_mini_board_stays_where_it_is_dragged_until_it_is_reset(self):
        self.show_board()
        x, y, _, _ = self.place()
        desktop().do('mousemove', x + 5, y + 5, 'mousedown', 1, 'mousemove', x - 95, y + 105,
                     'mousemove', x - 195, y + 305, 'mouseup', 1)
        self.until_at(x - 200, y + 300)
        until(lambda: self.app.home.defaults().get('miniBoardOrigin') == f'{x - 200}, {y + 300}')
        self.app.stop()
        self.app.start()
        self.until_at(x - 200, y + 300)
        self.app.start_again('--reset-mini-board')
        self.until_at(x, y)
        self.assertNotIn('miniBoardOrigin', self.app.home.defaults())


class OnXfwm4(OnOpenbox):
    manager = 'xfwm4'


class OnAManagerOfItsOwn(unittest.TestCase):
    def test_the_panel_asks_for_a_place_on_the_screen_whatever_size_its_frame_claims(self):
        desktop()
        process, number = start_display()
        self.addCleanup(process.wait)
        self.addCleanup(process.terminate)
        x = Display(f':{number}')

        def until_asked(kind):
            until(lambda: x.pending_events() and (asked.append(x.next_event()) or asked[-1].type == kind))
            return asked[-1]
        asked, root, extents = [], x.screen().root, x.intern_atom('_NET_FRAME_EXTENTS')
        root.change_attributes(event_mask=X.SubstructureRedirectMask)
        for name, kind, value in (('_NET_SUPPORTING_WM_CHECK', Xatom.WINDOW, root.id),
                                  ('_NET_SUPPORTED', Xatom.ATOM, extents)):
            root.change_property(x.intern_atom(name), kind, 32, [value])
        x.sync()
        self.enterContext(App(self, DISPLAY=f':{number}')).start_again()
        window = until_asked(X.MapRequest).window
        window.change_property(extents, Xatom.CARDINAL, 32, [0, 2**32 - 399, 0, 2**32 - 559])  # the frame is 1 x 1
        window.configure(x=5, y=5)
        window.map()
        until(lambda: until_asked(X.ConfigureRequest).value_mask & X.CWX)
        self.assertEqual((asked[-1].x, asked[-1].y), (SIZE[0] - 400, 0))
