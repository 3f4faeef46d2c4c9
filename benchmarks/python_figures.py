#!/usr/bin/env python3
"""Times the Python package against bare reads, PyAV and OpenCV: python_figures.py BARE_READS FILES

BARE_READS is the program of BareReads.c, FILES a folder with idx1.avi of make_inputs.py; two more files are made there. Each
operation runs nine times, in turns with what it is compared with. Prints a table in Markdown, medians of one run.
"""

import gc
import os
import random
import statistics
import subprocess
import sys
import threading
import time

import av
import cv2
import kravi
import numpy

ROUNDS, TAKEN = 9, 1000
SKIPPED = 10  # OpenCV gets every tenth frame, and ten times its time counts: it takes long enough
WIDTH, HEIGHT, RAW_FRAMES = 1920, 1080, 150
PACKETS = 2 * 60 * 60 * 25


def make_mjpeg(path):
    """Two hours of JPEG pictures of 2 to 64 KB, with sound. What follows the end of a picture is padding to a decoder."""
    random_numbers = numpy.random.default_rng(2)
    picture = cv2.imencode(".jpg", numpy.zeros((180, 320, 3), numpy.uint8))[1].tobytes()
    noise = random_numbers.bytes(1 << 24)
    sizes = random_numbers.integers(2048, 65537, PACKETS) - len(picture)
    starts = random_numbers.integers(0, len(noise) - 65536, PACKETS)
    with kravi.Writer(path, 320, 180, codec="MJPG", sound=kravi.Sound(48000, 2, 16)) as w:
        for start, size in zip(starts.tolist(), sizes.tolist()):
            w.write(picture + noise[start:start + size])
            w.write_sound(bytes(1920 * 4))


def make_raw(path):
    noise = numpy.random.default_rng(1).integers(0, 256, (HEIGHT, WIDTH, 3), numpy.uint8)
    with kravi.Writer(path, WIDTH, HEIGHT) as w:
        for number in range(RAW_FRAMES):
            w.write(numpy.roll(noise, number, 1))


def make_inputs(folder):
    paths = []
    for name, make in (("idx1", None), ("recording", make_mjpeg), ("raw1080", make_raw)):
        path = os.path.join(folder, name + ".avi")
        if not os.path.exists(path):
            make(path + ".part")
            os.rename(path + ".part", path)
        if name != "recording":  # whose packets come into the page cache in the first round
            with open(path, "rb") as file:
                while file.read(1 << 24):
                    pass
        paths.append(path)
    return paths


def timed(step):
    start = time.perf_counter_ns()
    step()
    return time.perf_counter_ns() - start


def medians(**steps):
    """Nanoseconds of each step, which return them or are timed; they take turns in a random order."""
    times = {name: [] for name in steps}
    order = list(steps)
    gc.disable()
    for number in range(ROUNDS + 1):
        random.shuffle(order)
        for name in order:
            taken = steps[name]()
            if number > 0:  # everything is warm after the first
                times[name].append(taken)
        gc.collect()
    gc.enable()
    return {name: statistics.median(values) for name, values in times.items()}


def unit(nanoseconds):
    for size, name in ((1e9, "s"), (1e6, "ms"), (1e3, "us")):
        if nanoseconds >= size:
            return f"{nanoseconds / size:.3g} {name}"
    return f"{nanoseconds:.0f} ns"


def row(operation, ours, bare="-", pyav="-", opencv="-", figure="", target=""):
    columns = [value if isinstance(value, str) else unit(value) for value in (ours, bare, pyav, opencv)]
    print(f"| {operation} | {' | '.join(columns)} | {figure} | {target} |", flush=True)


def bare_reads(program, path, places, threads=1):
    text = "".join(f"{position} {size}\n" for position, size in places)
    return int(subprocess.run([program, path, str(threads)], input=text.encode(), stdout=subprocess.PIPE, check=True).stdout)


def open_with_index(path):
    def ours(with_sound):
        with kravi.open(path) as f:
            return len(f.video) + (len(f.audio) if with_sound else 0)

    def pyav():
        with av.open(path) as container:
            return container.streams.video[0].frames

    found = medians(video=lambda: timed(lambda: ours(False)), both=lambda: timed(lambda: ours(True)), pyav=lambda: timed(pyav))
    for name, text in (("video", "open two hours, with the index of 180,000 frames"),
                       ("both", "with that of 337,000 sound chunks, too")):
        row(text, found[name], pyav=found["pyav"], figure=f"{found['pyav'] / found[name]:.0f} times faster than PyAV",
            target="at most 10 ms")


def small_frames(program, path):
    with kravi.open(path) as f:
        v = f.video
        numbers = random.sample(range(len(v)), TAKEN)
        places = [(v.chunks[number].position, v.chunks[number].size) for number in numbers]

        def ours():
            for number in numbers:
                v[number]

        found = medians(ours=lambda: timed(ours), bare=lambda: bare_reads(program, path, places))
    each = {name: value / len(numbers) for name, value in found.items()}
    row("`v[i]`, one small frame (2 KB) at random", each["ours"], each["bare"],
        figure=f"{unit(each['ours'] - each['bare'])} over the read", target="at most 3 us over the read")


def packet_of(container, number):
    """The packet of one frame, exactly: the demuxer may begin before it."""
    stream = container.streams.video[0]
    container.seek(number, stream=stream)
    for packet in container.demux(stream):
        if packet.pts == number:
            return bytes(packet)
    raise AssertionError(f"PyAV has no packet {number}")


