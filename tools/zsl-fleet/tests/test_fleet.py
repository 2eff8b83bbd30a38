"""zsl-fleet against zsl-replay explain on one machine: a folder of bug
reports (text, zip, a large log, a file of notes, a damaged zip, a hidden
file) gives the same table bytes on the program's own local cluster, on a
dask-scheduler with two dask-workers, and with a worker killed mid-task;
URLs are read under their names; bad usage, an unreadable input and a
scheduler that does not answer each get one line and exit status 2.

Run by ctest with ZSL_REPLAY_DIR, the folder holding the zsl-replay built,
and tools/zsl-fleet on PYTHONPATH, as an installed package would be; the
program runs as python3 -m zsl_fleet."""

import json
import os
import re
import shutil
import signal
import socket
import subprocess
import tempfile
import time
import io
import importlib
import tomllib
import unittest
import warnings
import zipfile

from zsl_fleet.progress import Progress
from zsl_fleet.table import table_target

HERE = os.path.dirname(os.path.abspath(__file__))
FLEET = ["/usr/bin/python3", "-m", "zsl_fleet"]
SOURCE = os.path.join(HERE, "..", "..", "..")


# A guard against a hang, not a measure: every run here takes seconds.
LIMIT = 300


def environment(extra_path=None):
    env = dict(os.environ)
    env["PATH"] = os.pathsep.join(p for p in (extra_path, os.environ["ZSL_REPLAY_DIR"], env.get("PATH", "")) if p)
    return env


def run(args, cwd, env=None, **kwargs):
    return subprocess.run(args, cwd=cwd, env=env or environment(), capture_output=True, timeout=LIMIT, **kwargs)


def fleet(args, cwd, env=None):
    return run(FLEET + args, cwd, env)


def explain(args, cwd):
    return run(["zsl-replay", "explain"] + args, cwd)


def current_umask():
    umask = os.umask(0)
    os.umask(umask)
    return umask


def bug_report(log, fingerprint):
    return ("========================================================\n== dumpstate: 2026-11-23 18:46:29\n"
            "========================================================\n\nBuild fingerprint: '" + fingerprint +
            "'\n\n------ SYSTEM LOG (logcat -v threadtime -v printable -v uid -d *:v) ------\n" + log +
            "------ 0.532s was the duration of 'SYSTEM LOG' ------\n")


def make_folder(root):
    """reports/: two devices' bug reports, text and zip, a large plain log, notes, a damaged zip, a hidden log."""
    with open(os.path.join(SOURCE, "examples", "device.log")) as file:
        log = file.read()
    reports = os.path.join(root, "reports")
    for folder in ("kv1/old", "kv1/new", "kv2", ".trash"):
        os.makedirs(os.path.join(reports, folder))

    def write(name, text):
        with open(os.path.join(reports, name), "w") as file:
            file.write(text)

    write("kv1/old/bugreport-kv1-1.txt", bug_report(log, "korvan/kv1/kv1:15/AP2A.240805.005/12345:user/release-keys"))
    write("kv1/new/bugreport-kv1-2.txt", bug_report(log, "korvan/kv1/kv1:15/AP2A.241105.001/13000:user/release-keys"))
    with zipfile.ZipFile(os.path.join(reports, "kv2", "bugreport-kv2.zip"), "w", zipfile.ZIP_DEFLATED) as archive:
        archive.writestr("bugreport-kv2-2026-11-23.txt",
                         bug_report(log, "korvan/kv2/kv2:15/AP2A.240805.005/12345:userdebug/dev-keys"))
    # A long session: the log's captures again every minute.
    write("kv2/large.log", "".join(log.replace("11-23 18:40:", f"11-23 18:{40 + i}:") for i in range(20)))
    write("kv1/notes.txt", "the shutter felt slow\n")
    write("kv1/damaged.zip", "PK\x03\x04not a zip at all")
    write(".trash/hidden.log", log)
    write("kv2/.swap.log", log)
    return reports



class Package(unittest.TestCase):
    """pyproject.toml names the entry point the launcher runs, at the build's version."""

    def test_entry_point_and_version(self):
        with open(os.path.join(HERE, "..", "pyproject.toml"), "rb") as file:
            project = tomllib.load(file)["project"]
        module, _, name = project["scripts"]["zsl-fleet"].partition(":")
        self.assertTrue(callable(getattr(importlib.import_module(module), name)))
        with open(os.path.join(HERE, "..", "zsl-fleet")) as file:
            self.assertIn(f"from {module} import {name}", file.read())
        with open(os.path.join(SOURCE, "CMakeLists.txt")) as file:
            version = re.search(r"project\(korvan_zsl VERSION ([0-9.]+)", file.read()).group(1)
        self.assertEqual(project["version"], version)
        self.assertEqual(project["dependencies"], ["distributed", "fsspec"])

