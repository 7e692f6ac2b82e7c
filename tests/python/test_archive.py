"""tavolin-archive on a cluster of processes on this machine, and its parts."""

import contextlib
import json
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import time

import pytest
from conftest import make_media, moving_picture, steady

pytest.importorskip("distributed")
from tavolin_archive import child, files, worker  # noqa: E402
from tavolin_archive.command import exit_code  # noqa: E402
from tavolin_archive.report import Report, change_of  # noqa: E402

COMMAND = os.environ["TAVOLIN_COMMAND"]
ENVIRONMENT = {**os.environ, "PATH": f"{pathlib.Path(COMMAND).parent}:{os.environ['PATH']}"}


def start(*arguments):
    return subprocess.Popen([sys.executable, "-m", *map(str, arguments)], env=ENVIRONMENT, stdout=subprocess.DEVNULL,
                            stderr=subprocess.DEVNULL)


def wait_for(what, seconds=40):
    end = time.monotonic() + seconds
    while not what():
        assert time.monotonic() < end, "waited in vain"
        time.sleep(0.02)


@pytest.fixture(scope="module")
def processes():
    """Starts a process, which ends with the tests of this file."""
    with contextlib.ExitStack() as stack:
        def run(*arguments):
            process = start(*arguments)
            stack.callback(process.wait)
            stack.callback(process.kill)
            return process

        yield run


def start_scheduler(processes, folder):
    """The address of a scheduler without workers."""
    file = folder / "scheduler.json"
    processes("distributed.cli.dask_scheduler", "--host", "127.0.0.1", "--port", "0", "--no-dashboard",
              "--scheduler-file", file)
    wait_for(lambda: file.exists() and file.read_text().endswith("}"))  # it is there before it is written
    return json.loads(file.read_text())["address"]


def start_workers(processes, folder, scheduler, count):
    """Their processes, once the scheduler at this address knows them."""
    from distributed import Client
    with Client(scheduler) as client:
        before = len(client.nthreads())
        workers = [processes("distributed.cli.dask_worker", scheduler, "--nthreads", "1", "--no-nanny", "--no-dashboard",
                             "--memory-limit", "0", "--local-directory", folder) for _ in range(count)]
        client.wait_for_workers(before + count, timeout=40)
    return workers


@pytest.fixture(scope="module")
def cluster(processes, tmp_path_factory):
    """The address of a scheduler with two workers."""
    folder = tmp_path_factory.mktemp("cluster")
    scheduler = start_scheduler(processes, folder)
    start_workers(processes, folder, scheduler, 2)
    return scheduler


def archive_process(*arguments, before=(), **others):
    return subprocess.Popen([*before, sys.executable, "-m", "tavolin_archive", "check", *map(str, arguments)],
                            env=ENVIRONMENT, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, **others)


def lines_of(report):
    return [json.loads(line) for line in report.read_text().splitlines()]


def results_of_the_command(paths):
    """The results of `tavolin check` by path: "ok", "damaged" or "unreadable", and the findings."""
    printed = subprocess.run([COMMAND, "check", *paths], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                             text=True).stdout.splitlines()
    results = {str(path): ("unreadable", []) for path in paths}
    findings = []
    for line in printed:
        path, verdict, text = line.split(": ", 2)
        if verdict == "damaged" and not text.startswith("decoded: "):
            findings.append(steady(text))
        else:
            results[path] = (verdict, findings)
            findings = []
    return results


@pytest.fixture
def archive(tmp_path, damaged):
    """Eighty files in three folders: movies and sound, some of them damaged, some no media."""
    movie = make_media("short.mov", *moving_picture(1), "-c:v", "libx264", "-bf", 2, "-pix_fmt", "yuv420p")
    sound = make_media("short.wav", "-f", "lavfi", "-i", "sine=frequency=440:sample_rate=8000:duration=2")
    cut = tmp_path / "cut.mov"
    longer = make_media("longer.mov", *moving_picture(), "-c:v", "mpeg4", "-movflags", "faststart")
    cut.write_bytes(longer.read_bytes()[:-90000])
    text = tmp_path / "text.mov"
    text.write_text("no movie\n" * 100)
    folder = tmp_path / "archive"
    kinds = [movie, sound, movie, movie, damaged, movie, sound, cut, movie, text]
    for number in range(80):
        source = kinds[number % len(kinds)]
        place = folder / f"reel {number % 3}" / f"{number:03}{source.suffix}"
        place.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(source, place)
    (folder / "notes.txt").write_text("no media\n")
    return folder


