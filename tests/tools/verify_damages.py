"""One known damage after the other: the check that must find it, the position that it must report, and the other findings
in such a file."""

import collections

import avi_builder as avi
from verify_bases import BASES, Patient, base

Row = collections.namedtuple("Row", "name base code damage also", defaults=[frozenset()])

JUNK = avi.chunk(b"JUNK", bytes(10))


def damaged(row):
    """The damaged file, the offset that must be reported, and all codes that must be found."""
    patient = Patient(base(row.base))
    offset = row.damage(patient)
    gone = {code[1:] for code in row.also if code.startswith("-")}
    also = {code for code in row.also if not code.startswith("-")}
    return bytes(patient.data), offset, (BASES[row.base][1] - gone) | also | {row.code}


def rows(base_name, *several):
    return [Row(name, base_name, code, damage, frozenset(also)) for name, code, damage, *also in several]


def with_place(place, damage):
    """The position is computed before the damage."""
    def run(patient):
        offset = place(patient)
        damage(patient)
        return offset
    return run


def cut(patient, length):
    del patient.data[length:]
    return length


def resized(patient, number, size):
    """Sets the size of a frame in a file without sound."""
    start = patient.chunk(number)
    change = size - patient.get(start + 4)
    if change > 0:
        patient.insert(start + 8 + size - change, bytes(change), "RIFF", "movi")
    else:
        patient.remove(start + 8 + size, -change, "RIFF", "movi")
    patient.put(patient.entry(number, 12), size)
    return patient.put(start + 4, size) - 4


def without_headers(patient):
    """The reader searches for bare chunks from byte 200 on."""
    patient.data[:patient.find(b"movi") + 4] = b"x" * 200
    return 0


