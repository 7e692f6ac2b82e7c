"""Exact pictures and sound of media files, forwards and backwards, and checks for damage.

    import tavolin

    with tavolin.open("take.mov") as video:
        frame = video.at(12.48)               # the picture that shows then
        frame.pixels                          # numpy uint8 (height, width, 3), read only, without a copy
        for frame in video.frames(12, 10):    # backwards
            ...

Times are seconds from the first picture as float, and exact microseconds as int in names that end in _us.
"""

import os
from typing import List, NamedTuple, Optional

from . import _tavolin
from ._tavolin import DecodeError, Frame, FrameIterator, OpenError, RangeError, Video, __version__

__all__ = ["CheckReport", "DecodeError", "Finding", "Frame", "FrameIterator", "OpenError", "RangeError", "Video",
           "__version__", "check", "open", "probe"]

for _kind in (DecodeError, Frame, FrameIterator, OpenError, RangeError, Video):
    _kind.__module__ = "tavolin"
OpenError.__doc__ = "A file cannot be opened, or there is nothing in it that can be decoded."
DecodeError.__doc__ = "Something that was asked for cannot be decoded."
RangeError.__doc__ = "A time, or a step, outside of the pictures; the text names their range."


class Finding(NamedTuple):
    """Something that is wrong with a file."""

    text: str
    """What it is, as `tavolin check` prints it."""

    time: Optional[float]
    """Of the first place, in seconds; None where it is about the whole file."""


class CheckReport(NamedTuple):
    """What a check has found."""

    path: str
    ok: bool
    """Whether all is well."""

    findings: List[Finding]
    pictures: int
    """Pictures that were decoded."""

    sound: float
    """Seconds of sound that were decoded."""


def _name(path):
    name = os.fsencode(path)
    if b"\0" in name:
        raise ValueError("embedded null byte in the path")  # as Python's own open
    try:
        return name.decode("utf-8")  # whatever the locale
    except UnicodeDecodeError:
        name = os.fsdecode(name)
        raise OpenError(f"{name!r}: the file's name is not UTF-8; give it, or a link to it, another name") from None


def open(path, *, cache=256 << 20, sequence=False, rate=24.0, holes="hold", colours="stream", tone_mapping=True):
    """Opens a movie, sound, a still image or an image sequence, and decodes its first picture.

    path: a file, a pattern of an image sequence such as "take.%04d.png" or "take.####.png", or a folder with one
        image sequence or one movie in it.
    cache: bytes of decoded pictures that are kept around the last one asked for; at least four pictures. A video that
        has only been read forwards uses a quarter of it.
    sequence: whether a single file stands for the image sequence that it belongs to.
    rate: pictures per second of an image sequence, from 0.1 to 1000.
    holes: what an image sequence shows for a missing file: "hold" (the picture before it), "black", or "refuse".
    colours: "stream": as the stream says; "plain": BT.601 in limited range, whatever it says.
    tone_mapping: whether HDR becomes SDR.

    Raises OpenError. Any thread; videos of several threads decode at the same time.
    """
    return _tavolin.open(_name(path), cache=cache, sequence=sequence, rate=rate, holes=holes, colours=colours,
                         tone_mapping=tone_mapping)


def probe(path, quick=False, *, sequence=False, rate=24.0):
    """What a file is: a dict in the shape of `tavolin info --json`. Raises OpenError.

    The pictures are counted by reading the file to its end, without decoding; quick leaves the count out. path,
    sequence and rate are those of open.
    """
    return _tavolin.probe(_name(path), quick, sequence, rate)


def check(path, *, sequence=False, rate=24.0):
    """Decodes a file from its beginning to its end and back, and reports damage as `tavolin check` does.

    path, sequence and rate are those of open; each file of an image sequence is decoded once, by itself. One
    check runs at a time in a process; others wait. Ctrl+C ends it. Raises OpenError.
    """
    name = _name(path)
    pictures, sound, faults = _tavolin.check(name, sequence, rate)
    return CheckReport(name, not faults, [Finding(text, time) for text, time in faults], pictures, sound)
