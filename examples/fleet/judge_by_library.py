"""The same as judge_partition.judge, by the C library in the worker's own process: no command there, and no pipe.

For targets alone. Reading a partition is Python's here: gzip, or no packing at all."""
import gzip
import json
import os
import threading
import types
import zlib
from typing import NamedTuple

from judge_partition import Judged, unpacked

BLOCK = 8 << 20


class Library(NamedTuple):
    path: str
    adapter: str  # the source of kx_policy.py, which can only be loaded where the library is known


_loaded = {}
_loading = threading.Lock()


def opened(folder, library):
    """The image, prepared once a worker; any number of threads may ask it."""
    with _loading:
        if folder not in _loaded:
            os.environ["KX_POLICY_LIBRARY"] = library.path
            adapter = types.ModuleType("kx_policy")
            exec(library.adapter, adapter.__dict__)
            _loaded[folder] = adapter.open_image(folder)
        return _loaded[folder]


def blocks_of(partition):
    """Whole lines, some megabytes at a time."""
    with open(partition, "rb") as raw:
        is_packed = raw.read(2) == b"\x1f\x8b"
    with (gzip.open if is_packed else open)(partition, "rb") as lines:
        while block := lines.read(BLOCK):
            yield block + lines.readline()


def judge(partition, images, library):
    [image] = images
    policies = opened(unpacked(image), library)
    summary = policies.summarize(b"")
    try:
        for block in blocks_of(partition):
            summary = policies.summarize(block, summary)
    except (OSError, EOFError, zlib.error) as fault:
        lines = json.loads(summary)["targets"] + 1
        return Judged(partition, None, f"{partition}: line {lines}: {fault}")
    return Judged(partition, summary.decode(), None)
