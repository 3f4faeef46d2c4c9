"""Writing, and following what is being written."""

import concurrent.futures
import os
import subprocess
import sys
import threading
import time
import unittest
from fractions import Fraction

from support import HAS_NUMPY, avi, folder, kravi

if HAS_NUMPY:
    import numpy as np

PICTURES = [avi.payload(number, 500 + number) for number in range(30)]


FORKED = """
import os, signal, sys
sys.dont_write_bytecode = True
sys.path.insert(0, sys.argv[1])
import kravi
for number in range(2):
    w = kravi.Writer("new.avi", 64, 48, codec="MJPG")
    w.write(b"first")
    child = os.fork()
    if child == 0:
        signal.alarm(20)
        if number:
            w.close()
        sys.exit()
    assert os.waitpid(child, 0)[1] == 0
    w.write(b"second")
    w.close()
    with kravi.open("new.avi") as f:
        assert len(f.video) == 2
        if os.fork() == 0:
            assert list(f.video) == [b"first", b"second"]
            sys.exit()
        assert os.wait()[1] == 0 and f.video[1] == b"second"
"""


class Writing(unittest.TestCase):
    def setUp(self):
        self.enterContext(folder())

    def test_bytes_come_back(self):
        block = avi.payload(3, 1920 * 4)
        with kravi.Writer("new.avi", 64, 48, fps="30000/1001", codec="MJPG", sound=kravi.Sound(48000, 2, 16)) as w:
            for picture in PICTURES:
                w.write(bytearray(picture) if picture[0] % 2 else picture)
                w.write_sound(block)
        status = w.status()
        self.assertEqual((status.frames_written, status.audio_chunks_written, status.open, status.write_failed),
                         (30, 30, False, False))
        with kravi.open("new.avi") as f:
            self.assertEqual(list(f.video), PICTURES)
            self.assertEqual((f.video.fps, f.video.codec, f.size), (Fraction(30000, 1001), "MJPG", status.bytes_written))
            self.assertEqual(f.audio.data(), block * 30)

    @unittest.skipUnless(HAS_NUMPY, "NumPy is not installed")
    def test_arrays_come_back(self):
        pictures = np.random.default_rng(1).integers(0, 256, (5, 3, 5, 3), np.uint8)
        samples = np.random.default_rng(2).integers(-2**23, 2**23, (5, 1920, 3), np.int32)
        with kravi.Writer("new.avi", 5, 3, sound=kravi.Sound(48000, 3, 24)) as w:
            for picture, block in zip(pictures, samples):
                w.write(picture)
                w.write_sound(block)
            with self.assertRaisesRegex(ValueError, r"the array is uint8 \(3, 4, 3\); the file needs uint8 \(3, 5, 3\)"):
                w.write(pictures[0][:, :4])
            with self.assertRaisesRegex(ValueError, r"float64 .*needs int32 \(sample frames, 3\)"):
                w.write_sound(samples[0] * 1.0)
        with kravi.open("new.avi") as f:
            for number, picture in enumerate(pictures):
                np.testing.assert_array_equal(f.video.frame(number), picture)
            np.testing.assert_array_equal(f.audio.samples(), samples.reshape(-1, 3))

    def test_what_cannot_be_written(self):
        for words, options in (("7 frames per second", {"fps": 7}), ("FourCC", {"codec": "MJPEG"}),
                               ("scan_mode", {"scan_mode": "up"}), ("aspect", {"aspect": "5:4"}), ("new.avi: ", {"width": 0})):
            with self.assertRaisesRegex(ValueError, words):
                kravi.Writer("new.avi", **{"width": 64, "height": 48, **options})
        with self.assertRaises(FileNotFoundError):
            kravi.Writer("missing/new.avi", 64, 48)
        with kravi.Writer("new.avi", 64, 48) as w:
            with self.assertRaises(kravi.StreamError):
                w.write_sound(b"1234")
            self.assertRaises(ValueError, w.write, b"")
        self.assertRaises(kravi.ClosedError, w.write, b"1234")

    def test_numbers_that_do_not_fit(self):
        for words, options in (("width 4294967360", {"width": 2**32 + 64}), ("queue_limit -1", {"options": kravi.Options(-1)}),
                               ("audio_channels -2", {"sound": kravi.Sound(channels=-2)})):
            with self.assertRaisesRegex(ValueError, words):
                kravi.Writer("new.avi", **{"width": 64, "height": 48, **options})

    def test_bits_that_codecs_have(self):
        found = {}
        for codec in ("", "MJPG", "YUY2", "I420", "YV16", "NV12", "Y800", "v210"):
            with kravi.Writer("new.avi", 64, 48, codec=codec) as w:
                w.write(bytes(w.layout.size if w.layout else 100))
            with kravi.open("new.avi") as f:
                found[codec] = f.video.bits
        self.assertEqual(found, {"": 24, "MJPG": 24, "YUY2": 16, "I420": 12, "YV16": 16, "NV12": 12, "Y800": 8, "v210": 20})

    def test_close_on_several_threads(self):
        for _ in range(20):
            w = kravi.Writer("new.avi", 64, 48, codec="MJPG", options=kravi.Options(chunk_spacing_ms=1))
            for picture in PICTURES[:3]:
                w.write(picture)
            with concurrent.futures.ThreadPoolExecutor(4) as pool:
                results = [pool.submit(step) for step in (w.close, w.status, w.close, w.status)]
                self.assertEqual([result.exception() for result in results], [None] * 4)
            self.assertEqual((w.status().open, w.status().frames_written), (False, 3))

    def test_fork(self):
        """A child neither completes the file of its parent nor waits for a thread that it does not have."""
        done = subprocess.run([sys.executable, "-c", FORKED, os.path.dirname(kravi.__path__[0])], capture_output=True,
                              check=False, timeout=60)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, b"", b""))
        with kravi.open("new.avi") as f:
            self.assertEqual(list(f.video), [b"first", b"second"])

    def test_full_queue_refuses(self):
        options = kravi.Options(queue_limit=1000, queue_wait_ms=0)
        with kravi.Writer("new.avi", 64, 48, codec="MJPG", sound=kravi.Sound(), options=options) as w:
            with self.assertRaises(kravi.RefusedError):
                for _ in range(100):  # pictures wait for their sound
                    w.write(PICTURES[0])
            self.assertGreater(w.status().samples_refused, 0)

    def test_rates(self):
        rate_number = __import__("kravi.writer").writer.rate_number
        self.assertEqual([rate_number(fps) for fps in (23.976, 24, 29.97, "30", 59.94, 60)], [0, 1, 3, 4, 6, 7])

    def test_the_first_error_counts(self):
        with self.assertRaisesRegex(KeyError, "mine"), kravi.Writer("new.avi", 64, 48) as w:
            w.write(bytes(64 * 48 * 3))
            raise KeyError("mine")
        with kravi.open("new.avi") as f:
            self.assertEqual(len(f.video), 1)

    def test_truncated_file(self):
        """The index names what is not there: it is left out."""
        with kravi.Writer("new.avi", 64, 48, codec="MJPG") as w:
            for number in range(30):
                w.write(avi.payload(number, 400))
        with kravi.open("new.avi") as f:
            cut = f.video.chunks[20].position + 100
        os.truncate("new.avi", cut)
        with kravi.open("new.avi") as f:
            self.assertEqual(list(f.video), [avi.payload(number, 400) for number in range(20)])


