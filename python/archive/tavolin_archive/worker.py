"""What runs on a worker: a check is done by a process beside it, which is kept from file to file. So a file that brings
the decoder down, runs past its time or takes too much memory costs that process and not the worker."""

import hashlib
import json
import os
import select
import subprocess
import sys
import time

PATIENCE = 0.2  # seconds between two looks at the process

_kept = []  # checkers without a file


class Lost(Exception):
    """No result: the text says why."""


class Checker:
    """The process that checks; see child.py. Ctrl+C does not reach it: that is for the program that waits for it."""

    def __init__(self):
        self.process = subprocess.Popen([sys.executable, "-m", "tavolin_archive.child"], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, bufsize=0, start_new_session=True)
        self.answer = b""

    def ask(self, path, timeout, memory):
        """What child.py answers. `timeout` in seconds, `memory` in bytes."""
        begin = time.monotonic()
        try:
            self.process.stdin.write(json.dumps(path).encode() + b"\n")
            while not self.answer.endswith(b"\n"):
                if time.monotonic() - begin > timeout:
                    raise Lost(f"was not checked within {timeout:g} s")
                if self._memory() > memory:
                    raise Lost(f"took more than {memory >> 20} MiB of memory")
                self._read()
            answer, self.answer = self.answer, b""
            return json.loads(answer)
        except BrokenPipeError:
            raise Lost(self._end()) from None

    def _read(self):
        if not select.select([self.process.stdout], [], [], PATIENCE)[0]:
            return
        data = os.read(self.process.stdout.fileno(), 65536)
        if not data:
            raise Lost(self._end())
        self.answer += data

    def _end(self):
        code = self.process.wait()
        return f"ended the process that checked it, by signal {-code}" if code < 0 else \
            f"ended the process that checked it, with exit code {code}"

    def _memory(self):
        try:
            with open(f"/proc/{self.process.pid}/statm", encoding="ascii") as file:
                return int(file.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")
        except (OSError, IndexError):
            return 0

    def close(self):
        self.process.kill()
        self.process.wait()
        self.process.stdin.close()
        self.process.stdout.close()


def take_kept():
    """A checker that waits for a file; None when there is none. Any thread."""
    try:
        return _kept.pop()
    except IndexError:
        return None


def close_kept():
    """Ends the processes that wait for a file."""
    while checker := take_kept():
        checker.close()


def check_file(path, timeout, memory, sheets):
    """The task for one file: a dict with what its line in the report says, or with "lost" when this was in vain."""
    begin = time.monotonic()
    if not os.path.exists(path):
        return {"lost": "is not seen by this worker: all of them need the files under the same paths",
                "worker": _worker()}
    checker = take_kept() or Checker()
    try:
        line = checker.ask(path, timeout, memory)
    except Lost as lost:
        checker.close()
        return {"lost": str(lost), "worker": _worker()}
    _kept.append(checker)
    if sheets and line["result"] == "damaged":
        line["sheet"] = write_sheet(path, sheets, timeout)
    line["seconds"] = round(time.monotonic() - begin, 3)
    return line


def write_sheet(path, folder, timeout):
    """The path of a contact sheet; None when there is none, as of sound."""
    digest = hashlib.md5(os.fsencode(path)).hexdigest()[:8]
    sheet = os.path.join(folder, f"{os.path.basename(path)}-{digest}.png")
    try:
        subprocess.run(["tavolin", "sheet", "--stills", "-o", sheet, "--", path], timeout=timeout, stdin=subprocess.DEVNULL,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    except (OSError, subprocess.TimeoutExpired):
        return None
    return sheet if os.path.exists(sheet) else None


def _worker():
    from distributed import get_worker
    try:
        return get_worker().address
    except ValueError:
        return None
