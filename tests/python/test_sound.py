"""Sound as arrays, compared with the encoded samples."""

import subprocess
import wave

import numpy as np
import pytest
import tavolin
from conftest import FFMPEG, clip, make_media, moving_picture


@pytest.fixture
def counting(tmp_path):
    """Three seconds at 8000 Hz in two channels: each sample is its number, and the negative of it."""
    path = tmp_path / "counting.wav"
    numbers = np.arange(24000, dtype=np.int16)
    with wave.open(str(path), "wb") as file:
        file.setnchannels(2)
        file.setsampwidth(2)
        file.setframerate(8000)
        file.writeframes(np.stack([numbers, -numbers], axis=1).astype("<i2").tobytes())
    return path


def test_sound_is_that_of_the_file_to_the_sample(counting):
    with tavolin.open(counting) as video:
        assert (video.kind, video.has_pictures, video.duration) == ("sound", False, 3.0)
        whole = video.sound()
        assert (whole.shape, whole.dtype) == ((24000, 2), np.int16)
        assert np.array_equal(whole[:, 0], np.arange(24000)) and np.array_equal(whole[:, 1], -np.arange(24000))
        assert np.array_equal(video.sound(1, 1.5)[:, 0], np.arange(8000, 12000))
        assert np.array_equal(video.sound(0.5, 0.500125)[:, 0], [4000])  # one sample
        assert np.array_equal(video.sound(2.9, 10)[:, 0], np.arange(23200, 24000))
        assert video.sound(1, 1).shape == (0, 2) == video.sound(5, 6).shape


def test_neighbouring_ranges_meet(counting):
    times = [0, 0.31, 0.77777, 1.5, 1.500001, 2.123456, 3]
    with tavolin.open(counting) as video:
        pieces = [video.sound(start, stop) for start, stop in zip(times, times[1:])]
        pieces_again = [video.sound(start, stop) for start, stop in reversed(list(zip(times, times[1:])))]
    assert np.array_equal(np.concatenate(pieces)[:, 0], np.arange(24000))
    assert np.array_equal(np.concatenate(pieces_again[::-1])[:, 0], np.arange(24000))


def test_speeds_leave_out_repeat_and_turn_round(counting):
    with tavolin.open(counting) as video:
        assert np.array_equal(video.sound(1, 2, speed=-1)[:, 0], np.arange(15999, 7999, -1))
        assert np.array_equal(video.sound(1, 2, speed=2)[:, 0], np.arange(8000, 16000, 2))
        assert np.array_equal(video.sound(1, 2, speed=0.5)[:, 0], np.repeat(np.arange(8000, 16000), 2))
        assert np.array_equal(video.sound(1, 2, speed=-4)[:, 0], np.arange(15999, 7999, -4))
        for speed in (0, 0.001, 17, float("nan")):
            with pytest.raises(ValueError):
                video.sound(1, 2, speed=speed)
        with pytest.raises(ValueError):
            video.sound(2, 1)


def test_sound_of_a_movie_is_on_the_clock_of_its_pictures(movie):
    # The first picture stays at its time; without it, everything would begin two seconds later.
    late = make_media("late.mov", "-itsoffset", "2", "-i", movie, "-c", "copy", "-copyts")
    raw = subprocess.run([FFMPEG, "-v", "error", "-i", movie, "-f", "s16le", "-"], check=True,
                         stdout=subprocess.PIPE).stdout
    expected = np.frombuffer(raw, "<i2").reshape(-1, 2)
    for path in (movie, late):
        with tavolin.open(path) as video:
            assert np.array_equal(video.sound(), expected)
            assert np.array_equal(video.sound(1, 2, speed=-1), expected[44100:88200][::-1])


def test_sound_that_begins_late_is_silent_before():
    path = make_media("late-sound.mkv", *moving_picture(2), "-itsoffset", "0.5", "-f", "lavfi", "-i",
                      "aevalsrc=exprs=0.5:sample_rate=8000:duration=1.5", "-c:v", "mpeg4", "-c:a", "pcm_s16le")
    with tavolin.open(path) as video:
        samples = video.sound()[:, 0]
    assert len(samples) == pytest.approx(16000, abs=8)  # Matroska rounds times to milliseconds: 8 samples
    assert not samples[:3992].any() and samples[4008:].all()


def test_a_movie_without_sound_says_so():
    path = make_media("silent.mov", *moving_picture(1), "-c:v", "png")
    with tavolin.open(path) as video:
        assert not video.has_sound
        with pytest.raises(tavolin.DecodeError, match="there is no sound in it"):
            video.sound()


def test_a_file_of_sound_shows_its_cover():
    with tavolin.open(clip("mp3-cover-art-jpeg.mp3")) as video:
        assert video.kind == "sound with cover art"
        assert video.at(0).pixels.shape == video.at(30).pixels.shape == (video.height, video.width, 3)
        assert video.sound(0.25, 0.75).shape == (video.sample_rate / 2, video.channels)


def test_a_file_of_sound_has_no_pictures(counting):
    with tavolin.open(counting) as video:
        with pytest.raises(tavolin.DecodeError, match="there are no pictures in it"):
            video.at(0)
