"""A throw-away home directory: what its user, the agents that report there and Plumtide keep in it."""
import json
import os
import subprocess
import tempfile
import time
from contextlib import suppress
from datetime import datetime, timezone
from pathlib import Path

PROGRAM = os.environ.get('PLUMTIDE_PROGRAM', '')
RECORDINGS = Path(__file__).resolve().parent.parent / 'recordings'


def until(condition, seconds=20):
    """The first true value of `condition()`. Fails the test after the time limit."""
    end = time.monotonic() + seconds
    while not (value := condition()):
        if time.monotonic() > end:
            raise AssertionError(f'not true within {seconds} s')
        time.sleep(0.01)
    return value


def run(*command, **options):
    """What it prints; a status other than 0 fails the test."""
    usual = {'input': '', 'encoding': 'utf-8', 'errors': 'surrogateescape', 'timeout': 120,
             'stdout': subprocess.PIPE, 'stderr': subprocess.STDOUT}
    done = subprocess.run(command, check=False, **usual | options)
    assert not done.returncode, f'{command} ended with {done.returncode}:\n{done.stdout}'
    return done.stdout


def line(title, **members):
    """A line as it is stored; one that the user wrote unless the `id` says something else."""
    changed = datetime.now(timezone.utc).strftime('%Y-%m-%dT%H:%M:%SZ')
    return {'id': title, 'title': title, 'project': 'shop', 'source': 'Other', 'status': 'running', 'purpose': '',
            'currentState': 'at work', 'tags': [], 'recentEvents': [], 'updatedAt': changed} | members


def start(*command, **options):
    """A process that a killed test run takes with it."""
    silent = dict.fromkeys(('stdin', 'stdout', 'stderr'), subprocess.DEVNULL)
    return subprocess.Popen(['setpriv', '--pdeathsig', 'TERM', *command], **silent | options)


class Home:
    """Gone, with all of its processes, when `test` ends. `name` is the last part of its path."""

    def __init__(self, test, name='home', environment={}):
        self.folder = Path(test.enterContext(tempfile.TemporaryDirectory(prefix='plumtide-test-')))
        test.addCleanup(self._end_processes)
        self._test = test
        self.path = self.folder / name
        self.path.mkdir()
        self.program = PROGRAM
        sanitizers = {key: value for key, value in os.environ.items() if key.endswith('SAN_OPTIONS')}
        self.environment = {'HOME': str(self.path), 'PATH': '/usr/bin:/bin', 'LC_ALL': 'C.UTF-8'}
        self.environment |= sanitizers | environment

    def _end_processes(self):
        """Kills what has the folder in its environment, until nothing is left."""
        until(lambda: not run('sh', '-c', f'for file in $(grep -sl {self.folder} /proc/[0-9]*/environ); do '
                              'file=${file%/*}; kill -9 ${file#/proc/}; echo $file; done'))

    def start(self, *command, **options):
        """A process that ends with the home."""
        process = start(*command, **{'env': self.environment} | options)
        self._test.addCleanup(process.wait)
        self._test.addCleanup(process.kill)
        return process

    def run(self, *command, **options):
        return run(*command, **{'env': self.environment} | options)

    def write(self, name, content):
        path = self.path / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content if isinstance(content, bytes) else content.encode())

    def read(self, name):
        with suppress(FileNotFoundError):
            return (self.path / name).read_bytes()
        return b''

    # What the user and the agents do.

    def install(self):
        """Connects both agents; the lines that it prints."""
        return self.run(self.program, '--install-hooks').splitlines()

    def hook(self, event, session='s1', **members):
        """A session of Claude Code reports `event`, with a recorded payload in which `members` are replaced."""
        recorded = min(RECORDINGS.glob(f'claude/interactive-reject/*-{event}.json'))
        self.tell_claude(json.loads(recorded.read_text()) | {'session_id': session} | members)

    def tell_claude(self, payload):
        """Claude Code runs what is registered for the event: nothing, for most."""
        settings = json.loads(self.read('.claude/settings.json'))
        for entry in settings['hooks'].get(payload['hook_event_name'], []):
            for hook in entry['hooks']:
                self.run_silently('/bin/sh', '-c', hook['command'], input=json.dumps(payload, ensure_ascii=False))

    def tell_codex(self, notification):
        self.run_silently(self.path / '.tavvel/hooks/codex-notify.sh', json.dumps(notification, ensure_ascii=False))

    def run_silently(self, *command, **options):
        printed = self.run(*command, **options)
        assert not printed, f'{command} printed {printed}'

    def log(self, *events):
        path = self.path / '.tavvel/events.jsonl'
        path.parent.mkdir(exist_ok=True)
        with path.open('a') as log:
            log.write(''.join(json.dumps(event) + '\n' for event in events))

    # What Plumtide keeps.

    def lines(self):
        """The stored lines, in their order; a file that is not whole fails the test."""
        return json.loads(self.read('.tavvel/tasks.json') or b'[]')

    def tasks(self):
        return {stored['title']: stored for stored in self.lines()}

    def defaults(self):
        stored = self.read('.config/plumtide/plumtide.conf').decode().splitlines()
        return dict(entry.split('=', 1) for entry in stored if '=' in entry)

    def offset(self):
        """How much of the log has been taken, in bytes."""
        return int(float(self.defaults().get('tavvel.events.offset', 0)))

    def has_read_all(self):
        return self.offset() == len(self.read('.tavvel/events.jsonl'))
