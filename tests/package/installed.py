"""The Debian package, a root to install it in, and a user of the installed program.

PLUMTIDE_PACKAGE is the path of the .deb. The root is a folder of its own. With PLUMTIDE_PACKAGE_TEST_SYSTEM=1 it is
that of the machine, with its package manager; for machines that may be changed.
"""
import json
import os
import re
import subprocess
import tempfile
import time
from pathlib import Path

PACKAGE = Path(os.environ['PLUMTIDE_PACKAGE']).resolve(strict=True)
ON_SYSTEM = os.environ.get('PLUMTIDE_PACKAGE_TEST_SYSTEM') == '1'
RECORDINGS = Path(__file__).resolve().parent.parent / 'recordings'
# Where packages put files, and what the package tools, the loader and the desktops keep there for themselves.
PLACES = ('etc', 'opt', 'srv', 'usr', 'var')
BOOKKEEPING = ('etc/ld.so.cache', 'usr/share/applications/mimeinfo.cache', 'usr/share/icons/hicolor/icon-theme.cache',
               'usr/share/mime', 'var/cache', 'var/lib/apt', 'var/lib/dpkg', 'var/lib/swcatalog', 'var/log')


def run(*command, **options):
    """What it prints; a status other than 0 fails the test."""
    done = subprocess.run(command, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, **options)
    assert not done.returncode, f'{command} ended with {done.returncode}:\n{done.stdout}'
    return done.stdout


def field(name):
    return run('dpkg-deb', '--field', PACKAGE, name).strip()


def until(holds, what):
    end = time.monotonic() + 20
    while not holds():
        assert time.monotonic() < end, f'not within 20 s: {what}'
        time.sleep(0.02)


class Root:
    """The package is gone from it when `test` ends."""

    def __init__(self, test):
        if not ON_SYSTEM:
            self.path = Path(test.enterContext(tempfile.TemporaryDirectory()))
            (self.path / 'var/lib').mkdir(parents=True)
            # The libraries are those of the machine.
            self._dpkg = ['dpkg', f'--root={self.path}', '--force-not-root', '--force-depends']
            self._install = [*self._dpkg, '--install']
            return
        is_installed = subprocess.run(['dpkg-query', '--show', 'plumtide'], capture_output=True).returncode == 0
        assert not is_installed, 'A plumtide package is installed on this machine; this test would remove it.'
        self.path, self._dpkg = Path('/'), ['dpkg']
        self._install = ['apt-get', 'install', '--yes', '--no-install-recommends', '--reinstall']
        run('apt-get', 'satisfy', '--yes', '--no-install-recommends', field('Depends'))
        test.addCleanup(self.purge)

    def install(self, package):
        run(*self._install, package)

    def purge(self):
        run(*self._dpkg, '--purge', 'plumtide')

    def files(self):
        """The names of all there is, but for the bookkeeping."""
        prefix = len(str(self.path / 'x')) - 1
        walks = (os.walk(self.path / place) for place in PLACES)
        names = (f'{folder}/{name}'[prefix:] for walk in walks for folder, folders, files in walk
                 for name in folders + files)
        return {name for name in names if not name.startswith(BOOKKEEPING)}


def newer(scratch):
    """The package with a higher version and one more line in each script."""
    tree, package = scratch / 'newer', scratch / 'newer.deb'
    run('dpkg-deb', '--raw-extract', PACKAGE, tree)
    for script in (tree / 'usr/share/plumtide/hooks').iterdir():
        script.write_text(script.read_text() + '# newer\n')
    control = tree / 'DEBIAN/control'
    control.write_text(re.sub('(?m)^Version: .*', r'\g<0>+newer', control.read_text()))
    run('dpkg-deb', '--root-owner-group', '--build', tree, package)
    return package


class User:
    """Somebody with settings of their own in both tools, and a home that is gone when `test` ends."""

    def __init__(self, test, root):
        self.program, self._scripts = root.path / 'usr/bin/plumtide', root.path / 'usr/share/plumtide/hooks'
        self.home, self._test = Path(test.enterContext(tempfile.TemporaryDirectory())), test
        self.environment = {'HOME': str(self.home), 'PATH': '/usr/bin:/bin', 'LC_ALL': 'C.UTF-8'}
        (self.home / '.claude').mkdir()
        (self.home / '.claude/settings.json').write_text('{"model": "opus", "hooks": {"Stop": []}}')
        (self.home / '.codex').mkdir()
        (self.home / '.codex/config.toml').write_text(
            f'model = "o"\nnotify = ["touch", "{self.home}/notified"]\n[tui]\n')

    def content(self):
        return {path: path.read_bytes() for path in self.home.rglob('*') if path.is_file()}

    def connect(self):
        return run(self.program, '--install-hooks', env=self.environment)

    def start(self):
        self._running = subprocess.Popen([self.program], env=self.environment, stderr=subprocess.DEVNULL)
        self._test.enterContext(self._running)
        self._test.addCleanup(self._running.kill)

    def stop(self):
        self._running.terminate()
        return self._running.wait(10)

    def claude(self, event, **members):
        """Claude Code runs the registered command with the recorded payload, in which `members` are replaced."""
        payload = json.loads((RECORDINGS / f'claude/interactive-accept/{event}.json').read_text()) | members
        settings = json.loads((self.home / '.claude/settings.json').read_text())
        command = settings['hooks'][payload['hook_event_name']][-1]['hooks'][0]['command']
        run('/bin/sh', '-c', command, input=json.dumps(payload), env=self.environment)

    def codex(self):
        payload = (RECORDINGS / 'codex/exec-text/01-agent-turn-complete.json').read_text()
        run(self.home / '.tavvel/hooks/codex-notify.sh', payload, env=self.environment)

    def prompts(self):
        return [json.loads(line)['prompt'] for line in (self.home / '.tavvel/events.jsonl').read_text().splitlines()]

    def board(self):
        """What is told of a line, by its title."""
        tasks = self.home / '.tavvel/tasks.json'
        return {line['title']: line['currentState'] for line in json.loads(tasks.read_text())} if tasks.exists() else {}

    def scripts_are_installed(self):
        deployed = self.home / '.tavvel/hooks'
        return all((deployed / script.name).read_text() == script.read_text() for script in self._scripts.iterdir())
