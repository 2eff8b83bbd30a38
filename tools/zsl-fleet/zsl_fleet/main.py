"""zsl-fleet's command line: the inputs read on a Dask cluster into one
capture table, the same bytes `zsl-replay explain INPUT... --table` writes on
one machine, and the summary of that table (`zsl-replay summarize`)."""

import argparse
import os
import shutil
import subprocess
import sys

from .inputs import expand
from .progress import Progress
from .table import Table, TableError, table_target

# explain's line for files of a folder without the plug-in's lines; summed over the tasks.
DEFAULT_TIMEOUT = 10


class Usage(Exception):
    pass


class SetupFault(Exception):
    """A worker cannot run zsl-replay at all: no input would fare better."""


class Parser(argparse.ArgumentParser):
    def error(self, message):  # one line, not argparse's usage block
        raise Usage(message)


DESCRIPTION = """Reads bug reports, logs and folders of them on a Dask cluster with `zsl-replay explain`,
into one capture table: the same bytes `zsl-replay explain INPUT... --table OUT` writes on one
machine. Then prints the table's summary (`zsl-replay summarize`)."""

EPILOG = """examples:
  zsl-fleet reports/ --table captures.jsonl
  zsl-fleet s3://trial/2026-11-23/ --scheduler tcp://10.0.0.5:8786 --table monday.csv --json

two trials compared, each difference with its interval and a verdict (docs/compare.md):
  zsl-fleet trial-old/ --table old.jsonl && zsl-fleet trial-new/ --table new.jsonl
  zsl-replay compare --base old.jsonl --candidate new.jsonl --fail-on lag_p90_ms:+5
  zsl-replay compare both.jsonl --by build          (one table of both trials' reports)

Every worker needs zsl-replay on its PATH; a local path is read by the worker at that path, from
this folder (shared storage), a URL through fsspec. Rows come in the inputs' order; progress and
the inputs that cannot be read go to standard error.

exit status: 0 every input read; 2 bad usage, an input that cannot be read (the others are still
read), no scheduler within --timeout."""


def parse(argv):
    parser = Parser(prog="zsl-fleet", description=DESCRIPTION, epilog=EPILOG,
                    formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("inputs", nargs="+", metavar="INPUT",
                        help="bug reports, logs, folders of them, and URLs fsspec reads (file://, s3://, gs://)")
    parser.add_argument("--table", required=True, metavar="OUT",
                        help="the capture table: OUT.jsonl, OUT.csv, jsonl:OUT or csv:OUT")
    parser.add_argument("--scheduler", metavar="tcp://HOST:PORT",
                        help="a running Dask scheduler (default: a local cluster)")
    parser.add_argument("--workers", type=int, metavar="N",
                        help="worker processes of the local cluster (default: the cores)")
    parser.add_argument("--timeout", type=float, metavar="S", default=DEFAULT_TIMEOUT,
                        help=f"seconds to wait for the scheduler to answer (default: {DEFAULT_TIMEOUT})")
    parser.add_argument("--json", action="store_true", help="the summary as JSON")
    options = parser.parse_args(argv)
    if table_target(options.table) is None:
        raise Usage(f"--table {options.table}: name a .csv or .jsonl file, or write csv:FILE or jsonl:FILE")
    if table_target(options.table)[1] == "-":
        raise Usage("--table -: the table goes to a file; the summary goes to standard output")
    if options.workers is not None and not 1 <= options.workers <= 1024:
        raise Usage(f"--workers takes a number of worker processes from 1 to 1024, not {options.workers}")
    if options.scheduler and options.workers is not None:
        raise Usage("--workers sizes the local cluster; a scheduler's cluster has the workers started for it")
    options.workers = options.workers or os.cpu_count() or 1
    if not 0 < options.timeout <= 3600:
        raise Usage(f"--timeout takes seconds from 0 to 3600, not {options.timeout}")
    return options


def run(options, progress_stream=sys.stderr):
    if shutil.which("zsl-replay") is None:
        print("zsl-fleet: zsl-replay is not on the PATH: it makes the summary here and the rows on every worker",
              file=sys.stderr)
        return 2
    inputs, errors = expand(options.inputs)
    for error in errors:
        print(f"zsl-fleet: {error}", file=sys.stderr)
    status = 2 if errors else 0
    if not inputs:
        return 2
    table_format, path = table_target(options.table)
    try:
        table = Table(table_format, path, options.inputs)
    except TableError as error:
        print(f"zsl-fleet: {error}", file=sys.stderr)
        return 2

    from .cluster import ClusterError, connect, run_in_order  # Dask's import is slow; bad usage answers first

    try:
        client, cluster = connect(options.scheduler, options.workers, options.timeout)
    except ClusterError as error:
        table.abandon()
        print(f"zsl-fleet: {error}", file=sys.stderr)
        return 2
    progress = Progress(len(inputs), progress_stream)
    counts = {"passed_over": 0, "explained": 0}

    def submitted():
        progress.running += 1
        progress.update()

    def result(index, item, outcome):
        nonlocal status
        progress.running -= 1
        if outcome.setup_fault:
            raise SetupFault(outcome.messages)
        for line in outcome.messages.splitlines():
            progress.message(line)
        passed_over = outcome.passed_over
        counts["passed_over"] += passed_over
        if outcome.status != 0:
            status = 2
            progress.failed += 1
        elif not passed_over:
            counts["explained"] += 1
        table.write(outcome.table)
        progress.done += 1
        progress.update()

    try:
        run_in_order(client, inputs, table_format, result, submitted,
                     lambda text: progress.message("zsl-fleet: " + text))
    except SetupFault as fault:
        progress.message(str(fault))
        table.abandon()
        return 2
    except BaseException:
        table.abandon()
        raise
    finally:
        client.close()
        if cluster is not None:
            cluster.close()
    progress.finish()
    table.finish(_csv_header() if table_format == "csv" else b"")
    passed = counts["passed_over"]
    if passed and not counts["explained"]:
        print(f"zsl-fleet: no line of the plug-in in any of the {passed} files read", file=sys.stderr)
        status = 2
    elif passed:
        print(f"zsl-fleet: {passed} {'file' if passed == 1 else 'files'} in the folders given "
              f"{'holds' if passed == 1 else 'hold'} no line of the plug-in (passed over)", file=sys.stderr)
    summary = subprocess.run(["zsl-replay", "summarize"] + (["--json"] if options.json else []) + [path])
    return max(status, summary.returncode)


def _csv_header():
    """explain's CSV header, for a table without a row from any worker."""
    return subprocess.run(["zsl-replay", "explain", "--table", "csv:-", "--in-folder", os.devnull],
                          capture_output=True).stdout


def main(argv=None):
    try:
        options = parse(sys.argv[1:] if argv is None else argv)
    except Usage as error:
        print(f"zsl-fleet: {error}", file=sys.stderr)
        return 2
    try:
        return run(options)
    except KeyboardInterrupt:
        print("zsl-fleet: stopped; no table written", file=sys.stderr)
        return 130
    except Exception as error:  # Dask's and the system's own faults: one line, not a traceback
        print(f"zsl-fleet: {type(error).__name__}: {error}; no table written", file=sys.stderr)
        return 2
