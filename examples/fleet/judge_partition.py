"""What a worker does with one partition: a file of events in, a summary out. judge_fleet.py sends this to the workers.

A worker keeps nothing but images, each unpacked once. So a partition may be judged anywhere, and again where a worker
was lost, and the answer is the same."""
import json
import pathlib
import subprocess
import tempfile
import threading
from typing import NamedTuple, Optional

from distributed import get_worker


class Image(NamedTuple):
    """The files of an image, as they travel."""
    digest: str
    files: dict


class Work(NamedTuple):
    """What is done with each partition; the same for all of them."""
    program: str = "kxpolicy"
    events: Optional[str] = None  # the kind of recorded events that partitions hold; none: target documents


class Judged(NamedTuple):
    partition: str
    summary: Optional[str]  # a line, for `kxpolicy summary`
    fault: Optional[str]    # why the partition cannot be judged, here or anywhere


DONE, DIFFERENT, UNUSABLE_INPUT = 0, 1, 3  # exit codes of the command
ANSWERED = (DONE, DIFFERENT)

_folders = {}
_unpacking = threading.Lock()


def unpacked(image):
    """The folder of the image on this worker; it goes with the worker's own."""
    with _unpacking:
        if image.digest not in _folders:
            folder = pathlib.Path(tempfile.mkdtemp(prefix="image-", dir=get_worker().local_directory))
            for name, content in image.files.items():
                (folder / name).write_bytes(content)
            _folders[image.digest] = str(folder)
        return _folders[image.digest]


def judge(partition, images, work):
    """A fault of the partition is an answer; anything else that goes wrong is raised, and may go better elsewhere."""
    if work.events is None:
        return answer(partition, judged_targets(images, work, partition))
    with tempfile.TemporaryFile() as complaint:
        command = [work.program, "events", work.events, partition, "--errors-ok"]
        with subprocess.Popen(command, stdout=subprocess.PIPE, stderr=complaint) as events:
            judged = judged_targets(images, work, "-", stdin=events.stdout)
        complaint.seek(0)
        if judged.returncode == DIFFERENT:
            judged.stdout = of_file(partition, judged.stdout)
        if events.returncode != DONE and judged.returncode in ANSWERED:  # its targets are not all that there are
            judged = subprocess.CompletedProcess(command, events.returncode, "", complaint.read().decode("utf-8", "replace"))
    return answer(partition, judged)


def judged_targets(images, work, targets, stdin=subprocess.DEVNULL):
    """By one image: what it decides. By two: what was, and what is."""
    verb = "eval" if len(images) == 1 else "diff"
    command = [work.program, verb, *map(unpacked, images), "--targets", targets, "--summary", "--format", "json", "--errors-ok"]
    return subprocess.run(command, stdin=stdin, capture_output=True, encoding="utf-8", errors="replace", check=False)


def of_file(partition, summary):
    """Its examples are from standard input."""
    summary = json.loads(summary)
    for change in summary["changes"]:
        for example in change["examples"]:
            example["file"] = partition
    return json.dumps(summary)


def answer(partition, run):
    if run.returncode == UNUSABLE_INPUT:
        return Judged(partition, None, run.stderr.strip())
    if run.returncode not in ANSWERED:
        raise RuntimeError(f"exit code {run.returncode}: {run.stderr.strip()}")
    return Judged(partition, run.stdout.strip(), None)