SEGMENTS = rows(
    "simple",
    ("no headers", "riff-missing", without_headers, "chunk-outside-segment"),
    ("file cut in the data of a chunk", "segment-beyond-file", lambda p: cut(p, p.chunk(4) + 100) * 0,
     "chunk-cut", "avih-frames", "strh-length", "index-missing"),
    ("cut chunk", "chunk-cut", with_place(lambda p: p.chunk(4), lambda p: cut(p, p.chunk(4) + 100)),
     "segment-beyond-file", "avih-frames", "strh-length", "index-missing"),
    ("size of the segment not filled in", "segment-size-unset", lambda p: p.put(4, 0) - 4),
    ("all bits of the segment's size set", "segment-size-unset", lambda p: p.put(4, 0xFFFFFFFF) - 4),
    ("all bits of the size of 'movi' set", "list-size-unset", lambda p: p.put(p.find(b"movi") - 4, 0xFFFFFFFF) - 4),
    ("size of 'movi' not filled in", "list-size-unset", lambda p: p.put(p.find(b"movi") - 4, 0) - 4, "reader-refuses"),
    ("zeros after the segment", "trailing-data", lambda p: p.insert(len(p.data), bytes(100))),
    ("text after the segment", "trailing-data", lambda p: p.insert(len(p.data), b"some words of text, and more")),
    ("filler after the segment", "chunk-outside-segment", lambda p: p.insert(len(p.data), JUNK)),
    ("segment too small by its last chunk", "chunk-overruns-list",
     lambda p: p.add(4, -20) - 4 + p.find(b"idx1")),
    ("segment too small by all of 'idx1'", "chunk-outside-segment",
     lambda p: p.put(4, p.find(b"idx1") - 8) - 4 + p.find(b"idx1")),
    ("'movi' too small by a bit", "chunk-overruns-list",
     lambda p: p.add(p.find(b"movi") - 4, -50) * 0 + p.chunk(5, b"01wb")),
    ("'movi' too small by a chunk", "data-outside-movi",
     lambda p: p.add(p.find(b"movi") - 4, -7688) * 0 + p.chunk(5, b"01wb")),
    ("'movi' larger than the segment", "list-overruns-list", lambda p: p.add(p.find(b"movi") - 4, 5000) - 4),
    ("'hdrl' larger than the segment", "list-overruns-list", lambda p: p.add(p.find(b"hdrl") - 4, 500000) - 4,
     "reader-refuses"),
    ("chunk larger than 'movi'", "chunk-overruns-list",
     lambda p: p.put(p.chunk(3) + 4, 0x7FFFFFFF) - 4),
    ("chunk with the size of three", "chunk-size-wrong",
     lambda p: p.put(p.chunk(2) + 4, 300 + 7688 + 400 + 3000) - 4),
    ("chunk with the size of half of it", "chunk-size-wrong", lambda p: p.put(p.chunk(2) + 4, 100) - 4),
    ("list of another type", "list-unknown", lambda p: p.insert(p.find(b"movi") - 8, avi.lst(b"mine", b"x" * 10),
                                                                "RIFF")),
    ("chunk with another id", "chunk-unknown", lambda p: p.insert(p.find(b"movi") - 8, avi.chunk(b"mine", b"12"),
                                                                  "RIFF")),
    ("stream header among the data", "chunk-misplaced",
     lambda p: p.insert(p.chunk(2), avi.chunk(b"vprp", bytes(8)), "RIFF", "movi")),
    ("'avih' twice", "chunk-repeated",
     lambda p: p.insert(p.find(b"strl") - 8, p.data[24:24 + 64], "RIFF", "hdrl")),
    ("'avih' after another chunk", "header-order",
     lambda p: p.insert(p.find(b"avih"), JUNK, "RIFF", "hdrl") + len(JUNK)),
    ("'strh' after another chunk", "header-order",
     lambda p: p.insert(p.find(b"strh"), JUNK, "RIFF", "hdrl", "strl") + len(JUNK)),
    ("text between chunks", "unknown-data",
     lambda p: p.insert(p.chunk(2), b"~ text that is no chunk at all ~", "RIFF", "movi")),
    ("zeros between chunks", "zero-run", lambda p: p.insert(p.chunk(2), bytes(64), "RIFF", "movi")),
    ("zeros at the start of 'movi'", "zero-run", lambda p: p.insert(p.chunk(0), bytes(64), "RIFF", "movi"),
     "movi-first-not-data"),
    ("filler at the start of 'movi'", "movi-first-not-data", lambda p: p.insert(p.chunk(0), JUNK, "RIFF", "movi")),
    ("no padding", "padding-missing", lambda p: p.remove(p.chunk(0) + 8 + 301, 1, "RIFF", "movi")),
    ("no padding in the end", "padding-missing", lambda p: p.remove(p.chunk(4) + 8 + 305, 1, "RIFF", "movi")),
    ("filler instead of padding", "padding-by-filler",
     lambda p: p.insert(p.remove(p.chunk(0) + 8 + 301, 1, "RIFF", "movi"), b"JUNK\x09\0\0\0" + bytes(9), "RIFF", "movi")),
    ("id of a chunk overwritten", "unknown-data", lambda p: p.put(p.chunk(2), b"\1\2\3\4"),
     "idx1-entry-no-chunk", "avih-frames", "strh-length"),
    ("chunk of a stream that is not there", "data-no-stream", lambda p: p.put(p.chunk(2), b"05dc"),
     "idx1-id-differs", "avih-frames", "strh-length"),
    ("sound in the video stream", "data-kind", lambda p: p.put(p.chunk(2), b"00wb"), "idx1-id-differs"),
)