def test_every_file_is_reported_once_although_a_worker_is_killed(archive, cluster, processes, tmp_path):
    (worker_to_kill,) = start_workers(processes, tmp_path, cluster, 1)
    report, sheets = tmp_path / "report.jsonl", tmp_path / "sheets"
    process = archive_process(archive, "--scheduler", cluster, "-o", report, "--sheets", sheets)
    wait_for(lambda: report.exists() and report.read_text().count("\n") >= 12)
    worker_to_kill.kill()
    errors = process.communicate(timeout=60)[1]
    lines = lines_of(report)
    paths = sorted(path for path in archive.rglob("*") if path.suffix in (".mov", ".avi", ".wav"))
    assert sorted(line["path"] for line in lines) == list(map(str, paths)) and len(lines) == 80
    expected = results_of_the_command(paths)
    assert {line["path"]: (line["result"], [steady(finding["text"]) for finding in line["findings"]]) for line in lines
            if line["result"] != "unreadable"} == {path: result for path, result in expected.items()
                                                   if result[0] != "unreadable"}
    assert sum(line["result"] == "unreadable" for line in lines) == 8
    assert all((line["size"], line["changed_us"]) == change_of(line["path"]) and line["seconds"] >= 0 for line in lines)
    assert process.returncode == 1
    assert "80 files: 56 ok, 16 damaged, 8 unreadable; 80 checked now" in errors
    assert all(os.path.exists(line["sheet"]) for line in lines if line["result"] == "damaged")


def test_it_goes_on_where_it_stopped(archive, cluster, tmp_path):
    report = tmp_path / "report.jsonl"
    some = archive / "reel 0"
    paths = [str(path) for path in sorted(some.iterdir())][:12]
    (tmp_path / "list.txt").write_text("\n".join(paths))
    arguments = (tmp_path / "list.txt", "--scheduler", cluster, "-o", report)
    assert "12 checked now" in archive_process(*arguments).communicate(timeout=60)[1]
    lines = report.read_text().splitlines(keepends=True)
    report.write_text("".join(lines[:8]) + lines[8][:-10])  # the ninth is truncated, the last three are missing
    os.utime(json.loads(lines[0])["path"], (1, 1))  # and one file has changed
    assert "12 files: " in archive_process(*arguments).communicate(timeout=60)[1]
    again = report.read_text().splitlines(keepends=True)
    assert again[:7] == lines[1:8] and sorted(line["path"] for line in lines_of(report)) == paths
    assert "; 0 checked now" in archive_process(*arguments).communicate(timeout=60)[1]


def test_it_says_that_there_are_no_workers_yet(processes, movie, tmp_path):
    scheduler = start_scheduler(processes, tmp_path)
    process = archive_process(movie, "--scheduler", scheduler, "-o", tmp_path / "report.jsonl")
    try:
        assert process.stderr.readline() == f"tavolin-archive: there are no workers at {scheduler} yet, waiting for them\n"
    finally:
        process.kill()
        process.communicate()


def test_a_file_that_takes_too_long_gets_three_tries_and_a_line(cluster, tmp_path):
    path = make_media("long.mov", *moving_picture(120), "-c:v", "libx264", "-g", "250", "-pix_fmt", "yuv420p")
    report = tmp_path / "report.jsonl"
    process = archive_process(path, "--scheduler", cluster, "-o", report, "--timeout", "0.3")
    process.communicate(timeout=60)
    (line,) = lines_of(report)
    assert (line["result"], process.returncode) == ("failed", 4)
    assert [finding["text"] for finding in line["findings"]] == [f"was not checked within 0.3 s (try {number})"
                                                                  for number in (1, 2, 3)]


