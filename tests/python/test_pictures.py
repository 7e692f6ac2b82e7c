"""Pictures by time, step and span, compared with ffmpeg's own and with those of the command's loop."""

import gc
import math
import multiprocessing
import os
import random
import struct
import subprocess
import threading
import zlib

import numpy as np
import pytest
import tavolin
from conftest import HEIGHT, WIDTH, clip, make_media, moving_picture, plain_pictures, sum_of

STEP = 40000  # microseconds from picture to picture

ENCODERS = {
    "movie.mov": ["-c:v", "libx264", "-g", "50", "-bf", "3", "-pix_fmt", "yuv420p"],
    "open-groups.mp4": ["-c:v", "libx264", "-g", "9", "-keyint_min", "9", "-bf", "3", "-sc_threshold", "0",
                        "-x264-params", "open-gop=1", "-pix_fmt", "yuv420p"],
    "one-group.mkv": ["-c:v", "libx264", "-g", "1000", "-bf", "2", "-pix_fmt", "yuv420p"],
    "groups.ts": ["-c:v", "mpeg2video", "-g", "12", "-bf", "2", "-q:v", "3"],
    "intra.avi": ["-c:v", "mjpeg", "-q:v", "3", "-pix_fmt", "yuvj420p"],
    "vp9.webm": ["-c:v", "libvpx-vp9", "-deadline", "realtime", "-cpu-used", "8", "-g", "30"],
}


def same(frame, expected):
    return np.array_equal(frame.pixels, expected)


@pytest.mark.parametrize("name", ENCODERS)
def test_every_picture_is_that_of_ffmpeg_both_ways_and_at_random(name):
    path = make_media(name, *moving_picture(), *ENCODERS[name])
    expected = plain_pictures(path)
    assert len(expected) == 100
    with tavolin.open(path, colours="plain") as video:
        forwards = list(video)
        assert [frame.time_us for frame in forwards] == [STEP * i for i in range(100)]
        assert all(map(same, forwards, expected))
        backwards = list(reversed(video))
        assert [frame.time_us for frame in backwards] == [STEP * i for i in reversed(range(100))]
        assert all(map(same, backwards, expected[::-1]))
        for number in random.Random(7).choices(range(100), k=60):
            assert same(video.at(number * 0.04 + 0.013), expected[number])


# One picture has 18432 bytes: the budgets hold none, seven, and more than all pictures.
@pytest.mark.parametrize("cache", [0, 130000, 1 << 30])
def test_no_cache_size_changes_what_comes(movie, cache):
    expected = plain_pictures(movie)
    with tavolin.open(movie, colours="plain", cache=cache) as video:
        assert all(map(same, reversed(list(reversed(video))), expected))
        walk, held = random.Random(5), [(50, video.at(2.0))]
        for _ in range(200):
            number, frame = walk.choice(held) if walk.random() < 0.2 else held[-1]  # sometimes from an old frame
            count = walk.randint(-6, 6)
            if 0 <= number + count < 100:
                held.append((number + count, video.step(frame, count)))
                assert held[-1][1].time_us == held[-1][0] * STEP and same(held[-1][1], expected[held[-1][0]])


def test_times_are_exact_and_spans_meet(movie):
    with tavolin.open(movie) as video:
        frame = video.at(1.0)
        assert (frame.time, frame.end, frame.time_us, frame.end_us) == (1.0, 1.04, 1000000, 1040000)
        assert video.at(1.039999).time_us == 1000000
        assert video.at(1.04).time_us == 1040000
        assert video.at(frame.end).time_us == video.step(frame).time_us
        frames = list(video)
        assert [frame.end_us for frame in frames[:-1]] == [frame.time_us for frame in frames[1:]]


def test_a_span_of_pictures_is_the_same_both_ways(movie):
    with tavolin.open(movie) as video:
        forwards = [frame.time_us for frame in video.frames(0.5, 1.0)]
        assert forwards == list(range(480000, 1000000, STEP))  # the picture shown at 0.5 begins at 0.48
        assert [frame.time_us for frame in video.frames(1.0, 0.5)] == forwards[::-1]
        assert [frame.time_us for frame in video.frames(3.9)] == [3880000, 3920000, 3960000]
        assert [frame.time_us for frame in video.frames(math.inf, 3.9)] == [3960000, 3920000, 3880000]
        assert [frame.time_us for frame in video.frames(-5, 0.01)] == [0]
        assert list(video.frames(1, 1)) == list(video.frames(9, 10)) == list(video.frames(-1, -2)) == []


