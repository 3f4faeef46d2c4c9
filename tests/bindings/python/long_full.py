"""What takes long: many opens, killed recordings, the development mode, the checker of types."""

import gc
import os
import random as numbers
import resource
import shutil
import signal
import subprocess
import sys
import threading
import time
import unittest
import unittest.mock

from support import HAS_NUMPY, SOURCES, avi, clip_bytes, folder, kravi, raw_clip, write

PACKAGE = os.path.dirname(os.path.dirname(os.path.abspath(kravi.__file__)))
OPENS, MOST_GROWTH = 100_000, 1024  # of resident memory, in KB
ROUNDS = 3000
LARGE_WIDTH = 64 << 20  # pixels of the one row of a large frame
SPOILED = 5000
LOST = 200  # frames of two seconds
RECORDER = """
import sys, time
sys.path[:0] = sys.argv[2:4]
import avi_builder, kravi
w = kravi.Writer(sys.argv[1], 64, 48, codec="MJPG")
number = 0
while True:
    w.write(avi_builder.payload(number, 300 + number % 50))
    number += 1
    print(number, flush=True)
    time.sleep(0.01)
"""


def resident():
    with open("/proc/self/statm", encoding="ascii") as file:
        return int(file.read().split()[1]) * resource.getpagesize() // 1024


