"""Runs the examples as a user does."""

import csv
import os
import pathlib
import subprocess
import sys

import numpy as np
import pytest
import tavolin
from conftest import make_media, moving_picture, plain_pictures

EXAMPLES = pathlib.Path(os.environ["TAVOLIN_SOURCE_DIR"]) / "examples" / "python"


def run(name, *arguments):
    return subprocess.run([sys.executable, EXAMPLES / name, *map(str, arguments)], check=True, stdout=subprocess.PIPE,
                          text=True).stdout.splitlines()


def checked_by(*arguments):
    """What a tool of mypy says about the module's types, which it reads beside the module."""
    pytest.importorskip("mypy")
    folder = pathlib.Path(tavolin.__file__).parent.parent
    done = subprocess.run([sys.executable, "-m", *map(str, arguments)], stdout=subprocess.PIPE, text=True,
                          env={**os.environ, "MYPYPATH": str(folder)})
    return done.returncode, done.stdout


def test_the_examples_have_the_types_that_the_module_states(tmp_path):
    said = checked_by("mypy", "--strict", "--cache-dir", tmp_path, *sorted(EXAMPLES.glob("*.py")))
    assert said == (0, "Success: no issues found in 4 source files\n")


def test_the_module_has_the_names_and_parameters_that_it_states(tmp_path):
    allowed = tmp_path / "allowed"  # what pybind11 makes of any class
    allowed.write_text("tavolin.(Frame|FrameIterator|Video)(.__init__)?\n")
    code, said = checked_by("mypy.stubtest", "tavolin", "--allowlist", allowed, "--ignore-unused-allowlist")
    assert code == 0, said


def test_the_tour_shows_what_there_is(movie):
    lines = run("tour.py", movie)
    assert lines[0] == "movie: 96 x 64, 25 pictures a second, 4.0 s"
    assert lines[1].startswith("the picture at 2.0 s shows until 2.04 s; its mean is ")
    assert lines[2] == "25 pictures from 1 s to 2 s, the same backwards: True"
    assert lines[3].startswith("the picture before began at 1.96 s and differs by ")
    assert lines[4].startswith("from 1 s to 2 s there are 44100 samples in 2 channels; the last one is [")
    assert lines[5].endswith("4.000000 s is outside of the pictures, which show from 0 s to 4.000000 s")
    assert lines[6:] == ["streams: video h264, audio pcm_s16le", "all is well"]


def test_the_contact_sheet_shows_pictures_from_all_over(tmp_path):
    path = make_media("plain.avi", *moving_picture(), "-c:v", "ffv1", "-pix_fmt", "bgr0")
    run("contact_sheet.py", path, tmp_path / "sheet.ppm", 5, 2)
    head, pixels = (tmp_path / "sheet.ppm").read_bytes().split(b"\n255\n", 1)
    assert head == b"P6\n480 128"
    sheet = np.frombuffer(pixels, np.uint8).reshape(128, 480, 3)
    pictures = plain_pictures(path)
    assert np.array_equal(sheet[:64, :96], pictures[5])  # 0.2 s
    assert np.array_equal(sheet[64:, 384:], pictures[95])  # 3.8 s


def test_annotations_are_brought_to_the_pictures_that_showed(tmp_path, movie):
    (tmp_path / "notes.csv").write_text("0.05,begin\n3.2,turn\n1.999,middle\n")
    run("annotations.py", movie, tmp_path / "notes.csv", tmp_path / "out.csv")
    lines = list(csv.reader((tmp_path / "out.csv").open()))
    assert [line[:3] + line[4:] for line in lines] == [["time_us", "end_us", "number", "text"],
                                                       ["40000", "80000", "1", "begin"],
                                                       ["3200000", "3240000", "80", "turn"],
                                                       ["1960000", "2000000", "49", "middle"]]
    assert len({line[3] for line in lines[1:]}) == 3


def test_the_last_black_picture_is_found_from_the_end(movie):
    path = make_media("black.mov", *moving_picture(), "-vf", "drawbox=t=fill:c=black:enable='between(n,30,41)'", "-c:v",
                      "libx264", "-bf", 3, "-pix_fmt", "yuv420p")
    assert run("last_black.py", path) == ["1.640000 s to 1.680000 s"]
    assert run("last_black.py", movie) == ["there is no black picture"]
