"""What a worker does with one input: runs `zsl-replay explain` on it and
hands back its table rows, its messages and its exit status. A local path is
read where the client stood (the same path must reach every worker: shared
storage); a URL is read through fsspec and piped in under its name.

This module is sent to the workers by value: they need python3-distributed,
fsspec for URLs, and zsl-replay on their PATH, not this program."""

import json
import os
import shutil
import socket
import subprocess
import tempfile
from dataclasses import dataclass

BLOCK = 1 << 20


@dataclass
class Outcome:
    table: bytes        # explain's table on standard output (CSV: its header first)
    messages: str       # explain's standard error, or the worker's own line
    status: int         # explain's exit status; 2 when the worker could not run it
    setup_fault: bool = False  # the worker cannot run zsl-replay at all: no input will fare better
    passed_over: int = 0       # files read without a line of the plug-in (explain --stats)


def _command(name, url, in_folder, table_format, stats):
    command = ["zsl-replay", "explain", "--table", table_format + ":-", "--stats", stats]
    if in_folder:
        command.append("--in-folder")
    if url:
        command += ["--stdin-name", name, "--", "-"]
    else:
        command += ["--", name]
    return command


def _pump(source, process):
    """Copies the object into zsl-replay's standard input (its output goes to
    files, so that this cannot wait on it); a read error is raised."""
    try:
        with source as read:
            while block := read.read(BLOCK):
                process.stdin.write(block)
    except BrokenPipeError:
        pass  # zsl-replay stopped reading: its own message says why
    finally:
        try:
            process.stdin.close()
        except BrokenPipeError:
            pass


def explain(name, url, in_folder, table_format, cwd):
    """Runs on a worker. `cwd`: the client's folder, where a relative path is found."""
    host = socket.gethostname()
    if shutil.which("zsl-replay") is None:
        return Outcome(b"", f"zsl-fleet: zsl-replay is not on the PATH of the worker on {host}", 2, True)
    if not url and not os.path.isdir(cwd):
        return Outcome(b"", f"zsl-fleet: {name}: the folder it was named from, {cwd}, is not on the worker on "
                            f"{host}: local paths must reach every worker (or give URLs)", 2)
    source = None
    if url:
        import fsspec

        try:
            source = fsspec.open(name, "rb").open()
        except Exception as error:  # each backend raises its own kinds
            return Outcome(b"", f"zsl-fleet: cannot read {name}: {error}", 2)
    with tempfile.TemporaryFile() as out, tempfile.TemporaryFile() as err, tempfile.TemporaryDirectory() as scratch:
        stats = os.path.join(scratch, "stats.json")
        process = subprocess.Popen(_command(name, url, in_folder, table_format, stats), cwd=None if url else cwd,
                                   stdin=subprocess.PIPE if url else subprocess.DEVNULL, stdout=out, stderr=err)
        failure = None
        if source is not None:
            try:
                _pump(source, process)
            except Exception as error:  # each backend raises its own kinds
                failure = error
        status = process.wait()
        out.seek(0)
        err.seek(0)
        messages = err.read().decode("utf-8", "replace")
        if failure is not None:
            return Outcome(b"", f"zsl-fleet: cannot read {name}: {failure}", 2)
        try:  # explain's counts under their names: no message is parsed
            with open(stats) as file:
                passed_over = json.load(file)["files_passed_over"]
        except (OSError, ValueError, KeyError):
            passed_over = 0  # explain stopped before writing them: its status and messages say why
        return Outcome(out.read(), messages, status, passed_over=passed_over)
