"""The run's progress on standard error: inputs done, running or queued
(submitted, not yet back), failed, and the rate. On a terminal one line is
redrawn; otherwise a line is written every few seconds, and a last one at
the end. Messages about inputs go between, each on its own line."""

import sys
import time


class Progress:
    def __init__(self, total, stream=sys.stderr, every=5.0):
        self.total, self.done, self.running, self.failed = total, 0, 0, 0
        self._stream, self._every = stream, every
        self._tty = stream.isatty()
        self._start = self._last = time.monotonic()
        self._drawn = False

    def line(self):
        elapsed = max(time.monotonic() - self._start, 1e-9)
        return (f"zsl-fleet: {self.done}/{self.total} done, {self.running} running or queued, {self.failed} failed, "
                f"{self.done / elapsed:.1f} inputs/s")

    def message(self, text):
        """A line about an input, kept apart from the progress line."""
        self._clear()
        self._stream.write(text if text.endswith("\n") else text + "\n")
        self._stream.flush()

    def update(self, force=False):
        now = time.monotonic()
        if self._tty:
            self._stream.write("\r\x1b[K" + self.line())
            self._drawn = True
        elif force or now - self._last >= self._every:
            self._stream.write(self.line() + "\n")
            self._last = now
        self._stream.flush()

    def finish(self):
        self.update(force=True)
        if self._tty:
            self._stream.write("\n")
            self._drawn = False
        self._stream.flush()

    def _clear(self):
        if self._drawn:
            self._stream.write("\r\x1b[K")
            self._drawn = False
