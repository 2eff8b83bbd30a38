"""The Dask cluster a run uses, and the inputs run on it in order.

Without an address a local cluster of worker processes is started, each
worker one thread (zsl-replay reads a file ahead on a thread of its own).
With one, the scheduler must answer within the time limit. Tasks are
submitted a few per worker thread ahead of the one written next, and their
results handed back strictly in the inputs' order: memory holds at most
that window, however many inputs there are. A worker that dies mid-task
makes Dask run the task again elsewhere; a result is handed back once."""

import logging
import os
import signal

import cloudpickle
from distributed import Client, LocalCluster, as_completed

from . import task

# The workers get the task's code from the client: only Dask need be installed there.
cloudpickle.register_pickle_by_value(task)


class ClusterError(Exception):
    pass


def connect(scheduler, workers, timeout):
    """(client, cluster or None). Raises ClusterError when the scheduler does not answer within `timeout` s."""
    # Dask's own log lines would come between the progress lines; its errors are still shown.
    logging.getLogger("distributed").setLevel(logging.ERROR)
    if scheduler:
        try:
            return Client(scheduler, timeout=f"{timeout}s", set_as_default=False), None
        except (OSError, TimeoutError) as error:
            raise ClusterError(f"no Dask scheduler answered at {scheduler} within {timeout:g} s ({error})") from None
        except ValueError as error:
            raise ClusterError(f"--scheduler {scheduler}: {error}") from None
    # Ctrl-C reaches the whole process group: the workers inherit an ignored
    # SIGINT, so that this process alone stops them, without their tracebacks.
    interrupt = signal.signal(signal.SIGINT, signal.SIG_IGN)
    try:
        cluster = LocalCluster(n_workers=workers, threads_per_worker=1, processes=True, dashboard_address=None,
                               silence_logs=logging.ERROR)
    finally:
        signal.signal(signal.SIGINT, interrupt)
    return Client(cluster, set_as_default=False), cluster


def threads(client):
    return max(1, sum(worker["nthreads"] for worker in client.scheduler_info()["workers"].values()))


def run_in_order(client, inputs, table_format, on_result, on_submit=lambda: None, on_note=lambda text: None):
    """Runs every input; calls on_result(index, input, outcome) for each, in the inputs' order."""
    cwd = os.getcwd()
    if not client.scheduler_info()["workers"]:
        on_note("the scheduler has no worker yet: the tasks wait for one (start dask-worker ADDRESS)")
    ahead = 4 * threads(client)
    futures = {}
    pending = as_completed(loop=client.loop)
    finished = {}
    submitted = 0

    def submit():
        nonlocal submitted
        item = inputs[submitted]
        future = client.submit(task.explain, item.name, item.url, item.in_folder, table_format, cwd, pure=False)
        futures[future.key] = submitted
        pending.add(future)
        submitted += 1
        on_submit()

    while submitted < len(inputs) and submitted < ahead:
        submit()
    written = 0
    for future in pending:
        index = futures.pop(future.key)
        try:
            finished[index] = future.result()
        except Exception as error:  # a task Dask gave up on (KilledWorker after its retries)
            finished[index] = task.Outcome(b"", f"zsl-fleet: {inputs[index].name}: its task failed on the "
                                                f"cluster ({type(error).__name__}: {error})", 2)
        future.release()
        while written in finished:
            on_result(written, inputs[written], finished.pop(written))
            written += 1
            if submitted < len(inputs):
                submit()
