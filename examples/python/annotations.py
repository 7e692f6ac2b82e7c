#!/usr/bin/python3
"""annotations MOVIE NOTES.csv OUT.csv: assigns notes, taken at any time, to the pictures that were shown then.

NOTES.csv has one line per note: seconds, text. OUT.csv has the picture's exact times in microseconds, its number, and
the MD5 sum of its pixels, which identifies the picture."""

import csv
import hashlib
import sys
from typing import Iterable, Iterator, List, Tuple

import tavolin


def export(movie: str, notes: Iterable[List[str]]) -> Iterator[Tuple[int, int, int, str, str]]:
    with tavolin.open(movie) as video:
        numbers = {frame.time_us: number for number, frame in enumerate(video)}
        for seconds, text in notes:
            frame = video.at(float(seconds))
            digest = hashlib.md5(frame.pixels.tobytes()).hexdigest()
            yield frame.time_us, frame.end_us, numbers[frame.time_us], digest, text


if __name__ == "__main__":
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    with open(sys.argv[2], newline="") as notes, open(sys.argv[3], "w", newline="") as out:
        writer = csv.writer(out)
        writer.writerow(["time_us", "end_us", "number", "md5", "text"])
        writer.writerows(export(sys.argv[1], csv.reader(notes)))