HEADERS = rows(
    "simple",
    ("no 'hdrl'", "hdrl-missing", lambda p: p.put(p.find(b"hdrl"), b"hdrx") * 0, "list-unknown"),
    ("no 'movi'", "movi-missing", lambda p: p.put(p.find(b"movi"), b"movx") * 0, "list-unknown", "avih-frames",
     "stream-empty", "idx1-entry-no-chunk"),
    ("no 'avih'", "avih-missing", lambda p: p.put(p.find(b"avih"), b"JUNK") - 12),
    ("short 'avih'", "avih-short", lambda p: p.put(p.remove(p.field(b"avih", 40), 16, "RIFF", "hdrl") - 44, 40) - 4),
    ("streams in 'avih'", "avih-streams", lambda p: p.put(p.field(b"avih", 24), 3)),
    ("frames in avih", "avih-frames", lambda p: p.put(p.field(b"avih", 16), 7)),
    ("frame duration", "avih-frame-time", lambda p: p.put(p.field(b"avih", 0), 33333)),
    ("no index flag", "avih-no-index-flag", lambda p: p.put(p.field(b"avih", 12), 0)),
    ("picture size in 'avih'", "avih-picture-size", lambda p: p.put(p.field(b"avih", 32), 65)),
    ("buffer in 'avih'", "avih-buffer-small", lambda p: p.put(p.field(b"avih", 28), 7679)),
    ("no 'strh'", "strh-missing", lambda p: p.put(p.find(b"strh"), b"JUNK") - 12),
    ("short 'strh'", "strh-short",
     lambda p: p.put(p.remove(p.field(b"strh", 48), 8, "RIFF", "hdrl", "strl") - 52, 48) - 4),
    ("long 'strh'", "strh-wide",
     lambda p: p.put(p.insert(p.field(b"strh", 56), bytes(8), "RIFF", "hdrl", "strl") - 60, 64) - 4),
    ("stream type", "strh-type", lambda p: p.put(p.find(b"vids"), b"mids")),
    ("scale of 0", "strh-rate-zero", lambda p: p.put(p.field(b"strh", 20), 0)),
    ("rate of 0", "strh-rate-zero", lambda p: p.put(p.field(b"strh", 24), 0)),
    ("length of video", "strh-length", lambda p: p.put(p.field(b"strh", 32), 100)),
    ("length of sound", "strh-length", lambda p: p.put(p.field(b"strh", 32, 1), 100)),
    ("buffer of video", "strh-buffer-small", lambda p: p.put(p.field(b"strh", 36), 305)),
    ("sample size", "strh-sample-size", lambda p: p.put(p.field(b"strh", 44, 1), 2), "strh-length"),
    ("rate of sound", "strh-audio-rate", lambda p: p.put(p.field(b"strh", 24, 1), 44100) - 4),
    ("no 'strf'", "strf-missing", lambda p: p.put(p.find(b"strf"), b"JUNK") * 0 + p.find(b"strl") - 8),
    ("short video 'strf'", "strf-short",
     lambda p: p.put(p.remove(p.field(b"strf", 32), 8, "RIFF", "hdrl", "strl") - 36, 32) - 4),
    ("short PCM 'strf'", "strf-short",
     lambda p: p.put(p.remove(p.field(b"strf", 14, 1), 2, "RIFF", "hdrl", "strl") - 18, 14) - 4),
    ("size in 'strf'", "strf-own-size", lambda p: p.put(p.field(b"strf", 0), 48)),
    ("width of 0", "strf-picture-size", lambda p: p.put(p.field(b"strf", 4), 0), "avih-picture-size"),
    ("height below 0", "strf-top-down", lambda p: p.put(p.field(b"strf", 8), -48, "<i")),
    ("bit count of 0", "strf-bit-count", lambda p: p.put(p.field(b"strf", 14), 0, "<H")),
    ("no channels", "strf-audio-zero", lambda p: p.put(p.field(b"strf", 2, 1), 0, "<H") - 2),
    ("no sample rate", "strf-audio-zero", lambda p: p.put(p.field(b"strf", 4, 1), 0) - 4),
    ("block align of 0", "strf-audio-zero", lambda p: p.put(p.field(b"strf", 12, 1), 0, "<H") - 12),
    ("block align", "strf-block-align", lambda p: p.put(p.field(b"strf", 12, 1), 2, "<H"), "strf-byte-rate",
     "strh-sample-size"),
    ("byte rate", "strf-byte-rate", lambda p: p.put(p.field(b"strf", 8, 1), 96000)),
    ("extra bytes of sound", "strf-extra-size",
     lambda p: p.put(p.insert(p.field(b"strf", 16, 1), b"\x16\0", "RIFF", "hdrl", "strl") - 20, 18) + 20),
    ("sample in two chunks", "audio-chunk-split",
     lambda p: p.put(p.chunk(1, b"01wb") + 4, 7678) - 4, "chunk-size-wrong"),
    ("'avih' in the place of 'strf'", "chunk-misplaced", lambda p: p.put(p.find(b"strf"), b"avih"),
     "chunk-repeated", "strf-missing"),
) + rows(
    "rgb",
    ("rows without padding", "raw-row-length", lambda p: resized(p, 2, 48 * 189)),
    ("rows with more padding", "raw-row-length", lambda p: resized(p, 2, 48 * 208)),
    ("short picture", "raw-picture-short", lambda p: resized(p, 3, 9000)),
    ("long picture", "raw-picture-long", lambda p: resized(p, 3, 9300)),
    ("no palette", "strf-palette", lambda p: p.put(p.field(b"strf", 14), 8, "<H") * 0 + p.find(b"strf"),
     "raw-row-length"),
    ("no colour masks", "strf-palette", lambda p: p.put(p.field(b"strf", 14), b"\x20\0\3\0\0\0") * 0 + p.find(b"strf"),
     "raw-picture-short")) + rows(
    "v210", ("rows without padding to 128 bytes", "raw-row-length", lambda p: resized(p, 1, 48 * 176))) + rows(
    "far", ("sound after all pictures", "sound-far", lambda p: p.chunk(39)))

