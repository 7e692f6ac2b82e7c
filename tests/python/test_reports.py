"""Probe and check, compared with the command; errors; signals and threads."""

import json
import math
import os
import signal
import subprocess
import sys
import threading
import time

import numpy as np
import pytest
import tavolin
from conftest import (CLIPS, clip, interpreter_environment, make_media, moving_picture, plain_pictures, steady,
                      sum_of)

COMMAND = os.environ["TAVOLIN_COMMAND"]


def run(*arguments):
    return subprocess.run([COMMAND, *map(str, arguments)], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)


def printed_by_check(path):
    lines = run("check", path).stdout.splitlines()
    return [steady(line.split(": damaged: ")[1]) for line in lines[:-1]]


def said(report):
    return [steady(finding.text) for finding in report.findings]


def test_probe_is_the_commands_description(movie):
    assert tavolin.probe(movie) == json.loads(run("info", "--json", movie).stdout)
    assert tavolin.probe(movie, quick=True) == json.loads(run("info", "--json", "--quick", movie).stdout)


def test_check_finds_nothing_wrong_with_a_good_movie(movie):
    report = tavolin.check(movie)
    assert report == tavolin.CheckReport(str(movie), True, [], 100, 4.0)


def test_check_finds_what_the_command_finds(damaged):
    report = tavolin.check(damaged)
    assert said(report) == printed_by_check(damaged)
    assert (report.ok, report.findings[0]) == (False, ("1 error while decoding", None))
    missing = report.findings[-1]
    assert missing.text.startswith("pictures are missing in 1 place") and missing.time == 2.0  # picture 50


@pytest.fixture
def shots(tmp_path):
    """A folder with the sequence shot.1.ppm to shot.6.ppm, of which 3 is missing and 5 is broken."""
    for number in (1, 2, 4, 5, 6):
        head = b"P6\n16 8\n255\n"
        (tmp_path / f"shot.{number}.ppm").write_bytes(head if number == 5 else head + bytes([number]) * 384)
    return tmp_path


def test_sequences_are_the_commands(shots):
    for path, options in ((shots, {}), (shots / "shot.%d.ppm", {}), (shots / "shot.2.ppm", {"sequence": True})):
        assert tavolin.probe(path, rate=4, **options) == json.loads(run("info", "--json", "--fps=4", path).stdout)
        report = tavolin.check(path, rate=4, **options)
        assert said(report) == printed_by_check(path)
        assert report == (str(path), False, [("the file of picture 3 is missing", 0.5),
                                             ("picture 5 (shot.5.ppm) cannot be decoded", 1.0)], 4, 0.0)


def test_a_single_file_of_a_sequence_stands_for_itself(shots):
    path = shots / "shot.2.ppm"
    assert tavolin.probe(path) == json.loads(run("info", "--json", "--stills", path).stdout)
    assert tavolin.check(path) == (str(path), True, [], 1, 0.0)
    with tavolin.open(path) as video:
        assert video.kind == "still image"


def test_a_folder_stands_for_the_one_thing_that_can_be_meant(shots, movie):
    (shots / "card.ppm").write_bytes((shots / "shot.1.ppm").read_bytes())
    for work in (tavolin.probe, tavolin.check, tavolin.open):
        work(shots)
    with tavolin.open(shots) as video:
        assert video.kind == "sequence"
    (shots / "take.mp4").symlink_to(movie)
    for work in (tavolin.probe, tavolin.check, tavolin.open):
        with pytest.raises(tavolin.OpenError) as error:
            work(shots)
        assert str(error.value) == f"{shots}: stands for several files, name one of them: shot.%d.ppm, take.mp4"


def test_a_folder_without_media_and_a_sequence_without_pictures_are_errors(tmp_path):
    for work in (tavolin.probe, tavolin.check, tavolin.open):
        with pytest.raises(tavolin.OpenError) as error:
            work(tmp_path)
        assert str(error.value) == f"{tmp_path}: there are no media files in this folder"
    for number in (1, 2):
        (tmp_path / f"a{number}.png").write_bytes(b"no picture")
    with pytest.raises(tavolin.OpenError) as error:
        tavolin.probe(tmp_path / "a%d.png")
    assert str(error.value).endswith("a%d.png: no picture of this sequence can be read")
    assert not tavolin.check(tmp_path / "a%d.png").ok


