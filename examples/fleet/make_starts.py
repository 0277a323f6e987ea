#!/usr/bin/python3
"""Makes up a fleet to try things with: policies, and starts of processes as a fleet records them.

    make_starts.py FOLDER [--policies COUNT] [--starts COUNT] [--partitions COUNT]

writes FOLDER/policies.json and FOLDER/starts-NNNN.jsonl.gz, target documents of some 370 bytes. The same arguments write
the same files."""
import argparse
import gzip
import json
import pathlib
import random

MAKERS = [f"Maker {number}" for number in range(40)]
FOLDERS = ["C:\\Program Files\\Company\\Product {}\\bin", "C:\\Windows\\System32\\tools{}", "C:\\Users\\user{}\\AppData\\Local\\Temp"]


def policy_target(number, chance):
    """45% names, 20% publishers with a product, 10% wildcards, 10% folders, 10% hashes, 4% publishers, 1% command lines."""
    kind = chance.random()
    maker = {"publishers": [f"{chance.choice(MAKERS)} Ltd {number % 500}"]}
    if kind < 0.45:
        return {"fileName": f"tool-{number}.exe"}
    if kind < 0.65:
        return {**maker, "versionFields": {"ProductName": f"Product {number}"}}
    if kind < 0.75:
        return {"fileName": {"pattern": f"setup-{number}-*.exe", "compareAs": "wildcard"}}
    if kind < 0.85:
        return {"location": f"C:\\Program Files\\Company\\Product {number}\\bin"}
    if kind < 0.95:
        return {"hash": {"algorithm": "SHA256", "hex": f"{number:064X}"}}
    if kind < 0.99:
        return maker
    return {"arguments": {"pattern": f"--profile={number:05}", "compareAs": "contains"}}


def policies(count):
    chance = random.Random(count)
    targets = [policy_target(number, chance) for number in range(1, count + 1)]
    targets.sort(key=lambda target: [*target] == ["publishers"])  # the broad ones last, or they take what is for the others
    return {"policies": [{"id": number, "name": f"Policy {number}", "action": "block" if number % 3 else "elevate",
                          "targets": [{"type": "executable", **target}]} for number, target in enumerate(targets, 1)]}


def start(number, chance):
    program = int(chance.paretovariate(0.7)) % 20000  # a few programs are most starts
    folder = chance.choice(FOLDERS).format(program % 50)
    path = f"{folder}\\tool-{program}.exe"
    return {"id": number, "kind": "process", "path": path, "hashes": {"SHA256": f"{program:064X}"},
            "signers": [{"name": f"{MAKERS[program % 40]} Ltd {program % 700}", "status": "valid"}],
            "versionInfo": {"ProductName": f"Product {program}"},
            "commandLine": f"\"{path}\" --type=renderer --profile={program:05}"}


def write(folder, policy_count, start_count, partition_count):
    folder = pathlib.Path(folder)
    folder.mkdir(parents=True, exist_ok=True)
    (folder / "policies.json").write_text(json.dumps(policies(policy_count)), encoding="utf-8")
    chance = random.Random(start_count)
    paths = []
    for partition in range(partition_count):
        paths.append(folder / f"starts-{partition:04}.jsonl.gz")
        numbers = range(partition * start_count // partition_count, (partition + 1) * start_count // partition_count)
        text = "".join(json.dumps(start(number, chance), separators=(",", ":")) + "\n" for number in numbers)
        paths[-1].write_bytes(gzip.compress(text.encode("utf-8"), 6, mtime=0))
    return paths


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folder")
    parser.add_argument("--policies", type=int, default=10000)
    parser.add_argument("--starts", type=int, default=100000)
    parser.add_argument("--partitions", type=int, default=8)
    arguments = parser.parse_args()
    write(arguments.folder, arguments.policies, arguments.starts, arguments.partitions)


if __name__ == "__main__":
    main()
