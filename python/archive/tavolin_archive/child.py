"""Reads a path a line, as JSON, checks the file, and writes what it has found, as JSON, a line each. Ends with its
input, also in the middle of a check: then nobody waits for the result any more."""

import json
import os
import queue
import sys
import threading

import tavolin


def check(path):
    try:
        report = tavolin.check(path)
    except tavolin.OpenError as error:
        return {"result": "unreadable", "findings": [{"text": str(error), "time": None}]}
    return {"result": "ok" if report.ok else "damaged", "findings": [finding._asdict() for finding in report.findings]}


def main():
    paths = queue.Queue()

    def read():
        for line in sys.stdin.buffer:
            paths.put(json.loads(line))
        os._exit(0)

    threading.Thread(target=read, daemon=True).start()
    while True:
        answer = check(paths.get())
        sys.stdout.write(json.dumps(answer) + "\n")
        sys.stdout.flush()


if __name__ == "__main__":
    main()