def test_check_judges_each_file_by_itself(movie, damaged):
    for _ in range(2):
        assert not tavolin.check(damaged).ok
        assert tavolin.check(movie).ok


def test_real_damage_is_what_the_command_finds():
    for name in ("corrupt-h264.mp4", "cut-in-packet.ts", "edit-prores-422-proxy.mov", "wav-u8-mono.wav"):
        path = clip(name)
        assert said(tavolin.check(path)) == printed_by_check(path)


@pytest.mark.parametrize("function", [tavolin.open, tavolin.probe, tavolin.check])
def test_what_cannot_be_opened_is_named(function, tmp_path):
    empty, text = tmp_path / "zero.mov", tmp_path / "text.mov"
    empty.touch()
    text.write_text("no movie\n" * 100)
    for path in (tmp_path / "none.mov", empty, text, tmp_path / "new\nline"):
        with pytest.raises(tavolin.OpenError) as error:
            function(path)
        assert str(path) in str(error.value)
    with pytest.raises(tavolin.OpenError, match="UTF-8"):
        function(b"/tmp/\xff.mov")
    assert issubclass(tavolin.OpenError, OSError)


@pytest.mark.parametrize("function", [tavolin.open, tavolin.probe, tavolin.check])
@pytest.mark.parametrize("rate", [0, 0.09, 1000.1, -24, math.inf, math.nan])
def test_a_rate_that_no_sequence_has_is_refused_as_by_the_command(function, rate, shots):
    assert f"--fps {(refused := 'is a number from 0.1 to 1000')}" in run("info", f"--fps={rate}", shots).stderr
    with pytest.raises(ValueError, match=f"^rate {refused}$"):
        function(shots, rate=rate)


@pytest.mark.parametrize("function", [tavolin.open, tavolin.probe, tavolin.check])
@pytest.mark.parametrize("name", ["a\0b.mov", b"a\0b.mov"])
def test_a_name_with_a_null_byte_is_refused_as_by_python(function, name, capfd):
    with pytest.raises(ValueError, match="null byte"):
        function(name)
    assert capfd.readouterr().err == ""


def test_nothing_is_printed_about_files(damaged, tmp_path):
    (tmp_path / "text.mov").write_text("no movie\n" * 100)
    code = """
import sys, tavolin
tavolin.check(sys.argv[1])
with tavolin.open(sys.argv[1]) as video:
    list(video)
try:
    tavolin.open(sys.argv[2])
except tavolin.OpenError:
    pass
"""
    done = subprocess.run([sys.executable, "-c", code, damaged, tmp_path / "text.mov"], stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, env=interpreter_environment())
    assert (done.returncode, done.stdout) == (0, b"")


def test_a_name_may_have_any_letter(movie, tmp_path):
    path = tmp_path / "Film 映画 ü.mov"
    path.symlink_to(movie)
    with tavolin.open(path) as video:
        assert video.path == str(path) and len(list(video)) == 100
    code = "import sys, tavolin; print(ascii(tavolin.open(sys.argv[1]).path))"
    done = subprocess.run([sys.executable, "-c", code, path], stdout=subprocess.PIPE, text=True, check=True,
                          env={**interpreter_environment(), "LC_ALL": "C", "PYTHONUTF8": "0",
                               "PYTHONCOERCECLOCALE": "0"})
    assert done.stdout.strip() == ascii(str(path))


def test_no_real_clip_brings_the_interpreter_down():
    if not CLIPS.exists():
        pytest.skip(f"there is no {CLIPS}")
    opened = 0
    for path in sorted(CLIPS.iterdir()):
        try:
            with tavolin.open(path, cache=16 << 20) as video:
                opened += 1
                if video.has_pictures:
                    video.step(video.at(0), 0)
                    next(reversed(video))
                if video.has_sound:
                    video.sound(0.1, 0.3)
        except (tavolin.OpenError, tavolin.DecodeError):
            pass
    assert opened > 30


def test_ctrl_c_ends_a_long_check():
    path = make_media("long.mov", *moving_picture(120), "-c:v", "libx264", "-g", "250", "-pix_fmt", "yuv420p")
    begin = time.monotonic()
    assert tavolin.check(path).pictures == 3000
    whole = time.monotonic() - begin
    former = signal.signal(signal.SIGALRM, signal.default_int_handler)  # the handler of SIGINT
    try:
        signal.setitimer(signal.ITIMER_REAL, 0.05)
        begin = time.monotonic()
        with pytest.raises(KeyboardInterrupt):
            tavolin.check(path)
        assert time.monotonic() - begin < whole / 2
    finally:
        signal.setitimer(signal.ITIMER_REAL, 0)
        signal.signal(signal.SIGALRM, former)


