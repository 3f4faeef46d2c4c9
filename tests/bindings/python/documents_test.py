"""Examples in docstrings and in docs/python.md do what they show, and so do the scripts of examples/python."""

import contextlib
import doctest
import importlib
import io
import os
import runpy
import sys
import unittest
import unittest.mock

from support import HAS_NUMPY, SOURCES, clip_bytes, folder, kravi, write

FLAGS = doctest.ELLIPSIS | doctest.NORMALIZE_WHITESPACE
MODULES = ("kravi", "kravi.reader", "kravi.writer", "kravi.follow", "kravi.checking")
EXAMPLES = os.path.join(SOURCES, "examples", "python")


class Documents(unittest.TestCase):
    def setUp(self):
        self.enterContext(folder())

    def test_docstrings(self):
        for name in MODULES:
            write("clip.avi", clip_bytes()[0])
            if name == "kravi.checking" and not os.environ.get("KRAVI_PROGRAM"):
                continue
            if name == "kravi.checking":
                self.written("clip.avi")
            names = {"kravi": kravi, "pictures": [b"picture"] * 50}
            report = io.StringIO()
            runner = doctest.DocTestRunner(optionflags=FLAGS)
            for test in doctest.DocTestFinder().find(importlib.import_module(name), name, extraglobs=names):
                runner.run(test, out=report.write)
            self.assertEqual(runner.summarize(verbose=False).failed, 0, report.getvalue())
            self.assertGreater(runner.tries, 0, name)

    @unittest.skipUnless(os.environ.get("KRAVI_PROGRAM"), "the program kravi was not named")
    def test_verify(self):
        self.written("wrong.avi")
        os.truncate("wrong.avi", os.path.getsize("wrong.avi") - 100)
        self.assertEqual(kravi.verify("wrong.avi")[0].severity, "error")
        write("wrong.avi", b"text" * 100)
        with self.assertRaisesRegex(kravi.FormatError, "wrong.avi: no AVI header at the start"):
            kravi.verify("wrong.avi")
        self.assertRaises(FileNotFoundError, kravi.verify, "missing.avi")

    def written(self, path):
        """A clip without anything to find."""
        with kravi.Writer(path, 64, 48, codec="MJPG") as w:
            w.write(b"picture")

    @unittest.skipUnless(HAS_NUMPY, "NumPy is not installed")
    def test_page(self):
        with open(os.path.join(SOURCES, "docs", "python.md"), encoding="utf-8") as file:
            text = file.read()
        sessions = "".join(part.split("```", 1)[0] for part in text.split("```pycon\n")[1:])
        test = doctest.DocTestParser().get_doctest(sessions, {}, "docs/python.md", None, 0)
        self.assertGreater(len(test.examples), 20)
        report = io.StringIO()
        runner = doctest.DocTestRunner(optionflags=FLAGS)
        runner.run(test, out=report.write)
        self.assertEqual(runner.summarize(verbose=False).failed, 0, report.getvalue())

    def test_readme(self):
        write("clip.avi", clip_bytes()[0])
        with open(os.path.join(SOURCES, "README.md"), encoding="utf-8") as file:
            blocks = [part.split("```", 1)[0] for part in file.read().split("```python\n")[1:]]
        self.assertEqual(len(blocks), 1)
        with contextlib.redirect_stdout(io.StringIO()) as out:
            exec(blocks[0], {})  # pylint: disable=exec-used
        self.assertEqual(out.getvalue(), "50 25 311\n")

    def example(self, name, *arguments):
        """The lines that a script prints."""
        with unittest.mock.patch.object(sys, "argv", [name, *arguments]), contextlib.redirect_stdout(io.StringIO()) as out:
            runpy.run_path(os.path.join(EXAMPLES, name), run_name="__main__")
        return out.getvalue().splitlines()

    @unittest.skipUnless(HAS_NUMPY, "NumPy is not installed")
    def test_examples(self):
        import numpy
        self.assertRegex(self.example("write_clip.py", "clip.avi")[0], "clip.avi: 50 frames, 1[0-9]{7} bytes")
        lines = self.example("frame_statistics.py", "clip.avi")
        self.assertEqual((len(lines), lines[0].split()), (50, ["0", "36.10", "67.65", "0", "255"]))
        self.assertEqual(self.example("follow_recording.py", "clip.avi"),
                         ["frame 0: 230400 bytes", "frame 25: 5990400 bytes", "complete: 50 frames, 11520000 bytes"])
        self.assertEqual(self.example("cut_sound.py", "clip.avi", "0.5", "1.5", "cut.npy"),
                         ["cut.npy: 48000 sample frames of 2 channels, int16"])
        with kravi.open("clip.avi") as f:
            numpy.testing.assert_array_equal(numpy.load("cut.npy"), f.audio.samples()[24000:72000])

    def test_contact_sheet(self):
        try:
            from PIL import Image
        except ImportError:
            self.skipTest("PIL is not installed")
        with kravi.Writer("clip.avi", 320, 240, codec="MJPG") as w:
            for number in range(24):
                picture = io.BytesIO()
                Image.new("RGB", (320, 240), (10 * number, 0, 0)).save(picture, "JPEG")
                w.write(picture.getvalue())
        self.assertEqual(self.example("contact_sheet.py", "clip.avi", "sheet.png"), ["sheet.png: 12 of 24 frames"])
        sheet = Image.open("sheet.png")
        self.assertEqual(sheet.size, (640, 360))
        reds = [sheet.getpixel((80 + 160 * column, 60 + 120 * row))[0] for row in range(3) for column in range(4)]
        self.assertTrue(all(abs(red - 20 * place) < 6 for place, red in enumerate(reds)), reds)


if __name__ == "__main__":
    unittest.main()
