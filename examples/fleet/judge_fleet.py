#!/usr/bin/python3
"""Judges a fleet's recorded events by policies before they ship, on the workers of a Dask cluster.

    judge_fleet.py SCHEDULER IMAGE PARTITION...                what the policies decide
    judge_fleet.py SCHEDULER IMAGE PARTITION... --was IMAGE    which decisions differ from those before

A partition is a file of target documents, one a line, packed with gzip or zstd or not, that workers find under the same
name; @FILE names many, one a line. The sum is what one run of the command over all of them would say. Exit code 3: a
partition cannot be judged; which and why is told on standard error, and the others are judged."""
import argparse
import hashlib
import pathlib
import subprocess
import sys
import tempfile
import warnings

from distributed import Client, KilledWorker, as_completed

import judge_by_library
import judge_partition
from judge_partition import Image, Work

ADAPTER = pathlib.Path(__file__).resolve().parents[1] / "python/kx_policy.py"

ATTEMPTS = 3       # at a partition, where the machine fails it
LOST_WORKERS = 20  # that a partition may have been with, before it is taken for what ends them
SUMMED_AT_ONCE = 64


def packed(policies, work):
    """The files of an image; policy documents are compiled first."""
    if pathlib.Path(policies).is_dir():
        files = {path.name: path.read_bytes() for path in sorted(pathlib.Path(policies).iterdir())}
        digest = hashlib.sha256(b"".join(hashlib.sha256(part).digest() for name in files for part in (name.encode(), files[name])))
        return Image(digest.hexdigest(), files)
    with tempfile.TemporaryDirectory() as folder:
        image = f"{folder}/image"
        subprocess.run([work.program, "compile", policies, "-o", image], stdout=subprocess.DEVNULL, check=True)
        return packed(image, work)


def identity(value):
    return value


class Sum:
    """Summaries, a few at a time added up by the command. It begins with that of no events, which has all policies."""

    def __init__(self, program, policies):
        self._program = program
        verb = "eval" if len(policies) == 1 else "diff"
        self._lines = [self._said(verb, *policies, "--targets", "-", "--summary", "--format", "json")]

    def add(self, line):
        self._lines.append(line)
        if len(self._lines) >= SUMMED_AT_ONCE:
            self._lines = [self.text("json")]

    def text(self, text_format):
        return self._said("summary", "-", "--format", text_format, stdin="\n".join(self._lines))

    def _said(self, *arguments, stdin=""):
        done = subprocess.run([self._program, *arguments], input=stdin, stdout=subprocess.PIPE, encoding="utf-8", check=True)
        return done.stdout.rstrip("\n")


def judged(client, partitions, images, way):
    """Each partition with what became of it, as they come: a Judged, or what went wrong on every attempt. `way`: the
    function that judges one, and what it takes besides."""
    for code in (judge_partition, judge_by_library):
        client.upload_file(code.__file__)  # also to workers that join later
    # The result of a task, not data that is scattered: any worker that needs it is sent it once, and if all that hold it
    # are lost, it is made again.
    warnings.filterwarnings("ignore", message="(?s)Large object")  # it advises to scatter
    held = client.submit(identity, images, key="images-" + "-".join(image.digest for image in images))
    partition_of = {client.submit(way[0], partition, held, way[1], retries=ATTEMPTS - 1, pure=False): partition
                    for partition in partitions}
    lost = dict.fromkeys(partitions, 0)
    coming = as_completed(list(partition_of))
    for future in coming:
        partition = partition_of[future]
        fault = future.exception()
        if isinstance(fault, KilledWorker) and lost[partition] < LOST_WORKERS:  # the worker's fault, not the partition's
            lost[partition] += 1
            future.retry()
            coming.add(future)
            continue
        del partition_of[future]
        yield partition, fault or future.result()


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter,
                                     fromfile_prefix_chars="@")
    parser.add_argument("scheduler", help="its address, or a file that it has written with --scheduler-file")
    parser.add_argument("image", help="the policies: the folder of an image, or a policy document")
    parser.add_argument("partitions", nargs="+", metavar="partition", help="a file of events, as workers find it")
    parser.add_argument("--was", help="policies as they were: asks which decisions differ")
    parser.add_argument("--events", metavar="KIND", help="the partitions hold recorded events of this kind")
    parser.add_argument("--format", choices=["text", "json"], default="text")
    parser.add_argument("--kxpolicy", default="kxpolicy", help="the command, here and on the workers")
    parser.add_argument("--library", help="in place of the command: libkx_policy, in each worker's own process")
    arguments = parser.parse_args()
    if arguments.library and (arguments.was or arguments.events):
        parser.error("--library takes targets alone, without --was and --events")
    return arguments


def main():
    arguments = parse_arguments()
    work = Work(arguments.kxpolicy, arguments.events)
    policies = [path for path in (arguments.was, arguments.image) if path]
    images = [packed(path, work) for path in policies]
    scheduler = {"scheduler_file": arguments.scheduler} if pathlib.Path(arguments.scheduler).is_file() else {"address": arguments.scheduler}
    way = (judge_partition.judge, work)
    if arguments.library:
        way = (judge_by_library.judge, judge_by_library.Library(arguments.library, ADAPTER.read_text(encoding="utf-8")))
    total, failed = Sum(work.program, policies), 0
    partitions = list(dict.fromkeys(arguments.partitions))
    with Client(**scheduler) as client:
        for count, (partition, result) in enumerate(judged(client, partitions, images, way), 1):
            fault = result if isinstance(result, Exception) else result.fault
            if fault:
                failed += 1
                print(f"judge_fleet: {partition}: not judged: {fault}", file=sys.stderr)
            else:
                total.add(result.summary)
            if sys.stderr.isatty():
                print(f"\r{count} of {len(partitions)} partitions", end="", file=sys.stderr)
    print(total.text(arguments.format))
    return judge_partition.UNUSABLE_INPUT if failed else judge_partition.DONE


if __name__ == "__main__":
    sys.exit(main())
