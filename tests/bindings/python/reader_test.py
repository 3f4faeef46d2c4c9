"""Reading with bytes alone: chunks, index, tags, errors."""

import concurrent.futures
import ctypes
import errno
import os
import re
import subprocess
import sys
import threading
import unittest
import unittest.mock
from fractions import Fraction

from support import FRAMES, SOURCES, avi, clip_bytes, folder, kravi, raw_clip, write


LEFT_OPEN = """
import sys, threading
sys.dont_write_bytecode = True
sys.path.insert(0, sys.argv[1])
import kravi
f, followed, w = kravi.open("clip.avi"), kravi.follow("clip.avi"), kravi.Writer("new.avi", 64, 48, codec="MJPG")
entries, frames = memoryview(f.video.chunks._entries), followed.frames()
next(frames)
w.write(b"picture")
sys.cycle = [f, w]
sys.cycle.append(sys.cycle)

def read_all():
    while True:
        f.video[3]

threading.Thread(target=read_all, daemon=True).start()
print("end")
"""


class Reading(unittest.TestCase):
    def setUp(self):
        self.enterContext(folder())
        data, self.frames, self.sound = clip_bytes()
        write("clip.avi", data)
        self.file = self.enterContext(kravi.open("clip.avi"))

    def test_streams_are_described(self):
        v, a = self.file.video, self.file.audio
        self.assertEqual([stream.type for stream in self.file.streams], ["vids", "auds"])
        self.assertEqual((v.fps, v.width, v.height, v.bits, v.codec, len(v)), (Fraction(25), 64, 48, 24, "MJPG", FRAMES))
        self.assertEqual((a.sample_rate, a.channels, a.bits, len(a)), (48000, 2, 16, FRAMES))
        self.assertEqual(v.format, self.frames.fmt)
        self.assertIsNone(v.layout)

    def test_chunks_are_those_of_the_file(self):
        self.assertEqual(list(self.file.video), self.frames.chunks)
        self.assertEqual([self.file.audio[number] for number in range(FRAMES)], self.sound.chunks)
        self.assertEqual(self.file.video[-1], self.frames.chunks[-1])
        for number in (FRAMES, -FRAMES - 1):
            with self.assertRaisesRegex(IndexError, f"clip.avi: stream 0 has 50 chunks, not {number}"):
                self.file.video[number]

    def test_numbers_of_other_types(self):
        """Whatever is an integer to Python, such as NumPy's, whose own arithmetic may overflow."""
        class Number:
            def __index__(self):
                return 13

        v = self.file.video
        self.assertEqual(v[Number()], self.frames.chunks[13])
        self.assertEqual((v[0:20][Number()], v.chunks[Number()].size, v.stored(Number())), (v[13], len(v[13]), 13))
        self.assertRaises(TypeError, lambda: v[1.0])

    def test_slices_are_lazy(self):
        part = self.file.video[10:40:3]
        self.assertEqual((len(part), part[1], list(part[2:4])),
                         (10, self.frames.chunks[13], [self.frames.chunks[16], self.frames.chunks[19]]))
        self.file.close()
        with self.assertRaises(kravi.ClosedError):
            part[0]

    def test_reads_into_the_memory_of_the_host(self):
        memory = bytearray(400)
        self.assertEqual(self.file.video.read(20, memory), 321)
        self.assertEqual(memory, self.frames.chunks[20] + bytes(400 - 321))
        for wrong, words in ((bytearray(320), "320 bytes, 321"), (bytes(400), "writable"), (memoryview(memory)[::2], "cont")):
            with self.assertRaisesRegex(ValueError, words):
                self.file.video.read(20, wrong)

    def test_index_names_positions_and_key_frames(self):
        v = self.file.video
        self.assertEqual([chunk.position for chunk in v.chunks], self.frames.positions)
        self.assertEqual(v.chunks[3], kravi.Chunk(self.frames.positions[3], 304, False))
        self.assertEqual(v.keyframes, [0, 10, 20, 30, 40])
        self.assertEqual([v.key_before(number) for number in (0, 9, 10, -1)], [0, 0, 10, 40])
        self.assertEqual([v.stored(number) for number in (6, 7, 8)], [6, 6, 8])

    def test_numbers_before_the_first(self):
        v = self.file.video
        for step in (v.stored, v.key_before, v.chunks.number, v.chunks.entry):
            self.assertEqual(step(-FRAMES), step(0))
            for number in (-FRAMES - 1, FRAMES):
                with self.assertRaisesRegex(IndexError, f"clip.avi: stream 0 has 50 chunks, not {number}"):
                    step(number)

    def test_nothing_to_repeat(self):
        video = avi.video([b"", b"", b"frame", b""] * 5)
        write("empty.avi", avi.simple_avi([video]))
        with kravi.open("empty.avi") as f:
            self.assertEqual([f.video.stored(number) for number in (2, 3, 5, 6, -1)], [2, 2, 2, 6, 18])
            with self.assertRaisesRegex(kravi.FormatError, "frame 1 has no bytes, nor has one before it"):
                f.video.stored(1)

    def test_no_key_frame_before(self):
        write("late.avi", clip_bytes(keys=[5])[0])
        with kravi.open("late.avi") as f:
            with self.assertRaisesRegex(kravi.StreamError, "no key frame at or before frame 4"):
                f.video.key_before(4)

    def test_arrays_need_numpy(self):
        write("raw.avi", raw_clip([bytes(24)], 4, 2, 24))
        with kravi.open("raw.avi") as f, unittest.mock.patch.dict(sys.modules, {"numpy": None}):
            self.assertEqual((f.video[0], f.references()["version"]), (bytes(24), 1))
            for step in (lambda: f.video.frame(0), lambda: f.video.palette, f.video.chunks.array, self.file.audio.samples):
                self.assertRaisesRegex(ImportError, "arrays need NumPy", step)

    def test_tags(self):
        wanted = {"INAM": "Häfen", "IART": "José"}
        self.assertEqual(self.file.tags, wanted)
        data = clip_bytes()[0]
        write("unfinished.avi", data[:4] + bytes(4) + data[8:])
        with kravi.open("unfinished.avi") as f:
            self.assertEqual(f.tags, wanted)

    def test_sound_across_chunks(self):
        whole = b"".join(self.sound.chunks)
        self.assertEqual(self.file.audio.sample_count, len(whole) // 4)
        for first, last in ((0, 10), (999, 1002), (990, 5000), (0, None), (-7, None), (20, 10)):
            self.assertEqual(self.file.audio.data(first, last), whole[slice(first * 4, last and last * 4)])

    def test_one_reader_on_many_threads(self):
        def take(seed):
            return all(self.file.video[number] == self.frames.chunks[number]
                       for number in range(seed % FRAMES, FRAMES)) and len(self.file.audio) == FRAMES

        with concurrent.futures.ThreadPoolExecutor(8) as pool:
            self.assertTrue(all(pool.map(take, range(64))))

    def test_reads_of_the_library(self):
        """Where the system has no positioned read, or the path names another file by now."""
        with unittest.mock.patch("kravi._file._pread", None), kravi.open("clip.avi") as f:
            self.assertEqual(list(f.video), self.frames.chunks)
        other = write("other.avi", clip_bytes()[0][::-1])
        real = kravi._file._descriptor_of
        with unittest.mock.patch("kravi._file._descriptor_of", lambda path: real(other)), kravi.open("clip.avi") as f:
            self.assertEqual(list(f.video), self.frames.chunks)

    def test_file_that_was_cut(self):
        chunk = self.file.video.chunks[20]
        os.truncate("clip.avi", chunk.position + 100)
        words = f"clip.avi: truncated: 100 of {chunk.size} bytes at position {chunk.position}"
        for step in (lambda: self.file.video[20], lambda: self.file.video.read(20, bytearray(1000))):
            self.assertRaisesRegex(kravi.FormatError, words, step)

    def test_close_beside_reads(self):
        """A read gives the bytes of its own file, also when the number of its descriptor is another file's by now."""
        write("other.avi", b"\xee" * 30_000)
        wrong = []

        def read_all(f):
            try:
                while True:
                    if [f.video[number] for number in range(30, 40)] != self.frames.chunks[30:40]:
                        wrong.append(f)
            except kravi.ClosedError:
                pass

        for _ in range(30):
            f = kravi.open("clip.avi")
            threads = [threading.Thread(target=read_all, args=(f,)) for _ in range(3)]
            for thread in threads:
                thread.start()
            f.close()
            with open("other.avi", "rb"), open("other.avi", "rb"), open("other.avi", "rb"):
                for thread in threads:
                    thread.join()
        self.assertEqual(wrong, [])

    def test_end_of_the_process(self):
        """Open files of all kinds, and a thread that still reads: nothing is reported."""
        done = subprocess.run([sys.executable, "-X", "dev", "-c", LEFT_OPEN, os.path.dirname(kravi.__path__[0])],
                              capture_output=True, check=False, timeout=60)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, b"end\n", b""))
        with kravi.open("new.avi") as f:
            self.assertEqual(list(f.video), [b"picture"])

    def test_close_ends_everything(self):
        self.file.close()
        self.file.close()
        for step in (lambda: self.file.video[0], lambda: self.file.size, lambda: self.file.tags):
            with self.assertRaisesRegex(kravi.ClosedError, "clip.avi: the file is closed"):
                step()


