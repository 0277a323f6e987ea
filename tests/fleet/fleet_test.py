#!/usr/bin/python3
"""examples/fleet on a real scheduler and workers, processes of this machine: what one run of the command says over all
events, whatever becomes of the workers.

fleet_test.py KXPOLICY LIBRARY"""
import gzip
import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "examples/fleet"))
import make_starts  # noqa: E402
from cluster import PATIENCE, Cluster, wait_for  # noqa: E402

KXPOLICY = LIBRARY = None


def run(*arguments, stdin=None):
    return subprocess.run(list(map(str, arguments)), input=stdin, capture_output=True, timeout=PATIENCE, check=False)


class Fleet(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        temporary = tempfile.TemporaryDirectory()
        cls.addClassCleanup(temporary.cleanup)
        cls.folder = pathlib.Path(temporary.name)
        paths = make_starts.write(cls.folder, 300, 2400, 12)
        cls.image = cls.folder / "image"
        assert run(KXPOLICY, "compile", cls.folder / "policies.json", "-o", cls.image).returncode == 0
        cls.was = cls.folder / "was.json"
        cls.was.write_text(json.dumps(make_starts.policies(200)), encoding="utf-8")

        # As a fleet's files are: packed in either way, or not, some with lines that are nothing.
        plain = [gzip.decompress(path.read_bytes()) for path in paths]
        plain[3] = b"{\"kind\":\"file\"\n\n" + plain[3]
        cls.all = b"".join(plain)
        cls.partitions = paths
        for path, text in zip(paths[:4], plain):
            path.write_bytes(gzip.compress(text[:1000]) + gzip.compress(text[1000:]))
        for path, text in zip(paths[4:8], plain[4:]):
            path.write_bytes(run("zstd", "-q", "-c", stdin=text).stdout)
        for path, text in zip(paths[8:], plain[8:]):
            path.write_bytes(text)

        # Each run on a worker says that it begins, for which worker and by which folder, and waits until it may go on.
        cls.starts, cls.may_go_on, cls.held = cls.folder / "runs", cls.folder / "go", cls.folder / "held"
        cls.held.write_text(f"#!/bin/sh\ncase $4 in *.gz)\n  echo \"$PPID $2\" >>'{cls.starts}'\n"
                            f"  until [ -e '{cls.may_go_on}' ]; do sleep 0.05; done;;\nesac\n"
                            f"exec '{KXPOLICY}' \"$@\"\n", encoding="utf-8")
        cls.held.chmod(0o755)
        cls.cluster = Cluster(cls.folder)
        cls.addClassCleanup(cls.cluster.end)
        cls.cluster.add_worker()
        cls.cluster.add_worker()

    def judge_command(self, *arguments, program=None):
        return ["/usr/bin/python3", str(ROOT / "examples/fleet/judge_fleet.py"), str(self.cluster.file), "--kxpolicy",
                str(program or KXPOLICY), "--format", "json", *map(str, arguments)]

    def judge(self, *arguments):
        return run(*self.judge_command(*arguments))

    def at_once(self, *arguments, events=None):
        """What one run of the command says."""
        done = run(KXPOLICY, *arguments, "--targets", "-", "--summary", "--format", "json", "--errors-ok", stdin=events or self.all)
        self.assertIn(done.returncode, (0, 1), done.stderr)
        return json.loads(done.stdout)

    def runs(self):
        """The runs that have begun: by which worker, with which folder."""
        return [line.split() for line in self.starts.read_text().splitlines()] if self.starts.exists() else []

    def test_says_what_one_run_says(self):
        done = self.judge(self.image, *self.partitions)
        self.assertEqual(done.returncode, 0, done.stderr)
        summary = json.loads(done.stdout)
        self.assertEqual(summary, self.at_once("eval", self.image))
        self.assertEqual((summary["targets"], summary["unusable"]), (2401, 1))
        self.assertGreater(summary["matched"], 100)

    def test_says_the_same_by_the_library(self):
        cut = self.folder / "cut.jsonl.gz"
        cut.write_bytes(self.partitions[0].read_bytes()[:-9])
        plain = self.partitions[:4] + self.partitions[8:]
        by_command = self.judge(self.image, *plain)
        by_library = self.judge(self.image, *plain, cut, "--library", LIBRARY)
        self.assertEqual(by_library.stdout, by_command.stdout, by_library.stderr)
        self.assertEqual((by_command.returncode, by_library.returncode), (0, 3))
        self.assertIn(b"cut.jsonl.gz: not judged: ", by_library.stderr)

    def test_says_which_decisions_differ(self):
        done = self.judge(self.image, *self.partitions, "--was", self.was)
        self.assertEqual(done.returncode, 0, done.stderr)
        summary, expected = json.loads(done.stdout), self.at_once("diff", self.was, self.image)
        files = {example["file"] for change in summary["changes"] for example in change["examples"]}
        self.assertLessEqual(files, set(map(str, self.partitions)))
        for side in (summary, expected):  # a file and its lines are others where all is one stream
            side["changes"] = {json.dumps([change["was"], change["is"]]): change["count"] for change in side["changes"]}
        self.assertEqual(summary, expected)
        self.assertGreater(summary["differ"], 10)

    def test_reads_recorded_events(self):
        path = self.folder / "events.jsonl"
        names = (target.get("fileName") for policy in make_starts.policies(300)["policies"] for target in policy["targets"])
        program = next(name for name in names if isinstance(name, str))
        events = f'{{"image":"C:\\\\{program}"}}\nnothing\n{{"image":"C:\\\\a.exe"}}\n'.encode()
        path.write_bytes(events)
        cut = self.folder / "events.gz"
        cut.write_bytes(gzip.compress(events)[:-1])
        done = self.judge(self.image, path, cut, "--events", "plain")
        self.assertEqual(done.returncode, 3)
        self.assertEqual([json.loads(done.stdout)[key] for key in ("targets", "matched", "unusable")], [3, 1, 1])
        self.assertIn(b"events.gz:4: the gzip data is cut off", done.stderr)
        none = self.folder / "none.json"
        none.write_text("{\"policies\": []}", encoding="utf-8")
        differ = json.loads(self.judge(self.image, path, "--events", "plain", "--was", none).stdout)["changes"]
        self.assertEqual(differ[0]["examples"], [{"file": str(path), "line": 1, "name": "1"}])

    def test_names_what_cannot_be_judged(self):
        cut = self.folder / "cut.gz"
        cut.write_bytes(self.partitions[0].read_bytes()[:-9])
        done = self.judge(self.image, cut, *self.partitions, self.folder / "gone")
        self.assertEqual(done.returncode, 3)
        self.assertEqual(json.loads(done.stdout), self.at_once("eval", self.image))
        faults = sorted(done.stderr.decode().splitlines())
        self.assertEqual(len(faults), 2, faults)
        self.assertRegex(faults[0], f"^judge_fleet: {cut}: not judged: .*cut.gz:[0-9]+: the gzip data is cut off$")
        self.assertRegex(faults[1], f"^judge_fleet: {self.folder}/gone: not judged: .*gone: cannot be opened: no such file or folder$")

    def test_workers_come_and_go(self):
        judging = subprocess.Popen(self.judge_command(self.image, *self.partitions, program=self.held),
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.addCleanup(judging.kill)
        self.addCleanup(self.may_go_on.touch)
        has_begun = lambda worker: any(by == str(worker.pid) for by, _ in self.runs())
        lost = self.cluster.processes[1]
        wait_for(lambda: has_begun(lost), "a run on a worker")
        lost.kill()
        late = self.cluster.add_worker()
        wait_for(lambda: has_begun(late), "a run on the worker that joins late")
        self.may_go_on.touch()
        said, complained = judging.communicate(timeout=PATIENCE)
        self.assertEqual(judging.returncode, 0, complained)
        self.assertEqual(json.loads(said), self.at_once("eval", self.image))

        runs = self.runs()
        self.assertGreater(len(runs), len(self.partitions), "what the lost worker had begun is judged again")
        folders = {worker: {folder for by, folder in runs if by == worker} for worker, _ in runs}
        self.assertEqual({worker: len(of_worker) for worker, of_worker in folders.items()}, dict.fromkeys(folders, 1),
                         "a worker unpacks the image once")


if __name__ == "__main__":
    KXPOLICY, LIBRARY = (pathlib.Path(sys.argv.pop(1)).resolve(strict=True) for _ in range(2))
    unittest.main()
