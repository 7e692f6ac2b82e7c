"""tavolin-archive check: the files of an archive, each a task on a worker."""

import argparse
import collections
import os
import sys
import time

from tavolin_archive import files
from tavolin_archive.report import RESULTS, Report, change_of
from tavolin_archive.worker import check_file

OK, SOME_FAILED, USAGE, CANNOT_OPEN, DAMAGED = range(5)  # as `tavolin check` answers
TRIES = 3  # for a file that is lost, on different workers where there are


class Progress:
    """How far it has come: on a terminal twice a second in one line, otherwise a line in half a minute."""

    def __init__(self, total, out=sys.stderr):
        self.total, self.out = total, out
        self.counts = collections.Counter()
        self.begin = self.shown = time.monotonic()

    def add(self, result):
        self.counts[result] += 1
        now = time.monotonic()
        if now - self.shown >= (0.5 if self.out.isatty() else 30):
            self.shown = now
            before, after = ("\r\033[K", "") if self.out.isatty() else ("", "\n")
            self.out.write(before + self.text(now) + after)
            self.out.flush()

    def text(self, now):
        done = sum(self.counts.values())
        rate = done / max(now - self.begin, 1e-3)
        left = (self.total - done) / rate
        return f"{done} of {self.total} files, {rate:.1f} a second, {_clock(left)} left{self._bad(self.counts)}"

    @staticmethod
    def _bad(counts):
        return "".join(f", {counts[result]} {result}" for result in RESULTS[1:] if counts[result])

    def finish(self, lines, checked):
        """Tells about all `lines`, of which `checked` came now."""
        counts = collections.Counter(line["result"] for line in lines)
        seconds = time.monotonic() - self.begin
        if self.out.isatty():
            self.out.write("\r\033[K")
        self.out.write(f"{len(lines)} files: {counts['ok']} ok{self._bad(counts)}; {checked} checked now in "
                       f"{_clock(seconds)}, {checked / max(seconds, 1e-3):.1f} a second\n")


def _clock(seconds):
    seconds = int(seconds)
    return f"{seconds // 3600}:{seconds // 60 % 60:02}:{seconds % 60:02}"


class Run:
    """Keeps the workers busy with a bounded number of tasks, and writes a line for each file."""

    def __init__(self, client, options, report, progress):
        self.client, self.options, self.report, self.progress = client, options, report, progress
        self.tries = {}  # by future: (path, change, reasons why it was lost, workers that lost it)
        self.asked_workers = -60.0
        self.window = 16

    def check(self, paths):
        from distributed import as_completed
        paths = iter(paths)
        coming = as_completed([])
        self._fill(paths, coming)
        for future in coming:
            again = self._take(future)
            if again:
                coming.add(again)
            self._fill(paths, coming)

    def _fill(self, paths, coming):
        if time.monotonic() - self.asked_workers > 5:
            self.asked_workers = time.monotonic()
            self.window = max(16, 4 * sum(self.client.nthreads().values()))
        while len(self.tries) < self.window:
            path = next(paths, None)
            if path is None:
                return
            change = change_of(path)
            if change == (None, None):
                self._add(path, change, {"result": "unreadable", "seconds": 0,
                                         "findings": [{"text": "is not there, or cannot be read", "time": None}]})
            else:
                coming.add(self._submit(path, change, [], []))

    def _submit(self, path, change, reasons, lost_on):
        others = [worker for worker in self.client.nthreads() if worker not in lost_on] if lost_on else []
        options = self.options
        future = self.client.submit(check_file, path, options.timeout, options.cache << 20, options.sheets, pure=False,
                                    workers=others or None, allow_other_workers=bool(others))
        self.tries[future] = (path, change, reasons, lost_on)
        return future

    def _take(self, future):
        """Writes the line of what `future` gives, or tries again and returns another future."""
        path, change, reasons, lost_on = self.tries.pop(future)
        if future.status == "finished":
            answer = future.result()
            if "lost" not in answer:
                self._add(path, change, answer)
                return None
            reasons = reasons + [answer["lost"]]
            lost_on = lost_on + [answer["worker"]]
        elif type(future.exception()).__name__ == "KilledWorker":  # which has been tried on several already
            reasons = ["lost its worker, time after time"] * TRIES
        else:
            reasons = reasons + [f"could not be checked: {future.exception()!r}"]
        if len(reasons) < TRIES:
            return self._submit(path, change, reasons, lost_on)
        self._add(path, change, {"result": "failed", "seconds": None, "findings": [
            {"text": f"{reason} (try {number})", "time": None} for number, reason in enumerate(reasons, 1)]})
        return None

    def _add(self, path, change, answer):
        self.report.add({"path": path, "size": change[0], "changed_us": change[1], **answer})
        self.progress.add(answer["result"])


