"""The running program in a home."""
import os
import re
import signal
import unittest
from pathlib import Path

from driver.home import until


def faked_clock(clock):
    """The environment of a process whose clock libfaketime sets, see there: a setting, or a file that holds one
    and may be written again. A process that waits notices that with what wakes it next."""
    library = next(Path('/usr/lib').glob('*/faketime/libfaketimeMT.so.1'))
    name = 'FAKETIME_TIMESTAMP_FILE' if isinstance(clock, Path) else 'FAKETIME'
    return {'LD_PRELOAD': str(library), 'FAKETIME_NO_CACHE': '1', name: str(clock)}


def set_clock(file, setting):
    """In one step: the processes that are set by it may look at any time."""
    file.with_suffix('.new').write_text(setting)
    file.with_suffix('.new').replace(file)


class Program:
    """Use it with `with`: ended, and ended well, with it. `clock`: see `faked_clock`. `variables` are added to the
    environment of `home`."""

    def __init__(self, home, *arguments, clock=None, **variables):
        self._home, self._arguments = home, arguments
        self.environment = home.environment | variables
        if clock:
            if os.environ.get('PLUMTIDE_SANITIZE'):
                raise unittest.SkipTest('libfaketime does not go with sanitizers')
            self.environment |= faked_clock(clock)
        self.process = None
        self._errors = home.folder / f'stderr-{id(self)}'

    def __enter__(self):
        self.start()
        return self

    def __exit__(self, kind, *_):
        status = self.stop()
        assert kind or status in (0, -signal.SIGKILL), f'it ended with {status}:\n{self.stderr()}'

    def start(self):
        """Returns at once without a display, and with one when it can be asked to open its windows."""
        with self._errors.open('ab') as errors:
            self.process = self._home.start(self._home.program, *self._arguments, env=self.environment,
                                            stdout=errors, stderr=errors)
        if 'DISPLAY' in self.environment:
            until(self.is_ready)

    def is_ready(self):
        """Whether it can be asked to open its windows, and to end: it catches signals once its lines are loaded."""
        assert self.process.poll() is None, f'it ended with {self.process.returncode}:\n{self.stderr()}'
        caught = re.search(r'SigCgt:\s*(\w+)', Path(f'/proc/{self.process.pid}/status').read_text())[1]
        return int(caught, 16) >> (signal.SIGTERM - 1) & 1

    def stop(self, number=signal.SIGTERM):
        """Its exit status."""
        self.process.send_signal(number)
        return self.process.wait(60)

    def kill(self):
        return self.stop(signal.SIGKILL)

    def stderr(self):
        """What it has printed."""
        return self._errors.read_text(errors='replace')
