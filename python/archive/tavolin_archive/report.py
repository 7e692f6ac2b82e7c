"""The report: a JSON object a line, for each file one."""

import fcntl
import json
import os

BEGINNING = '{"path": "'
RESULTS = ("ok", "damaged", "unreadable", "failed")


def change_of(path):
    """(bytes, time of change in microseconds), by which a file is known to be the one that was checked; (None, None)
    when it cannot be asked."""
    try:
        status = os.stat(path)
    except OSError:
        return None, None
    return status.st_size, status.st_mtime_ns // 1000


class Report:
    """Lines that are there already, and those that come. One at a time writes a file: for another, OSError."""

    def __init__(self, path):
        self.path = os.path.realpath(path)
        self.lines = {}  # by path
        if os.path.exists(self.path) and not os.path.isfile(self.path):
            raise OSError(f"{path}: not a regular file")  # a device would be replaced
        self.files = [open(self.path, "a+", encoding="utf-8", errors="replace")]  # all with the lock, until the end
        self._lock()
        for line in self._read():
            self.lines[line["path"]] = line

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for file in self.files:
            file.close()

    def _lock(self):
        try:
            fcntl.flock(self.files[-1], fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            raise OSError(f"{self.path}: another run is writing this report") from None
        except OSError:
            pass  # a file system without locks

    def _read(self):
        file = self.files[0]
        file.seek(0)
        for number, text in enumerate(file, 1):
            if not text.endswith("\n") and BEGINNING.startswith(text[:len(BEGINNING)]):
                return  # cut: the program ended while it wrote
            try:
                line = json.loads(text)
                line["path"], line["size"], line["changed_us"], RESULTS.index(line["result"])
            except (ValueError, KeyError, TypeError):
                raise ValueError(f"{self.path}: line {number} is not a line of a report") from None
            yield line

    def holds(self, path, change):
        """Whether there is a line for this file as it is now."""
        line = self.lines.get(path)
        return line is not None and (line["size"], line["changed_us"]) == change

    def drop(self, path):
        self.lines.pop(path, None)

    def begin(self):
        """Writes the lines that count, and then is open for more."""
        unfinished = f"{self.path}.new"
        self.files.append(open(unfinished, "w", encoding="utf-8"))
        self._lock()
        self.files[-1].writelines(map(_text, self.lines.values()))
        self.files[-1].flush()
        os.replace(unfinished, self.path)

    def add(self, line):
        self.lines[line["path"]] = line
        self.files[-1].write(_text(line))
        self.files[-1].flush()


def _text(line):
    return json.dumps(line) + "\n"