OLD_INDEX = rows(
    "simple",
    ("absolute offset among relative ones", "idx1-entry-no-chunk", lambda p: p.add(p.entry(4, 8), 316) - 8, "idx1-chunk-missing"),
    ("offset of 0", "idx1-offset-zero", lambda p: p.put(p.entry(2, 8), 0) - 8, "idx1-chunk-missing"),
    ("offset twice", "idx1-offset-repeated", lambda p: p.put(p.entry(4, 8), p.get(p.entry(2, 8))) - 8,
     "idx1-size-differs", "idx1-chunk-missing"),
    ("offset at nothing", "idx1-entry-no-chunk", lambda p: p.add(p.entry(4, 8), 2) - 8, "idx1-chunk-missing"),
    ("offset beyond the file", "idx1-entry-no-chunk", lambda p: p.put(p.entry(4, 8), 0x7FFFFFFF) - 8,
     "idx1-chunk-missing"),
    ("offset into another chunk", "idx1-entry-in-chunk",
     lambda p: p.put(p.put(p.chunk(1, b"01wb") + 100, b"00dc") * 0 + p.entry(4, 8),
                     p.chunk(1, b"01wb") + 100 - p.find(b"movi")) - 8, "idx1-chunk-missing"),
    ("size in an entry", "idx1-size-differs", lambda p: p.add(p.entry(3, 12), 1) - 12),
    ("id of another stream in an entry", "idx1-id-differs", lambda p: p.put(p.entry(3), b"00dc")),
    ("id of nothing in an entry", "idx1-id-unknown", lambda p: p.put(p.entry(3), b"mine"), "idx1-chunk-missing"),
    ("entries changed round", "idx1-out-of-order",
     lambda p: p.put(p.entry(2), bytes(p.data[p.entry(3):p.entry(4)]) + bytes(p.data[p.entry(2):p.entry(3)])) + 16),
    ("entry missing", "idx1-chunk-missing",
     with_place(lambda p: p.chunk(5, b"01wb"), lambda p: p.remove(p.entry(11), 16, "RIFF", "idx1"))),
    ("bytes after the entries", "idx1-rest", lambda p: p.insert(len(p.data), bytes(6), "RIFF", "idx1")),
    ("no key frames", "idx1-no-key-frame", lambda p: [p.put(p.entry(n, 4), 0) for n in range(0, 12, 2)][0] - 4),
    ("first frame no key frame", "idx1-first-not-key", lambda p: p.put(p.entry(0, 4), 0) - 4),
    ("sound without marks", "idx1-sound-not-key",
     lambda p: [p.put(p.entry(n, 4), 0) for n in range(1, 12, 2)][0] - 4),
    ("other base", "idx1-base-unusual", lambda p: [p.add(p.entry(n, 8), 1000) for n in range(12)][0] - 8),
    ("'idx1' twice", "chunk-repeated",
     lambda p: p.insert(len(p.data), bytes(p.data[p.find(b"idx1"):]), "RIFF")),
) + rows(
    "plain", ("flag for an index that is not there", "avih-must-use-index", lambda p: p.put(p.field(b"avih", 12), 0x20)),
    ("no index", "index-missing", lambda p: 0)) + rows(
    "marked", ("offset in a marked index", "idx1-entry-no-chunk", lambda p: p.add(p.entry(3, 8), 2) - 8,
               "idx1-chunk-missing"),
    ("marked", "idx1-offsets-marked", lambda p: p.entry(0)), ("mark", "idx1-marker", lambda p: p.entry(0))) + rows(
    "absolute", ("offsets from the start of the file", "idx1-offsets-absolute", lambda p: p.entry(0))) + rows(
    "groups", ("groups", "rec-list", lambda p: p.find(b"rec ") - 8)) + rows(
    "empty", ("empty chunk", "chunk-empty", lambda p: p.chunk(0))) + rows(
    "run", ("five empty chunks", "chunk-empty-run", lambda p: p.chunk(5)))

