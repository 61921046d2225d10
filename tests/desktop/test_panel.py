import unittest
from datetime import datetime, timedelta, timezone

from desktop import Desktop, until
from program import Program, line


def setUpModule():
    global DESKTOP
    DESKTOP = unittest.enterModuleContext(Desktop(tray=False, compositor=True))


class PanelTest(unittest.TestCase):
    def start(self, *lines, hooked=True):
        self.program = self.enterContext(Program(DESKTOP, lines, hooked))
        self.program.open()
        return self.program

    def until_status(self, title, status):
        until(lambda: self.program.status(title) == status, f'{title} is {status}')

    def type_into(self, field, text):
        self.program.until_focused(field)
        DESKTOP.type(text)

    def test_the_buttons_of_a_row(self):
        program = self.start(line('first job'), line('second job', id='cc-s1', source='Claude'), line('third job'))
        cases = [('first job', '搁置', 'shelved'), ('second job', '归档', 'done'), ('third job', '完成', 'done')]
        for title, button, status in cases:
            with self.subTest(button):
                program.row(title).click()
                until(lambda: 'expanded' in program.row(title).states, 'the row is unfolded')
                program.press('button', '复制名称')
                program.find('button', '已复制')
                self.assertEqual(DESKTOP.clipboard(), title)
                program.press('button', button)
                self.until_status(title, status)
        # Of the project only the shelved line is left, which is shown without being asked for.
        until(lambda: '，已搁置，' in program.row('first job').name, 'the row says that it is shelved')
        program.row('first job').click()
        program.press('button', '恢复')
        self.until_status('first job', 'waiting')

    def test_the_buttons_of_the_focus_card(self):
        program = self.start(line('first job', status='waiting'),
                             line('second job', id='cx-t1', source='Codex', status='waiting', needsApproval=True),
                             line('third job', id='cc-s1', source='Claude', status='waiting', needsApproval=False))
        for button in ('完成', '完成', '归档'):
            card = program.find('panel', lambda name: name.startswith('下一步'))
            title, = [title for title in program.tasks() if title in card.name]
            with self.subTest(title):
                card.child('button', '复制名称').press()
                until(lambda: DESKTOP.clipboard() == title, 'the title is in the clipboard')
                card.child('button', button).press()
                self.until_status(title, 'done')
                until(lambda: 'showing' not in card.states or title not in card.name, 'another line is the next one')
        program.gone('panel', lambda name: name.startswith('下一步'))

    def test_quiet_lines_are_folded_away(self):
        long_ago = (datetime.now(timezone.utc) - timedelta(hours=30)).strftime('%Y-%m-%dT%H:%M:%SZ')
        program = self.start(line('first job'), line('second job', status='shelved'),
                             line('third job', id='cc-s1', source='Claude', status='waiting', needsApproval=False,
                                  updatedAt=long_ago), line('fourth job', status='waiting'))
        self.assertFalse(program.elements('list item', lambda name: 'second' in name or 'third' in name))
        program.press('button', '还有 2 条暂时没新动静')
        self.assertIn('，已搁置，', program.row('second job').name)
        self.assertIn('，这一轮已经结束，1 天前', program.row('third job').name)
        program.press('button', '收起')
        program.gone('list item', lambda name: name.startswith('second job'))

    def test_the_banner_installs_the_hooks(self):
        program = self.start(hooked=False)
        for file, script in (('.claude/settings.json', 'tavvel-hook.sh'), ('.codex/config.toml', 'codex-notify.sh')):
            program.press('button', '一键接入')
            until(lambda: (program.home / file).exists() and script in (program.home / file).read_text(), file)
        program.gone('button', '一键接入')
        program.hook('UserPromptSubmit', prompt='tidy the shelves')
        program.row('tidy the shelves')

    def test_the_form_makes_and_changes_a_line_by_keyboard_alone(self):
        program = self.start()
        for control in ('全部', 'Claude', 'Codex', '其他', '登记'):
            DESKTOP.key('Tab')
            program.until_focused(control)
        DESKTOP.key('Return')
        self.type_into('标题', 'tidy up')
        for field in ('项目', None, None, '目标（一句话）', '当前状态', '等待原因', '登记', '取消', '标题'):
            DESKTOP.key('Tab')
            program.until_focused(field, None if field else 'combo box')
        DESKTOP.key('Tab')
        self.type_into('项目', 'shop')
        DESKTOP.key('Tab')
        program.until_focused('其他', 'combo box')
        DESKTOP.key('Up')
        for _ in range(4):
            DESKTOP.key('Tab')
        self.type_into('等待原因', 'ask')
        DESKTOP.key('Return')
        made = until(program.tasks, 'it is stored')['tidy up']
        self.assertEqual([made[key] for key in ('project', 'source', 'status', 'waitingReason')],
                         ['shop', 'Codex', 'waiting', 'ask'])

        program.gone('text', '标题')
        for _ in range(7):
            DESKTOP.key('Tab')
        program.until_focused('编辑')
        DESKTOP.key('space')
        program.until_focused('标题')
        DESKTOP.key('Home')
        DESKTOP.type('now ')
        DESKTOP.key('Return')
        self.until_status('now tidy up', 'waiting')
        self.assertEqual(list(program.tasks().values()), [made | {'title': 'now tidy up', 'titleEdited': True}
                         | {'updatedAt': program.tasks()['now tidy up']['updatedAt']}])

        program.press('button', '登记')
        self.type_into('标题', 'never')
        DESKTOP.key('Escape')
        program.gone('text', '标题')
        self.assertTrue(program.has_focus())
        DESKTOP.key('Escape')
        program.until_closed()
        self.assertEqual(list(program.tasks()), ['now tidy up'])

    def test_a_half_filled_form_survives_an_event_and_a_closed_panel(self):
        program = self.start()
        program.press('button', '登记')
        self.type_into('标题', 'half')
        program.ask_approval('tidy the shelves')
        until(lambda: program.status('tidy the shelves') == 'waiting', 'the event has arrived')
        self.type_into('标题', ' a title')
        other = DESKTOP.open_window(100, 200, 300, 200)
        self.addCleanup(other.destroy)
        DESKTOP.click(200, 300)
        program.until_closed()
        program.open()
        self.assertEqual(program.find('text', '标题').text, 'half a title')

    def test_the_source_filter(self):
        program = self.start(line('other job'))
        program.hook('UserPromptSubmit', prompt='claude job')
        program.codex(**{'input-messages': ['codex job']})
        program.row('claude job')
        until(lambda: program.status('codex job'), 'the turn has arrived')
        shown = {'全部': 'claude codex other', 'Claude': 'claude', 'Codex': 'codex', '其他': 'other'}
        for chip in ('Claude', 'Codex', '其他', '全部'):
            with self.subTest(chip):
                program.find(None, chip).click()
                until(lambda: [name for name in shown if 'checked' in program.find(None, name).states] == [chip],
                      'only this one is chosen')
                until(lambda: ' '.join(word for word in shown['全部'].split()
                                       if program.elements(None, lambda name: f'{word} job' in name)) == shown[chip],
                      f'{shown[chip]} is shown')

    def test_an_event_leaves_the_scroll_position_the_unfolded_row_and_the_focus_alone(self):
        program = self.start(*[line(f'job {n:02}', project=f'shop {n:02}', id=f'cc-{n:02}', source='Claude',
                                    updatedAt=f'2026-01-01T00:00:{n:02}Z', status='shelved') for n in range(20)])
        program.hook('SessionStart')  # the first event of all replaces a hint
        program.row('job 19')
        for _ in range(3):  # backwards: the two controls below the board, and its last row
            DESKTOP.key('Tab', shift=True)
        focused = until(lambda: (at := program.focused()) and at.role == 'list item' and at, 'a row has the focus')
        DESKTOP.key('Return')
        until(lambda: program.elements('button', '恢复'), 'it is unfolded')

        def state():
            at = program.focused()
            return at and (at.name, at.box, at.states, [child.box for child in at.children()])
        until(lambda: (seen := state()) and (len(seen[3]), seen) == (4, state()), 'it has come to rest')
        title, before = focused.name[:6], state()
        program.hook('SessionStart', '10')  # leaves the order of the lines alone
        until(lambda: program.tasks()['job 10']['recentEvents'], 'the event has arrived')
        self.assertEqual(state(), before)
        program.hook('UserPromptSubmit', '10', prompt='another job')
        until(lambda: program.status('another job') == 'running', 'the event has arrived')
        until(lambda: program.elements('heading', '进行中 1'), 'the board shows it')
        after = state()
        self.assertEqual((after[0][:6], after[2]), (title, before[2]))
        self.assertEqual(program.focused().box[2:], before[1][2:])

    def test_what_a_screen_reader_is_told(self):
        program = self.start(line('first job', purpose='no dust'), line('second job', status='waiting'))
        row = program.row('first job')
        self.assertEqual(row.name, 'first job，其他，at work，刚刚')
        self.assertEqual(row.states & {'expandable', 'expanded', 'collapsed'}, {'expandable', 'collapsed'})
        row.press()
        until(lambda: row.states & {'expandable', 'expanded', 'collapsed'} == {'expandable', 'expanded'},
              'it is unfolded')
        self.assertIn('no dust', row.description)
        row.press()
        until(lambda: 'collapsed' in row.states, 'it is folded')

        self.assertIn('待处理 1', [heading.name for heading in program.elements('heading')])
        self.assertTrue(program.elements('list', lambda name: name.startswith('shop ')))
        self.assertEqual([(chip.name, 'checked' in chip.states) for chip in program.elements('radio button')],
                         [('全部', True), ('Claude', False), ('Codex', False), ('其他', False)])
        switch = program.find('check box', '悬浮板')
        for _ in range(2):
            was_on = 'checked' in switch.states
            switch.press()
            until(lambda: ('checked' in switch.states) != was_on, 'the switch says that it has changed')
        self.assertEqual([button.name for button in program.elements('button')],
                         ['登记', '复制名称', '编辑', '完成', '退出'])

    def test_the_fields_of_the_form_are_told_by_their_labels(self):
        program = self.start()
        program.press('button', '登记')
        fields = [element for element in program.elements() if element.role in ('text', 'combo box')]
        self.assertEqual([(field.role, field.name) for field in fields],
                         [('text', '标题'), ('text', '项目'), ('combo box', '来源'), ('combo box', '状态'),
                          ('text', '目标（一句话）'), ('text', '当前状态'), ('text', '等待原因')])


if __name__ == '__main__':
    unittest.main()