def test_an_interrupted_video_goes_on(movie):
    class Alarm(Exception):
        pass

    def ring(number, stack):
        raise Alarm

    former = signal.signal(signal.SIGALRM, ring)
    try:
        path = make_media("long.mov", *moving_picture(120), "-c:v", "libx264", "-g", "250", "-pix_fmt", "yuv420p")
        with tavolin.open(path, colours="plain") as video:
            signal.setitimer(signal.ITIMER_REAL, 0.3)
            with pytest.raises(Alarm):
                while True:
                    for _ in video:
                        pass
            assert [frame.time_us for frame in video.frames(1, 1.2)] == [1000000 + 40000 * i for i in range(5)]
    finally:
        signal.setitimer(signal.ITIMER_REAL, 0)
        signal.signal(signal.SIGALRM, former)


def test_several_threads_read_their_own_videos_and_one_together(movie):
    expected = plain_pictures(movie)
    wrong = []

    def walk(video, seed):
        for number in np.random.RandomState(seed).permutation(100)[:40]:
            if not np.array_equal(video.at(number * 0.04).pixels, expected[number]):
                wrong.append(number)

    together = tavolin.open(movie, colours="plain", cache=300000)
    own = [tavolin.open(movie, colours="plain") for _ in range(3)]
    threads = [threading.Thread(target=walk, args=(video, seed))
               for seed, video in enumerate([*own, together, together])]
    for thread in threads:
        thread.start()
    assert tavolin.check(movie).ok
    for thread in threads:
        thread.join()
    assert wrong == []


def test_the_first_pixels_may_be_those_of_several_threads(movie):
    code = """
import sys, threading, tavolin
together = threading.Barrier(4)
def read():
    frame = tavolin.open(sys.argv[1]).at(0)
    together.wait()
    print(frame.pixels.shape)
threads = [threading.Thread(target=read) for _ in range(4)]
for thread in threads:
    thread.start()
for thread in threads:
    thread.join()
"""
    done = subprocess.run([sys.executable, "-c", code, movie], stdout=subprocess.PIPE, text=True, timeout=40,
                          env=interpreter_environment())
    assert (done.returncode, done.stdout.count("(64, 96, 3)")) == (0, 4)


def test_threads_that_share_an_iterator_get_each_picture_once(movie):
    with tavolin.open(movie) as video:
        frames, times = video.frames(), []
        threads = [threading.Thread(target=lambda: times.extend(frame.time_us for frame in frames)) for _ in range(4)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        assert sorted(times) == [40000 * number for number in range(100)]


@pytest.mark.parametrize("work", ["for frame in tavolin.open(path): frame.pixels", "tavolin.check(path)"])
def test_the_interpreter_ends_while_threads_work(work, movie):
    code = f"""
import sys, threading, time, tavolin
path = sys.argv[1]
def go():
    while True:
        {work}
for _ in range(3):
    threading.Thread(target=go, daemon=True).start()
time.sleep(0.3)
"""
    for _ in range(3):
        done = subprocess.run([sys.executable, "-c", code, movie], stderr=subprocess.PIPE, timeout=40,
                              env=interpreter_environment())
        assert (done.returncode, done.stderr) == (0, b"")


def test_other_threads_run_while_one_decodes():
    path = make_media("long.mov", *moving_picture(120), "-c:v", "libx264", "-g", "250", "-pix_fmt", "yuv420p")
    done = threading.Event()

    def work():
        tavolin.check(path)
        done.set()

    thread = threading.Thread(target=work)
    thread.start()
    turns = 0
    while not done.is_set():
        time.sleep(0.001)
        turns += 1
    thread.join()
    assert turns > 20


def test_every_frame_of_damage_is_the_same_both_ways(damaged):
    with tavolin.open(damaged) as video:
        forwards = [(frame.time_us, sum_of(frame)) for frame in video]
        assert [(frame.time_us, sum_of(frame)) for frame in reversed(video)] == forwards[::-1]
