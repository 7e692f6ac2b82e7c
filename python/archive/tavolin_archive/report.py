"""The report: a JSON object a line, for each file one."""

import json
import os

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
    """Lines that are there already, and those that come. Not for several processes at a time."""

    def __init__(self, path):
        self.path = path
        self.lines = {}  # by path
        for line in self._read():
            self.lines[line["path"]] = line

    def _read(self):
        try:
            with open(self.path, encoding="utf-8") as file:
                text = file.read()
        except FileNotFoundError:
            return
        for number, line in enumerate(text.splitlines(keepends=True), 1):
            if not line.endswith("\n"):
                return  # cut: the program ended while it wrote
            try:
                yield json.loads(line)
            except ValueError:
                raise ValueError(f"{self.path}: line {number} is not a line of a report") from None

    def holds(self, path, change):
        """Whether there is a line for this file as it is now."""
        line = self.lines.get(path)
        return line is not None and (line["size"], line["changed_us"]) == change

    def drop(self, path):
        self.lines.pop(path, None)

    def begin(self):
        """Writes the lines that count, and opens the report for more."""
        unfinished = f"{self.path}.new"
        with open(unfinished, "w", encoding="utf-8") as file:
            file.writelines(map(_text, self.lines.values()))
        os.replace(unfinished, self.path)
        self.file = open(self.path, "a", encoding="utf-8")

    def add(self, line):
        self.lines[line["path"]] = line
        self.file.write(_text(line))
        self.file.flush()


def _text(line):
    return json.dumps(line) + "\n"
