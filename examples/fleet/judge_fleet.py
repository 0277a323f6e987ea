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

from distributed import Client, KilledWorker, as_completed

import judge_partition
from judge_partition import Image, Work

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
    """Summaries, a few at a time added up by the command."""

    def __init__(self, work):
        self._program = work.program
        self._lines = []

    def add(self, line):
        self._lines.append(line)
        if len(self._lines) >= SUMMED_AT_ONCE:
            self._lines = [self.text("json").strip()]

    def text(self, text_format):
        if not self._lines:
            return ""
        return subprocess.run([self._program, "summary", "-", "--format", text_format], input="\n".join(self._lines),
                              stdout=subprocess.PIPE, encoding="utf-8", check=True).stdout


def judged(client, partitions, images, work):
    """Each partition with what became of it, as they come: a Judged, or what went wrong on every attempt."""
    client.upload_file(judge_partition.__file__)  # also to workers that join later
    # The result of a task, not data that is scattered: any worker that needs it is sent it once, and if all that hold it
    # are lost, it is made again.
    held = client.submit(identity, images, key="images-" + "-".join(image.digest for image in images))
    partition_of = {client.submit(judge_partition.judge, partition, held, work, retries=ATTEMPTS - 1, pure=False): partition
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
    return parser.parse_args()


def main():
    arguments = parse_arguments()
    work = Work(arguments.kxpolicy, arguments.events)
    images = [packed(policies, work) for policies in (arguments.was, arguments.image) if policies]
    scheduler = {"scheduler_file": arguments.scheduler} if pathlib.Path(arguments.scheduler).is_file() else {"address": arguments.scheduler}
    total, failed = Sum(work), 0
    partitions = list(dict.fromkeys(arguments.partitions))
    with Client(**scheduler) as client:
        for count, (partition, result) in enumerate(judged(client, partitions, images, work), 1):
            fault = result if isinstance(result, Exception) else result.fault
            if fault:
                failed += 1
                print(f"judge_fleet: {partition}: not judged: {fault}", file=sys.stderr)
            else:
                total.add(result.summary)
            if sys.stderr.isatty():
                print(f"\r{count} of {len(partitions)} partitions", end="", file=sys.stderr)
    print(total.text(arguments.format), end="")
    return judge_partition.UNUSABLE_INPUT if failed else judge_partition.DONE


if __name__ == "__main__":
    sys.exit(main())