class Fleet(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.root = tempfile.mkdtemp(prefix="zsl-fleet-test-")
        cls.reports = make_folder(cls.root)
        cls.inputs = ["reports", "reports/kv1/old/bugreport-kv1-1.txt", "missing.log"]
        cls.expected = {}
        for ending in ("jsonl", "csv"):
            one = explain(cls.inputs + ["--table", "one." + ending], cls.root)
            assert one.returncode == 2, one.stderr  # the damaged zip and the missing log
            with open(os.path.join(cls.root, "one." + ending), "rb") as file:
                cls.expected[ending] = file.read()
        cls.summary = explain(cls.inputs, cls.root).stdout.decode()
        cls.summary = cls.summary[cls.summary.index("Summary: "):]

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.root)

    def table(self, name):
        with open(os.path.join(self.root, name), "rb") as file:
            return file.read()

    def assertRunLikeExplain(self, done, table):
        self.assertEqual(done.returncode, 2, done.stderr)
        self.assertEqual(self.table(table), self.expected[table.rsplit(".", 1)[1]])
        errors = done.stderr.decode()
        self.assertIn("zsl-replay: reports/kv1/damaged.zip: not a readable zip", errors)
        self.assertIn("zsl-replay: cannot read missing.log: No such file or directory", errors)
        self.assertIn("zsl-fleet: 1 file in the folders given holds no line of the plug-in (passed over)", errors)
        self.assertIn("zsl-fleet: 8/8 done, 0 running or queued, 2 failed, ", errors)

    def test_local_cluster_writes_explains_table_and_summary(self):
        for ending in ("jsonl", "csv"):
            done = fleet(self.inputs + ["--table", "fleet." + ending, "--workers", "2"], self.root)
            self.assertRunLikeExplain(done, "fleet." + ending)
            self.assertEqual(done.stdout.decode(), self.summary)
        rows = [json.loads(line) for line in self.expected["jsonl"].splitlines()]
        # Hidden files left out, the notes passed over, the report named twice counted twice.
        self.assertEqual(sorted({row["input"] for row in rows}), ["reports/kv1/new/bugreport-kv1-2.txt",
                         "reports/kv1/old/bugreport-kv1-1.txt", "reports/kv2/bugreport-kv2.zip", "reports/kv2/large.log"])
        self.assertEqual(sum(row["input"] == "reports/kv1/old/bugreport-kv1-1.txt" for row in rows),
                         2 * sum(row["input"] == "reports/kv1/new/bugreport-kv1-2.txt" for row in rows))
        self.assertEqual(sum(row["input"] == "reports/kv2/large.log" for row in rows),
                         20 * sum(row["input"] == "reports/kv1/new/bugreport-kv1-2.txt" for row in rows))

        as_json = fleet(["reports/kv2", "--table", "kv2.jsonl", "--json"], self.root)
        self.assertEqual(as_json.returncode, 0, as_json.stderr)
        one = json.loads(explain(["--json", "reports/kv2"], self.root).stdout)["summary"]
        self.assertEqual(json.loads(as_json.stdout), one)

    def test_urls_are_read_under_their_names(self):
        url = "file://" + self.reports + "/kv2"
        done = fleet([url, "--table", "urls.jsonl"], self.root)
        self.assertEqual(done.returncode, 0, done.stderr)
        named = [json.loads(line) for line in self.table("urls.jsonl").splitlines()]
        local = [json.loads(line) for line in explain(["reports/kv2", "--table", "jsonl:-"], self.root).stdout.splitlines()]
        self.assertEqual({row["input"] for row in named}, {url + "/bugreport-kv2.zip", url + "/large.log"})
        for row in named:
            row["input"] = row["input"].replace(url, "reports/kv2")
        self.assertEqual(named, local)

        missing = fleet(["file://" + self.reports + "/kv2/large.log", "file:///nonexistent/x.log",
                         "--table", "urls.jsonl"], self.root)
        self.assertEqual(missing.returncode, 2)
        self.assertIn("zsl-fleet: cannot read file:///nonexistent/x.log", missing.stderr.decode())
        self.assertEqual(len(self.table("urls.jsonl").splitlines()), sum(r["input"].endswith("large.log") for r in local))
        # A CSV whose first input failed on the worker still starts with explain's header.
        first_missing = fleet(["file:///nonexistent/x.log", "file://" + self.reports + "/kv2/large.log",
                               "--table", "urls.csv"], self.root)
        self.assertEqual(first_missing.returncode, 2)
        rows = explain(["--table", "csv:-", "reports/kv2/large.log"], self.root).stdout
        self.assertEqual(self.table("urls.csv"), rows.replace(b",reports/kv2/large.log,",
                                                              f",file://{self.reports}/kv2/large.log,".encode()))
        self.assertEqual(os.stat(os.path.join(self.root, "urls.csv")).st_mode & 0o777,
                         0o666 & ~current_umask())

    def test_a_folder_without_the_plugins_lines_is_an_error(self):
        os.makedirs(os.path.join(self.root, "other-day"), exist_ok=True)
        for name in ("notes.txt", "todo.txt"):
            with open(os.path.join(self.root, "other-day", name), "w") as file:
                file.write("nothing of the camera\n")
        done = fleet(["other-day", "--table", "none.csv"], self.root)
        self.assertEqual(done.returncode, 2)
        self.assertIn("zsl-fleet: no line of the plug-in in any of the 2 files read", done.stderr.decode())
        header = explain(["--table", "csv:-", "other-day"], self.root).stdout
        self.assertEqual(self.table("none.csv"), header)  # the header alone, as explain writes it
        self.assertTrue(header.startswith(b"schema,input,"))

    def test_bad_usage_is_one_line(self):
        os.makedirs(os.path.join(self.root, "empty"), exist_ok=True)
        cases = [
            (["reports"], "the following arguments are required: --table"),
            (["reports", "--table", "out.txt"], "--table out.txt: name a .csv or .jsonl file"),
            (["reports", "--table", "jsonl:-"], "--table -: the table goes to a file"),
            (["reports", "--table", "t.jsonl", "--workers", "0"], "--workers takes a number"),
            (["reports", "--table", "t.jsonl", "--workers", "two"], "--workers: invalid int value"),
            (["reports", "--table", "t.jsonl", "--scheduler", "tcp://127.0.0.1:1", "--workers", "2"],
             "--workers sizes the local cluster"),
            (["reports", "--table", "t.jsonl", "--timeout", "0"], "--timeout takes seconds"),
            (["reports", "--table", "reports/kv2/out.jsonl"], "that is inside an input (reports)"),
            (["reports/kv1/notes.txt", "--table", "csv:reports/kv1/notes.txt"], "that is an input"),
            (["-", "--table", "t.jsonl"], "standard input cannot be shared"),
            (["empty", "--table", "t.jsonl"], "empty: a folder without a file"),
        ]
        for args, message in cases:
            with self.subTest(args=args):
                done = fleet(args, self.root)
                self.assertEqual(done.returncode, 2)
                lines = done.stderr.decode().splitlines()
                self.assertEqual(len(lines), 1, lines)
                self.assertIn(message, lines[0])
        with open(os.path.join(self.reports, "kv1", "notes.txt")) as file:
            self.assertEqual(file.read(), "the shutter felt slow\n")  # never written over
        self.assertFalse(os.path.exists(os.path.join(self.reports, "kv2", "out.jsonl")))

    def test_a_scheduler_that_does_not_answer(self):
        with socket.socket() as unused:  # a port nothing listens on
            unused.bind(("127.0.0.1", 0))
            port = unused.getsockname()[1]
        done = fleet(["reports", "--table", "t.jsonl", "--scheduler", f"tcp://127.0.0.1:{port}", "--timeout", "2"],
                     self.root)
        self.assertEqual(done.returncode, 2)
        lines = done.stderr.decode().splitlines()
        self.assertEqual(len(lines), 1, lines)
        self.assertIn(f"no Dask scheduler answered at tcp://127.0.0.1:{port} within 2 s", lines[0])
        self.assertFalse(os.path.exists(os.path.join(self.root, "t.jsonl")))

    def test_table_targets(self):
        for given, target in [("a.csv", ("csv", "a.csv")), ("a.jsonl", ("jsonl", "a.jsonl")),
                             ("csv:a.txt", ("csv", "a.txt")), ("jsonl:-", ("jsonl", "-")), ("a.json", None),
                             (".csv", None), ("csv:", None), ("a", None)]:
            self.assertEqual(table_target(given), target, given)