class Following(unittest.TestCase):
    def setUp(self):
        self.enterContext(folder())

    def test_frames_come_until_the_recording_is_complete(self):
        writer = kravi.Writer("new.avi", 64, 48, codec="MJPG")
        writer.write(PICTURES[0])

        def record():
            for picture in PICTURES[1:]:
                writer.write(picture)
                time.sleep(0.005)
            writer.close()

        thread = threading.Thread(target=record)
        thread.start()
        with kravi.follow("new.avi") as f:
            self.assertIs(f.state, kravi.State.RECORDING)
            found = list(f.frames(poll=0.01))
            self.assertIs(f.state, kravi.State.COMPLETE)
        thread.join()
        self.assertEqual(found, list(enumerate(PICTURES)))

    def test_several_threads_refresh(self):
        """Each chunk is found once, whoever takes it in, and lists of the index are complete."""
        w = kravi.Writer("new.avi", 64, 48, codec="MJPG", sound=kravi.Sound(48000, 1, 8))
        w.write(b"first")
        w.write_sound(bytes(1920))

        def take():
            end = time.monotonic() + 30
            while f.state is kravi.State.RECORDING and time.monotonic() < end:
                f.refresh()
                self.assertLessEqual(len(f.video.keyframes), len(f.video))
                self.assertLessEqual(len(f.audio.data()), len(f.audio) * 1920)

        with kravi.follow("new.avi") as f, concurrent.futures.ThreadPoolExecutor(3) as pool:
            results = [pool.submit(take) for _ in range(3)]
            for picture in PICTURES * 10:
                w.write(picture)
                w.write_sound(bytes(1920))
            w.close()
            self.assertEqual([result.exception() for result in results], [None] * 3)
            f.refresh()
            self.assertEqual(list(f.video), [b"first", *PICTURES * 10])
            self.assertEqual((f.video.keyframes, f.audio.sample_count), (list(range(301)), 301 * 1920))

    def test_complete_file(self):
        with kravi.Writer("new.avi", 64, 48, codec="MJPG") as w:
            w.write(PICTURES[0])
        with kravi.follow("new.avi") as f:
            self.assertEqual((f.state, f.refresh(), list(f.frames())), (kravi.State.COMPLETE, False, [(0, PICTURES[0])]))


if __name__ == "__main__":
    unittest.main()