OPEN_DML = rows(
    "dml",
    ("second segment of type 'AVI '", "segment-type", lambda p: p.put(p.find(b"AVIX"), b"AVI ") - 8),
    ("zeros between segments", "segment-gap", lambda p: p.insert(p.find(b"RIFF", 1), bytes(30))),
    ("text between segments", "segment-gap", lambda p: p.insert(p.find(b"RIFF", 1), b"some words of text")),
    ("segment reaching into the next one", "segment-overlap", lambda p: p.add(4, 5000) * 0),
    ("last segment reaching beyond the file", "segment-beyond-file", lambda p: p.add(p.find(b"AVIX") - 4, 4) - 4),
    ("stream without data", "stream-empty",
     lambda p: [p.put(p.chunk(n), b"JUNK") for n in (0, 0, 0, 1, 1, 1)][0] * 0 + p.find(b"strl") - 8,
     "avih-frames", "dmlh-frames", "ix-entry-no-chunk", "movi-first-not-data"),
    ("no 'dmlh'", "dmlh-missing", lambda p: p.put(p.find(b"dmlh"), b"JUNK") * 0 + p.find(b"hdrl") - 8),
    ("short 'dmlh'", "dmlh-short", lambda p: p.put(p.remove(p.field(b"dmlh", 2), 2, "RIFF", "hdrl", "odml") - 6, 2) - 4),
    ("frames in 'dmlh'", "dmlh-frames", lambda p: p.put(p.field(b"dmlh", 0), 3)),
    ("no 'indx' in one stream", "indx-missing",
     lambda p: p.put(p.find(b"indx", 1), b"JUNK") * 0 + p.find(b"strl", 1) - 8, "ix-unreferenced"),
    ("no 'indx' at all", "indx-none-for-segments",
     lambda p: [p.put(p.find(b"indx"), b"JUNK") for _ in range(2)][0] * 0 + p.find(b"RIFF", 1), "index-missing",
     "ix-unreferenced", "-idx1-absent"),
    ("short 'indx'", "indx-short", lambda p: p.put(p.find(b"indx") + 4, 20) - 4, "unknown-data",
     "ix-unreferenced"),
    ("entry size of 'indx'", "indx-shape", lambda p: p.put(p.field(b"indx", 0), 2, "<H"), "ix-unreferenced"),
    ("sub-type of 'indx'", "indx-shape", lambda p: p.put(p.field(b"indx", 2), 9, "<B") - 2, "ix-unreferenced"),
    ("reserved fields of 'indx'", "indx-reserved", lambda p: p.put(p.field(b"indx", 12), 1)),
    ("stream of 'indx'", "indx-id-differs", lambda p: p.put(p.field(b"indx", 8), b"01wb")),
    ("no entries in 'indx'", "indx-empty", lambda p: p.put(p.field(b"indx", 4), 0), "ix-unreferenced"),
    ("too many entries in 'indx'", "indx-count", lambda p: p.put(p.field(b"indx", 4), 3)),
    ("position 0 in 'indx'", "indx-entry-zero", lambda p: p.put(p.field(b"indx", 24), 0, "<Q"), "ix-unreferenced"),
    ("position twice in 'indx'", "indx-entry-repeated",
     lambda p: p.put(p.field(b"indx", 40), p.get(p.field(b"indx", 24), "<Q"), "<Q"), "ix-unreferenced"),
    ("position at nothing in 'indx'", "indx-entry-no-index", lambda p: p.add(p.field(b"indx", 24), 2, "<Q"),
     "ix-unreferenced"),
    ("size in 'indx'", "indx-entry-size", lambda p: p.add(p.field(b"indx", 32), -8)),
    ("duration in 'indx'", "indx-duration", lambda p: p.put(p.field(b"indx", 36), 4)),
    ("entries of 'indx' changed round", "indx-out-of-order",
     lambda p: p.put(p.field(b"indx", 24), bytes(p.data[p.field(b"indx", 40):p.field(b"indx", 56)]) +
                     bytes(p.data[p.field(b"indx", 24):p.field(b"indx", 40)])) + 16),
    ("standard index of an 'indx' cut short", "ix-unreferenced",
     lambda p: p.put(p.field(b"indx", 4), 1) * 0 + p.find(b"ix00", 1)),
    ("short standard index", "ix-short", lambda p: p.put(p.find(b"ix00") + 4, 20) - 4, "unknown-data",
     "indx-entry-size", "ix-chunk-missing"),
    ("entry size of a standard index", "ix-shape", lambda p: p.put(p.field(b"ix00", 0), 4, "<H"), "ix-chunk-missing"),
    ("type of a standard index", "ix-shape", lambda p: p.put(p.field(b"ix00", 3), 0, "<B") - 3, "ix-chunk-missing"),
    ("64-bit standard index", "ix-wide", lambda p: p.put(p.put(p.field(b"ix00", 0), b"\6\0\x10\1\0") + 4, 1) - 2,
     "ix-chunk-missing", "indx-duration", "ix-entry-no-chunk"),
    ("stream of a standard index", "ix-id-differs", lambda p: p.put(p.field(b"ix00", 8), b"01wb")),
    ("too many entries in a standard index", "ix-count", lambda p: p.put(p.field(b"ix00", 4), 4)),
    ("entries at headers", "ix-offset-at-header", lambda p: p.add(p.standard(1), -8), "ix-chunk-missing"),
    ("offset twice in a standard index", "ix-offset-repeated",
     lambda p: p.put(p.standard(1), p.get(p.standard(0))), "ix-size-differs", "ix-chunk-missing"),
    ("offset at nothing in a standard index", "ix-entry-no-chunk", lambda p: p.add(p.standard(1), 2),
     "ix-chunk-missing"),
    ("base offset", "ix-entry-no-chunk", lambda p: p.add(p.field(b"ix00", 12), 100, "<Q") + 12, "ix-chunk-missing"),
    ("offset into another chunk", "ix-entry-in-chunk",
     lambda p: p.put(p.put(p.chunk(0, b"01wb") + 100, b"00dc") * 0 + p.standard(1),
                     p.chunk(0, b"01wb") + 108 - p.find(b"movi") - 4), "ix-chunk-missing"),
    ("size in a standard index", "ix-size-differs", lambda p: p.add(p.standard(1, 4), 1)),
    ("chunk of another stream in a standard index", "ix-other-stream",
     lambda p: p.put(p.standard(1), p.chunk(1, b"01wb") + 8 - p.find(b"movi") - 4), "ix-size-differs",
     "ix-chunk-missing", "ix-offset-repeated"),
    ("entries of a standard index changed round", "ix-out-of-order",
     lambda p: p.put(p.standard(0), bytes(p.data[p.standard(1):p.standard(2)]) +
                     bytes(p.data[p.standard(0):p.standard(1)])) + 8),
    ("one entry less in a standard index", "ix-chunk-missing",
     lambda p: p.put(p.field(b"ix00", 4), 2) * 0 + p.chunk(2), "indx-duration"),
    ("no key frames in standard indexes", "ix-no-key-frame",
     lambda p: [p.put(p.standard(entry, 7, number), 0x80, "<B") for entry in range(3) for number in range(2)][0] * 0 +
     p.find(b"strl") - 8),
) + rows(
    "both", ("key frame in one index only", "index-key-differs",
             lambda p: p.put(p.standard(1, 7), 0x80, "<B") * 0 + p.chunk(1))) + rows(
    "inner", ("entry inside of 'indx'", "ix-entry-no-chunk", lambda p: p.add(p.field(b"indx", 24 + 8), 2),
              "ix-chunk-missing")) + rows(
    "fields", ("size inside of 'indx' with fields", "ix-size-differs",
               lambda p: p.add(p.field(b"indx", 24 + 12 + 4), 2))) + rows(
    "dml", ("no 'idx1' beside OpenDML", "idx1-absent", lambda p: 0))

