"""Media for the tests, made by the ffmpeg command on first use and kept for later runs, and their content as FFmpeg
alone decodes it. CTest sets the folders in the environment: see CMakeLists.txt."""

import fcntl
import hashlib
import os
import pathlib
import re
import subprocess

import numpy as np
import pytest

FFMPEG = os.environ.get("TAVOLIN_FFMPEG", "ffmpeg")
CLIPS = pathlib.Path(os.environ["TAVOLIN_CLIPS"])
PRELOAD = os.environ.pop("LD_PRELOAD", None)  # of a sanitizer: for interpreters, and not for the commands
WIDTH, HEIGHT = 96, 64  # of the moving picture


def make_media(name, *arguments):
    """The file made by ffmpeg with `arguments`; `name` is its last path component. Each recipe has its own folder."""
    arguments = [str(argument) for argument in arguments]
    key = hashlib.md5(" ".join([name, *arguments]).encode()).hexdigest()[:12]
    folder = pathlib.Path(os.environ["TAVOLIN_MEDIA_CACHE"]) / f"py-{key}"
    folder.mkdir(parents=True, exist_ok=True)
    path = folder / name
    with open(folder / "lock", "w") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        if not path.exists():
            unfinished = folder / f"unfinished-{name}"
            subprocess.run([FFMPEG, "-nostdin", "-v", "error", "-y", *arguments, unfinished], check=True)
            unfinished.rename(path)
    return path


def moving_picture(seconds=4):
    return ["-f", "lavfi", "-i", f"testsrc2=size={WIDTH}x{HEIGHT}:rate=25:duration={seconds}"]


def plain_pictures(path, width=WIDTH, height=HEIGHT):
    """Every picture as ffmpeg alone decodes and converts it: (count, height, width, 3)."""
    raw = subprocess.run([FFMPEG, "-nostdin", "-v", "error", "-i", path, "-an", "-sws_flags", "bilinear", "-vsync", "0",
                          "-f", "rawvideo", "-pix_fmt", "rgb24", "-"], check=True, stdout=subprocess.PIPE).stdout
    return np.frombuffer(raw, np.uint8).reshape(-1, height, width, 3)


def clip(name):
    """A real clip; skips the test if there are none."""
    if not (CLIPS / name).exists():
        pytest.skip(f"there is no {CLIPS / name}")
    return CLIPS / name


def sum_of(frame):
    return hashlib.md5(np.ascontiguousarray(frame.pixels)).hexdigest()


def interpreter_environment():
    """For another interpreter that imports the module."""
    return {**os.environ, "LD_PRELOAD": PRELOAD} if PRELOAD else dict(os.environ)


def steady(finding):
    """Removes the parts of a message that depend on which of FFmpeg's threads reports first."""
    return re.sub(r"^\d+ messages? of FFmpeg.*", "messages of FFmpeg", finding)


@pytest.fixture(scope="session")
def movie():
    """A hundred pictures in groups of fifty with B pictures, and a tone."""
    return make_media("movie.mov", *moving_picture(), "-f", "lavfi", "-i",
                      "aevalsrc=exprs=sin(2*PI*440*t)/2|cos(2*PI*330*t)/3:sample_rate=44100:duration=4", "-c:v",
                      "libx264", "-g", 50, "-bf", 3, "-pix_fmt", "yuv420p", "-c:a", "pcm_s16le")


@pytest.fixture(scope="session")
def damaged():
    """A movie whose pictures 50 to 53 cannot be decoded."""
    whole = make_media("whole.avi", *moving_picture(), "-c:v", "png")
    path, data, place = whole.with_name("damaged.avi"), whole.read_bytes(), -1
    for number in range(54):
        place = data.index(b"\x89PNG", place + 1)
        if number >= 50:
            data = data[:place] + b"none" + data[place + 4:]
    unfinished = path.with_name(f"{os.getpid()}.avi")
    unfinished.write_bytes(data)
    unfinished.rename(path)
    return path
