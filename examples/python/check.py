#!/usr/bin/env python3
"""Checks policy documents, which belong together, before anybody compiles them: check.py DOCUMENT...

Writes a line for each finding, as editors and build logs take them. Exit code 1 when there is an error among them."""
import sys

import kx_policy


def main(documents):
    status, findings = kx_policy.check(documents)
    for finding in findings:
        place = ":".join(str(finding[part]) for part in ("document", "line", "column") if part in finding)
        print(f"{place}: {finding['severity']}: {finding['message']} [{finding['rule']}]")
    return 1 if status == kx_policy.FAULTY else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
