#!/usr/bin/python3
"""tour MOVIE: shows what the module tavolin can do, with one movie that has sound."""

import sys

import numpy as np
import tavolin


def tour(path: str) -> None:
    with tavolin.open(path, cache=64 << 20) as video:
        size = f"{video.width} x {video.height}"
        print(f"{video.kind}: {size}, {video.frame_rate:g} pictures a second, {video.duration} s")
        duration = video.duration or 0.0  # None when the container does not say

        frame = video.at(duration / 2)  # the exact picture that is shown at this time
        pixels = frame.pixels  # numpy uint8 (height, width, 3): a view, no copy, read only
        print(f"the picture at {frame.time} s shows until {frame.end} s; its mean is {pixels.mean():.1f}")

        later = [frame.time_us for frame in video.frames(1, 2)]  # forwards
        earlier = [frame.time_us for frame in video.frames(2, 1)]  # backwards
        print(f"{len(later)} pictures from 1 s to 2 s, the same backwards: {earlier == later[::-1]}")

        before = video.step(frame, -1)  # the picture before
        change = np.abs(pixels.astype(int) - before.pixels).mean()
        print(f"the picture before began at {before.time} s and differs by {change:.1f} on average")

        sound = video.sound(1, 2, speed=-1.0)  # numpy int16 (samples, channels)
        print(f"from 1 s to 2 s there are {len(sound)} samples in {video.channels} channels; the last one is {sound[0]}")

        try:
            video.at(duration)
        except tavolin.RangeError as error:
            print(f"out of range: {error}")

    streams = tavolin.probe(path)["streams"]  # a dict in the shape of `tavolin info --json`
    print("streams:", ", ".join(f"{stream['codec_type']} {stream['codec_name']}" for stream in streams))

    report = tavolin.check(path)  # decodes the whole file, forwards and backwards
    print("all is well" if report.ok else "\n".join(f"{finding.time} s: {finding.text}" for finding in report.findings))


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    tour(sys.argv[1])
