"""Reads a path a line, as JSON, checks the file, and writes what it has found, as JSON, a line each. Ends with its
input, also in the middle of a check: then nobody waits for the result any more."""

import fcntl
import json
import os
import queue
import sys
import tempfile
import threading

import tavolin


def check(path):
    try:
        report = tavolin.check(path)
    except tavolin.OpenError as error:
        return {"result": "unreadable", "findings": [{"text": str(error), "time": None}]}
    return {"result": "ok" if report.ok else "damaged", "findings": [finding._asdict() for finding in report.findings]}


def take_processor():
    """Keeps to a processor that no other check on this machine has, where there is one: FFmpeg would start a thread for
    each processor, and files side by side make better use of them. Returns what holds it until it is closed."""
    for number in sorted(os.sched_getaffinity(0)):
        path = os.path.join(tempfile.gettempdir(), f"tavolin-archive-{os.getuid()}-{number}.lock")
        try:
            held = os.open(path, os.O_CREAT | os.O_RDWR | os.O_NOFOLLOW | os.O_CLOEXEC, 0o600)
        except OSError:
            return None
        try:
            fcntl.flock(held, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except OSError:
            os.close(held)
            continue
        os.sched_setaffinity(0, {number})
        return held
    return None


def main():
    take_processor()
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
