#!/usr/bin/python3
"""What a Dask cluster adds to the bare filter, by the clock: the same partitions, by as many processes as there are
workers, and by the cluster with the command and with the library. On a machine that does nothing else; with more workers
than cores the figures mean nothing.

    fleet_bench.py KXPOLICY LIBRARY [--starts COUNT] [--partitions COUNT] [--workers COUNT] [--turns COUNT]"""
import argparse
import concurrent.futures
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[1]
sys.path[:0] = [str(ROOT / "examples/fleet"), str(ROOT / "tests/fleet")]
import make_starts  # noqa: E402
from cluster import Cluster  # noqa: E402


def output_of(*command, stdin=None):
    return subprocess.run(list(map(str, command)), input=stdin, stdout=subprocess.PIPE, check=True).stdout


class Measured:
    """The partitions, and the ways to judge them. Each gives the sum."""

    def __init__(self, kxpolicy, library, folder, arguments):
        self._kxpolicy, self._library, self._image, self._workers = kxpolicy, library, folder / "image", arguments.workers
        self._partitions = make_starts.write(folder, 10000, arguments.starts, arguments.partitions)
        output_of(kxpolicy, "compile", folder / "policies.json", "-o", self._image)
        self._cluster = Cluster(folder)
        for _ in range(arguments.workers):
            self._cluster.add_worker()
        self.by_cluster()  # until all are there, and know the policies

    def end(self):
        self._cluster.end()

    def bare(self):
        def judge(partition):
            return output_of(self._kxpolicy, "eval", self._image, "--targets", partition, "--summary", "--format", "json")

        with concurrent.futures.ThreadPoolExecutor(self._workers) as side_by_side:
            return output_of(self._kxpolicy, "summary", "-", stdin=b"".join(side_by_side.map(judge, self._partitions)))

    def by_cluster(self, *options):
        return output_of("/usr/bin/python3", ROOT / "examples/fleet/judge_fleet.py", self._cluster.file, self._image,
                         *self._partitions, "--kxpolicy", self._kxpolicy, *options)

    def by_library(self):
        return self.by_cluster("--library", self._library)


def seconds(way, expected):
    start = time.monotonic()
    if way() != expected:
        raise SystemExit("the sums differ")
    return time.monotonic() - start


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("kxpolicy", type=lambda path: pathlib.Path(path).resolve())
    parser.add_argument("library", type=lambda path: pathlib.Path(path).resolve())
    parser.add_argument("--starts", type=int, default=3200000)
    parser.add_argument("--partitions", type=int, default=16)
    parser.add_argument("--workers", type=int, default=2)
    parser.add_argument("--turns", type=int, default=3)
    arguments = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        measured = Measured(arguments.kxpolicy, arguments.library, pathlib.Path(folder), arguments)
        try:
            expected = measured.bare()
            ways = {"bare filter": measured.bare, "cluster": measured.by_cluster, "cluster, library": measured.by_library}
            times = {name: [] for name in ways}
            for _ in range(arguments.turns):  # in turns, so that what else the machine does meets all of them
                for name, way in ways.items():
                    times[name].append(seconds(way, expected))
        finally:
            measured.end()
    bare = statistics.median(times["bare filter"])
    for name, taken in times.items():
        median = statistics.median(taken)
        print(f"{name:20} {median:7.2f} s {arguments.starts / median:10,.0f} events/s {median / bare:6.2f} of the bare filter")


if __name__ == "__main__":
    main()