class Terminal(io.StringIO):
    def isatty(self):
        return True


class ProgressLines(unittest.TestCase):
    def test_a_message_never_shares_the_progress_line(self):
        for stream, expected in [
            (Terminal(), "\r\x1b[Kzsl-fleet: 0/3 done, 1 running or queued, 0 failed, R\r\x1b[K"
                         "zsl-replay: x: cannot read\n\r\x1b[Kzsl-fleet: 1/3 done, 0 running or queued, 1 failed, R\n"),
            (io.StringIO(), "zsl-replay: x: cannot read\nzsl-fleet: 1/3 done, 0 running or queued, 1 failed, R\n"),
        ]:
            progress = Progress(3, stream, every=3600)
            progress.running = 1
            progress.update()
            progress.message("zsl-replay: x: cannot read")
            progress.running, progress.done, progress.failed = 0, 1, 1
            progress.finish()
            text = re.sub(r"[0-9.]+ inputs/s", "R", stream.getvalue())
            self.assertEqual(text, expected)


def free_port():
    with socket.socket() as sock:
        sock.bind(("127.0.0.1", 0))
        return sock.getsockname()[1]


class TwoWorkers(unittest.TestCase):
    """dask-scheduler and two dask-workers on 127.0.0.1, as on two machines.
    The workers run zsl-replay through a wrapper that marks each start with its
    worker's process id, and waits a while when told to: a task to kill."""

    @classmethod
    def setUpClass(cls):
        Fleet.setUpClass.__func__(cls)
        cls.marks = os.path.join(cls.root, "marks")
        os.makedirs(cls.marks)
        wrapper = os.path.join(cls.root, "bin")
        os.makedirs(wrapper)
        real = shutil.which("zsl-replay", path=environment()["PATH"])
        with open(os.path.join(wrapper, "zsl-replay"), "w") as file:
            file.write(f"#!/bin/sh\ntouch {cls.marks}/$PPID.$$\n"
                       f"[ -e {cls.root}/slow ] && sleep 1\nexec {real} \"$@\"\n")
        os.chmod(os.path.join(wrapper, "zsl-replay"), 0o755)
        port = free_port()
        cls.address = f"tcp://127.0.0.1:{port}"
        env = environment(wrapper)
        quiet = dict(stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, env=env, cwd=cls.root)
        cls.scheduler = subprocess.Popen(["dask-scheduler", "--host", "127.0.0.1", "--port", str(port),
                                          "--no-dashboard"], **quiet)
        cls.workers = [subprocess.Popen(["dask-worker", cls.address, "--nthreads", "1", "--no-nanny",
                                         "--no-dashboard", "--name", f"w{i}"], **quiet) for i in range(2)]
        cls.wait_for_workers(2)

    @classmethod
    def wait_for_workers(cls, count):
        from distributed import Client

        warnings.simplefilter("ignore", DeprecationWarning)  # Debian's tornado and distributed disagree
        with Client(cls.address, timeout="60s") as client:
            client.wait_for_workers(count, timeout=60)

    @classmethod
    def tearDownClass(cls):
        for process in cls.workers + [cls.scheduler]:
            process.kill()
            process.wait()
        shutil.rmtree(cls.root)

    table = Fleet.table
    assertRunLikeExplain = Fleet.assertRunLikeExplain

    def test_1_two_workers_write_explains_table(self):
        done = fleet(self.inputs + ["--table", "two.jsonl", "--scheduler", self.address], self.root)
        self.assertRunLikeExplain(done, "two.jsonl")
        self.assertEqual(done.stdout.decode(), self.summary)
        self.assertEqual(len({name.split(".")[0] for name in os.listdir(self.marks)}), 2)  # both workers ran tasks

    def test_2_a_worker_killed_mid_task_loses_no_row(self):
        for name in os.listdir(self.marks):
            os.unlink(os.path.join(self.marks, name))
        open(os.path.join(self.root, "slow"), "w").close()
        victim = self.workers[0]
        running = subprocess.Popen(FLEET + self.inputs +
                                   ["--table", "killed.csv", "--scheduler", self.address],
                                   cwd=self.root, env=environment(), stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        deadline = time.monotonic() + LIMIT
        while not any(name.startswith(f"{victim.pid}.") for name in os.listdir(self.marks)):
            self.assertLess(time.monotonic(), deadline, "the worker never started a task")
            time.sleep(0.05)
        victim.send_signal(signal.SIGKILL)  # while its zsl-replay waits: mid-task
        victim.wait()
        out, err = running.communicate(timeout=LIMIT)
        os.unlink(os.path.join(self.root, "slow"))
        done = subprocess.CompletedProcess(running.args, running.returncode, out, err)
        self.assertRunLikeExplain(done, "killed.csv")
        starts = os.listdir(self.marks)
        self.assertGreater(len(starts), 8, starts)  # the killed task ran again elsewhere
        self.workers[0] = subprocess.Popen(["dask-worker", self.address, "--nthreads", "1", "--no-nanny",
                                            "--no-dashboard", "--name", "w2"], stdout=subprocess.DEVNULL,
                                           stderr=subprocess.DEVNULL, cwd=self.root)


if __name__ == "__main__":
    unittest.main()
