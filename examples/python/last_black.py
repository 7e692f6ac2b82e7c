#!/usr/bin/python3
"""last_black MOVIE [MOST]: finds the last black picture, searching from the end. A picture is black if none of its
components is above MOST (default 24)."""

import sys
from typing import Optional

import tavolin


def last_black(path: str, most: int = 24) -> Optional[tavolin.Frame]:
    with tavolin.open(path) as video:
        return next((frame for frame in reversed(video) if frame.pixels.max() <= most), None)


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    found = last_black(sys.argv[1], *map(int, sys.argv[2:3]))
    print("there is no black picture" if found is None else f"{found.time:.6f} s to {found.end:.6f} s")