def packets(program, path, what):
    """Of a file that is open, and with the open."""
    with kravi.open(path) as f, av.open(path) as container:
        v = f.video
        numbers = random.sample(range(len(v)), TAKEN)
        places = [(v.chunks[number].position, v.chunks[number].size) for number in numbers]

        def ours(video):
            for number in numbers:
                video[number]

        def pyav(opened):
            for number in numbers:
                packet_of(opened, number)

        def ours_anew():
            with kravi.open(path) as again:
                ours(again.video)

        def pyav_anew():
            with av.open(path) as again:
                pyav(again)

        for number in numbers:
            if packet_of(container, number) != v[number]:
                raise AssertionError(f"PyAV has another packet {number}")
        found = medians(ours=lambda: timed(lambda: ours(v)), pyav=lambda: timed(lambda: pyav(container)),
                        ours_anew=lambda: timed(ours_anew), pyav_anew=lambda: timed(pyav_anew),
                        bare=lambda: bare_reads(program, path, places))
    text, target = f"{TAKEN} MJPEG packets at random, of two hours with sound, {what}", "at least 10 times faster than PyAV"
    row(text, found["ours"], found["bare"], found["pyav"], target=target, figure=f"{found['pyav'] / found['ours']:.1f} times faster "
        f"than PyAV, which bare reads are {found['pyav'] / found['bare']:.1f} times")
    row("the same with the open", found["ours_anew"], pyav=found["pyav_anew"], target=target,
        figure=f"{found['pyav_anew'] / found['ours_anew']:.1f} times faster than PyAV")


def raw_frames(path):
    memory = numpy.empty(WIDTH * HEIGHT * 3, numpy.uint8)
    picture = numpy.empty((HEIGHT, WIDTH, 3), numpy.uint8)
    with kravi.open(path) as f, av.open(path) as container, open(path, "rb", 0) as file:
        v, stream = f.video, container.streams.video[0]
        numbers = [random.randrange(len(v)) for _ in range(TAKEN)]
        positions = [v.chunks[number].position for number in numbers]
        capture = cv2.VideoCapture(path, cv2.CAP_FFMPEG)

        def packet(number):  # not decoded: PyAV 10 makes no arrays of pictures that are stored bottom-up
            container.seek(number, stream=stream)
            return next(container.demux(stream))

        def seen(number):
            capture.set(cv2.CAP_PROP_POS_FRAMES, number)
            return capture.read(picture)[1]

        for number in numbers[:5]:
            if bytes(packet(number)) != v[number] or not (v.frame(number) == seen(number)).all():
                raise AssertionError(f"frame {number} differs")

        def ours():
            for number in numbers:
                v.read(number, out=memory)

        def bare():
            for position in positions:
                os.preadv(file.fileno(), [memory], position)

        def pyav():
            for number in numbers:
                memory[:] = numpy.frombuffer(packet(number), numpy.uint8)

        def opencv():
            for number in numbers[::SKIPPED]:
                seen(number)

        found = medians(ours=lambda: timed(ours), bare=lambda: timed(bare), pyav=lambda: timed(pyav),
                        opencv=lambda: timed(opencv) * SKIPPED)
    row(f"{TAKEN} raw frames of 1080 lines (6 MB) at random into one array", found["ours"], found["bare"], found["pyav"],
        found["opencv"], figure=f"{found['ours'] / found['bare']:.2f} times bare reads",
        target="at most 1.2 times; not slower than PyAV and OpenCV")


def two_threads(program, path):
    with kravi.open(path) as f:
        v = f.video
        numbers = [random.randrange(len(v)) for _ in range(TAKEN // 2)]
        places = [(v.chunks[number].position, v.chunks[number].size) for number in numbers]

        def ours(count):
            barrier = threading.Barrier(count + 1)

            def read_all():
                memory = numpy.ones(WIDTH * HEIGHT * 3, numpy.uint8)
                barrier.wait()
                for number in numbers:
                    v.read(number, out=memory)
                barrier.wait()

            threads = [threading.Thread(target=read_all) for _ in range(count)]
            for thread in threads:
                thread.start()
            barrier.wait()
            start = time.perf_counter_ns()
            barrier.wait()
            taken = time.perf_counter_ns() - start
            for thread in threads:
                thread.join()
            return taken

        found = medians(ours1=lambda: ours(1), ours2=lambda: ours(2), bare1=lambda: bare_reads(program, path, places),
                        bare2=lambda: bare_reads(program, path, places, 2))
    gain = {who: 2 * found[f"{who}1"] / found[f"{who}2"] for who in ("ours", "bare")}
    row(f"two threads, {TAKEN // 2} raw frames of 1080 lines each", found["ours2"], found["bare2"],
        figure=f"{gain['ours']:.2f} times one thread; in C {gain['bare']:.2f} times: {gain['ours'] / gain['bare']:.2f}",
        target="at least 0.9 of what C gains")


def main(program, folder):
    random.seed(1)
    av.logging.set_level(av.logging.PANIC)
    two_hours, mjpeg, raw = make_inputs(folder)
    print(f"PyAV {av.__version__}, OpenCV {cv2.__version__}, NumPy {numpy.__version__}, Python {sys.version.split()[0]}\n")
    print("| operation | kravi | bare reads | PyAV | OpenCV | figure | target |")
    print("|---|---|---|---|---|---|---|")
    open_with_index(two_hours)
    small_frames(program, two_hours)
    packets(program, two_hours, "1.5 to 2.5 KB")
    packets(program, mjpeg, "2 to 64 KB")
    raw_frames(raw)
    two_threads(program, raw)


if __name__ == "__main__":
    if len(sys.argv) != 3:
        raise SystemExit(__doc__)
    main(*sys.argv[1:])
