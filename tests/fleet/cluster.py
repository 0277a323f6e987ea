"""A Dask cluster whose scheduler and workers are processes of this machine."""
import os
import subprocess
import time

PATIENCE = 120  # seconds, before something that must happen is given up


def wait_for(condition, what):
    end = time.monotonic() + PATIENCE
    while not condition():
        if time.monotonic() > end:
            raise AssertionError(f"{what} did not happen")
        time.sleep(0.02)


class Cluster:
    """A scheduler, and workers that come and go. None of them is restarted."""

    def __init__(self, folder):
        self.folder = folder
        self.file = folder / "scheduler.json"
        # The loss of a single worker is more than the scheduler itself would forgive a task.
        environment = {**os.environ, "DASK_DISTRIBUTED__SCHEDULER__ALLOWED_FAILURES": "0"}
        self.processes = [self._start("dask_scheduler", "--host", "127.0.0.1", "--port", "0", env=environment)]
        wait_for(self.file.exists, "the start of the scheduler")

    def _start(self, program, *arguments, env=None):
        with open(self.folder / "log", "ab") as log:
            return subprocess.Popen(["/usr/bin/python3", "-m", f"distributed.cli.{program}", "--scheduler-file", str(self.file),
                                     "--no-dashboard", *arguments], stdout=log, stderr=log, env=env)

    def add_worker(self):
        worker = self._start("dask_worker", "--no-nanny", "--nthreads", "1", "--local-directory", str(self.folder))
        self.processes.append(worker)
        return worker

    def end(self):
        for process in self.processes:
            process.kill()
            process.wait()
