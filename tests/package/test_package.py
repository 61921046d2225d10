import re
import tempfile
import threading
import unittest
from pathlib import Path

from installed import PACKAGE, RECORDINGS, Root, User, field, newer, run, until

SIZES = (16, 22, 24, 32, 48, 64, 128, 256)
FILES = {f'usr/{name}': 0o755 for name in (
    'bin/plumtide', 'share/plumtide/hooks/codex-notify.sh', 'share/plumtide/hooks/tavvel-hook.sh')} | {
    f'usr/share/{name}': 0o644 for name in (
        'applications/plumtide.desktop', 'doc/plumtide/changelog.gz', 'doc/plumtide/copyright',
        'doc/plumtide/README.md', 'doc/plumtide/README.zh-CN.md',
        *(f'doc/plumtide/docs/pictures/{name}.png' for name in ('panel', 'mini-board', 'tray')),
        'icons/hicolor/scalable/apps/plumtide.svg',
        *(f'icons/hicolor/{size}x{size}/apps/plumtide.png' for size in SIZES),
        'man/man1/plumtide.1.gz', 'metainfo/example.plumtide.plumtide.metainfo.xml')}


class PackageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.tree = Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        run('dpkg-deb', '--extract', PACKAGE, cls.tree)

    def test_it_holds_these_files_and_no_others(self):
        files = [path for path in self.tree.rglob('*') if not path.is_dir()]
        self.assertEqual({str(path.relative_to(self.tree)): path.stat().st_mode & 0o7777 for path in files}, FILES)
        self.assertNotRegex(run('dpkg-deb', '--contents', PACKAGE), r'(?m)^(?=.)(?!\S+ root/root )|^d(?!rwxr-xr-x)')
        for size in SIZES:
            header = (self.tree / f'usr/share/icons/hicolor/{size}x{size}/apps/plumtide.png').read_bytes()[16:24]
            self.assertEqual(header, size.to_bytes(4, 'big') * 2, 'width and height of the picture')
        program = self.tree / 'usr/bin/plumtide'
        self.assertNotRegex(run('readelf', '--dynamic', '--sections', '--wide', program),
                            r'RPATH|RUNPATH|\.symtab|\.debug')
        self.assertNotIn(str(RECORDINGS.parents[1]).encode(), program.read_bytes(), 'where it was built')

    def test_debian_and_the_desktops_find_no_fault(self):
        share = self.tree / 'usr/share'
        run('desktop-file-validate', share / 'applications/plumtide.desktop')
        run('appstreamcli', 'validate', '--no-net', share / 'metainfo/example.plumtide.plumtide.metainfo.xml')
        self.assertEqual(run('sh', '-c', 'LC_ALL=C.UTF-8 man --warnings --local-file "$1" >/dev/null', 'sh',
                             share / 'man/man1/plumtide.1.gz'), '')
        run('lintian', '--allow-root', '--fail-on', 'error,warning', PACKAGE)

    def test_it_asks_for_what_the_program_loads_and_the_hooks_run(self):
        depends = {re.split(r'[ (|]', part)[0] for part in field('Depends').split(', ')}
        libraries = re.findall(r'NEEDED.*\[(.*)\]', run('readelf', '--dynamic', self.tree / 'usr/bin/plumtide'))
        self.assertIn('libQt6Svg.so.6', libraries)
        for file in [*libraries, 'platforms/libqxcb.so']:
            owners = {line.split(':')[0] for line in run('dpkg-query', '--search', f'*/{file}').splitlines()}
            self.assertTrue(owners & depends, (file, owners, depends))
        for name in ('fonts-noto-cjk', 'mawk', 'notification-daemon', 'dbus-session-bus'):
            self.assertRegex(field('Recommends'), rf'(^|[ ,]){name}(,|$)')


class InstalledTest(unittest.TestCase):
    def setUp(self):
        self.root = Root(self)
        self.files_before = self.root.files()
        self.root.install(PACKAGE)
        self.user = User(self, self.root)
        self.printed = self.user.connect()

    def test_it_follows_a_session_through_the_deployed_hooks(self):
        self.assertRegex(self.printed, r'\AClaude Code 接好了.*\nCodex 接好了.*\n\Z')
        user = self.user
        user.start()
        user.claude('02-UserPromptSubmit', prompt='mend the gate')
        until(lambda: user.board() == {'mend the gate': '正在处理你的请求'}, 'the session is on the board')
        user.claude('04-PermissionRequest')
        until(lambda: user.board() == {'mend the gate': '暂停中，等待你确认'}, 'its question is on the board')
        user.codex()
        until(lambda: 'Codex 这轮做完了' in user.board().values(), 'the turn of Codex is on the board')
        self.assertTrue((user.home / 'notified').exists(), "the user's own notification still runs")
        self.assertEqual(user.stop(), 0)

    def test_an_update_while_sessions_run_loses_nothing_and_renews_the_scripts(self):
        user = self.user
        update = newer(Path(self.enterContext(tempfile.TemporaryDirectory())))
        sent, enough = [], threading.Event()

        def work(session):
            while not enough.is_set():
                prompt = f'{session} asks {len(sent)}'
                sent.append(prompt)
                user.claude('02-UserPromptSubmit', prompt=prompt, session_id=session)

        def follows():
            count = len(sent)
            until(lambda: any(int(title.split()[-1]) >= count for title in user.board()), 'the sessions are followed')

        sessions = [threading.Thread(target=work, args=[name]) for name in ('ann', 'bea', 'eve')]
        user.start()
        for session in sessions:
            session.start()
        try:
            follows()
            for package in (PACKAGE, update):
                self.root.install(package)
                follows()
            self.assertFalse(user.scripts_are_installed(), 'the old program still runs')
            self.assertEqual(user.stop(), 0)
            user.start()
            until(user.scripts_are_installed, 'the new scripts are deployed')
            for _ in range(10):
                user.connect()  # no session may find its script busy or gone while it is replaced
            follows()
        finally:
            enough.set()
            for session in sessions:
                session.join()
        self.assertEqual(sorted(user.prompts()), sorted(sent), 'each once')
        last = {prompt.split()[0]: prompt for prompt in user.prompts()}.values()
        until(lambda: set(user.board()) == set(last), 'the last events are on the board')
        self.assertEqual(user.stop(), 0)

    def test_a_purge_leaves_no_file_of_the_package_and_every_file_of_the_user(self):
        user = self.user
        user.start()
        user.claude('02-UserPromptSubmit')
        until(user.board, 'the session is on the board')
        user.stop()
        self.assertLessEqual(set(FILES), self.root.files())
        content = user.content()
        self.root.purge()
        self.assertEqual(self.root.files() ^ self.files_before, set())
        self.assertEqual(user.content(), content)
        user.claude('02-UserPromptSubmit')
        self.assertEqual(len(user.prompts()), 2, 'the deployed hooks still work for a session that goes on')