class NotAvi(unittest.TestCase):
    def setUp(self):
        self.enterContext(folder())

    def refused(self, kind, words, path="wrong.avi"):
        with self.assertRaises(kind) as caught:
            kravi.open(path)
        self.assertIn(path, str(caught.exception))
        self.assertIn(words, str(caught.exception))
        return caught.exception

    def test_the_system_has_the_reason(self):
        self.assertEqual(self.refused(FileNotFoundError, "", "missing.avi").filename, "missing.avi")
        self.assertEqual(self.refused(OSError, "", ".").filename, ".")
        write("wrong.avi", clip_bytes()[0])
        os.chmod("wrong.avi", 0)
        if os.getuid() != 0:
            self.assertEqual(self.refused(PermissionError, "").errno, errno.EACCES)

    def test_something_else(self):
        for data, words in ((b"", "it is empty"), (b"text\n" * 100, "does not begin with 'RIFF'"),
                            (b"RIFF\0\1\0\0WAVEfmt " + bytes(300), "it is RIFF 'WAVE'"),
                            (b"RIFF\0\1\0\0AVI LIST" + bytes(20), "200 bytes or less"),
                            (b"RIFF\0\1\0\0AVI " + bytes(300), "without a stream"), (os.urandom(5000), "not an AVI file")):
            write("wrong.avi", data)
            with self.subTest(data[:20]):
                self.refused(kravi.FormatError, words)

    def test_no_path(self):
        self.assertRaises(TypeError, kravi.open, b"clip.avi")
        self.assertRaises(ValueError, kravi.open, "a\udcffb")
        self.assertRaises(ValueError, kravi.open, "a\0b")

    def test_streams_that_are_not_there(self):
        write("wrong.avi", avi.simple_avi([avi.pcm([bytes(40)] * 20)]))
        with kravi.open("wrong.avi") as f, self.assertRaisesRegex(kravi.StreamError, "wrong.avi: no video stream"):
            f.video.fps

    def test_damaged_files(self):
        """Whatever is cut off or overwritten: exceptions of the package, or bytes that the file has."""
        data = clip_bytes()[0]
        cut = [data[:length] for length in range(200, len(data), 4999)]
        spoiled = [data[:at] + b"\xff" * 8 + data[at + 8:] for at in range(0, 700, 7)]
        for number, damaged in enumerate(cut + spoiled):
            write("wrong.avi", damaged)
            try:
                with kravi.open("wrong.avi") as f:
                    for place in range(len(f.video)):
                        found = f.video[place]
                        self.assertIn(found, damaged)
                    f.tags
                    f.audio.data()
            except kravi.Error:
                pass
            except (OSError, ValueError) as error:
                self.fail(f"damage {number}: {error!r}")


