"""Where the fleet's table goes: OUT.csv or OUT.jsonl (or csv:OUT, jsonl:OUT),
written as rows arrive to a file beside it and moved into place at the end,
so that a run that stops leaves no half table under the name asked for. A
CSV header is written once, however many workers' tables it comes from."""

import os
import tempfile


class TableError(Exception):
    pass


def table_target(given):
    """(format, path) for --table, or None when it names no table."""
    for prefix in ("csv:", "jsonl:"):
        if given.startswith(prefix) and len(given) > len(prefix):
            return prefix[:-1], given[len(prefix):]
    for ending in ("csv", "jsonl"):
        if given.endswith("." + ending) and len(given) > len(ending) + 1:
            return ending, given
    return None


def _inside(path, folder):
    path, folder = os.path.realpath(path), os.path.realpath(folder)
    return path == folder or path.startswith(folder.rstrip(os.sep) + os.sep)


class Table:
    def __init__(self, table_format, path, inputs):
        for given in inputs:
            if "://" not in given and os.path.exists(given) and _inside(path, given):
                raise TableError(f"--table {path}: that is {'inside ' if os.path.isdir(given) else ''}an input "
                                 f"({given}); nothing given is written over")
        self.format, self.path = table_format, path
        folder = os.path.dirname(os.path.abspath(path))
        try:
            descriptor, self._partial = tempfile.mkstemp(prefix=".zsl-fleet-", dir=folder)
        except OSError as error:
            raise TableError(f"--table {path}: cannot write in {folder}: {error.strerror}") from None
        self._out = os.fdopen(descriptor, "wb")
        self._header = False

    def write(self, table):
        """One task's table: CSV comes with a header line of its own. A task that failed
        before zsl-replay ran has none."""
        if not table:
            return
        if self.format == "csv":
            header, _, table = table.partition(b"\n")
            if not self._header:
                self._out.write(header + b"\n")
                self._header = True
        self._out.write(table)

    def finish(self, header_if_empty=b""):
        if self.format == "csv" and not self._header:
            self._out.write(header_if_empty)
        self._out.close()
        umask = os.umask(0)  # the table gets the mode any new file gets, not the temporary file's 0600
        os.umask(umask)
        os.chmod(self._partial, 0o666 & ~umask)
        os.replace(self._partial, self.path)

    def abandon(self):
        self._out.close()
        os.unlink(self._partial)
