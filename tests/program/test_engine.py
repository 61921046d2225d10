"""The program without a desktop, as its user and the agents meet it."""
import json
import os
import re
import signal
import socket
import sys
import time
import unittest
from pathlib import Path

from driver.home import PROGRAM, RECORDINGS, Home, until
from driver.program import Program

CHECKOUT = Path(__file__).resolve().parents[2]
CONFIGURATION = '.config/plumtide/plumtide.conf'
NO_DISPLAY = 'Plumtide: 没有可用的图形界面，在后台继续运行，不显示窗口。\n'


def event(session, name='UserPromptSubmit', **members):
    text = f'prompt of {session}'
    return {'session_id': str(session), 'hook_event_name': name, 'cwd': '/p/shop', 'prompt': text} | members


def board(home):
    """Each line in short, without times."""
    return [' | '.join((task['id'][:11], task['status'], task['title'], *(entry[6:] for entry in task['recentEvents'])))
            for task in home.lines()]


class EngineTest(unittest.TestCase):
    def setUp(self):
        self.home = Home(self)

    def test_recorded_sessions_become_the_right_board_live_and_after_a_restart(self):
        home, expected = self.home, (Path(__file__).parent / 'recorded-board.txt').read_text().splitlines()
        home.write('.codex/config.toml', 'model = "x"\n')
        with Program(home):
            self.assertIn('Codex 接好了', home.install()[1])
            for tell, names in ((home.tell_claude, 'claude/*/[0-9]*.json'), (home.tell_codex, 'codex/*/*.json')):
                for path in sorted(RECORDINGS.glob(names)):
                    tell(json.loads(path.read_text()))
            until(lambda: len(board(home)) == len(expected) and home.has_read_all())
        self.assertEqual(board(home), expected)
        with Program(home):  # goes on with the lines that it found
            home.tell_claude(json.loads((RECORDINGS / 'claude/interactive-killed/03-Stop.json').read_text()))
            until(home.has_read_all)
        self.assertEqual(board(home), expected)

    def test_killed_at_any_moment_it_leaves_a_whole_file_and_the_next_start_goes_on(self):
        home, names = self.home, ('UserPromptSubmit', 'PostToolUse', 'PostToolUse')
        for attempt in range(12):
            program, before = Program(home), home.offset()
            program.start()
            home.log(*(event(number % 40, names[number % 3]) for number in range(400)))
            if attempt % 4:  # some while it starts, most while it works
                until(lambda: home.offset() > before)
            time.sleep(attempt / 100)
            program.stop(signal.SIGKILL)
            self.assertTrue(home.lines() or attempt < 3, 'the file is whole')
        with Program(home):
            home.log(*(event(number, name) for number in range(40) for name in ('UserPromptSubmit', 'SessionEnd')))
            until(lambda: [task['status'] for task in home.lines()] == ['done'] * 40)
            until(home.has_read_all)
        self.assertEqual({path.name for path in (home.path / '.tavvel').iterdir()}, {'events.jsonl', 'tasks.json'})

    def test_a_second_start_leaves_the_first_one_and_the_files_alone(self):
        home = self.home
        with Program(home) as first:
            home.log(event('a'))
            until(home.tasks)
            first.process.send_signal(signal.SIGSTOP)  # so that only the second could read the log
            os.waitid(os.P_PID, first.process.pid, os.WSTOPPED)
            home.log(event('b'))
            before = home.read('.tavvel/tasks.json'), home.read(CONFIGURATION)
            self.assertEqual(home.run(PROGRAM), NO_DISPLAY + 'Plumtide: 已经在运行了。\n')
            self.assertIn('Claude Code 接好了', home.install()[0])
            self.assertIn('联系不上它', home.run(PROGRAM, '--reset-mini-board'))
            self.assertEqual((home.read('.tavvel/tasks.json'), home.read(CONFIGURATION)), before)
            first.process.send_signal(signal.SIGCONT)
            until(lambda: len(home.tasks()) == 2)

    def test_what_was_taken_of_a_backlog_is_stored_at_every_kind_of_end(self):
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            home = Home(self)
            home.log(*(event(session) for session in range(2000)))
            program = Program(home)
            program.start()
            until(home.offset)
            self.assertEqual((program.stop(number), program.stderr()), (0, NO_DISPLAY))
            self.assertEqual(len(home.lines()), home.read('.tavvel/events.jsonl')[:home.offset()].count(b'\n'), number)
        home = self.home
        home.log(event('s'))
        os.truncate(home.path / '.tavvel/events.jsonl', 1 << 40)
        with Program(home):  # which must end long before it has read a terabyte of holes
            until(home.lines)

    def test_no_event_is_applied_twice_after_a_run_that_could_not_use_the_defaults(self):
        spare, sessions = '.tavvel/plumtide.conf', range(20)
        for file, content in ((CONFIGURATION, bytes(2 << 20)), ('.config/plumtide', 'where the folder should be')):
            home = Home(self)
            home.write(file, content)
            with Program(home):  # where the position cannot be read, it goes on at the end of the log
                until(lambda: file != CONFIGURATION or home.read(spare))
                home.log(*(event(session) for session in sessions))
                until(lambda: len(home.lines()) == len(sessions))
            (home.path / file).unlink()
            home.write(CONFIGURATION, '[General]\ntavvel.events.offset=0\n')
            with Program(home):
                home.log(event(0, 'Stop'))
                until(lambda: home.has_read_all() and home.lines()[0]['status'] == 'waiting')
            self.assertEqual([len(line['recentEvents']) for line in home.lines()], [1] * len(sessions))
            self.assertFalse(home.read(spare))

    def test_a_dialog_without_an_event_is_notified_and_taken_back_by_its_record(self):
        home, address = self.home, f'unix:path={self.home.folder}/bus'
        log, home.environment['DBUS_SESSION_BUS_ADDRESS'] = home.folder / 'notified', address
        home.run('dbus-daemon', '--session', '--fork', f'--address={address}')
        home.start(sys.executable, '-m', 'dbusmock', '-t', 'notification_daemon', '-l', log,
                   '-p', '{"capabilities": "actions"}')
        until(log.exists)
        process = home.start('sleep', 'infinity')
        start = Path(f'/proc/{process.pid}/stat').read_text().split()[21]
        asks = 'PermissionRequest'
        home.log(event('open', asks), event('past', asks), event('past', 'Stop'))
        with Program(home):
            until(lambda: log.read_text().count(' Notify ') == 1)
            home.log(event('s1'))
            for status, expected in (('busy', '正在处理你的请求'), ('waiting', '暂停中，等待你确认'), ('idle', '回复好了')):
                record = {'sessionId': 's1', 'pid': process.pid, 'procStart': start, 'status': status,
                          'statusUpdatedAt': int(time.time() * 1000)}
                home.write('.claude/sessions/1.json', json.dumps(record))
                until(lambda: home.tasks().get('prompt of s1', {}).get('currentState') == expected)
            until(lambda: ' CloseNotification ' in log.read_text())
        until(lambda: log.read_text().count(' CloseNotification ') == 2)  # its end closes the other one
        self.assertEqual(log.read_text().count(' Notify '), 2)
        self.assertEqual(log.read_text().count('["session", "前往会话"]'), 2)  # there are no windows to open

    def test_of_several_arguments_one_counts_and_only_the_exact_one(self):
        home = self.home
        with Program(home, '--Install-Hooks', '--help=1', '-platform', 'x', QT_QPA_PLATFORM='minimal') as program:
            until(program.is_ready)
        self.assertEqual(home.read('.claude/settings.json'), b'')
        version = re.match(r'(plumtide) \((.*?)\)', (CHECKOUT / 'packaging/changelog').read_text()).expand(r'\1 \2\n')
        self.assertEqual(home.run(PROGRAM, 'x', '--version', '--next', '--remove-hooks'), version)
        kept = '[General]\nminiBoardEnabled=true\n{}tavvel.x=1\n'
        home.write(CONFIGURATION, kept.format('miniBoardOrigin=80, 120\n'))
        self.assertEqual(home.run(PROGRAM, '-x', '--reset-mini-board'), '')
        self.assertEqual(home.read(CONFIGURATION).decode(), kept.format(''))
        home.write('.codex/config.toml', '')
        reader, writer = os.pipe()
        os.close(reader)  # nobody reads the output
        home.run(PROGRAM, *'--help --install-hooks --remove-hooks --version'.split(), stdout=writer)
        os.close(writer)
        self.assertIn(b'notify', home.read('.codex/config.toml'))

    def test_removal_takes_out_what_was_installed_and_leaves_what_has_come_since(self):
        home, files = self.home, ('.claude/settings.json', '.codex/config.toml')

        def connect(*contents):
            for file, content in zip(files, contents):
                home.write(file, content)
            home.install()

        def remove(*prefix):
            return home.run(*prefix, PROGRAM, '--remove-hooks')

        def read(suffix=''):
            return [home.read(file + suffix) for file in files]

        notify = b'notify = ["a", "\\u0062"] # c\n'
        connect(theirs := b'{"hooks": {"Stop": [{"hooks": [{"command": "x"}]}], "Other": []}}', notify)
        home.write(files[0], json.dumps(json.loads(home.read(files[0])) | {'since': 1}))
        home.write(files[1], home.read(files[1]) + b'since = 1\n')
        before = read()
        remove()
        settings, config = read()
        self.assertEqual(json.loads(settings), json.loads(theirs) | {'since': 1})
        self.assertEqual((config, read('.backup-tavvel')), (notify + b'since = 1\n', before))
        connect(b'{}', b'notify = ["a"]\n')
        home.write('.tavvel/hooks/codex-notify-forward', 'say "b"\nc\n')
        home.write('.tavvel/hooks/theirs', '')
        home.write(files[0], left := b'{"since": 1}, ' + home.read(files[0]))
        self.assertRegex(remove(), 'Claude Code 取消接入失败：.*JSON.*\nCodex 取消接入了，原来的通知也放回去了')
        self.assertEqual(read(), [left, b'notify = ["say \\"b\\"", "c"]\n'])
        self.assertEqual({path.name for path in (home.path / '.tavvel/hooks').iterdir()},
                         {'settings.json.original', 'tavvel-hook.sh', 'theirs'})
        connect(b'{}' + b' ' * 5000, b'notify = ["a"]' + b' ' * 5000)
        before = read()
        self.assertEqual(remove('prlimit', '--fsize=4000').count('无法写入'), 2)  # as on a full disk
        self.assertEqual(read(), before)
        wrapped = b'notify = ["wrap", "%s/.tavvel/hooks/codex-notify.sh"]\n' % bytes(home.path)
        for file in (files[1], '.codex/work.config.toml'):  # or a profile's
            connect(b'{}', b'')
            home.write(file, wrapped)
            self.assertIn(f'{file} 里还有 Plumtide 认不出的 /.tavvel/hooks/codex-notify.sh', remove())
            self.assertEqual(home.read(file), wrapped)
            self.assertTrue(home.read('.tavvel/hooks/codex-notify.sh') and home.read('.tavvel/hooks/tavvel-hook.sh'))

    def test_a_mute_bus_does_not_keep_it_from_the_log(self):
        home, mute = self.home, self.enterContext(socket.socket(socket.AF_UNIX))
        mute.bind(f'{home.folder}/mute')
        mute.listen()
        home.log(event('s'))
        with Program(home, DBUS_SESSION_BUS_ADDRESS=f'unix:path={home.folder}/mute'):
            until(home.lines, 15)

    def test_hooks_work_whatever_the_home_is_called(self):
        home = Home(self, 'with "space" (and) it\'s \\ $HOME 家')
        home.log()
        with Program(home):
            home.install()
            home.hook('UserPromptSubmit')
            until(home.lines)
        home.environment['HOME'] += '\udcff'
        self.assertEqual(home.run(PROGRAM), 'Plumtide: 主目录的路径不是 UTF-8 文本，无法使用。\n')
        self.assertEqual(len(list(home.folder.glob('with*'))), 1)
