"""Which files to check."""

import os

SUFFIXES = frozenset(
    "264 265 3g2 3gp aac ac3 aif aiff amr asf avi bmp dpx dts dv exr flac flv gif h264 hevc jpeg jpg m2t m2ts m2v m4a "
    "m4v mka mkv mov mp2 mp3 mp4 mpeg mpg mts mxf oga ogg ogv opus png tga tif tiff ts vob wav webm webp wma wmv".split())


def is_media(path):
    """Whether its name is that of a media file."""
    return os.path.splitext(path)[1][1:].lower() in SUFFIXES


def find(sources):
    """Absolute paths of the files that `sources` stand for, each once: folders, which are searched with all below them
    for media files in order of their names; media files; and lists, other files with a path a line. Raises OSError for
    a source that cannot be read."""
    seen = set()
    for path in _named(sources):
        path = os.path.abspath(path)
        if path not in seen:
            seen.add(path)
            yield path


def _named(sources):
    for source in sources:
        if os.path.isdir(source):
            yield from _below(source)
        elif is_media(source):
            os.stat(source)
            yield source
        else:
            with open(source, encoding="utf-8-sig", errors="surrogateescape") as lines:
                yield from (line.rstrip("\n") for line in lines if line.strip())


def _raise(error):
    raise error


def _below(folder):
    for place, folders, names in os.walk(folder, onerror=_raise):
        folders.sort()
        yield from (os.path.join(place, name) for name in sorted(names) if is_media(name))
