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

FIELDS = b"matched,policyId,policyName,action"


class Library(NamedTuple):
    path: str
    adapter: str  # the source of kx_policy.py, which can only be loaded where the library is known


_loaded = {}
_loading = threading.Lock()


def opened(folder, library):
    """The adapter, and the image, prepared once a worker; any number of threads may ask it."""
    with _loading:
        if folder not in _loaded:
            os.environ["KX_POLICY_LIBRARY"] = library.path
            adapter = types.ModuleType("kx_policy")
            exec(library.adapter, adapter.__dict__)
            _loaded[folder] = adapter, adapter.open_image(folder)
        return _loaded[folder]


def lines_of(partition):
    with open(partition, "rb") as raw:
        is_packed = raw.read(2) == b"\x1f\x8b"
    with (gzip.open if is_packed else open)(partition, "rb") as lines:
        for line in lines:
            if line.strip():
                yield line.rstrip(b"\r\n")


def judge(partition, images, library):
    [image] = images
    kx_policy, policies = opened(unpacked(image), library)
    options = kx_policy.Options(fields=FIELDS)
    counts = dict.fromkeys(("targets", "matched", "unmatched", "faults", "unusable"), 0)
    became = {kx_policy.APPLIES: "matched", kx_policy.NONE: "unmatched", kx_policy.UNANSWERED: "faults", kx_policy.INPUT: "unusable"}
    decided = {}
    try:
        for line in lines_of(partition):
            status, text = policies.evaluate(line, options)
            counts["targets"] += 1
            counts[became[status]] += 1
            if status == kx_policy.APPLIES:
                answer = json.loads(text)
                policy = (answer["policyId"], answer["policyName"], answer["action"])
                decided[policy] = decided.get(policy, 0) + 1
    except (OSError, EOFError, zlib.error) as fault:
        return Judged(partition, None, f"{partition}: line {counts['targets'] + 1}: {fault}")
    counts["policies"] = [{"policyId": number, "policyName": name, "action": action, "decided": count}
                          for (number, name, action), count in decided.items()]
    return Judged(partition, json.dumps(counts), None)
