"""Files of many writers: packets, pictures and samples are those that ffmpeg finds. KRAVI_CORPUS keeps the files."""

import hashlib
import json
import os
import subprocess
import unittest

from support import folder, kravi

import avi_corpus
import avi_facts

FEWEST_FILES, FEWEST_PICTURES, FEWEST_SOUNDS = 60, 8, 12
# What ffmpeg makes of a file is not what the file has: reasons.
UNFINISHED = {"from-pipe"}  # has no index
FORMATS = {(1, 8): "u8", (1, 16): "s16le", (1, 24): "s24le", (1, 32): "s32le", (3, 32): "f32le", (3, 64): "f64le"}


TAGS = {"INAM": "title", "IART": "artist", "ICOP": "copyright", "ICRD": "date", "ICMT": "comment", "IGNR": "genre",
        "ISFT": "software"}


def ffmpeg(*words):
    return subprocess.run(["ffmpeg", "-v", "error", "-nostdin", *words, "-"], stdout=subprocess.PIPE,
                          stderr=subprocess.DEVNULL, timeout=120, check=True).stdout


def packets(path):
    """Sizes and SHA-256 of the packets of each stream."""
    found = {}
    for line in avi_facts.hashed_packets(path).splitlines():
        if not line.startswith("#"):
            fields = [field.strip() for field in line.split(",")]
            found.setdefault(int(fields[0]), []).append((int(fields[4]), fields[5]))
    return found


def native(video, number):
    """A picture as ffmpeg's native pixel format has it in memory."""
    import numpy
    layout = video.layout
    if layout.codec == "v210":
        return b"".join(numpy.ascontiguousarray(plane).tobytes() for plane in video.planes(number))
    if layout.codec == "AYUV":
        picture = video.frame(number)
        return b"".join(picture[:, :, place].tobytes() for place in (2, 1, 0, 3))
    data = video.frame(number).tobytes()
    if layout.bits <= 8 and layout.palette:
        entries = numpy.zeros((256, 4), numpy.uint8)
        palette = video.palette_of(number)
        entries[:len(palette), :3] = palette[:, ::-1]
        entries[:len(palette), 3] = 255
        data += entries.tobytes()
    return data


class OddSizes(unittest.TestCase):
    """Rows that end with padding, and chroma of half a pair of pixels."""

    FORMATS = ("bgr24", "bgra", "rgb555le", "rgb565le", "pal8", "monow", "gray", "yuv420p", "yuv422p", "yuv410p", "yuv411p",
               "nv12", "nv21", "yuyv422", "uyvy422", "yvyu422")

    def setUp(self):
        self.enterContext(folder())

    def found(self, video):
        """The frames as ffmpeg has them, of packed YUV as planes."""
        import numpy
        for number in range(len(video)):
            if video.codec == "" or video.codec in ("Y800", "v210"):
                yield native(video, number)
            else:
                yield from (numpy.ascontiguousarray(plane).tobytes() for plane in video.planes(number))

    def test_pictures(self):
        for size in ("175x141", "18x9", "9x7", "3x1"):
            for pixels in self.FORMATS if size != "18x9" else (*self.FORMATS, "v210"):  # v210: of even widths
                codec = ["v210"] if pixels == "v210" else ["rawvideo", "-pix_fmt", pixels]
                path = f"{pixels}-{size}.avi"
                subprocess.run(["ffmpeg", "-v", "error", "-nostdin", "-f", "lavfi", "-i", "testsrc2=s=176x144:r=25:d=0.08", "-s",
                                size, "-c:v", *codec, path], check=True)
                planes = ["-pix_fmt", "yuv422p"] if pixels in ("yuyv422", "uyvy422", "yvyu422") else []
                with self.subTest(path), kravi.open(path) as f:
                    self.assertIsNotNone(f.video.layout)
                    self.assertTrue(b"".join(self.found(f.video)) == ffmpeg("-i", path, *planes, "-f", "rawvideo"), "pixels differ")


class Corpus(unittest.TestCase):
    def setUp(self):
        place = os.environ.get("KRAVI_CORPUS") or self.enterContext(folder())
        self.paths = avi_corpus.make_all(os.path.abspath(place))

    def test_packets(self):
        same = 0
        for name, path in sorted(self.paths.items()):
            if name in UNFINISHED:
                continue
            with self.subTest(name), kravi.open(path) as f:
                for number, wanted in packets(path).items():
                    stream = f.streams[number]
                    data = b"".join(stream)
                    self.assertEqual(len(data), sum(size for size, _ in wanted), f"stream {number}")
                    at = 0
                    for place, (size, digest) in enumerate(wanted):
                        self.assertEqual(hashlib.sha256(data[at:at + size]).hexdigest(), digest, f"{number}, packet {place}")
                        at += size
                    if stream.type == "vids":
                        sizes = [chunk.size for chunk in stream.chunks if chunk.size]
                        self.assertEqual(sizes, [size for size, _ in wanted if size], f"stream {number}")
                same += 1
        print(f"packets of {same} files are ffmpeg's")
        self.assertGreaterEqual(same, FEWEST_FILES)

    def test_pictures(self):
        same = []
        for name, path in sorted(self.paths.items()):
            with self.subTest(name), kravi.open(path) as f:
                if name in UNFINISHED or "vids" not in [stream.type for stream in f.streams] or f.video.layout is None:
                    continue
                video = f.video
                try:
                    wanted = ffmpeg("-i", path, "-map", "0:v:0", "-fps_mode", "passthrough", "-f", "rawvideo")
                except subprocess.CalledProcessError:  # a codec without a FourCC, which the header calls RGB
                    self.assertRaises(kravi.FormatError, video.frame, 0)
                    continue
                found = b"".join(native(video, number) for number in range(len(video)))
                self.assertEqual(len(found), len(wanted))
                self.assertTrue(found == wanted, "pixels differ")
                same.append(name)
        print(f"pictures of {len(same)} files are ffmpeg's: {', '.join(same)}")
        self.assertGreaterEqual(len(same), FEWEST_PICTURES)

    def test_samples(self):
        same = []
        for name, path in sorted(self.paths.items()):
            with self.subTest(name), kravi.open(path) as f:
                for stream in f.streams if name not in UNFINISHED else ():
                    if isinstance(stream, kravi.AudioStream) and stream.sound.is_pcm:
                        kind = FORMATS[stream.sound.tag, stream.bits]
                        wanted = ffmpeg("-i", path, "-map", f"0:{stream.number}", "-c:a", f"pcm_{kind}", "-f", kind)
                        self.assertEqual(stream.sound.pack(stream.samples()).tobytes(), wanted)
                        same.append(name)
        print(f"samples of {len(same)} streams are ffmpeg's")
        self.assertGreaterEqual(len(same), FEWEST_SOUNDS)

    def test_tags(self):
        several = 0
        for name, path in sorted(self.paths.items()):
            with self.subTest(name), kravi.open(path) as f:
                text = avi_facts.output("ffprobe", "-v", "error", "-show_format", "-of", "json", path)
                tags = json.loads(text)["format"].get("tags", {})
                wanted = {key: value for key, value in tags.items() if key in TAGS.values()}
                self.assertEqual({TAGS[key]: value for key, value in f.tags.items() if key in TAGS}, wanted)
                several += len(wanted) > 1
        self.assertGreaterEqual(several, 2)


if __name__ == "__main__":
    unittest.main()