class Declarations(unittest.TestCase):
    """What the package declares is what the header of the C interface declares."""

    def setUp(self):
        with open(os.path.join(SOURCES, "include", "KrRiffUtils", "kr_riff.h"), encoding="utf-8") as file:
            self.header = re.sub(r"//[^\n]*", "", file.read())
        self.library = sys.modules["kravi._library"]

    def test_records(self):
        types = {"uint32_t": ctypes.c_uint32, "int32_t": ctypes.c_int32, "uint64_t": ctypes.c_uint64,
                 "kr_result": ctypes.c_int32}
        for name, record in self.library.RECORDS.items():
            body = re.search(rf"typedef struct {name}\s*{{(.*?)}}", self.header, re.DOTALL)[1]
            fields = [(field, types[kind] * int(count) if count else types[kind])
                      for kind, field, count in re.findall(r"(\w+)\s+(\w+)(?:\[(\d+)\])?;", body)]
            self.assertEqual(record._fields_, fields, name)

    def test_functions(self):
        for name, arguments in self.library.FUNCTIONS.items():
            declared = re.search(rf"kr_result {name}\((.*?)\);", self.header, re.DOTALL)
            self.assertIsNotNone(declared, name)
            self.assertEqual(len(arguments), declared[1].count(",") + 1, name)

    def test_results(self):
        for name, number in re.findall(r"KR_(\w+) = (-?\d+)", self.header):
            self.assertEqual(getattr(self.library, name, int(number)), int(number), name)


if __name__ == "__main__":
    unittest.main()
