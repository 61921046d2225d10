"""The running program in a home."""
import re
import signal
from pathlib import Path

from driver.home import until


class Program:
    """Use it with `with`: ended, and ended well, with it. `variables` are added to the environment of `home`."""

    def __init__(self, home, *arguments, **variables):
        self._home, self._arguments = home, arguments
        self.environment = home.environment | variables
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
        self.process.send_signal(number)
        return self.process.wait(60)

    def stderr(self):
        return self._errors.read_text(errors='replace')
