"""Pictures and sound as NumPy arrays, against bytes that were laid out by hand."""

import gc
import json
import unittest

from support import HAS_NUMPY, avi, folder, kravi, raw_clip, write

if HAS_NUMPY:
    import numpy as np


def colours(height, width, count):
    """Pixels of `count` bytes that are all different."""
    return (np.arange(height * width * count) * 7 % 251).astype(np.uint8).reshape(height, width, count)


@unittest.skipUnless(HAS_NUMPY, "NumPy is not installed")
class Pictures(unittest.TestCase):
    def setUp(self):
        self.enterContext(folder())

    def clip(self, data, width, height, bits, compression=b"\0\0\0\0", more=b""):
        """Opens a file whose second frame is `data`."""
        write("raw.avi", raw_clip([bytes(len(data)), data], width, height, bits, compression, more))
        return self.enterContext(kravi.open("raw.avi")).video

    def check(self, v, wanted):
        """The array is as wanted, may be changed, and makes the same bytes again."""
        found = v.frame(1)
        np.testing.assert_array_equal(found, wanted)
        self.assertEqual(found.dtype, wanted.dtype)
        memory = np.zeros(len(v[1]) + 9, np.uint8)
        np.testing.assert_array_equal(v.frame(1, memory), wanted)
        self.assertEqual(memory.tobytes(), v[1] + bytes(9))
        self.assertEqual(v.layout.pack(found).tobytes(), v[1])

    def test_rgb24_is_bottom_up_with_padded_rows(self):
        wanted = colours(3, 5, 3)
        data = b"".join(row.tobytes() + b"\0" for row in wanted[::-1])
        v = self.clip(data, 5, 3, 24)
        self.check(v, wanted)
        np.testing.assert_array_equal(v.rgb(1), wanted[:, :, ::-1])
        self.assertTrue(v.frame(1).flags.writeable)

    def test_negative_height_is_top_down(self):
        wanted = colours(3, 4, 3)
        self.check(self.clip(wanted.tobytes(), 4, -3, 24), wanted)

    def test_rows_without_the_padding(self):
        wanted = colours(3, 5, 3)
        np.testing.assert_array_equal(self.clip(wanted[::-1].tobytes(), 5, 3, 24).frame(1), wanted)

    def test_rgb32(self):
        wanted = colours(3, 5, 4)
        v = self.clip(wanted[::-1].tobytes(), 5, 3, 32)
        self.check(v, wanted)
        np.testing.assert_array_equal(v.rgb(1), wanted[:, :, 2::-1])

    def test_rgb15_and_rgb16(self):
        words = np.array([[0x7FFF, 0x7C00, 0x03E0], [0x001F, 0x0000, 0x4210]], "<u2")
        data = b"".join(row.tobytes() + b"\0\0" for row in words[::-1])
        rgb = [[[255, 255, 255], [255, 0, 0], [0, 255, 0]], [[0, 0, 255], [0, 0, 0], [132, 132, 132]]]
        v = self.clip(data, 3, 2, 16)
        self.check(v, words)
        np.testing.assert_array_equal(v.rgb(1), rgb)
        masks = np.array([0xF800, 0x07E0, 0x001F], "<u4").tobytes()
        v = self.clip(data, 3, 2, 16, b"\3\0\0\0", masks)
        self.check(v, words)
        np.testing.assert_array_equal(v.rgb(1)[0, :2], [[123, 255, 255], [123, 130, 0]])

    def test_palettes(self):
        palette = bytes((3, 2, 1, 0)) + bytes((30, 20, 10, 0)) + bytes(4 * 14)
        wanted = np.array([[0, 1, 0, 1, 1], [1, 1, 1, 0, 0]], np.uint8)
        rgb = np.array([[1, 2, 3], [10, 20, 30]], np.uint8)[wanted]
        rows = {8: b"\1\1\1\0\0\0\0\0" b"\0\1\0\1\1\0\0\0",
                4: b"\x11\x10\0\0" b"\x01\x01\x10\0", 1: b"\xe0\0\0\0" b"\x58\0\0\0"}
        for bits, data in rows.items():
            with self.subTest(bits):
                v = self.clip(data, 5, 2, bits, more=palette)
                np.testing.assert_array_equal(v.frame(1), wanted)
                np.testing.assert_array_equal(v.rgb(1), rgb)
                self.assertEqual(v.palette[1].tolist(), [10, 20, 30])
        self.check(self.clip(rows[8], 5, 2, 8, more=palette), wanted)

    def test_pixels_beyond_the_palette_are_black(self):
        v = self.clip(b"\0\1\2\xff", 4, 1, 8, more=bytes((3, 2, 1, 0)) + bytes((30, 20, 10, 0)))
        self.assertEqual(v.rgb(1).tolist(), [[[1, 2, 3], [10, 20, 30], [0, 0, 0], [0, 0, 0]]])

    def test_masks_that_do_not_fit(self):
        masks = np.array([0xF8000000, 0x07E0, 0x001F], "<u4").tobytes()
        v = self.clip(b"\xff\x7f\0\x7c", 2, 1, 16, b"\3\0\0\0", masks)
        self.assertEqual(v.rgb(1).tolist(), [[[255, 255, 255], [255, 0, 0]]])

    def test_palette_that_changes(self):
        """Changes are chunks of the stream, but no pictures."""
        change = bytes((1, 1, 0, 0)) + bytes((7, 8, 9, 0))  # entry 1
        first, second = b"\0\1\0\1", b"\1\1\0\0"
        palette = bytes((3, 2, 1, 0)) + bytes((30, 20, 10, 0)) + bytes(4 * 254)
        data = raw_clip([first, change, second], 4, 1, 8, more=palette)
        at = data.rindex(b"00dc", 0, data.index(change))
        entry = data.index(b"idx1") + 8 + 16
        data = data[:at + 2] + b"pc" + data[at + 4:entry + 2] + b"pc" + data[entry + 4:]
        write("raw.avi", data)
        with kravi.open("raw.avi") as f:
            self.assertEqual(list(f.video), [first, second])
            self.assertEqual([f.video.palette_of(number)[1].tolist() for number in (0, 1)], [[10, 20, 30], [7, 8, 9]])
            self.assertEqual(f.video.rgb(1).tolist(), [[[7, 8, 9], [7, 8, 9], [1, 2, 3], [1, 2, 3]]])

    def test_gray(self):
        self.check(self.clip(bytes(range(15)), 5, 3, 8, b"Y800"), np.arange(15, dtype=np.uint8).reshape(3, 5))
        self.check(self.clip(bytes(range(30)), 5, 3, 16, b"Y16 "), np.frombuffer(bytes(range(30)), "<u2").reshape(3, 5))

    def test_packed_yuv(self):
        data = bytes(range(16))  # two rows of four pixels
        for codec, luma, u, v in ((b"YUY2", 0, 1, 3), (b"UYVY", 1, 0, 2), (b"YVYU", 0, 3, 1)):
            with self.subTest(codec):
                video = self.clip(data, 4, 2, 16, codec)
                self.check(video, np.arange(16, dtype=np.uint8).reshape(2, 4, 2))
                planes = [plane.tolist() for plane in video.planes(1)]
                self.assertEqual(planes, [[list(range(luma, 8, 2)), list(range(8 + luma, 16, 2))],
                                          [[u, u + 4], [u + 8, u + 12]], [[v, v + 4], [v + 8, v + 12]]])

    def test_packed_yuv_of_odd_width(self):
        """Rows have whole pairs of pixels; the array is as wide as the picture."""
        rows = [bytes((10, 1, 11, 2, 20, 3, 128, 4)), bytes((30, 5, 31, 6, 40, 7, 128, 4))]  # U Y V Y of three pixels
        video = self.clip(b"".join(rows), 3, 2, 16, b"UYVY")
        wanted = [[[10, 1], [11, 2], [20, 3]], [[30, 5], [31, 6], [40, 7]]]
        self.assertEqual(video.frame(1).tolist(), wanted)
        self.assertEqual([plane.tolist() for plane in video.planes(1)],
                         [[[1, 2, 3], [5, 6, 7]], [[10, 20], [30, 40]], [[11, 128], [31, 128]]])
        self.assertEqual(video.layout.pack(video.frame(1)).tolist()[:7], [10, 1, 11, 2, 20, 3, 128])
        tight = self.clip(b"".join(row[:6] for row in rows), 3, 2, 16, b"UYVY")  # without the last pair's second half
        self.assertEqual(tight.frame(1).tolist(), wanted)
        words = np.array([10 | 1 << 10 | 11 << 20, 2 | 20 << 10 | 3 << 20, 21 | 9 << 10] + [0] * 29, "<u4")
        video = self.clip(words.tobytes(), 3, 1, 20, b"v210")
        self.assertEqual(video.frame(1).tolist(), wanted[:1])
        self.assertEqual([plane.tolist() for plane in video.planes(1)], [[[1, 2, 3]], [[10, 20]], [[11, 21]]])
        self.assertEqual(video.layout.pack(video.frame(1)).view("<u4")[2] & 1023, 512)

    def test_gray_with_padded_rows(self):
        rows = np.arange(24, dtype=np.uint8).reshape(3, 8)
        np.testing.assert_array_equal(self.clip(rows.tobytes(), 5, 3, 8, b"Y800").frame(1), rows[:, :5])

    def test_arrays_of_other_types_as_memory(self):
        wanted = colours(2, 4, 3)
        v = self.clip(wanted[::-1].tobytes(), 4, 2, 24)
        for memory in (np.zeros((3, 4), ">u2"), np.zeros(12, [("a", "<u2")]), np.zeros((2, 4, 3), np.uint8), bytearray(24)):
            np.testing.assert_array_equal(v.frame(1, memory), wanted)
            self.assertEqual(bytes(memory), v[1])
        for memory in (np.zeros((4, 6), np.uint8, "F"), np.zeros((4, 12), np.uint8)[:, ::2], np.broadcast_to(memory, (24,))):
            self.assertRaisesRegex(ValueError, "writable and contiguous", v.frame, 1, memory)

    def test_planar_yuv(self):
        data = bytes(range(24 + 12))
        y = np.arange(24).reshape(4, 6).tolist()
        first, second = np.arange(24, 30).reshape(2, 3).tolist(), np.arange(30, 36).reshape(2, 3).tolist()
        pairs = np.arange(24, 36).reshape(2, 3, 2).tolist()
        for codec, wanted in ((b"I420", [y, first, second]), (b"YV12", [y, second, first]), (b"NV12", [y, pairs])):
            with self.subTest(codec):
                v = self.clip(data, 6, 4, 12, codec)
                self.check(v, np.arange(36, dtype=np.uint8).reshape(6, 6))
                self.assertEqual([plane.tolist() for plane in v.planes(1)], wanted)
        v = self.clip(bytes(range(9 + 8)), 3, 3, 12, b"I420")  # chroma of 2 x 2
        self.assertEqual([plane.shape for plane in v.planes(1)], [(3, 3), (2, 2), (2, 2)])
        with self.assertRaisesRegex(kravi.FormatError, "use planes"):
            v.frame(1)

    def test_v210(self):
        fields = np.arange(96 * 2) % 1024  # Cb Y Cr Y ... of two rows of 48 pixels
        words = fields[0::3] | fields[1::3] << 10 | fields[2::3] << 20
        v = self.clip(words.astype("<u4").tobytes(), 48, 2, 20, b"v210")
        self.check(v, fields.astype("<u2").reshape(2, 48, 2))
        self.assertEqual([plane[1, 0] for plane in v.planes(1)], [97, 96, 98])

    def test_empty_frame_repeats(self):
        wanted = colours(2, 4, 3)
        write("raw.avi", raw_clip([wanted[::-1].tobytes(), b"", b""], 4, 2, 24))
        with kravi.open("raw.avi") as f:
            np.testing.assert_array_equal(f.video.frame(2), wanted)
            self.assertEqual(f.video[2], b"")
            self.assertEqual(f.references()["refs"]["video/2.0.0.0"], f.references()["refs"]["video/0.0.0.0"])

    def test_what_is_not_a_picture(self):
        v = self.clip(bytes(100), 64, 48, 24)
        with self.assertRaisesRegex(kravi.FormatError, "100 bytes; 9216 are needed"):
            v.frame(1)
        with self.assertRaisesRegex(kravi.FormatError, "raw.avi: pictures of 'MJPG' are compressed"):
            self.clip(bytes(100), 64, 48, 24, b"MJPG").frame(1)

    def test_array_of_the_index_outlives_the_file(self):
        write("raw.avi", raw_clip([bytes(24)] * 1000, 4, 2, 24))
        with kravi.open("raw.avi") as f:
            entries = f.video.chunks.array()
            positions = [chunk.position for chunk in f.video.chunks]
        del f
        gc.collect()
        self.assertEqual(entries["position"].tolist(), positions)
        self.assertEqual((entries["size"].sum(), entries.flags.writeable), (24000, False))

    def test_references_lead_to_the_pixels(self):
        wanted = colours(2, 4, 3)
        cases = ((wanted[::-1].tobytes(), 4, 2, 24, b"\0\0\0\0", [2, 4, 3], "bottom-up"),
                 (bytes(range(24)), 2, 3, 24, b"\0\0\0\0", [3, 8], "bottom-up"),  # rows of 6 bytes and padding
                 (bytes(range(36)), 6, 4, 12, b"I420", [6, 6], "top-down"))
        for data, width, height, bits, codec, shape, order in cases:
            with self.subTest(codec):
                v = self.clip(data, width, height, bits, codec)
                with kravi.open("raw.avi") as f:
                    text = json.dumps(f.references())
                refs = json.loads(text)["refs"]
                array, attributes = json.loads(refs["video/.zarray"]), json.loads(refs["video/.zattrs"])
                self.assertEqual((array["shape"], array["chunks"]), ([2, *shape], [1, *shape]))
                self.assertEqual(attributes["row_order"], order)
                path, position, size = refs["video/1" + ".0" * len(shape)]
                with open(path, "rb") as file:
                    file.seek(position)
                    self.assertEqual(file.read(size), v[1])
                self.assertEqual(np.dtype(array["dtype"]).itemsize * np.prod(shape), size)