PRIVATE = rows(
    "private",
    ("'PrmA' missing", "private-missing", lambda p: p.put(p.find(b"PrmA"), b"JUNK") * 0 + p.find(b"KrlA")),
    ("size of 'KrlA'", "private-size",
     lambda p: p.put(p.remove(p.field(b"KrlA", 500), 8, "RIFF") - 504, 500) - 4),
    ("signature", "private-unreadable", lambda p: p.put(p.field(b"KrlA", 2), b"X") - 10),
    ("short 'CtsI'", "private-unreadable",
     lambda p: p.put(p.remove(p.field(b"CtsI", 24), 172, "RIFF") - 28, 24) - 4),
    ("scan mode 7", "private-scan-mode", lambda p: p.put(p.field(b"CtsI", 24), 7, "<B"), "private-modes-differ"),
    ("different scan modes", "private-modes-differ", lambda p: p.put(p.field(b"CtsI", 24), 0, "<B")),
    ("different pixel aspects", "private-aspects-differ", lambda p: p.put(p.field(b"PrmA", 12), b"\0\0\0\1")),
    ("pixel aspect of 0", "private-aspect-zero", lambda p: p.put(p.field(b"KrlA", 26), 0) - 4,
     "private-aspects-differ"),
    ("private chunks twice", "chunk-repeated",
     lambda p: p.insert(p.find(b"movi") - 8, avi.private_chunks()[:516], "RIFF")),
    ("private chunks after 'movi'", "private-place",
     with_place(lambda p: p.find(b"idx1") - 516,
                lambda p: (p.insert(p.find(b"idx1"), bytes(p.data[p.find(b"KrlA"):p.find(b"PrmA")]), "RIFF"),
                           p.remove(p.find(b"KrlA"), 516, "RIFF")))),
)

DAMAGES = SEGMENTS + HEADERS + OLD_INDEX + OPEN_DML + PRIVATE