def test_a_task_tells_why_a_file_was_lost(movie):
    assert worker.check_file(str(movie), 60, 1 << 30, None)["result"] == "ok"
    (first,) = worker._kept
    assert worker.check_file(str(movie), 60, 1 << 30, None)["result"] == "ok"
    assert worker._kept == [first]  # the same for each file
    assert worker.check_file("/nowhere.mov", 60, 1 << 30, None)["lost"].startswith("is not seen by this worker")
    assert worker.check_file(str(movie), 60, 1 << 20, None)["lost"] == "took more than 1 MiB of memory"
    assert worker._kept == []
    with contextlib.closing(worker.Checker()) as checker:
        os.kill(checker.process.pid, signal.SIGSEGV)
        with pytest.raises(worker.Lost, match="by signal 11"):
            checker.ask(str(movie), 60, 1 << 30)
    assert worker.check_file(str(movie), 60, 1 << 30, None)["result"] == "ok"
    worker.close_kept()
    assert worker._kept == []


def test_a_check_goes_on_through_ctrl_c_even_while_it_begins(movie):
    program = """if True:
        import os, signal, sys
        from tavolin_archive.worker import Checker
        signal.signal(signal.SIGINT, lambda *_: None)
        checker = Checker()
        os.killpg(0, signal.SIGINT)  # as a terminal sends it to all processes of the run
        print(checker.ask(sys.argv[1], 60, 1 << 30)["result"])
        checker.close()"""
    done = subprocess.run([sys.executable, "-c", program, movie], env=ENVIRONMENT, start_new_session=True,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    assert (done.stdout, done.stderr) == ("ok\n", "")


def test_ctrl_c_ends_a_run_with_one_sentence_and_it_goes_on_later(tmp_path):
    movie = make_media("twenty.mov", *moving_picture(20), "-c:v", "libx264", "-g", "50", "-pix_fmt", "yuv420p")
    folder, report = tmp_path / "archive", tmp_path / "report.jsonl"
    folder.mkdir()
    for number in range(12):
        (folder / f"{number}.mov").symlink_to(movie)
    process = archive_process(folder, "-o", report, start_new_session=True)
    wait_for(lambda: report.exists() and report.read_text().count("\n") >= 1)
    os.killpg(process.pid, signal.SIGINT)
    errors = process.communicate(timeout=60)[1]
    assert (process.returncode, errors) == (130, "tavolin-archive: stopped; with the same report it goes on from here\n")
    done = lines_of(report)
    assert 1 <= len(done) < 12 and all(line["result"] == "ok" for line in done)
    assert f"12 files: 12 ok; {12 - len(done)} checked now" in archive_process(folder, "-o", report).communicate()[1]


def test_a_file_of_a_sequence_is_a_file_of_its_own(tmp_path, monkeypatch):
    monkeypatch.setenv("PATH", ENVIRONMENT["PATH"])
    for number in (1, 2):
        (tmp_path / f"a{number}.ppm").write_bytes(b"P6\n16 8\n255\n" + bytes([number]) * 384)
    (tmp_path / "a3.ppm").write_bytes(b"P6\n16 8\n255\n")
    assert [child.check(str(tmp_path / f"a{number}.ppm"))["result"] for number in (1, 2)] == ["ok", "ok"]
    assert child.check(str(tmp_path / "a3.ppm"))["result"] != "ok"
    sheet = worker.write_sheet(str(tmp_path / "a1.ppm"), str(tmp_path), 60)
    head = pathlib.Path(sheet).read_bytes()[:24]
    width, height = (int.from_bytes(head[at:at + 4], "big") for at in (16, 20))
    assert (width, height) == (344, 184)  # one picture of 320 pixels with its margin, and no number below


def test_checks_side_by_side_keep_to_processors_of_their_own():
    before = os.sched_getaffinity(0)
    held = []
    try:
        for _ in before:
            os.sched_setaffinity(0, before)
            held.append((child.take_processor(), os.sched_getaffinity(0)))
        taken = [mine for lock, mine in held if lock is not None]
        assert taken and all(len(mine) == 1 for mine in taken)
        assert len(set.union(*taken)) == len(taken)
        os.sched_setaffinity(0, before)
        assert child.take_processor() is None and os.sched_getaffinity(0) == before  # all processors are taken
    finally:
        os.sched_setaffinity(0, before)
        for lock, _ in held:
            if lock is not None:
                os.close(lock)


def test_a_list_may_have_names_of_any_kind(tmp_path):
    names = ["tab\t.wav", " spaces .wav", "\u00fc.wav", "\u2028.wav", "latin \udcfc.wav"]
    listed = "\r\n".join(f"{tmp_path}/{name}" for name in names)
    (tmp_path / "list").write_bytes(b"\xef\xbb\xbf" + os.fsencode(listed))  # as written on Windows
    found = list(files.find([str(tmp_path / "list")]))
    assert [os.path.relpath(path, tmp_path) for path in found] == names
    report = tmp_path / "report.jsonl"
    with Report(report) as lines:
        lines.begin()
        for path in found:
            lines.add({"path": path, "size": 1, "changed_us": 2, "result": "ok"})
    with Report(report) as lines:
        assert list(lines.lines) == found


def test_files_are_found_by_name_in_folders_and_lists(tmp_path):
    for name in ("b/2.MOV", "b/1.mxf", "a.wav", "notes.txt", "b/.hidden"):
        (tmp_path / name).parent.mkdir(exist_ok=True)
        (tmp_path / name).touch()
    (tmp_path / "list").write_text(f"{tmp_path}/a.wav\n\n{tmp_path}/any name\n")
    found = list(files.find([str(tmp_path), str(tmp_path / "list"), str(tmp_path / "a.wav")]))
    assert [os.path.relpath(path, tmp_path) for path in found] == ["a.wav", "b/1.mxf", "b/2.MOV", "any name"]
    with pytest.raises(OSError):
        list(files.find([str(tmp_path / "none")]))


@pytest.mark.parametrize("text", ["something else\n", "5\n", "{}\n", "a movie without a line", "\ud800\n"])
def test_a_report_that_is_none_is_left_alone(tmp_path, text):
    report = tmp_path / "report.jsonl"
    content = text.encode(errors="surrogatepass")
    report.write_bytes(content)
    with pytest.raises(ValueError, match="report.jsonl: line 1 is not a line of a report"):
        Report(report)
    assert report.read_bytes() == content


def test_one_run_at_a_time_writes_a_report(tmp_path):
    path = tmp_path / "report.jsonl"
    for _ in range(2):
        with Report(path) as report:
            with pytest.raises(OSError, match="another run is writing this report"):
                Report(path)
            report.begin()
            with pytest.raises(OSError, match="another run is writing this report"):
                Report(path)


@pytest.mark.parametrize("arguments, code, message", [
    (("-o", "none/report.jsonl"), 3, "No such file or directory"),
    (("-o", "/dev/null"), 3, "/dev/null: not a regular file"),
    (("-o", "report.jsonl", "--sheets", "list"), 3, "File exists"),
    (("-o", "report.jsonl", "--scheduler", "nonsense"), 2, "missing port number in address 'nonsense'"),
    (("-o", "report.jsonl", "--timeout", "nan"), 2, "argument --timeout: nan is not above 0"),
    (("-o", "report.jsonl", "--cache", "0"), 2, "argument --cache: 0 is not above 0")])
def test_what_cannot_be_used_is_refused_in_a_sentence(tmp_path, movie, arguments, code, message):
    (tmp_path / "list").write_text(f"{movie}\n")
    process = archive_process("list", *arguments, cwd=tmp_path)
    errors = process.communicate(timeout=60)[1]
    assert process.returncode == code and message in errors and "Traceback" not in errors


def test_a_disk_without_room_ends_a_run_with_a_sentence_and_it_goes_on_later(tmp_path, movie):
    paths = [tmp_path / f"{number}.mov" for number in range(8)]
    for path in paths:
        path.symlink_to(movie)
    report = tmp_path / "report.jsonl"
    process = archive_process(*paths, "-o", report, before=["sh", "-c", 'ulimit -f 1; exec "$0" "$@"'])
    errors = process.communicate(timeout=60)[1]
    assert (process.returncode, errors) == (3, "tavolin-archive: [Errno 27] File too large\n")
    assert report.stat().st_size == 512
    assert "8 files: 8 ok; " in archive_process(*paths, "-o", report).communicate(timeout=60)[1]
    assert sorted(line["path"] for line in lines_of(report)) == list(map(str, paths))


def test_the_exit_code_is_that_of_tavolin_check():
    assert [exit_code(results) for results in ([], ["ok"], ["damaged"], ["unreadable"], ["failed"], ["ok", "ok"],
                                               ["ok", "damaged"])] == [0, 0, 4, 3, 4, 0, 1]