def test_pixels_are_a_read_only_view_of_the_record():
    path = make_media("odd.mov", "-f", "lavfi", "-i", "testsrc2=size=98x64:rate=25:duration=1", "-c:v", "png")
    with tavolin.open(path) as video:
        frame = video.at(0)
        pixels = frame.pixels
        assert (pixels.shape, pixels.dtype, pixels.strides) == ((64, 98, 3), np.uint8, (296, 3, 1))
        assert not pixels.flags.writeable and not pixels.flags.owndata
        assert np.shares_memory(pixels, frame.pixels) and np.shares_memory(np.asarray(pixels), pixels)
        with pytest.raises(ValueError):
            pixels[0, 0, 0] = 1


def test_pixels_outlive_the_cache_and_the_video(movie):
    with tavolin.open(movie, cache=0, colours="plain") as video:
        kept = [frame.pixels for frame in video]
    del video
    gc.collect()
    assert np.array_equal(kept, plain_pictures(movie))


def test_times_outside_of_the_pictures_name_their_range(movie):
    with tavolin.open(movie) as video:
        for time in (-0.000001, 4.0, 1e6, math.inf, -math.inf):
            with pytest.raises(tavolin.RangeError, match=r"movie\.mov: .*0 s to 4\.000000 s"):
                video.at(time)
        with pytest.raises(IndexError):
            video.step(video.at(0), -1)
        with pytest.raises(IndexError, match="3 steps from the one at 3.920000 s"):
            video.step(video.at(3.92), 3)
        with pytest.raises(ValueError):
            video.at(math.nan)
        assert video.at(3.999999).time_us == 3960000


def test_a_still_image_shows_at_any_time():
    path = make_media("still.png", "-f", "lavfi", "-i", "testsrc2=size=96x64", "-frames:v", "1")
    with tavolin.open(path) as video:
        assert (video.kind, video.width, video.height, video.duration) == ("still image", 96, 64, 0)
        assert same(video.at(0), plain_pictures(path)[0]) and same(video.at(1000), plain_pictures(path)[0])
        assert len(list(video)) == 1
        with pytest.raises(IndexError):
            video.at(-1)


# What the eye sees of rows as stored, by Exif's numbers.
ORIENTATIONS = {1: lambda a: a, 2: np.fliplr, 3: lambda a: np.rot90(a, 2), 4: np.flipud, 5: lambda a: a.swapaxes(0, 1),
                6: lambda a: np.rot90(a, -1), 7: lambda a: np.rot90(a, 2).swapaxes(0, 1), 8: np.rot90}


