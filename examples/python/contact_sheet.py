#!/usr/bin/python3
"""contact_sheet MOVIE SHEET.ppm [COLUMNS [ROWS]]: draws pictures from all of a movie side by side. Needs only NumPy."""

import sys

import numpy as np
import numpy.typing as npt
import tavolin

Pixels = npt.NDArray[np.uint8]

THUMBNAIL = 240  # approximate width in pixels


def upright(frame: tavolin.Frame) -> Pixels:
    return np.rot90(frame.pixels, -frame.rotation // 90)


def contact_sheet(path: str, columns: int = 4, rows: int = 4) -> Pixels:
    with tavolin.open(path) as video:
        duration = video.duration or 0.0  # None when the container does not say
        times = [duration * (i + 0.5) / (columns * rows) for i in range(columns * rows)]
        pictures = [upright(video.at(time)) for time in times]
    every = max(pictures[0].shape[1] // THUMBNAIL, 1)
    small = [picture[::every, ::every] for picture in pictures]
    return np.vstack([np.hstack(small[row * columns:(row + 1) * columns]) for row in range(rows)])


def write_ppm(path: str, pixels: Pixels) -> None:
    with open(path, "wb") as file:
        file.write(b"P6\n%d %d\n255\n" % (pixels.shape[1], pixels.shape[0]))
        file.write(pixels.tobytes())


if __name__ == "__main__":
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    write_ppm(sys.argv[2], contact_sheet(sys.argv[1], *map(int, sys.argv[3:5])))