@unittest.skipUnless(HAS_NUMPY, "NumPy is not installed")
class Sound(unittest.TestCase):
    def setUp(self):
        self.enterContext(folder())

    def samples(self, tag, bits, data, channels=2):
        stream = avi.pcm([data[:5 * channels * bits // 8], data[5 * channels * bits // 8:]], bits=bits, channels=channels)
        stream.fmt = tag.to_bytes(2, "little") + stream.fmt[2:]
        write("sound.avi", avi.simple_avi([avi.video([b"frame"] * 2), stream]) + bytes(200))
        with kravi.open("sound.avi") as f:
            return f.audio, f.audio.samples()

    def test_types_keep_their_values(self):
        wanted = (np.arange(20) * 1000 - 9000).reshape(10, 2)
        for tag, bits, kind in ((1, 16, "<i2"), (1, 32, "<i4"), (3, 32, "<f4"), (3, 64, "<f8")):
            with self.subTest(kind):
                audio, found = self.samples(tag, bits, wanted.astype(kind).tobytes())
                np.testing.assert_array_equal(found, wanted)
                self.assertEqual((found.dtype, audio.sample_count), (np.dtype(kind), 10))
                self.assertEqual(audio.sound.pack(found).tobytes(), wanted.astype(kind).tobytes())

    def test_24_bits_are_signed(self):
        values = [0, 1, -1, 2**23 - 1, -2**23, 0x123456]
        data = b"".join(value.to_bytes(3, "little", signed=True) for value in values)
        audio, found = self.samples(1, 24, data, 1)
        self.assertEqual((found[:, 0].tolist(), found.dtype), (values, np.dtype(np.int32)))
        self.assertEqual(audio.sound.pack(found).tobytes(), data)

    def test_8_bits(self):
        self.assertEqual(self.samples(1, 8, bytes(range(20)))[1].tolist(), np.arange(20).reshape(10, 2).tolist())

    def test_not_pcm(self):
        with self.assertRaisesRegex(kravi.FormatError, "format 0x55"):
            self.samples(0x55, 16, bytes(40))


if __name__ == "__main__":
    unittest.main()