@pytest.mark.parametrize("orientation", ORIENTATIONS)
def test_a_still_image_is_turned_upright_by_its_rotation(orientation, tmp_path):
    path = make_media("still.png", "-f", "lavfi", "-i", "testsrc2=size=96x64", "-frames:v", "1")
    stored = open(path, "rb").read()
    chunk = b"eXIf" + struct.pack(">2sHIHHHIHHI", b"MM", 42, 8, 1, 0x0112, 3, 1, orientation, 0, 0)
    told = struct.pack(">I", len(chunk) - 4) + chunk + struct.pack(">I", zlib.crc32(chunk))
    turned = tmp_path / "turned.png"
    turned.write_bytes(stored[:-12] + told + stored[-12:])  # before the last chunk
    with tavolin.open(turned) as video:
        frame = video.at(0)
        assert video.rotation == frame.rotation
        seen = np.rot90(frame.pixels, -frame.rotation // 90)
        assert np.array_equal(seen, ORIENTATIONS[orientation](plain_pictures(path)[0]))


def test_a_sequence_opens_by_folder_pattern_and_file(tmp_path):
    subprocess.run(["ffmpeg", "-v", "error", *moving_picture(1), tmp_path / "take.%04d.png"], check=True)
    (tmp_path / "take.0005.png").unlink()
    expected = plain_pictures(tmp_path / "take.0001.png")
    for path, options in ((tmp_path, {}), (f"{tmp_path}/take.%04d.png", {}), (f"{tmp_path}/take.####.png", {}),
                          (tmp_path / "take.0007.png", {"sequence": True})):
        with tavolin.open(path, rate=10, **options) as video:
            assert (video.kind, video.frame_rate, video.duration) == ("sequence", 10, 2.5)
            assert same(video.at(0), expected[0])
            assert [frame.time_us for frame in reversed(video)][-3:] == [200000, 100000, 0]
            assert sum_of(video.at(0.4)) == sum_of(video.at(0.3))  # number 5 is missing, so number 4 stays
    with tavolin.open(tmp_path, rate=10, holes="black") as video:
        assert not video.at(0.4).pixels.any()
    with pytest.raises(tavolin.OpenError):
        tavolin.open(tmp_path, holes="refuse")


def test_a_movie_describes_itself(movie):
    with tavolin.open(movie) as video:
        assert (video.kind, video.width, video.height) == ("movie", WIDTH, HEIGHT)
        assert (video.rotation, video.frame_rate) == (0, 25)
        assert (video.has_pictures, video.has_sound, video.channels, video.sample_rate) == (True, True, 2, 44100)
        assert (video.duration, video.path) == (4.0, str(movie))
        assert repr(video.at(1)) == "<tavolin.Frame 1.000000 s to 1.040000 s, 96 x 64>"


def test_a_closed_video_says_so(movie):
    video = tavolin.open(movie)
    frame = video.at(1)
    video.close()
    video.close()
    for call in (lambda: video.at(1), lambda: video.step(frame), lambda: next(video.frames()), video.sound):
        with pytest.raises(ValueError, match="closed"):
            call()
    assert frame.pixels.any()


def test_a_forked_process_is_told_to_open_the_video_itself(movie):
    def tell(pipe):
        told = []
        for call in (lambda: video.at(1), lambda: next(frames), lambda: video.sound(0, 1), lambda: video.duration):
            try:
                call()
            except RuntimeError as error:
                told.append(str(error))
        video.close()
        told.append(int(frame.pixels.sum()))  # what was read before is there
        with tavolin.open(movie) as own:
            told.append(own.at(1).time_us)
        pipe.send(told)

    video = tavolin.open(movie)
    frames = video.frames(2)
    frame = next(frames)
    ours, theirs = multiprocessing.Pipe()
    process = multiprocessing.get_context("fork").Process(target=tell, args=(theirs,))
    process.start()
    try:
        assert ours.poll(30), "the process waits for threads that it does not have"
        sentence = "the video was opened before this process was forked: open it again in this one"
        assert ours.recv() == [sentence] * 4 + [frame.pixels.sum(), 1000000]
        process.join(30)
        assert process.exitcode == 0
    finally:
        process.kill()
    assert next(frames).time_us == 2040000


def test_a_process_checks_that_was_forked_during_a_check(movie):
    path = make_media("long.mov", *moving_picture(120), "-c:v", "libx264", "-g", "250", "-pix_fmt", "yuv420p")
    threads = [threading.Thread(target=tavolin.check, args=(path,)) for _ in range(2)]  # the second one waits
    for thread in threads:
        thread.start()
    process = multiprocessing.get_context("fork").Process(target=lambda: os._exit(0 if tavolin.check(movie).ok else 1))
    process.start()
    process.join(30)
    code = process.exitcode
    process.kill()
    for thread in threads:
        thread.join()
    assert code == 0


def test_a_video_is_let_go_of_in_a_forked_process(movie):
    held = [tavolin.open(movie)]
    held[0].at(1)
    process = multiprocessing.get_context("fork").Process(target=held.clear)
    process.start()
    process.join(30)
    code = process.exitcode
    process.kill()
    assert code == 0


@pytest.mark.parametrize("name", ["phone-portrait-rot90-h264.mov", "camera-mjpeg-pcm16.avi",
                                  "ts-h264-854x480-start1.47s.ts", "h264-bpyramid-sar64x45.mp4", "webm-vp9-161x121.webm", "edit-prores-422-proxy.mov",
                                  "ts-h264-first-picture-negative.ts", "phone-h263-amr-vfr.3gp"])
def test_real_clips_are_those_of_the_commands_loop_both_ways(name):
    path = clip(name)
    lines = subprocess.run([os.environ["TAVOLIN_COMMAND"], "decode", "--md5", "--colours=stream", path], check=True,
                           stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True).stdout.splitlines()
    expected = [line.split()[-1] for line in lines if line.startswith("video")]
    with tavolin.open(path) as video:
        forwards = list(video)
        sums = [sum_of(frame) for frame in forwards]
        assert sums == expected[len(expected) - len(sums):]  # pictures that end by 0 are left out
        assert len(expected) - len(sums) <= 3  # one clip starts 100 ms before 0, at 30 pictures per second
        backwards = list(reversed(video))
        assert [frame.time_us for frame in backwards] == [frame.time_us for frame in forwards[::-1]]
        assert [sum_of(frame) for frame in backwards] == sums[::-1]
        for number in random.Random(1).choices(range(len(sums)), k=10):
            assert sum_of(video.at(forwards[number].time)) == sums[number]