def connect(scheduler):
    from distributed import Client, LocalCluster
    if scheduler == "local":
        return Client(LocalCluster(n_workers=os.cpu_count(), threads_per_worker=1, memory_limit=0,
                                   dashboard_address=None))
    return Client(scheduler)


def check(options):
    try:
        paths = list(files.find(options.sources))
        report = Report(options.report)
    except (OSError, ValueError) as error:
        print(f"tavolin-archive: {error}", file=sys.stderr)
        return CANNOT_OPEN if isinstance(error, OSError) else USAGE
    if options.sheets:
        options.sheets = os.path.abspath(options.sheets)
        os.makedirs(options.sheets, exist_ok=True)
    left = []
    for path in paths:
        line = report.lines.get(path)
        again = options.again and line is not None and line["result"] == "failed"
        if again or not report.holds(path, change_of(path)):
            report.drop(path)
            left.append(path)
    report.begin()
    progress = Progress(len(left))
    if left:
        with connect(options.scheduler) as client:
            progress.begin = time.monotonic()
            Run(client, options, report, progress).check(left)
    lines = [report.lines[path] for path in paths]
    progress.finish(lines, len(left))
    return exit_code([line["result"] for line in lines])


def exit_code(results):
    """As `tavolin check` answers: that of the only file, or whether some of several failed."""
    bad = [result for result in results if result != "ok"]
    if len(results) == 1 and bad:
        return CANNOT_OPEN if bad[0] == "unreadable" else DAMAGED
    return SOME_FAILED if bad else OK


def parser():
    parser = argparse.ArgumentParser(prog="tavolin-archive", description="Checks archives of media files for damage.")
    check = parser.add_subparsers(dest="command", required=True).add_parser(
        "check", help="decode all files both ways and report damage",
        description="Decodes each file from its beginning to its end and back on the workers of a Dask cluster, and "
        "writes a JSON line for each into the report. Begun again with the same report, it goes on where it stopped. "
        "Exit code 0 when all is well, 1 when some of several files are not, 3 or 4 as tavolin check for a single one.")
    check.add_argument("sources", nargs="+", metavar="FOLDER|LIST|FILE",
                       help="folders, which are searched; media files; text files with a path a line")
    check.add_argument("-o", dest="report", required=True, metavar="REPORT", help="the report, JSON lines")
    check.add_argument("--scheduler", default="local", metavar="ADDRESS|local",
                       help="where the cluster is, such as tcp://head:8786; local: a worker for each core of this machine")
    check.add_argument("--timeout", type=float, default=3600, metavar="SECONDS",
                       help="longest time for one file; 3600 if not given")
    check.add_argument("--cache", type=int, default=2048, metavar="MIB",
                       help="most memory for the check of one file; 2048 if not given")
    check.add_argument("--sheets", metavar="DIR", help="write a contact sheet of each damaged file into this folder")
    check.add_argument("--again", action="store_true", help="check files again that failed on all workers before")
    return parser


def main(arguments=None):
    options = parser().parse_args(arguments)
    try:
        return check(options)
    except KeyboardInterrupt:
        print("tavolin-archive: stopped; with the same report it goes on from here", file=sys.stderr)
        return 130
