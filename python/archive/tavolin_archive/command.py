"""tavolin-archive check: the files of an archive, each a task on a worker."""

import argparse
import collections
import contextlib
import logging
import os
import sys
import time

from tavolin_archive import files
from tavolin_archive.report import RESULTS, Report, change_of
from tavolin_archive.worker import check_file, close_kept

OK, SOME_FAILED, USAGE, CANNOT_OPEN, DAMAGED = range(5)  # as `tavolin check` answers
TRIES = 3  # for a file that is lost, on different workers where there are
INTERVAL = 0.1  # seconds between two looks at what is done

# Dask looks at its own workers many times a second, which costs some per cent of a processor.
QUIET = {"distributed.worker.profile.enabled": False, "distributed.worker.memory.monitor-interval": "10s",
         "distributed.admin.tick.interval": "1s", "distributed.admin.system-monitor.interval": "10s"}


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
    """Keeps the workers busy with a bounded number of tasks, and writes a line for each file. Gives out tasks and takes
    answers several at a time, which costs Dask much less than one by one."""

    def __init__(self, client, options, report, progress):
        self.client, self.options, self.report, self.progress = client, options, report, progress
        self.tries = {}  # by future: (path, change, reasons why it was lost, workers that lost it)
        self.asked_workers = -60.0
        self.threads = 0
        self.taken = 0  # answers in the last interval

    def check(self, paths):
        from distributed import as_completed
        paths = iter(paths)
        coming = as_completed(self._fill(paths))
        while self.tries:
            time.sleep(INTERVAL)
            futures = coming.next_batch()
            self.taken = len(futures)
            coming.update(self._take(futures))
            coming.update(self._fill(paths))

    def _most_tasks(self):
        """A few for each worker, and what is done in two intervals."""
        if time.monotonic() - self.asked_workers > 5:
            self.asked_workers = time.monotonic()
            self.threads = sum(self.client.nthreads().values())
        return max(16, 4 * self.threads) + 2 * self.taken

    def _fill(self, paths):
        """Tasks for the next files, as futures."""
        files = []
        most = self._most_tasks() - len(self.tries)
        while len(files) < most:
            path = next(paths, None)
            if path is None:
                break
            change = change_of(path)
            if change == (None, None):
                self._add(path, change, {"result": "unreadable", "seconds": 0,
                                         "findings": [{"text": "is not there, or cannot be read", "time": None}]})
            else:
                files.append((path, change, [], []))
        return self._submit(files)

    def _submit(self, files, workers=None):
        """`workers`: those to try first."""
        if not files:
            return []
        options = self.options
        futures = self.client.map(check_file, [path for path, *_ in files], timeout=options.timeout,
                                  memory=options.cache << 20, sheets=options.sheets, pure=False, workers=workers,
                                  allow_other_workers=bool(workers))
        self.tries.update(zip(futures, files))
        return futures

    def _take(self, futures):
        """Writes the lines of what `futures` give; returns others for the files that are to be tried again."""
        again = []
        for future, answer in zip(futures, self._answers(futures)):
            path, change, reasons, lost_on = self.tries.pop(future)
            if "lost" not in answer:
                self._add(path, change, answer)
                continue
            reasons = reasons + [answer["lost"]] * answer.get("times", 1)
            lost_on = lost_on + [answer.get("worker")]
            if len(reasons) < TRIES:
                others = [worker for worker in self.client.nthreads() if worker not in lost_on]
                again += self._submit([(path, change, reasons, lost_on)], others or None)
            else:
                self._add(path, change, {"result": "failed", "seconds": None, "findings": [
                    {"text": f"{reason} (try {number})", "time": None} for number, reason in enumerate(reasons, 1)]})
        return again

    def _answers(self, futures):
        try:
            return self.client.gather(futures)
        except Exception:  # of any of them
            return [_answer(future) for future in futures]

    def _add(self, path, change, answer):
        self.report.add({"path": path, "size": change[0], "changed_us": change[1], **answer})
        self.progress.add(answer["result"])


def _answer(future):
    try:
        return future.result()
    except Exception as error:
        if type(error).__name__ == "KilledWorker":  # Dask has tried it on several
            return {"lost": "lost its worker, time after time", "times": TRIES}
        return {"lost": f"could not be checked: {error!r}"}


def connect(scheduler, workers=None):
    """A client of the cluster at this address; "local": of one in this process, which closes with the client."""
    import dask
    from distributed import Client
    logging.getLogger("asyncio").setLevel(logging.CRITICAL)  # Dask leaves errors of closing connections to it
    if scheduler != "local":
        client = Client(scheduler)
        if not client.nthreads():
            print(f"tavolin-archive: there are no workers at {scheduler} yet, waiting for them", file=sys.stderr)
        return client
    dask.config.set(QUIET)
    # Checks have processes of their own, so that the workers can be threads. Dask opens a port for its status even
    # without a dashboard, and warns if another cluster on this machine has its usual one: so any port will do.
    return Client(processes=False, n_workers=workers or len(os.sched_getaffinity(0)), threads_per_worker=1,
                  memory_limit=0, dashboard_address=None, scheduler_kwargs={"dashboard_address": "127.0.0.1:0"})


def check(options):
    paths = list(files.find(options.sources))
    if options.sheets:
        options.sheets = os.path.abspath(options.sheets)
        os.makedirs(options.sheets, exist_ok=True)
    with Report(options.report) as report:
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
                with contextlib.suppress(Exception):  # of workers that go
                    client.run(close_kept)
        lines = [report.lines[path] for path in paths]
        progress.finish(lines, len(left))
    return exit_code([line["result"] for line in lines])


def exit_code(results):
    """As `tavolin check` answers: that of the only file, or whether some of several failed."""
    bad = [result for result in results if result != "ok"]
    if len(results) == 1 and bad:
        return CANNOT_OPEN if bad[0] == "unreadable" else DAMAGED
    return SOME_FAILED if bad else OK


def above_zero(kind):
    def number(text):
        value = kind(text)
        if not value > 0:
            raise argparse.ArgumentTypeError(f"{text} is not above 0")
        return value
    return number


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
    check.add_argument("--timeout", type=above_zero(float), default=3600, metavar="SECONDS",
                       help="longest time for one file; 3600 if not given")
    check.add_argument("--cache", type=above_zero(int), default=2048, metavar="MIB",
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
    except (OSError, ValueError) as error:
        print(f"tavolin-archive: {error}", file=sys.stderr)
        return CANNOT_OPEN if isinstance(error, OSError) else USAGE
