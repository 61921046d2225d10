import html
import shutil
import unittest

from driver.desktop import BAR, SIZE, App, desktop, states
from driver.home import line, until

BADGE = 0xc96442
URGENT = [line(f'job {at}', id=f'cc-{at}', source='Claude', status='waiting', needsApproval=True) for at in range(101)]


class TrayTest(unittest.TestCase):
    def start(self, *lines, **parts):
        desktop().use(**parts)
        self.app = self.enterContext(App(self, *lines))
        return self.app

    def approve(self, session, command=None):
        """What is notified then; the session had its turn before."""
        before = len(desktop().notified())
        self.app.home.hook('Stop', session)
        self.app.home.hook('UserPromptSubmit', session)
        command = command or f'step {before}'
        self.app.home.hook('PermissionRequest', session, tool_input={'command': command})
        return until(lambda: [told for told in desktop().notified()[before:] if command in html.unescape(told[4])])[0]

    def test_the_number_is_drawn_after_a_start_and_follows_what_changes_it(self):
        app = self.start(*URGENT)
        until(lambda: app.tooltip() == 'Plumtide：101 条等你处理')
        until(lambda: app.icon()[BADGE] > 40)
        app.stop()
        app.home.write('.tavvel/tasks.json', '[]')
        app.start()
        until(lambda: app.tooltip() == 'Plumtide')
        until(lambda: len(app.icon()) > 3 and not app.icon()[BADGE])
        app.ask_approval('tidy up')
        until(lambda: app.tooltip() == 'Plumtide：1 条等你处理')
        app.home.hook('Stop')
        until(lambda: app.tooltip() == 'Plumtide')

    def test_each_entry_of_the_menu_does_what_it_says(self):
        app = self.start()
        until(lambda: app.tooltip() == 'Plumtide')
        self.assertEqual({label: checked for label, (_, checked) in app.menu().items()},
                         {'打开看板': -1, '撤销': False, '最近归档': False, '悬浮板': 0, '勿扰': -1, '一小时': -1, '到明天早上': -1,
                          '直到重新打开': -1, '结束勿扰': False, '回复完成也提醒': 0, '登录时启动': 0, '': -1, '退出': -1})
        app.choose('打开看板')
        app.until_open()
        app.choose('悬浮板')
        until(lambda: app.window(264))
        until(lambda: 'checked' in states(app.find('check box', '悬浮板')))
        app.press('check box', '悬浮板')
        until(lambda: app.menu()['悬浮板'][1] == 0)
        entry = app.home.path / '.config/autostart/plumtide.desktop'
        app.choose('登录时启动')
        until(entry.exists)
        until(lambda: app.menu()['登录时启动'][1] == 1)
        entry.unlink()  # the desktop's own settings do so
        self.assertEqual(app.menu()['登录时启动'][1], 0)
        app.choose('退出')
        self.assertEqual(app.process.wait(20), 0)

    def test_a_notification_goes_with_the_answer_and_opens_the_panel_and_any_service_will_do(self):
        desktop().use(notifications=None)
        app = self.start()  # with a service that counts from 1
        self.assertEqual(self.approve('s1', 'a <b> & c'), [
            'Plumtide', 0, 'plumtide', 'shop', '有个操作需要你确认：Bash — a &lt;b&gt; &amp; c',
            ['default', '打开看板', 'session', '前往会话'],
            {'desktop-entry': 'plumtide', 'urgency': 1, 'sound-name': 'message-new-instant'}, -1])
        app.home.hook('Stop', 's1')
        until(lambda: desktop().notified('CloseNotification') == [[1]])
        self.assertEqual(self.approve('s1')[1], 0)
        number = sum(not told[1] for told in desktop().notified())  # of the last one
        desktop().tell_notified('ActionInvoked', 77, 's', 'default')
        desktop().tell_notified('ActionInvoked', number, 's', 'settings')
        self.approve('s2')
        self.assertIsNone(app.window(), 'neither was a click on one of its own')
        number += 1
        desktop().tell_notified('ActionInvoked', number, 's', 'default')
        app.until_open()
        until(lambda: app.elements('push button', '搁置'))
        desktop().tell_notified('NotificationClosed', number, 'u', 2)
        self.assertEqual(self.approve('s2')[1], 0)
        self.assertNotIn([number], desktop().notified('CloseNotification'), 'the user has closed it')
        desktop().use(notifications=None)
        app.ask_approval('into the void', 's3')
        until(lambda: app.home.tasks().get('into the void', {}).get('needsApproval'))
        desktop().use(notifications='body')
        told = self.approve('s1', 'a < b')
        self.assertEqual(told[1:6], [0, 'plumtide', 'shop', '有个操作需要你确认：Bash — a < b', []])
        app.stop()
        until(lambda: desktop().notified('CloseNotification'))

    def test_a_mute_lasts_over_a_restart_and_ends_with_what_still_asks(self):
        desktop().use(notifications=None)
        app = self.start(line('written', status='waiting'))
        until(lambda: app.tooltip() == 'Plumtide：1 条等你处理')
        app.choose('回复完成也提醒')
        app.choose('直到重新打开')
        until(lambda: app.tooltip() == 'Plumtide：1 条等你处理（勿扰）')
        app.home.hook('PermissionRequest')
        until(lambda: app.tooltip() == 'Plumtide：2 条等你处理（勿扰）')
        app.stop()
        app.start()
        until(lambda: app.tooltip() == 'Plumtide：2 条等你处理（勿扰）')
        app.open()
        app.press('check box', '勿扰中')
        until(lambda: app.tooltip() == 'Plumtide：2 条等你处理')
        self.assertEqual([told[4] for told in until(desktop().notified)], ['有 1 个操作等你确认'])
        desktop().tell_notified('ActionInvoked', 1, 's', 'session')  # not the written line's
        until(lambda: [told[4] for told in desktop().notified()[1:]] == ['没找到这个会话的进程。'])
        app.home.hook('Stop')
        until(lambda: [told[4] for told in desktop().notified()[2:]] == ['回复好了：shop'])
        self.assertEqual(desktop().notified('CloseNotification'), [[1]])

    def test_the_item_comes_with_a_later_tray_and_back_with_a_restarted_one(self):
        self.start(tray=None)
        for button in (1, 2):
            desktop().use()
            until(lambda: self.app.tooltip() == 'Plumtide')
            self.app.click_item(button)
            self.app.until_open()
            desktop().use(tray=None)
            desktop().do('key', 'Escape')

    def test_a_tray_of_windows_alone_gets_an_icon_with_any_bus_and_with_none(self):
        if not shutil.which('trayer'):
            self.skipTest('there is no trayer here')
        desktop().use(tray='trayer')
        for address in (desktop().environment['DBUS_SESSION_BUS_ADDRESS'], 'unix:path=/nonexistent/bus', ''):
            with self.subTest(address), App(self, *URGENT, DBUS_SESSION_BUS_ADDRESS=address,
                                            XDG_RUNTIME_DIR=str(desktop().dir / 'nowhere')) as app:
                until(lambda: app.icon()[BADGE] > 40)
                app.ask_approval('tidy up')
                until(lambda: app.home.tasks().get('tidy up', {}).get('needsApproval'))
                app.click_item()
                x, y, width, _ = desktop().geometry(until(app.window))
                self.assertEqual((x + width, y), (SIZE[0], BAR))
