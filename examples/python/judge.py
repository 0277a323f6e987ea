#!/usr/bin/env python3
"""Judges a stream: judge.py POLICIES... <targets.jsonl, where POLICIES are the folder of an image or policy documents.

Writes an answer a line, those that `kxpolicy eval POLICIES... --targets - --format json` writes. Exit code 3 when a line
could not be used, 4 when a question could not be asked."""
import os
import sys

import kx_policy


def main(policies):
    codes = {kx_policy.APPLIES: 0, kx_policy.NONE: 0, kx_policy.INPUT: 3, kx_policy.UNANSWERED: 4}
    worst = 0
    is_image = len(policies) == 1 and os.path.isdir(policies[0])
    with kx_policy.open_image(policies[0]) if is_image else kx_policy.open_documents(policies) as opened:
        for line in sys.stdin.buffer:
            if not line.strip():
                continue
            status, answer = opened.evaluate(line.rstrip(b"\r\n"))
            worst = max(worst, codes[status])
            sys.stdout.buffer.write(answer + b"\n")
    return worst


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