class Long(unittest.TestCase):
    def setUp(self):
        self.enterContext(folder())

    def test_no_leak(self):
        write("clip.avi", clip_bytes()[0])
        write("wrong.avi", bytes(300))

        def opens(count):
            for number in range(count):
                f = kravi.open("clip.avi")
                f.video[number % 50]
                if number % 2:
                    f.close()
                if number % 10 == 0:
                    self.assertRaises(kravi.FormatError, kravi.open, "wrong.avi")

        self.check_growth("opens", opens, OPENS)

    def test_no_leak_of_everything_else(self):
        write("clip.avi", clip_bytes()[0])
        write("raw.avi", raw_clip([bytes(96)] * 4, 8, 4, 24))
        before = kravi.Writer("going.avi", 64, 48, codec="MJPG")

        def rounds(count):
            for number in range(count):
                with kravi.open("clip.avi") as f:
                    f.tags, f.video.keyframes, f.audio.data(10, 3000), list(f.video[3:9]), f.video.read(3, bytearray(400))
                    self.assertRaises(IndexError, f.video.stored, 99)
                with kravi.follow("going.avi") as f:
                    f.refresh()
                w = kravi.Writer("new.avi", 64, 48, codec="MJPG")
                w.write(b"picture")
                if number % 2:
                    w.close()
                del w
                if HAS_NUMPY:
                    with kravi.open("raw.avi") as f:
                        f.video.frame(1), f.video.rgb(2), f.video.chunks.array(), f.references()

        self.check_growth("rounds of everything else", rounds, ROUNDS)
        before.close()

    def check_growth(self, what, step, count):
        step(count // 10)
        gc.collect()
        before, files = resident(), len(os.listdir("/proc/self/fd"))
        step(count)
        gc.collect()
        print(f"{count} {what}: {resident() - before} KB more")
        self.assertLess(resident() - before, MOST_GROWTH)
        self.assertEqual(len(os.listdir("/proc/self/fd")), files)

    def test_interpreter_lock(self):
        """While a call waits for the disk or for room, other threads run."""
        with open("large.avi", "wb") as file:
            file.write(raw_clip([bytes(LARGE_WIDTH * 3)], LARGE_WIDTH, 1, 24))
        options = kravi.Options(queue_limit=1000, chunk_spacing_ms=300)
        memory = bytearray(LARGE_WIDTH * 3)
        with kravi.open("large.avi") as f:
            self.check_others_run("v[i]", lambda: f.video[0])
            self.check_others_run("read", lambda: f.video.read(0, memory))
            with unittest.mock.patch.object(f._file, "_descriptor", None):
                self.check_others_run("v[i] of the library", lambda: f.video[0])
        w = kravi.Writer("new.avi", 64, 48, codec="MJPG", options=options)
        w.write(bytes(900))
        w.write(bytes(900))
        self.check_others_run("write", lambda: w.write(bytes(900)))
        for _ in range(3):
            w.write(b"picture")
        self.check_others_run("close", w.close)

    def check_others_run(self, name, step):
        times, done = [], threading.Event()

        def note():
            while not done.wait(0.001):
                times.append(time.perf_counter())

        thread = threading.Thread(target=note)
        thread.start()
        start = time.perf_counter()
        step()
        taken = time.perf_counter() - start
        done.set()
        thread.join()
        inside = [moment for moment in times if start + taken / 10 < moment < start + taken * 9 / 10]
        self.assertGreater(len(inside), 0, f"{name}: {taken} s")

    @unittest.skipUnless(HAS_NUMPY, "NumPy is not installed")
    def test_spoiled_files(self):
        """Whatever the bytes are: what the file has, or exceptions of the package."""
        palette = bytes(range(256)) * 4
        files = [clip_bytes(8, [0])[0], raw_clip([bytes(96)] * 4, 8, 4, 24), raw_clip([bytes(32)] * 4, 8, 4, 8, more=palette),
                 raw_clip([bytes(48)] * 4, 8, 4, 12, b"I420"), raw_clip([bytes(512)] * 4, 8, 4, 20, b"v210")]
        random = numbers.Random(1)
        opened = 0
        for number in range(SPOILED):
            data = bytearray(files[number % len(files)])
            for _ in range(random.randint(1, 6)):
                at = random.randrange(min(len(data) - 4, 2000))
                data[at:at + 4] = random.choice((b"\xff" * 4, bytes(4), b"\0\0\0\x80", random.randbytes(4)))
            write("spoiled.avi", data)
            try:
                with kravi.open("spoiled.avi") as f:
                    opened += 1
                    for stream in f.streams:
                        self.use(f, stream)
            except kravi.Error:
                pass
            except Exception as error:
                raise AssertionError(f"file {number}") from error
        self.assertGreater(opened, SPOILED // 4)

    def use(self, f, stream):
        """Everything that a stream has."""
        steps = [lambda: list(stream), lambda: stream.chunks.array(), lambda: f.tags, lambda: stream.start]
        if isinstance(stream, kravi.VideoStream):
            steps += [lambda: stream.frame(1), lambda: stream.planes(1), lambda: stream.rgb(1), lambda: stream.palette_of(1),
                      lambda: stream.key_before(1), lambda: f.references(stream.number), lambda: stream.fps]
        if isinstance(stream, kravi.AudioStream):
            steps += [stream.samples, stream.data]
        for step in steps:
            try:
                step()
            except (kravi.Error, IndexError):
                pass

    def test_killed_recordings(self):
        for seconds in (0.5, 1.5, 3.5):
            with self.subTest(seconds):
                process = subprocess.Popen([sys.executable, "-c", RECORDER, "killed.avi", PACKAGE,
                                            os.path.join(SOURCES, "tests", "tools")], stdout=subprocess.PIPE)
                process.stdout.readline()
                time.sleep(seconds)
                process.send_signal(signal.SIGKILL)
                written = int(process.communicate()[0].split()[-1])
                with kravi.open("killed.avi") as f:
                    frames = list(f.video)
                self.assertGreaterEqual(len(frames), written - LOST)
                self.assertEqual(frames, [avi.payload(number, 300 + number % 50) for number in range(len(frames))])

    @unittest.skipUnless(shutil.which("ffmpeg"), "ffmpeg is not installed")
    def test_recording_of_another_program(self):
        """ffmpeg locks nothing and writes its index last: the frames come then."""
        process = subprocess.Popen(["ffmpeg", "-v", "error", "-nostdin", "-re", "-f", "lavfi", "-i",
                                    "testsrc2=s=640x480:r=25:d=4", "-c:v", "mjpeg", "-q:v", "3", "-flush_packets", "1", "new.avi"])
        while not os.path.exists("new.avi") or os.path.getsize("new.avi") < 100_000:
            time.sleep(0.05)
        with kravi.follow("new.avi") as f:
            self.assertIsNot(f.state, kravi.State.COMPLETE)
            followed = [data for _, data in f.frames()]
            self.assertIs(f.state, kravi.State.COMPLETE)
        self.assertEqual(process.wait(), 0)
        with kravi.open("new.avi") as f:
            self.assertEqual(list(f.video), followed)
        self.assertEqual(len(followed), 100)

    def test_development_mode(self):
        """All short tests again, where each warning is an error."""
        done = subprocess.run([sys.executable, "-X", "dev", "-W", "error", "-W", "ignore:.*cx_Freeze", os.path.join(
            SOURCES, "tests", "bindings", "python", "python_test.py"), os.environ["KRAVI_LIBRARY"], os.path.dirname(
                os.environ.get("KRAVI_PROGRAM", ""))], capture_output=True, cwd=SOURCES, check=False)
        self.assertEqual(done.returncode, 0, done.stdout.decode() + done.stderr.decode())
        self.assertNotIn(b"Warning", done.stderr)

    @unittest.skipUnless(shutil.which("mypy"), "mypy is not installed")
    def test_types(self):
        done = subprocess.run(["mypy", "--strict", "--cache-dir", os.path.join(os.getcwd(), "cache"), "kravi"],
                              capture_output=True, cwd=os.path.join(SOURCES, "bindings", "python"), check=False)
        self.assertEqual(done.returncode, 0, done.stdout.decode())


if __name__ == "__main__":
    unittest.main()
