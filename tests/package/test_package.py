"""The Debian package. PLUMTIDE_PACKAGE is the path of the .deb. It is installed in a folder of its own, or, with
PLUMTIDE_PACKAGE_TEST_SYSTEM=1 (for machines that may be changed), on the machine with its package manager."""
import os
import re
import threading
import unittest
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from driver.home import RECORDINGS, Home, run, until
from driver.program import Program

PACKAGE = Path(os.environ['PLUMTIDE_PACKAGE']).resolve(strict=True)


class PackageTest(unittest.TestCase):
    def setUp(self):
        self.home = Home(self)
        self.tree = self.home.folder / 'tree'
        run('dpkg-deb', '--raw-extract', PACKAGE, self.tree)

    def test_it_holds_what_a_desktop_looks_for_and_debian_finds_no_fault(self):
        icons = {path.parts[-3].split('x')[0] for path in self.tree.glob('usr/share/icons/hicolor/*/apps/plumtide.*')}
        self.assertEqual(icons, {'scalable', *'16 22 24 32 48 64 128 256'.split()})
        self.assertEqual({path.name for path in (self.tree / 'DEBIAN').iterdir()}, {'control', 'md5sums'})  # no scripts
        self.assertNotIn(str(RECORDINGS.parents[1]).encode(), (self.tree / 'usr/bin/plumtide').read_bytes())
        run('desktop-file-validate', self.tree / 'usr/share/applications/plumtide.desktop')
        run('appstreamcli', 'validate', '--no-net', *(self.tree / 'usr/share/metainfo').iterdir())
        run('lintian', '--allow-root', '--fail-on', 'error,warning', PACKAGE)

    def test_an_update_while_sessions_run_loses_nothing_and_a_purge_leaves_the_hooks(self):
        home, sent, enough = self.home, [], threading.Event()
        if os.environ.get('PLUMTIDE_PACKAGE_TEST_SYSTEM') == '1':
            root, dpkg = Path('/'), ['dpkg']
            install = ['apt-get', 'install', '--yes', '--no-install-recommends', '--reinstall']
            self.assertFalse(Path('/usr/bin/plumtide').exists(), 'the test would remove what is installed')
            depends = run('dpkg-deb', '--field', PACKAGE, 'Depends').strip()
            run('apt-get', 'satisfy', '--yes', '--no-install-recommends', depends)
            self.addCleanup(run, 'dpkg', '--purge', 'plumtide')
        else:
            root = home.folder / 'root'
            (root / 'var/lib').mkdir(parents=True)
            dpkg = ['dpkg', f'--root={root}', '--force-not-root', '--force-depends']  # the machine's libraries
            install = [*dpkg, '--install']

        def work(session):
            while not enough.is_set():
                sent.append(prompt := f'{session} asks {len(sent)}')
                home.hook('UserPromptSubmit', session, prompt=prompt)

        def follows():
            before = len(sent)
            until(lambda: any(int(title.split()[-1]) >= before for title in home.tasks()))

        run('sed', '-i', 's/^Version: .*/&+newer/', self.tree / 'DEBIAN/control')
        run('sed', '-i', '$a # newer', *(self.tree / 'usr/share/plumtide/hooks').iterdir())
        run('dpkg-deb', '--root-owner-group', '--build', self.tree, update := home.folder / 'update.deb')
        run(*install, PACKAGE)
        home.program = root / 'usr/bin/plumtide'
        home.write('.codex/config.toml', f'notify = ["sh", "-c", "touch {home.path}/notified"]\n')
        self.assertRegex('\n'.join(home.install()), r'\AClaude Code 接好了.*\nCodex 接好了.*\Z')
        home.log()
        with Program(home) as program, ThreadPoolExecutor() as pool:
            sessions = [pool.submit(work, name) for name in ('ann', 'bea', 'eve')]
            try:
                for package in (PACKAGE, update):
                    follows()
                    run(*install, package)
                follows()
                self.assertEqual(program.stop(), 0)
                program.start()
                until(lambda: b'# newer' in home.read('.tavvel/hooks/codex-notify.sh'))
                for _ in range(10):
                    home.install()  # no session may find its script busy or gone while it is replaced
                follows()
            finally:
                enough.set()
        self.assertEqual([session.result() for session in sessions], [None] * 3)
        prompts = re.findall('"prompt":"(.*?)"', home.read('.tavvel/events.jsonl').decode())
        self.assertEqual(sorted(prompts), sorted(sent), 'each once')

        run(*dpkg, '--purge', 'plumtide')
        home.tell_codex({'type': 'agent-turn-complete'})
        self.assertTrue((home.path / 'notified').exists(), 'the deployed hooks still work for a session that goes on')
